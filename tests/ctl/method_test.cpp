// SPDX-License-Identifier: Apache-2.0
#include "ctl/method.h"

#include "ctl/fake_inspect.h"
#include "support/fake_objmgr.h"

#include <gtest/gtest.h>

namespace
{

MethodAnswer Stop()
{
    return MethodInvoke("", "OEM_QARN_System", "Stop", nullptr);
}

}  // namespace

TEST(Method, Answers)
{
    FakeObjMgr om;
    MethodAnswer answer = Stop();
    EXPECT_EQ(answer.status, 0);
    EXPECT_TRUE(answer.applied);
    om.methodResult = 1;  // the host's state leaves nothing to do
    answer = Stop();
    EXPECT_EQ(answer.status, 0);
    EXPECT_FALSE(answer.applied);
    om.methodResult = 2;
    answer = Stop();
    EXPECT_EQ(answer.status, 1);
    EXPECT_EQ(answer.message, "the method answered 2");
    om.methodStatus = kCimAccessDenied;
    answer = Stop();
    EXPECT_EQ(answer.status, 77);
    EXPECT_EQ(answer.message, "no right to do this");
    EXPECT_EQ(om.openConnections, 0);
}

TEST(Method, AFailureOfAServiceThatServes)
{
    FakeObjMgr om;
    for (const auto &[status, message] :
         {std::pair(kCimFailed, "the service did not do it (CIM status 1)"),
          std::pair(kCimNotFound, "the service did not do it (CIM status 6)")}) {
        om.methodStatus = status;
        const MethodAnswer answer = Stop();
        EXPECT_EQ(answer.status, 1);
        EXPECT_EQ(answer.message, message);
    }
    EXPECT_EQ(om.openConnections, 0);
}

// Nobody may take it for undone and do it once more.
TEST(Method, NoAnswerLeavesOpenWhetherItIsDone)
{
    FakeObjMgr om;
    om.methodStatus = kCimFailed;
    om.failCall = 5;  // the second Open
    gFakeInspect.presence = ObjMgrPresence::Hung;
    const MethodAnswer answer = Stop();
    EXPECT_EQ(om.Logged("InvokeMethod").size(), 1u);
    EXPECT_EQ(answer.status, 69);
    EXPECT_EQ(answer.message, "no answer: the object manager hangs; what was asked may be done all "
                              "the same");
    gFakeInspect = {};
}

TEST(Method, AClaimThatIsNoNumberIsNone)
{
    FakeObjMgr om;
    setenv("ZORPRIV", "1g", 1);
    const MethodAnswer answer = Stop();
    unsetenv("ZORPRIV");
    EXPECT_EQ(answer.status, 77);
    EXPECT_EQ(answer.message, "ZORPRIV is no hexadecimal number");
    EXPECT_TRUE(om.Logged("InvokeMethod").empty());
}
