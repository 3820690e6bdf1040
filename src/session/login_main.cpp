// SPDX-License-Identifier: Apache-2.0
// login_main.cpp -- smclp-login: opens a session, runs the shell or a command in it, closes it.
//
// It stays beside its child for the whole session, so that the session is closed and the terminal
// put back however the child ends. When it is killed itself, the child goes on and holds the
// session by the lock it inherited.
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <pwd.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "session/login_options.h"
#include "session/registry.h"

static constexpr int kExitFailed = 1;
static constexpr int kExitCannotStart = 126;
static constexpr int kExitNotFound = 127;
static constexpr int kExitSignalBase = 128;

// For a caller that has no PATH.
static constexpr char kDefaultPath[] = "/usr/local/bin:/usr/bin:/bin";

// Sent to smclp-login, meant for the session. Stopping and continuing stay with the kernel.
static constexpr int kPassedOn[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2, SIGALRM};

static void Complain(const char *what, const char *name, int error)
{
    fprintf(stderr, "smclp-login: %s %s: %s\n", what, name, strerror(error));
}

static bool OpenStandardDescriptors()
{
    int descriptor;
    do {
        descriptor = open("/dev/null", O_RDWR);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor < 0)
        return false;
    close(descriptor);
    return true;
}

// --- The child's environment -----------------------------------------------------------------

struct Environment {
    char **entries;  // ended by a null
    size_t count;
};

static bool Put(Environment *environment, const char *name, const char *value)
{
    if (value == nullptr)
        return true;
    char *entry = nullptr;
    if (asprintf(&entry, "%s=%s", name, value) < 0)
        return false;
    environment->entries[environment->count++] = entry;
    return true;
}

static bool PutSession(Environment *environment, u32 id, const RegistryRecord *record)
{
    char sessionId[16];
    char type[16];
    char address[16];
    char privilege[16];
    snprintf(sessionId, sizeof(sessionId), "%u", id);
    snprintf(type, sizeof(type), "%u", record->type);
    snprintf(address, sizeof(address), "%u", record->address);
    snprintf(privilege, sizeof(privilege), "%x", record->privilege);
    return Put(environment, "ZORSID", sessionId) && Put(environment, "ZORSSNTYPE", type) &&
           Put(environment, "ZORIP", address) && Put(environment, "ZORPRIV", privilege);
}

// What the child may take from the caller. The settings decide which files are used: only from a
// caller with the program's own rights.
static bool PutInherited(Environment *environment)
{
    static constexpr const char *kSettings[] = {"ZOROBJMGR", "ZORSSNDIR", "ZORTRACE"};
    static constexpr const char *kUsers[] = {"TERM", "LANG", "TZ", "HOME", "USER", "LOGNAME"};
    for (const char *name : kSettings)
        if (!Put(environment, name, secure_getenv(name)))
            return false;
    for (const char *name : kUsers)
        if (!Put(environment, name, getenv(name)))
            return false;
    for (char **entry = environ; *entry != nullptr; ++entry)
        if (strncmp(*entry, "LC_", 3) == 0)
            environment->entries[environment->count++] = *entry;
    return true;
}

// The shell and its fellow programs stand first on the PATH. A directory with a colon in its name
// cannot stand there.
static bool PutPath(Environment *environment, const char *ownDirectory)
{
    const char *path = secure_getenv("PATH");
    if (path == nullptr || path[0] == '\0')
        path = kDefaultPath;
    if (ownDirectory[0] == '\0' || strchr(ownDirectory, ':') != nullptr)
        return Put(environment, "PATH", path);
    char *whole = nullptr;
    if (asprintf(&whole, "%s:%s", ownDirectory, path) < 0)
        return false;
    bool put = Put(environment, "PATH", whole);
    free(whole);
    return put;
}

