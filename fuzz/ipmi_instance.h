// SPDX-License-Identifier: Apache-2.0
// ipmi_instance.h -- what holds for every instance made of a BMC's bytes.
#ifndef FUZZ_IPMI_INSTANCE_H
#define FUZZ_IPMI_INSTANCE_H

#include "objmgrd/packed_instance.h"
#include "uncounted.h"

#include <stdlib.h>
#include <string.h>

// One of two properties of the same name could not be found. An instance has a dozen of them.
FUZZ_UNCOUNTED inline void CheckNames(const Instance &instance)
{
    const std::vector<PropertyValue> &properties = instance.properties;
    for (size_t i = 0; i < properties.size(); ++i) {
        for (size_t j = 0; j < i; ++j) {
            if (properties[i].name == properties[j].name)
                abort();
        }
    }
}

// Clients find each property, and see nothing that must not be shown.
FUZZ_UNCOUNTED inline void CheckInstance(const Instance &instance)
{
    const std::string packed = PackProperties(instance.properties);
    const char *const end = packed.data() + packed.size();
    if (!ImageCheckProperties(packed.data(), end))
        abort();
    CheckNames(instance);
    size_t count = 0;
    for (const char *at = packed.data(); at != end; ++count) {
        const ImageProperty property = ImagePropertyAt(at);
        CimStatus status;
        memcpy(&status, at, sizeof status);
        if (status != kCimOk && property.textLength != 0)
            abort();  // what may not be read is not in the image
        at = ImageEndOf(property);
    }
    if (count != instance.properties.size())
        abort();  // one was left out
}

#endif
