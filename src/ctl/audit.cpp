// SPDX-License-Identifier: Apache-2.0
// audit.cpp -- see audit.h.
#include "ctl/audit.h"

#include "ctl/options.h"

#include <algorithm>
#include <jansson.h>
#include <memory>
#include <stdlib.h>
#include <string.h>
#include <time.h>

namespace
{

constexpr Column kColumns[] = {
    // clang-format off
    {"server",   nullptr,    false},
    {"time",     "TIME",     false},
    {"event",    "EVENT",    false},
    {"user",     "USER",     false},
    {"uid",      nullptr,    true},
    {"pid",      nullptr,    true},
    {"session",  "SESSION",  true},
    {"address",  "ADDRESS",  false},
    {"command",  "COMMAND",  false},
    {"argument", "ARGUMENT", false},
    {"target",   "TARGET",   false},
    {"result",   "RESULT",   false},
    {"reason",   "REASON",   false},
    {"seconds",  nullptr,    true},
    // clang-format on
};

// Columns that a line calls otherwise.
constexpr char kAddressKey[] = "claimed_address";

constexpr const char *kNumbers[] = {"uid", "pid", "session", "seconds"};

struct JsonDeleter {
    void operator()(json_t *json) const { json_decref(json); }
};
using Json = std::unique_ptr<json_t, JsonDeleter>;

// A value at the front: a word, or a text in quotes, in which nothing is escaped.
bool TakeValue(std::string_view *text, std::string *value)
{
    const bool quoted = text->starts_with('"');
    if (quoted)
        text->remove_prefix(1);
    const size_t end = quoted ? text->find('"') : std::min(text->find(' '), text->size());
    if (end == std::string_view::npos)
        return false;
    *value = text->substr(0, end);
    text->remove_prefix(end + (quoted ? 1 : 0));
    return true;
}

// "event=call user=alice ...".
bool ParseValues(std::string_view text, AuditEvent *event)
{
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.remove_suffix(1);
    if (!text.starts_with("event="))
        return false;
    while (!text.empty()) {
        const size_t equals = text.find('=');
        if (equals == std::string_view::npos)
            return false;
        const std::string key(text.substr(0, equals));
        std::string value;
        text.remove_prefix(equals + 1);
        if (!TakeValue(&text, &value) || (!text.empty() && text.front() != ' '))
            return false;
        while (text.starts_with(' '))
            text.remove_prefix(1);
        if (value != "-")
            event->values.emplace_back(key, value);
    }
    return true;
}

// "Nov 21 20:03:03" has no year: it is the last such time that is not in the future.
std::optional<i64> OldTime(const std::string &line, i64 now)
{
    const time_t here = static_cast<time_t>(now);
    tm parts = {};
    localtime_r(&here, &parts);
    const int year = parts.tm_year;
    for (const int back : {0, 1}) {
        tm wanted = {};
        if (strptime(line.c_str(), "%b %d %H:%M:%S", &wanted) == nullptr)
            return std::nullopt;
        wanted.tm_year = year - back;
        wanted.tm_isdst = -1;
        const i64 time = static_cast<i64>(mktime(&wanted));
        if (time <= now + 86400)
            return time;
    }
    return std::nullopt;
}

bool ParseText(const std::string &line, i64 now, AuditEvent *event)
{
    // The first ": " ends the program's name.
    const size_t message = line.find(": event=");
    if (message == std::string::npos || line.find(": ") != message)
        return false;
    const std::string word = line.substr(0, line.find(' '));
    event->time = OptionsTime(word, 0);
    if (!event->time)
        event->time = OldTime(line, now);
    return ParseValues(std::string_view(line).substr(message + 2), event);
}

const char *TextOf(const json_t *object, const char *name)
{
    return json_string_value(json_object_get(object, name));
}

// Whether a program of this name, and this path where there is one, is a service. The path of one
// that was replaced while it ran ends in " (deleted)".
bool IsService(const char *name, const char *path)
{
    std::string_view file = path != nullptr ? path : name;
    if (path != nullptr) {
        constexpr std::string_view kDeleted = " (deleted)";
        if (file.ends_with(kDeleted))
            file.remove_suffix(kDeleted.size());
        file.remove_prefix(file.find_last_of('/') + 1);
    }
    return file == name &&
           std::any_of(std::begin(kAuditServices), std::end(kAuditServices),
                       [&](const char *service) { return strcmp(name, service) == 0; });
}

bool ParseJournal(const std::string &line, const AuditTrust &trust, AuditEvent *event)
{
    const Json json(json_loadb(line.data(), line.size(), 0, nullptr));
    const char *message = TextOf(json.get(), "MESSAGE");
    const char *uid = TextOf(json.get(), "_UID");
    const char *name = TextOf(json.get(), "_COMM");
    const char *time = TextOf(json.get(), "__REALTIME_TIMESTAMP");
    if (message == nullptr || uid == nullptr || name == nullptr ||
        !IsService(name, TextOf(json.get(), "_EXE")))
        return false;
    const std::string owner = trust.owner ? std::to_string(*trust.owner) : "0";
    if (strcmp(uid, "0") != 0 && owner != uid)
        return false;
    if (time != nullptr)
        event->time = static_cast<i64>(strtoull(time, nullptr, 10) / 1000000);
    return ParseValues(message, event);
}

Value ValueOf(const AuditEvent &event, std::string_view column)
{
    const std::string_view key = column == "address" ? std::string_view(kAddressKey) : column;
    for (const auto &value : event.values) {
        if (value.first != key)
            continue;
        for (const char *number : kNumbers) {
            if (column == number)
                return NumberFromText(value.second);
        }
        return TextValue(value.second);
    }
    return {};
}

}  // namespace

const SheetForm kAuditForm = {"events", kColumns};

bool AuditParseLine(const std::string &line, const AuditTrust &trust, i64 now, AuditEvent *event)
{
    *event = {};
    return line.starts_with('{') ? ParseJournal(line, trust, event) : ParseText(line, now, event);
}

Row AuditRow(const AuditEvent &event)
{
    Row row = {Value(), event.time ? TimeValue(*event.time) : Value()};
    for (size_t i = row.size(); i < std::size(kColumns); ++i)
        row.push_back(ValueOf(event, kColumns[i].name));
    return row;
}
