// SPDX-License-Identifier: Apache-2.0
// system_test.cpp -- /system1.
#include "smclp/me/system.h"

#include "support/fake_objmgr.h"
#include "support/hand_tree.h"

#include <gtest/gtest.h>
#include <string.h>

void MeRoot(ManagedElement *element);
void MeSystem(ManagedElement *element);

namespace
{

using Log = std::vector<std::string>;

class System : public ::testing::Test
{
protected:
    // The value as the kind writes it into a buffer of 256 bytes that holds "before".
    std::string Read(const char *name, u32 length = 256)
    {
        char value[256] = "before";
        om.ClearLog();
        result = MeSystemRefreshProperties(nullptr, name, value, length);
        return value;
    }
    FakeObjMgr om;
    TraceCapture trace;
    u32 result = 0;
};

constexpr const char *kAll[] = {
    "CreationClassName", "Name",           "NameFormat",     "Dedicated",   "ResetCapability",
    "EnabledState",      "RequestedState", "EnabledDefault", "HealthState", "OperationalStatus",
    "Description",       "ElementName"};
constexpr const char *kLive[] = {"Name", "Description", "ElementName"};

// The root and the system only.
class SystemTree : public HandTree
{
public:
    SystemTree()
    {
        MeRoot(root);
        SmclpPopulateManagedElement(root);
        system = AddKind(root, MeSystem);
    }
    ManagedElement *system;
};

}  // namespace

TEST_F(System, ConstructorFillsInTheKind)
{
    ManagedElement element = {};
    MeSystem(&element);
    EXPECT_STREQ(element.name, "system");
    EXPECT_STREQ(element.description,
                 "This target is used to manage system settings and operations");
    EXPECT_EQ(element.kindId, 5u);
    EXPECT_EQ(element.parentKindId, 1u);
    EXPECT_EQ(element.addProperties, MeSystemAddProperties);
    EXPECT_EQ(element.addVerbs, MeSystemAddVerbs);
    EXPECT_EQ(element.instanceTag, MeSystemInstanceTag);
    EXPECT_EQ(element.refreshProperties, MeSystemRefreshProperties);
    EXPECT_EQ(element.method, MeSystemMethod);
    EXPECT_EQ(element.word11, 0u);
    EXPECT_EQ(element.word15, 0u);
}

TEST_F(System, VerbsAndPropertiesStandInOrder)
{
    SystemTree tree;
    EXPECT_EQ(VerbsOf(tree.system), "1 12 3 8 2 10 11 13");
    EXPECT_EQ(PropertiesOf(tree.system),
              "CreationClassName Name NameFormat Dedicated ResetCapability EnabledState "
              "RequestedState EnabledDefault HealthState OperationalStatus Description "
              "ElementName");
    for (const void *entry = MeProperties(tree.system); entry != nullptr; entry = ListNext(entry))
        EXPECT_STREQ(static_cast<const MeProperty *>(entry)->value, "");
}

TEST_F(System, PropertiesThatFindNoMemoryReturnTheFailure)
{
    HandTree tree;
    while (MemMgrAlloc(kMePropertySize) != nullptr) {
    }
    ManagedElement element = {};
    EXPECT_EQ(MeSystemAddProperties(&element), 3u);
    EXPECT_EQ(MeSystemAddProperties(nullptr), 2u);
}

TEST_F(System, ThereIsOne)
{
    EXPECT_EQ(MeSystemInstanceTag(), 1u);
}

// Properties

TEST_F(System, ConstantsAskNobody)
{
    const struct {
        const char *name;
        const char *value;
    } rows[] = {
        {"CreationClassName", "CIM_ComputerSystem"},
        {"NameFormat", "other"},
        {"Dedicated", "0"},
        {"ResetCapability", "4"},
        {"EnabledState", "2"},
        {"RequestedState", "12"},
        {"EnabledDefault", "2"},
        {"HealthState", "5"},
        {"OperationalStatus", "2"},
    };
    for (const char *power : {"ON", "OFF"}) {
        om.Set("OEM_QARN_System", "PowerStatus", power);
        for (const auto &row : rows) {
            EXPECT_EQ(Read(row.name), row.value) << row.name;
            EXPECT_EQ(result, 0u);
            EXPECT_TRUE(om.log.empty());
        }
    }
}

