// SPDX-License-Identifier: Apache-2.0
// answer_time.h -- how long a BMC takes for an answer, and so when a request without one is sent
// again.
//
// As TCP does it (RFC 6298): the average of what answers took and four times their deviation, and
// double after each time that it was not enough. What was sent again tells nothing, since nobody
// knows which of both was answered. Times are in microseconds; no clock is read here.
#ifndef OBJMGRD_IPMI_ANSWER_TIME_H
#define OBJMGRD_IPMI_ANSWER_TIME_H

#include "platform/types.h"

// A BMC that answers at once is given this much more.
constexpr u32 kAnswerMarginUs = 2000;

class AnswerTime
{
public:
    // mostUs: never waits longer, unless that was not enough; lastUs: nor longer than this.
    AnswerTime(u32 mostUs, u32 lastUs) : mostUs_(mostUs), lastUs_(lastUs) {}

    // An answer came in this time, and its request was sent once.
    void Took(u32 us);
    // None came in AgainUs.
    void NotEnough();
    // A request without an answer is sent again after this; mostUs as long as nothing is known.
    u32 AgainUs() const;
    bool IsKnown() const { return averageUs_ != 0; }

private:
    u32 mostUs_;
    u32 lastUs_;
    u32 averageUs_ = 0;  // 0: nothing is known
    u32 deviationUs_ = 0;
    u32 doublings_ = 0;
};

#endif
