// SPDX-License-Identifier: Apache-2.0
// Rules about every kind: each walks meTable, so that a new kind is tested unasked.
#include "platform/memmgr.h"
#include "platform/str.h"
#include "smclp/command_list.h"
#include "smclp/shell.h"
#include "support/kind_checks.h"
#include "support/sensor_pairs.h"
#include "support/shell_tables.h"
#include "support/walked_kinds.h"

#include <algorithm>
#include <functional>
#include <stdlib.h>

namespace
{

// A host with sensors of every kind, records and power supplies. One text for all properties.
void FillHost(FakeObjMgr *om, const std::string &text)
{
    AddEverySensor(om, text);
    om->AddSensor("3", "1", {"Name", text, "Reading", text});
    om->AddRecord(text, text, text);
    for (const char *property : {"ServiceTag", "Description", "HostName", "Oem"})
        om->Set("OEM_QARN_System", property, text);
    om->Set("OEM_QARN_PowerSupply.PowerSupplyIndex=1", "PowerSupplyWattage", text);
}

void ForEachKind(const std::function<void(KindTest &, MeConstructor)> &check,
                 const std::string &text = "text")
{
    setenv("ZORPRIV", "1ff", 1);
    for (const MeConstructor *row = meTable; *row != nullptr; ++row) {
        KindTest kind(*row);
        FillHost(&kind.om, text);
        SCOPED_TRACE(kind.element->description);
        check(kind, *row);
    }
    unsetenv("ZORPRIV");
}

void ForEachProperty(ManagedElement *element, const std::function<void(const char *)> &check)
{
    for (const void *entry = MeProperties(element); entry != nullptr; entry = ListNext(entry))
        check(static_cast<const MeProperty *>(entry)->name);
}

bool IsCounted(MeConstructor kind)
{
#define NO_SENSOR(...)
#define COUNTED(constructor, reader) constructor,
    static const std::vector<MeConstructor> kCounted = {ME_KINDS(NO_SENSOR, NO_SENSOR, COUNTED)
                                                            MeRecord};
#undef COUNTED
#undef NO_SENSOR
    return std::find(kCounted.begin(), kCounted.end(), kind) != kCounted.end();
}

}  // namespace

TEST(MeTable, KindsInOrder)
{
    struct Row {
        const char *name;
        u32 kindId;
        u32 parentKindId;
        const char *slots;
    };
    const Row rows[] = {
        {"", 1, 3, "-V---"},
        {"system", 5, 1, "IVPRM"},
        {"logs", 30, 5, "IV---"},
        {"log", 25, 30, "IVPR-"},
        {"record", 29, 25, "IVPR-"},
        {"pwrmgtsvc", 31, 5, "IVPRM"},
        {"pwrmgtcap", 32, 31, "IVPR-"},
        {"chassis", 34, 5, "IVPR-"},
        {"fans", 36, 5, "IV---"},
        {"batteries", 35, 5, "IV---"},
        {"intrusion", 37, 5, "IV---"},
        {"hardwareperformance", 38, 5, "IV---"},
        {"powersupplies", 39, 5, "IV---"},
        {"temperatures", 40, 5, "IV---"},
        {"voltages", 41, 5, "IV---"},
        {"powermonitor", 43, 5, "IV---"},
        {"tachsensor", 45, 36, "IVPR-"},
        {"tempsensor", 46, 40, "IVPR-"},
        {"voltsensor", 47, 41, "IVPR-"},
        {"numericsensor", 47, 41, "IVPR-"},
        {"sensor", 48, 35, "IVPR-"},
        {"sensor", 49, 37, "IVPR-"},
        {"pwrsupply", 50, 39, "IVPR-"},
        {"redundancyset", 42, 36, "IVPR-"},
        {"redundancyset", 42, 39, "IVPR-"},
        {"numericsensor", 44, 43, "IVPR-"},
        {"sensor", 51, 38, "IVPR-"},
    };
    // In this order, with whatever is new in between.
    const MeConstructor *at = meTable;
    for (const Row &row : rows) {
        ManagedElement element = {};
        for (; *at != nullptr; ++at) {
            element = {};
            (*at)(&element);
            if (StrEqual(element.name, row.name) && element.parentKindId == row.parentKindId)
                break;
        }
        ASSERT_NE(*at++, nullptr) << row.name;
        EXPECT_EQ(element.kindId, row.kindId) << row.name;
        EXPECT_EQ(SlotsOf(&element), row.slots) << row.name;
    }
}

