// SPDX-License-Identifier: Apache-2.0
// head_node_test.cpp -- one machine from which twenty servers are looked after.
#include "programs/project_file.h"
#include "support/program.h"

#include <fstream>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

constexpr int kServers = 20;

std::string NodeName(int number)
{
    return "node" + std::to_string(number);
}

class HeadNode : public testing::Test
{
protected:
    void SetUp() override
    {
        setenv("ZOROBJMGR", (directory_ + "/objmgr").c_str(), 1);
        setenv("ZORSSNDIR", (directory_ + "/sessions").c_str(), 1);
        const std::string host = ProjectFile("examples/hosts/edge-box-off.toml");
        const size_t at = host.find("ServiceTag = \"") + 14;
        for (int i = 0; i < kServers; ++i) {
            std::string own = host;
            own.replace(at, own.find('"', at) - at, "TAG-" + std::to_string(i));
            const std::string description = directory_ + "/" + NodeName(i) + ".toml";
            std::ofstream(description) << own;
            Serve(description, directory_ + "/" + NodeName(i));
        }
    }
    ~HeadNode() override
    {
        for (const pid_t service : services_)
            kill(service, SIGTERM);
        for (const pid_t service : services_)
            waitpid(service, nullptr, 0);
    }
    void Serve(const std::string &description, const std::string &directory)
    {
        ASSERT_EQ(mkdir(directory.c_str(), 0750), 0);  // as the units do
        std::string words[] = {OBJMGRD_SIM, "--host", description, "--dir", directory};
        char *argv[] = {words[0].data(), words[1].data(), words[2].data(),
                        words[3].data(), words[4].data(), nullptr};
        pid_t service = 0;
        ASSERT_EQ(posix_spawn(&service, argv[0], nullptr, nullptr, argv, environ), 0);
        services_.push_back(service);
    }
    // One command on a server; waits for the service to be up.
    ProgramEnd On(const std::string &name, const std::string &line)
    {
        ProgramEnd end;
        for (int tries = 0; tries < 100; ++tries) {
            end = RunProgram({SMCLP_LOGIN, "--host", name, "-c", line});
            if (end.status != 69)
                break;
            usleep(50000);
        }
        return end;
    }
    std::string NameOf(const std::string &name)
    {
        const std::string out = On(name, "show -display properties=(name) /system1").out;
        const size_t at = out.find("= ");
        return at == std::string::npos ? out : out.substr(at + 2, out.find('\n', at) - at - 2);
    }
    const TestDirectory made_;
    const std::string directory_ = made_.Path();
    std::vector<pid_t> services_;
};

TEST_F(HeadNode, EachNameOpensItsOwnServer)
{
    for (int i = 0; i < kServers; ++i)
        EXPECT_EQ(NameOf(NodeName(i)), "TAG-" + std::to_string(i));
}

TEST_F(HeadNode, WhatIsDoneOnOneServerIsDoneThereAlone)
{
    const std::string state = "show -display properties=(powerstate) /system1/pwrmgtsvc1";
    const std::string off = On("node6", state).out;
    EXPECT_EQ(On("node7", "start /system1").out, "system was started successfully.\n");
    EXPECT_NE(On("node7", state).out, off);
    for (const char *other : {"node0", "node6", "node8", "node19"})
        EXPECT_EQ(On(other, state).out, off) << other;
}

TEST_F(HeadNode, AServerThatIsNotThereIsSaidInWords)
{
    const ProgramEnd end = RunProgram({SMCLP_LOGIN, "--host", "node20", "-c", "show"});
    EXPECT_EQ(end.status, 69);
    EXPECT_EQ(end.out, "");
    EXPECT_NE(end.err.find(directory_ + "/node20"), std::string::npos) << end.err;
}

}  // namespace
