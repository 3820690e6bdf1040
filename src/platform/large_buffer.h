// SPDX-License-Identifier: Apache-2.0
// large_buffer.h -- large buffers of fixed storage, apart from all other variables.
#ifndef PLATFORM_LARGE_BUFFER_H
#define PLATFORM_LARGE_BUFFER_H

#include "platform/types.h"

// Their alignment: more than that of any other variable, so that the linker, which sorts the
// shell's variables by it, puts all the others together.
constexpr size_t kLargeBufferAlign = 64;

#endif
