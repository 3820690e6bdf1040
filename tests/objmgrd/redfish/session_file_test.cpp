// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/redfish/session_file.
#include "objmgrd/redfish/session_file.h"

#include "support/objmgr_process.h"

#include <sys/stat.h>

namespace
{

class SessionFile : public testing::Test
{
protected:
    bool Readable()
    {
        RememberedSession read;
        return SessionFileRead(file, &read);
    }
    TestDirectory directory;
    const std::string file = directory.Path() + "/session";
    const RememberedSession session = {"https://a", "/s/1", "token"};
};

}  // namespace

TEST_F(SessionFile, IsReadAsItWasWritten)
{
    ASSERT_EQ(SessionFileWrite(file, session), "");
    ASSERT_EQ(SessionFileWrite(file, session), "");
    RememberedSession read;
    ASSERT_TRUE(SessionFileRead(file, &read));
    EXPECT_EQ(read.service, "https://a");
    EXPECT_EQ(read.link, "/s/1");
    EXPECT_EQ(read.token, "token");
    struct stat info;
    ASSERT_EQ(stat(file.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    SessionFileRemove(file);
    EXPECT_FALSE(Readable());
}

TEST_F(SessionFile, WhatOthersMayReadOrIsALinkIsNotTrusted)
{
    ASSERT_EQ(SessionFileWrite(file, session), "");
    ASSERT_EQ(chmod(file.c_str(), 0640), 0);
    EXPECT_FALSE(Readable());
    ASSERT_EQ(chmod(file.c_str(), 0600), 0);
    EXPECT_TRUE(Readable());
    ASSERT_EQ(rename(file.c_str(), (file + ".2").c_str()), 0);
    ASSERT_EQ(symlink((file + ".2").c_str(), file.c_str()), 0);
    EXPECT_FALSE(Readable());
    // Written in the link's place, not through it.
    ASSERT_EQ(SessionFileWrite(file, session), "");
    EXPECT_TRUE(Readable());
}

TEST_F(SessionFile, OtherTextIsNone)
{
    for (const char *text : {"", "a\n", "a\nb\n", "a\nb\nc", "\nb\nc\n", "a\nb\nc\nd\n"}) {
        FILE *out = fopen(file.c_str(), "w");
        fchmod(fileno(out), 0600);
        fputs(text, out);
        fclose(out);
        EXPECT_FALSE(Readable()) << text;
    }
}

TEST_F(SessionFile, AFaultIsTold)
{
    EXPECT_EQ(SessionFileWrite(directory.Path() + "/no/where", session),
              "No such file or directory");
    EXPECT_EQ(SessionFileWrite(file, {"https://a", "/s", std::string(9000, 'x')}),
              "the session's token is too long");
}
