// SPDX-License-Identifier: Apache-2.0
// address_test.cpp -- addresses to elements and back, on small trees made by hand.
#include "smclp/address.h"

#include "support/test_shell.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <string.h>
#include <string>
#include <vector>

namespace
{

u32 gCount;       // instances of the counted kinds
u32 gCountAsked;  // how often they were asked

u32 One()
{
    return 1;
}

u32 Counted()
{
    ++gCountAsked;
    return gCount;
}

struct Node : ManagedElement {
    Node(const char *nodeName, Node *under, MeInstanceTagFunction tag) : ManagedElement()
    {
        EXPECT_EQ(MeSetName(this, nodeName), 0u);
        instanceTag = tag;
        parent = under;
        if (under == nullptr)
            return;
        ManagedElement **end = &under->firstChild;
        while (*end != nullptr)
            end = &(*end)->nextSibling;
        *end = this;
    }
};

//  / -- system1 -- logs1 -- log1 -- recordN
//    |          |- fans1 -- tachsensorN, redundancyset1
//    |          `- plain -- inner
//    `- zone                  (plain and zone without instances)
class Address : public testing::Test
{
protected:
    Address()
    {
        gCount = 12;
        gCountAsked = 0;
    }

    ManagedElement *FromRoot(const std::string &text)
    {
        return SmclpResolveTargetAddress(text.c_str(), &root);
    }

