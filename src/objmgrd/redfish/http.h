// SPDX-License-Identifier: Apache-2.0
// http.h -- requests to one service, many at a time, in one thread.
//
// The one file that knows libcurl. What is known about it and answered here:
//   - A POST on a connection that was used before is sent again when that closes before a byte of
//     the answer: each has a connection of its own, which is closed after it.
//   - The environment's proxy would be obeyed; there is none here.
//   - Redirects would carry the token away: one (301, 307, 308) is followed, of a GET or of the
//     login, to the same service.
//   - An answer is counted after decompression; a cut one is no answer.
#ifndef OBJMGRD_REDFISH_HTTP_H
#define OBJMGRD_REDFISH_HTTP_H

#include "objmgrd/password.h"
#include "objmgrd/redfish/settings.h"

#include <functional>
#include <memory>

// Requests on their way at a time: many services fall over with more.
constexpr u32 kHttpAtOnce = 4;

// A service that asks for more patience gets so much.
constexpr u32 kRetryAfterMostS = 300;

enum class HttpMethod : u8 { Get, Post, Delete };
enum class HttpLogin : u8 { None, Token, Basic };

struct HttpRequest {
    HttpMethod method = HttpMethod::Get;
    std::string link;
    std::string body;  // of a POST, JSON
    std::string etag;  // of a GET: 304 when it still is this
    HttpLogin login = HttpLogin::None;
    std::string token;
    bool followOnce = false;  // also for a POST
    u32 timeoutMs = 10000;
    u32 mark = 0;  // comes back in the answer
};

enum class HttpFault : u8 {
    None,
    Silent,    // no connection, no answer in time, or a cut one
    Trust,     // the certificate is not trusted, or its key is another
    TooLarge,  // more than kJsonBytesMax
};

struct HttpAnswer {
    HttpFault fault = HttpFault::Silent;
    std::string why;  // of a fault: one line for the administrator
    u32 status = 0;   // of HTTP; 0 with a fault
    std::string body;
    std::string location;
    std::string token;  // X-Auth-Token
    std::string etag;
    u32 retryAfterS = 0;  // Retry-After in seconds; 0: none, or a date
    u32 tookMs = 0;
    u32 waitedMs = 0;  // of this, without what the connection took
    u32 mark = 0;      // the request's

    bool Came() const { return fault == HttpFault::None; }
    bool Good() const { return Came() && status >= 200 && status < 300; }
};

class Http
{
public:
    using Done = std::function<void(HttpAnswer &&)>;

    // Both must outlive this.
    Http(const RedfishSettings *settings, const Password *password);
    ~Http();
    Http(const Http &) = delete;
    Http &operator=(const Http &) = delete;

    // Sends the request; `done` is called once, by Pump.
    void Start(HttpRequest request, Done done);
    u32 OnTheirWay() const;
    // Waits until something happened, `wakeFd` (-1: none) is readable or the time is over, and
    // calls what is done.
    void Pump(int wakeFd, u32 ms);
    // Ends all requests: their `done` is never called. Connections are closed.
    void Drop();

    // The pin of the key that the service shows to anybody; "" when it cannot be had. Sends no
    // request. Waits up to 3 s.
    std::string SeenPin();

private:
    struct State;
    std::unique_ptr<State> state_;
};

#endif
