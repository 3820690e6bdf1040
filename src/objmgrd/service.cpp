// SPDX-License-Identifier: Apache-2.0
// service.cpp -- see service.h.
#include "objmgrd/service.h"

#include "objmgrd/caller_session.h"
#include "objmgrd/notify.h"
#include "objmgrd/readiness.h"
#include "objmgrd/rights_reload.h"
#include "objmgrd/server.h"
#include "platform/clock.h"
#include "platform/syslog_line.h"

#include <algorithm>
#include <errno.h>
#include <filesystem>
#include <getopt.h>
#include <limits.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <system_error>
#include <unistd.h>

namespace
{

// A source that has shown nothing by then is left to the COMMAND, or to what the init system starts
// after the service, to find out about.
constexpr u32 kReadyMostMs = 10000;
// Raised by the thread that reads the file of rights.
constexpr int kRightsReadSignal = SIGUSR2;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr int kExitNotExecutable = 126;  // as shells do
constexpr int kExitNotFound = 127;
constexpr int kExitSignal = 128;  // plus the signal's number

struct Settings {
    const char *file = nullptr;
    const char *dir = nullptr;
    const char *rights = nullptr;  // null: kRightsDefaultFile, where there is one
    bool check = false;
    char **command = nullptr;  // null: a service
};

// The least serious priority that goes to standard error; -1: everything goes to the system log.
int stderrPriority = -1;
const char *programName = "";
SyslogLine systemLog = SyslogTo(nullptr, LOG_DAEMON);
SyslogLine recordLog = SyslogTo(nullptr, LOG_AUTHPRIV);  // of the record's thread
Notify notify;

// What the init system hears about; null with a COMMAND.
struct Told {
    const Server *server;
    const Provider *provider;
    Readiness *readiness;
};
const Told *told = nullptr;

// A method call goes to the system log in any case: the terminal is its user's.
void Log(int priority, const char *line)
{
    if (priority > LOG_NOTICE || stderrPriority < 0)
        SyslogWrite(&systemLog, priority, line);
    else if (priority <= stderrPriority)
        fprintf(stderr, "%s: %s\n", programName, line);
}

void LogError(const std::string &what, int error)
{
    Log(LOG_ERR, (what + ": " + strerror(error)).c_str());
}

void WriteRecord(void *, const char *line)
{
    SyslogWrite(&recordLog, LOG_INFO, line);
}

bool TellLostRecords(void *)
{
    SyslogTellLost(&recordLog);
    return recordLog.lost == 0;
}

// With each heartbeat.
void OnBeat()
{
    const u64 now = ClockMs();
    if (told != nullptr)
        told->readiness->Look(told->server->IsReady(), told->provider->Sources(), now);
    notify.Watchdog(now);
    SyslogTellLost(&systemLog);
}

// What keeps the program from starting is for whoever starts it, wherever logs go.
void Complain(const std::string &line)
{
    fprintf(stderr, "%s: %s\n", programName, line.c_str());
    if (stderrPriority < 0)
        SyslogWrite(&systemLog, LOG_ERR, StoreSafeText(line).c_str());
}

int UsageError(const char *what)
{
    fprintf(stderr, "%s: %s\nTry \"%s --help\".\n", programName, what, programName);
    return kExitUsage;
}

// Both return -1 to go on, otherwise the exit status.
int CheckSettings(const ServiceProgram &program, const Settings &settings)
{
    if (settings.file == nullptr)
        return UsageError((std::string("--") + program.fileOption + " is missing").c_str());
    if (settings.check && (settings.dir != nullptr || settings.command != nullptr))
        return UsageError("--check takes neither --dir nor a COMMAND");
    if (settings.dir != nullptr && settings.command != nullptr)
        return UsageError("a COMMAND is served in a private directory: leave --dir out");
    if (settings.rights != nullptr && settings.command != nullptr)
        return UsageError("a COMMAND's user has every right: leave --rights out");
    return -1;
}

int ParseArguments(const ServiceProgram &program, int argc, char **argv, Settings *settings)
{
    const option options[] = {
        {program.fileOption, required_argument, nullptr, 'f'},
        {"dir", required_argument, nullptr, 'd'},
        {"rights", required_argument, nullptr, 'r'},
        {"check", no_argument, nullptr, 'c'},
        {"help", no_argument, nullptr, 'u'},
        {"version", no_argument, nullptr, 'v'},
        {nullptr, 0, nullptr, 0},
    };
    opterr = 0;
    for (;;) {
        const char *word = argv[optind];
        // "+": what follows the first word that is no option belongs to the command.
        const int key = getopt_long(argc, argv, "+:", options, nullptr);
        if (key == -1)
            break;
        if (key == 'u') {
            fputs(program.usage, stdout);
            return EXIT_SUCCESS;
        }
        if (key == 'v') {
            printf("%s %s\n", program.name, ZOR_VERSION);
            return EXIT_SUCCESS;
        }
        if (key == 'f')
            settings->file = optarg;
        else if (key == 'd')
            settings->dir = optarg;
        else if (key == 'r')
            settings->rights = optarg;
        else if (key == 'c')
            settings->check = true;
        else
            return UsageError(
                (std::string(word) + (key == ':' ? " needs a value" : " is no option")).c_str());
    }
    const bool separated = optind > 1 && strcmp(argv[optind - 1], "--") == 0;
    if (optind < argc && !separated)
        return UsageError("a COMMAND stands after \"--\"");
    if (optind == argc && separated)
        return UsageError("the COMMAND after \"--\" is missing");
    settings->command = optind < argc ? argv + optind : nullptr;
    return CheckSettings(program, *settings);
}

// Prints what is to be said about the file. Null: it is not right.
std::unique_ptr<Provider> MakeProvider(const ServiceProgram &program, const Settings &settings)
{
    std::vector<FileNote> notes;
    std::unique_ptr<Provider> provider = program.makeProvider(settings.file, &notes);
    for (const FileNote &note : notes) {
        // A command's terminal is not bothered with what may well be meant.
        if (!note.warning || settings.command == nullptr)
            fprintf(stderr, "%s\n", FileNoteLine(settings.file, note).c_str());
    }
    return provider;
}

// Which file says who may do what. Null: none does.
const char *RightsFile(const Settings &settings)
{
    if (settings.rights != nullptr)
        return settings.rights;
    const bool there = access(kRightsDefaultFile, F_OK) == 0 || errno != ENOENT;
    return there && settings.command == nullptr ? kRightsDefaultFile : nullptr;
}

// Prints what is to be said about the file. False: it is not right.
bool ReadRights(const char *file, Rights *rights)
{
    std::vector<FileNote> notes;
    const bool right = RightsRead(file, rights, &notes);
    for (const FileNote &note : notes)
        fprintf(stderr, "%s\n", FileNoteLine(file, note).c_str());
    return right;
}

// An archive that cannot be written is an error of the settings: better told now than missed later.
bool StartArchive(LogArchive *archive, const Provider &provider)
{
    const std::string &directory = provider.archive.directory;
    const int error = directory.empty() ? 0 : archive->Start(provider.archive, Log);
    if (error == EBUSY)
        Complain("archive " + directory + ": another object manager writes there");
    else if (error != 0)
        Complain("archive " + directory + ": " + strerror(error));
    return error == 0;
}

// What it writes and looks at outlives the server.
int StartServer(Server *server, const ServerOptions &options, Provider *provider)
{
    const std::string &directory = options.directory;
    const int error = server->Start(options, provider);
    if (error == EBUSY)
        Complain(directory + ": another object manager serves there");
    else if (error == EPERM)
        Complain(directory + ": has to belong to the user that the service runs as, and to be "
                             "writable for nobody else (chmod go-w)");
    else if (error != 0)
        Complain(directory + ": " + strerror(error));
    return error;
}

// Blocked signals wait for Server::Run. What was ignored before is not, so that none is lost.
sigset_t BlockSignals(std::initializer_list<int> signals)
{
    sigset_t set;
    sigemptyset(&set);
    for (int signal : signals) {
        ::signal(signal, SIG_DFL);
        sigaddset(&set, signal);
    }
    sigprocmask(SIG_BLOCK, &set, nullptr);
    return set;
}

struct Service {
    Server *server;
    const char *rightsFile;  // null: there is none
    RightsReload *rights;
};

// The rights that were read, or why they stay as they are.
void TakeRights(const Service &service)
{
    const std::optional<RightsReload::Outcome> outcome = service.rights->Take();
    if (!outcome.has_value())
        return;
    for (const FileNote &note : outcome->notes)
        Log(note.warning ? LOG_WARNING : LOG_ERR, FileNoteLine(service.rightsFile, note).c_str());
    const std::string file = service.rightsFile;
    if (outcome->rights.has_value()) {
        service.server->SetRights(*outcome->rights);
        Log(LOG_NOTICE, ("rights read again: " + file).c_str());
    } else {
        Log(LOG_ERR, (file + " is not right: the rights stay as they were").c_str());
    }
}

bool OnServiceSignal(void *context, const signalfd_siginfo &signal)
{
    const Service *service = static_cast<const Service *>(context);
    if (signal.ssi_signo == static_cast<u32>(kRightsReadSignal)) {
        TakeRights(*service);
        return true;
    }
    if (signal.ssi_signo != SIGHUP)
        return false;
    const int error = service->rightsFile != nullptr ? service->rights->Begin() : 0;
    if (error != 0)
        LogError("the rights cannot be read again", error);
    else if (service->rightsFile == nullptr)
        Log(LOG_NOTICE, "there is no file of rights to read again");
    return true;
}

int RunService(const Settings &settings, const Rights &rights, Provider *provider)
{
    const char *dir = settings.dir;
    if (dir == nullptr)
        dir = getenv("ZOROBJMGR");
    if (dir == nullptr || *dir == '\0')
        dir = kObjMgrDefaultDir;
    const sigset_t signals = BlockSignals({SIGHUP, SIGINT, SIGTERM, kRightsReadSignal});
    // Before the threads of the provider.
    notify.Open();
    Record record;
    int error = record.Start(
        {.write = WriteRecord, .session = CallerSessionIs, .tellLost = TellLostRecords});
    if (error != 0)
        LogError("nothing can be written down", error);
    LogArchive archive;
    Server server;
    if (!StartArchive(&archive, *provider) || StartServer(&server,
                                                          {.directory = dir,
                                                           .group = true,
                                                           .rights = rights,
                                                           .record = &record,
                                                           .beat = OnBeat,
                                                           .log = Log,
                                                           .archive = &archive},
                                                          provider) != 0)
        return kExitFailed;
    const std::string serving = std::string("serving ") + settings.file + " in " + dir;
    Log(LOG_NOTICE, serving.c_str());
    Readiness readiness(&notify, serving, ClockMs() + kReadyMostMs);
    const Told all = {&server, provider, &readiness};
    told = &all;
    // Ready at once, where it can be: heartbeats look as well, but not as often. A signal ends the
    // waiting; it is taken below.
    error = server.AwaitReady(signals, kReadyMostMs);
    if (error == 0)
        OnBeat();
    const char *rightsFile = RightsFile(settings);
    RightsReload reload(rightsFile != nullptr ? rightsFile : "", kRightsReadSignal);
    Service service = {&server, rightsFile, &reload};
    if (error == 0)
        error = server.Run(signals, OnServiceSignal, &service);
    told = nullptr;
    notify.Stopping();
    server.Stop();
    record.Stop();
    if (error != 0)
        LogError("stopped", error);
    else
        Log(LOG_NOTICE, "stopped");
    return error == 0 ? EXIT_SUCCESS : kExitFailed;
}

// A directory of the user's own, removed with all that is in it.
class PrivateDirectory
{
public:
    PrivateDirectory() = default;
    ~PrivateDirectory()
    {
        std::error_code ignored;
        if (!path_.empty())
            std::filesystem::remove_all(path_, ignored);
    }
    PrivateDirectory(const PrivateDirectory &) = delete;
    PrivateDirectory &operator=(const PrivateDirectory &) = delete;

