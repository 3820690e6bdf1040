// SPDX-License-Identifier: Apache-2.0
// Tests of the program objmgrd-ipmi, without a BMC: its options, its settings and what it serves
// while no BMC answers.
#include "support/listening_init.h"
#include "support/objmgr_process.h"
#include "support/test_files.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

namespace
{

class ObjmgrdIpmi : public testing::Test
{
protected:
    struct End {
        int status;
        std::string out;
        std::string err;
    };

    std::string File(const std::string &name, const std::string &text, mode_t mode = 0600) const
    {
        const std::string file = directory_.Path() + "/" + name;
        EXPECT_TRUE(WriteFile(file, text, mode));
        return file;
    }
    End Run(const std::vector<std::string> &arguments) const
    {
        const std::string out = directory_.Path() + "/out";
        const std::string err = directory_.Path() + "/err";
        ChildProcess child([&] {
            dup2(open(out.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600), 1);
            dup2(open(err.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600), 2);
            std::vector<char *> argv = {const_cast<char *>("objmgrd-ipmi")};
            for (const std::string &argument : arguments)
                argv.push_back(const_cast<char *>(argument.c_str()));
            argv.push_back(nullptr);
            execv(OBJMGRD_IPMI, argv.data());
            _exit(99);
        });
        const int status = WEXITSTATUS(child.Wait());
        return {status, ReadFile(out), ReadFile(err)};
    }
    std::string Lan(const std::string &rest) const
    {
        return File("lan.toml", "[bmc]\ndriver = \"lan\"\nhost = \"127.0.0.1\"\nport = 1\n" + rest);
    }

    TestDirectory directory_;
};

}  // namespace

TEST_F(ObjmgrdIpmi, HelpVersionAndUsage)
{
    const End help = Run({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(
        help.out.starts_with("Usage: objmgrd-ipmi --config FILE [--dir DIR] [--rights FILE]\n   "));
    EXPECT_EQ(Run({"--version"}).out, "objmgrd-ipmi " ZOR_VERSION "\n");
    const End usage = Run({});
    EXPECT_EQ(usage.status, 2);
    EXPECT_EQ(usage.err, "objmgrd-ipmi: --config is missing\nTry \"objmgrd-ipmi --help\".\n");
    EXPECT_EQ(Run({"--host", "x"}).status, 2);
    EXPECT_EQ(Run({"--config"}).err,
              "objmgrd-ipmi: --config needs a value\nTry \"objmgrd-ipmi --help\".\n");
}

TEST_F(ObjmgrdIpmi, CheckSaysWhatIsWrong)
{
    const std::string right = Lan("");
    EXPECT_EQ(Run({"--config", right, "--check"}).status, 0);
    EXPECT_EQ(Run({"--config", right, "--check"}).out, right + ": right\n");
    const std::string wrong = Lan("prot = 5\n[poll]\npower_ms = 5\n");
    const End end = Run({"--config", wrong, "--check"});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.out, "");
    EXPECT_EQ(end.err, wrong + ":5:1: unknown key \"prot\" in [bmc]\n" + wrong +
                           ":7:12: power_ms is a number from 100 to 2000\n");
    EXPECT_EQ(Run({"--config", "/nonexistent", "--check"}).err,
              "/nonexistent: No such file or directory\n");
}

TEST_F(ObjmgrdIpmi, CheckLooksAtThePasswordFileToo)
{
    const std::string password = File("password", "very-secret\n", 0644);
    const std::string file = Lan("user = \"u\"\npassword_file = \"" + password + "\"\n");
    const End open = Run({"--config", file, "--check"});
    EXPECT_EQ(open.status, 1);
    EXPECT_EQ(open.err, file + ": password_file " + password +
                            ": can be read or changed by others: chmod 600 it\n");
    chmod(password.c_str(), 0600);
    const End right = Run({"--config", file, "--check"});
    EXPECT_EQ(right.status, 0);
    EXPECT_EQ(right.out + right.err, file + ": right\n");
    unlink(password.c_str());
    EXPECT_EQ(Run({"--config", file, "--check"}).err,
              file + ": password_file " + password + ": No such file or directory\n");
}

TEST_F(ObjmgrdIpmi, WrongSettingsKeepItFromStarting)
{
    const std::string file = File("wrong.toml", "[bmc]\n");
    const End end = Run({"--config", file, "--", "/bin/echo", "started"});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.out, "");
    EXPECT_EQ(end.err, file + ":1:1: [bmc] has no driver: \"lan\", \"local\"\n" +
                           "objmgrd-ipmi: " + file + " is not right: not started\n");
}

