// SPDX-License-Identifier: Apache-2.0
// kinds.cpp -- the table of constructors.
#include "smclp/me/kinds.h"

#define ME_KIND_ROW(constructor, ...) constructor,
const MeConstructor meTable[] = {ME_KINDS(ME_KIND_ROW, ME_KIND_ROW, ME_KIND_ROW) nullptr};
#undef ME_KIND_ROW
