// SPDX-License-Identifier: Apache-2.0
// options.h -- the command line of smclpctl.
//
// getopt_long of the C library reads it, as in the services: nothing is loaded for it at start-up.
#ifndef CTL_OPTIONS_H
#define CTL_OPTIONS_H

#include "ctl/output.h"

#include <optional>

constexpr char kOptionsRunDirectory[] = "/run/zor";
// A change of more servers than this needs --yes, or a yes on the terminal.
constexpr size_t kOptionsServersUnasked = 4;

// Exit statuses, those of <sysexits.h> where it has one.
enum CtlExit : int {
    kExitDone = 0,
    kExitFailed = 1,
    kExitUsage = 2,
    kExitNoService = 69,  // EX_UNAVAILABLE: nobody serves there
    kExitSilent = 75,     // EX_TEMPFAIL: the source is silent, or a time is over
    kExitNoRight = 77,    // EX_NOPERM
};

enum class CommandId : u8 { Sensors, System, Power, Log, Watch, Health, Export, Audit };

enum class PowerAction : u8 { None, On, Off, Reset, Cycle };

struct Options {
    bool help = false;
    bool version = false;
    CommandId command = CommandId::Sensors;
    OutputFormat format = OutputFormat::Table;
    bool several = false;   // -w: the servers below
    std::string directory;  // --dir; empty: ZOROBJMGR, else the default
    std::vector<std::string> servers;
    std::string runDirectory = kOptionsRunDirectory;  // where each has its directory
    std::vector<std::string> types;                   // --type; empty: all
    std::string target;  // --target, without "/" at its end; empty: all
    PowerAction action = PowerAction::None;
    std::optional<u32> waitSeconds;
    bool yes = false;      // changes of many servers need no question
    u32 everyServers = 0;  // --every: so many, then ...
    u32 everySeconds = 0;  // ... so long a pause; 0: none
    bool clear = false;    // log clear
    bool follow = false;
    std::optional<i64> sinceTime;    // seconds since 1970
    std::optional<u32> sinceRecord;  // records after this one
    std::string archive;             // log --all: this directory; empty: the log alone
    u32 intervalMs = 2000;           // watch
    u32 count = 0;                   // watch: so many looks; 0: no end
    bool check = false;              // health: as a monitoring plug-in
    std::string file;    // audit: this file; "-": standard input; empty: the system's log
    std::string listen;  // export: answer scrapes there; empty: answer once
    std::string output;  // export: into this file; empty: standard output
};

// Reads the words. now: seconds since 1970, for times like "yesterday". "" or what is wrong, for
// one line; the format is then that of the words, if they name one.
std::string OptionsParse(int argc, char **argv, i64 now, Options *options);

// The text of --help.
extern const char kOptionsUsage[];

// A time as people write it, in UTC: RFC 3339 ("2024-02-29T06:58:12Z", another offset too),
// "2024-02-29", "2024-02-29 06:58", "2024-02-29 06:58:12", "now", "today", "yesterday", "-90s",
// "-30m", "-2h", "-7d". Nothing for anything else.
std::optional<i64> OptionsTime(std::string_view text, i64 now);

#endif
