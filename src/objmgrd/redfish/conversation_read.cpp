// SPDX-License-Identifier: Apache-2.0
// conversation_read.cpp -- see conversation.h: discovery, the rounds over the sensors, the log.
#include "objmgrd/redfish/conversation.h"

#include <algorithm>
#include <syslog.h>

namespace
{

// Discovery that brought nothing is tried again after this; another one comes no sooner.
constexpr u32 kDiscoverAgainMs = 5000;
// Where something of it could not be read.
constexpr u32 kDiscoverPartMs = 30000;
// Kinds that are due so soon are read in the same round.
constexpr u32 kSameRoundMs = 100;

std::string LinkIn(const Origin &origin, JsonValue document, const char *name)
{
    return LinkOf(origin, document[name]);
}

// Documents of one make: their ETags are made alike.
u32 EtagGroup(size_t chassis, SensorSource source)
{
    return static_cast<u32>(chassis) * 16 + static_cast<u32>(source);
}

bool IsUnsure(const Got &got)
{
    return !got.Good() && !got.unchanged && !got.Gone() && !got.Denied();
}

bool IsBelow(const std::string &document, const std::string &listing)
{
    return document.size() > listing.size() && document.compare(0, listing.size(), listing) == 0 &&
           document[listing.size()] == '/';
}

}  // namespace

// ---- the system ----

void RedfishConversation::ReadSystem()
{
    powerOnTheWay_ = true;
    nextPowerMs_ = clock_() + settings_.powerMs;
    fetcher_.Urgent(fetcher_.MakeGet(systemLink_), [this](HttpAnswer &&answer) {
        powerOnTheWay_ = false;
        TakeSystem(fetcher_.Take(std::move(answer)));
    });
}

void RedfishConversation::TakeSystem(Got &&got)
{
    const u64 now = clock_();
    if (!connected_)
        return;
    if (!got.Good()) {
        ++powerMissed_;
        powerDenied_ = got.Denied();
        if (powerDenied_ || powerMissed_ >= kMissedRounds || now - powerGoodMs_ >= kOldMs)
            power_ = HostPower::Unknown;
        if (got.Gone())
            nextDiscoveryMs_ = std::min(nextDiscoveryMs_, lastDiscoveryMs_ + kDiscoverAgainMs);
        if (powerDenied_ && !systemSeen_)
            return Give(kSystemClass, FailedInstance(kCimAccessDenied), RedfishPart::Power);
        return GiveSystem();
    }
    const JsonValue system = got.document.Root();
    const HostPower before = power_;
    power_ = HostPowerOf(system);
    powerDenied_ = false;
    powerGoodMs_ = now;
    powerMissed_ = 0;
    Heard(RedfishPart::Power, now);
    lastReset_ = system["LastResetTime"].Text();
    if (action_.has_value())
        action_->leftOn = action_->leftOn || (action_->sent && power_ == HostPower::Off);
    // A host that was switched on has other sensors than one that is off.
    if (before == HostPower::Off && power_ == HostPower::On)
        nextDiscoveryMs_ = std::min(nextDiscoveryMs_, now);
    GiveSystem();
}

bool RedfishConversation::ChooseSystem(const Listed &systems)
{
    std::vector<const Resource *> fit;
    std::string ids;
    for (const Resource &system : systems.members) {
        std::string id = system.document["Id"].Text();
        if (id.empty())
            id = LinkName(system.link).substr(LinkName(system.link).rfind('/') + 1);
        ids += (ids.empty() ? "" : ", ") + id;
        if (settings_.system.empty() || id == settings_.system)
            fit.push_back(&system);
    }
    if (fit.size() == 1) {
        systemLink_ = fit[0]->link;
        return true;
    }
    if (systems.members.empty() || systems.failed != 0)
        return false;
    Lose(settings_.system.empty()
             ? "the service has several systems; name one as `system` in the settings: " + ids
             : "the service has no system " + settings_.system + "; it has: " + ids);
    connected_ = false;
    return false;
}

// ---- chassis ----

