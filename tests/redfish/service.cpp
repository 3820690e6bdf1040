// SPDX-License-Identifier: Apache-2.0
// service.cpp -- see service.h: documents in a map, answered by libmicrohttpd, a thread for each
// connection.
#include "redfish/service.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstring>
#include <numeric>
#include <thread>

#include <arpa/inet.h>
#include <jansson.h>
#include <microhttpd.h>

namespace
{

using Clock = std::chrono::steady_clock;

constexpr char kRoot[] = "/redfish/v1";

std::string Format(const char *format, ...) __attribute__((format(printf, 1, 2)));
std::string Format(const char *format, ...)
{
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

struct Json {
    json_t *value = nullptr;
    Json() = default;
    explicit Json(json_t *owned) : value(owned) {}
    Json(Json &&other) noexcept : value(other.value) { other.value = nullptr; }
    Json &operator=(Json &&other) noexcept
    {
        std::swap(value, other.value);
        return *this;
    }
    ~Json() { json_decref(value); }
};

Json Parse(const std::string &text)
{
    json_error_t error;
    json_t *value = json_loads(text.c_str(), JSON_DECODE_ANY | JSON_ALLOW_NUL, &error);
    if (value == nullptr) {
        fprintf(stderr, "simulated service: %s in %s\n", error.text, text.c_str());
        abort();
    }
    return Json(value);
}

std::string Dump(const json_t *value)
{
    char *text = json_dumps(value, JSON_COMPACT);
    std::string copy = text;
    free(text);
    return copy;
}

std::string Trimmed(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

// An object's members and a list's elements stay; the order of the members does not.
std::string DumpShuffled(const json_t *value)
{
    if (json_is_array(value)) {
        std::string text;
        for (size_t i = 0; i < json_array_size(value); ++i)
            text += (i == 0 ? "" : ", ") + DumpShuffled(json_array_get(value, i));
        return "[" + text + "]";
    }
    if (!json_is_object(value)) {
        char *text = json_dumps(value, JSON_ENCODE_ANY);
        std::string copy = text;
        free(text);
        return copy;
    }
    std::vector<std::string> members;
    const char *name;
    json_t *member;
    json_object_foreach(const_cast<json_t *>(value), name, member)
    {
        const Json key(json_string(name));
        members.push_back(DumpShuffled(key.value) + " : " + DumpShuffled(member));
    }
    std::string text;
    while (!members.empty()) {
        std::swap(members[static_cast<size_t>(rand()) % members.size()], members.back());
        text += (text.empty() ? "" : ",\n") + members.back();
        members.pop_back();
    }
    return "{" + text + "}";
}

void AddLittleEndian(uint32_t number, unsigned bytes, std::string *out)
{
    for (unsigned i = 0; i < bytes; ++i)
        *out += static_cast<char>(number >> (8 * i));
}

constexpr std::string_view kGzipHead("\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03", 10);

// Without making it smaller: blocks as they stand.
void AddBlocks(const std::string &text, std::string *out)
{
    size_t at = 0;
    do {
        const size_t count = std::min<size_t>(text.size() - at, 65535);
        *out += at + count == text.size() ? '\1' : '\0';
        AddLittleEndian(static_cast<uint32_t>(count), 2, out);
        AddLittleEndian(~static_cast<uint32_t>(count), 2, out);
        out->append(text, at, count);
        at += count;
    } while (at < text.size());
}

std::string Deflate(const std::string &text)
{
    std::string out = "\x78\x01";
    AddBlocks(text, &out);
    uint32_t a = 1;
    uint32_t b = 0;
    for (const char c : text) {
        a = (a + static_cast<uint8_t>(c)) % 65521;
        b = (b + a) % 65521;
    }
    for (const uint32_t half : {b, a})
        out += {static_cast<char>(half >> 8), static_cast<char>(half)};
    return out;
}

std::string Gzip(const std::string &text)
{
    std::string out(kGzipHead);
    uint32_t crc = 0xffffffff;
    for (const char c : text) {
        crc ^= static_cast<uint8_t>(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xedb88320u : 0u);
    }
    AddBlocks(text, &out);
    AddLittleEndian(~crc, 4, &out);
    AddLittleEndian(static_cast<uint32_t>(text.size()), 4, &out);
    return out;
}

std::string HashOf(const std::string &text)
{
    return "\"" + std::to_string(std::hash<std::string>()(text)) + "\"";
}

}  // namespace

struct SimService::State {
    SimOptions options;
    MHD_Daemon *daemon = nullptr;
    unsigned port = 0;
    std::mutex mutex;
    std::mutex oneAtATime;
    std::condition_variable stop;
    bool stopped = false;
    std::map<std::string, Json> documents;
    std::map<std::string, SimFault> faults;
    std::map<std::string, std::vector<size_t>> orders;  // of shuffled collections, by path
    std::vector<SimRequest> requests;
    std::vector<std::string> actions;
    struct Session {
        std::string token;
        Clock::time_point used;
    };
    std::map<std::string, Session> sessions;  // by address
    unsigned nextSession = 1;
    bool on = true;
    std::optional<bool> nextOn;
    Clock::time_point nextOnAt;
    bool restarts = false;  // off for a moment, then on
    unsigned resets = 0;
    struct Task {
        Clock::time_point done;
    };
    std::map<std::string, Task> tasks;
    unsigned nextTask = 1;
    const Clock::time_point began = Clock::now();
    std::atomic<unsigned> atOnce = 0;
    std::atomic<unsigned> mostAtOnce = 0;
    std::atomic<unsigned> connections = 0;

    void Add(const std::string &path, const std::string &json);
    void AddCollection(const std::string &path, const std::vector<std::string> &members);
    void Build();
    void BuildChassis();
    void BuildLogs();
    void Settle();
    std::string Link(const std::string &path) const
    {
        return options.finalSlash ? path + "/" : path;
    }
    bool IsAuthorized(MHD_Connection *connection);
    MHD_Result Answer(MHD_Connection *connection, const std::string &method,
                      const std::string &path, const std::string &query, const std::string &body);
    MHD_Result Send(MHD_Connection *connection, unsigned status, std::string body,
                    const std::map<std::string, std::string> &headers, const SimFault &fault);
    std::string DocumentText(const std::string &path, const std::string &query, unsigned *status);
    unsigned Post(const std::string &path, const std::string &body, std::string *answer,
                  std::map<std::string, std::string> *headers);
    unsigned Reset(const std::string &type, std::string *answer,
                   std::map<std::string, std::string> *headers);
    bool Sleep(unsigned ms);
    static MHD_Result Handle(void *mine, MHD_Connection *connection, const char *url,
                             const char *method, const char *version, const char *data,
                             size_t *size, void **request);
    static void Notify(void *mine, MHD_Connection *, void **, MHD_ConnectionNotificationCode code);
};

// ---- the documents ----

void SimService::State::Add(const std::string &path, const std::string &json)
{
    Json document = Parse(json);
    json_object_set_new(document.value, "@odata.id", json_string(Link(path).c_str()));
    const std::string id = path.substr(path.rfind('/') + 1);
    if (json_object_get(document.value, "Id") == nullptr)
        json_object_set_new(document.value, "Id", json_string(id.c_str()));
    documents[path] = std::move(document);
}

void SimService::State::AddCollection(const std::string &path,
                                      const std::vector<std::string> &members)
{
    std::string list;
    for (const std::string &member : members)
        list += (list.empty() ? "" : ",") +
                Format("{\"@odata.id\": \"%s\"}", Link(path + "/" + member).c_str());
    Add(path, Format("{\"Name\": \"Collection\", \"Members@odata.count\": %zu, \"Members\": [",
                     members.size()) +
                  list + "]}");
}

void SimService::State::BuildChassis()
{
    const std::string chassis = std::string(kRoot) + "/Chassis/C1";
    const auto ref = [&](const std::string &path) {
        return "{\"@odata.id\": \"" + Link(path) + "\"}";
    };
    std::string json = "{\"Name\": \"Chassis\", \"Model\": \"CM\", \"PhysicalSecurity\":"
                       " {\"IntrusionSensor\": \"Normal\"}, \"Links\": {\"ComputerSystems\": [" +
                       ref(std::string(kRoot) + "/Systems/S1") + "]}";
    const char *ok = "\"Status\": {\"State\": \"Enabled\", \"Health\": \"OK\"}";
    if (options.newer) {
        json += ", \"Sensors\": " + ref(chassis + "/Sensors") +
                ", \"ThermalSubsystem\": " + ref(chassis + "/ThermalSubsystem") +
                ", \"PowerSubsystem\": " + ref(chassis + "/PowerSubsystem");
        std::vector<std::string> members;
        for (unsigned i = 1; i <= options.temperatures; ++i) {
            members.push_back("Temp" + std::to_string(i));
            Add(chassis + "/Sensors/" + members.back(),
                Format("{\"@odata.type\": \"#Sensor.v1_5_0.Sensor\", \"Name\": \"Temp %u\","
                       " \"ReadingType\": \"Temperature\", \"ReadingUnits\": \"Cel\","
                       " \"Reading\": %u, %s, \"Thresholds\": {\"UpperCaution\": {\"Reading\": 80},"
                       " \"UpperCritical\": {\"Reading\": 90}}}",
                       i, 20 + i, ok));
        }
        AddCollection(chassis + "/Sensors", members);
        Add(chassis + "/ThermalSubsystem",
            "{\"Name\": \"Thermal\", \"FanRedundancy\": [{\"RedundancyType\": \"NPlusM\", " +
                std::string(ok) + "}], \"Fans\": " + ref(chassis + "/ThermalSubsystem/Fans") + "}");
        members.clear();
        for (unsigned i = 1; i <= options.fans; ++i) {
            members.push_back(std::to_string(i));
            Add(chassis + "/ThermalSubsystem/Fans/" + members.back(),
                Format("{\"@odata.type\": \"#Fan.v1_3_0.Fan\", \"Name\": \"Fan %u\","
                       " \"SpeedPercent\": {\"Reading\": 40, \"SpeedRPM\": %u}, %s}",
                       i, 4000 + i, ok));
        }
        AddCollection(chassis + "/ThermalSubsystem/Fans", members);
        Add(chassis + "/PowerSubsystem", "{\"Name\": \"Power\", \"PowerSupplies\": " +
                                             ref(chassis + "/PowerSubsystem/PowerSupplies") + "}");
        AddCollection(chassis + "/PowerSubsystem/PowerSupplies", {"1"});
        Add(chassis + "/PowerSubsystem/PowerSupplies/1",
            std::string(
                "{\"@odata.type\": \"#PowerSupply.v1_5_0.PowerSupply\", \"Name\": \"PSU 1\","
                " \"PowerCapacityWatts\": 800, ") +
                ok + "}");
    }
    if (options.older) {
        json += ", \"Thermal\": " + ref(chassis + "/Thermal") +
                ", \"Power\": " + ref(chassis + "/Power");
        std::string list;
        for (unsigned i = 0; i < options.temperatures; ++i)
            list +=
                Format("%s{\"@odata.id\": \"%s/Thermal#/Temperatures/%u\", \"MemberId\": \"%u\","
                       " \"Name\": \"Old Temp %u\", \"ReadingCelsius\": %u,"
                       " \"UpperThresholdCritical\": 90, %s}",
                       i == 0 ? "" : ",", chassis.c_str(), i, i, i + 1, 20 + i, ok);
        std::string fans;
        for (unsigned i = 0; i < options.fans; ++i)
            fans +=
                Format("%s{\"@odata.id\": \"%s/Thermal#/Fans/%u\", \"MemberId\": \"%u\","
                       " \"Name\": \"Old Fan %u\", \"Reading\": %u, \"ReadingUnits\": \"RPM\", %s}",
                       i == 0 ? "" : ",", chassis.c_str(), i, i, i + 1, 3000 + i, ok);
        Add(chassis + "/Thermal",
            "{\"Name\": \"Thermal\", \"Temperatures\": [" + list + "], \"Fans\": [" + fans + "]}");
        Add(chassis + "/Power",
            Format("{\"Name\": \"Power\", \"PowerControl\": [{\"@odata.id\":"
                   " \"%s/Power#/PowerControl/0\", \"MemberId\": \"0\", \"Name\": \"Consumption\","
                   " \"PowerConsumedWatts\": 123.5}], \"Voltages\": [{\"@odata.id\":"
                   " \"%s/Power#/Voltages/0\", \"MemberId\": \"0\", \"Name\": \"P12V\","
                   " \"ReadingVolts\": 12.05}]}",
                   chassis.c_str(), chassis.c_str()));
    }
    Add(chassis, json + "}");
    AddCollection(std::string(kRoot) + "/Chassis", {"C1"});
}

void SimService::State::BuildLogs()
{
    const std::string root = kRoot;
    const auto log = [&](const std::string &owner, const std::string &id, const char *type) {
        const std::string path = owner + "/LogServices/" + id;
        Add(path, "{\"Name\": \"" + id + "\", \"LogEntryType\": \"" + type +
                      "\", \"Entries\": {\"@odata.id\": \"" + Link(path + "/Entries") +
                      "\"}, \"Actions\": {\"#LogService.ClearLog\": {\"target\": \"" + path +
                      "/Actions/LogService.ClearLog\"}}}");
        AddCollection(path + "/Entries", {});
    };
    log(root + "/Systems/S1", "EventLog", "SEL");
    AddCollection(root + "/Systems/S1/LogServices", {"EventLog"});
    log(root + "/Managers/M1", "SEL", "SEL");
    log(root + "/Managers/M1", "AuditLog", "Event");
    AddCollection(root + "/Managers/M1/LogServices", {"AuditLog", "SEL"});
}

void SimService::State::Build()
{
    const std::string root = kRoot;
    Add(root, "{\"Name\": \"Root\", \"RedfishVersion\": \"1.15.0\", \"ProtocolFeaturesSupported\":"
              " {\"ExpandQuery\": {\"NoLinks\": true, \"Levels\": true}, \"TopSkipQuery\": true},"
              " \"Systems\": {\"@odata.id\": \"" +
                  Link(root + "/Systems") + "\"}, \"Chassis\": {\"@odata.id\": \"" +
                  Link(root + "/Chassis") + "\"}, \"Managers\": {\"@odata.id\": \"" +
                  Link(root + "/Managers") + "\"}" +
                  (options.auth == SimAuth::Sessions
                       ? ", \"Links\": {\"Sessions\": {\"@odata.id\": \"" +
                             Link(root + "/SessionService/Sessions") + "\"}}"
                       : "") +
                  "}");
    std::vector<std::string> systems;
    for (unsigned i = 1; i <= options.systems; ++i) {
        systems.push_back("S" + std::to_string(i));
        const std::string path = root + "/Systems/" + systems.back();
        std::string values;
        std::string word;
        for (char c : options.resetTypes + " ") {
            if (c != ' ') {
                word += c;
                continue;
            }
            values += (values.empty() ? "\"" : ",\"") + word + "\"";
            word.clear();
        }
        Add(path + "/ResetInfo",
            "{\"Parameters\": [{\"Name\": \"ResetType\", \"AllowableValues\": [" + values + "]}]}");
        Add(path,
            "{\"Name\": \"System\", \"SerialNumber\": \"TAG" + std::to_string(i) +
                "\", \"Model\": \"M9\", \"HostName\": \"host" + std::to_string(i) +
                "\", \"Manufacturer\": \"Maker\", \"PowerState\": \"On\", \"Links\": "
                "{\"ManagedBy\":"
                " [{\"@odata.id\": \"" +
                Link(root + "/Managers/M1") + "\"}], \"Chassis\": [{\"@odata.id\": \"" +
                Link(root + "/Chassis/C1") + "\"}]}, \"LogServices\": {\"@odata.id\": \"" +
                Link(path + "/LogServices") +
                "\"}, \"Actions\": {\"#ComputerSystem.Reset\": {\"target\": \"" + path +
                "/Actions/ComputerSystem.Reset\", " +
                (options.actionInfo ? "\"@Redfish.ActionInfo\": \"" + path + "/ResetInfo\""
                                    : "\"ResetType@Redfish.AllowableValues\": [" + values + "]") +
                "}}}");
    }
    AddCollection(root + "/Systems", systems);
    Add(root + "/Managers/M1", "{\"Name\": \"Manager\", \"LogServices\": {\"@odata.id\": \"" +
                                   Link(root + "/Managers/M1/LogServices") + "\"}}");
    AddCollection(root + "/Managers", {"M1"});
    BuildChassis();
    BuildLogs();
}

// ---- time ----

// What is due by now.
void SimService::State::Settle()
{
    const auto now = Clock::now();
    if (nextOn.has_value() && now >= nextOnAt) {
        on = *nextOn;
        nextOn.reset();
        if (restarts) {
            restarts = false;
            nextOn = true;
            nextOnAt = now + std::chrono::milliseconds(1200);
        }
    }
    for (unsigned i = 1; i <= options.systems; ++i) {
        json_t *system = documents[kRoot + std::string("/Systems/S") + std::to_string(i)].value;
        const char *state = json_string_value(json_object_get(system, "PowerState"));
        // What a test has set to another word stays.
        if (state == nullptr || (strcmp(state, "On") != 0 && strcmp(state, "Off") != 0))
            continue;
        json_object_set_new(system, "PowerState", json_string(on ? "On" : "Off"));
        if (options.lastReset)
            json_object_set_new(system, "LastResetTime",
                                json_string(Format("2026-01-01T00:00:%02uZ", resets % 60).c_str()));
        else
            json_object_del(system, "LastResetTime");
    }
    std::erase_if(sessions, [&](const auto &one) {
        return now - one.second.used > std::chrono::milliseconds(options.sessionTimeoutMs);
    });
}

bool SimService::State::Sleep(unsigned ms)
{
    std::unique_lock lock(mutex);
    return !stop.wait_for(lock, std::chrono::milliseconds(ms), [&] { return stopped; });
}

// ---- answers ----

bool SimService::State::IsAuthorized(MHD_Connection *connection)
{
    const char *token = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "X-Auth-Token");
    if (token != nullptr) {
        for (auto &[link, session] : sessions) {
            if (session.token == token) {
                session.used = Clock::now();
                return true;
            }
        }
        return false;
    }
    char *password = nullptr;
    char *user = MHD_basic_auth_get_username_password(connection, &password);
    const bool right = user != nullptr && password != nullptr && strcmp(user, kUser) == 0 &&
                       strcmp(password, kPassword) == 0;
    MHD_free(user);
    MHD_free(password);
    return right && options.auth == SimAuth::Basic;
}

std::string SimService::State::DocumentText(const std::string &path, const std::string &query,
                                            unsigned *status)
{
    const auto at = documents.find(path);
    if (at == documents.end()) {
        *status = 404;
        return "{\"error\": {\"code\": \"Base.1.8.ResourceMissingAtURI\"}}";
    }
    *status = 200;
    const json_t *members = json_object_get(at->second.value, "Members");
    const auto dump = options.order == SimOrder::Shuffled ? DumpShuffled : Dump;
    if (!json_is_array(members))
        return dump(at->second.value);

    const bool expand = query.find("$expand=") != std::string::npos;
    if (expand && options.expand == SimExpand::Refused) {
        *status = 501;
        return "{\"error\": {\"code\": \"Base.1.8.QueryNotSupported\"}}";
    }
    size_t skip = 0;
    size_t most = options.page == 0 ? SIZE_MAX : options.page;
    if (const size_t p = query.find("$skip="); p != std::string::npos)
        skip = strtoul(query.c_str() + p + 6, nullptr, 10);
    if (const size_t p = query.find("$top="); p != std::string::npos && options.top)
        most = std::min<size_t>(most, strtoul(query.c_str() + p + 5, nullptr, 10));
    const bool inlined = path.find("/Entries") != std::string::npos ||
                         (expand && options.expand != SimExpand::Ignored);
    const size_t all = json_array_size(members);
    const bool lies = expand && options.expand == SimExpand::Lies;
    const size_t end = std::min(lies ? all / 2 : all, most == SIZE_MAX ? all : skip + most);
    Json page(json_copy(at->second.value));
    json_t *list = json_array();
    std::vector<size_t> &shuffled = orders[path];
    const bool shuffles = options.order == SimOrder::Shuffled && query.find("$top=") == query.npos;
    if (shuffles && (skip == 0 || shuffled.size() != all)) {
        shuffled.resize(all);
        std::iota(shuffled.begin(), shuffled.end(), size_t{0});
        for (size_t i = all; i > 1; --i)
            std::swap(shuffled[i - 1], shuffled[static_cast<size_t>(rand()) % i]);
    }
    for (size_t i = skip; i < end; ++i) {
        const size_t place = options.order == SimOrder::Reversed ? all - 1 - i
                             : shuffles                          ? shuffled[i]
                                                                 : i;
        json_t *member = json_array_get(members, place);
        const char *id = json_string_value(json_object_get(member, "@odata.id"));
        const std::string link = Trimmed(id != nullptr ? id : "");
        const auto document = documents.find(link);
        json_array_append(list,
                          inlined && document != documents.end() ? document->second.value : member);
    }
    json_object_set_new(page.value, "Members", list);
    if (end < all && !lies && query.find("$top=") == std::string::npos)
        json_object_set_new(page.value, "Members@odata.nextLink",
                            json_string(Format("%s?$skip=%zu%s", path.c_str(), end,
                                               expand ? "&$expand=.($levels=1)" : "")
                                            .c_str()));
    return dump(page.value);
}

unsigned SimService::State::Reset(const std::string &type, std::string *answer,
                                  std::map<std::string, std::string> *headers)
{
    if ((" " + options.resetTypes + " ").find(" " + type + " ") == std::string::npos) {
        *answer = "{\"error\": {\"code\": \"Base.1.8.ActionParameterNotSupported\"}}";
        return 400;
    }
    actions.push_back(type);
    if (!options.neverDone) {
        const auto at = Clock::now() + std::chrono::milliseconds(options.powerLagMs);
        nextOnAt = at;
        restarts = false;
        if (type == "On" || type == "ForceOn") {
            nextOn = true;
        } else if (type == "ForceOff") {
            nextOn = false;
        } else if (type == "PowerCycle") {
            nextOn = false;
            restarts = true;
            ++resets;
        } else {
            ++resets;
        }
    }
    if (!options.tasks)
        return 204;
    const std::string task = kRoot + std::string("/TaskService/Tasks/") + std::to_string(nextTask);
    const std::string monitor =
        kRoot + std::string("/TaskService/TaskMonitors/") + std::to_string(nextTask++);
    const auto done = options.neverDone
                          ? Clock::time_point::max()
                          : Clock::now() + std::chrono::milliseconds(options.powerLagMs);
    tasks[task] = tasks[monitor] = {done};
    (*headers)["Location"] = monitor;
    *answer = "{\"@odata.id\": \"" + task + "\", \"TaskState\": \"Running\"}";
    return 202;
}

unsigned SimService::State::Post(const std::string &path, const std::string &body,
                                 std::string *answer, std::map<std::string, std::string> *headers)
{
    json_error_t error;
    const Json json(json_loads(body.c_str(), 0, &error));
    const auto text = [&](const char *name) {
        const char *value = json_string_value(json_object_get(json.value, name));
        return std::string(value != nullptr ? value : "");
    };
    if (path == std::string(kRoot) + "/SessionService/Sessions" &&
        options.auth == SimAuth::Sessions) {
        if (text("UserName") != kUser || text("Password") != kPassword)
            return 401;
        if (sessions.size() >= options.sessionsMax)
            return 503;
        const std::string number = std::to_string(nextSession++);
        const std::string link = path + "/" + number;
        sessions[link] = {"token-" + number, Clock::now()};
        (*headers)["X-Auth-Token"] = "token-" + number;
        if (options.location != SimLocation::InBody)
            (*headers)["Location"] =
                (options.location == SimLocation::Url ? Format("http://127.0.0.1:%u", port) : "") +
                link;
        *answer = "{\"@odata.id\": \"" + link + "\", \"Id\": \"" + number + "\"}";
        return 201;
    }
    const size_t action = path.find("/Actions/");
    if (action == std::string::npos)
        return 405;
    if (path.compare(action + 9, std::string::npos, "ComputerSystem.Reset") == 0)
        return Reset(text("ResetType"), answer, headers);
    if (path.compare(action + 9, std::string::npos, "LogService.ClearLog") == 0) {
        actions.push_back("ClearLog");
        const std::string entries = path.substr(0, action) + "/Entries";
        if (options.neverDone)
            return 204;
        std::erase_if(documents,
                      [&](const auto &one) { return one.first.rfind(entries + "/", 0) == 0; });
        AddCollection(entries, {});
        return 204;
    }
    return 404;
}

struct Stream {
    std::string body;
    size_t cutAt = SIZE_MAX;
    unsigned slowMs = 0;
};

static ssize_t ReadStream(void *mine, uint64_t place, char *out, size_t most)
{
    auto *stream = static_cast<Stream *>(mine);
    if (place >= stream->cutAt)
        return MHD_CONTENT_READER_END_WITH_ERROR;
    if (place >= stream->body.size())
        return MHD_CONTENT_READER_END_OF_STREAM;
    if (stream->slowMs != 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(stream->slowMs));
        most = std::min<size_t>(most, 16);
    }
    const size_t count =
        std::min({most, stream->body.size() - place, stream->cutAt - static_cast<size_t>(place)});
    memcpy(out, stream->body.data() + place, count);
    return static_cast<ssize_t>(count);
}

