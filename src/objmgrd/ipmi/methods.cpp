// SPDX-License-Identifier: Apache-2.0
// methods.cpp -- see methods.h.
#include "objmgrd/ipmi/methods.h"

#include <algorithm>
#include <syslog.h>

namespace
{

// Numbers of Chassis Control (IPMI 2.0, section 28.3).
constexpr u8 kPowerDown = 0;
constexpr u8 kPowerUp = 1;
constexpr u8 kPowerCycle = 2;
constexpr u8 kHardReset = 3;

constexpr u32 kOpeningLeastMs = 100;
constexpr u32 kPauseDoublings = 5;
// Every so manieth opening is a long one.
constexpr u32 kLongTurn = 8;
constexpr u32 kLongTurnDoubtful = 3;

// The answer to a command is waited for with nothing else done for some times what the BMC takes.
constexpr u32 kAnswerFactor = 3;
constexpr u32 kAnswerLeastMs = 50;
// Whether the session that is open is good is asked so often.
constexpr u32 kTries = 3;

// Clear SEL (section 31.9).
constexpr u8 kEraseBegin = 0xAA;
constexpr u8 kEraseStatus = 0x00;
constexpr u8 kEraseComplete = 0x01;

// By number of OrderKind.
struct OrderRow {
    const char *words;
    OrderKind kind;
    bool needsOn;       // there is nothing to do for a host that is off; else for one that is on
    u8 control;         // the command
    bool changesState;  // the power state is other than before once it is done
};

constexpr OrderRow kOrders[] = {
    {"power on", OrderKind::Start, false, kPowerUp, true},
    {"power off", OrderKind::Stop, true, kPowerDown, true},
    {"reset", OrderKind::Reset, true, kHardReset, false},
    {"power cycle", OrderKind::PowerCycle, true, kPowerCycle, false},
    {"clearing the log", OrderKind::Clear, false, 0, false},
};

constexpr bool OrdersStandInOrder()
{
    u32 number = 0;
    for (const OrderRow &row : kOrders) {
        if (static_cast<u32>(row.kind) != number++)
            return false;
    }
    return true;
}
static_assert(OrdersStandInOrder(), "RowOf() uses the kind as the row's number");

const OrderRow &RowOf(OrderKind kind)
{
    return kOrders[static_cast<u32>(kind)];
}

}  // namespace

void Methods::Begin(const Order &order, u64 now)
{
    action_ = Action();
    action_->order = order;
    action_->stepMs = now;
    action_->phase = order.kind == OrderKind::Clear ? Phase::Reserve : Phase::Check;
}

// What the method is called, and what there is to say.
void Methods::Say(int priority, std::string_view text)
{
    publication_->Say(priority,
                      std::string(RowOf(action_->order.kind).words) + ": " + std::string(text));
}

// A session whose answer is still to come is of no use to the next command.
void Methods::End()
{
    if (action_->phase == Phase::Sent)
        CloseControl();
    controlUntilMs_ = clock_() + kControlHeldMs;
    action_.reset();
}

void Methods::CloseControl()
{
    control_->Close();
    controlOpen_ = false;
}

void Methods::Rest(u64 now)
{
    if (controlOpen_ && now >= controlUntilMs_)
        CloseControl();
}

void Methods::Answer(CimStatus status, u32 result)
{
    publication_->Answer({action_->order.ticket, status, result});
    End();
    schedule_->LookEverywhere(clock_());
}

void Methods::LookAgain()
{
    action_->stepMs = clock_() + kLookAgainMs;
}

void Methods::EndIfLate(u64 now)
{
    const bool begun = action_->sent;
    if (!begun && !mailbox_->Waits(action_->order.ticket)) {
        Say(LOG_NOTICE, "not begun, since nobody waits for it any more");
        return End();
    }
    if (now + (begun ? kAnswerEarlyMs : kLatestBeginMs) < action_->order.dueMs)
        return;
    if (!begun && !action_->why.empty())
        Say(LOG_WARNING, "not begun in time: " + action_->why);
    else
        Say(LOG_WARNING, begun ? "not seen done in time" : "not begun in time");
    Answer(kCimFailed, 0);
}

bool Methods::NeedsSession() const
{
    const Phase phase = action_->phase;
    return phase == Phase::Check || phase == Phase::LookBack || phase == Phase::Confirm ||
           phase == Phase::Reserve;
}

