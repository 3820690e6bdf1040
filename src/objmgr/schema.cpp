// SPDX-License-Identifier: Apache-2.0
// schema.cpp -- see schema.h.
#include "objmgr/schema.h"

#include <string.h>

RowPath::RowPath(const char *head, size_t length, u32 number)
{
    char digits[10];
    u32 count = 0;
    do {
        digits[count++] = static_cast<char>('0' + number % 10);
        number /= 10;
    } while (number != 0);
    memcpy(text_, head, length);
    end_ = static_cast<u32>(length);
    while (count > 0)
        text_[end_++] = digits[--count];
    text_[end_] = '\0';
}

const MethodRow *SchemaFindMethod(const char *path, const char *method, const MethodRow *table,
                                  size_t rows)
{
    const size_t length = strcspn(path, ".");
    for (const MethodRow *row = table; row != table + rows; ++row) {
        if (strlen(row->className) == length && memcmp(row->className, path, length) == 0 &&
            strcmp(row->method, method) == 0)
            return row;
    }
    return nullptr;
}

bool SchemaTakesArgument(const MethodRow *row, const char *argument)
{
    if (argument == nullptr || *argument == '\0')
        return true;
    return row->argument != nullptr &&
           (strcmp(row->argument, kAnyArgument) == 0 || strcmp(row->argument, argument) == 0);
}
