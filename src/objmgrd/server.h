// SPDX-License-Identifier: Apache-2.0
// server.h -- the object manager's server: the store's heartbeat and the method calls.
//
// One thread, one poll loop, no waiting for anybody: a client that is slow, silent or gone costs
// nothing but its connection. Reads do not pass through here, clients read the store themselves.
//
// A method call is parsed once, here, against the table of methods (objmgr/schema.h), and refused
// once, before the provider sees it:
//   - the right that the table gives the method is needed, for a method that is not there, also on
//   a
//     path that is none, all of kPrivilegeAll (default deny); without it the answer is
//     kCimAccessDenied, whether or not the instance exists;
//   - then kCimInvalidParameter for a path that is none, kCimNotFound where there is no such
//     instance, kCimMethodNotFound where its class has no such method, kCimInvalidParameter for an
//     argument that the method does not take.
// What counts is what the request claims and the caller has by right (objmgrd/rights.h). Who he is
// says the kernel. A caller that has hung up before its request is taken up gets nothing done.
#ifndef OBJMGRD_SERVER_H
#define OBJMGRD_SERVER_H

#include "objmgrd/log_archive.h"
#include "objmgrd/provider.h"
#include "objmgrd/record.h"
#include "objmgrd/rights.h"

#include <signal.h>
#include <string>
#include <sys/signalfd.h>

// Connections at a time, of one uid and of all. One more of a uid costs that uid its own oldest
// that has not asked yet; one more than all takes it from the uid that has most of those. Where
// every one has been taken up it is the new one that goes: a call that was taken up is never
// dropped.
constexpr u32 kServerUidConnections = 16;
constexpr u32 kServerMaxConnections = 64;
// From its connecting a client has this long to send its one request.
constexpr u32 kServerRequestTimeoutMs = 5000;

struct ServerOptions {
    std::string directory;
    // Who may use what is created there: true: the owner and the group (directory 0750, socket
    // 0660), false: the owner alone (0700, 0600). A directory that exists keeps its mode.
    bool group = false;
    Rights rights = {};
    // Where calls and logins are written down. Null: nowhere. Must outlive Stop.
    Record *record = nullptr;
    // Called with each heartbeat. Null: not.
    void (*beat)() = nullptr;
    // The table of methods.
    const MethodRow *methods = kMethodTable;
    size_t methodCount = kMethodCount;
    bool kernelRefusesDescriptors = true;  // objmgrd/listener.h
    // Called with a priority of <syslog.h> and one line without a line break: LOG_ERR what went
    // wrong. Null: nothing is logged.
    void (*log)(int priority, const char *line) = nullptr;
    LogArchive *archive = nullptr;  // looks at the store after each commit; null: none
};

// Called from Run for each signal that was taken; true: go on, false: Run ends. Equal signals
// that arrive together may be told once (signalfd(2)): after SIGCHLD ask waitpid for every child.
using ServerSignalHandler = bool (*)(void *context, const signalfd_siginfo &signal);

// How a program uses it:
//   block the signals it wants (sigprocmask)  -- so that none is lost before Run
//   server.Start(options, &provider)          -- from here on clients are served
//   (server.AwaitReady(signals, limitMs), start a child)
//   server.Run(signals, handler, context)     -- until the handler says so
//   server.Stop()
class Server
{
public:
    Server() = default;
    ~Server();  // as Stop
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    // Builds the store with what provider->Load writes, listens and then publishes the store, so
    // that a client that finds the store can call methods. provider must outlive Stop. Returns 0
    // or an errno value with nothing left behind; EBUSY: another service runs in the directory.
    int Start(const ServerOptions &options, Provider *provider);

    // Serves until IsReady, one of `signals` (which must be blocked) waits to be
    // taken, or limitMs milliseconds are over, and a little longer. 0 or an errno value.
    int AwaitReady(const sigset_t &signals, u32 limitMs);

    // Whether the provider is ready and what it shows is published. False without Start.
    bool IsReady() const;

    // Serves until `handler` returns false. `signals` must be blocked and stay so. Returns 0, or
    // an errno value when it cannot go on.
    int Run(const sigset_t &signals, ServerSignalHandler handler, void *context);

    // These rights hold from here on. A call that was taken up before goes on.
    void SetRights(const Rights &rights);

    // Drops every connection and removes the socket and the store. Calls that wait for a reply
    // fail at the client at once. Without Start it does nothing.
    void Stop();

private:
    struct State;
    int ServeOnce(int signalFd, bool *signalled);
    State *state_ = nullptr;
};

#endif
