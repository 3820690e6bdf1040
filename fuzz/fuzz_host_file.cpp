// SPDX-License-Identifier: Apache-2.0
// fuzz_host_file.cpp -- any text as the description of a simulated server.
#include "objmgr/faults.h"
#include "objmgr/object_path.h"
#include "objmgr/safe_text.h"
#include "objmgrd/sim/host_file.h"
#include "uncounted.h"

#include <set>
#include <stdlib.h>
#include <string.h>
#include <string_view>

namespace
{

// Whether a terminal may be shown it, and an image may hold it.
FUZZ_UNCOUNTED bool IsSafe(const std::string &text)
{
    return text.size() <= kStoreTextMax && SafeTextIsSafe(text.data(), text.size());
}

FUZZ_UNCOUNTED void CheckNotes(const std::vector<FileNote> &notes, bool right)
{
    bool fault = false;
    for (size_t i = 0; i < notes.size(); ++i) {
        const FileNote &note = notes[i];
        fault = fault || !note.warning;
        if (note.text.empty() || FileNoteLine("h", note).find('\n') != std::string::npos)
            abort();
        if (!IsSafe(note.text))
            abort();  // a note goes to a terminal
        if (i > 0 && (note.line < notes[i - 1].line ||
                      (note.line == notes[i - 1].line && note.column < notes[i - 1].column)))
            abort();
    }
    if (right == fault)
        abort();  // a fault without a word, or a word about nothing
}

// The form with digits has no name of its own.
ImageText Find(const std::string &packed, const std::string &name)
{
    const size_t suffix = sizeof kStoreTimestampSuffix - 1;
    const char *first = packed.data();
    const char *end = first + packed.size();
    if (name.size() <= suffix || !name.ends_with(kStoreTimestampSuffix))
        return ImageFindProperty(first, end, name.c_str());
    return ImageFindDigits(first, end, name.substr(0, name.size() - suffix).c_str());
}

// Only one of two could be found.
FUZZ_UNCOUNTED void CheckNames(const Instance &instance)
{
    std::set<std::string_view> names;
    for (const PropertyValue &property : instance.properties) {
        if (!names.insert(property.name).second)
            abort();
    }
}

// Clients find every property, with its status and its text made safe.
void CheckInstance(const Instance &instance)
{
    const std::string packed = PackProperties(instance.properties);
    if (!ImageCheckProperties(packed.data(), packed.data() + packed.size()))
        abort();
    CheckNames(instance);
    for (const PropertyValue &property : instance.properties) {
        const ImageText found = Find(packed, property.name);
        if (found.text == nullptr || found.status != property.status)
            abort();
        const std::string safe = StoreSafeText(property.text);
        if (!IsSafe(safe))
            abort();
        if (found.status == kCimOk && safe != found.text)
            abort();
    }
}

void CheckHost(const Host &host)
{
    std::set<std::string_view> keys;
    for (const HostInstance &instance : host.instances) {
        ObjectPath path;
        if (!keys.insert(instance.key).second ||
            ObjectPathParse(instance.key.c_str(), &path) != kCimOk || path.key != instance.key)
            abort();
        CheckInstance(instance.instance);
    }
    if (!keys.contains("OEM_QARN_MessageLog.Name=SEL"))
        abort();
    // Every fault is one that the client can play.
    CheckInstance(host.faults);
    for (const PropertyValue &row : host.faults.properties) {
        if (!IsSafe(row.text) || row.status != kCimOk)
            abort();
    }
    for (const HostMethodFault &fault : host.methods) {
        if (fault.method.empty() || (fault.status != kCimOk && fault.hasReturn))
            abort();
    }
    const std::string plan = PackProperties(host.faults.properties);
    FaultsLoad(plan.data(), plan.size());
    for (const HostInstance &instance : host.instances)
        FaultsReadStatus(instance.key.c_str(), nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    // A copy of exactly this size, so that a byte read behind it is seen.
    const std::vector<char> text(data, data + size);
    Host host;
    std::vector<FileNote> notes;
    const bool right = HostFileParse(std::string_view(text.data(), size), &host, &notes);
    CheckNotes(notes, right);
    if (right)
        CheckHost(host);
    else if (!host.instances.empty() || !host.faults.properties.empty() || !host.methods.empty())
        abort();  // a part of a wrong description
    return 0;
}
