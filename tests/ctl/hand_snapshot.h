// SPDX-License-Identifier: Apache-2.0
// hand_snapshot.h -- snapshots written by hand.
#ifndef TESTS_CTL_HAND_SNAPSHOT_H
#define TESTS_CTL_HAND_SNAPSHOT_H

#include "ctl/snapshot.h"

#include <deque>

// Starts as a host that is on, with an empty log, from one source that was heard 0.5 s ago.
class HandSnapshot
{
public:
    using Texts = std::vector<std::pair<std::string, std::string>>;

    HandSnapshot()
    {
        snapshot.service = "objmgrd-test";
        snapshot.heartbeatAge = 0.1;
        snapshot.sources = {{"bmc", 0.5}};
        Add("OEM_QARN_System", {{"PowerStatus", "ON"},
                                {"ServiceTag", "TAG1234"},
                                {"HostName", "host-a"},
                                {"Description", "Test Server"}});
        Add("OEM_QARN_MessageLog.Name=SEL", {{"NumRecords", "0"}});
    }
    HandSnapshot(const HandSnapshot &) = delete;
    HandSnapshot &operator=(const HandSnapshot &) = delete;

    SnapshotInstance &Add(const std::string &key, const Texts &texts)
    {
        texts_.push_back(texts);
        keys_.push_back(key);
        std::vector<SnapshotProperty> &properties = properties_.emplace_back();
        for (const auto &text : texts_.back())
            properties.push_back({text.first, kCimOk, text.second});
        SnapshotInstance instance;
        instance.key = keys_.back();
        instance.properties = properties;
        snapshot.instances.push_back(instance);
        return snapshot.instances.back();
    }
    void AddSensor(u32 type, u32 format, Texts texts)
    {
        texts.push_back({"Type", std::to_string(type)});
        texts.push_back({"Format", std::to_string(format)});
        Add("OEM_QARN_Sensor.Index=" + std::to_string(++sensors_), texts);
    }
    // digits: fourteen of them, or "System Boot".
    void AddRecord(const std::string &digits, const std::string &description)
    {
        Add("OEM_QARN_LogRecord.LogName=SEL,RecordNum=" + std::to_string(++records_),
            {{"Timestamp;YYYYMMDDHHMMSS", digits}, {"Description", description}});
        Set("OEM_QARN_MessageLog.Name=SEL", "NumRecords", std::to_string(records_));
    }
    void Set(const std::string &key, const std::string &property, const std::string &text)
    {
        Property(key, property).text = texts_.emplace_back(Texts{{"", text}}).back().second;
    }
    // It cannot be read.
    void Fail(const std::string &key, const std::string &property)
    {
        Property(key, property).status = kCimFailed;
    }
    SnapshotInstance &At(const std::string &key)
    {
        for (SnapshotInstance &instance : snapshot.instances) {
            if (instance.key == key)
                return instance;
        }
        abort();
    }

    Snapshot snapshot;

private:
    SnapshotProperty &Property(const std::string &key, const std::string &property)
    {
        for (const SnapshotProperty &row : At(key).properties) {
            if (row.name == property)
                return const_cast<SnapshotProperty &>(row);
        }
        abort();
    }

    std::deque<Texts> texts_;
    std::deque<std::string> keys_;
    std::deque<std::vector<SnapshotProperty>> properties_;
    u32 sensors_ = 0;
    u32 records_ = 0;
};

#endif
