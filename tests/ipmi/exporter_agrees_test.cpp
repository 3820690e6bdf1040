// SPDX-License-Identifier: Apache-2.0
// exporter_agrees_test.cpp -- what smclpctl exports beside what Prometheus's exporter for IPMI says
// of the same BMC, reading by reading.
#include "ipmi/served_bmc.h"

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

namespace
{

constexpr char kExporter[] = "/usr/bin/prometheus-ipmi-exporter";

// Starts the exporter on a free port, asks once, ends it.
constexpr char kAsk[] = R"(
import socket, subprocess, sys, time, urllib.request
with socket.socket() as free:
    free.bind(('127.0.0.1', 0))
    port = free.getsockname()[1]
exporter = subprocess.Popen([sys.argv[1], '--config.file=' + sys.argv[2],
    '--web.listen-address=127.0.0.1:%d' % port], stderr=subprocess.DEVNULL)
try:
    for attempt in range(100):
        try:
            socket.create_connection(('127.0.0.1', port)).close()
            break
        except OSError:
            time.sleep(0.1)
    url = 'http://127.0.0.1:%d/ipmi?target=%s' % (port, sys.argv[3])
    print(urllib.request.urlopen(url, timeout=25).read().decode())
finally:
    exporter.kill()
)";

// A metric's values by the sensor's name; a name that several sensors have may have several.
using Values = std::multimap<std::string, double>;

Values ValuesOf(const std::string &text, const std::string &metric)
{
    Values values;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const size_t name = line.find("name=\"");
        const size_t value = line.rfind("} ");
        if (line.rfind(metric + "{", 0) != 0 || name == std::string::npos)
            continue;
        const std::string number = line.substr(value + 2);
        if (number != "NaN")
            values.emplace(line.substr(name + 6, line.find('"', name + 6) - name - 6),
                           strtod(number.c_str(), nullptr));
    }
    return values;
}

bool IsState(const std::string &metric)
{
    return metric.find("_state") != std::string::npos;
}

class ExporterAgrees : public ServedBmc
{
protected:
    std::string Theirs() const
    {
        const std::string config = WriteTempFile(
            std::string("modules:\n  default:\n    user: \"") + kSimAdmin.name +
            "\"\n    pass: \"" + kSimAdmin.password +
            "\"\n    driver: \"LAN_2_0\"\n    privilege: \"admin\"\n    timeout: 10000\n"
            "    collectors:\n    - ipmi\n    workaround_flags:\n    - opensesspriv\n");
        const ProgramEnd end = RunProgram({"/usr/bin/python3", WriteTempFile(kAsk), kExporter,
                                           config, bmc.Host() + ":" + std::to_string(bmc.Port())});
        EXPECT_EQ(end.status, 0) << end.err;
        return end.out;
    }
    std::string Ours() const
    {
        return RunProgram({SMCLPCTL, "--dir", service->Directory() + "/objmgr", "export"}).out;
    }
};

}  // namespace

TEST_F(ExporterAgrees, ReadingByReading)
{
    if (!std::filesystem::exists(kExporter))
        GTEST_SKIP() << "no " << kExporter;
    Serve();
    const std::string theirs = Theirs();
    const std::string ours = Ours();
    size_t compared = 0;
    for (const char *metric :
         {"temperature_celsius", "fan_speed_rpm", "voltage_volts", "current_amperes", "power_watts",
          "temperature_state", "fan_speed_state", "current_state", "power_state"}) {
        const Values wanted = ValuesOf(theirs, std::string("ipmi_") + metric);
        const Values got = ValuesOf(ours, std::string("smclp_") + metric);
        for (const auto &[name, value] : wanted) {
            const auto range = got.equal_range(name);
            bool same = false;
            std::string all;
            for (auto at = range.first; at != range.second; ++at) {
                // Theirs has two decimals. Beyond a non-critical threshold FreeIPMI says nominal,
                // and the shell warning.
                const bool warning = IsState(metric) && value == 0 && at->second == 1;
                same = same || warning || std::abs(at->second - value) <= 0.0051;
                all += " " + std::to_string(at->second);
            }
            EXPECT_TRUE(same) << metric << " " << name << ": they say " << value << ", we" << all;
            ++compared;
        }
    }
    EXPECT_GT(compared, 20u) << theirs << ours;
}