TEST(Discovery, TreeOfTheFullTable)
{
    FakeObjMgr om;
    TestShell shell(kWalkedKinds);
    const ManagedElement *root = SmclpGetRootElement();
    EXPECT_EQ(ChildrenOf(root), "system");
    EXPECT_EQ(ChildrenOf(root->firstChild),
              "logs pwrmgtsvc chassis fans batteries intrusion hardwareperformance powersupplies "
              "temperatures voltages powermonitor");
    EXPECT_EQ(ChildrenOf(ElementOf(MeLogs)), "log");
    EXPECT_EQ(ChildrenOf(ElementOf(MeSel)), "record");
    EXPECT_EQ(ChildrenOf(ElementOf(MeRecord)), "");
    EXPECT_EQ(ChildrenOf(ElementOf(MePwrMgtSvc)), "pwrmgtcap");
    EXPECT_EQ(ChildrenOf(ElementOf(MeChassis)), "");
    EXPECT_EQ(ElementOf(MePwrRedSensor)->parent, ElementOf(MePowerSupplies));
    EXPECT_EQ(ElementOf(MeFanRedSensor)->parent, ElementOf(MeSensors));
    EXPECT_EQ(SMCLP_MAX_LEVEL, 1 + CountTree().parents);
}

TEST(Discovery, SharedIdsFindTheFirstKind)
{
    FakeObjMgr om;
    TestShell shell;
    EXPECT_STREQ(SmclpGetMeById(47)->name, "voltsensor");
    EXPECT_EQ(SmclpGetMeById(42), ElementOf(MeFanRedSensor));
    EXPECT_EQ(SmclpGetMeById(2), nullptr);
    EXPECT_EQ(SmclpGetMeById(3), nullptr);
}

TEST(Discovery, PoolUseAfterInit)
{
    FakeObjMgr om;
    ASSERT_EQ(SmclpInit(), 0u);
    MemMgrPoolUse use;
    ASSERT_TRUE(MemMgrGetPoolUse(4, &use));
    EXPECT_EQ(use.used, 0u);  // properties are added when somebody looks, as CountTree does
    const TreeCounts tree = CountTree();
    const u32 kinds = KindCount();
    const u32 verbs = VerbCount();
    const u32 expected[14][3] = {
        {400, 64, kinds},
        {12, 64, kinds},
        {4, 16, 16},  // full: the verbs of elements come first from here
        {76, 16, verbs},
        {320, 256, tree.properties},
        {4, 256, tree.verbs - 16},
        {4, 256, 0},
        {48, 16, 0},
        {8, 128, verbs},
        {8, 128, 0},
        {40, 32, 0},
        {40, 32, 0},
        {256, 256, 0},
        {32, 256, 0},
    };
    for (u32 i = 0; i < 14; ++i) {
        ASSERT_TRUE(MemMgrGetPoolUse(i, &use)) << i;
        EXPECT_EQ(use.blockSize, expected[i][0]) << i;
        EXPECT_EQ(use.blockCount, expected[i][1]) << i;
        EXPECT_EQ(use.used, expected[i][2]) << i;
    }
    EXPECT_FALSE(MemMgrGetPoolUse(14, &use));
    EXPECT_EQ(om.log, Lines{});
    ResetShellGlobals();
}

TEST(EveryKind, BeginsWithTheCommonVerbsButTheSystem)
{
    ForEachKind([](KindTest &kind, MeConstructor constructor) {
        if (constructor != MeSystem) {
            EXPECT_EQ(VerbsOf(kind.element).substr(0, 11), "1 12 3 2 13");
        }
    });
}

TEST(EveryKind, PropertiesAndRefreshGoTogether)
{
    ForEachKind([](KindTest &kind, MeConstructor) {
        EXPECT_EQ(kind.element->refreshProperties != nullptr,
                  kind.element->addProperties != nullptr);
        EXPECT_EQ(PropertiesOf(kind.element).empty(), kind.element->addProperties == nullptr);
    });
}

