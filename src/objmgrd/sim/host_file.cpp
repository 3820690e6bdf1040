// SPDX-License-Identifier: Apache-2.0
// host_file.cpp -- see host_file.h. The classes are data (kClasses); a Reader walks the parsed
// tables and collects every fault instead of stopping at the first.
#include "objmgrd/sim/host_file.h"

#include "objmgr/faults.h"
#include "objmgr/schema.h"
#include "objmgrd/toml.h"

#include <algorithm>
#include <set>
#include <stdio.h>
#include <string.h>

namespace
{

constexpr i64 kNumberMax = 65535;        // of a row's number and of a status
constexpr i64 kWordMax = 4294967295;     // of a return word and of a count of calls
constexpr i64 kDelayMaxMs = 10 * 60000;  // far beyond any client's patience

// The calls that a fault takes, as `from` and `to` give them; 0: not given.
struct CallRange {
    u32 from = 0;
    u32 to = 0;
};

// The range as a row of the plan has it (objmgr/faults.h).
std::string RangeText(const CallRange &range)
{
    const u32 to = range.to != 0 ? range.to : static_cast<u32>(kWordMax);
    return std::to_string(std::max<u32>(range.from, 1)) + "-" + std::to_string(to);
}

// One value of a property as the file gives it.
struct Value {
    CimStatus status = kCimOk;
    std::string text;
    bool someCalls = false;  // the status is for the calls of `range` only
    CallRange range;
};

struct ClassRow {
    const char *name;
    bool rows;           // an array of tables; otherwise one table
    const char *logKey;  // the key whose value is always "SEL", or null
    const char *number;  // the key that counts up, or null
    std::vector<const char *> properties;
};

const ClassRow kClasses[] = {
    {kSystemClass,
     false,
     nullptr,
     nullptr,
     {kPropertyPowerStatus, kPropertyServiceTag, kPropertyDescription, kPropertyHostName,
      kPropertyOem}},
    {kMessageLogClass, false, kPropertyName, nullptr, {kPropertyName, kPropertyNumRecords}},
    {kLogRecordClass,
     true,
     kPropertyLogName,
     kPropertyRecordNum,
     {kPropertyLogName, kPropertyRecordNum, kPropertyTimestamp, kPropertyDescription}},
    {kSensorClass,
     true,
     nullptr,
     kPropertyIndex,
     {kPropertyIndex, kPropertyType, kPropertyFormat, kPropertyName, kPropertyReading,
      kPropertyWarningThresholdMin, kPropertyWarningThresholdMax, kPropertyFailThresholdMin,
      kPropertyFailThresholdMax, kPropertyStatusText, kPropertyState, kPropertyStateValue}},
    {kPowerSupplyClass,
     true,
     nullptr,
     kPropertyPowerSupplyIndex,
     {kPropertyPowerSupplyIndex, kPropertyPowerSupplyWattage}},
};
constexpr size_t kMessageLog = 1;
constexpr size_t kLogRecord = 2;

const char *const kInstanceKeys[] = {"status", "status_from", "status_to"};
const char *const kFaultPoints[] = {"interface", "open", "init_instance"};
const char *const kMethods[] = {kMethodStart, kMethodStop, kMethodReset, kMethodClear};

template <typename Names> bool IsOneOf(const Names &names, std::string_view name)
{
    return std::any_of(std::begin(names), std::end(names),
                       [&](const char *known) { return name == known; });
}

template <typename Names> std::string Joined(const Names &names)
{
    std::string all;
    for (const char *name : names)
        all += (all.empty() ? "" : ", ") + std::string(name);
    return all;
}

bool IsPropertyName(std::string_view name)
{
    return !name.empty() && name.size() <= kStorePropertyNameMax &&
           std::all_of(name.begin(), name.end(), [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      c == '_' || c == '-';
           });
}

// The number that a text spells in plain decimal digits, or 0 when it is not one from 1 to 65535.
u32 RowNumber(const std::string &text)
{
    if (text.empty() || text.size() > 5 || text[0] == '0')
        return 0;
    u32 number = 0;
    for (char c : text) {
        if (c < '0' || c > '9')
            return 0;
        number = number * 10 + static_cast<u32>(c - '0');
    }
    return number <= kNumberMax ? number : 0;
}

// True for four digits, "-", two digits ... whatever the digits are.
bool LooksLikeTime(const std::string &text)
{
    static constexpr std::string_view kForm = "0000-00-00 00:00:00";
    if (text.size() != kForm.size())
        return false;
    for (size_t i = 0; i < kForm.size(); ++i) {
        bool fits = text[i] == kForm[i];
        if (kForm[i] == '0')
            fits = text[i] >= '0' && text[i] <= '9';
        else if (kForm[i] == ' ')
            fits = text[i] == ' ' || text[i] == 'T';
        if (!fits)
            return false;
    }
    return true;
}

u32 TimePart(const std::string &text, size_t from, size_t digits)
{
    u32 part = 0;
    for (size_t i = from; i < from + digits; ++i)
        part = part * 10 + static_cast<u32>(text[i] - '0');
    return part;
}

bool IsPossibleTime(const std::string &text)
{
    static constexpr u32 kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const u32 year = TimePart(text, 0, 4);
    const u32 month = TimePart(text, 5, 2);
    const u32 day = TimePart(text, 8, 2);
    if (month < 1 || month > 12 || day < 1)
        return false;
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    if (day > kDays[month - 1] + (month == 2 && leap ? 1 : 0))
        return false;
    return TimePart(text, 11, 2) < 24 && TimePart(text, 14, 2) < 60 && TimePart(text, 17, 2) < 60;
}

// The fourteen-digit form of a time; any other text is its own.
std::string DigitForm(const std::string &text)
{
    if (!LooksLikeTime(text))
        return text;
    std::string digits;
    std::copy_if(text.begin(), text.end(), std::back_inserter(digits),
                 [](char c) { return c >= '0' && c <= '9'; });
    return digits;
}

std::string TimeText(const toml::date &date, const toml::time &time)
{
    char text[32];
    snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u", unsigned{date.year},
             unsigned{date.month}, unsigned{date.day}, unsigned{time.hour}, unsigned{time.minute},
             unsigned{time.second});
    return text;
}

