// SPDX-License-Identifier: Apache-2.0
// record.cpp -- see record.h.
#include "objmgrd/record.h"

#include "platform/clock.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <deque>
#include <errno.h>
#include <iterator>
#include <map>
#include <mutex>
#include <pthread.h>
#include <pwd.h>
#include <signal.h>
#include <string.h>
#include <vector>

namespace
{

constexpr u32 kStopMostMs = 1000;
// Whoever comes when kRecordUidsMost others are being counted.
constexpr u32 kOthers = UINT32_MAX;  // no uid

bool SystemUser(u32 uid, std::string *name)
{
    std::vector<char> room(16384);
    passwd entry;
    passwd *found = nullptr;
    if (getpwuid_r(uid, &entry, room.data(), room.size(), &found) != 0 || found == nullptr)
        return false;
    *name = entry.pw_name;
    return true;
}

// Kinds of lines that are counted apart.
enum class Kind : u8 { Effect, Login, Other };
constexpr size_t kKinds = 3;

// The lines of one uid and kind since a time.
struct Window {
    u64 beganMs = 0;
    u32 lines = 0;
    u32 dropped = 0;
};

std::string Seconds(u64 ms)
{
    return std::to_string((ms + 500) / 1000);
}

const char *ResultWord(RecordResult result)
{
    switch (result) {
    case RecordResult::Done:
        return "done";
    case RecordResult::Refused:
        return "refused";
    case RecordResult::Failed:
        return "failed";
    case RecordResult::Gone:
        return "gone";
    default:
        return "unanswered";
    }
}

}  // namespace

// What the serving thread knows of a line.
struct Record::Entry {
    Kind kind;
    const char *event;  // null: the session is looked for, and nothing written
    u32 uid;
    u32 pid;
    u32 session;
    bool ends;                 // of a login: the session was looked for when it began
    std::string address;       // a login's claim; empty: what the session's file says
    std::string rest;          // what follows, ready to be written
    RecordedLogin login = {};  // null: the session is looked for now
    bool known = false;        // the session is this user's
};

struct Record::Shared {
    RecordOptions options;
    pthread_t thread = {};
    std::mutex mutex;
    std::condition_variable changed;
    bool ending = false;
    bool ended = false;
    std::deque<Entry> entries;
    std::map<u32, std::array<Window, kKinds>> windows;  // of a uid, by kind

    bool Count(u32 uid, Kind kind, u64 now);
    std::vector<std::string> TakeDropped(u64 now, bool all);
    u64 NextMs() const;
    std::string UserOf(u32 uid) const;
    // Empty: nothing is to be written.
    void FindSession(Entry *entry) const;
    std::string Line(const Entry &entry) const;
};

// Whether a line of this uid is written; counts it.
bool Record::Shared::Count(u32 uid, Kind kind, u64 now)
{
    if (windows.find(uid) == windows.end() && windows.size() >= kRecordUidsMost)
        uid = kOthers;
    Window &window = windows[uid][static_cast<size_t>(kind)];
    if (window.lines == 0)
        window.beganMs = now;
    if (window.lines < kRecordLinesMost && entries.size() < kRecordQueueMost) {
        ++window.lines;
        return true;
    }
    // One whose first line found the queue full begins to count, too.
    window.lines = std::max<u32>(window.lines, 1);
    ++window.dropped;
    return false;
}

// Ends the windows whose time is over; gives "uid=N lines=N seconds=N" of those that dropped lines.
std::vector<std::string> Record::Shared::TakeDropped(u64 now, bool all)
{
    std::vector<std::string> lines;
    for (auto it = windows.begin(); it != windows.end();) {
        const std::string who = it->first == kOthers ? "user=- uid=-" : std::to_string(it->first);
        bool counting = false;
        for (Window &window : it->second) {
            const bool over = all || now >= window.beganMs + options.windowMs;
            if (over && window.dropped != 0)
                lines.push_back(who + " lines=" + std::to_string(window.dropped) +
                                " seconds=" + Seconds(now - window.beganMs));
            if (over)
                window = {};
            counting = counting || window.lines != 0;
        }
        it = counting ? std::next(it) : windows.erase(it);
    }
    return lines;
}

// When the next window ends; ~0: there is none.
u64 Record::Shared::NextMs() const
{
    u64 next = ~u64{0};
    for (const auto &[uid, kinds] : windows)
        for (const Window &window : kinds)
            if (window.lines != 0)
                next = std::min(next, window.beganMs + options.windowMs);
    return next;
}

std::string Record::Shared::UserOf(u32 uid) const
{
    std::string name;
    const auto look = options.user != nullptr ? options.user : SystemUser;
    return look(uid, &name) ? RecordValue(name) : "-";
}

// At once, by the serving thread: a session of one command has gone by the time that this thread
// gets to its line.
void Record::Shared::FindSession(Entry *entry) const
{
    std::string address;
    entry->known = entry->session != 0 && options.session != nullptr &&
                   options.session(options.context, entry->session, entry->uid, &address);
    if (entry->login != nullptr && entry->ends)
        entry->known = *entry->login;
    else if (entry->login != nullptr)
        *entry->login = entry->known;
    if (entry->address.empty())
        entry->address = std::move(address);
}

std::string Record::Shared::Line(const Entry &entry) const
{
    return std::string("event=") + entry.event + " user=" + UserOf(entry.uid) +
           " uid=" + std::to_string(entry.uid) + " pid=" + std::to_string(entry.pid) +
           " session=" + (entry.known ? std::to_string(entry.session) : "-") +
           " claimed_address=" + RecordValue(entry.address) + entry.rest;
}