TEST_F(System, LiveValuesComeOverAConnectionOfTheirOwnWithoutPrivilege)
{
    const ScopedEnv privilege("ZORPRIV", "1ff");
    EXPECT_EQ(Read("Name"), "TAG1234");
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(om.log, (Log{"ObjMgrGetInterface", "Open",
                           "GetPropertyValue OEM_QARN_System ServiceTag 64", "Close"}));
    EXPECT_EQ(Read("Description"), "Test Server");
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(om.log, (Log{"ObjMgrGetInterface", "Open",
                           "GetPropertyValue OEM_QARN_System Description 256", "Close"}));
    EXPECT_EQ(Read("ElementName"), "host-a");
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(om.log, (Log{"ObjMgrGetInterface", "Open",
                           "GetPropertyValue OEM_QARN_System HostName 256", "Close"}));
}

TEST_F(System, SizesAreTheCallersExceptForTheServiceTag)
{
    om.Set("OEM_QARN_System", "ServiceTag", std::string(100, 't'));
    om.Set("OEM_QARN_System", "Description", std::string(300, 'd'));
    EXPECT_EQ(Read("Name", 100), std::string(63, 't'));
    EXPECT_EQ(om.Logged("GetP"), Log{"GetPropertyValue OEM_QARN_System ServiceTag 64"});
    EXPECT_EQ(Read("Description", 65), std::string(64, 'd'));
    EXPECT_EQ(om.Logged("GetP"), Log{"GetPropertyValue OEM_QARN_System Description 65"});
    EXPECT_EQ(Read("Description", 256), std::string(255, 'd'));
    // Only 16 bits of the size reach the object manager.
    EXPECT_EQ(Read("Description", 0x10041), std::string(64, 'd'));
    EXPECT_EQ(om.Logged("GetP"), Log{"GetPropertyValue OEM_QARN_System Description 65"});
}

TEST_F(System, BufferOf64BytesIsTooSmallForAnyPropertyAndOf65Enough)
{
    for (const char *name : kAll) {
        for (const u32 length : {0u, 1u, 64u}) {
            EXPECT_EQ(Read(name, length), "before") << name;
            EXPECT_EQ(result, 1u);
            EXPECT_TRUE(om.log.empty());
        }
        EXPECT_NE(Read(name, 65), "before") << name;
        EXPECT_EQ(result, 0u);
    }
}

TEST_F(System, NamesAreComparedWithCaseAndOthersFail)
{
    for (const char *name : {"name", "NAME", "Name ", "", "Oem", "ServiceTag", "HostName"}) {
        EXPECT_EQ(Read(name), "before") << name;
        EXPECT_EQ(result, 1u);
        EXPECT_TRUE(om.log.empty());
    }
}

TEST_F(System, MissingInterfaceIsTraced)
{
    om.interfaceMissing = true;
    for (const char *name : kLive) {
        trace.Clear();
        EXPECT_EQ(Read(name), "before");
        EXPECT_EQ(result, 1u);
        EXPECT_EQ(trace.Lines(), Log{"ERROR: system [#]: ** ASSERT FAILED"});
        EXPECT_EQ(om.log, Log{"ObjMgrGetInterface null"});
    }
}

TEST_F(System, FailedOpenIsSilentAndClosed)
{
    om.openFails = true;
    for (const char *name : kLive) {
        EXPECT_EQ(Read(name), "before");
        EXPECT_EQ(result, 1u);
        EXPECT_EQ(om.log, (Log{"ObjMgrGetInterface", "Open", "Close 0"}));
    }
    EXPECT_TRUE(trace.Lines().empty());
}

TEST_F(System, FailedReadLeavesTheBufferAndFails)
{
    for (const CimStatus status : {1u, 2u, 6u}) {
        om.SetStatus("OEM_QARN_System", "Description", status);
        om.SetStatus("OEM_QARN_System", "HostName", status);
        for (const char *name : {"Description", "ElementName"}) {
            EXPECT_EQ(Read(name), "before");
            EXPECT_EQ(result, 1u);
            EXPECT_EQ(om.log.back(), "Close");
        }
    }
    EXPECT_TRUE(trace.Lines().empty());
    EXPECT_EQ(om.openConnections, 0);
}

// The status of the service tag is not looked at: deliberate.
TEST_F(System, NameSucceedsWhateverTheReadSays)
{
    for (const CimStatus status : {1u, 2u, 6u, 12u}) {
        om.SetStatus("OEM_QARN_System", "ServiceTag", status);
        EXPECT_EQ(Read("Name"), "before");
        EXPECT_EQ(result, 0u);
        EXPECT_EQ(om.log.back(), "Close");
    }
    EXPECT_TRUE(trace.Lines().empty());
}

