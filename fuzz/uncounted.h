// SPDX-License-Identifier: Apache-2.0
// uncounted.h -- a target's own checks, whose branches and comparisons the fuzzer does not count.
//
// What is counted guides it and costs time each time it is passed: that is for the code under test.
#ifndef FUZZ_UNCOUNTED_H
#define FUZZ_UNCOUNTED_H

#define FUZZ_UNCOUNTED __attribute__((no_sanitize("coverage")))

#endif
