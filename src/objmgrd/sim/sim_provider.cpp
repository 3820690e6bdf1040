// SPDX-License-Identifier: Apache-2.0
// sim_provider.cpp -- see sim_provider.h.
#include "objmgrd/sim/sim_provider.h"

#include "platform/clock.h"

#include <algorithm>
#include <string.h>

namespace
{

// Beside what the shell reads: how the server was reset last, and how often.
constexpr char kPropertyLastReset[] = "LastReset";
constexpr char kPropertyResetCount[] = "ResetCount";

constexpr char kSourceName[] = "simulated host";

PropertyValue *FindProperty(Instance *instance, const char *name)
{
    for (PropertyValue &property : instance->properties) {
        if (property.name == name)
            return &property;
    }
    return nullptr;
}

// A property that clients are not to read stays so.
void SetProperty(Instance *instance, const char *name, const std::string &text)
{
    PropertyValue *property = FindProperty(instance, name);
    if (property == nullptr)
        instance->properties.push_back({name, kCimOk, text});
    else if (property->status == kCimOk)
        property->text = text;
}

bool IsRecord(const HostInstance &host)
{
    return host.key.compare(0, strlen(kLogRecordPathHead), kLogRecordPathHead) == 0;
}

}  // namespace

SimProvider::SimProvider(Host host) : host_(std::move(host)) {}

int SimProvider::Load(ImageWriter *store)
{
    source_ = store->AddSource(kSourceName);
    for (HostInstance &instance : host_.instances) {
        instance.instance.source = source_;
        const int error = store->Put(instance.key, instance.instance);
        if (error != 0)
            return error;
    }
    TellHeard(store);
    return store->PutFaults(host_.faults.properties);
}

void SimProvider::Tick(ImageWriter *store, std::vector<ProviderAnswer> *)
{
    TellHeard(store);
}

void SimProvider::TellHeard(ImageWriter *store)
{
    HostInstance *system = Find(kSystemClass);
    if (system == nullptr || system->instance.status != kCimOk)
        return;
    const PropertyValue *power = FindProperty(&system->instance, kPropertyPowerStatus);
    if (power != nullptr && power->status == kCimOk)
        store->Heard(source_, ClockMs());
}

HostInstance *SimProvider::Find(const std::string &key)
{
    for (HostInstance &instance : host_.instances) {
        if (instance.key == key)
            return &instance;
    }
    return nullptr;
}

const HostMethodFault *SimProvider::FaultOf(const std::string &method) const
{
    for (const HostMethodFault &fault : host_.methods) {
        if (fault.method == method)
            return &fault;
    }
    return nullptr;
}

bool SimProvider::Has(const std::string &key) const
{
    return std::any_of(host_.instances.begin(), host_.instances.end(),
                       [&](const HostInstance &instance) { return instance.key == key; });
}

ProviderReply SimProvider::Invoke(const MethodCall &call, ImageWriter *store)
{
    HostInstance *target = Find(call.key);
    if (target == nullptr)
        return {.status = kCimNotFound};
    if (target->instance.status != kCimOk)
        return {.status = target->instance.status};
    TellHeard(store);

    const HostMethodFault *fault = FaultOf(call.row->method);
    ProviderReply reply;
    if (fault != nullptr && fault->status != kCimOk)
        reply.status = fault->status;
    else if (fault != nullptr && fault->hasReturn)
        reply = {.status = kCimOk, .result = fault->returnWord};
    else
        reply = Act(target, call, store);
    if (fault != nullptr) {
        reply.delayMs = fault->delayMs;
        reply.send = fault->reply;
    }
    return reply;
}

ProviderReply SimProvider::Act(HostInstance *target, const MethodCall &call, ImageWriter *store)
{
    return call.row->id == MethodId::Clear ? Clear(target, store) : Power(target, call, store);
}

ProviderReply SimProvider::Power(HostInstance *system, const MethodCall &call, ImageWriter *store)
{
    const PropertyValue *power = FindProperty(&system->instance, kPropertyPowerStatus);
    if (power != nullptr && power->status != kCimOk)
        return {.status = power->status};
    const bool isOn = power != nullptr && power->text == kPowerStatusOn;
    const MethodId method = call.row->id;
    if (isOn == (method == MethodId::Start))
        return {.status = kCimOk, .result = kMethodNotApplicable};

    HostInstance changed = *system;
    if (method == MethodId::Reset) {
        SetProperty(&changed.instance, kPropertyLastReset,
                    !call.argument.empty() ? "PowerCycle" : kMethodReset);
        SetProperty(&changed.instance, kPropertyResetCount, std::to_string(resets_ + 1));
    } else {
        SetProperty(&changed.instance, kPropertyPowerStatus,
                    method == MethodId::Start ? kPowerStatusOn : kPowerStatusOff);
    }
    if (store->Put(changed.key, changed.instance) != 0)
        return {.status = kCimFailed};
    effect_ = method == MethodId::Reset ? Effect::Reset : Effect::Power;
    changed_ = std::move(changed);
    return {.status = kCimOk};
}

ProviderReply SimProvider::Clear(HostInstance *log, ImageWriter *store)
{
    HostInstance changed = *log;
    SetProperty(&changed.instance, kPropertyNumRecords, "0");
    for (const HostInstance &instance : host_.instances) {
        if (IsRecord(instance) && store->Delete(instance.key) != 0)
            return {.status = kCimFailed};
    }
    if (store->Put(changed.key, changed.instance) != 0)
        return {.status = kCimFailed};
    effect_ = Effect::Clear;
    changed_ = std::move(changed);
    return {.status = kCimOk};
}

void SimProvider::Committed(bool done)
{
    if (done && effect_ != Effect::None) {
        if (HostInstance *target = Find(changed_.key))
            *target = std::move(changed_);
        resets_ += effect_ == Effect::Reset ? 1 : 0;
        if (effect_ == Effect::Clear)
            std::erase_if(host_.instances, IsRecord);
    }
    effect_ = Effect::None;
}