MHD_Result SimService::State::Send(MHD_Connection *connection, unsigned status, std::string body,
                                   const std::map<std::string, std::string> &headers,
                                   const SimFault &fault)
{
    MHD_Response *response;
    const bool http10 = options.http10;
    if (fault.cut || fault.slowMs != 0 || fault.chunked || http10) {
        auto *stream = new Stream{body, fault.cut ? body.size() / 2 : SIZE_MAX, fault.slowMs};
        response = MHD_create_response_from_callback(
            fault.chunked || http10 ? MHD_SIZE_UNKNOWN : body.size(), 4096, ReadStream, stream,
            [](void *mine) { delete static_cast<Stream *>(mine); });
    } else {
        response = MHD_create_response_from_buffer(body.size(), body.data(), MHD_RESPMEM_MUST_COPY);
    }
    if (http10)
        MHD_set_response_options(response,
                                 static_cast<MHD_ResponseFlags>(MHD_RF_HTTP_1_0_COMPATIBLE_STRICT |
                                                                MHD_RF_HTTP_1_0_SERVER),
                                 MHD_RO_END);
    MHD_add_response_header(response, "Content-Type", "application/json");
    for (const auto &[name, value] : headers)
        MHD_add_response_header(response, name.c_str(), value.c_str());
    const MHD_Result result = MHD_queue_response(connection, status, response);
    MHD_destroy_response(response);
    return result;
}

