// SPDX-License-Identifier: Apache-2.0
// Methods, called through the client: a peer of the test's own answers.
#include "objmgr/method_call.h"

#include "platform/clock.h"
#include "support/client_world.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <sys/time.h>
#include <sys/un.h>

#include <memory>

// Linked with --wrap: slows connecting down.
static useconds_t sPauseAfterConnect;

extern "C" {
int __real_connect(int fd, const sockaddr *address, socklen_t size);
int __wrap_connect(int fd, const sockaddr *address, socklen_t size);

int __wrap_connect(int fd, const sockaddr *address, socklen_t size)
{
    const int rc = __real_connect(fd, address, size);
    const int error = errno;
    if (sPauseAfterConnect != 0)
        usleep(sPauseAfterConnect);
    errno = error;
    return rc;
}
}

static constexpr CimStatus kOddStatus = 4711;

// A peer on the service's socket; each connection is handed to `answer`.
class MethodPeer
{
public:
    MethodPeer(const std::string &directory, const std::function<void(int)> &answer,
               int backlog = 8)
        : fd_(Listen(directory, backlog))
    {
        if (answer)
            child_ = std::make_unique<ChildProcess>([&] {
                for (;;) {
                    const int fd = accept(fd_, nullptr, nullptr);
                    answer(fd);
                    close(fd);
                }
            });
    }
    ~MethodPeer() { close(fd_); }
    MethodPeer(const MethodPeer &) = delete;
    MethodPeer &operator=(const MethodPeer &) = delete;

private:
    static int Listen(const std::string &directory, int backlog)
    {
        // Through the descriptor: the directory's path may be too long for an address.
        const int base = open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        snprintf(address.sun_path, sizeof(address.sun_path), "/proc/self/fd/%d/socket", base);
        const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
        EXPECT_EQ(listen(fd, backlog), 0);
        close(base);
        return fd;
    }

    int fd_;
    std::unique_ptr<ChildProcess> child_;
};

static bool ReceiveRequest(int fd, MethodRequest *request)
{
    u8 packet[kMethodPacketMax];
    const ssize_t size = recv(fd, packet, sizeof(packet), 0);
    return size > 0 && MethodParseRequest(packet, static_cast<size_t>(size), request);
}

static void Reply(int fd, CimStatus status, u32 result)
{
    u8 packet[kMethodPacketMax];
    const MethodReply reply = {status, result};
    send(fd, packet, MethodPackReply(&reply, packet), MSG_NOSIGNAL);
}

// Answers 0 and the privilege word when everything else is as expected.
static std::function<void(int)> Expecting(const char *path, const char *method, const char *args)
{
    return [=](int fd) {
        MethodRequest request;
        const bool right = ReceiveRequest(fd, &request) && strcmp(request.path, path) == 0 &&
                           strcmp(request.method, method) == 0 &&
                           request.hasArgs == (args != nullptr) &&
                           (args == nullptr || strcmp(request.args, args) == 0) &&
                           request.privilege.reserved[0] == 0 && request.privilege.reserved[1] == 0;
        Reply(fd, right ? kCimOk : kOddStatus, request.privilege.word);
    };
}

static void Accepting(int fd)
{
    MethodRequest request;
    if (ReceiveRequest(fd, &request))
        Reply(fd, kCimOk, 0);
}

struct Outcome {
    CimStatus status;
    u32 result;
    bool operator==(const Outcome &other) const
    {
        return status == other.status && result == other.result;
    }
};

static void PrintTo(const Outcome &outcome, std::ostream *out)
{
    *out << "status " << outcome.status << " result " << outcome.result;
}

static constexpr u32 kUntouched = 0x5a5a5a5a;

static Outcome InvokeIn(ObjMgrHandle handle, const char *path, const char *method, const char *args)
{
    Outcome outcome = {0, kUntouched};
    outcome.status =
        ObjMgrGetInterface()->InvokeMethod(handle, path, method, args, 0, 0, &outcome.result);
    return outcome;
}

static Outcome Invoke(const char *path, const char *method, const char *args)
{
    const ObjMgrHandle handle = MustOpen();
    const Outcome outcome = InvokeIn(handle, path, method, args);
    ObjMgrGetInterface()->Close(handle);
    return outcome;
}

static const Outcome kNoAnswer = {kCimFailed, kUntouched};

