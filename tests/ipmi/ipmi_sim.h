// SPDX-License-Identifier: Apache-2.0
// ipmi_sim.h -- a BMC of OpenIPMI's simulator for tests and figures, on the loopback interface.
//
// Each IpmiSim has a directory of its own below $TMPDIR (default /tmp) and an address of its own
// in 127.0.0.0/8 made from the process's number, so that any number of them run side by side. The
// simulator dies with the thread that started it. Not for use by two threads at once.
#ifndef TESTS_IPMI_IPMI_SIM_H
#define TESTS_IPMI_IPMI_SIM_H

#include "ipmi/sim_machine.h"
#include "support/test_files.h"

#include <string>
#include <sys/types.h>

struct SimUser {
    const char *name;
    const char *password;
    const char *level;  // the highest: "admin", "operator", "user"
};

constexpr SimUser kSimAdmin = {"root", "Wd7-gatepost", "admin"};
constexpr SimUser kSimOperator = {"operator", "Kx3-lanternfish", "operator"};
constexpr SimUser kSimReader = {"reader", "Ph9-millrace", "user"};
constexpr SimUser kSimLongPassword = {"longpass", "Zt5-sixteenbytes", "admin"};

// What the power switch does when the BMC turns it.
enum class SimSwitch {
    Works,
    Slow,     // the host follows 1 s later; the BMC has said "done" at once
    Long,     // the same, 6 s later
    Stuck,    // the BMC says "done", the host stays as it is
    Refuses,  // the BMC says that it cannot
};

class IpmiSim
{
public:
    explicit IpmiSim(SimMachine machine = RackServer());
    ~IpmiSim();  // ends the simulator, removes the directory
    IpmiSim(const IpmiSim &) = delete;
    IpmiSim &operator=(const IpmiSim &) = delete;

    // Starts it and waits until the BMC answers, 20 s at the most. Empty: it does; otherwise what
    // is wrong, in words.
    std::string Start();

    const std::string &Host() const { return host_; }
    u16 Port() const { return port_; }
    const std::string &Directory() const { return directory_; }
    const SimMachine &Machine() const { return machine_; }

    // The process: a hung BMC, one that lives again, one that lost its network, one that restarts.
    void Freeze();
    void Thaw();
    void Kill();
    std::string Restart();  // as Start; log and power state are kept

    // A command of the simulator's console (man ipmi_sim_cmd); what it answers, without echo and
    // prompt. "no answer" after 10 s.
    std::string Command(const std::string &line);
    // Changes a threshold sensor's raw reading or one state bit of a discrete one.
    void SetReading(const char *sensor, u8 raw, bool logEvent = false);
    void SetState(const char *sensor, int bit, bool on, bool logEvent = false);
    // Whether the BMC reads the sensor.
    void SetScanning(const char *sensor, bool scanning);
    // A system event with these thirteen bytes behind the record type, time as the BMC's clock.
    void AddLogEntry(u8 recordType, const std::array<u8, 13> &bytes);

    bool PowerIsOn() const;
    void PressPowerButton();  // switches behind the BMC's back
    void SetSwitch(SimSwitch behaviour);
    // What the BMC has done to the host so far, one line each, oldest first: "power 0", "power 1",
    // "reset 1". A power cycle is the first two.
    std::string Actions() const;
    void ForgetActions();

private:
    std::string WriteInput();
    std::string Compile();
    std::string Launch();
    std::string WaitUntilItAnswers();

    SimMachine machine_;
    std::string host_;
    u16 port_ = 0;
    const TestDirectory made_;
    const std::string directory_ = made_.Path();
    pid_t pid_ = -1;
    int console_ = -1;
};

// The packages that the BMC of the tests and the tools it is compared with come from.
constexpr char kIpmiPackages[] = "openipmi, ipmitool and freeipmi-tools";

// The address in 127.0.0.0/8 that belongs to this process, and a UDP port that is free there now.
std::string LoopbackOfProcess();
u16 FreeUdpPort(const std::string &host);

#endif
