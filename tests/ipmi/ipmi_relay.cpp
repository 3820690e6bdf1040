// SPDX-License-Identifier: Apache-2.0
// ipmi_relay.cpp -- a network that is slow, loses, garbles or repeats.
#include "ipmi/ipmi_relay.h"

#include "ipmi/ipmi_sim.h"
#include "platform/clock.h"

#include <algorithm>
#include <arpa/inet.h>
#include <list>
#include <map>
#include <mutex>
#include <poll.h>
#include <set>
#include <string.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <thread>
#include <tuple>
#include <unistd.h>

namespace
{

using Bytes = std::vector<u8>;
using CommandKey = std::pair<u8, u8>;

constexpr size_t kPacketMax = 2048;
constexpr size_t kClientsMax = 64;

// RMCP, and the session headers of IPMI 1.5 and 2.0 behind it.
constexpr u8 kClassIpmi = 0x07;
constexpr u8 kAuthNone = 0x00;
constexpr u8 kAuthRmcpPlus = 0x06;
constexpr u8 kPayloadEncrypted = 0x80;
constexpr u8 kPayloadAuthenticated = 0x40;

i64 NowUs()
{
    return static_cast<i64>(ClockUs());
}

// Where the IPMI message stands in a packet: addresses, network function, sequence, command, data,
// sums. start 0: there is none, or it is encrypted.
struct Message {
    size_t start = 0;
    size_t size = 0;
    bool mayChange = false;
    u32 session = 0;
};

Message FindMessage(const Bytes &packet)
{
    Message message;
    if (packet.size() < 14 || packet[3] != kClassIpmi)
        return message;
    size_t at;
    if (packet[4] == kAuthRmcpPlus) {
        if (packet.size() < 16 || (packet[5] & 0x3F) != 0 || (packet[5] & kPayloadEncrypted) != 0)
            return message;
        memcpy(&message.session, &packet[6], sizeof message.session);
        message.size = static_cast<size_t>(packet[14] | packet[15] << 8);
        message.mayChange = (packet[5] & kPayloadAuthenticated) == 0;
        at = 16;
    } else {
        at = packet[4] == kAuthNone ? 13 : 29;
        if (packet.size() <= at)
            return message;
        message.size = packet[at++];
    }
    if (message.size < 7 || packet.size() < at + message.size)
        return message;
    message.start = at;
    return message;
}

u8 ZeroSum(const u8 *bytes, size_t count)
{
    u8 sum = 0;
    for (size_t i = 0; i < count; ++i)
        sum = static_cast<u8>(sum + bytes[i]);
    return static_cast<u8>(-sum);
}

CommandKey KeyOf(const Bytes &packet, const Message &message)
{
    const u8 netFn = packet[message.start + 1] >> 2;
    return {static_cast<u8>(netFn & ~1u), packet[message.start + 5]};
}

struct Client {
    sockaddr_in address;
    int upstream;
};

struct Delivery {
    u64 count = 0;
    i64 lastUs = 0;
    i64 longestPauseUs = 0;
};

struct DelayedReply {
    i64 dueUs;
    sockaddr_in to;
    Bytes packet;
};

}  // namespace

class IpmiRelay::Impl
{
public:
    Impl(const std::string &host, u16 port);
    ~Impl();

    u16 port = 0;
    mutable std::mutex mutex;  // of everything down to the counts
    RelayFaults faults;
    std::map<CommandKey, u32> drops;
    std::map<CommandKey, u32> requestDrops;
    std::map<CommandKey, RelayEdit> edits;
    RelayCounts counts;
    std::map<CommandKey, u64> requests;
    std::set<std::tuple<CommandKey, u32, u8>> distinct;
    std::map<CommandKey, Delivery> delivered;
    u32 chance = 1;
    // Commands without a reply, by upstream socket: network function, command and data, and the
    // sequence numbers that each was sent with.
    std::map<int, std::map<Bytes, std::set<u8>>> unanswered;

private:
    void Run();
    int UpstreamOf(const sockaddr_in &client);
    void TakeRequest();
    bool Happens(u32 percent);
    void TakeReply(const Client &client);
    void CountRequest(const Bytes &packet, int upstream);
    void CountAnswer(const Bytes &packet, const Message &message, int upstream);
    bool IsLost(const Bytes &packet, const Message &message);
    bool IsRequestLost(const Bytes &packet);
    void CountDelivery(const Bytes &packet, const Message &message);
    void Change(Bytes *packet, const Message &message);
    void Spoil(Bytes *packet);
    void SendDue();
    int WaitMs() const;

