// SPDX-License-Identifier: Apache-2.0
// method_batch.cpp -- see method_batch.h.
#include "ctl/method_batch.h"

#include "platform/clock.h"

#include <algorithm>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

// An answer on its way through a pipe: written at once, so that it arrives whole or not at all.
struct Packet {
    i32 status;
    u32 applied;
    char message[kMethodMessageMost + 1];
};
static_assert(sizeof(Packet) <= 512, "POSIX's least PIPE_BUF");

[[noreturn]] void AnswerInto(int fd, const MethodAnswer &answer)
{
    Packet packet = {answer.status, answer.applied ? 1u : 0u, ""};
    const size_t length = std::min(answer.message.size(), kMethodMessageMost);
    memcpy(packet.message, answer.message.data(), length);
    _exit(write(fd, &packet, sizeof packet) > 0 ? 0 : 1);
}

class Batch
{
public:
    Batch(size_t count, const MethodPace &pace, const std::function<MethodAnswer(size_t)> &call,
          const std::function<void(size_t, const MethodAnswer &)> &done)
        : count_(count), pace_(pace), call_(call), done_(done)
    {
    }

    void Run()
    {
        while (next_ < count_ || !running_.empty()) {
            while (next_ < count_ && running_.size() < most_ && DueMs() == 0)
                Begin();
            if (!running_.empty() || next_ < count_)
                Wait();
        }
    }

private:
    struct Running {
        size_t number;
        pid_t pid;
        int fd;
    };

    // How long the next call has to wait for its turn.
    u64 DueMs() const
    {
        const bool pause = pace_.number != 0 && next_ != 0 && next_ % pace_.number == 0;
        const u64 due = pause ? lastMs_ + pace_.pauseMs : 0;
        const u64 now = ClockMs();
        return due > now ? due - now : 0;
    }

    void Begin()
    {
        int ends[2];
        const pid_t parent = getpid();
        int error = pipe2(ends, O_CLOEXEC) == 0 ? 0 : errno;
        const pid_t pid = error == 0 ? fork() : -1;
        if (pid == 0) {
            // Nobody is to be told of the answer when this process's parent has ended.
            if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || getppid() != parent)
                _exit(1);
            for (const Running &other : running_)
                close(other.fd);
            close(ends[0]);
            AnswerInto(ends[1], call_(next_));
        }
        if (error == 0) {
            error = pid < 0 ? errno : 0;
            close(ends[1]);
            if (error != 0)
                close(ends[0]);
        }
        if (error != 0 && !running_.empty()) {
            most_ = running_.size();  // the system has no room for more
            return;
        }
        lastMs_ = ClockMs();
        if (error == 0)
            running_.push_back({next_, pid, ends[0]});
        else
            done_(next_,
                  {kExitFailed, false, std::string("no process for it: ") + strerror(error)});
        ++next_;
    }

    // Takes the answers that are there, and waits for one, or until the next call may begin.
    void Wait()
    {
        std::vector<pollfd> polled;
        for (const Running &one : running_)
            polled.push_back({one.fd, POLLIN, 0});
        const bool begins = next_ < count_ && running_.size() < most_;
        const int limit = begins ? static_cast<int>(std::min<u64>(DueMs(), 60000)) : -1;
        if (poll(polled.data(), polled.size(), limit) <= 0)
            return;
        for (size_t i = polled.size(); i-- > 0;) {
            if (polled[i].revents == 0)
                continue;
            const Running ended = running_[i];
            running_.erase(running_.begin() + static_cast<std::ptrdiff_t>(i));
            End(ended);
        }
    }

    void End(const Running &ended)
    {
        Packet packet = {};
        ssize_t got;
        do {
            got = read(ended.fd, &packet, sizeof packet);
        } while (got < 0 && errno == EINTR);
        close(ended.fd);
        while (waitpid(ended.pid, nullptr, 0) < 0 && errno == EINTR) {
        }
        if (got != sizeof packet) {
            done_(ended.number, {kExitFailed, false, "the process that called was ended"});
            return;
        }
        packet.message[kMethodMessageMost] = '\0';
        done_(ended.number,
              {static_cast<CtlExit>(packet.status), packet.applied != 0, packet.message});
    }

    size_t count_;
    const MethodPace &pace_;
    const std::function<MethodAnswer(size_t)> &call_;
    const std::function<void(size_t, const MethodAnswer &)> &done_;
    size_t next_ = 0;
    size_t most_ = kMethodBatchMost;
    u64 lastMs_ = 0;  // when the last call began
    std::vector<Running> running_;
};

}  // namespace

void MethodBatch(size_t count, const MethodPace &pace,
                 const std::function<MethodAnswer(size_t number)> &call,
                 const std::function<void(size_t number, const MethodAnswer &answer)> &done)
{
    if (count == 1)
        done(0, call(0));
    else
        Batch(count, pace, call, done).Run();
}
