// SPDX-License-Identifier: Apache-2.0
// sim_machine.cpp -- the server whose BMC ipmi_sim plays.
#include "ipmi/sim_machine.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace
{

constexpr i32 kNo = kSimNone;

// IPMI sensor types, event/reading types, units and entities.
enum : u8 { kTemperature = 1, kVoltage = 2, kCurrent = 3, kFan = 4, kIntrusion = 5 };
enum : u8 { kProcessor = 7, kPowerSupply = 8, kMemory = 12, kWatchdog = 35, kBattery = 41 };
enum : u8 { kPerformance = 192 };
enum : u8 { kThreshold = 1, kDigital = 3, kLimit = 5, kSeverity = 7, kRedundancy = 11 };
enum : u8 { kSpecific = 0x6F };
enum : u8 { kCelsius = 1, kVolts = 4, kAmps = 5, kWatts = 6, kRpm = 18 };
enum : u8 { kSupplyEntity = 10 };

SimSensor Temperature(u8 number, const char *name, u16 raw,
                      const std::array<i32, kSimThresholds> &thresholds)
{
    SimSensor sensor = {number, name, kTemperature, kThreshold, raw, kCelsius};
    sensor.b = -40;  // ipmi_sim compares bytes without a sign, so cold ones stand above zero
    sensor.access = "settable";
    sensor.thresholds = thresholds;
    return sensor;
}

SimSensor Fan(u8 number, const char *name, u16 raw, const char *access, i32 lowerCritical)
{
    SimSensor sensor = {number, name, kFan, kThreshold, raw, kRpm, 75};
    sensor.access = access;
    sensor.thresholds[1] = lowerCritical;
    return sensor;
}

SimSensor Numeric(u8 number, const char *name, u8 type, u16 raw, u8 unit, i32 m, i32 rExp)
{
    return {number, name, type, kThreshold, raw, unit, m, 0, rExp};
}

SimSensor Discrete(u8 number, const char *name, u8 type, u8 eventType, u16 bits)
{
    SimSensor sensor = {number, name, type, eventType, bits};
    sensor.record = SimRecord::Compact;
    return sensor;
}

SimSensor With(SimSensor sensor, SimReading reading)
{
    sensor.reading = reading;
    return sensor;
}

SimSensor OfSupply(SimSensor sensor, u8 instance)
{
    sensor.entity = kSupplyEntity;
    sensor.entityInstance = instance;
    return sensor;
}

std::vector<SimSensor> Sensors()
{
    SimSensor watts = Numeric(40, "Pwr Consumption", kCurrent, 84, kWatts, 4, 0);
    watts.access = "settable";
    watts.thresholds = {kNo, kNo, kNo, 220, 240, kNo};
    SimSensor amps = OfSupply(Numeric(41, "Current 1", kCurrent, 9, kAmps, 2, -1), 1);
    amps.access = "readable";
    amps.thresholds = {kNo, kNo, kNo, 60, 70, kNo};
    SimSensor core = Numeric(35, "CPU1 VCORE", kVoltage, 96, kVolts, 1, -2);
    core.access = "settable";
    core.thresholds = {70, 60, kNo, 120, 130, kNo};
    SimSensor drawers = Discrete(54, "Drawer", kIntrusion, kSpecific, 0);
    drawers.shareCount = 3;
    SimSensor watchdog = Discrete(70, "Watchdog", kWatchdog, kSpecific, 0);
    watchdog.record = SimRecord::EventOnly;

    // Kinds are mixed, as they are in real repositories.
    return {
        Temperature(1, "Inlet Temp", 63, {43, 33, kNo, 82, 87, kNo}),
        Fan(2, "Fan1A RPM", 56, "settable", 8),
        Temperature(3, "Exhaust Temp", 112, {kNo, kNo, kNo, 110, 115, kNo}),
        Temperature(4, "CPU1 Temp", 138, {43, 38, kNo, 130, 135, 140}),
        Temperature(5, "CPU2 Temp", 145, {43, 38, kNo, 130, 135, 140}),
        Discrete(6, "CPU1 Status", kProcessor, kSpecific, 0x80),
        Temperature(7, "DIMM Temp", 28, {30, 25, 20, 120, kNo, kNo}),
        Temperature(8, "PSU1 Temp", 22, {30, 25, 20, 120, kNo, kNo}),
        Temperature(9, "NVMe Temp", 12, {30, 25, 20, 120, kNo, kNo}),
        Numeric(10, "Ambient Far Edge", kTemperature, 25, kCelsius, 1, 0),
        With(Temperature(11, "PCIe Temp", 70, {43, 38, kNo, 120, 125, kNo}),
             SimReading::NotScanning),
        Fan(13, "Fan1B RPM", 52, "readable", 8),
        Fan(14, "Fan2A RPM", 6, "settable", 8),
        Fan(15, "Fan2B RPM", 54, "fixed", 9),
        Numeric(16, "Fan3 RPM", kFan, 0, kRpm, 75, 0),
        Discrete(17, "Fan Redundancy", kFan, kRedundancy, 0x01),
        Discrete(18, "Fan Zone 2 Red", kFan, kRedundancy, 0x02),
        Discrete(20, "CPU1 VCORE PG", kVoltage, kDigital, 0x02),
        Discrete(21, "CPU2 VCORE PG", kVoltage, kDigital, 0x01),
        Discrete(22, "12V Limit", kVoltage, kLimit, 0x01),
        Discrete(23, "5V Limit", kVoltage, kLimit, 0x02),
        Discrete(24, "3.3V Severity", kVoltage, kSeverity, 0x01),
        Discrete(25, "1.8V Severity", kVoltage, kSeverity, 0x04),
        With(Discrete(26, "MEM VTT PG", kVoltage, kDigital, 0x02), SimReading::NotScanning),
        core,
        Numeric(36, "12V", kVoltage, 193, kVolts, 63, -3),
        Numeric(37, "VBAT", kVoltage, 201, kVolts, 15, -3),
        watts,
        amps,
        Discrete(50, "CMOS Battery", kBattery, kSpecific, 0x04),
        Discrete(51, "ROMB Battery", kBattery, kSpecific, 0x05),
        Discrete(52, "Cache Battery", kBattery, kSpecific, 0x02),
        Discrete(53, "Spare Battery", kBattery, kSpecific, 0x00),
        drawers,
        Discrete(57, "Intrusion", kIntrusion, kSpecific, 0x00),
        Discrete(58, "LAN Leash", kIntrusion, kSpecific, 0x10),
        Discrete(59, "Zone Fan Area", kIntrusion, kSpecific, 0x40),
        OfSupply(Discrete(60, "PS1 Status", kPowerSupply, kSpecific, 0x01), 1),
        OfSupply(Discrete(61, "PS2 Status", kPowerSupply, kSpecific, 0x09), 2),
        Discrete(62, "PS Redundancy", kPowerSupply, kRedundancy, 0x01),
        Discrete(63, "System Perf", kPerformance, kSpecific, 0x01),
        Discrete(64, "Cooling Perf", kPerformance, kSpecific, 0x08),
        Discrete(65, "DIMM A1", kMemory, kSpecific, 0x40),
        watchdog,
    };
}

constexpr u32 kMarch2023 = 1678785161;  // 2023-03-14 09:12:41 UTC
constexpr u32 kUnspecifiedTime = 0xFFFFFFFF;

SimLogEntry Event(u32 seconds, u8 sensorType, u8 number, u8 eventType, u8 data1, u8 data2 = 0xFF,
                  u8 data3 = 0xFF, u8 generator = 0x20)
{
    return {0,
            0,
            0x02,
            static_cast<u8>(seconds),
            static_cast<u8>(seconds >> 8),
            static_cast<u8>(seconds >> 16),
            static_cast<u8>(seconds >> 24),
            generator,
            0,
            0x04,
            sensorType,
            number,
            eventType,
            data1,
            data2,
            data3};
}

// Record types of a maker's own: C0h to DFh carry a time, E0h and up do not.
SimLogEntry Oem(u8 recordType, u32 seconds)
{
    SimLogEntry entry = Event(seconds, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x57);
    entry[2] = recordType;
    return entry;
}

constexpr u8 kGoing = 0x80;  // event direction: deassertion

std::vector<SimLogEntry> Log()
{
    const u32 t = kMarch2023;
    std::vector<SimLogEntry> log = {
        Event(t, 0x10, 0x71, kSpecific, 0x02),
        Event(t + 3600, kTemperature, 4, kThreshold, 0x57, 132, 130),
        Event(t + 3660, kTemperature, 4, kThreshold, 0x59, 138, 135),
        Event(t + 7200, kTemperature, 4, kThreshold | kGoing, 0x59, 131, 135),
        Event(t + 7201, kFan, 14, kThreshold, 0x52, 6, 8),
        Event(t + 7202, kFan, 17, kRedundancy, 0x01),
        Event(t + 7300, kFan, 17, kRedundancy | kGoing, 0x01),
        Event(t + 90000, kPowerSupply, 61, kSpecific, 0x03),
        Event(t + 90001, kPowerSupply, 62, kRedundancy, 0x01),
        Event(t + 90100, kPowerSupply, 61, kSpecific | kGoing, 0x03),
        Event(t + 100000, kMemory, 65, kSpecific, 0x00, 0xFF, 0x02),
        Event(t + 100002, kVoltage, 21, kDigital, 0x00),
        Event(t + 100003, kBattery, 50, kSpecific, 0x01),
        Event(0x00000020, kIntrusion, 57, kSpecific, 0x00),
        Event(0x00000055, kIntrusion, 57, kSpecific | kGoing, 0x00),
        Event(0x20000000, kTemperature, 1, kThreshold, 0x50, 40, 43),
        Event(kUnspecifiedTime, kProcessor, 6, kSpecific, 0x01),
        Oem(0xC1, t + 200000),
        Oem(0xE3, t + 200000),
        Event(t + 300000, kTemperature, 0xEE, kThreshold, 0x52, 20, 21),
        Event(t + 300001, 0x0F, 0xD0, kSpecific, 0x02, 0x01, 0xFF, 0x33),
        Event(t + 300002, kWatchdog, 70, kSpecific, 0x01),
        Event(1720722005, kPerformance, 64, kSpecific, 0x03),
        Event(4102444800u, kVoltage, 35, kThreshold, 0x59, 131, 130),  // the year 2100
    };
    // Ids as a BMC gives them when old ones are free again: in no order.
    for (size_t i = 0; i < log.size(); ++i) {
        const size_t id = i < 4 ? 200 + i : i - 3;
        log[i][0] = static_cast<u8>(id);
        log[i][1] = static_cast<u8>(id >> 8);
    }
    return log;
}

// --- FRU data (IPMI Platform Management FRU Information Storage Definition) ---

u8 ZeroSum(const std::string &bytes)
{
    u8 sum = 0;
    for (const char c : bytes)
        sum = static_cast<u8>(sum + static_cast<u8>(c));
    return static_cast<u8>(-sum);
}

std::string TextField(const std::string &text)
{
    return static_cast<char>(0xC0 | text.size()) + text;
}

// An area: version, length in eights, language or type, fields, end mark, padding, sum.
std::string Area(const std::string &start, const std::vector<std::string> &fields)
{
    std::string body = start;
    for (const std::string &field : fields)
        body += TextField(field);
    body += '\xC1';
    while ((body.size() + 3) % 8 != 0)
        body += '\0';
    std::string area = {'\x01', static_cast<char>((body.size() + 3) / 8)};
    area += body;
    return area + static_cast<char>(ZeroSum(area));
}

// A power supply's record: capacity in watts, the rest plausible; 24 bytes.
std::string SupplyRecord(u16 watts)
{
    std::string body(24, '\0');
    body[0] = static_cast<char>(watts);
    body[1] = static_cast<char>(watts >> 8);
    body[4] = 20;                    // inrush current
    body[6] = '\x10', body[7] = 39;  // 100 V, in tens of millivolts
    body[8] = '\x60', body[9] = 93;  // 240 V
    body[14] = 47, body[15] = 63;    // Hz
    body[16] = 12;
    body[17] = 0x0C;
    std::string header = {'\0', '\x82', static_cast<char>(body.size()),
                          static_cast<char>(ZeroSum(body))};
    return header + static_cast<char>(ZeroSum(header)) + body;
}

std::string Fru(const std::string &chassis, const std::string &board, const std::string &product,
                const std::string &multi)
{
    std::string header(7, '\0');
    header[0] = 1;
    size_t at = 8;
    const std::string *areas[] = {&chassis, &board, &product, &multi};
    for (int i = 0; i < 4; ++i) {
        if (areas[i]->empty())
            continue;
        header[static_cast<size_t>(i) + 2] = static_cast<char>(at / 8);
        at += areas[i]->size();
    }
    return header + static_cast<char>(ZeroSum(header)) + chassis + board + product + multi;
}

std::vector<SimFru> Frus()
{
    const std::string rack = {'\x17'};                  // chassis type: rack mount
    const std::string english = {'\0'};                 // language
    const std::string made = {'\0', '\0', '\0', '\0'};  // language, no date
    return {
        {0, "", 0,
         Fru(Area(rack, {"CH-TR240", "QX7R2M1-C"}),
             Area(made, {"Tarnwick", "TR240 Board", "B00017", "TRB-240", ""}),
             Area(english, {"Tarnwick", "TR240 Rack Server", "TR240", "A01", "QX7R2M1", "", ""}),
             "")},
        {1, "PSU1 FRU", 1,
         Fru("", "", Area(english, {"Tarnwick", "PSU 750W", "PS750", "A", "PS00011", "", ""}),
             SupplyRecord(750))},
        {2, "PSU2 FRU", 2,
         Fru("", "", Area(english, {"Tarnwick", "PSU 1100W", "PS1100", "A", "PS00012", "", ""}),
             SupplyRecord(1100))},
    };
}

// --- ipmi_sim's languages ---

// printf into a string.
__attribute__((format(printf, 2, 3))) void Add(std::string *text, const char *format, ...)
{
    char line[512];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    *text += line;
}

constexpr const char *kThresholdWords[kSimThresholds] = {"lnc", "lc", "lnr", "unc", "uc", "unr"};

void AddThresholdFields(std::string *text, const SimSensor &sensor)
{
    Add(text,
        "  analog_data_format unsigned\n  base_unit %d\n  m %d\n  b %d\n  r_exp %d\n"
        "  sensor_maximum 255\n  positive_hysteresis 1\n  negative_hysteresis 1\n"
        "  sensor_threshold_access %s\n  sensor_hysteresis readable\n",
        sensor.unit, sensor.m, sensor.b, sensor.rExp,
        strcmp(sensor.access, "none") == 0 ? "0" : sensor.access);  // the compiler lacks the word
    for (size_t i = 0; i < kSimThresholds; ++i) {
        if (sensor.thresholds[i] == kNo)
            continue;
        const char *word = kThresholdWords[i];
        const char *direction = i < 3 ? "gl" : "gh";
        Add(text, "  %s_thresh %d\n  %s_thrsh_readable true\n  return_%s true\n", word,
            sensor.thresholds[i], word, word);
        Add(text, "  assert_%s%s true\n  deassert_%s%s true\n", word, direction, word, direction);
    }
}

void AddDiscreteFields(std::string *text, const SimSensor &sensor)
{
    for (int bit = 0; bit < 15; ++bit)
        Add(text, "  event%d_state_ret true\n  assert_event%d true\n  deassert_event%d true\n", bit,
            bit, bit);
    if (sensor.shareCount > 1)
        Add(text,
            "  share_count %d\n  id_string_modifier numeric\n  instance_modifier_off 1\n"
            "  entity_instance_incr true\n",
            sensor.shareCount);
}

void AddSensorRecord(std::string *text, const SimSensor &sensor)
{
    constexpr int kTypes[] = {1, 2, 3};
    Add(text,
        "sdr type %d\n  sensor_owner_id 0x20\n  sensor_owner_lun 0\n  channel_number 0\n"
        "  sensor_number %d\n  entity_id %d\n  entity_instance %d\n  sensor_type %d\n"
        "  event_reading_type_code %d\n  id_string \"%s\"\n",
        kTypes[static_cast<int>(sensor.record)], sensor.number, sensor.entity,
        sensor.entityInstance == 0 ? sensor.number : sensor.entityInstance, sensor.type,
        sensor.eventType, sensor.name);
    if (sensor.record != SimRecord::EventOnly) {
        *text += "  init_scanning true\n  init_events true\n  default_event_gen_on true\n"
                 "  default_sensor_scan_on true\n  sensor_auto_rearm true\n"
                 "  sensor_event_msg_ctrl per_state\n";
        if (sensor.eventType == kThreshold)
            AddThresholdFields(text, sensor);
        else
            AddDiscreteFields(text, sensor);
    }
    *text += "endsdr\n";
}

void AddThresholds(std::string *text, const SimSensor &sensor, u32 number)
{
    char enabled[kSimThresholds + 1] = "000000";
    std::string values;
    for (size_t i = kSimThresholds; i-- > 0;) {
        const i32 value = sensor.thresholds[i];
        enabled[kSimThresholds - 1 - i] = value == kNo ? '0' : '1';
        values += " " + std::to_string(value == kNo ? 0 : value);
    }
    Add(text, "sensor_set_threshold 0x20 0 %u %s %s%s\n", number, sensor.access, enabled,
        values.c_str());
}

void AddSensor(std::string *text, const SimSensor &sensor, u32 number)
{
    Add(text, "sensor_add 0x20 0 %u %d %d%s\n", number, sensor.type, sensor.eventType,
        sensor.record == SimRecord::EventOnly ? " event-only" : "");
    if (sensor.record == SimRecord::EventOnly)
        return;
    if (sensor.eventType == kThreshold)
        AddThresholds(text, sensor, number);
    const char *events = sensor.eventType == kThreshold ? "000111111111111" : "111111111111111";
    Add(text, "sensor_set_event_support 0x20 0 %u enable %s per-state %s %s %s %s\n", number,
        sensor.reading == SimReading::Good ? "scanning" : "no-scanning", events, events, events,
        events);
    if (sensor.eventType == kThreshold) {
        Add(text, "sensor_set_value 0x20 0 %u %d 0\n", number, sensor.raw);
        return;
    }
    for (int bit = 0; bit < 15; ++bit) {
        if ((sensor.raw >> bit & 1) != 0)
            Add(text, "sensor_set_bit 0x20 0 %u %d 1 0\n", number, bit);
    }
}

}  // namespace

