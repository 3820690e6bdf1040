// SPDX-License-Identifier: Apache-2.0
// dispatch.cpp -- verb, parser, target, executor.
#include "smclp/dispatch.h"

#include "smclp/address.h"
#include "smclp/command_list.h"
#include "smclp/output.h"
#include "smclp/tokenise.h"

#include <stdlib.h>

namespace
{

SmclpErrorCode ErrorOfParserResult(u32 result)
{
    switch (result) {
    case kParseBadValue:
        return kErrorInvalidArgument;
    case kParseValueMissing:
        return kErrorOptionMissing;
    default:
        return kErrorInvalidSyntax;
    }
}

u32 ParseAndExecute(const SmclpCommand *command, SmclpSession *session, char *line,
                    SmclpCommandLine *record)
{
    const u32 parsed = command->parse(line, record);
    if (parsed != kParseOk) {
        SmclpErrorOutput(ErrorOfParserResult(parsed));
        return parsed;
    }
    ManagedElement *target = SmclpGetCurrentTarget(session);
    // The operand of set is no address: its executor hands it to the current target.
    if (record->target[0] != '\0' && command->id != kCommandSet)
        target = SmclpResolveTargetAddress(record->target, target);
    return command->execute(session, target, record, pCmdPara);
}

}  // namespace

u32 SmclpExecuteCommand(SmclpSession *session, char *line)
{
    SmclpCommandLine record = {};
    SmclpParseCommandLine(line, &record);  // a line that it refuses leaves no verb

    const SmclpCommand *command = SmclpGetCommandObjectByName(record.verb);
    u32 result;
    if (command == nullptr) {
        SmclpErrorOutput(kErrorNotRecognized);
        result = kDispatchNotRecognized;
    } else if (command->parse == nullptr || command->execute == nullptr) {
        SmclpErrorOutput(kErrorNotSupported);
        result = kDispatchNotSupported;
    } else {
        result = ParseAndExecute(command, session, line, &record);
    }

    free(pCmdPara);
    pCmdPara = nullptr;
    return result;
}
