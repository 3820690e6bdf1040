// SPDX-License-Identifier: Apache-2.0
// served_process.h -- an object manager's server in a process of its own, and raw method calls.
#ifndef TESTS_SUPPORT_SERVED_PROCESS_H
#define TESTS_SUPPORT_SERVED_PROCESS_H

#include "objmgrd/server.h"
#include "support/objmgr_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/un.h>

#include <cstring>
#include <memory>

// Runs Server with a provider until SIGTERM; exits with Run's result, or 100 + Start's. A SIGUSR1
// is taken and passed over. Ready (or failed) when the constructor returns.
class ServedProcess
{
public:
    ServedProcess(
        const ServerOptions &options, const std::function<Provider *()> &makeProvider,
        const std::function<void()> &prepare = [] {})
    {
        if (pipe(ready_) != 0)
            abort();
        child_ = std::make_unique<ChildProcess>([&] { Serve(options, makeProvider, prepare); });
        close(ready_[1]);
        char byte;
        started = read(ready_[0], &byte, 1) == 1;
        close(ready_[0]);
    }

    // Ends it in good order; the exit status.
    int Terminate()
    {
        kill(child_->Pid(), SIGTERM);
        return WEXITSTATUS(child_->Wait());
    }
    ChildProcess &Child() { return *child_; }

    bool started = false;

private:
    void Serve(const ServerOptions &options, const std::function<Provider *()> &makeProvider,
               const std::function<void()> &prepare)
    {
        close(ready_[0]);
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGTERM);
        sigaddset(&signals, SIGUSR1);
        sigprocmask(SIG_BLOCK, &signals, nullptr);
        const std::unique_ptr<Provider> provider(makeProvider());
        Server server;
        const int error = server.Start(options, provider.get());
        if (error != 0)
            _exit(100 + error);
        prepare();
        (void)!write(ready_[1], "r", 1);
        close(ready_[1]);
        const int result = server.Run(
            signals,
            [](void *, const signalfd_siginfo &signal) { return signal.ssi_signo == SIGUSR1; },
            nullptr);
        server.Stop();
        _exit(result);
    }

    int ready_[2];
    std::unique_ptr<ChildProcess> child_;
};

// One connection to a server's socket.
class RawCall
{
public:
    explicit RawCall(const std::string &directory)
    {
        fd_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        const int dirFd = open(directory.c_str(), O_PATH | O_CLOEXEC);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        snprintf(address.sun_path, sizeof address.sun_path, "/proc/self/fd/%d/socket", dirFd);
        connected = connect(fd_, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
        close(dirFd);
    }
    ~RawCall() { Close(); }
    RawCall(const RawCall &) = delete;
    RawCall &operator=(const RawCall &) = delete;

    void Send(const void *packet, size_t size)
    {
        EXPECT_EQ(send(fd_, packet, size, MSG_NOSIGNAL), static_cast<ssize_t>(size));
    }
    void Ask(u32 privilege, const char *path, const char *method, const char *args = nullptr)
    {
        const ObjMgrPrivilege record = {privilege, {0, 0}};
        u8 packet[kMethodPacketMax];
        const u32 size = MethodPackRequest(&record, path, method, args, packet);
        ASSERT_NE(size, 0u);
        Send(packet, size);
    }
    // "STATUS RESULT", "closed" when the server ended the connection without a reply, "silent"
    // when nothing came within the time.
    std::string Answer(int timeoutMs = 10000)
    {
        pollfd wait = {fd_, POLLIN, 0};
        if (poll(&wait, 1, timeoutMs) == 0)
            return "silent";
        u8 packet[kMethodPacketMax];
        const ssize_t size = recv(fd_, packet, sizeof packet, 0);
        MethodReply reply;
        if (size <= 0 || !MethodParseReply(packet, static_cast<size_t>(size), &reply))
            return "closed";
        return std::to_string(reply.status) + " " + std::to_string(reply.result);
    }
    int Fd() const { return fd_; }
    void Close()
    {
        if (fd_ >= 0)
            close(fd_);
        fd_ = -1;
    }

    bool connected = false;

private:
    int fd_;
};

// The answer to one method call.
inline std::string CallMethod(const std::string &directory, u32 privilege, const char *path,
                              const char *method, const char *args = nullptr)
{
    RawCall call(directory);
    if (!call.connected)
        return "not connected";
    call.Ask(privilege, path, method, args);
    return call.Answer();
}

// A property as a fresh client reads it: its text, or "status N"; "not open" without a service.
inline std::string ReadFresh(const std::string &directory, const char *path, const char *property)
{
    int ends[2];
    if (pipe(ends) != 0)
        abort();
    ChildProcess reader([&] {
        setenv("ZOROBJMGR", directory.c_str(), 1);
        char text[1024] = "not open";
        ObjMgrHandle handle = 0;
        const ObjMgrInterface *objmgr = ObjMgrGetInterface();
        if (objmgr != nullptr && objmgr->Open(&handle) == 0) {
            const CimStatus status =
                objmgr->GetPropertyValue(handle, path, property, sizeof text, text);
            if (status != kCimOk)
                snprintf(text, sizeof text, "status %u", status);
        }
        (void)!write(ends[1], text, strlen(text));
    });
    close(ends[1]);
    std::string all;
    char part[256];
    for (ssize_t got; (got = read(ends[0], part, sizeof part)) > 0;)
        all.append(part, static_cast<size_t>(got));
    close(ends[0]);
    return all;
}

#endif
