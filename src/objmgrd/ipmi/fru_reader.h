// SPDX-License-Identifier: Apache-2.0
// fru_reader.h -- reads one FRU's memory.
#ifndef OBJMGRD_IPMI_FRU_READER_H
#define OBJMGRD_IPMI_FRU_READER_H

#include "objmgrd/ipmi/fru_map.h"
#include "objmgrd/ipmi/reader.h"

class FruReader
{
public:
    void Start(u8 deviceId, u8 lun);
    // Done and Failed: Facts() is what could be read, possibly nothing.
    ReadStep Step(Bmc *bmc);
    FruFacts Facts() const { return FruParse(bytes_.data(), bytes_.size()); }
    u8 Code() const { return code_; }

private:
    ReadStep StepInfo(Bmc *bmc);
    ReadStep StepRead(Bmc *bmc);

    u8 deviceId_ = 0;
    u8 lun_ = 0;
    bool haveInfo_ = false;
    bool words_ = false;  // offsets and counts are in words of 2 bytes
    u32 size_ = 0;        // bytes
    u8 part_ = 0;         // bytes to ask for at once
    u8 code_ = 0;
    std::vector<u8> bytes_;
};

#endif
