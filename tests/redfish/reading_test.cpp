// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/redfish/reading on a simulated service with one collection.
#include "objmgrd/redfish/reading.h"

#include "redfish/fetching.h"

namespace
{

const std::string kList = "/redfish/v1/List";
const std::string kExpanded = kList + "?$expand=.($levels=1)";
constexpr ReadingOptions kAgain = {.again = true, .expands = true};

std::string PathOf(u32 number)
{
    return kList + "/" + std::to_string(number);
}

class ReadingTest : public Fetching
{
protected:
    ReadingTest()
        : Fetching([] {
              SimOptions options;
              options.empty = true;
              return options;
          }())
    {
        listing_.link = kList;
    }
    // Members 1 to `count`, each with its number as its reading.
    void SetList(u32 count)
    {
        std::vector<std::string> links;
        for (u32 number = 1; number <= count; ++number) {
            links.push_back(PathOf(number));
            service_.SetDocument(PathOf(number), "{\"@odata.id\": \"" + PathOf(number) +
                                                     "\", \"Id\": \"" + std::to_string(number) +
                                                     "\"}");
        }
        SetMembers(links, count);
    }
    void SetMembers(const std::vector<std::string> &links, u32 count, const std::string &more = "")
    {
        std::string members;
        for (const std::string &link : links)
            members += (members.empty() ? "" : ", ") + ("{\"@odata.id\": \"" + link + "\"}");
        service_.SetDocument(kList, "{\"Members@odata.count\": " + std::to_string(count) +
                                        ", \"Members\": [" + members + "]" + more + "}");
    }
    void SetStatus(const std::string &path, unsigned status)
    {
        SimFault fault;
        fault.status = status;
        service_.SetFault(path, fault);
    }
    // Reads the list into listed_; false: given up.
    bool Read(const ReadingOptions &options)
    {
        service_.ForgetRequests();
        listed_ = Listed();
        documents_.clear();
        Reading reading(&fetcher_, &documents_, options);
        reading.List(&listing_, 1, &listed_);
        const bool ended = reading.Run();
        unchanged_ = reading.Unchanged();
        return ended;
    }
    // The members' numbers in their order; "-": not read.
    std::string Members() const
    {
        std::string text;
        for (const Resource &member : listed_.members) {
            const std::string id = member.document["Id"].Text();
            text += (text.empty() ? "" : " ") + (id.empty() ? "-" : id);
        }
        return text;
    }
    // What was asked for, in the order of the addresses, without the list's own.
    std::string Asked()
    {
        std::vector<std::string> urls;
        for (const SimRequest &request : service_.Requests())
            urls.push_back(request.url == kList ? "list" : request.url.substr(kList.size()));
        std::sort(urls.begin(), urls.end());
        std::string text;
        for (const std::string &url : urls)
            text += (text.empty() ? "" : " ") + url;
        return text;
    }

    Listing listing_;
    Listed listed_;
    Documents documents_;
    std::set<std::string> unchanged_;
};

}  // namespace

TEST_F(ReadingTest, AListThatComesWithItsMembersIsOneRequest)
{
    SetList(3);
    EXPECT_TRUE(Read(kAgain));
    EXPECT_EQ(Members(), "1 2 3");
    EXPECT_EQ(Asked(), "?$expand=.($levels=1)");
    EXPECT_TRUE(listing_.whole);
    EXPECT_TRUE(listing_.expand);
    EXPECT_EQ(listing_.members, (std::vector<std::string>{PathOf(1), PathOf(2), PathOf(3)}));
    // A service that does not say that it can is not asked to.
    EXPECT_TRUE(Read({.again = true, .expands = false}));
    EXPECT_EQ(Members(), "1 2 3");
    EXPECT_EQ(Asked(), "/1 /2 /3 list");
    EXPECT_FALSE(listing_.expand);
}

TEST_F(ReadingTest, WithoutExpandingTheMembersAreReadOneByOneAndThenAlone)
{
    SetList(3);
    const struct {
        SimExpand expand;
        const char *first;
    } rows[] = {{SimExpand::Ignored, "/1 /2 /3 ?$expand=.($levels=1)"},
                {SimExpand::Refused, "/1 /2 /3 ?$expand=.($levels=1) list"}};
    for (const auto &row : rows) {
        service_.Change([&](SimOptions *options) { options->expand = row.expand; });
        EXPECT_TRUE(Read(kAgain));
        EXPECT_EQ(Members(), "1 2 3");
        EXPECT_EQ(Asked(), row.first);
        EXPECT_FALSE(listing_.expand);
        EXPECT_TRUE(listing_.whole);
        EXPECT_TRUE(Read({}));
        EXPECT_EQ(Members(), "1 2 3");
        EXPECT_EQ(Asked(), "/1 /2 /3");
        EXPECT_TRUE(listing_.whole);
        const std::set<std::string> skip = {PathOf(2)};
        EXPECT_TRUE(Read({.skip = &skip}));
        EXPECT_EQ(Members(), "1 3");
        EXPECT_EQ(Asked(), "/1 /3");
        EXPECT_EQ(listing_.members.size(), 3u);
    }
}