TEST(EveryKind, HasOneInstanceUnlessItIsCounted)
{
    ForEachKind([](KindTest &kind, MeConstructor constructor) {
        if (kind.element->instanceTag == nullptr || IsCounted(constructor))
            return;
        kind.om.Set("OEM_QARN_System", "PowerStatus", "OFF");
        EXPECT_EQ(kind.element->instanceTag(), 1u);
        EXPECT_EQ(kind.om.log, Lines{});
    });
}

TEST(EveryKind, CountedOnesAreGoneWithThePowerButTheRecords)
{
    ForEachKind([](KindTest &kind, MeConstructor constructor) {
        if (!IsCounted(constructor))
            return;
        EXPECT_EQ(kind.element->instanceTag(), constructor == MePowerConsumption ? 2u : 1u);
        kind.om.Set("OEM_QARN_System", "PowerStatus", "OFF");
        EXPECT_EQ(kind.element->instanceTag(), constructor == MeRecord ? 1u : 0u);
        kind.om.Set("OEM_QARN_System", "PowerStatus", "ON");
        kind.om.interfaceMissing = true;
        EXPECT_EQ(kind.element->instanceTag(), 0u);
    });
}

TEST(EveryProperty, NeedsA65ByteBuffer)
{
    ForEachKind([](KindTest &kind, MeConstructor) {
        ForEachProperty(kind.element, [&](const char *name) {
            EXPECT_EQ(kind.Get(name, 1, 65).result, 0u) << name;
            kind.om.ClearLog();
            EXPECT_EQ(kind.Get(name, 1, 64), (Refreshed{1, std::string(64, 'x')})) << name;
            EXPECT_EQ(kind.Get(name, 1, 0), (Refreshed{1, ""})) << name;
            EXPECT_EQ(kind.om.log, Lines{}) << name;
        });
        EXPECT_EQ(kind.traces.Lines(), Lines{});
    });
}

TEST(EveryProperty, UnknownOnesAreEmptyAndSuccessButOfTheSystem)
{
    ForEachKind([](KindTest &kind, MeConstructor constructor) {
        if (kind.element->refreshProperties == nullptr)
            return;
        for (const char *name : {"NoSuch", "", "elementname", "ElementNam", "ElementNames"}) {
            const Refreshed refreshed = kind.Get(name);
            if (constructor == MeSystem)
                EXPECT_EQ(refreshed, (Refreshed{1, std::string(256, 'x')})) << name;
            else
                EXPECT_EQ(refreshed, (Refreshed{0, ""})) << name;
        }
        EXPECT_EQ(kind.om.log, Lines{});
    });
}

TEST(EveryProperty, NullArgumentsAreAFailureAndTracedButOfTheSystemAndTheLog)
{
    ForEachKind([](KindTest &kind, MeConstructor constructor) {
        MeRefreshFunction refresh = kind.element->refreshProperties;
        if (refresh == nullptr)
            return;
        char value[256] = "x";
        EXPECT_EQ(refresh(kind.element, "ElementName", nullptr, 256), 1u);
        if (constructor == MeSystem || constructor == MeSel) {
            EXPECT_EQ(kind.traces.Lines(), Lines{});
            return;
        }
        EXPECT_EQ(refresh(nullptr, "ElementName", value, 256), 1u);
        EXPECT_EQ(refresh(kind.element, nullptr, value, 256), 1u);
        EXPECT_STREQ(value, "x");
        EXPECT_EQ(kind.traces.Lines().size(), 3u);
        for (const std::string &line : kind.traces.Lines())
            EXPECT_TRUE(line.ends_with(" [#]: ** ASSERT FAILED")) << line;
    });
}

TEST(EveryProperty, ValuesOfAnyLengthStayInsideTheBuffer)
{
    for (const size_t length : {63u, 64u, 65u, 255u, 256u, 1023u, 1024u, 4000u}) {
        ForEachKind(
            [](KindTest &kind, MeConstructor) {
                ForEachProperty(kind.element, [&](const char *name) {
                    kind.Get(name, 1, 256);
                    kind.Get(name, 1, 100);
                    kind.Get(name, 1, 65);
                });
            },
            std::string(length, 'v'));
    }
}

TEST(EveryProperty, PercentSignsAreNoFormats)
{
    ForEachKind(
        [](KindTest &kind, MeConstructor) {
            ForEachProperty(kind.element, [&](const char *name) {
                const std::string value = kind.Get(name).value;
                if (value.find('%') != std::string::npos) {
                    EXPECT_EQ(value.substr(0, 10), "%s%n%d%%%c") << name;
                }
            });
        },
        "%s%n%d%%%c");
}

