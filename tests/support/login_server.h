// SPDX-License-Identifier: Apache-2.0
// login_server.h -- sshd, Dropbear or agetty on this machine, with a configuration and a user of
// their own, letting the user in to smclp-login on a simulated server.
#ifndef TESTS_SUPPORT_LOGIN_SERVER_H
#define TESTS_SUPPORT_LOGIN_SERVER_H

#include <gtest/gtest.h>

#include <string>
#include <sys/types.h>
#include <vector>

// How smclp-login is asked for.
enum class LoginWay {
    Forced,  // the server's forced command; the user's shell is /bin/sh
    Shell,   // the user's login shell
    Both,
};

// A directory with a user called "operator" (this process's uid, known to the server alone), keys,
// a service of a simulated server, and a registry. Everything that was started ends with it.
class LoginMachine
{
public:
    LoginMachine(LoginWay way, const std::string &options);
    ~LoginMachine();
    LoginMachine(const LoginMachine &) = delete;
    LoginMachine &operator=(const LoginMachine &) = delete;

    // Starts the server on a free port of the loopback interface; more: lines of sshd_config. Why
    // that cannot be here; empty when it runs.
    std::string StartSshd(const std::string &more = "");
    std::string StartDropbear();
    // The words that log in as the user at a serial line, which is standard input; why not.
    std::string Agetty(std::vector<std::string> *words) const;

    // The words of a client of the SSH server: options of ssh, then the command's words.
    std::vector<std::string> Ssh(const std::vector<std::string> &options,
                                 const std::vector<std::string> &command) const;
    std::vector<std::string> Scp(const std::string &from, const std::string &to) const;

    // Processes of sessions: smclp-login and what it started. Sorted.
    std::vector<pid_t> SessionProcesses(const std::string &program = "") const;
    // The server's own child that serves the client.
    std::vector<pid_t> ServerChildren() const;
    // Waits until there is no such process and nothing in the registry. Succeeds when that took at
    // most two seconds from now, or from a time `afterMs` milliseconds ahead, when what ends the
    // session is due. On a busy machine it may take longer by what this test itself was kept
    // waiting for a processor, several times over, since several processes have their turns.
    testing::AssertionResult AllGone(int afterMs = 0) const;
    // Waits until there are so many shells; false after some seconds.
    bool AwaitShells(size_t count) const;
    std::string Directory() const { return top_; }

private:
    std::string Write(const std::string &name, const std::string &text, mode_t mode) const;
    std::string StartServer(const std::vector<std::string> &words);
    std::vector<std::string> Wrapped(const std::vector<std::string> &words) const;
    std::string Sessions() const { return top_ + "/sessions"; }

    std::string top_;
    LoginWay way_;
    std::string command_;  // smclp-login with its options
    int port_ = 0;
    pid_t service_ = -1;
    pid_t server_ = -1;
};

#endif
