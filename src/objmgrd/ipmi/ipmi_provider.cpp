// SPDX-License-Identifier: Apache-2.0
// ipmi_provider.cpp -- see ipmi_provider.h.
#include "objmgrd/ipmi/ipmi_provider.h"

#include "objmgr/object_path.h"

#include <cerrno>
#include <cstring>
#include <signal.h>
#include <syslog.h>
#include <time.h>

namespace
{

constexpr char kPowerCycleArgs[] = "Mode=PowerCycle";
// The thread is in one request at most, whose waiting the driver's limit ends.
constexpr u32 kJoinMostMs = 5000;

u64 MonotonicMs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<u64>(now.tv_sec) * 1000 + static_cast<u64>(now.tv_nsec) / 1000000;
}

struct MethodRow {
    const char *key;
    const char *method;
    OrderKind kind;
};

const MethodRow kMethods[] = {
    {kSystemKey, "Start", OrderKind::Start},
    {kSystemKey, "Stop", OrderKind::Stop},
    {kSystemKey, "Reset", OrderKind::Reset},
    {kSelLogKey, "Clear", OrderKind::Clear},
};

const MethodRow *FindMethod(const char *key, const char *method)
{
    for (const MethodRow &row : kMethods) {
        if (strcmp(row.key, key) == 0 && strcmp(row.method, method) == 0)
            return &row;
    }
    return nullptr;
}

}  // namespace

struct IpmiProvider::Shared {
    Shared(const IpmiSettings &theSettings, std::unique_ptr<Bmc> theBmc,
           std::unique_ptr<Bmc> theControl, Worker::Clock theClock)
        : settings(theSettings), bmc(std::move(theBmc)), control(std::move(theControl)),
          clock(theClock != nullptr ? theClock : MonotonicMs),
          worker(&settings, bmc.get(), control.get(), &mailbox, clock)
    {
    }

    const IpmiSettings settings;
    const std::unique_ptr<Bmc> bmc;
    const std::unique_ptr<Bmc> control;
    const Worker::Clock clock;
    Mailbox mailbox;
    Worker worker;
};

IpmiProvider::IpmiProvider(const IpmiSettings &settings, std::unique_ptr<Bmc> bmc,
                           std::unique_ptr<Bmc> control, Log log, Worker::Clock clock)
    : shared_(std::make_shared<Shared>(settings, std::move(bmc), std::move(control), clock)),
      log_(log)
{
}

IpmiProvider::~IpmiProvider()
{
    if (!started_)
        return;
    shared_->mailbox.Stop();
    timespec until;
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_sec += kJoinMostMs / 1000;
    if (pthread_timedjoin_np(thread_, nullptr, &until) != 0)
        pthread_detach(thread_);
}

int IpmiProvider::PollFd() const
{
    return shared_->mailbox.Fd();
}

int IpmiProvider::Load(StoreWriter *store)
{
    for (const std::string &key :
         {std::string(kSystemKey), std::string(kSelLogKey), SensorKey(1)}) {
        const int error = store->Put(key, FailedInstance(kCimFailed));
        if (error != 0)
            return error;
        keys_.insert(key);
    }
    // Signals are for the serving thread.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    auto *mine = new std::shared_ptr<Shared>(shared_);
    const int error = pthread_create(
        &thread_, nullptr,
        [](void *argument) -> void * {
            const std::unique_ptr<std::shared_ptr<Shared>> shared(
                static_cast<std::shared_ptr<Shared> *>(argument));
            (*shared)->worker.Run();
            return nullptr;
        },
        mine);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (error != 0)
        delete mine;
    started_ = error == 0;
    return error;
}

ProviderReply IpmiProvider::Invoke(const Caller &, const MethodRequest &request, StoreWriter *)
{
    ObjectPath path;
    if (ObjectPathParse(request.path, &path) != kCimOk)
        return {.status = kCimInvalidParameter};
    if (keys_.find(path.key) == keys_.end())
        return {.status = kCimNotFound};
    const MethodRow *row = FindMethod(path.key, request.method);
    if (row == nullptr)
        return {.status = kCimMethodNotFound};
    // An empty text is no argument.
    const bool args = request.hasArgs && request.args[0] != '\0';
    const bool cycle = row->kind == OrderKind::Reset && strcmp(request.args, kPowerCycleArgs) == 0;
    if (args && !cycle)
        return {.status = kCimInvalidParameter};

    Order order;
    order.ticket = nextTicket_++;
    order.kind = args ? OrderKind::PowerCycle : row->kind;
    order.dueMs = shared_->clock() + shared_->settings.methodMs;
    if (!shared_->mailbox.Give(order))
        return {.status = kCimFailed};
    open_[order.ticket] = order.dueMs;
    return {.pending = true, .ticket = order.ticket};
}

void IpmiProvider::Committed(bool done)
{
    if (done)
        unsaved_.clear();
}

// Every instance that came from the BMC fails from now on.
void IpmiProvider::FailAll()
{
    unsaved_.clear();
    for (const std::string &key : keys_)
        unsaved_[key] = FailedInstance(kCimFailed);
    failed_ = true;
}

void IpmiProvider::Take(News &&news, std::vector<ProviderAnswer> *answers)
{
    const std::string name = "BMC " + IpmiBmcName(shared_->settings);
    ready_ = ready_ || news.settled || news.lost;
    if (news.lost) {
        if (!failed_ || why_.empty())
            FailAll();
        if (news.why != why_)
            log_(LOG_ERR, (name + " cannot be read: " + news.why).c_str());
        why_ = news.why;
    }
    if (!news.changes.empty() && failed_) {
        failed_ = false;
        log_(LOG_NOTICE, (name + (why_.empty() ? ": reached" : ": answers again")).c_str());
        why_.clear();
    }
    for (auto &[key, change] : news.changes) {
        if (change.has_value())
            keys_.insert(key);
        else
            keys_.erase(key);
        unsaved_.insert_or_assign(key, std::move(change));
    }
    for (const LogLine &line : news.lines)
        log_(line.priority, line.text.c_str());
    for (const ProviderAnswer &answer : news.answers) {
        // One that was answered as late already is not answered twice.
        if (open_.erase(answer.ticket) != 0)
            answers->push_back(answer);
    }
}

void IpmiProvider::Watch()
{
    const u64 now = shared_->clock();
    const u64 good = shared_->mailbox.goodAnswerMs;
    if (failed_ || now < good + kStaleMs)
        return;
    shared_->mailbox.Void();
    FailAll();
    why_ = "no answer from " + IpmiBmcName(shared_->settings);
    log_(LOG_ERR, ("BMC " + IpmiBmcName(shared_->settings) + " cannot be read: " + why_).c_str());
}

void IpmiProvider::AnswerLate(std::vector<ProviderAnswer> *answers)
{
    const u64 now = shared_->clock();
    for (auto it = open_.begin(); it != open_.end();) {
        if (now < it->second) {
            ++it;
            continue;
        }
        answers->push_back({.ticket = it->first});
        it = open_.erase(it);
    }
}

void IpmiProvider::Tick(StoreWriter *store, std::vector<ProviderAnswer> *answers)
{
    Take(shared_->mailbox.Take(), answers);
    Watch();
    AnswerLate(answers);
    for (const auto &[key, change] : unsaved_) {
        const int error = change.has_value() ? store->Put(key, *change) : store->Delete(key);
        if (error != 0)
            return;
    }
}
