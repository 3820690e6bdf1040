// SPDX-License-Identifier: Apache-2.0
// kinds.h -- the constructors of all element kinds, in the order of meTable.
//
// To add a kind: me/<kind>.cpp, a row here, tests/smclp/<kind>_test.cpp, and a section in
// docs/targets.md. A kind stands after the kind that it hangs under; the order is that of the
// targets a collection lists.
#ifndef SMCLP_ME_KINDS_H
#define SMCLP_ME_KINDS_H

#include "smclp/me/me.h"

#define ME_KINDS(KIND)    \
    KIND(MeRoot)          \
    KIND(MeSystem)        \
    KIND(MeLogs)          \
    KIND(MeSel)           \
    KIND(MeRecord)        \
    KIND(MePwrMgtSvc)     \
    KIND(MePwrMgtCap)     \
    KIND(MeChassis)       \
    KIND(MeSensors)       \
    KIND(MeBatteries)     \
    KIND(MeIntrusion)     \
    KIND(MeHardwarePerf)  \
    KIND(MePowerSupplies) \
    KIND(MeTemperatures)  \
    KIND(MeVoltages)      \
    KIND(PowerMonitor)    \
    ME_SENSOR_KINDS(KIND)

// These get their slots declared, too (sensors.h).
#define ME_SENSOR_KINDS(KIND) \
    KIND(MeTachSensor)        \
    KIND(MeTempSensor)        \
    KIND(MeVoltSensor)        \
    KIND(MeVoltNumSensor)     \
    KIND(MeBatSensor)         \
    KIND(MeIntrSensor)        \
    KIND(MePwrSupSensor)      \
    KIND(MeFanRedSensor)      \
    KIND(MePwrRedSensor)      \
    KIND(MePowerConsumption)  \
    KIND(MePerfSensor)

#define ME_DECLARE_KIND(constructor) void constructor(ManagedElement *element);
ME_KINDS(ME_DECLARE_KIND)
#undef ME_DECLARE_KIND

#endif
