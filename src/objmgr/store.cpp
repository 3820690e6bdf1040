// store.cpp -- reading packed instances.
#include "objmgr/store.h"

#include <string.h>

// One property of a record, where it lies.
struct Property {
    const char *name;
    size_t nameLength;
    const char *text;
    size_t textLength;
};

// The property whose head is at `at`.
static inline Property PropertyAt(const char *at)
{
    u16 textLength;
    memcpy(&textLength, at + sizeof(CimStatus), sizeof(textLength));
    const size_t nameLength = static_cast<u8>(at[kStorePropertyHeadSize - 1]);
    const char *name = at + kStorePropertyHeadSize;
    return {name, nameLength, name + nameLength + 1, textLength};
}

static inline const char *EndOf(const Property &property)
{
    return property.text + property.textLength + 1;
}

static inline const char *FirstOf(const void *record)
{
    return static_cast<const char *>(record) + sizeof(CimStatus);
}

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
    const char *at = FirstOf(record);
    const char *end = static_cast<const char *>(record) + size;
    while (at != end) {
        if (end - at < static_cast<ptrdiff_t>(kStorePropertyHeadSize))
            return false;
        const Property property = PropertyAt(at);
        const size_t length = property.nameLength + 1 + property.textLength + 1;
        if (static_cast<size_t>(end - property.name) < length ||
            !IsText(property.name, property.nameLength) ||
            !IsText(property.text, property.textLength))
            return false;
        at = EndOf(property);
    }
    memcpy(status, record, sizeof(*status));
    return true;
}

// Both end in a NUL. The shell reads short names all the time: less than a call of strcmp costs.
static inline bool IsSame(const char *a, const char *b)
{
    while (*a == *b) {
        if (*a == '\0')
            return true;
        ++a;
        ++b;
    }
    return false;
}

static inline StoreText TextOf(const Property &property)
{
    StoreText found;
    memcpy(&found.status, property.name - kStorePropertyHeadSize, sizeof(found.status));
    found.text = found.status == kCimOk ? property.text : property.text + property.textLength;
    return found;
}

static constexpr size_t kSuffixLength = sizeof(kStoreTimestampSuffix) - 1;

static bool EndsInSuffix(const Property &property)
{
    return property.nameLength >= kSuffixLength &&
           IsSame(property.name + property.nameLength - kSuffixLength, kStoreTimestampSuffix);
}

StoreText StoreFindProperty(const void *record, size_t size, const char *property)
{
    if (property == nullptr || *property == '\0')
        return {kCimNoSuchProperty, nullptr};
    const char *end = static_cast<const char *>(record) + size;
    for (const char *at = FirstOf(record); at != end;) {
        const Property found = PropertyAt(at);
        if (IsSame(found.name, property) && !EndsInSuffix(found))
            return TextOf(found);
        at = EndOf(found);
    }
    return {kCimNoSuchProperty, nullptr};
}

StoreText StoreFindDigits(const void *record, size_t size, const char *property)
{
    if (property == nullptr || *property == '\0')
        return {kCimNoSuchProperty, nullptr};
    const size_t length = strlen(property);
    const char *end = static_cast<const char *>(record) + size;
    for (const char *at = FirstOf(record); at != end;) {
        const Property found = PropertyAt(at);
        if (EndsInSuffix(found) && found.nameLength - kSuffixLength == length &&
            memcmp(found.name, property, length) == 0)
            return TextOf(found);
        at = EndOf(found);
    }
    return {kCimNoSuchProperty, nullptr};
}
