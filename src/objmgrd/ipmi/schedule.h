// SPDX-License-Identifier: Apache-2.0
// schedule.h -- what is read from the BMC when.
//
// The power state when it is due; then the sensor records and the sensors until all were read once;
// then, in turn, what is due of: sensor records, sensors, log, identity. Each step sends one
// request at most. What was read goes to the publication.
#ifndef OBJMGRD_IPMI_SCHEDULE_H
#define OBJMGRD_IPMI_SCHEDULE_H

#include "objmgrd/ipmi/identity_reader.h"
#include "objmgrd/ipmi/poll_session.h"
#include "objmgrd/ipmi/sdr_file.h"
#include "objmgrd/ipmi/settings.h"

class Schedule
{
public:
    // All of them must outlive this object.
    Schedule(const IpmiSettings *settings, PollSession *session, Publication *publication,
             BackgroundClock clock);

    // Everything has to be read afresh.
    void Forget(u64 now);
    // One step of what is due. 0: something was; otherwise after how many milliseconds something
    // will be. A request without an answer is for the owner of the session to see.
    u32 Step(u64 now);
    // All that there is has been read once.
    bool IsSettled() const { return sdrSettled_ && (!sdrKnown_ || sensorsGiven_); }

    // ---- for methods ----
    // Asks for the power state and publishes it.
    BmcAnswer AskPower();
    // A method was done, which may show anywhere.
    void LookEverywhere(u64 now);
    // The log was erased: reads all of it again.
    void RereadLog(u64 now);
    // How often the log was read to its end.
    u32 LogReadings() const { return logReadings_; }

private:
    enum Task : u32 { kSdrTask, kSensorTask, kLogTask, kIdentityTask, kTaskCount };

    bool IsReady(Task task) const;
    void StepTask(Task task, u64 now);
    void StepSdr(bool begins, u64 now);
    void StepSensors(u64 now);
    void SayHowFar(u64 now);
    bool WantsGiving() const;
    bool IsGiveDue(u64 now) const;
    void GiveSensors(u64 now);
    bool IsTaskDue(Task task, u64 now) const;
    u64 DueOf(Task task) const;
    void StepLog(bool begins, u64 now);
    void StepIdentity(u64 now);
    bool SdrCollided(ReadStep step, u64 now);
    void EndSdr(ReadStep step, u64 now);
    void SdrFailed(u64 now);
    void SayWhatWasSkipped();
    void RecallSdr();
    void KeepSdr();
    void EndLog(ReadStep step, u64 now);

    const IpmiSettings &settings_;
    PollSession *const session_;
    Publication *const publication_;
    const BackgroundClock clock_;

    const u32 lostMs_;

    // ---- readers and what they found
    SdrFile file_;
    SdrStored recalled_;     // what an earlier process read, until it is taken
    std::string keepFault_;  // the last one that was said
    SdrReader sdr_;
    SdrRepository repository_;
    SensorReader sensors_;
    SelReader log_;
    IdentityReader identity_;

    // ---- when
    u64 nextPowerMs_ = 0;
    u64 powerMs_ = 0;  // it was read last
    u64 logMs_ = 0;    // it was read last
    u64 sensorsGivenMs_ = 0;
    u64 progressMs_ = 0;  // what was read of the sensors is said next, where not all were
    u64 dueMs_[kTaskCount] = {};
    bool running_[kTaskCount] = {};
    u32 nextTask_ = 0;
    u32 logReadings_ = 0;

    // ---- what holds since the last Forget
    bool sdrKnown_ = false;
    bool powerFaultSaid_ = false;  // since it was known
    bool fileRead_ = false;        // since the start
    bool ledBackSaid_ = false;     // of the log, as it is
    bool sensorsGiven_ = false;    // all of them, since the repository was read
    bool logWanted_ = false;       // a method waits for the log
    bool sdrSettled_ = false;      // it is known, or known not to be had
    u32 sdrCollisions_ = 0;        // readings in a row that other readers spoilt
};

#endif