class Reader
{
public:
    Reader(Host *host, std::vector<FileNote> *notes) : host_(host), notes_(notes) {}

    void ReadTop(const toml::table &top);
    bool Right() const { return faults_ == 0; }

private:
    void Note(const toml::source_region &place, bool warning, std::string text);
    void Fault(const toml::source_region &place, std::string text)
    {
        Note(place, false, std::move(text));
    }

    bool ReadNumber(const toml::node &node, const char *what, i64 least, i64 most, u32 *out);
    bool ReadRangeKey(std::string_view key, std::string_view prefix, const toml::node &node,
                      CallRange *range, bool *given);
    void CheckRange(const CallRange &range, const toml::node &node);
    bool ReadText(const toml::node &node, bool timestamp, std::string *out);
    bool ReadValueTable(const toml::table &table, bool timestamp, Value *out);
    bool ReadValue(const toml::node &node, bool timestamp, Value *out);

    void ReadClass(const ClassRow &row, const toml::node &node);
    void ReadInstance(const ClassRow &row, const toml::table &table);
    void ReadInstanceStatus(const ClassRow &row, const toml::table &table, const std::string &key,
                            Instance *out);
    std::string ReadKey(const ClassRow &row, const toml::table &table);
    u32 ReadRowNumber(const ClassRow &row, const toml::table &table);
    void ReadProperty(const ClassRow &row, const toml::key &name, const toml::node &node,
                      const std::string &key, Instance *out);
    void AddKeyProperties(const ClassRow &row, const std::string &key, Instance *out);
    void AddReadFault(const toml::node &node, const CallRange &range, CimStatus status,
                      const std::string &path);
    void FinishMessageLog();

    void ReadFaults(const toml::node &node);
    void ReadFaultPoint(const toml::key &name, const toml::node &node);
    void ReadMethods(const toml::node &node);
    void ReadMethod(const toml::key &name, const toml::node &node);
    void ReadMethodKey(const toml::key &name, const toml::node &node, HostMethodFault *fault);

