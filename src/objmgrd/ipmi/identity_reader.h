// SPDX-License-Identifier: Apache-2.0
// identity_reader.h -- reads once what the machine is: its FRU, its name, its power supplies.
#ifndef OBJMGRD_IPMI_IDENTITY_READER_H
#define OBJMGRD_IPMI_IDENTITY_READER_H

#include "objmgrd/ipmi/fru_reader.h"
#include "objmgrd/ipmi/name_reader.h"
#include "objmgrd/ipmi/publication.h"

// How often a supply's FRU is asked for while the BMC is busy: a minute, at five seconds a round.
// Some BMCs stay busy for a supply that is not plugged in.
constexpr u32 kSupplyRoundsMax = 12;

class IdentityReader
{
public:
    explicit IdentityReader(Publication *publication) : publication_(publication) {}

    // Begins from the start.
    void Start();
    // Begins with the power supplies, where it has come so far; the repository is another.
    void StartSupplies();
    // The next step needs the sensor records.
    bool NeedsRepository() const { return stage_ == Stage::Supplies; }
    // What it finds it gives to the publication. Done: nothing is left; Failed: the BMC is busy,
    // and the next step begins the stage again, of the power supplies with those that it was busy
    // for, kSupplyRoundsMax times in all.
    ReadStep Step(Bmc *bmc, const SdrRepository &repository);

private:
    enum class Stage : u8 { Fru, Name, Supplies };

    ReadStep StepFru(Bmc *bmc);
    ReadStep StepName(Bmc *bmc);
    ReadStep StepSupplies(Bmc *bmc, const SdrRepository &repository);
    void Enter(Stage stage);
    bool NextSupply();
    ReadStep EndSupplies();

    Publication *const publication_;
    Stage stage_ = Stage::Fru;
    bool running_ = false;  // the stage has begun
    FruReader fru_;
    NameReader name_;
    Identity identity_;
    std::vector<std::pair<u32, SdrFru>> supplies_;  // PowerSupplyIndex and its FRU
    size_t supply_ = 0;                             // the one whose FRU is being read
    std::vector<std::pair<u32, SdrFru>> busy_;      // those to be read once more
    u32 rounds_ = 0;                                // through the supplies, this one included
};

#endif