CLIENT_TEST(MethodReachesTheService)
{
    World world;
    MethodPeer peer(world.directory.Path(),
                    Expecting("OEM_QARN_System", "Reset", "Mode=PowerCycle"));
    EXPECT_EQ(Invoke("OEM_QARN_System", "Reset", "Mode=PowerCycle"), (Outcome{0, 0}));
    EXPECT_EQ(Invoke("OEM_QARN_System", "Reset", nullptr), (Outcome{kOddStatus, kUntouched}));
    EXPECT_EQ(Invoke("OEM_QARN_System", "Start", "Mode=PowerCycle"),
              (Outcome{kOddStatus, kUntouched}));
}

CLIENT_TEST(NullAndEmptyArgsAreToldApart)
{
    World world;
    const char *path = "OEM_QARN_MessageLog.Name=SEL";
    MethodPeer peer(world.directory.Path(), Expecting(path, "Clear", nullptr));
    EXPECT_EQ(Invoke(path, "Clear", nullptr), (Outcome{0, 0}));
    EXPECT_EQ(Invoke(path, "Clear", ""), (Outcome{kOddStatus, kUntouched}));
}

CLIENT_TEST(PrivilegeBelongsToTheConnection)
{
    World world;
    const ObjMgrInterface *om = ObjMgrGetInterface();
    MethodPeer peer(world.directory.Path(), Expecting("C", "M", nullptr));
    const ObjMgrHandle first = MustOpen();
    const ObjMgrHandle second = MustOpen();
    ObjMgrPrivilege privilege = {0xdeadbeef, {0, 0}};
    om->SetPrivilege(first, &privilege);
    privilege.word = 7;  // the client has a copy
    om->SetPrivilege(first, nullptr);
    om->SetPrivilege(0, &privilege);
    EXPECT_EQ(InvokeIn(first, "C", "M", nullptr), (Outcome{0, 0xdeadbeef}));
    EXPECT_EQ(InvokeIn(second, "C", "M", nullptr), (Outcome{0, 0}));
    om->Close(first);
    EXPECT_EQ(InvokeIn(MustOpen(), "C", "M", nullptr), (Outcome{0, 0}));
}

CLIENT_TEST(ResultIsWrittenWithStatusZeroOnly)
{
    World world;
    MethodPeer peer(world.directory.Path(), [](int fd) {
        MethodRequest request;
        const bool denied = ReceiveRequest(fd, &request) && strcmp(request.method, "Denied") == 0;
        Reply(fd, denied ? kCimAccessDenied : kCimOk, 9);
    });
    EXPECT_EQ(Invoke("C", "M", nullptr), (Outcome{0, 9}));
    EXPECT_EQ(Invoke("C", "Denied", nullptr), (Outcome{2, kUntouched}));
    const ObjMgrHandle handle = MustOpen();
    EXPECT_EQ(ObjMgrGetInterface()->InvokeMethod(handle, "C", "M", nullptr, 0, 0, nullptr), kCimOk);
}

CLIENT_TEST(AMethodCallNamesTheLoginsSession)
{
    World world;
    MethodPeer peer(world.directory.Path(), [](int fd) {
        MethodRequest request;
        ReceiveRequest(fd, &request);
        Reply(fd, kCimOk, request.session);
    });
    const struct {
        const char *id;
        u32 session;
    } rows[] = {{"3735928559", 3735928559u}, {"4294967296", 0}, {"7x", 0}, {"", 0}};
    for (const auto &row : rows) {
        setenv("ZORSID", row.id, 1);
        EXPECT_EQ(Invoke("C", "M", nullptr), (Outcome{0, row.session})) << row.id;
    }
    unsetenv("ZORSID");
    EXPECT_EQ(Invoke("C", "M", nullptr), (Outcome{0, 0}));
}

CLIENT_TEST(BadMethodCallsAreRefusedBeforeTheyAreSent)
{
    World world;
    MethodPeer peer(world.directory.Path(), Accepting);
    const std::string method(64, 'm');
    const std::string args(256, 'a');
    const Outcome refused = {kCimInvalidParameter, kUntouched};
    EXPECT_EQ(Invoke("C.", "M", nullptr), refused);
    EXPECT_EQ(Invoke(nullptr, "M", nullptr), refused);
    EXPECT_EQ(Invoke("C", nullptr, nullptr), refused);
    EXPECT_EQ(Invoke("C", method.c_str(), nullptr), refused);
    EXPECT_EQ(Invoke("C", "M", args.c_str()), refused);
    EXPECT_EQ(Invoke("C", method.substr(1).c_str(), args.substr(1).c_str()), (Outcome{0, 0}));
}

CLIENT_TEST(WithoutASocketAMethodFails)
{
    World world;
    EXPECT_EQ(Invoke("C", "M", nullptr), kNoAnswer);
}

