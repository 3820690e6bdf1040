// SPDX-License-Identifier: Apache-2.0
// sel_reader.cpp -- see sel_reader.h.
#include "objmgrd/ipmi/sel_reader.h"

#include <algorithm>

namespace
{

constexpr u16 kFirstId = 0x0000;
constexpr u16 kLastId = 0xFFFF;
constexpr u8 kWholeRecord = 0xFF;
// Where a record does not tell which one follows, so many ids after it are tried.
constexpr u32 kSelProbesMax = 16;
constexpr u32 kRestartsMax = 3;  // of one look, while others delete records

u16 IdOf(const SelRecord &record)
{
    return BmcWord(record.data());
}

}  // namespace

void SelReader::Start()
{
    phase_ = Phase::Info;
    restarts_ = 0;
    firstNew_ = static_cast<u32>(records_.size());
}

ReadStep SelReader::Step(Bmc *bmc)
{
    return phase_ == Phase::Info ? StepInfo(bmc) : StepEntry(bmc);
}

ReadStep SelReader::ReadAll()
{
    all_ = true;
    known_ = false;
    ledBack_ = false;
    records_.clear();
    asked_.assign(kLastId + 1u, false);
    firstNew_ = 0;
    id_ = kFirstId;
    tries_ = 0;
    probes_ = 0;
    phase_ = Phase::Next;
    return fresh_.records == 0 ? End() : ReadStep::More;
}

ReadStep SelReader::StepInfo(Bmc *bmc)
{
    const BmcAnswer answer = bmc->Ask({kNetFnStorage, kGetSelInfo, 0, {}});
    if (!answer.Done(13)) {
        code_ = answer.code;
        return answer.came ? ReadStep::Failed : ReadStep::Lost;
    }
    fresh_ = {BmcWord(answer.data + 1), BmcLong(answer.data + 5), BmcLong(answer.data + 9)};
    if (known_ && fresh_ == stamp_)
        return ReadStep::Done;
    const bool grown = known_ && !records_.empty() && fresh_.erased == stamp_.erased &&
                       fresh_.records > stamp_.records;
    if (!grown)
        return ReadAll();
    // The last known record leads to the new ones.
    all_ = false;
    phase_ = Phase::Last;
    id_ = IdOf(records_.back());
    return ReadStep::More;
}

ReadStep SelReader::StepEntry(Bmc *bmc)
{
    const BmcAnswer answer = bmc->Ask(
        {kNetFnStorage, kGetSelEntry, 6, {0, 0, LowByte(id_), HighByte(id_), 0, kWholeRecord}});
    if (!answer.came)
        return ReadStep::Lost;
    if (answer.Done(2 + kSelRecordSize))
        return TakeEntry(answer);
    known_ = false;
    code_ = answer.code;
    // The record is gone: somebody cleared the log or deleted from it.
    if (answer.code == kBmcNotPresent && ++restarts_ <= kRestartsMax) {
        phase_ = Phase::Info;
        return ReadStep::More;
    }
    const bool noLog = answer.code == kBmcNotPresent && records_.empty();
    if (answer.code == kBmcDenied || BmcIsBusy(answer.code) || noLog)
        return ReadStep::Failed;
    return phase_ == Phase::Last ? ReadAll() : Unreadable(answer.code);
}

// It keeps its place and number. The BMC does not say which one follows, so the next ids are tried;
// where none of them is one, the log ends here.
ReadStep SelReader::Unreadable(u8 code)
{
    if (tries_++ == 0 && probes_ == 0)
        return ReadStep::More;  // once more, since an answer may be spoilt
    tries_ = 0;
    if (probes_++ == 0)
        records_.push_back(SelUnreadableRecord(id_, code));
    if (records_.size() >= fresh_.records || probes_ > kSelProbesMax || id_ >= kLastId - 1)
        return EndOfChain();
    ++id_;
    return ReadStep::More;
}

// Only what could be read says that there is a log.
ReadStep SelReader::EndOfChain()
{
    const bool any = std::any_of(records_.begin(), records_.end(), [](const SelRecord &record) {
        return record[2] != kSelUnreadable;
    });
    if (any)
        return End();
    records_.clear();
    return ReadStep::Failed;
}

ReadStep SelReader::TakeEntry(const BmcAnswer &answer)
{
    const u16 next = BmcWord(answer.data);
    SelRecord record;
    std::copy_n(answer.data + 2, kSelRecordSize, record.begin());
    if (phase_ == Phase::Last) {
        if (record != records_.back())
            return ReadAll();
        if (next == kLastId)
            return End();
        phase_ = Phase::Next;
        id_ = next;
        return ReadStep::More;
    }
    tries_ = 0;
    probes_ = 0;
    // The first one was asked for by no id of its own.
    const bool first = !records_.empty() && record == records_[0] && id_ == IdOf(record);
    const bool again = first || asked_[id_];
    if (!again)
        records_.push_back(record);
    asked_[id_] = true;
    ledBack_ = again || asked_[next];
    const bool end = next == kLastId || ledBack_ || records_.size() == kSelRecordsMax;
    id_ = next;
    return end ? End() : ReadStep::More;
}

// What came along the chain has to be as much as the BMC said; it may be more, since then.
ReadStep SelReader::End()
{
    if (!all_ && records_.size() < fresh_.records)
        return ReadAll();
    stamp_ = fresh_;
    known_ = true;
    return ReadStep::Done;
}
