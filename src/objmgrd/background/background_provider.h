// SPDX-License-Identifier: Apache-2.0
// background_provider.h -- a source that may be slow as the object manager's source of data.
//
// A thread of its own talks to the source (conversation.h); this is the serving side, which never
// waits. It puts what the thread has read into the store, and sees to it that nothing old stays
// there: when the source has given no good answer for lostMs, every instance that came from it gets
// the status kCimFailed. The keys stay, so that a walk over the sensors meets a failure and not an
// early end.
//
// Methods: Start, Stop, Reset of OEM_QARN_System and Clear of OEM_QARN_MessageLog.Name=SEL, with
// the statuses of the simulated server (sim_provider.h). Besides: kCimAccessDenied when the source
// refuses it to the service's user; kCimFailed when it was not seen to be done within methodMs.
#ifndef OBJMGRD_BACKGROUND_BACKGROUND_PROVIDER_H
#define OBJMGRD_BACKGROUND_BACKGROUND_PROVIDER_H

#include "objmgrd/background/conversation.h"
#include "objmgrd/background/mailbox.h"
#include "platform/clock.h"

#include <functional>
#include <memory>
#include <pthread.h>
#include <set>

using BackgroundClock = u64 (*)();  // milliseconds, never going back

struct BackgroundOptions {
    const char *name;    // of the provider: "ipmi"
    std::string source;  // for the administrator's log: "BMC 192.0.2.10"
    std::string
        silent;    // why it cannot be read when it gives no answer: "no answer from 192.0.2.10"
    u32 lostMs;    // without a good answer for this long the source counts as lost
    u32 methodMs;  // a method is answered at the latest
    // Seconds that the thread has at the end for the request that it is in; after them it is left
    // behind.
    u32 joinS = 5;
    // Parts of the source that are heard each for itself (News::heard), by number from 0, for
    // tools: "power", "log". An instance names its part as Instance::source; one that names none is
    // the source's as a whole.
    std::vector<const char *> parts = {};
    // Called on the serving thread with a priority of <syslog.h> and one line.
    void (*log)(int priority, const char *line);
    BackgroundClock clock = ClockMs;
};

class BackgroundProvider : public Provider
{
public:
    // Called once, in the constructor. What it makes is used by the provider's own thread from
    // Load on, and outlives the provider where that thread hangs: it refers to nothing that the
    // provider's owner may destroy. The mailbox lives as long as the conversation.
    using Maker = std::function<std::unique_ptr<Conversation>(Mailbox *mailbox)>;

    BackgroundProvider(const BackgroundOptions &options, const Maker &make);
    // Ends the thread, or leaves it behind after joinS.
    ~BackgroundProvider() override;
    BackgroundProvider(const BackgroundProvider &) = delete;
    BackgroundProvider &operator=(const BackgroundProvider &) = delete;

    const char *Name() const override { return options_.name; }
    int Load(ImageWriter *store) override;
    bool Has(const std::string &key) const override;
    ProviderReply Invoke(const MethodCall &call, ImageWriter *store) override;
    void Withdraw(u64 ticket) override;
    void Committed(bool done) override;
    // When something is due here; what the thread has read wakes the server by itself.
    u32 TickMs() const override;
    void Tick(ImageWriter *store, std::vector<ProviderAnswer> *answers) override;
    // A little more than methodMs, so that the answer that it took too long still arrives.
    u32 MethodTimeoutMs() const override;
    std::vector<SourceState> Sources() const override { return {{options_.source, !failed_}}; }
    bool Ready() const override { return ready_; }
    int PollFd() const override;

private:
    // What the thread uses; it outlives the provider where the thread does.
    struct Shared;

    static void Run(Shared *shared);
    void Take(News &&news, std::vector<ProviderAnswer> *answers);
    void FailAll();
    void Watch();
    void TellHeard(ImageWriter *store);
    void AnswerLate(std::vector<ProviderAnswer> *answers);

    const BackgroundOptions options_;
    std::shared_ptr<Shared> shared_;
    pthread_t thread_ = {};
    bool started_ = false;
    std::set<std::string> keys_;  // instances that the store holds
    StoreChanges unsaved_;        // what the store does not hold yet
    bool ready_ = false;
    bool failed_ = true;  // nothing of the source is served
    std::string why_;     // the last reason that was logged
    u16 source_ = kImageNoSource;
    std::vector<u16> parts_;     // of the store
    std::map<u16, u64> untold_;  // parts that were heard since, as News::heard
    u64 heardMs_ = 0;            // as the store has it; 0: as one that is silent
    u64 nextTicket_ = 1;
    std::map<u64, u64> open_;  // tickets and when they are due
};

#endif
