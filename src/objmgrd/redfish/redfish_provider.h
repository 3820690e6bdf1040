// SPDX-License-Identifier: Apache-2.0
// redfish_provider.h -- a Redfish service as the object manager's source of data.
#ifndef OBJMGRD_REDFISH_REDFISH_PROVIDER_H
#define OBJMGRD_REDFISH_REDFISH_PROVIDER_H

#include "objmgrd/background/background_provider.h"
#include "objmgrd/redfish/conversation.h"

// The conversation runs in the background (background_provider.h).
std::unique_ptr<Provider> MakeRedfishProvider(const RedfishSettings &settings,
                                              std::shared_ptr<const Password> password,
                                              void (*log)(int priority, const char *line),
                                              BackgroundClock clock = ClockMs);

#endif