    Host *host_;
    std::vector<FileNote> *notes_;
    u32 faults_ = 0;
    u32 readFaults_ = 0;
    bool hasMessageLog_ = false;
    u32 lastNumber_ = 0;         // of the class that is being read
    std::set<u32> usedNumbers_;  // of the class that is being read
};

void Reader::Note(const toml::source_region &place, bool warning, std::string text)
{
    FileNote note;
    note.line = place.begin.line;
    note.column = place.begin.column;
    note.warning = warning;
    note.text = std::move(text);
    notes_->push_back(std::move(note));
    faults_ += warning ? 0 : 1;
}

bool Reader::ReadNumber(const toml::node &node, const char *what, i64 least, i64 most, u32 *out)
{
    const auto *number = node.as_integer();
    if (number == nullptr || number->get() < least || number->get() > most) {
        Fault(node.source(), std::string(what) + " is a number from " + std::to_string(least) +
                                 " to " + std::to_string(most));
        return false;
    }
    *out = static_cast<u32>(number->get());
    return true;
}

// Takes the keys PREFIXfrom and PREFIXto; false for any other.
bool Reader::ReadRangeKey(std::string_view key, std::string_view prefix, const toml::node &node,
                          CallRange *range, bool *given)
{
    if (key.substr(0, prefix.size()) != prefix)
        return false;
    const std::string_view rest = key.substr(prefix.size());
    if (rest != "from" && rest != "to")
        return false;
    *given = true;
    ReadNumber(node, std::string(key).c_str(), 1, kWordMax,
               rest == "from" ? &range->from : &range->to);
    return true;
}

void Reader::CheckRange(const CallRange &range, const toml::node &node)
{
    if (range.to != 0 && range.from > range.to)
        Fault(node.source(), "the range of calls ends before it begins");
}

// A string, an integer or, for a time stamp, a date-time.
bool Reader::ReadText(const toml::node &node, bool timestamp, std::string *out)
{
    if (const auto *integer = node.as_integer()) {
        *out = std::to_string(integer->get());
        return true;
    }
    if (const auto *time = node.as_date_time(); time != nullptr && timestamp) {
        *out = TimeText(time->get().date, time->get().time);
        return true;
    }
    const auto *string = node.as_string();
    if (string == nullptr) {
        Fault(node.source(), "a value is text: write it in quotes");
        return false;
    }
    *out = string->get();
    if (timestamp && LooksLikeTime(*out)) {
        if (!IsPossibleTime(*out)) {
            Fault(node.source(), "there is no such date and time as " + FileNoteQuoted(*out));
            return false;
        }
        (*out)[10] = ' ';
    }
    if (out->size() > kStoreTextMax)
        Note(node.source(), true,
             "the text is longer than " + std::to_string(kStoreTextMax) + " bytes and will be cut");
    return true;
}

// { status = N } or { text = "T", status = N, from = K, to = L }.
bool Reader::ReadValueTable(const toml::table &table, bool timestamp, Value *out)
{
    static const char *const kKeys[] = {"text", "status", "from", "to"};
    const bool isValue = std::any_of(table.begin(), table.end(), [](const auto &entry) {
        return IsOneOf(kKeys, entry.first.str());
    });
    if (!isValue) {
        Fault(table.source(), "a value is text: write it in quotes");
        return false;
    }
    const u32 before = faults_;
    bool hasRange = false;
    for (const auto &[key, node] : table) {
        if (key == "text")
            ReadText(node, timestamp, &out->text);
        else if (key == "status")
            ReadNumber(node, "status", 1, kNumberMax, &out->status);
        else if (!ReadRangeKey(key.str(), "", node, &out->range, &hasRange))
            Fault(key.source(),
                  "unknown key " + FileNoteQuoted(key.str()) + " (known: " + Joined(kKeys) + ")");
    }
    if (!table.contains("status"))
        Fault(table.source(), "the value has no status");
    out->someCalls = table.contains("text");
    if (hasRange && !out->someCalls)
        Fault(table.source(), "a status for some calls needs a text for the others");
    CheckRange(out->range, table);
    return faults_ == before;
}

