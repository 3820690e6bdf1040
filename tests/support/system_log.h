// SPDX-License-Identifier: Apache-2.0
// system_log.h -- a system log inside a test.
#ifndef TESTS_SUPPORT_SYSTEM_LOG_H
#define TESTS_SUPPORT_SYSTEM_LOG_H

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

// A system log that reads only when it is told to.
class SystemLog
{
public:
    SystemLog()
    {
        char directory[] = "/tmp/syslog-test-XXXXXX";
        directory_ = mkdtemp(directory);
        path_ = directory_ + "/log";
    }
    ~SystemLog()
    {
        Stop();
        rmdir(directory_.c_str());
    }
    void Start()
    {
        fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path_.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    }
    void Stop()
    {
        if (fd_ != -1)
            close(fd_);
        fd_ = -1;
        unlink(path_.c_str());
    }
    // The next line; empty: there is none.
    std::string Read() const
    {
        char text[4096];
        const ssize_t size = recv(fd_, text, sizeof text, 0);
        return size < 0 ? "" : std::string(text, static_cast<size_t>(size));
    }
    // The next line without its priority, time and name.
    std::string ReadText() const
    {
        const std::string line = Read();
        const size_t head = line.find("]: ");
        return head == std::string::npos ? line : line.substr(head + 3);
    }
    const char *Path() const { return path_.c_str(); }

private:
    std::string directory_;
    std::string path_;
    int fd_ = -1;
};

#endif
