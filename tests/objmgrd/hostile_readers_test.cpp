// SPDX-License-Identifier: Apache-2.0
// What whoever may read the directory can do to the service and to other readers: nothing.
#include "objmgrd/image_writer.h"

#include "platform/clock.h"
#include "support/client_world.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>

#include <algorithm>

// That the service goes on and that another reader sees what it publishes.
static void ExpectAllIsWell(const World &world)
{
    ASSERT_EQ(world.service->Run(kTurnOff), 0);
    InFreshProcess([] { EXPECT_EQ(Read("OEM_QARN_System", "PowerStatus"), "OFF"); });
    ASSERT_EQ(world.service->Run(kTurnOn), 0);
    ASSERT_EQ(world.service->Run(kBeat), 0);
    InFreshProcess([] { EXPECT_EQ(Read("OEM_QARN_System", "PowerStatus"), "ON"); });
}

TEST(HostileReaders, TwoThousandReadAtOnce)
{
#ifdef SANITIZED
    // Two thousand under the address sanitizer leave the service no time for its sign of life.
    constexpr int kReaders = 500;
#else
    constexpr int kReaders = 2000;
#endif
    World world;
    int ready[2];
    int done[2];
    ASSERT_EQ(pipe2(ready, O_CLOEXEC) | pipe2(done, O_CLOEXEC), 0);
    std::vector<pid_t> readers;
    for (int i = 0; i < kReaders; ++i) {
        const pid_t pid = fork();
        if (pid == 0) {
            close(done[1]);
            const ObjMgrInterface *om = ObjMgrGetInterface();
            ObjMgrHandle handle = 0;
            char text[8] = "";
            const bool right =
                om->Open(&handle) == 0 &&
                om->GetPropertyValue(handle, "OEM_QARN_System", "PowerStatus", 8, text) == 0 &&
                strcmp(text, "ON") == 0;
            char byte = right ? 'r' : 'w';
            (void)!write(ready[1], &byte, 1);
            (void)!read(done[0], &byte, 1);  // all of them are open until the test is over
            om->Close(handle);
            _exit(right ? 0 : 1);
        }
        if (pid < 0)
            break;
        readers.push_back(pid);
    }
    EXPECT_EQ(readers.size(), size_t{kReaders});
    for (size_t i = 0; i < readers.size(); ++i) {
        char byte = 0;
        ASSERT_EQ(read(ready[0], &byte, 1), 1);
        EXPECT_EQ(byte, 'r');
    }
    ExpectAllIsWell(world);
    for (const int fd : {done[1], done[0], ready[0], ready[1]})
        close(fd);
    for (const pid_t pid : readers) {
        int status = -1;
        waitpid(pid, &status, 0);
        EXPECT_EQ(status, 0);
    }
}

// Stops the child at its next system call. False: it has ended.
static bool StepToSystemCall(pid_t pid)
{
    int status = 0;
    ptrace(PTRACE_SYSCALL, pid, nullptr, nullptr);
    return waitpid(pid, &status, 0) == pid && WIFSTOPPED(status);
}

