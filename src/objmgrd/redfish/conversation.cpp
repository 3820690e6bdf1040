// SPDX-License-Identifier: Apache-2.0
// conversation.cpp -- see conversation.h: the session, the schedule, and what clients are given.
#include "objmgrd/redfish/conversation.h"

#include <algorithm>
#include <syslog.h>

namespace
{

constexpr char kRootLink[] = "/redfish/v1/";
constexpr u32 kIdleMostMs = 1000;
constexpr u32 kEndMs = 900;
constexpr u32 kFullMs = 5000;

u64 Pause(u32 firstMs, u32 mostMs, u32 failures)
{
    return std::min<u64>(u64{firstMs} << std::min(failures, 16u), mostMs);
}

// A text as a JSON string with its quotes.
std::string JsonText(std::string_view text)
{
    std::string json = "\"";
    for (char c : text) {
        char escape[8];
        if (c == '"' || c == '\\') {
            json += '\\';
            json += c;
        } else if (static_cast<u8>(c) < ' ') {
            snprintf(escape, sizeof escape, "\\u%04x", unsigned{static_cast<u8>(c)});
            json += escape;
        } else {
            json += c;
        }
    }
    return json + "\"";
}

// An instance as one text, to see whether it changed.
std::string WordsOf(const Instance &instance)
{
    std::string words = std::to_string(instance.status);
    for (const PropertyValue &property : instance.properties)
        words += "\n" + property.name + "=" + std::to_string(property.status) + property.text;
    return words;
}

}  // namespace

RedfishConversation::RedfishConversation(const RedfishSettings &settings,
                                         std::shared_ptr<const Password> password, Mailbox *mailbox,
                                         Clock clock)
    : settings_(settings), password_(std::move(password)), mailbox_(mailbox), clock_(clock),
      fetcher_(&settings_, password_.get(), clock)
{
    fetcher_.SetBetween(
        [this] { Between(); },
        [this] { return mailbox_->Stopped() || mailbox_->Generation() != generation_; },
        mailbox_->WakeFd());
    // What the store holds from the start.
    given_ = {{kSystemClass, ""}, {std::string(kSelPath), ""}, {SensorKey(1), ""}};
}

u32 RedfishConversation::Step()
{
    if (mailbox_->Generation() != generation_) {
        generation_ = mailbox_->Generation();
        Forget();
    }
    if (!connected_) {
        const u64 now = clock_();
        StepOrders();
        if (now >= nextConnectMs_)
            connected_ = Connect();
        Post();
        if (connected_)
            return 0;
        const u64 then = clock_();
        return static_cast<u32>(
            std::clamp<u64>(nextConnectMs_ > then ? nextConnectMs_ - then : 1, 1, kIdleMostMs));
    }
    if (fetcher_.Unauthorized()) {
        if (LoginStillCounts())
            fetcher_.LoginCounts();
        else
            connected_ = LogIn();
        Post();
        return 0;
    }
    Between();
    const u64 now = clock_();
    const bool reread = action_.has_value() && action_->phase == Phase::Reread;
    if (reread || (systemSeen_ && now >= nextLogMs_ && sensorsRead_)) {
        ReadLog(reread);
    } else if (now >= nextDiscoveryMs_) {
        Discover();
    } else if (now >= NextSensorsMs()) {
        ReadSensors();
    } else {
        u64 next = std::min({nextLogMs_, nextDiscoveryMs_, NextSensorsMs()});
        if (!powerOnTheWay_)
            next = std::min(next, nextPowerMs_);
        if (action_.has_value())
            next = std::min(next, action_->stepMs);
        fetcher_.Wait(
            static_cast<u32>(std::clamp<u64>(next > now ? next - now : 1, 1, kIdleMostMs)));
        mailbox_->Wait(0);
        Between();
    }
    if (!settled_ && sensorsRead_ && logTried_) {
        settled_ = true;
        news_.settled = true;
    }
    Post();
    return 0;
}

void RedfishConversation::End()
{
    fetcher_.Drop();
    if (!session_.token.empty())
        LogOut(session_, kEndMs);
}

