// SPDX-License-Identifier: Apache-2.0
// etags.cpp -- see etags.h.
#include "objmgrd/redfish/etags.h"

std::string EtagBook::For(u32 group, const std::string &link)
{
    const Group &known = groups_[group];
    const auto at = entries_.find(link);
    if (at == entries_.end() || known.broken || known.proofs < kEtagProofs ||
        at->second.uses >= kEtagUses)
        return "";
    ++at->second.uses;
    return at->second.etag;
}

void EtagBook::Take(u32 group, const std::string &link, const std::string &etag, u64 hash)
{
    Group &known = groups_[group];
    const auto at = entries_.find(link);
    if (at != entries_.end() && at->second.hash != hash) {
        if (at->second.etag == etag)
            known.broken = true;
        else
            ++known.proofs;
    }
    if (etag.empty() || known.broken)
        entries_.erase(link);
    else
        entries_[link] = {etag, hash, 0};
}

void EtagBook::Clear()
{
    entries_.clear();
    groups_.clear();
}
