// SPDX-License-Identifier: Apache-2.0
// mailbox.cpp -- see mailbox.h.
#include "objmgrd/ipmi/mailbox.h"

#include <chrono>
#include <sys/eventfd.h>
#include <unistd.h>

Mailbox::Mailbox() : fd_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

Mailbox::~Mailbox()
{
    if (fd_ >= 0)
        close(fd_);
}

void Mailbox::Wake()
{
    const u64 one = 1;
    (void)!write(fd_, &one, sizeof one);
}

News Mailbox::Take()
{
    const std::lock_guard lock(mutex_);
    u64 count;
    (void)!read(fd_, &count, sizeof count);
    News taken = std::move(news_);
    news_ = News();
    return taken;
}

bool Mailbox::Give(const Order &order)
{
    const std::lock_guard lock(mutex_);
    if (orders_.size() == kMailboxOrdersMax)
        return false;
    orders_.push_back(order);
    wake_.notify_one();
    return true;
}

void Mailbox::Void()
{
    const std::lock_guard lock(mutex_);
    ++generation_;
    news_.changes.clear();
    wake_.notify_one();
}

void Mailbox::Stop()
{
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    wake_.notify_one();
}

void Mailbox::Post(u32 generation, News news)
{
    const std::lock_guard lock(mutex_);
    if (news.lost) {
        news_.lost = true;
        news_.why = std::move(news.why);
        news_.changes.clear();
    }
    news_.settled = news_.settled || news.settled;
    if (generation == generation_) {
        for (auto &[key, change] : news.changes)
            news_.changes.insert_or_assign(key, std::move(change));
    }
    for (ProviderAnswer &answer : news.answers)
        news_.answers.push_back(answer);
    for (LogLine &line : news.lines) {
        if (news_.lines.size() < kMailboxLinesMax)
            news_.lines.push_back(std::move(line));
    }
    Wake();
}

bool Mailbox::NextOrder(Order *order)
{
    const std::lock_guard lock(mutex_);
    if (orders_.empty())
        return false;
    *order = orders_.front();
    orders_.pop_front();
    return true;
}

bool Mailbox::HasOrder()
{
    const std::lock_guard lock(mutex_);
    return !orders_.empty();
}

void Mailbox::Wait(u32 generation, bool orders, u32 ms)
{
    std::unique_lock lock(mutex_);
    wake_.wait_for(lock, std::chrono::milliseconds(ms), [&] {
        return stopped_ || (orders && !orders_.empty()) || generation_ != generation;
    });
}
