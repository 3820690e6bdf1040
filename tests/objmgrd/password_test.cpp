// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/password.
#include "objmgrd/password.h"

#include "support/objmgr_process.h"
#include "support/open_descriptors.h"
#include "support/watched_open.h"

#include <cerrno>
#include <fcntl.h>
#include <string.h>
#include <string_view>
#include <sys/stat.h>

// With which flags the password's file is opened.
static int sPasswordFlags;

static void KeepFlags(const char *path, int flags)
{
    if (std::string_view(path).ends_with("/password") && (flags & O_CREAT) == 0)
        sPasswordFlags = flags;
}

namespace
{

class PasswordTest : public testing::Test
{
protected:
    PasswordTest() { WatchOpens(KeepFlags); }
    ~PasswordTest() override { WatchOpens(nullptr); }
    std::string Write(const std::string &bytes, mode_t mode = 0600)
    {
        const std::string file = directory_.Path() + "/password";
        unlink(file.c_str());
        const int fd = open(file.c_str(), O_CREAT | O_WRONLY, 0600);
        EXPECT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        fchmod(fd, mode);
        close(fd);
        return file;
    }
    // What was read, or what is wrong.
    std::string Read(const std::string &file)
    {
        const std::string fault = password_.Read(file);
        EXPECT_TRUE(fault.empty() || *password_.Text() == '\0');
        return fault.empty() ? std::string("=") + password_.Text() : fault;
    }

    TestDirectory directory_;
    Password password_{20, "IPMI"};
};

}  // namespace

TEST_F(PasswordTest, IsTheFirstLine)
{
    EXPECT_EQ(Read(Write("secret\n")), "=secret");
    EXPECT_EQ(Read(Write("secret")), "=secret");
    EXPECT_EQ(Read(Write("se cret\r\nmore\n")), "=se cret");
    EXPECT_EQ(Read(Write("")), "=");
    EXPECT_EQ(Read(Write("\nx\n")), "=");
    EXPECT_EQ(Read(Write("secret\n", 0400)), "=secret");
}

TEST_F(PasswordTest, HasAtMost20Bytes)
{
    EXPECT_EQ(Read(Write("12345678901234567890\n")), "=12345678901234567890");
    EXPECT_EQ(Read(Write("123456789012345678901\n")),
              "holds a password of more than 20 bytes, which IPMI does not take");
    EXPECT_EQ(Read(Write(std::string(5000, 'x'))),
              "holds a password of more than 20 bytes, which IPMI does not take");
    EXPECT_EQ(Read(Write(std::string("a\0b", 3))), "holds a byte 0");
    Password longer(kPasswordMax, "Redfish");
    EXPECT_EQ(longer.Read(Write(std::string(1023, 'x') + "\n")), "");
    EXPECT_EQ(longer.Text(), std::string(1023, 'x'));
    EXPECT_EQ(longer.Read(Write(std::string(1024, 'x') + "\n")),
              "holds a password of more than 1023 bytes, which Redfish does not take");
}

// A file that cannot be read after all, and a password that was read before.
TEST_F(PasswordTest, AFailedReadIsSaidAndLeavesNothing)
{
    EXPECT_EQ(Read(Write("secret\n")), "=secret");
    EXPECT_EQ(Read(directory_.Path() + "/none"), "No such file or directory");
    EXPECT_EQ(Read(Write("secret\n")), "=secret");
    EXPECT_EQ(Read("/proc/self/mem"), strerror(EIO));
    errno = EINTR;  // somebody else's
    EXPECT_EQ(Read(Write("secret\n")), "=secret");
}

TEST_F(PasswordTest, NobodyElseMayReadOrChangeTheFile)
{
    for (mode_t mode : {0640u, 0604u, 0620u, 0602u, 0610u, 0601u, 0644u})
        EXPECT_EQ(Read(Write("secret\n", mode)), "can be read or changed by others: chmod 600 it");
}

TEST_F(PasswordTest, TheFileIsARegularOne)
{
    const std::string link = directory_.Path() + "/link";
    ASSERT_EQ(symlink(Write("secret\n").c_str(), link.c_str()), 0);
    EXPECT_EQ(Read(link), "is a symbolic link");
    const std::string pipe = directory_.Path() + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(Read(pipe), "is no regular file");
    EXPECT_EQ(Read(directory_.Path()), "is no regular file");
    EXPECT_EQ(Read("/dev/null"), "is no regular file");
    EXPECT_EQ(Read(directory_.Path() + "/none"), "No such file or directory");
}

TEST_F(PasswordTest, TheFileBelongsToRootOrTheServicesUser)
{
    const std::string file = Write("secret\n");
    if (chown(file.c_str(), 4711, 0) != 0)
        GTEST_SKIP() << "only root can give files away";
    EXPECT_EQ(Read(file), "belongs to user 4711, neither to root nor to the service's user");
}

// Where a command is started at the same moment it inherits nothing.
TEST_F(PasswordTest, TheDescriptorIsNobodyElsesAndIsClosedAgain)
{
    const std::string file = Write("secret\n");
    const std::vector<int> before = OpenDescriptors();
    for (const std::string &path :
         {file, directory_.Path(), std::string("/dev/null"), directory_.Path() + "/none"}) {
        Read(path);
        EXPECT_EQ(OpenDescriptors(), before) << path;
    }
    EXPECT_EQ(sPasswordFlags & O_CLOEXEC, O_CLOEXEC);
}