std::vector<RedfishConversation::Plan>
RedfishConversation::PlansOf(const std::vector<ChassisDocument> &all,
                             const std::vector<size_t> &places,
                             const std::function<bool(const std::string &link)> &mayBeThere) const
{
    const Origin &origin = settings_.origin;
    std::vector<Plan> plans;
    for (size_t place : places) {
        const JsonValue document = all[place].document;
        Plan plan;
        plan.link = all[place].link;
        plan.sensors.link = LinkIn(origin, document, "Sensors");
        plan.thermalSubsystem = LinkIn(origin, document, "ThermalSubsystem");
        plan.powerSubsystem = LinkIn(origin, document, "PowerSubsystem");
        plan.thermal = LinkIn(origin, document, "Thermal");
        plan.power = LinkIn(origin, document, "Power");
        plans.push_back(std::move(plan));
    }
    // One of before that could not be read is asked for what it had then.
    for (const Plan &old : plans_) {
        const auto isIt = [&](const auto &one) { return LinkName(one.link) == LinkName(old.link); };
        const auto document = std::find_if(all.begin(), all.end(), isIt);
        if ((document != all.end() && document->document.IsObject()) || !mayBeThere(old.link))
            continue;
        const auto at = std::find_if(plans.begin(), plans.end(), isIt);
        Plan &plan = at != plans.end() ? *at : plans.emplace_back();
        plan.link = old.link;
        plan.asBefore = true;
        plan.sensors.link = old.sensors.link;
        plan.thermalSubsystem = old.thermalSubsystem;
        plan.powerSubsystem = old.powerSubsystem;
        plan.thermal = old.thermal;
        plan.power = old.power;
    }
    // Chassis keep their order: a collection may come in another one each time.
    const auto known = [&](const Plan &plan) {
        const auto at = std::find_if(plans_.begin(), plans_.end(), [&](const Plan &other) {
            return LinkName(other.link) == LinkName(plan.link);
        });
        return at - plans_.begin();
    };
    std::stable_sort(plans.begin(), plans.end(),
                     [&](const Plan &a, const Plan &b) { return known(a) < known(b); });
    return plans;
}

