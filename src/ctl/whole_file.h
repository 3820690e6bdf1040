// SPDX-License-Identifier: Apache-2.0
// whole_file.h -- files that readers never see half written.
#ifndef CTL_WHOLE_FILE_H
#define CTL_WHOLE_FILE_H

#include <string>

// Writes a new file beside `path` and gives it that name: whoever opens `path` sees the old text
// or the new one. Its mode is 0644 less the umask, since those who read it are others. 0 or an
// errno value, with nothing changed and nothing left behind: EINVAL or EISDIR where something that
// is no file stands there.
int WholeFileWrite(const std::string &path, const std::string &text);

#endif
