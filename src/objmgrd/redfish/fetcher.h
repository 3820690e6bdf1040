// SPDX-License-Identifier: Apache-2.0
// fetcher.h -- reading resources, several at once, and the login.
//
// Blocking towards its caller, and never deaf: while it waits it calls `between`, which may start
// urgent requests of its own (the power state, an order), and asks `stop` whether to give up.
#ifndef OBJMGRD_REDFISH_FETCHER_H
#define OBJMGRD_REDFISH_FETCHER_H

#include "objmgrd/redfish/http.h"

#include <deque>
#include <set>

// All documents of one reading together, in bytes as they came.
constexpr size_t kReadingBytesMax = size_t{16} * 1024 * 1024;

struct Got {
    HttpFault fault = HttpFault::Silent;
    u32 status = 0;
    JsonDocument document;   // empty unless the answer is one
    bool unchanged = false;  // it still has the ETag that it was asked for with
    std::string etag;
    u64 hash = 0;  // of a document with an ETag, over its bytes
    std::string why;
    bool Good() const { return document.Root().IsObject(); }
    bool Denied() const { return status == 403; }
    bool Gone() const { return status == 404; }
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
    // An answer was 401 since the last SetLogin or LoginCounts.
    bool Unauthorized() const { return unauthorized_; }
    // The login is good all the same: what answered 401 is denied, as by 403, as long as it lasts.
    void LoginCounts();
    // On the clock: the last whole answer of any status; 0: none.
    u64 HeardMs() const { return heardMs_; }
    // Requests at a time: kHttpAtOnce, or 1 where more gains nothing.
    u32 Limit() const { return limit_; }
    // Documents that came with the login that is in use.
    u64 GoodsOfLogin() const { return goods_; }

    // Documents from here on are one reading (kReadingBytesMax).
    void BeginReading() { bytes_ = 0; }
    Got Get(const std::string &link, const std::string &etag = "");
    // In the order of the links.
    std::vector<Got> GetAll(const std::vector<std::string> &links);
    // Wants one resource more of the reading that is to run, or runs. `done` is called from
    // ReadWanted, unless that is given up before, and may want more. etag: not where it still is
    // this.
    void Want(const std::string &link, std::function<void(Got &&)> done,
              const std::string &etag = "");
    // Until everything that is wanted has come. False: it was given up, since `stop` says so or the
    // login does not count any more; what has not come never will.
    bool ReadWanted();
    // Looks anew for how many requests at a time are best.
    void Measure();
    const Origin &ServiceOrigin() const { return settings_.origin; }

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
    // Counts an answer, and reads its document. link: what was asked for; "": not to be told apart.
    Got Take(HttpAnswer &&answer, const std::string &link = "");

private:
    struct Wanted {
        HttpRequest request;
        std::function<void(Got &&)> done;
    };
    // Shared with the requests that are on their way: a reading that is given up leaves them
    // behind.
    struct Batch {
        std::deque<Wanted> wanted;
        size_t left = 0;  // wanted, or on their way
        bool closed = false;
        std::vector<u32> waitedMs;  // of the answers as they came
    };
    void StartUrgent();
    void StartWanted();
    u32 Room() const;
    void Judge(std::vector<u32> waitedMs);

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
    std::shared_ptr<Batch> batch_;
    u32 limit_ = kHttpAtOnce;
    bool judged_ = false;   // limit_ stays until Measure
    u32 medianOfFour_ = 0;  // milliseconds of an answer, kHttpAtOnce at a time
    u64 slowUntilMs_ = 0;   // an answer took long not long ago
    size_t bytes_ = 0;
    u64 goods_ = 0;
    std::set<std::string> refused_;  // answered 401 since the last SetLogin or LoginCounts
    std::set<std::string> denied_;   // ... before it
    u32 logins_ = 0;  // marks requests: a late 401 of an older login says nothing of this one
    std::deque<std::pair<HttpRequest, Http::Done>> urgent_;
};

#endif
