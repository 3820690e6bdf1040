// SPDX-License-Identifier: Apache-2.0
// bmc.h -- a conversation with a BMC: one request, one answer.
//
// What the requests and answers mean is known above (sdr_reader, sel_reader, ...); this is what
// carries them. One thread at a time, one request in flight in each session.
#ifndef OBJMGRD_IPMI_BMC_H
#define OBJMGRD_IPMI_BMC_H

#include "platform/types.h"

#include <string>

constexpr u32 kBmcRequestMax = 32;  // data bytes of a request; the longest here has 6
constexpr u32 kBmcAnswerMax = 255;  // data bytes of an answer, after the completion code

// Completion codes (IPMI 2.0, table 5-2, and of the commands used here).
constexpr u8 kBmcDone = 0x00;
constexpr u8 kBmcNodeBusy = 0xC0;
constexpr u8 kBmcReservationLost = 0xC5;
constexpr u8 kBmcLengthInvalid = 0xC7;
constexpr u8 kBmcLengthExceeded = 0xC8;
constexpr u8 kBmcCannotReturnSoMuch = 0xCA;
constexpr u8 kBmcNotPresent = 0xCB;
constexpr u8 kBmcDenied = 0xD4;   // insufficient privilege
constexpr u8 kBmcTimeout = 0xC3;  // the BMC itself waited in vain
constexpr u8 kBmcNoResponse = 0xCE;
constexpr u8 kBmcSdrUpdate = 0xD0;  // the repository is being changed
constexpr u8 kBmcFirmwareUpdate = 0xD1;
constexpr u8 kBmcStarting = 0xD2;
constexpr u8 kBmcUnspecified = 0xFF;  // also what a malformed answer is taken for

// Codes that say something about the moment, and nothing about what was asked for.
inline bool BmcIsBusy(u8 code)
{
    return code == kBmcNodeBusy || code == kBmcTimeout || code == kBmcNoResponse ||
           code == kBmcSdrUpdate || code == kBmcFirmwareUpdate || code == kBmcStarting;
}

struct BmcRequest {
    u8 netFn;
    u8 command;
    u8 size;  // of data
    u8 data[kBmcRequestMax];
    u8 lun = 0;
};

struct BmcAnswer {
    // false: no answer came, and the session is no good any more. Whether the BMC has carried the
    // request out is not known.
    bool came = false;
    u8 code = kBmcUnspecified;  // completion code
    u8 size = 0;                // of data
    u8 data[kBmcAnswerMax] = {};

    bool Done(u8 least = 0) const { return came && code == kBmcDone && size >= least; }
    bool Denied() const { return came && code == kBmcDenied; }
};

enum class BmcOpening : u8 {
    Open,
    Silent,   // nobody answers, or no session comes about in time
    Refused,  // who we are, or what we want, is not accepted: trying again soon is no use
};

class Bmc
{
public:
    virtual ~Bmc() = default;
    // Opens a session, after closing one that is open. *why, unless it is Open: for the
    // administrator, one line without the password, the same for the same cause. limitMs: gives up
    // after this; 0: after the session's own limit.
    virtual BmcOpening Open(std::string *why, u32 limitMs = 0) = 0;
    // Ends the session; nothing when there is none. Waits only briefly for the BMC.
    virtual void Close() = 0;
    // Sends a request and waits for its answer, for no longer than the session's limit.
    virtual BmcAnswer Ask(const BmcRequest &request) = 0;
    // The same in two parts, so that something else can be done meanwhile. Until TakeAnswer gives
    // the answer nothing but AskAside and Close is called on this object, and both give the answer
    // up.
    virtual void AskAside(const BmcRequest &request) { aside_ = Ask(request); }
    // Waits for waitMs at the most. False: the answer may still come.
    virtual bool TakeAnswer(BmcAnswer *answer, [[maybe_unused]] u32 waitMs)
    {
        *answer = aside_;
        return true;
    }

private:
    BmcAnswer aside_;
};

inline u16 BmcWord(const u8 *bytes)
{
    return static_cast<u16>(bytes[0] | (bytes[1] << 8));
}

inline u32 BmcLong(const u8 *bytes)
{
    return BmcWord(bytes) | (static_cast<u32>(BmcWord(bytes + 2)) << 16);
}

#endif