static char **BuildEnvironment(u32 id, const RegistryRecord *record, const char *ownDirectory)
{
    size_t inherited = 0;
    while (environ[inherited] != nullptr)
        ++inherited;
    Environment environment = {};
    // Room for every variable that could come through, the four of the session, PATH, the end.
    environment.entries = static_cast<char **>(calloc(inherited + 6, sizeof(char *)));
    if (environment.entries == nullptr || !PutSession(&environment, id, record) ||
        !PutInherited(&environment) || !PutPath(&environment, ownDirectory))
        return nullptr;
    return environment.entries;
}

// The directory that this program was started from; "" when the system does not say.
static void FindOwnDirectory(char *directory, size_t size)
{
    ssize_t length = readlink("/proc/self/exe", directory, size);
    if (length <= 0 || static_cast<size_t>(length) == size)
        length = 0;
    directory[length] = '\0';
    char *slash = strrchr(directory, '/');
    if (slash != nullptr)
        slash[slash == directory ? 1 : 0] = '\0';
}

// --- The child -------------------------------------------------------------------------------

static void ResetSignals(const sigset_t *mask)
{
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number)
        sigaction(number, &action, nullptr);
    sigprocmask(SIG_SETMASK, mask, nullptr);
}

// A set-user-id smclp-login keeps the registry with its own rights, but runs nothing with them.
static bool DropRights()
{
    return setresgid(getgid(), getgid(), getgid()) == 0 &&
           setresuid(getuid(), getuid(), getuid()) == 0;
}

static void ExecShell(const char *ownDirectory, const char *line)
{
    char name[] = "smclp";
    char *argv[] = {name, const_cast<char *>(line), nullptr};
    char path[PATH_MAX];
    int length = snprintf(path, sizeof(path), "%s/%s", ownDirectory, name);
    if (ownDirectory[0] != '\0' && static_cast<size_t>(length) < sizeof(path)) {
        execv(path, argv);
        if (errno != ENOENT)
            return;
    }
    execvp(name, argv);
}

[[noreturn]] static void RunChild(const LoginOptions *options, u32 id, const RegistryRecord *record,
                                  const sigset_t *mask)
{
    static char ownDirectory[PATH_MAX];
    FindOwnDirectory(ownDirectory, sizeof(ownDirectory));
    char **environment = BuildEnvironment(id, record, ownDirectory);
    if (environment == nullptr || !DropRights()) {
        Complain("cannot prepare", "the session's process", errno);
        _exit(kExitCannotStart);
    }
    environ = environment;  // execvp searches the child's PATH, not the caller's
    ResetSignals(mask);
    const char *name = options->command != nullptr ? options->command[0] : "smclp";
    if (options->command != nullptr)
        execvp(name, options->command);
    else
        ExecShell(ownDirectory, options->line);
    int error = errno;
    Complain("cannot run", name, error);
    _exit(error == ENOENT || error == ENOTDIR ? kExitNotFound : kExitCannotStart);
}

// --- Waiting for it --------------------------------------------------------------------------

static void PassOn(pid_t child, int number)
{
    kill(child, number);
    if (number == SIGHUP || number == SIGTERM)
        kill(child, SIGCONT);  // a stopped child would not see it, and the session never end
}

// Returns the child's wait status; -1 when there is none to be had. `signals` are blocked.
static int WaitForChild(pid_t child, const sigset_t *signals)
{
    for (;;) {
        int status = 0;
        pid_t gone = waitpid(child, &status, WNOHANG);
        if (gone == child)
            return status;
        if (gone < 0 && errno != EINTR)
            return -1;
        int number = sigwaitinfo(signals, nullptr);
        if (number > 0 && number != SIGCHLD)
            PassOn(child, number);
    }
}

static int ExitStatus(int status)
{
    if (status == -1)
        return kExitCannotStart;
    return WIFSIGNALED(status) ? kExitSignalBase + WTERMSIG(status) : WEXITSTATUS(status);
}

