// SPDX-License-Identifier: Apache-2.0
// show_model.h -- what "show -level all /" has to do on a server, counted without running it.
//
// The numbers follow from the behaviour alone: which sections the walk prints, how often it asks
// for a number of instances, and what one answer costs. Nothing of the shell is used.
#ifndef BENCH_SHOW_MODEL_H
#define BENCH_SHOW_MODEL_H

#include "bench_host.h"

struct ShowCounts {
    u64 lines = 0;          // that are printed
    u64 outputs = 0;        // calls of the output functions: each is one write
    u64 connections = 0;    // Open
    u64 instanceReads = 0;  // GetInstance
    u64 propertyReads = 0;  // GetPropertyValue

    bool operator==(const ShowCounts &) const = default;
};

// host.records must be no more than the 16 bits of a count hold.
ShowCounts CountShowAll(const BenchHost &host);

#endif
