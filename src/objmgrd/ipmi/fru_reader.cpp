// SPDX-License-Identifier: Apache-2.0
// fru_reader.cpp -- see fru_reader.h.
#include "objmgrd/ipmi/fru_reader.h"

#include <algorithm>

namespace
{

constexpr u8 kPartMost = 32;
constexpr u8 kPartLeast = 8;

}  // namespace

void FruReader::Start(u8 deviceId, u8 lun)
{
    *this = FruReader();
    deviceId_ = deviceId;
    lun_ = lun;
    part_ = kPartMost;
}

ReadStep FruReader::Step(Bmc *bmc)
{
    return haveInfo_ ? StepRead(bmc) : StepInfo(bmc);
}

ReadStep FruReader::StepInfo(Bmc *bmc)
{
    BmcRequest request = {kNetFnStorage, kGetFruInfo, 1, {deviceId_}};
    request.lun = lun_;
    const BmcAnswer answer = bmc->Ask(request);
    if (!answer.Done(3)) {
        code_ = answer.code;
        return answer.came ? ReadStep::Failed : ReadStep::Lost;
    }
    haveInfo_ = true;
    words_ = (answer.data[2] & 0x1) != 0;
    size_ = std::min<u32>(BmcWord(answer.data), kFruBytesMax);
    return size_ == 0 ? ReadStep::Done : ReadStep::More;
}

ReadStep FruReader::StepRead(Bmc *bmc)
{
    const u32 unit = words_ ? 2 : 1;
    const u32 at = static_cast<u32>(bytes_.size());
    const u32 wanted = std::min<u32>(part_, size_ - at);
    const u32 count = (wanted + unit - 1) / unit;
    BmcRequest request = {
        kNetFnStorage,
        kReadFru,
        4,
        {deviceId_, LowByte(at / unit), HighByte(at / unit), static_cast<u8>(count)}};
    request.lun = lun_;
    const BmcAnswer answer = bmc->Ask(request);
    if (!answer.came)
        return ReadStep::Lost;
    if (answer.Done(2) && answer.data[0] != 0) {
        const u32 got = std::min<u32>(answer.data[0] * unit, answer.size - 1u);
        // An odd byte would leave the next offset between two words.
        const u32 whole = std::min(got - got % unit, size_ - at);
        bytes_.insert(bytes_.end(), answer.data + 1, answer.data + 1 + whole);
        return whole == 0 || bytes_.size() >= size_ ? ReadStep::Done : ReadStep::More;
    }
    if (part_ > kPartLeast && IsTooMuch(answer.code)) {
        part_ = static_cast<u8>(part_ / 2);
        return ReadStep::More;
    }
    code_ = answer.code;
    return ReadStep::Failed;
}
