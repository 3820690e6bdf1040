// SPDX-License-Identifier: Apache-2.0
// options.cpp -- see options.h.
#include "ctl/options.h"

#include "ctl/host_list.h"
#include "ctl/model.h"

#include <algorithm>
#include <charconv>
#include <getopt.h>
#include <string.h>

const char kOptionsUsage[] =
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
    "time is over, 77 no right; of health --check 0 ok, 1 warning, 2 critical, 3 unknown.\n";

namespace
{

constexpr u32 kWaitMost = 86400;

enum OptionKey : int {
    kKeyType = 256,
    kKeyTarget,
    kKeyWait,
    kKeySince,
    kKeyFollow,
    kKeyRunDir,
    kKeyYes,
    kKeyEvery,
    kKeyCount,
    kKeyCheck,
    kKeyPrometheus,
    kKeyOutput,
    kKeyAll,
    kKeyFile,
    kKeyListen,
};

constexpr option kOptions[] = {
    {"format", required_argument, nullptr, 'f'},
    {"dir", required_argument, nullptr, 'd'},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'V'},
    {"type", required_argument, nullptr, kKeyType},
    {"target", required_argument, nullptr, kKeyTarget},
    {"wait", required_argument, nullptr, kKeyWait},
    {"since", required_argument, nullptr, kKeySince},
    {"follow", no_argument, nullptr, kKeyFollow},
    {"run-dir", required_argument, nullptr, kKeyRunDir},
    {"yes", no_argument, nullptr, kKeyYes},
    {"every", required_argument, nullptr, kKeyEvery},
    {"count", required_argument, nullptr, kKeyCount},
    {"check", no_argument, nullptr, kKeyCheck},
    {"prometheus", no_argument, nullptr, kKeyPrometheus},
    {"output", required_argument, nullptr, kKeyOutput},
    {"all", required_argument, nullptr, kKeyAll},
    {"file", required_argument, nullptr, kKeyFile},
    {"listen", required_argument, nullptr, kKeyListen},
    {nullptr, 0, nullptr, 0},
};

// What may stand behind each command: the options of its own, besides those of all commands.
struct CommandRow {
    const char *name;
    CommandId id;
    int keys[6];  // zeros behind them
};
constexpr CommandRow kCommands[] = {
    {"sensors", CommandId::Sensors, {kKeyType, kKeyTarget}},
    {"system", CommandId::System, {}},
    {"power", CommandId::Power, {kKeyWait, kKeyYes, kKeyEvery}},
    {"log", CommandId::Log, {kKeySince, kKeyFollow, kKeyAll, kKeyYes, kKeyEvery}},
    {"watch", CommandId::Watch, {kKeyType, kKeyTarget, kKeyCount}},
    {"health", CommandId::Health, {kKeyCheck}},
    {"audit", CommandId::Audit, {kKeySince, kKeyFile}},
    {"export", CommandId::Export, {kKeyPrometheus, kKeyOutput, kKeyListen}},
};

struct ActionRow {
    const char *word;
    PowerAction action;
};
constexpr ActionRow kActions[] = {
    {"on", PowerAction::On},
    {"off", PowerAction::Off},
    {"reset", PowerAction::Reset},
    {"cycle", PowerAction::Cycle},
};

const char *OptionName(int key)
{
    const option *row = kOptions;
    while (row->val != key)
        ++row;
    return row->name;
}

bool WholeNumber(std::string_view text, u32 most, u32 *number)
{
    const auto end = std::from_chars(text.data(), text.data() + text.size(), *number);
    return end.ec == std::errc() && end.ptr == text.data() + text.size() && *number <= most;
}

bool IsType(std::string_view name)
{
    for (const SensorKind &kind : SensorKinds()) {
        if (name == kind.name)
            return true;
    }
    return name == kCurrentKindName;
}

std::string TypeNames()
{
    std::string names;
    for (const SensorKind &kind : SensorKinds()) {
        const std::string name = std::string(" ") + kind.name;
        if (names.find(name + ",") == std::string::npos)
            names += name + ",";
    }
    return names + " " + kCurrentKindName;
}

std::string ParseTypes(std::string_view list, std::vector<std::string> *types)
{
    for (;;) {
        const size_t comma = list.find(',');
        const std::string_view name = list.substr(0, comma);
        if (!IsType(name))
            return "no type of sensors: " + std::string(name) + " (there are" + TypeNames() + ")";
        types->emplace_back(name);
        if (comma == std::string_view::npos)
            return "";
        list.remove_prefix(comma + 1);
    }
}

std::string ParseSince(const char *text, i64 now, Options *options)
{
    u32 number = 0;
    if (WholeNumber(text, UINT16_MAX, &number))
        options->sinceRecord = number;
    else
        options->sinceTime = OptionsTime(text, now);
    const bool right = options->sinceRecord || options->sinceTime;
    return right ? "" : std::string("neither a time nor a record's number: ") + text;
}

