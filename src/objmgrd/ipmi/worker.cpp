// SPDX-License-Identifier: Apache-2.0
// worker.cpp -- see worker.h.
#include "objmgrd/ipmi/worker.h"

#include <algorithm>
#include <syslog.h>
#include <unistd.h>

namespace
{

constexpr u64 kNever = ~u64{0};
// Changed readings are handed over together.
constexpr u32 kTogetherMs = 100;
// What the BMC could not tell, though it answered, is asked again after this.
constexpr u32 kTryAgainMs = 5000;
constexpr u32 kIdleMostMs = 1000;
// Other readers of the sensor records, such as ipmi-sensors, take some 10 to 100 ms.
constexpr u32 kSdrAgainMs = 50;
constexpr u32 kSdrCollisionsMax = 20;

constexpr u8 kEntityPowerSupply = 0x0A;
constexpr u8 kTypePowerSupply = 8;

// Bits of Get Chassis Status and numbers of Chassis Control (IPMI 2.0, sections 28.2 and 28.3).
constexpr u8 kPowerIsOn = 0x01;
constexpr u8 kPowerDown = 0;
constexpr u8 kPowerUp = 1;
constexpr u8 kPowerCycle = 2;
constexpr u8 kHardReset = 3;

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

std::string CodeWords(u8 code)
{
    char text[32];
    snprintf(text, sizeof text, "completion code 0x%02X", unsigned{code});
    return text;
}

// The pause after so many failures.
u64 Pause(u32 firstMs, u32 mostMs, u32 failures)
{
    return std::min<u64>(u64{firstMs} << std::min(failures, 10u), mostMs);
}

CimStatus StatusOf(u8 code)
{
    return code == kBmcDenied ? kCimAccessDenied : kCimFailed;
}

}  // namespace

Worker::Worker(const IpmiSettings *settings, Bmc *bmc, Bmc *control, Mailbox *mailbox, Clock clock)
    : settings_(*settings), bmc_(bmc), control_(control), mailbox_(mailbox), clock_(clock)
{
    Forget(0);
}

BmcAnswer Worker::Watched::Ask(const BmcRequest &request)
{
    BmcAnswer answer = worker_->bmc_->Ask(request);
    for (u32 tries = 1; tries < kBusyTries && answer.came && answer.code == kBmcNodeBusy &&
                        !worker_->mailbox_->HasOrder();
         ++tries)
        answer = worker_->bmc_->Ask(request);
    if (answer.Done())
        worker_->mailbox_->heardMs = worker_->clock_();
    return answer;
}

void Worker::End()
{
    control_->Close();
    bmc_->Close();
}

u32 Worker::Step()
{
    const u64 now = clock_();
    if (mailbox_->Generation() != generation_) {
        generation_ = mailbox_->Generation();
        Forget(now);
    }
    Order order;
    if (!action_.has_value() && mailbox_->NextOrder(&order))
        Begin(order, now);
    u32 wait = 0;
    if (action_.has_value() && now >= action_->stepMs)
        StepAction(now);
    else if (!open_ && now >= nextOpenMs_)
        TryOpen();
    else if (open_ && now >= nextPowerMs_)
        ReadPower();
    else
        wait = open_ ? StepTasks(now) : static_cast<u32>(nextOpenMs_ - now);
    // Nothing is due: all that there is was read.
    news_.settled =
        !settled_ && open_ && wait != 0 && sdrSettled_ && (!sdrKnown_ || sensors_.Complete());
    settled_ = settled_ || news_.settled;
    if (action_.has_value() && wait != 0)
        wait = static_cast<u32>(
            std::min<u64>(wait, action_->stepMs > now ? action_->stepMs - now : 0));
    Post();
    return wait;
}

// ---- the session ----

// Everything has to be read afresh before it is given again.
void Worker::Forget(u64 now)
{
    power_ = Power::Unknown;
    powerGiven_ = false;
    powerMs_ = now;
    nextPowerMs_ = now;
    sdrKnown_ = false;
    sdrSettled_ = false;
    logGiven_ = false;
    logMs_ = now;
    identityKnown_ = false;
    identityStage_ = IdentityStage::Fru;
    supplies_.clear();
    for (u32 task = 0; task < kTaskCount; ++task) {
        dueMs_[task] = now;
        running_[task] = false;
    }
}

