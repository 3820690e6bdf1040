// SPDX-License-Identifier: Apache-2.0
// ipmi_provider.h -- a BMC as the object manager's source of data: the conversation with it
// (ipmi_conversation.h) behind the serving side of every slow source (background_provider.h).
#ifndef OBJMGRD_IPMI_IPMI_PROVIDER_H
#define OBJMGRD_IPMI_IPMI_PROVIDER_H

#include "objmgrd/ipmi/ipmi_conversation.h"

// Both sessions are used by the provider's own thread from Load on. clock: for tests.
std::unique_ptr<Provider> MakeIpmiProvider(const IpmiSettings &settings, std::unique_ptr<Bmc> bmc,
                                           std::unique_ptr<Bmc> control,
                                           void (*log)(int priority, const char *line),
                                           BackgroundClock clock = ClockMs);

#endif
