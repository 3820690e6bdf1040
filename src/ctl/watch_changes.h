// SPDX-License-Identifier: Apache-2.0
// watch_changes.h -- what changed on a server from one look to the next.
#ifndef CTL_WATCH_CHANGES_H
#define CTL_WATCH_CHANGES_H

#include "ctl/model.h"

// What one look saw.
struct WatchLook {
    bool serves = false;
    ModelSystem system;
    std::vector<ModelSensor> sensors;
};

// The rows of the changes, in the order: service, power, then the sensors' readings and states. A
// sensor that comes or goes shows as a change of its state from or to null.
extern const SheetForm kWatchForm;
std::vector<Row> WatchChanges(const Value &server, i64 time, const WatchLook &before,
                              const WatchLook &after);

// Readings as a small course of eight heights from the lowest to the highest, oldest first:
// "▁▂▅█". A flat course stands at the lowest.
std::string WatchCourse(const std::vector<double> &readings);

// As much of a text as a terminal of that size shows without wrapping or scrolling: lines are cut,
// and the last one says how many are left out. 0 columns or rows: as many as there are.
std::string WatchFit(const std::string &text, size_t columns, size_t rows);

#endif
