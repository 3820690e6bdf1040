// SPDX-License-Identifier: Apache-2.0
// fuzz_command.cpp -- any bytes as the command lines of one session, from end to end.
//
// Byte 0: which object-manager call fails (0: none). Byte 1: what the host and the session are
// (HostBit). The rest: lines, separated by line feeds.
#include "platform/list.h"
#include "platform/memmgr.h"
#include "smclp/command_list.h"
#include "smclp/discovery.h"
#include "smclp/dispatch.h"
#include "smclp/line_editor.h"
#include "smclp/shell.h"
#include "support/test_shell.h"
#include "table_objmgr.h"
#include "uncounted.h"

#include <numeric>
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

// Later calls fail: a walk through the whole tree, which asks some 20,000 times, ends soon after.
constexpr u32 kCallsMax = 300;
// More lines are more of the same: the longest state that one leaves to the next is a target.
constexpr u32 kLinesMax = 24;

// Other lines show a few dozen at the most; behind so many the session has had its walk.
constexpr u32 kShownMax = 200;
// A walk through the whole tree comes by some collections a thousand times and shows 7,400 lines,
// which takes as long as some hundred other inputs: one input of so many may go deep.
constexpr u32 kInputsPerWalk = 8;

u32 shown;  // lines of output, so far

FUZZ_UNCOUNTED bool MayGoDeep(const u8 *data, size_t size)
{
    return std::accumulate(data, data + size, 0u) % kInputsPerWalk == 0;
}

// Whether a line may have a -level of more than 2.
FUZZ_UNCOUNTED bool GoesDeep(const u8 *line, size_t size)
{
    constexpr size_t kNear = 16;
    for (size_t i = 0; i + 1 < size; ++i) {
        if (line[i] != '-' || (line[i + 1] | 0x20) != 'l')
            continue;
        for (size_t j = i + 2; j < size && j < i + kNear; ++j) {
            if ((line[j] | 0x20) == 'a' || (line[j] >= '3' && line[j] <= '9'))
                return true;
        }
    }
    return false;
}

u32 UsedBlocks(u32 blockSize)
{
    u32 used = 0;
    MemMgrPoolUse use;
    for (u32 i = 0; MemMgrGetPoolUse(i, &use); ++i)
        used += use.blockSize == blockSize ? use.used : 0;
    return used;
}

void SetUpHost(u8 bits, u8 failCall)
{
    gTableObjMgr = {.allKinds = (bits & kAllKinds) != 0,
                    .off = (bits & kOff) != 0,
                    .records = (bits & kRecords) != 0 ? 2u : 0u,
                    .failCall = failCall,
                    .failStatus = (bits & kDenied) != 0 ? kCimAccessDenied : kCimFailed,
                    .callsMax = kCallsMax,
                    .calls = 0,
                    .openConnections = 0};
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

void RunLines(SmclpSession *session, const u8 *data, size_t size)
{
    const bool mayGoDeep = MayGoDeep(data, size);
    u32 lines = 0;
    shown = 0;
    for (size_t at = 0;
         at < size && gTableObjMgr.calls < kCallsMax && lines < kLinesMax && shown < kShownMax;
         ++lines) {
        const auto *end = static_cast<const u8 *>(memchr(data + at, '\n', size - at));
        const size_t length = end != nullptr ? static_cast<size_t>(end - data) - at : size - at;
        // The editor stops there.
        if (length <= kShellLineMax && (mayGoDeep || !GoesDeep(data + at, length)))
            RunLine(session, data + at, length);
        if (gTableObjMgr.openConnections != 0)
            abort();  // some path forgot to close
        at += length + 1;
    }
}

// Every run begins on a tree as SmclpInit builds it, without the time that building takes.
void ForgetSession()
{
    for (SmclpMeIdMapping *entry = pMeMapping; entry != nullptr; entry = entry->next) {
        entry->element->instanceNumber = 0;
        entry->element->allInstances = 0;
        for (void *property = entry->element->properties; property != nullptr;
             property = ListNext(property))
            memset(static_cast<MeProperty *>(property)->value, 0, kMeValueSize);
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    setenv("ZORTRACE", "/dev/null", 1);
    // Output goes nowhere, without a call of the system.
    const cookie_io_functions_t nowhere = {.read = nullptr,
                                           .write =
                                               [](void *, const char *, size_t size) {
                                                   ++shown;
                                                   return static_cast<ssize_t>(size);
                                               },
                                           .seek = nullptr,
                                           .close = nullptr};
    stdout = fopencookie(nullptr, "w", nowhere);
    if (stdout == nullptr)
        abort();
    if (SmclpInit() != 0)
        abort();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    if (size < 2)
        return 0;
    SetUpHost(data[1], data[0]);
    SmclpSession *session = nullptr;
    if (SmclpCreateSession(&session) != 0)
        abort();
    RunLines(session, data + 2, size - 2);
    SmclpRemoveSession(session);
    ForgetSession();
    return 0;
}
