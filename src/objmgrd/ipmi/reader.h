// SPDX-License-Identifier: Apache-2.0
// reader.h -- what the readers of a BMC's data have in common: they work in steps of one request
// each, so that a power command never waits for more than the request in flight.
#ifndef OBJMGRD_IPMI_READER_H
#define OBJMGRD_IPMI_READER_H

#include "objmgrd/ipmi/bmc.h"

enum class ReadStep : u8 {
    More,    // go on with the next step
    Done,    // everything is read
    Failed,  // the BMC answered, but not with what was asked for: see the reader's Code()
    Lost,    // no answer came: the session is no good any more
};

// Network functions and commands used here (IPMI 2.0, appendix G).
constexpr u8 kNetFnChassis = 0x00;
constexpr u8 kNetFnSensor = 0x04;
constexpr u8 kNetFnApp = 0x06;
constexpr u8 kNetFnStorage = 0x0A;

constexpr u8 kGetChassisStatus = 0x01;
constexpr u8 kChassisControl = 0x02;
constexpr u8 kGetSensorThresholds = 0x27;
constexpr u8 kGetSensorReading = 0x2D;
constexpr u8 kGetSystemInfo = 0x59;
constexpr u8 kGetFruInfo = 0x10;
constexpr u8 kReadFru = 0x11;
constexpr u8 kGetSdrInfo = 0x20;
constexpr u8 kReserveSdr = 0x22;
constexpr u8 kGetSdr = 0x23;
constexpr u8 kGetSelInfo = 0x40;
constexpr u8 kReserveSel = 0x42;
constexpr u8 kGetSelEntry = 0x43;
constexpr u8 kClearSel = 0x47;

inline u8 LowByte(u32 word)
{
    return static_cast<u8>(word & 0xff);
}

inline u8 HighByte(u32 word)
{
    return static_cast<u8>((word >> 8) & 0xff);
}

// A request for fewer bytes may go well where this code was the answer to one for more.
inline bool IsTooMuch(u8 code)
{
    return code == kBmcCannotReturnSoMuch || code == kBmcLengthInvalid ||
           code == kBmcLengthExceeded || code == kBmcUnspecified;
}

#endif
