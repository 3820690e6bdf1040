// SPDX-License-Identifier: Apache-2.0
// conversation.h -- what a slow source of data has of its own: how one talks to it.
//
// background_provider.h has everything else: the thread that calls Step, the mailbox between the
// two threads, the watch over the source, answers that come late. A new source implements this
// class alone, and its main hands it over:
//
//   class MyConversation : public Conversation { u32 Step() override; ... };
//   BackgroundProvider provider(options, [=](Mailbox *mailbox) {
//       return std::make_unique<MyConversation>(settings, mailbox, clock);
//   });
//
// What a conversation promises:
//   - One order at a time. It asks for it (Mailbox::NextOrder) in the step that it begins it in,
//   and
//     posts one answer for it, by order.dueMs at the latest and never before the changes that show
//     its effect: those and the answer go in one Post, or the answer in a later one. An order is
//     taken before anything else is read.
//   - What orders do is done at most once. Before it is sent, Mailbox::Waits says whether anybody
//     still waits for it; what nobody waits for is not done.
//   - Good answers of the source are noted in Mailbox::heardMs.
//   - A source that is lost is posted as such (News::lost), and so is every later reason. From then
//     on everything is read again before it is given.
//   - When Mailbox::Generation is another than in the step before, the serving side has declared
//   the
//     source lost: likewise everything is read again before it is given. Post takes the generation
//     that the news were read in.
#ifndef OBJMGRD_BACKGROUND_CONVERSATION_H
#define OBJMGRD_BACKGROUND_CONVERSATION_H

#include "platform/types.h"

class Conversation
{
public:
    virtual ~Conversation() = default;
    // One step: one request at most, so that an order never waits for more than the request in
    // flight. Returns after how many milliseconds the next one is due, 0: at once. The thread waits
    // meanwhile, and calls again sooner when there is an order, a new generation or the end. A
    // conversation with descriptors of its own waits for them in here instead, together with
    // Mailbox::WakeFd, and returns 0.
    virtual u32 Step() = 0;
    // The last call: gives sessions back. Takes a second at the most.
    virtual void End() {}
};

#endif
