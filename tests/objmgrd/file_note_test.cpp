// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/file_note: what is said about a settings file, and how much of one is read.
#include "objmgrd/file_note.h"

#include "support/test_files.h"

#include <gtest/gtest.h>

namespace
{

FileNote Note(u32 line, u32 column, const char *text, bool warning = false)
{
    FileNote note;
    note.line = line;
    note.column = column;
    note.warning = warning;
    note.text = text;
    return note;
}

TEST(FileNoteLine, NamesThePlaceWhereThereIsOne)
{
    EXPECT_EQ(FileNoteLine("a.toml", Note(3, 14, "wrong")), "a.toml:3:14: wrong");
    EXPECT_EQ(FileNoteLine("a.toml", Note(3, 14, "odd", true)), "a.toml:3:14: warning: odd");
    EXPECT_EQ(FileNoteLine("a.toml", Note(0, 0, "missing")), "a.toml: missing");
    EXPECT_EQ(FileNoteLine("a.toml", Note(0, 0, "odd", true)), "a.toml: warning: odd");
}

TEST(FileNoteQuoted, IsWhatTheFileSaysMadeSafe)
{
    EXPECT_EQ(FileNoteQuoted(""), "\"\"");
    EXPECT_EQ(FileNoteQuoted("sensors"), "\"sensors\"");
    EXPECT_EQ(FileNoteQuoted("a\x1b[31mb\nc"), "\"a?[31mb?c\"");
    EXPECT_EQ(FileNoteQuoted("M\xc3\xbcnchen"), "\"M\xc3\xbcnchen\"");
}

TEST(FileNoteQuoted, OfALongWordTheBeginning)
{
    EXPECT_EQ(FileNoteQuoted(std::string(256, 'k')), "\"" + std::string(256, 'k') + "\"");
    EXPECT_EQ(FileNoteQuoted(std::string(257, 'k')), "\"" + std::string(256, 'k') + "...\"");
    EXPECT_EQ(FileNoteQuoted(std::string(100000, 'k')), "\"" + std::string(256, 'k') + "...\"");
}

// The euro sign takes three bytes: 254 and 255 end within it.
TEST(FileNoteQuoted, ACharacterIsShownWholeOrNot)
{
    const std::string euro = "\xe2\x82\xac";
    for (size_t before : {253u, 254u, 255u, 256u}) {
        const std::string shown = std::string(before, 'k') + (before == 253 ? euro : "");
        EXPECT_EQ(FileNoteQuoted(std::string(before, 'k') + euro + "end"), "\"" + shown + "...\"")
            << before;
    }
}

TEST(FileNoteAdd, IsAFaultOfTheWholeFile)
{
    std::vector<FileNote> notes;
    FileNoteAdd(&notes, "missing");
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_EQ(FileNoteLine("f", notes[0]), "f: missing");
    EXPECT_FALSE(notes[0].warning);
}

TEST(FileNotesSort, OrdersByPlaceFromTheNoteNamed)
{
    std::vector<FileNote> notes = {Note(9, 9, "first"), Note(2, 5, "d"), Note(2, 1, "b"),
                                   Note(1, 7, "a"),     Note(2, 1, "c"), Note(10, 1, "e")};
    FileNotesSort(&notes, 1);
    std::string order;
    for (const FileNote &note : notes)
        order += note.text + " ";
    EXPECT_EQ(order, "first a b c d e ");
}

struct ReadResult {
    bool done;
    std::string bytes;
    std::string said;
};

ReadResult Read(const std::string &file, size_t most)
{
    ReadResult result;
    std::vector<FileNote> notes;
    result.done = FileRead(file, most, "five bytes", &result.bytes, &notes);
    for (const FileNote &note : notes)
        result.said += FileNoteLine("f", note) + "\n";
    return result;
}

TEST(FileRead, TakesAllUpToTheLimit)
{
    TestDirectory directory;
    for (const char *text : {"", "1", "1234", "12345"}) {
        WriteFile(directory.Path() + "/f", text);
        const ReadResult result = Read(directory.Path() + "/f", 5);
        EXPECT_TRUE(result.done) << text;
        EXPECT_EQ(result.bytes, text);
        EXPECT_EQ(result.said, "") << text;
    }
}

TEST(FileRead, RefusesWhatIsLarger)
{
    TestDirectory directory;
    WriteFile(directory.Path() + "/f", "123456");
    const ReadResult result = Read(directory.Path() + "/f", 5);
    EXPECT_FALSE(result.done);
    EXPECT_EQ(result.said, "f: larger than five bytes\n");

    // A device has no size.
    const ReadResult device = Read("/dev/zero", 5);
    EXPECT_FALSE(device.done);
    EXPECT_EQ(device.said, "f: larger than five bytes\n");
}

TEST(FileRead, SaysWhyAFileCannotBeRead)
{
    TestDirectory directory;
    const ReadResult none = Read(directory.Path() + "/none", 5);
    EXPECT_FALSE(none.done);
    EXPECT_EQ(none.said, "f: No such file or directory\n");
    const ReadResult folder = Read(directory.Path(), 5);
    EXPECT_FALSE(folder.done);
    EXPECT_EQ(folder.said, "f: Is a directory\n");
}

}  // namespace