// Reads what the plans say: everything there is when `again`, otherwise what was chosen for the
// groups that are due.
std::vector<ChassisView> RedfishConversation::ReadPlans(std::vector<Plan> *plans, bool again,
                                                        const SensorGroups &due,
                                                        Documents *documents, Tally *tally,
                                                        std::vector<Listing> *others,
                                                        std::vector<Listed> *otherListed)
{
    // Members that are read one by one, of kinds that are not due.
    std::set<std::string> skip;
    for (const Shown &shown : shown_) {
        if (!again && !due[static_cast<u32>(SensorGroupOf(shown.sensor.kind))])
            skip.insert(shown.sensor.document);
    }
    Reading reading(&fetcher_, documents, {again, root_.expand, &skip, again ? nullptr : &etags_});
    std::vector<ChassisView> views(plans->size());
    std::list<std::pair<Listing *, Listed>> listings;
    std::list<std::vector<Resource> *> targets;
    const auto list = [&](Listing *listing, size_t chassis, SensorSource source,
                          std::vector<Resource> *target) {
        if (listing->link.empty() || !(again || (*plans)[chassis].choice.Uses(source, due)))
            return;
        listings.emplace_back(listing, Listed());
        targets.push_back(target);
        reading.List(listing, EtagGroup(chassis, source), &listings.back().second);
    };
    const auto want = [&](const std::string &link, size_t chassis, SensorSource source,
                          Resource *place, const std::function<void()> &then = nullptr) {
        if (link.empty() || !(again || (*plans)[chassis].choice.Uses(source, due)))
            return;
        place->link = link;
        reading.Document(link, EtagGroup(chassis, source),
                         [tally, place, then](const Got &got, JsonValue document) {
                             tally->gone += got.Gone();
                             place->document = document;
                             // One that is not there any more does not come back by itself.
                             if (!got.Good() && !got.unchanged && !got.Gone())
                                 tally->unread.insert(LinkName(place->link));
                             tally->unsure = tally->unsure || IsUnsure(got);
                             if (got.Denied())
                                 tally->denied.insert(LinkName(place->link));
                             if (then != nullptr)
                                 then();
                         });
    };
    const Origin &origin = settings_.origin;
    for (size_t i = 0; i < plans->size(); ++i) {
        Plan *plan = &(*plans)[i];
        ChassisView *view = &views[i];
        const auto listFans = [=, &list] { list(&plan->fans, i, SensorSource::Fans, &view->fans); };
        const auto listSupplies = [=, &list] {
            list(&plan->supplies, i, SensorSource::Supplies, &view->supplies);
            list(&plan->batteries, i, SensorSource::Batteries, &view->batteries);
        };
        list(&plan->sensors, i, SensorSource::Sensors, &view->sensors);
        want(plan->thermal, i, SensorSource::Thermal, &view->thermal);
        want(plan->power, i, SensorSource::Power, &view->power);
        if (!again) {
            want(plan->link, i, SensorSource::Chassis, &view->chassis);
            want(plan->thermalSubsystem, i, SensorSource::ThermalSubsystem,
                 &view->thermalSubsystem);
            want(plan->powerSubsystem, i, SensorSource::PowerSubsystem, &view->powerSubsystem);
            listFans();
            listSupplies();
            continue;
        }
        // At discovery the chassis was read just before; these tell of more lists.
        if (plan->asBefore)
            want(plan->link, i, SensorSource::Chassis, &view->chassis);
        want(plan->thermalSubsystem, i, SensorSource::ThermalSubsystem, &view->thermalSubsystem,
             [=, &origin] {
                 plan->fans.link = LinkIn(origin, view->thermalSubsystem.document, "Fans");
                 listFans();
             });
        want(plan->powerSubsystem, i, SensorSource::PowerSubsystem, &view->powerSubsystem,
             [=, &origin] {
                 const JsonValue power = view->powerSubsystem.document;
                 plan->supplies.link = LinkIn(origin, power, "PowerSupplies");
                 plan->batteries.link = LinkIn(origin, power, "Batteries");
                 listSupplies();
             });
    }
    if (others != nullptr) {
        otherListed->resize(others->size());
        for (size_t i = 0; i < others->size(); ++i)
            reading.List(&(*others)[i], 0, &(*otherListed)[i]);
    }
    reading.Run();
    tally->unchanged = reading.Unchanged();
    auto target = targets.begin();
    for (auto &[listing, listed] : listings) {
        tally->gone += listed.gone;
        tally->unsure = tally->unsure || listed.unsure != 0;
        tally->refused += listed.refused;
        if (listed.more)
            tally->cut.push_back(LinkName(listing->link));
        for (const std::string &link : listed.missing)
            tally->missing.insert(LinkName(link));
        if (again && !listing->whole && !listed.absent)
            tally->unread.insert(LinkName(listing->link));
        for (const Resource &member : listed.members) {
            if (!member.document.IsObject())
                tally->unread.insert(LinkName(member.link));
        }
        if (listed.denied != 0)
            tally->denied.insert(LinkName(listing->link));
        **target++ = std::move(listed.members);
    }
    return views;
}

// Where what a kind was read from could not be read now, that stays its source: the other family
// tells of the same sensors under other names.
void RedfishConversation::KeepChoice(Plan *plan, const Tally &tally) const
{
    const auto before = std::find_if(plans_.begin(), plans_.end(), [&](const Plan &other) {
        return LinkName(other.link) == LinkName(plan->link);
    });
    if (before == plans_.end())
        return;
    const auto linkOf = [&](SensorSource source) -> std::string {
        switch (source) {
        case SensorSource::Sensors:
            return before->sensors.link;
        case SensorSource::Fans:
            return before->fans.link;
        case SensorSource::Supplies:
            return before->supplies.link;
        case SensorSource::Batteries:
            return before->batteries.link;
        case SensorSource::Thermal:
            return before->thermal;
        case SensorSource::Power:
            return before->power;
        case SensorSource::ThermalSubsystem:
            return before->thermalSubsystem;
        case SensorSource::PowerSubsystem:
            return before->powerSubsystem;
        case SensorSource::Chassis:
            return before->link;
        default:
            return "";
        }
    };
    const auto isUnread = [&](const std::string &link) {
        const std::string name = LinkName(link);
        return !name.empty() &&
               (tally.unread.count(name) != 0 ||
                std::any_of(tally.unread.begin(), tally.unread.end(), [&](const auto &one) {
                    return IsBelow(one, name) || IsBelow(name, one);
                }));
    };
    for (u32 kind = 0; kind < kSensorKindCount; ++kind) {
        const SensorSource source = before->choice.of[kind];
        if (source == plan->choice.of[kind] || !isUnread(linkOf(source)))
            continue;
        plan->choice.of[kind] = source;
        // Its list may stand in a document that did not come.
        if (source == SensorSource::Fans && plan->fans.link.empty())
            plan->fans.link = before->fans.link;
        if (source == SensorSource::Supplies && plan->supplies.link.empty())
            plan->supplies.link = before->supplies.link;
        if (source == SensorSource::Batteries && plan->batteries.link.empty())
            plan->batteries.link = before->batteries.link;
    }
}

