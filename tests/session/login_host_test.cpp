// SPDX-License-Identifier: Apache-2.0
// login_host_test.cpp -- names of servers, and the directory that a name stands for.
#include "session/login_host.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

TEST(LoginHost, NamesAreThoseOfHosts)
{
    for (const char *name : {"a", "0", "node07", "Rack-3_b.example", "objmgr", "sessions2"})
        EXPECT_TRUE(LoginIsHostName(name)) << name;
    EXPECT_TRUE(LoginIsHostName(std::string(64, 'a').c_str()));
    EXPECT_FALSE(LoginIsHostName(std::string(65, 'a').c_str()));
}

TEST(LoginHost, WhatLeadsElsewhereIsNoName)
{
    for (const char *name : {"", ".", "..", "-x", "_x", ".x", "/", "a/b", "a/../b", "a b", "a\n",
                             "n\xc3\xb6", "a:b", "a%s", "sessions"})
        EXPECT_FALSE(LoginIsHostName(name)) << name;
}

static std::string DirectoryFrom(const char *standard, const char *name)
{
    if (standard == nullptr)
        unsetenv("ZOROBJMGR");
    else
        setenv("ZOROBJMGR", standard, 1);
    EXPECT_TRUE(LoginUseHost(name));
    return getenv("ZOROBJMGR");
}

TEST(LoginHost, StandsBesideTheDefaultServer)
{
    EXPECT_EQ(DirectoryFrom(nullptr, "node07"), "/run/zor/node07");
    EXPECT_EQ(DirectoryFrom("", "node07"), "/run/zor/node07");
    EXPECT_EQ(DirectoryFrom("/tmp/t/objmgr", "node07"), "/tmp/t/node07");
    EXPECT_EQ(DirectoryFrom("/tmp/t/objmgr//", "node07"), "/tmp/t/node07");
    EXPECT_EQ(DirectoryFrom("/objmgr", "node07"), "/node07");
    EXPECT_EQ(DirectoryFrom("objmgr", "node07"), "node07");
    EXPECT_EQ(DirectoryFrom("./objmgr", "node07"), "./node07");
}