    Node root{"", nullptr, nullptr};
    Node system{"system", &root, One};
    Node zone{"zone", &root, nullptr};
    Node logs{"logs", &system, One};
    Node log{"log", &logs, One};
    Node record{"record", &log, Counted};
    Node fans{"fans", &system, One};
    Node tachsensor{"tachsensor", &fans, Counted};
    Node redundancyset{"redundancyset", &fans, One};
    Node plain{"plain", &system, nullptr};
    Node inner{"inner", &plain, nullptr};
};

TEST_F(Address, NullCurrentYieldsNull)
{
    EXPECT_EQ(SmclpResolveTargetAddress("/", nullptr), nullptr);
    EXPECT_EQ(SmclpResolveTargetAddress("", nullptr), nullptr);
    EXPECT_EQ(SmclpResolveTargetAddress(nullptr, nullptr), nullptr);
}

TEST_F(Address, NullOrEmptyTextYieldsTheCurrentElement)
{
    EXPECT_EQ(SmclpResolveTargetAddress(nullptr, &log), &log);
    EXPECT_EQ(SmclpResolveTargetAddress("", &log), &log);
}

TEST_F(Address, SlashIsTheRootFromAnywhere)
{
    EXPECT_EQ(SmclpResolveTargetAddress("/", &root), &root);
    EXPECT_EQ(SmclpResolveTargetAddress("/", &record), &root);
}

TEST_F(Address, DotsAloneStayOrGoUp)
{
    EXPECT_EQ(SmclpResolveTargetAddress(".", &log), &log);
    EXPECT_EQ(SmclpResolveTargetAddress("..", &log), &logs);
    EXPECT_EQ(SmclpResolveTargetAddress("..", &root), nullptr);
    EXPECT_EQ(SmclpResolveTargetAddress(".", &root), &root);
}

TEST_F(Address, DotLeavesInstanceAndFlagAlone)
{
    log.instanceNumber = 7;
    log.allInstances = 1;
    EXPECT_EQ(SmclpResolveTargetAddress(".", &log), &log);
    EXPECT_EQ(log.instanceNumber, 7u);
    EXPECT_EQ(log.allInstances, 1u);
}

TEST_F(Address, DotsAsSegments)
{
    EXPECT_EQ(SmclpResolveTargetAddress("../..", &log), &system);
    EXPECT_EQ(SmclpResolveTargetAddress("../fans1", &logs), &fans);
    EXPECT_EQ(SmclpResolveTargetAddress("./log1", &logs), &log);
    EXPECT_EQ(SmclpResolveTargetAddress("log1/..", &logs), &logs);
    EXPECT_EQ(SmclpResolveTargetAddress("log1/.", &logs), &log);
    EXPECT_EQ(SmclpResolveTargetAddress("./.", &logs), &logs);
    EXPECT_EQ(SmclpResolveTargetAddress("/..", &log), nullptr);
    EXPECT_EQ(SmclpResolveTargetAddress("/.", &log), &root);
    EXPECT_EQ(SmclpResolveTargetAddress("../system1", &root), nullptr);
    EXPECT_EQ(SmclpResolveTargetAddress("../..", &system), nullptr);
    EXPECT_EQ(SmclpResolveTargetAddress("../../..", &system), nullptr);
    EXPECT_EQ(SmclpResolveTargetAddress("...", &log), nullptr);
}

TEST_F(Address, KindWithInstancesIsWrittenWithItsNumber)
{
    EXPECT_EQ(FromRoot("system1"), &system);
    EXPECT_EQ(system.instanceNumber, 1u);
    EXPECT_EQ(FromRoot("/system1"), &system);
    for (const char *text : {"system", "system0", "system2", "system01x", "/system", "sys1", "1"})
        EXPECT_EQ(FromRoot(text), nullptr) << text;
}

TEST_F(Address, EverySegmentStoresItsInstance)
{
    EXPECT_EQ(FromRoot("/system1/logs1/log1/record12"), &record);
    EXPECT_EQ(system.instanceNumber, 1u);
    EXPECT_EQ(logs.instanceNumber, 1u);
    EXPECT_EQ(log.instanceNumber, 1u);
    EXPECT_EQ(record.instanceNumber, 12u);
    EXPECT_EQ(fans.instanceNumber, 0u);
}

TEST_F(Address, RelativeAddressBeginsAtTheCurrentElement)
{
    EXPECT_EQ(SmclpResolveTargetAddress("log1/record3", &logs), &record);
    EXPECT_EQ(record.instanceNumber, 3u);
    EXPECT_EQ(SmclpResolveTargetAddress("system1", &logs), nullptr);
    EXPECT_EQ(SmclpResolveTargetAddress("/system1/fans1", &logs), &fans);
}

TEST_F(Address, NumberIsAtMostTheCountOfThisMoment)
{
    EXPECT_EQ(FromRoot("/system1/logs1/log1/record12"), &record);
    EXPECT_EQ(FromRoot("/system1/logs1/log1/record13"), nullptr);
    EXPECT_EQ(record.instanceNumber, 12u);
    gCount = 13;
    EXPECT_EQ(FromRoot("/system1/logs1/log1/record13"), &record);
    EXPECT_EQ(record.instanceNumber, 13u);
    gCount = 0;
    EXPECT_EQ(FromRoot("/system1/logs1/log1/record1"), nullptr);
    EXPECT_EQ(gCountAsked, 4u);
}

TEST_F(Address, NumberBeginsAtOne)
{
    EXPECT_EQ(FromRoot("/system1/logs1/log1/record0"), nullptr);
    EXPECT_EQ(FromRoot("/system1/logs1/log1/record1"), &record);
    EXPECT_EQ(FromRoot("/system1/logs1/log1/record0000"), nullptr);
}

TEST_F(Address, SuffixHasAtMostFourCharacters)
{
    gCount = 100'000;
    EXPECT_EQ(FromRoot("/system1/logs1/log1/record9999"), &record);
    EXPECT_EQ(record.instanceNumber, 9999u);
    EXPECT_EQ(FromRoot("/system1/logs1/log1/record10000"), nullptr);
    EXPECT_EQ(FromRoot("/system1/logs1/log1/record0001"), &record);
    EXPECT_EQ(record.instanceNumber, 1u);
    EXPECT_EQ(FromRoot("/system1/logs1/log1/record00001"), nullptr);
}

TEST_F(Address, SuffixIsDecimalDigitsOnly)
{
    for (const char *suffix :
         {"", "a", "1a", "a1", "+1", "-1", " 1", "0x1", "1 ", "**", "1*", "*1"})
        EXPECT_EQ(FromRoot(std::string("/system1/logs1/log1/record") + suffix), nullptr) << suffix;
    EXPECT_EQ(record.instanceNumber, 0u);
    EXPECT_EQ(record.allInstances, 0u);
}

TEST_F(Address, StarNamesAllInstancesInTheLastSegment)
{
    record.instanceNumber = 5;
    EXPECT_EQ(FromRoot("/system1/logs1/log1/record*"), &record);
    EXPECT_EQ(record.allInstances, 1u);
    EXPECT_EQ(record.instanceNumber, 5u);
}

TEST_F(Address, StarDoesNotAskTheCount)
{
    gCount = 0;
    EXPECT_EQ(FromRoot("/system1/logs1/log1/record*"), &record);
    EXPECT_EQ(gCountAsked, 0u);
}

TEST_F(Address, StarBeforeAnotherSegmentDoesNotMatch)
{
    EXPECT_EQ(FromRoot("/system1/logs1/log*/record1"), nullptr);
    EXPECT_EQ(FromRoot("/system1/logs1/log1/record*/x"), nullptr);
    EXPECT_EQ(FromRoot("/system1/logs1/log1/record*/"), nullptr);
    EXPECT_EQ(FromRoot("/system1/logs1/log1/record*/.."), nullptr);
    EXPECT_EQ(record.allInstances, 0u);
    EXPECT_EQ(log.allInstances, 0u);
}

TEST_F(Address, StarAloneNamesNothing)
{
    EXPECT_EQ(FromRoot("*"), nullptr);
    EXPECT_EQ(FromRoot("/*"), nullptr);
    EXPECT_EQ(FromRoot("/system1/*"), nullptr);
}

TEST_F(Address, NumberClearsTheFlagOfAllInstances)
{
    FromRoot("/system1/logs1/log1/record*");
    FromRoot("/system1/logs1/log1/record2");
    EXPECT_EQ(record.allInstances, 0u);
    EXPECT_EQ(record.instanceNumber, 2u);
}

TEST_F(Address, KindWithoutInstancesIsWrittenByItsNameAlone)
{
    plain.allInstances = 1;
    plain.instanceNumber = 4;
    EXPECT_EQ(FromRoot("/system1/plain"), &plain);
    EXPECT_EQ(plain.allInstances, 0u);
    EXPECT_EQ(plain.instanceNumber, 4u);
    EXPECT_EQ(FromRoot("/system1/plain/inner"), &inner);
    EXPECT_EQ(FromRoot("zone"), &zone);
    for (const char *text : {"/system1/plain1", "/system1/plain*", "/system1/plai", "zone1"})
        EXPECT_EQ(FromRoot(text), nullptr) << text;
}

TEST_F(Address, CaseMatters)
{
    EXPECT_EQ(FromRoot("/System1"), nullptr);
    EXPECT_EQ(FromRoot("/system1/LOGS1"), nullptr);
    EXPECT_EQ(FromRoot("Zone"), nullptr);
}

TEST_F(Address, EmptySegmentsNameNothing)
{
    for (const char *text : {"/system1/", "//", "//system1", "/system1//logs1", "system1/", "./",
                             "../", "/system1/logs1/"})
        EXPECT_EQ(SmclpResolveTargetAddress(text, &root), nullptr) << text;
    EXPECT_EQ(SmclpResolveTargetAddress("../", &log), nullptr);
    EXPECT_EQ(SmclpResolveTargetAddress("./", &log), nullptr);
}

TEST_F(Address, NothingHangsUnderALeaf)
{
    EXPECT_EQ(FromRoot("/system1/logs1/log1/record1/x1"), nullptr);
    EXPECT_EQ(FromRoot("/zone/x"), nullptr);
}

TEST_F(Address, SegmentOf63CharactersIsTheLongest)
{
    const std::string name(63, 'n');
    Node longest(name.c_str(), &root, nullptr);
    EXPECT_EQ(FromRoot("/" + name), &longest);
    EXPECT_EQ(FromRoot("/" + name + "n"), nullptr);
    EXPECT_EQ(FromRoot("/" + name + "n/x"), nullptr);
    EXPECT_EQ(FromRoot(std::string(5000, 'n')), nullptr);

    const std::string shorter(62, 'm');
    Node numbered(shorter.c_str(), &root, One);
    EXPECT_EQ(FromRoot("/" + shorter + "1"), &numbered);
    EXPECT_EQ(FromRoot("/" + shorter + "01"), nullptr);
}

TEST_F(Address, LongAddressesOfShortSegments)
{
    std::string text = "/system1";
    for (int i = 0; i < 500; ++i)
        text += "/.";
    EXPECT_EQ(FromRoot(text), &system);
}

// Names that begin alike: the first child that matches is taken.
TEST_F(Address, NameThatIsAPrefixOfAnotherPassesOver)
{
    Node sensor("sensor", &zone, One);
    Node sensors("sensors", &zone, One);
    EXPECT_EQ(FromRoot("zone/sensor1"), &sensor);
    EXPECT_EQ(FromRoot("zone/sensors1"), &sensors);
    EXPECT_EQ(sensor.instanceNumber, 1u);
    EXPECT_EQ(sensors.instanceNumber, 1u);
}

// Deliberate: a longer segment ends the search at a child without instances.
TEST_F(Address, PlainNameThatIsAPrefixEndsTheSearch)
{
    Node disk("disk", &zone, nullptr);
    Node disks("disks", &zone, nullptr);
    EXPECT_EQ(FromRoot("zone/disk"), &disk);
    EXPECT_EQ(FromRoot("zone/disks"), nullptr);

    Node before("ports", &plain, nullptr);
    Node after("port", &plain, nullptr);
    EXPECT_EQ(FromRoot("/system1/plain/ports"), &before);
    EXPECT_EQ(FromRoot("/system1/plain/port"), &after);
}

TEST_F(Address, OfTwoKindsWithOneNameTheFirstThatHasTheInstanceIsTaken)
{
    gCount = 3;
    Node first("set", &zone, One);
    Node second("set", &zone, Counted);
    EXPECT_EQ(FromRoot("zone/set1"), &first);
    EXPECT_EQ(FromRoot("zone/set2"), &second);
    EXPECT_EQ(FromRoot("zone/set4"), nullptr);
    EXPECT_EQ(FromRoot("zone/set*"), &first);
}

TEST_F(Address, SelectionsStayWhenALaterSegmentFails)
{
    EXPECT_EQ(FromRoot("/system1/logs1/log1/record3"), &record);
    EXPECT_EQ(FromRoot("/system1/fans1/tachsensor4/none1"), nullptr);
    EXPECT_EQ(fans.instanceNumber, 1u);
    EXPECT_EQ(tachsensor.instanceNumber, 4u);
    EXPECT_EQ(record.instanceNumber, 3u);
}

TEST_F(Address, CurrentTargetsOwnInstanceChangesToo)
{
    record.instanceNumber = 2;
    EXPECT_EQ(SmclpResolveTargetAddress("/system1/logs1/log1/record5", &record), &record);
    EXPECT_EQ(record.instanceNumber, 5u);
    EXPECT_EQ(SmclpResolveTargetAddress("../record6", &record), &record);
    EXPECT_EQ(record.instanceNumber, 6u);

    fans.instanceNumber = 1;
    EXPECT_EQ(SmclpResolveTargetAddress("/system1/fans1", &fans), &fans);
    EXPECT_EQ(fans.instanceNumber, 1u);
}

TEST_F(Address, NothingIsTraced)
{
    TraceCapture traces;
    FromRoot("/none");
    FromRoot("/system1/logs1/log1/record99");
    EXPECT_TRUE(traces.Lines().empty());
}

// The path that stands in an area of `size` bytes, with guards behind it.
std::string PathOf(const ManagedElement *element, u32 size = 64)
{
    char area[128];
    memset(area, '#', sizeof area);
    EXPECT_EQ(SmclpReturnAbsolutePath(element, area, size), 0u);
    for (u32 i = size; i < sizeof area; ++i)
        EXPECT_EQ(area[i], '#') << "written behind the area";
    return std::string(area, strnlen(area, sizeof area));
}

TEST_F(Address, PathOfTheRootIsASlash)
{
    EXPECT_EQ(PathOf(&root), "/");
}

TEST_F(Address, PathCarriesInstanceNumbers)
{
    system.instanceNumber = 1;
    EXPECT_EQ(PathOf(&system), "/system1");
    FromRoot("/system1/logs1/log1/record12");
    EXPECT_EQ(PathOf(&record), "/system1/logs1/log1/record12");
    EXPECT_EQ(PathOf(&log), "/system1/logs1/log1");
    record.instanceNumber = 65535;
    EXPECT_EQ(PathOf(&record), "/system1/logs1/log1/record65535");
}

TEST_F(Address, PathOfAKindWithoutInstancesHasItsNameAlone)
{
    system.instanceNumber = 1;
    plain.instanceNumber = 9;
    EXPECT_EQ(PathOf(&inner), "/system1/plain/inner");
    EXPECT_EQ(PathOf(&zone), "/zone");
}

TEST_F(Address, ElementWithoutASelectedInstanceLeavesAnEmptyPiece)
{
    system.instanceNumber = 1;
    EXPECT_EQ(PathOf(&logs), "/system1/");
    EXPECT_EQ(PathOf(&log), "/system1/");
    log.instanceNumber = 1;
    EXPECT_EQ(PathOf(&log), "/system1/log1");
    system.instanceNumber = 0;
    EXPECT_EQ(PathOf(&logs), "/");
}

TEST_F(Address, PathOfNullWritesNothing)
{
    EXPECT_EQ(PathOf(nullptr), std::string(128, '#'));
}

TEST_F(Address, PathSizeOf64IsTheLargestThatIsWritten)
{
    system.instanceNumber = 1;
    EXPECT_EQ(PathOf(&system, 64), "/system1");
    char area[128];
    memset(area, '#', sizeof area);
    for (u32 size : {65u, 100u, UINT32_MAX}) {
        EXPECT_EQ(SmclpReturnAbsolutePath(&system, area, size), 0u);
        EXPECT_EQ(area[0], '#') << size;
    }
}

TEST_F(Address, PathSizeOfZeroWritesNothing)
{
    EXPECT_EQ(PathOf(&root, 0), std::string(128, '#'));
}

TEST_F(Address, PathThatDoesNotFitASmallerAreaLosesItsLeftEnd)
{
    system.instanceNumber = 1;
    logs.instanceNumber = 1;
    EXPECT_EQ(PathOf(&logs, 15), "/system1/logs1");
    EXPECT_EQ(PathOf(&logs, 14), "system1/logs1");
    EXPECT_EQ(PathOf(&logs, 7), "/logs1");
    EXPECT_EQ(PathOf(&logs, 2), "1");
    EXPECT_EQ(PathOf(&logs, 1), "");
}

TEST_F(Address, PathOf63CharactersFitsAndALongerOneLosesItsLeftEnd)
{
    Node exact(std::string(57, 'e').c_str(), &zone, nullptr);
    EXPECT_EQ(PathOf(&exact), "/zone/" + std::string(57, 'e'));
    Node longer(std::string(58, 'l').c_str(), &zone, nullptr);
    EXPECT_EQ(PathOf(&longer).size(), 63u);
    EXPECT_TRUE(PathOf(&longer).ends_with("zone/" + std::string(58, 'l')));
    Node longest(std::string(63, 'x').c_str(), &zone, One);
    longest.instanceNumber = 65535;
    EXPECT_EQ(PathOf(&longest).size(), 63u);
    EXPECT_TRUE(PathOf(&longest).ends_with("xx65535"));
}

std::string Prepended(const char *piece, const char *to)
{
    char path[kSmclpPathSize];
    snprintf(path, sizeof path, "%s", to);
    SmclpPrependToPath(path, piece);
    return path;
}

TEST(PrependToPath, PutsASlashInFrontUnlessThereIsOne)
{
    EXPECT_EQ(Prepended("", ""), "/");
    EXPECT_EQ(Prepended("", "/"), "/");
    EXPECT_EQ(Prepended("", "/a"), "/a");
    EXPECT_EQ(Prepended("b", "/a"), "/b/a");
    EXPECT_EQ(Prepended("/b", "/a"), "/b/a");
    EXPECT_EQ(Prepended("b", ""), "/b");
}

TEST(PrependToPath, WhatDoesNotFitIsLeftOutFromTheLeft)
{
    const std::string path = "/" + std::string(60, 'a');
    EXPECT_EQ(Prepended("b", path.c_str()), "/b" + path);
    EXPECT_EQ(Prepended("cb", path.c_str()), "cb" + path);
    EXPECT_EQ(Prepended("dcb", path.c_str()), "cb" + path);
}

// The path as users see it resolves to the same element again.
TEST_F(Address, PathResolvesBack)
{
    for (const char *text : {"/", "/system1", "/system1/logs1/log1/record7", "/zone",
                             "/system1/fans1/tachsensor12", "/system1/plain/inner"}) {
        const ManagedElement *element = FromRoot(text);
        ASSERT_NE(element, nullptr) << text;
        EXPECT_EQ(PathOf(element), text);
    }
}

TEST(AddressInTheShell, RootAndSystem)
{
    TestShell shell;
    ManagedElement *root = shell.At("/");
    ManagedElement *system = shell.At("/system1");
    ASSERT_NE(root, nullptr);
    ASSERT_NE(system, nullptr);
    EXPECT_STREQ(system->name, "system");
    EXPECT_EQ(system->instanceNumber, 1u);
    EXPECT_EQ(shell.At("system1"), system);
    for (const char *text : {"system", "system0", "system2", "/system1/"})
        EXPECT_EQ(shell.At(text), nullptr) << text;
    EXPECT_EQ(shell.At(".."), nullptr);
}

}  // namespace
