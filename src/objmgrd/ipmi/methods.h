// SPDX-License-Identifier: Apache-2.0
// methods.h -- what is done to the machine, once: power commands and clearing the log.
//
// One order at a time, in steps of one request. A power command is sent in a session of its own,
// on which no request is repeated by itself. Opening it executes nothing, so that is tried in short
// attempts for as long as there is time; it stays open for a moment, for the next command. A
// command is said to be done when the power state says so. Before it is sent, the power state is
// looked at, and whether anybody still waits.
//
// A command that is not answered was lost, or its answer was. A power on or off says which state is
// wanted, so it is sent again, in a new session, when the power state has not followed for a third
// of the method's time. A reset or a cycle is sent once, whatever happens: nothing tells whether
// the BMC has it. Sending the same packet again would be no better, since not every BMC drops a
// session sequence number that it has accepted before (OpenIPMI's acts twice). Nor does it prove
// anything that the BMC answers what was asked later: it may still be at the reset.
#ifndef OBJMGRD_IPMI_METHODS_H
#define OBJMGRD_IPMI_METHODS_H

#include "objmgrd/ipmi/schedule.h"

// A power state that is waited for, and an erasure, is looked at again after this.
constexpr u32 kLookAgainMs = 100;
// Between two openings of the session for a power command whatever is due is read.
constexpr u32 kOpeningPauseMs = 20;
// A method is not begun later than this before its answer is due, and is answered this much early.
constexpr u32 kLatestBeginMs = 500;
constexpr u32 kAnswerEarlyMs = 150;
// The session for power commands is closed so long after the last one.
constexpr u32 kControlHeldMs = 10000;
// An unanswered power on or off is sent again so often, each time after that part of the method's
// time.
constexpr u32 kRepeatsMax = 2;
constexpr u32 kRepeatPart = 3;

class Methods
{
public:
    // All of them must outlive this object. control: the session for power commands.
    Methods(const IpmiSettings *settings, PollSession *session, Bmc *control, Schedule *schedule,
            Publication *publication, Mailbox *mailbox, BackgroundClock clock)
        : settings_(*settings), session_(session), control_(control), schedule_(schedule),
          publication_(publication), mailbox_(mailbox), clock_(clock)
    {
    }

    bool IsBusy() const { return action_.has_value(); }
    // When the next step is due; IsBusy only.
    u64 StepMs() const { return action_->stepMs; }
    void Begin(const Order &order, u64 now);
    // Ends a method that is too late, or that nobody waits for and that was not sent.
    void EndIfLate(u64 now);
    // The next step asks through the ordinary session, which has to be open.
    bool NeedsSession() const;
    void Step();
    // Postpones the next step for a moment.
    void LookAgain();
    // Between two methods: gives back what is held for the next one, when that does not come.
    void Rest(u64 now);

private:
    enum class Phase : u8 {
        Check,
        Try,  // whether the session that is open is good
        Open,
        LookBack,  // before a command is sent again
        Send,
        Sent,
        Confirm,
        Reserve,
        Erase,
        Erasing,
        Reread
    };

    struct Action {
        Order order;
        u64 stepMs = 0;         // the next step is due
        u32 openings = 0;       // of the control session, in vain
        u32 earlyFailures = 0;  // ... before their time was over
        std::string why;        // it could not be begun so far
        u32 readings = 0;       // Reread: complete readings of the log before
        u16 reservation = 0;
        Phase phase = Phase::Check;
        bool sent = false;      // the command was sent
        bool answered = false;  // ... and answered, so that it was accepted
        u64 sentMs = 0;         // ... the last time
        u32 repeats = 0;
    };

    void StepCheck();
    void StepTry();
    void StepOpen();
    u32 OpeningLimitMs() const;
    void StepSend();
    void StepSent(u32 waitMs);
    void CloseControl();
    u32 AnswerLimitMs() const;
    bool MayRepeat() const;
    void Repeat();
    void StepLookBack();
    bool SeemsDone() const;
    void StepConfirm();
    void Confirm();
    void StepReserve();
    void StepErase();
    void StepReread();
    void Say(int priority, std::string_view text);
    void Answer(CimStatus status, u32 result);
    void End();

    const IpmiSettings &settings_;
    PollSession *const session_;
    Bmc *const control_;
    Schedule *const schedule_;
    Publication *const publication_;
    Mailbox *const mailbox_;
    const BackgroundClock clock_;
    std::optional<Action> action_;
    bool controlOpen_ = false;
    u64 controlUntilMs_ = 0;
};

#endif
