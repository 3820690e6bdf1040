// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/sensor_state: every event/reading type with every kind of target.
#include "objmgrd/ipmi/sensor_state.h"

#include "objmgrd/ipmi/sensor_place.h"

#include <gtest/gtest.h>

namespace
{

SdrSensor SensorOfEvent(u8 type, u8 eventType)
{
    SdrSensor sensor;
    sensor.name = "S";
    sensor.type = type;
    sensor.eventType = eventType;
    return sensor;
}

// What clients show: "not shown", the code or the words.
std::string Shown(u8 type, u8 eventType, u16 states)
{
    const SdrSensor sensor = SensorOfEvent(type, eventType);
    if (SensorPlaceOf(sensor).type == kTypeNoPlace)
        return "not shown";
    return SensorHasStateCode(sensor) ? SensorStateCode(sensor, states)
                                      : SensorStateWords(sensor, states);
}

struct Row {
    u8 eventType;
    u16 states;
    const char *text;
};

template <size_t Count> void ExpectRows(u8 type, const Row (&rows)[Count])
{
    for (const Row &row : rows)
        EXPECT_EQ(Shown(type, row.eventType, row.states), row.text)
            << "event type " << int{row.eventType} << ", states " << row.states;
}

}  // namespace

TEST(SensorState, Voltage)
{
    ExpectRows(2, {{0x02, 0x01, "not shown"}, {0x03, 0x02, "good"},      {0x03, 0x01, "bad"},
                   {0x03, 0x00, "unknown"},   {0x04, 0x01, "not shown"}, {0x05, 0x02, "bad"},
                   {0x05, 0x01, "good"},      {0x05, 0x00, "good"},      {0x06, 0x01, "not shown"},
                   {0x07, 0x01, "good"},      {0x07, 0x02, "bad"},       {0x07, 0x40, "bad"},
                   {0x07, 0x80, "good"},      {0x07, 0x100, "good"},     {0x08, 0x01, "not shown"},
                   {0x09, 0x02, "not shown"}, {0x0A, 0x01, "good"},      {0x0A, 0x08, "good"},
                   {0x0A, 0x40, "bad"},       {0x0A, 0x100, "bad"},      {0x0A, 0x04, "unknown"},
                   {0x6F, 0x01, "not shown"}});
}

TEST(SensorState, Battery)
{
    ExpectRows(41, {{0x03, 0x02, "not shown"}, {0x05, 0x02, "low"},     {0x05, 0x01, "good"},
                    {0x05, 0x00, "unknown"},   {0x07, 0x00, "good"},    {0x07, 0x01, "good"},
                    {0x07, 0x02, "low"},       {0x07, 0x10, "low"},     {0x07, 0x04, "failed"},
                    {0x07, 0x08, "failed"},    {0x07, 0x20, "failed"},  {0x07, 0x40, "failed"},
                    {0x07, 0x80, "good"},      {0x07, 0x100, "good"},   {0x08, 0x01, "absent"},
                    {0x08, 0x02, "good"},      {0x08, 0x00, "unknown"}, {0x09, 0x02, "not shown"},
                    {0x0A, 0x01, "good"},      {0x0A, 0x08, "good"},    {0x0A, 0x40, "low"},
                    {0x0A, 0x100, "failed"},   {0x0A, 0x10, "unknown"}, {0x6F, 0x02, "failed"},
                    {0x6F, 0x01, "low"},       {0x6F, 0x04, "good"},    {0x6F, 0x05, "low"},
                    {0x6F, 0x07, "failed"},    {0x6F, 0x00, "absent"}});
}

TEST(SensorState, Intrusion)
{
    ExpectRows(5, {{0x03, 0x01, "520"},
                   {0x03, 0x00, "520"},
                   {0x03, 0x02, "521"},
                   {0x05, 0x02, "not shown"},
                   {0x07, 0x01, "520"},
                   {0x07, 0x00, "520"},
                   {0x07, 0x02, "521"},
                   {0x07, 0x40, "521"},
                   {0x07, 0x80, "520"},
                   {0x08, 0x02, "not shown"},
                   {0x09, 0x02, "not shown"},
                   {0x0A, 0x01, "not shown"},
                   {0x6F, 0x00, "520"},
                   {0x6F, 0x01, "521"},
                   {0x6F, 0x10, "525"},
                   {0x6F, 0x40, "527"},
                   {0x6F, 0x42, "522"},
                   {0x6F, 0x80, "520"}});
}

TEST(SensorState, HardwarePerformance)
{
    ExpectRows(192, {{0x03, 0x01, "19221"}, {0x03, 0x00, "19221"},     {0x03, 0x02, "19222"},
                     {0x05, 0x01, "19221"}, {0x05, 0x02, "19222"},     {0x06, 0x01, "19221"},
                     {0x06, 0x02, "19222"}, {0x07, 0x01, "19221"},     {0x07, 0x04, "19222"},
                     {0x07, 0x80, "19221"}, {0x08, 0x01, "not shown"}, {0x09, 0x01, "not shown"},
                     {0x0A, 0x01, "19221"}, {0x0A, 0x08, "19221"},     {0x0A, 0x40, "19222"},
                     {0x6F, 0x00, "19221"}, {0x6F, 0x01, "19221"},     {0x6F, 0x02, "19222"},
                     {0x6F, 0x20, "19226"}, {0x6F, 0x40, "19221"},     {0x6F, 0x29, "19224"},
                     {0x70, 0x02, "19222"}, {0x7F, 0x04, "19223"},     {0x80, 0x02, "not shown"}});
}

// They have IPMI's own words.
TEST(SensorState, PowerSupplyAndRedundancy)
{
    ExpectRows(8, {{0x03, 0x01, "State Deasserted"},
                   {0x03, 0x02, "State Asserted"},
                   {0x03, 0x00, "unknown"},
                   {0x05, 0x02, "Limit Exceeded"},
                   {0x07, 0x01, "transition to OK"},
                   {0x07, 0x00, "unknown"},
                   {0x08, 0x01, "Device Removed/Device Absent"},
                   {0x08, 0x02, "Device Inserted/Device Present"},
                   {0x09, 0x01, "Device Disabled"},
                   {0x0A, 0x01, "transition to Running"},
                   {0x0B, 0x02, "Redundancy Lost"},
                   {0x0B, 0x00, "absent"},
                   {0x6F, 0x00, "absent"},
                   {0x6F, 0x01, "Presence detected"}});
    ExpectRows(4, {{0x0B, 0x01, "Fully Redundant"}, {0x0B, 0x00, "none"}});
    ExpectRows(7, {{0x6F, 0x00, "none"}});
}
