// SPDX-License-Identifier: Apache-2.0
// listen_address.h -- where to listen, as the administrator writes it.
#ifndef CTL_LISTEN_ADDRESS_H
#define CTL_LISTEN_ADDRESS_H

#include <string>
#include <sys/socket.h>

// "127.0.0.1:9290", "[::1]:9290"; ":9290" is the loopback address; port 0 is any free one. False:
// it is none of these.
bool ListenAddressParse(const std::string &text, sockaddr_storage *address, socklen_t *size);

// The same for people; empty for other families.
std::string ListenAddressText(const sockaddr_storage &address);

#endif
