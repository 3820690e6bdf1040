// SPDX-License-Identifier: Apache-2.0
// file_note.h -- what is to be said about a place in a settings file, and the reading of one.
#ifndef OBJMGRD_FILE_NOTE_H
#define OBJMGRD_FILE_NOTE_H

#include "platform/types.h"

#include <string>
#include <string_view>
#include <vector>

// Lines and columns count from 1; line 0 means the file as a whole.
struct FileNote {
    u32 line = 0;
    u32 column = 0;
    bool warning = false;  // false: a fault
    std::string text;
};

// "FILE:LINE:COLUMN: TEXT", or "FILE: TEXT" for line 0; "warning: " before the text of a warning.
std::string FileNoteLine(const std::string &file, const FileNote &note);

// What a note says of a word of the file: between quotation marks, made safe for a terminal. Of
// more than this many bytes the beginning stands there, and "..." behind it, so that a note with
// two of them is a line that can be read, and stored.
constexpr size_t kFileNoteQuotedMax = 256;
std::string FileNoteQuoted(std::string_view text);

// Adds a fault of the file as a whole.
void FileNoteAdd(std::vector<FileNote> *notes, std::string text);

// Brings the notes from number `first` on into the order of the file.
void FileNotesSort(std::vector<FileNote> *notes, size_t first);

// Reads a file of at most maxBytes into *out. True, or false with a fault added: it cannot be
// read, or is "larger than LIMIT" where limit is that size in words. A larger file is refused, so
// that a wrong one (a device, a disk image) does no harm.
bool FileRead(const std::string &file, size_t maxBytes, const char *limit, std::string *out,
              std::vector<FileNote> *notes);
// As FileRead, of a file that is open; it is read from where it stands, and stays open.
bool FileReadFrom(int fd, size_t maxBytes, const char *limit, std::string *out,
                  std::vector<FileNote> *notes);

#endif
