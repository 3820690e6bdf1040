// SPDX-License-Identifier: Apache-2.0
// sheet.h -- the one form of every answer: named columns and rows of typed values.
//
// What a column is called, and what it means, is a promise to scripts (docs/scripting.md and the
// JSON Schema in docs/): columns are added at the end, never renamed, and never change their type.
#ifndef CTL_SHEET_H
#define CTL_SHEET_H

#include "ctl/value.h"

#include <span>
#include <vector>

// The number that every JSON answer carries as "schema". It changes when an answer changes in a
// way that a program could stumble over.
constexpr int kSheetSchema = 1;

struct Column {
    const char *name;     // in JSON and CSV: lower case, words joined by "_"
    const char *heading;  // above it in a table; null: not shown there
    bool number;          // set to the right in a table
};

struct SheetForm {
    const char *name;  // of the list in JSON: "sensors"
    std::span<const Column> columns;
};

// As many values as the form has columns, in their order.
using Row = std::vector<Value>;

// The place of a column; the number of columns when there is none of that name.
size_t ColumnIndex(const SheetForm &form, std::string_view name);

#endif
