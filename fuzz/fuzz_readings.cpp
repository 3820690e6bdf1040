// SPDX-License-Identifier: Apache-2.0
// fuzz_readings.cpp -- any bytes as what a BMC answers to everything that is read from it.
//
// Each answer takes one byte for its completion code (below 0x80: done), one for its length, and
// the data. What is behind the end is not answered: the conversation must come to rest, and nothing
// that it gives the store may be wrong for clients.
#include "ipmi_instance.h"
#include "objmgrd/ipmi/ipmi_conversation.h"

#include <algorithm>

namespace
{

u64 nowMs;

u64 Now()
{
    return nowMs;
}

class BytesAsAnswers : public Bmc
{
public:
    BytesAsAnswers(const u8 *data, size_t size) : data_(data), left_(size) {}
    BmcOpening Open(std::string *why, u32 = 0) override
    {
        ++nowMs;
        *why = "silent";
        return left_ > 0 ? BmcOpening::Open : BmcOpening::Silent;
    }
    void Close() override {}
    BmcAnswer Ask(const BmcRequest &request) override
    {
        if (request.size > kBmcRequestMax)
            abort();
        ++nowMs;
        BmcAnswer answer;
        if (left_ < 2)
            return left_ = 0, answer;
        answer.came = true;
        answer.code = data_[0] < 0x80 ? kBmcDone : data_[0];
        answer.size = static_cast<u8>(std::min<size_t>(data_[1], left_ - 2));
        std::copy_n(data_ + 2, answer.size, answer.data);
        data_ += 2 + answer.size;
        left_ -= 2u + answer.size;
        return answer;
    }

    bool UsedUp() const { return left_ == 0; }

private:
    const u8 *data_;
    size_t left_;
};

// Behind the end of the answers: a silent BMC is tried again by then.
constexpr u32 kStepsAfter = 16;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    nowMs = 1000000;
    const std::vector<u8> bytes(data, data + size);
    IpmiSettings settings;
    settings.host = "bmc";
    settings.cacheDirectory = "";
    Mailbox box;
    auto polls = std::make_unique<BytesAsAnswers>(bytes.data(), bytes.size());
    auto control = std::make_unique<BytesAsAnswers>(bytes.data(), bytes.size());
    const BytesAsAnswers *const polled = polls.get();
    IpmiConversation conversation(settings, std::move(polls), std::move(control), &box, Now);
    if (size > 0 && data[0] % 4 == 0)
        box.Give({1, static_cast<OrderKind>(data[0] / 4 % 5), nowMs + settings.methodMs});
    u32 after = 0;
    for (u32 step = 0; step < 2000 && after < kStepsAfter; ++step) {
        after += polled->UsedUp() ? 1 : 0;
        nowMs += conversation.Step();
        const News news = box.Take();
        for (const auto &[key, change] : news.changes) {
            if (key.empty())
                abort();
            if (change.has_value())
                CheckInstance(*change);
        }
        if (news.lost && news.why.empty())
            abort();
    }
    conversation.End();
    return 0;
}
