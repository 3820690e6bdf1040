// SPDX-License-Identifier: Apache-2.0
// listen_address.cpp -- see listen_address.h.
#include "ctl/listen_address.h"

#include "platform/types.h"

#include <arpa/inet.h>
#include <charconv>
#include <netinet/in.h>
#include <string.h>

namespace
{

template <typename Address> Address *As(sockaddr_storage *address)
{
    return reinterpret_cast<Address *>(address);
}

}  // namespace

bool ListenAddressParse(const std::string &text, sockaddr_storage *address, socklen_t *size)
{
    *address = {};
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos)
        return false;
    u16 port = 0;
    const char *end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data() + colon + 1, end, port);
    if (parsed.ec != std::errc() || parsed.ptr != end)
        return false;
    std::string host = text.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        sockaddr_in6 *in6 = As<sockaddr_in6>(address);
        in6->sin6_family = AF_INET6;
        in6->sin6_port = htons(port);
        *size = sizeof *in6;
        return inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), &in6->sin6_addr) == 1;
    }
    if (host.empty())
        host = "127.0.0.1";
    sockaddr_in *in = As<sockaddr_in>(address);
    in->sin_family = AF_INET;
    in->sin_port = htons(port);
    *size = sizeof *in;
    return inet_pton(AF_INET, host.c_str(), &in->sin_addr) == 1;
}

std::string ListenAddressText(const sockaddr_storage &address)
{
    char host[INET6_ADDRSTRLEN] = "";
    if (address.ss_family == AF_INET6) {
        const auto *in6 = reinterpret_cast<const sockaddr_in6 *>(&address);
        inet_ntop(AF_INET6, &in6->sin6_addr, host, sizeof host);
        return "[" + std::string(host) + "]:" + std::to_string(ntohs(in6->sin6_port));
    }
    if (address.ss_family != AF_INET)
        return "";
    const auto *in = reinterpret_cast<const sockaddr_in *>(&address);
    inet_ntop(AF_INET, &in->sin_addr, host, sizeof host);
    return std::string(host) + ":" + std::to_string(ntohs(in->sin_port));
}
