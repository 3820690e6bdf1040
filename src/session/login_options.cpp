// SPDX-License-Identifier: Apache-2.0
// login_options.cpp -- smclp-login's command line, on getopt_long.
#include "session/login_options.h"

#include <getopt.h>
#include <stdio.h>
#include <string.h>

#include "objmgr/privilege.h"
#include "session/login_host.h"
#include "session/registry.h"

const char kLoginUsage[] =
    "usage: smclp-login [OPTION]... [-c LINE | -- COMMAND [ARG]...]\n"
    "Opens a login session and runs the shell in it, or COMMAND. Started by sshd, Dropbear or\n"
    "login(1), as a forced command, as a login shell or as both.\n"
    "\n"
    "  --host NAME          the server: its service is in the directory NAME beside the default "
    "one\n"
    "                       (default: the one that ZOROBJMGR names)\n"
    "  --type N             session type, 0 to 255, or \"console\" for 1 (default: 1 at a "
    "terminal\n"
    "                       without a client's address, else 0)\n"
    "  --address A          the client's address, as 192.0.2.7 or 2001:db8::7 (default: what\n"
    "                       SSH_CONNECTION says, or none)\n"
    "  --privilege HEX      the privilege word, 1 to 8 hexadecimal digits (default: every right);\n"
    "                       the service grants no more of it than the user has\n"
    "  --idle SECONDS       hang up when unused for so long, 0: never (default 1800);\n"
    "                       N=SECONDS for sessions of type N alone\n"
    "  --sessions N         at most so many sessions, four of them for the console alone; 0: any\n"
    "                       number (default 64)\n"
    "  --user-sessions N    at most so many of one user; 0: any number (default 16)\n"
    "  --allow smclpctl     let a line that begins with smclpctl start that program, with the "
    "words\n"
    "                       of the line as its arguments, in the shell's place\n"
    "  --settings FILE      limits and what is allowed, for options that are not given (default\n"
    "                       /etc/zor/login.conf where there is one)\n"
    "  --unconfined         let the shell do all its user may: for a wrapper script in its place\n"
    "  -c LINE              run LINE as one command of the shell and exit with its result\n"
    "  --help               print this text and exit\n"
    "  --version            print the version and exit\n"
    "\n"
    "Without -c and COMMAND, a command in SSH_ORIGINAL_COMMAND is run as with -c.\n"
    "\n"
    "The exit status is that of the shell or COMMAND (254 for 255, which ssh has for itself);\n"
    "128+N when signal N ended it, 127 when it was not found, 126 when it could not be started, 2\n"
    "when the command line is wrong; 69 when there is no service or no registry to be trusted, 70\n"
    "when the service is of another version, 75 when the service hangs or there is no room for a\n"
    "session, 77 when the user may not, 78 when the settings are wrong. ZORSSNDIR names the\n"
    "directory of the session registry (default /run/zor/sessions), ZOROBJMGR that of the service\n"
    "(default /run/zor/objmgr).\n";

