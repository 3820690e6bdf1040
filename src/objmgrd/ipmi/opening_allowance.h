// SPDX-License-Identifier: Apache-2.0
// opening_allowance.h -- how often a session may be opened in vain.
//
// A session that is given up while it is opened stays with the BMC, for a minute at the most. BMCs
// hold few: who tries too often has none left for himself, nor has anybody else. So openings that
// came to nothing are paid for: some at once, and then one in a while. No clock is read here.
#ifndef OBJMGRD_IPMI_OPENING_ALLOWANCE_H
#define OBJMGRD_IPMI_OPENING_ALLOWANCE_H

#include "platform/types.h"

// So many at once, and one more after each such time.
constexpr u32 kOpeningsAtOnce = 6;
constexpr u32 kOpeningRefillMs = 5000;
// A command that somebody waits for may have so many more.
constexpr u32 kOpeningsUrgent = 10;

class OpeningAllowance
{
public:
    // How many may be tried.
    u32 Allows(u64 nowMs, bool urgent) const;
    // One was tried in vain, and the BMC was asked for a session.
    void Left(u64 nowMs);

private:
    u64 paidMs_ = 0;  // all are paid for
};

#endif
