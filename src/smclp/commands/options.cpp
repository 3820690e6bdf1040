// SPDX-License-Identifier: Apache-2.0
// options.cpp -- option parsing that all verbs share.
#include "smclp/commands/options.h"

#include "platform/str.h"
#include "smclp/command_list.h"
#include "smclp/output.h"

#include <stdlib.h>
#include <string.h>

struct arg_lit *examine;
struct arg_str *o;
struct arg_lit *help;
struct arg_lit *version;
struct arg_lit *default_option;
struct arg_end *cmd_end;
void **argtable;

namespace
{

constexpr u32 kOptionCount = 5;
constexpr u32 kCdOptionCount = 6;
constexpr int kMaxErrors = 20;  // more are only counted
constexpr size_t kRewriteSize = 256;

constexpr OptionRewrite kRewrites[] = {
    {"-output", "-o"}, {"-examine", "-x"}, {"-version", "-v"},
    {"-help", "-h"},   {"-output", "-o"},  {"-o ", "--o "},
};
constexpr OptionRewrite kCdRewrites[] = {
    {"-output", "-o"},         {"-examine", "-x"}, {"-version", "-v"}, {"-help", "-h"},
    {"-default", "--default"}, {"-output", "-o"},  {"-o ", "--o "},
};

// Where the two layouts of parameters keep the same words.
struct ParaWords {
    u32 *formatGiven;
    u32 *formatXml;
    u32 *examineFlag;
    u32 *examineResult;
    u32 *helpFlag;
    u32 *versionFlag;
};

template <class Para> ParaWords WordsOf(Para *para)
{
    return {&para->formatGiven,   &para->formatXml, &para->examineFlag,
            &para->examineResult, &para->helpFlag,  &para->versionFlag};
}

// Leaves the zeroed parameters in pCmdPara. False without memory.
bool AllocateParameters(bool isCd, ParaWords *words)
{
    pCmdPara = calloc(1, isCd ? sizeof(CdPara) : sizeof(CmdPara));
    if (pCmdPara == nullptr)
        return false;
    *words =
        isCd ? WordsOf(static_cast<CdPara *>(pCmdPara)) : WordsOf(static_cast<CmdPara *>(pCmdPara));
    return true;
}

u32 SetSyntax(const ParaWords &words, u32 result)
{
    *words.examineFlag = 1;
    *words.examineResult = result;
    return kParseOk;
}

// A syntax fault: said by the verb's answer to -examine, otherwise by the parser's result.
u32 Fault(const ParaWords &words, u32 result)
{
    return examine->count > 0 ? SetSyntax(words, kSyntaxInvalid) : result;
}

// cd -default. Returns true when the line is done, with its result.
bool TakeDefault(const ParaWords &words, i32 errors, SmclpCommandLine *record, u32 *result)
{
    if (errors != 0) {
        *result = kParseUnexpected;
        if (examine->count > 0) {
            *words.examineFlag = kSyntaxInvalid;  // the flag, not the result word: deliberate
            *result = kParseOk;
        }
        return true;
    }
    if (help->count > 0 || o->count > 0 || version->count > 0)
        return false;
    StrCopy(record->target, "/", sizeof record->target);
    *result = kParseOk;
    return true;
}

bool AnyOptionGiven(bool isCd)
{
    return examine->count > 0 || o->count > 0 || help->count > 0 || version->count > 0 ||
           (isCd && default_option->count > 0);
}

u32 TakeOptions(const VerbSyntax &syntax, const ParaWords &words, i32 errors,
                SmclpCommandLine *record)
{
    u32 result = kParseOk;
    if (syntax.isCd && default_option->count > 0 && TakeDefault(words, errors, record, &result))
        return result;
    if (!AnyOptionGiven(syntax.isCd) && errors == 0)
        return syntax.operand == Operand::Required ? kParseBadTarget : kParseOk;

    if (syntax.operand != Operand::None && errors == 1 && cmd_end->argval[0] != nullptr) {
        result = TakeTarget(record);
        if (result != kParseOk)
            return result;
    } else if (errors != 0) {
        return Fault(words, kParseUnexpected);
    }
    if (!TakeOutputFormat(words.formatGiven, words.formatXml))
        return Fault(words, kParseBadValue);
    *words.helpFlag = help->count > 0;
    *words.versionFlag = version->count > 0;
    if (examine->count == 0)
        return kParseOk;
    return SetSyntax(words, cmd_end->count < 2 ? kSyntaxValid : kSyntaxInvalid);
}

}  // namespace

