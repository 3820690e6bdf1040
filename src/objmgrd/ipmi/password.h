// SPDX-License-Identifier: Apache-2.0
// password.h -- the BMC's password, in one place of memory only.
#ifndef OBJMGRD_IPMI_PASSWORD_H
#define OBJMGRD_IPMI_PASSWORD_H

#include "platform/types.h"

#include <string>

// IPMI 2.0: 20 bytes.
constexpr u32 kIpmiPasswordMax = 20;

// Holds the password for as long as sessions may have to be opened: in memory that is not swapped
// out where the system allows that, left out of core files, and wiped at the end.
class IpmiPassword
{
public:
    IpmiPassword();
    ~IpmiPassword();
    IpmiPassword(const IpmiPassword &) = delete;
    IpmiPassword &operator=(const IpmiPassword &) = delete;

    // Takes the first line of the file, without its line break. The file is opened without
    // following a link, and has to be a regular file that belongs to the service's user or root
    // and gives its group and others no right. "" when the password was taken, otherwise what is
    // wrong, for the administrator; the password is empty then.
    std::string Read(const std::string &file);

    // NUL-terminated; belongs to this object.
    const char *Text() const { return text_; }

private:
    char *text_;  // a page of its own
};

#endif
