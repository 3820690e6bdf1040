// SPDX-License-Identifier: Apache-2.0
// objmgr.cpp -- what the shell's requests to the object manager cost, on the store in ZOROBJMGR.
//
//   objmgrd-sim --host examples/hosts/rack-server.toml -- bench_objmgr
#include "objmgr/objmgr.h"

#include <benchmark/benchmark.h>
#include <stdio.h>

// One value, as the shell reads it: a connection of its own.
static void ReadOneProperty(benchmark::State &state)
{
    const ObjMgrInterface *objMgr = ObjMgrGetInterface();
    char value[32];
    for (auto _ : state) {
        ObjMgrHandle handle = 0;
        if (objMgr->Open(&handle) != 0 ||
            objMgr->GetPropertyValue(handle, "OEM_QARN_System", "PowerStatus", sizeof value,
                                     value) != kCimOk)
            state.SkipWithError("no object manager");
        objMgr->Close(handle);
    }
}
BENCHMARK(ReadOneProperty);

static void OpenAndClose(benchmark::State &state)
{
    const ObjMgrInterface *objMgr = ObjMgrGetInterface();
    for (auto _ : state) {
        ObjMgrHandle handle = 0;
        if (objMgr->Open(&handle) != 0)
            state.SkipWithError("no object manager");
        objMgr->Close(handle);
    }
}
BENCHMARK(OpenAndClose);

// The walk over all sensors, as every count of instances does it.
static void WalkSensors(benchmark::State &state)
{
    const ObjMgrInterface *objMgr = ObjMgrGetInterface();
    u64 sensors = 0;
    for (auto _ : state) {
        ObjMgrHandle handle = 0;
        if (objMgr->Open(&handle) != 0)
            state.SkipWithError("no object manager");
        alignas(8) char storage[1024];
        CimStatus status = kCimOk;
        for (u32 index = 1; status == kCimOk; ++index) {
            char path[64];
            snprintf(path, sizeof path, "OEM_QARN_Sensor.Index=%u", index);
            ObjMgrInstance *instance = objMgr->InitInstance(storage, sizeof storage);
            status = objMgr->GetInstance(handle, path, 0, instance);
            benchmark::DoNotOptimize(objMgr->GetInstanceValue(instance, "Type"));
            benchmark::DoNotOptimize(objMgr->GetInstanceValue(instance, "Format"));
            sensors += status == kCimOk;
        }
        objMgr->Close(handle);
    }
    state.counters["sensors/s"] =
        benchmark::Counter(static_cast<double>(sensors), benchmark::Counter::kIsRate);
}
BENCHMARK(WalkSensors);

BENCHMARK_MAIN();