TEST_F(System, EmptyValuesAreEmpty)
{
    om.Set("OEM_QARN_System", "Description", "");
    EXPECT_EQ(Read("Description"), "");
    EXPECT_EQ(result, 0u);
}

// Methods

TEST_F(System, MethodKnowsThreeNamesExactly)
{
    const ScopedEnv privilege("ZORPRIV", "1ff");
    ManagedElement element = {};
    for (const char *name : {"Start", "STOP", "reset ", "", "set", "powerstate=2", "restart"}) {
        std::string text = name;
        EXPECT_EQ(MeSystemMethod(&element, text.data(), 0, 0), 2u) << name;
    }
    char start[] = "start";
    EXPECT_EQ(MeSystemMethod(nullptr, start, 0, 0), 2u);
    EXPECT_EQ(MeSystemMethod(&element, nullptr, 0, 0), 2u);
    EXPECT_EQ(om.calls, 0u);
    EXPECT_EQ(MeSystemMethod(&element, start, 0, 0), 18u);
    char stop[] = "stop";
    EXPECT_EQ(MeSystemMethod(&element, stop, 0, 0), 0u);
    char reset[] = "reset";
    EXPECT_EQ(MeSystemMethod(&element, reset, 0, 0), 17u);
    EXPECT_EQ(MeSystemMethod(&element, start, 0, 0), 0u);
    EXPECT_EQ(MeSystemMethod(&element, reset, 0, 0), 0u);
}

namespace
{

// The calls of a power operation that gets as far as the power status, or to `method`.
Log PowerLog(const char *method)
{
    Log log = {"ObjMgrGetInterface", "Open", "SetPrivilege 1ff",
               "GetPropertyValue OEM_QARN_System PowerStatus 32"};
    if (method != nullptr)
        log.push_back(std::string("InvokeMethod OEM_QARN_System ") + method);
    log.push_back("Close");
    return log;
}

}  // namespace

TEST_F(System, OperationsByThePowerStatus)
{
    const ScopedEnv privilege("ZORPRIV", "1ff");
    const struct {
        u32 operation;
        const char *power;
        u32 result;
        const char *method;
    } rows[] = {
        {0, "ON", 18, nullptr},
        {0, "OFF", 0, "Start"},
        {1, "ON", 0, "Stop"},
        {1, "OFF", 17, nullptr},
        {2, "ON", 0, "Reset"},
        {2, "OFF", 17, nullptr},
        {3, "ON", 1, nullptr},
        {3, "OFF", 1, nullptr},
        {255, "ON", 1, nullptr},
        // Only the low 8 bits count.
        {0x100, "OFF", 0, "Start"},
        {0xffffff01, "ON", 0, "Stop"},
        {0x202, "ON", 0, "Reset"},
        {0x103, "ON", 1, nullptr},
    };
    for (const auto &row : rows) {
        for (const u32 ignored : {1u, 0u, 7u}) {
            om.Set("OEM_QARN_System", "PowerStatus", row.power);
            om.ClearLog();
            EXPECT_EQ(MeSystemPowerOperation(ignored, row.operation), row.result)
                << row.operation << row.power;
            EXPECT_EQ(om.log, PowerLog(row.method)) << row.operation << row.power;
        }
    }
    EXPECT_TRUE(trace.Lines().empty());
}

TEST_F(System, StartStopAndResetAreTheOperations)
{
    const ScopedEnv privilege("ZORPRIV", "1ff");
    ManagedElement element = {};
    EXPECT_EQ(MeSystemReset(&element), 0u);
    EXPECT_EQ(om.log, PowerLog("Reset"));
    om.ClearLog();
    EXPECT_EQ(MeSystemStop(&element), 0u);
    EXPECT_EQ(om.log, PowerLog("Stop"));
    om.ClearLog();
    EXPECT_EQ(MeSystemStart(&element), 0u);
    EXPECT_EQ(om.log, PowerLog("Start"));
}

