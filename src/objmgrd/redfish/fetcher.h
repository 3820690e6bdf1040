// SPDX-License-Identifier: Apache-2.0
// fetcher.h -- reading resources: several at once, collections with all their pages, and the login.
//
// Blocking towards its caller, and never deaf: while it waits it calls `between`, which may start
// urgent requests of its own (the power state, an order), and asks `stop` whether to give up.
#ifndef OBJMGRD_REDFISH_FETCHER_H
#define OBJMGRD_REDFISH_FETCHER_H

#include "objmgrd/redfish/http.h"

#include <deque>
#include <list>
#include <set>

// All documents of one reading together, in bytes as they came.
constexpr size_t kReadingBytesMax = size_t{16} * 1024 * 1024;

struct Got {
    HttpFault fault = HttpFault::Silent;
    u32 status = 0;
    JsonDocument document;  // empty unless the answer is one
    std::string etag;
    std::string why;
    bool Good() const { return document.Root().IsObject(); }
    bool Denied() const { return status == 403; }
    bool Gone() const { return status == 404; }
};

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
    std::vector<Resource> members;  // in the listing's order; none where it could not be read
    u32 failed = 0;                 // of these
    u32 gone = 0;                   // of these, 404
    u32 denied = 0;                 // of these, 403
    u32 unsure = 0;                 // pages and members that may be there, but did not come
};

class Fetcher
{
public:
    using Clock = u64 (*)();

    Fetcher(const RedfishSettings *settings, const Password *password, Clock clock);

    // What happens while a reading waits. wakeFd: as for Http::Pump.
    void SetBetween(std::function<void()> between, std::function<bool()> stop, int wakeFd);

    // Every GET carries it. None: logged out.
    void SetLogin(HttpLogin login, std::string token);
    HttpLogin Login() const { return login_; }
    const std::string &Token() const { return token_; }
    // An answer was 401 since the last SetLogin.
    bool Unauthorized() const { return unauthorized_; }
    // On the clock: the last whole answer of any status; 0: none.
    u64 HeardMs() const { return heardMs_; }
    // Requests at a time: kHttpAtOnce, or 1 where more gains nothing.
    u32 Limit() const { return limit_; }
    // Documents that came with the login that is in use.
    u64 GoodsOfLogin() const { return goods_; }

    // Documents from here on are one reading (kReadingBytesMax).
    void BeginReading() { bytes_ = 0; }
    Got Get(const std::string &link, const std::string &etag = "");
    // In the order of the links. measure: find the best Limit on the way.
    std::vector<Got> GetAll(const std::vector<std::string> &links, bool measure = false);
    // Reads collections and all their members, whose documents go to *documents. again: not the
    // members alone where they are known and expanding does not work. skip: names of members that
    // are left out where they are read alone.
    std::vector<Listed> ReadListings(const std::vector<Listing *> &listings, bool again,
                                     bool expands, Documents *documents, bool measure = false,
                                     const std::set<std::string> &skip = {});

    // Sends a request as soon as there is room for it, before all readings. `done` is called from
    // Wait, or from between.
    void Urgent(HttpRequest request, Http::Done done);
    // One answer; blocks.
    HttpAnswer Ask(HttpRequest request);
    // For when there is nothing to read.
    void Wait(u32 ms);
    void Drop();
    std::string SeenPin() { return http_.SeenPin(); }
    HttpRequest MakeGet(const std::string &link) const;
    // Counts an answer, and reads its document.
    Got Take(HttpAnswer &&answer);

private:
    void StartUrgent();
    u32 Room() const;

    const RedfishSettings &settings_;
    const Clock clock_;
    Http http_;
    std::function<void()> between_ = [] {};
    std::function<bool()> stop_ = [] { return false; };
    int wakeFd_ = -1;
    HttpLogin login_ = HttpLogin::None;
    std::string token_;
    bool unauthorized_ = false;
    u64 heardMs_ = 0;
    u32 limit_ = kHttpAtOnce;
    u64 slowUntilMs_ = 0;  // an answer took long not long ago
    size_t bytes_ = 0;
    u64 goods_ = 0;
    u32 logins_ = 0;  // marks requests: a late 401 of an older login says nothing of this one
    std::deque<std::pair<HttpRequest, Http::Done>> urgent_;
};

#endif
