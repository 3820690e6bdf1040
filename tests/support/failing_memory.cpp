// SPDX-License-Identifier: Apache-2.0
// failing_memory.cpp -- the wrapped allocation functions.
#include "support/failing_memory.h"

#include <stddef.h>
#include <stdlib.h>

extern "C" {
u32 __real_MemMgrAddPool(u32 blockSize, u32 blockCount);
void *__real_MemMgrAlloc(u32 blockSize);
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
u32 __wrap_MemMgrAddPool(u32 blockSize, u32 blockCount);
void *__wrap_MemMgrAlloc(u32 blockSize);
void *__wrap_malloc(size_t size);
void *__wrap_calloc(size_t count, size_t size);
}

namespace
{

struct Plan {
    u32 failCall;  // 0: none
    bool andLater;
    u32 calls;
    bool struck;
};
Plan gPlans[3];

Plan *PlanOf(Memory memory)
{
    return &gPlans[static_cast<int>(memory)];
}

bool Fails(Memory memory)
{
    Plan *plan = PlanOf(memory);
    if (plan->failCall == 0)
        return false;
    ++plan->calls;
    if (plan->calls != plan->failCall && !(plan->andLater && plan->calls > plan->failCall))
        return false;
    plan->struck = true;
    return true;
}

}  // namespace

u32 __wrap_MemMgrAddPool(u32 blockSize, u32 blockCount)
{
    return Fails(Memory::Registration) ? 3 : __real_MemMgrAddPool(blockSize, blockCount);
}

void *__wrap_MemMgrAlloc(u32 blockSize)
{
    return Fails(Memory::Pools) ? nullptr : __real_MemMgrAlloc(blockSize);
}

void *__wrap_malloc(size_t size)
{
    return Fails(Memory::Heap) ? nullptr : __real_malloc(size);
}

void *__wrap_calloc(size_t count, size_t size)
{
    return Fails(Memory::Heap) ? nullptr : __real_calloc(count, size);
}

// The tests' own C++ objects are always had, also where the C++ library is linked in and so calls
// the functions above.
void *operator new(size_t size)
{
    void *memory = __real_malloc(size != 0 ? size : 1);
    if (memory == nullptr)
        abort();
    return memory;
}

void operator delete(void *memory) noexcept
{
    free(memory);
}

void operator delete(void *memory, size_t) noexcept
{
    free(memory);
}

MemoryFailure::MemoryFailure(Memory memory, u32 call, bool andLater) : memory_(memory)
{
    *PlanOf(memory) = {call, andLater, 0, false};
}

MemoryFailure::~MemoryFailure()
{
    PlanOf(memory_)->failCall = 0;
}

bool MemoryFailure::Struck() const
{
    return PlanOf(memory_)->struck;
}