MHD_Result SimService::State::Answer(MHD_Connection *connection, const std::string &method,
                                     const std::string &path, const std::string &query,
                                     const std::string &body)
{
    SimFault fault;
    unsigned delayMs = 0;
    bool one = false;
    {
        const std::lock_guard lock(mutex);
        delayMs = options.delayMs;
        one = options.oneAtATime;
        for (const std::string &name : {path + query, path, std::string()}) {
            const auto at = faults.find(name);
            if (at != faults.end()) {
                fault = at->second;
                break;
            }
        }
    }
    std::unique_lock<std::mutex> turn;
    if (one)
        turn = std::unique_lock(oneAtATime);
    const unsigned now = ++atOnce;
    for (unsigned most = mostAtOnce; now > most && !mostAtOnce.compare_exchange_weak(most, now);) {
    }
    const auto leave = [&](MHD_Result result) {
        --atOnce;
        return result;
    };
    if (delayMs + fault.delayMs != 0 && !Sleep(delayMs + fault.delayMs))
        return leave(MHD_NO);
    unsigned status = 0;
    std::string answer;
    std::map<std::string, std::string> headers;
    {
        const std::lock_guard lock(mutex);
        Settle();
        SimRequest request = {.method = method, .url = path + query, .body = body};
        request.atMs = static_cast<unsigned>(
            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - began).count());
        const bool open = path == kRoot || path == std::string(kRoot) + "/" ||
                          (method == "POST" && path.ends_with("/SessionService/Sessions"));
        request.authorized = IsAuthorized(connection);
        if (fault.hang || fault.closeBefore) {
            // Noted as it came; what it orders is done: the answer alone is missing.
            if (fault.closeBefore && method == "POST" && request.authorized)
                request.status = Post(path, body, &answer, &headers);
        } else if (fault.status != 0) {
            status = fault.status;
            answer = "{\"error\": {\"code\": \"Base.1.8.GeneralError\"}}";
        } else if (!request.authorized && !open) {
            status = 401;
            answer = "{\"error\": {\"code\": \"Base.1.8.NoValidSession\"}}";
        } else if (method == "POST") {
            status = Post(path, body, &answer, &headers);
        } else if (method == "DELETE") {
            status = sessions.erase(path) != 0 ? 204 : 404;
        } else if (const auto task = tasks.find(path); task != tasks.end()) {
            const bool done = Clock::now() >= task->second.done;
            status = done ? 200 : 202;
            answer = std::string("{\"@odata.id\": \"") + path + "\", \"TaskState\": \"" +
                     (done ? "Completed" : "Running") + "\"}";
        } else {
            answer = DocumentText(path, query, &status);
            if (options.etags && status == 200) {
                headers["ETag"] = HashOf(options.etagsLie ? path : answer);
                const char *match =
                    MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "If-None-Match");
                if (match != nullptr && headers["ETag"] == match) {
                    status = 304;
                    answer.clear();
                }
            }
        }
        if (!fault.location.empty())
            headers["Location"] = fault.location;
        if (!fault.retryAfter.empty())
            headers["Retry-After"] = fault.retryAfter;
        if (request.status == 0)
            request.status = status;
        request.bytes = answer.size();
        requests.push_back(std::move(request));
    }
    if (fault.closeBefore)
        return leave(MHD_NO);
    if (fault.hang) {
        Sleep(600000);
        return leave(MHD_NO);
    }
    if (fault.body.has_value())
        answer = *fault.body;
    const char *taken = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "Accept-Encoding");
    const char *encoding = options.gzip ? "gzip" : options.deflate ? "deflate" : nullptr;
    if (encoding != nullptr && fault.encoding.empty() && !answer.empty() && taken != nullptr &&
        strstr(taken, encoding) != nullptr) {
        answer = options.gzip ? Gzip(answer) : Deflate(answer);
        headers["Content-Encoding"] = encoding;
    }
    if (options.closes)
        headers["Connection"] = "close";
    if (!fault.encoding.empty())
        headers["Content-Encoding"] = fault.encoding;
    if (fault.garbage != 0)
        answer = "{\"Name\": \"" + std::string(fault.garbage, 'x') + "\"}";
    return leave(Send(connection, status, std::move(answer), headers, fault));
}

