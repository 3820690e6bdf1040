// SPDX-License-Identifier: Apache-2.0
// help_texts_test.cpp -- what the built programs say of themselves, to the letter.
#include "support/program.h"

#include <gtest/gtest.h>

namespace
{

// What a program prints with --help, which is all that it does.
std::string HelpOf(const char *program)
{
    const ProgramEnd end = RunProgram({program, "--help"});
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.err, "");
    return end.out;
}

}  // namespace

// clang-format off
TEST(HelpTexts, Login)
{
    EXPECT_EQ(HelpOf(SMCLP_LOGIN),
        "usage: smclp-login [OPTION]... [-c LINE | -- COMMAND [ARG]...]\n"
        "Opens a login session and runs the shell in it, or COMMAND. Started by sshd, Dropbear or\n"
        "login(1), as a forced command, as a login shell or as both.\n"
        "\n"
        "  --host NAME          the server: its service is in the directory NAME beside the default one\n"
        "                       (default: the one that ZOROBJMGR names)\n"
        "  --type N             session type, 0 to 255, or \"console\" for 1 (default: 1 at a terminal\n"
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
        "  --allow smclpctl     let a line that begins with smclpctl start that program, with the words\n"
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
        "(default /run/zor/objmgr).\n");
}

TEST(HelpTexts, Sessions)
{
    EXPECT_EQ(HelpOf(SMCLP_SESSIONS),
        "usage: smclp-sessions [--json | --end ID]\n"
        "Lists the live sessions of the shell, the oldest first, or ends one.\n"
        "\n"
        "  --json         print a JSON array\n"
        "  --end ID       end the session ID: one's own, or everyone's as root\n"
        "  --help         print this text and exit\n"
        "  --version      print the version and exit\n"
        "\n"
        "ZORSSNDIR names the directory of the session registry (default /run/zor/sessions).\n");
}

TEST(HelpTexts, Sim)
{
    EXPECT_EQ(HelpOf(OBJMGRD_SIM),
        "Usage: objmgrd-sim --host FILE [--dir DIR] [--rights FILE]\n"
        "       objmgrd-sim --host FILE -- COMMAND [ARG...]\n"
        "       objmgrd-sim --host FILE [--rights FILE] --check\n"
        "The object manager of the simulated server that FILE describes.\n"
        "\n"
        "  --host FILE    the description of the server, in TOML\n"
        "  --dir DIR      serve in DIR (default: $ZOROBJMGR, else /run/zor/objmgr)\n"
        "  --rights FILE  who may do what, in TOML (default: /etc/zor/rights.toml, where there is\n"
        "                 one; without it everybody who may connect may look); read again on SIGHUP\n"
        "  -- COMMAND     serve in a private directory while COMMAND runs, with ZOROBJMGR (and\n"
        "                 ZORSSNDIR, unless it is set) pointing there; exit with its status\n"
        "  --check        only say whether the files are right\n"
        "  --help         show this text\n"
        "  --version      show the version\n");
}

#ifdef OBJMGRD_IPMI
TEST(HelpTexts, Ipmi)
{
    EXPECT_EQ(HelpOf(OBJMGRD_IPMI),
        "Usage: objmgrd-ipmi --config FILE [--dir DIR] [--rights FILE]\n"
        "       objmgrd-ipmi --config FILE -- COMMAND [ARG...]\n"
        "       objmgrd-ipmi --config FILE [--rights FILE] --check\n"
        "The object manager of a machine whose BMC is reached over IPMI.\n"
        "\n"
        "  --config FILE  which BMC, and how to reach it, in TOML\n"
        "  --dir DIR      serve in DIR (default: $ZOROBJMGR, else /run/zor/objmgr)\n"
        "  --rights FILE  who may do what, in TOML (default: /etc/zor/rights.toml, where there is\n"
        "                 one; without it everybody who may connect may look); read again on SIGHUP\n"
        "  -- COMMAND     serve in a private directory while COMMAND runs, with ZOROBJMGR (and\n"
        "                 ZORSSNDIR, unless it is set) pointing there; exit with its status\n"
        "  --check        only say whether the files, and the password file, are right\n"
        "  --help         show this text\n"
        "  --version      show the version\n");
}
#endif

