// SPDX-License-Identifier: Apache-2.0
// readiness.h -- what the init system is told of a service, besides that it works: when it is
// ready, and whether its sources can be read.
//
// Ready is a service whose store shows what its sources say, or whose sources are known not to be
// had: what is started after it finds something there. A source that does not even fail holds it up
// until a given time and no longer. So a silent source never keeps a service from starting: it may
// be back at any moment, and clients are told of it by the store.
#ifndef OBJMGRD_READINESS_H
#define OBJMGRD_READINESS_H

#include "objmgrd/notify.h"
#include "objmgrd/provider.h"

#include <string>
#include <vector>

class Readiness
{
public:
    // `notify` must outlive this. `serving` is one line for whoever asks how the service is; what
    // there is to say of a source stands behind it. It is ready at untilMs at the latest.
    Readiness(Notify *notify, const std::string &serving, u64 untilMs)
        : notify_(notify), serving_(serving), untilMs_(untilMs)
    {
    }

    // Tells what has changed since the last call. `ready`: the provider is (provider.h), and what
    // it shows is published; once is enough. nowMs and untilMs are on the same clock.
    void Look(bool ready, const std::vector<SourceState> &sources, u64 nowMs);

private:
    std::string StatusOf(const std::vector<SourceState> &sources) const;

    Notify *notify_;
    const std::string serving_;
    const u64 untilMs_;
    bool ready_ = false;  // as the provider says
    bool told_ = false;
    std::string status_;  // the last that was told
};

#endif
