// SPDX-License-Identifier: Apache-2.0
// ipmi_conversation.h -- all conversation with a BMC.
//
// A loop of steps, each of which sends one request at most, so that a method never waits for more
// than the request in flight. In this order:
//   1. a method that is ordered (methods.h)
//   2. opening the session, where there is none, with growing pauses (poll_session.h)
//   3. what is due to be read (schedule.h)
// What was read becomes changes of the store (publication.h). What could not be read becomes a
// status, never the value from before.
//
// Losing the BMC (no answer to a request, no session) makes everything unknown; it is given again
// once it has been read afresh.
#ifndef OBJMGRD_IPMI_IPMI_CONVERSATION_H
#define OBJMGRD_IPMI_IPMI_CONVERSATION_H

#include "objmgrd/ipmi/methods.h"

#include <memory>

class IpmiConversation : public Conversation
{
public:
    // control: a session on which no request is ever sent twice; opened for one power command each
    // time. The mailbox must outlive this object.
    IpmiConversation(const IpmiSettings &settings, std::unique_ptr<Bmc> bmc,
                     std::unique_ptr<Bmc> control, Mailbox *mailbox, BackgroundClock clock);

    u32 Step() override;
    // Closes the sessions.
    void End() override;

private:
    void Forget(u64 now);
    bool TryOpen();
    void Lose();
    void StepMethod(u64 now);

    const IpmiSettings settings_;
    const std::unique_ptr<Bmc> bmc_;
    const std::unique_ptr<Bmc> control_;
    Mailbox *const mailbox_;
    const BackgroundClock clock_;
    PollSession session_;
    Publication publication_;
    Schedule schedule_;
    Methods methods_;
    u32 generation_ = 0;
    bool settled_ = false;
};

#endif