// ---- discovery ----

bool RedfishConversation::Discover()
{
    const u64 start = clock_();
    lastDiscoveryMs_ = start;
    nextDiscoveryMs_ = start + kDiscoverAgainMs;
    const Origin &origin = settings_.origin;
    fetcher_.BeginReading();
    Documents documents;
    Listing systems;
    Listing chassis;
    Listing managers;
    systems.link = root_.systems;
    chassis.link = root_.chassis;
    managers.link = root_.managers;
    fetcher_.Measure();
    std::vector<Listed> top(3);
    Reading reading(&fetcher_, &documents, {.again = true, .expands = root_.expand});
    reading.List(&systems, 0, top.data());
    reading.List(&chassis, 0, top.data() + 1);
    reading.List(&managers, 0, top.data() + 2);
    reading.Run();
    if (mailbox_->Stopped() || mailbox_->Generation() != generation_ || fetcher_.Unauthorized())
        return false;
    if (!ChooseSystem(top[0]))
        return false;
    JsonValue system;
    for (const Resource &member : top[0].members) {
        if (member.link == systemLink_)
            system = member.document;
    }
    if (!system.IsObject())
        return false;

    std::vector<ChassisDocument> all;
    for (const Resource &member : top[1].members)
        all.push_back({member.link, member.document});
    const std::vector<size_t> places =
        ChassisOf(origin, systemLink_, system, top[0].members.size() == 1, all);
    // A controller that has just started tells of no chassis for a while.
    const bool wasEmpty = emptySinceMs_ != 0 && start - emptySinceMs_ >= kEmptyMs;
    const auto mayBeThere = [&](const std::string &link) {
        const auto isIt = [&](const auto &other) { return LinkName(other) == LinkName(link); };
        const bool listed =
            std::any_of(all.begin(), all.end(), [&](const auto &one) { return isIt(one.link); });
        return listed ? std::none_of(top[1].missing.begin(), top[1].missing.end(), isIt)
                      : !chassis.whole || (all.empty() && !wasEmpty);
    };
    std::vector<Plan> plans = PlansOf(all, places, mayBeThere);
    const auto documentOf = [&](const std::string &link) {
        for (const ChassisDocument &one : all) {
            if (one.link == link)
                return one.document;
        }
        return JsonValue();
    };

    // Logs: of the system, of its managers, of its chassis.
    std::vector<Listing> logs;
    std::vector<LogOwner> owners;
    const auto addLogs = [&](JsonValue owner, LogOwner kind) {
        Listing listing;
        listing.link = LinkIn(origin, owner, "LogServices");
        if (listing.link.empty())
            return;
        logs.push_back(std::move(listing));
        owners.push_back(kind);
    };
    addLogs(system, LogOwner::System);
    std::set<std::string> managedBy;
    const JsonValue managersOf = system["Links"]["ManagedBy"];
    for (size_t i = 0; i < managersOf.Size(); ++i)
        managedBy.insert(LinkName(LinkOf(origin, managersOf[i])));
    for (const Resource &manager : top[2].members) {
        if (managedBy.empty() || managedBy.count(LinkName(manager.link)) != 0)
            addLogs(manager.document, LogOwner::Manager);
    }
    for (const Plan &plan : plans)
        addLogs(documentOf(plan.link), LogOwner::Chassis);

    Tally tally;
    std::vector<Listed> logListed;
    std::vector<ChassisView> views =
        ReadPlans(&plans, true, {}, &documents, &tally, &logs, &logListed);
    if (mailbox_->Stopped() || mailbox_->Generation() != generation_ || fetcher_.Unauthorized())
        return false;

    etags_.DropAll();

    // Who it is.
    std::vector<JsonValue> chassisDocuments;
    chassisDocuments.reserve(plans.size());
    for (const Plan &plan : plans)
        chassisDocuments.push_back(documentOf(plan.link));
    facts_ = SystemFactsOf(system, chassisDocuments, settings_.skuIsTag);
    if (!systemSeen_) {
        systemSeen_ = true;
        power_ = HostPowerOf(system);
        powerGoodMs_ = clock_();
        powerMissed_ = 0;
    }
    reset_ = ResetActionOf(origin, system);
    // Not older than when the reading began.
    Heard(RedfishPart::Identity, start);
    GiveSystem();

    // Which sensors there are.
    std::vector<Sensor> found;
    std::set<std::string> ids;
    for (size_t i = 0; i < plans.size(); ++i) {
        if (!plans[i].asBefore)
            views[i].chassis = {plans[i].link, documentOf(plans[i].link)};
        plans[i].choice = ChooseSources(views[i]);
        KeepChoice(&plans[i], tally);
        std::set<std::string> used;
        for (Sensor &sensor : SensorsOf(views[i], plans[i].choice)) {
            used.insert(sensor.document);
            sensor.chassis = static_cast<u32>(i);
            // Chassis that contain others can list the same sensors.
            if (ids.insert(sensor.id).second)
                found.push_back(std::move(sensor));
        }
        // Of the members that are read one by one, those that count.
        std::erase_if(plans[i].sensors.members, [&](const std::string &link) {
            const std::string name = LinkName(link);
            return used.count(name) == 0 &&
                   (tally.unread.count(name) == 0 || tally.missing.count(name) != 0);
        });
    }
    TakeDiscovered(std::move(plans), std::move(found), tally.unread, tally.denied, clock_());
    SayUnread(tally);

    if (!reset_.known && !reset_.actionInfo.empty()) {
        const Got info = fetcher_.Get(reset_.actionInfo);
        if (info.Good())
            TakeActionInfo(info.document.Root(), &reset_);
    }
    const bool unsure = tally.unsure || top[1].unsure != 0 || top[2].unsure != 0;
    ChooseLogService(logListed, owners, top[1].unsure != 0 || top[2].unsure != 0);
    nextDiscoveryMs_ = clock_() + (emptySinceMs_ != 0 ? kDiscoverAgainMs
                                   : unsure           ? kDiscoverPartMs
                                                      : settings_.discoveryMs);
    return true;
}