bool Worker::TryOpen()
{
    std::string why;
    const BmcOpening opening = bmc_->Open(&why);
    open_ = opening == BmcOpening::Open;
    const u64 then = clock_();
    if (open_) {
        Forget(then);
        return true;
    }
    const bool refused = opening == BmcOpening::Refused;
    const u32 first = refused ? kRefusedFirstMs : kRetryFirstMs;
    const u32 most = refused ? kRefusedMostMs : kRetryMostMs;
    nextOpenMs_ = then + Pause(first, most, failures_);
    ++failures_;
    news_.lost = true;
    news_.why = why;
    return false;
}

std::string Worker::SilentWords() const
{
    return "no answer from " + IpmiBmcName(settings_);
}

void Worker::Lose(const std::string &why)
{
    bmc_->Close();
    open_ = false;
    const u64 now = clock_();
    Forget(now);
    // At once for the first time, since a session can end without the BMC being away.
    nextOpenMs_ = failures_ == 0 ? now : now + Pause(kRetryFirstMs, kRetryMostMs, failures_ - 1);
    ++failures_;
    news_.changes.clear();
    news_.lost = true;
    news_.why = why;
}

// ---- reading ----

BmcAnswer Worker::AskPower()
{
    const BmcAnswer answer = watched_.Ask({kNetFnChassis, kGetChassisStatus, 0, {}});
    const u64 now = clock_();
    nextPowerMs_ = now + settings_.powerMs;
    const Power before = power_;
    if (answer.Done(1)) {
        power_ = (answer.data[0] & kPowerIsOn) != 0 ? Power::On : Power::Off;
        powerMs_ = now;
        failures_ = 0;
    } else if (answer.Denied()) {
        power_ = Power::Denied;
        powerMs_ = now;
    } else if (answer.came && now - powerMs_ > kStaleMs) {
        power_ = Power::Unknown;
    }
    if (answer.came && (power_ != before || !powerGiven_) &&
        (power_ != Power::Unknown || before != Power::Unknown))
        GiveSystem();
    return answer;
}

void Worker::ReadPower()
{
    if (!AskPower().came)
        Lose(SilentWords());
}

bool Worker::IsReady(Task task) const
{
    switch (task) {
    case kSensorTask:
        return sdrKnown_;
    case kLogTask:
        return sdrSettled_;  // its records name the sensors
    case kIdentityTask:
        return identityStage_ != IdentityStage::Supplies || sdrSettled_;
    default:
        return true;
    }
}

// The next step of what is due, each in turn; otherwise how long to wait.
u32 Worker::StepTasks(u64 now)
{
    u64 next = nextPowerMs_;
    for (u32 i = 0; i < kTaskCount; ++i) {
        const Task task = static_cast<Task>((nextTask_ + i) % kTaskCount);
        if (!IsReady(task))
            continue;
        if (now >= dueMs_[task]) {
            nextTask_ = (task + 1) % kTaskCount;
            StepTask(task, now);
            return 0;
        }
        next = std::min(next, dueMs_[task]);
    }
    return static_cast<u32>(std::clamp<u64>(next - std::min(next, now), 1, kIdleMostMs));
}

void Worker::StepTask(Task task, u64 now)
{
    const bool begins = !running_[task];
    running_[task] = true;
    ReadStep step = ReadStep::Done;
    switch (task) {
    case kSdrTask:
        if (begins)
            sdr_.Start();
        step = sdr_.Step(&watched_);
        if (step == ReadStep::Done || step == ReadStep::Failed)
            EndSdr(step, now);
        break;
    case kSensorTask:
        if (begins) {
            sensors_.StartRound();
            dueMs_[task] = now;
        }
        step = sensors_.Step(&watched_);
        if (step != ReadStep::Lost)
            GiveSensors(now, step == ReadStep::Done);
        if (step == ReadStep::Done)
            EndSensors(now);
        break;
    case kLogTask:
        if (begins) {
            log_.Start();
            dueMs_[task] = now;
        }
        step = log_.Step(&watched_);
        if (step == ReadStep::Done || step == ReadStep::Failed)
            EndLog(step, now);
        break;
    case kIdentityTask:
    case kTaskCount:
        StepIdentity(begins);
        return;
    }
    if (step == ReadStep::Lost)
        Lose(SilentWords());
}

