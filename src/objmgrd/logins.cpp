// SPDX-License-Identifier: Apache-2.0
// logins.cpp -- see logins.h.
#include "objmgrd/logins.h"

#include <algorithm>
#include <errno.h>
#include <stdio.h>
#include <sys/socket.h>
#include <utility>

void Logins::Start(Listener *listener, Record *record, u32 most)
{
    listener_ = listener;
    record_ = record;
    most_ = std::min(most, kLoginsMost);
}

bool Logins::HasRoom(u32 uid) const
{
    const auto ofUid = std::count_if(logins_.begin(), logins_.end(),
                                     [=](const Login &login) { return login.peer.uid == uid; });
    return logins_.size() < most_ && ofUid < static_cast<std::ptrdiff_t>(kLoginsUidMost);
}

void Logins::Add(int fd, const Peer &peer, const LoginNotice &notice, RecordedLogin recorded,
                 u64 nowMs)
{
    logins_.push_back({fd, peer, notice, std::move(recorded), nowMs});
}

void Logins::AddPolled(std::vector<pollfd> *polled)
{
    for (const Login &login : logins_)
        polled->push_back({login.fd, POLLIN, 0});
    polled_ = logins_.size();
}

// Whatever comes but a logout ends it as a connection does that ends: a login says nothing else.
bool Logins::GoesOn(const Login &login, u64 nowMs) const
{
    u8 packet[kMethodPacketMax];
    const ssize_t size = listener_->Receive(login.fd, packet, sizeof packet);
    if (size < 0 && (errno == EAGAIN || errno == EINTR))
        return true;
    LoginNotice notice;
    const bool told = size > 0 && static_cast<size_t>(size) <= sizeof packet &&
                      LoginParseNotice(packet, static_cast<size_t>(size), &notice) &&
                      notice.event == LoginEvent::Logout && notice.session == login.notice.session;
    if (!told) {
        notice = login.notice;
        notice.event = LoginEvent::Logout;
        notice.seconds += static_cast<u32>((nowMs - login.sinceMs) / 1000);
        snprintf(notice.reason, sizeof notice.reason, "killed");
    }
    if (record_ != nullptr)
        record_->Logout(login.peer, notice, login.recorded);
    if (told) {
        const MethodReply reply = {kCimOk, 0};
        const u32 length = MethodPackReply(&reply, packet);
        (void)!send(login.fd, packet, length, MSG_DONTWAIT | MSG_NOSIGNAL);
    }
    return false;
}

void Logins::Serve(const pollfd *polled, u64 nowMs)
{
    size_t kept = 0;
    for (size_t i = 0; i < logins_.size(); ++i) {
        const bool goesOn = i >= polled_ || polled[i].revents == 0 || GoesOn(logins_[i], nowMs);
        if (!goesOn)
            listener_->Drop(logins_[i].fd);
        else if (kept++ != i)
            logins_[kept - 1] = std::move(logins_[i]);
    }
    logins_.erase(logins_.begin() + static_cast<std::ptrdiff_t>(kept), logins_.end());
    polled_ = 0;
}

void Logins::Clear()
{
    for (const Login &login : logins_)
        listener_->Drop(login.fd);
    logins_.clear();
}
