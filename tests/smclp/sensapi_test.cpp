// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/sensapi.h"

#include "platform/list.h"
#include "smclp/me/me.h"
#include "support/fake_objmgr.h"
#include "support/kind_checks.h"
#include "support/test_shell.h"

#include <gtest/gtest.h>
#include <string.h>

namespace
{

// Two temperatures among other kinds: at index 2 and 4.
struct SensorHost {
    SensorHost()
    {
        om.AddSensor("4", "1", {"Name", "Fan 1"});
        om.AddSensor("1", "1", {"Name", "Inlet", "Reading", "21"});
        om.AddSensor("1", "2", {"Name", "Other format"});
        om.AddSensor("1", "1", {"Name", "Exhaust", "Reading", "38"});
    }
    // Result, then what is in the buffer (full of "x" before).
    std::string Data(u32 type, u32 format, u32 instance, const char *property)
    {
        memset(out, 'x', sizeof out);
        const u32 result = get_sensor_data(type, format, instance, out, property);
        EXPECT_EQ(om.openConnections, 0);
        EXPECT_EQ(out[kSensorTextSize], 'x');
        return std::to_string(result) + " " + std::string(out, strnlen(out, 8));
    }
    FakeObjMgr om;
    TraceCapture traces;
    char out[kSensorTextSize + 1];
};

const Lines kMismatch0 = {"ERROR: sensapi [#]: CIM_STATUS = 6",
                          "ERROR: sensapi [#]: SensorType mismatch. Type = 0"};

}  // namespace

TEST(GetSensorData, ReadsTheSecondOfAKindAndNoInstanceMore)
{
    SensorHost host;
    EXPECT_EQ(host.Data(1, 1, 2, "Name"), "0 Exhaust");
    EXPECT_EQ(host.om.log, (Lines{"ObjMgrGetInterface", "Open", "InitInstance 1024",
                                  "GetInstance OEM_QARN_Sensor.Index=1", "GetInstanceValue Type",
                                  "GetInstanceValue Format", "GetInstance OEM_QARN_Sensor.Index=2",
                                  "GetInstanceValue Type", "GetInstanceValue Format",
                                  "GetInstance OEM_QARN_Sensor.Index=3", "GetInstanceValue Type",
                                  "GetInstanceValue Format", "GetInstance OEM_QARN_Sensor.Index=4",
                                  "GetInstanceValue Type", "GetInstanceValue Format",
                                  "GetInstanceValue Name", "Close"}));
    EXPECT_EQ(host.traces.Lines(), Lines{});
}

TEST(GetSensorData, OtherKindsDoNotShiftTheNumbers)
{
    SensorHost host;
    EXPECT_EQ(host.Data(1, 1, 1, "Reading"), "0 21");
    EXPECT_EQ(host.om.instanceReads, 2u);
    EXPECT_EQ(host.Data(1, 1, 2, "Reading"), "0 38");
    EXPECT_EQ(host.Data(1, 2, 1, "Name"), "0 Other fo");
    EXPECT_EQ(host.Data(4, 1, 1, "Name"), "0 Fan 1");
}

TEST(GetSensorData, ClearsTheWholeBufferBeforeItWrites)
{
    SensorHost host;
    host.Data(1, 1, 1, "Reading");
    for (size_t i = 2; i < kSensorTextSize; ++i)
        ASSERT_EQ(host.out[i], '\0') << i;
}

TEST(GetSensorData, MissingSensorIsTracedAsStatusAndThenAsMismatchWithTheLastType)
{
    for (const u32 instance : {0u, 3u, 65536u}) {
        SensorHost host;
        EXPECT_EQ(host.Data(1, 1, instance, "Name"), "1 xxxxxxxx");
        EXPECT_EQ(host.traces.Lines(),
                  (Lines{"ERROR: sensapi [#]: CIM_STATUS = 6",
                         "ERROR: sensapi [#]: SensorType mismatch. Type = 1"}));
        EXPECT_EQ(host.om.Logged("GetInstance ").back(), "GetInstance OEM_QARN_Sensor.Index=5");
        EXPECT_EQ(host.om.instanceReads, 5u);
    }
}