namespace
{

enum {
    kType = 1000,
    kHost,
    kAddress,
    kPrivilege,
    kIdle,
    kSessions,
    kUserSessions,
    kAllow,
    kSettings,
    kUnconfined,
    kHelp,
    kVersion,
};

const option kOptions[] = {
    {"host", required_argument, nullptr, kHost},
    {"type", required_argument, nullptr, kType},
    {"address", required_argument, nullptr, kAddress},
    {"privilege", required_argument, nullptr, kPrivilege},
    {"idle", required_argument, nullptr, kIdle},
    {"sessions", required_argument, nullptr, kSessions},
    {"user-sessions", required_argument, nullptr, kUserSessions},
    {"allow", required_argument, nullptr, kAllow},
    {"settings", required_argument, nullptr, kSettings},
    {"unconfined", no_argument, nullptr, kUnconfined},
    {"help", no_argument, nullptr, kHelp},
    {"version", no_argument, nullptr, kVersion},
    {nullptr, 0, nullptr, 0},
};

constexpr u32 kLimitMax = 1000;  // of sessions; the registry's tmpfs has room for no more

// Where the line about a fault goes.
struct Complaint {
    char *text;
    size_t size;
};

u32 Refuse(const Complaint *to, const char *what, const char *value)
{
    snprintf(to->text, to->size, "%s: '%s'", what, value);
    return 2;
}

bool ReadPrivilege(const char *text, u32 *privilege)
{
    if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X'))
        text += 2;
    return RegistryParseNumber(text, 16, 8, UINT32_MAX, privilege);
}

bool ReadType(const char *text, LoginOptions *options)
{
    u32 type = kLoginTypeConsole;
    if (strcmp(text, "console") != 0 && !RegistryParseNumber(text, 10, 3, UINT8_MAX, &type))
        return false;
    options->type = static_cast<u8>(type);
    options->typeGiven = true;
    return true;
}

// SECONDS for every type, or TYPE=SECONDS for one.
bool ReadIdle(const char *text, LoginOptions *options)
{
    u32 seconds = 0;
    const char *equals = strchr(text, '=');
    if (!RegistryParseNumber(equals != nullptr ? equals + 1 : text, 10, 10, UINT32_MAX, &seconds))
        return false;
    if (equals == nullptr) {
        for (u32 &limit : options->idleSeconds)
            limit = seconds;
        return true;
    }
    char type[4] = "";
    u32 number = 0;
    size_t length = static_cast<size_t>(equals - text);
    if (length >= sizeof(type))
        return false;
    memcpy(type, text, length);
    if (!RegistryParseNumber(type, 10, 3, UINT8_MAX, &number))
        return false;
    options->idleSeconds[number] = seconds;
    return true;
}

bool ReadLimit(const char *text, u32 *limit)
{
    return RegistryParseNumber(text, 10, 4, kLimitMax, limit);
}

u32 ReadOption(int code, char *value, LoginOptions *options, const Complaint *to)
{
    switch (code) {
    case kHost:
        if (!LoginIsHostName(value))
            return Refuse(to, "--host needs the name of a server", value);
        options->host = value;
        return 0;
    case kType:
        if (!ReadType(value, options))
            return Refuse(to, "--type needs a number from 0 to 255", value);
        return 0;
    case kAddress:
        if (!RegistryParseAddress(value, &options->client))
            return Refuse(to, "--address needs an address as 192.0.2.7 or 2001:db8::7", value);
        return 0;
    case kPrivilege:
        if (!ReadPrivilege(value, &options->privilege))
            return Refuse(to, "--privilege needs 1 to 8 hexadecimal digits", value);
        return 0;
    case kIdle:
        if (!ReadIdle(value, options))
            return Refuse(to, "--idle needs seconds from 0 to 4294967295, or TYPE=SECONDS", value);
        return 0;
    case kSessions:
        if (!ReadLimit(value, &options->sessions) ||
            (options->sessions != 0 && options->sessions <= kLoginKeptForConsole))
            return Refuse(to, "--sessions needs 0, or a number from 5 to 1000", value);
        return 0;
    case kUserSessions:
        if (!ReadLimit(value, &options->userSessions))
            return Refuse(to, "--user-sessions needs a number from 0 to 1000", value);
        return 0;
    case kAllow:
        if (strcmp(value, kLoginTool) != 0)
            return Refuse(to, "--allow knows smclpctl alone", value);
        options->allowTool = true;
        return 0;
    case kSettings:
        options->settings = value;
        return 0;
    case kUnconfined:
        options->unconfined = true;
        return 0;
    default:  // 'c'
        options->line = value;
        return 0;
    }
}

u32 RefuseUnread(int code, const char *word, const Complaint *to)
{
    if (code == ':')
        return Refuse(to, "option needs a value", word);
    // Of a cluster such as -xy only the letter is at fault; a long option is a word of its own.
    char letter[] = {'-', static_cast<char>(optopt), '\0'};
    bool isLong = optopt == 0 || optopt >= kType;
    return Refuse(to, "unknown option, or a value where there is none", isLong ? word : letter);
}

u32 ReadOperands(int argc, char **argv, LoginOptions *options, const Complaint *to)
{
    if (optind >= argc)
        return 0;
    if (strcmp(argv[optind - 1], "--") != 0)
        return Refuse(to, "a COMMAND stands after --", argv[optind]);
    if (options->line != nullptr)
        return Refuse(to, "-c and COMMAND exclude each other", argv[optind]);
    options->command = argv + optind;
    return 0;
}

}  // namespace

void LoginDefaultOptions(LoginOptions *options)
{
    *options = {};
    options->action = LoginAction::Run;
    options->privilege = kPrivilegeAll;
    for (u32 &limit : options->idleSeconds)
        limit = kLoginIdleSeconds;
    options->sessions = kLoginSessions;
    options->userSessions = kLoginUserSessions;
}

u32 LoginSetOption(const char *name, char *value, LoginOptions *options, char *message, size_t size)
{
    static constexpr int kCodes[] = {kIdle, kSessions, kUserSessions, kAllow};
    Complaint complaint = {message, size};
    for (const option &row : kOptions)
        for (int code : kCodes)
            if (row.name != nullptr && row.val == code && strcmp(row.name, name) == 0)
                return ReadOption(code, value, options, &complaint);
    return Refuse(&complaint, "unknown setting", name);
}

u32 LoginParseOptions(int argc, char **argv, LoginOptions *options, char *message, size_t size)
{
    Complaint complaint = {message, size};
    opterr = 0;
    optind = 0;  // starts getopt afresh, whoever used it before
    for (;;) {
        int before = optind == 0 ? 1 : optind;
        // '+': the first operand ends the options, with or without POSIXLY_CORRECT.
        int code = getopt_long(argc, argv, "+:c:", kOptions, nullptr);
        if (code == -1)
            return ReadOperands(argc, argv, options, &complaint);
        if (code == kHelp || code == kVersion) {
            options->action = code == kHelp ? LoginAction::Help : LoginAction::Version;
            return 0;
        }
        if (code == '?' || code == ':')
            return RefuseUnread(code, argv[before], &complaint);
        u32 result = ReadOption(code, optarg, options, &complaint);
        if (result != 0)
            return result;
    }
}
