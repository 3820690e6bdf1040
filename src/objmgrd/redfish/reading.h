// SPDX-License-Identifier: Apache-2.0
// reading.h -- one reading of documents and of collections with all their members and pages,
// several requests at a time. What an answer leads to is asked for at once, while others are on
// their way.
#ifndef OBJMGRD_REDFISH_READING_H
#define OBJMGRD_REDFISH_READING_H

#include "objmgrd/redfish/etags.h"
#include "objmgrd/redfish/fetcher.h"

#include <list>
#include <set>

// Keeps the documents of a reading while their values are in use.
using Documents = std::list<JsonDocument>;

// A collection whose members are read, again and again.
struct Listing {
    std::string link;                  // "": there is none
    bool expand = true;                // asking for the members with it works so far
    bool whole = false;                // all of it was read
    std::vector<std::string> members;  // addresses, once it was read
};

// What a reading of a listing brought.
struct Listed {
    std::vector<Resource> members;     // in the listing's order; none where it could not be read
    u32 failed = 0;                    // of these
    u32 gone = 0;                      // of these, 404
    std::vector<std::string> missing;  // addresses of members that are gone
    u32 denied = 0;                    // of these, 403
    u32 unsure = 0;                    // pages and members that may be there, but did not come
    u32 refused = 0;                   // members without an address that may be asked for
    bool absent = false;               // the collection itself is not there (404)
    bool more = false;                 // further pages, elsewhere or more than kPagesMax
};

struct ReadingOptions {
    // Collections are listed anew, not the members alone where these are known and expanding does
    // not work.
    bool again = false;
    bool expands = false;  // again: the service says that it can expand
    // Names of members that are left out where they are read alone.
    const std::set<std::string> *skip = nullptr;
    // Documents that did not change need not come. Not with `again`.
    EtagBook *etags = nullptr;
};

class Reading
{
public:
    // Documents that come go to *documents. All must outlive this.
    Reading(Fetcher *fetcher, Documents *documents, const ReadingOptions &options);
    Reading(const Reading &) = delete;
    Reading &operator=(const Reading &) = delete;

    // Reads one document; group: as for EtagBook. `done` may ask for more.
    using Done = std::function<void(const Got &got, JsonValue document)>;
    void Document(const std::string &link, u32 group, Done done);
    // Reads a collection. Both must outlive Run; *listed is whole after it.
    void List(Listing *listing, u32 group, Listed *listed);
    // Until everything has come. False: given up.
    bool Run();

    // Names of documents that the service says did not change.
    const std::set<std::string> &Unchanged() const { return unchanged_; }

private:
    struct Work {
        Listing *listing;
        u32 group;
        Listed *listed;
        u32 pagesLeft = 0;
        std::set<std::string> pages = {};  // addresses that were read
        std::set<std::string> seen = {};   // names of members
        std::optional<double> count = {};
        bool failed = false;
        // Read without expanding, where that lies.
        std::unique_ptr<Listing> plain = nullptr;
        std::unique_ptr<Listed> plainListed = nullptr;
    };
    void Ask(const std::string &link, u32 group, std::function<void(Got &&)> done);
    void Page(Work *work, const std::string &link, bool expanded);
    void TakePage(Work *work, const std::string &link, bool expanded, Got &&got);
    void Member(Work *work, size_t place);
    void TakeMember(Work *work, size_t place, Got &&got);
    void EndPages(Work *work);

    Fetcher *fetcher_;
    Documents *documents_;
    const ReadingOptions options_;
    std::list<Work> works_;
    std::set<std::string> unchanged_;
};

#endif