bool Reader::ReadValue(const toml::node &node, bool timestamp, Value *out)
{
    if (const toml::table *table = node.as_table())
        return ReadValueTable(*table, timestamp, out);
    return ReadText(node, timestamp, &out->text);
}

void Reader::ReadTop(const toml::table &top)
{
    for (const ClassRow &row : kClasses) {
        if (const toml::node *node = top.get(row.name))
            ReadClass(row, *node);
    }
    FinishMessageLog();
    if (const toml::node *node = top.get("faults"))
        ReadFaults(*node);

    std::vector<const char *> known;
    for (const ClassRow &row : kClasses)
        known.push_back(row.name);
    known.push_back("faults");
    for (const auto &[key, node] : top) {
        std::string fault;
        if (ArchiveSettingsKey(key.str(), node, &host_->archive, &fault)) {
            if (!fault.empty())
                Fault(node.source(), fault);
            continue;
        }
        if (!IsOneOf(known, key.str()))
            Fault(key.source(),
                  "unknown table " + FileNoteQuoted(key.str()) + " (known: " + Joined(known) + ")");
    }
}

void Reader::ReadClass(const ClassRow &row, const toml::node &node)
{
    const std::string name = row.name;
    lastNumber_ = 0;
    usedNumbers_.clear();
    if (!row.rows) {
        if (const toml::table *table = node.as_table())
            ReadInstance(row, *table);
        else
            Fault(node.source(), "there is one " + name + ": write [" + name + "]");
        return;
    }
    const toml::array *array = node.as_array();
    if (array == nullptr) {
        Fault(node.source(), "there can be many: write [[" + name + "]]");
        return;
    }
    for (const toml::node &element : *array) {
        if (const toml::table *table = element.as_table())
            ReadInstance(row, *table);
        else
            Fault(element.source(), "a row is a table: write [[" + name + "]]");
    }
}

void Reader::ReadInstance(const ClassRow &row, const toml::table &table)
{
    HostInstance host;
    host.key = ReadKey(row, table);
    ReadInstanceStatus(row, table, host.key, &host.instance);
    for (const auto &[name, node] : table) {
        if (!IsOneOf(kInstanceKeys, name.str()))
            ReadProperty(row, name, node, host.key, &host.instance);
    }
    AddKeyProperties(row, host.key, &host.instance);
    hasMessageLog_ = hasMessageLog_ || &row == &kClasses[kMessageLog];
    host_->instances.push_back(std::move(host));
}

// The instance's path in the store: CLASS, CLASS.KEY=SEL, CLASS.NUMBER=N or both.
std::string Reader::ReadKey(const ClassRow &row, const toml::table &table)
{
    std::string key = row.name;
    if (row.logKey != nullptr)
        key += std::string(".") + row.logKey + "=" + kSelName;
    if (row.number != nullptr)
        key += std::string(row.logKey != nullptr ? "," : ".") + row.number + "=" +
               std::to_string(ReadRowNumber(row, table));
    return key;
}

u32 Reader::ReadRowNumber(const ClassRow &row, const toml::table &table)
{
    const toml::node *given = table.get(row.number);
    const toml::node *value = given;
    if (const toml::table *form = given != nullptr ? given->as_table() : nullptr)
        value = form->get("text");  // with a status alone the row is counted
    u32 number = lastNumber_ + 1;
    if (value != nullptr) {
        if (const auto *integer = value->as_integer())
            number = RowNumber(std::to_string(integer->get()));
        else if (const auto *string = value->as_string())
            number = RowNumber(string->get());
    }
    const toml::source_region &place = given != nullptr ? given->source() : table.source();
    if (number < 1 || number > kNumberMax) {
        Fault(place, std::string(row.number) + " is a number from 1 to 65535");
        number = std::min<u32>(lastNumber_ + 1, static_cast<u32>(kNumberMax));
    } else if (!usedNumbers_.insert(number).second) {
        Fault(place, std::string(row.number) + " " + std::to_string(number) + " is there already");
    }
    lastNumber_ = number;
    return number;
}

