// SPDX-License-Identifier: Apache-2.0
// packed_instance.cpp -- the packed form of an instance.
#include "objmgrd/packed_instance.h"

#include "objmgr/safe_text.h"
#include "objmgr/schema.h"

#include <algorithm>
#include <endian.h>
#include <string_view>

std::string StoreSafeText(const std::string &text)
{
    std::string safeText;
    for (size_t at = 0; at < text.size();) {
        // Nearly every text is nothing else.
        const size_t plain = SafeTextPlain(text.data() + at, text.size() - at);
        safeText.append(text, at, std::min(plain, kStoreTextMax - safeText.size()));
        at += plain;
        if (at == text.size())
            break;
        bool safe = false;
        const size_t length = SafeTextCharacter(text.data() + at, text.size() - at, &safe);
        if (safeText.size() + (safe ? length : 1) > kStoreTextMax)
            break;
        if (safe)
            safeText.append(text, at, length);
        else
            safeText += '?';
        at += length;
    }
    return safeText;
}

namespace
{

bool IsPropertyName(const std::string &name)
{
    return !name.empty() && name.size() <= kStorePropertyNameMax &&
           SafeTextIsSafe(name.data(), name.size());
}

// Properties that the shell reads for every instance of a walk, or before anything else. A reader
// goes through a record from its beginning, so these come first.
constexpr std::string_view kFirstNames[] = {kPropertyType, kPropertyFormat, kPropertyPowerStatus,
                                            kPropertyServiceTag, kPropertyNumRecords};

bool IsFirstName(const std::string &name)
{
    for (const std::string_view first : kFirstNames) {
        if (name == first)
            return true;
    }
    return false;
}

template <typename Number> void AppendNumber(std::string *bytes, Number number)
{
    bytes->append(reinterpret_cast<const char *>(&number), sizeof(number));
}

void AppendProperty(std::string *packed, const PropertyValue &property)
{
    const std::string text =
        property.status == kCimOk ? StoreSafeText(property.text) : std::string();
    AppendNumber(packed, htole32(property.status));
    AppendNumber(packed, htole16(static_cast<u16>(text.size())));
    AppendNumber(packed, static_cast<u8>(property.name.size()));
    packed->append(property.name.c_str(), property.name.size() + 1);
    packed->append(text.c_str(), text.size() + 1);
}

}  // namespace

std::string PackProperties(const std::vector<PropertyValue> &properties)
{
    std::string packed;
    for (const std::string_view first : kFirstNames) {
        for (const PropertyValue &property : properties) {
            if (property.name == first)
                AppendProperty(&packed, property);
        }
    }
    for (const PropertyValue &property : properties) {
        if (IsPropertyName(property.name) && !IsFirstName(property.name))
            AppendProperty(&packed, property);
    }
    return packed;
}

std::string PackRecord(const std::string &key, const Instance &instance)
{
    std::string unit = StoreSafeText(instance.unit);
    if (unit.size() > kImageUnitMax)
        unit.clear();
    const std::string properties = PackProperties(instance.properties);
    ImageRecord head = {};
    head.bytes = htole32(
        static_cast<u32>(sizeof(head) + key.size() + 1 + unit.size() + 1 + properties.size()));
    head.status = htole32(instance.status);
    head.keyLength = htole16(static_cast<u16>(key.size()));
    head.source = htole16(instance.source);
    head.unitLength = static_cast<u8>(unit.size());
    std::string record(reinterpret_cast<const char *>(&head), sizeof(head));
    record.append(key.c_str(), key.size() + 1);
    record.append(unit.c_str(), unit.size() + 1);
    return record + properties;
}
