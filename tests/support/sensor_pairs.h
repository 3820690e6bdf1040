// SPDX-License-Identifier: Apache-2.0
// sensor_pairs.h -- the Type and Format of every sensor kind that the shell knows, and hosts that
// have them all.
//
// To add a sensor kind: a row here. A kind without one has no instance in
// EveryKind.CountedOnesAreGoneWithThePowerButTheRecords.
#ifndef TESTS_SUPPORT_SENSOR_PAIRS_H
#define TESTS_SUPPORT_SENSOR_PAIRS_H

#include "support/fake_objmgr.h"

#include <string>

struct SensorPair {
    const char *type;
    const char *format;
};
constexpr SensorPair kSensorPairs[] = {{"1", "1"}, {"4", "1"}, {"4", "3"},  {"2", "2"},
                                       {"2", "1"}, {"3", "1"}, {"5", "2"},  {"41", "2"},
                                       {"8", "2"}, {"8", "3"}, {"192", "2"}};

// A sensor of every pair, with `text` for every property that the shell reads.
inline void AddEverySensor(FakeObjMgr *om, const std::string &text)
{
    for (const auto &[type, format] : kSensorPairs) {
        om->AddSensor(type, format,
                      {"Name", text, "Reading", text, "WarningThresholdMin", text,
                       "WarningThresholdMax", text, "FailThresholdMin", text, "FailThresholdMax",
                       text, "StatusText", text, "State", text, "StateValue", text});
    }
}

#endif