// The new list of sensors. Those of before that could not be read stay in it.
void RedfishConversation::TakeDiscovered(std::vector<Plan> plans, std::vector<Sensor> found,
                                         const std::set<std::string> &unread,
                                         const std::set<std::string> &denied, u64 now)
{
    std::vector<Shown> shown;
    std::set<std::string> ids;
    std::set<std::pair<std::string, SensorKind>> kinds;  // of which chassis has which
    for (Sensor &sensor : found) {
        ids.insert(sensor.id);
        kinds.insert({LinkName(plans[sensor.chassis].link), sensor.kind});
        shown.push_back({std::move(sensor), now, 0, lastDiscoveryMs_});
    }
    // A kind of which a chassis has none any more, though its lists were read.
    const auto isEmptied = [&](const Sensor &old) {
        return old.chassis < plans_.size() &&
               kinds.count({LinkName(plans_[old.chassis].link), old.kind}) == 0;
    };
    const bool emptied = std::any_of(shown_.begin(), shown_.end(),
                                     [&](const Shown &old) { return isEmptied(old.sensor); });
    if (emptied && emptySinceMs_ == 0)
        emptySinceMs_ = now;
    const bool waits = emptied && now - emptySinceMs_ < kEmptyMs;
    if (!waits)
        emptySinceMs_ = 0;
    for (Shown &old : shown_) {
        const std::string &document = old.sensor.document;
        const bool empty = waits && isEmptied(old.sensor);
        if (empty)
            old.sensor.status = kCimFailed;
        const bool stays = empty || unread.count(document) != 0 ||
                           std::any_of(unread.begin(), unread.end(), [&](const auto &listing) {
                               return IsBelow(document, listing);
                           });
        const auto plan = std::find_if(plans.begin(), plans.end(), [&](const Plan &one) {
            return old.sensor.chassis < plans_.size() &&
                   LinkName(one.link) == LinkName(plans_[old.sensor.chassis].link);
        });
        if (!stays || ids.count(old.sensor.id) != 0 || plan == plans.end())
            continue;
        old.sensor.chassis = static_cast<u32>(plan - plans.begin());
        shown.push_back(std::move(old));
    }
    std::stable_sort(shown.begin(), shown.end(), [](const Shown &a, const Shown &b) {
        if (a.sensor.chassis != b.sensor.chassis)
            return a.sensor.chassis < b.sensor.chassis;
        if (a.sensor.kind != b.sensor.kind)
            return a.sensor.kind < b.sensor.kind;
        return NaturalCompare(a.sensor.id, b.sensor.id) < 0;
    });
    std::vector<Sensor> sensors;
    sensors.reserve(shown.size());
    for (Shown &one : shown)
        sensors.push_back(std::move(one.sensor));
    NameSensors(&sensors);
    for (size_t i = 0; i < shown.size(); ++i)
        shown[i].sensor = std::move(sensors[i]);
    if (shown.size() != shown_.size() || !sensorsRead_)
        Say(LOG_NOTICE, std::to_string(shown.size()) + " sensors found");
    plans_ = std::move(plans);
    shown_ = std::move(shown);
    sensorsRead_ = true;
    // What the machine does not have is never due.
    std::fill(std::begin(nextSensorsMs_), std::end(nextSensorsMs_), UINT64_MAX);
    for (const Shown &one : shown_) {
        const u32 group = static_cast<u32>(SensorGroupOf(one.sensor.kind));
        nextSensorsMs_[group] = now + RateMs(group);
    }
    HeardSensors();
    GiveSensors();
    if (shown_.empty() && !denied.empty())
        Give(SensorKey(1), FailedInstance(kCimAccessDenied), RedfishPart::States);
}

