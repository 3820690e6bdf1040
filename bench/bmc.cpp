// SPDX-License-Identifier: Apache-2.0
// bmc.cpp -- a simulated BMC (OpenIPMI's ipmi_sim) for scripts that time programs on it.
//
//   bench_bmc DELAY-MS
//
// Serves until its standard input ends; each reply takes DELAY-MS. Prints, words parted by tabs:
// host, port, a user of the service and his password, the exporter's user and his; the command line
// of ipmitool; that of ipmi-sensors.
#include "ipmi/ipmi_relay.h"
#include "ipmi/ipmi_sim.h"
#include "ipmi/ipmi_tools.h"

#include <stdio.h>
#include <stdlib.h>

namespace
{

void Print(const std::vector<std::string> &words)
{
    for (size_t i = 0; i < words.size(); ++i)
        printf("%s%s", i != 0 ? "\t" : "", words[i].c_str());
    printf("\n");
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: bench_bmc DELAY-MS\n");
        return 2;
    }
    setenv("TZ", "UTC", 1);
    IpmiSim bmc;
    const std::string error = bmc.Start();
    IpmiRelay relay(bmc.Host(), bmc.Port());
    if (!error.empty() || relay.Port() == 0) {
        fprintf(stderr, "bench_bmc: %s\n", error.empty() ? "no relay" : error.c_str());
        return 1;
    }
    relay.Set({.delayMs = static_cast<u32>(atoi(argv[1]))});
    // At once: without the relay, which takes time of its own.
    const u16 port = atoi(argv[1]) == 0 ? bmc.Port() : relay.Port();
    const IpmiTools tools(bmc.Host(), port, kSimAdmin, bmc.Directory());
    Print({bmc.Host(), std::to_string(port), kSimOperator.name, kSimOperator.password,
           kSimAdmin.name, kSimAdmin.password});
    Print(tools.Ipmitool({"-c", "sdr", "elist"}));
    Print(tools.Freeipmi("ipmi-sensors", {"--comma-separated-output"}));
    fflush(stdout);
    while (getchar() != EOF) {
    }
    return 0;
}
