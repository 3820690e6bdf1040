// SPDX-License-Identifier: Apache-2.0
// sensapi.cpp -- finds, counts and reads the controller's sensors.
#include "smclp/me/sensapi.h"

#include "platform/str.h"
#include "platform/trace.h"
#include "smclp/me/element_kind.h"
#include "smclp/me/objmgr_access.h"

#include <string.h>

namespace
{

constexpr char kUnit[] = "sensapi";

// A missing property counts as 0.
u8 ReadCode(const ObjMgrConnection &connection, const ObjMgrInstance *sensor, const char *property)
{
    return StrToUINT8(connection.GetValue(sensor, property));
}

void TraceFailedRead(CimStatus status)
{
    if (status == kCimAccessDenied)
        TRACE_ACCESS_DENIED(kUnit);
    else
        TRACE_CIM_STATUS(kUnit, status);  // not found, too: the end of the list; deliberate
}

// Binds `sensor` to instance number `instance` of a kind.
bool FindSensor(const ObjMgrConnection &connection, ObjMgrInstance *sensor, u8 type, u8 format,
                u32 instance)
{
    RowPath path = SensorPath(1);
    u8 lastType = 0;
    u32 match = 1;
    for (;; path.Next()) {
        const CimStatus status = connection.GetInstance(path.Text(), sensor);
        if (status != kCimOk) {
            TraceFailedRead(status);
            TraceLogMessage(kTraceLevel, "ERROR: %s [%d]: SensorType mismatch. Type = %d\n", kUnit,
                            __LINE__, lastType);
            return false;
        }
        lastType = ReadCode(connection, sensor, kPropertyType);
        const u8 lastFormat = ReadCode(connection, sensor, kPropertyFormat);
        if (lastType == type && lastFormat == format && match++ == instance)
            return true;
    }
}

bool HostIsOff(const char *powerStatus)
{
    return StrEqualNoCase(powerStatus, kPowerStatusOff) || StrEqual(powerStatus, "0");
}

u16 CountSensors(const ObjMgrConnection &connection, u8 type, u8 format)
{
    alignas(max_align_t) char storage[kSensorStorageSize];  // InitInstance's to fill
    RowPath path = SensorPath(1);
    u16 count = 0;
    for (;; path.Next()) {
        ObjMgrInstance *sensor = connection.InitInstance(storage, sizeof storage);
        if (sensor == nullptr)
            return count;
        const CimStatus status = connection.GetInstance(path.Text(), sensor);
        if (status != kCimOk) {
            TraceFailedRead(status);
            return count;
        }
        const u8 sensorType = ReadCode(connection, sensor, kPropertyType);
        const u8 sensorFormat = ReadCode(connection, sensor, kPropertyFormat);
        if (sensorType == type && sensorFormat == format)
            ++count;
    }
}

}  // namespace

u32 get_system_name(char *out)
{
    ObjMgrConnection connection;
    if (!ObjMgrConnect(&connection, kUnit, __LINE__))
        return kMeFailed;
    const CimStatus status =
        connection.GetProperty(kSystemClass, kPropertyServiceTag, out, kServiceTagSize);
    return status == kCimOk ? kMeOk : kMeFailed;
}

u32 get_sensor_data(u32 type, u32 format, u32 instance, char *out, const char *property)
{
    ObjMgrConnection connection;
    if (!ObjMgrConnect(&connection, kUnit, __LINE__))
        return kMeFailed;
    alignas(max_align_t) char storage[kSensorStorageSize];  // InitInstance's to fill
    ObjMgrInstance *sensor = connection.InitInstance(storage, sizeof storage);
    if (sensor == nullptr)
        return kMeFailed;
    if (!FindSensor(connection, sensor, static_cast<u8>(type), static_cast<u8>(format), instance))
        return kMeFailed;

    memset(out, 0, kSensorTextSize);
    const char *text = connection.GetValue(sensor, property);
    if (text == nullptr) {
        TRACE_ASSERT_FAILED(kUnit);
        return kMeFailed;
    }
    StrCopy(out, text, kSensorTextSize);
    return kMeOk;
}

u16 get_num_instances(u32 type, u32 format)
{
    ObjMgrConnection connection;
    if (!ObjMgrConnect(&connection, kUnit, __LINE__))
        return 0;
    char powerStatus[kSensorTextSize];
    powerStatus[0] = '\0';
    const CimStatus status =
        connection.GetProperty(kSystemClass, kPropertyPowerStatus, powerStatus, sizeof powerStatus);
    if (status != kCimOk) {
        TraceFailedRead(status);
        return 0;
    }
    if (HostIsOff(powerStatus))
        return 0;
    return CountSensors(connection, static_cast<u8>(type), static_cast<u8>(format));
}

char *get_possible_states_string(char *dst, const char *const *texts, u32 count)
{
    AppendListBegin(dst, kSensorTextSize);
    for (u32 i = 0; i < count; ++i)
        AppendListText(dst, kSensorTextSize, texts[i]);
    AppendListEnd(dst, kSensorTextSize);
    return dst;
}

u32 add_properties(ManagedElement *element, const char *const *names, u16 count)
{
    for (u16 i = 0; i < count; ++i) {
        const u32 result = MeAddProperty(element, names[i], "");
        if (result != kMeOk)
            return result;
    }
    return kMeOk;
}