SimMachine RackServer()
{
    return {Sensors(), Log(), Frus()};
}

const SimSensor &SimSensorNamed(const SimMachine &machine, const std::string &name)
{
    for (const SimSensor &sensor : machine.sensors) {
        if (name == sensor.name)
            return sensor;
    }
    fprintf(stderr, "the machine has no sensor %s\n", name.c_str());
    abort();
}

std::string SimSdrSource(const SimMachine &machine)
{
    std::string text = "sdr type 0x12\n  device_slave_address 0x20\n  device_channel_number 0\n"
                       "  entity_id 7\n  entity_instance 1\n  fru_inventory true\n  sel true\n"
                       "  id_string \"BMC\"\nendsdr\n";
    for (const SimSensor &sensor : machine.sensors)
        AddSensorRecord(&text, sensor);
    for (const SimFru &fru : machine.frus) {
        if (*fru.name == '\0')
            continue;
        Add(&text,
            "sdr type 0x11\n  device_access_address 0x20\n  fru_device_address %d\n"
            "  logical_fru true\n  device_type 0x10\n  device_type_modifier 0\n"
            "  fru_entity_id %d\n  fru_entity_instance %d\n  id_string \"%s\"\nendsdr\n",
            fru.id, kSupplyEntity, fru.entityInstance, fru.name);
    }
    return text;
}

