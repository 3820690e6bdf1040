// SPDX-License-Identifier: Apache-2.0
// login_host.cpp -- which of several servers a login is for.
#include "session/login_host.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "objmgr/service_question.h"

namespace
{

bool IsLetterOrDigit(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

}  // namespace

bool LoginIsHostName(const char *name)
{
    size_t length = strlen(name);
    if (length == 0 || length > kLoginHostMax || !IsLetterOrDigit(name[0]))
        return false;
    for (size_t i = 1; i < length; ++i)
        if (!IsLetterOrDigit(name[i]) && strchr("-_.", name[i]) == nullptr)
            return false;
    return strcmp(name, "sessions") != 0;
}

bool LoginUseHost(const char *name)
{
    const char *standard = ServiceDirectory();
    size_t length = strlen(standard);
    while (length > 1 && standard[length - 1] == '/')
        --length;
    while (length > 0 && standard[length - 1] != '/')
        --length;
    char *directory = nullptr;
    if (asprintf(&directory, "%.*s%s", static_cast<int>(length), standard, name) < 0)
        return false;
    bool set = setenv("ZOROBJMGR", directory, 1) == 0;
    free(directory);
    return set;
}