std::string RecordValue(const std::string &text)
{
    static constexpr char kPlain[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                     "0123456789._:/=,@%+-";
    if (text.empty() || text == "-")
        return text.empty() ? "-" : "\"-\"";
    if (text.find_first_not_of(kPlain) == std::string::npos)
        return text;
    std::string quoted = "\"";
    for (const char c : text)
        quoted += c < 0x20 || c >= 0x7f || c == '"' || c == '\\' ? '?' : c;
    return quoted + "\"";
}

Record::~Record()
{
    Stop();
}

int Record::Start(const RecordOptions &options)
{
    Stop();
    shared_ = std::make_shared<Shared>();
    shared_->options = options;
    // Signals are for the serving thread.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    auto *mine = new std::shared_ptr<Shared>(shared_);
    const int error = pthread_create(&shared_->thread, nullptr, Run, mine);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (error != 0) {
        delete mine;
        shared_.reset();
    }
    return error;
}

void *Record::Run(void *argument)
{
    const std::unique_ptr<std::shared_ptr<Shared>> mine(
        static_cast<std::shared_ptr<Shared> *>(argument));
    Shared &shared = **mine;
    std::unique_lock lock(shared.mutex);
    for (;;) {
        const bool ending = shared.ending;
        const std::deque<Entry> entries = std::move(shared.entries);
        shared.entries.clear();
        const std::vector<std::string> dropped = shared.TakeDropped(ClockMs(), ending);
        lock.unlock();
        const auto write = [&](const std::string &line) {
            shared.options.write(shared.options.context, line.c_str());
        };
        for (const Entry &entry : entries)
            write(shared.Line(entry));
        for (const std::string &rest : dropped) {
            const bool named = rest[0] != 'u';
            const u32 uid = named ? static_cast<u32>(strtoul(rest.c_str(), nullptr, 10)) : 0;
            write("event=dropped " + (named ? "user=" + shared.UserOf(uid) + " uid=" : "") + rest);
        }
        const bool told =
            shared.options.tellLost == nullptr || shared.options.tellLost(shared.options.context);
        lock.lock();
        if (ending)
            break;
        const u64 now = ClockMs();
        const u64 next = std::min(shared.NextMs(), told ? ~u64{0} : now + shared.options.tellMs);
        const auto somethingToDo = [&] { return shared.ending || !shared.entries.empty(); };
        if (next == ~u64{0})
            shared.changed.wait(lock, somethingToDo);
        else if (next > now)
            shared.changed.wait_for(lock, std::chrono::milliseconds(next - now), somethingToDo);
    }
    shared.ended = true;
    shared.changed.notify_all();
    return nullptr;
}

void Record::Stop()
{
    if (shared_ == nullptr)
        return;
    {
        std::unique_lock lock(shared_->mutex);
        shared_->ending = true;
        shared_->changed.notify_all();
        shared_->changed.wait_for(lock, std::chrono::milliseconds(kStopMostMs),
                                  [&] { return shared_->ended; });
    }
    const pthread_t thread = shared_->thread;
    if (shared_->ended)
        pthread_join(thread, nullptr);
    else
        pthread_detach(thread);
    shared_.reset();
}

void Record::Add(Entry &&entry)
{
    if (shared_ == nullptr)
        return;
    const std::lock_guard lock(shared_->mutex);
    if (shared_->Count(entry.uid, entry.kind, ClockMs())) {
        shared_->FindSession(&entry);
        if (entry.event != nullptr)
            shared_->entries.push_back(std::move(entry));
    }
    shared_->changed.notify_all();
}

void Record::Call(const Peer &peer, const RecordCall &call)
{
    std::string rest = " command=" + RecordValue(call.command) +
                       " argument=" + RecordValue(call.argument) +
                       " target=" + RecordValue(call.target) + " result=" + ResultWord(call.result);
    if (call.result == RecordResult::Done)
        rest += " value=" + std::to_string(call.number);
    else if (call.result == RecordResult::Failed)
        rest += " status=" + std::to_string(call.number);
    const bool effect = (call.result == RecordResult::Done && call.number == 0) ||
                        call.result == RecordResult::Unanswered;
    Add({effect ? Kind::Effect : Kind::Other, "call", peer.uid, peer.pid, call.session, false, "",
         std::move(rest)});
}

void Record::AddLogin(const Peer &peer, const LoginNotice &notice, const RecordedLogin &login)
{
    // By the event's number.
    static constexpr const char *kEvents[] = {"login", "refusal", "logout", nullptr};
    const bool logout = notice.event == LoginEvent::Logout;
    std::string rest;
    if (logout || notice.event == LoginEvent::Refusal)
        rest += " reason=" + RecordValue(notice.reason);
    if (logout)
        rest += " seconds=" + std::to_string(notice.seconds);
    const Kind kind = notice.event == LoginEvent::Refusal ? Kind::Other : Kind::Login;
    Add({kind, kEvents[static_cast<u8>(notice.event)], peer.uid, peer.pid, notice.session, logout,
         notice.address, std::move(rest), login});
}

RecordedLogin Record::Login(const Peer &peer, const LoginNotice &notice)
{
    const bool begins = notice.event == LoginEvent::Login || notice.event == LoginEvent::Lasting;
    RecordedLogin login = begins ? std::make_shared<bool>(false) : nullptr;
    AddLogin(peer, notice, login);
    return login;
}

void Record::Logout(const Peer &peer, const LoginNotice &notice, const RecordedLogin &login)
{
    AddLogin(peer, notice, login);
}
