// SPDX-License-Identifier: Apache-2.0
// server.cpp -- see server.h.
#include "objmgrd/server.h"

#include "objmgr/object_path.h"
#include "objmgr/schema.h"
#include "objmgrd/listener.h"
#include "objmgrd/logins.h"
#include "platform/clock.h"

#include <algorithm>
#include <errno.h>
#include <fcntl.h>
#include <map>
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>
#include <vector>

namespace
{

// Earlier than clients ask for, so that a busy machine does not make it late.
constexpr u64 kHeartbeatMs = kHeartbeatPeriodMs * 4 / 5;
// A tick that would be due so soon after a heartbeat comes with it: an idle service wakes up for
// heartbeats alone.
constexpr u64 kTickEarlyMs = 250;
// With no descriptor left, new clients wait this long before the next try to accept one.
constexpr u64 kAcceptPauseMs = 100;
constexpr u64 kNever = ~u64{0};
// Descriptors that logins leave to everything else.
constexpr rlim_t kDescriptorsKept = 128;
// What could not be published (a full file system) is tried again after this time.
constexpr u64 kPublishPauseMs = 500;
// For so long a reply waits for the publish that holds its effect. Then it is sent all the same:
// the effect is there, and a caller that was told of a failure would do it again.
constexpr u64 kPublishWaitMs = 2000;
// Places in the list of polled descriptors; the signals' is the first.
constexpr size_t kPolledListener = 1;
constexpr size_t kPolledProvider = 2;
constexpr size_t kPolledConnections = 3;

// Makes the directory with exactly this mode, and those above it, where they are missing.
int MakeDirectory(const std::string &path, mode_t mode)
{
    for (size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
        if (mkdir(path.substr(0, end).c_str(), 0755) != 0 && errno != EEXIST)
            return errno;
    }
    if (mkdir(path.c_str(), 0700) != 0)
        return errno == EEXIST ? 0 : errno;
    return chmod(path.c_str(), mode) == 0 ? 0 : errno;
}

struct Connection {
    // Pending: the provider owes an answer. Late: the reply is known and waits for its time and for
    // the publish that holds its effect.
    enum class Phase { Asking, Pending, Late, Unanswered };

    int fd;
    Phase phase = Phase::Asking;
    u64 due;  // Asking: it is dropped then; Pending, Late: the reply is sent then; else kNever
    Peer peer = {};
    MethodReply reply = {.status = kCimFailed, .result = 0};  // Pending: if no answer comes
    u64 ticket = 0;                                           // Pending only
    bool staged = false;                                      // Late: its effect is not published
    u64 publishedBy = 0;                                      // staged: no longer than that
    RecordCall call = {};                                     // what was asked, for the record
    std::shared_ptr<CallerLink> link = {};
};

MethodReply ReplyOf(CimStatus status, u32 result)
{
    return {status, status == kCimOk ? result : 0};
}

void SendReply(int fd, const MethodReply &reply)
{
    u8 packet[kMethodPacketMax];
    const u32 size = MethodPackReply(&reply, packet);
    // A peer that is gone does not matter; one packet always fits an empty queue.
    (void)!send(fd, packet, size, MSG_DONTWAIT | MSG_NOSIGNAL);
}

void SendFacts(int fd, const ServiceFacts &facts)
{
    u8 packet[kMethodPacketMax];
    const u32 size = ServicePackFacts(&facts, packet);
    (void)!send(fd, packet, size, MSG_DONTWAIT | MSG_NOSIGNAL);
}

// How many logins can be remembered with the descriptors that the process may have.
u32 MostLogins()
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur <= kDescriptorsKept)
        return 0;
    return static_cast<u32>(std::min<rlim_t>(limit.rlim_cur - kDescriptorsKept, kLoginsMost));
}

void SetText(char *to, size_t size, const std::string &text)
{
    const size_t length = std::min(size - 1, text.size());
    text.copy(to, length);
    to[length] = '\0';
}

bool IsOutOfDescriptors(int error)
{
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

}  // namespace