void Methods::Step()
{
    switch (action_->phase) {
    case Phase::Check:
        return StepCheck();
    case Phase::Try:
        return StepTry();
    case Phase::Open:
        return StepOpen();
    case Phase::LookBack:
        return StepLookBack();
    case Phase::Send:
        return StepSend();
    case Phase::Sent:
        return StepSent(0);
    case Phase::Confirm:
        return StepConfirm();
    case Phase::Reserve:
        return StepReserve();
    case Phase::Erase:
    case Phase::Erasing:
        return StepErase();
    case Phase::Reread:
        return StepReread();
    }
}

// ---- power commands ----

void Methods::StepCheck()
{
    const BmcAnswer answer = schedule_->AskPower();
    if (!answer.came)
        return;
    if (answer.Denied())
        return Answer(kCimAccessDenied, 0);
    if (!answer.Done(1)) {
        action_->why = "the power state is not known: " + BmcCodeWords(answer.code);
        return LookAgain();
    }
    action_->why.clear();
    const bool on = publication_->Power() == BmcPower::On;
    if (on != RowOf(action_->order.kind).needsOn)
        return Answer(kCimOk, kMethodNotApplicable);
    action_->phase = controlOpen_ ? Phase::Try : Phase::Open;
}

// How long an answer is waited for with nothing else done.
u32 Methods::AnswerLimitMs() const
{
    return session_->AnswerMs() * kAnswerFactor + kAnswerLeastMs;
}

// The BMC may have ended it, or have started again.
void Methods::StepTry()
{
    for (u32 i = 0; i < kTries; ++i) {
        control_->AskAside({kNetFnChassis, kGetChassisStatus, 0, {}});
        BmcAnswer answer;
        if (!control_->TakeAnswer(&answer, AnswerLimitMs()))
            continue;
        if (answer.came)
            action_->phase = Phase::Send;
        break;
    }
    if (action_->phase == Phase::Send)
        return;
    CloseControl();
    action_->phase = Phase::Open;
}

// A packet that is lost costs one short attempt; now and then comes a long one, for a BMC that
// takes longer than it did before. What the session for reading took may be so long only since a
// packet of its own was lost.
u32 Methods::OpeningLimitMs() const
{
    const u32 opening = session_->OpeningMs();
    const bool doubtful = opening == 0 || opening >= settings_.answerMs;
    const u64 usual = doubtful ? u64{session_->AnswerMs()} * 12 : u64{opening} * 3;
    const u64 brief = usual + kOpeningLeastMs;
    const u32 turn = doubtful ? kLongTurnDoubtful : kLongTurn;
    const bool isLong = action_->openings % turn == turn - 1;
    const u64 limit = isLong ? std::max<u64>(brief * 8, u64{opening} * 2) : brief;
    return static_cast<u32>(std::min<u64>(limit, IpmiLostMs(settings_) - kOpeningPauseMs));
}

void Methods::StepOpen()
{
    const u64 before = clock_();
    const u64 last = action_->order.dueMs - kLatestBeginMs;
    const u32 left = static_cast<u32>(last > before ? last - before : 1);
    std::string why;
    const u32 limit = std::min(OpeningLimitMs(), left);
    const BmcOpening opening = control_->Open(&why, limit);
    controlOpen_ = opening == BmcOpening::Open;
    if (controlOpen_) {
        session_->Opened(clock_() - before);
        action_->phase = action_->sent ? Phase::LookBack : Phase::Send;
        return;
    }
    if (opening == BmcOpening::Silent) {
        ++action_->openings;
        action_->why = "no session for it: " + why;
        // A failure that took no time may have left the BMC half a session, of which it holds few.
        const u32 early = clock_() - before < limit ? action_->earlyFailures++ : 0;
        action_->stepMs = clock_() + (kOpeningPauseMs << std::min(early, kPauseDoublings));
        return;
    }
    // One that was sent before may have been done.
    if (action_->sent) {
        action_->repeats = kRepeatsMax;
        action_->phase = Phase::Confirm;
        return LookAgain();
    }
    Say(LOG_WARNING, "not sent: " + why);
    Answer(kCimFailed, 0);
}

void Methods::StepSend()
{
    action_->sent = true;
    action_->sentMs = clock_();
    control_->AskAside({kNetFnChassis, kChassisControl, 1, {RowOf(action_->order.kind).control}});
    action_->phase = Phase::Sent;
    StepSent(AnswerLimitMs());
}