void RedfishConversation::Between()
{
    if (fetcher_.HeardMs() > mailbox_->heardMs)
        mailbox_->heardMs = fetcher_.HeardMs();
    StepOrders();
    if (!powerOnTheWay_ && !systemLink_.empty() && clock_() >= nextPowerMs_)
        ReadSystem();
    Post();
}

// ---- the session ----

// Everything has to be read afresh before it is given again.
void RedfishConversation::Forget()
{
    fetcher_.Drop();
    for (auto &[key, words] : given_)
        words.clear();
    connected_ = false;
    nextConnectMs_ = clock_();
    failures_ = 0;
    powerOnTheWay_ = false;
    power_ = HostPower::Unknown;
    powerDenied_ = false;
    systemSeen_ = false;
    sensorsRead_ = false;
    shown_.clear();
    etags_.Clear();
    logKnown_ = false;
    logEtag_.clear();
    logMark_.clear();
    news_ = News();
    if (action_.has_value()) {
        // Its answer is lost with the connection; what it did is looked at again.
        if (action_->phase == Phase::Checking)
            action_->phase = Phase::Check;
        else if (action_->phase == Phase::Sending || action_->phase == Phase::Watching)
            action_->phase = Phase::Watch;
        action_->taskBusy = false;
    }
}

void RedfishConversation::Lose(const std::string &why)
{
    nextConnectMs_ = clock_() + Pause(kRedfishRetryFirstMs, kRedfishRetryMostMs, failures_);
    ++failures_;
    news_.changes.clear();
    news_.lost = true;
    news_.why = why;
    for (auto &[key, words] : given_)
        words.clear();
}

void RedfishConversation::Refuse(const std::string &why, bool mayLock)
{
    Lose(why);
    const u64 pause =
        mayLock ? Pause(kRedfishRefusedFirstMs, kRedfishRefusedMostMs, refusals_) : kFullMs;
    nextConnectMs_ = clock_() + pause;
    refusals_ += mayLock ? 1 : 0;
}

std::string RedfishConversation::FaultWords(const Got &got)
{
    if (got.fault == HttpFault::Trust) {
        const std::string pin = fetcher_.SeenPin();
        return "the certificate is not trusted (" + got.why + ")" +
               (pin.empty() ? "" : "; its key has the pin " + pin);
    }
    if (got.fault != HttpFault::None)
        return got.why;
    if (got.status >= 300)
        return "status " + std::to_string(got.status) + " of " + kRootLink;
    return std::string("no Redfish service: ") + kRootLink + " is no such document";
}

bool RedfishConversation::Connect()
{
    fetcher_.SetLogin(HttpLogin::None, "");
    fetcher_.BeginReading();
    Got root = fetcher_.Get(kRootLink);
    // Some know it without the slash only.
    if (root.Gone())
        root = fetcher_.Get(std::string(kRootLink, sizeof kRootLink - 2));
    if (mailbox_->Stopped())
        return false;
    if (!root.Good()) {
        Lose(FaultWords(root));
        return false;
    }
    root_ = ServiceRootOf(settings_.origin, root.document.Root());
    if (root_.systems.empty()) {
        Lose("the service tells of no systems");
        return false;
    }
    if (!started_)
        DeleteForgotten();
    started_ = true;
    const u64 now = clock_();
    nextDiscoveryMs_ = now;
    std::fill(std::begin(nextSensorsMs_), std::end(nextSensorsMs_), now);
    nextLogMs_ = now;
    nextPowerMs_ = now;
    if (!session_.token.empty()) {
        // One session for all: the one from before the loss, as long as it is good.
        freshLogin_ = false;
        fetcher_.SetLogin(HttpLogin::Token, session_.token);
        return true;
    }
    return LogIn();
}

// A session that a killed service of ours left behind.
void RedfishConversation::DeleteForgotten()
{
    const std::string file = RedfishSessionFile(settings_);
    RememberedSession forgotten;
    if (!SessionFileRead(file, &forgotten) || forgotten.service != settings_.origin.Url() ||
        LinkOf(settings_.origin, forgotten.link).empty())
        return;
    LogOut(forgotten, settings_.answerMs);
}

