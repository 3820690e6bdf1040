// SPDX-License-Identifier: Apache-2.0
// conversation_fixture.h -- a conversation with a BMC that is a table of bytes, on a clock that the
// test owns, and what the store would hold.
#ifndef TESTS_OBJMGRD_IPMI_CONVERSATION_FIXTURE_H
#define TESTS_OBJMGRD_IPMI_CONVERSATION_FIXTURE_H

#include "objmgrd/ipmi/fake_bmc.h"
#include "objmgrd/ipmi/ipmi_conversation.h"

#include <gtest/gtest.h>

inline constexpr char kLog[] = "OEM_QARN_MessageLog.Name=SEL";

inline IpmiSettings SettingsOfTest()
{
    IpmiSettings settings;
    settings.host = "bmc";
    settings.cacheDirectory = "";
    return settings;
}

class ConversationTest : public testing::Test
{
protected:
    explicit ConversationTest(const IpmiSettings &settings = SettingsOfTest()) : settings_(settings)
    {
        fakeNowMs = 1000000;
        machine_.sdrs = {SdrOf({"T1", 1, 1, 0x01}), SdrOf({"PS1", 2, 8, 0x6F, false, 0, 10, 1}),
                         FruLocator(3, 10, 1)};
        machine_.readings = {{1, {23, 0x40, 0}}, {2, {0, 0x40, 1}}};
        machine_.thresholds = {{1, {0x18, 0, 0, 0, 40, 50, 0}}};
        machine_.frus = {{0, FruOf({{}, {}, ProductArea("Maker", "Product", "SERIAL")})},
                         {3, FruOf({{}, {}, {}, WattageRecord(750)})}};
        machine_.name = "host-1";
        machine_.sel = {SelEvent(1, 0x60000000), SelEvent(2, 0x60000001)};
    }
    // Steps for this long on the machine's clock.
    void RunFor(u64 ms)
    {
        const u64 end = fakeNowMs + ms;
        while (fakeNowMs < end) {
            const u64 before = fakeNowMs;
            const u32 wait = conversation_.Step();
            Take();
            fakeNowMs = std::max(fakeNowMs, std::min<u64>(before + wait, end));
            if (wait == 0 && fakeNowMs == before)
                ++idle_;
            ASSERT_LT(idle_, 100000u) << "goes round without doing anything";
        }
    }
    void Take()
    {
        News news = box_.Take();
        if (news.lost) {
            ++losses_;
            why_ = news.why;
            for (auto &[key, instance] : store_)
                instance = FailedInstance(kCimFailed);
        }
        for (auto &[key, change] : news.changes) {
            if (change.has_value())
                store_[key] = *change;
            else
                store_.erase(key);
        }
        for (const ProviderAnswer &answer : news.answers)
            answers_[answer.ticket] =
                std::to_string(answer.status) + " " + std::to_string(answer.result);
        for (const LogLine &line : news.lines)
            lines_ += line.text + "\n";
    }
    // A property's text, "status N" or "none".
    std::string Value(const std::string &key, const char *name) const
    {
        const auto found = store_.find(key);
        if (found == store_.end())
            return "none";
        if (found->second.status != kCimOk)
            return "status " + std::to_string(found->second.status);
        for (const PropertyValue &property : found->second.properties) {
            if (property.name == name)
                return property.status == kCimOk ? property.text
                                                 : "status " + std::to_string(property.status);
        }
        return "none";
    }
    std::string Power() const { return Value(kSystemClass, "PowerStatus"); }
    std::string Reading() const { return Value("OEM_QARN_Sensor.Index=1", "Reading"); }
    std::string Records() const { return Value(kLog, "NumRecords"); }

    // Orders a method and steps until it is answered, or for as long as it may take. The answer,
    // or "none".
    std::string Do(OrderKind kind)
    {
        const u64 ticket = ++ticket_;
        const u64 begun = fakeNowMs;
        EXPECT_TRUE(box_.Give({ticket, kind, begun + settings_.methodMs}));
        while (answers_.count(ticket) == 0 && fakeNowMs < begun + settings_.methodMs + 1500)
            RunFor(1);
        tookMs_ = fakeNowMs - begun;
        return answers_.count(ticket) != 0 ? answers_[ticket] : "none";
    }
    u32 Requests(u8 netFn, u8 command) const { return machine_.Count(netFn, command); }

    IpmiSettings settings_;
    FakeMachine machine_;
    Mailbox box_;
    IpmiConversation conversation_{settings_, std::make_unique<FakeBmc>(&machine_, false),
                                   std::make_unique<FakeBmc>(&machine_, true), &box_, FakeClock};

    std::map<std::string, Instance> store_;
    std::map<u64, std::string> answers_;
    std::string lines_;
    std::string why_;
    u32 losses_ = 0;
    u32 idle_ = 0;
    u64 ticket_ = 0;
    u64 tookMs_ = 0;
};

#endif
