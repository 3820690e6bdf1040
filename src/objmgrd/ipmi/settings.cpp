// SPDX-License-Identifier: Apache-2.0
// settings.cpp -- see settings.h. The keys are a table; a wrong one is never guessed at.
#include "objmgrd/ipmi/settings.h"

#include "objmgr/store.h"
#include "objmgrd/settings_reader.h"

#include <algorithm>
#include <fstream>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace
{

struct NameRow {
    const char *name;
    u32 value;
};

constexpr NameRow kDrivers[] = {{"lan", static_cast<u32>(IpmiDriver::Lan)},
                                {"local", static_cast<u32>(IpmiDriver::Local)}};
constexpr NameRow kPrivileges[] = {{"user", 2}, {"operator", 3}, {"administrator", 4}};
constexpr NameRow kWorkarounds[] = {
    {"authentication_capabilities", kIpmiAuthenticationCapabilities},
    {"intel_session", kIpmiIntelSession},
    {"supermicro_session", kIpmiSupermicroSession},
    {"sun_session", kIpmiSunSession},
    {"open_session_privilege", kIpmiOpenSessionPrivilege},
    {"non_empty_integrity_check_value", kIpmiNonEmptyIntegrityCheckValue},
    {"no_checksum_check", kIpmiNoChecksumCheck},
};

// Those that libfreeipmi can do.
constexpr u8 kCipherSuites[] = {0, 1, 2, 3, 6, 7, 8, 11, 12, 15, 16, 17};

enum class For : u8 { Both, Lan, Local };

struct NumberRow {
    const char *table;
    const char *key;
    u32 IpmiSettings::*field;
    i64 least;
    i64 most;
    For driver;
};

constexpr NumberRow kNumbers[] = {
    {"bmc", "port", &IpmiSettings::port, 1, 65535, For::Lan},
    {"poll", "sensors_ms", &IpmiSettings::sensorsMs, 100, 60000, For::Both},
    {"poll", "temperatures_ms", &IpmiSettings::temperaturesMs, 100, 60000, For::Both},
    {"poll", "voltages_ms", &IpmiSettings::voltagesMs, 100, 60000, For::Both},
    {"poll", "currents_ms", &IpmiSettings::currentsMs, 100, 60000, For::Both},
    {"poll", "fans_ms", &IpmiSettings::fansMs, 100, 60000, For::Both},
    {"poll", "states_ms", &IpmiSettings::statesMs, 100, 60000, For::Both},
    {"poll", "thresholds_ms", &IpmiSettings::thresholdsMs, 1000, 3600000, For::Both},
    {"poll", "power_ms", &IpmiSettings::powerMs, 100, 2000, For::Both},
    {"poll", "log_ms", &IpmiSettings::logMs, 100, 60000, For::Both},
    {"poll", "sdr_ms", &IpmiSettings::sdrMs, 1000, 3600000, For::Both},
    {"timeouts", "answer_ms", &IpmiSettings::answerMs, 100, 5000, For::Lan},
    {"timeouts", "session_ms", &IpmiSettings::sessionMs, 200, 10000, For::Both},
    {"timeouts", "method_ms", &IpmiSettings::methodMs, 1000, 60000, For::Both},
};

struct KindRow {
    const char *key;
    u32 IpmiSettings::*field;
};

constexpr KindRow kKinds[] = {{"temperatures_ms", &IpmiSettings::temperaturesMs},
                              {"voltages_ms", &IpmiSettings::voltagesMs},
                              {"currents_ms", &IpmiSettings::currentsMs},
                              {"fans_ms", &IpmiSettings::fansMs}};

struct TextRow {
    const char *key;  // of [bmc]
    std::string IpmiSettings::*field;
    size_t mostBytes;
    For driver;
};

constexpr TextRow kTexts[] = {
    {"device", &IpmiSettings::device, 255, For::Local},
    {"host", &IpmiSettings::host, 255, For::Lan},
    {"user", &IpmiSettings::user, kIpmiUserMax, For::Lan},
    {"password_file", &IpmiSettings::passwordFile, 4095, For::Lan},
    {"cache_directory", &IpmiSettings::cacheDirectory, 3800, For::Both},
};

// What is left of [bmc].
constexpr const char *kLanKeys[] = {"privilege", "cipher_suite", "workarounds"};
constexpr const char *kTables[] = {"bmc", "poll", "timeouts", nullptr};

template <typename Rows> std::string NamesOf(const Rows &rows)
{
    std::string all;
    for (const NameRow &row : rows)
        all += (all.empty() ? "\"" : ", \"") + std::string(row.name) + "\"";
    return all;
}

template <typename Rows> const NameRow *FindName(const Rows &rows, std::string_view name)
{
    for (const NameRow &row : rows) {
        if (name == row.name)
            return &row;
    }
    return nullptr;
}

class Reader : public SettingsReader
{
public:
    Reader(IpmiSettings *settings, std::vector<FileNote> *notes)
        : SettingsReader(kTables, &settings->archive, notes), settings_(settings)
    {
    }

private:
    void ReadTable(const char *name, const toml::table &table) override;
    void CheckWhole(const toml::table &top) override;
    void ReadDriver(const toml::table &bmc);
    void ReadKey(const char *table, const toml::key &key, const toml::node &node);
    void CheckDriver(const toml::key &key, For driver);
    void ReadLanKey(const toml::key &key, const toml::node &node);
    void ReadCipherSuite(const toml::node &node);
    void ReadWorkarounds(const toml::node &node);
    template <typename Rows>
    const NameRow *ReadName(const char *what, const Rows &rows, const toml::node &node);
    void FillKinds(const toml::table &top);

    IpmiSettings *settings_;
};

template <typename Rows>
const NameRow *Reader::ReadName(const char *what, const Rows &rows, const toml::node &node)
{
    const auto *text = node.as_string();
    const NameRow *row = text != nullptr ? FindName(rows, text->get()) : nullptr;
    if (row == nullptr)
        Fault(node.source(), std::string(what) + " is one of " + NamesOf(rows));
    return row;
}

// First, since it says which keys belong here.
void Reader::ReadDriver(const toml::table &bmc)
{
    const toml::node *node = bmc.get("driver");
    if (node == nullptr) {
        Fault(bmc.source(), "[bmc] has no driver: " + NamesOf(kDrivers));
        return;
    }
    if (const NameRow *row = ReadName("driver", kDrivers, *node))
        settings_->driver = static_cast<IpmiDriver>(row->value);
}

void Reader::CheckDriver(const toml::key &key, For driver)
{
    const For mine = settings_->driver == IpmiDriver::Lan ? For::Lan : For::Local;
    if (driver != For::Both && driver != mine)
        Fault(key.source(), std::string(key.str()) + " goes with driver " +
                                (driver == For::Lan ? "\"lan\"" : "\"local\"") + " only");
}

void Reader::ReadCipherSuite(const toml::node &node)
{
    const auto *number = node.as_integer();
    for (u8 suite : kCipherSuites) {
        if (number != nullptr && number->get() == suite) {
            settings_->cipherSuite = suite;
            return;
        }
    }
    Fault(node.source(), "cipher_suite is one of 0, 1, 2, 3, 6, 7, 8, 11, 12, 15, 16, 17");
}

void Reader::ReadWorkarounds(const toml::node &node)
{
    const toml::array *names = node.as_array();
    if (names == nullptr) {
        Fault(node.source(), "workarounds is a list: [" + NamesOf(kWorkarounds) + "]");
        return;
    }
    for (const toml::node &name : *names) {
        if (const NameRow *row = ReadName("a workaround", kWorkarounds, name))
            settings_->workarounds |= row->value;
    }
}

void Reader::ReadLanKey(const toml::key &key, const toml::node &node)
{
    if (key == "cipher_suite") {
        ReadCipherSuite(node);
    } else if (key == "workarounds") {
        ReadWorkarounds(node);
    } else if (const NameRow *row = ReadName("privilege", kPrivileges, node)) {
        settings_->privilege = static_cast<u8>(row->value);
    }
}

void Reader::ReadKey(const char *table, const toml::key &key, const toml::node &node)
{
    const bool bmc = std::string_view(table) == "bmc";
    if (bmc && key == "driver")
        return;
    for (const NumberRow &row : kNumbers) {
        if (std::string_view(table) == row.table && key == row.key) {
            CheckDriver(key, row.driver);
            return ReadNumber(row.key, node, row.least, row.most, &(settings_->*row.field));
        }
    }
    for (const TextRow &row : kTexts) {
        if (bmc && key == row.key) {
            CheckDriver(key, row.driver);
            return ReadText(row.key, node, row.mostBytes, &(settings_->*row.field));
        }
    }
    for (const char *name : kLanKeys) {
        if (bmc && key == name) {
            CheckDriver(key, For::Lan);
            return ReadLanKey(key, node);
        }
    }
    FaultUnknown(table, key);
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

// The driver of a character device, as the kernel lists it; "" where it does not.
std::string DriverOf(dev_t device)
{
    std::ifstream list("/proc/devices");
    std::string word;
    while (list >> word && word != "Character")
        ;
    list >> word;  // devices:
    u32 number = 0;
    while (list >> number >> word) {
        if (number == major(device))
            return word;
    }
    return "";
}

// A device that is not there may come with its kernel module.
bool MayBeIpmi(const std::string &device)
{
    struct stat info;
    if (stat(device.c_str(), &info) != 0)
        return true;
    const std::string driver = S_ISCHR(info.st_mode) ? DriverOf(info.st_rdev) : "none";
    return driver.empty() || driver == "ipmidev";
}

void Reader::ReadTable(const char *name, const toml::table &table)
{
    if (std::string_view(name) == "bmc")
        ReadDriver(table);
    for (const auto &[key, node] : table)
        ReadKey(name, key, node);
}

void Reader::CheckWhole(const toml::table &top)
{
    FillKinds(top);
    const toml::node *bmc = top.get("bmc");
    if (bmc != nullptr && settings_->driver == IpmiDriver::Local && !MayBeIpmi(settings_->device))
        Fault(bmc->source(), FileNoteQuoted(settings_->device) + " is no IPMI device");
    const toml::node *timeouts = top.get("timeouts");
    if (bmc != nullptr && settings_->driver == IpmiDriver::Lan && settings_->host.empty() &&
        Right())
        Fault(bmc->source(), "[bmc] has no host");
    if (settings_->driver == IpmiDriver::Lan && settings_->answerMs >= settings_->sessionMs)
        Fault(timeouts != nullptr ? timeouts->source() : top.source(),
              "answer_ms is less than session_ms");
}

}  // namespace

bool IpmiSettingsParse(std::string_view text, IpmiSettings *settings, std::vector<FileNote> *notes)
{
    *settings = IpmiSettings();
    Reader reader(settings, notes);
    if (TomlRead(text, &reader, notes))
        return true;
    *settings = IpmiSettings();
    return false;
}

bool IpmiSettingsRead(const std::string &file, IpmiSettings *settings, std::vector<FileNote> *notes)
{
    *settings = IpmiSettings();
    std::string text;
    return FileRead(file, kIpmiSettingsFileMax, "64 KiB", &text, notes) &&
           IpmiSettingsParse(text, settings, notes);
}

std::string IpmiBmcName(const IpmiSettings &settings)
{
    return settings.driver == IpmiDriver::Lan ? settings.host : settings.device;
}

u32 IpmiLostMs(const IpmiSettings &settings)
{
    constexpr u32 kDefaultLostMs = 2700;
    constexpr u32 kDefaultSessionMs = 2500;
    constexpr u32 kMarginMs = 500;
    return settings.sessionMs <= kDefaultSessionMs
               ? kDefaultLostMs
               : settings.sessionMs + settings.powerMs + kMarginMs;
}

std::string IpmiBmcAddress(const IpmiSettings &settings)
{
    return settings.driver == IpmiDriver::Lan ? settings.host + ":" + std::to_string(settings.port)
                                              : settings.device;
}
