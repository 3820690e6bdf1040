// SPDX-License-Identifier: Apache-2.0
// mailbox.cpp -- see mailbox.h.
#include "objmgrd/background/mailbox.h"

#include <algorithm>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace
{

int MakeFd()
{
    return eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
}

void Raise(int fd)
{
    const u64 one = 1;
    (void)!write(fd, &one, sizeof one);
}

bool SomebodyWaits(const std::shared_ptr<const CallerLink> &link)
{
    return link == nullptr || link->StillWaits();
}

void Lower(int fd)
{
    u64 count;
    (void)!read(fd, &count, sizeof count);
}

}  // namespace

void KeepRemovals(StoreChanges *changes)
{
    std::erase_if(*changes, [](const auto &change) { return change.second.has_value(); });
}

Mailbox::Mailbox() : newsFd_(MakeFd()), wakeFd_(MakeFd()) {}

Mailbox::~Mailbox()
{
    for (int fd : {newsFd_, wakeFd_}) {
        if (fd >= 0)
            close(fd);
    }
}

News Mailbox::Take()
{
    const std::lock_guard lock(mutex_);
    if (!std::exchange(newsRaised_, false))
        return News();
    Lower(newsFd_);
    return std::exchange(news_, News());
}

bool Mailbox::Give(const Order &order)
{
    const std::lock_guard lock(mutex_);
    if (orders_.size() == kMailboxOrdersMax)
        return false;
    orders_.push_back(order);
    Raise(wakeFd_);
    return true;
}

void Mailbox::Withdraw(u64 ticket)
{
    const std::lock_guard lock(mutex_);
    std::erase_if(orders_, [=](const Order &order) { return order.ticket == ticket; });
    if (inHand_ == ticket)
        inHand_ = 0;
}

void Mailbox::Void()
{
    const std::lock_guard lock(mutex_);
    ++generation_;
    KeepRemovals(&news_.changes);
    Raise(wakeFd_);
}

void Mailbox::Stop()
{
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    Raise(wakeFd_);
}

void Mailbox::Post(u32 generation, News news)
{
    const std::lock_guard lock(mutex_);
    if (news.lost) {
        news_.lost = true;
        news_.why = std::move(news.why);
        KeepRemovals(&news_.changes);
    }
    news_.settled = news_.settled || news.settled;
    if (generation != generation_) {
        KeepRemovals(&news.changes);
        news.heard.clear();
    }
    for (auto &[key, change] : news.changes)
        news_.changes.insert_or_assign(key, std::move(change));
    for (const auto &[part, ms] : news.heard)
        news_.heard[part] = ms;
    for (ProviderAnswer &answer : news.answers)
        news_.answers.push_back(answer);
    for (LogLine &line : news.lines) {
        if (news_.lines.size() < kMailboxLinesMax)
            news_.lines.push_back(std::move(line));
    }
    if (!std::exchange(newsRaised_, true))
        Raise(newsFd_);
}

bool Mailbox::NextOrder(Order *order)
{
    const std::lock_guard lock(mutex_);
    while (!orders_.empty()) {
        *order = std::move(orders_.front());
        orders_.pop_front();
        inHand_ = order->ticket;
        inHandLink_ = order->link;
        if (SomebodyWaits(order->link))
            return true;
    }
    return false;
}

bool Mailbox::HasOrder()
{
    const std::lock_guard lock(mutex_);
    return !orders_.empty();
}

bool Mailbox::Waits(u64 ticket)
{
    const std::lock_guard lock(mutex_);
    return inHand_ == ticket && SomebodyWaits(inHandLink_);
}

void Mailbox::Wait(u32 ms)
{
    pollfd wake = {wakeFd_, POLLIN, 0};
    poll(&wake, 1, static_cast<int>(ms));
    Lower(wakeFd_);
}
