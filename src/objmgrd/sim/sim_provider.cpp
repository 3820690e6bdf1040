// SPDX-License-Identifier: Apache-2.0
// sim_provider.cpp -- see sim_provider.h.
#include "objmgrd/sim/sim_provider.h"

#include "objmgr/object_path.h"

#include <algorithm>
#include <cstring>

namespace
{

// Beside what the shell reads: how the server was reset last, and how often.
constexpr char kPropertyLastReset[] = "LastReset";
constexpr char kPropertyResetCount[] = "ResetCount";

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

enum class Method { Start, Stop, Reset, Clear, Unknown };

// The method that a name means for the instance of this key.
Method MethodOf(const std::string &key, const std::string &name)
{
    if (key == kSystemClass && name == kMethodStart)
        return Method::Start;
    if (key == kSystemClass && name == kMethodStop)
        return Method::Stop;
    if (key == kSystemClass && name == kMethodReset)
        return Method::Reset;
    if (key == kSelPath.text && name == kMethodClear)
        return Method::Clear;
    return Method::Unknown;
}

// An empty text is no argument.
bool HasArgs(const MethodRequest &request)
{
    return request.hasArgs && request.args[0] != '\0';
}

bool TakesArgs(Method method, const MethodRequest &request)
{
    return !HasArgs(request) ||
           (method == Method::Reset && strcmp(request.args, kPowerCycleArgument) == 0);
}

}  // namespace

SimProvider::SimProvider(Host host) : host_(std::move(host)) {}

int SimProvider::Load(StoreWriter *store)
{
    for (const HostInstance &instance : host_.instances) {
        const int error = store->Put(instance.key, instance.instance);
        if (error != 0)
            return error;
    }
    return store->PutFaults(host_.faults.properties);
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

ProviderReply SimProvider::Invoke(const Caller &, const MethodRequest &request, StoreWriter *store)
{
    ObjectPath path;
    if (ObjectPathParse(request.path, &path) != kCimOk)
        return {.status = kCimInvalidParameter};
    HostInstance *target = Find(path.key);
    if (target == nullptr)
        return {.status = kCimNotFound};
    const Method method = MethodOf(target->key, request.method);
    if (method == Method::Unknown)
        return {.status = kCimMethodNotFound};
    if (!TakesArgs(method, request))
        return {.status = kCimInvalidParameter};
    if (target->instance.status != kCimOk)
        return {.status = target->instance.status};

    const HostMethodFault *fault = FaultOf(request.method);
    ProviderReply reply;
    if (fault != nullptr && fault->status != kCimOk)
        reply.status = fault->status;
    else if (fault != nullptr && fault->hasReturn)
        reply = {.status = kCimOk, .result = fault->returnWord};
    else
        reply = Act(target, request, store);
    if (fault != nullptr) {
        reply.delayMs = fault->delayMs;
        reply.send = fault->reply;
    }
    return reply;
}

ProviderReply SimProvider::Act(HostInstance *target, const MethodRequest &request,
                               StoreWriter *store)
{
    if (MethodOf(target->key, request.method) == Method::Clear)
        return Clear(target, store);
    return Power(target, request, store);
}

ProviderReply SimProvider::Power(HostInstance *system, const MethodRequest &request,
                                 StoreWriter *store)
{
    const PropertyValue *power = FindProperty(&system->instance, kPropertyPowerStatus);
    if (power != nullptr && power->status != kCimOk)
        return {.status = power->status};
    const bool isOn = power != nullptr && power->text == kPowerStatusOn;
    const Method method = MethodOf(system->key, request.method);
    if (isOn == (method == Method::Start))
        return {.status = kCimOk, .result = kMethodNotApplicable};

    HostInstance changed = *system;
    if (method == Method::Reset) {
        SetProperty(&changed.instance, kPropertyLastReset,
                    HasArgs(request) ? "PowerCycle" : kMethodReset);
        SetProperty(&changed.instance, kPropertyResetCount, std::to_string(resets_ + 1));
    } else {
        SetProperty(&changed.instance, kPropertyPowerStatus,
                    method == Method::Start ? kPowerStatusOn : kPowerStatusOff);
    }
    if (store->Put(changed.key, changed.instance) != 0)
        return {.status = kCimFailed};
    effect_ = method == Method::Reset ? Effect::Reset : Effect::Power;
    changed_ = std::move(changed);
    return {.status = kCimOk};
}

ProviderReply SimProvider::Clear(HostInstance *log, StoreWriter *store)
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
