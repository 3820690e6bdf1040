// SPDX-License-Identifier: Apache-2.0
// output.cpp -- see output.h.
//
// JSON is written here and not by a library, so that a reading's digits come out as the controller
// gave them: a library would turn 12.10 into a binary number and back.
#include "ctl/output.h"

#include <algorithm>
#include <string.h>

namespace
{

struct FormatName {
    const char *name;
    OutputFormat format;
};
constexpr FormatName kFormats[] = {
    {"table", OutputFormat::Table},
    {"json", OutputFormat::Json},
    {"jsonl", OutputFormat::JsonLines},
    {"csv", OutputFormat::Csv},
};

// What stands in a table for a value that is not there.
constexpr char kNothing[] = "-";

// The one place for what a text needs in JSON.
void AppendJsonText(std::string *json, std::string_view text)
{
    *json += '"';
    for (size_t plain = 0; !text.empty(); text.remove_prefix(plain + 1)) {
        plain = 0;
        while (plain < text.size() && text[plain] != '"' && text[plain] != '\\' &&
               static_cast<u8>(text[plain]) >= 0x20)
            ++plain;
        *json += text.substr(0, plain);
        if (plain == text.size())
            break;
        char escape[8] = {'\\', text[plain], '\0'};
        if (static_cast<u8>(text[plain]) < 0x20)
            snprintf(escape, sizeof escape, "\\u%04x", static_cast<u8>(text[plain]));
        *json += escape;
    }
    *json += '"';
}

void AppendJsonValue(std::string *json, const Value &value)
{
    if (value.IsNull())
        *json += "null";
    else if (value.kind == ValueKind::Text)
        AppendJsonText(json, value.text);
    else
        *json += value.text;
}

std::string JsonValue(const Value &value)
{
    std::string json;
    AppendJsonValue(&json, value);
    return json;
}

void AppendCsvText(std::string *line, const std::string &text)
{
    const bool quoted = std::any_of(text.begin(), text.end(), [](char c) {
        return c == '"' || c == ',' || c == '\r' || c == '\n';
    });
    if (!quoted) {
        *line += text;
        return;
    }
    *line += '"';
    for (const char c : text)
        line->append(c == '"' ? 2 : 1, c);
    *line += '"';
}

std::string Shown(const Value &value)
{
    if (value.IsNull() || value.text.empty())
        return kNothing;
    if (value.kind == ValueKind::Flag)
        return value.text == "true" ? "yes" : "no";
    return value.text;
}

void AppendPadded(std::string *line, const std::string &text, size_t width, bool right)
{
    const size_t shown = ShownWidth(text);
    const std::string blanks(width > shown ? width - shown : 0, ' ');
    *line += right ? blanks + text : text + blanks;
}

// The escape sequence that marks a health; null: as it is.
const char *ColorOf(const Column &column, const Value &value)
{
    if (strcmp(column.name, "health") != 0)
        return nullptr;
    if (value.text == "critical")
        return "\x1b[31m";
    return value.text == "warning" ? "\x1b[33m" : nullptr;
}

std::string WithoutBlanksAtEnd(std::string line)
{
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

}  // namespace

size_t ColumnIndex(const SheetForm &form, std::string_view name)
{
    size_t i = 0;
    while (i < form.columns.size() && form.columns[i].name != name)
        ++i;
    return i;
}

bool OutputFormatFromName(const char *name, OutputFormat *format)
{
    for (const FormatName &row : kFormats) {
        if (strcmp(row.name, name) == 0) {
            *format = row.format;
            return true;
        }
    }
    return false;
}

std::string JsonText(std::string_view text)
{
    std::string json;
    AppendJsonText(&json, text);
    return json;
}

std::string JsonRow(const SheetForm &form, const Row &row, bool withSchema)
{
    constexpr size_t kUsualSize = 512;
    std::string json;
    json.reserve(kUsualSize);
    json += '{';
    if (withSchema)
        json.append("\"schema\":").append(std::to_string(kSheetSchema)).append(",");
    for (size_t i = 0; i < row.size(); ++i) {
        json.append(i != 0 ? ",\"" : "\"").append(form.columns[i].name).append("\":");
        AppendJsonValue(&json, row[i]);
    }
    json += '}';
    return json;
}

std::string CsvRow(const Row &row)
{
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
        if (i != 0)
            line += ',';
        AppendCsvText(&line, row[i].text);
    }
    line += "\r\n";
    return line;
}

