// SPDX-License-Identifier: Apache-2.0
// show_model.cpp -- what "show -level all /" has to do, counted without running it.
#include "show_model.h"

namespace
{

// How a kind says how many instances it has now.
enum class Count : u8 {
    None,     // it has none to number
    One,      // always 1
    Records,  // 1 connection, 1 property read
    Sensors,  // 1 connection, 1 property read, and an instance read for every sensor and the end
};

// A kind's sections. Properties by what one value costs besides printing it:
//   fixed    nothing
//   system   1 connection, 1 property read
//   record   1 connection, 1 instance read (of a log record or a supply, by its number)
//   sensor   1 connection, the instance reads of a walk from the first sensor to this one
struct Kind {
    u32 id;
    u32 parentId;
    Count count;
    SensorPair pair;  // of Count::Sensors
    u32 verbs;
    u32 fixed;
    u32 system;
    u32 record;
    u32 sensor;
};

// In the order of the tree's making, which is that of every list of children.
constexpr Kind kKinds[] = {
    // id parent count         pair              verbs fixed system record sensor
    {1, 3, Count::None, {}, 5, 0, 0, 0, 0},                     // root
    {5, 1, Count::One, {}, 8, 9, 3, 0, 0},                      // system
    {30, 5, Count::One, {}, 5, 0, 0, 0, 0},                     // logs
    {25, 30, Count::One, {}, 5, 9, 1, 0, 0},                    // log
    {29, 25, Count::Records, {}, 6, 4, 0, 3, 0},                // record; 3 more are empty
    {31, 5, Count::One, {}, 6, 3, 1, 0, 0},                     // pwrmgtsvc
    {32, 31, Count::One, {}, 5, 4, 0, 0, 0},                    // pwrmgtcap
    {34, 5, Count::One, {}, 5, 4, 3, 0, 0},                     // chassis
    {36, 5, Count::One, {}, 5, 0, 0, 0, 0},                     // fans
    {35, 5, Count::One, {}, 5, 0, 0, 0, 0},                     // batteries
    {37, 5, Count::One, {}, 5, 0, 0, 0, 0},                     // intrusion
    {38, 5, Count::One, {}, 5, 0, 0, 0, 0},                     // hardwareperformance
    {39, 5, Count::One, {}, 5, 0, 0, 0, 0},                     // powersupplies
    {40, 5, Count::One, {}, 5, 0, 0, 0, 0},                     // temperatures
    {41, 5, Count::One, {}, 5, 0, 0, 0, 0},                     // voltages
    {43, 5, Count::One, {}, 5, 0, 0, 0, 0},                     // powermonitor
    {45, 36, Count::Sensors, kFan, 5, 9, 1, 0, 4},              // tachsensor
    {46, 40, Count::Sensors, kTemperature, 5, 9, 1, 0, 7},      // tempsensor
    {47, 41, Count::Sensors, kVoltage, 5, 6, 1, 0, 2},          // voltsensor
    {47, 41, Count::Sensors, kNumericVoltage, 5, 9, 1, 0, 3},   // numericsensor
    {48, 35, Count::Sensors, kBattery, 5, 7, 1, 0, 2},          // sensor
    {49, 37, Count::Sensors, kIntrusion, 6, 7, 1, 0, 2},        // sensor
    {50, 39, Count::Sensors, kPowerSupply, 5, 4, 1, 1, 3},      // pwrsupply
    {42, 36, Count::Sensors, kFanRedundancy, 5, 3, 0, 0, 2},    // redundancyset
    {42, 39, Count::Sensors, kPowerRedundancy, 5, 3, 0, 0, 2},  // redundancyset
    {44, 43, Count::Sensors, kPower, 5, 7, 1, 0, 8},            // numericsensor
    {51, 38, Count::Sensors, kPerformance, 5, 7, 1, 0, 2},      // sensor
};

// Of the 8 values of a numericsensor below powermonitor that look at the sensor (DeviceID,
// BaseUnits, CurrentReading, two thresholds, CurrentState, ElementName and
// OtherSensorTypeDescription) the two thresholds first ask whether it measures amperes, and read
// the sensor once more when it does not.
constexpr u32 kSecondReadsOfPower = 2;

class Model
{
public:
    explicit Model(const BenchHost &host) : host_(host) {}
    ShowCounts Run();

private:
    const Kind *ChildAfter(const Kind *parent, const Kind *previous) const;
    const Kind *FirstChild(const Kind *kind) const { return ChildAfter(kind, nullptr); }
    const Kind *NextSibling(const Kind *kind) const;
    const Kind *StopOf(const Kind *kind) const;
    u32 IndexOf(const Kind &kind, u32 instance) const;
    u32 Instances(const Kind &kind) const;

