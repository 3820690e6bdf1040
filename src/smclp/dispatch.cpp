// SPDX-License-Identifier: Apache-2.0
// dispatch.cpp -- verb, parser, target, executor.
#include "smclp/dispatch.h"

#include "smclp/address.h"
#include "smclp/command_list.h"
#include "smclp/output.h"

#include <stdlib.h>

namespace
{

constexpr u32 kNotRecognizedResult = 4;
constexpr u32 kNotSupportedResult = 11;

u32 ErrorCodeOfParserResult(u32 result)
{
    switch (result) {
    case 9:
        return 4;
    case 10:
        return 9;
    default:
        return 0;
    }
}

u32 ParseAndExecute(const SmclpCommand *command, SmclpSession *session, char *line,
                    SmclpCommandLine *record)
{
    const u32 parsed = command->parse(line, record);
    if (parsed != 0) {
        SmclpErrorOutput(ErrorCodeOfParserResult(parsed));
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
        SmclpErrorOutput(2);
        result = kNotRecognizedResult;
    } else if (command->parse == nullptr || command->execute == nullptr) {
        SmclpErrorOutput(1);
        result = kNotSupportedResult;
    } else {
        result = ParseAndExecute(command, session, line, &record);
    }

    free(pCmdPara);
    pCmdPara = nullptr;
    return result;
}