// "10/5" or "10/5s": a pause of 5 seconds after every 10.
std::string ParseEvery(std::string_view text, Options *options)
{
    std::string wrong = "no number of servers and seconds, as in 10/5s: " + std::string(text);
    const size_t slash = text.find('/');
    if (slash == std::string_view::npos)
        return wrong;
    std::string_view seconds = text.substr(slash + 1);
    if (seconds.ends_with('s'))
        seconds.remove_suffix(1);
    const bool right = WholeNumber(text.substr(0, slash), kHostListMost, &options->everyServers) &&
                       WholeNumber(seconds, kWaitMost, &options->everySeconds) &&
                       options->everyServers != 0;
    return right ? "" : wrong;
}

// Seconds, in tenths at the finest: 0.1 to 86400.
std::string ParseInterval(const char *text, u32 *ms)
{
    const Value number = NumberFromText(text);
    const double seconds = NumberOfValue(number);
    if (number.IsNull() || seconds < 0.1 || seconds > kWaitMost)
        return std::string("no number of seconds from 0.1 to 86400: ") + text;
    *ms = static_cast<u32>(seconds * 1000);
    return "";
}

std::string ParseOption(int key, const char *value, i64 now, Options *options)
{
    u32 number = 0;
    switch (key) {
    case 'f':
        if (!OutputFormatFromName(value, &options->format))
            return std::string("no format: ") + value + " (there are table, json, jsonl, csv)";
        break;
    case 'd':
        options->directory = value;
        break;
    case 'h':
        options->help = true;
        break;
    case 'V':
        options->version = true;
        break;
    case kKeyType:
        return ParseTypes(value, &options->types);
    case kKeyTarget:
        options->target = value;
        if (!options->target.starts_with('/'))
            return std::string("no target, as in /system1/fans1: ") + value;
        while (options->target.size() > 1 && options->target.back() == '/')
            options->target.pop_back();
        break;
    case kKeyWait:
        if (!WholeNumber(value, kWaitMost, &number))
            return std::string("no number of seconds up to 86400: ") + value;
        options->waitSeconds = number;
        break;
    case kKeySince:
        return ParseSince(value, now, options);
    case kKeyFollow:
        options->follow = true;
        break;
    case 'w':
        options->several = true;
        return HostListExpand(value, &options->servers);
    case kKeyRunDir:
        options->runDirectory = value;
        break;
    case kKeyYes:
        options->yes = true;
        break;
    case kKeyEvery:
        return ParseEvery(value, options);
    case kKeyCount:
        if (!WholeNumber(value, UINT32_MAX, &options->count) || options->count == 0)
            return std::string("no number of looks: ") + value;
        break;
    case kKeyCheck:
        options->check = true;
        break;
    case kKeyAll:
        options->archive = value;
        break;
    case kKeyListen:
        options->listen = value;
        break;
    case kKeyFile:
        options->file = value;
        break;
    case kKeyOutput:
        options->output = value;
        break;
    default:
        break;
    }
    return "";
}

const CommandRow *FindCommand(const char *name)
{
    for (const CommandRow &row : kCommands) {
        if (strcmp(row.name, name) == 0)
            return &row;
    }
    return nullptr;
}

bool Takes(const CommandRow &command, int key)
{
    return key < kKeyType || key == kKeyRunDir ||
           std::find(std::begin(command.keys), std::end(command.keys), key) !=
               std::end(command.keys);
}

bool ParseAction(const char *word, Options *options)
{
    for (const ActionRow &row : kActions) {
        if (strcmp(row.word, word) == 0)
            options->action = row.action;
    }
    return options->action != PowerAction::None;
}

// The words behind the command.
std::string ParseWords(std::span<char *const> words, Options *options)
{
    if (words.empty())
        return "";
    if (options->command == CommandId::Power && ParseAction(words[0], options))
        words = words.subspan(1);
    else if (options->command == CommandId::Log && strcmp(words[0], "clear") == 0) {
        options->clear = true;
        words = words.subspan(1);
    } else if (options->command == CommandId::Watch) {
        std::string wrong = ParseInterval(words[0], &options->intervalMs);
        if (!wrong.empty())
            return wrong;
        words = words.subspan(1);
    }
    return words.empty() ? "" : std::string("one word too many: ") + words[0];
}

// What can only be judged once everything is known.
std::string CheckOptions(const Options &options)
{
    if (options.waitSeconds && options.action == PowerAction::None)
        return "--wait needs on, off, reset or cycle";
    const bool archive = !options.archive.empty();
    if (options.clear && (options.follow || options.sinceTime || options.sinceRecord || archive))
        return "clear takes no options";
    if (archive && (options.follow || options.sinceRecord))
        return "--all takes neither --follow nor a record's number";
    const bool endless =
        options.follow || (options.command == CommandId::Watch && options.count == 0);
    if (endless && options.format == OutputFormat::Json)
        return "this has no end, and JSON needs one: take --format jsonl";
    if (options.several && !options.directory.empty())
        return "-w and --dir exclude each other";
    if (!options.listen.empty() && !options.output.empty())
        return "--listen and --output exclude each other";
    if (options.check && options.several)
        return "--check asks one server";
    if (options.command == CommandId::Audit && (options.several || options.sinceRecord))
        return "audit takes neither -w nor a record's number: it asks the machine's log";
    if (options.everyServers != 0 && !options.several)
        return "--every needs -w";
    return "";
}

