// store.cpp -- reading packed instances.
#include "objmgr/store.h"

#include <string.h>

bool StoreReadStatus(const void *record, size_t size, CimStatus *status)
{
    *status = kCimFailed;
    if (record == nullptr || size < sizeof(*status))
        return false;
    memcpy(status, record, sizeof(*status));
    return true;
}

// The unread rest of a record.
struct Rest {
    const char *at;
    size_t size;
};

// The NUL-terminated text that the rest begins with, or null when no NUL is left.
static const char *TakeText(Rest *rest, size_t *length)
{
    const void *end = memchr(rest->at, '\0', rest->size);
    if (end == nullptr)
        return nullptr;
    const char *text = rest->at;
    *length = static_cast<size_t>(static_cast<const char *>(end) - text);
    rest->at += *length + 1;
    rest->size -= *length + 1;
    return text;
}

// Takes the name at the beginning of the rest; *isWanted: it is `wanted`. False when it is cut
// off. Most names differ in their first byte, and one that matches needs no search for its end.
static bool TakeName(Rest *rest, const char *wanted, bool *isWanted)
{
    size_t i = 0;
    while (i < rest->size && rest->at[i] == wanted[i] && wanted[i] != '\0')
        ++i;
    *isWanted = i < rest->size && rest->at[i] == wanted[i];
    rest->at += i;
    rest->size -= i;
    size_t length;
    if (!*isWanted)
        return TakeText(rest, &length) != nullptr;
    ++rest->at;
    --rest->size;
    return true;
}

bool StoreFindProperty(const void *record, size_t size, const char *property, CimStatus *status,
                       const char **text)
{
    CimStatus found;
    if (property == nullptr || *property == '\0' || !StoreReadStatus(record, size, &found))
        return false;
    Rest rest = {static_cast<const char *>(record) + sizeof(found), size - sizeof(found)};
    while (rest.size > 0) {
        bool isWanted;
        if (!TakeName(&rest, property, &isWanted) || rest.size < sizeof(found))
            return false;
        memcpy(&found, rest.at, sizeof(found));
        rest.at += sizeof(found);
        rest.size -= sizeof(found);
        size_t length;
        const char *value = TakeText(&rest, &length);
        if (value == nullptr)
            return false;
        if (isWanted) {
            *status = found;
            *text = found == kCimOk ? value : value + length;
            return true;
        }
    }
    return false;
}
