// SPDX-License-Identifier: Apache-2.0
// object_path.cpp -- object paths as clients write them, and the keys they stand for in the store.
#include "objmgr/object_path.h"

#include "objmgr/schema.h"

#include <string.h>

namespace
{

bool IsText(const char *at, size_t length, const char *text)
{
    return length == strlen(text) && memcmp(at, text, length) == 0;
}

bool Append(ObjectPath *out, char separator, const char *text, size_t length)
{
    const size_t head = separator != '\0' ? 1 : 0;
    if (length + head > kStorePathMax - out->keyLength)
        return false;
    if (head != 0)
        out->key[out->keyLength++] = separator;
    memcpy(out->key + out->keyLength, text, length);
    out->keyLength += static_cast<u32>(length);
    out->key[out->keyLength] = '\0';
    return true;
}

// One "Key=Value" of `length` bytes. A value may be empty and may hold points and "=".
bool TakeBinding(ObjectPath *out, const char *binding, size_t length, bool *first)
{
    const void *equals = memchr(binding, '=', length);
    if (equals == nullptr || equals == binding)
        return false;
    const size_t nameLength = static_cast<size_t>(static_cast<const char *>(equals) - binding);
    if (IsText(binding, nameLength, kTimestampFormatBinding)) {
        out->timestampDigits = true;
        return IsText(binding + nameLength + 1, length - nameLength - 1, kTimestampFormatDigits);
    }
    const char separator = *first ? '.' : ',';
    *first = false;
    return Append(out, separator, binding, length);
}

bool TakeBindings(ObjectPath *out, const char *bindings)
{
    bool first = true;
    for (;;) {
        const size_t length = strcspn(bindings, ",");
        if (!TakeBinding(out, bindings, length, &first))
            return false;
        if (bindings[length] == '\0')
            return true;
        bindings += length + 1;
    }
}

// Bytes from 0x80 up are parts of UTF-8 characters and pass.
bool HasControlCharacter(const char *text)
{
    for (; *text != '\0'; ++text) {
        const u8 byte = static_cast<u8>(*text);
        if (byte < 0x20 || byte == 0x7f)
            return true;
    }
    return false;
}

bool Take(const char *path, ObjectPath *out)
{
    if (path == nullptr || HasControlCharacter(path))
        return false;
    const size_t classLength = strcspn(path, ".");
    if (classLength == 0 || !Append(out, '\0', path, classLength))
        return false;
    return path[classLength] == '\0' || TakeBindings(out, path + classLength + 1);
}

void Clear(ObjectPath *out)
{
    out->key[0] = '\0';
    out->keyLength = 0;
    out->timestampDigits = false;
}

}  // namespace

CimStatus ObjectPathParse(const char *path, ObjectPath *out)
{
    Clear(out);
    if (Take(path, out))
        return kCimOk;
    Clear(out);
    return kCimInvalidParameter;
}
