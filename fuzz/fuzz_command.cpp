// SPDX-License-Identifier: Apache-2.0
// fuzz_command.cpp -- any bytes as the command lines of one session, from end to end.
//
// Byte 0: which object-manager call fails (0: none). Byte 1: what the host and the session are
// (HostBit). The rest: lines, separated by line feeds.
#include "platform/list.h"
#include "platform/memmgr.h"
#include "smclp/command_list.h"
#include "smclp/dispatch.h"
#include "smclp/line_editor.h"
#include "smclp/shell.h"
#include "support/fake_objmgr.h"
#include "support/test_shell.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace
{

enum HostBit : u8 {
    kAllKinds = 1,      // a sensor of every kind instead of two sensors
    kRecords = 2,       // two records instead of none
    kOff = 4,           // the host is off
    kDenied = 8,        // the failing call answers "access denied" instead of "failed"
    kNoPrivilege = 16,  // no usable privilege word
    kBadSsn = 32,       // the session manager does not know the session
};

// A session goes on until it has made this many calls: showing the whole tree takes most of them.
constexpr u32 kCallsMax = 20'000;

u32 UsedBlocks(u32 blockSize)
{
    u32 used = 0;
    MemMgrPoolUse use;
    for (u32 i = 0; MemMgrGetPoolUse(i, &use); ++i)
        used += use.blockSize == blockSize ? use.used : 0;
    return used;
}

void AddSensors(FakeObjMgr *om, bool allKinds)
{
    om->AddSensor("1", "1", {"Name", "Inlet Temp", "Reading", "23"});
    om->AddSensor("5", "2", {"Name", "Intrusion", "StateValue", "521"});
    if (!allKinds)
        return;
    om->AddSensor("4", "1", {"Name", "Fan %s%n", "Reading", "9%", "StatusText", "normal"});
    om->AddSensor("2", "2", {"Name", "3V3 PG", "State", "good"});
    om->AddSensor("2", "1", {"Name", "12V", "Reading", std::string(1023, 'v')});
    om->AddSensor("3", "1", {"Name", "PSU1 Current", "Reading", "0.4"});
    om->AddSensor("3", "1", {"Name", "System Level", "Reading", "98"});
    om->AddSensor("41", "2", {"Name", "CMOS", "State", ""});
    om->AddSensor("8", "2", {"Name", "PS1", "State", "presence", "StatusText", "normal"});
    om->AddSensor("8", "3", {"Name", "PS Redundancy", "State", "full"});
    om->AddSensor("4", "3", {"Name", "Fan Redundancy", "State", "full"});
    om->AddSensor("192", "2", {"Name", "Performance", "StateValue", "99999999999"});
    om->Set("OEM_QARN_PowerSupply.PowerSupplyIndex=1", "PowerSupplyWattage", "750");
}

void SetUpHost(FakeObjMgr *om, u8 bits)
{
    om->keepLog = false;
    AddSensors(om, (bits & kAllKinds) != 0);
    if ((bits & kRecords) != 0) {
        om->AddRecord("System Boot", "System Boot", "Log area reset/cleared");
        om->AddRecord("2026-03-01 10:22:33", "20260301102233", "Power %s on 100%");
    }
    if ((bits & kOff) != 0)
        om->Set("OEM_QARN_System", "PowerStatus", "OFF");
    om->failStatus = (bits & kDenied) != 0 ? kCimAccessDenied : kCimFailed;
    setenv("ZORPRIV", (bits & kNoPrivilege) != 0 ? "0x1g" : "1ff", 1);
    gFakeSsn.result = (bits & kBadSsn) != 0 ? 1 : 0;
}

void RunLine(SmclpSession *session, const u8 *data, size_t size)
{
    char line[kShellLineMax + 1] = "";
    memcpy(line, data, size);
    SmclpExecuteCommand(session, line);
    if (pCmdPara != nullptr)
        abort();  // parameters outlived their command
    if (UsedBlocks(32) != 0)
        abort();  // names of selected properties outlived it
    if (ListLockDepth() != 0)
        abort();  // some path forgot to unlock
    if (SmclpGetCurrentTarget(session) == nullptr)
        abort();  // the session stands nowhere
}

void RunLines(const FakeObjMgr &om, SmclpSession *session, const u8 *data, size_t size)
{
    for (size_t at = 0; at < size && om.calls < kCallsMax;) {
        const auto *end = static_cast<const u8 *>(memchr(data + at, '\n', size - at));
        const size_t length = end != nullptr ? static_cast<size_t>(end - data) - at : size - at;
        if (length <= kShellLineMax)  // the editor stops there
            RunLine(session, data + at, length);
        if (om.openConnections != 0)
            abort();  // some path forgot to close
        at += length + 1;
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    setenv("ZORTRACE", "/dev/null", 1);
    if (freopen("/dev/null", "w", stdout) == nullptr)
        abort();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    if (size < 2)
        return 0;
    FakeObjMgr om;
    SetUpHost(&om, data[1]);
    om.failCall = data[0];
    if (SmclpInit() != 0)
        abort();
    SmclpSession *session = nullptr;
    if (SmclpCreateSession(&session) != 0)
        abort();
    RunLines(om, session, data + 2, size - 2);
    SmclpRemoveSession(session);
    ResetShellGlobals();
    return 0;
}