TEST(EveryProperty, FailingAnyCallLeavesNothingOpenAndNoHalfValue)
{
    for (const CimStatus status : {kCimFailed, kCimAccessDenied, kCimNotFound}) {
        ForEachKind([&](KindTest &kind, MeConstructor constructor) {
            kind.om.failStatus = status;
            ForEachProperty(kind.element, [&](const char *name) {
                kind.om.failCall = 0;
                const Refreshed good = kind.Get(name);
                for (u32 n = 1;; ++n) {
                    kind.om.ClearLog();
                    kind.om.failCall = n;
                    const Refreshed refreshed = kind.Get(name);  // looks for open connections
                    if (kind.om.calls < n) {
                        EXPECT_EQ(refreshed, good) << name;
                        break;
                    }
                    if (refreshed.result != 0 && constructor != MeSystem) {
                        EXPECT_EQ(refreshed.value, "") << name << " call " << n;
                    }
                }
            });
        });
    }
}

TEST(EveryInstanceTag, FailingAnyCallLeavesNothingOpen)
{
    ForEachKind([](KindTest &kind, MeConstructor constructor) {
        if (!IsCounted(constructor))
            return;
        const u32 good = kind.element->instanceTag();
        for (u32 n = 1;; ++n) {
            kind.om.ClearLog();
            kind.om.failCall = n;
            const u32 count = kind.element->instanceTag();
            EXPECT_EQ(kind.om.openConnections, 0) << n;
            EXPECT_LE(count, good) << n;
            if (kind.om.calls < n) {
                EXPECT_EQ(count, good);
                break;
            }
        }
    });
}

TEST(EveryCollection, ShowsItsSensorsAndVerbsButNoProperties)
{
    FakeObjMgr om;
    TestShell shell;
    FillHost(&om, "text");
    EXPECT_EQ(shell.Run("show /system1/fans1"), 0u);
    EXPECT_EQ(shell.Output(), "\n/system1/fans1:\n"
                              "\n  Targets:\n"
                              "    tachsensor1\n"
                              "    redundancyset1\n"
                              "\n  Verbs:\n"
                              "    cd\n"
                              "    exit\n"
                              "    help\n"
                              "    show\n"
                              "    version\n");
}

TEST(EveryCollection, IsPresentButEmptyWhileTheHostIsOff)
{
    FakeObjMgr om;
    TestShell shell;
    FillHost(&om, "text");
    om.Set("OEM_QARN_System", "PowerStatus", "OFF");
    for (const char *address :
         {"/system1/fans1", "/system1/batteries1", "/system1/intrusion1",
          "/system1/hardwareperformance1", "/system1/powersupplies1", "/system1/temperatures1",
          "/system1/voltages1", "/system1/powermonitor1"}) {
        EXPECT_EQ(shell.Run(std::string("show ") + address), 0u);
        EXPECT_EQ(shell.Output(), "\n" + std::string(address) +
                                      ":\n"
                                      "\n  Verbs:\n"
                                      "    cd\n"
                                      "    exit\n"
                                      "    help\n"
                                      "    show\n"
                                      "    version\n");
    }
}

TEST(EveryCollection, NumbersWithinAKindAndVariantsAreAddressable)
{
    FakeObjMgr om;
    TestShell shell;
    FillHost(&om, "text");
    EXPECT_EQ(shell.At("/system1/voltages1/voltsensor1"), ElementOf(MeVoltSensor));
    EXPECT_EQ(shell.At("/system1/voltages1/numericsensor1"), ElementOf(MeVoltNumSensor));
    EXPECT_EQ(shell.At("/system1/powermonitor1/numericsensor2"), ElementOf(MePowerConsumption));
    EXPECT_EQ(shell.At("/system1/powermonitor1/numericsensor3"), nullptr);
    EXPECT_EQ(shell.At("/system1/powersupplies1/redundancyset1"), ElementOf(MePwrRedSensor));
    EXPECT_EQ(shell.At("/system1/fans1/redundancyset1"), ElementOf(MeFanRedSensor));
    EXPECT_EQ(shell.At("/system1/pwrmgtsvc1/pwrmgtcap1"), ElementOf(MePwrMgtCap));
}
