// SPDX-License-Identifier: Apache-2.0
// service.h -- a simulated Redfish service for tests, in the test's own process.
//
// Shares no code with the product. What the standard leaves open it does each way, as it is told.
// Everything is set before or between requests; every function may be called at any time.
#ifndef TESTS_REDFISH_SERVICE_H
#define TESTS_REDFISH_SERVICE_H

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

enum class SimExpand { Works, Refused, Ignored, Lies };
enum class SimAuth { Sessions, Basic };
// How a new session's address is told.
enum class SimLocation { Path, Url, InBody };
// Shuffled: members of collections (over all pages, from one first page to the next) and of
// objects, another order each time.
enum class SimOrder { AsIs, Reversed, Shuffled };

// What is done to the answers of one path.
struct SimFault {
    unsigned delayMs = 0;
    unsigned status = 0;       // answered instead, with an error body
    bool hang = false;         // no answer at all
    bool closeBefore = false;  // the connection is closed before a byte
    bool cut = false;          // ... in the middle of the body
    unsigned slowMs = 0;       // a pause between every 16 bytes
    bool chunked = false;
    std::string location;             // of a redirect (status 307, 308)
    std::string retryAfter;           // the header of that name
    std::optional<std::string> body;  // in place of the document
    std::string encoding;             // Content-Encoding of the body
    size_t garbage = 0;               // that many bytes of 'x' inside a text
};

struct SimRequest {
    std::string method;
    std::string url;  // with its query
    std::string body;
    bool authorized = false;
    unsigned status = 0;
    size_t bytes = 0;   // of the answer's body
    unsigned atMs = 0;  // when it was answered, since the service began
};

struct SimOptions {
    bool newer = true;   // Sensors, ThermalSubsystem, PowerSubsystem
    bool older = false;  // Thermal and Power
    unsigned temperatures = 2;
    unsigned fans = 2;
    unsigned systems = 1;
    SimExpand expand = SimExpand::Works;
    SimAuth auth = SimAuth::Sessions;
    unsigned page = 0;  // members in a page; 0: all
    bool top = true;    // $top works
    bool etags = true;
    bool etagsLie = false;  // they stay as they are
    SimLocation location = SimLocation::Path;
    unsigned sessionsMax = 4;
    unsigned sessionTimeoutMs = 30000;
    unsigned powerLagMs = 0;  // the state follows an action after this
    bool neverDone = false;   // actions are accepted and never done
    bool tasks = false;       // actions are answered with 202 and a task
    bool lastReset = true;    // the system tells LastResetTime
    bool finalSlash = false;  // links end in one
    SimOrder order = SimOrder::AsIs;
    bool closes = false;   // the connection after every answer
    unsigned idleS = 0;    // ... that nothing came over for so long; 0: never
    bool http10 = false;   // an older server: the end of the connection ends an answer
    bool gzip = false;     // documents are compressed for those who take that
    bool deflate = false;  // ... in this way
    bool empty = false;    // no documents: SetDocument brings them
    unsigned delayMs = 0;  // every answer
    bool oneAtATime = false;
    std::string resetTypes = "On ForceOff ForceRestart PowerCycle GracefulShutdown";
    bool actionInfo = false;  // the reset types stand in a document of their own
    std::string certificate;  // PEM; "": plain HTTP
    std::string key;
};

// An answer's body that becomes `size` bytes of 'x' when it is decompressed.
std::string SimGzipBomb(size_t size);

class SimService
{
public:
    explicit SimService(const SimOptions &options);
    ~SimService();
    SimService(const SimService &) = delete;
    SimService &operator=(const SimService &) = delete;

    unsigned Port() const;
    std::string Url() const;  // "http://127.0.0.1:PORT"
    static constexpr char kUser[] = "operator";
    static constexpr char kPassword[] = "se\"cret";

    // Changes the options that are looked at for each request (not the port, certificate, tree).
    void Change(const std::function<void(SimOptions *)> &change);
    // "" for every path; a path with its query is looked for first, then without it.
    void SetFault(const std::string &path, const SimFault &fault);
    void ClearFaults();
    // A member of a document ("Status/Health") becomes this JSON; "" takes it out.
    void SetMember(const std::string &path, const std::string &member, const std::string &json);
    void RemoveDocument(const std::string &path);
    void SetDocument(const std::string &path, const std::string &json);
    std::vector<std::string> Paths();
    void AddLogEntry(const std::string &id, const std::string &message);
    void SetPower(bool on);
    bool Power();
    void EndSessions();
    void ForgetRequests();

    std::vector<SimRequest> Requests();
    size_t Count(const std::string &method, const std::string &path);
    std::vector<std::string> Actions();  // "ForceOff", "ClearLog"
    size_t Sessions();
    unsigned MostAtOnce();
    unsigned Connections();

private:
    struct State;
    std::unique_ptr<State> state_;
};

#endif