size_t ShownWidth(std::string_view text)
{
    return static_cast<size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<u8>(c) & 0xc0) != 0x80; }));
}

Output::Output(FILE *file, OutputFormat format, const SheetForm &form, i64 time, bool color)
    : file_(file), format_(format), form_(form), time_(time), color_(color)
{
}

void Output::Stream()
{
    stream_ = true;
}

void Output::ShowServers()
{
    servers_ = true;
}

// Null: the column does not stand in tables.
const char *Output::HeadingOf(const Column &column) const
{
    return servers_ && strcmp(column.name, "server") == 0 ? "SERVER" : column.heading;
}

void Output::WriteCsvHead()
{
    if (headWritten_)
        return;
    headWritten_ = true;
    Row names;
    for (const Column &column : form_.columns)
        names.push_back({ValueKind::Text, column.name});
    fputs(CsvRow(names).c_str(), file_);
}

void Output::Add(const Row &row)
{
    switch (format_) {
    case OutputFormat::Csv:
        WriteCsvHead();
        fputs(CsvRow(row).c_str(), file_);
        break;
    case OutputFormat::JsonLines:
        fputs((JsonRow(form_, row, true) + "\n").c_str(), file_);
        break;
    case OutputFormat::Json:
        if (written_ == 0) {
            fprintf(file_, "{\"schema\":%d,\"time\":%s,\"%s\":[", kSheetSchema,
                    JsonValue(TimeValue(time_)).c_str(), form_.name);
        }
        fputs(written_ == 0 ? "\n" : ",\n", file_);
        fputs(JsonRow(form_, row, false).c_str(), file_);
        break;
    case OutputFormat::Table:
        rows_.push_back(row);
        if (stream_)
            WriteTable();
        break;
    }
    ++written_;
    if (stream_)
        fflush(file_);
}

void Output::WriteTableRow(const Row &row, const std::vector<size_t> &widths)
{
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
        const Column &column = form_.columns[i];
        if (HeadingOf(column) == nullptr)
            continue;
        if (!line.empty())
            line += "  ";
        std::string cell;
        AppendPadded(&cell, Shown(row[i]), widths[i], column.number);
        const char *color = color_ ? ColorOf(column, row[i]) : nullptr;
        line += color == nullptr ? cell : color + cell + "\x1b[0m";
    }
    fprintf(file_, "%s\n", WithoutBlanksAtEnd(line).c_str());
}

// Writes the rows that wait, under the headings where those do not stand there yet.
void Output::WriteTable()
{
    std::vector<size_t> widths;
    Row headings;
    for (const Column &column : form_.columns) {
        const char *heading = HeadingOf(column);
        headings.push_back({ValueKind::Text, heading == nullptr ? "" : heading});
        widths.push_back(headings.back().text.size());
    }
    for (const Row &row : rows_) {
        for (size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], ShownWidth(Shown(row[i])));
    }
    if (!headWritten_ && !rows_.empty()) {
        WriteTableRow(headings, widths);
        headWritten_ = true;
    }
    for (const Row &row : rows_)
        WriteTableRow(row, widths);
    rows_.clear();
}

void Output::Title(const std::string &title)
{
    if (format_ != OutputFormat::Table)
        return;
    WriteTable();
    headWritten_ = false;
    fprintf(file_, "%s\n", title.c_str());
}

bool Output::End()
{
    if (format_ == OutputFormat::Table)
        WriteTable();
    if (format_ == OutputFormat::Csv)
        WriteCsvHead();
    if (format_ == OutputFormat::Json && written_ == 0) {
        fprintf(file_, "{\"schema\":%d,\"time\":%s,\"%s\":[]}\n", kSheetSchema,
                JsonValue(TimeValue(time_)).c_str(), form_.name);
    } else if (format_ == OutputFormat::Json) {
        fputs("\n]}\n", file_);
    }
    return fflush(file_) == 0 && ferror(file_) == 0;
}
