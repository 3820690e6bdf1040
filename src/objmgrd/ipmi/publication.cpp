// SPDX-License-Identifier: Apache-2.0
// publication.cpp -- see publication.h.
#include "objmgrd/ipmi/publication.h"

#include <algorithm>
#include <stdio.h>
#include <utility>

CimStatus BmcStatusOf(u8 code)
{
    return code == kBmcDenied ? kCimAccessDenied : kCimFailed;
}

std::string BmcCodeWords(u8 code)
{
    char text[32];
    snprintf(text, sizeof text, "completion code 0x%02X", unsigned{code});
    return text;
}

void Publication::Forget()
{
    power_ = BmcPower::Unknown;
    identityKnown_ = false;
    logGiven_ = false;
}

void Publication::Lose(const std::string &why)
{
    Forget();
    KeepRemovals(&news_.changes);
    news_.lost = true;
    news_.why = why;
}

void Publication::Say(int priority, std::string_view text)
{
    news_.lines.push_back({priority, source_ + ": " + std::string(text)});
}

void Publication::Post(u32 generation)
{
    if (!news_.lost && !news_.settled && news_.changes.empty() && news_.answers.empty() &&
        news_.lines.empty())
        return;
    mailbox_->Post(generation, std::move(news_));
    news_ = News();
}

// ---- the system ----

void Publication::SetIdentity(const Identity &identity, const std::string &hostName)
{
    identity_ = identity;
    hostName_ = hostName;
    identityKnown_ = true;
    GiveSystem();
}

void Publication::SetPower(BmcPower power)
{
    if (std::exchange(power_, power) != power)
        GiveSystem();
}

void Publication::GiveSystem()
{
    const CimStatus known = identityKnown_ ? kCimOk : kCimFailed;
    const CimStatus power = power_ == BmcPower::Unknown  ? kCimFailed
                            : power_ == BmcPower::Denied ? kCimAccessDenied
                                                         : kCimOk;
    news_.changes[kSystemClass] = Instance{
        kCimOk,
        {{kPropertyPowerStatus, power, power_ == BmcPower::On ? kPowerStatusOn : kPowerStatusOff},
         {kPropertyServiceTag, known, identity_.serviceTag},
         {kPropertyDescription, known, identity_.description},
         {kPropertyHostName, known, hostName_},
         {kPropertyOem, known, identity_.oem}}};
}

// ---- sensors ----

void Publication::GiveSensors(SensorReader *sensors, const SdrRepository &repository)
{
    for (u32 i : sensors->TakeChanged())
        news_.changes[SensorKey(i + 1)] =
            SensorInstance(i + 1, repository.sensors[i], sensors->Reading(i));
    for (u32 index = sensors->Count() + 1; index <= sensorsGiven_; ++index)
        news_.changes[SensorKey(index)] = std::nullopt;
    sensorsGiven_ = sensors->Count();
}

void Publication::GiveNoSensors(CimStatus status)
{
    sensorsGiven_ = std::max(sensorsGiven_, 1u);
    for (u32 index = 1; index <= sensorsGiven_; ++index)
        news_.changes[SensorKey(index)] = FailedInstance(status);
}

// ---- the log ----

void Publication::GiveLog(const SelReader &log, const SdrRepository &repository)
{
    const std::vector<SelRecord> &records = log.Records();
    const u32 count = static_cast<u32>(records.size());
    for (u32 i = logGiven_ ? log.FirstNew() : 0; i < count; ++i)
        news_.changes[SelRecordKey(i + 1)] = SelRecordInstance(i + 1, records[i], repository);
    for (u32 number = count + 1; number <= recordsGiven_; ++number)
        news_.changes[SelRecordKey(number)] = std::nullopt;
    if (!logGiven_ || count != recordsGiven_)
        news_.changes[kSelPath.text] = SelLogInstance(count);
    recordsGiven_ = count;
    logGiven_ = true;
}

void Publication::GiveNoLog(CimStatus status)
{
    news_.changes[kSelPath.text] = FailedInstance(status);
    logGiven_ = false;
}

// ---- power supplies ----

void Publication::GiveSupply(u32 index, const FruFacts &facts)
{
    if (facts.hasWattage) {
        news_.changes[PowerSupplyKey(index)] = PowerSupplyInstance(index, facts.wattage);
        suppliesGiven_.insert(index);
    } else if (suppliesGiven_.erase(index) != 0) {
        news_.changes[PowerSupplyKey(index)] = std::nullopt;
    }
}

void Publication::KeepSupplies(const std::set<u32> &indexes)
{
    for (auto it = suppliesGiven_.begin(); it != suppliesGiven_.end();) {
        if (indexes.count(*it) != 0) {
            ++it;
            continue;
        }
        news_.changes[PowerSupplyKey(*it)] = std::nullopt;
        it = suppliesGiven_.erase(it);
    }
}
