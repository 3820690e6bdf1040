// SPDX-License-Identifier: Apache-2.0
// schedule.cpp -- see schedule.h.
#include "objmgrd/ipmi/schedule.h"

#include "objmgrd/ipmi/sensor_place.h"

#include <algorithm>
#include <cstdio>
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
constexpr u32 kSkippedLinesMax = 16;

// Of Get Chassis Status (IPMI 2.0, section 28.2).
constexpr u8 kPowerIsOn = 0x01;

}  // namespace

Schedule::Schedule(const IpmiSettings *settings, PollSession *session, Publication *publication,
                   BackgroundClock clock)
    : settings_(*settings), session_(session), publication_(publication), clock_(clock),
      identity_(publication)
{
    Forget(0);
}

void Schedule::Forget(u64 now)
{
    powerMs_ = now;
    nextPowerMs_ = now;
    sdrKnown_ = false;
    sdrSettled_ = false;
    logMs_ = now;
    identity_.Start();
    for (u32 task = 0; task < kTaskCount; ++task) {
        dueMs_[task] = now;
        running_[task] = false;
    }
}

BmcAnswer Schedule::AskPower()
{
    const BmcAnswer answer = session_->Ask({kNetFnChassis, kGetChassisStatus, 0, {}});
    const u64 now = clock_();
    nextPowerMs_ = now + settings_.powerMs;
    if (!answer.came)
        return answer;
    BmcPower power = publication_->Power();
    if (answer.Done(1)) {
        power = (answer.data[0] & kPowerIsOn) != 0 ? BmcPower::On : BmcPower::Off;
        powerMs_ = now;
        session_->Works();
    } else if (answer.Denied()) {
        power = BmcPower::Denied;
        powerMs_ = now;
    } else if (now - powerMs_ > kStaleMs) {
        power = BmcPower::Unknown;
    }
    publication_->SetPower(power);
    return answer;
}

bool Schedule::IsReady(Task task) const
{
    switch (task) {
    case kSensorTask:
        return sdrKnown_;
    case kLogTask:
        return sdrSettled_;  // its records name the sensors
    case kIdentityTask:
        return !identity_.NeedsRepository() || sdrSettled_;
    default:
        return true;
    }
}

