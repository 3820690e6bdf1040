// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/listener: each both where the kernel refuses descriptors that are passed along,
// if this one does, and where it cannot.
#include "objmgrd/listener.h"

#include "support/descriptor_message.h"
#include "support/open_descriptors.h"
#include "support/test_files.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/un.h>

#include <functional>
#include <utility>

// What listen() fails with (linked with --wrap); 0: it does not.
static int sListenError;

extern "C" {
int __real_listen(int fd, int backlog);
int __wrap_listen(int fd, int backlog);
int __wrap_listen(int fd, int backlog)
{
    if (sListenError == 0)
        return __real_listen(fd, backlog);
    errno = sListenError;
    return -1;
}
}

namespace
{

class ListenerTest : public testing::TestWithParam<bool>
{
protected:
    ListenerTest() { options_.kernelRefuses = GetParam(); }
    ~ListenerTest() override
    {
        sListenError = 0;
        for (const int fd : {client_, connection_}) {
            if (fd >= 0)
                close(fd);
        }
        listener_.Close();
        close(directoryFd_);
    }

    std::string SocketPath() const { return directory_.Path() + "/socket"; }
    struct stat Named() const
    {
        struct stat info = {};
        EXPECT_EQ(lstat(SocketPath().c_str(), &info), 0);
        return info;
    }
    bool HasNoName() const { return access(SocketPath().c_str(), F_OK) != 0; }
    // A client's connection, or -1.
    int Connect() const
    {
        const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        SocketPath().copy(address.sun_path, sizeof address.sun_path - 1);
        if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0)
            return fd;
        close(fd);
        return -1;
    }
    // The service's end of the next connection that waits, or -1.
    static int Accept(const Listener &listener)
    {
        return accept4(listener.Fd(), nullptr, nullptr, SOCK_CLOEXEC);
    }
    // Both ends of a connection, which are closed at the end.
    void Meet()
    {
        ASSERT_EQ(listener_.Open(directoryFd_, options_), 0);
        client_ = Connect();
        connection_ = Accept(listener_);
        ASSERT_GE(client_, 0);
        ASSERT_GE(connection_, 0);
    }
    // Whether the other side of a connection has ended it, or does so soon.
    static bool IsEnded(int fd, int waitMs = 2000)
    {
        pollfd look = {fd, POLLIN, 0};
        char byte;
        return poll(&look, 1, waitMs) == 1 && recv(fd, &byte, 1, MSG_DONTWAIT) <= 0;
    }
    // What `call` returns where the process may have only so many more descriptors.
    int WithRoomFor(rlim_t descriptors, const std::function<int()> &call) const
    {
        rlimit limit = {};
        getrlimit(RLIMIT_NOFILE, &limit);
        const int next = dup(directoryFd_);
        close(next);
        const rlimit less = {static_cast<rlim_t>(next) + descriptors, limit.rlim_max};
        setrlimit(RLIMIT_NOFILE, &less);
        const int error = call();
        setrlimit(RLIMIT_NOFILE, &limit);
        return error;
    }