MHD_Result SimService::State::Handle(void *mine, MHD_Connection *connection, const char *url,
                                     const char *method, const char *, const char *data,
                                     size_t *size, void **request)
{
    auto *state = static_cast<State *>(mine);
    auto *body = static_cast<std::string *>(*request);
    if (body == nullptr) {
        *request = new std::string();
        return MHD_YES;
    }
    if (*size != 0) {
        body->append(data, *size);
        *size = 0;
        return MHD_YES;
    }
    std::string query;
    MHD_get_connection_values(
        connection, MHD_GET_ARGUMENT_KIND,
        [](void *text, MHD_ValueKind, const char *name, const char *value) {
            auto *all = static_cast<std::string *>(text);
            *all += (all->empty() ? "?" : "&") + std::string(name) + "=" +
                    (value != nullptr ? value : "");
            return MHD_YES;
        },
        &query);
    return state->Answer(connection, method, Trimmed(url), query, *body);
}

void SimService::State::Notify(void *mine, MHD_Connection *, void **,
                               MHD_ConnectionNotificationCode code)
{
    if (code == MHD_CONNECTION_NOTIFY_STARTED)
        ++static_cast<State *>(mine)->connections;
}

// ---- from outside ----

// One literal, then as often as it takes "258 bytes as the one before", in fixed codes of 13 bits.
std::string SimGzipBomb(size_t size)
{
    std::string out(kGzipHead);
    uint32_t bits = 0;
    unsigned count = 0;
    const auto add = [&](uint32_t value, unsigned width) {
        bits |= value << count;
        for (count += width; count >= 8; count -= 8, bits >>= 8)
            out += static_cast<char>(bits);
    };
    add(3, 3);     // the last block, fixed codes
    add(0x15, 8);  // 'x': 10101000, highest bit first
    for (size_t done = 1; done < size; done += 258) {
        add(0xa3, 8);  // length 258: 11000101, highest bit first
        add(0, 5);     // distance 1
    }
    add(0, 7);
    add(0, 7);
    return out;
}

