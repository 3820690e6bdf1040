// SPDX-License-Identifier: Apache-2.0
// log_map.cpp -- see log_map.h.
#include "objmgrd/redfish/log_map.h"

#include "objmgrd/text.h"

#include <algorithm>
#include <limits>
#include <tuple>

namespace
{

// ---- choosing a log ----

std::string Lower(std::string text)
{
    for (char &c : text) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c | 0x20);
    }
    return text;
}

// In Id or Name, without regard to case.
constexpr const char *kOtherLogs[] = {"audit",        "security",  "journal",    "hostconsole",
                                      "host console", "dump",      "debug",      "crash",
                                      "postcode",     "post code", "hostlogger", "host logger"};

bool HasWord(const std::string &text, const char *word)
{
    return text.find(word) != std::string::npos;
}

bool IsUpper(char c)
{
    return c >= 'A' && c <= 'Z';
}

bool IsLower(char c)
{
    return c >= 'a' && c <= 'z';
}

// "SEL" as a word of its own, also in words written together: "SEL", "Sel", "SelLog", "bmc-sel1";
// neither "SELECT" nor "SelfTest" nor "diesel".
bool NamesSel(const std::string &text)
{
    const auto at = [&](size_t i) { return i < text.size() ? text[i] : '\0'; };
    const std::string lower = Lower(text);
    for (size_t i = 0; (i = lower.find("sel", i)) != std::string::npos; ++i) {
        const char before = i == 0 ? '\0' : text[i - 1];
        const char after = at(i + 3);
        const bool allUpper = IsUpper(at(i)) && IsUpper(at(i + 1)) && IsUpper(at(i + 2));
        if (allUpper && !IsUpper(before) && !IsUpper(after))
            return true;
        if (!allUpper && IsUpper(at(i)) && !IsLower(after))
            return true;
        if (IsLower(at(i)) && !IsLower(before) && !IsUpper(before) && !IsLower(after))
            return true;
    }
    return HasWord(lower, "system event log") || HasWord(lower, "systemeventlog");
}

// 0 first; -1: not to be read.
int RankOf(const LogService &service)
{
    const std::string id = service.document["Id"].Text();
    const std::string name = service.document["Name"].Text();
    for (const char *word : kOtherLogs) {
        if (HasWord(Lower(id), word) || HasWord(Lower(name), word))
            return -1;
    }
    if (NamesSel(id) || NamesSel(name))
        return 0;
    return service.document["LogEntryType"].IsText("SEL") ? 1 : 2;
}

// ---- times ----

// Reads `count` digits.
bool Digits(std::string_view text, size_t at, size_t count, u32 *number)
{
    *number = 0;
    for (size_t i = at; i < at + count; ++i) {
        if (i >= text.size() || text[i] < '0' || text[i] > '9')
            return false;
        *number = *number * 10 + static_cast<u32>(text[i] - '0');
    }
    return true;
}

// Days from 1970-01-01 of a date of the Gregorian calendar.
i64 DaysOf(i64 year, i64 month, i64 day)
{
    // Years begin in March here, so that a leap day is a year's last.
    year -= month <= 2 ? 1 : 0;
    const i64 era = (year >= 0 ? year : year - 399) / 400;
    const i64 yearOfEra = year - era * 400;
    const i64 dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const i64 dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

bool IsLeap(u32 year)
{
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

u32 DaysInMonth(u32 year, u32 month)
{
    constexpr u32 kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return kDays[month - 1] + (month == 2 && IsLeap(year) ? 1 : 0);
}

// "", "Z" or "+01:00" in seconds to the east.
std::optional<i64> OffsetOf(std::string_view text)
{
    if (text.empty() || text == "Z" || text == "z")
        return 0;
    u32 hours = 0;
    u32 minutes = 0;
    if ((text[0] != '+' && text[0] != '-') || !Digits(text, 1, 2, &hours))
        return std::nullopt;
    const size_t at = text.size() > 3 && text[3] == ':' ? 4 : 3;
    const bool right = text.size() == 3 || (Digits(text, at, 2, &minutes) && text.size() == at + 2);
    if (!right || hours > 23 || minutes > 59)
        return std::nullopt;
    const i64 seconds = i64{hours} * 3600 + i64{minutes} * 60;
    return text[0] == '-' ? -seconds : seconds;
}

constexpr i64 kYear2000 = 946684800;

// ---- texts ----

// "04ab", "0x04 AB": what some services write in place of words.
bool IsBareHex(const std::string &text)
{
    const std::string lower = Lower(text);
    const std::string digits = lower.compare(0, 2, "0x") == 0 ? lower.substr(2) : lower;
    const bool hex = std::all_of(digits.begin(), digits.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || c == ' ';
    });
    return hex && digits.find_first_of("0123456789") != std::string::npos;
}

void Append(const std::string &part, const char *between, std::string *text)
{
    if (!part.empty())
        *text += (text->empty() ? "" : between) + part;
}

std::string NumberOf(JsonValue value)
{
    const auto number = value.Number();
    if (!number.has_value() || *number < 0 || *number > 1e9)
        return "";
    return std::to_string(static_cast<u32>(*number));
}

// "SensorType Number: EntryCode: text", as far as there are such.
std::string WordsOf(JsonValue document, const std::string &message)
{
    std::string text = document["SensorType"].Text();
    Append(NumberOf(document["SensorNumber"]), " ", &text);
    Append(document["EntryCode"].Text(), ": ", &text);
    Append(message, ": ", &text);
    return text;
}

std::string DescriptionOf(JsonValue document)
{
    std::string message = document["Message"].Text();
    if (message.empty() || IsBareHex(message))
        message = WordsOf(document, message);
    std::string severity = document["Severity"].Text();
    if (severity.empty())
        severity = document["MessageSeverity"].Text();
    if (severity == "Warning" || severity == "Critical")
        message = severity + ": " + message;
    return TextOneLine(message, kJsonTextMax);
}

// What stands before an id's number, which only "_" and more of them may follow; nothing for an id
// that has no such (a UUID).
std::optional<std::string_view> BeforeNumber(std::string_view id)
{
    constexpr const char *kDigits = "0123456789";
    const size_t first = id.find_first_of(kDigits);
    if (first == std::string_view::npos)
        return std::nullopt;
    for (size_t at = first; at < id.size();) {
        const size_t end = std::min(id.find_first_not_of(kDigits, at), id.size());
        if (end == at || (end < id.size() && id[end] != '_'))
            return std::nullopt;
        at = end + 1;
    }
    return id.back() == '_' ? std::nullopt : std::optional(id.substr(0, first));
}

}  // namespace

