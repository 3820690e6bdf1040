// SPDX-License-Identifier: Apache-2.0
// audit_source.cpp -- see audit_source.h.
#include "ctl/audit_source.h"

#include "ctl/audit.h"
#include "ctl/commands.h"
#include "platform/clock.h"

#include <algorithm>
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

constexpr std::string_view kJournalMagic = "LPKSHHRH";
constexpr size_t kBufferSize = 65536;
constexpr size_t kComplaintMost = 300;
constexpr u32 kEndLookMs = 10;
constexpr u32 kEndMostMs = 5000;  // from the end of journalctl's output to its own

bool IsJournalFile(const std::string &file)
{
    char magic[kJournalMagic.size()];
    FILE *stream = fopen(file.c_str(), "re");
    if (stream == nullptr)
        return false;
    const size_t got = fread(magic, 1, sizeof magic, stream);
    fclose(stream);
    return std::string_view(magic, got) == kJournalMagic;
}

bool IsDirectory(const std::string &path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

enum class Journal : u8 { None, Readable, Forbidden };

// Each machine's files are in a directory of its own. Those of single users, which everybody may
// read of himself, hold nothing of the services.
Journal SystemJournal(const std::vector<std::string> &directories)
{
    Journal found = Journal::None;
    for (const std::string &directory : directories) {
        DIR *list = opendir(directory.c_str());
        while (const dirent *machine = list != nullptr ? readdir(list) : nullptr) {
            const std::string file = directory + "/" + machine->d_name + "/system.journal";
            if (access(file.c_str(), R_OK) == 0)
                found = Journal::Readable;
            else if (errno == EACCES && found == Journal::None)
                found = Journal::Forbidden;
        }
        if (list != nullptr)
            closedir(list);
    }
    return found;
}

}  // namespace

AuditSource::~AuditSource()
{
    std::string ignored;
    Close(&ignored);
}

CtlExit AuditSource::Open(const std::string &file, std::optional<i64> sinceTime,
                          const AuditPlaces &places, std::string *reason)
{
    Close(reason);
    buffer_.resize(kBufferSize);
    at_ = filled_ = 0;
    ended_ = false;
    exit_ = kExitDone;
    places_ = places;
    if (file == "-") {
        fd_ = STDIN_FILENO;
        return kExitDone;
    }
    if (!file.empty() && IsDirectory(file))
        return OpenJournal("--directory=" + file, sinceTime, reason);
    if (!file.empty() && IsJournalFile(file))
        return OpenJournal("--file=" + file, sinceTime, reason);
    if (file.empty() && access(places.journalctl.c_str(), X_OK) == 0) {
        const Journal journal = SystemJournal(places.journals);
        if (journal == Journal::Readable)
            return OpenJournal("", sinceTime, reason);
        if (journal == Journal::Forbidden) {
            *reason = "no right to read the journal: the group systemd-journal has it";
            return kExitNoRight;
        }
    }
    const std::string &name = file.empty() ? places.logFile : file;
    fd_ = open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ >= 0)
        return kExitDone;
    const bool denied = errno == EACCES;
    *reason = name + ": " + strerror(errno);
    return denied ? kExitNoRight : kExitFailed;
}

// journalctl does the reading: the format of the files is the journal's own.
CtlExit AuditSource::OpenJournal(const std::string &where, std::optional<i64> sinceTime,
                                 std::string *reason)
{
    std::vector<std::string> words = {places_.journalctl, "--no-pager", "--quiet", "--output=json",
                                      "--output-fields=MESSAGE,_UID,_COMM,_EXE"};
    if (!where.empty())
        words.push_back(where);
    if (sinceTime)  // it takes no time before 1970
        words.push_back("--since=@" + std::to_string(std::max<i64>(*sinceTime, 0)));
    for (const char *service : kAuditServices)
        words.push_back(std::string("_COMM=") + service);
    std::vector<char *> argv;
    argv.reserve(words.size() + 1);
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    int lines[2];
    int complaints[2] = {-1, -1};
    if (access(argv[0], X_OK) != 0 || pipe2(lines, O_CLOEXEC) != 0) {
        *reason = places_.journalctl + ": " + strerror(errno);
        return kExitFailed;
    }
    if (pipe2(complaints, O_CLOEXEC) == 0)
        journal_ = fork();
    if (journal_ == 0 && complaints[0] >= 0) {
        dup2(lines[1], STDOUT_FILENO);
        dup2(complaints[1], STDERR_FILENO);
        execv(argv[0], argv.data());
        dprintf(STDERR_FILENO, "%s: %s\n", argv[0], strerror(errno));
        _exit(127);
    }
    const int error = errno;
    close(lines[1]);
    if (complaints[1] >= 0)
        close(complaints[1]);
    fd_ = lines[0];
    complaints_ = complaints[0];
    complaint_.clear();
    endMs_ = ClockMs() + u64{places_.wholeSeconds} * 1000;
    if (journal_ > 0)
        return kExitDone;
    journal_ = 0;
    Close(reason);
    *reason = places_.journalctl + ": " + strerror(error);
    return kExitFailed;
}

