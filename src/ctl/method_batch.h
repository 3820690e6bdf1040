// SPDX-License-Identifier: Apache-2.0
// method_batch.h -- method calls on several servers at once.
//
// Each call is made by a process of its own, since the object manager's client serves one directory
// at a time: servers that do not answer keep nobody waiting but themselves.
#ifndef CTL_METHOD_BATCH_H
#define CTL_METHOD_BATCH_H

#include "ctl/method.h"

#include <functional>

// So many calls wait for their answers at once; the next ones wait for a place.
constexpr u32 kMethodBatchMost = 64;

// When calls begin: `number` of them (0: all) as soon as there is room, and the next ones
// `pauseMs` after the last of those has begun, however long its answer takes.
struct MethodPace {
    u32 number = 0;
    u32 pauseMs = 0;
};

// Makes the calls 0 to count - 1, in this order. call: makes one and returns its answer; it runs in
// a process of its own, so what it changes in memory is lost. The object manager's client must be
// unused until now. done: called as the answers come, in any order. A message is cut at
// kMethodMessageMost bytes. A single call is made in this process.
constexpr size_t kMethodMessageMost = 400;
void MethodBatch(size_t count, const MethodPace &pace,
                 const std::function<MethodAnswer(size_t number)> &call,
                 const std::function<void(size_t number, const MethodAnswer &answer)> &done);

#endif
