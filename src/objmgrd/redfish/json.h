// SPDX-License-Identifier: Apache-2.0
// json.h -- documents of a service that may say anything: reading them without trust.
//
// A value that is missing, null or of another type than was asked for is no fault: it is "none",
// and so is everything inside it. One bad byte or one number in a place for text costs that value,
// never its neighbours.
#ifndef OBJMGRD_REDFISH_JSON_H
#define OBJMGRD_REDFISH_JSON_H

#include "platform/types.h"

#include <optional>
#include <string>
#include <string_view>

struct json_t;

// The most bytes of a document, after decompression: the largest seen is a log of 210 entries with
// 370,000.
constexpr size_t kJsonBytesMax = size_t{4} * 1024 * 1024;
// Texts are made one line of at most so many bytes.
constexpr size_t kJsonTextMax = 255;

// A value inside a JsonDocument, which has to outlive it. Copied freely.
class JsonValue
{
public:
    JsonValue() = default;
    explicit JsonValue(const json_t *value) : value_(value) {}

    bool IsObject() const;
    bool IsArray() const;
    bool IsNone() const;  // missing or null
    bool IsTrue() const;
    // None, "", or a list or an object with nothing in it but such, annotations ("@odata.id") and
    // Oem: of a resource, that there is none behind it.
    bool SaysNothing() const;

    // A member of an object by its name, an element of an array by its place from 0.
    JsonValue operator[](const char *name) const;
    JsonValue operator[](size_t place) const;
    size_t Size() const;               // elements of an array, else 0
    bool Has(const char *name) const;  // also when the member is null

    // Finite numbers only.
    std::optional<double> Number() const;
    // One line (text.h) of at most kJsonTextMax bytes; "" for what is no text.
    std::string Text() const;
    // As it stands, for addresses and tokens; "" for what is no text.
    std::string RawText() const;
    bool IsText(std::string_view text) const;

private:
    const json_t *value_ = nullptr;
};

class JsonDocument
{
public:
    JsonDocument() = default;
    ~JsonDocument();
    JsonDocument(JsonDocument &&other) noexcept : root_(other.root_) { other.root_ = nullptr; }
    JsonDocument &operator=(JsonDocument &&other) noexcept;

    // Reads one object. What a lenient reader can mend is mended first (JsonMend). False: the text
    // is no JSON, or larger than kJsonBytesMax, or its root is no object; the document is empty
    // then.
    bool Read(std::string text);
    // As Read, for the answer to a GET: an object with an `error` in it is none, either.
    bool ReadResource(std::string text);

    JsonValue Root() const { return JsonValue(root_); }

private:
    json_t *root_ = nullptr;
};

// Replaces what would cost the whole document and can only stand inside a text: bytes that are not
// UTF-8 become "?", control characters blanks, escaped NULs and halves of surrogate pairs, too. A
// byte order mark is dropped.
void JsonMend(std::string *text);

#endif
