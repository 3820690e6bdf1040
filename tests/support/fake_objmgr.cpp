// SPDX-License-Identifier: Apache-2.0
// fake_objmgr.cpp -- the object manager of the tests.
#include "support/fake_objmgr.h"

#include "platform/str.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static FakeObjMgr *gFake;

struct ObjMgrInstance {
    const FakeObjMgr::Object *object;
    bool digits;
};

namespace
{

constexpr char kDigitsSuffix[] = ",TimestampFormat=YYYYMMDDHHMMSS";

// Counts a call that can fail; true when this one does.
bool Fails()
{
    return ++gFake->calls == gFake->failCall;
}

template <typename... Parts> void Log(const Parts &...parts)
{
    if (!gFake->keepLog)
        return;
    std::string text;
    ((text += parts), ...);
    gFake->log.push_back(text);
}

// A handle is used only while it is open: anything else is a fault of the code under test.
void RequireOpen(ObjMgrHandle handle)
{
    if (handle == 0 || gFake->openConnections == 0) {
        fprintf(stderr, "object manager called over a connection that is not open\n");
        abort();
    }
}

const FakeObjMgr::Object *Find(std::string path, bool *digits)
{
    const size_t at = path.find(kDigitsSuffix);
    *digits = at != std::string::npos;
    if (*digits)
        path.erase(at);
    const auto found = gFake->objects.find(path);
    return found == gFake->objects.end() ? nullptr : &found->second;
}

u32 Open(ObjMgrHandle *handle)
{
    Log("Open");
    if (*handle != 0) {
        fprintf(stderr, "Open with a handle that is not zeroed\n");
        abort();
    }
    if (Fails() || gFake->openFails)
        return 1;
    ++gFake->openConnections;
    *handle = ++gFake->opens;
    return 0;
}

void Close(ObjMgrHandle handle)
{
    Log(handle != 0 ? "Close" : "Close 0");
    if (handle != 0)
        --gFake->openConnections;
}

CimStatus GetInstance(ObjMgrHandle handle, const char *path, u32 flags, ObjMgrInstance *instance)
{
    RequireOpen(handle);
    Log("GetInstance ", path, flags != 0 ? " FLAGS" : "");
    ++gFake->instanceReads;
    instance->object = nullptr;
    if (Fails())
        return gFake->failStatus;
    bool digits;
    const FakeObjMgr::Object *object = Find(path, &digits);
    if (object == nullptr)
        return gFake->missingStatus;
    if (object->status != kCimOk)
        return object->status;
    *instance = {object, digits};
    return kCimOk;
}

CimStatus GetPropertyValue(ObjMgrHandle handle, const char *path, const char *property, u16 size,
                           char *buffer)
{
    RequireOpen(handle);
    Log("GetPropertyValue ", path, " ", property, " ", std::to_string(size));
    ++gFake->instanceReads;
    if (Fails())
        return gFake->failStatus;
    bool digits;
    const FakeObjMgr::Object *object = Find(path, &digits);
    if (object == nullptr)
        return gFake->missingStatus;
    if (object->status != kCimOk)
        return object->status;
    const auto found = object->properties.find(property);
    if (found == object->properties.end())
        return kCimNoSuchProperty;
    if (found->second.status != kCimOk)
        return found->second.status;
    StrCopy(buffer, found->second.text.c_str(), size);
    return kCimOk;
}

CimStatus InvokeMethod(ObjMgrHandle handle, const char *path, const char *method, const char *args,
                       u32 zero1, u32 zero2, u32 *result)
{
    RequireOpen(handle);
    Log("InvokeMethod ", path, " ", method, args != nullptr ? " " : "", args != nullptr ? args : "",
        zero1 != 0 || zero2 != 0 || *result != 0 ? " BAD" : "");
    if (Fails())
        return gFake->failStatus;
    if (gFake->methodStatus != kCimOk)
        return gFake->methodStatus;
    *result = gFake->methodResult;
    if (*result != 0)
        return kCimOk;
    const std::string name = method;
    if (name == "Start" || name == "Stop")
        gFake->Set("OEM_QARN_System", "PowerStatus", name == "Start" ? "ON" : "OFF");
    if (name == "Clear") {
        std::erase_if(gFake->objects, [](const auto &entry) {
            return entry.first.starts_with("OEM_QARN_LogRecord.");
        });
        gFake->Set("OEM_QARN_MessageLog.Name=SEL", "NumRecords", "0");
    }
    return kCimOk;
}

ObjMgrInstance *InitInstance(void *storage, u32 sizeBytes)
{
    Log("InitInstance ", std::to_string(sizeBytes));
    if (Fails() || gFake->initInstanceFails || sizeBytes < 64)
        return nullptr;
    const auto misplaced = reinterpret_cast<uintptr_t>(storage) % alignof(ObjMgrInstance);
    auto *at = static_cast<char *>(storage);
    if (misplaced != 0)
        at += alignof(ObjMgrInstance) - misplaced;
    auto *instance = reinterpret_cast<ObjMgrInstance *>(at);
    *instance = {nullptr, false};
    return instance;
}

const char *GetInstanceValue(const ObjMgrInstance *instance, const char *property)
{
    Log("GetInstanceValue ", property);
    if (Fails() || instance->object == nullptr || gFake->openConnections == 0)
        return nullptr;
    const auto &properties = instance->object->properties;
    auto found = properties.end();
    if (instance->digits)
        found = properties.find(std::string(property) + ";YYYYMMDDHHMMSS");
    if (found == properties.end())
        found = properties.find(property);
    if (found == properties.end() || found->second.status != kCimOk)
        return nullptr;
    return found->second.text.c_str();
}

void SetPrivilege(ObjMgrHandle handle, const ObjMgrPrivilege *privilege)
{
    RequireOpen(handle);
    char text[64];
    snprintf(text, sizeof text, "SetPrivilege %x%s", privilege->word,
             privilege->reserved[0] != 0 || privilege->reserved[1] != 0 ? " BAD" : "");
    Log(text);
}

constexpr ObjMgrInterface kInterface = {
    .Open = Open,
    .Close = Close,
    .GetInstance = GetInstance,
    .place4To8 = {},
    .GetPropertyValue = GetPropertyValue,
    .place10 = nullptr,
    .InvokeMethod = InvokeMethod,
    .place12To14 = {},
    .InitInstance = InitInstance,
    .place16To18 = {},
    .GetInstanceValue = GetInstanceValue,
    .SetPrivilege = SetPrivilege,
};

}  // namespace

