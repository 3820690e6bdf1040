// SPDX-License-Identifier: Apache-2.0
// Tests of session/login_environment.
#include "session/login_environment.h"

#include <gtest/gtest.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <set>
#include <string>
#include <vector>

// Which text there is no memory for, from 1 (linked with --wrap); 0: none.
static int sNoMemoryFor;

// Texts stay for the life of the process, and so does this, which holds them.
static std::vector<char *> &sTexts = *new std::vector<char *>;

extern "C" {
int __wrap_asprintf(char **text, const char *format, ...) __attribute__((format(printf, 2, 3)));
int __wrap___asprintf_chk(char **text, int flag, const char *format, ...)
    __attribute__((format(printf, 3, 4)));
}

__attribute__((format(printf, 2, 0))) static int Print(char **text, const char *format,
                                                       va_list arguments)
{
    if (sNoMemoryFor != 0 && --sNoMemoryFor == 0)
        return -1;
    const int length = vasprintf(text, format, arguments);
    sTexts.push_back(*text);
    return length;
}

int __wrap_asprintf(char **text, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = Print(text, format, arguments);
    va_end(arguments);
    return length;
}

// What asprintf() is called where the C library checks its callers.
int __wrap___asprintf_chk(char **text, int, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = Print(text, format, arguments);
    va_end(arguments);
    return length;
}

namespace
{

class LoginEnvironment : public testing::Test
{
protected:
    LoginEnvironment()
    {
        environ = caller_;
        strcpy(record_.user, "alice");
        record_.address = 2130706433;
        record_.privilege = 0xabc;
        record_.type = 3;
    }
    ~LoginEnvironment() override { environ = before_; }

    // What is built, a variable a line in the order of their names; "none": nothing.
    std::string Built(const char *ownDirectory)
    {
        char **entries = LoginBuildEnvironment(77, &record_, ownDirectory);
        if (entries == nullptr)
            return "none";
        std::multiset<std::string> sorted;
        for (char **entry = entries; *entry != nullptr; ++entry)
            sorted.insert(*entry);
        std::string lines;
        for (const std::string &entry : sorted)
            lines += entry + "\n";
        free(entries);
        return lines;
    }
    void Give(std::initializer_list<const char *> entries)
    {
        size_t count = 0;
        for (const char *entry : entries)
            caller_[count++] = const_cast<char *>(entry);
        caller_[count] = nullptr;
    }

    RegistryRecord record_ = {};

private:
    char *caller_[32] = {};
    char **before_ = environ;
};

}  // namespace

TEST_F(LoginEnvironment, OfACallerWithNothing)
{
    EXPECT_EQ(Built(""), "PATH=/usr/local/bin:/usr/bin:/bin\n"
                         "ZORIP=2130706433\nZORPRIV=abc\nZORSID=77\nZORSSNTYPE=3\n");
    EXPECT_EQ(Built("/opt/x"), "PATH=/opt/x:/usr/local/bin:/usr/bin:/bin\n"
                               "ZORIP=2130706433\nZORPRIV=abc\nZORSID=77\nZORSSNTYPE=3\n");
    EXPECT_EQ(Built("/opt/x:y").substr(0, 34), "PATH=/usr/local/bin:/usr/bin:/bin\n");
}

TEST_F(LoginEnvironment, WhatTheCallerMayHandOn)
{
    Give({"PATH=/bin",   "ZOROBJMGR=/o",     "ZORSSNDIR=/s",
          "ZORTRACE=/t", "TERM=vt100",       "LANG=C",
          "TZ=UTC",      "HOME=/h",          "USER=u",
          "LOGNAME=l",   "LC_ALL=C",         "LC_TIME=D",
          "HOME=/twice", "LD_PRELOAD=/evil", "ZORSID=1",
          "ZORIP=1",     "ZORPRIV=ffffffff", "ZORSSNTYPE=9",
          "LC=x",        "SHELL=/bin/sh",    "IFS=x"});
    EXPECT_EQ(Built("/own"), "HOME=/h\nLANG=C\nLC_ALL=C\nLC_TIME=D\nLOGNAME=l\nPATH=/own:/bin\n"
                             "TERM=vt100\nTZ=UTC\nUSER=u\nZORIP=2130706433\nZOROBJMGR=/o\n"
                             "ZORPRIV=abc\nZORSID=77\nZORSSNDIR=/s\nZORSSNTYPE=3\nZORTRACE=/t\n");
}

TEST_F(LoginEnvironment, WithoutMemoryThereIsNone)
{
    Give({"PATH=/bin", "ZORTRACE=/t", "HOME=/h"});
    // Four of the session, two of the caller, and PATH in two steps.
    for (int text = 1; text <= 8; ++text) {
        sNoMemoryFor = text;
        EXPECT_EQ(Built("/own"), "none") << text;
    }
    sNoMemoryFor = 9;
    EXPECT_NE(Built("/own"), "none");
    EXPECT_EQ(sNoMemoryFor, 1);
    sNoMemoryFor = 0;
}