// At the entry of every system call of Open, of a read after a change, and of Close; killed there.
TEST(HostileReaders, ReaderThatStopsAnywhereHoldsNobodyUp)
{
    World world;
    int stops = 0;
    for (int steps = 1; steps < 200; ++steps) {
        ChildProcess reader([] {
            if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
                _exit(77);
            raise(SIGSTOP);
            syscall(SYS_getppid);
            OpenStatus();
            syscall(SYS_getppid);
            _exit(0);
        });
        int status = 0;
        waitpid(reader.Pid(), &status, 0);
        if (!WIFSTOPPED(status))
            GTEST_SKIP() << "this machine does not let a process trace its child";
        ptrace(PTRACE_SETOPTIONS, reader.Pid(), nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
        bool runs = true;
        for (int i = 0; runs && i < steps; ++i)
            runs = StepToSystemCall(reader.Pid());
        if (!runs)
            break;
        ++stops;
        if (stops % 2 == 0 && stops > 4)
            continue;  // the way out of a call is as its way in
        ExpectAllIsWell(world);
        if (HasFatalFailure())
            return;
    }
    EXPECT_GE(stops, 20);
    EXPECT_LT(stops, 199);
}

// Readers in a loop while the service is killed and started anew, again and again.
TEST(HostileReaders, ServiceThatIsKilledAHundredTimesLosesNobody)
{
    World world;
    std::vector<std::unique_ptr<ChildProcess>> readers;
    for (int i = 0; i < 32; ++i)
        readers.push_back(std::make_unique<ChildProcess>([] {
            int opened = 0;
            for (;;) {
                const ObjMgrInterface *om = ObjMgrGetInterface();
                ObjMgrHandle handle = 0;
                if (om->Open(&handle) == 0) {
                    const std::string text = ReadIn(handle, "OEM_QARN_System", "PowerStatus");
                    EXPECT_TRUE(text == "ON" || text == "END") << text;
                    opened += text == "ON" ? 1 : 0;
                    om->Close(handle);
                    if (text == "END")
                        break;
                }
                usleep(1000);
            }
            EXPECT_GT(opened, 0);
        }));
    std::vector<u64> times;
    for (int i = 0; i < 100; ++i) {
        world.service->Process().Kill();
        const u64 before = ClockMs();
        world.Start(i == 99 ? Records{{"OEM_QARN_System", Texts({{"PowerStatus", "END"}})}}
                            : TestRecords());
        times.push_back(ClockMs() - before);
    }
    for (const auto &reader : readers) {
        ASSERT_EQ(world.service->Run(kBeat), 0);
        EXPECT_EQ(reader->Wait(), 0);
    }
    std::sort(times.begin(), times.end());
    printf("restart: median %llu ms, slowest %llu ms\n",
           static_cast<unsigned long long>(times[times.size() / 2]),
           static_cast<unsigned long long>(times.back()));
}

// ---- a member of the group ----

constexpr uid_t kMember = 4242;
constexpr gid_t kGroup = 4343;

// Runs `body` as a member of the directory's group. Its failures are the test's.
static void AsMember(const std::function<void()> &body)
{
    InFreshProcess([&] {
        ASSERT_EQ(setgroups(0, nullptr), 0);
        ASSERT_EQ(setresgid(kGroup, kGroup, kGroup), 0);
        ASSERT_EQ(setresuid(kMember, kMember, kMember), 0);
        body();
    });
}

class GroupMember : public testing::Test
{
protected:
    void SetUp() override
    {
        if (geteuid() != 0)
            GTEST_SKIP() << "only root may become another user";
        ASSERT_EQ(chmod(At("").c_str(), 0750), 0);
        ASSERT_EQ(chown(At("").c_str(), 0, kGroup), 0);
        world_.Start();
    }
    std::string At(const std::string &name) const { return world_.directory.Path() + "/" + name; }
    World world_;
};

TEST_F(GroupMember, MayReadAndNothingElse)
{
    // Above the directory, too, a test's own is closed to others.
    AsMember([this] {
        EXPECT_EQ(Read("OEM_QARN_System", "PowerStatus"), "ON");
        for (const char *name : {"image", "alive", "lock"}) {
            EXPECT_EQ(unlink(At(name).c_str()), -1);
            EXPECT_EQ(rename(At(name).c_str(), At("other").c_str()), -1);
            EXPECT_EQ(truncate(At(name).c_str(), 0), -1);
            EXPECT_EQ(chmod(At(name).c_str(), 0666), -1);
            EXPECT_EQ(open(At(name).c_str(), O_RDWR | O_CLOEXEC), -1);
        }
        EXPECT_EQ(open(At("lock").c_str(), O_RDONLY | O_CLOEXEC), -1);
        EXPECT_EQ(open(At("new").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600), -1);
        EXPECT_EQ(symlink("x", At("link").c_str()), -1);
        EXPECT_EQ(link(At("image").c_str(), At("second").c_str()), -1);
    });
    ExpectAllIsWell(world_);
}

// Every lock that a descriptor for reading can hold, and old files mapped and pinned.
TEST_F(GroupMember, HoldsNobodyUpWithLocksAndMaps)
{
    int ready[2];
    ASSERT_EQ(pipe2(ready, O_CLOEXEC), 0);
    const std::string image = At("image");
    ChildProcess member([&] {
        if (setgroups(0, nullptr) != 0 || setresgid(kGroup, kGroup, kGroup) != 0 ||
            setresuid(kMember, kMember, kMember) != 0)
            _exit(1);
        std::string held;
        for (const char *name : {"image", "alive"}) {
            const int fd = open(At(name).c_str(), O_RDONLY | O_CLOEXEC);
            held += flock(fd, LOCK_EX | LOCK_NB) == 0 ? 'f' : '-';
            struct flock lock = {};
            lock.l_type = F_RDLCK;
            held += fcntl(fd, F_OFD_SETLK, &lock) == 0 ? 'o' : '-';
            struct stat info = {};
            fstat(fd, &info);
            if (info.st_size > 0) {
                const size_t size = static_cast<size_t>(info.st_size);
                void *mapped = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, 0);
                held += mapped != MAP_FAILED ? 'm' : '-';
                held += mlock(mapped, size) == 0 ? 'l' : '-';
            }
        }
        (void)!write(ready[1], held.data(), held.size());
        pause();
    });
    char held[16] = "";
    ASSERT_GT(read(ready[0], held, sizeof(held) - 1), 0);
    // The write lock of the service keeps the member from a lock on alive.
    EXPECT_EQ(std::string(held).substr(0, 3), "fom");
    EXPECT_EQ(std::string(held).back(), '-');
    close(ready[0]);
    close(ready[1]);

    ExpectAllIsWell(world_);
    struct stat old = {};
    const int fd = open(image.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(world_.service->Run(kGrow), 0);
    ASSERT_EQ(fstat(fd, &old), 0);
    EXPECT_EQ(old.st_size, 4096);  // however often it is mapped
    close(fd);
    // Killed while the member waits: nothing keeps the next one from starting.
    world_.service->Process().Kill();
    world_.Start();
    ExpectAllIsWell(world_);
}

// ---- a full file system ----

static size_t FreePages(const std::string &path)
{
    struct statvfs info = {};
    return statvfs(path.c_str(), &info) == 0 ? static_cast<size_t>(info.f_bfree) : 0;
}

// Leaves `pages` free.
static void Fill(const std::string &path, size_t pages)
{
    const std::string filler = path + "/filler";
    unlink(filler.c_str());
    const size_t free = FreePages(path);
    const int fd = open(filler.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(fd, 0);
    if (free > pages) {
        ASSERT_EQ(fallocate(fd, 0, 0, static_cast<off_t>((free - pages) * 4096)), 0);
    }
    close(fd);
}

// Start, publish and growth with so many pages left: each works or says that there is no room, and
// works as soon as there is some.
static void ServeInSoMuchRoom(const std::string &base, size_t pages)
{
    const std::string directory = base + "/objmgr";
    ASSERT_EQ(mkdir(directory.c_str(), 0700), 0);
    Fill(base, pages);
    setenv("ZOROBJMGR", directory.c_str(), 1);
    ImageWriter writer;
    int rc = PublishAll(&writer, directory, TestRecords());
    EXPECT_TRUE(rc == 0 || rc == ENOSPC) << pages << ": " << strerror(rc);
    if (rc == ENOSPC) {
        unlink((base + "/filler").c_str());
        writer.Close();
        ASSERT_EQ(PublishAll(&writer, directory, TestRecords()), 0) << pages;
    }
    Fill(base, 0);
    EXPECT_EQ(Read("OEM_QARN_Sensor.Index=1", "Reading"), "21");
    EXPECT_EQ(StageAll(&writer, Sensors(400)), ENOSPC) << pages;
    EXPECT_EQ(writer.Heartbeat() | writer.Check() | writer.Publish(), 0);
    // What takes no more room goes on.
    EXPECT_EQ(PutAll(&writer, {{"OEM_QARN_System", Texts({{"PowerStatus", "OFF"}})}}), 0);
    EXPECT_EQ(Read("OEM_QARN_System", "PowerStatus"), "OFF");
    unlink((base + "/filler").c_str());
    EXPECT_EQ(PutAll(&writer, Sensors(400)), 0) << pages;
    EXPECT_EQ(Read("OEM_QARN_Sensor.Index=400", "Reading"), "420");
    writer.Close();
    std::filesystem::remove_all(directory);
}

// A file system of 1 MB in a mount namespace of this process's own. False: that is not allowed
// here.
static bool MountSmall(const std::string &path)
{
    return unshare(CLONE_NEWNS) == 0 &&
           mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("tmpfs", path.c_str(), "tmpfs", 0, "size=1m,mode=0700") == 0;
}

TEST(FullFileSystem, EveryStepSaysSoAndGoesOn)
{
    TestDirectory directory;
    ChildProcess probe([&] { _exit(MountSmall(directory.Path()) ? 0 : 1); });
    if (probe.Wait() != 0)
        GTEST_SKIP() << "this machine does not let a process mount a file system of its own";
    InFreshProcess([&] {
        ASSERT_TRUE(MountSmall(directory.Path()));
        for (size_t pages = 0; pages <= 12; ++pages)
            ServeInSoMuchRoom(directory.Path(), pages);
    });
}
