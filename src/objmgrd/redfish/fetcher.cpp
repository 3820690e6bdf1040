// SPDX-License-Identifier: Apache-2.0
// fetcher.cpp -- see fetcher.h.
#include "objmgrd/redfish/fetcher.h"

#include <algorithm>

namespace
{

constexpr u32 kPumpMs = 100;
// With so many requests the best number at a time is looked for, the first few one by one.
constexpr size_t kMeasureLeast = 16;
constexpr size_t kMeasureFirst = 4;
// While answers take so long, or do not come, one place is left to urgent requests: they would wait
// for as long as a request may take.
constexpr u32 kSlowMs = 800;
constexpr u32 kSlowForMs = 60000;
constexpr char kExpand[] = "?$expand=.($levels=1)";

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
    goods_ = 0;
    ++logins_;
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

Got Fetcher::Take(HttpAnswer &&answer)
{
    Got got;
    got.fault = answer.fault;
    got.status = answer.status;
    got.etag = answer.etag;
    got.why = answer.why;
    if (answer.tookMs > kSlowMs)
        slowUntilMs_ = clock_() + kSlowForMs;
    if (!answer.Came())
        return got;
    const bool ofThisLogin = answer.mark == logins_;
    unauthorized_ = unauthorized_ || (ofThisLogin && answer.status == 401);
    if (answer.Good()) {
        bytes_ += answer.body.size();
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
    HttpRequest request = MakeGet(link);
    request.etag = etag;
    // Shared, since a reading that is given up leaves its request behind.
    struct Place {
        Got got;
        bool done = false;
    };
    const auto place = std::make_shared<Place>();
    while (http_.OnTheirWay() >= Room() && !stop_()) {
        Wait(kPumpMs);
        between_();
    }
    http_.Start(std::move(request), [this, place](HttpAnswer &&answer) {
        place->got = Take(std::move(answer));
        place->done = true;
    });
    while (!place->done && !stop_()) {
        Wait(kPumpMs);
        between_();
    }
    return std::move(place->got);
}

std::vector<Got> Fetcher::GetAll(const std::vector<std::string> &links, bool measure)
{
    struct Batch {
        std::vector<Got> got;
        size_t done = 0;
        u64 tookMs = 0;  // of the first few
    };
    const auto batch = std::make_shared<Batch>();
    batch->got.resize(links.size());
    measure = measure && links.size() >= kMeasureLeast;
    u64 measureStart = 0;
    size_t next = 0;
    while (batch->done < links.size() && !stop_() && !unauthorized_) {
        const bool first = measure && batch->done < kMeasureFirst;
        if (measure && !first && measureStart == 0)
            measureStart = clock_();
        const u32 most = first ? 1 : measure ? kHttpAtOnce : Room();
        StartUrgent();
        while (next < links.size() && http_.OnTheirWay() < most) {
            const size_t mine = next++;
            http_.Start(MakeGet(links[mine]), [this, batch, mine](HttpAnswer &&answer) {
                if (batch->done < kMeasureFirst)
                    batch->tookMs += answer.tookMs;
                batch->got[mine] = Take(std::move(answer));
                ++batch->done;
            });
        }
        Wait(kPumpMs);
        between_();
    }
    if (measure && batch->done == links.size()) {
        const u64 one = batch->tookMs / kMeasureFirst;
        const u64 several = (clock_() - measureStart) / (links.size() - kMeasureFirst);
        // A service that answers one after the other is left to do so.
        limit_ = one > 0 && several * 10 > one * 8 ? 1 : kHttpAtOnce;
    }
    // What is still on its way has the batch to itself.
    std::vector<Got> taken(links.size());
    taken.swap(batch->got);
    batch->got.resize(links.size());
    return taken;
}

namespace
{

// A page that is to be read.
struct Page {
    size_t listing;
    std::string link;
    bool expanded;  // asked for with its members
};

bool IsUnsure(const Got &got)
{
    return !got.Good() && !got.Gone() && !got.Denied();
}

struct Progress {
    std::set<std::string> pages;  // addresses that were read
    std::set<std::string> seen;   // names of members
    std::optional<double> count;
    bool failed = false;
};

}  // namespace

std::vector<Listed> Fetcher::ReadListings(const std::vector<Listing *> &listings, bool again,
                                          bool expands, Documents *documents, bool measure,
                                          const std::set<std::string> &skip)
{
    std::vector<Listed> all(listings.size());
    std::vector<Progress> progress(listings.size());
    std::vector<Page> pages;
    for (size_t i = 0; i < listings.size(); ++i) {
        Listing *listing = listings[i];
        if (again)
            listing->expand = expands;
        if (listing->link.empty())
            continue;
        if (!again && !listing->expand && listing->whole) {
            for (const std::string &link : listing->members) {
                if (skip.count(LinkName(link)) == 0)
                    all[i].members.push_back({link, JsonValue()});
            }
            continue;
        }
        pages.push_back({i, listing->link + (listing->expand ? kExpand : ""), listing->expand});
    }
    while (!pages.empty() && !stop_() && !unauthorized_) {
        std::vector<std::string> links;
        links.reserve(pages.size());
        for (const Page &page : pages)
            links.push_back(page.link);
        std::vector<Got> got = GetAll(links);
        std::vector<Page> next;
        for (size_t p = 0; p < pages.size(); ++p) {
            const Page &page = pages[p];
            Listing *listing = listings[page.listing];
            Listed &listed = all[page.listing];
            Progress &mine = progress[page.listing];
            if (!got[p].Good()) {
                if (page.expanded && got[p].fault != HttpFault::Silent && mine.pages.empty()) {
                    // What it makes of the question is no matter: ask without it.
                    listing->expand = false;
                    next.push_back({page.listing, listing->link, false});
                    continue;
                }
                mine.failed = true;
                listed.denied += got[p].Denied();
                listed.gone += got[p].Gone();
                listed.unsure += IsUnsure(got[p]);
                continue;
            }
            documents->push_back(std::move(got[p].document));
            const CollectionPage content =
                CollectionPageOf(settings_.origin, documents->back().Root());
            mine.pages.insert(page.link);
            if (content.count.has_value())
                mine.count = content.count;
            bool fresh = false;
            for (size_t m = 0; m < content.links.size(); ++m) {
                if (!mine.seen.insert(LinkName(content.links[m])).second)
                    continue;
                fresh = true;
                const bool whole = page.expanded && IsExpanded(content.members[m]);
                if (page.expanded && !whole)
                    listing->expand = false;
                // A log's entries stand in their collection, asked for or not.
                listed.members.push_back({content.links[m], whole || IsExpanded(content.members[m])
                                                                ? content.members[m]
                                                                : JsonValue()});
            }
            const bool more = !content.next.empty() && mine.pages.count(content.next) == 0 &&
                              mine.pages.size() < kPagesMax && (fresh || !content.hasMembers);
            if (more)
                next.push_back({page.listing, content.next, page.expanded});
        }
        pages = std::move(next);
    }
    for (size_t i = 0; i < listings.size(); ++i) {
        // Fewer members than it says it has: an expansion that lies. They are read one by one,
        // those that a plain list names.
        const double counted = static_cast<double>(all[i].members.size());
        if (listings[i]->expand && !listings[i]->link.empty() && !progress[i].failed &&
            progress[i].count.value_or(counted) > counted && !stop_() && !unauthorized_) {
            listings[i]->expand = false;
            Listing plain = {listings[i]->link, false, false, {}};
            std::vector<Listed> second = ReadListings({&plain}, false, false, documents);
            if (plain.whole && second[0].members.size() >= all[i].members.size())
                all[i] = std::move(second[0]);
        }
    }
    // Members that came as links alone.
    std::vector<std::string> links;
    std::vector<Resource *> places;
    for (Listed &listed : all) {
        for (Resource &member : listed.members) {
            if (!member.document.IsObject()) {
                links.push_back(member.link);
                places.push_back(&member);
            }
        }
    }
    std::vector<Got> got = GetAll(links, measure);
    for (size_t i = 0; i < links.size(); ++i) {
        if (got[i].Good()) {
            documents->push_back(std::move(got[i].document));
            places[i]->document = documents->back().Root();
        }
    }
    size_t at = 0;
    for (size_t i = 0; i < all.size(); ++i) {
        const bool listed = !progress[i].pages.empty();  // not its members alone
        if (listed)
            listings[i]->whole = !progress[i].failed && !stop_() && !unauthorized_;
        if (listed && listings[i]->whole)
            listings[i]->members.clear();
        for (const Resource &member : all[i].members) {
            if (listed && listings[i]->whole)
                listings[i]->members.push_back(member.link);
            if (at < places.size() && places[at] == &member) {
                all[i].failed += !got[at].Good();
                all[i].gone += got[at].Gone();
                all[i].denied += got[at].Denied();
                all[i].unsure += IsUnsure(got[at]);
                ++at;
            }
        }
    }
    return all;
}