// One line, when it is another one than before.
void RedfishConversation::SayUnread(const Tally &tally)
{
    std::string text;
    const auto add = [&](const std::string &part) { text += (text.empty() ? "" : "; ") + part; };
    if (!tally.unread.empty())
        add("resources that cannot be read: " + std::to_string(tally.unread.size()) +
            ", the first is " + *tally.unread.begin());
    if (tally.refused != 0)
        add("members without an address on this service: " + std::to_string(tally.refused));
    for (const std::string &listing : tally.cut)
        add("not all pages of " + listing + " are read");
    if (text == unreadSaid_)
        return;
    Say(text.empty() ? LOG_NOTICE : LOG_WARNING,
        text.empty() ? "everything that was found can be read" : text);
    unreadSaid_ = std::move(text);
}

// ---- rounds ----

void RedfishConversation::ReadSensors()
{
    const u64 start = clock_();
    SensorGroups due;
    for (u32 group = 0; group < kSensorGroupCount; ++group) {
        if (nextSensorsMs_[group] > start + kSameRoundMs)
            continue;
        due.set(group);
        nextSensorsMs_[group] = start + RateMs(group);
    }
    fetcher_.BeginReading();
    Documents documents;
    Tally tally;
    const std::vector<ChassisView> views = ReadPlans(&plans_, false, due, &documents, &tally);
    if (mailbox_->Stopped() || mailbox_->Generation() != generation_ || fetcher_.Unauthorized())
        return;
    std::map<std::string, Sensor> found;
    for (size_t i = 0; i < plans_.size(); ++i) {
        for (Sensor &sensor : SensorsOf(views[i], plans_[i].choice))
            found.try_emplace(sensor.id, std::move(sensor));
    }
    const u64 now = clock_();
    for (Shown &shown : shown_) {
        const auto at = found.find(shown.sensor.id);
        if (at != found.end()) {
            at->second.name = shown.sensor.name;
            at->second.chassis = shown.sensor.chassis;
            shown = {std::move(at->second), now, 0, start};
            continue;
        }
        if (!due[static_cast<u32>(SensorGroupOf(shown.sensor.kind))])
            continue;
        // What it said when it was read last is what it says now.
        if (tally.unchanged.count(shown.sensor.document) != 0 && shown.missed == 0) {
            shown.goodMs = now;
            shown.askedMs = start;
            continue;
        }
        ++shown.missed;
        if (shown.missed < kMissedRounds && now - shown.goodMs < kOldMs)
            continue;
        const bool refused =
            tally.denied.count(shown.sensor.document) != 0 ||
            std::any_of(tally.denied.begin(), tally.denied.end(), [&](const auto &listing) {
                return IsBelow(shown.sensor.document, listing);
            });
        shown.sensor.status = refused ? kCimAccessDenied : kCimFailed;
    }
    HeardSensors();
    GiveSensors();
    if (tally.gone != 0)
        nextDiscoveryMs_ = std::min(nextDiscoveryMs_, lastDiscoveryMs_ + 2 * kDiscoverAgainMs);
}

