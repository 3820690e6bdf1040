// SPDX-License-Identifier: Apache-2.0
// ipmi_conversation.cpp -- see ipmi_conversation.h.
#include "objmgrd/ipmi/ipmi_conversation.h"

#include <algorithm>

IpmiConversation::IpmiConversation(const IpmiSettings &settings, std::unique_ptr<Bmc> bmc,
                                   std::unique_ptr<Bmc> control, Mailbox *mailbox,
                                   BackgroundClock clock)
    : settings_(settings), bmc_(std::move(bmc)), control_(std::move(control)), mailbox_(mailbox),
      clock_(clock), session_(bmc_.get(), mailbox, clock),
      publication_("BMC " + IpmiBmcName(settings), mailbox),
      schedule_(&settings_, &session_, &publication_, clock),
      methods_(&settings_, &session_, control_.get(), &schedule_, &publication_, mailbox, clock)
{
}

void IpmiConversation::End()
{
    control_->Close();
    session_.Close();
}

u32 IpmiConversation::Step()
{
    const u64 now = clock_();
    if (mailbox_->Generation() != generation_) {
        generation_ = mailbox_->Generation();
        Forget(now);
    }
    Order order;
    if (!methods_.IsBusy() && mailbox_->NextOrder(&order))
        methods_.Begin(order, now);
    if (!methods_.IsBusy())
        methods_.Rest(now);
    u32 wait = 0;
    if (methods_.IsBusy() && now >= methods_.StepMs())
        StepMethod(now);
    else if (session_.IsOpen())
        wait = schedule_.Step(now);
    else if (now >= session_.NextOpenMs())
        TryOpen();
    else
        wait = static_cast<u32>(session_.NextOpenMs() - now);
    if (session_.TakeSilence())
        Lose();
    // Nothing is due: all that there is was read.
    if (!settled_ && session_.IsOpen() && wait != 0 && schedule_.IsSettled()) {
        settled_ = true;
        publication_.Settle();
    }
    if (methods_.IsBusy() && wait != 0)
        wait = static_cast<u32>(
            std::min<u64>(wait, methods_.StepMs() > now ? methods_.StepMs() - now : 0));
    publication_.Post(generation_);
    return wait;
}

void IpmiConversation::StepMethod(u64 now)
{
    methods_.EndIfLate(now);
    if (!methods_.IsBusy())
        return;
    // A method does not wait for the pause between two openings.
    if (methods_.NeedsSession() && !session_.IsOpen() && !TryOpen())
        return methods_.LookAgain();
    methods_.Step();
}

// Everything has to be read afresh before it is given again.
void IpmiConversation::Forget(u64 now)
{
    publication_.Forget();
    schedule_.Forget(now);
}

bool IpmiConversation::TryOpen()
{
    std::string why;
    if (session_.Open(&why) == BmcOpening::Open) {
        Forget(clock_());
        return true;
    }
    publication_.Lose(why);
    return false;
}

void IpmiConversation::Lose()
{
    session_.Lose();
    publication_.Lose("no answer from " + IpmiBmcName(settings_));
    schedule_.Forget(clock_());
}
