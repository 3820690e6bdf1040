// SPDX-License-Identifier: Apache-2.0
// login_main.cpp -- smclp-login: opens a session, runs the shell or a command in it, closes it.
//
// It stays beside its child for the whole session (login_watch.h), so that the session is closed
// and the terminal put back however the child ends. The child ends with it, however it ends. Its
// rights are its caller's, and nothing else.
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <pwd.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "session/login_client.h"
#include "session/login_confine.h"
#include "session/login_environment.h"
#include "session/login_host.h"
#include "session/login_keeper.h"
#include "session/login_line.h"
#include "session/login_options.h"
#include "session/login_service.h"
#include "session/login_settings.h"
#include "session/login_watch.h"
#include "session/registry.h"

namespace
{

constexpr int kExitFailed = 1;
constexpr int kExitUnavailable = 69;  // the names of sysexits.h for these four
constexpr int kExitTemporary = 75;
constexpr int kExitNoPermission = 77;
constexpr int kExitCannotStart = 126;
constexpr int kExitNotFound = 127;
constexpr int kExitSignalBase = 128;

// --- What is said ----------------------------------------------------------------------------

// One line on standard error, or as much of it as fits within a second: whoever does not read it
// must not hold a session open, nor a process.
void Say(const char *format, ...) __attribute__((format(printf, 1, 2)));
void Say(const char *format, ...)
{
    char line[512];
    va_list arguments;
    va_start(arguments, format);
    int length = vsnprintf(line, sizeof(line) - 1, format, arguments);
    va_end(arguments);
    if (length < 0)
        return;
    size_t size = static_cast<size_t>(length) < sizeof(line) - 1 ? static_cast<size_t>(length)
                                                                 : sizeof(line) - 2;
    line[size++] = '\n';

    struct sigaction interrupt = {};
    interrupt.sa_handler = [](int) {};  // without SA_RESTART: the write below ends
    struct sigaction before;
    sigset_t ending;
    sigset_t mask;
    sigemptyset(&ending);
    sigaddset(&ending, SIGALRM);
    sigaction(SIGALRM, &interrupt, &before);
    sigprocmask(SIG_UNBLOCK, &ending, &mask);
    alarm(1);
    ssize_t ignored = write(STDERR_FILENO, line, size);
    static_cast<void>(ignored);
    alarm(0);
    sigprocmask(SIG_SETMASK, &mask, nullptr);
    sigaction(SIGALRM, &before, nullptr);
}

bool OpenStandardDescriptors()
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

// The directory that this program was started from; "" when the system does not say.
void FindOwnDirectory(char *directory, size_t size)
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

void ResetSignals(const sigset_t *mask)
{
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number)
        sigaction(number, &action, nullptr);
    sigprocmask(SIG_SETMASK, mask, nullptr);
}

// Finds the shell beside this program, else on the PATH; false, with errno, when there is none.
// The one beside stands also when it cannot be run: no other is taken then.
bool FindShell(const char *ownDirectory, char *path, size_t size)
{
    int length = snprintf(path, size, "%s/smclp", ownDirectory);
    if (ownDirectory[0] != '\0' && static_cast<size_t>(length) < size && access(path, F_OK) == 0)
        return true;
    const char *from = getenv("PATH");
    while (from != nullptr && from[0] != '\0') {
        size_t room = strcspn(from, ":");
        length = snprintf(path, size, "%.*s/smclp", static_cast<int>(room), from);
        if (room > 0 && static_cast<size_t>(length) < size && access(path, X_OK) == 0)
            return true;
        from += from[room] == ':' ? room + 1 : room;
    }
    errno = ENOENT;
    return false;
}

void ExecShell(const char *ownDirectory, const LoginOptions *options)
{
    char name[] = "smclp";
    char *argv[] = {name, options->line, nullptr};
    char path[PATH_MAX];
    if (!FindShell(ownDirectory, path, sizeof(path)))
        return;
    LoginConfinement needs = {path, ServiceDirectory(), RegistryDirectory(), getenv("ZORTRACE")};
    if (!options->unconfined)
        LoginConfine(&needs);  // without Landlock it goes on
    execv(path, argv);
}

// The tool beside this program, and no other. It can write files and listen, which the shell
// cannot: without Landlock it is not started.
void ExecTool(const char *ownDirectory, const LoginOptions *options)
{
    char path[PATH_MAX];
    const int length = snprintf(path, sizeof(path), "%s/%s", ownDirectory, kLoginTool);
    if (ownDirectory[0] == '\0' || static_cast<size_t>(length) >= sizeof(path)) {
        errno = ENOENT;
        return;
    }
    LoginConfinement needs = {path, ServiceDirectory(), RegistryDirectory(), nullptr};
    if (!options->unconfined && !LoginConfine(&needs)) {
        errno = EPERM;
        return;
    }
    execv(path, options->tool);
}

