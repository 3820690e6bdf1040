// SPDX-License-Identifier: Apache-2.0
// documents.h -- literal documents for the tests of the Redfish service, and instances in words.
#ifndef TESTS_OBJMGRD_REDFISH_DOCUMENTS_H
#define TESTS_OBJMGRD_REDFISH_DOCUMENTS_H

#include "objmgrd/image_writer.h"
#include "objmgrd/redfish/json.h"
#include "objmgrd/redfish/link.h"

#include <gtest/gtest.h>
#include <list>

// The service that the documents are of.
inline const Origin kHere = {"https", "bmc.example", 443};

// Documents that live as long as the test.
class Documents
{
public:
    // Apostrophes stand for quotes.
    JsonValue operator()(std::string text)
    {
        for (char &c : text) {
            if (c == '\'')
                c = '"';
        }
        documents_.emplace_back();
        EXPECT_TRUE(documents_.back().Read(text)) << text;
        return documents_.back().Root();
    }

private:
    std::list<JsonDocument> documents_;
};

// The text of a property; "(none)", or "(status 1)" for one that is refused.
inline std::string TextIn(const Instance &instance, const std::string &name)
{
    for (const PropertyValue &property : instance.properties) {
        if (property.name == name)
            return property.status == kCimOk ? property.text
                                             : "(status " + std::to_string(property.status) + ")";
    }
    return "(none)";
}

#endif