// ---- the log ----

void RedfishConversation::ChooseLogService(const std::vector<Listed> &listed,
                                           const std::vector<LogOwner> &owners, bool unsure)
{
    const Origin &origin = settings_.origin;
    std::vector<LogService> services;
    Got named;
    if (!settings_.log.empty()) {
        named = fetcher_.Get(LinkOf(origin, settings_.log));
        if (named.Good())
            services.push_back({LogOwner::System, settings_.log, named.document.Root()});
    } else {
        for (size_t i = 0; i < listed.size(); ++i) {
            for (const Resource &member : listed[i].members)
                services.push_back({owners[i], member.link, member.document});
        }
    }
    const int chosen =
        !settings_.log.empty() && services.size() == 1 ? 0 : ChooseLog(services, logService_);
    unsure = settings_.log.empty()
                 ? unsure || std::any_of(listed.begin(), listed.end(),
                                         [](const Listed &one) { return one.unsure != 0; })
                 : !named.Good();
    nextLogMs_ = clock_();
    logUnsure_ = chosen < 0 && unsure && logEntries_.empty();
    // The one of before may be there as well.
    const bool seen = std::any_of(services.begin(), services.end(), [&](const LogService &one) {
        return LinkName(one.link) == LinkName(logService_);
    });
    if (unsure && (chosen < 0 || (!logEntries_.empty() && !seen)))
        return;
    logService_ = chosen >= 0 ? services[static_cast<size_t>(chosen)].link : "";
    std::string entries;
    logClear_.clear();
    if (chosen >= 0) {
        const JsonValue document = services[static_cast<size_t>(chosen)].document;
        entries = LinkOf(origin, document["Entries"]);
        logClear_ = LinkOf(origin, document["Actions"]["#LogService.ClearLog"]["target"].RawText());
    }
    if (entries != logEntries_ || !logKnown_) {
        logEntries_ = entries;
        logEtag_.clear();
        logMark_.clear();
        logByLink_.clear();
    }
    // All of it is read now and then, whatever the cheap ways to ask say.
    logMark_.clear();
    logEtag_.clear();
}

// Asks as cheaply as the service allows. *known: the answer is sure.
bool RedfishConversation::LogChanged(bool *known)
{
    *known = false;
    if (!root_.top || logMark_.empty())
        return true;
    const Got got = fetcher_.Get(logEntries_ + "?$top=1");
    const CollectionPage page = CollectionPageOf(settings_.origin, got.document.Root());
    if (!got.Good() || page.links.size() > 1 || !page.count.has_value())
        return true;
    *known = true;
    const std::string mark =
        NumberText(*page.count) + " " + (page.links.empty() ? "" : page.links[0]);
    return mark != logMark_;
}