void RedfishConversation::LogOut(const RememberedSession &session, u32 timeoutMs)
{
    HttpRequest request;
    request.method = HttpMethod::Delete;
    request.link = session.link;
    request.login = HttpLogin::Token;
    request.token = session.token;
    request.timeoutMs = timeoutMs;
    const HttpAnswer answer = fetcher_.Ask(std::move(request));
    // One that could not be ended is left for the next start.
    if (answer.Came() && answer.status < 500)
        SessionFileRemove(RedfishSessionFile(settings_));
}

// Some services answer 401 for a single resource that they do not give to us. A new session for
// each of these answers would soon be one too many.
bool RedfishConversation::LoginStillCounts()
{
    if (fetcher_.GoodsOfLogin() == 0)
        return false;
    fetcher_.BeginReading();
    return fetcher_.Get(systemLink_.empty() ? root_.systems : systemLink_).Good();
}

bool RedfishConversation::LogIn()
{
    const bool fresh = fetcher_.Unauthorized() && fetcher_.GoodsOfLogin() == 0;
    const bool basic = fetcher_.Login() == HttpLogin::Basic;
    session_ = RememberedSession();
    if (fetcher_.Unauthorized() && (basic || (fresh && freshLogin_))) {
        freshLogin_ = false;
        fetcher_.SetLogin(HttpLogin::None, "");
        Refuse("user " + settings_.user + " is refused (401)", true);
        return false;
    }
    freshLogin_ = true;
    if (root_.sessions.empty()) {
        fetcher_.SetLogin(HttpLogin::Basic, "");
        return true;
    }
    HttpRequest request;
    request.method = HttpMethod::Post;
    request.link = root_.sessions;
    request.body = "{\"UserName\": " + JsonText(settings_.user) +
                   ", \"Password\": " + JsonText(password_->Text()) + "}";
    request.followOnce = true;
    request.timeoutMs = settings_.answerMs;
    HttpAnswer answer = fetcher_.Ask(std::move(request));
    if (!answer.Came()) {
        Lose("no session: " + answer.why);
        return false;
    }
    const bool without = answer.Good() && answer.token.empty();
    if (without || answer.status == 404 || answer.status == 405 || answer.status == 501) {
        fetcher_.SetLogin(HttpLogin::Basic, "");
        return true;
    }
    if (answer.Good() && !answer.token.empty()) {
        session_.service = settings_.origin.Url();
        session_.token = answer.token;
        session_.link = LinkOf(settings_.origin, answer.location);
        JsonDocument body;
        if (session_.link.empty() && body.Read(std::move(answer.body)))
            session_.link = LinkOf(settings_.origin, body.Root());
        fetcher_.SetLogin(HttpLogin::Token, session_.token);
        refusals_ = 0;
        const std::string fault = session_.link.empty()
                                      ? "the service does not say where it is"
                                      : SessionFileWrite(RedfishSessionFile(settings_), session_);
        if (!fault.empty() && !fileSaid_) {
            fileSaid_ = true;
            Say(LOG_WARNING, "the session cannot be remembered in " +
                                 RedfishSessionFile(settings_) + ": " + fault);
        }
        return true;
    }
    fetcher_.SetLogin(HttpLogin::None, "");
    if (answer.status == 503 || answer.status == 429)
        Refuse("no session is to be had (" + std::to_string(answer.status) + ")", false);
    else if (answer.status == 400 || answer.status == 401 || answer.status == 403)
        Refuse("user " + settings_.user + " is refused (" + std::to_string(answer.status) + ")",
               true);
    else
        Lose("no session: status " + std::to_string(answer.status));
    if (answer.retryAfterS != 0)
        nextConnectMs_ = std::max(nextConnectMs_, clock_() + u64{answer.retryAfterS} * 1000);
    return false;
}

// ---- what clients are given ----

RedfishPart RedfishPartOf(SensorKind kind)
{
    static_assert(static_cast<u32>(RedfishPart::States) - static_cast<u32>(RedfishPart::Fans) ==
                  static_cast<u32>(SensorGroup::States) - static_cast<u32>(SensorGroup::Fans));
    return static_cast<RedfishPart>(static_cast<u32>(RedfishPart::Temperatures) +
                                    static_cast<u32>(SensorGroupOf(kind)));
}

