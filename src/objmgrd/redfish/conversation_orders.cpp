// SPDX-License-Identifier: Apache-2.0
// conversation_orders.cpp -- see conversation.h: what is done once, and seen to be done.
#include "objmgrd/redfish/conversation.h"

#include <algorithm>
#include <syslog.h>

namespace
{

constexpr u32 kLookAgainMs = 500;
constexpr u32 kAnswerEarlyMs = 200;
// A reset that is accepted by a service that tells neither a task nor LastResetTime: the power
// state is watched for so long.
constexpr u32 kNoSignMs = 3000;

// By number of OrderKind.
struct OrderWords {
    OrderKind kind;
    PowerOrder power;  // without meaning for Clear
    const char *words;
};

constexpr OrderWords kOrders[] = {
    {OrderKind::Start, PowerOrder::Start, "power on"},
    {OrderKind::Stop, PowerOrder::Stop, "power off"},
    {OrderKind::Reset, PowerOrder::Reset, "reset"},
    {OrderKind::PowerCycle, PowerOrder::Cycle, "power cycle"},
    {OrderKind::Clear, PowerOrder::Start, "clearing the log"},
};

const OrderWords &WordsFor(OrderKind kind)
{
    return kOrders[static_cast<u32>(kind)];
}

bool IsNewer(const std::string &before, const std::string &now)
{
    const auto then = RedfishTime(before);
    const auto later = RedfishTime(now);
    return later.has_value() && (!then.has_value() || *later > *then);
}

}  // namespace

void RedfishConversation::StepOrders()
{
    const u64 now = clock_();
    if (!action_.has_value()) {
        Order order;
        if (!mailbox_->NextOrder(&order))
            return;
        action_.emplace(Action());
        action_->order = order;
        action_->stepMs = now;
    }
    Action &action = *action_;
    const std::string words = WordsFor(action.order.kind).words;
    if (now + kAnswerEarlyMs >= action.order.dueMs) {
        if (action.sent)
            Say(LOG_WARNING, words +
                                 (action.answered ? " was sent once and accepted"
                                                  : " was sent once, its answer was lost") +
                                 "; it was not seen to be done");
        return Answer(kCimFailed, 0);
    }
    if (now < action.stepMs)
        return;
    if (!connected_ || systemLink_.empty()) {
        // What was sent may still be seen done after a reconnect.
        if (!action.sent)
            Answer(kCimFailed, 0);
        return;
    }
    if (fetcher_.Unauthorized())
        return;
    if (action.phase == Phase::Check)
        action.order.kind == OrderKind::Clear ? CheckClear() : StartCheck();
    else if (action.phase == Phase::Watch)
        Watch();
}

void RedfishConversation::Answer(CimStatus status, u32 result)
{
    news_.answers.push_back({action_->order.ticket, status, result});
    action_.reset();
}

void RedfishConversation::StartCheck()
{
    action_->phase = Phase::Checking;
    const u64 ticket = action_->order.ticket;
    fetcher_.Urgent(fetcher_.MakeGet(systemLink_), [this, ticket](HttpAnswer &&answer) {
        Got got = fetcher_.Take(std::move(answer));
        if (action_.has_value() && action_->order.ticket == ticket)
            Check(std::move(got));
    });
}

