// SPDX-License-Identifier: Apache-2.0
// half_builder.cpp -- the instances that a service has, and a half of the image made of them.
#include "objmgrd/half_builder.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace
{

constexpr u32 kSlotsFewest = 8;
constexpr u32 kSlotsMostPerRecord = 64;

// Where the digits at the end of a key begin, zeros before them left out.
size_t NumberOf(const std::string &key)
{
    size_t at = key.size();
    while (at > 0 && key[at - 1] >= '0' && key[at - 1] <= '9')
        --at;
    while (at < key.size() && key[at] == '0')
        ++at;
    return at;
}

u64 Padded(const std::string &record)
{
    return ImageAlign(static_cast<u32>(record.size()));
}

// At most half full, so that a search is short.
u64 SlotsFor(u64 records)
{
    return std::bit_ceil(std::max<u64>(2 * records, kSlotsFewest));
}

}  // namespace

bool KeyOrder::operator()(const std::string &a, const std::string &b) const
{
    const size_t numberA = NumberOf(a);
    const size_t numberB = NumberOf(b);
    const int before = a.compare(0, numberA, b, 0, numberB);
    if (before != 0)
        return before < 0;
    if (a.size() - numberA != b.size() - numberB)
        return a.size() - numberA < b.size() - numberB;
    return a.compare(numberA, std::string::npos, b, numberB, std::string::npos) < 0;
}

const StoredRecord *HalfBuilder::Find(const std::string &key) const
{
    const auto found = records_.find(key);
    return found != records_.end() ? &found->second : nullptr;
}

void HalfBuilder::Put(const std::string &key, std::string record)
{
    StoredRecord &stored = records_[key];
    recordBytes_ += Padded(record) - Padded(stored.bytes);
    stored.bytes = std::move(record);
    stored.hash = ImageHash(key.data(), key.size());
}

void HalfBuilder::Delete(const std::string &key)
{
    const auto found = records_.find(key);
    if (found == records_.end())
        return;
    recordBytes_ -= Padded(found->second.bytes);
    records_.erase(found);
}

u64 HalfBuilder::SizeWith(i64 records, i64 bytes, size_t faults) const
{
    const u64 count = records_.size() + static_cast<u64>(records);
    return sizeof(ImageHalf) + SlotsFor(count) * sizeof(ImageSlot) + recordBytes_ +
           static_cast<u64>(bytes) + kImageRecordAlign + faults;
}

// The longest search that the index then needs. Its place in the half is all zeros before.
u32 HalfBuilder::FillIndex(u32 slots, u32 records)
{
    u32 longest = 0;
    u32 at = records;
    char *index = half_.data() + sizeof(ImageHalf);
    for (const auto &entry : records_) {
        const StoredRecord &record = entry.second;
        for (u32 probe = 0;; ++probe) {
            char *place = index + ((record.hash + probe) & (slots - 1)) * sizeof(ImageSlot);
            ImageSlot slot;
            memcpy(&slot, place, sizeof(slot));
            if (slot.record != 0)
                continue;
            slot = {htole32(record.hash), htole32(at)};
            memcpy(place, &slot, sizeof(slot));
            longest = std::max(longest, probe + 1);
            break;
        }
        at += static_cast<u32>(Padded(record.bytes));
    }
    return longest;
}

const std::string &HalfBuilder::Build(u32 count)
{
    u32 slots = static_cast<u32>(SlotsFor(records_.size()));
    u32 records;
    // Keys that crowd around a few places get more room, within reason.
    do {
        records = ImageAlign(static_cast<u32>(sizeof(ImageHalf) + slots * sizeof(ImageSlot)));
        half_.assign(records, '\0');
        slots *= 2;
    } while (FillIndex(slots / 2, records) > kImageProbesMax &&
             slots <= kSlotsMostPerRecord * records_.size());
    for (const auto &entry : records_) {
        half_ += entry.second.bytes;
        half_.resize(ImageAlign(static_cast<u32>(half_.size())), '\0');
    }
    const u32 recordsEnd = static_cast<u32>(half_.size());
    half_ += faults_;
    ImageHalf head = {};
    head.size = htole32(static_cast<u32>(half_.size()));
    head.count = htole32(count);
    head.slots = htole32(slots / 2);
    head.records = htole32(records);
    head.recordsEnd = htole32(recordsEnd);
    head.faults = htole32(recordsEnd);
    head.faultsSize = htole32(static_cast<u32>(faults_.size()));
    memcpy(half_.data(), &head, sizeof(head));
    return half_;
}
