// SPDX-License-Identifier: Apache-2.0
#include "ctl/listen_address.h"

#include <gtest/gtest.h>

namespace
{

std::string Parsed(const std::string &text)
{
    sockaddr_storage address;
    socklen_t size = 0;
    return ListenAddressParse(text, &address, &size) ? ListenAddressText(address) : "none";
}

}  // namespace

TEST(ListenAddress, BothFamiliesAndTheLoopback)
{
    EXPECT_EQ(Parsed("127.0.0.1:9290"), "127.0.0.1:9290");
    EXPECT_EQ(Parsed("0.0.0.0:1"), "0.0.0.0:1");
    EXPECT_EQ(Parsed(":9290"), "127.0.0.1:9290");
    EXPECT_EQ(Parsed(":0"), "127.0.0.1:0");
    EXPECT_EQ(Parsed(":65535"), "127.0.0.1:65535");
    EXPECT_EQ(Parsed("[::1]:9290"), "[::1]:9290");
    EXPECT_EQ(Parsed("[::]:9290"), "[::]:9290");
}

TEST(ListenAddress, WhatIsNone)
{
    for (const char *text : {"", "9290", ":", ":65536", ":-1", ":x", "localhost:1", "::1:9290",
                             "[::1]9290", "[]:1", "[127.0.0.1]:1", "1.2.3:4", "1.2.3.4:5x"})
        EXPECT_EQ(Parsed(text), "none") << text;
}