void RedfishConversation::Check(Got &&got)
{
    Action &action = *action_;
    const OrderKind kind = action.order.kind;
    if (!got.Good()) {
        if (got.Denied())
            return Answer(kCimAccessDenied, 0);
        // Nothing was done yet.
        action.phase = Phase::Check;
        action.stepMs = clock_() + kLookAgainMs;
        return;
    }
    ResetAction reset = ResetActionOf(settings_.origin, got.document.Root());
    if (!reset.known && reset.target == reset_.target)
        reset = reset_;
    TakeSystem(std::move(got));
    if (power_ == HostPower::Unknown)
        return Answer(kCimFailed, 0);
    if ((power_ == HostPower::On) == (kind == OrderKind::Start))
        return Answer(kCimOk, kMethodNotApplicable);
    action.choice = ChooseReset(reset, WordsFor(kind).power);
    const std::string words = WordsFor(kind).words;
    const bool refused = action.choice.offThenOn && settings_.refuseCycle;
    if (reset.target.empty() || refused ||
        (action.choice.type.empty() && !action.choice.offThenOn)) {
        Say(LOG_NOTICE, words + ": the service offers no such reset" +
                            (refused ? " of its own, and the settings refuse off and on" : ""));
        return Answer(kCimNotSupported, 0);
    }
    if (action.choice.offThenOn && reset.known &&
        std::find(reset.values.begin(), reset.values.end(), "On") == reset.values.end())
        action.onType = "ForceOn";
    action.lastReset = lastReset_;
    action.target = reset.target;
    Send(action.choice.offThenOn ? "ForceOff" : action.choice.type);
}

void RedfishConversation::Send(const std::string &type)
{
    Action &action = *action_;
    // What nobody waits for is not done; half of a cycle would leave the host off.
    if (!action.second && !mailbox_->Waits(action.order.ticket)) {
        action_.reset();
        return;
    }
    HttpRequest request = fetcher_.MakeGet(action.target);
    request.method = HttpMethod::Post;
    request.body = type.empty() ? "{}" : "{\"ResetType\": \"" + type + "\"}";
    action.phase = Phase::Sending;
    action.sent = true;
    action.answered = false;
    action.monitor.clear();
    const u64 ticket = action.order.ticket;
    fetcher_.Urgent(std::move(request), [this, ticket](HttpAnswer &&answer) {
        if (action_.has_value() && action_->order.ticket == ticket)
            TakeSent(std::move(answer));
    });
}

void RedfishConversation::TakeSent(HttpAnswer &&answer)
{
    Action &action = *action_;
    const std::string words = WordsFor(action.order.kind).words;
    if (answer.Came() && (answer.status == 401 || answer.status == 403)) {
        Say(LOG_NOTICE, words + " was refused (" + std::to_string(answer.status) + ")");
        return Answer(kCimAccessDenied, 0);
    }
    if (answer.Came() && answer.status >= 400 && answer.status < 500 && answer.status != 408 &&
        answer.status != 429) {
        Say(LOG_NOTICE, words + " was refused (" + std::to_string(answer.status) + ")");
        return Answer(kCimFailed, 0);
    }
    action.answered = answer.Good();
    action.acceptedMs = clock_();
    if (answer.Good()) {
        JsonDocument body;
        body.Read(std::move(answer.body));
        if (answer.status == 202)
            action.monitor = LinkOf(settings_.origin, answer.location);
        if (action.monitor.empty() && body.Root().Has("TaskState"))
            action.monitor = LinkOf(settings_.origin, body.Root());
    } else {
        Say(LOG_WARNING, words + ": " +
                             (answer.Came() ? "status " + std::to_string(answer.status)
                                            : "the answer was lost (" + answer.why + ")") +
                             "; it is not sent again");
    }
    if (action.order.kind == OrderKind::Clear) {
        action.phase = Phase::Reread;
        return;
    }
    action.phase = Phase::Watch;
    action.stepMs = clock_() + kLookAgainMs / 2;
}

void RedfishConversation::Watch()
{
    Action &action = *action_;
    if (action.order.kind == OrderKind::Clear) {
        action.phase = Phase::Reread;
        return;
    }
    if (!action.monitor.empty() && !action.taskDone && !action.taskBusy) {
        action.taskBusy = true;
        const u64 ticket = action.order.ticket;
        fetcher_.Urgent(fetcher_.MakeGet(action.monitor), [this, ticket](HttpAnswer &&answer) {
            if (action_.has_value() && action_->order.ticket == ticket)
                TakeTask(std::move(answer));
        });
    }
    action.phase = Phase::Watching;
    const u64 ticket = action.order.ticket;
    fetcher_.Urgent(fetcher_.MakeGet(systemLink_), [this, ticket](HttpAnswer &&answer) {
        Got got = fetcher_.Take(std::move(answer));
        const bool good = got.Good();
        TakeSystem(std::move(got));
        if (!action_.has_value() || action_->order.ticket != ticket)
            return;
        action_->phase = Phase::Watch;
        action_->stepMs = clock_() + kLookAgainMs;
        if (good)
            EndIfDone();
    });
}