void **OptionTableInit(bool withDefault, u32 *count)
{
    *count = withDefault ? kCdOptionCount : kOptionCount;
    auto **table = static_cast<void **>(calloc(*count, sizeof(void *)));
    if (table == nullptr)
        return nullptr;
    u32 i = 0;
    table[i++] = examine = arg_lit0("x", nullptr, "examine");
    table[i++] = o = arg_str0(nullptr, "o ", nullptr, "format=clpxml|format=clpcsv");
    table[i++] = help = arg_lit0("h", nullptr, "help");
    table[i++] = version = arg_lit0("v", nullptr, "version");
    if (withDefault)
        table[i++] = default_option = arg_lit0(nullptr, "default", "default");
    table[i] = cmd_end = arg_end(kMaxErrors);
    return table;
}

void OptionTableUnInit(void **table, u32 count)
{
    if (table == nullptr)
        return;
    arg_freetable(table, count);
    free(table);
}

u32 ParseVerbLine(const VerbSyntax &syntax, void **(*init)(), void (*unInit)(void **table),
                  char *line, SmclpCommandLine *record)
{
    if (line == nullptr || strlen(line) >= kSmclpLineSize)
        return kParseNotPossible;
    if (record == nullptr && (syntax.keepsLine || syntax.operand != Operand::None))
        return kParseNotPossible;
    if (syntax.keepsLine)
        StrCopy(record->line, line, sizeof record->line);
    ParaWords words;
    if (!AllocateParameters(syntax.isCd, &words))
        return kParseNoMemory;

    const bool rewritten =
        syntax.isCd ? RewriteOptions(line, kCdRewrites, sizeof kCdRewrites / sizeof *kCdRewrites)
                    : RewriteOptions(line, kRewrites, sizeof kRewrites / sizeof *kRewrites);
    if (!rewritten)
        return kParseUnexpected;

    u32 result = kParseNotPossible;
    OptionWords split;
    argtable = init();
    if (argtable != nullptr && arg_nullcheck(argtable) == 0) {
        const i32 errors = ParseWords(line, &split, argtable);
        result = errors < 0 ? u32{kParseUnexpected} : TakeOptions(syntax, words, errors, record);
    }
    unInit(argtable);
    argtable = nullptr;
    return result;
}

bool RewriteOptions(char *line, const OptionRewrite *rewrites, u32 count)
{
    for (u32 i = 0; i < count; ++i) {
        char *found = strstr(line, rewrites[i].from);
        if (found == nullptr)
            continue;
        const size_t fromLength = strlen(rewrites[i].from);
        const size_t toLength = strlen(rewrites[i].to);
        if (strlen(line) - fromLength + toLength >= kRewriteSize)
            return false;
        memmove(found + toLength, found + fromLength, strlen(found + fromLength) + 1);
        memcpy(found, rewrites[i].to, toLength);
    }
    return true;
}

i32 ParseWords(const char *line, OptionWords *words, void **table)
{
    const u32 count = BuildArgv(line, words->room, sizeof words->room);
    if (count == 0)
        return -1;
    unsetenv("POSIXLY_CORRECT");
    return arg_parse(static_cast<int>(count), reinterpret_cast<char **>(words->room), table);
}

u32 TakeTarget(SmclpCommandLine *record)
{
    const char *target = cmd_end->argval[0];
    if (strlen(target) >= sizeof record->target)
        return kParseBadTarget;
    StrCopy(record->target, target, sizeof record->target);
    return kParseOk;
}

bool TakeOutputFormat(u32 *formatGiven, u32 *formatXml)
{
    if (o->count == 0)
        return true;
    const bool xml = StrEqual(o->sval[0], "format=clpxml");
    if (!xml && !StrEqual(o->sval[0], "format=clptxt"))
        return false;
    *formatGiven = 1;
    *formatXml = xml;
    return true;
}

void AnswerSyntax(bool valid)
{
    if (valid)
        SmclpOutput("SUCCESS : The command syntax is valid.");
    else  // two blanks after FAILED: deliberate
        SmclpOutput("FAILED  : Command syntax may be invalid or target may be invalid.");
}

void AnswerVersion()
{
    SmclpOutput("version 1.0");
}
