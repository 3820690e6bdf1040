// SPDX-License-Identifier: Apache-2.0
// archive_writer.cpp -- see archive_writer.h.
#include "archive/archive_writer.h"

#include "archive/archive_file.h"

#include <algorithm>
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace
{

constexpr char kLockName[] = "lock";

void CloseFd(int *fd)
{
    if (*fd >= 0)
        close(*fd);
    *fd = -1;
}

int ReadAll(int fd, u64 bytes, std::string *text)
{
    const size_t size = static_cast<size_t>(bytes);
    if (size != bytes)
        return EFBIG;  // more than a 32-bit service can hold
    text->resize(size);
    for (size_t got = 0; got < size;) {
        const ssize_t now = pread(fd, text->data() + got, size - got, static_cast<off_t>(got));
        if (now < 0 && errno == EINTR)
            continue;
        if (now <= 0)
            return now < 0 ? errno : EIO;
        got += static_cast<size_t>(now);
    }
    return 0;
}

int WriteAll(int fd, const std::string &text)
{
    for (size_t put = 0; put < text.size();) {
        const ssize_t now = write(fd, text.data() + put, text.size() - put);
        if (now < 0 && errno == EINTR)
            continue;
        if (now <= 0)
            return now < 0 ? errno : EIO;
        put += static_cast<size_t>(now);
    }
    return 0;
}

i64 Now()
{
    return static_cast<i64>(time(nullptr));
}

}  // namespace

ArchiveWriter::~ArchiveWriter()
{
    CloseFd(&file_);
    CloseFd(&lock_);
    CloseFd(&directory_);
}

void ArchiveWriter::Remember(LogMark mark)
{
    if (seen_.size() == kArchiveMarksMost)
        seen_.erase(seen_.begin(), seen_.begin() + kArchiveMarksMost / 2);
    seen_.push_back(mark);
}

int ArchiveWriter::Open(const std::string &directory, u64 mostBytes)
{
    mostBytes_ = std::max(mostBytes, kArchiveLeastBytes);
    directory_ = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory_ < 0)
        return errno;
    lock_ = openat(directory_, kLockName, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (lock_ < 0)
        return errno;
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    if (fcntl(lock_, F_OFD_SETLK, &lock) != 0)
        return errno == EAGAIN || errno == EACCES ? EBUSY : errno;

    std::vector<u32> numbers;
    DIR *list = fdopendir(openat(directory_, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (list == nullptr)
        return errno;
    while (const dirent *entry = readdir(list)) {
        if (const auto number = ArchiveFileNumber(entry->d_name))
            numbers.push_back(*number);
    }
    closedir(list);
    std::sort(numbers.begin(), numbers.end());
    for (const u32 number : numbers) {
        if (const int error = ReadFile(number))
            return error;
    }
    return numbers.empty() ? StartFile(1) : 0;
}

// Takes a file in, after those with lower numbers; the last one is appended to from here on.
int ArchiveWriter::ReadFile(u32 number)
{
    if (file_ >= 0)
        older_.push_back({fileNumber_, fileSize_});
    CloseFd(&file_);
    file_ = openat(directory_, ArchiveFileName(number).c_str(),
                   O_RDWR | O_APPEND | O_NOFOLLOW | O_CLOEXEC);
    struct stat info;
    if (file_ < 0 || fstat(file_, &info) != 0)
        return errno;
    std::string text;
    if (const int error = ReadAll(file_, static_cast<u64>(info.st_size), &text))
        return error;
    size_t begin = 0;
    for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', begin)) {
        LogMark mark = 0;
        const auto kind = ArchiveLineKindOf({text.data() + begin, end - begin}, &mark);
        if (kind == ArchiveLineKind::Record)
            Remember(mark);
        else if (kind == ArchiveLineKind::Cleared)
            seen_.clear();
        begin = end + 1;
    }
    fileNumber_ = number;
    fileSize_ = text.size();
    return begin == text.size() ? 0 : Cut(begin);  // a line that was begun
}

// Takes the newest file back to a size.
int ArchiveWriter::Cut(u64 size)
{
    if (ftruncate(file_, static_cast<off_t>(size)) != 0)
        return errno;
    fileSize_ = size;
    return fsync(file_) == 0 ? 0 : errno;
}

int ArchiveWriter::StartFile(u32 number)
{
    if (number > kArchiveFileMost)
        return EOVERFLOW;
    const int fd = openat(directory_, ArchiveFileName(number).c_str(),
                          O_RDWR | O_APPEND | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0640);
    if (fd < 0)
        return errno;
    if (fsync(directory_) != 0) {
        const int error = errno;
        close(fd);
        unlinkat(directory_, ArchiveFileName(number).c_str(), 0);
        return error;
    }
    if (file_ >= 0)
        older_.push_back({fileNumber_, fileSize_});
    CloseFd(&file_);
    file_ = fd;
    fileNumber_ = number;
    fileSize_ = 0;
    return 0;
}

int ArchiveWriter::DropOldest()
{
    if (unlinkat(directory_, ArchiveFileName(older_.front().number).c_str(), 0) != 0 &&
        errno != ENOENT)
        return errno;
    older_.erase(older_.begin());
    return 0;
}

// Appends one line, whole or not at all; it is on the disk only after fsync.
int ArchiveWriter::Append(const std::string &line)
{
    if (fileSize_ + line.size() > mostBytes_ / kArchiveFiles && fileSize_ != 0) {
        if (fsync(file_) != 0)
            return errno;
        if (const int error = StartFile(fileNumber_ + 1))
            return error;
    }
    u64 all = fileSize_ + line.size();
    for (const OlderFile &file : older_)
        all += file.size;
    while (all > mostBytes_ && !older_.empty()) {
        all -= older_.front().size;
        if (const int error = DropOldest())
            return error;
    }
    const u64 before = fileSize_;
    if (const int error = WriteAll(file_, line)) {
        // Should this fail, too, the next start cuts the line off; until then nothing is written
        // behind it.
        const int cut = Cut(before);
        if (cut != 0)
            CloseFd(&file_);
        return error;
    }
    fileSize_ += line.size();
    return 0;
}

int ArchiveWriter::Update(const std::vector<ArchiveRecord> &log)
{
    if (file_ < 0)
        return EIO;
    if (log.empty() && !seen_.empty()) {
        seen_.clear();
        saysCleared_ = true;
    }
    std::vector<LogMark> marks;
    marks.reserve(log.size());
    for (const ArchiveRecord &record : log)
        marks.push_back(ArchiveMarkOf(record));
    const size_t known = LogOverlap(seen_, marks);
    int error = 0;
    if (saysCleared_) {
        error = Append(ArchiveClearedLine(Now()));
        saysCleared_ = error != 0;
    }
    for (size_t i = known; i < log.size() && error == 0; ++i) {
        error = Append(ArchiveLineOf(log[i], Now()));
        if (error == 0)
            Remember(marks[i]);
    }
    // What was written before a failure is kept, too.
    const bool wrote = known != log.size() || log.empty();
    if (wrote && fsync(file_) != 0 && error == 0)
        error = errno;
    return error;
}
