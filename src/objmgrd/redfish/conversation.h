// SPDX-License-Identifier: Apache-2.0
// conversation.h -- all conversation with a Redfish service: what is read when, what is done once.
//
//   1. an order, before everything else
//   2. the power state, when it is due, also in the middle of a reading
//   3. the session, where there is none, with growing pauses
//   4. what is due of: discovery (which sensors there are, who the machine is), sensors, log
//
// A sensor that cannot be read keeps its value for kMissedRounds rounds or kOldMs, then it fails;
// the others stay. The service is lost when it has given no answer at all for the time that the
// settings say; one that is only slow never is.
#ifndef OBJMGRD_REDFISH_CONVERSATION_H
#define OBJMGRD_REDFISH_CONVERSATION_H

#include "objmgrd/background/conversation.h"
#include "objmgrd/background/mailbox.h"
#include "objmgrd/redfish/log_map.h"
#include "objmgrd/redfish/reading.h"
#include "objmgrd/redfish/session_file.h"
#include "objmgrd/redfish/system_map.h"

#include <functional>
#include <set>

constexpr u32 kMissedRounds = 3;
constexpr u32 kOldMs = 15000;
// A controller that has just started shows empty collections for a while.
constexpr u32 kEmptyMs = 60000;

// Pauses before the service is asked again. One that refuses us is asked less often, so that it
// does not lock the user out.
constexpr u32 kRedfishRetryFirstMs = 500;
constexpr u32 kRedfishRetryMostMs = 8000;
constexpr u32 kRedfishRefusedFirstMs = 2000;
constexpr u32 kRedfishRefusedMostMs = 300000;

// Parts of the service that are heard each for itself (BackgroundOptions::parts).
// The groups of sensors stand in the order of SensorGroup. A group was heard when the oldest of the
// readings that are shown was asked for.
enum class RedfishPart : u16 {
    Power,
    Log,
    Identity,
    Temperatures,
    Voltages,
    Currents,
    Fans,
    States
};
inline constexpr const char *kRedfishParts[] = {"power",    "log",      "identity", "temperatures",
                                                "voltages", "currents", "fans",     "states"};
RedfishPart RedfishPartOf(SensorKind kind);

class RedfishConversation : public Conversation
{
public:
    using Clock = u64 (*)();

    // The mailbox must outlive this.
    RedfishConversation(const RedfishSettings &settings, std::shared_ptr<const Password> password,
                        Mailbox *mailbox, Clock clock);
    u32 Step() override;
    void End() override;

private:
    // What is read of one chassis.
    struct Plan {
        std::string link;
        bool asBefore = false;  // its document could not be read with the others at discovery
        Listing sensors;
        Listing fans;
        Listing supplies;
        Listing batteries;
        std::string thermalSubsystem;
        std::string powerSubsystem;
        std::string thermal;
        std::string power;
        SensorChoice choice;
    };
    // A sensor that clients see.
    struct Shown {
        Sensor sensor;
        u64 goodMs = 0;   // it was read last
        u32 missed = 0;   // rounds since
        u64 askedMs = 0;  // not before this
    };
    // Check, Watch: a request is to be sent at stepMs. Checking, Sending, Watching: it is on its
    // way. Reread: the log is to be read.
    enum class Phase : u8 { Check, Checking, Sending, Watch, Watching, Reread };
    struct Action {
        Order order;
        Phase phase = Phase::Check;
        u64 stepMs = 0;
        ResetChoice choice;
        std::string target;         // where it is sent
        std::string onType = "On";  // of a cycle by two steps
        bool second = false;        // ... the second of them
        bool sent = false;
        bool answered = false;  // ... and the service accepts
        u64 acceptedMs = 0;
        bool leftOn = false;    // the state was seen to leave On since
        std::string monitor;    // address of the task or its monitor; "": none
        bool taskBusy = false;  // it is being asked
        bool taskDone = false;
        std::string lastReset;      // LastResetTime before
        std::set<std::string> old;  // the log's entries before
    };

    // ---- the session
    bool Connect();
    bool LogIn();
    bool LoginStillCounts();
    void LogOut(const RememberedSession &session, u32 timeoutMs);
    void DeleteForgotten();
    void Refuse(const std::string &why, bool mayLock);
    void Lose(const std::string &why);
    void Forget();
    std::string FaultWords(const Got &got);