struct Server::State {
    ServerOptions options;
    Provider *provider = nullptr;
    ImageWriter store;
    int dirFd = -1;
    Listener listener;
    bool listenFails = false;
    std::vector<Connection> connections;  // oldest first
    Logins logins;
    std::vector<pollfd> polled;
    u64 nextHeartbeat = 0;
    u64 nextTick = kNever;
    u64 acceptFrom = 0;   // no client is accepted earlier
    u64 publishFrom = 0;  // after one that failed: no other earlier
    int fatal = 0;        // errno of what cannot be mended: the service has to end
    bool publishFails = false;
    bool tickFails = false;
    bool acceptFails = false;

    int Open();
    int Load();
    void Close();

    void Log(int priority, const std::string &line) const
    {
        if (options.log != nullptr)
            options.log(priority, StoreSafeText(line).c_str());
    }
    void LogError(const char *what, int error) const
    {
        Log(LOG_ERR, std::string(what) + ": " + strerror(error));
    }

    void RunTimers(u64 now);
    void Heartbeat();
    u64 PublishDue() const;
    void Publish(u64 now);
    void Tick();
    void Answer(const ProviderAnswer &answer);
    int EndTransaction();
    int PollTimeout(u64 now) const;
    void Poll(int signalFd, int *result);
    void ServeConnections(u64 now);
    void AcceptAll(u64 now);
    void PauseAccept(int error, u64 now);
    void Accept(int fd, u64 now);
    bool MakeRoom(u32 uid);
    void Discard(Connection *connection);
    bool DropOldestAsking(u32 uid);

    bool Serve(Connection *connection, short events, u64 now);
    bool ReadRequest(Connection *connection, u64 now);
    bool TakeCall(Connection *connection, const MethodRequest &request, u64 now);
    void TakeNotice(Connection *connection, const LoginNotice &notice, u64 now);
    ServiceFacts FactsFor(const Peer &peer) const;
    CimStatus Parse(const MethodRequest &request, const Caller &caller, MethodCall *call) const;
    ProviderReply Invoke(const MethodCall &call);
    void WriteDown(const Connection &connection, RecordResult result, u32 number = 0) const;
    void WriteDown(const Connection &connection, const MethodReply &reply) const;
    void CheckListener();
};

int Server::State::Load()
{
    int error = store.Begin();
    if (error != 0)
        return error;
    error = provider->Load(&store);
    if (error == 0)
        return EndTransaction();
    store.Abort();
    return error;
}

// 0 or an errno value; the provider knows about it then.
int Server::State::EndTransaction()
{
    const int error = store.Commit();
    provider->Committed(error == 0);
    if (options.archive != nullptr)
        options.archive->Look(store);
    return error;
}

