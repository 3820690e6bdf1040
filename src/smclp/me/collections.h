// SPDX-License-Identifier: Apache-2.0
// collections.h -- the sensor collections, one file each: targets without properties that hold the
// sensors of a family.
//
// One instance of each exists, whatever the host's power; its sensors come and go with it.
#ifndef SMCLP_ME_COLLECTIONS_H
#define SMCLP_ME_COLLECTIONS_H

#include "smclp/me/kinds.h"

// Slots of the kinds (contracts: me.h). Every InstanceTag returns 1; every AddVerbs is
// MeAddCommonVerbs.
u32 MeSensorsInstanceTag();
u32 MeSensorsAddVerbs(ManagedElement *element);
u32 MeBatteriesInstanceTag();
u32 MeBatteriesAddVerbs(ManagedElement *element);
u32 MeIntrusionInstanceTag();
u32 MeIntrusionAddVerbs(ManagedElement *element);
u32 MeHardwarePerfInstanceTag();
u32 MeHardwarePerfAddVerbs(ManagedElement *element);
u32 MePowerSuppliesInstanceTag();
u32 MePowerSuppliesAddVerbs(ManagedElement *element);
u32 MeTemperaturesInstanceTag();
u32 MeTemperaturesAddVerbs(ManagedElement *element);
u32 MeVoltagesInstanceTag();
u32 MeVoltagesAddVerbs(ManagedElement *element);
u32 MePowerMonitorInstanceTag();
u32 MePowerMonitorAddVerbs(ManagedElement *element);

#endif
