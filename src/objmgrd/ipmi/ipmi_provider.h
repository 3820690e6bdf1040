// SPDX-License-Identifier: Apache-2.0
// ipmi_provider.h -- a BMC as the object manager's source of data.
//
// A thread of its own talks to the BMC (worker.h); this is the serving side. It puts what the
// thread has read into the store, and sees to it that nothing old stays there: when the BMC has
// given no good answer for kStaleMs, every instance that came from it gets the status kCimFailed.
// The keys stay, so that a walk over the sensors meets a failure and not an early end.
//
// Methods: Start, Stop, Reset of OEM_QARN_System and Clear of OEM_QARN_MessageLog.Name=SEL, with
// the statuses of the simulated server (sim_provider.h). Besides: kCimAccessDenied when the BMC
// refuses it to the service's user; kCimFailed when it was not seen to be done within method_ms.
#ifndef OBJMGRD_IPMI_IPMI_PROVIDER_H
#define OBJMGRD_IPMI_IPMI_PROVIDER_H

#include "objmgrd/ipmi/worker.h"

#include <memory>
#include <pthread.h>
#include <set>

class IpmiProvider : public Provider
{
public:
    using Log = void (*)(int priority, const char *line);

    // Both sessions are used by the provider's own thread from Load on. clock: for tests; null:
    // CLOCK_MONOTONIC.
    IpmiProvider(const IpmiSettings &settings, std::unique_ptr<Bmc> bmc,
                 std::unique_ptr<Bmc> control, Log log, Worker::Clock clock = nullptr);
    // Ends the thread; one that hangs in the system's driver is left behind.
    ~IpmiProvider() override;
    IpmiProvider(const IpmiProvider &) = delete;
    IpmiProvider &operator=(const IpmiProvider &) = delete;

    const char *Name() const override { return "ipmi"; }
    int Load(StoreWriter *store) override;
    ProviderReply Invoke(const Caller &caller, const MethodRequest &request,
                         StoreWriter *store) override;
    void Committed(bool done) override;
    u32 TickMs() const override { return 100; }
    void Tick(StoreWriter *store, std::vector<ProviderAnswer> *answers) override;
    bool Ready() const override { return ready_; }
    int PollFd() const override;

private:
    // What the thread uses; it outlives the provider where the thread does.
    struct Shared;

    void Take(News &&news, std::vector<ProviderAnswer> *answers);
    void FailAll();
    void Watch();
    void AnswerLate(std::vector<ProviderAnswer> *answers);

    std::shared_ptr<Shared> shared_;
    const Log log_;
    pthread_t thread_ = {};
    bool started_ = false;
    std::set<std::string> keys_;  // instances that the store holds
    StoreChanges unsaved_;        // what the store does not hold yet
    bool ready_ = false;
    bool failed_ = true;  // nothing of the BMC is served
    std::string why_;     // the last reason that was logged
    u64 nextTicket_ = 1;
    std::map<u64, u64> open_;  // tickets and when they are due
};

#endif
