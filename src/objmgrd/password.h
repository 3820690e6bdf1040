// SPDX-License-Identifier: Apache-2.0
// password.h -- the password of the source of data, in one place of memory only.
#ifndef OBJMGRD_PASSWORD_H
#define OBJMGRD_PASSWORD_H

#include "platform/types.h"

#include <string>

// The most that any source takes, in bytes: a page holds it with room to spare.
constexpr u32 kPasswordMax = 1023;

// Holds the password for as long as sessions may have to be opened: in memory that is not swapped
// out where the system allows that, left out of core files, and wiped at the end.
class Password
{
public:
    // mostBytes: a longer password is refused, at most kPasswordMax. protocol: which does not take
    // it, for the message; a literal.
    Password(u32 mostBytes, const char *protocol);
    ~Password();
    Password(const Password &) = delete;
    Password &operator=(const Password &) = delete;

    // Takes the first line of the file, without its line break. The file is opened without
    // following a link, and has to be a regular file that belongs to the service's user or root
    // and gives its group and others no right. "" when the password was taken, otherwise what is
    // wrong, for the administrator; the password is empty then.
    std::string Read(const std::string &file);

    // NUL-terminated; belongs to this object.
    const char *Text() const { return text_; }

private:
    char *text_;  // a page of its own
    const u32 mostBytes_;
    const char *const protocol_;
};

#endif
