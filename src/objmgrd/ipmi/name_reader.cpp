// SPDX-License-Identifier: Apache-2.0
// name_reader.cpp -- see name_reader.h. Layout: IPMI 2.0, table 22-16c.
#include "objmgrd/ipmi/name_reader.h"

#include "objmgrd/ipmi/ipmi_text.h"
#include "objmgrd/text.h"

#include <algorithm>

namespace
{

constexpr u8 kSystemName = 0x02;
constexpr u8 kBlockSize = 16;
constexpr u8 kEncodingUcs2 = 2;  // 0: ASCII and Latin 1, 1: UTF-8

}  // namespace

void NameReader::Start()
{
    *this = NameReader();
}

ReadStep NameReader::Step(Bmc *bmc)
{
    const BmcAnswer answer = bmc->Ask({kNetFnApp, kGetSystemInfo, 4, {0, kSystemName, block_, 0}});
    if (!answer.came)
        return ReadStep::Lost;
    // The parameter's revision and the block's number come first; in the first block also the
    // encoding and the length.
    const u8 head = block_ == 0 ? 4 : 2;
    if (!answer.Done(head)) {
        code_ = answer.code;
        return ReadStep::Failed;
    }
    if (block_ == 0) {
        encoding_ = answer.data[2] & 0xf;
        length_ = answer.data[3];
    }
    const u8 end = std::min<u8>(answer.size, kBlockSize + 2);
    bytes_.append(answer.data + head, answer.data + end);
    ++block_;
    const bool all = bytes_.size() >= length_ || end < kBlockSize + 2;
    return all ? ReadStep::Done : ReadStep::More;
}

std::string NameReader::Name() const
{
    const std::string bytes = bytes_.substr(0, length_);
    const u8 *data = reinterpret_cast<const u8 *>(bytes.data());
    if (encoding_ == kEncodingUcs2)
        return IpmiText(IpmiEncoding::UnicodeOrBinary, data, bytes.size(), false);
    if (encoding_ == 0)
        return IpmiText(IpmiEncoding::Latin1, data, bytes.size(), false);
    return TextTrim(bytes.substr(0, bytes.find('\0')));
}
