// SPDX-License-Identifier: Apache-2.0
// types.h -- the integer types that every part of the shell and its services uses.
#ifndef PLATFORM_TYPES_H
#define PLATFORM_TYPES_H

#include <stddef.h>
#include <stdint.h>

using u8 = uint8_t;
using u16 = uint16_t;
using u32 = uint32_t;
using u64 = uint64_t;
using i32 = int32_t;
using i64 = int64_t;

#endif
