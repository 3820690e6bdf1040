// SPDX-License-Identifier: Apache-2.0
// opening_allowance.cpp -- see opening_allowance.h.
#include "objmgrd/ipmi/opening_allowance.h"

#include <algorithm>

u32 OpeningAllowance::Allows(u64 nowMs, bool urgent) const
{
    const u32 most = kOpeningsAtOnce + (urgent ? kOpeningsUrgent : 0);
    const u64 unpaidMs = paidMs_ - std::min(paidMs_, nowMs);
    const u64 unpaid = (unpaidMs + kOpeningRefillMs - 1) / kOpeningRefillMs;
    return most - static_cast<u32>(std::min<u64>(unpaid, most));
}

void OpeningAllowance::Left(u64 nowMs)
{
    paidMs_ = std::max(paidMs_, nowMs) + kOpeningRefillMs;
}
