// SPDX-License-Identifier: Apache-2.0
// cmd_help.cpp -- help: a target's description and its verbs.
#include "smclp/command_list.h"
#include "smclp/commands/options.h"
#include "smclp/me/me.h"
#include "smclp/output.h"

static constexpr VerbSyntax kSyntax = {.keepsLine = true};
SMCLP_VERB_PARSER(Help, kSyntax)

// Verbs are indented by two blanks here, by four in the listings of show: deliberate.
static void SayVerbs(const ManagedElement *target)
{
    const ManagedElement *second = target->second;
    if (target->verbs == nullptr && (second == nullptr || second->verbs == nullptr))
        return;
    SmclpOutput("\nVerbs:");
    for (const void *entry = target->verbs; entry != nullptr; entry = ListNext(entry)) {
        const SmclpCommand *command = SmclpGetCommandById(*static_cast<const u32 *>(entry));
        if (command == nullptr)
            continue;
        SmclpOutputNoNewline("  ");
        SmclpOutput("%s", command->name);
    }
}

u32 SmclpCommandHelp(SmclpSession *, ManagedElement *target, SmclpCommandLine *, void *parameters)
{
    const auto *para = static_cast<const CmdPara *>(parameters);
    if (para == nullptr)
        return kSmclpFailed;
    const bool oneTarget = target != nullptr && target->allInstances != 1;
    if (para->examineFlag == 1) {
        const bool valid = para->examineResult == kSyntaxValid;
        if (!oneTarget || valid || para->examineResult == kSyntaxInvalid) {
            AnswerSyntax(oneTarget && valid);
            return kSmclpOk;
        }
    }
    if (!oneTarget) {
        SmclpErrorOutput(kErrorInvalidTarget);
        return kSmclpBadParameter;
    }
    if (para->versionFlag == 1) {
        AnswerVersion();
    } else if (para->helpFlag == 1) {
        SmclpOutput("The HELP command displays additional details about the usage of a specific "
                    "command or provide more details on a target.");
    } else {
        SmclpOutput("%s", target->description);
        SayVerbs(target);
    }
    return kSmclpOk;
}
