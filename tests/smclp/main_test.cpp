// SPDX-License-Identifier: Apache-2.0
// main_test.cpp -- the whole program as one function: the build compiles main.cpp with its entry
// renamed.
#include "platform/memmgr.h"
#include "smclp/shell.h"
#include "support/child_process.h"
#include "support/failing_memory.h"
#include "support/fake_objmgr.h"
#include "support/test_shell.h"

#include <functional>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string>
#include <vector>

u32 SmclpGetPowerStatus();
int SmclpMain(int argc, char **argv);

namespace
{

using Texts = std::vector<std::string>;

constexpr char kNoBmc[] =
    "========================================================================\n"
    "ERROR: The ZOR is unable to communicate with the BMC. This could be due\n"
    "to an issue with missing or non-operational IPMI drivers or a BMC that\n"
    "is no longer responding on your system.\n"
    "========================================================================\n";

// The probe in this process.
struct Probe {
    explicit Probe(const std::function<void(FakeObjMgr *)> &prepare)
    {
        FakeObjMgr objMgr;
        prepare(&objMgr);
        TraceCapture capturedTraces;
        OutputCapture capture;
        result = SmclpGetPowerStatus();
        output = capture.Take();
        traces = capturedTraces.Lines();
        calls = objMgr.log;
        openConnections = objMgr.openConnections;
    }
    u32 result;
    std::string output;
    Texts traces;
    Texts calls;
    int openConnections;
};

const Texts kReadAndClosed = {"ObjMgrGetInterface", "Open",
                              "GetPropertyValue OEM_QARN_System PowerStatus 32", "Close"};

TEST(PowerProbe, AnyValueIsProofEnough)
{
    for (const char *value : {"ON", "OFF", "", "0123456789012345678901234567890123456789"}) {
        const Probe probe(
            [value](FakeObjMgr *om) { om->Set("OEM_QARN_System", "PowerStatus", value); });
        EXPECT_EQ(probe.result, 0u) << value;
        EXPECT_EQ(probe.output, "");
        EXPECT_EQ(probe.traces, Texts{});
        EXPECT_EQ(probe.calls, kReadAndClosed);
        EXPECT_EQ(probe.openConnections, 0);
    }
}

TEST(PowerProbe, HandsOverNoPrivilege)
{
    setenv("ZORPRIV", "1ff", 1);
    const Probe probe([](FakeObjMgr *) {});
    unsetenv("ZORPRIV");
    EXPECT_EQ(probe.calls, kReadAndClosed);
}

TEST(PowerProbe, MissingInterfaceIsTraced)
{
    const Probe probe([](FakeObjMgr *om) { om->interfaceMissing = true; });
    EXPECT_EQ(probe.result, 1u);
    EXPECT_EQ(probe.output, "");
    EXPECT_EQ(probe.traces, Texts{"ERROR: main [61]: ** ASSERT FAILED"});
    EXPECT_EQ(probe.calls, Texts{"ObjMgrGetInterface null"});
}

TEST(PowerProbe, FailingOpenSaysNothing)
{
    const Probe probe([](FakeObjMgr *om) { om->openFails = true; });
    EXPECT_EQ(probe.result, 1u);
    EXPECT_EQ(probe.output, "");
    EXPECT_EQ(probe.traces, Texts{});
    EXPECT_EQ(probe.calls, (Texts{"ObjMgrGetInterface", "Open"}));
}

TEST(PowerProbe, StatusTwoIsAMatterOfPrivileges)
{
    const Probe probe([](FakeObjMgr *om) { om->SetStatus("OEM_QARN_System", "PowerStatus", 2); });
    EXPECT_EQ(probe.result, 1u);
    EXPECT_EQ(probe.output, "ERROR: Insufficient user privileges\n");
    EXPECT_EQ(probe.traces, Texts{});
    EXPECT_EQ(probe.calls, kReadAndClosed);
    EXPECT_EQ(probe.openConnections, 0);
}

TEST(PowerProbe, EveryOtherStatusMeansThatTheBmcDoesNotAnswer)
{
    for (CimStatus status : {1u, 3u, 4u, 6u, 12u, 255u, 4294967295u}) {
        const Probe probe(
            [status](FakeObjMgr *om) { om->SetStatus("OEM_QARN_System", "PowerStatus", status); });
        EXPECT_EQ(probe.result, 1u) << status;
        EXPECT_EQ(probe.output, kNoBmc) << status;
        EXPECT_EQ(probe.traces, Texts{}) << status;
        EXPECT_EQ(probe.calls, kReadAndClosed) << status;
        EXPECT_EQ(probe.openConnections, 0) << status;
    }
}

TEST(PowerProbe, MessagesAreNotFormattedAgain)
{
    // They go to standard output directly: no memory is needed for them.
    MemoryFailure failure(Memory::Heap, 1, true);
    const Probe probe([](FakeObjMgr *om) { om->SetStatus("OEM_QARN_System", "PowerStatus", 2); });
    EXPECT_EQ(probe.output, "ERROR: Insufficient user privileges\n");
    EXPECT_FALSE(failure.Struck());
}

// The program in a process of its own. Its traces come behind its output, each after "TRACE ".
ChildResult RunMain(const Texts &words, const std::function<void(FakeObjMgr *)> &prepare = nullptr,
                    const std::string &input = "")
{
    return RunInChild(input, [&] {
        FakeObjMgr objMgr;
        for (const char *name : {"ZORSID", "ZORSSNTYPE", "ZORIP"})
            setenv(name, "1", 1);
        TraceCapture traces;
        if (prepare)
            prepare(&objMgr);
        Texts texts = words;
        std::vector<char *> argv;
        for (std::string &text : texts)
            argv.push_back(text.data());
        argv.push_back(nullptr);
        const int status = SmclpMain(static_cast<int>(words.size()), argv.data());
        fflush(stdout);
        for (const std::string &line : traces.Lines())
            printf("TRACE %s\n", line.c_str());
        if (objMgr.openConnections != 0)
            return 97;
        MemMgrPoolUse use;
        return MemMgrGetPoolUse(0, &use) ? 96 : status;  // the pools are given back
    });
}

TEST(Main, RunsOneCommandAndExitsWithItsResult)
{
    const ChildResult version = RunMain({"smclp", "version"});
    EXPECT_EQ(version.output, "version 1.0\n");
    EXPECT_EQ(version.exitStatus, 0);

    const ChildResult create = RunMain({"smclp", "create"});
    EXPECT_EQ(create.output, "ERROR: Command not supported.\n");
    EXPECT_EQ(create.exitStatus, 11);
}

TEST(Main, RunsTheLoopWithoutArguments)
{
    const ChildResult result = RunMain({"/usr/bin/smclp"}, nullptr, "nonsense\rexit\r");
    EXPECT_EQ(result.output.substr(0, result.output.find('\n')),
              "MORV5 SM-CLP System Management Shell, version 1.0");
    EXPECT_TRUE(
        result.output.ends_with("\n\n->nonsense\nERROR: Command not recognized.\n\n->exit\n"));
    EXPECT_EQ(result.exitStatus, 4);
}

TEST(Main, ProbeIsMadeOnceAndBeforeAnythingElse)
{
    const ChildResult result = RunInChild("", [] {
        FakeObjMgr objMgr;
        char name[] = "smclp";
        char verb[] = "version";
        char *argv[] = {name, verb, nullptr};
        SmclpMain(2, argv);
        return objMgr.log == kReadAndClosed ? 0 : 1;
    });
    EXPECT_EQ(result.exitStatus, 0);
}

TEST(Main, FailingSetUpIsTracedAndTheStatusIsZero)
{
    for (const Texts &words : {Texts{""}, Texts{"", "create"}, Texts{}}) {
        const ChildResult result = RunMain(words, [](FakeObjMgr *om) {
            om->failCall = 1;  // must not be reached
            om->failStatus = 2;
        });
        EXPECT_EQ(result.output, "TRACE ERROR: main [131]: ** ASSERT FAILED\n");
        EXPECT_EQ(result.exitStatus, 0);
    }
}

TEST(Main, WithoutAnInterfaceTheShellNeverStarts)
{
    const ChildResult result =
        RunMain({"smclp", "create"}, [](FakeObjMgr *om) { om->interfaceMissing = true; });
    EXPECT_EQ(result.output, "TRACE ERROR: main [61]: ** ASSERT FAILED\n");
    EXPECT_EQ(result.exitStatus, 0);
}

TEST(Main, WithoutAConnectionTheShellNeverStarts)
{
    const ChildResult result =
        RunMain({"smclp", "create"}, [](FakeObjMgr *om) { om->openFails = true; });
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.exitStatus, 0);
}

