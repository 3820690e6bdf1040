// SPDX-License-Identifier: Apache-2.0
// session_test.cpp -- the session record and whether the login session lives.
#include "smclp/session.h"

#include "platform/memmgr.h"
#include "smclp/discovery.h"
#include "smclp/me/kinds.h"
#include "support/failing_memory.h"
#include "support/test_shell.h"

#include <gtest/gtest.h>
#include <stdlib.h>

namespace
{

// Pools 0 and 1: sessions and mappings; two elements, the root and a kind of id 5.
class Session : public testing::Test
{
protected:
    Session()
    {
        EXPECT_EQ(MemMgrAddPool(4, 2), 0u);
        EXPECT_EQ(MemMgrAddPool(12, 4), 0u);
        root_.kindId = kMeRoot;
        system_.kindId = kMeSystem;
    }
    ~Session() override { ResetShellGlobals(); }

    void MapElements()
    {
        EXPECT_EQ(SmclpAddMeIdMapping(&root_, kMeRoot), 0u);
        EXPECT_EQ(SmclpAddMeIdMapping(&system_, kMeSystem), 0u);
    }
    static u32 UsedSessions()
    {
        MemMgrPoolUse use = {};
        MemMgrGetPoolUse(0, &use);
        return use.used;
    }

    ManagedElement root_ = {};
    ManagedElement system_ = {};
};

TEST_F(Session, ManagerNeedsNoSetUp)
{
    EXPECT_EQ(SmclpSessMgrInit(), 0u);
    EXPECT_EQ(SmclpSessMgrInit(), 0u);
    EXPECT_EQ(SmclpSessMgrUninit(), 0u);
}

TEST_F(Session, BeginsAtTheRoot)
{
    MapElements();
    SmclpSession *session = nullptr;
    ASSERT_EQ(SmclpCreateSession(&session), 0u);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(SmclpGetCurrentTarget(session), &root_);
    EXPECT_EQ(session->currentTarget, &root_);
    EXPECT_EQ(UsedSessions(), 1u);
    EXPECT_EQ(SmclpRemoveSession(session), 0u);
    EXPECT_EQ(UsedSessions(), 0u);
}

TEST_F(Session, CreateRefusesANullPointer)
{
    MapElements();
    EXPECT_EQ(SmclpCreateSession(nullptr), 2u);
    EXPECT_EQ(UsedSessions(), 0u);
}

TEST_F(Session, CreateWithoutMemory)
{
    MapElements();
    SmclpSession *first = nullptr;
    SmclpSession *second = nullptr;
    ASSERT_EQ(SmclpCreateSession(&first), 0u);
    ASSERT_EQ(SmclpCreateSession(&second), 0u);
    auto *third = reinterpret_cast<SmclpSession *>(&root_);
    EXPECT_EQ(SmclpCreateSession(&third), 3u);
    EXPECT_EQ(third, nullptr);

    SmclpRemoveSession(first);
    MemoryFailure failure(Memory::Pools, 1);
    EXPECT_EQ(SmclpCreateSession(&third), 3u);
    EXPECT_TRUE(failure.Struck());
    SmclpRemoveSession(second);
}

// The record stays: whoever created it removes it.
TEST_F(Session, CreateWithoutARootLeavesARecord)
{
    SmclpSession *session = nullptr;
    EXPECT_EQ(SmclpCreateSession(&session), 2u);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(SmclpGetCurrentTarget(session), nullptr);
    EXPECT_EQ(UsedSessions(), 1u);
    EXPECT_EQ(SmclpRemoveSession(session), 0u);
    EXPECT_EQ(UsedSessions(), 0u);
}

TEST_F(Session, RemoveRefusesNull)
{
    EXPECT_EQ(SmclpRemoveSession(nullptr), 2u);
}

TEST_F(Session, CurrentTargetChangesToAnyElement)
{
    SmclpSession session = {&root_};
    EXPECT_EQ(SmclpSetCurrentTarget(&session, &system_), 0u);
    EXPECT_EQ(SmclpGetCurrentTarget(&session), &system_);
}

TEST_F(Session, CurrentTargetRefusesNull)
{
    SmclpSession session = {&root_};
    EXPECT_EQ(SmclpSetCurrentTarget(&session, nullptr), 2u);
    EXPECT_EQ(SmclpSetCurrentTarget(nullptr, &root_), 2u);
    EXPECT_EQ(SmclpSetCurrentTarget(nullptr, nullptr), 2u);
    EXPECT_EQ(SmclpGetCurrentTarget(&session), &root_);
    EXPECT_EQ(SmclpGetCurrentTarget(nullptr), nullptr);
}

TEST_F(Session, CurrentTargetByKindId)
{
    MapElements();
    SmclpSession session = {&root_};
    EXPECT_EQ(SmclpSetCurrentTargetById(&session, kMeSystem), 0u);
    EXPECT_EQ(SmclpGetCurrentTarget(&session), &system_);
    for (u32 kindId : {0u, 2u, 3u, 99u})
        EXPECT_EQ(SmclpSetCurrentTargetById(&session, kindId), 5u) << kindId;
    EXPECT_EQ(SmclpGetCurrentTarget(&session), &system_);
    EXPECT_EQ(SmclpSetCurrentTargetById(nullptr, kMeSystem), 2u);
}

// The session's three variables, and an answering session manager.
class Validate : public testing::Test
{
protected:
    Validate()
    {
        gFakeSsn = {};
        setenv("ZORSID", "17", 1);
        setenv("ZORSSNTYPE", "4", 1);
        setenv("ZORIP", "2130706433", 1);
    }
    ~Validate() override
    {
        for (const char *name : {"ZORSID", "ZORSSNTYPE", "ZORIP"})
            unsetenv(name);
        gFakeSsn = {};
    }
};

TEST_F(Validate, LiveSessionIsValid)
{
    EXPECT_EQ(SmclpValidateSession(nullptr), 0u);
    EXPECT_EQ(gFakeSsn.calls, 1u);
    EXPECT_EQ(gFakeSsn.sessionId, 17u);
    EXPECT_EQ(gFakeSsn.address, 2130706433u);
    EXPECT_EQ(gFakeSsn.type, 4u);
}

TEST_F(Validate, HandleIsNotConsulted)
{
    SmclpSession session = {nullptr};
    EXPECT_EQ(SmclpValidateSession(&session), 0u);
}

TEST_F(Validate, IsAskedAnewEachTime)
{
    EXPECT_EQ(SmclpValidateSession(nullptr), 0u);
    gFakeSsn.state = 2;
    EXPECT_EQ(SmclpValidateSession(nullptr), 1u);
    setenv("ZORSID", "18", 1);
    gFakeSsn.state = 1;
    EXPECT_EQ(SmclpValidateSession(nullptr), 0u);
    EXPECT_EQ(gFakeSsn.calls, 3u);
    EXPECT_EQ(gFakeSsn.sessionId, 18u);
}

TEST_F(Validate, EachMissingVariableMakesTheSessionInvalid)
{
    for (const char *name : {"ZORSID", "ZORSSNTYPE", "ZORIP"}) {
        const std::string value = getenv(name);
        unsetenv(name);
        EXPECT_EQ(SmclpValidateSession(nullptr), 1u) << name;
        setenv(name, value.c_str(), 1);
    }
    EXPECT_EQ(gFakeSsn.calls, 0u);
    EXPECT_EQ(SmclpValidateSession(nullptr), 0u);
}

TEST_F(Validate, RefusedQuestionMakesTheSessionInvalid)
{
    for (u32 result : {1u, 2u, 5u, 255u}) {
        gFakeSsn.result = result;
        EXPECT_EQ(SmclpValidateSession(nullptr), 1u) << result;
    }
}

TEST_F(Validate, OnlyStateOneIsValid)
{
    for (u32 state : {0u, 2u, 3u, 4u, 257u, UINT32_MAX}) {
        gFakeSsn.state = state;
        EXPECT_EQ(SmclpValidateSession(nullptr), 1u) << state;
    }
}

TEST_F(Validate, SecondResultIsNotUsed)
{
    for (u32 second : {0u, 1u, UINT32_MAX}) {
        gFakeSsn.second = second;
        EXPECT_EQ(SmclpValidateSession(nullptr), 0u) << second;
    }
}

TEST_F(Validate, VariablesAreConvertedModuloTheirWidth)
{
    setenv("ZORSID", "4294967297", 1);
    setenv("ZORSSNTYPE", "260", 1);
    setenv("ZORIP", "4294967295", 1);
    EXPECT_EQ(SmclpValidateSession(nullptr), 0u);
    EXPECT_EQ(gFakeSsn.sessionId, 1u);
    EXPECT_EQ(gFakeSsn.type, 4u);
    EXPECT_EQ(gFakeSsn.address, 4294967295u);
}

TEST_F(Validate, TextThatIsNoNumberIsZero)
{
    setenv("ZORSID", "", 1);
    setenv("ZORSSNTYPE", "ssh", 1);
    setenv("ZORIP", "-1", 1);
    EXPECT_EQ(SmclpValidateSession(nullptr), 0u);
    EXPECT_EQ(gFakeSsn.sessionId, 0u);
    EXPECT_EQ(gFakeSsn.type, 0u);
    EXPECT_EQ(gFakeSsn.address, 0u);
}

}  // namespace
