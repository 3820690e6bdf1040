// SPDX-License-Identifier: Apache-2.0
// ipmi_provider.cpp -- see ipmi_provider.h.
#include "objmgrd/ipmi/ipmi_provider.h"

std::unique_ptr<Provider> MakeIpmiProvider(const IpmiSettings &settings, std::unique_ptr<Bmc> bmc,
                                           std::unique_ptr<Bmc> control,
                                           void (*log)(int priority, const char *line),
                                           BackgroundClock clock)
{
    const std::string name = IpmiBmcName(settings);
    const BackgroundOptions options = {.name = "ipmi",
                                       .source = "BMC " + name,
                                       .silent = "no answer from " + name,
                                       .lostMs = IpmiLostMs(settings),
                                       .methodMs = settings.methodMs,
                                       .log = log,
                                       .clock = clock};
    return std::make_unique<BackgroundProvider>(options, [&](Mailbox *mailbox) {
        return std::make_unique<IpmiConversation>(settings, std::move(bmc), std::move(control),
                                                  mailbox, clock);
    });
}