TEST_F(ObjmgrdIpmi, TheExamplesAreRight)
{
    EXPECT_EQ(Run({"--config", EXAMPLE_IPMI "/local.toml", "--check"}).status, 0);
    // Its password file is not there: nothing else is wrong with it.
    EXPECT_EQ(Run({"--config", EXAMPLE_IPMI "/lan.toml", "--check"}).err,
              EXAMPLE_IPMI "/lan.toml: password_file /etc/zor/bmc-password: "
                           "No such file or directory\n");
}

// It starts without the BMC, serves the failure, and says what is the matter once.
TEST_F(ObjmgrdIpmi, ServesFailuresUntilTheBmcAnswers)
{
    const std::string password = File("password", "very-secret\n");
    const std::string files[] = {
        Lan("user = \"u\"\npassword_file = \"" + password +
            "\"\n[timeouts]\nanswer_ms = 100\nsession_ms = 200\n"),
        File("local.toml", "[bmc]\ndriver = \"local\"\ndevice = \"/nonexistent/ipmi\"\n")};
    const char *faults[] = {
        "objmgrd-ipmi: BMC 127.0.0.1 cannot be read: no answer from 127.0.0.1\n",
        "objmgrd-ipmi: BMC /nonexistent/ipmi cannot be read: there is no IPMI device "
        "/nonexistent/ipmi: are the kernel modules ipmi_si and ipmi_devintf loaded?\n"};
    for (int i = 0; i < 2; ++i) {
        const End end =
            Run({"--config", files[i], "--", "/bin/sh", "-c", "ls \"$ZOROBJMGR\"; env"});
        EXPECT_EQ(end.status, 0);
        EXPECT_EQ(end.err, faults[i]);
        EXPECT_EQ(end.out.substr(0, 6), "alive\n");
        EXPECT_EQ(end.out.find("very-secret"), std::string::npos);
    }
}

// The first try on a silent BMC takes 10 s with these: long before that the signal ends it all.
TEST_F(ObjmgrdIpmi, SignalBeforeTheCommandIsStartedEndsTheService)
{
    const std::string password = File("password", "very-secret\n");
    const std::string file = Lan("user = \"u\"\npassword_file = \"" + password +
                                 "\"\n[timeouts]\nanswer_ms = 1000\nsession_ms = 2900\n");
    const std::string started = directory_.Path() + "/started";
    ChildProcess child([&] {
        setenv("TMPDIR", directory_.Path().c_str(), 1);
        execl(OBJMGRD_IPMI, "objmgrd-ipmi", "--config", file.c_str(), "--", "touch",
              started.c_str(), nullptr);
        _exit(99);
    });
    const auto serves = [&] {
        for (const auto &entry : std::filesystem::directory_iterator(directory_.Path())) {
            if (std::filesystem::exists(entry.path() / "socket"))
                return true;
        }
        return false;
    };
    while (!serves())
        usleep(1000);
    usleep(50000);
    kill(child.Pid(), SIGTERM);
    const int status = child.Wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 128 + SIGTERM) << status;
    EXPECT_FALSE(std::filesystem::exists(started));
    EXPECT_FALSE(serves());
}

// What the init system starts after the service finds the failure served, and nothing waits longer.
TEST_F(ObjmgrdIpmi, IsReadyThoughTheBmcIsSilent)
{
    const std::string file = Lan("[timeouts]\nanswer_ms = 100\nsession_ms = 200\n");
    const std::string dir = directory_.Path() + "/served";
    ListeningInit init;
    init.Listen(directory_.Path() + "/notify");
    ChildProcess service([&] {
        dup2(open((directory_.Path() + "/err").c_str(), O_CREAT | O_WRONLY, 0600), 2);
        execl(OBJMGRD_IPMI, "objmgrd-ipmi", "--config", file.c_str(), "--dir", dir.c_str(),
              nullptr);
        _exit(99);
    });
    const std::string serving = "STATUS=serving " + file + " in " + dir + "; BMC 127.0.0.1 ";
    EXPECT_EQ(init.Heard(20000), serving + "is being read");
    EXPECT_EQ(init.Heard(20000), serving + "cannot be read");
    EXPECT_EQ(init.Heard(20000), "READY=1");
    kill(service.Pid(), SIGTERM);
    EXPECT_EQ(WEXITSTATUS(service.Wait()), 0);
    EXPECT_EQ(init.Heard(20000), "STOPPING=1");
}
