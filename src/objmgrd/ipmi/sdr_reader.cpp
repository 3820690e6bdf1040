// SPDX-License-Identifier: Apache-2.0
// sdr_reader.cpp -- see sdr_reader.h.
#include "objmgrd/ipmi/sdr_reader.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace
{

constexpr u16 kFirstId = 0x0000;
constexpr u16 kLastId = 0xFFFF;
constexpr u8 kHeaderSize = 5;
constexpr u32 kReservationsMax = 16;  // that others may cancel during one record

// Bytes asked for at once, from the most. The first asks for the whole record; 16 is what every BMC
// can return.
constexpr u8 kPartSizes[] = {0xFF, 64, 48, 32, 22, 16};
constexpr u32 kPartSmallest = std::size(kPartSizes) - 1;

bool IsWhole(u32 part)
{
    return part == 0;
}

}  // namespace

void SdrReader::Start()
{
    phase_ = Phase::Info;
    changed_ = false;
    lostReservations_ = 0;
}

ReadStep SdrReader::Step(Bmc *bmc)
{
    switch (phase_) {
    case Phase::Info:
        return StepInfo(bmc);
    case Phase::Reserve:
        return StepReserve(bmc);
    case Phase::Record:
        break;
    }
    return StepRecord(bmc);
}

ReadStep SdrReader::Fail(const BmcAnswer &answer)
{
    code_ = answer.code;
    return answer.came ? ReadStep::Failed : ReadStep::Lost;
}

ReadStep SdrReader::StepInfo(Bmc *bmc)
{
    const BmcAnswer answer = bmc->Ask({kNetFnStorage, kGetSdrInfo, 0, {}});
    if (!answer.Done(13))
        return Fail(answer);
    fresh_ = {BmcWord(answer.data + 1), BmcLong(answer.data + 5), BmcLong(answer.data + 9)};
    if (known_ && fresh_ == stamp_) {
        changed_ = std::exchange(recalled_, false);
        return ReadStep::Done;
    }
    recalled_ = false;
    phase_ = Phase::Record;
    reading_.clear();
    skipping_.clear();
    asked_.assign(kLastId + 1u, false);
    recordsRead_ = 0;
    probes_ = 0;
    part_ = 0;
    reservation_ = 0;
    BeginRecord(kFirstId);
    if (fresh_.records != 0)
        return ReadStep::More;
    nextId_ = kLastId;
    return NextRecord();
}

void SdrReader::BeginRecord(u16 id)
{
    id_ = id;
    asked_[id] = true;
    nextKnown_ = false;
    again_ = probes_ != 0;
    partBefore_ = part_;
    lostReservations_ = 0;
    record_.clear();
}

// For records in parts, and again when somebody else's reservation ended ours. A whole record needs
// none, and ours would end that of another reader.
ReadStep SdrReader::StepReserve(Bmc *bmc)
{
    const BmcAnswer answer = bmc->Ask({kNetFnStorage, kReserveSdr, 0, {}});
    if (!answer.came)
        return ReadStep::Lost;
    // Some BMCs know no reservations and take 0 for parts, too.
    reservation_ = answer.Done(2) ? BmcWord(answer.data) : u16{0};
    record_.clear();
    phase_ = Phase::Record;
    return ReadStep::More;
}

ReadStep SdrReader::StepRecord(Bmc *bmc)
{
    const size_t at = record_.size();
    if (at > 0xFF)
        return Skip(kBmcDone);
    u8 count = kPartSizes[part_];
    if (!IsWhole(part_) && at < kHeaderSize)
        count = static_cast<u8>(kHeaderSize - at);
    else if (!IsWhole(part_))
        count = static_cast<u8>(std::min<size_t>(count, kHeaderSize + record_[4] - at));
    const BmcAnswer answer = bmc->Ask({kNetFnStorage,
                                       kGetSdr,
                                       6,
                                       {LowByte(reservation_), HighByte(reservation_), LowByte(id_),
                                        HighByte(id_), static_cast<u8>(at), count}});
    if (!answer.came)
        return ReadStep::Lost;
    if (answer.code != kBmcDone)
        return RecordRefused(answer.code);
    return answer.size >= 3 ? TakePart(answer) : Skip(kBmcDone);
}