u32 RedfishConversation::RateMs(u32 group) const
{
    const u32 rates[kSensorGroupCount] = {settings_.temperaturesMs, settings_.voltagesMs,
                                          settings_.currentsMs, settings_.fansMs,
                                          settings_.statesMs};
    return rates[group];
}

u64 RedfishConversation::NextSensorsMs() const
{
    return *std::min_element(std::begin(nextSensorsMs_), std::end(nextSensorsMs_));
}

void RedfishConversation::Heard(RedfishPart part, u64 ms)
{
    news_.heard[static_cast<u16>(part)] = ms;
}

// A value that is shown is never older than its part: the oldest one counts. Silent where none is
// left.
void RedfishConversation::HeardSensors()
{
    std::map<RedfishPart, u64> heard;
    for (const Shown &shown : shown_) {
        const auto at = heard.try_emplace(RedfishPartOf(shown.sensor.kind), 0).first;
        if (shown.sensor.status == kCimOk && (at->second == 0 || shown.askedMs < at->second))
            at->second = shown.askedMs;
    }
    for (const auto &[part, ms] : heard)
        Heard(part, ms);
}

void RedfishConversation::Give(const std::string &key, Instance instance, RedfishPart part)
{
    instance.source = static_cast<u16>(part);
    std::string words = WordsOf(instance);
    std::string &before = given_[key];
    if (before == words)
        return;
    before = std::move(words);
    news_.changes[key] = std::move(instance);
}

void RedfishConversation::Remove(const std::string &key)
{
    if (given_.erase(key) != 0)
        news_.changes[key] = std::nullopt;
}

void RedfishConversation::GiveSystem()
{
    if (!systemSeen_)
        return;
    Instance instance = SystemInstance(facts_, power_);
    if (powerDenied_)
        instance.properties[0] = {kPropertyPowerStatus, kCimAccessDenied, ""};
    Give(kSystemClass, std::move(instance), RedfishPart::Power);
}

void RedfishConversation::GiveSensors()
{
    u32 index = 0;
    u32 supply = 0;
    for (const Shown &shown : shown_) {
        ++index;
        Give(SensorKey(index), SensorInstance(index, shown.sensor),
             RedfishPartOf(shown.sensor.kind));
        if (shown.sensor.kind != SensorKind::Supply)
            continue;
        ++supply;
        if (shown.sensor.wattage != 0)
            Give(PowerSupplyKey(supply), PowerSupplyInstance(supply, shown.sensor.wattage),
                 RedfishPart::States);
        else
            Remove(PowerSupplyKey(supply));
    }
    while (given_.count(PowerSupplyKey(++supply)) != 0)
        Remove(PowerSupplyKey(supply));
    while (given_.count(SensorKey(++index)) != 0)
        Remove(SensorKey(index));
}

void RedfishConversation::GiveLog()
{
    const std::string key(kSelPath);
    if (!logKnown_) {
        const CimStatus status = logDenied_ ? kCimAccessDenied : kCimFailed;
        Give(key, FailedInstance(status), RedfishPart::Log);
        for (u32 number = 1; given_.count(SelRecordKey(number)) != 0; ++number)
            Give(SelRecordKey(number), FailedInstance(status), RedfishPart::Log);
        return;
    }
    u32 number = 0;
    for (const LogEntry &entry : log_) {
        ++number;
        Give(SelRecordKey(number), SelRecordInstance(number, entry.times, entry.description),
             RedfishPart::Log);
    }
    Give(key, SelLogInstance(number), RedfishPart::Log);
    while (given_.count(SelRecordKey(++number)) != 0)
        Remove(SelRecordKey(number));
}

void RedfishConversation::Say(int priority, std::string text)
{
    news_.lines.push_back({priority, settings_.origin.host + ": " + std::move(text)});
}

void RedfishConversation::Post()
{
    const bool some = news_.lost || news_.settled || !news_.changes.empty() ||
                      !news_.heard.empty() || !news_.answers.empty() || !news_.lines.empty();
    if (!some)
        return;
    mailbox_->Post(generation_, std::move(news_));
    news_ = News();
}
