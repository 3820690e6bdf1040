// SPDX-License-Identifier: Apache-2.0
// value.h -- one typed value of an answer.
#ifndef CTL_VALUE_H
#define CTL_VALUE_H

#include "platform/types.h"

#include <string>
#include <string_view>

enum class ValueKind : u8 {
    Null,    // there is none, or it cannot be had
    Text,    // UTF-8 without characters that are not safe to show (objmgr/safe_text.h)
    Number,  // a decimal number, its text as JSON writes one: "-7", "0.96", "1e3"
    Flag,    // "true" or "false"
};

// Built by the functions below, which keep what the comments of ValueKind promise.
struct Value {
    ValueKind kind = ValueKind::Null;
    std::string text;  // empty for Null

    bool IsNull() const { return kind == ValueKind::Null; }
    bool operator==(const Value &other) const = default;
};

// Every character that is not safe to show (a control character, one that turns the direction of a
// line) and every byte that belongs to no character becomes "?".
Value TextValue(std::string_view text);
// The number that a reading's text spells ("23", "-7.50", "+5", "007", ".5"); Null for a text that
// is no decimal number, and for one of more than 40 characters. Digits stay as they are: nothing
// is rounded.
Value NumberFromText(std::string_view text);
Value IntegerValue(i64 number);
// Rounded to three places, without zeros at the end; Null for what is not finite.
Value SecondsValue(double seconds);
Value FlagValue(bool flag);

// The number of a Number, 0 for every other kind.
double NumberOfValue(const Value &value);

// A point in time as RFC 3339 writes it, in UTC: "2024-02-29T06:58:12Z". seconds: since 1970.
// Null beyond the years 0 to 9999.
Value TimeValue(i64 seconds);

#endif
