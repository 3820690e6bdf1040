// SPDX-License-Identifier: Apache-2.0
#include "ctl/ctl_run.h"
#include "support/test_files.h"

#include <filesystem>
#include <fstream>
#include <sys/stat.h>

namespace
{

namespace fs = std::filesystem;

}  // namespace

TEST(CmdExport, ToStandardOutput)
{
    FakeObjMgr om;
    om.AddSensor("4", "1", {"Name", "Fan1", "Reading", "4000", "StatusText", "normal"});
    const CtlEnd end = CtlRun("export --prometheus");
    EXPECT_EQ(end.status, 0);
    EXPECT_NE(end.out.find("\nsmclp_up 1\n"), std::string::npos);
    EXPECT_NE(end.out.find("smclp_fan_speed_rpm{name=\"Fan1\","), std::string::npos);
    EXPECT_EQ(CtlRun("export").out, end.out);
    om.openFails = true;
    const CtlEnd none = CtlRun("export");
    EXPECT_EQ(none.status, 0);
    EXPECT_NE(none.out.find("\nsmclp_up 0\n"), std::string::npos);
}

TEST(CmdExport, IntoAFileThatIsWholeAtAnyMoment)
{
    FakeObjMgr om;
    const TestDirectory made;
    const std::string &directory = made.Path();
    const std::string file = directory + "/smclp.prom";
    std::ofstream(file) << "old";
    std::ifstream before(file);
    const CtlEnd end = CtlRun("export --output " + file);
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.out, "");
    EXPECT_EQ(ReadFile(file), CtlRun("export").out);
    std::string old;
    before >> old;
    EXPECT_EQ(old, "old");  // whoever had it open
    struct stat info;
    ASSERT_EQ(stat(file.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0444, 0444u);
    EXPECT_EQ(std::distance(fs::directory_iterator(directory), fs::directory_iterator()), 1);
    const CtlEnd failed = CtlRun("export --output " + directory + "/none/x");
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.err, "smclpctl: " + directory + "/none/x: No such file or directory\n");
}
