// SPDX-License-Identifier: Apache-2.0
// served_bmc.h -- objmgrd-ipmi serving a simulated BMC, and shells on it.
#ifndef TESTS_IPMI_SERVED_BMC_H
#define TESTS_IPMI_SERVED_BMC_H

#include "ipmi/ipmi_relay.h"
#include "ipmi/ipmi_sim.h"
#include "ipmi/ipmi_tools.h"
#include "support/clock.h"
#include "support/program.h"
#include "support/test_files.h"

#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

// The lines of the settings file that tests change.
struct ServiceSettings {
    u16 port = 0;  // 0: the simulator's own
    SimUser user = kSimAdmin;
    std::string password = {};  // empty: the user's
    std::string privilege = "administrator";
    int cipherSuite = 3;
    std::string poll =
        "sensors_ms = 200\nstates_ms = 200\npower_ms = 100\nlog_ms = 200\nsdr_ms = 1000\n";
    std::string timeouts = {};
};

// One running objmgrd-ipmi; ended with the test.
class IpmiService
{
public:
    IpmiService(const IpmiSim &bmc, const ServiceSettings &settings);
    ~IpmiService();
    IpmiService(const IpmiService &) = delete;
    IpmiService &operator=(const IpmiService &) = delete;

    const std::string &Directory() const { return directory_; }
    pid_t Pid() const { return pid_; }
    // What it has said so far.
    std::string Log();
    // Whether it still runs.
    bool Lives();
    // Ends it with SIGTERM; its exit status, 128 + signal, or -1 when it does not end within 10 s.
    int Terminate();
    // VmRSS and the part that is its own (private pages), in kB.
    long ResidentKb() const;
    long AnonymousKb() const;

private:
    const TestDirectory made_;
    const std::string directory_ = made_.Path();
    pid_t pid_ = -1;
    int terminal_ = -1;  // its standard error, which makes it say everything there
    std::string log_;
};

// Target path to properties, as `show -display properties` lists them.
using Shown = std::map<std::string, std::map<std::string, std::string>>;
Shown ParseShown(const std::string &text);

// A BMC, a service on it, and shells. Start them in the test's body.
class ServedBmc : public testing::Test
{
protected:
    explicit ServedBmc(SimMachine machine = RackServer()) : bmc(std::move(machine)) {}
    ~ServedBmc() override;

    void SetUp() override;  // starts the simulator
    // Starts the service, on the relay when there is one, and waits until it has read everything.
    void Serve(ServiceSettings settings = {});
    // Starts the service and does not wait.
    void ServeUnready(ServiceSettings settings = {});
    // Puts a relay between; before Serve.
    void PutRelay();

    // One command of a shell with every right, or with these.
    ProgramEnd Shell(const std::string &line, const std::string &privilege = "1ff") const;
    std::string Out(const std::string &line) const { return Shell(line).out; }
    Shown Show(const std::string &target) const;
    // One property of a target; "" when it is not shown.
    std::string Property(const std::string &target, const std::string &name) const;
    // Whether the shell starts; whether it also has sensors, log and inventory.
    bool IsReady() const;
    bool HasEverything() const;

    std::string Ipmitool(const std::vector<std::string> &arguments) const;
    std::string Freeipmi(const std::string &program,
                         const std::vector<std::string> &arguments) const;
    bool ToolSaysOn() const;
    // Sessions that the BMC holds, that of the tool that asks among them.
    u32 SessionsOfTheBmc() const;

    IpmiSim bmc;
    std::unique_ptr<IpmiRelay> relay;
    std::unique_ptr<IpmiTools> tools;
    std::unique_ptr<IpmiService> service;
};

// What the shell says when the BMC does not answer at its start.
extern const char kNoBmcText[];

#endif
