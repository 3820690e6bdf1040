// SPDX-License-Identifier: Apache-2.0
// text.cpp -- see text.h.
#include "objmgrd/text.h"

namespace
{

// Bytes of the control character or blank that begins at `at`; 0: another character does.
size_t BlankAt(std::string_view text, size_t at)
{
    const u8 byte = static_cast<u8>(text[at]);
    if (byte <= ' ' || byte == 0x7f)
        return 1;
    // U+0080 to U+009F.
    if (byte == 0xc2 && at + 1 < text.size() && static_cast<u8>(text[at + 1]) < 0xa0)
        return 2;
    return 0;
}

bool IsContinuation(char byte)
{
    return (static_cast<u8>(byte) & 0xc0) == 0x80;
}

}  // namespace

std::string TextTrim(const std::string &text)
{
    const size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos)
        return "";
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::string TextOneLine(std::string_view text, size_t mostBytes)
{
    std::string line;
    bool blank = false;
    for (size_t at = 0; at < text.size() && line.size() <= mostBytes;) {
        if (const size_t bytes = BlankAt(text, at)) {
            blank = !line.empty();
            at += bytes;
            continue;
        }
        if (blank)
            line += ' ';
        blank = false;
        do
            line += text[at++];
        while (at < text.size() && IsContinuation(text[at]));
    }
    if (line.size() > mostBytes) {
        size_t end = mostBytes;
        while (end > 0 && IsContinuation(line[end]))
            --end;
        line.resize(end);
    }
    return TextTrim(line);
}