    sockaddr_in bmc_ = {};
    int listener_ = -1;
    int end_ = -1;
    u64 seen_ = 0;  // replies, for one in N
    std::vector<Client> clients_;
    std::list<DelayedReply> delayed_;
    std::thread thread_;
};

IpmiRelay::Impl::Impl(const std::string &host, u16 bmcPort)
{
    bmc_.sin_family = AF_INET;
    bmc_.sin_port = htons(bmcPort);
    inet_pton(AF_INET, host.c_str(), &bmc_.sin_addr);
    sockaddr_in own = bmc_;
    const u16 free = FreeUdpPort(host);
    own.sin_port = htons(free);
    listener_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    end_ = eventfd(0, EFD_CLOEXEC);
    if (free == 0 || bind(listener_, reinterpret_cast<sockaddr *>(&own), sizeof own) != 0)
        return;
    port = free;
    thread_ = std::thread([this] { Run(); });
}

IpmiRelay::Impl::~Impl()
{
    const u64 one = 1;
    (void)!write(end_, &one, sizeof one);
    if (thread_.joinable())
        thread_.join();
    for (const Client &client : clients_)
        close(client.upstream);
    close(listener_);
    close(end_);
}

void IpmiRelay::Impl::Run()
{
    for (;;) {
        std::vector<pollfd> fds = {{end_, POLLIN, 0}, {listener_, POLLIN, 0}};
        for (const Client &client : clients_)
            fds.push_back({client.upstream, POLLIN, 0});
        poll(fds.data(), fds.size(), WaitMs());
        if (fds[0].revents != 0)
            return;
        SendDue();
        for (size_t i = 2; i < fds.size(); ++i) {
            if (fds[i].revents != 0)
                TakeReply(clients_[i - 2]);
        }
        if (fds[1].revents != 0)
            TakeRequest();
    }
}

int IpmiRelay::Impl::WaitMs() const
{
    i64 waitUs = 1'000'000;
    for (const DelayedReply &reply : delayed_)
        waitUs = std::min(waitUs, reply.dueUs - NowUs());
    return waitUs <= 0 ? 0 : static_cast<int>((waitUs + 999) / 1000);
}

int IpmiRelay::Impl::UpstreamOf(const sockaddr_in &address)
{
    for (const Client &client : clients_) {
        if (client.address.sin_port == address.sin_port &&
            client.address.sin_addr.s_addr == address.sin_addr.s_addr)
            return client.upstream;
    }
    // A client that comes again has a port of its own: the oldest is long gone.
    if (clients_.size() == kClientsMax) {
        close(clients_.front().upstream);
        const std::lock_guard<std::mutex> lock(mutex);
        unanswered.erase(clients_.front().upstream);
        clients_.erase(clients_.begin());
    }
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    (void)!connect(fd, reinterpret_cast<const sockaddr *>(&bmc_), sizeof bmc_);
    clients_.push_back({address, fd});
    return fd;
}

void IpmiRelay::Impl::CountRequest(const Bytes &packet, int upstream)
{
    const std::lock_guard<std::mutex> lock(mutex);
    ++counts.requests;
    const u64 inFlight = counts.requests - std::min(counts.requests, counts.replies);
    counts.mostInFlight = std::max(counts.mostInFlight, static_cast<u32>(inFlight));
    const Message message = FindMessage(packet);
    if (message.start == 0)
        return;
    const CommandKey key = KeyOf(packet, message);
    ++requests[key];
    const u8 number = packet[message.start + 4] & 0xFC;
    distinct.insert({key, message.session, number});
    const u8 *start = packet.data() + message.start;
    Bytes command = {start[1]};
    command.insert(command.end(), start + 5, start + message.size - 1);
    unanswered[upstream][command].insert(number);
    size_t all = 0;
    for (const auto &one : unanswered)
        all += one.second.size();
    counts.mostCommandsInFlight = std::max(counts.mostCommandsInFlight, static_cast<u32>(all));
}