// Readers end each other's reservations. All begin again, each after a time of its own, so that
// one of them gets through and then the next.
bool Worker::SdrCollided(ReadStep step, u64 now)
{
    const bool collided = step == ReadStep::Failed && sdr_.Code() == kBmcReservationLost;
    sdrCollisions_ = collided ? sdrCollisions_ + 1 : 0;
    if (sdrCollisions_ == 0 || sdrCollisions_ > kSdrCollisionsMax)
        return false;
    const u64 mixed = (now * 31 + static_cast<u64>(getpid())) * 0x9e3779b97f4a7c15;
    dueMs_[kSdrTask] = now + kSdrAgainMs + (mixed >> 32) % (sdrCollisions_ * kSdrAgainMs);
    return true;
}

void Worker::EndSdr(ReadStep step, u64 now)
{
    running_[kSdrTask] = false;
    if (SdrCollided(step, now))
        return;
    dueMs_[kSdrTask] = now + settings_.sdrMs;
    const bool was = sdrKnown_;
    const bool settled = sdrSettled_;
    sdrSettled_ = true;
    if (step == ReadStep::Failed) {
        dueMs_[kSdrTask] = now + std::min(settings_.sdrMs, kTryAgainMs);
        if (was || !settled) {
            Say(LOG_WARNING, "the sensor records cannot be read: " + CodeWords(sdr_.Code()));
            GiveNoSensors(StatusOf(sdr_.Code()));
        }
        sdrKnown_ = false;
        sdr_.Forget();
        return;
    }
    sdrKnown_ = true;
    if (!sdr_.Changed() && was)
        return;
    if (sdr_.Changed()) {
        repository_ = sdr_.Repository();
        Say(LOG_NOTICE,
            "sensor records read: " + std::to_string(repository_.sensors.size()) + " sensors");
        // Those of before stand for something else now.
        if (was)
            GiveNoSensors(kCimFailed);
        logGiven_ = false;  // its records name the sensors
    }
    sensors_.Reset(&repository_);
    running_[kSensorTask] = false;
    dueMs_[kSensorTask] = now;
    dueMs_[kLogTask] = now;
    if (identityStage_ == IdentityStage::Supplies || was) {
        identityStage_ = IdentityStage::Supplies;
        running_[kIdentityTask] = false;
        dueMs_[kIdentityTask] = now;
    }
}

void Worker::EndSensors(u64 now)
{
    running_[kSensorTask] = false;
    dueMs_[kSensorTask] = std::max(now, dueMs_[kSensorTask] + settings_.sensorsMs);
}

void Worker::EndLog(ReadStep step, u64 now)
{
    running_[kLogTask] = false;
    dueMs_[kLogTask] = std::max(now, dueMs_[kLogTask] + settings_.logMs);
    if (step == ReadStep::Done) {
        logMs_ = now;
        ++logReadings_;
        GiveLog();
        return;
    }
    dueMs_[kLogTask] = now + settings_.logMs;
    // A log that is being erased, or a BMC that is busy, is a matter of moments.
    if (log_.Code() == kBmcDenied || now - logMs_ > kStaleMs) {
        news_.changes[kSelPath.text] = FailedInstance(StatusOf(log_.Code()));
        logGiven_ = false;
    }
}

void Worker::StepIdentity(bool begins)
{
    ReadStep step = ReadStep::Done;
    switch (identityStage_) {
    case IdentityStage::Fru:
        if (begins)
            fru_.Start(0, 0);
        step = fru_.Step(&watched_);
        if (step == ReadStep::Failed && BmcIsBusy(fru_.Code()))
            return PauseIdentity();
        if (step == ReadStep::Done || step == ReadStep::Failed) {
            identity_ = FruIdentity(fru_.Facts());
            identityStage_ = IdentityStage::Name;
            running_[kIdentityTask] = false;
        }
        break;
    case IdentityStage::Name:
        if (begins)
            name_.Start();
        step = name_.Step(&watched_);
        if (step == ReadStep::Failed && BmcIsBusy(name_.Code()))
            return PauseIdentity();
        if (step == ReadStep::Done || step == ReadStep::Failed) {
            hostName_ = step == ReadStep::Done ? name_.Name() : "";
            identityKnown_ = true;
            GiveSystem();
            identityStage_ = IdentityStage::Supplies;
            running_[kIdentityTask] = false;
        }
        break;
    case IdentityStage::Supplies:
        if (begins) {
            supply_ = 0;
            NextSupply();
            return;
        }
        step = fru_.Step(&watched_);
        if (step == ReadStep::Done || step == ReadStep::Failed) {
            GiveSupply(supplies_[supply_].first, fru_.Facts());
            ++supply_;
            NextSupply();
        }
        break;
    }
    if (step == ReadStep::Lost)
        Lose(SilentWords());
}