void Reader::ReadInstanceStatus(const ClassRow &row, const toml::table &table,
                                const std::string &key, Instance *out)
{
    CallRange range;
    bool someCalls = false;
    for (const auto &[name, node] : table)
        ReadRangeKey(name.str(), "status_", node, &range, &someCalls);
    const toml::node *status = table.get("status");
    if (status == nullptr) {
        if (someCalls)
            Fault(table.source(), "status_from and status_to need a status");
        return;
    }
    u32 number = kCimOk;
    if (!ReadNumber(*status, "status", 1, kNumberMax, &number))
        return;
    CheckRange(range, *status);
    if (!someCalls) {
        out->status = number;
        return;
    }
    if (!row.rows)
        Note(status->source(), true,
             "the shell reads " + std::string(row.name) +
                 " value by value and never sees this: give the status to a property");
    AddReadFault(*status, range, number, key);
}

void Reader::ReadProperty(const ClassRow &row, const toml::key &name, const toml::node &node,
                          const std::string &key, Instance *out)
{
    const std::string property(name.str());
    if (!IsPropertyName(property)) {
        Fault(name.source(), "a property's name is 1 to 63 letters, digits, \"_\" and \"-\"");
        return;
    }
    if (!IsOneOf(row.properties, property))
        Note(name.source(), true,
             "unknown property " + FileNoteQuoted(property) + " (known: " + Joined(row.properties) +
                 ")");
    const bool timestamp = &row == &kClasses[kLogRecord] && property == kPropertyTimestamp;
    Value value;
    if (!ReadValue(node, timestamp, &value))
        return;
    const bool hasText = value.status == kCimOk || value.someCalls;
    if (row.logKey != nullptr && property == row.logKey && hasText && value.text != kSelName) {
        Fault(node.source(), property + " is always " + FileNoteQuoted(kSelName));
        return;
    }
    if (value.someCalls && row.rows)
        Note(node.source(), true,
             "the shell reads a whole " + std::string(row.name) +
                 " at once and never sees this: give the row status_from or status_to");
    if (value.someCalls)
        AddReadFault(node, value.range, value.status, key + " " + property);
    const CimStatus status = value.someCalls ? kCimOk : value.status;
    out->properties.push_back({property, status, value.text});
    if (timestamp)
        out->properties.push_back(
            {property + kStoreTimestampSuffix, status, DigitForm(value.text)});
}

// A key is a property too, also where the file leaves it out.
void Reader::AddKeyProperties(const ClassRow &row, const std::string &key, Instance *out)
{
    const auto addMissing = [out](const char *name, const std::string &text) {
        if (std::none_of(out->properties.begin(), out->properties.end(),
                         [&](const PropertyValue &p) { return p.name == name; }))
            out->properties.push_back({name, kCimOk, text});
    };
    if (row.logKey != nullptr)
        addMissing(row.logKey, kSelName);
    if (row.number != nullptr)
        addMissing(row.number, key.substr(key.rfind('=') + 1));
}

void Reader::AddReadFault(const toml::node &node, const CallRange &range, CimStatus status,
                          const std::string &path)
{
    if (readFaults_ == kFaultReadRowsMax) {
        Fault(node.source(), "there can be " + std::to_string(kFaultReadRowsMax) +
                                 " statuses for counted calls (a text with a status, "
                                 "status_from, status_to), not more");
        return;
    }
    ++readFaults_;
    host_->faults.properties.push_back(
        {"read " + std::to_string(readFaults_), kCimOk,
         RangeText(range) + " " + std::to_string(status) + " " + path});
}

void Reader::FinishMessageLog()
{
    const std::string_view record = kLogRecordPathHead.text;
    if (!hasMessageLog_)
        host_->instances.push_back({kSelPath.text, {kCimOk, {{kPropertyName, kCimOk, kSelName}}}});
    const auto records = std::count_if(
        host_->instances.begin(), host_->instances.end(),
        [&](const HostInstance &host) { return host.key.compare(0, record.size(), record) == 0; });
    for (HostInstance &host : host_->instances) {
        std::vector<PropertyValue> &properties = host.instance.properties;
        const bool given =
            std::any_of(properties.begin(), properties.end(),
                        [](const PropertyValue &p) { return p.name == kPropertyNumRecords; });
        if (host.key == kSelPath.text && !given)
            properties.push_back({kPropertyNumRecords, kCimOk, std::to_string(records)});
    }
}

