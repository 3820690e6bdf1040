// SPDX-License-Identifier: Apache-2.0
// worker.h -- all conversation with the BMC: what is read when, and what is done once.
//
// A loop of steps, each of which sends one request at most, so that a method never waits for more
// than the request in flight. In this order:
//   1. a method that is ordered
//   2. opening the session, where there is none, with growing pauses
//   3. the power state, when it is due
//   4. in turn, what is due of: sensor records, sensors, log, identity
// What was read goes to the mailbox as changes of the store. What could not be read goes there as
// a status, never as the value from before.
//
// Losing the BMC (no answer to a request, no session) makes everything unknown; it is given again
// once it has been read afresh.
#ifndef OBJMGRD_IPMI_WORKER_H
#define OBJMGRD_IPMI_WORKER_H

#include "objmgrd/background/background_provider.h"
#include "objmgrd/instances.h"
#include "objmgrd/ipmi/fru_reader.h"
#include "objmgrd/ipmi/name_reader.h"
#include "objmgrd/ipmi/sdr_reader.h"
#include "objmgrd/ipmi/sel_reader.h"
#include "objmgrd/ipmi/sensor_reader.h"
#include "objmgrd/ipmi/settings.h"

#include <set>

// Clients are told that there is no answer when nothing good has come for this long, at most 3 s.
constexpr u32 kStaleMs = 2700;

// Pauses before the session is opened again. After a loss the first try comes at once; those after
// it follow ever more slowly. A BMC that refuses us is asked less often, so that it does not lock
// the user out.
constexpr u32 kRetryFirstMs = 500;
constexpr u32 kRetryMostMs = 8000;
constexpr u32 kRefusedFirstMs = 2000;
constexpr u32 kRefusedMostMs = 30000;

// Methods: a power state that is waited for, and an erasure, is looked at again after this.
constexpr u32 kLookAgainMs = 100;
// A request that the BMC is too busy for is sent so many times in all.
constexpr u32 kBusyTries = 6;
// A method is not begun later than this before its answer is due, and is answered this much early.
constexpr u32 kLatestBeginMs = 500;
constexpr u32 kAnswerEarlyMs = 150;

class Worker : public Conversation
{
public:
    using Clock = BackgroundClock;

    // All of them must outlive this object. control: a session on which no request is ever sent
    // twice; opened for one power command each time.
    Worker(const IpmiSettings *settings, Bmc *bmc, Bmc *control, Mailbox *mailbox, Clock clock);

    u32 Step() override;
    // Closes the sessions.
    void End() override;

private:
    // The BMC as the readers see it: notes when good answers came, and asks a BMC that is busy at
    // the moment (node busy: nothing was done) again a few times, unless a method waits.
    class Watched : public Bmc
    {
    public:
        explicit Watched(Worker *worker) : worker_(worker) {}
        BmcOpening Open(std::string *) override { return BmcOpening::Silent; }
        void Close() override {}
        BmcAnswer Ask(const BmcRequest &request) override;

    private:
        Worker *worker_;
    };

    enum Task : u32 { kSdrTask, kSensorTask, kLogTask, kIdentityTask, kTaskCount };

    enum class Power : u8 { Unknown, Denied, On, Off };

    enum class IdentityStage : u8 { Fru, Name, Supplies };

    enum class Phase : u8 { Check, Open, Send, Confirm, Reserve, Erase, Erasing, Reread };

    struct Action {
        Order order;
        u64 stepMs = 0;    // the next step is due
        u32 openings = 0;  // of the control session
        u32 readings = 0;  // Reread: complete readings of the log before
        u16 reservation = 0;
        Phase phase = Phase::Check;
        bool sent = false;     // the command was sent
        bool answered = true;  // ... and answered, so that it was accepted
    };

    // ---- the session
    bool TryOpen();
    void Lose(const std::string &why);
    void Forget(u64 now);
    std::string SilentWords() const;

    // ---- reading
    void ReadPower();
    BmcAnswer AskPower();
    u32 StepTasks(u64 now);
    bool IsReady(Task task) const;
    void StepTask(Task task, u64 now);
    bool SdrCollided(ReadStep step, u64 now);
    void EndSdr(ReadStep step, u64 now);
    void EndSensors(u64 now);
    void EndLog(ReadStep step, u64 now);
    void StepIdentity(bool begins);
    void PauseIdentity();
    void NextSupply();

    // ---- what the store is given
    void GiveSystem();
    void GiveSensors(u64 now, bool all);
    void GiveNoSensors(CimStatus status);
    void GiveLog();
    void GiveSupply(u32 index, const FruFacts &facts);
    void Say(int priority, const std::string &text);
    void Post();

    // ---- methods
    void Begin(const Order &order, u64 now);
    void StepAction(u64 now);
    void StepCheck();
    void StepControlOpen();
    void StepSend();
    void StepConfirm();
    void StepReserve();
    void StepErase();
    void StepReread();
    bool HasSession();
    void LookAgain(u64 now);
    void Answer(CimStatus status, u32 result);

    const IpmiSettings &settings_;
    Bmc *const bmc_;
    Bmc *const control_;
    Mailbox *const mailbox_;
    const Clock clock_;
    Watched watched_{this};
    News news_;
    u32 generation_ = 0;

    // ---- readers and what they found
    SdrReader sdr_;
    SdrRepository repository_;
    SensorReader sensors_;
    SelReader log_;
    FruReader fru_;
    NameReader name_;
    Identity identity_;
    std::string hostName_;
    std::vector<std::pair<u32, SdrFru>> supplies_;  // PowerSupplyIndex and its FRU
    size_t supply_ = 0;                             // the one whose FRU is being read

    // ---- when
    u64 nextOpenMs_ = 0;
    u64 nextPowerMs_ = 0;
    u64 powerMs_ = 0;  // it was read last
    u64 logMs_ = 0;    // it was read last
    u64 sensorsGivenMs_ = 0;
    u64 dueMs_[kTaskCount] = {};
    u32 nextTask_ = 0;

    bool settled_ = false;
    u32 failures_ = 0;  // since the last good power state
    u32 logReadings_ = 0;

    // ---- what the store holds; the first sensor is there from the start, as failed
    std::set<u32> suppliesGiven_;
    u32 sensorsGiven_ = 1;
    u32 recordsGiven_ = 0;

    // ---- what holds for this session, or since the last new generation
    bool open_ = false;
    bool running_[kTaskCount] = {};
    Power power_ = Power::Unknown;
    IdentityStage identityStage_ = IdentityStage::Fru;
    bool powerGiven_ = false;
    bool sdrKnown_ = false;
    bool sdrSettled_ = false;  // it is known, or known not to be had
    u32 sdrCollisions_ = 0;    // readings in a row that other readers spoilt
    bool logGiven_ = false;
    bool identityKnown_ = false;

    std::optional<Action> action_;
};

#endif
