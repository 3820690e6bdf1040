// SPDX-License-Identifier: Apache-2.0
// sensor_select.cpp -- see sensor_select.h.
#include "ctl/sensor_select.h"

#include <algorithm>

std::vector<ModelSensor> SensorsSelected(const Options &options, const ServerView &view)
{
    const std::string &target = options.target;
    std::vector<ModelSensor> sensors = ModelSensorsOf(view);
    std::erase_if(sensors, [&](const ModelSensor &sensor) {
        const bool below = target.empty() || target == "/" || sensor.target == target ||
                           sensor.target.starts_with(target + "/");
        const bool typed = options.types.empty() ||
                           std::find(options.types.begin(), options.types.end(), sensor.kindName) !=
                               options.types.end();
        return !below || !typed;
    });
    return sensors;
}
