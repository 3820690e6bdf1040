// SPDX-License-Identifier: Apache-2.0
#include "ctl/fake_inspect.h"
#include "ctl/model.h"
#include "ctl/view_reader.h"
#include "support/fake_objmgr.h"

#include <gtest/gtest.h>

namespace
{

void FillServer(FakeObjMgr *om)
{
    om->AddSensor("1", "1", {"Name", "Inlet Temp", "Reading", "23", "StatusText", "normal"});
    om->AddSensor("4", "1", {"Name", "Fan1 RPM", "Reading", "4320", "StatusText", "warning"});
    om->AddRecord("2024-02-29 06:58:12", "20240229065812", "DIMM E was replaced.");
    om->AddRecord("System Boot", "System Boot", "Fans are redundant.");
}

}  // namespace

TEST(ViewReader, ReadsWhatTheShellReads)
{
    FakeObjMgr om;
    FillServer(&om);
    {
        ViewReader reader;
        const ServerView *view = reader.Read("", kViewAll);
        ASSERT_NE(view, nullptr);
        EXPECT_EQ(ModelSystemOf(*view).serviceTag.text, "TAG1234");
        EXPECT_EQ(ModelSystemOf(*view).records.text, "2");
        const std::vector<ModelSensor> sensors = ModelSensorsOf(*view);
        ASSERT_EQ(sensors.size(), 2u);
        EXPECT_EQ(sensors[0].reading.text, "23");
        EXPECT_EQ(sensors[1].name.text, "Fan1 RPM");
        EXPECT_EQ(sensors[1].health, Health::Warning);
        const std::vector<ModelRecord> records = ModelRecordsOf(*view);
        ASSERT_EQ(records.size(), 2u);
        EXPECT_EQ(records[0].time, 1709189892);
        EXPECT_TRUE(records[1].boot);
        EXPECT_EQ(records[1].description.text, "Fans are redundant.");
        EXPECT_EQ(om.openConnections, 1);
    }
    EXPECT_EQ(om.openConnections, 0);
    EXPECT_EQ(om.opens, 1u);  // one consistent snapshot
}

TEST(ViewReader, ReadsNoMoreThanItIsAskedFor)
{
    FakeObjMgr om;
    FillServer(&om);
    ViewReader reader;
    EXPECT_EQ(reader.Read("", kViewSystem)->instances.size(), 2u);
    EXPECT_EQ(om.Logged("GetInstance ").size(), 2u);
    EXPECT_EQ(reader.Read("", kViewSystem | kViewSensors)->instances.size(), 4u);
    EXPECT_EQ(reader.Read("", kViewSystem | kViewRecords)->instances.size(), 4u);
    EXPECT_EQ(om.openConnections, 1);  // each Read ends the one before
}

TEST(ViewReader, NoService)
{
    FakeObjMgr om;
    om.openFails = true;
    ViewReader reader;
    EXPECT_EQ(reader.Read("", kViewAll), nullptr);
    EXPECT_NE(reader.Reason(), "");
    om.openFails = false;
    EXPECT_NE(reader.Read("", kViewAll), nullptr);
}

// Whatever fails: no crash, nothing stays open.
TEST(ViewReader, FailEveryCall)
{
    for (u32 call = 1;; ++call) {
        FakeObjMgr om;
        FillServer(&om);
        om.failCall = call;
        {
            ViewReader reader;
            if (const ServerView *view = reader.Read("", kViewAll)) {
                (void)ModelSensorsOf(*view);
                (void)ModelRecordsOf(*view);
            }
        }
        EXPECT_EQ(om.openConnections, 0);
        if (om.calls < call) {
            EXPECT_GT(call, 40u);
            break;
        }
    }
}

TEST(ViewReader, AFailedInstanceIsThereWithItsStatus)
{
    FakeObjMgr om;
    FillServer(&om);
    om.SetInstanceStatus("OEM_QARN_System", kCimFailed);
    ViewReader reader;
    const ServerView *view = reader.Read("", kViewAll);
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view->instances[0].status, kCimFailed);
    EXPECT_FALSE(ModelSystemOf(*view).readable);
}

TEST(ViewReader, UnitsSourcesAndWhoServes)
{
    FakeObjMgr om;
    FillServer(&om);
    gFakeInspect.service = "objmgrd-fake";
    gFakeInspect.unit = "Cel";
    gFakeInspect.source = 7;
    gFakeInspect.sourceFacts = {"bmc", kImageSourceAnswering, true, 1500};
    {
        ViewReader reader;
        const ServerView *view = reader.Read("", kViewAll);
        ASSERT_NE(view, nullptr);
        EXPECT_EQ(view->service, "objmgrd-fake");
        ASSERT_EQ(view->sources.size(), 1u);
        EXPECT_EQ(view->sources[0].name, "bmc");
        const ModelSensor sensor = ModelSensorsOf(*view)[0];
        EXPECT_EQ(sensor.unit.text, "C");
        EXPECT_EQ(sensor.age, 1.5);
        gFakeInspect.sourceFacts.heard = false;
        EXPECT_EQ(ModelSensorsOf(*reader.Read("", kViewAll))[0].age, std::nullopt);
    }
    gFakeInspect = {};
}

TEST(ViewReader, Reasons)
{
    FakeObjMgr om;
    om.openFails = true;
    ViewReader reader;
    const std::pair<ObjMgrPresence, const char *> kRows[] = {
        {ObjMgrPresence::Absent, "no object manager serves"},
        {ObjMgrPresence::NotTrusted,
         "others than its owner may write the object manager's directory"},
        {ObjMgrPresence::Dead, "the object manager has ended"},
        {ObjMgrPresence::Hung, "the object manager hangs"},
        {ObjMgrPresence::OtherVersion, "the object manager is of another version"},
        {ObjMgrPresence::Forbidden, "no right to read the object manager: its group has it"},
        {ObjMgrPresence::Unreadable, "the object manager cannot be read"},
    };
    for (const auto &row : kRows) {
        gFakeInspect.presence = row.first;
        EXPECT_EQ(reader.Read("", kViewAll), nullptr);
        EXPECT_EQ(reader.Reason(), row.second);
        EXPECT_EQ(reader.Exit(), row.first == ObjMgrPresence::Forbidden ? 77 : 69);
    }
    gFakeInspect = {};
}

TEST(ViewReader, ADirectoryIsTakenOnlyWhenItIsAnother)
{
    FakeObjMgr om;
    gFakeInspect = {};
    ViewReader reader;
    for (const char *directory : {"/a", "/a", "/b", "", ""})
        reader.Read(directory, kViewSystem);
    EXPECT_EQ(gFakeInspect.directories, (std::vector<std::string>{"/a", "/b", "-"}));
    gFakeInspect = {};
}
