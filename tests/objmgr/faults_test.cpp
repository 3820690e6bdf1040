// SPDX-License-Identifier: Apache-2.0
#include "objmgr/faults.h"
#include "support/objmgr_process.h"
#include "support/objmgr_store.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

using Rows = std::vector<std::pair<std::string, std::string>>;

static void Load(const Rows &rows)
{
    const std::string record = PackProperties(Texts(rows).properties);
    FaultsLoad(record.data(), record.size());
}

// One letter per call: F when it fails.
static std::string Calls(FaultPoint point, int count)
{
    std::string calls;
    for (int i = 0; i < count; ++i)
        calls += FaultsHit(point) ? 'F' : '.';
    return calls;
}

static std::string Reads(const char *key, const char *property, int count)
{
    std::string reads;
    for (int i = 0; i < count; ++i)
        reads += std::to_string(FaultsReadStatus(key, property));
    return reads;
}

// Counting is per process, so each test has one of its own.
#define FAULTS_TEST(name)     \
    static void name();       \
    TEST(Faults, name)        \
    {                         \
        InFreshProcess(name); \
    }                         \
    static void name()

FAULTS_TEST(WithoutAPlanNothingFails)
{
    EXPECT_EQ(Calls(FaultPoint::Open, 3), "...");
    EXPECT_EQ(Reads("C", nullptr, 2), "00");
    FaultsLoad(nullptr, 0);
    EXPECT_EQ(Calls(FaultPoint::Interface, 3), "...");
    EXPECT_EQ(Calls(FaultPoint::InitInstance, 3), "...");
    EXPECT_EQ(Reads("C", "P", 2), "00");
}

FAULTS_TEST(PlanOfReadsIsKnown)
{
    EXPECT_FALSE(FaultsPlanReads());
    Load({{"open", "1"}});
    EXPECT_FALSE(FaultsPlanReads());
    Load({{"read 1", "1 5 C"}});
    EXPECT_TRUE(FaultsPlanReads());
    FaultsLoad(nullptr, 0);
    EXPECT_FALSE(FaultsPlanReads());
}

FAULTS_TEST(EachPointHasItsOwnRange)
{
    Load({{"interface", "1"}, {"open", "2-3"}, {"init_instance", "3-4294967295"}});
    EXPECT_EQ(Calls(FaultPoint::Interface, 4), "F...");
    EXPECT_EQ(Calls(FaultPoint::Open, 4), ".FF.");
    EXPECT_EQ(Calls(FaultPoint::InitInstance, 5), "..FFF");
}

FAULTS_TEST(CallsBeforeThePlanCount)
{
    EXPECT_EQ(Calls(FaultPoint::Open, 2), "..");
    Load({{"open", "2-3"}});
    EXPECT_EQ(Calls(FaultPoint::Open, 2), "F.");
}

FAULTS_TEST(ANewPlanGoesOnCounting)
{
    Load({{"open", "3"}, {"read 1", "3 5 C"}});
    EXPECT_EQ(Calls(FaultPoint::Open, 1), ".");
    EXPECT_EQ(Reads("C", nullptr, 1), "0");
    Load({{"open", "3"}, {"read 1", "3 5 C"}});
    EXPECT_EQ(Calls(FaultPoint::Open, 2), ".F");
    EXPECT_EQ(Reads("C", nullptr, 2), "05");
    Load({{"open", "3"}, {"read 1", "3 5 C"}});
    EXPECT_EQ(Calls(FaultPoint::Open, 1), ".");
    EXPECT_EQ(Reads("C", nullptr, 1), "0");
}

FAULTS_TEST(APlanThatIsGoneFailsNothing)
{
    Load({{"open", "1-9"}, {"read 1", "1-9 5 C"}});
    EXPECT_EQ(Calls(FaultPoint::Open, 1), "F");
    FaultsLoad(nullptr, 0);
    EXPECT_EQ(Calls(FaultPoint::Open, 1), ".");
    EXPECT_EQ(Reads("C", nullptr, 1), "0");
}

FAULTS_TEST(ReadRowsMatchPathAndProperty)
{
    Load({{"read 1", "1 2 C.A=1 P"}, {"read 2", "2-3 6 C.A=1"}});
    EXPECT_EQ(Reads("C.A=2", "P", 1), "0");
    EXPECT_EQ(Reads("C.A=1", "Q", 1), "0");
    EXPECT_EQ(Reads("C.A=1", "P", 2), "20");
    EXPECT_EQ(Reads("C.A=1", nullptr, 4), "0660");
}