[[noreturn]] void RunChild(const LoginOptions *options, u32 id, const RegistryRecord *record,
                           pid_t parent, const sigset_t *mask)
{
    LoginDieWith(parent);
    static char ownDirectory[PATH_MAX];
    FindOwnDirectory(ownDirectory, sizeof(ownDirectory));
    char **environment = LoginBuildEnvironment(id, record, ownDirectory);
    if (environment == nullptr) {
        Say("smclp-login: cannot prepare the session's process: %s", strerror(errno));
        _exit(kExitCannotStart);
    }
    environ = environment;  // the shell is searched on the child's PATH, not the caller's
    ResetSignals(mask);
    const char *name = "smclp";
    if (options->command != nullptr) {
        name = options->command[0];
        execvp(name, options->command);
    } else if (options->tool[0] != nullptr) {
        name = kLoginTool;
        ExecTool(ownDirectory, options);
    } else {
        ExecShell(ownDirectory, options);
    }
    int error = errno;
    Say("smclp-login: cannot run %s: %s", name, strerror(error));
    _exit(error == ENOENT || error == ENOTDIR ? kExitNotFound : kExitCannotStart);
}

// --- The session -----------------------------------------------------------------------------

int ExitStatus(const LoginEnding *ending)
{
    if (ending->why == LoginEnd::Lost)
        return kExitCannotStart;
    if (WIFSIGNALED(ending->status))
        return kExitSignalBase + WTERMSIG(ending->status);
    // ssh says 255 when it fails itself.
    return WEXITSTATUS(ending->status) == 255 ? 254 : WEXITSTATUS(ending->status);
}

void SayWhy(const LoginEnding *ending, u32 idleSeconds)
{
    if (ending->why == LoginEnd::Idle && idleSeconds % 60 == 0)
        Say("smclp-login: the session was not used for %u min and is ended", idleSeconds / 60);
    else if (ending->why == LoginEnd::Idle)
        Say("smclp-login: the session was not used for %u s and is ended", idleSeconds);
    else if (ending->why == LoginEnd::Removed)
        Say("smclp-login: the session was ended from outside");
}

// For the record: why the session ended.
void NameReason(const LoginEnding *ending, char *reason, size_t size)
{
    static constexpr const char *kReasons[] = {
        nullptr, "told to end", "idle", "ended from outside", "hung up", "lost"};
    const char *why = kReasons[static_cast<u8>(ending->why)];
    if (why != nullptr)
        snprintf(reason, size, "%s", why);
    else if (WIFSIGNALED(ending->status))
        snprintf(reason, size, "signal %d", WTERMSIG(ending->status));
    else
        snprintf(reason, size, "exit %d", WEXITSTATUS(ending->status));
}

int RunSession(const LoginOptions *options, const RegistryRecord *record, LoginSession *session,
               const sigset_t *before)
{
    termios terminal;
    bool hasTerminal = tcgetattr(STDIN_FILENO, &terminal) == 0;
    pid_t self = getpid();
    LoginLink link;
    LoginLinkOpen(&link, ServiceDirectory(), session->id, record->addressText);
    session->link = &link;
    session->child = fork();
    if (session->child == 0)
        RunChild(options, session->id, record, self, before);
    if (session->child < 0) {
        Say("smclp-login: no room for a session: %s", strerror(errno));
        LoginLinkClose(&link, "no room");
        session->link = nullptr;
        return kExitTemporary;
    }
    LoginEnding ending = LoginWatch(session);
    // A child that ended by itself left the terminal as it wanted it. At once: output held back
    // by flow control must not keep the session open.
    if (hasTerminal && WIFSIGNALED(ending.status))
        tcsetattr(STDIN_FILENO, TCSANOW, &terminal);
    SayWhy(&ending, session->idleSeconds);
    char reason[32];
    NameReason(&ending, reason, sizeof(reason));
    LoginLinkClose(&link, reason);
    session->link = nullptr;
    return ExitStatus(&ending);
}

void NameUser(char *name, size_t size)
{
    const passwd *entry = getpwuid(getuid());
    if (entry != nullptr && strlen(entry->pw_name) < size)
        memcpy(name, entry->pw_name, strlen(entry->pw_name) + 1);
    else
        snprintf(name, size, "%u", static_cast<u32>(getuid()));
}

// Says it to the user and to the service's record. The reason is what the line says, in short.
int Refuse(const LoginOptions *options, int status, const char *reason, const char *line)
{
    Say("smclp-login: %s", line);
    LoginTellRefusal(ServiceDirectory(), options->client.addressText, reason);
    return status;
}

int ComplainAboutRegistry(u32 result, const LoginOptions *options, const char *directory, int error)
{
    char line[96];
    switch (result) {
    case kRegistryFull:
        return Refuse(options, kExitTemporary, "too many sessions",
                      "there are as many sessions as there may be; come back later");
    case kRegistryUserFull:
        snprintf(line, sizeof(line), "you have %u sessions, as many as one user may have",
                 options->userSessions);
        return Refuse(options, kExitTemporary, "too many sessions of the user", line);
    case kRegistryUntrusted:
        Say("smclp-login: the session registry %s (set by ZORSSNDIR) belongs to another user, or "
            "others may write it and it is not sticky",
            directory);
        return kExitUnavailable;
    default:
        break;
    }
    if (result == kRegistryBadParameter)
        error = EINVAL;
    Say("smclp-login: cannot open a session in %s (set by ZORSSNDIR): %s", directory,
        strerror(error));
    if (error == EACCES || error == EPERM)
        return kExitNoPermission;
    bool full =
        error == ENOSPC || error == EDQUOT || error == EMFILE || error == ENFILE || error == ENOMEM;
    return full ? kExitTemporary : kExitUnavailable;
}