SimService::SimService(const SimOptions &options) : state_(std::make_unique<State>())
{
    state_->options = options;
    if (options.empty)
        state_->options.systems = 0;
    else
        state_->Build();
    const bool tls = !options.certificate.empty();
    const unsigned flags = MHD_USE_THREAD_PER_CONNECTION | MHD_USE_INTERNAL_POLLING_THREAD |
                           (tls ? static_cast<unsigned>(MHD_USE_TLS) : 0u);
    const auto drop = +[](void *, MHD_Connection *, void **request, MHD_RequestTerminationCode) {
        delete static_cast<std::string *>(*request);
    };
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    state_->daemon = MHD_start_daemon(
        flags, 0, nullptr, nullptr, State::Handle, state_.get(), MHD_OPTION_SOCK_ADDR, &address,
        MHD_OPTION_CONNECTION_TIMEOUT, options.idleS, MHD_OPTION_NOTIFY_COMPLETED, drop, nullptr,
        MHD_OPTION_NOTIFY_CONNECTION, State::Notify, state_.get(),
        tls ? MHD_OPTION_HTTPS_MEM_CERT : MHD_OPTION_END, options.certificate.c_str(),
        MHD_OPTION_HTTPS_MEM_KEY, options.key.c_str(), MHD_OPTION_END);
    if (state_->daemon == nullptr)
        abort();
    state_->port = MHD_get_daemon_info(state_->daemon, MHD_DAEMON_INFO_BIND_PORT)->port;
}