std::string RedfishConversation::EntryKey(const LogEntry &entry) const
{
    return entry.id + "\n" + entry.times.digits + "\n" + entry.description;
}

void RedfishConversation::EndLog(bool read, CimStatus status)
{
    const u64 now = clock_();
    nextLogMs_ = now + settings_.logMs;
    logTried_ = true;
    if (read) {
        logKnown_ = true;
        logGoodMs_ = now;
        Heard(RedfishPart::Log, now);
        GiveLog();
    } else if (status == kCimAccessDenied || now - logGoodMs_ >= kOldMs) {
        logKnown_ = false;
        logDenied_ = status == kCimAccessDenied;
        GiveLog();
    }
    if (action_.has_value() && action_->phase == Phase::Reread)
        TakeReread(read);
}

// all: also when nothing seems to have changed.
void RedfishConversation::ReadLog(bool all)
{
    if (logUnsure_) {
        nextDiscoveryMs_ = std::min(nextDiscoveryMs_, lastDiscoveryMs_ + 2 * kDiscoverAgainMs);
        return EndLog(false, kCimFailed);
    }
    if (logEntries_.empty()) {
        log_.clear();
        return EndLog(true, kCimOk);
    }
    fetcher_.BeginReading();
    bool known = false;
    if (!all && logKnown_ && !LogChanged(&known) && known)
        return EndLog(true, kCimOk);

    // Pages are made into entries one by one: a long log is larger than all else together.
    std::vector<LogEntry> entries;
    std::map<std::string, LogEntry> byLink;
    std::set<std::string> pages;
    std::string page = logEntries_;
    std::string mark;
    CimStatus status = kCimFailed;
    bool whole = false;
    while (!page.empty() && pages.size() < kPagesMax && entries.size() < kLogEntriesMax) {
        pages.insert(page);
        fetcher_.BeginReading();
        const bool first = pages.size() == 1;
        Got got = fetcher_.Get(page, first && logKnown_ && !all ? logEtag_ : "");
        if (first && got.status == 304)
            return EndLog(true, kCimOk);
        if (!got.Good()) {
            status = got.Denied() ? kCimAccessDenied : kCimFailed;
            if (got.Gone())
                nextDiscoveryMs_ = std::min(nextDiscoveryMs_, lastDiscoveryMs_ + kDiscoverAgainMs);
            return EndLog(false, status);
        }
        const CollectionPage content = CollectionPageOf(settings_.origin, got.document.Root());
        if (first) {
            logEtag_ = got.etag;
            mark = NumberText(content.count.value_or(0)) + " " +
                   (content.links.empty() ? "" : content.links[0]);
        }
        std::vector<std::string> bare;
        bool fresh = false;
        for (size_t i = 0; i < content.links.size(); ++i) {
            const std::string name = LinkName(content.links[i]);
            if (byLink.count(name) != 0)
                continue;
            fresh = true;
            if (IsExpanded(content.members[i]))
                byLink[name] = LogEntryOf(content.members[i]);
            else if (const auto at = logByLink_.find(name); at != logByLink_.end() && !all)
                byLink[name] = at->second;
            else
                bare.push_back(content.links[i]);
        }
        std::vector<Got> got1 = fetcher_.GetAll(bare);
        for (size_t i = 0; i < bare.size(); ++i) {
            if (got1[i].Good())
                byLink[LinkName(bare[i])] = LogEntryOf(got1[i].document.Root());
            else if (!got1[i].Gone())
                return EndLog(false, kCimFailed);
        }
        whole = true;
        page = fresh || !content.hasMembers ? content.next : "";
        if (pages.count(page) != 0)
            page.clear();
    }
    if (!whole || mailbox_->Stopped() || mailbox_->Generation() != generation_)
        return;
    for (const auto &[link, entry] : byLink)
        entries.push_back(entry);
    SortLog(&entries);
    log_ = std::move(entries);
    logByLink_ = std::move(byLink);
    logMark_ = mark;
    EndLog(true, kCimOk);
}
