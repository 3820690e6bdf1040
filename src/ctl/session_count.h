// SPDX-License-Identifier: Apache-2.0
// session_count.h -- how many sessions of the shell live on this machine.
#ifndef CTL_SESSION_COUNT_H
#define CTL_SESSION_COUNT_H

#include "platform/types.h"

#include <optional>

// The live sessions of the registry (session/registry.h; ZORSSNDIR, else the default), whoever's
// they are: those that smclp-sessions lists. Nothing where there is no registry, the caller may not
// read it, or others could have put anything into it. All servers of a machine share its registry.
std::optional<u32> SessionCount();

#endif
