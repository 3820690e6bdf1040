// SPDX-License-Identifier: Apache-2.0
// poll_session.cpp -- see poll_session.h.
#include "objmgrd/ipmi/poll_session.h"

#include <algorithm>
#include <utility>

namespace
{

// The pause after so many failures.
u64 Pause(u32 firstMs, u32 mostMs, u32 failures)
{
    return std::min<u64>(u64{firstMs} << std::min(failures, 10u), mostMs);
}

// Follows what becomes slower, and at once what becomes quicker; never 0.
u32 Quickest(u32 before, u64 tookMs)
{
    const u32 took = static_cast<u32>(std::max<u64>(tookMs, 1));
    return before == 0 || took < before ? took : before + (took - before) / 16;
}

}  // namespace

BmcOpening PollSession::Open(std::string *why, u32 limitMs)
{
    const u64 before = clock_();
    const BmcOpening opening = bmc_->Open(why, limitMs);
    open_ = opening == BmcOpening::Open;
    const bool refused = opening == BmcOpening::Refused;
    refusals_ = refused ? refusals_ + 1 : 0;
    if (open_) {
        Opened(clock_() - before);
        return opening;
    }
    nextOpenMs_ = clock_() + (refused ? Pause(kRefusedFirstMs, kRefusedMostMs, refusals_ - 1)
                                      : Pause(kRetryFirstMs, kRetryMostMs, failures_));
    ++failures_;
    return opening;
}

void PollSession::Opened(u64 tookMs)
{
    openingMs_ = Quickest(openingMs_, tookMs);
}

void PollSession::Close()
{
    bmc_->Close();
    open_ = false;
}

BmcAnswer PollSession::Ask(const BmcRequest &request)
{
    const u64 before = clock_();
    BmcAnswer answer = bmc_->Ask(request);
    if (answer.came)
        answerMs_ = Quickest(answerMs_, clock_() - before);
    for (u32 tries = 1;
         tries < kBusyTries && answer.came && answer.code == kBmcNodeBusy && !mailbox_->HasOrder();
         ++tries)
        answer = bmc_->Ask(request);
    if (answer.Done())
        mailbox_->heardMs = clock_();
    silent_ = silent_ || !answer.came;
    return answer;
}

bool PollSession::TakeSilence()
{
    return std::exchange(silent_, false);
}

void PollSession::Lose()
{
    Close();
    const u64 now = clock_();
    // At once for the first time, since a session can end without the BMC being away.
    nextOpenMs_ = failures_ == 0 ? now : now + Pause(kRetryFirstMs, kRetryMostMs, failures_ - 1);
    ++failures_;
}