// The stage is begun again later: what the machine is does not change, so it is not made up.
void Worker::PauseIdentity()
{
    running_[kIdentityTask] = false;
    dueMs_[kIdentityTask] = clock_() + kTryAgainMs;
}

// The n-th power supply sensor is the power supply n; its FRU is that of its entity. Where no
// sensor says which entity it belongs to, the n-th FRU of a power supply is that of supply n.
static std::vector<std::pair<u32, SdrFru>> SuppliesOf(const SdrRepository &repository)
{
    std::vector<std::pair<u32, SdrFru>> supplies;
    std::vector<SdrFru> frus;
    std::copy_if(repository.frus.begin(), repository.frus.end(), std::back_inserter(frus),
                 [](const SdrFru &fru) { return fru.entityId == kEntityPowerSupply; });
    u32 index = 0;
    for (const SdrSensor &sensor : repository.sensors) {
        if (sensor.type != kTypePowerSupply || sensor.eventType == kSdrEventThreshold ||
            sensor.eventType == kSdrEventRedundancy)
            continue;
        ++index;
        for (const SdrFru &fru : frus) {
            if (fru.entityId == sensor.entityId && fru.entityInstance == sensor.entityInstance) {
                supplies.emplace_back(index, fru);
                break;
            }
        }
    }
    if (supplies.empty()) {
        for (index = 0; index < frus.size(); ++index)
            supplies.emplace_back(index + 1, frus[index]);
    }
    return supplies;
}

// Begins the next supply's FRU, or ends the task.
void Worker::NextSupply()
{
    if (supply_ == 0) {
        supplies_ = SuppliesOf(repository_);
        std::set<u32> gone = suppliesGiven_;
        for (const auto &[index, fru] : supplies_)
            gone.erase(index);
        for (u32 index : gone) {
            news_.changes[PowerSupplyKey(index)] = std::nullopt;
            suppliesGiven_.erase(index);
        }
    }
    if (supply_ < supplies_.size()) {
        fru_.Start(supplies_[supply_].second.deviceId, supplies_[supply_].second.lun);
        return;
    }
    running_[kIdentityTask] = false;
    dueMs_[kIdentityTask] = kNever;
}

// ---- what the store is given ----

void Worker::GiveSystem()
{
    const CimStatus known = identityKnown_ ? kCimOk : kCimFailed;
    const CimStatus power = power_ == Power::Unknown  ? kCimFailed
                            : power_ == Power::Denied ? kCimAccessDenied
                                                      : kCimOk;
    powerGiven_ = true;
    news_.changes[kSystemClass] = Instance{
        kCimOk,
        {{kPropertyPowerStatus, power, power_ == Power::On ? kPowerStatusOn : kPowerStatusOff},
         {kPropertyServiceTag, known, identity_.serviceTag},
         {kPropertyDescription, known, identity_.description},
         {kPropertyHostName, known, hostName_},
         {kPropertyOem, known, identity_.oem}}};
}

// The readings that changed, once all are there: now and then during a round, and at its end.
void Worker::GiveSensors(u64 now, bool roundEnded)
{
    if (!sensors_.Complete() || (!roundEnded && now < sensorsGivenMs_ + kTogetherMs))
        return;
    sensorsGivenMs_ = now;
    for (u32 i : sensors_.TakeChanged())
        news_.changes[SensorKey(i + 1)] =
            SensorInstance(i + 1, repository_.sensors[i], sensors_.Reading(i));
    for (u32 index = sensors_.Count() + 1; index <= sensorsGiven_; ++index)
        news_.changes[SensorKey(index)] = std::nullopt;
    sensorsGiven_ = sensors_.Count();
}

