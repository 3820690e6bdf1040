// SPDX-License-Identifier: Apache-2.0
// address.cpp -- resolving addresses and writing them.
#include "smclp/address.h"

#include "platform/str.h"

#include <stdio.h>
#include <string.h>

namespace
{

constexpr size_t kInstanceSuffixMax = 4;

ManagedElement *RootOf(ManagedElement *element)
{
    while (element->parent != nullptr)
        element = element->parent;
    return element;
}

// Whether the suffix of a segment ("3", "*") selects an instance of the child, which it then
// stores in it.
bool SelectInstance(ManagedElement *child, const char *suffix, bool lastSegment)
{
    if (strlen(suffix) > kInstanceSuffixMax)
        return false;
    if (lastSegment && StrEqual(suffix, "*")) {
        child->allInstances = 1;
        return true;
    }
    if (!StrIsNumeric(suffix))
        return false;
    const u32 number = StrToUINT32(suffix);
    if (number < 1 || number > child->instanceTag())
        return false;
    child->allInstances = 0;
    child->instanceNumber = static_cast<u16>(number);
    return true;
}

ManagedElement *FindChild(ManagedElement *element, const char *segment, bool lastSegment)
{
    for (ManagedElement *child = element->firstChild; child != nullptr;
         child = child->nextSibling) {
        const size_t length = strlen(child->name);
        if (strncmp(segment, child->name, length) != 0)
            continue;
        const char *suffix = segment + length;
        if (child->instanceTag == nullptr) {
            if (*suffix != '\0')
                return nullptr;  // deliberate: later children are not tried
            child->allInstances = 0;
            return child;
        }
        if (SelectInstance(child, suffix, lastSegment))
            return child;
    }
    return nullptr;
}

}  // namespace

ManagedElement *SmclpResolveTargetAddress(const char *text, ManagedElement *current)
{
    if (current == nullptr || StrIsEmpty(text))
        return current;

    ManagedElement *element = current;
    if (*text == '/') {
        element = RootOf(current);
        if (*++text == '\0')
            return element;
    }
    while (element != nullptr) {
        const char *slash = strchr(text, '/');
        const size_t length = slash != nullptr ? static_cast<size_t>(slash - text) : strlen(text);
        char segment[64];
        if (length >= sizeof segment)
            return nullptr;
        memcpy(segment, text, length);
        segment[length] = '\0';

        if (StrEqual(segment, ".."))
            element = element->parent;
        else if (!StrEqual(segment, "."))
            element = FindChild(element, segment, slash == nullptr);
        if (slash == nullptr)
            return element;
        text = slash + 1;
    }
    return nullptr;
}

// What does not fit is lost at the front, as in a path that was cut before.
void SmclpPrependToPath(char *path, const char *piece)
{
    const char first = piece[0] != '\0' ? piece[0] : path[0];
    const char *slash = first == '/' ? "" : "/";
    char whole[2 * kSmclpPathSize + 8];
    snprintf(whole, sizeof whole, "%s%s%s", slash, piece, path);
    const size_t length = strlen(whole);
    const size_t cut = length >= kSmclpPathSize ? length - (kSmclpPathSize - 1) : 0;
    memcpy(path, whole + cut, length - cut + 1);
}

u32 SmclpReturnAbsolutePath(const ManagedElement *element, char *out, u32 size)
{
    if (element == nullptr || size == 0 || size > kSmclpPathSize)
        return 0;
    char path[kSmclpPathSize] = "";
    for (; element != nullptr; element = element->parent) {
        char piece[sizeof element->name + 5] = "";
        if (element->instanceTag == nullptr)
            StrCopy(piece, element->name, sizeof piece);
        else if (element->name[0] != '\0' && element->instanceNumber != 0)
            snprintf(piece, sizeof piece, "%s%u", element->name, element->instanceNumber);
        SmclpPrependToPath(path, piece);
    }
    const size_t length = strlen(path);
    StrCopy(out, path + (length >= size ? length - (size - 1) : 0), size);
    return 0;
}
