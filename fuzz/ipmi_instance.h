// SPDX-License-Identifier: Apache-2.0
// ipmi_instance.h -- what holds for every instance made of a BMC's bytes.
#ifndef FUZZ_IPMI_INSTANCE_H
#define FUZZ_IPMI_INSTANCE_H

#include "objmgrd/packed_instance.h"

#include <set>
#include <stdlib.h>

// Clients find each property, and see nothing that must not be shown.
inline void CheckInstance(const Instance &instance)
{
    const std::string packed = PackProperties(instance.properties);
    if (!ImageCheckProperties(packed.data(), packed.data() + packed.size()))
        abort();
    std::set<std::string> names;
    for (const PropertyValue &property : instance.properties) {
        if (!names.insert(property.name).second)
            abort();  // only one of two could be found
        const std::string safe = StoreSafeText(property.text);
        if (safe.size() > kStoreTextMax || StoreSafeText(safe) != safe)
            abort();
        if (property.status != kCimOk && !property.text.empty() && property.status == 2)
            abort();  // what may not be read is not in the image
    }
}

#endif
