// SPDX-License-Identifier: Apache-2.0
// options.h -- what the option parsers of the verbs share, and the answers that all verbs give.
//
// A parser rewrites SM-CLP's single-dash word options into a form that argtable2 takes, parses
// with argtable2, and fills a record of parameters that it leaves in pCmdPara. argtable2 counts
// an operand as an error and keeps its text: that is how the target is picked up. Nothing is
// printed here.
#ifndef SMCLP_COMMANDS_OPTIONS_H
#define SMCLP_COMMANDS_OPTIONS_H

#include "smclp/commands/commands.h"
#include "smclp/tokenise.h"

#include <argtable2.h>

// The options of the verb being parsed. Each verb's Init sets its own; one verb is parsed at a
// time.
extern struct arg_lit *examine;
extern struct arg_str *o;
extern struct arg_lit *help;
extern struct arg_lit *version;
extern struct arg_lit *default_option;  // cd only
extern struct arg_end *cmd_end;
extern void **argtable;

// Values of examineResult and showExamine.
constexpr u32 kSyntaxValid = 1000;
constexpr u32 kSyntaxInvalid = 1001;

// Parameters of every verb but cd and show: six words.
struct CmdPara {
    u32 formatGiven;    // 1: a valid -output was given
    u32 formatXml;      // 1: format=clpxml, 0: format=clptxt
    u32 examineFlag;    // 1: only check the syntax (-examine)
    u32 examineResult;  // kSyntaxValid or kSyntaxInvalid, where examineFlag is 1
    u32 helpFlag;       // 1: -help
    u32 versionFlag;    // 1: -version
};
static_assert(sizeof(CmdPara) == 6 * sizeof(u32), "six words");

// Parameters of cd: seven words.
struct CdPara {
    u32 formatGiven;
    u32 formatXml;
    u32 unset;  // the parser never sets it
    u32 examineFlag;
    u32 examineResult;
    u32 helpFlag;
    u32 versionFlag;
};
static_assert(sizeof(CdPara) == 7 * sizeof(u32), "seven words");

// One rewrite: the first occurrence of `from` anywhere in the line, word or not, becomes `to`.
struct OptionRewrite {
    const char *from;
    const char *to;
};

enum class Operand : u8 {
    None,      // any operand is an error
    Optional,  // the target; none: the current target
    Required,  // a line without operand and options is refused
};

// What a verb's parser does otherwise than the others.
struct VerbSyntax {
    bool isCd = false;       // parameters are a CdPara, -default is an option
    bool keepsLine = false;  // the line goes into the record first
    Operand operand = Operand::Optional;
};

// Builds the option table of every verb but cd and show (5 entries) or, withDefault, of cd (6),
// sets the option globals and *count. Null without memory; check the entries with arg_nullcheck.
void **OptionTableInit(bool withDefault, u32 *count);
// Frees the entries of a table and the table. Null is ignored.
void OptionTableUnInit(void **table, u32 count);

// Parses a line as `syntax` says, with the option table that `init` builds and `unInit` frees.
// Results: SmclpParseFunction.
u32 ParseVerbLine(const VerbSyntax &syntax, void **(*init)(), void (*unInit)(void **table),
                  char *line, SmclpCommandLine *record);

// Defines what every verb but show has beside its executor (commands.h): numopt<Functions>,
// Smclp<Functions>CommandInit and -UnInit, and SmclpParseCommandLineFor<Functions>.
#define SMCLP_VERB_PARSER(functions, syntax)                                      \
    u32 numopt##functions;                                                        \
    void **Smclp##functions##CommandInit()                                        \
    {                                                                             \
        return OptionTableInit((syntax).isCd, &numopt##functions);                \
    }                                                                             \
    void Smclp##functions##CommandUnInit(void **table)                            \
    {                                                                             \
        OptionTableUnInit(table, numopt##functions);                              \
    }                                                                             \
    u32 SmclpParseCommandLineFor##functions(char *line, SmclpCommandLine *record) \
    {                                                                             \
        return ParseVerbLine(syntax, Smclp##functions##CommandInit,               \
                             Smclp##functions##CommandUnInit, line, record);      \
    }

// The steps that ParseVerbLine and the parser of show have in common.

// Applies the rewrites in order. line: a buffer of at least 256 bytes. False, with the line as it
// was before the failing rewrite, when the result would have 256 characters or more.
bool RewriteOptions(char *line, const OptionRewrite *rewrites, u32 count);
// The words of the line being parsed. What argtable2 finds points into them, so they stay until
// the parser is done.
struct OptionWords {
    alignas(char *) char room[kBuildArgvSize];
};
// Splits the line into words and parses them with the table. Returns argtable2's number of errors,
// or -1 when the words do not fit BuildArgv's room. POSIXLY_CORRECT in the environment is removed:
// it would make the parser stop at the first operand.
i32 ParseWords(const char *line, OptionWords *words, void **table);
// Copies the operand of a line, the first error argument of cmd_end, into the record. Returns
// kParseOk, or kParseBadTarget (record unchanged) for 64 characters or more.
u32 TakeTarget(SmclpCommandLine *record);
// Reads the value of -output into the two words, if it was given. False for any value but
// format=clpxml and format=clptxt.
bool TakeOutputFormat(u32 *formatGiven, u32 *formatXml);

// The answers to -examine and -version.
void AnswerSyntax(bool valid);
void AnswerVersion();

#endif