const ObjMgrInterface *ObjMgrGetInterface()
{
    if (gFake == nullptr)
        return nullptr;
    const bool fails = Fails() || gFake->interfaceMissing;
    Log(fails ? "ObjMgrGetInterface null" : "ObjMgrGetInterface");
    return fails ? nullptr : &kInterface;
}

FakeObjMgr::FakeObjMgr()
{
    gFake = this;
    Set("OEM_QARN_System", "PowerStatus", "ON");
    Set("OEM_QARN_System", "ServiceTag", "TAG1234");
    Set("OEM_QARN_System", "Description", "Test Server");
    Set("OEM_QARN_System", "HostName", "host-a");
    Set("OEM_QARN_System", "Oem", "0");
    Set("OEM_QARN_MessageLog.Name=SEL", "NumRecords", "0");
}

FakeObjMgr::~FakeObjMgr()
{
    if (gFake == this)
        gFake = nullptr;
}

void FakeObjMgr::Set(const std::string &path, const std::string &property, const std::string &text)
{
    objects[path].properties[property] = {kCimOk, text};
}

void FakeObjMgr::SetStatus(const std::string &path, const std::string &property, CimStatus status)
{
    objects[path].properties[property] = {status, ""};
}

void FakeObjMgr::SetInstanceStatus(const std::string &path, CimStatus status)
{
    objects[path].status = status;
}

void FakeObjMgr::Remove(const std::string &path)
{
    objects.erase(path);
}

void FakeObjMgr::RemoveProperty(const std::string &path, const std::string &property)
{
    objects[path].properties.erase(property);
}

u32 FakeObjMgr::AddSensor(const char *type, const char *format,
                          const std::vector<std::string> &properties)
{
    u32 index = 1;
    while (objects.contains("OEM_QARN_Sensor.Index=" + std::to_string(index)))
        ++index;
    const std::string path = "OEM_QARN_Sensor.Index=" + std::to_string(index);
    Set(path, "Index", std::to_string(index));
    Set(path, "Type", type);
    Set(path, "Format", format);
    for (size_t i = 0; i + 1 < properties.size(); i += 2)
        Set(path, properties[i], properties[i + 1]);
    return index;
}

u32 FakeObjMgr::AddRecord(const std::string &timestamp, const std::string &digits,
                          const std::string &description)
{
    auto &count = objects["OEM_QARN_MessageLog.Name=SEL"].properties["NumRecords"].text;
    const u32 number = StrToUINT32(count.c_str()) + 1;
    count = std::to_string(number);
    const std::string path = "OEM_QARN_LogRecord.LogName=SEL,RecordNum=" + count;
    Set(path, "LogName", "SEL");
    Set(path, "RecordNum", count);
    Set(path, "Timestamp", timestamp);
    Set(path, "Timestamp;YYYYMMDDHHMMSS", digits);
    Set(path, "Description", description);
    return number;
}

std::vector<std::string> FakeObjMgr::Logged(const std::string &word) const
{
    std::vector<std::string> found;
    for (const std::string &entry : log) {
        if (entry.starts_with(word))
            found.push_back(entry);
    }
    return found;
}

void FakeObjMgr::ClearLog()
{
    log.clear();
    calls = 0;
    opens = 0;
    instanceReads = 0;
}
