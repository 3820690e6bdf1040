// SPDX-License-Identifier: Apache-2.0
// host_power.cpp -- reads and switches the host's power.
#include "smclp/me/host_power.h"

#include "platform/str.h"
#include "platform/trace.h"

#include <string.h>

namespace
{

struct OperationRow {
    const char *method;
    const char *parameter;  // may be null
    bool fromOn;            // the host must be on, otherwise off
};
constexpr OperationRow kOperations[] = {
    {kMethodStart, nullptr, false},             // kPowerStart
    {kMethodStop, nullptr, true},               // kPowerStop
    {kMethodReset, nullptr, true},              // kPowerReset
    {kMethodReset, kPowerCycleArgument, true},  // kPowerCycle
};

u32 TraceFailure(const char *unit, int line, CimStatus status)
{
    TraceLogMessage(kTraceLevel, "ERROR: %s [%d]: CIM_STATUS = %d\n", unit, line,
                    static_cast<int>(status));
    return kMeFailed;
}

}  // namespace

u32 HostPowerRead(const ObjMgrConnection &connection, const char *unit, int line, char *powerStatus)
{
    memset(powerStatus, 0, kPowerStatusSize);
    const CimStatus status =
        connection.GetProperty(kSystemClass, kPropertyPowerStatus, powerStatus, kPowerStatusSize);
    if (status == kCimOk)
        return kMeOk;
    if (status != kCimAccessDenied)
        return TraceFailure(unit, line, status);
    TraceLogMessage(kTraceLevel, "ERROR: %s [%d]: Access denied\n", unit, line);
    return kMeNoPrivilege;
}

u32 HostPowerRequest(const ObjMgrConnection &connection, const char *unit, int line,
                     PowerOperation operation, const char *powerStatus)
{
    const OperationRow &row = kOperations[operation];
    const bool hostOn = StrEqual(powerStatus, kPowerStatusOn);
    if (hostOn != row.fromOn)
        return hostOn ? kMeHostOn : kMeHostOff;

    u32 methodResult = 0;  // not looked at: only the status counts
    const CimStatus status =
        connection.Invoke(kSystemClass, row.method, row.parameter, &methodResult);
    if (status == kCimAccessDenied)
        return kMeNoPrivilege;
    return status == kCimOk ? u32{kMeOk} : TraceFailure(unit, line, status);
}
