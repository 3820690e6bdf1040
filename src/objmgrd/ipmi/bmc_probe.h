// SPDX-License-Identifier: Apache-2.0
// bmc_probe.h -- how long a BMC takes for an answer, before there is a session with it.
#ifndef OBJMGRD_IPMI_BMC_PROBE_H
#define OBJMGRD_IPMI_BMC_PROBE_H

#include "platform/types.h"

#include <string>

// Asks for the channel's authentication capabilities, which a BMC tells everybody, again after
// kProbeFirstMs and then after twice as long each time. Returns the microseconds from a question to
// its own answer; 0: none came within limitMs, or the host has no address. Blocks meanwhile.
constexpr u32 kProbeFirstMs = 25;
u32 BmcProbe(const std::string &host, u32 port, u32 limitMs);

#endif
