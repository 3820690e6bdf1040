// SPDX-License-Identifier: Apache-2.0
#include "objmgrd/readiness.h"

#include "support/listening_init.h"
#include "support/objmgr_process.h"

namespace
{

const std::vector<SourceState> kAnswers = {{"BMC b", true}};
const std::vector<SourceState> kSilent = {{"BMC b", false}};

class ReadinessTold : public testing::Test
{
protected:
    ReadinessTold()
    {
        init_.Listen(directory_.Path() + "/notify");
        notify_.Open();
    }
    // Everything that was heard, in one line.
    std::string Heard() const
    {
        std::string all;
        for (std::string one = init_.Heard(); !one.empty(); one = init_.Heard())
            all += (all.empty() ? "" : ", ") + one;
        return all;
    }

    TestDirectory directory_;
    ListeningInit init_;
    Notify notify_;
    Readiness readiness_{&notify_, "serving", 10000};
};

}  // namespace

TEST_F(ReadinessTold, OfAServiceWithoutSourcesAtOnceAndOnce)
{
    readiness_.Look(true, {}, 1);
    EXPECT_EQ(Heard(), "STATUS=serving, READY=1");
    readiness_.Look(true, {}, 2);
    readiness_.Look(false, {}, 20000);
    EXPECT_EQ(Heard(), "");
}

TEST_F(ReadinessTold, OnceTheSourceHasBeenRead)
{
    readiness_.Look(false, kSilent, 1);
    EXPECT_EQ(Heard(), "STATUS=serving; BMC b is being read");
    readiness_.Look(false, kAnswers, 9999);
    EXPECT_EQ(Heard(), "");
    readiness_.Look(true, kAnswers, 9999);
    EXPECT_EQ(Heard(), "STATUS=serving, READY=1");
}

TEST_F(ReadinessTold, OfASourceThatIsKnownNotToBeHad)
{
    readiness_.Look(true, kSilent, 3000);
    EXPECT_EQ(Heard(), "STATUS=serving; BMC b cannot be read, READY=1");
    readiness_.Look(true, kAnswers, 4000);
    EXPECT_EQ(Heard(), "STATUS=serving");
    readiness_.Look(true, kSilent, 5000);
    EXPECT_EQ(Heard(), "STATUS=serving; BMC b cannot be read");
    // What is not published yet says nothing about the source.
    readiness_.Look(false, kSilent, 6000);
    EXPECT_EQ(Heard(), "");
}

TEST_F(ReadinessTold, AtTheLatestByTheTimeThatIsGiven)
{
    readiness_.Look(false, kSilent, 9999);
    EXPECT_EQ(Heard(), "STATUS=serving; BMC b is being read");
    readiness_.Look(false, kSilent, 10000);
    EXPECT_EQ(Heard(), "READY=1");
    readiness_.Look(true, kAnswers, 70000);
    EXPECT_EQ(Heard(), "STATUS=serving");
}

TEST_F(ReadinessTold, NamesEachSourceThatCannotBeRead)
{
    readiness_.Look(true, {{"BMC a", true}, {"BMC b", false}, {"BMC c", false}}, 1);
    EXPECT_EQ(Heard(), "STATUS=serving; BMC b cannot be read; BMC c cannot be read, READY=1");
}