#ifdef OBJMGRD_REDFISH
TEST(HelpTexts, Redfish)
{
    EXPECT_EQ(HelpOf(OBJMGRD_REDFISH),
        "Usage: objmgrd-redfish --config FILE [--dir DIR] [--rights FILE]\n"
        "       objmgrd-redfish --config FILE -- COMMAND [ARG...]\n"
        "       objmgrd-redfish --config FILE [--rights FILE] --check\n"
        "The object manager of a machine whose management controller speaks Redfish.\n"
        "\n"
        "  --config FILE  which service, and how to reach it, in TOML\n"
        "  --dir DIR      serve in DIR (default: $ZOROBJMGR, else /run/zor/objmgr)\n"
        "  --rights FILE  who may do what, in TOML (default: /etc/zor/rights.toml, where there is\n"
        "                 one; without it everybody who may connect may look); read again on SIGHUP\n"
        "  -- COMMAND     serve in a private directory while COMMAND runs, with ZOROBJMGR (and\n"
        "                 ZORSSNDIR, unless it is set) pointing there; exit with its status\n"
        "  --check        only say whether FILE, and the files that it names, are right\n"
        "  --help         show this text\n"
        "  --version      show the version\n");
}
#endif

#ifdef SMCLPCTL
TEST(HelpTexts, Ctl)
{
    EXPECT_EQ(HelpOf(SMCLPCTL),
        "Usage: smclpctl [OPTION...] COMMAND\n"
        "A server's sensors, log and power for scripts and monitoring.\n"
        "\n"
        "Commands:\n"
        "  sensors                      every sensor: reading, state, thresholds\n"
        "  system                       who the server is\n"
        "  power [on|off|reset|cycle]   the power state, or a change of it\n"
        "  log [clear]                  the records of the event log\n"
        "  watch [SECONDS]              what changes, line by line; on a terminal a table\n"
        "  health                       how the server does\n"
        "  audit                        who logged in and who did what\n"
        "  export                       everything in the text format of Prometheus\n"
        "\n"
        "Options:\n"
        "  --format FORMAT    table, json, jsonl or csv; -f FORMAT, too\n"
        "  --dir DIR          the object manager's directory (default: $ZOROBJMGR, else\n"
        "                     /run/zor/objmgr)\n"
        "  -w NAMES           these servers of this machine: n[1-40],db1\n"
        "  --run-dir DIR      where each of them has its directory (default: /run/zor)\n"
        "  --type TYPE,...    sensors: only these types\n"
        "  --target PATH      sensors: only this target and those below it\n"
        "  --wait SECONDS     power: until the host has the power state that was asked for\n"
        "  --yes              power, log clear: do not ask, however many servers\n"
        "  --every N/SECONDS  power, log clear: a pause after every N servers\n"
        "  --since TIME|N     log, audit: from this time on; log: or after record N\n"
        "  --follow           log: and those to come\n"
        "  --all DIR          log: the archive in DIR, too; with -w in DIR/NAME\n"
        "  --count N          watch: end after so many looks\n"
        "  --check            health: as a monitoring plug-in answers\n"
        "  --file FILE        audit: read this log: text, journalctl -o json, a journal's file or\n"
        "                     directory; - is standard input\n"
        "  --prometheus       export: the one format that there is\n"
        "  --output FILE      export: into FILE, written whole and then renamed\n"
        "  --listen ADDR:PORT  export: answer Prometheus over HTTP there; :PORT is loopback\n"
        "  --help             show this text\n"
        "  --version          show the version\n"
        "\n"
        "Exit status: 0 done, 1 failed, 2 wrong usage, 69 no service, 75 the source is silent or the\n"
        "time is over, 77 no right; of health --check 0 ok, 1 warning, 2 critical, 3 unknown.\n");
}
#endif

// clang-format on
