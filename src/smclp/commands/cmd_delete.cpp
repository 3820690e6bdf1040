// SPDX-License-Identifier: Apache-2.0
// cmd_delete.cpp -- delete: clears the system event log.
//
// The log is cleared as a whole: the target must list the verb and must have been addressed with
// "*". Which target that was makes no difference (deliberate: the intrusion sensors clear the log
// too).
#include "platform/trace.h"
#include "smclp/command_list.h"
#include "smclp/commands/options.h"
#include "smclp/commands/state_verb.h"
#include "smclp/me/me.h"
#include "smclp/me/objmgr_access.h"
#include "smclp/output.h"

static constexpr char kUnit[] = "cmd_delete";
static constexpr u32 kNotDeleted = 11;  // the verb's result where nothing was asked for

SMCLP_VERB_PARSER(Delete, VerbSyntax{})

// The connection is open.
static u32 ClearOver(const ObjMgrConnection &connection)
{
    if (!ObjMgrHandOverPrivilege(connection))
        return kMeNoPrivilege;  // without a word: deliberate

    u32 methodResult = 0;
    const CimStatus status = connection.Invoke(kSelPath, kMethodClear, nullptr, &methodResult);
    if (status == kCimAccessDenied) {
        SmclpOutput("%s", kPrivilegeLine);
        return kMeNoPrivilege;
    }
    if (status != kCimOk || methodResult != 0) {
        TRACE_ASSERT_FAILED_AT(kUnit, 203);  // a line number that field engineers search for
        return kMeFailed;
    }
    SmclpOutput("All records deleted successfully.");
    return kSmclpOk;
}

static u32 ClearLog()
{
    ObjMgrConnection connection(ObjMgrClose::WhenOpened);
    if (!connection.HasInterface()) {
        TRACE_ASSERT_FAILED_AT(kUnit, 149);  // a line number that field engineers search for
        return kNotDeleted;
    }
    return connection.Open() ? ClearOver(connection) : kNotDeleted;
}

u32 SmclpCommandDelete(SmclpSession *, ManagedElement *target, SmclpCommandLine *, void *parameters)
{
    const auto *para = static_cast<const CmdPara *>(parameters);
    if (para == nullptr)
        return kSmclpBadParameter;
    if (target == nullptr && para->examineFlag == 1) {
        AnswerSyntax(false);
        return kSmclpOk;
    }
    if (target == nullptr) {
        SmclpErrorOutput(kErrorInvalidTarget);
        return kSmclpBadParameter;
    }
    const bool deletable = MeHasCommand(target, kCommandDelete) && target->allInstances == 1;
    if (para->examineFlag == 1) {
        AnswerSyntax(deletable && para->examineResult == kSyntaxValid);
        return kSmclpOk;
    }
    if (!deletable) {
        SmclpErrorOutput(kErrorNotSupported);
        return kNotDeleted;
    }
    if (para->versionFlag == 1) {
        AnswerVersion();
        return kSmclpOk;
    }
    if (para->helpFlag == 1) {
        SmclpOutput("The DELETE command is used to remove target(s).");
        return kSmclpOk;
    }
    return ClearLog();
}
