// SPDX-License-Identifier: Apache-2.0
// show_all.cpp -- the heaviest command, "show -level all /": what it asks of the object manager
// beside what its behaviour needs.
//
//   bench_show_all                       prints the tables
//   bench_show_all --host SENSORS RECORDS  prints the same server as a description for objmgrd-sim
#include "bench_host.h"
#include "objmgr/objmgr.h"
#include "show_model.h"
#include "smclp/dispatch.h"
#include "smclp/output.h"
#include "smclp/shell.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unordered_map>

struct ObjMgrInstance {
    const BenchProperties *properties;
};

namespace
{

// The server that answers, and what it was asked.
struct CountingObjMgr {
    explicit CountingObjMgr(const BenchHost &host);
    const BenchProperties *Find(const char *path) const;

    std::unordered_map<std::string, BenchProperties> objects;
    std::vector<BenchProperties> sensors;  // the many: found by number
    ShowCounts counts;
    u32 handles = 0;
};
CountingObjMgr *gObjMgr;
FILE *gReport;  // standard output, while the shell writes to another

constexpr char kSensorPath[] = "OEM_QARN_Sensor.Index=";
constexpr char kDigits[] = ",TimestampFormat=YYYYMMDDHHMMSS";

CountingObjMgr::CountingObjMgr(const BenchHost &host)
{
    objects["OEM_QARN_System"] = BenchSystem();
    objects["OEM_QARN_MessageLog.Name=SEL"] = {{"NumRecords", std::to_string(host.records)}};
    for (u32 i = 1; i <= host.records; ++i)
        objects["OEM_QARN_LogRecord.LogName=SEL,RecordNum=" + std::to_string(i)] =
            BenchRecordProperties(i);
    u32 supplies = 0;
    for (u32 i = 1; i <= host.sensors.size(); ++i) {
        sensors.push_back(BenchSensorProperties(host, i));
        if (host.sensors[i - 1].pair == kPowerSupply)
            objects["OEM_QARN_PowerSupply.PowerSupplyIndex=" + std::to_string(++supplies)] = {
                {"PowerSupplyWattage", "750"}};
    }
}

const BenchProperties *CountingObjMgr::Find(const char *path) const
{
    if (strncmp(path, kSensorPath, sizeof kSensorPath - 1) == 0) {
        const unsigned long index = strtoul(path + sizeof kSensorPath - 1, nullptr, 10);
        return index >= 1 && index <= sensors.size() ? &sensors[index - 1] : nullptr;
    }
    std::string key = path;
    const size_t at = key.find(kDigits);
    if (at != std::string::npos)
        key.erase(at);
    const auto found = objects.find(key);
    return found != objects.end() ? &found->second : nullptr;
}

const char *TextOf(const BenchProperties *properties, const char *property)
{
    for (const auto &[name, value] : *properties) {
        if (name == property)
            return value.c_str();
    }
    return nullptr;
}

u32 Open(ObjMgrHandle *handle)
{
    ++gObjMgr->counts.connections;
    *handle = ++gObjMgr->handles;
    return 0;
}

void Close(ObjMgrHandle) {}

CimStatus GetInstance(ObjMgrHandle, const char *path, u32, ObjMgrInstance *instance)
{
    ++gObjMgr->counts.instanceReads;
    instance->properties = gObjMgr->Find(path);
    return instance->properties != nullptr ? kCimOk : kCimNotFound;
}

CimStatus GetPropertyValue(ObjMgrHandle, const char *path, const char *property, u16 size,
                           char *buffer)
{
    ++gObjMgr->counts.propertyReads;
    const BenchProperties *properties = gObjMgr->Find(path);
    const char *text = properties != nullptr ? TextOf(properties, property) : nullptr;
    if (text == nullptr)
        return kCimNotFound;
    snprintf(buffer, size, "%s", text);
    return kCimOk;
}

CimStatus InvokeMethod(ObjMgrHandle, const char *, const char *, const char *, u32, u32, u32 *)
{
    return kCimMethodNotFound;
}

ObjMgrInstance *InitInstance(void *storage, u32)
{
    return static_cast<ObjMgrInstance *>(storage);
}

const char *GetInstanceValue(const ObjMgrInstance *instance, const char *property)
{
    return instance->properties != nullptr ? TextOf(instance->properties, property) : nullptr;
}

void SetPrivilege(ObjMgrHandle, const ObjMgrPrivilege *) {}

constexpr ObjMgrInterface kInterface = {
    .Open = Open,
    .Close = Close,
    .GetInstance = GetInstance,
    .place4To8 = {},
    .GetPropertyValue = GetPropertyValue,
    .place10 = nullptr,
    .InvokeMethod = InvokeMethod,
    .place12To14 = {},
    .InitInstance = InitInstance,
    .place16To18 = {},
    .GetInstanceValue = GetInstanceValue,
    .SetPrivilege = SetPrivilege,
};

// Standard output's only reader: every call is one write of the shell.
ssize_t CountWrite(void *, const char *text, size_t size)
{
    ++gObjMgr->counts.outputs;
    for (size_t i = 0; i < size; ++i)
        gObjMgr->counts.lines += text[i] == '\n';
    return static_cast<ssize_t>(size);
}

void Row(const char *name, u64 counted, u64 needed, bool *equal)
{
    fprintf(gReport, "  %-18s %12llu %12llu   %s\n", name, static_cast<unsigned long long>(counted),
            static_cast<unsigned long long>(needed), counted == needed ? "equal" : "DIFFERENT");
    *equal = *equal && counted == needed;
}

bool RunOne(SmclpSession *session, u32 sensors, u32 records)
{
    const BenchHost host = MakeBenchHost(sensors, records);
    CountingObjMgr objMgr(host);
    gObjMgr = &objMgr;
    char line[256] = "show -level all /";
    SmclpExecuteCommand(session, line);
    fflush(stdout);

    const ShowCounts needed = CountShowAll(host);
    const ShowCounts &counted = objMgr.counts;
    bool equal = true;
    fprintf(gReport, "%3u sensors, %3u records %8s %12s\n", sensors, records, "counted", "needed");
    Row("lines", counted.lines, needed.lines, &equal);
    Row("writes", counted.outputs, needed.outputs, &equal);
    Row("connections", counted.connections, needed.connections, &equal);
    Row("GetInstance", counted.instanceReads, needed.instanceReads, &equal);
    Row("GetPropertyValue", counted.propertyReads, needed.propertyReads, &equal);
    return equal;
}

int RunTables()
{
    setenv("ZORTRACE", "/dev/null", 1);
    setenv("ZORPRIV", "1ff", 1);
    gReport = stdout;
    stdout = fopencookie(nullptr, "w", {nullptr, CountWrite, nullptr, nullptr});
    SmclpOutputSetUp();
    SmclpSession *session = nullptr;
    if (SmclpInit() != 0 || SmclpCreateSession(&session) != 0)
        return 2;
    bool equal = true;
    for (const u32 sensors : {37u, 72u, 255u})
        equal = RunOne(session, sensors, 20) && equal;
    for (const u32 records : {200u, 512u})
        equal = RunOne(session, 37, records) && equal;
    return equal ? 0 : 1;
}

}  // namespace

const ObjMgrInterface *ObjMgrGetInterface()
{
    return &kInterface;
}

int main(int argc, char **argv)
{
    if (argc == 4 && strcmp(argv[1], "--host") == 0) {
        const BenchHost host =
            MakeBenchHost(static_cast<u32>(atoi(argv[2])), static_cast<u32>(atoi(argv[3])));
        fputs(BenchHostFile(host).c_str(), stdout);
        return 0;
    }
    if (argc != 1) {
        fprintf(stderr, "usage: bench_show_all [--host SENSORS RECORDS]\n");
        return 2;
    }
    return RunTables();
}
