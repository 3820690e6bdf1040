// SPDX-License-Identifier: Apache-2.0
// login_settings.h -- the administrator's settings for every login of this machine: a login shell
// is started without options of his.
//
//     # comment
//     idle 900
//     idle 1=0
//     sessions 64
//     user-sessions 16
//     allow smclpctl
//
// One option of smclp-login in a line, without its dashes, then its value; no others than these
// four. An option of the command line counts more. Who may write the file loosens limits: it is
// read only where it belongs to root and nobody else may write it.
#ifndef SESSION_LOGIN_SETTINGS_H
#define SESSION_LOGIN_SETTINGS_H

#include "session/login_options.h"

constexpr char kLoginSettingsFile[] = "/etc/zor/login.conf";
constexpr u32 kLoginSettingsMax = 4096;  // bytes; a larger file is refused
constexpr u32 kLoginSettingsWrong = 78;  // EX_CONFIG of sysexits.h

// Reads what `file` says over *options; null: kLoginSettingsFile, where no file is as good as an
// empty one. A file that is named may also belong to the effective user: he could as well give the
// options. 0, or kLoginSettingsWrong with one line about the first fault, without the program's
// name and a new line, in message (cut to size bytes with its NUL): nobody logs in then, since a
// limit that was meant would not hold.
u32 LoginReadSettings(const char *file, LoginOptions *options, char *message, size_t size);

#endif
