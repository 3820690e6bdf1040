// SPDX-License-Identifier: Apache-2.0
// hand_view.h -- views written by hand.
#ifndef TESTS_CTL_HAND_VIEW_H
#define TESTS_CTL_HAND_VIEW_H

#include "ctl/view.h"

#include <deque>

// Starts as a host that is on, with an empty log, from one source that was heard 0.5 s ago.
class HandView
{
public:
    using Texts = std::vector<std::pair<std::string, std::string>>;

    HandView()
    {
        view.service = "objmgrd-test";
        view.sources = {{"bmc", 0.5}};
        Add("OEM_QARN_System", {{"PowerStatus", "ON"},
                                {"ServiceTag", "TAG1234"},
                                {"HostName", "host-a"},
                                {"Description", "Test Server"}});
        Add("OEM_QARN_MessageLog.Name=SEL", {{"NumRecords", "0"}});
    }
    HandView(const HandView &) = delete;
    HandView &operator=(const HandView &) = delete;

    ViewInstance &Add(const std::string &key, const Texts &texts)
    {
        texts_.push_back(texts);
        keys_.push_back(key);
        std::vector<ViewProperty> &properties = properties_.emplace_back();
        for (const auto &text : texts_.back())
            properties.push_back({text.first, text.second});
        ViewInstance instance;
        instance.key = keys_.back();
        instance.properties = properties;
        view.instances.push_back(instance);
        return view.instances.back();
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
            {{"Timestamp", digits}, {"Description", description}});
        Set("OEM_QARN_MessageLog.Name=SEL", "NumRecords", std::to_string(records_));
    }
    void Set(const std::string &key, const std::string &property, const std::string &text)
    {
        Property(key, property).text = texts_.emplace_back(Texts{{"", text}}).back().second;
    }
    // It cannot be read.
    void Fail(const std::string &key, const std::string &property)
    {
        Property(key, property).name = "";
    }
    ViewInstance &At(const std::string &key)
    {
        for (ViewInstance &instance : view.instances) {
            if (instance.key == key)
                return instance;
        }
        abort();
    }

    ServerView view;

private:
    ViewProperty &Property(const std::string &key, const std::string &property)
    {
        for (const ViewProperty &row : At(key).properties) {
            if (row.name == property)
                return const_cast<ViewProperty &>(row);
        }
        abort();
    }

    std::deque<Texts> texts_;
    std::deque<std::string> keys_;
    std::deque<std::vector<ViewProperty>> properties_;
    u32 sensors_ = 0;
    u32 records_ = 0;
};

#endif