// Clients find the first sensor failing, and do not take the machine for one without sensors.
void Worker::GiveNoSensors(CimStatus status)
{
    sensorsGiven_ = std::max(sensorsGiven_, 1u);
    for (u32 index = 1; index <= sensorsGiven_; ++index)
        news_.changes[SensorKey(index)] = FailedInstance(status);
}

void Worker::GiveLog()
{
    const std::vector<SelRecord> &records = log_.Records();
    const u32 count = static_cast<u32>(records.size());
    for (u32 i = logGiven_ ? log_.FirstNew() : 0; i < count; ++i)
        news_.changes[SelRecordKey(i + 1)] = SelRecordInstance(i + 1, records[i], repository_);
    for (u32 number = count + 1; number <= recordsGiven_; ++number)
        news_.changes[SelRecordKey(number)] = std::nullopt;
    if (!logGiven_ || count != recordsGiven_)
        news_.changes[kSelPath.text] = SelLogInstance(count);
    recordsGiven_ = count;
    logGiven_ = true;
}

void Worker::GiveSupply(u32 index, const FruFacts &facts)
{
    if (facts.hasWattage) {
        news_.changes[PowerSupplyKey(index)] = PowerSupplyInstance(index, facts.wattage);
        suppliesGiven_.insert(index);
    } else if (suppliesGiven_.erase(index) != 0) {
        news_.changes[PowerSupplyKey(index)] = std::nullopt;
    }
}

void Worker::Say(int priority, const std::string &text)
{
    news_.lines.push_back({priority, "BMC " + IpmiBmcName(settings_) + ": " + text});
}

void Worker::Post()
{
    if (!news_.lost && !news_.settled && news_.changes.empty() && news_.answers.empty() &&
        news_.lines.empty())
        return;
    mailbox_->Post(generation_, std::move(news_));
    news_ = News();
}

// ---- methods ----

void Worker::Begin(const Order &order, u64 now)
{
    action_ = Action();
    action_->order = order;
    action_->stepMs = now;
    action_->phase = order.kind == OrderKind::Clear ? Phase::Reserve : Phase::Check;
}

void Worker::Answer(CimStatus status, u32 result)
{
    news_.answers.push_back({action_->order.ticket, status, result});
    control_->Close();
    action_.reset();
    // What was done may show anywhere.
    const u64 now = clock_();
    if (!running_[kSensorTask])
        dueMs_[kSensorTask] = now;
    if (!running_[kLogTask])
        dueMs_[kLogTask] = now;
}

void Worker::LookAgain(u64 now)
{
    action_->stepMs = now + kLookAgainMs;
}

