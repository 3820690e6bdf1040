// SPDX-License-Identifier: Apache-2.0
// audit_source.cpp -- see audit_source.h.
#include "ctl/audit_source.h"

#include "ctl/audit.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

constexpr std::string_view kJournalMagic = "LPKSHHRH";

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
    if (file == "-") {
        file_ = stdin;
        return kExitDone;
    }
    if (!file.empty() && IsDirectory(file))
        return OpenJournal(places.journalctl, "--directory=" + file, sinceTime, reason);
    if (!file.empty() && IsJournalFile(file))
        return OpenJournal(places.journalctl, "--file=" + file, sinceTime, reason);
    if (file.empty() && access(places.journalctl.c_str(), X_OK) == 0) {
        const Journal journal = SystemJournal(places.journals);
        if (journal == Journal::Readable)
            return OpenJournal(places.journalctl, "", sinceTime, reason);
        if (journal == Journal::Forbidden) {
            *reason = "no right to read the journal: the group systemd-journal has it";
            return kExitNoRight;
        }
    }
    const std::string &name = file.empty() ? places.logFile : file;
    file_ = fopen(name.c_str(), "re");
    if (file_ != nullptr)
        return kExitDone;
    const bool denied = errno == EACCES;
    *reason = name + ": " + strerror(errno);
    return denied ? kExitNoRight : kExitFailed;
}

// journalctl does the reading: the format of the files is the journal's own.
CtlExit AuditSource::OpenJournal(const std::string &journalctl, const std::string &where,
                                 std::optional<i64> sinceTime, std::string *reason)
{
    std::vector<std::string> words = {journalctl, "--no-pager", "--quiet", "--output=json",
                                      "--output-fields=MESSAGE,_UID,_COMM,_EXE"};
    if (!where.empty())
        words.push_back(where);
    if (sinceTime)
        words.push_back("--since=@" + std::to_string(*sinceTime));
    for (const char *service : kAuditServices)
        words.push_back(std::string("_COMM=") + service);
    std::vector<char *> argv;
    argv.reserve(words.size() + 1);
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        *reason = strerror(errno);
        return kExitFailed;
    }
    journal_ = fork();
    if (journal_ == 0) {
        dup2(ends[1], STDOUT_FILENO);
        execv(journalctl.c_str(), argv.data());
        _exit(127);
    }
    const int error = errno;
    close(ends[1]);
    file_ = journal_ > 0 ? fdopen(ends[0], "r") : nullptr;
    if (file_ != nullptr)
        return kExitDone;
    close(ends[0]);
    *reason = strerror(error);
    return kExitFailed;
}

CtlExit AuditSource::Close(std::string *reason)
{
    if (file_ != nullptr && file_ != stdin)
        fclose(file_);
    file_ = nullptr;
    int status = 0;
    const pid_t journal = journal_;
    journal_ = 0;
    if (journal <= 0)
        return kExitDone;
    while (waitpid(journal, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
        return kExitDone;
    *reason = "the journal cannot be read";
    return kExitFailed;
}
