// SPDX-License-Identifier: Apache-2.0
// bmc_freeipmi.h -- conversations with a BMC through libfreeipmi.
//
// The one file that knows the library's sessions. What is known about them and answered here:
//   - A command that is not answered within the retransmission time-out is sent and carried out
//     again; the session time-out is looked at only after that. So a session for control has a
//     retransmission time-out that is never reached: a timer interrupts the waiting before.
//   - That time-out is said when a session is opened, before anything is known about the network.
//     So how long the BMC takes is asked before (bmc_probe.h), opening is tried in parts that
//     follow from it, and later the timer interrupts a waiting that is longer than answers take
//     (answer_time.h); then the request is sent again. The library drops answers to what was sent
//     before; so its own time is long, or late answers would be dropped for ever.
//   - The library's session time-out also counts the pauses between commands, and with the
//     wall clock. It is long here; the timer sets the limit that counts.
//   - It gives an opening up when an answer comes twice: see answers_once.h.
//   - Waiting for the kernel's driver has a limit of 60 s, which the same timer shortens.
// All functions of one object are called from one thread.
#ifndef OBJMGRD_IPMI_BMC_FREEIPMI_H
#define OBJMGRD_IPMI_BMC_FREEIPMI_H

#include "objmgrd/ipmi/bmc.h"
#include "objmgrd/ipmi/opening_allowance.h"
#include "objmgrd/ipmi/settings.h"
#include "objmgrd/password.h"

#include <memory>

enum class BmcUse : u8 {
    Poll,     // a request without an answer is sent again
    Control,  // no request is ever sent a second time
};

class FreeIpmiBmc : public Bmc
{
public:
    // Settings and password are read at each Open. allowance: of all sessions at the BMC together;
    // where it allows no opening, Open fails at once, as the one before it did.
    FreeIpmiBmc(std::shared_ptr<const IpmiSettings> settings,
                std::shared_ptr<const Password> password, BmcUse use,
                std::shared_ptr<OpeningAllowance> allowance = std::make_shared<OpeningAllowance>());
    ~FreeIpmiBmc() override;
    FreeIpmiBmc(const FreeIpmiBmc &) = delete;
    FreeIpmiBmc &operator=(const FreeIpmiBmc &) = delete;

    BmcOpening Open(std::string *why, u32 limitMs = 0) override;
    void Close() override;
    BmcAnswer Ask(const BmcRequest &request) override;
    // On a thread of its own.
    void AskAside(const BmcRequest &request) override;
    bool TakeAnswer(BmcAnswer *answer, u32 waitMs) override;

private:
    struct State;
    State *state_;
};

#endif
