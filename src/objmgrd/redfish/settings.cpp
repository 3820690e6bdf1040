// SPDX-License-Identifier: Apache-2.0
// settings.cpp -- see settings.h. The keys are a table; a wrong one is never guessed at.
#include "objmgrd/redfish/settings.h"

#include "objmgrd/image_writer.h"
#include "objmgrd/toml.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace
{

struct NumberRow {
    const char *table;
    const char *key;
    u32 RedfishSettings::*field;
    i64 least;
    i64 most;
};

constexpr NumberRow kNumbers[] = {
    {"poll", "power_ms", &RedfishSettings::powerMs, 500, 10000},
    {"poll", "sensors_ms", &RedfishSettings::sensorsMs, 1000, 60000},
    {"poll", "log_ms", &RedfishSettings::logMs, 1000, 300000},
    {"poll", "discovery_ms", &RedfishSettings::discoveryMs, 30000, 3600000},
    {"timeouts", "answer_ms", &RedfishSettings::answerMs, 1000, 30000},
    {"timeouts", "lost_ms", &RedfishSettings::lostMs, 2000, 60000},
    {"timeouts", "method_ms", &RedfishSettings::methodMs, 1000, 119000},
};

struct TextRow {
    const char *key;  // of [redfish]
    std::string RedfishSettings::*field;
    size_t mostBytes;
};

constexpr TextRow kTexts[] = {
    {"user", &RedfishSettings::user, 255},
    {"password_file", &RedfishSettings::passwordFile, 4095},
    {"ca_file", &RedfishSettings::caFile, 4095},
    {"pin", &RedfishSettings::pin, 255},
    {"tls_name", &RedfishSettings::tlsName, 253},
    {"system", &RedfishSettings::system, 255},
    {"log", &RedfishSettings::log, kLinkMax},
    {"session_file", &RedfishSettings::sessionFile, 4095},
};

struct WordRow {
    const char *key;  // of [redfish]
    bool RedfishSettings::*field;
    const char *no;
    const char *yes;
};

constexpr WordRow kWords[] = {
    {"tag", &RedfishSettings::skuIsTag, "serial", "sku"},
    {"cycle", &RedfishSettings::refuseCycle, "auto", "refuse"},
};

constexpr const char *kTables[] = {"redfish", "poll", "timeouts"};

std::string Quoted(std::string_view text)
{
    return "\"" + StoreSafeText(std::string(text)) + "\"";
}

class Reader
{
public:
    Reader(RedfishSettings *settings, std::vector<FileNote> *notes)
        : settings_(settings), notes_(notes)
    {
    }
    void ReadTop(const toml::table &top);
    bool Right() const { return faults_ == 0; }

private:
    void Fault(const toml::source_region &place, std::string text);
    void ReadKey(const char *table, const toml::key &key, const toml::node &node);
    void ReadNumber(const NumberRow &row, const toml::node &node);
    void ReadText(const TextRow &row, const toml::node &node);
    void ReadWord(const WordRow &row, const toml::node &node);
    void ReadUrl(const toml::node &node);
    void CheckWhole(const toml::table &redfish);

    RedfishSettings *settings_;
    std::vector<FileNote> *notes_;
    u32 faults_ = 0;
};

void Reader::Fault(const toml::source_region &place, std::string text)
{
    FileNote note;
    note.line = place.begin.line;
    note.column = place.begin.column;
    note.text = std::move(text);
    notes_->push_back(std::move(note));
    ++faults_;
}

void Reader::ReadNumber(const NumberRow &row, const toml::node &node)
{
    const auto *number = node.as_integer();
    if (number == nullptr || number->get() < row.least || number->get() > row.most)
        return Fault(node.source(), std::string(row.key) + " is a number from " +
                                        std::to_string(row.least) + " to " +
                                        std::to_string(row.most));
    settings_->*row.field = static_cast<u32>(number->get());
}

void Reader::ReadText(const TextRow &row, const toml::node &node)
{
    const auto *text = node.as_string();
    const bool fits = text != nullptr && text->get().size() <= row.mostBytes &&
                      std::none_of(text->get().begin(), text->get().end(),
                                   [](char c) { return static_cast<u8>(c) < 0x20 || c == 0x7f; });
    if (!fits)
        return Fault(node.source(), std::string(row.key) + " is a text of at most " +
                                        std::to_string(row.mostBytes) +
                                        " bytes in quotes, without control characters");
    settings_->*row.field = text->get();
}

void Reader::ReadWord(const WordRow &row, const toml::node &node)
{
    const auto *text = node.as_string();
    const bool yes = text != nullptr && text->get() == row.yes;
    if (!yes && (text == nullptr || text->get() != row.no))
        return Fault(node.source(),
                     std::string(row.key) + " is one of \"" + row.no + "\", \"" + row.yes + "\"");
    settings_->*row.field = yes;
}

void Reader::ReadUrl(const toml::node &node)
{
    const auto *text = node.as_string();
    Origin origin;
    if (text == nullptr || !OriginParse(text->get(), &origin))
        return Fault(node.source(), "url is \"https://HOST\" or \"https://HOST:PORT\"");
    if (origin.scheme == "http" && !OriginIsLoopback(origin))
        return Fault(node.source(),
                     "url is https: without it the password could be read on the way");
    settings_->origin = origin;
}

void Reader::ReadKey(const char *table, const toml::key &key, const toml::node &node)
{
    const bool redfish = std::string_view(table) == "redfish";
    if (redfish && key == "url")
        return ReadUrl(node);
    for (const NumberRow &row : kNumbers) {
        if (std::string_view(table) == row.table && key == row.key)
            return ReadNumber(row, node);
    }
    for (const TextRow &row : kTexts) {
        if (redfish && key == row.key)
            return ReadText(row, node);
    }
    for (const WordRow &row : kWords) {
        if (redfish && key == row.key)
            return ReadWord(row, node);
    }
    Fault(key.source(), "unknown key " + Quoted(key.str()) + " in [" + table + "]");
}

// "sha256//" and 32 bytes in base 64.
bool IsPin(const std::string &pin)
{
    constexpr std::string_view kHead = "sha256//";
    if (pin.size() != kHead.size() + 44 || pin.compare(0, kHead.size(), kHead) != 0 ||
        pin.back() != '=')
        return false;
    return std::all_of(pin.begin() + kHead.size(), pin.end() - 1, [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '+' || c == '/';
    });
}

void Reader::CheckWhole(const toml::table &redfish)
{
    const auto place = [&](const char *key) {
        const toml::node *node = redfish.get(key);
        return node != nullptr ? node->source() : redfish.source();
    };
    if (!redfish.contains("url"))
        Fault(redfish.source(), "[redfish] has no url");
    if (!redfish.contains("user"))
        Fault(redfish.source(), "[redfish] has no user");
    if (settings_->user.find(':') != std::string::npos)
        Fault(place("user"), "user has no colon in it");
    if (!settings_->pin.empty() && !IsPin(settings_->pin))
        Fault(place("pin"), "pin is \"sha256//\" and the key's hash in base 64, 44 characters");
    Origin named;
    if (!settings_->tlsName.empty() &&
        (!OriginParse("https://" + settings_->tlsName, &named) || named.port != 443))
        Fault(place("tls_name"), "tls_name is a name");
    settings_->origin.name = named.host;
    if (!settings_->log.empty() && LinkOf(settings_->origin, settings_->log).empty())
        Fault(place("log"), "log is the path of a LogService: \"/redfish/v1/...\"");
    const bool tls = settings_->origin.scheme == "https";
    if (!tls &&
        (!settings_->pin.empty() || !settings_->caFile.empty() || !settings_->tlsName.empty()))
        Fault(place("url"), "ca_file, pin and tls_name go with https only");
}

void Reader::ReadTop(const toml::table &top)
{
    for (const auto &[key, node] : top) {
        std::string fault;
        if (ArchiveSettingsKey(key.str(), node, &settings_->archive, &fault)) {
            if (!fault.empty())
                Fault(node.source(), fault);
            continue;
        }
        if (std::none_of(std::begin(kTables), std::end(kTables),
                         [&k = key](const char *name) { return k == name; }))
            Fault(key.source(),
                  "unknown table " + Quoted(key.str()) + " (known: redfish, poll, timeouts)");
        else if (!node.is_table())
            Fault(node.source(),
                  std::string(key.str()) + " is a table: write [" + std::string(key.str()) + "]");
    }
    if (!top.contains("redfish"))
        Fault(top.source(), "[redfish] is missing");
    for (const char *name : kTables) {
        const toml::table *table = top.get_as<toml::table>(name);
        if (table == nullptr)
            continue;
        for (const auto &[key, node] : *table)
            ReadKey(name, key, node);
        if (std::string_view(name) == "redfish")
            CheckWhole(*table);
    }
}

}  // namespace

