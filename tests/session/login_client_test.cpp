// SPDX-License-Identifier: Apache-2.0
// login_client_test.cpp -- addresses out of SSH_CONNECTION, and the session's type.
#include "session/login_client.h"

#include <gtest/gtest.h>

class LoginClient : public testing::Test
{
protected:
    void Take(const char *connection, bool atTerminal = false)
    {
        LoginDefaultOptions(&options_);
        LoginTakeClient(&options_, connection, atTerminal);
    }

    LoginOptions options_;
};

TEST_F(LoginClient, FirstWordOfTheConnectionIsTheAddress)
{
    struct {
        const char *connection;
        u32 address;
        const char *text;
    } rows[] = {
        {"192.0.2.7 50000 192.0.2.1 22", 3221225991u, "192.0.2.7"},
        {"2001:db8::7 50000 2001:db8::1 22", 0, "2001:db8::7"},
        {"fe80::1%eth0 50000 fe80::2%eth0 22", 0, "fe80::1%eth0"},
        {"::ffff:192.0.2.7 1 ::ffff:192.0.2.1 22", 3221225991u, "192.0.2.7"},
        {"::FFFF:192.0.2.7 1 ::1 22", 3221225991u, "192.0.2.7"},
        {"::ffff:c000:207 1 ::1 22", 0, "::ffff:c000:207"},
        {"192.0.2.7", 3221225991u, "192.0.2.7"},
        {"UNKNOWN 65535 UNKNOWN 65535", 0, ""},
        {"", 0, ""},
        {" 192.0.2.7 1", 0, ""},
        {"192.0.2.7\n 1", 0, ""},
        {"1111111111111111111111111111111111111111111111111111111111111111111111111111 1", 0, ""},
    };
    for (const auto &row : rows) {
        Take(row.connection);
        EXPECT_EQ(options_.client.address, row.address) << row.connection;
        EXPECT_STREQ(options_.client.addressText, row.text) << row.connection;
        EXPECT_EQ(options_.type, 0) << row.connection;
    }
}

TEST_F(LoginClient, WhatTheOptionsSayStands)
{
    LoginDefaultOptions(&options_);
    ASSERT_TRUE(RegistryParseAddress("198.51.100.1", &options_.client));
    options_.type = 9;
    options_.typeGiven = true;
    LoginTakeClient(&options_, "192.0.2.7 50000 192.0.2.1 22", true);
    EXPECT_STREQ(options_.client.addressText, "198.51.100.1");
    EXPECT_EQ(options_.type, 9);
}

TEST_F(LoginClient, TerminalWithoutANetworkIsTheConsole)
{
    Take(nullptr, true);
    EXPECT_EQ(options_.type, 1);
    EXPECT_STREQ(options_.client.addressText, "");
    Take(nullptr, false);
    EXPECT_EQ(options_.type, 0);
    Take("192.0.2.7 50000 192.0.2.1 22", true);
    EXPECT_EQ(options_.type, 0);
    Take("UNKNOWN 65535 UNKNOWN 65535", true);
    EXPECT_EQ(options_.type, 0);
}