    // 0 or an errno value. The path is absolute, so that a command may change its directory.
    int Create()
    {
        const char *base = getenv("TMPDIR");
        if (base == nullptr || *base == '\0')
            base = "/tmp";
        char real[PATH_MAX];
        if (realpath(base, real) == nullptr)
            return errno;
        std::string path = std::string(real) + "/" + programName + ".XXXXXX";
        if (mkdtemp(path.data()) == nullptr)
            return errno;
        path_ = path;
        return 0;
    }
    const std::string &Path() const { return path_; }

private:
    std::string path_;
};

// Points what is started from here on at the directory. 0 or an errno value.
int SetEnvironment(const std::string &directory)
{
    if (setenv("ZOROBJMGR", directory.c_str(), 1) != 0)
        return errno;
    const char *registry = getenv("ZORSSNDIR");
    if (registry != nullptr && *registry != '\0')
        return 0;
    const std::string sessions = directory + "/sessions";
    if (mkdir(sessions.c_str(), 0700) != 0 || setenv("ZORSSNDIR", sessions.c_str(), 1) != 0)
        return errno;
    return 0;
}

// Starts the command with default signals and none blocked, in this process group and on this
// terminal. 0 or an errno value.
int Spawn(char **command, pid_t *child)
{
    posix_spawnattr_t attributes;
    const int error = posix_spawnattr_init(&attributes);
    if (error != 0)
        return error;
    sigset_t all;
    sigset_t none;
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    const int result = posix_spawnp(child, command[0], nullptr, &attributes, command, environ);
    posix_spawnattr_destroy(&attributes);
    return result;
}

struct Child {
    pid_t pid = 0;
    int status = 0;  // waitpid's
};

// The terminal sends its own signals to the whole process group, so the command has those
// already; a hang-up may reach only the leader of the terminal's session.
bool IsForward(const signalfd_siginfo &signal)
{
    return signal.ssi_signo == SIGHUP || signal.ssi_code != SI_KERNEL;
}

bool OnSignal(void *context, const signalfd_siginfo &signal)
{
    Child *child = static_cast<Child *>(context);
    if (signal.ssi_signo != SIGCHLD) {
        if (IsForward(signal))
            kill(child->pid, static_cast<int>(signal.ssi_signo));
        return true;
    }
    return waitpid(child->pid, &child->status, WNOHANG) != child->pid;
}

int ExitStatus(int status)
{
    return WIFSIGNALED(status) ? kExitSignal + WTERMSIG(status) : WEXITSTATUS(status);
}

// Takes one of the signals, but for that of a child. 0: none waits.
int PendingEnd(sigset_t signals)
{
    const timespec now = {};
    sigdelset(&signals, SIGCHLD);
    return std::max(sigtimedwait(&signals, nullptr, &now), 0);
}

int RunCommand(const Settings &settings, Provider *provider)
{
    // First, so that no signal leaves the directory behind; then the directory, so that it outlives
    // the server.
    const sigset_t signals =
        BlockSignals({SIGHUP, SIGINT, SIGTERM, SIGQUIT, SIGUSR1, SIGUSR2, SIGCHLD});
    PrivateDirectory directory;
    int error = directory.Create();
    if (error == 0)
        error = SetEnvironment(directory.Path());
    if (error != 0) {
        Complain(std::string("no private directory: ") + strerror(error));
        return kExitFailed;
    }
    Record record;
    error = record.Start(
        {.write = WriteRecord, .session = CallerSessionIs, .tellLost = TellLostRecords});
    if (error != 0)
        LogError("nothing can be written down", error);
    LogArchive archive;
    Server server;
    if (!StartArchive(&archive, *provider) || StartServer(&server,
                                                          {.directory = directory.Path(),
                                                           .record = &record,
                                                           .beat = OnBeat,
                                                           .log = Log,
                                                           .archive = &archive},
                                                          provider) != 0)
        return kExitFailed;
    error = server.AwaitReady(signals, kReadyMostMs);
    if (error != 0)
        LogError("not served yet", error);
    // A signal that came in the meantime was meant for the command: it has had its end then.
    if (const int signal = PendingEnd(signals))
        return kExitSignal + signal;
    Child child;
    error = Spawn(settings.command, &child.pid);
    if (error != 0) {
        Complain(std::string(settings.command[0]) + ": " + strerror(error));
        return error == ENOENT || error == ENOTDIR ? kExitNotFound : kExitNotExecutable;
    }
    error = server.Run(signals, OnSignal, &child);
    if (error != 0) {
        // The command goes on without a service, which it has to cope with anyway.
        LogError("stopped", error);
        server.Stop();
        waitpid(child.pid, &child.status, 0);
    }
    return ExitStatus(child.status);
}

}  // namespace

