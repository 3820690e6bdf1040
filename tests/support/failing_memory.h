// SPDX-License-Identifier: Apache-2.0
// failing_memory.h -- allocations that fail on demand.
//
// Works in programs linked with --wrap for the functions below: it reaches the shell's own code and
// every library linked into the program, not the C library's inner calls.
#ifndef TESTS_SUPPORT_FAILING_MEMORY_H
#define TESTS_SUPPORT_FAILING_MEMORY_H

#include "platform/types.h"

enum class Memory {
    Registration,  // MemMgrAddPool
    Pools,         // MemMgrAlloc
    Heap,          // malloc and calloc
};

// While it lives, the call number `call` (from 1) to that memory fails, or with andLater this and
// every later one. One at a time per kind of memory.
class MemoryFailure
{
public:
    MemoryFailure(Memory memory, u32 call, bool andLater = false);
    ~MemoryFailure();
    MemoryFailure(const MemoryFailure &) = delete;
    MemoryFailure &operator=(const MemoryFailure &) = delete;

    // Whether a call has failed. False: the code under test makes fewer calls.
    bool Struck() const;

private:
    Memory memory_;
};

#endif
