// SPDX-License-Identifier: Apache-2.0
// login_options.cpp -- smclp-login's command line, on getopt_long.
#include "session/login_options.h"

#include <arpa/inet.h>
#include <getopt.h>
#include <stdio.h>
#include <string.h>

#include "objmgr/privilege.h"
#include "session/registry.h"

const char kLoginUsage[] =
    "usage: smclp-login [OPTION]... [-c LINE | -- COMMAND [ARG]...]\n"
    "Opens a login session and runs the shell in it, or COMMAND.\n"
    "\n"
    "  --type N          session type, 0 to 255 (default 0)\n"
    "  --address A       the client's IPv4 address, as 192.0.2.7 (default: none)\n"
    "  --privilege HEX   the privilege word, 1 to 8 hexadecimal digits (default: every right)\n"
    "  --idle SECONDS    the session expires when unused for so long (default 0: never)\n"
    "  -c LINE           run LINE as one command of the shell and exit with its result\n"
    "  --help            print this text and exit\n"
    "  --version         print the version and exit\n"
    "\n"
    "The exit status is that of the shell or COMMAND; 128+N when signal N ended it, 127 when\n"
    "it was not found, 126 when it could not be started, 2 when the command line is wrong, 1\n"
    "when no session could be opened. ZORSSNDIR names the directory of the session registry\n"
    "(default /run/zor/sessions).\n";

enum { kType = 1000, kAddress, kPrivilege, kIdle, kHelp, kVersion };

static const option kOptions[] = {
    {"type", required_argument, nullptr, kType},
    {"address", required_argument, nullptr, kAddress},
    {"privilege", required_argument, nullptr, kPrivilege},
    {"idle", required_argument, nullptr, kIdle},
    {"help", no_argument, nullptr, kHelp},
    {"version", no_argument, nullptr, kVersion},
    {nullptr, 0, nullptr, 0},
};

// Where the line about a fault goes.
struct Complaint {
    char *text;
    size_t size;
};

static u32 Refuse(const Complaint *to, const char *what, const char *value)
{
    snprintf(to->text, to->size, "%s: '%s'", what, value);
    return 2;
}

static bool ReadPrivilege(const char *text, u32 *privilege)
{
    if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X'))
        text += 2;
    return RegistryParseNumber(text, 16, 8, UINT32_MAX, privilege);
}

static u32 ReadOption(int code, const char *value, LoginOptions *options, const Complaint *to)
{
    u32 type = 0;
    in_addr address;
    switch (code) {
    case kType:
        if (!RegistryParseNumber(value, 10, 3, UINT8_MAX, &type))
            return Refuse(to, "--type needs a number from 0 to 255", value);
        options->type = static_cast<u8>(type);
        return 0;
    case kAddress:
        if (inet_pton(AF_INET, value, &address) != 1)
            return Refuse(to, "--address needs an IPv4 address as 192.0.2.7", value);
        options->address = ntohl(address.s_addr);
        return 0;
    case kPrivilege:
        if (!ReadPrivilege(value, &options->privilege))
            return Refuse(to, "--privilege needs 1 to 8 hexadecimal digits", value);
        return 0;
    case kIdle:
        if (!RegistryParseNumber(value, 10, 10, UINT32_MAX, &options->idleSeconds))
            return Refuse(to, "--idle needs a number of seconds from 0 to 4294967295", value);
        return 0;
    default:  // 'c'
        options->line = value;
        return 0;
    }
}

static u32 RefuseUnread(int code, const char *word, const Complaint *to)
{
    if (code == ':')
        return Refuse(to, "option needs a value", word);
    // Of a cluster such as -xy only the letter is at fault; a long option is a word of its own.
    char letter[] = {'-', static_cast<char>(optopt), '\0'};
    bool isLong = optopt == 0 || optopt >= kType;
    return Refuse(to, "unknown option, or a value where there is none", isLong ? word : letter);
}

static u32 ReadOperands(int argc, char **argv, LoginOptions *options, const Complaint *to)
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

u32 LoginParseOptions(int argc, char **argv, LoginOptions *options, char *message, size_t size)
{
    Complaint complaint = {message, size};
    *options = {};
    options->action = LoginAction::Run;
    options->privilege = kPrivilegeAll;
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
