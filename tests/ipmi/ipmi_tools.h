// SPDX-License-Identifier: Apache-2.0
// ipmi_tools.h -- what ipmitool and freeipmi's tools read from a BMC.
#ifndef TESTS_IPMI_IPMI_TOOLS_H
#define TESTS_IPMI_IPMI_TOOLS_H

#include "ipmi/ipmi_sim.h"

#include <map>
#include <string>
#include <vector>

// A BMC and whoever logs in to it; writes files with the password into a directory of the caller's,
// where ipmi-sensors also keeps its cache.
class IpmiTools
{
public:
    IpmiTools(const std::string &host, u16 port, const SimUser &user, const std::string &directory);

    // Whole command lines, program first.
    std::vector<std::string> Ipmitool(const std::vector<std::string> &arguments) const;
    // "ipmi-sensors", "ipmi-sel", "ipmi-fru"...
    std::vector<std::string> Freeipmi(const std::string &program,
                                      const std::vector<std::string> &arguments) const;

private:
    std::string host_;
    std::string port_;
    SimUser user_;
    std::string directory_;
};

using Fields = std::vector<std::string>;  // of a line, trimmed

// Lines of fields. With `most`, what follows the last separator that counts stays in one piece.
std::vector<Fields> SplitTable(const std::string &text, char separator, size_t most = 1000);

// A sensor as "ipmitool sensor" lists it; "na" for what it has not.
struct ToolSensor {
    std::string reading;
    std::string unit;
    std::string status;    // ok, nc, cr, nr, na; of discrete ones the states in hexadecimal
    std::string lower[3];  // non-critical, critical, non-recoverable
    std::string upper[3];
};
std::map<std::string, ToolSensor> ParseIpmitoolSensors(const std::string &text);

// A sensor as ipmi-sensors lists it, with --comma-separated-output, --no-header-output,
// --output-sensor-thresholds and --shared-sensors; "N/A" for what it has not.
struct FreeSensor {
    std::string name;
    std::string type;  // "Temperature"
    std::string reading;
    std::string units;
    std::string lower[3];  // non-critical, critical, non-recoverable
    std::string upper[3];
    std::string events;  // 'OK' or states, each in single quotes
};
std::vector<FreeSensor> ParseIpmiSensors(const std::string &text);
extern const std::vector<std::string> kIpmiSensorsTable;  // those arguments

// A record as ipmi-sel lists it, with --comma-separated-output and --no-header-output.
struct FreeLogEntry {
    std::string date;  // "Mar-14-2023", "PostInit", "Unspec.", "N/A"
    std::string time;  // "09:12:41"
    std::string name;
    std::string type;
    std::string event;  // "Upper Critical - going high ; Sensor Reading = 98.00 C"
};
std::vector<FreeLogEntry> ParseIpmiSel(const std::string &text);
extern const std::vector<std::string> kIpmiSelTable;

// "Mar-14-2023" and "09:12:41" as "20230314091241"; "" when it is no time.
std::string FourteenDigits(const FreeLogEntry &entry);

#endif
