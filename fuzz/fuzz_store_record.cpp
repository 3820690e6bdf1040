// SPDX-License-Identifier: Apache-2.0
// fuzz_store_record.cpp -- any bytes as a record of the store, and any texts packed into one.
#include "objmgr/faults.h"
#include "objmgrd/store_writer.h"

#include <algorithm>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <vector>

namespace
{

void CheckLiesIn(const std::vector<char> &record, const StoreText &found)
{
    if (found.text == nullptr) {
        if (found.status != kCimNoSuchProperty)
            abort();
        return;
    }
    const char *end = record.data() + record.size();
    if (found.text < record.data() || found.text >= end ||
        memchr(found.text, '\0', static_cast<size_t>(end - found.text)) == nullptr)
        abort();
    if (found.status != kCimOk && *found.text != '\0')
        abort();
}

// What is found in a record that is one lies within it and ends there.
void CheckFound(const std::vector<char> &record, const char *property)
{
    CimStatus status = 0;
    if (!StoreCheckRecord(record.data(), record.size(), &status))
        return;
    CheckLiesIn(record, StoreFindProperty(record.data(), record.size(), property));
    CheckLiesIn(record, StoreFindDigits(record.data(), record.size(), property));
}

// Any bytes. The names asked for are among them, at every place where a text may begin.
void CheckAnyRecord(const u8 *data, size_t size)
{
    const std::vector<char> record(data, data + size);
    CimStatus status = 0;
    if (!StoreCheckRecord(record.data(), size, &status) && status != kCimFailed)
        abort();
    for (const char *property : {"Type", "Reading", "", "Timestamp;YYYYMMDDHHMMSS"})
        CheckFound(record, property);
    size_t asked = 0;
    for (size_t at = sizeof status; at < size && asked < 64; ++asked) {
        const std::string name(record.data() + at, strnlen(record.data() + at, size - at));
        CheckFound(record, name.c_str());
        at += name.size() + 1;
    }
    FaultsLoad(record.data(), size);
    FaultsHit(FaultPoint::Open);
    FaultsReadStatus("OEM_QARN_System", "PowerStatus");
}

bool IsPropertyName(const std::string &name)
{
    if (name.empty() || name.size() > kStorePropertyNameMax)
        return false;
    for (const char c : name) {
        if (static_cast<u8>(c) < 0x20 || c == 0x7f)
            return false;
    }
    return true;
}

void CheckSafeText(const std::string &text)
{
    const std::string safe = StoreSafeText(text);
    if (safe.size() > kStoreTextMax || safe.size() > text.size() || StoreSafeText(safe) != safe)
        abort();
    for (const char c : safe) {
        if (static_cast<u8>(c) < 0x20 || c == 0x7f)
            abort();
    }
}

// Lines of NAME '=' TEXT, or NAME '!' for a property with a status.
Instance InstanceOf(const u8 *data, size_t size)
{
    Instance instance;
    const std::string all(reinterpret_cast<const char *>(data), size);
    for (size_t at = 0; at < all.size();) {
        const size_t end = std::min(all.find('\n', at), all.size());
        const std::string line = all.substr(at, end - at);
        const size_t equals = std::min(line.find('='), line.size());
        PropertyValue value = {line.substr(0, equals), kCimOk, ""};
        if (equals < line.size())
            value.text = line.substr(equals + 1);
        else if (line.ends_with('!'))
            value = {line.substr(0, line.size() - 1), kCimAccessDenied, "secret"};
        instance.properties.push_back(value);
        at = end + 1;
    }
    return instance;
}

// What was packed is found again: the first property of a name, its text made safe.
void CheckPacked(const Instance &instance)
{
    const std::string packed = StorePack(instance);
    const std::vector<char> record(packed.begin(), packed.end());
    for (size_t i = 0; i < instance.properties.size() && i < 64; ++i) {
        const std::string &name = instance.properties[i].name;
        CheckSafeText(instance.properties[i].text);
        const PropertyValue *first = &instance.properties[i];
        for (size_t j = i; j-- > 0;) {
            if (instance.properties[j].name == name)
                first = &instance.properties[j];
        }
        CimStatus status = 99;
        if (!StoreCheckRecord(record.data(), record.size(), &status) || status != kCimOk)
            abort();
        const StoreText found = StoreFindProperty(record.data(), record.size(), name.c_str());
        if (name.find('\0') != std::string::npos)
            continue;  // asked for by a part of itself
        if ((found.text != nullptr) !=
            (IsPropertyName(name) && !name.ends_with(kStoreTimestampSuffix)))
            abort();
        const std::string text = first->status == kCimOk ? StoreSafeText(first->text) : "";
        if (found.text != nullptr && (found.status != first->status || found.text != text))
            abort();
    }
    // Cut off anywhere, the record is never read beyond its end.
    for (size_t cut = 0; cut < record.size() && cut < 256; ++cut)
        CheckFound(std::vector<char>(record.begin(), record.begin() + static_cast<long>(cut)),
                   "Reading");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    CheckAnyRecord(data, size);
    CheckPacked(InstanceOf(data, size));
    return 0;
}