SimService::~SimService()
{
    {
        const std::lock_guard lock(state_->mutex);
        state_->stopped = true;
        state_->stop.notify_all();
    }
    MHD_stop_daemon(state_->daemon);
}

unsigned SimService::Port() const
{
    return state_->port;
}

std::string SimService::Url() const
{
    return (state_->options.certificate.empty() ? "http" : "https") +
           Format("://127.0.0.1:%u", state_->port);
}

void SimService::Change(const std::function<void(SimOptions *)> &change)
{
    const std::lock_guard lock(state_->mutex);
    change(&state_->options);
}

void SimService::SetFault(const std::string &path, const SimFault &fault)
{
    const std::lock_guard lock(state_->mutex);
    state_->faults[path] = fault;
}

void SimService::ClearFaults()
{
    const std::lock_guard lock(state_->mutex);
    state_->faults.clear();
}

void SimService::SetMember(const std::string &path, const std::string &member,
                           const std::string &json)
{
    const std::lock_guard lock(state_->mutex);
    json_t *at = state_->documents.at(path).value;
    std::string name = member;
    for (size_t slash; (slash = name.find('/')) != std::string::npos; name.erase(0, slash + 1))
        at = json_object_get(at, name.substr(0, slash).c_str());
    if (json.empty())
        json_object_del(at, name.c_str());
    else
        json_object_set(at, name.c_str(), Parse(json).value);
}

