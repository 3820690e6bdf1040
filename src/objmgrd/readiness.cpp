// SPDX-License-Identifier: Apache-2.0
// readiness.cpp -- see readiness.h.
#include "objmgrd/readiness.h"

std::string Readiness::StatusOf(const std::vector<SourceState> &sources) const
{
    std::string status = serving_;
    for (const SourceState &source : sources) {
        if (!ready_)
            status += "; " + source.name + " is being read";
        else if (!source.answers)
            status += "; " + source.name + " cannot be read";
    }
    return status;
}

void Readiness::Look(bool ready, const std::vector<SourceState> &sources, u64 nowMs)
{
    ready_ = ready_ || ready;
    const std::string status = StatusOf(sources);
    if (status != status_)
        notify_->Status(status);
    status_ = status;
    if (!told_ && (ready_ || nowMs >= untilMs_)) {
        notify_->Ready();
        told_ = true;
    }
}
