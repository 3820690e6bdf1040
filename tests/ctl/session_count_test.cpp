// SPDX-License-Identifier: Apache-2.0
#include "ctl/session_count.h"
#include "session/registry_fixture.h"

#include <unistd.h>

namespace
{

class SessionCounted : public RegistryFixture
{
protected:
    void SetUp() override
    {
        RegistryFixture::SetUp();
        setenv("ZORSSNDIR", directory_.c_str(), 1);
    }
    void TearDown() override { unsetenv("ZORSSNDIR"); }
};

}  // namespace

TEST_F(SessionCounted, LiveOnesAlone)
{
    MakeDirectory();
    EXPECT_EQ(SessionCount(), 0u);
    u32 ids[2] = {};
    int locks[2] = {-1, -1};
    ASSERT_EQ(Open(&ids[0], &locks[0]), kRegistryOk);
    ASSERT_EQ(Open(&ids[1], &locks[1]), kRegistryOk);
    EXPECT_EQ(SessionCount(), 2u);
    close(locks[0]);  // as when its login is killed: the file stays
    Plant("77", kGoodText);
    Plant("nothing", kGoodText);
    EXPECT_EQ(SessionCount(), 1u);
    ASSERT_EQ(RegistryCloseSession(directory_.c_str(), ids[1], locks[1]), kRegistryOk);
    EXPECT_EQ(SessionCount(), 0u);
}

TEST_F(SessionCounted, NothingWhereItCannotBeKnown)
{
    EXPECT_EQ(SessionCount(), std::nullopt);  // no registry
    MakeDirectory();
    ASSERT_EQ(chmod(directory_.c_str(), 0770), 0);  // anybody's files
    EXPECT_EQ(SessionCount(), std::nullopt);
    if (geteuid() == 0) {
        ASSERT_EQ(chmod(directory_.c_str(), 0700), 0);
        ASSERT_EQ(chown(directory_.c_str(), 1234, 1234), 0);
    } else {
        ASSERT_EQ(chmod(directory_.c_str(), 0), 0);
    }
    EXPECT_EQ(SessionCount(), std::nullopt);
    chmod(directory_.c_str(), 0700);
}