TEST_F(System, OnlyExactlyOnIsOn)
{
    const ScopedEnv privilege("ZORPRIV", "1ff");
    for (const char *power : {"on", "On", "ON ", " ON", "ONN", "O", "OFF", "", "1"}) {
        om.Set("OEM_QARN_System", "PowerStatus", power);
        EXPECT_EQ(MeSystemPowerOperation(1, 1), 17u) << power;
        EXPECT_EQ(MeSystemPowerOperation(1, 2), 17u) << power;
        EXPECT_EQ(MeSystemPowerOperation(1, 0), 0u) << power;
    }
    om.Set("OEM_QARN_System", "PowerStatus", "ON");
    EXPECT_EQ(MeSystemPowerOperation(1, 0), 18u);
    om.Set("OEM_QARN_System", "PowerStatus", "ON" + std::string(100, ' '));
    EXPECT_EQ(MeSystemPowerOperation(1, 1), 17u);
}

TEST_F(System, UnusablePrivilegeIsRefusedBeforeAnyRead)
{
    for (const char *word : {static_cast<const char *>(nullptr), "", "xyz", "0x"}) {
        const ScopedEnv privilege("ZORPRIV", word);
        for (const u32 operation : {0u, 1u, 2u, 3u}) {
            om.ClearLog();
            EXPECT_EQ(MeSystemPowerOperation(1, operation), 16u);
            EXPECT_EQ(om.log, (Log{"ObjMgrGetInterface", "Open", "Close"}));
        }
    }
    EXPECT_TRUE(trace.Lines().empty());
}

TEST_F(System, PrivilegeIsHandedOverBeforeTheRead)
{
    const struct {
        const char *word;
        const char *logged;
    } rows[] = {{"0x1F", "SetPrivilege 1f"},
                {"ffffffff", "SetPrivilege ffffffff"},
                {"10", "SetPrivilege 10"}};
    for (const auto &row : rows) {
        const ScopedEnv privilege("ZORPRIV", row.word);
        om.ClearLog();
        EXPECT_EQ(MeSystemPowerOperation(1, 0), 18u);
        EXPECT_EQ(om.log, (Log{"ObjMgrGetInterface", "Open", row.logged,
                               "GetPropertyValue OEM_QARN_System PowerStatus 32", "Close"}));
    }
}

TEST_F(System, FailuresOfThePowerStatusAreTraced)
{
    const ScopedEnv privilege("ZORPRIV", "1ff");
    for (const u32 operation : {0u, 1u, 2u, 3u}) {
        om.ClearLog();
        trace.Clear();
        om.SetStatus("OEM_QARN_System", "PowerStatus", 2);
        EXPECT_EQ(MeSystemPowerOperation(1, operation), 16u);
        EXPECT_EQ(trace.Lines(), Log{"ERROR: system [#]: Access denied"});
        EXPECT_EQ(om.log, PowerLog(nullptr));
        trace.Clear();
        om.SetStatus("OEM_QARN_System", "PowerStatus", 6);
        EXPECT_EQ(MeSystemPowerOperation(1, operation), 1u);
        EXPECT_EQ(trace.Lines(), Log{"ERROR: system [#]: CIM_STATUS = 6"});
        EXPECT_EQ(om.openConnections, 0);
    }
}

TEST_F(System, FailuresOfTheMethod)
{
    const ScopedEnv privilege("ZORPRIV", "1ff");
    const struct {
        u32 operation;
        const char *power;
        const char *method;
    } rows[] = {{0, "OFF", "Start"}, {1, "ON", "Stop"}, {2, "ON", "Reset"}};
    for (const auto &row : rows) {
        om.Set("OEM_QARN_System", "PowerStatus", row.power);
        om.ClearLog();
        trace.Clear();
        om.methodStatus = 2;
        EXPECT_EQ(MeSystemPowerOperation(1, row.operation), 16u);
        EXPECT_TRUE(trace.Lines().empty());
        EXPECT_EQ(om.log, PowerLog(row.method));
        for (const CimStatus status : {1u, 17u}) {
            om.ClearLog();
            trace.Clear();
            om.methodStatus = status;
            EXPECT_EQ(MeSystemPowerOperation(1, row.operation), 1u);
            EXPECT_EQ(trace.Lines(),
                      Log{"ERROR: system [#]: CIM_STATUS = " + std::to_string(status)});
            EXPECT_EQ(om.log, PowerLog(row.method));
        }
        // The method's own answer is not looked at: deliberate.
        om.methodStatus = 0;
        om.methodResult = 5;
        EXPECT_EQ(MeSystemPowerOperation(1, row.operation), 0u);
        om.methodResult = 0;
    }
    EXPECT_EQ(om.openConnections, 0);
}

