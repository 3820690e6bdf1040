// SPDX-License-Identifier: Apache-2.0
// identity_reader.cpp -- see identity_reader.h.
#include "objmgrd/ipmi/identity_reader.h"

#include "objmgrd/ipmi/sensor_place.h"

#include <algorithm>
#include <utility>

namespace
{

constexpr u8 kEntityPowerSupply = 0x0A;

// The n-th power supply sensor is the power supply n; its FRU is that of its entity. Where no
// sensor says which entity it belongs to, the n-th FRU of a power supply is that of supply n.
std::vector<std::pair<u32, SdrFru>> SuppliesOf(const SdrRepository &repository)
{
    std::vector<std::pair<u32, SdrFru>> supplies;
    std::vector<SdrFru> frus;
    std::copy_if(repository.frus.begin(), repository.frus.end(), std::back_inserter(frus),
                 [](const SdrFru &fru) { return fru.entityId == kEntityPowerSupply; });
    u32 index = 0;
    for (const SdrSensor &sensor : repository.sensors) {
        if (sensor.type != kTypePowerSupply || SensorFormat(sensor) != kFormatDiscrete)
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

}  // namespace

void IdentityReader::Enter(Stage stage)
{
    stage_ = stage;
    running_ = false;
}

void IdentityReader::Start()
{
    Enter(Stage::Fru);
    supplies_.clear();
}

void IdentityReader::StartSupplies()
{
    if (publication_->IdentityKnown())
        Enter(Stage::Supplies);
}

ReadStep IdentityReader::Step(Bmc *bmc, const SdrRepository &repository)
{
    switch (stage_) {
    case Stage::Fru:
        return StepFru(bmc);
    case Stage::Name:
        return StepName(bmc);
    case Stage::Supplies:
        break;
    }
    return StepSupplies(bmc, repository);
}

// A BMC that is busy is asked again: what the machine is does not change, so it is not made up.
ReadStep IdentityReader::StepFru(Bmc *bmc)
{
    if (!running_)
        fru_.Start(0, 0);
    running_ = true;
    const ReadStep step = fru_.Step(bmc);
    if (step == ReadStep::More || step == ReadStep::Lost)
        return step;
    if (step == ReadStep::Failed && BmcIsBusy(fru_.Code())) {
        running_ = false;
        return ReadStep::Failed;
    }
    identity_ = FruIdentity(fru_.Facts());
    Enter(Stage::Name);
    return ReadStep::More;
}

ReadStep IdentityReader::StepName(Bmc *bmc)
{
    if (!running_)
        name_.Start();
    running_ = true;
    const ReadStep step = name_.Step(bmc);
    if (step == ReadStep::More || step == ReadStep::Lost)
        return step;
    if (step == ReadStep::Failed && BmcIsBusy(name_.Code())) {
        running_ = false;
        return ReadStep::Failed;
    }
    publication_->SetIdentity(identity_, step == ReadStep::Done ? name_.Name() : "");
    Enter(Stage::Supplies);
    return ReadStep::More;
}

ReadStep IdentityReader::StepSupplies(Bmc *bmc, const SdrRepository &repository)
{
    if (!running_) {
        running_ = true;
        supplies_ = SuppliesOf(repository);
        supply_ = 0;
        busy_.clear();
        rounds_ = 1;
        std::set<u32> indexes;
        for (const auto &[index, fru] : supplies_)
            indexes.insert(index);
        publication_->KeepSupplies(indexes);
        return NextSupply() ? ReadStep::More : ReadStep::Done;
    }
    const ReadStep step = fru_.Step(bmc);
    if (step == ReadStep::More || step == ReadStep::Lost)
        return step;
    publication_->GiveSupply(supplies_[supply_].first, fru_.Facts());
    if (BmcIsBusy(fru_.Code()))
        busy_.push_back(supplies_[supply_]);
    ++supply_;
    return NextSupply() ? ReadStep::More : EndSupplies();
}

// The others are given meanwhile: one that is busy may stay so.
ReadStep IdentityReader::EndSupplies()
{
    if (busy_.empty() || rounds_ == kSupplyRoundsMax)
        return ReadStep::Done;
    ++rounds_;
    supplies_ = std::exchange(busy_, {});
    supply_ = 0;
    NextSupply();
    return ReadStep::Failed;
}

bool IdentityReader::NextSupply()
{
    if (supply_ >= supplies_.size())
        return false;
    fru_.Start(supplies_[supply_].second.deviceId, supplies_[supply_].second.lun);
    return true;
}
