// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/caller_session on a real registry of several users, and what the record makes of
// a session that is claimed.
#include "objmgrd/caller_session.h"

#include <gtest/gtest.h>

#include "objmgrd/record.h"
#include "session/registry.h"
#include "support/objmgr_process.h"

#include <atomic>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr uid_t kAlice = 1234567;
constexpr uid_t kBob = 1234568;
constexpr gid_t kGroup = 7001;

// A session of a user, held by a process of his until this object is gone.
class UsersSession
{
public:
    UsersSession(const std::string &directory, uid_t uid, const char *address)
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            abort();
        process_ = std::make_unique<ChildProcess>([&] {
            RegistryRecord record = {};
            record.user[0] = 'u';
            int lock = -1;
            u32 number = 0;
            const bool opened =
                setresgid(kGroup, kGroup, kGroup) == 0 && setresuid(uid, uid, uid) == 0 &&
                (*address == '\0' || RegistryParseAddress(address, &record)) &&
                RegistryOpenSession(directory.c_str(), &record, nullptr, &number, &lock) == 0;
            if (opened && write(ends[1], &number, sizeof number) == sizeof number)
                pause();
        });
        close(ends[1]);
        EXPECT_EQ(read(ends[0], &id, sizeof id), static_cast<ssize_t>(sizeof id));
        close(ends[0]);
    }
    void End() { process_.reset(); }
    u32 id = 0;

private:
    std::unique_ptr<ChildProcess> process_;
};

class CallerSession : public testing::Test
{
protected:
    void SetUp() override
    {
        if (geteuid() != 0)
            GTEST_SKIP() << "needs root, to be several users";
        chmod(top_.Path().c_str(), 0755);
        ASSERT_EQ(RegistryMakeShared(registry_.c_str(), kGroup), 0u);
        setenv("ZORSSNDIR", registry_.c_str(), 1);
    }
    // The address, or "not his".
    static std::string AddressOf(u32 id, uid_t uid)
    {
        std::string address = "untouched";
        if (CallerSessionIs(nullptr, id, uid, &address))
            return address;
        EXPECT_EQ(address, "untouched");
        return "not his";
    }
    std::string At(u32 id) const { return registry_ + "/" + std::to_string(id); }
    // As that user, without rights of root.
    static void As(uid_t uid, const std::function<void()> &body)
    {
        ChildProcess child([&] {
            if (setresgid(kGroup, kGroup, kGroup) != 0 || setresuid(uid, uid, uid) != 0)
                _exit(1);
            body();
        });
        EXPECT_EQ(child.Wait(), 0);
    }

    TestDirectory top_;
    std::string registry_ = top_.Path() + "/sessions";
};

TEST_F(CallerSession, IsHisWhoseFileItIs)
{
    const UsersSession alice(registry_, kAlice, "2001:db8::7");
    const UsersSession bob(registry_, kBob, "192.0.2.7");
    const UsersSession local(registry_, kBob, "");
    EXPECT_EQ(AddressOf(alice.id, kAlice), "2001:db8::7");
    EXPECT_EQ(AddressOf(bob.id, kBob), "192.0.2.7");
    EXPECT_EQ(AddressOf(local.id, kBob), "");
    EXPECT_EQ(AddressOf(alice.id, kBob), "not his");
    EXPECT_EQ(AddressOf(bob.id, kAlice), "not his");
    EXPECT_EQ(AddressOf(alice.id, 0), "not his");
    EXPECT_EQ(AddressOf(0, kAlice), "not his");
}

TEST_F(CallerSession, EndsWithItsProcessAndWithItsFile)
{
    UsersSession killed(registry_, kAlice, "");
    const UsersSession removed(registry_, kAlice, "");
    killed.End();
    EXPECT_EQ(access(At(killed.id).c_str(), F_OK), 0);
    EXPECT_EQ(AddressOf(killed.id, kAlice), "not his");
    ASSERT_EQ(unlink(At(removed.id).c_str()), 0);
    EXPECT_EQ(AddressOf(removed.id, kAlice), "not his");
}

TEST_F(CallerSession, LinksToAnothersFileAreNobodysSession)
{
    const UsersSession alice(registry_, kAlice, "");
    As(kBob, [&] { EXPECT_EQ(symlink(At(alice.id).c_str(), At(77).c_str()), 0); });
    // Where the system lets everybody link everything.
    ASSERT_EQ(link(At(alice.id).c_str(), At(78).c_str()), 0);
    for (const u32 id : {77u, 78u}) {
        EXPECT_EQ(AddressOf(id, kAlice), "not his") << id;
        EXPECT_EQ(AddressOf(id, kBob), "not his") << id;
    }
    EXPECT_EQ(AddressOf(alice.id, kAlice), "");  // the second name changes nothing
}

TEST_F(CallerSession, PlantedFilesAreTheirMakersAtMost)
{
    const std::string text =
        "id=77\nuser=alice\ntype=0\naddress=0.0.0.0\nprivilege=7\nidle=0\nsince=1\n";
    As(kBob, [&] { std::ofstream(At(77)) << text; });
    EXPECT_EQ(AddressOf(77, kAlice), "not his");
    EXPECT_EQ(AddressOf(77, kBob), "not his");  // nobody holds it
    ChildProcess holder([&] {
        if (setresgid(kGroup, kGroup, kGroup) != 0 || setresuid(kBob, kBob, kBob) != 0)
            _exit(1);
        const int fd = open(At(77).c_str(), O_RDWR | O_CLOEXEC);
        struct flock lock = {};
        lock.l_type = F_WRLCK;
        if (fcntl(fd, F_OFD_SETLK, &lock) == 0)
            pause();
    });
    for (int i = 0; i < 1000 && AddressOf(77, kBob) != ""; ++i)
        usleep(10'000);
    EXPECT_EQ(AddressOf(77, kBob), "");
    EXPECT_EQ(AddressOf(77, kAlice), "not his");
    As(kBob, [&] { EXPECT_EQ(mkfifo(At(79).c_str(), 0666), 0); });
    EXPECT_EQ(AddressOf(79, kBob), "not his");
}

// What a caller claims (ZORSID) names a session in the record only where it is his.
TEST_F(CallerSession, ForgedClaimNamesNoSession)
{
    static std::string written;
    static std::atomic<bool> ready;
    const UsersSession alice(registry_, kAlice, "192.0.2.7");
    const RecordCall call = {alice.id, "Stop", "", "OEM_QARN_System", RecordResult::Done, 0};
    const auto lineOf = [&](uid_t uid) {
        ready = false;
        Record record;
        EXPECT_EQ(record.Start({.write =
                                    [](void *, const char *line) {
                                        written = line;
                                        ready = true;
                                    },
                                .session = CallerSessionIs}),
                  0);
        record.Call({.uid = uid, .gid = kGroup, .pid = 1, .groups = {}}, call);
        for (int i = 0; i < 1000 && !ready; ++i)
            usleep(10'000);
        record.Stop();
        return written;
    };
    std::string line = lineOf(kBob);
    EXPECT_NE(line.find("uid=1234568 pid=1 session=- claimed_address=- "), std::string::npos)
        << line;
    line = lineOf(kAlice);
    EXPECT_NE(line.find("session=" + std::to_string(alice.id) + " claimed_address=192.0.2.7 "),
              std::string::npos)
        << line;
}

}  // namespace
