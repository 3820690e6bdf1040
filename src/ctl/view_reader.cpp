// SPDX-License-Identifier: Apache-2.0
// view_reader.cpp -- see view_reader.h.
#include "ctl/view_reader.h"

#include "objmgr/schema.h"

#include <algorithm>
#include <charconv>
#include <stdlib.h>

namespace
{

constexpr const char *kSystemProperties[] = {kPropertyPowerStatus, kPropertyServiceTag,
                                             kPropertyHostName, kPropertyDescription};
constexpr const char *kLogProperties[] = {kPropertyNumRecords};
constexpr const char *kSensorProperties[] = {kPropertyType,
                                             kPropertyFormat,
                                             kPropertyName,
                                             kPropertyReading,
                                             kPropertyWarningThresholdMin,
                                             kPropertyWarningThresholdMax,
                                             kPropertyFailThresholdMin,
                                             kPropertyFailThresholdMax,
                                             kPropertyStatusText,
                                             kPropertyState,
                                             kPropertyStateValue};
constexpr const char *kRecordProperties[] = {kPropertyTimestamp, kPropertyDescription};

constexpr size_t kStorageSize = 1024;  // bytes of an instance object
constexpr u32 kMostRecords = 65535;    // the shell counts records in 16 bits

}  // namespace

const char *ViewReasonOf(ObjMgrPresence presence)
{
    switch (presence) {
    case ObjMgrPresence::NotTrusted:
        return "others than its owner may write the object manager's directory";
    case ObjMgrPresence::Dead:
        return "the object manager has ended";
    case ObjMgrPresence::Hung:
        return "the object manager hangs";
    case ObjMgrPresence::OtherVersion:
        return "the object manager is of another version";
    case ObjMgrPresence::Forbidden:
        return "no right to read the object manager: its group has it";
    case ObjMgrPresence::Unreadable:
        return "the object manager cannot be read";
    case ObjMgrPresence::Serving:
    case ObjMgrPresence::Absent:
        break;
    }
    return "no object manager serves";
}

CtlExit ViewExitOf(ObjMgrPresence presence)
{
    return presence == ObjMgrPresence::Forbidden ? kExitNoRight : kExitNoService;
}

ViewReader::~ViewReader()
{
    Release();
}

void ViewReader::Release()
{
    if (objMgr_ != nullptr)
        objMgr_->Close(handle_);
    handle_ = 0;
    view_ = {};
    keys_.clear();
    sourceNumbers_.clear();
    properties_.clear();
}

// Adds the instance at `path` under `key`. False: there is none. One that cannot be read is there,
// with its status.
bool ViewReader::AddInstance(const char *path, std::string_view key,
                             std::span<const char *const> properties)
{
    alignas(max_align_t) char storage[kStorageSize];  // InitInstance's to fill
    ObjMgrInstance *instance = objMgr_->InitInstance(storage, sizeof storage);
    if (instance == nullptr)
        return false;
    ViewInstance added;
    added.status = objMgr_->GetInstance(handle_, path, 0, instance);
    if (added.status == kCimNotFound)
        return false;
    std::vector<ViewProperty> &list = properties_.emplace_back();
    for (const char *name : properties) {
        const char *text =
            added.status == kCimOk ? objMgr_->GetInstanceValue(instance, name) : nullptr;
        if (text != nullptr)
            list.push_back({name, text});
    }
    keys_.emplace_back(key);
    added.key = keys_.back();
    added.unit = ObjMgrUnit(instance);
    added.source = SourceOf(instance);
    added.properties = list;
    view_.instances.push_back(added);
    return added.status == kCimOk;
}

// The place of an instance's source in the view, which gets it with its first instance.
u32 ViewReader::SourceOf(const ObjMgrInstance *instance)
{
    const u32 number = ObjMgrSourceOf(instance);
    for (u32 i = 0; i < sourceNumbers_.size(); ++i) {
        if (sourceNumbers_[i] == number)
            return i;
    }
    ObjMgrSource source;
    if (number == kImageNoSource || !ObjMgrGetSource(number, &source))
        return UINT32_MAX;
    sourceNumbers_.push_back(number);
    view_.sources.push_back(
        {source.name, source.heard ? std::optional(source.ageMs / 1000.0) : std::nullopt});
    return static_cast<u32>(sourceNumbers_.size() - 1);
}

void ViewReader::AddSensors()
{
    RowPath path = SensorPath(1);
    while (AddInstance(path.Text(), path.Text(), kSensorProperties))
        path.Next();
}

void ViewReader::AddRecords()
{
    const auto text = ViewText(view_.instances.back(), kPropertyNumRecords);
    u32 count = 0;
    if (text)
        std::from_chars(text->data(), text->data() + text->size(), count);
    count = std::min(count, kMostRecords);
    RowPath path = LogRecordPath(1);
    for (u32 number = 1; number <= count; ++number, path.Next()) {
        const std::string digits = std::string(path.Text()) + kTimestampDigitsSuffix.text;
        AddInstance(digits.c_str(), path.Text(), kRecordProperties);
    }
}

bool ViewUseDirectory(const std::string &directory)
{
    static std::string used;  // changing it costs: every file is opened anew
    if (directory == used)
        return true;
    if (!ObjMgrUseDirectory(directory.empty() ? nullptr : directory.c_str()))
        return false;
    used = directory;
    return true;
}

const ServerView *ViewReader::Read(const std::string &directory, u32 parts)
{
    Release();
    const bool used = ViewUseDirectory(directory);
    objMgr_ = used ? ObjMgrGetInterface() : nullptr;
    if (objMgr_ == nullptr || objMgr_->Open(&handle_) != 0) {
        const ObjMgrPresence presence = used ? ObjMgrGetPresence() : ObjMgrPresence::Absent;
        reason_ = used ? ViewReasonOf(presence) : "the directory's path is too long";
        exit_ = ViewExitOf(presence);
        return nullptr;
    }
    char name[kImageServiceNameMax + 1];
    ObjMgrServiceName(name);
    view_.service = name;
    AddInstance(kSystemClass, kSystemClass, kSystemProperties);
    if ((parts & kViewSensors) != 0)
        AddSensors();
    if (AddInstance(kSelPath, kSelPath.text, kLogProperties) && (parts & kViewRecords) != 0)
        AddRecords();
    return &view_;
}
