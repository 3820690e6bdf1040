// SPDX-License-Identifier: Apache-2.0
// fuzz_log_records.cpp -- any sixteen bytes as a record of the System Event Log, beside a sensor
// whose record follows it.
#include "ipmi_instance.h"
#include "objmgrd/ipmi/sel_map.h"

#include <algorithm>

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    if (size < kSelRecordSize)
        return 0;
    SelRecord record;
    std::copy_n(data, kSelRecordSize, record.begin());
    SdrRepository repository;
    const std::vector<u8> sensor(data + kSelRecordSize, data + size);
    SdrAdd(&repository, sensor.data(), sensor.size());
    const Instance instance = SelRecordInstance(1, record, repository);
    CheckInstance(instance);
    for (const PropertyValue &property : instance.properties) {
        if (property.text.empty())
            abort();
    }
    return 0;
}