TEST(GetSensorData, NoSensorsAtAllMismatchWithType0)
{
    FakeObjMgr om;
    TraceCapture traces;
    char out[kSensorTextSize];
    EXPECT_EQ(get_sensor_data(1, 1, 1, out, "Name"), 1u);
    EXPECT_EQ(traces.Lines(), kMismatch0);
    EXPECT_EQ(om.openConnections, 0);
}

TEST(GetSensorData, AnyOtherStatusEndsTheListToo)
{
    SensorHost host;
    host.om.missingStatus = 1;
    EXPECT_EQ(host.Data(1, 1, 3, "Name"), "1 xxxxxxxx");
    EXPECT_EQ(host.traces.Lines(), (Lines{"ERROR: sensapi [#]: CIM_STATUS = 1",
                                          "ERROR: sensapi [#]: SensorType mismatch. Type = 1"}));
}

TEST(GetSensorData, AccessDeniedInTheMiddleEndsTheSearch)
{
    SensorHost host;
    host.om.SetInstanceStatus("OEM_QARN_Sensor.Index=3", kCimAccessDenied);
    EXPECT_EQ(host.Data(1, 1, 2, "Name"), "1 xxxxxxxx");
    EXPECT_EQ(host.traces.Lines(), (Lines{"ERROR: sensapi [#]: Access denied",
                                          "ERROR: sensapi [#]: SensorType mismatch. Type = 1"}));
    EXPECT_EQ(host.om.instanceReads, 3u);
    EXPECT_EQ(host.Data(1, 1, 1, "Name"), "0 Inlet");
}

TEST(GetSensorData, MissingPropertyClearsTheBufferAndIsAnAssertion)
{
    SensorHost host;
    EXPECT_EQ(host.Data(1, 1, 1, "NoSuch"), "1 ");
    EXPECT_EQ(host.traces.Lines(), Lines{"ERROR: sensapi [#]: ** ASSERT FAILED"});
}

TEST(GetSensorData, EmptyTextIsAValue)
{
    SensorHost host;
    host.om.Set("OEM_QARN_Sensor.Index=2", "Reading", "");
    EXPECT_EQ(host.Data(1, 1, 1, "Reading"), "0 ");
    EXPECT_EQ(host.traces.Lines(), Lines{});
}

TEST(GetSensorData, TextsUpTo1023CharactersAreWhole)
{
    SensorHost host;
    for (const size_t length : {size_t{1023}, size_t{1024}, size_t{5000}}) {
        host.om.Set("OEM_QARN_Sensor.Index=2", "Name", std::string(length, 'a'));
        host.Data(1, 1, 1, "Name");
        EXPECT_EQ(strlen(host.out), 1023u) << length;
    }
    host.om.Set("OEM_QARN_Sensor.Index=2", "Name", std::string(1022, 'a'));
    host.Data(1, 1, 1, "Name");
    EXPECT_EQ(strlen(host.out), 1022u);
}

TEST(GetSensorData, PercentSignsStayAsTheyAre)
{
    SensorHost host;
    host.om.Set("OEM_QARN_Sensor.Index=2", "Name", "%s%n%d");
    EXPECT_EQ(host.Data(1, 1, 1, "Name"), "0 %s%n%d");
}

TEST(GetSensorData, MissingInterfaceIsAnAssertion)
{
    SensorHost host;
    host.om.interfaceMissing = true;
    EXPECT_EQ(host.Data(1, 1, 1, "Name"), "1 xxxxxxxx");
    EXPECT_EQ(host.traces.Lines(), Lines{"ERROR: sensapi [#]: ** ASSERT FAILED"});
    EXPECT_EQ(host.om.log, Lines{"ObjMgrGetInterface null"});
}

TEST(GetSensorData, FailedOpenIsClosedAndNotTraced)
{
    SensorHost host;
    host.om.openFails = true;
    EXPECT_EQ(host.Data(1, 1, 1, "Name"), "1 xxxxxxxx");
    EXPECT_EQ(host.om.log, (Lines{"ObjMgrGetInterface", "Open", "Close 0"}));
    EXPECT_EQ(host.traces.Lines(), Lines{});
}

TEST(GetSensorData, FailedInitInstanceIsClosedAndNotTraced)
{
    SensorHost host;
    host.om.initInstanceFails = true;
    EXPECT_EQ(host.Data(1, 1, 1, "Name"), "1 xxxxxxxx");
    EXPECT_EQ(host.om.log, (Lines{"ObjMgrGetInterface", "Open", "InitInstance 1024", "Close"}));
    EXPECT_EQ(host.traces.Lines(), Lines{});
}

