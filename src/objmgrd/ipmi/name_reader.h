// SPDX-License-Identifier: Apache-2.0
// name_reader.h -- reads the system's name from the BMC's system info parameters.
#ifndef OBJMGRD_IPMI_NAME_READER_H
#define OBJMGRD_IPMI_NAME_READER_H

#include "objmgrd/ipmi/reader.h"

class NameReader
{
public:
    void Start();
    // Done and Failed: Name() is the name, "" when the BMC holds none.
    ReadStep Step(Bmc *bmc);
    std::string Name() const;
    u8 Code() const { return code_; }

private:
    u8 block_ = 0;
    u8 encoding_ = 0;
    size_t length_ = 0;
    u8 code_ = 0;
    std::string bytes_;
};

#endif
