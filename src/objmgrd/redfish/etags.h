// SPDX-License-Identifier: Apache-2.0
// etags.h -- which ETags of a service are believed.
//
// An ETag that stays while its document says something else would show an old reading as a new one.
// So those of a group of documents count only after kEtagProofs documents of it came with other
// words and another ETag, and none with other words and the same; and each document is read whole
// again after kEtagUses answers that it is unchanged.
#ifndef OBJMGRD_REDFISH_ETAGS_H
#define OBJMGRD_REDFISH_ETAGS_H

#include "platform/types.h"

#include <map>
#include <string>

constexpr u32 kEtagProofs = 3;
constexpr u32 kEtagUses = 5;

class EtagBook
{
public:
    // What to ask for a document with; "": for all of it. group: documents of one make, which the
    // caller numbers.
    std::string For(u32 group, const std::string &link);
    // A whole document came. etag: "" where it has none. hash: of its bytes.
    void Take(u32 group, const std::string &link, const std::string &etag, u64 hash);
    // It did not come: what is known of it may be old.
    void Drop(const std::string &link) { entries_.erase(link); }
    // All documents were read by another way.
    void DropAll() { entries_.clear(); }
    // Also what was learned about the groups.
    void Clear();

private:
    struct Entry {
        std::string etag;
        u64 hash = 0;
        u32 uses = 0;
    };
    struct Group {
        u32 proofs = 0;
        bool broken = false;
    };
    std::map<std::string, Entry> entries_;
    std::map<u32, Group> groups_;
};

#endif
