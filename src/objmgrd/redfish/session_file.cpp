// SPDX-License-Identifier: Apache-2.0
// session_file.cpp -- see session_file.h. Three lines: service, address, token.
#include "objmgrd/redfish/session_file.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr size_t kFileMax = 8192;

// Takes one line off the front.
bool TakeLine(std::string *text, std::string *line)
{
    const size_t end = text->find('\n');
    if (end == std::string::npos || end == 0)
        return false;
    *line = text->substr(0, end);
    text->erase(0, end + 1);
    return true;
}

}  // namespace

std::string SessionFileWrite(const std::string &file, const RememberedSession &session)
{
    const std::string text = session.service + "\n" + session.link + "\n" + session.token + "\n";
    if (text.size() > kFileMax)
        return "the session's token is too long";
    // Made anew, so that nobody has it open who may not read it.
    const std::string fresh = file + ".new";
    unlink(fresh.c_str());
    const int fd = open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        return strerror(errno);
    const bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    int error = written ? 0 : errno;
    close(fd);
    if (written && rename(fresh.c_str(), file.c_str()) != 0)
        error = errno;
    if (error == 0)
        return "";
    unlink(fresh.c_str());
    return strerror(error);
}

bool SessionFileRead(const std::string &file, RememberedSession *session)
{
    const int fd = open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat info;
    std::string text(kFileMax + 1, '\0');
    const bool mine = fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_uid == geteuid() &&
                      (info.st_mode & 077) == 0;
    const ssize_t size = mine ? read(fd, text.data(), text.size()) : -1;
    close(fd);
    if (size < 0 || static_cast<size_t>(size) > kFileMax)
        return false;
    text.resize(static_cast<size_t>(size));
    return TakeLine(&text, &session->service) && TakeLine(&text, &session->link) &&
           TakeLine(&text, &session->token) && text.empty();
}

void SessionFileRemove(const std::string &file)
{
    unlink(file.c_str());
}
