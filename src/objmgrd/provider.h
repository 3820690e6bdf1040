// SPDX-License-Identifier: Apache-2.0
// provider.h -- what a source of instances supplies to the object manager's server.
//
// The server owns the socket, the heartbeat and the judgement of privileges; a provider fills the
// store and carries methods out. All functions are called from one thread and must return soon,
// since the heartbeat would stop otherwise: a provider that has to wait for its source answers
// `pending`, waits elsewhere (a thread of its own) and hands the answer over in a later Tick.
#ifndef OBJMGRD_PROVIDER_H
#define OBJMGRD_PROVIDER_H

#include "objmgr/protocol.h"
#include "objmgr/schema.h"
#include "objmgrd/archive_settings.h"
#include "objmgrd/image_writer.h"

#include <memory>
#include <mutex>

// Who asks: from the socket's peer credentials, and the rights that the server grants.
struct Caller {
    u32 uid;
    u32 pid;
    u32 privilege;
};

// The connection of a caller, for a source that takes its time: between taking a call up and
// sending it on the caller may have given up, and what was reported as failed is not to be done.
class CallerLink
{
public:
    explicit CallerLink(int fd) : fd_(fd) {}
    CallerLink(const CallerLink &) = delete;
    CallerLink &operator=(const CallerLink &) = delete;

    // Whether somebody waits for the answer: asks the kernel, so that it holds also while the
    // serving thread is busy. From any thread.
    bool StillWaits() const;
    // The server's: nobody waits any more.
    void End();

private:
    mutable std::mutex mutex_;
    int fd_;  // -1: it has ended
};

// A method call as it reaches a provider: parsed, of a method and an instance that exist, with an
// argument that the method takes, and allowed.
struct MethodCall {
    const MethodRow *row;  // of the table of methods (objmgr/schema.h)
    std::string key;       // the instance's path in the store
    std::string argument;  // empty: none
    Caller caller;
    u64 dueMs;  // CLOCK_MONOTONIC: nobody waits for an answer that comes later
    std::shared_ptr<const CallerLink> link;  // null: somebody always waits
};

// Return word of a power method that the host's state leaves nothing to do for: Start of a host
// that is on, Stop or Reset of one that is off.
constexpr u32 kMethodNotApplicable = 1;

struct ProviderReply {
    CimStatus status = kCimFailed;
    u32 result = 0;    // the method's own return value
    u32 delayMs = 0;   // the reply is sent this much later
    bool send = true;  // false: the caller never gets a reply
    // true: the answer comes later under `ticket`, a number that the provider uses only once;
    // everything above is without meaning. A call that has none after MethodTimeoutMs()
    // fails at the client; an answer that comes later, or that nobody waits for any
    // more, is dropped.
    bool pending = false;
    u64 ticket = 0;
};

// Where a provider has its data from, for whoever asks who serves.
struct SourceState {
    std::string name;  // "BMC 192.0.2.10"
    bool answers;      // the last time it was asked
};

// The answer to a call that was pending.
struct ProviderAnswer {
    u64 ticket = 0;
    CimStatus status = kCimFailed;
    u32 result = 0;
};

class Provider
{
public:
    virtual ~Provider() = default;
    // Where the service keeps log records for good; from the settings, set before the service runs.
    ArchiveSettings archive;
    // For traces and logs: "sim", "ipmi".
    virtual const char *Name() const = 0;
    // Writes every instance; called once, inside a transaction of the server's. 0 or an errno.
    virtual int Load(ImageWriter *store) = 0;
    // Whether there is an instance of this key: methods of others are not invoked.
    virtual bool Has(const std::string &key) const = 0;
    // Carries out a method. What it writes to the store is one transaction of the server's,
    // published before the reply is sent.
    virtual ProviderReply Invoke(const MethodCall &call, ImageWriter *store) = 0;
    // Nobody waits for the pending call any more. What was not begun is not to be done.
    virtual void Withdraw(u64 ticket) { (void)ticket; }
    // Called at the end of the transaction of each Load, Invoke and Tick. true: what the call wrote
    // is in the store; false: none of it is, and whoever waited for it is told of a failure. The
    // provider's own memory has to follow.
    virtual void Committed(bool done) { (void)done; }
    // Called about every `TickMs()` milliseconds (0: never), up to a quarter of a second sooner
    // where the service is awake anyway, and as soon as PollFd() is readable, inside a transaction.
    // Answers that it adds are sent once what it wrote is in the store.
    virtual u32 TickMs() const { return 0; }
    virtual void Tick(ImageWriter *store, std::vector<ProviderAnswer> *answers)
    {
        (void)store;
        (void)answers;
    }
    // How long clients wait for the answer to a method, in milliseconds; 1,000 to 120,000. They
    // learn it from the image.
    virtual u32 MethodTimeoutMs() const { return kObjMgrMethodTimeoutMs; }
    // The sources outside the service; none: there is nothing that could be silent.
    virtual std::vector<SourceState> Sources() const { return {}; }
    // Whether the store shows its source by now, or the source is known not to be had. The init
    // system is told (readiness.h) and a COMMAND that the service runs (service.h) is started only
    // then. What has been true once stays so.
    virtual bool Ready() const { return true; }
    // A descriptor that becomes readable when there is something to do for Tick, which has to make
    // it unreadable again; -1: none. It stays the same from Load on and is the provider's.
    virtual int PollFd() const { return -1; }
};

#endif
