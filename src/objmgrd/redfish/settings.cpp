// SPDX-License-Identifier: Apache-2.0
// settings.cpp -- see settings.h. The keys are a table; a wrong one is never guessed at.
#include "objmgrd/redfish/settings.h"

#include "objmgrd/settings_reader.h"

#include <algorithm>
#include <stdio.h>
#include <stdlib.h>

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
    {"poll", "temperatures_ms", &RedfishSettings::temperaturesMs, 1000, 60000},
    {"poll", "voltages_ms", &RedfishSettings::voltagesMs, 1000, 60000},
    {"poll", "currents_ms", &RedfishSettings::currentsMs, 1000, 60000},
    {"poll", "fans_ms", &RedfishSettings::fansMs, 1000, 60000},
    {"poll", "states_ms", &RedfishSettings::statesMs, 1000, 60000},
    {"poll", "log_ms", &RedfishSettings::logMs, 1000, 300000},
    {"poll", "discovery_ms", &RedfishSettings::discoveryMs, 30000, 3600000},
    {"timeouts", "answer_ms", &RedfishSettings::answerMs, 1000, 30000},
    {"timeouts", "lost_ms", &RedfishSettings::lostMs, 2000, 60000},
    {"timeouts", "method_ms", &RedfishSettings::methodMs, 1000, 119000},
};

struct KindRow {
    const char *key;  // of [poll]
    u32 RedfishSettings::*field;
};

constexpr KindRow kKinds[] = {{"temperatures_ms", &RedfishSettings::temperaturesMs},
                              {"voltages_ms", &RedfishSettings::voltagesMs},
                              {"currents_ms", &RedfishSettings::currentsMs},
                              {"fans_ms", &RedfishSettings::fansMs},
                              {"states_ms", &RedfishSettings::statesMs}};

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

constexpr const char *kTables[] = {"redfish", "poll", "timeouts", nullptr};

class Reader : public SettingsReader
{
public:
    Reader(RedfishSettings *settings, std::vector<FileNote> *notes)
        : SettingsReader(kTables, &settings->archive, notes), settings_(settings)
    {
    }

private:
    void ReadTable(const char *name, const toml::table &table) override;
    void CheckWhole(const toml::table &top) override;
    void ReadKey(const char *table, const toml::key &key, const toml::node &node);
    void ReadWord(const WordRow &row, const toml::node &node);
    void ReadUrl(const toml::node &node);
    void FillKinds(const toml::table &top);

    RedfishSettings *settings_;
};

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
            return ReadNumber(row.key, node, row.least, row.most, &(settings_->*row.field));
    }
    for (const TextRow &row : kTexts) {
        if (redfish && key == row.key)
            return ReadText(row.key, node, row.mostBytes, &(settings_->*row.field));
    }
    for (const WordRow &row : kWords) {
        if (redfish && key == row.key)
            return ReadWord(row, node);
    }
    FaultUnknown(table, key);
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

void Reader::ReadTable(const char *name, const toml::table &table)
{
    for (const auto &[key, node] : table)
        ReadKey(name, key, node);
}

// What is not said of a kind follows sensors_ms.
void Reader::FillKinds(const toml::table &top)
{
    const toml::table *poll = top.get_as<toml::table>("poll");
    for (const KindRow &row : kKinds) {
        if (poll == nullptr || !poll->contains(row.key))
            settings_->*row.field = settings_->sensorsMs;
    }
}

void Reader::CheckWhole(const toml::table &top)
{
    FillKinds(top);
    const toml::table *table = top.get_as<toml::table>("redfish");
    if (table == nullptr)
        return;
    const toml::table &redfish = *table;
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