// The registry of several users, where nothing else made it: root's first login does, for the group
// that may use the object manager. A directory that ZORSSNDIR names is its user's own affair.
void MakeSharedRegistry(const char *directory)
{
    struct stat objmgr;
    if (geteuid() != 0 || strcmp(directory, kRegistryDefaultDirectory) != 0)
        return;
    if (access(directory, F_OK) != 0 && stat(ServiceDirectory(), &objmgr) == 0)
        RegistryMakeShared(directory, objmgr.st_gid);  // a failure is seen by who opens
}

int Login(const LoginOptions *options)
{
    RegistryRecord record = options->client;
    NameUser(record.user, sizeof(record.user));
    record.type = options->type;
    record.privilege = options->privilege;
    record.idleSeconds = options->idleSeconds[options->type];
    RegistryLimits limits = {options->sessions, options->userSessions};
    if (limits.all != 0 && record.type != kLoginTypeConsole)
        limits.all -= kLoginKeptForConsole;

    // A COMMAND is started also where nobody serves.
    if (options->command == nullptr) {
        LoginVerdict verdict = LoginAskService(ServiceDirectory(), kLoginAskMs);
        if (verdict.status == kExitNoPermission)
            return Refuse(options, verdict.status, "no right to log in", verdict.line);
        if (verdict.line[0] != '\0')
            Say("smclp-login: %s", verdict.line);
        if (verdict.status != 0)
            return verdict.status;
    }
    sigset_t before;
    LoginBlockSignals(&before);
    LoginSession session = {};
    session.directory = RegistryDirectory();
    session.idleSeconds = record.idleSeconds;
    MakeSharedRegistry(session.directory);
    u32 result =
        RegistryOpenSession(session.directory, &record, &limits, &session.id, &session.lock);
    if (result != kRegistryOk)
        return ComplainAboutRegistry(result, options, session.directory, errno);
    LoginKeeper keeper;
    int status = kExitTemporary;
    const bool kept = LoginKeeperStart(session.directory, session.id, session.lock, &keeper);
    if (kept) {
        status = RunSession(options, &record, &session, &before);
    } else {
        Say("smclp-login: no room for a session: %s", strerror(errno));
    }
    if (RegistryCloseSession(session.directory, session.id, session.lock) != kRegistryOk)
        Say("smclp-login: cannot remove the session in %s: %s", session.directory, strerror(errno));
    if (kept)
        LoginKeeperEnd(&keeper);
    return status;
}

// --- The program -----------------------------------------------------------------------------

// The command line may name the file of the settings, over which it stands: it is read twice.
u32 ReadOptions(int argc, char **argv, LoginOptions *options, char *message, size_t size)
{
    LoginDefaultOptions(options);
    u32 result = LoginParseOptions(argc, argv, options, message, size);
    if (result != 0 || options->action != LoginAction::Run)
        return result;
    result = LoginReadSettings(options->settings, options, message, size);
    return result == 0 ? LoginParseOptions(argc, argv, options, message, size) : result;
}

int Print(const char *text)
{
    return fputs(text, stdout) < 0 || fflush(stdout) != 0 ? kExitFailed : 0;
}

}  // namespace

int main(int argc, char **argv)
{
    if (!OpenStandardDescriptors())
        return kExitFailed;
    if (getauxval(AT_SECURE) != 0 || geteuid() != getuid() || getegid() != getgid()) {
        Say("smclp-login: it must not be installed set-user-id, set-group-id or with capabilities: "
            "it works with its caller's rights alone");
        return kExitNoPermission;
    }
    static LoginOptions options;
    char message[256];
    u32 result = ReadOptions(argc, argv, &options, message, sizeof(message));
    if (result == 0 && options.action == LoginAction::Run)
        result = LoginTakeLine(&options, getenv("SSH_ORIGINAL_COMMAND"), message, sizeof(message));
    if (result != 0 && result != kLoginLineRefused) {
        Say("smclp-login: %s (see smclp-login --help)", message);
        return static_cast<int>(result);
    }
    if (options.host != nullptr && !LoginUseHost(options.host)) {
        Say("smclp-login: no memory");
        return kExitTemporary;
    }
    LoginTakeClient(&options, getenv("SSH_CONNECTION"), isatty(STDIN_FILENO) != 0);
    if (result == kLoginLineRefused)
        return Refuse(&options, kExitNoPermission, "copying files", message);
    switch (options.action) {
    case LoginAction::Help:
        return Print(kLoginUsage);
    case LoginAction::Version:
        return Print("smclp-login " ZOR_VERSION "\n");
    default:
        return Login(&options);
    }
}