bool RedfishSettingsParse(std::string_view text, RedfishSettings *settings,
                          std::vector<FileNote> *notes)
{
    *settings = RedfishSettings();
    Reader reader(settings, notes);
    if (TomlRead(text, &reader, notes))
        return true;
    *settings = RedfishSettings();
    return false;
}

bool RedfishSettingsRead(const std::string &file, RedfishSettings *settings,
                         std::vector<FileNote> *notes)
{
    *settings = RedfishSettings();
    std::string text;
    return FileRead(file, kRedfishSettingsFileMax, "64 KiB", &text, notes) &&
           RedfishSettingsParse(text, settings, notes);
}

std::string RedfishSessionFile(const RedfishSettings &settings)
{
    if (!settings.sessionFile.empty())
        return settings.sessionFile;
    const char *runtime = getenv("RUNTIME_DIRECTORY");
    // FNV-1a: only to tell services apart.
    u64 hash = 0xcbf29ce484222325;
    for (char c : settings.origin.Url() + "\n" + settings.user)
        hash = (hash ^ static_cast<u8>(c)) * 0x100000001b3;
    char name[64];
    snprintf(name, sizeof name, "/redfish-session-%016llx", static_cast<unsigned long long>(hash));
    return (runtime != nullptr && runtime[0] == '/' ? std::string(runtime) : "/run/zor") + name;
}