int Server::State::Open()
{
    // Before the store is: the modes of what it makes follow the directory's.
    int error = MakeDirectory(options.directory, options.group ? 0750 : 0700);
    if (error == 0)
        error =
            store.Open(options.directory, {.service = std::string("objmgrd-") + provider->Name(),
                                           .methodTimeoutMs = provider->MethodTimeoutMs()});
    if (error == 0)
        error = Load();
    if (error != 0)
        return error;
    dirFd = open(options.directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (dirFd < 0)
        return errno;
    logins.Start(&listener, options.record, MostLogins());
    // The lock is ours: a socket that is there belongs to nobody.
    error = listener.Open(
        dirFd, {.group = options.group, .kernelRefuses = options.kernelRefusesDescriptors});
    return error != 0 ? error : store.Publish();
}

void Server::State::Close()
{
    for (Connection &connection : connections)
        Discard(&connection);
    connections.clear();
    logins.Clear();
    listener.Close();
    if (dirFd >= 0)
        close(dirFd);
    store.Close();
}

// A service whose files are not its own any more serves nobody: it ends, so that it is started
// anew.
void Server::State::Heartbeat()
{
    store.Heartbeat();
    fatal = store.Check();
    if (fatal != 0)
        LogError("the directory or the files in it are not this service's any more", fatal);
    else
        CheckListener();
    if (options.beat != nullptr)
        options.beat();
}

// A full file system is the one thing that may keep it from listening; there may be room later.
void Server::State::CheckListener()
{
    bool anew = false;
    const int error = listener.Check(&anew);
    if (anew)
        Log(LOG_WARNING, "somebody has removed or replaced the socket: listening anew");
    if (error != 0 && !listenFails)
        LogError("nobody can connect: the socket cannot be made", error);
    listenFails = error != 0;
}

u64 Server::State::PublishDue() const
{
    return store.IsStaged() ? std::max(store.PublishFromMs(), publishFrom) : kNever;
}

// Makes what was committed visible to clients. The calls that wait for it get their replies.
void Server::State::Publish(u64 now)
{
    const int error = store.Publish();
    if (error != 0) {
        publishFrom = now + kPublishPauseMs;
        if (!publishFails)
            LogError("what is served cannot be brought up to date", error);
    }
    publishFails = error != 0;
    for (Connection &connection : connections)
        connection.staged = connection.staged && publishFails;
}

void Server::State::Tick()
{
    std::vector<ProviderAnswer> answers;
    int error = store.Begin();
    if (error == 0) {
        provider->Tick(&store, &answers);
        error = EndTransaction();
    }
    // Once, however many ticks it lasts.
    if (error != 0 && !tickFails)
        LogError("the store cannot be brought up to date", error);
    tickFails = error != 0;
    for (ProviderAnswer &answer : answers) {
        if (error != 0)
            answer = {.ticket = answer.ticket};
        Answer(answer);
    }
}

// Sends the reply to the call that waits for it, if it still does.
void Server::State::Answer(const ProviderAnswer &answer)
{
    const auto waits = [&](const Connection &c) {
        return c.phase == Connection::Phase::Pending && c.ticket == answer.ticket;
    };
    const auto found = std::find_if(connections.begin(), connections.end(), waits);
    if (found == connections.end())
        return;
    const MethodReply reply = ReplyOf(answer.status, answer.result);
    WriteDown(*found, reply);
    if (store.IsStaged()) {
        found->reply = reply;
        found->phase = Connection::Phase::Late;
        found->publishedBy = std::min(found->due, ClockMs() + kPublishWaitMs);
        found->due = 0;
        found->staged = true;
        return;
    }
    SendReply(found->fd, reply);
    found->phase = Connection::Phase::Late;  // nothing to withdraw
    Discard(&*found);
    connections.erase(found);
}

void Server::State::RunTimers(u64 now)
{
    u64 ticksTo = now;
    if (now >= nextHeartbeat) {
        Heartbeat();
        nextHeartbeat = now + kHeartbeatMs;
        ticksTo = now + kTickEarlyMs;
    }
    if (now >= PublishDue())
        Publish(now);
    // It may be due sooner than was said last.
    if (provider->TickMs() != 0)
        nextTick = std::min(nextTick, now + provider->TickMs());
    if (ticksTo >= nextTick) {
        Tick();
        nextTick = provider->TickMs() != 0 ? now + provider->TickMs() : kNever;
    }
}

int Server::State::PollTimeout(u64 now) const
{
    u64 next = std::min({nextHeartbeat, nextTick, PublishDue()});
    if (acceptFrom > now)
        next = std::min(next, acceptFrom);
    for (const Connection &connection : connections) {
        next = std::min(next, connection.staged ? connection.publishedBy : connection.due);
    }
    return next <= now ? 0 : static_cast<int>(next - now);
}

// Waits for something to happen. *result: as poll's, or -1 with errno.
void Server::State::Poll(int signalFd, int *result)
{
    const u64 now = ClockMs();
    polled.clear();
    polled.push_back({signalFd, POLLIN, 0});
    // A negative descriptor is passed over.
    polled.push_back({acceptFrom > now ? -1 : listener.Fd(), POLLIN, 0});
    polled.push_back({provider->PollFd(), POLLIN, 0});
    for (const Connection &connection : connections) {
        const bool asking = connection.phase == Connection::Phase::Asking;
        polled.push_back({connection.fd, static_cast<short>(asking ? POLLIN : 0), 0});
    }
    logins.AddPolled(&polled);
    *result = poll(polled.data(), polled.size(), PollTimeout(now));
}

// Serves every connection that Poll was asked about, and keeps those that go on.
void Server::State::ServeConnections(u64 now)
{
    size_t kept = 0;
    for (size_t i = 0; i < connections.size(); ++i) {
        Connection connection = std::move(connections[i]);
        if (Serve(&connection, polled[kPolledConnections + i].revents, now))
            connections[kept++] = std::move(connection);
        else
            Discard(&connection);
    }
    connections.erase(connections.begin() + static_cast<std::ptrdiff_t>(kept), connections.end());
}

void Server::State::AcceptAll(u64 now)
{
    // What is left in the backlog waits for the next round, so that a client which has just come
    // gets the time to ask before it is dropped for another.
    for (u32 i = 0; i < kServerUidConnections; ++i) {
        const int fd = accept4(listener.Fd(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd >= 0) {
            Accept(fd, now);
        } else if (errno != EINTR && errno != ECONNABORTED) {
            if (IsOutOfDescriptors(errno))
                PauseAccept(errno, now);
            return;
        }
    }
}

// Without a pause the waiting client would wake poll again and again.
void Server::State::PauseAccept(int error, u64 now)
{
    if (!acceptFails)
        LogError("a client cannot be accepted", error);
    acceptFails = true;
    acceptFrom = now + kAcceptPauseMs;
}

void Server::State::Accept(int fd, u64 now)
{
    Connection connection = {.fd = fd, .due = now + kServerRequestTimeoutMs};
    acceptFails = false;
    if (PeerOf(fd, &connection.peer) != 0 || !MakeRoom(connection.peer.uid))
        listener.Drop(fd);
    else
        connections.push_back(std::move(connection));
}

// Whether there is a place for one more of this uid; may drop others that have not asked.
bool Server::State::MakeRoom(u32 uid)
{
    std::map<u32, u32> asking;
    u32 ofUid = 0;
    for (const Connection &connection : connections) {
        ofUid += connection.peer.uid == uid ? 1 : 0;
        if (connection.phase == Connection::Phase::Asking)
            ++asking[connection.peer.uid];
    }
    if (ofUid >= kServerUidConnections)
        return DropOldestAsking(uid);
    if (connections.size() < kServerMaxConnections)
        return true;
    const auto most = std::max_element(asking.begin(), asking.end(),
                                       [](auto &a, auto &b) { return a.second < b.second; });
    return most != asking.end() && DropOldestAsking(most->first);
}

// False: every one of them has been taken up.
bool Server::State::DropOldestAsking(u32 uid)
{
    const auto victim =
        std::find_if(connections.begin(), connections.end(), [=](const Connection &c) {
            return c.peer.uid == uid && c.phase == Connection::Phase::Asking;
        });
    if (victim == connections.end())
        return false;
    Discard(&*victim);
    connections.erase(victim);
    return true;
}

// Ends it; the caller takes it out of the list.
void Server::State::Discard(Connection *connection)
{
    if (connection->link != nullptr)
        connection->link->End();
    if (connection->phase == Connection::Phase::Pending)
        provider->Withdraw(connection->ticket);
    if (connection->fd >= 0)
        listener.Drop(connection->fd);
}

// False: the connection has ended.
bool Server::State::Serve(Connection *connection, short events, u64 now)
{
    if (connection->phase == Connection::Phase::Asking) {
        if (events != 0)
            return ReadRequest(connection, now);
        return now < connection->due;
    }
    const bool gone = (events & (POLLHUP | POLLERR)) != 0;
    const bool staged = connection->staged && now < connection->publishedBy;
    if (!gone && (now < connection->due || staged))
        return true;
    if (connection->phase == Connection::Phase::Pending)
        WriteDown(*connection, RecordResult::Unanswered);
    if (gone)
        return false;
    SendReply(connection->fd, connection->reply);
    return false;
}

bool Server::State::ReadRequest(Connection *connection, u64 now)
{
    u8 packet[kMethodPacketMax];
    const ssize_t size = listener.Receive(connection->fd, packet, sizeof packet);
    if (size < 0)
        return errno == EAGAIN || errno == EINTR;
    const size_t length = static_cast<size_t>(size);
    const RequestKind kind =
        length <= sizeof packet ? MethodRequestKind(packet, length) : RequestKind::None;
    MethodRequest request;
    LoginNotice notice;
    if (kind == RequestKind::Method && MethodParseRequest(packet, length, &request))
        return TakeCall(connection, request, now);
    if (kind == RequestKind::Question)
        SendFacts(connection->fd, FactsFor(connection->peer));
    else if (kind == RequestKind::LoginNotice && LoginParseNotice(packet, length, &notice))
        TakeNotice(connection, notice, now);
    else
        SendReply(connection->fd, {kCimInvalidParameter, 0});
    return false;
}

// The connection of a login that is remembered is the logins' from here on.
void Server::State::TakeNotice(Connection *connection, const LoginNotice &notice, u64 now)
{
    const bool begins = notice.event == LoginEvent::Login || notice.event == LoginEvent::Lasting;
    const bool remembered = begins && logins.HasRoom(connection->peer.uid);
    RecordedLogin recorded;
    if (options.record != nullptr)
        recorded = options.record->Login(connection->peer, notice);
    SendReply(connection->fd,
              {kCimOk, begins && !remembered ? kLoginNotWatched : kLoginRemembered});
    if (!remembered)
        return;
    logins.Add(connection->fd, connection->peer, notice, std::move(recorded), now);
    connection->fd = -1;
}

ServiceFacts Server::State::FactsFor(const Peer &peer) const
{
    ServiceFacts facts = {};
    facts.version = kMethodVersion;
    facts.rights = options.rights.Of(peer);
    facts.methodTimeoutMs = provider->MethodTimeoutMs();
    SetText(facts.name, sizeof facts.name, std::string("objmgrd-") + provider->Name());
    for (const SourceState &source : provider->Sources()) {
        if (facts.sources == kServiceSourcesMax)
            break;
        ServiceSource &out = facts.source[facts.sources++];
        SetText(out.name, sizeof out.name, source.name);
        out.answers = source.answers;
    }
    return facts;
}

// False: the connection has ended.
bool Server::State::TakeCall(Connection *connection, const MethodRequest &request, u64 now)
{
    connection->call = {.session = request.session,
                        .command = request.method,
                        .argument = request.args,
                        .target = request.path,
                        .result = RecordResult::Failed,
                        .number = 0};
    // What is claimed grants nothing.
    const Caller caller = {.uid = connection->peer.uid,
                           .pid = connection->peer.pid,
                           .privilege =
                               request.privilege.word & options.rights.Of(connection->peer)};
    connection->link = std::make_shared<CallerLink>(connection->fd);
    MethodCall call;
    call.dueMs = now + provider->MethodTimeoutMs();
    call.link = connection->link;
    ProviderReply reply = {.status = Parse(request, caller, &call)};
    if (reply.status == kCimOk) {
        // It was told that nobody answered: so nothing happens.
        if (!connection->link->StillWaits()) {
            WriteDown(*connection, RecordResult::Gone);
            return false;
        }
        reply = Invoke(call);
    }
    if (reply.pending) {
        connection->phase = Connection::Phase::Pending;
        connection->ticket = reply.ticket;
        connection->due = call.dueMs;
        return true;
    }
    connection->reply = ReplyOf(reply.status, reply.result);
    WriteDown(*connection, connection->reply);
    connection->staged = store.IsStaged();
    connection->publishedBy = now + kPublishWaitMs;
    if (reply.send && reply.delayMs == 0 && !connection->staged) {
        SendReply(connection->fd, connection->reply);
        return false;
    }
    connection->phase = reply.send ? Connection::Phase::Late : Connection::Phase::Unanswered;
    connection->due = reply.send ? now + reply.delayMs : kNever;
    return true;
}

// The one place where a call is taken apart and refused. kCimOk, with *call complete, or what the
// caller gets: first of all whether he may, so that a refusal tells nothing about what is there.
CimStatus Server::State::Parse(const MethodRequest &request, const Caller &caller,
                               MethodCall *call) const
{
    ObjectPath path;
    const CimStatus status = ObjectPathParse(request.path, &path);
    const MethodRow *row = status == kCimOk ? SchemaFindMethod(path.key, request.method,
                                                               options.methods, options.methodCount)
                                            : nullptr;
    const u32 needed = row != nullptr ? row->right : kPrivilegeAll;
    if ((caller.privilege & needed) != needed)
        return kCimAccessDenied;
    if (status != kCimOk)
        return status;
    if (!provider->Has(path.key))
        return kCimNotFound;
    if (row == nullptr)
        return kCimMethodNotFound;
    if (!SchemaTakesArgument(row, request.args))
        return kCimInvalidParameter;
    call->row = row;
    call->key = path.key;
    call->argument = request.args;
    call->caller = caller;
    return kCimOk;
}

ProviderReply Server::State::Invoke(const MethodCall &call)
{
    int error = store.Begin();
    if (error == 0) {
        const ProviderReply reply = provider->Invoke(call, &store);
        error = EndTransaction();
        if (error == 0)
            return reply;
    }
    LogError("a method's effect cannot be stored", error);
    return {.status = kCimFailed};
}

void Server::State::WriteDown(const Connection &connection, RecordResult result, u32 number) const
{
    if (options.record == nullptr)
        return;
    RecordCall call = connection.call;
    call.result = result;
    call.number = number;
    options.record->Call(connection.peer, call);
}

void Server::State::WriteDown(const Connection &connection, const MethodReply &reply) const
{
    if (reply.status == kCimOk)
        WriteDown(connection, RecordResult::Done, reply.result);
    else if (reply.status == kCimAccessDenied)
        WriteDown(connection, RecordResult::Refused);
    else
        WriteDown(connection, RecordResult::Failed, reply.status);
}

Server::~Server()
{
    Stop();
}

int Server::Start(const ServerOptions &options, Provider *provider)
{
    Stop();
    state_ = new State;
    state_->options = options;
    state_->provider = provider;
    const int error = state_->Open();
    if (error != 0)
        Stop();
    return error;
}

// One turn of the loop. *signalled: a signal waits to be taken. 0 or an errno value.
int Server::ServeOnce(int signalFd, bool *signalled)
{
    state_->RunTimers(ClockMs());
    if (state_->fatal != 0)
        return state_->fatal;
    int ready = 0;
    state_->Poll(signalFd, &ready);
    *signalled = false;
    if (ready < 0)
        return errno == EINTR || errno == EAGAIN || errno == ENOMEM ? 0 : errno;
    *signalled = state_->polled[0].revents != 0;
    const u64 now = ClockMs();
    // Polled behind the connections, whose number is still that of then.
    state_->logins.Serve(state_->polled.data() + kPolledConnections + state_->connections.size(),
                         now);
    state_->ServeConnections(now);
    if (state_->polled[kPolledProvider].revents != 0)
        state_->Tick();
    if ((state_->polled[kPolledListener].revents & POLLIN) != 0)
        state_->AcceptAll(now);
    return 0;
}

bool Server::IsReady() const
{
    return state_ != nullptr && state_->provider->Ready() && !state_->store.IsStaged();
}

int Server::AwaitReady(const sigset_t &signals, u32 limitMs)
{
    if (state_ == nullptr)
        return EINVAL;
    const int signalFd = signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
    if (signalFd < 0)
        return errno;
    const u64 untilMs = ClockMs() + limitMs;
    int error = 0;
    for (bool signalled = false; error == 0 && !signalled && !IsReady() && ClockMs() < untilMs;)
        error = ServeOnce(signalFd, &signalled);
    close(signalFd);
    return error;
}

int Server::Run(const sigset_t &signals, ServerSignalHandler handler, void *context)
{
    if (state_ == nullptr)
        return EINVAL;
    const int signalFd = signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
    if (signalFd < 0)
        return errno;
    int error = 0;
    for (bool goOn = true; goOn && error == 0;) {
        bool signalled = false;
        error = ServeOnce(signalFd, &signalled);
        signalfd_siginfo signal;
        while (goOn && signalled && read(signalFd, &signal, sizeof signal) == sizeof signal)
            goOn = handler(context, signal);
    }
    close(signalFd);
    return error;
}

void Server::SetRights(const Rights &rights)
{
    if (state_ != nullptr)
        state_->options.rights = rights;
}

void Server::Stop()
{
    if (state_ == nullptr)
        return;
    state_->Close();
    delete state_;
    state_ = nullptr;
}
