// SPDX-License-Identifier: Apache-2.0
// fuzz_fru.cpp -- any bytes as the memory of a FRU.
#include "ipmi_instance.h"
#include "objmgrd/instances.h"
#include "objmgrd/ipmi/fru_map.h"

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    // A copy of exactly this size, so that a byte read behind it is seen.
    const std::vector<u8> bytes(data, data + size);
    const FruFacts facts = FruParse(bytes.data(), bytes.size());
    const Identity identity = FruIdentity(facts);
    if (identity.oem.empty())
        abort();  // "0" stands for none
    CheckInstance(Instance{kCimOk,
                           {{"ServiceTag", kCimOk, identity.serviceTag},
                            {"Description", kCimOk, identity.description},
                            {"Oem", kCimOk, identity.oem}}});
    if (facts.hasWattage)
        CheckInstance(PowerSupplyInstance(1, facts.wattage));
    return 0;
}
