// SPDX-License-Identifier: Apache-2.0
// ipmi_relay.h -- a network between a client and a BMC that is slow, loses, garbles or repeats.
//
// A UDP relay on the loopback interface, with a thread of its own. It counts what goes through, by
// command where the payload is not encrypted (cipher suites 0 to 2), and can change replies of a
// session without integrity (cipher suite 0), which makes the BMC behind it say anything.
#ifndef TESTS_IPMI_IPMI_RELAY_H
#define TESTS_IPMI_IPMI_RELAY_H

#include "platform/types.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

struct IpmiCommand {
    u8 netFn;  // of the request: even
    u8 command;
};

constexpr IpmiCommand kIpmiChassisStatus = {0x00, 0x01};
constexpr IpmiCommand kIpmiChassisControl = {0x00, 0x02};
constexpr IpmiCommand kIpmiSensorReading = {0x04, 0x2D};
constexpr IpmiCommand kIpmiSdrInfo = {0x0A, 0x20};
constexpr IpmiCommand kIpmiSdrRecord = {0x0A, 0x23};
constexpr IpmiCommand kIpmiLogInfo = {0x0A, 0x40};
constexpr IpmiCommand kIpmiLogEntry = {0x0A, 0x43};
constexpr IpmiCommand kIpmiLogClear = {0x0A, 0x47};

// What happens to replies, one in `every` of them; 0 is none.
struct RelayFaults {
    u32 lossPercent = 0;    // of requests and of replies, without a pattern
    u32 repeatPercent = 0;  // of replies, without a pattern
    u32 doublePercent = 0;  // of requests, without a pattern
    u32 seed = 0;     // another one is another series of losses; 0: goes on with the one before
    u32 delayMs = 0;  // of every reply
    u32 dropEvery = 0;
    u32 garbleEvery = 0;  // some bytes behind the first four are changed
    u32 repeatEvery = 0;
    u32 truncateEvery = 0;
};

struct RelayCounts {
    u64 requests = 0;
    u64 replies = 0;
    u32 mostInFlight = 0;  // requests less replies, over all clients; right while none is lost
    // The same of commands where the payload is not encrypted; one that is sent again before its
    // answer comes counts once.
    u32 mostCommandsInFlight = 0;
};

// Changes a reply's completion code and data: data[0] is the completion code. Called by the
// relay's thread.
using RelayEdit = std::function<void(std::vector<u8> *data)>;

class IpmiRelay
{
public:
    // Between any client and the BMC at host:port; listens at the same host.
    IpmiRelay(const std::string &host, u16 port);
    ~IpmiRelay();
    IpmiRelay(const IpmiRelay &) = delete;
    IpmiRelay &operator=(const IpmiRelay &) = delete;

    u16 Port() const;  // 0: it could not be set up

    void Set(const RelayFaults &faults);
    // The next `count` replies to this command are lost.
    void DropRepliesTo(IpmiCommand command, u32 count);
    // The next `count` requests with this command are lost; they are counted.
    void DropRequests(IpmiCommand command, u32 count);
    // Every reply to this command is changed; an empty function ends that.
    void Edit(IpmiCommand command, RelayEdit edit);

    RelayCounts Counts() const;
    // Requests with this command: with `distinct`, repetitions of one that was not answered (same
    // session and sequence number of the request) count once.
    u64 Requests(IpmiCommand command, bool distinct = false) const;
    // Replies to this command that were passed on, and the longest pause between two of them.
    u64 Delivered(IpmiCommand command) const;
    u32 LongestPauseMs(IpmiCommand command) const;
    void ForgetCounts();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

#endif