TEST_F(System, OperationWithoutInterfaceIsTraced)
{
    const ScopedEnv privilege("ZORPRIV", "1ff");
    om.interfaceMissing = true;
    EXPECT_EQ(MeSystemPowerOperation(1, 0), 1u);
    EXPECT_EQ(trace.Lines(), Log{"ERROR: system [#]: ** ASSERT FAILED"});
    EXPECT_EQ(om.log, Log{"ObjMgrGetInterface null"});
}

TEST_F(System, OperationWithoutConnectionIsSilentAndClosed)
{
    om.openFails = true;
    EXPECT_EQ(MeSystemPowerOperation(1, 0), 1u);
    EXPECT_TRUE(trace.Lines().empty());
    EXPECT_EQ(om.log, (Log{"ObjMgrGetInterface", "Open", "Close 0"}));
}

// Through the verbs

namespace
{

constexpr char kShown[] = "\n/system1:\n"
                          "\n  Properties:\n"
                          "    CreationClassName       = CIM_ComputerSystem\n"
                          "    Name                    = TAG1234\n"
                          "    NameFormat              = other\n"
                          "    Dedicated               = 0\n"
                          "    ResetCapability         = 4\n"
                          "    EnabledState            = 2\n"
                          "    RequestedState          = 12\n"
                          "    EnabledDefault          = 2\n"
                          "    HealthState             = 5\n"
                          "    OperationalStatus       = 2\n"
                          "    Description             = Test Server\n"
                          "    ElementName             = host-a\n"
                          "\n  Verbs:\n"
                          "    cd\n"
                          "    exit\n"
                          "    help\n"
                          "    reset\n"
                          "    show\n"
                          "    start\n"
                          "    stop\n"
                          "    version\n";

std::string Without(const std::string &line)
{
    std::string text = kShown;
    const size_t at = text.find(line);
    if (at == std::string::npos)
        abort();
    return text.erase(at, line.size());
}

}  // namespace

TEST_F(System, Show)
{
    SystemTree tree;
    EXPECT_EQ(tree.Run("show /system1"), 0u);
    EXPECT_EQ(tree.output, kShown);
    EXPECT_EQ(om.instanceReads, 3u);
}

TEST_F(System, SelectedPropertiesAreFoundInLowerCase)
{
    SystemTree tree;
    EXPECT_EQ(tree.Run("show -display properties=(Name,ElementName) /system1"), 0u);
    EXPECT_EQ(tree.output, "\n/system1:\n"
                           "\n  Properties:\n"
                           "    name                = TAG1234\n"
                           "    elementname         = host-a\n");
    EXPECT_EQ(tree.Run("show -display properties=(healthstate==5,requestedstate) /system1"), 0u);
    EXPECT_EQ(tree.output, "\n/system1:\n"
                           "\n  Properties:\n"
                           "    requestedstate      = 12\n");
    EXPECT_EQ(tree.Run("show -display properties=(healthstate==6) /system1"), 0u);
    EXPECT_EQ(tree.output, "");
}

// A failed read leaves the value of the last one, which shows again: deliberate.
TEST_F(System, EarlierValueShowsAgainAfterAFailedRead)
{
    SystemTree tree;
    tree.Run("show /system1");
    for (const char *property : {"ServiceTag", "Description", "HostName"})
        om.SetStatus("OEM_QARN_System", property, 1);
    EXPECT_EQ(tree.Run("show /system1"), 0u);
    EXPECT_EQ(tree.output, kShown);
}

TEST_F(System, ShowWithEveryCallOfTheObjectManagerFailing)
{
    const std::string name = "    Name                    = TAG1234\n";
    const std::string description = "    Description             = Test Server\n";
    const std::string elementName = "    ElementName             = host-a\n";
    for (const CimStatus status : {1u, 2u, 6u}) {
        for (u32 n = 1; n <= 10; ++n) {
            SystemTree tree;
            om.ClearLog();
            om.failCall = n;
            om.failStatus = status;
            EXPECT_EQ(tree.Run("show /system1"), 0u);
            const std::string expected = n <= 3   ? Without(name)
                                         : n <= 6 ? Without(description)
                                         : n <= 9 ? Without(elementName)
                                                  : kShown;
            EXPECT_EQ(tree.output, expected) << n;
            EXPECT_EQ(om.openConnections, 0) << n;
            // Without interface two calls fall away, without connection one.
            EXPECT_EQ(om.calls, n > 9 ? 9u : n % 3 == 1 ? 7u : n % 3 == 2 ? 8u : 9u) << n;
        }
    }
}