// Takes what waits on journalctl's standard error; of much the beginning.
void AuditSource::TakeComplaint()
{
    char text[kComplaintMost];
    const ssize_t got = read(complaints_, text, sizeof text);
    if (got > 0 && complaint_.size() < kComplaintMost)
        complaint_.append(text, static_cast<size_t>(got));
    if (got > 0 || (got < 0 && errno == EINTR))
        return;
    close(complaints_);
    complaints_ = -1;
}

// Waits until there are lines, and takes in what comes besides. False: the time is over.
bool AuditSource::AwaitJournal()
{
    for (;;) {
        pollfd waits[] = {{fd_, POLLIN, 0}, {complaints_, POLLIN, 0}};
        const u64 now = ClockMs();
        const u64 rest = now < endMs_ ? endMs_ - now : 0;
        const u64 most = std::min<u64>(rest, u64{places_.silenceSeconds} * 1000);
        const int ready = poll(waits, std::size(waits), static_cast<int>(most));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0 || rest == 0) {
            exit_ = kExitSilent;
            reason_ = rest == most ? "the journal has not ended after " +
                                         std::to_string(places_.wholeSeconds) + " s"
                                   : "the journal has said nothing for " +
                                         std::to_string(places_.silenceSeconds) + " s";
            return false;
        }
        if (waits[1].revents != 0)
            TakeComplaint();
        if (waits[0].revents != 0)
            return true;
    }
}

// More bytes into the empty buffer. False: there are no more.
bool AuditSource::Fill()
{
    if (ended_ || exit_ != kExitDone || (journal_ > 0 && !AwaitJournal()))
        return false;
    ssize_t got = 0;
    while ((got = read(fd_, buffer_.data(), buffer_.size())) < 0 && errno == EINTR) {
    }
    if (got < 0) {
        exit_ = kExitFailed;
        reason_ = strerror(errno);
    }
    at_ = 0;
    filled_ = static_cast<size_t>(std::max<ssize_t>(got, 0));
    ended_ = got == 0;
    return got > 0;
}

bool AuditSource::Next(std::string *line)
{
    line->clear();
    bool tooLong = false;
    while (at_ < filled_ || Fill()) {
        const char *begin = buffer_.data() + at_;
        const void *end = memchr(begin, '\n', filled_ - at_);
        const size_t size = end != nullptr
                                ? static_cast<size_t>(static_cast<const char *>(end) - begin)
                                : filled_ - at_;
        tooLong = tooLong || line->size() + size > kAuditLineMost;
        if (tooLong)
            line->clear();
        else
            line->append(begin, size);
        at_ += size + (end != nullptr ? 1 : 0);
        if (end != nullptr && !tooLong)
            return true;
        tooLong = tooLong && end == nullptr;
    }
    return exit_ == kExitDone && !line->empty();  // the last one may lack its end
}

// How journalctl ended. It is given a moment where its output has ended, and none otherwise.
int AuditSource::JournalStatus()
{
    int status = 0;
    const u64 end = ClockMs() + kEndMostMs;
    while (ended_ && ClockMs() < end) {
        const pid_t got = waitpid(journal_, &status, WNOHANG);
        if (got == journal_ || (got < 0 && errno != EINTR))
            return status;
        CommandSleepMs(kEndLookMs);
    }
    kill(journal_, SIGKILL);
    while (waitpid(journal_, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

CtlExit AuditSource::Close(std::string *reason)
{
    if (fd_ > STDIN_FILENO)
        close(fd_);
    fd_ = -1;
    if (journal_ > 0) {
        const int status = JournalStatus();
        journal_ = 0;
        if (ended_ && exit_ == kExitDone && (!WIFEXITED(status) || WEXITSTATUS(status) != 0)) {
            exit_ = kExitFailed;
            pollfd left = {complaints_, POLLIN, 0};
            if (poll(&left, 1, 0) > 0)
                TakeComplaint();
            complaint_.resize(std::min(complaint_.find('\n'), complaint_.size()));
            reason_ = "the journal cannot be read" + (complaint_.empty() ? "" : ": " + complaint_);
        }
    }
    if (complaints_ >= 0)
        close(complaints_);
    complaints_ = -1;
    *reason = reason_;
    const CtlExit exit = exit_;
    exit_ = kExitDone;
    reason_.clear();
    return exit;
}