CLIENT_TEST(SocketThatNobodyListensToFails)
{
    World world;
    {
        MethodPeer gone(world.directory.Path(), nullptr);
    }
    EXPECT_EQ(Invoke("C", "M", nullptr), kNoAnswer);
}

CLIENT_TEST(PeerThatClosesWithoutAnAnswerFails)
{
    World world;
    MethodPeer peer(world.directory.Path(), [](int fd) {
        MethodRequest request;
        ReceiveRequest(fd, &request);
    });
    EXPECT_EQ(Invoke("C", "M", nullptr), kNoAnswer);
}

CLIENT_TEST(PeerThatClosesBeforeTheRequestFails)
{
    World world;
    MethodPeer peer(world.directory.Path(), [](int) {});
    EXPECT_EQ(Invoke("C", "M", nullptr), kNoAnswer);
    sPauseAfterConnect = 50 * 1000;  // closed before anything is sent
    EXPECT_EQ(Invoke("C", "M", nullptr), kNoAnswer);
}

CLIENT_TEST(AnswerOfAnotherSizeFails)
{
    World world;
    MethodPeer peer(world.directory.Path(), [](int fd) {
        MethodRequest request;
        const u8 packet[8192] = {};
        if (ReceiveRequest(fd, &request))
            send(fd, packet, static_cast<size_t>(atoi(request.method)), MSG_NOSIGNAL);
    });
    EXPECT_EQ(Invoke("C", "8", nullptr), (Outcome{0, 0}));
    for (const char *size : {"1", "7", "9", "1024", "1025", "8192"})
        EXPECT_EQ(Invoke("C", size, nullptr), kNoAnswer) << size;
}

CLIENT_TEST(MethodsLeaveNoDescriptorsOpen)
{
    World world;
    const ObjMgrHandle handle = MustOpen();
    const auto before = CountDescriptors();
    InvokeIn(handle, "C", "M", nullptr);
    EXPECT_EQ(CountDescriptors(), before);
    MethodPeer peer(world.directory.Path(), Expecting("C", "M", nullptr));
    const auto listening = CountDescriptors();
    InvokeIn(handle, "C", "M", nullptr);
    InvokeIn(handle, "C", "X", nullptr);
    EXPECT_EQ(CountDescriptors(), listening);
}

// Also in a program that was started without standard input.
CLIENT_TEST(TheLowestDescriptorIsOneAsAnyOther)
{
    World world;
    MethodPeer peer(world.directory.Path(), Expecting("C", "M", nullptr));
    const ObjMgrHandle handle = MustOpen();
    close(STDIN_FILENO);
    EXPECT_EQ(InvokeIn(handle, "C", "M", nullptr), (Outcome{0, 0}));
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
}

static void ExpectMethodWorksIn(const std::string &directory)
{
    ASSERT_EQ(setenv("ZOROBJMGR", directory.c_str(), 1), 0);
    Service service(directory);
    ASSERT_EQ(service.Run(kPublish), 0);
    MethodPeer peer(directory, Expecting("C", "M", nullptr));
    const ObjMgrHandle handle = MustOpen();
    const auto before = CountDescriptors();
    EXPECT_EQ(InvokeIn(handle, "C", "M", nullptr), (Outcome{0, 0}));
    EXPECT_EQ(CountDescriptors(), before);
}

static std::string DirectoryOfLength(const std::string &base, size_t length)
{
    std::string path = base + "/";
    path += std::string(length - path.size(), 'd');
    EXPECT_EQ(mkdir(path.c_str(), 0700), 0);
    return path;
}

// An address takes 107 bytes, of which "/socket" is 7.
CLIENT_TEST(SocketPathOf107BytesWorks)
{
    TestDirectory base;
    ExpectMethodWorksIn(DirectoryOfLength(base.Path(), 100));
}

CLIENT_TEST(SocketPathOf108BytesWorks)
{
    TestDirectory base;
    ExpectMethodWorksIn(DirectoryOfLength(base.Path(), 101));
}

CLIENT_TEST(SocketPathOfManyBytesWorks)
{
    TestDirectory base;
    ExpectMethodWorksIn(DirectoryOfLength(base.Path(), 250));
}

static volatile sig_atomic_t sSignals;

