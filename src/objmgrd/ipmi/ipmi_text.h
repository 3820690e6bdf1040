// SPDX-License-Identifier: Apache-2.0
// ipmi_text.h -- the four ways in which IPMI writes text.
#ifndef OBJMGRD_IPMI_IPMI_TEXT_H
#define OBJMGRD_IPMI_IPMI_TEXT_H

#include "platform/types.h"

#include <string>

// Bits 7 and 6 of a type/length byte. 0 is UCS-2 in a sensor's name and raw bytes in a FRU.
enum class IpmiEncoding : u8 { UnicodeOrBinary = 0, BcdPlus = 1, SixBit = 2, Latin1 = 3 };

// The text as UTF-8, up to its first NUL, without blanks at its ends. binary: encoding 0 is raw
// bytes, which become hexadecimal digits.
std::string IpmiText(IpmiEncoding encoding, const u8 *bytes, size_t sizeBytes, bool binary);

// "0a ff": for bytes that mean nothing here.
std::string IpmiHex(const u8 *bytes, size_t sizeBytes);

#endif