// Blocks what is passed on and SIGCHLD, to be waited for; *before is the mask to go back to.
static void BlockSignals(sigset_t *signals, sigset_t *before)
{
    // A caller that ignores SIGCHLD would have the child's exit status thrown away.
    signal(SIGCHLD, SIG_DFL);
    signal(SIGPIPE, SIG_IGN);
    sigemptyset(signals);
    sigaddset(signals, SIGCHLD);
    for (int number : kPassedOn)
        sigaddset(signals, number);
    sigset_t blocked = *signals;
    sigaddset(&blocked, SIGTTOU);  // the terminal is put back also from the background
    sigprocmask(SIG_BLOCK, &blocked, before);
}

static int RunSession(const LoginOptions *options, const RegistryRecord *record, u32 id,
                      const sigset_t *signals, const sigset_t *before)
{
    termios terminal;
    bool hasTerminal = tcgetattr(STDIN_FILENO, &terminal) == 0;
    pid_t child = fork();
    if (child == 0)
        RunChild(options, id, record, before);
    if (child < 0) {
        Complain("cannot start", "a process", errno);
        return kExitCannotStart;
    }
    int status = WaitForChild(child, signals);
    // A child that ended by itself left the terminal as it wanted it. At once: output held back
    // by flow control must not keep the session open.
    if (hasTerminal && WIFSIGNALED(status))
        tcsetattr(STDIN_FILENO, TCSANOW, &terminal);
    return ExitStatus(status);
}

// --- The session -----------------------------------------------------------------------------

static void NameUser(char *name, size_t size)
{
    const passwd *entry = getpwuid(getuid());
    if (entry != nullptr && strlen(entry->pw_name) < size)
        memcpy(name, entry->pw_name, strlen(entry->pw_name) + 1);
    else
        snprintf(name, size, "%u", static_cast<u32>(getuid()));
}

static int ComplainAboutRegistry(u32 result, const char *directory, int error)
{
    const char *why = strerror(result == kRegistryBadParameter ? EINVAL : error);
    if (result == kRegistryUntrusted)
        why = "the directory belongs to another user or is writable for everyone";
    fprintf(stderr, "smclp-login: cannot open a session in %s (set by ZORSSNDIR): %s\n", directory,
            why);
    return kExitFailed;
}

static int Login(const LoginOptions *options)
{
    RegistryRecord record = {};
    NameUser(record.user, sizeof(record.user));
    record.type = options->type;
    record.address = options->address;
    record.privilege = options->privilege;
    record.idleSeconds = options->idleSeconds;

    // Before the session is opened: from here on no signal leaves it behind.
    sigset_t signals;
    sigset_t before;
    BlockSignals(&signals, &before);
    const char *directory = RegistryDirectory();
    u32 id = 0;
    int lock = -1;
    u32 result = RegistryOpenSession(directory, &record, nullptr, &id, &lock);
    if (result != kRegistryOk)
        return ComplainAboutRegistry(result, directory, errno);
    int status = RunSession(options, &record, id, &signals, &before);
    if (RegistryCloseSession(directory, id, lock) != kRegistryOk)
        Complain("cannot remove the session in", directory, errno);
    return status;
}

static int Print(const char *text)
{
    return fputs(text, stdout) < 0 || fflush(stdout) != 0 ? kExitFailed : 0;
}

int main(int argc, char **argv)
{
    if (!OpenStandardDescriptors())
        return kExitFailed;
    LoginOptions options;
    char message[256];
    u32 result = LoginParseOptions(argc, argv, &options, message, sizeof(message));
    if (result != 0) {
        fprintf(stderr, "smclp-login: %s (see smclp-login --help)\n", message);
        return static_cast<int>(result);
    }
    switch (options.action) {
    case LoginAction::Help:
        return Print(kLoginUsage);
    case LoginAction::Version:
        return Print("smclp-login " ZOR_VERSION "\n");
    default:
        return Login(&options);
    }
}
