// SPDX-License-Identifier: Apache-2.0
// reading.cpp -- see reading.h.
#include "objmgrd/redfish/reading.h"

namespace
{

constexpr char kExpand[] = "?$expand=.($levels=1)";

bool IsUnsure(const Got &got)
{
    return !got.Good() && !got.Gone() && !got.Denied();
}

}  // namespace

Reading::Reading(Fetcher *fetcher, Documents *documents, const ReadingOptions &options)
    : fetcher_(fetcher), documents_(documents), options_(options)
{
}

void Reading::Ask(const std::string &link, u32 group, std::function<void(Got &&)> done)
{
    EtagBook *etags = options_.etags;
    const std::string etag = etags != nullptr ? etags->For(group, link) : "";
    fetcher_->Want(
        link,
        [this, etags, link, group, done = std::move(done)](Got &&got) {
            if (got.unchanged)
                unchanged_.insert(LinkName(link));
            else if (etags != nullptr && got.Good())
                etags->Take(group, link, got.etag, got.hash);
            else if (etags != nullptr)
                etags->Drop(link);
            done(std::move(got));
        },
        etag);
}

void Reading::Document(const std::string &link, u32 group, Done done)
{
    Ask(link, group, [this, done = std::move(done)](Got &&got) {
        done(got, got.document.Root());
        if (got.Good())
            documents_->push_back(std::move(got.document));
    });
}

void Reading::List(Listing *listing, u32 group, Listed *listed)
{
    if (options_.again)
        listing->expand = options_.expands;
    if (listing->link.empty())
        return;
    works_.push_back({.listing = listing, .group = group, .listed = listed});
    Work *work = &works_.back();
    if (options_.again || listing->expand || !listing->whole)
        return Page(work, listing->link + (listing->expand ? kExpand : ""), listing->expand);
    for (const std::string &link : listing->members) {
        if (options_.skip != nullptr && options_.skip->count(LinkName(link)) != 0)
            continue;
        listed->members.push_back({link, JsonValue()});
        Member(work, listed->members.size() - 1);
    }
}

void Reading::Page(Work *work, const std::string &link, bool expanded)
{
    ++work->pagesLeft;
    // Whole, each time: of a collection the ETag may be that of its list of members alone.
    fetcher_->Want(link, [this, work, link, expanded](Got &&got) {
        TakePage(work, link, expanded, std::move(got));
        if (--work->pagesLeft == 0)
            EndPages(work);
    });
}

void Reading::TakePage(Work *work, const std::string &link, bool expanded, Got &&got)
{
    Listing *listing = work->listing;
    Listed *listed = work->listed;
    if (!got.Good()) {
        if (expanded && got.fault != HttpFault::Silent && got.status != 401 &&
            work->pages.empty()) {
            // What it makes of the question is no matter: ask without it.
            listing->expand = false;
            return Page(work, listing->link, false);
        }
        work->failed = true;
        listed->absent = got.Gone() && work->pages.empty();
        listed->denied += got.Denied();
        listed->gone += got.Gone();
        listed->unsure += IsUnsure(got);
        return;
    }
    documents_->push_back(std::move(got.document));
    const CollectionPage content =
        CollectionPageOf(fetcher_->ServiceOrigin(), documents_->back().Root());
    work->pages.insert(link);
    listed->refused += content.refused;
    listed->more = listed->more || content.nextElsewhere;
    if (content.count.has_value())
        work->count = content.count;
    bool fresh = false;
    for (size_t m = 0; m < content.links.size(); ++m) {
        if (!work->seen.insert(LinkName(content.links[m])).second)
            continue;
        fresh = true;
        // Some collections have their members in them, asked for or not.
        const bool whole = IsExpanded(content.members[m]);
        if (expanded && !whole)
            listing->expand = false;
        listed->members.push_back({content.links[m], whole ? content.members[m] : JsonValue()});
        if (!whole)
            Member(work, listed->members.size() - 1);
    }
    if (content.next.empty() || work->pages.count(content.next) != 0 ||
        !(fresh || !content.hasMembers))
        return;
    if (work->pages.size() < kPagesMax)
        Page(work, content.next, expanded);
    else
        listed->more = true;
}

// Fewer members than it says it has: an expansion that lies. They are read one by one, those that a
// plain list names.
void Reading::EndPages(Work *work)
{
    const double counted = static_cast<double>(work->listed->members.size());
    if (!work->listing->expand || work->failed || work->count.value_or(counted) <= counted)
        return;
    work->listing->expand = false;
    work->plain = std::make_unique<Listing>();
    work->plain->link = work->listing->link;
    work->plain->expand = false;
    work->plainListed = std::make_unique<Listed>();
    works_.push_back(
        {.listing = work->plain.get(), .group = work->group, .listed = work->plainListed.get()});
    Page(&works_.back(), work->plain->link, false);
}

void Reading::Member(Work *work, size_t place)
{
    Ask(work->listed->members[place].link, work->group,
        [this, work, place](Got &&got) { TakeMember(work, place, std::move(got)); });
}

void Reading::TakeMember(Work *work, size_t place, Got &&got)
{
    Listed *listed = work->listed;
    if (got.Good()) {
        documents_->push_back(std::move(got.document));
        listed->members[place].document = documents_->back().Root();
    } else if (!got.unchanged) {
        ++listed->failed;
        listed->gone += got.Gone();
        if (got.Gone())
            listed->missing.push_back(listed->members[place].link);
        listed->denied += got.Denied();
        listed->unsure += IsUnsure(got);
    }
}

bool Reading::Run()
{
    const bool ended = fetcher_->ReadWanted();
    // From the back: a plain list is whole before the one that it stands in for.
    for (auto work = works_.rbegin(); work != works_.rend(); ++work) {
        // Else its members alone were asked for.
        if (work->pages.empty() && !work->failed && work->pagesLeft == 0)
            continue;
        if (work->plain != nullptr && work->plain->whole &&
            work->plainListed->members.size() >= work->listed->members.size())
            *work->listed = std::move(*work->plainListed);
        Listing *listing = work->listing;
        listing->whole = !work->failed && ended;
        if (!listing->whole)
            continue;
        listing->members.clear();
        for (const Resource &member : work->listed->members)
            listing->members.push_back(member.link);
    }
    return ended;
}