    const TestDirectory directory_;
    const int directoryFd_ = open(directory_.Path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ListenerOptions options_;
    Listener listener_;
    int client_ = -1;
    int connection_ = -1;
};

INSTANTIATE_TEST_SUITE_P(KernelRefuses, ListenerTest, testing::Bool());

// ---- the socket ----

TEST_P(ListenerTest, OpenListensAndWaitsForNobody)
{
    EXPECT_EQ(listener_.Fd(), -1);
    ASSERT_EQ(listener_.Open(directoryFd_, options_), 0);
    EXPECT_TRUE(S_ISSOCK(Named().st_mode));
    EXPECT_NE(fcntl(listener_.Fd(), F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_EQ(Accept(listener_), -1);
    EXPECT_EQ(errno, EAGAIN);
    client_ = Connect();
    ASSERT_GE(client_, 0);
    pollfd look = {listener_.Fd(), POLLIN, 0};
    EXPECT_EQ(poll(&look, 1, 0), 1);
    connection_ = Accept(listener_);
    EXPECT_GE(connection_, 0);
}

TEST_P(ListenerTest, ItsModeIsThatOfItsOptionsAndTheUmaskIsPutBack)
{
    for (const mode_t mask : {0000u, 0027u, 0777u}) {
        for (const bool group : {false, true}) {
            options_.group = group;
            umask(mask);
            EXPECT_EQ(listener_.Open(directoryFd_, options_), 0);
            EXPECT_EQ(umask(0022), mask);
            EXPECT_EQ(Named().st_mode & 07777, group ? 0660u : 0600u);
        }
    }
}

TEST_P(ListenerTest, OpenTakesThePlaceOfWhateverIsThere)
{
    ASSERT_TRUE(WriteFile(SocketPath(), "not a socket"));
    ASSERT_EQ(listener_.Open(directoryFd_, options_), 0);
    EXPECT_TRUE(S_ISSOCK(Named().st_mode));
    listener_.Close();
    const std::string elsewhere = directory_.Path() + "/elsewhere";
    ASSERT_TRUE(WriteFile(elsewhere, "not touched"));
    ASSERT_EQ(symlink("elsewhere", SocketPath().c_str()), 0);
    ASSERT_EQ(listener_.Open(directoryFd_, options_), 0);
    EXPECT_TRUE(S_ISSOCK(Named().st_mode));
    EXPECT_EQ(ReadFile(elsewhere), "not touched");
}

TEST_P(ListenerTest, OpenedAgainItHasOneSocket)
{
    Meet();
    const int waiting = Connect();
    ASSERT_EQ(listener_.Open(directoryFd_, options_), 0);
    EXPECT_TRUE(S_ISSOCK(Named().st_mode));
    EXPECT_TRUE(IsEnded(waiting));
    close(waiting);
    const int next = Connect();
    const int accepted = Accept(listener_);
    EXPECT_GE(next, 0);
    EXPECT_GE(accepted, 0);
    close(next);
    close(accepted);
}

TEST_P(ListenerTest, CloseLeavesNothing)
{
    const std::vector<int> before = OpenDescriptors();
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(listener_.Open(directoryFd_, options_), 0);
        const int waiting = Connect();
        listener_.Close();
        EXPECT_EQ(listener_.Fd(), -1);
        EXPECT_TRUE(HasNoName());
        EXPECT_TRUE(IsEnded(waiting));
        close(waiting);
        EXPECT_EQ(OpenDescriptors(), before);
        listener_.Close();
        EXPECT_EQ(OpenDescriptors(), before);
    }
    {
        Listener another;
        ASSERT_EQ(another.Open(directoryFd_, options_), 0);
    }
    EXPECT_TRUE(HasNoName());
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_P(ListenerTest, CloseLeavesAnothersSocket)
{
    ASSERT_EQ(listener_.Open(directoryFd_, options_), 0);
    Listener another;
    ASSERT_EQ(another.Open(directoryFd_, options_), 0);
    listener_.Close();
    client_ = Connect();
    EXPECT_GE(client_, 0);
    connection_ = Accept(another);
    EXPECT_GE(connection_, 0);
}

// ---- what cannot be ----

TEST_P(ListenerTest, OpenSaysWhatStandsInItsWayAndLeavesIt)
{
    ASSERT_EQ(mkdir(SocketPath().c_str(), 0700), 0);
    ASSERT_TRUE(WriteFile(SocketPath() + "/file", "not touched"));
    const std::vector<int> before = OpenDescriptors();
    EXPECT_EQ(listener_.Open(directoryFd_, options_), EISDIR);
    EXPECT_EQ(listener_.Fd(), -1);
    EXPECT_EQ(OpenDescriptors(), before);
    EXPECT_EQ(ReadFile(SocketPath() + "/file"), "not touched");
}

TEST_P(ListenerTest, OpenFailsInADirectoryThatWasRemoved)
{
    ASSERT_EQ(rmdir(directory_.Path().c_str()), 0);
    const std::vector<int> before = OpenDescriptors();
    umask(0027);
    EXPECT_EQ(listener_.Open(directoryFd_, options_), ENOENT);
    EXPECT_EQ(umask(0022), 0027u);
    EXPECT_EQ(listener_.Fd(), -1);
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_P(ListenerTest, ASocketThatDoesNotListenHasNoName)
{
    const std::vector<int> before = OpenDescriptors();
    sListenError = ENOBUFS;
    EXPECT_EQ(listener_.Open(directoryFd_, options_), ENOBUFS);
    EXPECT_EQ(listener_.Fd(), -1);
    EXPECT_TRUE(HasNoName());
    EXPECT_EQ(OpenDescriptors(), before);
    sListenError = 0;
    EXPECT_EQ(listener_.Open(directoryFd_, options_), 0);
}

TEST_P(ListenerTest, WithoutADescriptorItDoesNotListen)
{
    const std::vector<int> before = OpenDescriptors();
    EXPECT_EQ(WithRoomFor(0, [&] { return listener_.Open(directoryFd_, options_); }), EMFILE);
    EXPECT_EQ(listener_.Fd(), -1);
    EXPECT_TRUE(HasNoName());
    EXPECT_EQ(OpenDescriptors(), before);
    ASSERT_EQ(listener_.Open(directoryFd_, options_), 0);
    ASSERT_EQ(unlink(SocketPath().c_str()), 0);
    bool anew = true;
    EXPECT_EQ(WithRoomFor(0, [&] { return listener_.Check(&anew); }), EMFILE);
    EXPECT_FALSE(anew);
    EXPECT_EQ(listener_.Check(&anew), 0);
    EXPECT_TRUE(anew);
}

// Where the kernel refuses descriptors there is none.
TEST_P(ListenerTest, WithoutAProcessThatClosesItDoesNotListen)
{
    ASSERT_EQ(listener_.Open(directoryFd_, options_), 0);
    client_ = Connect();
    const bool sent = SendDescriptor(client_, directoryFd_);
    listener_.Close();
    const std::vector<int> before = OpenDescriptors();
    // Enough for the socket alone.
    EXPECT_EQ(WithRoomFor(1, [&] { return listener_.Open(directoryFd_, options_); }),
              sent ? EMFILE : 0);
    if (!sent)
        return;
    EXPECT_EQ(listener_.Fd(), -1);
    EXPECT_TRUE(HasNoName());
    EXPECT_EQ(OpenDescriptors(), before);
}

// ---- what was taken away ----

TEST_P(ListenerTest, CheckLeavesASocketThatIsThereAlone)
{
    ASSERT_EQ(listener_.Open(directoryFd_, options_), 0);
    const int fd = listener_.Fd();
    client_ = Connect();
    ASSERT_EQ(chmod(SocketPath().c_str(), 0666), 0);  // the administrator's affair
    bool anew = true;
    EXPECT_EQ(listener_.Check(&anew), 0);
    EXPECT_FALSE(anew);
    EXPECT_EQ(listener_.Fd(), fd);
    EXPECT_EQ(Named().st_mode & 07777, 0666u);
    connection_ = Accept(listener_);
    EXPECT_GE(connection_, 0);
}

TEST_P(ListenerTest, CheckListensAnewWhereClientsDoNotReachIt)
{
    options_.group = true;
    ASSERT_EQ(listener_.Open(directoryFd_, options_), 0);
    const std::string aside = directory_.Path() + "/aside";
    Listener another;
    const std::vector<std::pair<const char *, std::function<void()>>> taken = {
        {"removed", [&] { ASSERT_EQ(unlink(SocketPath().c_str()), 0); }},
        {"a file",
         [&] { ASSERT_TRUE(unlink(SocketPath().c_str()) == 0 && WriteFile(SocketPath(), "x")); }},
        {"a link to it",
         [&] {
             ASSERT_EQ(rename(SocketPath().c_str(), aside.c_str()), 0);
             ASSERT_EQ(symlink("aside", SocketPath().c_str()), 0);
         }},
        {"another socket", [&] { ASSERT_EQ(another.Open(directoryFd_, options_), 0); }},
    };
    for (const auto &[what, take] : taken) {
        const int waiting = Connect();
        ASSERT_GE(waiting, 0) << what;
        take();
        const std::vector<int> before = OpenDescriptors();
        bool anew = false;
        EXPECT_EQ(listener_.Check(&anew), 0) << what;
        EXPECT_TRUE(anew) << what;
        EXPECT_EQ(OpenDescriptors().size(), before.size()) << what;
        EXPECT_EQ(Named().st_mode, S_IFSOCK | 0660u) << what;
        EXPECT_TRUE(IsEnded(waiting)) << what;
        close(waiting);
        const int next = Connect();
        const int accepted = Accept(listener_);
        EXPECT_GE(accepted, 0) << what;
        close(accepted);
        close(next);
        EXPECT_EQ(listener_.Check(&anew), 0) << what;
        EXPECT_FALSE(anew) << what;
    }
}

TEST_P(ListenerTest, CheckSaysWhatStandsInItsWayAndGoesOn)
{
    ASSERT_EQ(listener_.Open(directoryFd_, options_), 0);
    ASSERT_EQ(unlink(SocketPath().c_str()), 0);
    ASSERT_EQ(mkdir(SocketPath().c_str(), 0700), 0);
    const std::vector<int> before = OpenDescriptors();
    bool anew = true;
    EXPECT_EQ(listener_.Check(&anew), EISDIR);
    EXPECT_FALSE(anew);
    ASSERT_EQ(rmdir(SocketPath().c_str()), 0);
    sListenError = ENOBUFS;
    anew = true;
    EXPECT_EQ(listener_.Check(&anew), ENOBUFS);
    EXPECT_FALSE(anew);
    EXPECT_TRUE(HasNoName());
    EXPECT_EQ(OpenDescriptors(), before);
    sListenError = 0;
    EXPECT_EQ(listener_.Check(&anew), 0);
    EXPECT_TRUE(anew);
    client_ = Connect();
    connection_ = Accept(listener_);
    EXPECT_GE(connection_, 0);
}

// ---- packets ----

TEST_P(ListenerTest, ReceiveTakesOnePacketWithoutWaiting)
{
    Meet();
    char packet[8] = "";
    EXPECT_EQ(listener_.Receive(connection_, packet, 4), -1);
    EXPECT_EQ(errno, EAGAIN);
    for (const char *sent : {"abc", "defg", "hijkl", ""})
        ASSERT_EQ(send(client_, sent, strlen(sent), 0), static_cast<ssize_t>(strlen(sent)));
    EXPECT_EQ(listener_.Receive(connection_, packet, 4), 3);
    EXPECT_STREQ(packet, "abc");
    EXPECT_EQ(listener_.Receive(connection_, packet, 4), 4);
    EXPECT_STREQ(packet, "defg");
    EXPECT_EQ(listener_.Receive(connection_, packet, 4), 5);  // longer, and cut
    EXPECT_STREQ(packet, "hijk");
    EXPECT_EQ(listener_.Receive(connection_, packet, 4), 0);
    EXPECT_EQ(listener_.Receive(connection_, packet, 4), -1);
    EXPECT_EQ(errno, EAGAIN);
    ASSERT_EQ(send(client_, "z", 1, 0), 1);
    close(client_);
    client_ = -1;
    EXPECT_EQ(listener_.Receive(connection_, packet, 4), 1);
    EXPECT_EQ(listener_.Receive(connection_, packet, 4), 0);  // the end
    EXPECT_EQ(listener_.Receive(-1, packet, 4), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_P(ListenerTest, APacketWithADescriptorIsNotTaken)
{
    Meet();
    const bool sent = SendDescriptor(client_, directoryFd_);
    if (!GetParam()) {
        ASSERT_TRUE(sent);
    }
    ASSERT_EQ(send(client_, "ab", 2, 0), 2);
    const std::vector<int> before = OpenDescriptors();
    char packet[8];
    for (int i = 0; sent && i < 2; ++i) {
        EXPECT_EQ(listener_.Receive(connection_, packet, sizeof packet), -1);
        EXPECT_EQ(errno, EBADMSG);
    }
    EXPECT_EQ(OpenDescriptors(), before);
    // It is where it was; what comes without one is taken.
    pollfd look = {connection_, POLLIN, 0};
    ASSERT_EQ(poll(&look, 1, 0), 1);
    if (sent) {
        const int passed = ReceiveDescriptor(connection_);
        EXPECT_GE(passed, 0);
        close(passed);
    }
    EXPECT_EQ(listener_.Receive(connection_, packet, sizeof packet), 2);
}

// A client may say who it is: that is no descriptor.
TEST_P(ListenerTest, APacketWithCredentialsIsTaken)
{
    Meet();
    const ucred self = {getpid(), getuid(), getgid()};
    ASSERT_TRUE(SendWithControl(client_, SCM_CREDENTIALS, self, "ab", 2));
    char packet[8];
    EXPECT_EQ(listener_.Receive(connection_, packet, sizeof packet), 2);
}

TEST_P(ListenerTest, DropEndsAConnection)
{
    Meet();
    const int dropped = connection_;
    connection_ = -1;
    listener_.Drop(dropped);
    EXPECT_EQ(fcntl(dropped, F_GETFD), -1);
    EXPECT_TRUE(IsEnded(client_, 0));
}

}  // namespace
