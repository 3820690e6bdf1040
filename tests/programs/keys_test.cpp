// SPDX-License-Identifier: Apache-2.0
// keys_test.cpp -- docs/keys.md against the line editor.
#include "smclp/line_editor.h"

#include "programs/project_file.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace
{

// The line after "a", the keys and "b".
std::string Typed(const std::string &keys)
{
    char buffer[kShellLineMax + 1] = "";
    ShellLine line = {buffer, 0, -1, 0, false};
    testing::internal::CaptureStdout();
    for (const char key : "a" + keys + "b")
        EXPECT_FALSE(ShellTakeKey(&line, static_cast<unsigned char>(key)));
    testing::internal::GetCapturedStdout();
    return buffer;
}

TEST(Keys, StrayCharactersAreThoseOfThePage)
{
    // What xterm and its kin send for the keys of the row, in its order.
    const std::vector<std::pair<std::string, std::string>> keys = {
        {"Home", "\x1b[H"},    {"End", "\x1b[F"},      {"Insert", "\x1b[2~"},
        {"Delete", "\x1b[3~"}, {"page up", "\x1b[5~"}, {"page down", "\x1b[6~"},
        {"F1", "\x1bOP"},      {"F5", "\x1b[15~"},
    };
    std::string names = "| ";
    std::string strays = "| stray characters: ";
    for (const auto &[name, codes] : keys) {
        const std::string line = Typed(codes);
        ASSERT_GT(line.size(), 2u) << name;
        names += name + ", ";
        strays += "`" + line.substr(1, line.size() - 2) + "`, ";
    }
    const std::string row = names.substr(0, names.size() - 2) + " " + strays;
    EXPECT_NE(ProjectFile("docs/keys.md").find("\n" + row), std::string::npos) << row;
}

TEST(Keys, WhatThePageSaysDoesNothingDoesNothing)
{
    const std::string page = ProjectFile("docs/keys.md");
    EXPECT_NE(page.find("| down, left and right arrow | nothing |"), std::string::npos);
    EXPECT_NE(page.find("| Tab, `^D` and other control characters | nothing:"), std::string::npos);
    EXPECT_NE(page.find("| letters beyond ASCII | nothing |"), std::string::npos);
    for (const char *keys :
         {"\x1b[B", "\x1b[C", "\x1b[D", "\t", "\x04", "\x01", "\x1a", "\xc3\xa9", "{|}~"})
        EXPECT_EQ(Typed(keys), "ab");
}

}  // namespace