void Worker::StepAction(u64 now)
{
    const bool begun = action_->sent;
    if (!begun && !mailbox_->Waits(action_->order.ticket)) {
        Say(LOG_NOTICE, std::string(RowOf(action_->order.kind).words) +
                            ": not begun, since nobody waits for it any more");
        control_->Close();
        action_.reset();
        return;
    }
    if (now + (begun ? kAnswerEarlyMs : kLatestBeginMs) >= action_->order.dueMs) {
        const OrderRow &row = RowOf(action_->order.kind);
        Say(LOG_WARNING,
            std::string(row.words) + (begun ? ": not seen done in time" : ": not begun in time"));
        return Answer(kCimFailed, 0);
    }
    switch (action_->phase) {
    case Phase::Check:
        return StepCheck();
    case Phase::Open:
        return StepControlOpen();
    case Phase::Send:
        return StepSend();
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

// A method does not wait for the pause that the session keeps.
bool Worker::HasSession()
{
    if (!open_ && !TryOpen())
        LookAgain(clock_());
    return open_;
}

void Worker::StepCheck()
{
    if (!HasSession())
        return;
    const BmcAnswer answer = AskPower();
    if (!answer.came)
        return Lose(SilentWords());
    if (answer.Denied())
        return Answer(kCimAccessDenied, 0);
    if (!answer.Done(1))
        return LookAgain(clock_());
    const bool on = power_ == Power::On;
    if (on != RowOf(action_->order.kind).needsOn)
        return Answer(kCimOk, kMethodNotApplicable);
    action_->phase = Phase::Open;
}

void Worker::StepControlOpen()
{
    std::string why;
    const BmcOpening opening = control_->Open(&why);
    if (opening == BmcOpening::Open) {
        action_->phase = Phase::Send;
        return;
    }
    // Nothing was done so far: once more does no harm.
    if (opening == BmcOpening::Silent && action_->openings++ == 0)
        return;
    Say(LOG_WARNING, std::string(RowOf(action_->order.kind).words) + ": not sent: " + why);
    Answer(kCimFailed, 0);
}

void Worker::StepSend()
{
    const OrderRow &row = RowOf(action_->order.kind);
    action_->sent = true;
    const BmcAnswer answer = control_->Ask({kNetFnChassis, kChassisControl, 1, {row.control}});
    control_->Close();
    if (answer.came && answer.code != kBmcDone) {
        Say(LOG_WARNING, std::string(row.words) + ": refused: " + CodeWords(answer.code));
        return Answer(StatusOf(answer.code), 0);
    }
    action_->answered = answer.came;
    if (!answer.came)
        Say(LOG_WARNING,
            std::string(row.words) + ": sent once and not answered; looking at the power state");
    action_->phase = Phase::Confirm;
}

// Nothing is reported before the power state has been read after the command.
void Worker::StepConfirm()
{
    if (!HasSession())
        return;
    const BmcAnswer answer = AskPower();
    if (!answer.came)
        return Lose(SilentWords());
    if (!answer.Done(1))
        return LookAgain(clock_());
    const OrderRow &row = RowOf(action_->order.kind);
    const bool on = power_ == Power::On;
    if (row.changesState && on == row.needsOn)
        return LookAgain(clock_());  // not yet
    // A reset does not show in the power state: without an answer nobody knows.
    const bool done = action_->answered || row.changesState;
    Say(done ? LOG_NOTICE : LOG_WARNING, std::string(row.words) +
                                             (done ? ": done" : ": nobody knows whether done") +
                                             (on ? "; the power is on" : "; the power is off"));
    Answer(done ? kCimOk : kCimFailed, 0);
}

void Worker::StepReserve()
{
    if (!HasSession())
        return;
    const BmcAnswer answer = watched_.Ask({kNetFnStorage, kReserveSel, 0, {}});
    if (!answer.came)
        return Lose(SilentWords());
    if (answer.Denied())
        return Answer(kCimAccessDenied, 0);
    if (!answer.Done(2))
        return LookAgain(clock_());
    action_->reservation = BmcWord(answer.data);
    action_->phase = Phase::Erase;
}

void Worker::StepErase()
{
    const bool begin = action_->phase == Phase::Erase;
    const BmcAnswer answer =
        watched_.Ask({kNetFnStorage,
                      kClearSel,
                      6,
                      {LowByte(action_->reservation), HighByte(action_->reservation), 'C', 'L', 'R',
                       begin ? kEraseBegin : kEraseStatus}});
    if (!answer.came) {
        Lose(SilentWords());
        Say(LOG_WARNING, "clearing the log: not answered");
        return Answer(kCimFailed, 0);
    }
    if (answer.Denied())
        return Answer(kCimAccessDenied, 0);
    // Somebody else's reservation ended ours.
    if (answer.code == kBmcReservationLost && begin)
        action_->phase = Phase::Reserve;
    if (!answer.Done(1))
        return LookAgain(clock_());
    action_->sent = true;
    if ((answer.data[0] & 0xf) != kEraseComplete) {
        action_->phase = Phase::Erasing;
        return LookAgain(clock_());
    }
    action_->phase = Phase::Reread;
    action_->readings = logReadings_;
    log_.Forget();
    running_[kLogTask] = false;
    dueMs_[kLogTask] = clock_();
    LookAgain(clock_());
}

// The log is in the store before the answer is given.
void Worker::StepReread()
{
    if (logReadings_ == action_->readings) {
        action_->stepMs = clock_() + 1;
        return;
    }
    Say(LOG_NOTICE, "the log was cleared");
    Answer(kCimOk, 0);
}
