// SPDX-License-Identifier: Apache-2.0
// mailbox.h -- what passes between the thread that serves clients and the one that talks to the
// BMC. Every function may be called from either, unless it says whose it is.
//
// Generations. When the serving thread finds that the BMC has not answered for too long, it
// declares everything void that it was given so far (Void). From then on nothing of the older
// generation is taken, so that no value read before can come back; the other thread sees the new
// generation and gives everything again once it has read it afresh.
#ifndef OBJMGRD_IPMI_MAILBOX_H
#define OBJMGRD_IPMI_MAILBOX_H

#include "objmgrd/provider.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <optional>

// Methods that wait for the BMC at a time: as many as clients can be connected.
constexpr size_t kMailboxOrdersMax = 64;
constexpr size_t kMailboxLinesMax = 64;

enum class OrderKind : u8 { Start, Stop, Reset, PowerCycle, Clear };

struct Order {
    u64 ticket = 0;
    OrderKind kind = OrderKind::Start;
    u64 dueMs = 0;  // on the service's clock: not begun after this, and answered by then
};

// By key; nothing instead of an instance: there is none any more.
using StoreChanges = std::map<std::string, std::optional<Instance>>;

struct LogLine {
    int priority;
    std::string text;
};

struct News {
    // The BMC was lost: whatever clients have been shown fails before `changes` are made. why is
    // one line for the administrator.
    bool lost = false;
    std::string why;
    // Everything that there is to read has been read once.
    bool settled = false;
    StoreChanges changes;
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
    int Fd() const { return fd_; }
    // Takes all news; what was posted together is taken together.
    News Take();
    // False: too many orders wait already.
    bool Give(const Order &order);
    // Declares a new generation.
    void Void();
    // Tells the other thread to end.
    void Stop();

    // ---- the BMC's thread ----
    u32 Generation() const { return generation_; }
    // Adds news; of an older generation only the answers and the lines are taken. A loss takes
    // the place of every change that has not been fetched.
    void Post(u32 generation, News news);
    bool NextOrder(Order *order);
    bool HasOrder();
    bool Stopped() const { return stopped_; }
    // Waits for an order (where orders are wanted), a generation other than this one, the end, or
    // until the time is over.
    void Wait(u32 generation, bool orders, u32 ms);

    // When the BMC last gave a good answer, on the service's clock; 0: never.
    std::atomic<u64> goodAnswerMs = 0;

private:
    void Wake();

    const int fd_;
    std::mutex mutex_;
    std::condition_variable wake_;
    News news_;
    std::deque<Order> orders_;
    std::atomic<u32> generation_ = 0;
    std::atomic<bool> stopped_ = false;
};

#endif
