// SPDX-License-Identifier: Apache-2.0
// sensor_select.h -- which sensors are asked for: --type and --target.
#ifndef CTL_SENSOR_SELECT_H
#define CTL_SENSOR_SELECT_H

#include "ctl/model.h"
#include "ctl/options.h"

struct SensorSelection {
    std::vector<ModelSensor> sensors;  // of the types, at the target or below it
    // Why the target can have no sensors, for people: the server has no such target, or something
    // else stands there. Empty where it can have some, though it has none now (the fans of a host
    // that is off), and while the source is silent: what there is cannot be known then.
    std::string wrongTarget;
};

SensorSelection SensorsSelected(const Options &options, const ServerView &view);

#endif
