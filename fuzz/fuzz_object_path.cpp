// SPDX-License-Identifier: Apache-2.0
// fuzz_object_path.cpp -- any text as an object path.
#include "objmgr/object_path.h"

#include <stdlib.h>
#include <string.h>
#include <string>

namespace
{

constexpr char kDigitsBinding[] = "TimestampFormat=YYYYMMDDHHMMSS";

void CheckKey(const ObjectPath &path)
{
    if (path.keyLength == 0 || path.keyLength > kStorePathMax ||
        strlen(path.key) != path.keyLength || path.key[0] == '.')
        abort();
    for (const char *at = path.key; *at != '\0'; ++at) {
        if (static_cast<u8>(*at) < 0x20 || *at == 0x7f)
            abort();
    }
}

bool IsEmpty(const ObjectPath &path)
{
    return path.key[0] == '\0' && path.keyLength == 0 && !path.timestampDigits;
}

// A key is a path of its own, and the same with the format asked for.
void CheckKeyAsPath(const ObjectPath &path)
{
    ObjectPath again;
    if (ObjectPathParse(path.key, &again) != kCimOk || strcmp(again.key, path.key) != 0 ||
        again.timestampDigits)
        abort();
    const char separator = strchr(path.key, '.') != nullptr ? ',' : '.';
    const std::string digits = std::string(path.key) + separator + kDigitsBinding;
    if (ObjectPathParse(digits.c_str(), &again) != kCimOk || strcmp(again.key, path.key) != 0 ||
        !again.timestampDigits)
        abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    ObjectPath path;
    memset(&path, 0xff, sizeof path);
    const CimStatus status = ObjectPathParse(text.c_str(), &path);
    if (status != kCimOk) {
        if (status != kCimInvalidParameter || !IsEmpty(path))
            abort();
        return 0;
    }
    CheckKey(path);
    CheckKeyAsPath(path);
    // Without the format binding the key is the path itself.
    const bool asked = text.find("TimestampFormat") != std::string::npos;
    if (!asked && (path.timestampDigits || strcmp(path.key, text.c_str()) != 0))
        abort();
    return 0;
}
