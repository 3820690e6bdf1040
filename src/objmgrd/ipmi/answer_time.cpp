// SPDX-License-Identifier: Apache-2.0
// answer_time.cpp -- see answer_time.h.
#include "objmgrd/ipmi/answer_time.h"

#include <algorithm>

namespace
{

constexpr u32 kDoublingsMax = 12;

}  // namespace

void AnswerTime::Took(u32 us)
{
    const u32 took = std::clamp(us, 1u, lastUs_);
    doublings_ = 0;
    if (averageUs_ == 0) {
        averageUs_ = took;
        deviationUs_ = took / 2;
        return;
    }
    const u32 off = took > averageUs_ ? took - averageUs_ : averageUs_ - took;
    deviationUs_ = (deviationUs_ * 3 + off) / 4;
    averageUs_ = std::max((averageUs_ * 7 + took) / 8, 1u);
}

void AnswerTime::NotEnough()
{
    doublings_ = std::min(doublings_ + 1, kDoublingsMax);
}

u32 AnswerTime::AgainUs() const
{
    const u32 usual = averageUs_ + std::max(deviationUs_ * 4, kAnswerMarginUs);
    const u32 once = IsKnown() ? std::min(usual, mostUs_) : mostUs_;
    return static_cast<u32>(std::min<u64>(u64{once} << doublings_, lastUs_));
}
