// SPDX-License-Identifier: Apache-2.0
// text.h -- tidying text that comes from a machine.
#ifndef OBJMGRD_TEXT_H
#define OBJMGRD_TEXT_H

#include "platform/types.h"

#include <string>
#include <string_view>

// Without blanks at its ends.
std::string TextTrim(const std::string &text);

// One line of at most mostBytes bytes: every run of blanks and control characters (C0, DEL, C1)
// becomes one blank, none at the ends; a longer text is cut between two characters. The text is
// UTF-8.
std::string TextOneLine(std::string_view text, size_t mostBytes);

#endif
