// SPDX-License-Identifier: Apache-2.0
// cmd_help.cpp -- help: a target's description and its verbs.
#include "smclp/command_list.h"
#include "smclp/commands/commands.h"
#include "smclp/commands/options.h"
#include "smclp/me/me.h"
#include "smclp/output.h"

u32 numoptHelp;

void **SmclpHelpCommandInit()
{
    return OptionTableInit(false, &numoptHelp);
}

void SmclpHelpCommandUnInit(void **table)
{
    OptionTableUnInit(table, numoptHelp);
}

static constexpr VerbSyntax kSyntax = {
    .init = SmclpHelpCommandInit,
    .unInit = SmclpHelpCommandUnInit,
    .isCd = false,
    .keepsLine = true,
    .takesTarget = true,
    .targetRequired = false,
};

u32 SmclpParseCommandLineForHelp(char *line, SmclpCommandLine *record)
{
    return ParseVerbLine(kSyntax, line, record);
}

// Verbs are indented by two blanks here, by four in the listings of show: kept.
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
        return 1;
    const bool oneTarget = target != nullptr && target->allInstances != 1;
    if (para->examineFlag == 1) {
        const bool valid = para->examineResult == kSyntaxValid;
        if (!oneTarget || valid || para->examineResult == kSyntaxInvalid) {
            AnswerSyntax(oneTarget && valid);
            return 0;
        }
    }
    if (!oneTarget) {
        SmclpErrorOutput(8);
        return 2;
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
    return 0;
}