void IpmiRelay::Impl::CountAnswer(const Bytes &packet, const Message &message, int upstream)
{
    if (message.start == 0)
        return;
    std::erase_if(unanswered[upstream], [&](const auto &command) {
        return command.second.count(packet[message.start + 4] & 0xFC) != 0;
    });
}

void IpmiRelay::Impl::TakeRequest()
{
    Bytes packet(kPacketMax);
    sockaddr_in from = {};
    socklen_t size = sizeof from;
    const ssize_t count = recvfrom(listener_, packet.data(), packet.size(), 0,
                                   reinterpret_cast<sockaddr *>(&from), &size);
    if (count <= 0)
        return;
    packet.resize(static_cast<size_t>(count));
    const int upstream = UpstreamOf(from);
    CountRequest(packet, upstream);
    bool twice;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (IsRequestLost(packet))
            return;
        twice = faults.doublePercent != 0 && Happens(faults.doublePercent);
    }
    for (int i = 0; i <= twice; ++i)
        (void)!send(upstream, packet.data(), packet.size(), 0);
}

// The same in every run.
bool IpmiRelay::Impl::Happens(u32 percent)
{
    chance = chance * 1664525 + 1013904223;
    return (chance >> 16) % 100 < percent;
}

// One of those that are to be lost.
static bool TakeDrop(std::map<CommandKey, u32> *drops, const CommandKey &key)
{
    const auto drop = drops->find(key);
    if (drop == drops->end() || drop->second == 0)
        return false;
    --drop->second;
    return true;
}

bool IpmiRelay::Impl::IsRequestLost(const Bytes &packet)
{
    if (Happens(faults.lossPercent))
        return true;
    const Message message = FindMessage(packet);
    return message.start != 0 && TakeDrop(&requestDrops, KeyOf(packet, message));
}

bool IpmiRelay::Impl::IsLost(const Bytes &packet, const Message &message)
{
    if (Happens(faults.lossPercent) || (faults.dropEvery != 0 && seen_ % faults.dropEvery == 0))
        return true;
    return message.start != 0 && TakeDrop(&drops, KeyOf(packet, message));
}

void IpmiRelay::Impl::CountDelivery(const Bytes &packet, const Message &message)
{
    if (message.start == 0)
        return;
    const i64 now = NowUs();
    Delivery &delivery = delivered[KeyOf(packet, message)];
    if (delivery.count++ != 0)
        delivery.longestPauseUs = std::max(delivery.longestPauseUs, now - delivery.lastUs);
    delivery.lastUs = now;
}

// Lets the edit change completion code and data, and mends lengths and sum.
void IpmiRelay::Impl::Change(Bytes *packet, const Message &message)
{
    if (message.start == 0 || !message.mayChange)
        return;
    const auto edit = edits.find(KeyOf(*packet, message));
    if (edit == edits.end() || !edit->second)
        return;
    const u8 *first = packet->data();
    const u8 *start = first + message.start;
    Bytes head(start, start + 6);
    Bytes data(start + 6, start + message.size - 1);
    edit->second(&data);
    Bytes changed(first, start);
    changed.insert(changed.end(), head.begin(), head.end());
    changed.insert(changed.end(), data.begin(), data.end());
    changed.push_back(ZeroSum(changed.data() + message.start + 3, 3 + data.size()));
    const size_t size = changed.size() - message.start;
    changed[14] = static_cast<u8>(size);
    changed[15] = static_cast<u8>(size >> 8);
    *packet = changed;
}

void IpmiRelay::Impl::Spoil(Bytes *packet)
{
    if (faults.garbleEvery != 0 && seen_ % faults.garbleEvery == 0) {
        for (size_t i = 4; i < packet->size(); i += 5)
            (*packet)[i] = static_cast<u8>((*packet)[i] ^ (0x5A + i));
    }
    if (faults.truncateEvery != 0 && seen_ % faults.truncateEvery == 0)
        packet->resize(packet->size() * 2 / 3);
}

