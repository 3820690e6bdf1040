// SPDX-License-Identifier: Apache-2.0
// value.cpp -- see value.h.
#include "ctl/value.h"

#include "ctl/calendar.h"
#include "objmgr/safe_text.h"

#include <algorithm>
#include <charconv>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

namespace
{

constexpr size_t kNumberTextMost = 40;

std::string_view TakeDigits(std::string_view *text)
{
    size_t length = 0;
    while (length < text->size() && (*text)[length] >= '0' && (*text)[length] <= '9')
        ++length;
    const std::string_view digits = text->substr(0, length);
    text->remove_prefix(length);
    return digits;
}

bool Take(std::string_view *text, char c)
{
    if (text->empty() || text->front() != c)
        return false;
    text->remove_prefix(1);
    return true;
}

// "e3", "E-3", "e+3" at the front, as JSON has it; false: begun and not ended.
bool TakeExponent(std::string_view *text, std::string *exponent)
{
    if (!Take(text, 'e') && !Take(text, 'E'))
        return true;
    *exponent = "e";
    if (Take(text, '-'))
        *exponent += '-';
    else
        Take(text, '+');
    const std::string_view digits = TakeDigits(text);
    *exponent += digits;
    return !digits.empty();
}

}  // namespace

Value TextValue(std::string_view text)
{
    if (std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7f; }))
        return {ValueKind::Text, std::string(text)};
    Value value = {ValueKind::Text, ""};
    value.text.reserve(text.size());
    while (!text.empty()) {
        bool safe = false;
        const size_t length = SafeTextCharacter(text.data(), text.size(), &safe);
        value.text += safe ? text.substr(0, length) : "?";
        text.remove_prefix(length);
    }
    return value;
}

Value NumberFromText(std::string_view text)
{
    if (text.size() > kNumberTextMost)
        return {};
    std::string number;
    if (Take(&text, '-'))
        number = "-";
    else
        Take(&text, '+');
    std::string_view whole = TakeDigits(&text);
    std::string_view part;
    if (Take(&text, '.'))
        part = TakeDigits(&text);
    std::string exponent;
    if ((whole.empty() && part.empty()) || !TakeExponent(&text, &exponent) || !text.empty())
        return {};
    while (whole.size() > 1 && whole.front() == '0')
        whole.remove_prefix(1);
    number += whole.empty() ? "0" : whole;
    if (!part.empty())
        number.append(".").append(part);
    number += exponent;
    // Without an exponent it is below 1e40.
    if (!exponent.empty() && !isfinite(strtod(number.c_str(), nullptr)))
        return {};
    return {ValueKind::Number, number};
}

Value IntegerValue(i64 number)
{
    return {ValueKind::Number, std::to_string(number)};
}

Value SecondsValue(double seconds)
{
    if (!isfinite(seconds) || fabs(seconds) >= 1e15)
        return {};
    // By hand: there is an age in every line, and printf takes the time of the rest of it.
    const i64 thousandths = llround(seconds * 1000);
    const u64 size =
        thousandths < 0 ? -static_cast<u64>(thousandths) : static_cast<u64>(thousandths);
    char text[40];
    char *at = text;
    if (thousandths < 0)
        *at++ = '-';
    at = std::to_chars(at, std::end(text), size / 1000).ptr;
    if (u64 rest = size % 1000) {
        *at++ = '.';
        for (u64 unit = 100; rest != 0; rest %= unit, unit /= 10)
            *at++ = static_cast<char>('0' + rest / unit);
    }
    return {ValueKind::Number, std::string(text, at)};
}

Value FlagValue(bool flag)
{
    return {ValueKind::Flag, flag ? "true" : "false"};
}

double NumberOfValue(const Value &value)
{
    return value.kind == ValueKind::Number ? strtod(value.text.c_str(), nullptr) : 0.0;
}

Value TimeValue(i64 seconds)
{
    const CalendarTime time = CalendarOfSeconds(seconds);
    if (time.year < 0 || time.year > 9999)
        return {};
    char text[40];
    snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02uZ", static_cast<u32>(time.year),
             time.month, time.day, time.hour, time.minute, time.second);
    return {ValueKind::Text, text};
}