CLIENT_TEST(SignalsDoNotEndTheWait)
{
    World world;
    MethodPeer peer(world.directory.Path(), [](int fd) {
        MethodRequest request;
        ReceiveRequest(fd, &request);
        usleep(200 * 1000);
        Reply(fd, 0, 3);
    });
    const ObjMgrHandle handle = MustOpen();
    struct sigaction action = {};
    action.sa_handler = [](int) { sSignals = sSignals + 1; };
    sigaction(SIGALRM, &action, nullptr);
    const itimerval every = {{0, 20 * 1000}, {0, 20 * 1000}};
    setitimer(ITIMER_REAL, &every, nullptr);
    EXPECT_EQ(InvokeIn(handle, "C", "M", nullptr), (Outcome{0, 3}));
    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_GT(sSignals, 1);
}

// Signals must not stretch the wait either.
CLIENT_TEST(SilentServiceEndsTheWaitAfterFiveSeconds)
{
    World world;
    MethodPeer peer(world.directory.Path(), [](int) { pause(); });
    const ObjMgrHandle handle = MustOpen();
    struct sigaction action = {};
    action.sa_handler = [](int) { sSignals = sSignals + 1; };
    sigaction(SIGALRM, &action, nullptr);
    const itimerval every = {{1, 0}, {1, 0}};
    setitimer(ITIMER_REAL, &every, nullptr);
    const u64 start = ClockMs();
    EXPECT_EQ(InvokeIn(handle, "C", "M", nullptr), kNoAnswer);
    EXPECT_GE(ClockMs() - start, 5000u);
    EXPECT_GT(sSignals, 1);
}

CLIENT_TEST(ServiceThatAcceptsNobodyEndsTheWaitToo)
{
    World world;
    MethodPeer peer(world.directory.Path(), nullptr, 0);
    const int queued = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof(address.sun_path), "%s/socket",
             world.directory.Path().c_str());
    ASSERT_EQ(connect(queued, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    const u64 start = ClockMs();
    EXPECT_EQ(Invoke("C", "M", nullptr), kNoAnswer);
    EXPECT_GE(ClockMs() - start, 4990u);  // the kernel's own clock ticks ended it
    close(queued);
}

CLIENT_TEST(MethodLeavesTheSnapshotAlone)
{
    World world;
    MethodPeer peer(world.directory.Path(), Accepting);
    const ObjMgrHandle handle = MustOpen();
    ASSERT_EQ(world.service->Run(kTurnOff), 0);
    EXPECT_EQ(InvokeIn(handle, "OEM_QARN_System", "Stop", nullptr), (Outcome{0, 0}));
    EXPECT_EQ(ReadIn(handle, "OEM_QARN_System", "PowerStatus"), "ON");
    EXPECT_EQ(Read("OEM_QARN_System", "PowerStatus"), "OFF");
}

CLIENT_TEST(DirectoryThatOthersMayWriteIsNotAsked)
{
    World world;
    MethodPeer peer(world.directory.Path(), Accepting);
    const ObjMgrHandle handle = MustOpen();
    EXPECT_EQ(InvokeIn(handle, "C", "M", nullptr), (Outcome{0, 0}));
    for (const mode_t mode : {0720u, 0702u}) {
        ASSERT_EQ(chmod(world.directory.Path().c_str(), mode), 0);
        EXPECT_EQ(InvokeIn(handle, "C", "M", nullptr), kNoAnswer);
    }
}

// Whose process listens counts, not whose the socket's file is.
CLIENT_TEST(PeerOfAnotherUserIsNotAsked)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root may become another user";
    World world;
    const std::string socketPath = world.directory.Path() + "/socket";
    ASSERT_EQ(chown(world.directory.Path().c_str(), 4242, 0), 0);
    const auto answerOf = [&](uid_t listener) {
        unlink(socketPath.c_str());
        const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        snprintf(address.sun_path, sizeof(address.sun_path), "%s", socketPath.c_str());
        EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
        ChildProcess peer([&] {
            // Who calls listen() is who the kernel names.
            if (setresuid(listener, listener, listener) != 0 || listen(fd, 64) != 0)
                _exit(1);
            const int connection = accept(fd, nullptr, nullptr);
            Accepting(connection);
            pause();
        });
        MethodReply reply;
        u8 packet[kMethodPacketMax];
        const u32 size = MethodPackRequest(nullptr, "C", "M", nullptr, packet);
        CimStatus status = kCimFailed;
        for (int attempt = 0; status != kCimOk && attempt < 20; ++attempt) {
            usleep(10 * 1000);  // until it listens
            status = MethodCall(packet, size, 2000, &reply);
        }
        close(fd);
        return status;
    };
    EXPECT_EQ(answerOf(4242), kCimOk);  // the directory's owner
    EXPECT_EQ(answerOf(0), kCimOk);
    EXPECT_EQ(answerOf(4243), kCimFailed);
}