void IpmiRelay::Impl::TakeReply(const Client &client)
{
    Bytes packet(kPacketMax);
    const ssize_t count = recv(client.upstream, packet.data(), packet.size(), MSG_DONTWAIT);
    if (count <= 0)
        return;  // a dead BMC's port is closed
    packet.resize(static_cast<size_t>(count));
    const std::lock_guard<std::mutex> lock(mutex);
    ++counts.replies;
    ++seen_;
    const Message message = FindMessage(packet);
    CountAnswer(packet, message, client.upstream);
    if (IsLost(packet, message))
        return;
    CountDelivery(packet, message);
    Change(&packet, message);
    Spoil(&packet);
    const i64 due = NowUs() + faults.delayMs * i64{1000};
    delayed_.push_back({due, client.address, packet});
    const bool oneInSoMany = faults.repeatEvery != 0 && seen_ % faults.repeatEvery == 0;
    if (oneInSoMany || Happens(faults.repeatPercent))
        delayed_.push_back({due, client.address, packet});
    if (faults.delayMs == 0) {
        for (const DelayedReply &reply : delayed_)
            (void)!sendto(listener_, reply.packet.data(), reply.packet.size(), 0,
                          reinterpret_cast<const sockaddr *>(&reply.to), sizeof reply.to);
        delayed_.clear();
    }
}

void IpmiRelay::Impl::SendDue()
{
    const i64 now = NowUs();
    for (auto reply = delayed_.begin(); reply != delayed_.end();) {
        if (reply->dueUs > now) {
            ++reply;
            continue;
        }
        (void)!sendto(listener_, reply->packet.data(), reply->packet.size(), 0,
                      reinterpret_cast<const sockaddr *>(&reply->to), sizeof reply->to);
        reply = delayed_.erase(reply);
    }
}

IpmiRelay::IpmiRelay(const std::string &host, u16 port) : impl_(std::make_unique<Impl>(host, port))
{
}

IpmiRelay::~IpmiRelay() = default;

u16 IpmiRelay::Port() const
{
    return impl_->port;
}

void IpmiRelay::Set(const RelayFaults &faults)
{
    const std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->faults = faults;
    if (faults.seed != 0)
        impl_->chance = faults.seed;
}

void IpmiRelay::DropRepliesTo(IpmiCommand command, u32 count)
{
    const std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->drops[{command.netFn, command.command}] = count;
}

void IpmiRelay::DropRequests(IpmiCommand command, u32 count)
{
    const std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->requestDrops[{command.netFn, command.command}] = count;
}

void IpmiRelay::Edit(IpmiCommand command, RelayEdit edit)
{
    const std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->edits[{command.netFn, command.command}] = std::move(edit);
}

RelayCounts IpmiRelay::Counts() const
{
    const std::lock_guard<std::mutex> lock(impl_->mutex);
    return impl_->counts;
}

u64 IpmiRelay::Requests(IpmiCommand command, bool distinct) const
{
    const CommandKey key = {command.netFn, command.command};
    const std::lock_guard<std::mutex> lock(impl_->mutex);
    if (!distinct) {
        const auto count = impl_->requests.find(key);
        return count == impl_->requests.end() ? 0 : count->second;
    }
    u64 count = 0;
    for (const auto &one : impl_->distinct)
        count += std::get<0>(one) == key;
    return count;
}

u64 IpmiRelay::Delivered(IpmiCommand command) const
{
    const std::lock_guard<std::mutex> lock(impl_->mutex);
    const auto found = impl_->delivered.find({command.netFn, command.command});
    return found == impl_->delivered.end() ? 0 : found->second.count;
}

u32 IpmiRelay::LongestPauseMs(IpmiCommand command) const
{
    const std::lock_guard<std::mutex> lock(impl_->mutex);
    const auto found = impl_->delivered.find({command.netFn, command.command});
    return found == impl_->delivered.end() ? 0
                                           : static_cast<u32>(found->second.longestPauseUs / 1000);
}

void IpmiRelay::ForgetCounts()
{
    const std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->counts = {};
    impl_->requests.clear();
    impl_->distinct.clear();
    impl_->delivered.clear();
}