TEST(GetSensorData, CodesAreComparedByTheirLow8Bits)
{
    FakeObjMgr om;
    TraceCapture traces;
    char out[kSensorTextSize];
    om.AddSensor("257", "513", {"Name", "wide"});
    EXPECT_EQ(get_sensor_data(1, 1, 1, out, "Name"), 0u);
    EXPECT_STREQ(out, "wide");
    EXPECT_EQ(get_sensor_data(0x101, 0x201, 1, out, "Name"), 0u);
    EXPECT_EQ(get_sensor_data(0, 1, 1, out, "Name"), 1u);
    EXPECT_EQ(get_num_instances(0xff01, 0xff01), 1u);
}

TEST(GetSensorData, TextsThatAreNoNumbersAndMissingCodesCountAs0)
{
    FakeObjMgr om;
    TraceCapture traces;
    char out[kSensorTextSize];
    om.AddSensor("abc", "", {"Name", "words"});
    const u32 index = om.AddSensor("7", "7", {"Name", "nothing"});
    om.RemoveProperty("OEM_QARN_Sensor.Index=" + std::to_string(index), "Type");
    om.RemoveProperty("OEM_QARN_Sensor.Index=" + std::to_string(index), "Format");
    om.AddSensor("12x", "3", {"Name", "digits first"});
    EXPECT_EQ(get_num_instances(0, 0), 2u);
    EXPECT_EQ(get_sensor_data(0, 0, 1, out, "Name"), 0u);
    EXPECT_STREQ(out, "words");
    EXPECT_EQ(get_sensor_data(0, 0, 2, out, "Name"), 0u);
    EXPECT_STREQ(out, "nothing");
    EXPECT_EQ(get_sensor_data(12, 3, 1, out, "Name"), 0u);
    EXPECT_STREQ(out, "digits first");
}

TEST(GetNumInstances, AsksForThePowerStatusFirstAndThenWalksTheWholeList)
{
    FakeObjMgr om;
    TraceCapture traces;
    om.AddSensor("1", "1", {});
    om.AddSensor("4", "1", {});
    EXPECT_EQ(get_num_instances(1, 1), 1u);
    EXPECT_EQ(om.log, (Lines{"ObjMgrGetInterface", "Open",
                             "GetPropertyValue OEM_QARN_System PowerStatus 1024",
                             "InitInstance 1024", "GetInstance OEM_QARN_Sensor.Index=1",
                             "GetInstanceValue Type", "GetInstanceValue Format",
                             "InitInstance 1024", "GetInstance OEM_QARN_Sensor.Index=2",
                             "GetInstanceValue Type", "GetInstanceValue Format",
                             "InitInstance 1024", "GetInstance OEM_QARN_Sensor.Index=3", "Close"}));
    EXPECT_EQ(traces.Lines(), Lines{"ERROR: sensapi [#]: CIM_STATUS = 6"});
}

TEST(GetNumInstances, CountsTypeAndFormatTogether)
{
    SensorHost host;
    EXPECT_EQ(get_num_instances(1, 1), 2u);
    EXPECT_EQ(get_num_instances(1, 2), 1u);
    EXPECT_EQ(get_num_instances(4, 1), 1u);
    EXPECT_EQ(get_num_instances(4, 2), 0u);
}

TEST(GetNumInstances, NothingIsThereWhileTheHostIsOff)
{
    for (const char *status : {"OFF", "off", "Off", "0"}) {
        SensorHost host;
        host.om.Set("OEM_QARN_System", "PowerStatus", status);
        EXPECT_EQ(get_num_instances(1, 1), 0u) << status;
        EXPECT_EQ(host.om.instanceReads, 1u) << status;
        EXPECT_EQ(host.traces.Lines(), Lines{}) << status;
    }
}

TEST(GetNumInstances, AnyOtherPowerStatusLetsItCount)
{
    for (const char *status : {"ON", "", "00", "0 ", "OFF ", "standby"}) {
        SensorHost host;
        host.om.Set("OEM_QARN_System", "PowerStatus", status);
        EXPECT_EQ(get_num_instances(1, 1), 2u) << status;
    }
}