// An answer that does not come, since it or the command was lost, is waited for as long as any, and
// readings go on meanwhile. So does the look at the power state, which may say that it was done.
void Methods::StepSent(u32 waitMs)
{
    BmcAnswer answer;
    if (!control_->TakeAnswer(&answer, waitMs)) {
        if (!session_->IsOpen() || !schedule_->AskPower().Done(1))
            return LookAgain();
        if (SeemsDone())
            return Confirm();
        return MayRepeat() ? Repeat() : LookAgain();
    }
    action_->phase = Phase::Confirm;
    action_->answered = answer.came && answer.code == kBmcDone;
    if (!answer.came) {
        CloseControl();
        Say(LOG_WARNING, action_->repeats == 0
                             ? "sent once and not answered; looking at the power state"
                             : "sent again and not answered; looking at the power state");
    } else if (!action_->answered && action_->repeats == 0) {
        Say(LOG_WARNING, "refused: " + BmcCodeWords(answer.code));
        Answer(BmcStatusOf(answer.code), 0);
    }
    // A BMC that refuses what it was sent again may have done it already.
}

// The power state has been looked at, and says that the command was not done.
bool Methods::MayRepeat() const
{
    return RowOf(action_->order.kind).changesState && !action_->answered &&
           action_->repeats < kRepeatsMax &&
           clock_() >= action_->sentMs + settings_.methodMs / kRepeatPart &&
           mailbox_->Waits(action_->order.ticket);
}

// In another session: what may still come of the one before finds it closed.
void Methods::Repeat()
{
    Say(LOG_WARNING, "not answered, and the power state has not followed: to be sent again");
    CloseControl();
    ++action_->repeats;
    action_->phase = Phase::Open;
}

void Methods::StepLookBack()
{
    const BmcAnswer answer = schedule_->AskPower();
    if (!answer.came)
        return;
    if (!answer.Done(1))
        return LookAgain();
    if (SeemsDone())
        return Confirm();
    action_->phase = mailbox_->Waits(action_->order.ticket) ? Phase::Send : Phase::Confirm;
}

// By the power state; of a reset it says nothing.
bool Methods::SeemsDone() const
{
    const OrderRow &row = RowOf(action_->order.kind);
    return row.changesState && (publication_->Power() == BmcPower::On) != row.needsOn;
}

// Nothing is reported before the power state has been read after the command.
void Methods::StepConfirm()
{
    const BmcAnswer answer = schedule_->AskPower();
    if (!answer.came)
        return;
    const bool changes = RowOf(action_->order.kind).changesState;
    if (answer.Done(1) && changes && !SeemsDone() && MayRepeat())
        return Repeat();
    if (!answer.Done(1) || (changes && !SeemsDone()))
        return LookAgain();  // not yet
    Confirm();
}

void Methods::Confirm()
{
    // A reset does not show in the power state: without an answer nobody knows.
    const bool done = action_->answered || RowOf(action_->order.kind).changesState;
    const bool on = publication_->Power() == BmcPower::On;
    Say(done ? LOG_NOTICE : LOG_WARNING, std::string(done ? "done" : "nobody knows whether done") +
                                             (on ? "; the power is on" : "; the power is off"));
    Answer(done ? kCimOk : kCimFailed, 0);
}

// ---- clearing the log ----

void Methods::StepReserve()
{
    const BmcAnswer answer = session_->Ask({kNetFnStorage, kReserveSel, 0, {}});
    if (!answer.came)
        return;
    if (answer.Denied())
        return Answer(kCimAccessDenied, 0);
    if (!answer.Done(2))
        return LookAgain();
    action_->reservation = BmcWord(answer.data);
    action_->phase = action_->sent ? Phase::Erasing : Phase::Erase;
}

void Methods::StepErase()
{
    const bool begin = action_->phase == Phase::Erase;
    const BmcAnswer answer =
        session_->Ask({kNetFnStorage,
                       kClearSel,
                       6,
                       {LowByte(action_->reservation), HighByte(action_->reservation), 'C', 'L',
                        'R', begin ? kEraseBegin : kEraseStatus}});
    if (!answer.came) {
        Say(LOG_WARNING, "not answered");
        return Answer(kCimFailed, 0);
    }
    if (answer.Denied())
        return Answer(kCimAccessDenied, 0);
    // Somebody else's reservation ended ours; how far the erasure is can be asked with a new one.
    if (answer.code == kBmcReservationLost)
        action_->phase = Phase::Reserve;
    if (!answer.Done(1))
        return LookAgain();
    action_->sent = true;
    if ((answer.data[0] & 0xf) != kEraseComplete) {
        action_->phase = Phase::Erasing;
        return LookAgain();
    }
    action_->phase = Phase::Reread;
    action_->readings = schedule_->LogReadings();
    schedule_->RereadLog(clock_());
    LookAgain();
}

// The log is in the store before the answer is given.
void Methods::StepReread()
{
    if (schedule_->LogReadings() == action_->readings) {
        action_->stepMs = clock_() + 1;
        return;
    }
    publication_->Say(LOG_NOTICE, "the log was cleared");
    Answer(kCimOk, 0);
}
