// SPDX-License-Identifier: Apache-2.0
// output.h -- writes sheets as a table, JSON, JSON lines or CSV.
#ifndef CTL_OUTPUT_H
#define CTL_OUTPUT_H

#include "ctl/sheet.h"

#include <stdio.h>

enum class OutputFormat : u8 {
    Table,      // for people
    Json,       // one object: schema, time, the list
    JsonLines,  // one object per row, each with the schema
    Csv,        // RFC 4180 with a line of names: CR LF, quotes where needed
};

// "table", "json", "jsonl" or "csv". False: none of these.
bool OutputFormatFromName(const char *name, OutputFormat *format);

// One sheet, row by row. Rows of JSON lines and CSV go out as they come; those of a table and of
// JSON at the end (a table has to know how wide its columns are), or as they come after Stream.
class Output
{
public:
    // time: seconds since 1970, for JSON's "time". color: whether a table marks states.
    Output(FILE *file, OutputFormat format, const SheetForm &form, i64 time, bool color);
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    // From here on each row is written and flushed as it comes; a table's columns have the widths
    // of their headings then, and wider values move what follows.
    void Stream();
    // Tables get a column "SERVER" from here on.
    void ShowServers();
    void Add(const Row &row);
    // A line between the tables of several servers; nothing in the other formats.
    void Title(const std::string &title);
    // Ends the sheet. False when something could not be written (a full disk, a closed pipe).
    bool End();

private:
    void WriteTable();
    void WriteTableRow(const Row &row, const std::vector<size_t> &widths);
    void WriteCsvHead();

    FILE *file_;
    OutputFormat format_;
    const SheetForm &form_;
    i64 time_;
    bool color_;
    const char *HeadingOf(const Column &column) const;

    bool stream_ = false;
    bool servers_ = false;
    bool headWritten_ = false;
    u64 written_ = 0;
    std::vector<Row> rows_;
};

// One row as a JSON object, without a line break. withSchema: "schema" comes first.
std::string JsonRow(const SheetForm &form, const Row &row, bool withSchema);
// One row as CSV, with its CR LF.
std::string CsvRow(const Row &row);
// A text as JSON writes it, quotes included.
std::string JsonText(std::string_view text);

// Columns of a terminal that a text takes: characters, as wide ones are rare in names.
size_t ShownWidth(std::string_view text);

#endif
