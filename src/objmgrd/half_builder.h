// SPDX-License-Identifier: Apache-2.0
// half_builder.h -- the instances that a service has, and a half of the image made of them.
#ifndef OBJMGRD_HALF_BUILDER_H
#define OBJMGRD_HALF_BUILDER_H

#include "objmgr/image.h"

#include <map>
#include <string>

// By what stands before the number at the end of a key, then by that number: the shell walks lists
// in the order of their numbers.
struct KeyOrder {
    bool operator()(const std::string &a, const std::string &b) const;
};

struct StoredRecord {
    std::string bytes;  // packed (PackRecord)
    u32 hash = 0;       // of its key
};

class HalfBuilder
{
public:
    // The record of a key, or null.
    const StoredRecord *Find(const std::string &key) const;
    void Put(const std::string &key, std::string record);
    void Delete(const std::string &key);
    // Packed properties (PackProperties); empty: no plan.
    void SetFaults(std::string plan) { faults_ = std::move(plan); }
    const std::string &Faults() const { return faults_; }

    // Bytes that Build needs for what there is and `records` more records (fewer, when negative)
    // that take `bytes` more bytes, each padded to kImageRecordAlign, and a plan of faults of
    // `faults` bytes. Hardly ever more than that.
    u64 SizeWith(i64 records, i64 bytes, size_t faults) const;
    u64 Size() const { return SizeWith(0, 0, faults_.size()); }

    // The half of publish `count`. What it returns lives until the next call.
    const std::string &Build(u32 count);

private:
    u32 FillIndex(u32 slots, u32 records);

    std::map<std::string, StoredRecord, KeyOrder> records_;
    u64 recordBytes_ = 0;  // padded
    std::string faults_;
    std::string half_;
};

#endif
