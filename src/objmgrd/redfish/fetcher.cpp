// SPDX-License-Identifier: Apache-2.0
// fetcher.cpp -- see fetcher.h.
#include "objmgrd/redfish/fetcher.h"

#include <algorithm>

namespace
{

constexpr u32 kPumpMs = 100;
// With so many requests the best number at a time is looked for.
constexpr size_t kMeasureLeast = 16;
// While answers take so long, or do not come, one place is left to urgent requests: they would wait
// for as long as a request may take. One that took long counts for some times as long again, so
// that a moment's standstill costs a long reading little.
constexpr u32 kSlowMs = 800;
constexpr u32 kSlowTimes = 4;
constexpr u32 kSlowForMostMs = 20000;

}  // namespace

Fetcher::Fetcher(const RedfishSettings *settings, const Password *password, Clock clock)
    : settings_(*settings), clock_(clock), http_(settings, password)
{
}

void Fetcher::SetBetween(std::function<void()> between, std::function<bool()> stop, int wakeFd)
{
    between_ = std::move(between);
    stop_ = std::move(stop);
    wakeFd_ = wakeFd;
}

void Fetcher::SetLogin(HttpLogin login, std::string token)
{
    login_ = login;
    token_ = std::move(token);
    unauthorized_ = false;
    refused_.clear();
    denied_.clear();
    goods_ = 0;
    ++logins_;
}

void Fetcher::LoginCounts()
{
    unauthorized_ = false;
    denied_.merge(refused_);
    refused_.clear();
}

HttpRequest Fetcher::MakeGet(const std::string &link) const
{
    HttpRequest request;
    request.link = link;
    request.login = login_;
    request.token = token_;
    request.timeoutMs = settings_.answerMs;
    request.mark = logins_;
    return request;
}

Got Fetcher::Take(HttpAnswer &&answer, const std::string &link)
{
    Got got;
    got.fault = answer.fault;
    got.status = answer.status;
    got.unchanged = answer.status == 304;
    got.etag = answer.etag;
    got.why = answer.why;
    if (answer.tookMs > kSlowMs)
        slowUntilMs_ =
            std::max(slowUntilMs_,
                     clock_() + std::min<u64>(u64{answer.tookMs} * kSlowTimes, kSlowForMostMs));
    if (!answer.Came())
        return got;
    const bool ofThisLogin = answer.mark == logins_;
    if (ofThisLogin && answer.status == 401) {
        if (denied_.count(link) != 0) {
            got.status = 403;
        } else {
            unauthorized_ = true;
            if (!link.empty())
                refused_.insert(link);
        }
    }
    if (answer.Good()) {
        bytes_ += answer.body.size();
        if (!got.etag.empty())
            got.hash = std::hash<std::string_view>()(answer.body);
        if (bytes_ <= kReadingBytesMax)
            got.document.ReadResource(std::move(answer.body));
        if (got.Good() && ofThisLogin)
            ++goods_;
    }
    // What is no Redfish at all (a web page) is no sign of life of the service.
    if (got.Good() || answer.status >= 300)
        heardMs_ = clock_();
    return got;
}

void Fetcher::Urgent(HttpRequest request, Http::Done done)
{
    urgent_.emplace_back(std::move(request), std::move(done));
    StartUrgent();
}

void Fetcher::StartUrgent()
{
    while (!urgent_.empty() && http_.OnTheirWay() < kHttpAtOnce) {
        auto [request, done] = std::move(urgent_.front());
        urgent_.pop_front();
        http_.Start(std::move(request), std::move(done));
    }
}

// Requests of a reading that may be on their way.
u32 Fetcher::Room() const
{
    return clock_() < slowUntilMs_ ? std::min(limit_, kHttpAtOnce - 1) : limit_;
}

void Fetcher::Wait(u32 ms)
{
    StartUrgent();
    http_.Pump(wakeFd_, ms);
}

HttpAnswer Fetcher::Ask(HttpRequest request)
{
    HttpAnswer answer;
    bool done = false;
    Urgent(std::move(request), [&](HttpAnswer &&came) {
        answer = std::move(came);
        done = true;
    });
    while (!done)
        Wait(kPumpMs);
    return answer;
}

void Fetcher::Drop()
{
    http_.Drop();
    urgent_.clear();
}

Got Fetcher::Get(const std::string &link, const std::string &etag)
{
    Got got;
    Want(
        link, [&got](Got &&came) { got = std::move(came); }, etag);
    ReadWanted();
    return got;
}

std::vector<Got> Fetcher::GetAll(const std::vector<std::string> &links)
{
    std::vector<Got> got(links.size());
    for (size_t i = 0; i < links.size(); ++i)
        Want(links[i], [&got, i](Got &&came) { got[i] = std::move(came); });
    ReadWanted();
    return got;
}

void Fetcher::Want(const std::string &link, std::function<void(Got &&)> done,
                   const std::string &etag)
{
    if (batch_ == nullptr)
        batch_ = std::make_shared<Batch>();
    Wanted wanted = {MakeGet(link), std::move(done)};
    wanted.request.etag = etag;
    batch_->wanted.push_back(std::move(wanted));
    ++batch_->left;
}

void Fetcher::StartWanted()
{
    while (!batch_->wanted.empty() && http_.OnTheirWay() < Room()) {
        Wanted wanted = std::move(batch_->wanted.front());
        batch_->wanted.pop_front();
        const std::string link = wanted.request.link;
        http_.Start(
            std::move(wanted.request),
            [this, link, batch = batch_, done = std::move(wanted.done)](HttpAnswer &&answer) {
                batch->waitedMs.push_back(answer.waitedMs);
                --batch->left;
                Got got = Take(std::move(answer), link);
                if (!batch->closed)
                    done(std::move(got));
            });
    }
}

bool Fetcher::ReadWanted()
{
    if (batch_ == nullptr)
        return true;
    const auto batch = batch_;
    // A login that did not count before this reading says nothing about what needs none.
    const bool before = unauthorized_;
    while (batch->left != 0 && !stop_() && (before || !unauthorized_)) {
        StartUrgent();
        StartWanted();
        Wait(kPumpMs);
        between_();
    }
    batch->closed = true;
    batch_ = nullptr;
    if (batch->left != 0)
        return false;
    Judge(std::move(batch->waitedMs));
    return true;
}

void Fetcher::Measure()
{
    limit_ = kHttpAtOnce;
    judged_ = false;
}

// A service that answers one after the other is left to do so: there most answers take several
// times as long as the quickest of the first few, which waits for no other. Where they take as long
// one by one the guess was wrong.
void Fetcher::Judge(std::vector<u32> waitedMs)
{
    if (judged_ || waitedMs.size() < kMeasureLeast)
        return;
    const u32 quickest = *std::min_element(waitedMs.begin(), waitedMs.begin() + kHttpAtOnce);
    const auto middle = waitedMs.begin() + static_cast<std::ptrdiff_t>(waitedMs.size() / 2);
    std::nth_element(waitedMs.begin(), middle, waitedMs.end());
    const u64 median = *middle;
    if (limit_ == 1) {
        judged_ = true;
        if (median * 10 > u64{medianOfFour_} * 6)
            limit_ = kHttpAtOnce;
        return;
    }
    medianOfFour_ = *middle;
    if (quickest > 0 && median * 2 > u64{quickest} * 5)
        limit_ = 1;
}
