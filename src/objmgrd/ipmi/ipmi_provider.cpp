// SPDX-License-Identifier: Apache-2.0
// ipmi_provider.cpp -- see ipmi_provider.h.
#include "objmgrd/ipmi/ipmi_provider.h"

namespace
{

// The worker with what it talks through, which the thread may need for longer than the provider.
class OwningWorker : public Conversation
{
public:
    OwningWorker(const IpmiSettings &settings, std::unique_ptr<Bmc> bmc,
                 std::unique_ptr<Bmc> control, Mailbox *mailbox, BackgroundClock clock)
        : settings_(settings), bmc_(std::move(bmc)), control_(std::move(control)),
          worker_(&settings_, bmc_.get(), control_.get(), mailbox, clock)
    {
    }
    u32 Step() override { return worker_.Step(); }
    void End() override { worker_.End(); }

private:
    const IpmiSettings settings_;
    const std::unique_ptr<Bmc> bmc_;
    const std::unique_ptr<Bmc> control_;
    Worker worker_;
};

}  // namespace

std::unique_ptr<Provider> MakeIpmiProvider(const IpmiSettings &settings, std::unique_ptr<Bmc> bmc,
                                           std::unique_ptr<Bmc> control,
                                           void (*log)(int priority, const char *line),
                                           BackgroundClock clock)
{
    const std::string name = IpmiBmcName(settings);
    const BackgroundOptions options = {.name = "ipmi",
                                       .source = "BMC " + name,
                                       .silent = "no answer from " + name,
                                       .lostMs = kStaleMs,
                                       .methodMs = settings.methodMs,
                                       .log = log,
                                       .clock = clock};
    return std::make_unique<BackgroundProvider>(options, [&](Mailbox *mailbox) {
        return std::make_unique<OwningWorker>(settings, std::move(bmc), std::move(control), mailbox,
                                              clock);
    });
}
