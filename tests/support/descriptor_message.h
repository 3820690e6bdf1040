// SPDX-License-Identifier: Apache-2.0
// descriptor_message.h -- messages over local sockets that carry a descriptor.
#ifndef TESTS_SUPPORT_DESCRIPTOR_MESSAGE_H
#define TESTS_SUPPORT_DESCRIPTOR_MESSAGE_H

#include <string.h>
#include <sys/socket.h>
#include <sys/uio.h>

// Room for the descriptor of one message.
union DescriptorRoom {
    cmsghdr head;
    char bytes[CMSG_SPACE(sizeof(int))];
};

// Sends these bytes, which must be one at least, with the descriptor; false where it is refused.
inline bool SendDescriptor(int connection, int fd, const void *packet = "x", size_t bytes = 1)
{
    DescriptorRoom room = {};
    iovec part = {const_cast<void *>(packet), bytes};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = &room;
    message.msg_controllen = sizeof room;
    cmsghdr *head = CMSG_FIRSTHDR(&message);
    head->cmsg_level = SOL_SOCKET;
    head->cmsg_type = SCM_RIGHTS;
    head->cmsg_len = CMSG_LEN(sizeof fd);
    memcpy(CMSG_DATA(head), &fd, sizeof fd);
    return sendmsg(connection, &message, MSG_NOSIGNAL) >= 0;
}

// The descriptor of the next message of one byte, the caller's to close; -1: there was none.
inline int ReceiveDescriptor(int connection)
{
    DescriptorRoom room = {};
    char byte = 0;
    iovec part = {&byte, 1};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = &room;
    message.msg_controllen = sizeof room;
    int fd = -1;
    if (recvmsg(connection, &message, MSG_CMSG_CLOEXEC) == 1 && CMSG_FIRSTHDR(&message) != nullptr)
        memcpy(&fd, CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof fd);
    return fd;
}

#endif
