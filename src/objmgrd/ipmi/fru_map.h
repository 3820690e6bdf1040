// SPDX-License-Identifier: Apache-2.0
// fru_map.h -- what a FRU's memory says about the machine and its power supplies.
#ifndef OBJMGRD_IPMI_FRU_MAP_H
#define OBJMGRD_IPMI_FRU_MAP_H

#include "objmgrd/instances.h"
#include "objmgrd/ipmi/sdr.h"

// Larger memories are read up to here, in bytes.
constexpr u32 kFruBytesMax = 4096;

// Trimmed texts in UTF-8; "" for what is not there.
struct FruFacts {
    std::string chassisSerial;
    std::string boardManufacturer;
    std::string boardProduct;
    std::string boardSerial;
    std::string productManufacturer;
    std::string productName;
    std::string productSerial;
    bool hasWattage = false;
    u32 wattage = 0;  // a power supply's overall capacity
};

// Any bytes: areas that lie outside or do not follow the format are left out. Without a sound
// header there are no facts.
FruFacts FruParse(const u8 *bytes, size_t sizeBytes);

// Who the machine is.
struct Identity {
    std::string serviceTag;   // serial of the product, else of the chassis, else of the board
    std::string description;  // name of the product, else of the board
    std::string oem;          // manufacturer of the product, else of the board; "0": the default
    bool operator==(const Identity &) const = default;
};
Identity FruIdentity(const FruFacts &facts);

#endif