ReadStep SdrReader::RecordRefused(u8 code)
{
    code_ = code;
    if (code == kBmcReservationLost) {
        phase_ = Phase::Reserve;
        return ++lostReservations_ <= kReservationsMax ? ReadStep::More : ReadStep::Failed;
    }
    // These say something about the moment, or about us, and nothing about the record.
    if (code == kBmcDenied || BmcIsBusy(code))
        return ReadStep::Failed;
    // The header is no more than every BMC returns.
    const bool header = !IsWhole(part_) && record_.size() < kHeaderSize;
    const bool none = code == kBmcNotPresent || (probes_ != 0 && !IsTooMuch(code));
    if (none || header || part_ == kPartSmallest)
        return Skip(code);
    // Parts need a reservation, and the whole record none.
    if (IsWhole(part_))
        phase_ = Phase::Reserve;
    // A size that is more than what is left would be the same request again.
    const size_t rest = record_.empty() ? kPartSizes[0] : kHeaderSize + record_[4] - record_.size();
    do {
        ++part_;
    } while (part_ < kPartSmallest && kPartSizes[part_] >= rest);
    return ReadStep::More;
}

ReadStep SdrReader::TakePart(const BmcAnswer &answer)
{
    nextId_ = BmcWord(answer.data);
    nextKnown_ = true;
    record_.insert(record_.end(), answer.data + 2, answer.data + answer.size);
    const bool enough =
        record_.size() >= kHeaderSize && record_.size() >= size_t{kHeaderSize} + record_[4];
    if (enough)
        return TakeRecord();
    // A record that was asked for as a whole and came in part: again in parts.
    if (IsWhole(part_)) {
        phase_ = Phase::Reserve;
        ++part_;
    }
    return ReadStep::More;
}

ReadStep SdrReader::TakeRecord()
{
    probes_ = 0;
    SdrRepository ignored;
    if (!SdrAdd(&ignored, record_.data(), record_.size()))
        return Skip(kBmcDone);
    // The first one was asked for by no id of its own.
    if (!reading_.empty() && record_ == reading_[0] && id_ == BmcWord(record_.data()))
        nextId_ = kFirstId;
    else
        reading_.push_back(std::move(record_));
    return NextRecord();
}

// Leaves the record out. Its parts say nothing about the size that others can be read in.
ReadStep SdrReader::Skip(u8 code)
{
    code_ = code;
    const size_t offset = record_.size();
    part_ = partBefore_;
    // Once more, since an answer may be spoilt.
    if (!again_) {
        BeginRecord(id_);
        again_ = true;
        phase_ = IsWhole(part_) ? Phase::Record : Phase::Reserve;
        return ReadStep::More;
    }
    if (probes_ == 0)
        skipping_.push_back({.id = id_, .offset = static_cast<u8>(offset), .code = code});
    phase_ = Phase::Record;
    if (nextKnown_)
        return NextRecord();
    // Not even the record's header: one of the next ids may be a record again.
    ++probes_;
    nextId_ = static_cast<u16>(id_ + 1);
    const bool all = reading_.size() + skipping_.size() >= fresh_.records;
    if (all || probes_ > kSdrProbesMax)
        nextId_ = kLastId;
    return NextRecord();
}

ReadStep SdrReader::NextRecord()
{
    ++recordsRead_;
    const bool back = nextId_ != kLastId && asked_[nextId_];
    const bool last = nextId_ == kLastId || back || recordsRead_ >= kSdrRecordsMax;
    if (!last) {
        BeginRecord(nextId_);
        return ReadStep::More;
    }
    if (reading_.empty() && !skipping_.empty())
        return ReadStep::Failed;
    ledBack_ = back && reading_.size() + skipping_.size() < fresh_.records;
    records_ = std::move(reading_);
    skipped_ = std::move(skipping_);
    repository_ = SdrRepository();
    for (const std::vector<u8> &record : records_)
        SdrAdd(&repository_, record.data(), record.size());
    stamp_ = fresh_;
    known_ = true;
    isRecalled_ = false;
    changed_ = true;
    return ReadStep::Done;
}

void SdrReader::Recall(const SdrStamp &stamp, std::vector<std::vector<u8>> records)
{
    records_ = std::move(records);
    repository_ = SdrRepository();
    for (const std::vector<u8> &record : records_)
        SdrAdd(&repository_, record.data(), record.size());
    stamp_ = stamp;
    known_ = true;
    recalled_ = true;
    isRecalled_ = true;
}
