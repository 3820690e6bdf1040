// SPDX-License-Identifier: Apache-2.0
// map.h -- the platform's mapping layer: what a process needs before anything else runs.
#ifndef PLATFORM_MAP_H
#define PLATFORM_MAP_H

#include "platform/types.h"

// Brings the layer up: makes sure that descriptors 0, 1 and 2 exist (a missing one is opened on
// /dev/null, so that no data file ever lands where text is written) and names the process in the
// trace. Returns 0; 1 when there is no program name in the arguments or a descriptor is missing
// and cannot be opened.
u32 MapInit(int argc, char **argv);

// Takes it down: the trace is closed and the memory pools are given back. Returns 0.
u32 MapUninit();

#endif
