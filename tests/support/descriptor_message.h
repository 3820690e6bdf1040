// SPDX-License-Identifier: Apache-2.0
// descriptor_message.h -- messages over local sockets that carry a descriptor, or more.
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

// Sends these bytes, which must be one at least, with a control part of this type (SCM_RIGHTS,
// SCM_CREDENTIALS); false where it is refused.
template <typename Control>
inline bool SendWithControl(int connection, int type, const Control &control,
                            const void *packet = "x", size_t bytes = 1)
{
    union {
        cmsghdr head;
        char bytes[CMSG_SPACE(sizeof control)];
    } room = {};
    iovec part = {const_cast<void *>(packet), bytes};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = &room;
    message.msg_controllen = sizeof room;
    cmsghdr *head = CMSG_FIRSTHDR(&message);
    head->cmsg_level = SOL_SOCKET;
    head->cmsg_type = type;
    head->cmsg_len = CMSG_LEN(sizeof control);
    memcpy(CMSG_DATA(head), &control, sizeof control);
    return sendmsg(connection, &message, MSG_NOSIGNAL) >= 0;
}

// The same with a descriptor.
inline bool SendDescriptor(int connection, int fd, const void *packet = "x", size_t bytes = 1)
{
    return SendWithControl(connection, SCM_RIGHTS, fd, packet, bytes);
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