FAULTS_TEST(PathOfARowMayAskForDigits)
{
    Load({{"read 1", "1 6 C.A=1,TimestampFormat=YYYYMMDDHHMMSS"}});
    EXPECT_EQ(Reads("C.A=1", nullptr, 1), "6");
}

FAULTS_TEST(FirstRowThatFailsTheReadAnswersAndAllCount)
{
    Load({{"read 1", "1-2 2 C"}, {"read 2", "2-3 6 C"}});
    EXPECT_EQ(Reads("C", nullptr, 4), "2260");
}

FAULTS_TEST(MalformedPointsArePassedOver)
{
    for (const char *text : {"", "0", "x", "-", "1-", "-1", "2-1", "0-1", "1 ", " 1", "1x", "1-2x",
                             "+1", "4294967296", "1-4294967296", "99999999999999999999999"}) {
        Load({{"open", text}});
        EXPECT_EQ(Calls(FaultPoint::Open, 1), ".") << text;
    }
}

FAULTS_TEST(MalformedReadRowsArePassedOver)
{
    const std::string longPath(512, 'C');
    const std::string longName(64, 'P');
    const Rows rows = {{"read 1", ""},
                       {"read 2", "1-9"},
                       {"read 3", "1-9 5"},
                       {"read 4", "1-9 5 "},
                       {"read 5", "1-9 x C"},
                       {"read 6", "1-9 0 C"},
                       {"read 7", "1-9 5 C "},
                       {"read 8", "1-9 5 C P x"},
                       {"read 9", "1-9 5 C."},
                       {"read 10", "0-9 5 C"},
                       {"read 11", "1-9 5  C"},
                       {"read 12", "1-9 5 " + longPath},
                       {"read 13", "1-9 5 C " + longName},
                       {"read 14", "1-9 4294967296 C"},
                       {"read 15", "5 C"},
                       {"read 16", "1-9 7 C"}};
    Load(rows);
    EXPECT_EQ(Reads("C", nullptr, 1), "7");
    EXPECT_EQ(Reads("C", "P", 1), "0");
    EXPECT_EQ(Reads("C", longName.c_str(), 1), "0");
}

FAULTS_TEST(LongestTextsOfARowAreTaken)
{
    const std::string path(511, 'C');
    const std::string name(63, 'P');
    Load({{"read 1", "1 5 " + path + " " + name}});
    EXPECT_EQ(Reads(path.c_str(), name.c_str(), 1), "5");
}

FAULTS_TEST(RowsEndAtAGapAndAtSixteen)
{
    Load({{"read 1", "1-9 5 A"}, {"read 3", "1-9 5 B"}});
    EXPECT_EQ(Reads("A", nullptr, 1), "5");
    EXPECT_EQ(Reads("B", nullptr, 1), "0");
    Rows rows;
    for (int i = 1; i <= 17; ++i)
        rows.push_back({"read " + std::to_string(i), "1-9 5 C" + std::to_string(i)});
    Load(rows);
    EXPECT_EQ(Reads("C16", nullptr, 1), "5");
    EXPECT_EQ(Reads("C17", nullptr, 1), "0");
}

FAULTS_TEST(RowWithAStatusIsPassedOver)
{
    Instance plan;
    plan.properties.push_back({"open", kCimFailed, "1-9"});
    const std::string record = PackProperties(plan.properties);
    FaultsLoad(record.data(), record.size());
    EXPECT_EQ(Calls(FaultPoint::Open, 1), ".");
}

FAULTS_TEST(PlanCutAnywhereIsNeverReadBeyond)
{
    const std::string record = PackProperties(
        Texts({{"open", "1-999"}, {"read 1", "1-999 5 C"}, {"read 2", "1-999 6 D P"}}).properties);
    for (size_t size = 0; size <= record.size(); ++size) {
        std::unique_ptr<char[]> cut(new char[size]);
        memcpy(cut.get(), record.data(), size);
        FaultsLoad(cut.get(), size);
        EXPECT_EQ(Reads("D", "P", 1), size == record.size() ? "6" : "0") << size;
    }
    EXPECT_EQ(Calls(FaultPoint::Open, 1), "F");
}
