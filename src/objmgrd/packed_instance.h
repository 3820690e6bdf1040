// SPDX-License-Identifier: Apache-2.0
// packed_instance.h -- an instance as a provider describes it, and its packed form.
#ifndef OBJMGRD_PACKED_INSTANCE_H
#define OBJMGRD_PACKED_INSTANCE_H

#include "objmgr/image.h"

#include <string>
#include <vector>

struct PropertyValue {
    std::string name;
    CimStatus status = kCimOk;  // not 0: clients get this instead of the text
    std::string text;
};

struct Instance {
    CimStatus status = kCimOk;  // not 0: clients get this instead of any value
    std::vector<PropertyValue> properties;
    // For tools; the shell shows neither.
    std::string unit = {};        // of the property Reading ("Cel", "RPM"); empty: not known
    u16 source = kImageNoSource;  // which source of data it comes from (ImageWriter::AddSource)
};

// Makes text from outside safe to show on a terminal and to store: every control character and
// every other one that objmgr/safe_text.h does not let pass, and every byte that is no valid UTF-8,
// becomes "?"; a text of more than kStoreTextMax bytes is cut at the last whole character that
// fits; nothing else changes.
std::string StoreSafeText(const std::string &text);

// Properties as objmgr/image.h describes them. Texts go through StoreSafeText. Names of more than
// kStorePropertyNameMax bytes or with characters that are not safe are left out. Type, Format,
// PowerStatus, ServiceTag and NumRecords come first, in this order, because clients read them
// most; the others follow as given.
std::string PackProperties(const std::vector<PropertyValue> &properties);

// The record of an instance as objmgr/image.h describes it. key: at most kStorePathMax bytes. The
// unit goes through StoreSafeText; one of more than kImageUnitMax bytes is left out.
std::string PackRecord(const std::string &key, const Instance &instance);

#endif