// A monitor answers 202 while the task runs and then with the final status; a task says how it is.
void RedfishConversation::TakeTask(HttpAnswer &&answer)
{
    Action &action = *action_;
    action.taskBusy = false;
    if (!answer.Came() || answer.status == 401 || answer.status >= 500 || answer.status == 429)
        return;
    JsonDocument body;
    body.Read(std::move(answer.body));
    const std::string state = body.Root()["TaskState"].Text();
    const bool failed =
        state == "Exception" || state == "Killed" || state == "Cancelled" ||
        (state.empty() && answer.status >= 400 && answer.status != 404 && answer.status != 410);
    if (failed) {
        Say(LOG_NOTICE, std::string(WordsFor(action.order.kind).words) + ": its task failed" +
                            (state.empty() ? "" : " (" + state + ")"));
        return Answer(kCimFailed, 0);
    }
    if (state == "Completed" || (state.empty() && answer.status != 202 && answer.Good()))
        action.taskDone = true;
    else if (answer.status == 404 || answer.status == 410)
        action.monitor.clear();  // forgotten by the service: the state has to say it
}

void RedfishConversation::EndIfDone()
{
    Action &action = *action_;
    const OrderKind kind = action.order.kind;
    bool done = false;
    if (kind == OrderKind::Start) {
        done = power_ == HostPower::On;
    } else if (kind == OrderKind::Stop) {
        done = power_ == HostPower::Off;
    } else if (action.choice.offThenOn) {
        if (!action.second && power_ == HostPower::Off) {
            action.second = true;
            action.sent = false;
            return Send(action.onType);
        }
        done = action.second && power_ == HostPower::On;
    } else {
        done = action.leftOn || IsNewer(action.lastReset, lastReset_) ||
               (action.answered && action.taskDone);
        // A service that shows no sign of a reset: its word has to do.
        if (!done && kind == OrderKind::Reset && action.answered && action.monitor.empty() &&
            lastReset_.empty() && clock_() - action.acceptedMs >= kNoSignMs) {
            Say(LOG_NOTICE, "reset was accepted; the service shows no sign of whether it is done");
            done = true;
        }
    }
    if (!done)
        return;
    GiveSystem();
    Answer(kCimOk, 0);
}

void RedfishConversation::CheckClear()
{
    Action &action = *action_;
    if (!logKnown_) {
        action.stepMs = clock_() + kLookAgainMs;
        return;
    }
    if (logEntries_.empty() || logClear_.empty()) {
        Say(LOG_NOTICE, logEntries_.empty() ? "the service has no log to clear"
                                            : "the service offers no way to clear its log");
        return Answer(kCimNotSupported, 0);
    }
    for (const LogEntry &entry : log_)
        action.old.insert(EntryKey(entry));
    action.target = logClear_;
    Send("");
}

// The log was read since the action was sent. Its own entry, that it was cleared, may be new.
void RedfishConversation::TakeReread(bool read)
{
    Action &action = *action_;
    const bool done = read && std::none_of(log_.begin(), log_.end(), [&](const LogEntry &entry) {
                          return action.old.count(EntryKey(entry)) != 0;
                      });
    if (done && !(action.old.empty() && !action.answered))
        return Answer(kCimOk, 0);
    action.phase = Phase::Watch;
    action.stepMs = clock_() + kLookAgainMs;
}
