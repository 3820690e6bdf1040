// SPDX-License-Identifier: Apache-2.0
// sensor_select.h -- which sensors are asked for: --type and --target.
#ifndef CTL_SENSOR_SELECT_H
#define CTL_SENSOR_SELECT_H

#include "ctl/model.h"
#include "ctl/options.h"

// Those of the types, at the target or below it.
std::vector<ModelSensor> SensorsSelected(const Options &options, const ServerView &view);

#endif
