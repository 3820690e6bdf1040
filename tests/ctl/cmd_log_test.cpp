// SPDX-License-Identifier: Apache-2.0
#include "archive/archive_writer.h"
#include "ctl/ctl_run.h"

#include <filesystem>

namespace
{

void Fill(FakeObjMgr *om)
{
    om->AddRecord("1970-01-01 00:01:00", "19700101000100", "one");
    om->AddRecord("System Boot", "System Boot", "two");
    om->AddRecord("1970-01-01 00:02:00", "19700101000200", "three, \"quoted\"");
}

}  // namespace

TEST(CmdLog, Records)
{
    FakeObjMgr om;
    Fill(&om);
    const CtlEnd end = CtlRun("log -f csv");
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.out,
              "server,record,target,time,boot,description,archived_record,archived_target\r\n"
              ",1,/system1/logs1/log1/record1,1970-01-01T00:01:00Z,false,one,,\r\n"
              ",2,/system1/logs1/log1/record2,,true,two,,\r\n"
              ",3,/system1/logs1/log1/record3,1970-01-01T00:02:00Z,false,"
              "\"three, \"\"quoted\"\"\",,\r\n");
}

TEST(CmdLog, Since)
{
    FakeObjMgr om;
    Fill(&om);
    EXPECT_EQ(CtlRun("log --since 2").out, "RECORD  TIME                  BOOT  DESCRIPTION\n"
                                           "     3  1970-01-01T00:02:00Z  no    three, "
                                           "\"quoted\"\n");
    EXPECT_EQ(CtlRun("log --since 1970-01-01T00:02:00Z").out, CtlRun("log --since 2").out);
    EXPECT_EQ(CtlRun("log --since 3").out, "");
}

TEST(CmdLog, Clear)
{
    FakeObjMgr om;
    Fill(&om);
    const CtlEnd end = CtlRun("log clear");
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.out + end.err, "");
    EXPECT_EQ(om.Logged("InvokeMethod"),
              (std::vector<std::string>{"InvokeMethod OEM_QARN_MessageLog.Name=SEL Clear"}));
    EXPECT_EQ(CtlRun("log").out, "");
    om.methodStatus = kCimAccessDenied;
    EXPECT_EQ(CtlRun("log clear").status, 77);
    om.methodStatus = kCimOk;
    om.methodResult = 1;
    EXPECT_EQ(CtlRun("log clear").status, 1);
}

TEST(CmdLog, ALogThatCannotBeRead)
{
    FakeObjMgr om;
    Fill(&om);
    om.SetStatus("OEM_QARN_MessageLog.Name=SEL", "NumRecords", kCimFailed);
    const CtlEnd end = CtlRun("log");
    EXPECT_EQ(end.status, 75);
    EXPECT_EQ(end.err, "smclpctl: the source is silent\n");
}

TEST(CmdLog, AllIsTheArchiveAndWhatIsNotInItYet)
{
    namespace fs = std::filesystem;
    std::string directory = fs::temp_directory_path() / "archive.XXXXXX";
    ASSERT_NE(mkdtemp(directory.data()), nullptr);
    {
        ArchiveWriter writer;
        ASSERT_EQ(writer.Open(directory, kArchiveDefaultBytes), 0);
        ASSERT_EQ(writer.Update({{7, 30, false, "cleared long ago"}}), 0);
        ASSERT_EQ(writer.Update({}), 0);
        ASSERT_EQ(
            writer.Update(
                {{1, 50, false, "dropped"}, {2, 60, false, "one"}, {3, std::nullopt, true, "two"}}),
            0);
    }
    FakeObjMgr om;
    Fill(&om);
    const CtlEnd end = CtlRun("log -f csv --all " + directory);
    EXPECT_EQ(end.status, 0) << end.err;
    EXPECT_EQ(end.out,
              "server,record,target,time,boot,description,archived_record,archived_target\r\n"
              ",,,1970-01-01T00:00:30Z,false,cleared long ago,7,/system1/logs1/log1/record7\r\n"
              ",,,1970-01-01T00:00:50Z,false,dropped,1,/system1/logs1/log1/record1\r\n"
              ",1,/system1/logs1/log1/record1,1970-01-01T00:01:00Z,false,one,"
              "2,/system1/logs1/log1/record2\r\n"
              ",2,/system1/logs1/log1/record2,,true,two,3,/system1/logs1/log1/record3\r\n"
              ",3,/system1/logs1/log1/record3,1970-01-01T00:02:00Z,false,"
              "\"three, \"\"quoted\"\"\",,\r\n");
    EXPECT_EQ(CtlRun("log --all " + directory).out,
              "RECORD  TIME                  BOOT  DESCRIPTION       WAS\n"
              "     -  1970-01-01T00:00:30Z  no    cleared long ago    7\n"
              "     -  1970-01-01T00:00:50Z  no    dropped             1\n"
              "     1  1970-01-01T00:01:00Z  no    one                 2\n"
              "     2  -                     yes   two                 3\n"
              "     3  1970-01-01T00:02:00Z  no    three, \"quoted\"     -\n");
    EXPECT_EQ(CtlRun("log --since 1970-01-01T00:02:00Z -f csv --all " + directory).out,
              CtlRun("log --since 2 -f csv").out);
    om.openFails = true;
    const CtlEnd gone = CtlRun("log -f csv --all " + directory);
    EXPECT_EQ(gone.status, 69);
    EXPECT_NE(gone.out.find("true,two"), std::string::npos);
    fs::remove_all(directory);
    EXPECT_EQ(CtlRun("log --all " + directory).status, 1);
}
