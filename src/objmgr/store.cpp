// SPDX-License-Identifier: Apache-2.0
// store.cpp -- reading packed instances.
#include "objmgr/store.h"

#include <string.h>

// The NUL behind the `length` bytes at `text` is their first.
static bool IsText(const char *text, size_t length)
{
    return memchr(text, '\0', length + 1) == text + length;
}

bool StoreCheckRecord(const void *record, size_t size, CimStatus *status)
{
    *status = kCimFailed;
    if (record == nullptr || size < sizeof(*status))
        return false;
    const char *at = StoreFirstOf(record);
    const char *end = static_cast<const char *>(record) + size;
    while (at != end) {
        if (end - at < static_cast<ptrdiff_t>(kStorePropertyHeadSize))
            return false;
        const StoreProperty property = StorePropertyAt(at);
        const size_t length = property.nameLength + 1 + property.textLength + 1;
        if (static_cast<size_t>(end - property.name) < length ||
            !IsText(property.name, property.nameLength) ||
            !IsText(property.text, property.textLength))
            return false;
        at = StoreEndOf(property);
    }
    memcpy(status, record, sizeof(*status));
    return true;
}

StoreText StoreFindDigits(const void *record, size_t size, const char *property)
{
    if (property == nullptr || *property == '\0')
        return {kCimNoSuchProperty, nullptr};
    const size_t length = strlen(property);
    const char *end = static_cast<const char *>(record) + size;
    for (const char *at = StoreFirstOf(record); at != end;) {
        const StoreProperty found = StorePropertyAt(at);
        if (StoreIsDigitForm(found) && found.nameLength - kStoreTimestampSuffixLength == length &&
            memcmp(found.name, property, length) == 0)
            return StoreTextOf(found);
        at = StoreEndOf(found);
    }
    return {kCimNoSuchProperty, nullptr};
}
