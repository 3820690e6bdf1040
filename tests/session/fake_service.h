// SPDX-License-Identifier: Apache-2.0
// fake_service.h -- a service in a process of its own that answers the question before the shell
// and says what it was told.
#ifndef TESTS_SESSION_FAKE_SERVICE_H
#define TESTS_SESSION_FAKE_SERVICE_H

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include "objmgr/protocol.h"
#include "support/test_files.h"

class FakeService
{
public:
    // How it answers a question. Declining: that of a login, too, whose connection it closes.
    enum class Way { Facts, Nonsense, Nothing, Declining };

    // Makes the directory (mode 0755) and serves there until it is destroyed.
    FakeService(const std::string &directory, const ServiceFacts &facts, Way way = Way::Facts)
        : notices_(directory + "/notices")
    {
        mkdir(directory.c_str(), 0755);
        sockaddr_un name = {};
        name.sun_family = AF_UNIX;
        std::string path = directory + "/" + kStoreSocketName;
        if (path.size() >= sizeof(name.sun_path))
            abort();
        memcpy(name.sun_path, path.c_str(), path.size() + 1);
        int server = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        if (bind(server, reinterpret_cast<sockaddr *>(&name), sizeof(name)) != 0 ||
            chmod(path.c_str(), 0666) != 0 || listen(server, 64) != 0)
            abort();
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that is killed leaves no service behind
            Serve(server, facts, way);
        }
        close(server);
    }
    ~FakeService() { Kill(); }
    FakeService(const FakeService &) = delete;
    FakeService &operator=(const FakeService &) = delete;

    pid_t Pid() const { return pid_; }
    void Kill()
    {
        if (pid_ <= 0)
            return;
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

    // What it was told, one line each: "login|refusal|logout|lasting SESSION ADDRESS REASON", where
    // the session is "id" for any number but 0; and "end" for each connection of a login that ended
    // without a word.
    std::string Told() const { return ReadFile(notices_); }

    static ServiceFacts Facts(u32 rights = 7)
    {
        ServiceFacts facts = {};
        facts.version = kMethodVersion;
        facts.rights = rights;
        strcpy(facts.name, "objmgrd-test");
        return facts;
    }

private:
    [[noreturn]] void Serve(int server, const ServiceFacts &facts, Way way) const
    {
        std::vector<pollfd> clients = {{server, POLLIN, 0}};
        for (;;) {
            poll(clients.data(), clients.size(), -1);
            for (size_t i = clients.size() - 1; i > 0; --i)
                if (clients[i].revents != 0 && !GoesOn(clients[i].fd, facts, way, true)) {
                    close(clients[i].fd);
                    clients.erase(clients.begin() + static_cast<std::ptrdiff_t>(i));
                }
            if (clients[0].revents == 0)
                continue;
            const int client = accept(server, nullptr, nullptr);
            if (GoesOn(client, facts, way, false))
                clients.push_back({client, POLLIN, 0});
            else
                close(client);
        }
    }
    // Only the connection of a login does, until it has told of its logout.
    bool GoesOn(int client, const ServiceFacts &facts, Way way, bool isLogin) const
    {
        u8 packet[kMethodPacketMax];
        const ssize_t size = recv(client, packet, sizeof(packet), 0);
        if (size <= 0 && isLogin)
            std::ofstream(notices_, std::ios::app) << "end\n";
        return size > 0 && Answer(client, packet, static_cast<size_t>(size), facts, way);
    }
    bool Answer(int client, u8 *packet, size_t size, const ServiceFacts &facts, Way way) const
    {
        if (way == Way::Nothing)
            pause();
        LoginNotice notice;
        u32 answer = 0;
        bool begins = false;
        if (LoginParseNotice(packet, size, &notice)) {
            Write(notice);
            begins = (notice.event == LoginEvent::Login || notice.event == LoginEvent::Lasting) &&
                     way != Way::Declining;
            MethodReply reply = {kCimOk,
                                 way == Way::Declining ? kLoginNotWatched : kLoginRemembered};
            answer = MethodPackReply(&reply, packet);
        } else if (way == Way::Nonsense) {
            memset(packet, 'x', 40);
            answer = 40;
        } else {
            answer = ServicePackFacts(&facts, packet);
        }
        (void)!send(client, packet, answer, MSG_NOSIGNAL);
        return begins;
    }
    void Write(const LoginNotice &notice) const
    {
        static constexpr const char *kEvents[] = {"login", "refusal", "logout", "lasting"};
        std::ofstream file(notices_, std::ios::app);
        file << kEvents[static_cast<u8>(notice.event)] << (notice.session != 0 ? " id" : " -")
             << " " << (notice.address[0] != '\0' ? notice.address : "-");
        if (notice.reason[0] != '\0')
            file << " " << notice.reason;
        file << "\n";
    }

    std::string notices_;
    pid_t pid_;
};

#endif