// An expansion with fewer members than there are is read as a plain list.
TEST_F(ReadingTest, AnExpansionThatLies)
{
    SetList(4);
    service_.Change([](SimOptions *options) { options->expand = SimExpand::Lies; });
    EXPECT_TRUE(Read(kAgain));
    EXPECT_EQ(Members(), "1 2 3 4");
    EXPECT_EQ(Asked(), "/1 /2 /3 /4 ?$expand=.($levels=1) list");
    EXPECT_FALSE(listing_.expand);
    EXPECT_EQ(listing_.members.size(), 4u);
    // What the expansion held counts where the plain list cannot be read.
    SetStatus(kList, 500);
    service_.SetFault(kExpanded, SimFault());
    EXPECT_TRUE(Read(kAgain));
    EXPECT_EQ(Members(), "1 2");
}

// A count that is wrong the other way, or in a plain list, is not believed.
TEST_F(ReadingTest, CountsThatAreWrong)
{
    SetList(2);
    SetMembers({PathOf(1), PathOf(2)}, 1);
    EXPECT_TRUE(Read(kAgain));
    EXPECT_EQ(Asked(), "?$expand=.($levels=1)");
    SetMembers({PathOf(1), PathOf(2)}, 9);
    EXPECT_TRUE(Read({.again = true, .expands = false}));
    EXPECT_EQ(Asked(), "/1 /2 list");
    EXPECT_TRUE(listing_.whole);
}

TEST_F(ReadingTest, PagesOfAllKinds)
{
    SetList(5);
    for (const SimExpand expand : {SimExpand::Works, SimExpand::Refused}) {
        service_.Change([&](SimOptions *options) {
            options->page = 2;
            options->expand = expand;
        });
        EXPECT_TRUE(Read(kAgain));
        EXPECT_EQ(Members(), "1 2 3 4 5");
        EXPECT_TRUE(listing_.whole);
        EXPECT_FALSE(listed_.more);
        EXPECT_EQ(listing_.members.size(), 5u);
    }
    // One that fails makes the list no whole one: what was known of it stays.
    SetStatus(kList + "?$skip=2", 500);
    EXPECT_TRUE(Read({.again = true, .expands = false}));
    EXPECT_EQ(Members(), "1 2");
    EXPECT_FALSE(listing_.whole);
    EXPECT_EQ(listing_.members.size(), 5u);
    EXPECT_EQ(listed_.unsure, 1u);
    EXPECT_FALSE(listed_.absent);
    SetStatus(kList + "?$skip=2", 404);
    EXPECT_TRUE(Read({.again = true, .expands = false}));
    EXPECT_FALSE(listed_.absent);
    EXPECT_EQ(listed_.gone, 1u);
    EXPECT_EQ(listed_.unsure, 0u);
}

TEST_F(ReadingTest, PagesThatLeadElsewhereOrInACircle)
{
    SetList(2);
    SetMembers({PathOf(1), PathOf(2), PathOf(1) + "/"}, 2,
               ", \"Members@odata.nextLink\": \"" + kList + "\"");
    EXPECT_TRUE(Read({.again = true, .expands = false}));
    EXPECT_EQ(Members(), "1 2");
    EXPECT_EQ(Asked(), "/1 /2 list");
    EXPECT_FALSE(listed_.more);
    SetMembers({PathOf(1), "http://elsewhere.example/2"}, 2,
               ", \"Members@odata.nextLink\": \"http://elsewhere.example/\"");
    EXPECT_TRUE(Read({.again = true, .expands = false}));
    EXPECT_EQ(Members(), "1");
    EXPECT_EQ(listed_.refused, 1u);
    EXPECT_TRUE(listed_.more);
}

// Addresses that are new each time with the members of before end where nothing is new.
TEST_F(ReadingTest, PagesWithNothingNewEnd)
{
    SetList(1);
    for (u32 page = 0; page < 5; ++page) {
        const std::string path = page == 0 ? kList : kList + "/page" + std::to_string(page);
        service_.SetDocument(path, "{\"Members\": [{\"@odata.id\": \"" + PathOf(1) +
                                       "\"}], \"Members@odata.nextLink\": \"" + kList + "/page" +
                                       std::to_string(page + 1) + "\"}");
    }
    EXPECT_TRUE(Read({.again = true, .expands = false}));
    EXPECT_EQ(Members(), "1");
    EXPECT_EQ(Asked(), "/1 /page1 list");
}

TEST_F(ReadingTest, TwoHundredPagesAreReadAndNoMore)
{
    for (const u32 pages : {200u, 201u}) {
        SetList(pages);
        service_.Change([](SimOptions *options) { options->page = 1; });
        EXPECT_TRUE(Read(kAgain));
        EXPECT_EQ(listed_.members.size(), 200u);
        EXPECT_EQ(listed_.more, pages > 200);
    }
}

