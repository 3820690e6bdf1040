// SPDX-License-Identifier: Apache-2.0
// kinds.h -- all kinds of elements, one row each, in the order in which discovery builds the tree.
//
// To add a kind: me/<kind>.cpp, a row and an id here, tests/smclp/<kind>_test.cpp, and a section in
// docs/targets.md. A kind stands after the kind that it hangs under; the order is that of the
// targets a collection lists. Declarations and meTable are made from the rows.
#ifndef SMCLP_ME_KINDS_H
#define SMCLP_ME_KINDS_H

#include "smclp/me/me.h"

// Kind ids, beside those of me.h. Elements of two kinds share 42, of two others 47.
enum MeKindId : u32 {
    kMeSystem = 5,
    kMeSel = 25,
    kMeRecord = 29,
    kMeLogs = 30,
    kMePwrMgtSvc = 31,
    kMePwrMgtCap = 32,
    kMeChassis = 34,
    kMeBatteries = 35,
    kMeFans = 36,
    kMeIntrusion = 37,
    kMeHardwarePerf = 38,
    kMePowerSupplies = 39,
    kMeTemperatures = 40,
    kMeVoltages = 41,
    kMeRedundancySet = 42,
    kMePowerMonitor = 43,
    kMePowerConsumption = 44,
    kMeTachSensor = 45,
    kMeTempSensor = 46,
    kMeVoltSensor = 47,
    kMeBatSensor = 48,
    kMeIntrSensor = 49,
    kMePwrSupSensor = 50,
    kMePerfSensor = 51,
};

// KIND(constructor): its slots are declared in the header of its own.
// COLLECTION(constructor, prefix): one instance, whatever the host's power, and no properties.
// SENSOR(constructor and prefix, reader): as many instances as there are sensors of its Type and
// Format; its RefreshProperties is MeRefreshFromRows (element_kind.h).
// clang-format off
#define ME_KINDS(KIND, COLLECTION, SENSOR)             \
    KIND(MeRoot)                                       \
    KIND(MeSystem)                                     \
    COLLECTION(MeLogs, MeLogs)                         \
    KIND(MeSel)                                        \
    KIND(MeRecord)                                     \
    KIND(MePwrMgtSvc)                                  \
    KIND(MePwrMgtCap)                                  \
    KIND(MeChassis)                                    \
    COLLECTION(MeSensors, MeSensors)                   \
    COLLECTION(MeBatteries, MeBatteries)               \
    COLLECTION(MeIntrusion, MeIntrusion)               \
    COLLECTION(MeHardwarePerf, MeHardwarePerf)         \
    COLLECTION(MePowerSupplies, MePowerSupplies)       \
    COLLECTION(MeTemperatures, MeTemperatures)         \
    COLLECTION(MeVoltages, MeVoltages)                 \
    COLLECTION(PowerMonitor, MePowerMonitor)           \
    SENSOR(MeTachSensor, get_tachdata)                 \
    SENSOR(MeTempSensor, get_tempdata)                 \
    SENSOR(MeVoltSensor, get_voltdata)                 \
    SENSOR(MeVoltNumSensor, get_volt_num_data)         \
    SENSOR(MeBatSensor, get_batdata)                   \
    SENSOR(MeIntrSensor, get_intrdata)                 \
    SENSOR(MePwrSupSensor, get_pwrsupdata)             \
    SENSOR(MeFanRedSensor, get_fanreddata)             \
    SENSOR(MePwrRedSensor, get_pwrreddata)             \
    SENSOR(MePowerConsumption, get_num_sensor_data)    \
    SENSOR(MePerfSensor, get_perfdata)
// clang-format on

// Slots: me.h. The readers put property `property` of sensor number `instance` (from 1) of the kind
// into `out` (kSensorTextSize bytes), with the results of get_sensor_data (sensapi.h); but for
// get_num_sensor_data nothing in the shell calls them by name: they are the interface of the kinds.
#define ME_DECLARE_KIND(constructor) void constructor(ManagedElement *element);
#define ME_DECLARE_COLLECTION(constructor, prefix) \
    ME_DECLARE_KIND(constructor)                   \
    u32 prefix##InstanceTag();                     \
    u32 prefix##AddVerbs(ManagedElement *element);
#define ME_DECLARE_SENSOR(prefix, reader)                                                 \
    ME_DECLARE_COLLECTION(prefix, prefix)                                                 \
    u32 prefix##AddProperties(ManagedElement *element);                                   \
    u32 prefix##RefreshProperties(ManagedElement *element, const char *name, char *value, \
                                  u32 length);                                            \
    u32 reader(u32 instance, char *out, const char *property);
ME_KINDS(ME_DECLARE_KIND, ME_DECLARE_COLLECTION, ME_DECLARE_SENSOR)
#undef ME_DECLARE_SENSOR
#undef ME_DECLARE_COLLECTION
#undef ME_DECLARE_KIND

#endif