TEST(Main, WithoutPrivilegesTheShellNeverStarts)
{
    for (const Texts &words : {Texts{"smclp"}, Texts{"smclp", "create"}}) {
        const ChildResult result = RunMain(
            words, [](FakeObjMgr *om) { om->SetStatus("OEM_QARN_System", "PowerStatus", 2); },
            "create\r");
        EXPECT_EQ(result.output, "ERROR: Insufficient user privileges\n");
        EXPECT_EQ(result.exitStatus, 0);
    }
}

TEST(Main, WithoutABmcTheShellNeverStarts)
{
    for (const Texts &words : {Texts{"smclp"}, Texts{"smclp", "create"}}) {
        const ChildResult result = RunMain(
            words, [](FakeObjMgr *om) { om->SetStatus("OEM_QARN_System", "PowerStatus", 1); },
            "create\r");
        EXPECT_EQ(result.output, kNoBmc);
        EXPECT_EQ(result.exitStatus, 0);
    }
}

TEST(Main, FailingInitialisationSaysNothingAndTheStatusIsZero)
{
    for (const Texts &words : {Texts{"smclp"}, Texts{"smclp", "create"}}) {
        const ChildResult result = RunMain(
            words, [](FakeObjMgr *) { static MemoryFailure failure(Memory::Heap, 1); }, "create\r");
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.exitStatus, 0);
    }
}

TEST(Main, ProbeAndCommandsFailingAtEveryCall)
{
    for (u32 call = 1; call <= 30; ++call) {
        const ChildResult result =
            RunMain({"smclp", "show /system1"}, [call](FakeObjMgr *om) { om->failCall = call; });
        EXPECT_EQ(result.exitStatus, 0) << call;
        if (call <= 3) {  // the probe
            EXPECT_EQ(result.output.find("system1"), std::string::npos) << call;
        }
    }
}

}  // namespace
