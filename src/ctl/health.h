// SPDX-License-Identifier: Apache-2.0
// health.h -- how a server does, in one row, and as a monitoring plug-in says it.
#ifndef CTL_HEALTH_H
#define CTL_HEALTH_H

#include "ctl/model.h"

struct ServerHealth {
    bool serves = false;  // the service is there and says that it works
    std::string reason;   // why it does not serve
    std::string service;
    Value power;
    std::string source;         // its name; several are joined by ","
    std::optional<double> age;  // of the source that was silent longest
    bool silent = false;        // the service serves, and the host cannot be read
    u32 sensors = 0;
    u32 warnings = 0;
    u32 criticals = 0;
    u32 unknowns = 0;
    Health health = Health::Unknown;  // the worst of all; a host that is off is ok
    std::optional<u32> sessions;      // of the shell, on this machine; none: cannot be known
};

// view: null when there is no service, for that reason. The sessions are left to the caller.
ServerHealth HealthOf(const ServerView *view, const std::string &reason);

extern const SheetForm kHealthForm;
Row HealthRow(const Value &server, const ServerHealth &health);

// One line as plug-ins of Nagios and its kin write it, without a line break:
// "SMCLP WARNING - 1 of 37 sensors: Fan4 RPM 800 RPM (warning) | 'Inlet Temp'=23;3:42;-7:47 ...".
std::string HealthPluginLine(const ServerHealth &health, const std::vector<ModelSensor> &sensors);

#endif
