// SPDX-License-Identifier: Apache-2.0
// poll_session.h -- the session that everything is read through: opened, lost, and opened again.
//
// To the readers it is the BMC: Ask notes when good answers came, and asks a BMC that is busy at
// the moment (node busy: nothing was done) again a few times, unless a method waits.
#ifndef OBJMGRD_IPMI_POLL_SESSION_H
#define OBJMGRD_IPMI_POLL_SESSION_H

#include "objmgrd/background/background_provider.h"
#include "objmgrd/ipmi/bmc.h"

// Pauses before the session is opened again. After a loss the first try comes at once; those after
// it follow ever more slowly. A BMC that refuses us is asked less often, so that it does not lock
// the user out.
constexpr u32 kRetryFirstMs = 500;
constexpr u32 kRetryMostMs = 8000;
constexpr u32 kRefusedFirstMs = 2000;
constexpr u32 kRefusedMostMs = 30000;
// A request that the BMC is too busy for is sent so many times in all.
constexpr u32 kBusyTries = 6;

class PollSession : public Bmc
{
public:
    // All of them must outlive this object.
    PollSession(Bmc *bmc, Mailbox *mailbox, BackgroundClock clock)
        : bmc_(bmc), mailbox_(mailbox), clock_(clock)
    {
    }

    bool IsOpen() const { return open_; }
    // When the next opening is due, where there is no session.
    u64 NextOpenMs() const { return nextOpenMs_; }
    BmcOpening Open(std::string *why, u32 limitMs = 0) override;
    void Close() override;
    BmcAnswer Ask(const BmcRequest &request) override;
    // Whether a request since the last call was not answered: the session is no good any more.
    bool TakeSilence();
    // After that: closes the session and says when the next one is due.
    void Lose();
    // How long the BMC takes for an answer, and for opening a session, when nothing is lost on the
    // way: the quickest of late. 0: not known.
    u32 AnswerMs() const { return answerMs_; }
    u32 OpeningMs() const { return openingMs_; }
    // Another session was opened in this time.
    void Opened(u64 tookMs);
    // The BMC is in order: the pauses begin anew.
    void Works() { failures_ = 0; }

private:
    Bmc *const bmc_;
    Mailbox *const mailbox_;
    const BackgroundClock clock_;
    bool open_ = false;
    u32 answerMs_ = 0;
    u32 openingMs_ = 0;
    bool silent_ = false;  // a request was not answered
    u64 nextOpenMs_ = 0;
    u32 failures_ = 0;  // since the BMC was last in order
    u32 refusals_ = 0;  // in a row: a single one may be an answer that was damaged on its way
};

#endif
