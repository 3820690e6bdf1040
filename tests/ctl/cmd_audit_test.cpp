// SPDX-License-Identifier: Apache-2.0
#include "ctl/ctl_run.h"

#include <fstream>

TEST(CmdAudit, EventsOfAFile)
{
    const std::string file = testing::TempDir() + "/audit." + std::to_string(getpid());
    std::ofstream(file) << "2026-11-21T19:00:00Z host objmgrd-sim[7]: event=login user=alice\n"
                           "2026-11-21T19:30:00Z host objmgrd-sim[7]: serving\n"
                           "2026-11-21T20:00:00Z host objmgrd-sim[7]: event=logout user=alice\n";
    const CtlEnd all = CtlRun("audit -f csv --file " + file);
    EXPECT_EQ(all.status, 0);
    EXPECT_EQ(all.out, "server,time,event,user,uid,pid,session,address,command,argument,target,"
                       "result,reason,seconds\r\n"
                       ",2026-11-21T19:00:00Z,login,alice,,,,,,,,,,\r\n"
                       ",2026-11-21T20:00:00Z,logout,alice,,,,,,,,,,\r\n");
    EXPECT_EQ(CtlRun("audit -f csv --since 2026-11-21T20:00:00Z --file " + file).out.find("login"),
              std::string::npos);
    remove(file.c_str());
    const CtlEnd none = CtlRun("audit --file " + file);
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.err, "smclpctl: " + file + ": No such file or directory\n");
}
