// SPDX-License-Identifier: Apache-2.0
// walked_kinds.h -- the kinds of a tree whose walks are known to the last section.
//
// A walk visits the system's last target 2^(n-1) times where it has n: every new kind would change
// what these tests expect. So they walk a tree of these kinds, whatever else meTable has.
#ifndef TESTS_SUPPORT_WALKED_KINDS_H
#define TESTS_SUPPORT_WALKED_KINDS_H

#include "smclp/me/kinds.h"

constexpr MeConstructor kWalkedKinds[] = {
    MeRoot,          MeSystem,           MeLogs,       MeSel,        MeRecord,       MePwrMgtSvc,
    MePwrMgtCap,     MeChassis,          MeSensors,    MeBatteries,  MeIntrusion,    MeHardwarePerf,
    MePowerSupplies, MeTemperatures,     MeVoltages,   PowerMonitor, MeTachSensor,   MeTempSensor,
    MeVoltSensor,    MeVoltNumSensor,    MeBatSensor,  MeIntrSensor, MePwrSupSensor, MeFanRedSensor,
    MePwrRedSensor,  MePowerConsumption, MePerfSensor, nullptr};

#endif