u32 Schedule::Step(u64 now)
{
    if (now >= nextPowerMs_) {
        AskPower();
        return 0;
    }
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

void Schedule::StepTask(Task task, u64 now)
{
    const bool begins = !running_[task];
    running_[task] = true;
    switch (task) {
    case kSdrTask:
        return StepSdr(begins, now);
    case kSensorTask:
        return StepSensors(begins, now);
    case kLogTask:
        return StepLog(begins, now);
    case kIdentityTask:
    case kTaskCount:
        return StepIdentity(now);
    }
}

void Schedule::LookEverywhere(u64 now)
{
    for (Task task : {kSensorTask, kLogTask}) {
        if (!running_[task])
            dueMs_[task] = now;
    }
}

// ---- sensor records ----

void Schedule::StepSdr(bool begins, u64 now)
{
    if (begins)
        sdr_.Start();
    const ReadStep step = sdr_.Step(session_);
    if (step == ReadStep::Done || step == ReadStep::Failed)
        EndSdr(step, now);
}

// Readers end each other's reservations. All begin again, each after a time of its own, so that
// one of them gets through and then the next.
bool Schedule::SdrCollided(ReadStep step, u64 now)
{
    const bool collided = step == ReadStep::Failed && sdr_.Code() == kBmcReservationLost;
    sdrCollisions_ = collided ? sdrCollisions_ + 1 : 0;
    if (sdrCollisions_ == 0 || sdrCollisions_ > kSdrCollisionsMax)
        return false;
    const u64 mixed = (now * 31 + static_cast<u64>(getpid())) * 0x9e3779b97f4a7c15;
    dueMs_[kSdrTask] = now + kSdrAgainMs + (mixed >> 32) % (sdrCollisions_ * kSdrAgainMs);
    return true;
}

void Schedule::SdrFailed(u64 now)
{
    dueMs_[kSdrTask] = now + std::min(settings_.sdrMs, kTryAgainMs);
    if (sdrKnown_ || !sdrSettled_) {
        publication_->Say(LOG_WARNING,
                          "the sensor records cannot be read: " + BmcCodeWords(sdr_.Code()));
        publication_->GiveNoSensors(BmcStatusOf(sdr_.Code()));
    }
    sdrKnown_ = false;
    sdrSettled_ = true;
    sdr_.Forget();
}

void Schedule::SayWhatWasSkipped()
{
    u32 lines = 0;
    for (const SdrSkipped &skipped : sdr_.Skipped()) {
        if (lines++ == kSkippedLinesMax)
            return;
        char text[80];
        snprintf(text, sizeof text, "sensor record 0x%04x is left out: from byte %u on, ",
                 unsigned{skipped.id}, unsigned{skipped.offset});
        publication_->Say(LOG_WARNING,
                          text + (skipped.code != 0 ? BmcCodeWords(skipped.code)
                                                    : std::string("there is no more")));
    }
}

void Schedule::EndSdr(ReadStep step, u64 now)
{
    running_[kSdrTask] = false;
    if (SdrCollided(step, now))
        return;
    if (step == ReadStep::Failed)
        return SdrFailed(now);
    dueMs_[kSdrTask] = now + settings_.sdrMs;
    const bool was = sdrKnown_;
    sdrKnown_ = true;
    sdrSettled_ = true;
    if (!sdr_.Changed() && was)
        return;
    if (sdr_.Changed()) {
        repository_ = sdr_.Repository();
        publication_->Say(LOG_NOTICE, "sensor records read: " +
                                          std::to_string(repository_.sensors.size()) + " sensors");
        SayWhatWasSkipped();
        const std::string without = SensorsWithoutPlace(repository_);
        if (!without.empty())
            publication_->Say(LOG_NOTICE, "not shown, since no target fits: " + without);
        // Those of before stand for something else now.
        if (was)
            publication_->GiveNoSensors(kCimFailed);
        publication_->ForgetLog();  // its records name the sensors
    }
    sensors_.Reset(&repository_);
    running_[kSensorTask] = false;
    dueMs_[kSensorTask] = now;
    dueMs_[kLogTask] = now;
    if (identity_.NeedsRepository() || was) {
        identity_.StartSupplies();
        dueMs_[kIdentityTask] = now;
    }
}

// ---- sensors ----

void Schedule::StepSensors(bool begins, u64 now)
{
    if (begins) {
        sensors_.StartRound();
        dueMs_[kSensorTask] = now;
    }
    const ReadStep step = sensors_.Step(session_);
    if (step == ReadStep::Lost)
        return;
    const bool ended = step == ReadStep::Done;
    if (sensors_.Complete() && (ended || now >= sensorsGivenMs_ + kTogetherMs)) {
        sensorsGivenMs_ = now;
        publication_->GiveSensors(&sensors_, repository_);
    }
    if (!ended)
        return;
    running_[kSensorTask] = false;
    dueMs_[kSensorTask] = std::max(now, dueMs_[kSensorTask] + settings_.sensorsMs);
}

// ---- the log ----

void Schedule::RereadLog(u64 now)
{
    log_.Forget();
    running_[kLogTask] = false;
    dueMs_[kLogTask] = now;
}

void Schedule::StepLog(bool begins, u64 now)
{
    if (begins) {
        log_.Start();
        dueMs_[kLogTask] = now;
    }
    const ReadStep step = log_.Step(session_);
    if (step == ReadStep::Done || step == ReadStep::Failed)
        EndLog(step, now);
}

void Schedule::EndLog(ReadStep step, u64 now)
{
    running_[kLogTask] = false;
    if (step == ReadStep::Done) {
        dueMs_[kLogTask] = std::max(now, dueMs_[kLogTask] + settings_.logMs);
        logMs_ = now;
        ++logReadings_;
        publication_->GiveLog(log_, repository_);
        return;
    }
    // What cannot be read took more requests than a look that finds nothing new.
    const bool forLong = now - logMs_ > kStaleMs;
    dueMs_[kLogTask] =
        now + (forLong && !BmcIsBusy(log_.Code()) ? std::max(settings_.logMs, kTryAgainMs)
                                                  : settings_.logMs);
    // A log that is being erased, or a BMC that is busy, is a matter of moments.
    if (log_.Code() == kBmcDenied || forLong)
        publication_->GiveNoLog(BmcStatusOf(log_.Code()));
}

// ---- identity ----

void Schedule::StepIdentity(u64 now)
{
    const ReadStep step = identity_.Step(session_, repository_);
    if (step == ReadStep::Failed)
        dueMs_[kIdentityTask] = now + kTryAgainMs;
    else if (step == ReadStep::Done)
        dueMs_[kIdentityTask] = kNever;
}
