// SPDX-License-Identifier: Apache-2.0
// sensor_map.h -- from a chassis's documents to its sensors, and from these to their instances of
// OEM_QARN_Sensor.
//
// There are two families of documents: the collections Sensors, Fans, PowerSupplies and Batteries
// with a document for each member, and the deprecated Thermal and Power with lists. Many services
// have both, and the same sensor has another name in each; so for each kind of sensor one source is
// chosen, that with more entries, and their union is never made.
//
//   kind                  Type, Format   what clients are told
//   temperature                1, 1      Reading in C
//   fan                        4, 1      Reading in RPM; "23 %" where only percent is told
//   voltage                    2, 1      Reading in V
//   power, current             3, 1      Reading in W and A; a current has "Current" in its name
//   intrusion                  5, 2      StateValue 520 or 521; none when it is not known
//   battery                   41, 2      State: absent, good, low, failed or unknown
//   power supply               8, 2      State, StatusText: absent, offline, input lost, input out
//                                        of range, good, degraded, failed or unknown
//   redundancy of fans,        4, 3      State: Fully Redundant, Redundancy Degraded, Redundancy
//   of power supplies          8, 3      Lost, Non-redundant or unknown
//
// Format 1 has thresholds and a StatusText besides. The service's Health decides the status; where
// it says none, the thresholds do. A sensor whose document could not be read stays in its place:
// its reading and its states have the status kCimFailed.
#ifndef OBJMGRD_REDFISH_SENSOR_MAP_H
#define OBJMGRD_REDFISH_SENSOR_MAP_H

#include "objmgrd/instances.h"
#include "objmgrd/redfish/link.h"

#include <bitset>

// In the order in which a chassis's sensors are listed.
enum class SensorKind : u8 {
    Temperature,
    Fan,
    Voltage,
    Power,
    Current,
    Intrusion,
    Battery,
    Supply,
    FanRedundancy,
    SupplyRedundancy,
};
constexpr u32 kSensorKindCount = 10;

// Kinds that are read equally often, and have one age.
enum class SensorGroup : u8 { Temperatures, Voltages, Currents, Fans, States };
constexpr u32 kSensorGroupCount = 5;
// Power is among the currents; what has no number among the states.
SensorGroup SensorGroupOf(SensorKind kind);
// By number of SensorGroup.
using SensorGroups = std::bitset<kSensorGroupCount>;

enum class SensorSource : u8 {
    None,
    Sensors,
    Fans,
    Supplies,
    Batteries,
    ThermalSubsystem,
    PowerSubsystem,
    Chassis,
    Thermal,
    Power,
};

enum class SensorLimit : u8 {
    LowerCaution,
    UpperCaution,
    LowerCritical,
    UpperCritical,
    LowerFatal,
    UpperFatal,
};
constexpr u32 kSensorLimitCount = 6;

struct Sensor {
    SensorKind kind = SensorKind::Temperature;
    u32 chassis = 0;                // its place among the machine's chassis
    std::string document;           // name of the document it stands in (LinkName)
    std::string id;                 // the same at each reading, and another for each sensor
    std::string shortId;            // Id or MemberId
    std::string told;               // its name as it is told
    std::string name;               // after NameSensors: as clients see it
    bool percent = false;           // a fan's reading and limits are in percent
    CimStatus status = kCimOk;      // not 0: its document cannot be read
    std::optional<double> reading;  // in the kind's unit; none: not available
    std::optional<double> limits[kSensorLimitCount];
    std::string state;   // Status.State
    std::string health;  // Status.Health
    std::string words;   // what State says, of the kinds that have one
    u32 code = 0;        // StateValue; 0: none
    u32 wattage = 0;     // of a power supply, in watts; 0: none is told
};

// What was read of one chassis; every part may be missing. The documents must outlive this.
struct ChassisView {
    Resource chassis;
    std::vector<Resource> sensors;
    std::vector<Resource> fans;
    std::vector<Resource> supplies;
    std::vector<Resource> batteries;
    Resource thermalSubsystem;
    Resource powerSubsystem;
    Resource thermal;
    Resource power;
};

// By number of SensorKind.
struct SensorChoice {
    SensorSource of[kSensorKindCount] = {};
    bool operator==(const SensorChoice &) const = default;
    // For one of these groups.
    bool Uses(SensorSource source, const SensorGroups &groups) const;
};

// The sensors of one kind that one source tells about, in the order of their ids.
std::vector<Sensor> SensorsIn(const ChassisView &chassis, SensorKind kind, SensorSource source);

// For each kind the source with more entries; of equal ones the newer. Of fans the source with more
// readings in RPM comes first.
SensorChoice ChooseSources(const ChassisView &chassis);

// All sensors of the chosen sources: by kind, then by id.
std::vector<Sensor> SensorsOf(const ChassisView &chassis, const SensorChoice &choice);

// Gives the sensors of the whole machine the names that clients see: what has no name of its own
// gets a word and its number in its kind, and same names in a kind are told apart by their ids.
void NameSensors(std::vector<Sensor> *sensors);

// The unit of a reading, for tools: "C", "RPM", "%", "V", "W", "A"; "" where there is none.
const char *SensorUnit(const Sensor &sensor);

Instance SensorInstance(u32 index, const Sensor &sensor);

// A number as clients see it: three decimals at most, no zeros at the end.
std::string NumberText(double number);

#endif