void SimService::RemoveDocument(const std::string &path)
{
    const std::lock_guard lock(state_->mutex);
    state_->documents.erase(path);
}

void SimService::SetDocument(const std::string &path, const std::string &json)
{
    const std::lock_guard lock(state_->mutex);
    state_->documents[path] = Parse(json);
}

std::vector<std::string> SimService::Paths()
{
    const std::lock_guard lock(state_->mutex);
    std::vector<std::string> paths;
    for (const auto &[path, document] : state_->documents)
        paths.push_back(path);
    return paths;
}

void SimService::AddLogEntry(const std::string &id, const std::string &message)
{
    const std::lock_guard lock(state_->mutex);
    const std::string entries = std::string(kRoot) + "/Managers/M1/LogServices/SEL/Entries";
    state_->Add(entries + "/" + id, "{\"Name\": \"Entry\", \"Created\": \"2026-03-14T09:26:53Z\","
                                    " \"Message\": \"" +
                                        message + "\", \"Severity\": \"OK\"}");
    json_t *members = json_object_get(state_->documents[entries].value, "Members");
    // Newest first, as many services have it.
    json_array_insert_new(members, 0,
                          json_pack("{s:s}", "@odata.id", (entries + "/" + id).c_str()));
    json_object_set_new(state_->documents[entries].value, "Members@odata.count",
                        json_integer(static_cast<json_int_t>(json_array_size(members))));
}

