// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/settings_reader: what the settings of all sources have in common.
#include "objmgrd/settings_reader.h"

#include <gtest/gtest.h>

namespace
{

constexpr const char *kTables[] = {"first", "second", nullptr};

class Reader : public SettingsReader
{
public:
    Reader(ArchiveSettings *archive, std::vector<FileNote> *notes)
        : SettingsReader(kTables, archive, notes)
    {
    }
    u32 number = 7;
    std::string text = "before";
    std::string order;

private:
    void ReadTable(const char *name, const toml::table &table) override
    {
        order += std::string(name) + " ";
        for (const auto &[key, node] : table) {
            if (key == "number")
                ReadNumber("number", node, 5, 9, &number);
            else if (key == "text")
                ReadText("text", node, 3, &text);
            else
                FaultUnknown(name, key);
        }
    }
    void CheckWhole(const toml::table &) override { order += "whole"; }
};

struct Result {
    std::string faults;
    u32 number = 0;
    std::string text;
    std::string order;
    ArchiveSettings archive;
};

Result ReadSettings(const std::string &text)
{
    Result result;
    std::vector<FileNote> notes;
    Reader reader(&result.archive, &notes);
    const bool right = TomlRead(text, &reader, &notes);
    EXPECT_EQ(right, notes.empty());
    for (const FileNote &note : notes)
        result.faults += FileNoteLine("f", note) + "\n";
    result.number = reader.number;
    result.text = reader.text;
    result.order = reader.order;
    return result;
}

}  // namespace

TEST(SettingsReader, TablesInTheirOrderThenTheWhole)
{
    const Result result =
        ReadSettings("archive_mb = 3\n[second]\ntext = 'abc'\n[first]\nnumber = 9\n");
    EXPECT_EQ(result.faults, "");
    EXPECT_EQ(result.number, 9u);
    EXPECT_EQ(result.text, "abc");
    EXPECT_EQ(result.order, "first second whole");
    EXPECT_EQ(result.archive.megabytes, 3u);
}

TEST(SettingsReader, EveryFaultWithItsPlace)
{
    EXPECT_EQ(ReadSettings("[first]\nnumber = 4\n").faults,
              "f:2:10: number is a number from 5 to 9\n");
    EXPECT_EQ(ReadSettings("[first]\nnumber = 5\n").faults, "");
    EXPECT_EQ(ReadSettings("[first]\nnumber = 10\n").number, 7u);
    const std::string wrong = "text is a text of at most 3 bytes in quotes, without control "
                              "characters\n";
    EXPECT_EQ(ReadSettings("[first]\ntext = 'abcd'\n").faults, "f:2:8: " + wrong);
    EXPECT_EQ(ReadSettings("[first]\ntext = \"a\\u007f\"\n").faults, "f:2:8: " + wrong);
    EXPECT_EQ(ReadSettings("[first]\ntext = 1\n").text, "before");
    EXPECT_EQ(ReadSettings("[first]\nother = 1\n").faults,
              "f:2:1: unknown key \"other\" in [first]\n");
    EXPECT_EQ(ReadSettings("[second]\n").faults, "f:1:1: [first] is missing\n");
    EXPECT_EQ(ReadSettings("archive = 'x'\n[first]\n[third]\n").faults,
              "f:1:11: archive is an absolute directory\n"
              "f:3:2: unknown table \"third\" (known: first, second)\n");
    EXPECT_EQ(ReadSettings("second = 2\n[first]\n").faults,
              "f:1:10: second is a table: write [second]\n");
    EXPECT_EQ(ReadSettings("\"x\\u001b\" = 1\n[first]\n").faults,
              "f:1:1: unknown table \"x?\" (known: first, second)\n");
}