std::string SimEmulationCommands(const SimMachine &machine, const std::string &directory)
{
    std::string text = "mc_setbmc 0x20\n"
                       "mc_add 0x20 0 no-device-sdrs 0x23 9 8 0x9f 0x1291 0xf02 persist_sdr\n"
                       "sel_enable 0x20 1000 0x0a\n";
    for (const SimSensor &sensor : machine.sensors) {
        for (u32 i = 0; i < sensor.shareCount && sensor.reading != SimReading::Missing; ++i)
            AddSensor(&text, sensor, sensor.number + i);
    }
    for (const SimFru &fru : machine.frus)
        Add(&text, "mc_add_fru_data 0x20 %d %zu file 0 \"%s/fru%d\"\n", fru.id, fru.bytes.size(),
            directory.c_str(), fru.id);
    return text + "mc_enable 0x20\n";
}

std::string SimLogFile(const std::vector<SimLogEntry> &log)
{
    // Its own reader puts each line in front of those before it.
    std::string text;
    for (size_t i = log.size(); i-- > 0;) {
        Add(&text, "%d:d:", log[i][0] | log[i][1] << 8);
        for (const u8 byte : log[i])
            Add(&text, "\\%02x", byte);
        text += "\n";
    }
    return text + "last_erase_time:i:0\nlast_add_time:i:1720722005\n";
}
