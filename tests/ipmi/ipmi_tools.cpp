// SPDX-License-Identifier: Apache-2.0
// ipmi_tools.cpp -- what ipmitool and freeipmi's tools read from a BMC.
#include "ipmi/ipmi_tools.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace
{

void WriteSecret(const std::string &path, const std::string &text)
{
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file == -1 || write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        abort();
    close(file);
}

std::string Trimmed(const std::string &text)
{
    const size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos)
        return "";
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::string Upper(std::string text)
{
    for (char &c : text)
        c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
    return text;
}

}  // namespace

const std::vector<std::string> kIpmiSensorsTable = {
    "--comma-separated-output", "--no-header-output", "--output-sensor-thresholds",
    "--shared-sensors"};
const std::vector<std::string> kIpmiSelTable = {"--comma-separated-output", "--no-header-output"};

IpmiTools::IpmiTools(const std::string &host, u16 port, const SimUser &user,
                     const std::string &directory)
    : host_(host), port_(std::to_string(port)), user_(user), directory_(directory)
{
    WriteSecret(directory_ + "/ipmitool.password", std::string(user.password) + "\n");
    WriteSecret(directory_ + "/freeipmi.conf",
                std::string("username ") + user.name + "\npassword " + user.password + "\n");
}

std::vector<std::string> IpmiTools::Ipmitool(const std::vector<std::string> &arguments) const
{
    const std::string level = strcmp(user_.level, "admin") == 0 ? "ADMINISTRATOR" : user_.level;
    std::vector<std::string> line = {"/usr/bin/env",
                                     "TZ=UTC",
                                     "ipmitool",
                                     "-I",
                                     "lanplus",
                                     "-C",
                                     "3",
                                     "-H",
                                     host_,
                                     "-p",
                                     port_,
                                     "-U",
                                     user_.name,
                                     "-L",
                                     Upper(level),
                                     "-f",
                                     directory_ + "/ipmitool.password"};
    line.insert(line.end(), arguments.begin(), arguments.end());
    return line;
}

std::vector<std::string> IpmiTools::Freeipmi(const std::string &program,
                                             const std::vector<std::string> &arguments) const
{
    std::vector<std::string> line = {
        "/usr/bin/env", "TZ=UTC",
        program,        "--config-file=" + directory_ + "/freeipmi.conf",
        "-D",           "LAN_2_0",
        "-W",           "opensesspriv",
        "-h",           host_ + ":" + port_,
        "-l",           Upper(user_.level)};
    if (program != "ipmi-chassis")  // it needs no repository
        line.insert(line.end(), {"--sdr-cache-directory=" + directory_, "--quiet-cache"});
    line.insert(line.end(), arguments.begin(), arguments.end());
    return line;
}

std::vector<Fields> SplitTable(const std::string &text, char separator, size_t most)
{
    std::vector<Fields> table;
    for (size_t start = 0; start < text.size();) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        std::string line = text.substr(start, end - start);
        start = end + 1;
        if (Trimmed(line).empty())
            continue;
        Fields fields;
        size_t at;
        while (fields.size() + 1 < most && (at = line.find(separator)) != std::string::npos) {
            fields.push_back(Trimmed(line.substr(0, at)));
            line.erase(0, at + 1);
        }
        fields.push_back(Trimmed(line));
        table.push_back(fields);
    }
    return table;
}

std::map<std::string, ToolSensor> ParseIpmitoolSensors(const std::string &text)
{
    std::map<std::string, ToolSensor> sensors;
    for (const Fields &f : SplitTable(text, '|')) {
        if (f.size() == 10)
            sensors[f[0]] = {f[1], f[2], f[3], {f[6], f[5], f[4]}, {f[7], f[8], f[9]}};
    }
    return sensors;
}

std::vector<FreeSensor> ParseIpmiSensors(const std::string &text)
{
    std::vector<FreeSensor> sensors;
    for (const Fields &f : SplitTable(text, ',', 12)) {
        if (f.size() == 12)
            sensors.push_back(
                {f[1], f[2], f[3], f[4], {f[7], f[6], f[5]}, {f[8], f[9], f[10]}, f[11]});
    }
    return sensors;
}

std::vector<FreeLogEntry> ParseIpmiSel(const std::string &text)
{
    std::vector<FreeLogEntry> entries;
    for (const Fields &f : SplitTable(text, ',', 6)) {
        if (f.size() == 6)
            entries.push_back({f[1], f[2], f[3], f[4], f[5]});
    }
    return entries;
}

std::string FourteenDigits(const FreeLogEntry &entry)
{
    constexpr char kMonths[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
    char month[4] = "";
    int day = 0;
    int year = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    if (sscanf(entry.date.c_str(), "%3s-%d-%d", month, &day, &year) != 3 ||
        sscanf(entry.time.c_str(), "%d:%d:%d", &hour, &minute, &second) != 3)
        return "";
    const char *found = strstr(kMonths, month);
    if (found == nullptr)
        return "";
    char digits[64];
    snprintf(digits, sizeof digits, "%04d%02d%02d%02d%02d%02d", year,
             static_cast<int>((found - kMonths) / 3 + 1), day, hour, minute, second);
    return digits;
}
