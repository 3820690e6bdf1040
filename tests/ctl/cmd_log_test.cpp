// SPDX-License-Identifier: Apache-2.0
#include "archive/archive_writer.h"
#include "ctl/ctl_run.h"
#include "support/test_files.h"

#include <filesystem>
#include <functional>
#include <stdio.h>

namespace
{

void FillLog(FakeObjMgr *om)
{
    om->AddRecord("1970-01-01 00:01:00", "19700101000100", "one");
    om->AddRecord("System Boot", "System Boot", "two");
    om->AddRecord("1970-01-01 00:02:00", "19700101000200", "three, \"quoted\"");
}

}  // namespace

TEST(CmdLog, Records)
{
    FakeObjMgr om;
    FillLog(&om);
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
    FillLog(&om);
    EXPECT_EQ(CtlRun("log --since 2").out, "RECORD  TIME                  BOOT  DESCRIPTION\n"
                                           "     3  1970-01-01T00:02:00Z  no    three, "
                                           "\"quoted\"\n");
    EXPECT_EQ(CtlRun("log --since 1970-01-01T00:02:00Z").out, CtlRun("log --since 2").out);
    EXPECT_EQ(CtlRun("log --since 3").out, "");
}

TEST(CmdLog, ASilentSource)
{
    FakeObjMgr om;
    om.SetStatus("OEM_QARN_MessageLog.Name=SEL", "NumRecords", kCimFailed);
    const TestDirectory archive;
    for (const std::string &line :
         {std::string("log"), std::string("log clear"), "log --all " + archive.Path()}) {
        const CtlEnd end = CtlRun(line);
        EXPECT_EQ(end.status, 75) << line;
        EXPECT_EQ(end.err, "smclpctl: the source is silent\n") << line;
    }
    EXPECT_TRUE(om.Logged("InvokeMethod").empty());
}

TEST(CmdLog, Clear)
{
    FakeObjMgr om;
    FillLog(&om);
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
    FillLog(&om);
    om.SetStatus("OEM_QARN_MessageLog.Name=SEL", "NumRecords", kCimFailed);
    const CtlEnd end = CtlRun("log");
    EXPECT_EQ(end.status, 75);
    EXPECT_EQ(end.err, "smclpctl: the source is silent\n");
}

TEST(CmdLog, AllIsTheArchiveAndWhatIsNotInItYet)
{
    const TestDirectory made;
    const std::string &directory = made.Path();
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
    FillLog(&om);
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
    std::filesystem::remove_all(directory);
    EXPECT_EQ(CtlRun("log --all " + directory).status, 1);
}

namespace
{

// A stream whose every write is told, and fails where the teller says so.
class ToldStream
{
public:
    // tell: what is written; false: the write fails.
    explicit ToldStream(std::function<bool(const std::string &)> tell) : tell_(std::move(tell))
    {
        stream_ = fopencookie(this, "w",
                              {.read = nullptr, .write = Write, .seek = nullptr, .close = nullptr});
        setvbuf(stream_, nullptr, _IOLBF, 0);
    }
    ~ToldStream() { fclose(stream_); }
    ToldStream(const ToldStream &) = delete;
    ToldStream &operator=(const ToldStream &) = delete;
    FILE *Stream() const { return stream_; }

private:
    static ssize_t Write(void *cookie, const char *bytes, size_t size)
    {
        return static_cast<ToldStream *>(cookie)->tell_({bytes, size}) ? static_cast<ssize_t>(size)
                                                                       : 0;
    }

    std::function<bool(const std::string &)> tell_;
    FILE *stream_;
};

}  // namespace

// A service that is away is waited for, and that is said once for each time.
TEST(CmdLog, FollowsUntilNobodyTakesWhatItSays)
{
    FakeObjMgr om;
    FillLog(&om);
    om.openFails = true;
    std::string err;
    std::string out;
    ToldStream errStream([&](const std::string &text) {
        err += text;
        om.openFails = false;
        om.failCall = om.calls + 1;  // the next look finds nobody either
        return true;
    });
    ToldStream outStream([&](const std::string &text) {
        out += text;
        if (text.find("three") != std::string::npos)
            om.AddRecord("1970-01-01 00:00:30", "19700101000030", "four");
        return text.find("four") == std::string::npos;
    });
    Options options;
    options.command = CommandId::Log;
    options.follow = true;
    options.format = OutputFormat::Csv;
    options.sinceTime = 100;  // of the records that stand already
    Console console;
    console.out = outStream.Stream();
    console.err = errStream.Stream();
    EXPECT_EQ(CommandRun(options, console), kExitFailed);
    EXPECT_EQ(out, "server,record,target,time,boot,description,archived_record,archived_target\r\n"
                   ",3,/system1/logs1/log1/record3,1970-01-01T00:02:00Z,false,"
                   "\"three, \"\"quoted\"\"\",,\r\n"
                   ",4,/system1/logs1/log1/record4,1970-01-01T00:00:30Z,false,four,,\r\n");
    EXPECT_EQ(err.substr(0, err.find('\n')), "smclpctl: no object manager serves: waiting for it");
    EXPECT_EQ(err.find("waiting", 50), std::string::npos) << err;
}
