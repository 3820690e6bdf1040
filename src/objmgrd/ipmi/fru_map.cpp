// SPDX-License-Identifier: Apache-2.0
// fru_map.cpp -- see fru_map.h. Layout: IPMI Platform Management FRU Information Storage
// Definition 1.0; offsets in the header count in units of 8 bytes.
#include "objmgrd/ipmi/fru_map.h"

#include "objmgrd/ipmi/ipmi_text.h"

#include <algorithm>

namespace
{

constexpr size_t kHeaderSize = 8;
constexpr u8 kEndOfFields = 0xC1;
constexpr char kDefaultManufacturer[] = "Qarn";
constexpr u8 kPowerSupplyRecord = 0x00;
constexpr size_t kRecordHeaderSize = 5;

bool SumIsZero(const u8 *bytes, size_t size)
{
    u8 sum = 0;
    for (size_t i = 0; i < size; ++i)
        sum = static_cast<u8>(sum + bytes[i]);
    return sum == 0;
}

// Fields of type/length and text, one after the other.
class Fields
{
public:
    // An area from `offset` (of the header) on, whose fields begin `first` bytes into it. Sums of
    // areas are not looked at: many a FRU in the field was changed without them.
    Fields(const u8 *bytes, size_t size, u8 offset, size_t first)
    {
        const size_t start = size_t{offset} * 8;
        if (offset == 0 || start + 2 > size)
            return;
        const size_t end = std::min(size, start + size_t{bytes[start + 1]} * 8);
        if (start + first >= end)
            return;
        at_ = bytes + start + first;
        end_ = bytes + end;
    }
    // The next field's text; "" beyond the last.
    std::string Next()
    {
        if (at_ == end_ || *at_ == kEndOfFields) {
            at_ = end_;
            return "";
        }
        const u8 typeLength = *at_++;
        const size_t length = typeLength & 0x3f;
        if (length > static_cast<size_t>(end_ - at_)) {
            at_ = end_;
            return "";
        }
        const u8 *field = at_;
        at_ += length;
        return IpmiText(static_cast<IpmiEncoding>(typeLength >> 6), field, length, true);
    }

private:
    const u8 *at_ = nullptr;
    const u8 *end_ = nullptr;
};

void TakeChassis(const u8 *bytes, size_t size, FruFacts *facts)
{
    Fields fields(bytes, size, bytes[2], 3);
    fields.Next();  // part number
    facts->chassisSerial = fields.Next();
}

void TakeBoard(const u8 *bytes, size_t size, FruFacts *facts)
{
    Fields fields(bytes, size, bytes[3], 6);
    facts->boardManufacturer = fields.Next();
    facts->boardProduct = fields.Next();
    facts->boardSerial = fields.Next();
}

void TakeProduct(const u8 *bytes, size_t size, FruFacts *facts)
{
    Fields fields(bytes, size, bytes[4], 3);
    facts->productManufacturer = fields.Next();
    facts->productName = fields.Next();
    fields.Next();  // part number
    fields.Next();  // version
    facts->productSerial = fields.Next();
}

void TakeRecords(const u8 *bytes, size_t size, FruFacts *facts)
{
    size_t at = size_t{bytes[5]} * 8;
    while (at != 0 && at + kRecordHeaderSize <= size) {
        const u8 *record = bytes + at;
        const size_t length = record[2];
        if (!SumIsZero(record, kRecordHeaderSize) || at + kRecordHeaderSize + length > size)
            return;
        if (record[0] == kPowerSupplyRecord && length >= 2 && !facts->hasWattage) {
            facts->hasWattage = true;
            facts->wattage = (record[5] | (static_cast<u32>(record[6]) << 8)) & 0xfff;
        }
        if ((record[1] & 0x80) != 0)
            return;
        at += kRecordHeaderSize + length;
    }
}

const std::string &FirstOf(const std::string &a, const std::string &b)
{
    return !a.empty() ? a : b;
}

}  // namespace

FruFacts FruParse(const u8 *bytes, size_t sizeBytes)
{
    FruFacts facts;
    if (sizeBytes < kHeaderSize || (bytes[0] & 0xf) != 1 || !SumIsZero(bytes, kHeaderSize))
        return facts;
    TakeChassis(bytes, sizeBytes, &facts);
    TakeBoard(bytes, sizeBytes, &facts);
    TakeProduct(bytes, sizeBytes, &facts);
    TakeRecords(bytes, sizeBytes, &facts);
    return facts;
}

Identity FruIdentity(const FruFacts &facts)
{
    Identity identity;
    identity.serviceTag =
        FirstOf(facts.productSerial, FirstOf(facts.chassisSerial, facts.boardSerial));
    identity.description = FirstOf(facts.productName, facts.boardProduct);
    identity.oem = FirstOf(facts.productManufacturer, facts.boardManufacturer);
    if (identity.oem.empty() || identity.oem == kDefaultManufacturer)
        identity.oem = "0";
    return identity;
}
