// SPDX-License-Identifier: Apache-2.0
// method.cpp -- see method.h.
#include "ctl/method.h"

#include "ctl/view_reader.h"
#include "objmgr/connection.h"

#include <charconv>
#include <stdlib.h>
#include <string.h>

namespace
{

// The answer of a power method that the host's state leaves nothing to do for.
constexpr u32 kNotApplicable = 1;

// False: there is a claim that is no number of 32 bits in base 16, so nothing is claimed.
bool ReadClaim(u32 *word)
{
    *word = UINT32_MAX;
    const char *text = getenv("ZORPRIV");
    if (text == nullptr)
        return true;
    if (strncmp(text, "0x", 2) == 0 || strncmp(text, "0X", 2) == 0)
        text += 2;
    const char *end = text + strlen(text);
    const auto parsed = std::from_chars(text, end, *word, 16);
    return parsed.ec == std::errc() && parsed.ptr == end;
}

// A call that failed may have had no answer: the client tells the two apart by nothing. Where
// nobody serves any more, or the service hangs, what was asked may have been done, or be done yet.
MethodAnswer FailedAnswer(CimStatus status)
{
    ObjMgrConnection connection(ObjMgrClose::WhenOpened);
    if (status != kCimFailed || connection.Open())
        return {kExitFailed, false,
                "the service did not do it (CIM status " + std::to_string(status) + ")"};
    const ObjMgrPresence presence = ObjMgrGetPresence();
    return {ViewExitOf(presence), false,
            std::string("no answer: ") + ViewReasonOf(presence) +
                "; what was asked may be done all the same"};
}

MethodAnswer AnswerOf(CimStatus status, u32 result)
{
    if (status == kCimAccessDenied)
        return {kExitNoRight, false, "no right to do this"};
    if (status != kCimOk)
        return FailedAnswer(status);
    if (result == 0)
        return {kExitDone, true, ""};
    if (result == kNotApplicable)
        return {kExitDone, false, ""};
    return {kExitFailed, false, "the method answered " + std::to_string(result)};
}

}  // namespace

MethodAnswer MethodInvoke(const std::string &directory, const char *path, const char *method,
                          const char *args)
{
    ObjMgrPrivilege privilege = {};
    if (!ReadClaim(&privilege.word))
        return {kExitNoRight, false, "ZORPRIV is no hexadecimal number"};
    if (!ViewUseDirectory(directory))
        return {kExitNoService, false, "the directory's path is too long"};
    u32 result = 0;
    CimStatus status = kCimOk;
    {
        ObjMgrConnection connection(ObjMgrClose::WhenOpened);
        if (!connection.HasInterface() || !connection.Open())
            return {ViewExitOf(ObjMgrGetPresence()), false, ViewReasonOf(ObjMgrGetPresence())};
        connection.SetPrivilege(privilege.word);
        status = connection.Invoke(path, method, args, &result);
    }
    return AnswerOf(status, result);
}
