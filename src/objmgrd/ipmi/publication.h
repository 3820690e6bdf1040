// SPDX-License-Identifier: Apache-2.0
// publication.h -- what was read from the BMC becomes instances, and news for the serving side.
//
// It knows what the store holds, so that what is gone there goes here. What could not be read
// becomes a status, never the value from before.
#ifndef OBJMGRD_IPMI_PUBLICATION_H
#define OBJMGRD_IPMI_PUBLICATION_H

#include "objmgrd/background/background_provider.h"
#include "objmgrd/instances.h"
#include "objmgrd/ipmi/fru_map.h"
#include "objmgrd/ipmi/sel_reader.h"
#include "objmgrd/ipmi/sensor_reader.h"

#include <set>
#include <string_view>

enum class BmcPower : u8 { Unknown, Denied, On, Off };

// What clients are told where the BMC answered with this completion code, and the administrator.
CimStatus BmcStatusOf(u8 code);
std::string BmcCodeWords(u8 code);  // "completion code 0xC1"

class Publication
{
public:
    // source: whose lines these are, "BMC 192.0.2.10".
    Publication(std::string source, Mailbox *mailbox)
        : source_(std::move(source)), mailbox_(mailbox)
    {
    }

    // Nothing that was given counts any more: everything is given again.
    void Forget();
    // The BMC is lost; why: for the administrator. Of what was not handed over, what is gone, lines
    // and answers stay.
    void Lose(const std::string &why);
    // Everything has been read once.
    void Settle() { news_.settled = true; }
    void Say(int priority, std::string_view text);
    void Answer(const ProviderAnswer &answer) { news_.answers.push_back(answer); }
    // Hands over what there is, read in that generation.
    void Post(u32 generation);

    // ---- the system ----
    void SetIdentity(const Identity &identity, const std::string &hostName);
    // Given when it changed: it begins as unknown, which clients have anyway.
    void SetPower(BmcPower power);
    BmcPower Power() const { return power_; }
    bool IdentityKnown() const { return identityKnown_; }

    // ---- sensors ----
    // Those whose readings changed, once all are there. Ones that are gone are removed.
    void GiveSensors(SensorReader *sensors, const SdrRepository &repository);
    // Clients find the first sensor failing, and do not take the machine for one without sensors.
    void GiveNoSensors(CimStatus status);

    // ---- the log ----
    void GiveLog(const SelReader &log, const SdrRepository &repository);
    void GiveNoLog(CimStatus status);
    // The next GiveLog gives every record again.
    void ForgetLog() { logGiven_ = false; }

    // ---- power supplies ----
    void GiveSupply(u32 index, const FruFacts &facts);
    // Removes all but these.
    void KeepSupplies(const std::set<u32> &indexes);

private:
    void GiveSystem();

    const std::string source_;
    Mailbox *const mailbox_;
    News news_;

    BmcPower power_ = BmcPower::Unknown;
    Identity identity_;
    std::string hostName_;

    // ---- what holds since the last Forget
    bool identityKnown_ = false;
    bool logGiven_ = false;

    // ---- what the store holds; the first sensor is there from the start, as failed
    std::set<u32> suppliesGiven_;
    u32 sensorsGiven_ = 1;
    u32 recordsGiven_ = 0;
};

#endif