void ServiceLog(int priority, const char *line)
{
    Log(priority, line);
}

int ServiceMain(const ServiceProgram &program, int argc, char **argv)
{
    programName = program.name;
    Settings settings;
    const int usage = ParseArguments(program, argc, argv, &settings);
    if (usage >= 0)
        return usage;

    signal(SIGPIPE, SIG_IGN);
    // Where whoever starts it ignores that, no child could be waited for.
    signal(SIGCHLD, SIG_DFL);
    systemLog.name = program.name;
    recordLog.name = program.name;
    if (settings.command != nullptr)
        stderrPriority = LOG_ERR;
    else if (settings.check || isatty(STDERR_FILENO) == 1)
        stderrPriority = LOG_NOTICE;

    const std::unique_ptr<Provider> provider = MakeProvider(program, settings);
    const char *rightsFile = RightsFile(settings);
    Rights rights;
    const struct {
        const char *name;
        bool right;
    } files[] = {{settings.file, provider != nullptr},
                 {rightsFile, rightsFile == nullptr || ReadRights(rightsFile, &rights)}};
    bool right = true;
    for (const auto &file : files) {
        right = right && file.right;
        if (settings.check && file.right && file.name != nullptr)
            printf("%s: right\n", file.name);
        if (!settings.check && !file.right)
            Complain(std::string(file.name) + " is not right: not started");
    }
    if (settings.check || !right)
        return right ? EXIT_SUCCESS : kExitFailed;
    return settings.command != nullptr ? RunCommand(settings, provider.get())
                                       : RunService(settings, rights, provider.get());
}
