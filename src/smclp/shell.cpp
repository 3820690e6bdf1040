// SPDX-License-Identifier: Apache-2.0
// shell.cpp -- pools, banner, loop.
#include "smclp/shell.h"

#include "platform/memmgr.h"
#include "platform/str.h"
#include "platform/trace.h"
#include "smclp/command_table.h"
#include "smclp/discovery.h"
#include "smclp/dispatch.h"
#include "smclp/line_editor.h"
#include "smclp/output.h"
#include "smclp/session.h"
#include "smclp/terminal.h"
#include "smclp/tokenise.h"

#include <stdio.h>
#include <string.h>

namespace
{

constexpr int kVersionMajor = 1;
constexpr int kVersionMinor = 0;

// In the order of registration. Sizes are those on the controller. Pools of one size serve one
// after another. The tree and the heaviest command leave at least half free, but for the two rows
// that say what fills them (pools_test).
constexpr struct {
    u32 blockSize;
    u32 blockCount;
} kPools[] = {
    {kManagedElementSize, 64},
    {kSmclpMeIdMappingSize, 64},
    {kSmclpSessionSize, 16},
    {kSmclpCommandSize, kSmclpCommandsMax},  // one for each verb
    {kMePropertySize, 256},                  // 165 properties of all kinds
    {kMeCommandIdSize, 256},
    {kMeCommandIdSize, 256},
    {48, 16},
    {kSmclpCommandLinkSize, 128},
    {kSmclpCommandLinkSize, 128},
    {40, 32},
    {40, 32},
    {256, 256},
    {32, 256},  // names of selected properties
};

bool IsBareExit(const char *line)
{
    return StrEqualNoCase(line, "exit");
}

u32 RunOnce(SmclpSession *session, int argc, char **argv)
{
    char line[kSmclpLineSize + 1] = "";
    if (SmclpBuildCommandLine(static_cast<u32>(argc - 1), argv + 1, line, kSmclpLineSize) != 0)
        return 0;
    return SmclpExecuteCommand(session, line);
}

u32 RunInteractively(SmclpSession *session)
{
    TerminalCatchSignals();
    SmclpShellShowVersion();
    u32 result = 0;
    for (;;) {
        TerminalAwaitKeys();
        printf("\n->");
        fflush(stdout);
        char line[kSmclpLineSize + 1] = "";
        const u32 length = ShellGetCommandLine(line, kSmclpLineSize, 0);
        if (TerminalInputGone())
            return result;
        if (SmclpValidateSession(session) != 0) {
            SmclpOutput("Session timed out or is not longer valid");  // "not longer": deliberate
            return result;
        }
        if (length == 0)
            continue;
        StrTrimLeft(line);
        StrTrimRight(line);
        if (IsBareExit(line))
            return result;
        result = SmclpExecuteCommand(session, line);
    }
}

}  // namespace

u32 SmclpInit()
{
    return SmclpInitFrom(meTable);
}

u32 SmclpInitFrom(const MeConstructor *kinds)
{
    for (const auto &pool : kPools)
        MemMgrAddPool(pool.blockSize, pool.blockCount);
    SmclpCommandListInit();
    const u32 result = SmclpSessMgrInit();
    if (result != 0) {
        TRACE_ASSERT_FAILED_AT(kSmclpUnit, 90);  // a line number that field engineers search for
        return result;
    }
    return SmclpDiscoverFrom(kinds);
}

u32 SmclpUninit()
{
    SmclpSessMgrInit();  // deliberate: the session manager has no teardown of its own
    return SmclpCommandListUninit();
}

void SmclpShellShowVersion()
{
    printf("MORV5 SM-CLP System Management Shell, version %d.%d\n", kVersionMajor, kVersionMinor);
    printf(
        "Type \"show\" to list the targets here, \"cd system1\" to move to the managed system.\n");
    printf("Type \"help\" for the verbs of a target, \"exit\" to end the session.\n");
}

u32 SmclpShell(int argc, char **argv)
{
    SmclpSession *session = nullptr;
    u32 result = SmclpCreateSession(&session);
    if (result == 0)
        result = argc > 1 ? RunOnce(session, argc, argv) : RunInteractively(session);
    if (session != nullptr)
        SmclpRemoveSession(session);
    return result;
}
