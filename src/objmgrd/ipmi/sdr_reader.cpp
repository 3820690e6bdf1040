// SPDX-License-Identifier: Apache-2.0
// sdr_reader.cpp -- see sdr_reader.h.
#include "objmgrd/ipmi/sdr_reader.h"

#include <algorithm>

namespace
{

constexpr u16 kFirstId = 0x0000;
constexpr u16 kLastId = 0xFFFF;
constexpr u8 kWholeRecord = 0xFF;
constexpr u8 kHeaderSize = 5;
constexpr u8 kPartSize = 16;          // what every BMC can return at once
constexpr u32 kReservationsMax = 16;  // that others may cancel during one record

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
    if (known_ && fresh_ == stamp_)
        return ReadStep::Done;
    phase_ = Phase::Record;
    reading_ = SdrRepository();
    record_.clear();
    recordsRead_ = 0;
    id_ = kFirstId;
    whole_ = true;
    reservation_ = 0;
    if (fresh_.records != 0)
        return ReadStep::More;
    nextId_ = kLastId;
    return TakeRecord();
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
    u8 count = kWholeRecord;
    if (!whole_ && at < kHeaderSize)
        count = kHeaderSize;
    else if (!whole_)
        count = static_cast<u8>(std::min<size_t>(kPartSize, kHeaderSize + record_[4] - at));
    const BmcAnswer answer = bmc->Ask({kNetFnStorage,
                                       kGetSdr,
                                       6,
                                       {LowByte(reservation_), HighByte(reservation_), LowByte(id_),
                                        HighByte(id_), static_cast<u8>(at), count}});
    if (answer.came && answer.code == kBmcReservationLost &&
        ++lostReservations_ <= kReservationsMax) {
        phase_ = Phase::Reserve;
        return ReadStep::More;
    }
    if (answer.came && whole_ && IsTooMuch(answer.code)) {
        whole_ = false;
        phase_ = Phase::Reserve;
        return ReadStep::More;
    }
    if (!answer.Done(3))
        return Fail(answer);
    return TakePart(answer);
}

ReadStep SdrReader::TakePart(const BmcAnswer &answer)
{
    nextId_ = BmcWord(answer.data);
    record_.insert(record_.end(), answer.data + 2, answer.data + answer.size);
    const bool enough =
        record_.size() >= kHeaderSize && record_.size() >= size_t{kHeaderSize} + record_[4];
    if (enough)
        return TakeRecord();
    // A record that was asked for as a whole and came in part: again in parts.
    if (whole_)
        phase_ = Phase::Reserve;
    whole_ = false;
    return ReadStep::More;
}

ReadStep SdrReader::TakeRecord()
{
    SdrAdd(&reading_, record_.data(), record_.size());
    record_.clear();
    lostReservations_ = 0;
    ++recordsRead_;
    const bool last = nextId_ == kLastId || nextId_ == id_ || recordsRead_ == kSdrRecordsMax;
    id_ = nextId_;
    if (!last)
        return ReadStep::More;
    repository_ = std::move(reading_);
    stamp_ = fresh_;
    known_ = true;
    changed_ = true;
    return ReadStep::Done;
}
