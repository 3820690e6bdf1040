// SPDX-License-Identifier: Apache-2.0
// model.h -- what a view says of a server: its system, its sensors, its log.
//
// The same truth as the shell's: the same numbers of targets, the same words for states, no
// sensors while the host is off. What the shell leaves out because it is empty is null here.
#ifndef CTL_MODEL_H
#define CTL_MODEL_H

#include "ctl/sensor_kinds.h"
#include "ctl/sheet.h"
#include "ctl/view.h"

struct ModelSystem {
    bool readable = false;  // the host's instance is there, and its source answers
    Value serviceTag;
    Value hostName;
    Value description;
    Value power;  // "on", "off", another text in lower case as the source gives it; null
    Value records;
    std::optional<double> age;

    bool IsOn() const { return power.text == "on"; }
    bool IsOff() const { return power.text == "off"; }
};

struct ModelSensor {
    u32 index = 0;  // in the controller's list
    const SensorKind *kind = nullptr;
    const char *kindName = nullptr;
    u32 number = 0;      // of its kind, from 1
    std::string target;  // "/system1/temperatures1/tempsensor3"
    Value name;
    Value reading;  // a number, null where there is none
    Value unit;     // of the reading; null for a kind without one
    Value state;    // the shell's word; null when it cannot be read
    Health health = Health::Unknown;
    Value lowerCritical;
    Value lowerWarning;
    Value upperWarning;
    Value upperCritical;
    std::optional<double> age;
    u32 source = 0;
};

struct ModelRecord {
    u32 number = 0;           // RecordNum; 0: it is in the log no more
    std::optional<i64> time;  // seconds since 1970; none: it has none
    bool boot = false;        // from before the controller knew the time
    Value description;        // null when it cannot be read
    u32 archived = 0;         // its RecordNum when it came into the archive; 0: not from there
};

ModelSystem ModelSystemOf(const ServerView &view);

// In the order of the controller's list. None while the host is off, and none behind a gap in the
// list: that is where the shell's list ends.
std::vector<ModelSensor> ModelSensorsOf(const ServerView &view);

// The records 1 to NumRecords in their order, as the shell lists them. A record that is not there
// or cannot be read has no description.
std::vector<ModelRecord> ModelRecordsOf(const ServerView &view);

// The seconds that fourteen digits ("20240229065812") stand for, as UTC; nothing for other text
// and for a day or time that does not exist.
std::optional<i64> ModelTimeOfDigits(std::string_view digits);

// The rows of the answers. server: what -w called it; null without -w.
extern const SheetForm kSensorsForm;
extern const SheetForm kSystemForm;
extern const SheetForm kLogForm;
extern const SheetForm kArchiveForm;  // the same columns; a table shows what a record's number was
Row SensorRow(const Value &server, const ModelSensor &sensor);
Row SystemRow(const Value &server, const ServerView &view, const ModelSystem &system);
Row RecordRow(const Value &server, const ModelRecord &record);

#endif
