// SPDX-License-Identifier: Apache-2.0
// bmc_probe.cpp -- see bmc_probe.h. Packets: IPMI 2.0, sections 13.6 and 22.13.
#include "objmgrd/ipmi/bmc_probe.h"

#include "platform/clock.h"

#include <algorithm>
#include <memory>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

constexpr u32 kTriesMax = 16;

// RMCP, a session header without a session, then the message. Its sequence number is filled in.
constexpr u8 kQuestion[] = {0x06, 0x00, 0xFF, 0x07, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                            0x00, 0x09, 0x20, 0x18, 0xC8, 0x81, 0x00, 0x38, 0x8E, 0x04, 0x00};
constexpr size_t kSequenceAt = 18;  // in its upper six bits, in question and answer
constexpr size_t kCommandAt = 19;
constexpr size_t kSumFrom = 17;
constexpr size_t kSumAt = 22;

int SocketTo(const std::string &host, u32 port)
{
    addrinfo hints = {};
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo *found = nullptr;
    if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0)
        return -1;
    const std::unique_ptr<addrinfo, void (*)(addrinfo *)> owner(found, freeaddrinfo);
    const int fd = socket(found->ai_family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd >= 0 && connect(fd, found->ai_addr, found->ai_addrlen) == 0)
        return fd;
    if (fd >= 0)
        close(fd);
    return -1;
}

void Ask(int fd, u32 number)
{
    u8 question[sizeof kQuestion];
    std::copy(std::begin(kQuestion), std::end(kQuestion), question);
    question[kSequenceAt] = static_cast<u8>(number << 2);
    u8 sum = 0;
    for (size_t i = kSumFrom; i < kSumAt; ++i)
        sum = static_cast<u8>(sum + question[i]);
    question[kSumAt] = static_cast<u8>(-sum);
    (void)!send(fd, question, sizeof question, 0);
}

// The number of the question that was answered; -1: no answer lies there.
int Answered(int fd)
{
    u8 answer[256];
    const ssize_t size = recv(fd, answer, sizeof answer, 0);
    if (size <= static_cast<ssize_t>(kCommandAt) || answer[kCommandAt] != kQuestion[kCommandAt])
        return -1;
    return answer[kSequenceAt] >> 2;
}

}  // namespace

u32 BmcProbe(const std::string &host, u32 port, u32 limitMs)
{
    const int fd = SocketTo(host, port);
    if (fd < 0)
        return 0;
    const u64 end = ClockUs() + u64{limitMs} * 1000;
    u64 askedUs[kTriesMax];
    u64 nextUs = 0;
    u32 asked = 0;
    u32 took = 0;
    for (u64 now = ClockUs(); now < end && took == 0; now = ClockUs()) {
        if (now >= nextUs && asked < kTriesMax) {
            Ask(fd, asked);
            askedUs[asked] = ClockUs();
            nextUs = askedUs[asked] + (u64{kProbeFirstMs} << asked) * 1000;
            ++asked;
        }
        const u64 until = asked < kTriesMax ? std::min(nextUs, end) : end;
        pollfd wait = {fd, POLLIN, 0};
        if (poll(&wait, 1, static_cast<int>((until - std::min(until, ClockUs()) + 999) / 1000)) !=
            1)
            continue;
        const int number = Answered(fd);
        if (number >= 0 && static_cast<u32>(number) < asked)
            took = static_cast<u32>(std::max<u64>(ClockUs() - askedUs[number], 1));
    }
    close(fd);
    return took;
}