void SimService::SetPower(bool on)
{
    const std::lock_guard lock(state_->mutex);
    state_->on = on;
    state_->nextOn.reset();
}

bool SimService::Power()
{
    const std::lock_guard lock(state_->mutex);
    state_->Settle();
    return state_->on;
}

void SimService::EndSessions()
{
    const std::lock_guard lock(state_->mutex);
    state_->sessions.clear();
}

void SimService::ForgetRequests()
{
    const std::lock_guard lock(state_->mutex);
    state_->requests.clear();
    state_->mostAtOnce = 0;
}

std::vector<SimRequest> SimService::Requests()
{
    const std::lock_guard lock(state_->mutex);
    return state_->requests;
}

size_t SimService::Count(const std::string &method, const std::string &path)
{
    const std::lock_guard lock(state_->mutex);
    return static_cast<size_t>(
        std::count_if(state_->requests.begin(), state_->requests.end(), [&](const SimRequest &one) {
            return one.method == method && one.url.substr(0, one.url.find('?')) == path;
        }));
}

std::vector<std::string> SimService::Actions()
{
    const std::lock_guard lock(state_->mutex);
    return state_->actions;
}

size_t SimService::Sessions()
{
    const std::lock_guard lock(state_->mutex);
    state_->Settle();
    return state_->sessions.size();
}

unsigned SimService::MostAtOnce()
{
    return state_->mostAtOnce;
}

unsigned SimService::Connections()
{
    return state_->connections;
}