int ChooseLog(const std::vector<LogService> &services, const std::string &before)
{
    int best = -1;
    std::tuple<int, LogOwner, bool> bestRank;
    for (size_t i = 0; i < services.size(); ++i) {
        const bool other = LinkName(services[i].link) != LinkName(before);
        const std::tuple rank = {RankOf(services[i]), services[i].owner, other};
        if (std::get<0>(rank) < 0 || (best >= 0 && !(rank < bestRank)))
            continue;
        best = static_cast<int>(i);
        bestRank = rank;
    }
    return best;
}

std::optional<i64> RedfishTime(std::string_view text)
{
    u32 year, month, day, hour, minute, second;
    const bool shaped = text.size() >= 19 && Digits(text, 0, 4, &year) && text[4] == '-' &&
                        Digits(text, 5, 2, &month) && text[7] == '-' && Digits(text, 8, 2, &day) &&
                        (text[10] == 'T' || text[10] == 't' || text[10] == ' ') &&
                        Digits(text, 11, 2, &hour) && text[13] == ':' &&
                        Digits(text, 14, 2, &minute) && text[16] == ':' &&
                        Digits(text, 17, 2, &second);
    if (!shaped || month < 1 || month > 12 || day < 1 || day > DaysInMonth(year, month) ||
        hour > 23 || minute > 59 || second > 60)
        return std::nullopt;
    size_t at = 19;
    if (at < text.size() && text[at] == '.') {
        const size_t first = ++at;
        while (at < text.size() && text[at] >= '0' && text[at] <= '9')
            ++at;
        if (at == first)
            return std::nullopt;
    }
    const auto offset = OffsetOf(text.substr(at));
    if (!offset.has_value())
        return std::nullopt;
    return DaysOf(year, month, day) * 86400 + i64{hour} * 3600 + i64{minute} * 60 + second -
           *offset;
}

LogEntry LogEntryOf(JsonValue document)
{
    LogEntry entry;
    entry.id = document["Id"].Text();
    if (entry.id.empty()) {
        const std::string name = LinkName(document["@odata.id"].RawText());
        entry.id = TextOneLine(name.substr(name.rfind('/') + 1), kJsonTextMax);
    }
    // Created is when the entry was made, which can be an import long after the event.
    std::string time = document["EventTimestamp"].Text();
    if (time.empty())
        time = document["Created"].Text();
    const auto seconds = RedfishTime(time);
    if (!seconds.has_value()) {
        entry.times = LogTimesNone();
    } else {
        entry.seconds = seconds;
        entry.times = *seconds < kYear2000 ? LogTimesOfStart() : LogTimesOf(*seconds);
    }
    entry.description = DescriptionOf(document);
    return entry;
}

void SortLog(std::vector<LogEntry> *entries)
{
    const bool numbered = std::all_of(entries->begin(), entries->end(), [&](const LogEntry &entry) {
        const auto text = BeforeNumber(entry.id);
        return text.has_value() && text == BeforeNumber(entries->front().id);
    });
    std::stable_sort(entries->begin(), entries->end(),
                     [numbered](const LogEntry &a, const LogEntry &b) {
                         if (numbered)
                             return NaturalCompare(a.id, b.id) < 0;
                         // Those without a time first: they may be from before the clock was set.
                         return a.seconds.value_or(std::numeric_limits<i64>::min()) <
                                b.seconds.value_or(std::numeric_limits<i64>::min());
                     });
    if (entries->size() > kLogEntriesMax)
        entries->erase(entries->begin(),
                       entries->end() - static_cast<std::ptrdiff_t>(kLogEntriesMax));
}