void Reader::ReadFaults(const toml::node &node)
{
    const toml::table *table = node.as_table();
    if (table == nullptr) {
        Fault(node.source(), "faults is a table: write [faults]");
        return;
    }
    for (const auto &[key, value] : *table) {
        if (IsOneOf(kFaultPoints, key.str()))
            ReadFaultPoint(key, value);
        else if (key == "methods")
            ReadMethods(value);
        else
            Fault(key.source(), "unknown fault " + FileNoteQuoted(key.str()) +
                                    " (known: " + Joined(kFaultPoints) + ", methods)");
    }
}

void Reader::ReadFaultPoint(const toml::key &name, const toml::node &node)
{
    const toml::table *table = node.as_table();
    if (table == nullptr) {
        Fault(node.source(), "write the calls that fail as a table: { from = 1, to = 2 }");
        return;
    }
    CallRange range;
    bool given = false;
    for (const auto &[key, value] : *table) {
        if (!ReadRangeKey(key.str(), "", value, &range, &given))
            Fault(key.source(), "unknown key " + FileNoteQuoted(key.str()) + " (known: from, to)");
    }
    CheckRange(range, node);
    host_->faults.properties.push_back({std::string(name.str()), kCimOk, RangeText(range)});
}

void Reader::ReadMethods(const toml::node &node)
{
    const toml::table *table = node.as_table();
    if (table == nullptr) {
        Fault(node.source(), "methods is a table: write [faults.methods.Start]");
        return;
    }
    for (const auto &[key, value] : *table)
        ReadMethod(key, value);
}

void Reader::ReadMethod(const toml::key &name, const toml::node &node)
{
    if (!IsOneOf(kMethods, name.str())) {
        Fault(name.source(), "unknown method " + FileNoteQuoted(name.str()) +
                                 " (known: " + Joined(kMethods) + ")");
        return;
    }
    const toml::table *table = node.as_table();
    if (table == nullptr) {
        Fault(node.source(), "write a table: [faults.methods." + std::string(name.str()) + "]");
        return;
    }
    HostMethodFault fault;
    fault.method = name.str();
    for (const auto &[key, value] : *table)
        ReadMethodKey(key, value, &fault);
    if (fault.status != kCimOk && fault.hasReturn)
        Fault(table->get("return")->source(), "a method answers a status or a return word");
    host_->methods.push_back(std::move(fault));
}

void Reader::ReadMethodKey(const toml::key &name, const toml::node &node, HostMethodFault *fault)
{
    if (name == "status") {
        ReadNumber(node, "status", 1, kNumberMax, &fault->status);
    } else if (name == "return") {
        fault->hasReturn = true;
        ReadNumber(node, "return", 0, kWordMax, &fault->returnWord);
    } else if (name == "delay_ms") {
        ReadNumber(node, "delay_ms", 0, kDelayMaxMs, &fault->delayMs);
    } else if (name == "reply") {
        if (const auto *reply = node.as_boolean())
            fault->reply = reply->get();
        else
            Fault(node.source(), "reply is true or false");
    } else {
        Fault(name.source(), "unknown key " + FileNoteQuoted(name.str()) +
                                 " (known: status, return, delay_ms, reply)");
    }
}

}  // namespace

bool HostFileParse(std::string_view text, Host *host, std::vector<FileNote> *notes)
{
    *host = Host();
    Reader reader(host, notes);
    if (TomlRead(text, &reader, notes))
        return true;
    *host = Host();
    return false;
}

bool HostFileRead(const std::string &file, Host *host, std::vector<FileNote> *notes)
{
    *host = Host();
    std::string text;
    return FileRead(file, kHostFileMax, "4 MiB", &text, notes) && HostFileParse(text, host, notes);
}
