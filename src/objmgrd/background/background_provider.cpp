// SPDX-License-Identifier: Apache-2.0
// background_provider.cpp -- see background_provider.h.
#include "objmgrd/background/background_provider.h"

#include "objmgrd/instances.h"

#include <algorithm>
#include <errno.h>
#include <signal.h>
#include <string.h>
#include <syslog.h>
#include <time.h>

namespace
{

constexpr u32 kMethodMarginMs = 500;
// Ages that tools are told, and everything else that nobody waits for.
constexpr u32 kIdleTickMs = 500;
constexpr u32 kBusyTickMs = 100;

OrderKind OrderOf(const MethodCall &call)
{
    switch (call.row->id) {
    case MethodId::Start:
        return OrderKind::Start;
    case MethodId::Stop:
        return OrderKind::Stop;
    case MethodId::Reset:
        return call.argument.empty() ? OrderKind::Reset : OrderKind::PowerCycle;
    default:
        return OrderKind::Clear;
    }
}

}  // namespace

struct BackgroundProvider::Shared {
    Mailbox mailbox;
    std::unique_ptr<Conversation> conversation;  // destroyed first
};

BackgroundProvider::BackgroundProvider(const BackgroundOptions &options, const Maker &make)
    : options_(options), shared_(std::make_shared<Shared>())
{
    shared_->conversation = make(&shared_->mailbox);
}

BackgroundProvider::~BackgroundProvider()
{
    if (!started_)
        return;
    shared_->mailbox.Stop();
    timespec until;
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_sec += options_.joinS;
    if (pthread_timedjoin_np(thread_, nullptr, &until) != 0)
        pthread_detach(thread_);
}

int BackgroundProvider::PollFd() const
{
    return shared_->mailbox.Fd();
}

void BackgroundProvider::Run(Shared *shared)
{
    while (!shared->mailbox.Stopped()) {
        const u32 ms = shared->conversation->Step();
        if (ms != 0)
            shared->mailbox.Wait(ms);
    }
    shared->conversation->End();
}

int BackgroundProvider::Load(ImageWriter *store)
{
    source_ = store->AddSource(options_.source);
    for (const char *part : options_.parts)
        parts_.push_back(store->AddSource(part));
    // Clients find these failing, and do not take the machine for one without sensors.
    for (const std::string &key :
         {std::string(kSystemClass), std::string(kSelPath), SensorKey(1)}) {
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
            Run(shared->get());
            return nullptr;
        },
        mine);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (error != 0)
        delete mine;
    started_ = error == 0;
    return error;
}

bool BackgroundProvider::Has(const std::string &key) const
{
    return keys_.find(key) != keys_.end();
}

ProviderReply BackgroundProvider::Invoke(const MethodCall &call, ImageWriter *)
{
    Order order;
    order.ticket = nextTicket_++;
    order.kind = OrderOf(call);
    order.link = call.link;
    order.dueMs = options_.clock() + options_.methodMs;
    if (!shared_->mailbox.Give(order))
        return {.status = kCimFailed};
    open_[order.ticket] = order.dueMs;
    return {.pending = true, .ticket = order.ticket};
}

void BackgroundProvider::Withdraw(u64 ticket)
{
    shared_->mailbox.Withdraw(ticket);
    open_.erase(ticket);
}

void BackgroundProvider::Committed(bool done)
{
    if (done)
        unsaved_.clear();
}

// Every instance that came from the BMC fails from now on.
void BackgroundProvider::FailAll()
{
    unsaved_.clear();
    for (const std::string &key : keys_) {
        unsaved_[key] = FailedInstance(kCimFailed);
        unsaved_[key]->source = source_;
    }
    for (size_t part = 0; part < parts_.size(); ++part)
        untold_[static_cast<u16>(part)] = 0;
    failed_ = true;
}

void BackgroundProvider::Take(News &&news, std::vector<ProviderAnswer> *answers)
{
    ready_ = ready_ || news.settled || news.lost;
    if (news.lost) {
        if (!failed_ || why_.empty())
            FailAll();
        if (news.why != why_)
            options_.log(LOG_ERR, (options_.source + " cannot be read: " + news.why).c_str());
        why_ = news.why;
    }
    // What is gone may have been so before the loss.
    const bool given = std::any_of(news.changes.begin(), news.changes.end(),
                                   [](const auto &change) { return change.second.has_value(); });
    if (given && failed_) {
        failed_ = false;
        options_.log(LOG_NOTICE,
                     (options_.source + (why_.empty() ? ": reached" : ": answers again")).c_str());
        why_.clear();
    }
    for (auto &[key, change] : news.changes) {
        if (change.has_value()) {
            keys_.insert(key);
            change->source = change->source < parts_.size() ? parts_[change->source] : source_;
        } else {
            keys_.erase(key);
        }
        unsaved_.insert_or_assign(key, std::move(change));
    }
    for (const auto &[part, ms] : news.heard)
        untold_[part] = ms;
    for (const LogLine &line : news.lines)
        options_.log(line.priority, line.text.c_str());
    for (const ProviderAnswer &answer : news.answers) {
        // One that was answered as late already is not answered twice.
        if (open_.erase(answer.ticket) != 0)
            answers->push_back(answer);
    }
}

void BackgroundProvider::Watch()
{
    const u64 now = options_.clock();
    const u64 good = shared_->mailbox.heardMs;
    if (failed_ || now < good + options_.lostMs)
        return;
    shared_->mailbox.Void();
    FailAll();
    why_ = options_.silent;
    options_.log(LOG_ERR, (options_.source + " cannot be read: " + why_).c_str());
}

void BackgroundProvider::AnswerLate(std::vector<ProviderAnswer> *answers)
{
    const u64 now = options_.clock();
    for (auto it = open_.begin(); it != open_.end();) {
        if (now < it->second) {
            ++it;
            continue;
        }
        shared_->mailbox.Withdraw(it->first);
        answers->push_back({.ticket = it->first});
        it = open_.erase(it);
    }
}

// When the source was last heard, for tools.
void BackgroundProvider::TellHeard(ImageWriter *store)
{
    for (const auto &[part, ms] : untold_) {
        if (part >= parts_.size())
            continue;
        if (ms != 0)
            store->Heard(parts_[part], ms);
        else
            store->Silent(parts_[part]);
    }
    untold_.clear();
    const u64 heard = failed_ ? 0 : shared_->mailbox.heardMs.load();
    if (heard == heardMs_)
        return;
    heardMs_ = heard;
    if (heard != 0)
        store->Heard(source_, heard);
    else
        store->Silent(source_);
}

u32 BackgroundProvider::TickMs() const
{
    if (!open_.empty() || !unsaved_.empty())
        return kBusyTickMs;
    const u64 lost = shared_->mailbox.heardMs + options_.lostMs;
    const u64 now = options_.clock();
    // Just behind the moment, or in step with it where that has passed.
    if (!failed_ && lost + 1 < now + kIdleTickMs)
        return lost >= now ? static_cast<u32>(lost + 1 - now) : kBusyTickMs;
    return kIdleTickMs;
}

u32 BackgroundProvider::MethodTimeoutMs() const
{
    return options_.methodMs + kMethodMarginMs;
}

void BackgroundProvider::Tick(ImageWriter *store, std::vector<ProviderAnswer> *answers)
{
    Take(shared_->mailbox.Take(), answers);
    Watch();
    AnswerLate(answers);
    TellHeard(store);
    for (auto &[key, change] : unsaved_) {
        const int error = change.has_value() ? store->Put(key, *change) : store->Delete(key);
        if (error != 0)
            return;
    }
}
