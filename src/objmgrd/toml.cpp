// SPDX-License-Identifier: Apache-2.0
// toml.cpp -- the implementation of toml++, as toml.h sets it.
#define TOML_IMPLEMENTATION
#include "objmgrd/toml.h"
