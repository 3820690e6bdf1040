// SPDX-License-Identifier: Apache-2.0
// reader.h -- a conversation with a simulated service, and what it gives clients.
#ifndef TESTS_REDFISH_READER_H
#define TESTS_REDFISH_READER_H

#include "objmgrd/background/background_provider.h"
#include "objmgrd/redfish/conversation.h"
#include "redfish/service.h"
#include "support/clock.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

// Settings that look often, for a service; the password is SimService's.
inline RedfishSettings QuickSettings(const SimService &service, const std::string &sessionFile)
{
    RedfishSettings settings;
    EXPECT_TRUE(OriginParse(service.Url(), &settings.origin));
    settings.user = SimService::kUser;
    settings.sessionFile = sessionFile;
    settings.powerMs = 100;
    for (u32 RedfishSettings::*rate :
         {&RedfishSettings::temperaturesMs, &RedfishSettings::voltagesMs,
          &RedfishSettings::currentsMs, &RedfishSettings::fansMs, &RedfishSettings::statesMs})
        settings.*rate = 200;
    settings.logMs = 200;
    settings.answerMs = 2000;
    return settings;
}

// The conversation in its thread, and the other side of its mailbox.
class Reader
{
public:
    Reader(const RedfishSettings &settings, const std::string &passwordFile,
           BackgroundClock clock = ClockMs)
        : clock_(clock), password_(std::make_shared<Password>(kRedfishPasswordMax, "this service"))
    {
        EXPECT_EQ(password_->Read(passwordFile), "");
        conversation_ =
            std::make_unique<RedfishConversation>(settings, password_, &mailbox_, clock_);
        thread_ = std::thread([this] {
            while (!mailbox_.Stopped()) {
                const u32 ms = conversation_->Step();
                if (ms != 0)
                    mailbox_.Wait(ms);
            }
            if (!killed_)
                conversation_->End();
        });
    }
    ~Reader() { Stop(); }
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;

    void Stop()
    {
        if (!thread_.joinable())
            return;
        mailbox_.Stop();
        thread_.join();
    }
    // Ends without giving the session back.
    void Kill()
    {
        killed_ = true;
        Stop();
    }
    void Void() { mailbox_.Void(); }

    // A property as clients see it; "(none)", "(status 1)" of the property or the instance.
    std::string Text(const std::string &key, const std::string &property)
    {
        Take();
        const auto at = instances_.find(key);
        if (at == instances_.end())
            return "(none)";
        if (at->second.status != kCimOk)
            return "(status " + std::to_string(at->second.status) + ")";
        for (const PropertyValue &value : at->second.properties) {
            if (value.name == property)
                return value.status == kCimOk ? value.text
                                              : "(status " + std::to_string(value.status) + ")";
        }
        return "(none)";
    }
    bool Becomes(const std::string &key, const std::string &property, const std::string &text)
    {
        const bool is = WaitUntil([&] { return Text(key, property) == text; });
        EXPECT_TRUE(is) << key << " " << property << " is " << Text(key, property) << ", not "
                        << text;
        return is;
    }
    bool Settles()
    {
        return WaitUntil([&] {
            Take();
            return settled_;
        });
    }
    std::string Why()
    {
        Take();
        return why_;
    }
    u64 HeardMs(RedfishPart part)
    {
        Take();
        return heard_[part];
    }
    std::string Lines()
    {
        Take();
        return lines_;
    }
    // The names of all sensors, in their order.
    std::string Sensors()
    {
        std::string names;
        for (u32 index = 1; Text(SensorKey(index), "Index") != "(none)"; ++index)
            names += (names.empty() ? "" : ", ") + Text(SensorKey(index), "Name");
        return names;
    }
    // Gives an order and waits for its answer: "0 0" is done, "1 0" failed.
    std::string Do(OrderKind kind, u64 limitMs = 10'000)
    {
        const u64 ticket = Give(kind, limitMs);
        WaitUntil([&] { return !AnswerOf(ticket).empty(); });
        return AnswerOf(ticket);
    }
    // Gives it; AnswerOf is "" until there is one.
    u64 Give(OrderKind kind, u64 limitMs)
    {
        Order order;
        order.ticket = nextTicket_++;
        order.kind = kind;
        order.dueMs = clock_() + limitMs;
        EXPECT_TRUE(mailbox_.Give(order));
        return order.ticket;
    }
    std::string AnswerOf(u64 ticket)
    {
        Take();
        for (const ProviderAnswer &one : answers_) {
            if (one.ticket == ticket)
                return std::to_string(one.status) + " " + std::to_string(one.result);
        }
        return "";
    }

private:
    void Take()
    {
        News news = mailbox_.Take();
        if (news.lost) {
            why_ = news.why;
            for (auto &[key, instance] : instances_)
                instance = FailedInstance(kCimFailed);
        }
        settled_ = settled_ || news.settled;
        for (auto &[key, change] : news.changes) {
            if (change.has_value())
                instances_[key] = *change;
            else
                instances_.erase(key);
        }
        for (const auto &[part, ms] : news.heard)
            heard_[static_cast<RedfishPart>(part)] = ms;
        answers_.insert(answers_.end(), news.answers.begin(), news.answers.end());
        for (const LogLine &line : news.lines)
            lines_ += line.text + "\n";
    }

    const BackgroundClock clock_;
    Mailbox mailbox_;
    std::shared_ptr<Password> password_;
    std::unique_ptr<RedfishConversation> conversation_;
    std::thread thread_;
    std::atomic<bool> killed_ = false;
    std::map<std::string, Instance> instances_;
    std::map<RedfishPart, u64> heard_;
    std::vector<ProviderAnswer> answers_;
    std::string lines_;
    std::string why_;
    bool settled_ = false;
    u64 nextTicket_ = 1;
};

#endif
