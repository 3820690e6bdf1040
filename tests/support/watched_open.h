// SPDX-License-Identifier: Apache-2.0
// watched_open.h -- which files a program opens, and how: for programs that are linked with
// --wrap=open and --wrap=open64.
#ifndef TESTS_SUPPORT_WATCHED_OPEN_H
#define TESTS_SUPPORT_WATCHED_OPEN_H

// Told of each call of open() before it is made, by whichever thread makes it.
using OpenWatcher = void (*)(const char *path, int flags);

// The one that is told from here on; null: nobody. Not while another thread opens files.
void WatchOpens(OpenWatcher watcher);

#endif
