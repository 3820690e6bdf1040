// SPDX-License-Identifier: Apache-2.0
// registry_fixture.h -- a session registry of its own for each test.
#ifndef TESTS_SESSION_REGISTRY_FIXTURE_H
#define TESTS_SESSION_REGISTRY_FIXTURE_H

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "session/registry.h"
#include "support/test_files.h"

// What session 77 may stand as.
static constexpr char kGoodText[] = "id=77\n"
                                    "user=admin\n"
                                    "type=3\n"
                                    "address=192.0.2.7\n"
                                    "privilege=ff\n"
                                    "idle=900\n"
                                    "since=5000\n";

class RegistryFixture : public testing::Test
{
protected:
    void SetUp() override
    {
        record_ = {};
        strcpy(record_.user, "admin");
        record_.type = 3;
        record_.address = 0xc0000207;
        record_.privilege = 0xff;
        record_.idleSeconds = 900;
    }

    std::string Path(const std::string &name) const { return directory_ + "/" + name; }

    void MakeDirectory() const { ASSERT_EQ(mkdir(directory_.c_str(), 0700), 0); }

    void Plant(const std::string &name, const std::string &text) const
    {
        std::ofstream(Path(name), std::ios::binary) << text;
    }

    // Plants the text as session 77 and says what becomes of looking it up.
    u32 FindText(const std::string &text)
    {
        Plant("77", text);
        return Find(77);
    }

    u32 Find(u32 id)
    {
        u32 result = RegistryFind(directory_.c_str(), id, RegistryWhose::Own, &entry_);
        if (result == kRegistryOk)
            RegistryRelease(&entry_);
        return result;
    }

    u32 Open(u32 *id, int *lock) const
    {
        return RegistryOpenSession(directory_.c_str(), &record_, nullptr, id, lock);
    }

    std::vector<std::string> Names() const
    {
        std::vector<std::string> names;
        std::error_code ignored;
        for (const auto &entry : std::filesystem::directory_iterator(directory_, ignored))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }

    const TestDirectory made_;
    const std::string top_ = made_.Path();
    const std::string directory_ = top_ + "/sessions";
    RegistryRecord record_;
    RegistryEntry entry_;
};

#endif
