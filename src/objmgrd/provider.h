// provider.h -- what a source of instances supplies to the object manager's server.
//
// The server owns the socket, the heartbeat and the judgement of privileges; a provider fills the
// store and carries methods out. All functions are called from one thread and must return soon: a
// provider that has to wait says so (Reply::delayMs, Tick) instead of sleeping, since the
// heartbeat would stop.
#ifndef OBJMGRD_PROVIDER_H
#define OBJMGRD_PROVIDER_H

#include "objmgr/protocol.h"
#include "objmgrd/store_writer.h"

// Who asks: from the socket's peer credentials, and the rights that the server grants.
struct Caller {
    u32 uid;
    u32 pid;
    u32 privilege;
};

struct ProviderReply {
    CimStatus status = kCimFailed;
    u32 result = 0;    // the method's own return value
    u32 delayMs = 0;   // the reply is sent this much later
    bool send = true;  // false: the caller never gets a reply
};

class Provider
{
public:
    virtual ~Provider() = default;
    // For traces and logs: "sim", "ipmi".
    virtual const char *Name() const = 0;
    // Writes every instance; called once, inside a transaction of the server's. 0 or an errno.
    virtual int Load(StoreWriter *store) = 0;
    // Carries out a method that the caller has the right to. What it writes to the store is one
    // transaction of the server's, committed before the reply is sent.
    virtual ProviderReply Invoke(const Caller &caller, const MethodRequest &request,
                                 StoreWriter *store) = 0;
    // Called about every `TickMs()` milliseconds inside a transaction; 0 means never.
    virtual u32 TickMs() const { return 0; }
    virtual void Tick(StoreWriter *) {}
};

#endif