    // ---- reading
    void Between();
    void ReadSystem();
    void TakeSystem(Got &&got);
    bool Discover();
    bool ChooseSystem(const Listed &systems);
    std::vector<Plan> PlansOf(const std::vector<ChassisDocument> &all,
                              const std::vector<size_t> &places,
                              const std::function<bool(const std::string &link)> &mayBeThere) const;
    // What a reading of the plans brought besides documents.
    struct Tally {
        std::set<std::string> unread;   // names of documents and listings that could not be read
        std::set<std::string> denied;   // of these, 403
        std::set<std::string> missing;  // of these, 404
        std::set<std::string> unchanged;
        bool unsure = false;  // something may be there that did not come
        u32 gone = 0;
        u32 refused = 0;               // members without an address that may be asked for
        std::vector<std::string> cut;  // listings with further pages that are not read
    };
    void KeepChoice(Plan *plan, const Tally &tally) const;
    std::vector<ChassisView> ReadPlans(std::vector<Plan> *plans, bool again,
                                       const SensorGroups &due, Documents *documents, Tally *tally,
                                       std::vector<Listing> *others = nullptr,
                                       std::vector<Listed> *otherListed = nullptr);
    void TakeDiscovered(std::vector<Plan> plans, std::vector<Sensor> found,
                        const std::set<std::string> &unread, const std::set<std::string> &denied,
                        u64 now);
    void SayUnread(const Tally &tally);
    void ReadSensors();
    void ChooseLogService(const std::vector<Listed> &listed, const std::vector<LogOwner> &owners,
                          bool unsure);
    void ReadLog(bool all);
    void EndLog(bool read, CimStatus status);
    bool LogChanged(bool *known);
    std::string EntryKey(const LogEntry &entry) const;

    // ---- what clients are given
    void Give(const std::string &key, Instance instance, RedfishPart part);
    void Heard(RedfishPart part, u64 ms);
    void HeardSensors();
    u32 RateMs(u32 group) const;
    u64 NextSensorsMs() const;
    void Remove(const std::string &key);
    void GiveSystem();
    void GiveSensors();
    void GiveLog();
    void Say(int priority, std::string text);
    void Post();

    // ---- orders
    void StepOrders();
    void StartCheck();
    void Check(Got &&got);
    void CheckClear();
    void Send(const std::string &type);
    void TakeSent(HttpAnswer &&answer);
    void Watch();
    void TakeTask(HttpAnswer &&answer);
    void EndIfDone();
    void TakeReread(bool read);
    void Answer(CimStatus status, u32 result);

    const RedfishSettings settings_;
    const std::shared_ptr<const Password> password_;
    Mailbox *const mailbox_;
    const Clock clock_;
    Fetcher fetcher_;
    News news_;
    u32 generation_ = 0;
    std::map<std::string, std::string> given_;  // what clients see, by key

    // ---- the session
    bool connected_ = false;
    bool started_ = false;
    u64 nextConnectMs_ = 0;
    u32 failures_ = 0;
    u32 refusals_ = 0;
    bool freshLogin_ = false;  // no request has succeeded with it yet
    bool fileSaid_ = false;
    RememberedSession session_;
    ServiceRoot root_;

    // ---- the machine
    std::string systemLink_;
    std::vector<Plan> plans_;
    std::vector<Shown> shown_;
    std::string unreadSaid_;  // what the log says about resources that cannot be read
    EtagBook etags_;
    ResetAction reset_;
    SystemFacts facts_;
    HostPower power_ = HostPower::Unknown;
    bool powerDenied_ = false;
    bool systemSeen_ = false;
    std::string lastReset_;

    // ---- the log
    std::string logService_;  // address of the LogService that was chosen
    std::string logEntries_;  // address of the entries; "": there is no log
    std::string logClear_;
    std::string logEtag_;
    std::string logMark_;  // count and newest entry when it was read
    bool logKnown_ = false;
    bool logTried_ = false;
    bool logUnsure_ = false;  // whether there is one could not be read
    bool logDenied_ = false;
    u64 logGoodMs_ = 0;
    std::vector<LogEntry> log_;
    std::map<std::string, LogEntry> logByLink_;

    // ---- when
    u64 nextPowerMs_ = 0;
    bool powerOnTheWay_ = false;
    u64 powerGoodMs_ = 0;
    u32 powerMissed_ = 0;
    u64 nextDiscoveryMs_ = 0;
    u64 lastDiscoveryMs_ = 0;
    u64 emptySinceMs_ = 0;
    u64 nextSensorsMs_[kSensorGroupCount] = {};
    u64 nextLogMs_ = 0;
    bool settled_ = false;
    bool sensorsRead_ = false;

    std::optional<Action> action_;
};

#endif
