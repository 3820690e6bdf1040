// SPDX-License-Identifier: Apache-2.0
// record.h -- the service's record of who did what: one line of key=value for each login, refusal
// and logout, and for each method call that reached the service.
//
//   event=login user=alice uid=1001 pid=4711 session=7 claimed_address=192.0.2.7
//   event=refusal user=bob uid=1002 pid=4712 session=- claimed_address=- reason="no right"
//   event=logout user=alice uid=1001 pid=4711 session=7 claimed_address=192.0.2.7 reason=idle
//     seconds=61
//   event=call user=alice uid=1001 pid=4713 session=7 claimed_address=192.0.2.7 command=Reset
//     argument=Mode=PowerCycle target=OEM_QARN_System result=done value=0
//   event=dropped user=bob uid=1002 lines=37 seconds=10
// (each in one line). uid and pid are what the kernel says, user is the system's name of that uid
// ("-": it has none). A session is named only where it is the caller's, as RecordSessions says. The
// address is what the login claims. result: done (with the method's own value), refused, failed
// (with the CIM status), gone (the caller hung up before anything was done), unanswered (it hung
// up, or the time was over, before the answer came).
//
// A value is letters, digits and "._:/=,@%+-", or stands in quotes, where everything but printable
// ASCII, and a quote or backslash, becomes "?": no caller can break a line or forge a second one.
// Of one uid at most kRecordLinesMost lines of each kind are written in kRecordWindowMs; how many
// were dropped is told at the end of that time. The kinds: calls that took effect, or may have
// (unanswered); logins and logouts; everything else. So nobody buries what he did, or when he
// came and went, under lines of what he was refused.
//
// Names may come from a directory over the network: a thread of its own waits for them, and for the
// log. Lines that it cannot follow with are dropped and counted.
#ifndef OBJMGRD_RECORD_H
#define OBJMGRD_RECORD_H

#include "objmgr/protocol.h"
#include "objmgrd/peer.h"

#include <memory>
#include <string>

constexpr u32 kRecordLinesMost = 20;
constexpr u32 kRecordWindowMs = 10000;
constexpr u32 kRecordTellMs = 5000;
constexpr u32 kRecordUidsMost = 256;   // beyond so many at once the others share one count
constexpr u32 kRecordQueueMost = 512;  // lines that wait for the thread

enum class RecordResult : u8 { Done, Refused, Failed, Gone, Unanswered };

struct RecordCall {
    u32 session;  // as the caller claims
    std::string command;
    std::string argument;
    std::string target;
    RecordResult result;
    u32 number;  // Done: the method's value; Failed: the CIM status
};

// Everything but `session` is called on the record's thread.
struct RecordOptions {
    // Writes one line, for the facility authpriv.
    void (*write)(void *context, const char *line);
    void *context = nullptr;
    // Whether the session is a user's, and which address it states ("" for none). Null: no session
    // is known. Called at once by whoever adds a line, since a session may end in the next moment:
    // it must not wait.
    bool (*session)(void *context, u32 id, u32 uid, std::string *address) = nullptr;
    // The name of a uid. Null: the system's.
    bool (*user)(u32 uid, std::string *name) = nullptr;
    // Tells the log how many lines it did not take. False: it does not take that either, so it is
    // called again after tellMs. Null: nothing is lost.
    bool (*tellLost)(void *context) = nullptr;
    u32 windowMs = kRecordWindowMs;
    u32 tellMs = kRecordTellMs;
};

// What the record keeps of a login for its logout, when the session's file may be gone: whether the
// session was the user's. Null: nothing.
using RecordedLogin = std::shared_ptr<bool>;

class Record
{
public:
    Record() = default;
    ~Record();  // as Stop
    Record(const Record &) = delete;
    Record &operator=(const Record &) = delete;

    // 0 or an errno value.
    int Start(const RecordOptions &options);
    // Writes what waits, and how much was dropped; a thread that does not come to an end within a
    // second is left behind. options.context has to outlive the process then.
    void Stop();

    // None of them waits. Before Start and after Stop nothing is recorded.
    void Call(const Peer &peer, const RecordCall &call);
    // Login, refusal or logout; of one that lasts nothing is written. For Logout.
    RecordedLogin Login(const Peer &peer, const LoginNotice &notice);
    // The end of a login that was recorded: its session is named where it was the user's then.
    void Logout(const Peer &peer, const LoginNotice &notice, const RecordedLogin &login);

private:
    struct Shared;
    struct Entry;
    void AddLogin(const Peer &peer, const LoginNotice &notice, const RecordedLogin &login);
    static void *Run(void *argument);
    void Add(Entry &&entry);

    std::shared_ptr<Shared> shared_;
};

// A value as a line has it.
std::string RecordValue(const std::string &text);

#endif
