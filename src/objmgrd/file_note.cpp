// SPDX-License-Identifier: Apache-2.0
// file_note.cpp -- see file_note.h.
#include "objmgrd/file_note.h"

#include "objmgrd/packed_instance.h"

#include <algorithm>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

namespace
{

// Reads at most maxBytes + 1 bytes. 0 or an errno value.
int ReadUpTo(int fd, size_t maxBytes, std::string *out)
{
    int error = 0;
    char part[16384];
    while (out->size() <= maxBytes) {
        const ssize_t got = read(fd, part, sizeof part);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            error = errno;
        if (got <= 0)
            break;
        out->append(part, static_cast<size_t>(got));
    }
    return error;
}

}  // namespace

std::string FileNoteLine(const std::string &file, const FileNote &note)
{
    std::string line = file + ":";
    if (note.line != 0)
        line += std::to_string(note.line) + ":" + std::to_string(note.column) + ":";
    return line + (note.warning ? " warning: " : " ") + note.text;
}

std::string FileNoteQuoted(std::string_view text)
{
    std::string safe = StoreSafeText(std::string(text));
    if (safe.size() > kFileNoteQuotedMax) {
        size_t end = kFileNoteQuotedMax;
        while ((static_cast<u8>(safe[end]) & 0xc0) == 0x80)  // within a character
            --end;
        safe.resize(end);
        safe += "...";
    }
    return "\"" + safe + "\"";
}

void FileNoteAdd(std::vector<FileNote> *notes, std::string text)
{
    FileNote note;
    note.text = std::move(text);
    notes->push_back(std::move(note));
}

void FileNotesSort(std::vector<FileNote> *notes, size_t first)
{
    std::stable_sort(notes->begin() + static_cast<std::ptrdiff_t>(first), notes->end(),
                     [](const FileNote &a, const FileNote &b) {
                         return a.line != b.line ? a.line < b.line : a.column < b.column;
                     });
}

bool FileRead(const std::string &file, size_t maxBytes, const char *limit, std::string *out,
              std::vector<FileNote> *notes)
{
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        FileNoteAdd(notes, strerror(errno));
        return false;
    }
    const bool read = FileReadFrom(fd, maxBytes, limit, out, notes);
    close(fd);
    return read;
}

bool FileReadFrom(int fd, size_t maxBytes, const char *limit, std::string *out,
                  std::vector<FileNote> *notes)
{
    const int error = ReadUpTo(fd, maxBytes, out);
    if (error != 0)
        FileNoteAdd(notes, strerror(error));
    else if (out->size() > maxBytes)
        FileNoteAdd(notes, std::string("larger than ") + limit);
    return error == 0 && out->size() <= maxBytes;
}
