// SPDX-License-Identifier: Apache-2.0
// redfish_provider.cpp -- see redfish_provider.h.
#include "objmgrd/redfish/redfish_provider.h"

std::unique_ptr<Provider> MakeRedfishProvider(const RedfishSettings &settings,
                                              std::shared_ptr<const Password> password,
                                              void (*log)(int priority, const char *line),
                                              BackgroundClock clock)
{
    const std::string &name = settings.origin.host;
    const BackgroundOptions options = {
        .name = "redfish",
        .source = "Redfish service " + name,
        .silent = "no answer from " + name,
        .lostMs = settings.lostMs,
        .methodMs = settings.methodMs,
        .parts = {std::begin(kRedfishParts), std::end(kRedfishParts)},
        .log = log,
        .clock = clock};
    return std::make_unique<BackgroundProvider>(options, [&](Mailbox *mailbox) {
        return std::make_unique<RedfishConversation>(settings, std::move(password), mailbox, clock);
    });
}
