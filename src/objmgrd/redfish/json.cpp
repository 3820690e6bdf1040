// SPDX-License-Identifier: Apache-2.0
// json.cpp -- see json.h.
#include "objmgrd/redfish/json.h"

#include "objmgrd/text.h"

#include <cmath>
#include <string.h>

#include <jansson.h>

namespace
{

// Bytes of the UTF-8 character that begins at `at`; 0 when none does.
size_t CharacterAt(const std::string &text, size_t at)
{
    const auto byte = [&](size_t i) {
        return at + i < text.size() ? static_cast<u8>(text[at + i]) : u8{0};
    };
    const auto follows = [&](size_t i) { return (byte(i) & 0xc0) == 0x80; };
    const u8 first = byte(0);
    if (first < 0x80)
        return 1;
    if (first >= 0xc2 && first <= 0xdf)
        return follows(1) ? 2 : 0;
    if (first >= 0xe0 && first <= 0xef) {
        const bool overlong = first == 0xe0 && byte(1) < 0xa0;
        const bool surrogate = first == 0xed && byte(1) >= 0xa0;
        return follows(1) && follows(2) && !overlong && !surrogate ? 3 : 0;
    }
    if (first >= 0xf0 && first <= 0xf4) {
        const bool overlong = first == 0xf0 && byte(1) < 0x90;
        const bool beyond = first == 0xf4 && byte(1) >= 0x90;
        return follows(1) && follows(2) && follows(3) && !overlong && !beyond ? 4 : 0;
    }
    return 0;
}

int HexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// The number of an escape "\uXXXX" whose backslash is at `at`; -1: none is there.
int EscapeAt(const std::string &text, size_t at)
{
    if (at + 6 > text.size() || text[at] != '\\' || text[at + 1] != 'u')
        return -1;
    int number = 0;
    for (size_t i = at + 2; i < at + 6; ++i) {
        const int digit = HexDigit(text[i]);
        if (digit < 0)
            return -1;
        number = number * 16 + digit;
    }
    return number;
}

// What stands at a backslash; the bytes that are done with.
size_t MendEscape(std::string *text, size_t at)
{
    const int number = EscapeAt(*text, at);
    if (number < 0)
        return 2;
    if (number == 0) {
        text->replace(at, 6, "\\u0020");
    } else if (number >= 0xd800 && number < 0xdc00) {
        const int next = EscapeAt(*text, at + 6);
        if (next >= 0xdc00 && next < 0xe000)
            return 12;
        text->replace(at, 6, "\\u003f");
    } else if (number >= 0xdc00 && number < 0xe000) {
        text->replace(at, 6, "\\u003f");
    }
    return 6;
}

}  // namespace

void JsonMend(std::string *text)
{
    if (text->compare(0, 3, "\xef\xbb\xbf") == 0)
        text->erase(0, 3);
    for (size_t at = 0; at < text->size();) {
        char &c = (*text)[at];
        if (c == '\\') {
            // The byte after it may be a control character or no UTF-8: it is looked at next.
            const bool plain = at + 1 < text->size() && (*text)[at + 1] > ' ';
            at += plain ? MendEscape(text, at) : 1;
            continue;
        }
        const size_t bytes = CharacterAt(*text, at);
        if (bytes == 0)
            c = '?';
        else if (bytes == 1 && static_cast<u8>(c) < ' ')
            c = ' ';
        at += bytes == 0 ? 1 : bytes;
    }
}

JsonDocument::~JsonDocument()
{
    json_decref(root_);
}

JsonDocument &JsonDocument::operator=(JsonDocument &&other) noexcept
{
    if (this != &other) {
        json_decref(root_);
        root_ = other.root_;
        other.root_ = nullptr;
    }
    return *this;
}

bool JsonDocument::Read(std::string text)
{
    json_decref(root_);
    root_ = nullptr;
    if (text.size() > kJsonBytesMax)
        return false;
    JsonMend(&text);
    json_error_t error;
    root_ = json_loadb(text.data(), text.size(), JSON_DECODE_INT_AS_REAL | JSON_ALLOW_NUL, &error);
    if (json_is_object(root_))
        return true;
    json_decref(root_);
    root_ = nullptr;
    return false;
}

bool JsonDocument::ReadResource(std::string text)
{
    if (!Read(std::move(text)))
        return false;
    if (!Root().Has("error"))
        return true;
    json_decref(root_);
    root_ = nullptr;
    return false;
}

bool JsonValue::IsObject() const
{
    return json_is_object(value_);
}

bool JsonValue::IsArray() const
{
    return json_is_array(value_);
}

bool JsonValue::IsNone() const
{
    return value_ == nullptr || json_is_null(value_);
}

bool JsonValue::IsTrue() const
{
    return json_is_true(value_);
}

bool JsonValue::SaysNothing() const
{
    if (IsNone() || IsText(""))
        return true;
    if (!IsObject() && !IsArray())
        return false;
    for (size_t i = 0; i < Size(); ++i) {
        if (!(*this)[i].SaysNothing())
            return false;
    }
    const char *name;
    json_t *member;
    json_object_foreach(const_cast<json_t *>(value_), name, member)
    {
        const bool counts = strchr(name, '@') == nullptr && strcmp(name, "Oem") != 0;
        if (counts && !JsonValue(member).SaysNothing())
            return false;
    }
    return true;
}

JsonValue JsonValue::operator[](const char *name) const
{
    return JsonValue(json_object_get(value_, name));
}

JsonValue JsonValue::operator[](size_t place) const
{
    return JsonValue(json_array_get(value_, place));
}

size_t JsonValue::Size() const
{
    return json_array_size(value_);
}

bool JsonValue::Has(const char *name) const
{
    return json_object_get(value_, name) != nullptr;
}

std::optional<double> JsonValue::Number() const
{
    if (!json_is_number(value_))
        return std::nullopt;
    const double number = json_number_value(value_);
    return std::isfinite(number) ? std::optional(number) : std::nullopt;
}

std::string JsonValue::Text() const
{
    return TextOneLine(RawText(), kJsonTextMax);
}

std::string JsonValue::RawText() const
{
    if (!json_is_string(value_))
        return "";
    return {json_string_value(value_), json_string_length(value_)};
}

bool JsonValue::IsText(std::string_view text) const
{
    return json_is_string(value_) &&
           text == std::string_view(json_string_value(value_), json_string_length(value_));
}