TEST(GetNumInstances, PowerStatusThatCannotBeReadIs0AndTraced)
{
    SensorHost host;
    host.om.SetStatus("OEM_QARN_System", "PowerStatus", kCimAccessDenied);
    EXPECT_EQ(get_num_instances(1, 1), 0u);
    host.om.SetStatus("OEM_QARN_System", "PowerStatus", 7);
    EXPECT_EQ(get_num_instances(1, 1), 0u);
    EXPECT_EQ(host.traces.Lines(),
              (Lines{"ERROR: sensapi [#]: Access denied", "ERROR: sensapi [#]: CIM_STATUS = 7"}));
    EXPECT_EQ(host.om.openConnections, 0);
    EXPECT_EQ(host.om.instanceReads, 2u);
}

TEST(GetNumInstances, KeepsTheCountSoFarWhenTheWalkFails)
{
    SensorHost host;
    host.om.SetInstanceStatus("OEM_QARN_Sensor.Index=4", kCimAccessDenied);
    EXPECT_EQ(get_num_instances(1, 1), 1u);
    host.om.SetInstanceStatus("OEM_QARN_Sensor.Index=4", 1);
    EXPECT_EQ(get_num_instances(1, 1), 1u);
    EXPECT_EQ(host.traces.Lines(),
              (Lines{"ERROR: sensapi [#]: Access denied", "ERROR: sensapi [#]: CIM_STATUS = 1"}));
}

TEST(GetNumInstances, KeepsTheCountSoFarWhenInitInstanceFails)
{
    SensorHost host;
    // Interface, Open, power status, then four calls for each sensor: the third InitInstance.
    host.om.failCall = 3 + 4 + 4 + 1;
    EXPECT_EQ(get_num_instances(1, 1), 1u);
    EXPECT_EQ(host.om.log.back(), "Close");
    EXPECT_EQ(host.om.log[host.om.log.size() - 2], "InitInstance 1024");
    EXPECT_EQ(host.om.openConnections, 0);
    EXPECT_EQ(host.traces.Lines(), Lines{});
}

TEST(GetNumInstances, MissingInterfaceIsTracedFailedOpenIsNot)
{
    SensorHost host;
    host.om.openFails = true;
    EXPECT_EQ(get_num_instances(1, 1), 0u);
    EXPECT_EQ(host.om.log, (Lines{"ObjMgrGetInterface", "Open", "Close 0"}));
    EXPECT_EQ(host.traces.Lines(), Lines{});
    host.om.interfaceMissing = true;
    EXPECT_EQ(get_num_instances(1, 1), 0u);
    EXPECT_EQ(host.traces.Lines(), Lines{"ERROR: sensapi [#]: ** ASSERT FAILED"});
}

TEST(GetNumInstances, NoSensorsIs0)
{
    FakeObjMgr om;
    TraceCapture traces;
    EXPECT_EQ(get_num_instances(1, 1), 0u);
    EXPECT_EQ(traces.Lines(), Lines{"ERROR: sensapi [#]: CIM_STATUS = 6"});
}

TEST(GetNumInstances, Counts255And256Sensors)
{
    FakeObjMgr om;
    TraceCapture traces;
    for (int i = 0; i < 255; ++i)
        om.AddSensor("1", "1", {"Name", "S" + std::to_string(i + 1)});
    EXPECT_EQ(get_num_instances(1, 1), 255u);
    char out[kSensorTextSize];
    EXPECT_EQ(get_sensor_data(1, 1, 255, out, "Name"), 0u);
    EXPECT_STREQ(out, "S255");
    om.AddSensor("1", "1", {"Name", "S256"});
    EXPECT_EQ(get_num_instances(1, 1), 256u);
    EXPECT_EQ(get_sensor_data(1, 1, 256, out, "Name"), 0u);
    EXPECT_STREQ(out, "S256");
}

TEST(GetNumInstances, CountHas16Bits)
{
    FakeObjMgr om;
    TraceCapture traces;
    for (u32 index = 1; index <= 65537; ++index) {
        auto &properties = om.objects["OEM_QARN_Sensor.Index=" + std::to_string(index)].properties;
        properties["Type"] = {kCimOk, "1"};
        properties["Format"] = {kCimOk, "1"};
    }
    EXPECT_EQ(get_num_instances(1, 1), 1u);
    om.Remove("OEM_QARN_Sensor.Index=65536");
    EXPECT_EQ(get_num_instances(1, 1), 65535u);
}