    u32 AskCount(const Kind &kind);
    void Print(u64 outputs, u64 lines);
    void Section(const Kind *kind, u32 instance);
    void Targets(const Kind *kind);
    void Properties(const Kind &kind, u32 instance);
    void Walk(const Kind *kind, const Kind *stop);

    const BenchHost &host_;
    ShowCounts total_;
    i64 depth_ = 0;  // how much further down the walk may go
};

const Kind *Model::ChildAfter(const Kind *parent, const Kind *previous) const
{
    bool from = previous == nullptr;
    for (const Kind &kind : kKinds) {
        if (from && kind.parentId == parent->id)
            return &kind;
        from = from || &kind == previous;
    }
    return nullptr;
}

const Kind *Model::NextSibling(const Kind *kind) const
{
    for (const Kind &parent : kKinds) {
        if (parent.id == kind->parentId)
            return ChildAfter(&parent, kind);
    }
    return nullptr;
}

// depth_ - 1 first children further down, or as far as they go.
const Kind *Model::StopOf(const Kind *kind) const
{
    for (i64 i = 1; i < depth_ && FirstChild(kind) != nullptr; ++i)
        kind = FirstChild(kind);
    return kind;
}

// The sensor's index, or, for no instance, how many there are of the kind.
u32 Model::IndexOf(const Kind &kind, u32 instance) const
{
    u32 index = 0;
    u32 found = 0;
    for (const BenchSensor &sensor : host_.sensors) {
        ++index;
        if (sensor.pair == kind.pair && ++found == instance)
            return index;
    }
    return found;
}

u32 Model::Instances(const Kind &kind) const
{
    switch (kind.count) {
    case Count::Records:
        return host_.records;
    case Count::Sensors:
        return IndexOf(kind, 0);
    default:
        return 1;
    }
}

u32 Model::AskCount(const Kind &kind)
{
    if (kind.count == Count::Records || kind.count == Count::Sensors) {
        ++total_.connections;
        ++total_.propertyReads;
    }
    if (kind.count == Count::Sensors)
        total_.instanceReads += host_.sensors.size() + 1;
    return Instances(kind);
}

void Model::Print(u64 outputs, u64 lines)
{
    total_.outputs += outputs;
    total_.lines += lines;
}

// A kind is asked once whether there is anything, then before every line and once more.
void Model::Targets(const Kind *kind)
{
    bool first = true;
    for (const Kind *child = FirstChild(kind); child != nullptr; child = NextSibling(child)) {
        const u32 count = AskCount(*child);
        if (count == 0)
            continue;
        if (first)
            Print(1, 2);  // an empty line, "Targets:"
        first = false;
        if (child->count != Count::None) {
            for (u32 i = 0; i <= count; ++i)
                AskCount(*child);
        }
        Print(count, count);
    }
}

void Model::Properties(const Kind &kind, u32 instance)
{
    const u64 shown = kind.fixed + kind.system + kind.record + kind.sensor;
    if (shown == 0)
        return;
    Print(1, 2);              // an empty line, "Properties:"
    Print(shown * 3, shown);  // name, padding, value
    total_.connections += kind.system + kind.record + kind.sensor;
    total_.propertyReads += kind.system;
    total_.instanceReads += kind.record;
    if (kind.count != Count::Sensors)
        return;
    const u32 index = IndexOf(kind, instance);
    total_.instanceReads += u64{kind.sensor} * index;
    if (kind.pair == kPower && !host_.sensors[index - 1].amperage) {
        total_.connections += kSecondReadsOfPower;
        total_.instanceReads += kSecondReadsOfPower * index;
    }
}

void Model::Section(const Kind *kind, u32 instance)
{
    Print(1, 2);  // an empty line, the address
    Targets(kind);
    Properties(*kind, instance);
    Print(1, 2);  // an empty line, "Verbs:"
    Print(kind->verbs, kind->verbs);
}

void Model::Walk(const Kind *kind, const Kind *stop)
{
    if (kind == nullptr)
        return;
    if (NextSibling(kind) == nullptr)
        --depth_;
    const bool counted = kind->count != Count::None;
    for (u32 i = 1; counted ? i <= AskCount(*kind) : i == 1; ++i) {
        Section(kind, i);
        if (kind->id != stop->id)
            Walk(FirstChild(kind), stop);
    }
    for (const Kind *next = NextSibling(kind); next != nullptr; next = NextSibling(next))
        Walk(next, StopOf(next));
}

ShowCounts Model::Run()
{
    depth_ = 1;  // and one for every kind that has children
    for (const Kind &kind : kKinds)
        depth_ += FirstChild(&kind) != nullptr;
    const Kind *root = &kKinds[0];
    Section(root, 0);
    --depth_;
    Walk(FirstChild(root), StopOf(FirstChild(root)));
    return total_;
}

}  // namespace

ShowCounts CountShowAll(const BenchHost &host)
{
    return Model(host).Run();
}