TEST_F(ReadingTest, AListThatIsNotThereIsDeniedOrFails)
{
    SetList(2);
    EXPECT_TRUE(Read(kAgain));
    SetStatus(kList, 404);
    EXPECT_TRUE(Read(kAgain));
    EXPECT_TRUE(listed_.absent);
    EXPECT_EQ(listed_.gone, 1u);
    EXPECT_EQ(listed_.unsure, 0u);
    EXPECT_EQ(Asked(), "?$expand=.($levels=1) list");
    EXPECT_FALSE(listing_.whole);
    EXPECT_EQ(listing_.members.size(), 2u);
    SetStatus(kList, 403);
    EXPECT_TRUE(Read(kAgain));
    EXPECT_FALSE(listed_.absent);
    EXPECT_EQ(listed_.denied, 1u);
    EXPECT_EQ(listed_.unsure, 0u);
    SetStatus(kList, 503);
    EXPECT_TRUE(Read(kAgain));
    EXPECT_FALSE(listed_.absent);
    EXPECT_EQ(listed_.gone, 0u);
    EXPECT_EQ(listed_.denied, 0u);
    EXPECT_EQ(listed_.unsure, 1u);
    // A login that ended is no fault of expanding.
    SetStatus(kList, 401);
    EXPECT_TRUE(Read(kAgain));
    EXPECT_EQ(Asked(), "?$expand=.($levels=1)");
    EXPECT_TRUE(listing_.expand);
    EXPECT_FALSE(listing_.whole);
    EXPECT_TRUE(fetcher_.Unauthorized());
}

TEST_F(ReadingTest, MembersThatAreGoneDeniedOrFail)
{
    SetList(4);
    SetStatus(PathOf(1), 404);
    SetStatus(PathOf(2), 403);
    SetStatus(PathOf(3), 500);
    EXPECT_TRUE(Read({.again = true, .expands = false}));
    EXPECT_EQ(Members(), "- - - 4");
    EXPECT_EQ(listed_.failed, 3u);
    EXPECT_EQ(listed_.gone, 1u);
    EXPECT_EQ(listed_.missing, (std::vector<std::string>{PathOf(1)}));
    EXPECT_EQ(listed_.denied, 1u);
    EXPECT_EQ(listed_.unsure, 1u);
    EXPECT_TRUE(listing_.whole);
}

TEST_F(ReadingTest, WhatDidNotChangeNeedNotCome)
{
    SetList(2);
    service_.Change([](SimOptions *options) { options->expand = SimExpand::Ignored; });
    EtagBook book;
    for (u64 proof = 0; proof < 4; ++proof)
        book.Take(1, "/proof", "\"" + std::to_string(proof) + "\"", proof);
    const ReadingOptions options = {.etags = &book};
    EXPECT_TRUE(Read(kAgain));
    EXPECT_TRUE(Read(options));
    EXPECT_EQ(Members(), "1 2");
    EXPECT_TRUE(unchanged_.empty());
    service_.SetMember(PathOf(2), "Id", "\"two\"");
    EXPECT_TRUE(Read(options));
    EXPECT_EQ(Members(), "- two");
    EXPECT_EQ(unchanged_, (std::set<std::string>{PathOf(1)}));
    EXPECT_EQ(listed_.failed, 0u);
    // What failed is read whole.
    SetStatus(PathOf(1), 500);
    EXPECT_TRUE(Read(options));
    service_.ClearFaults();
    EXPECT_TRUE(Read(options));
    EXPECT_EQ(Members(), "1 -");
}

TEST_F(ReadingTest, ADocumentLeadsToAnother)
{
    SetList(2);
    Reading reading(&fetcher_, &documents_, {});
    std::string ids;
    reading.Document(PathOf(1), 0, [&](const Got &got, JsonValue document) {
        EXPECT_TRUE(got.Good());
        ids += document["Id"].Text();
        reading.Document(PathOf(2), 0,
                         [&](const Got &, JsonValue second) { ids += second["Id"].Text(); });
        reading.Document(kList + "/none", 0, [&](const Got &none, JsonValue nothing) {
            EXPECT_TRUE(none.Gone());
            EXPECT_TRUE(nothing.IsNone());
        });
    });
    EXPECT_TRUE(reading.Run());
    EXPECT_EQ(ids, "12");
    EXPECT_EQ(documents_.size(), 2u);
}

TEST_F(ReadingTest, WhatIsGivenUpIsNotWhole)
{
    SetList(3);
    service_.Change([](SimOptions *options) { options->expand = SimExpand::Ignored; });
    EXPECT_TRUE(Read(kAgain));
    bool stop = false;
    fetcher_.SetBetween([&] { stop = true; }, [&] { return stop; }, -1);
    EXPECT_FALSE(Read(kAgain));
    EXPECT_FALSE(listing_.whole);
    EXPECT_EQ(listing_.members.size(), 3u);
}

TEST_F(ReadingTest, WithoutAnAddressThereIsNothingToRead)
{
    listing_.link = "";
    EXPECT_TRUE(Read(kAgain));
    EXPECT_TRUE(service_.Requests().empty());
    EXPECT_FALSE(listing_.whole);
}