TEST(GetSystemName, IsTheServiceTagReadAs64Bytes)
{
    FakeObjMgr om;
    char out[64] = "";
    EXPECT_EQ(get_system_name(out), 0u);
    EXPECT_STREQ(out, "TAG1234");
    EXPECT_EQ(om.log, (Lines{"ObjMgrGetInterface", "Open",
                             "GetPropertyValue OEM_QARN_System ServiceTag 64", "Close"}));
    om.Set("OEM_QARN_System", "ServiceTag", std::string(64, 't'));
    EXPECT_EQ(get_system_name(out), 0u);
    EXPECT_EQ(out, std::string(63, 't'));
}

TEST(GetSystemName, EveryFailureIs1AndOnlyAMissingInterfaceIsTraced)
{
    FakeObjMgr om;
    TraceCapture traces;
    char out[64] = "before";
    om.SetStatus("OEM_QARN_System", "ServiceTag", kCimAccessDenied);
    EXPECT_EQ(get_system_name(out), 1u);
    om.SetStatus("OEM_QARN_System", "ServiceTag", 1);
    EXPECT_EQ(get_system_name(out), 1u);
    om.openFails = true;
    EXPECT_EQ(get_system_name(out), 1u);
    EXPECT_EQ(traces.Lines(), Lines{});
    om.interfaceMissing = true;
    EXPECT_EQ(get_system_name(out), 1u);
    EXPECT_EQ(traces.Lines(), Lines{"ERROR: sensapi [#]: ** ASSERT FAILED"});
    EXPECT_STREQ(out, "before");
    EXPECT_EQ(om.openConnections, 0);
}

TEST(GetPossibleStatesString, QuotesEachTextInOrder)
{
    const char *const texts[] = {"good", "bad", "unknown"};
    char out[kSensorTextSize] = "";
    EXPECT_EQ(get_possible_states_string(out, texts, 3), out);
    EXPECT_STREQ(out, "{ \"good\" \"bad\" \"unknown\" }");
}

TEST(GetPossibleStatesString, AppendsToWhatIsThere)
{
    const char *const texts[] = {"a"};
    char out[kSensorTextSize] = "x=";
    EXPECT_STREQ(get_possible_states_string(out, texts, 1), "x={ \"a\" }");
    EXPECT_STREQ(get_possible_states_string(out, texts, 0), "x={ \"a\" }{ }");
}

TEST(GetPossibleStatesString, StaysInsideItsBuffer)
{
    const std::string text(300, 'a');
    const char *const texts[] = {text.c_str(), text.c_str(), text.c_str(), text.c_str()};
    char out[kSensorTextSize + 1] = "";
    out[kSensorTextSize] = 'x';
    get_possible_states_string(out, texts, 4);
    EXPECT_EQ(out[kSensorTextSize], 'x');
    EXPECT_EQ(strlen(out), kSensorTextSize - 1);
    get_possible_states_string(out, texts, 4);
    EXPECT_EQ(strlen(out), kSensorTextSize - 1);
}

TEST(AddProperties, AddsEachNameWithAnEmptyValue)
{
    FakeObjMgr om;
    TestShell shell;
    ManagedElement *element = MeCreate();
    const char *const names[] = {"One", "Two"};
    EXPECT_EQ(add_properties(element, names, 0), 0u);
    EXPECT_EQ(PropertiesOf(element), "");
    EXPECT_EQ(add_properties(element, names, 2), 0u);
    EXPECT_EQ(PropertiesOf(element), "One Two");
    EXPECT_STREQ(static_cast<MeProperty *>(element->properties)->value, "");
}

TEST(AddProperties, StopsAtTheFirstFailureAndReturnsIt)
{
    FakeObjMgr om;
    TestShell shell;
    ManagedElement *element = MeCreate();
    const std::string tooLong(64, 'n');
    const char *const names[] = {"One", tooLong.c_str(), "Three"};
    EXPECT_EQ(add_properties(element, names, 3), 2u);
    EXPECT_EQ(PropertiesOf(element), "One");
    EXPECT_EQ(add_properties(nullptr, names, 1), 2u);
}
