// SPDX-License-Identifier: Apache-2.0
// sim_machine.h -- the server whose BMC ipmi_sim plays: sensors, log, inventory.
//
// What stands here is turned into ipmi_sim's own input (its SDR compiler's language, its emulation
// commands, its log file). Tests never compare with these tables: what the shell shows is compared
// with what other IPMI tools read from the BMC.
#ifndef TESTS_IPMI_SIM_MACHINE_H
#define TESTS_IPMI_SIM_MACHINE_H

#include "platform/types.h"

#include <array>
#include <string>
#include <vector>

// Thresholds stand in the order of their bits in a reading: lower non-critical, lower critical,
// lower non-recoverable, upper non-critical, upper critical, upper non-recoverable.
constexpr int kSimThresholds = 6;
constexpr i32 kSimNone = -1;  // a threshold that the sensor does not have

enum class SimRecord { Full, Compact, EventOnly };

enum class SimReading {
    Good,
    NotScanning,  // the BMC answers that it does not read the sensor
    Missing,      // in the repository, but the BMC refuses to read it
};

// Raw values are the sensor's own bytes; value = (m * raw + b) * 10^rExp.
struct SimSensor {
    u8 number;
    const char *name;  // at most 16 characters; must not change while the machine lives
    u8 type;
    u8 eventType;
    u16 raw;  // threshold sensors: the reading's byte; discrete ones: the state bits
    u8 unit = 0;
    i32 m = 1;
    i32 b = 0;
    i32 rExp = 0;
    const char *access = "none";  // to the thresholds: none, readable, settable, fixed
    std::array<i32, kSimThresholds> thresholds = {kSimNone, kSimNone, kSimNone,
                                                  kSimNone, kSimNone, kSimNone};
    SimRecord record = SimRecord::Full;
    SimReading reading = SimReading::Good;
    u8 shareCount = 1;
    u8 entity = 7;          // IPMI entity id: 7 is the system board
    u8 entityInstance = 0;  // 0: the sensor's number
};

using SimLogEntry = std::array<u8, 16>;  // as Get SEL Entry answers it

struct SimFru {
    u8 id;
    const char *name;  // of its locator in the repository; empty: none
    u8 entityInstance;
    std::string bytes;
};

struct SimMachine {
    std::vector<SimSensor> sensors;
    std::vector<SimLogEntry> log;
    std::vector<SimFru> frus;
};

// A rack server with every kind of sensor that the shell shows, and with the oddities of real
// ones: thresholds missing, fixed or negative, states beyond each threshold, readings that are
// not to be had, names of 16 characters, a record that stands for three sensors; a log with times,
// without, and from before the clock was set; FRU data of the board and of two power supplies.
SimMachine RackServer();

// The sensor of that name; the machine must have it.
const SimSensor &SimSensorNamed(const SimMachine &machine, const std::string &name);

// ipmi_sim's input. The log file is that of its persistent state.
std::string SimSdrSource(const SimMachine &machine);
std::string SimEmulationCommands(const SimMachine &machine, const std::string &directory);
std::string SimLogFile(const std::vector<SimLogEntry> &log);

#endif
