// SPDX-License-Identifier: Apache-2.0
// mailbox.h -- what passes between the thread that serves clients and the one that talks to the
// source. Every function may be called from either, unless it says whose it is.
//
// Generations. When the serving thread finds that the source has not answered for too long, it
// declares everything void that it was given so far (Void). From then on no instance of the older
// generation is taken, so that no value read before can come back; the other thread sees the new
// generation and gives everything again once it has read it afresh. What is gone it says once: that
// is taken of any generation, and no loss takes its place.
#ifndef OBJMGRD_BACKGROUND_MAILBOX_H
#define OBJMGRD_BACKGROUND_MAILBOX_H

#include "objmgrd/provider.h"

#include <atomic>
#include <deque>
#include <map>
#include <mutex>
#include <optional>

// Methods that wait for the source at a time: as many as clients can be connected.
constexpr size_t kMailboxOrdersMax = 64;
constexpr size_t kMailboxLinesMax = 64;

// The methods of the system and of the log.
enum class OrderKind : u8 { Start, Stop, Reset, PowerCycle, Clear };

struct Order {
    u64 ticket = 0;
    OrderKind kind = OrderKind::Start;
    u64 dueMs = 0;                                     // on the service's clock: answered by then
    std::shared_ptr<const CallerLink> link = nullptr;  // null: somebody always waits
};

// By key; nothing instead of an instance: there is none any more.
using StoreChanges = std::map<std::string, std::optional<Instance>>;
// Drops the instances; what says that there is none any more stays.
void KeepRemovals(StoreChanges *changes);

struct LogLine {
    int priority;  // of <syslog.h>
    std::string text;
};

struct News {
    // The source was lost: whatever clients have been shown fails before `changes` are made. why is
    // one line for the administrator.
    bool lost = false;
    std::string why;
    // Everything that there is to read has been read once.
    bool settled = false;
    StoreChanges changes;
    // Parts of the source (BackgroundOptions::parts) and when each was heard, on the service's
    // clock; 0: it is silent.
    std::map<u16, u64> heard;
    std::vector<ProviderAnswer> answers;
    std::vector<LogLine> lines;
};

class Mailbox
{
public:
    Mailbox();
    ~Mailbox();
    Mailbox(const Mailbox &) = delete;
    Mailbox &operator=(const Mailbox &) = delete;

    // ---- the serving thread ----
    // Readable while there is news; -1 where the system had none to give.
    int Fd() const { return newsFd_; }
    // Takes all news; what was posted together is taken together.
    News Take();
    // False: too many orders wait already.
    bool Give(const Order &order);
    // Nobody waits for this order any more.
    void Withdraw(u64 ticket);
    // Declares a new generation.
    void Void();
    // Tells the other thread to end.
    void Stop();

    // ---- the source's thread ----
    u32 Generation() const { return generation_; }
    // Adds news; of an older generation only removals, answers and lines are taken. A loss takes
    // the place of every instance that has not been fetched.
    void Post(u32 generation, News news);
    // The oldest order that somebody waits for; those before it are dropped.
    bool NextOrder(Order *order);
    bool HasOrder();
    // Whether somebody waits for the order that NextOrder gave out last: asks the caller's
    // connection, too, which the serving thread may not have looked at for a while.
    bool Waits(u64 ticket);
    bool Stopped() const { return stopped_; }
    // Waits until the time is over, or something came since the last waiting: an order, a new
    // generation, the end.
    void Wait(u32 ms);
    // Becomes readable when Wait would end early, for a thread that waits for descriptors of its
    // own as well; Wait(0) makes it unreadable again. -1 where the system had none to give.
    int WakeFd() const { return wakeFd_; }

    // When the source last gave a good answer, on the service's clock; 0: never.
    std::atomic<u64> heardMs = 0;

private:
    const int newsFd_;
    const int wakeFd_;
    std::mutex mutex_;
    News news_;
    bool newsRaised_ = false;  // newsFd_ is readable
    std::deque<Order> orders_;
    u64 inHand_ = 0;  // the order that was given out last; 0: nobody waits for it
    std::shared_ptr<const CallerLink> inHandLink_;
    std::atomic<u32> generation_ = 0;
    std::atomic<bool> stopped_ = false;
};

#endif
