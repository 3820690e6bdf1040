// SPDX-License-Identifier: Apache-2.0
#include "objmgrd/rights_reload.h"

#include "support/objmgr_process.h"

#include <fstream>
#include <sys/stat.h>

namespace
{

class Reload : public testing::Test
{
protected:
    Reload()
    {
        sigemptyset(&signals_);
        sigaddset(&signals_, SIGUSR2);
        pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    }
    void Write(const std::string &text)
    {
        std::ofstream(file_) << text;
        chmod(file_.c_str(), 0600);
    }
    // Waits for the signal, at most 10 s.
    bool Signalled()
    {
        const timespec limit = {10, 0};
        return sigtimedwait(&signals_, nullptr, &limit) == SIGUSR2;
    }

    TestDirectory directory_;
    const std::string file_ = directory_.Path() + "/rights.toml";
    sigset_t signals_;
    RightsReload reload_{file_, SIGUSR2};
};

constexpr Peer kPeer = {.uid = 1234567, .gid = 1, .pid = 1, .groups = {}};

}  // namespace

TEST_F(Reload, GivesWhatTheFileSaysNow)
{
    EXPECT_FALSE(reload_.Take().has_value());
    Write("[users]\n1234567 = ['login', 'power']\n");
    ASSERT_EQ(reload_.Begin(), 0);
    ASSERT_TRUE(Signalled());
    const auto outcome = reload_.Take();
    ASSERT_TRUE(outcome.has_value() && outcome->rights.has_value());
    EXPECT_EQ(outcome->rights->Of(kPeer), 0x3u);
    EXPECT_FALSE(reload_.Take().has_value());
}

TEST_F(Reload, SaysWhatIsWrongWithTheFile)
{
    Write("[users]\n1234567 = 'powder'\n");
    ASSERT_EQ(reload_.Begin(), 0);
    ASSERT_TRUE(Signalled());
    const auto outcome = reload_.Take();
    ASSERT_TRUE(outcome.has_value());
    EXPECT_FALSE(outcome->rights.has_value());
    ASSERT_EQ(outcome->notes.size(), 1u);
    EXPECT_EQ(outcome->notes[0].text, "unknown right \"powder\" (known: login, power, clear-log)");
}

TEST_F(Reload, WhatIsTakenLastIsWhatTheFileHeldLast)
{
    for (int i = 0; i < 200; ++i) {
        Write("[users]\n1234567 = 'login'\n" + std::to_string(i + 1) + " = 'login'\n");
        ASSERT_EQ(reload_.Begin(), 0);
    }
    std::optional<RightsReload::Outcome> last;
    const Peer peer = {.uid = 200, .gid = 1, .pid = 1, .groups = {}};
    for (int i = 0; i < 200 && (!last || !last->rights || last->rights->Of(peer) == 0); ++i) {
        ASSERT_TRUE(Signalled());
        last = reload_.Take();
    }
    EXPECT_EQ(last->rights->Of(peer), 0x1u);
}

// The thread sees that nobody waits for it any more.
TEST(RightsReload, MayEndWhileAFileIsRead)
{
    const TestDirectory directory;
    std::ofstream(directory.Path() + "/rights.toml") << "";
    for (int i = 0; i < 50; ++i) {
        RightsReload reload(directory.Path() + "/rights.toml", SIGURG);
        EXPECT_EQ(reload.Begin(), 0);
    }
}