// "2024-02-29" and what may follow it: a time, an offset.
std::optional<i64> CalendarTime(std::string_view text)
{
    std::string digits;
    constexpr std::string_view kForm = "dddd-dd-ddTdd:dd:dd";
    size_t at = 0;
    for (; at < kForm.size() && at < text.size(); ++at) {
        const char form = kForm[at];
        const char c = text[at];
        if (form == 'd' && c >= '0' && c <= '9')
            digits += c;
        else if (form == 'T' ? c != 'T' && c != 't' && c != ' ' : form != c)
            break;
    }
    if (at != 10 && at != 16 && at != 19)
        return std::nullopt;
    digits.resize(14, '0');
    const std::optional<i64> time = ModelTimeOfDigits(digits);
    std::string_view rest = text.substr(at);
    if (at == 19 && rest.size() > 1 && rest.front() == '.') {  // parts of a second: not needed
        const size_t end = rest.find_first_not_of("0123456789", 1);
        if (end == 1)
            return std::nullopt;
        rest = end == std::string_view::npos ? "" : rest.substr(end);
    }
    if (!time || rest.empty() || (at == 19 && (rest == "Z" || rest == "z")))
        return time;
    if (at != 19 || rest.size() != 6 || (rest[0] != '+' && rest[0] != '-') || rest[3] != ':')
        return std::nullopt;
    u32 hours = 0;
    u32 minutes = 0;
    if (!WholeNumber(rest.substr(1, 2), 23, &hours) ||
        !WholeNumber(rest.substr(4, 2), 59, &minutes))
        return std::nullopt;
    const i64 offset = static_cast<i64>(hours) * 3600 + static_cast<i64>(minutes) * 60;
    return rest[0] == '+' ? *time - offset : *time + offset;
}

// "-2h".
std::optional<i64> TimeAgo(std::string_view text, i64 now)
{
    constexpr std::string_view kUnits = "smhd";
    constexpr i64 kSeconds[] = {1, 60, 3600, 86400};
    if (text.size() < 3 || text.front() != '-')
        return std::nullopt;
    const size_t unit = kUnits.find(text.back());
    u32 number = 0;
    if (unit == std::string_view::npos ||
        !WholeNumber(text.substr(1, text.size() - 2), 1000000, &number))
        return std::nullopt;
    return now - kSeconds[unit] * number;
}

}  // namespace

std::optional<i64> OptionsTime(std::string_view text, i64 now)
{
    constexpr i64 kDay = 86400;
    const i64 today = now - now % kDay;
    if (text == "now")
        return now;
    if (text == "today")
        return today;
    if (text == "yesterday")
        return today - kDay;
    const std::optional<i64> ago = TimeAgo(text, now);
    return ago ? ago : CalendarTime(text);
}

std::string OptionsParse(int argc, char **argv, i64 now, Options *options)
{
    std::vector<int> keys;
    std::string wrong;  // the first thing; a format may stand behind it
    optind = 0;         // begins anew, also in a second call
    opterr = 0;
    for (;;) {
        const int before = optind == 0 ? 1 : optind;
        const int key = getopt_long(argc, argv, ":f:d:w:hV", kOptions, nullptr);
        if (key == -1)
            break;
        // getopt_long moves words: the one that it could not take is the last that it looked at.
        const char *word = argv[optind > before ? optind - 1 : before];
        std::string fault;
        if (key == '?')
            fault = std::string("no option: ") + word;
        else if (key == ':')
            fault = std::string(word) + " needs a value";
        else if (optarg != nullptr && *optarg == '\0')  // as of a variable that is not set
            fault = (key == 'w' ? "-w" : std::string("--") + OptionName(key)) + " needs a value";
        else
            fault = ParseOption(key, optarg != nullptr ? optarg : "", now, options);
        if (wrong.empty())
            wrong = fault;
        keys.push_back(key);
    }
    if (!wrong.empty())
        return wrong;
    if (options->help || options->version)
        return "";
    if (optind >= argc)
        return "a command is missing";
    const CommandRow *command = FindCommand(argv[optind]);
    if (command == nullptr)
        return std::string("no command: ") + argv[optind];
    options->command = command->id;
    for (const int key : keys) {
        if (!Takes(*command, key))
            return std::string("--") + OptionName(key) + " is no option of " + command->name;
    }
    wrong = ParseWords({argv + optind + 1, static_cast<size_t>(argc - optind - 1)}, options);
    return wrong.empty() ? CheckOptions(*options) : wrong;
}
