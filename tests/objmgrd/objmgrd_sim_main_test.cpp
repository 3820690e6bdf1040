// SPDX-License-Identifier: Apache-2.0
// Tests of the program objmgrd-sim, run as its users run it.
//
// This program is also the client that they need: "PROGRAM client OP..." carries out each OP over
// a connection of its own and prints a line for it.
#include "objmgr/objmgr.h"
#include "objmgr/service_question.h"
#include "support/emulation.h"
#include "support/objmgr_process.h"
#include "support/test_files.h"

#include <fcntl.h>
#include <grp.h>
#include <string.h>
#include <sys/stat.h>

#include <fstream>
#include <map>
#include <sstream>

namespace
{

constexpr char kUsageHint[] = "Try \"objmgrd-sim --help\".\n";

const std::string self = SELF;  // path of this program

bool Exists(const std::string &file)
{
    return access(file.c_str(), F_OK) == 0;
}

// Waits until a file is there.
bool Appears(const std::string &file)
{
    for (int i = 0; i < 1000 && !Exists(file); ++i)
        usleep(10000);
    return Exists(file);
}

using Words = std::vector<std::string>;

// objmgrd-sim with its outputs in files.
class Program
{
public:
    explicit Program(
        const Words &arguments, const std::function<void()> &prepare = [] {})
        : child_([&] { Exec(arguments, prepare); })
    {
    }
    // Exit status, or -N where signal N ended it.
    int Wait()
    {
        const int status = child_.Wait();
        return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    }
    std::string Out() const { return ReadFile(directory_.Path() + "/out"); }
    std::string Err() const { return ReadFile(directory_.Path() + "/err"); }
    void Signal(int signal) const { kill(child_.Pid(), signal); }
    pid_t Pid() const { return child_.Pid(); }

private:
    void Exec(const Words &arguments, const std::function<void()> &prepare) const
    {
        setenv("TMPDIR", directory_.Path().c_str(), 1);
        unsetenv("ZOROBJMGR");
        unsetenv("ZORSSNDIR");
        prepare();
        std::vector<char *> argv = {strdup(OBJMGRD_SIM)};
        for (const std::string &argument : arguments)
            argv.push_back(strdup(argument.c_str()));
        argv.push_back(nullptr);
        const int out = open((directory_.Path() + "/out").c_str(), O_CREAT | O_WRONLY, 0600);
        const int err = open((directory_.Path() + "/err").c_str(), O_CREAT | O_WRONLY, 0600);
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        close(out);
        close(err);
        execv(OBJMGRD_SIM, argv.data());
        _exit(99);
    }

    TestDirectory directory_;
    ChildProcess child_;
};

struct Result {
    int status;
    std::string out;
    std::string err;
};

Result RunSim(
    const Words &arguments, const std::function<void()> &prepare = [] {})
{
    Program program(arguments, prepare);
    const int status = program.Wait();
    return {status, program.Out(), program.Err()};
}

// A host file with this text.
class HostText
{
public:
    explicit HostText(const std::string &text) { std::ofstream(Path()) << text; }
    std::string Path() const { return directory_.Path() + "/host.toml"; }

private:
    TestDirectory directory_;
};

const std::string &RackServer()
{
    static const std::string file = EXAMPLE_HOSTS "/rack-server.toml";
    return file;
}

// Runs a command of the shell on the rack server.
Result RunShell(
    const std::string &command, const std::function<void()> &prepare = [] {})
{
    return RunSim({"--host", RackServer(), "--", "sh", "-c", command}, prepare);
}

// What the client prints for its operations, run as the command of a host.
std::string RunClient(const std::string &host, const Words &operations)
{
    Words words = {"--host", host, "--", self, "client"};
    words.insert(words.end(), operations.begin(), operations.end());
    return RunSim(words).out;
}

// The same against the service in a directory.
std::string AskService(const std::string &directory, const std::string &operation)
{
    TestDirectory output;
    const std::string file = output.Path() + "/out";
    ChildProcess child([&] {
        setenv("ZOROBJMGR", directory.c_str(), 1);
        dup2(open(file.c_str(), O_CREAT | O_WRONLY, 0600), STDOUT_FILENO);
        execl(self.c_str(), self.c_str(), "client", operation.c_str(), nullptr);
        _exit(99);
    });
    child.Wait();
    return ReadFile(file);
}

// ---- the client ----

std::string Value(const ObjMgrInterface *objmgr, ObjMgrHandle handle, const Words &words)
{
    char text[1024] = "";
    const CimStatus status =
        objmgr->GetPropertyValue(handle, words[1].c_str(), words[2].c_str(), sizeof text, text);
    return std::to_string(status) + " " + text;
}

std::string InstanceValue(const ObjMgrInterface *objmgr, ObjMgrHandle handle, const Words &words)
{
    char storage[1024] = {};
    ObjMgrInstance *instance = objmgr->InitInstance(storage, sizeof storage);
    if (instance == nullptr)
        return "no instance object";
    const CimStatus status = objmgr->GetInstance(handle, words[1].c_str(), 0, instance);
    const char *text = objmgr->GetInstanceValue(instance, words[2].c_str());
    return std::to_string(status) + " " + (text != nullptr ? text : "null");
}

std::string Invocation(const ObjMgrInterface *objmgr, ObjMgrHandle handle, const Words &words)
{
    const ObjMgrPrivilege all = {0xffffffff, {0, 0}};
    objmgr->SetPrivilege(handle, &all);
    u32 result = 0;
    const CimStatus status =
        objmgr->InvokeMethod(handle, words[1].c_str(), words[2].c_str(),
                             words.size() > 3 ? words[3].c_str() : nullptr, 0, 0, &result);
    return std::to_string(status) + " " + std::to_string(result);
}

// "get PATH PROPERTY", "instance PATH PROPERTY" or "invoke PATH METHOD [ARGS]".
std::string CarryOut(const Words &words)
{
    const ObjMgrInterface *objmgr = ObjMgrGetInterface();
    if (objmgr == nullptr)
        return "no interface";
    ObjMgrHandle handle = 0;
    if (objmgr->Open(&handle) != 0)
        return "not open";
    std::string answer;
    if (words[0] == "get")
        answer = Value(objmgr, handle, words);
    else if (words[0] == "instance")
        answer = InstanceValue(objmgr, handle, words);
    else
        answer = Invocation(objmgr, handle, words);
    objmgr->Close(handle);
    return answer;
}

int RunOperations(int count, char **operations)
{
    for (int i = 0; i < count; ++i) {
        std::istringstream text(operations[i]);
        Words words;
        for (std::string word; text >> word;)
            words.push_back(word);
        puts(CarryOut(words).c_str());
        fflush(stdout);
    }
    return 0;
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc > 2 && strcmp(argv[1], "client") == 0)
        return RunOperations(argc - 2, argv + 2);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

// ---- options ----

TEST(ObjmgrdSim, SaysItsVersion)
{
    const Result result = RunSim({"--version"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "objmgrd-sim 1.0.0\n");
    EXPECT_EQ(result.err, "");
}

TEST(ObjmgrdSim, HelpGoesToStandardOutput)
{
    const Result result = RunSim({"--help"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out.substr(0, 42), "Usage: objmgrd-sim --host FILE [--dir DIR]");
    for (const char *option :
         {"--host", "--dir", "--rights", "-- COMMAND", "--check", "--help", "--version"})
        EXPECT_NE(result.out.find(option), std::string::npos) << option;
    EXPECT_EQ(result.err, "");
}

TEST(ObjmgrdSim, WrongUseExits2WithAHint)
{
    const struct {
        Words arguments;
        const char *fault;
    } rows[] = {
        {{}, "--host is missing"},
        {{"--", "true"}, "--host is missing"},
        {{"--check"}, "--host is missing"},
        {{"--zap"}, "--zap is no option"},
        {{"-x"}, "-x is no option"},
        {{"--check=1"}, "--check=1 is no option"},
        {{"--host"}, "--host needs a value"},
        {{"--host", "f", "--dir"}, "--dir needs a value"},
        {{"--host", "f", "true"}, "a COMMAND stands after \"--\""},
        {{"--host", "f", "--"}, "the COMMAND after \"--\" is missing"},
        {{"--host", "f", "--check", "--", "true"}, "--check takes neither --dir nor a COMMAND"},
        {{"--host", "f", "--check", "--dir", "d"}, "--check takes neither --dir nor a COMMAND"},
        {{"--host", "f", "--dir", "d", "--", "true"},
         "a COMMAND is served in a private directory: leave --dir out"},
        {{"--host", "f", "--rights", "r", "--", "true"},
         "a COMMAND's user has every right: leave --rights out"},
    };
    for (const auto &row : rows) {
        const Result result = RunSim(row.arguments);
        EXPECT_EQ(result.status, 2) << row.fault;
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "objmgrd-sim: " + std::string(row.fault) + "\n" + kUsageHint);
    }
}

// ---- --check ----

TEST(ObjmgrdSimCheck, TheExamplesAreRight)
{
    for (const char *name : {"rack-server", "edge-box-off", "faulty"}) {
        const std::string file = EXAMPLE_HOSTS "/" + std::string(name) + ".toml";
        const Result result = RunSim({"--host", file, "--check"});
        EXPECT_EQ(result.status, 0) << name;
        EXPECT_EQ(result.out, file + ": right\n");
        EXPECT_EQ(result.err, "");
    }
}

TEST(ObjmgrdSimCheck, EveryFaultIsPrintedWithItsPlace)
{
    const HostText host("[OEM_QARN_System]\nPowerStatus = true\nHostNam = \"a\"\n"
                        "[faults]\nclose = {}\n");
    const Result result = RunSim({"--host", host.Path(), "--check"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              host.Path() + ":2:15: a value is text: write it in quotes\n" + host.Path() +
                  ":3:1: warning: unknown property \"HostNam\" (known: PowerStatus, ServiceTag, "
                  "Description, HostName, Oem)\n" +
                  host.Path() +
                  ":5:1: unknown fault \"close\" (known: interface, open, init_instance, "
                  "methods)\n");
}

TEST(ObjmgrdSimCheck, AFaultOfSyntaxIsPrintedWithItsPlace)
{
    const HostText host("[OEM_QARN_System]\nPowerStatus = ON\n");
    const Result result = RunSim({"--host", host.Path(), "--check"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, host.Path() + ":2:15: Error while parsing value: could not determine "
                                        "value type\n");
}

TEST(ObjmgrdSimCheck, AWarningIsRight)
{
    const HostText host("[OEM_QARN_MessageLog]\nNumRecord = 1\n");
    const Result result = RunSim({"--host", host.Path(), "--check"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, host.Path() + ": right\n");
    EXPECT_EQ(result.err, host.Path() + ":2:1: warning: unknown property \"NumRecord\" (known: "
                                        "Name, NumRecords)\n");
}

TEST(ObjmgrdSimCheck, AMissingFileIsAFault)
{
    const Result result = RunSim({"--host", "/nonexistent.toml", "--check"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "/nonexistent.toml: No such file or directory\n");
}

// ---- with a command ----

TEST(ObjmgrdSimCommand, HandsItsStatusOn)
{
    EXPECT_EQ(RunShell("exit 0").status, 0);
    EXPECT_EQ(RunShell("exit 1").status, 1);
    EXPECT_EQ(RunShell("exit 255").status, 255);
    EXPECT_EQ(RunShell("kill -KILL $$").status, 137);
    EXPECT_EQ(RunShell("kill -TERM $$").status, 143);
}

TEST(ObjmgrdSimCommand, WhatCannotBeStartedIs126Or127)
{
    Result result = RunSim({"--host", RackServer(), "--", "/nonexistent/command"});
    EXPECT_EQ(result.status, 127);
    EXPECT_EQ(result.err, "objmgrd-sim: /nonexistent/command: No such file or directory\n");
    result = RunSim({"--host", RackServer(), "--", "no-such-command-here"});
    EXPECT_EQ(result.status, 127);
    result = RunSim({"--host", RackServer(), "--", "/"});
    EXPECT_EQ(result.status, 126);
    EXPECT_EQ(result.err, "objmgrd-sim: /: Permission denied\n");
}

TEST(ObjmgrdSimCommand, DoesNotStartWithAFileThatIsNotRight)
{
    const HostText host("x = 1\n");
    const Result result = RunSim({"--host", host.Path(), "--", "echo", "started"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, host.Path() +
                              ":1:1: unknown table \"x\" (known: OEM_QARN_System, "
                              "OEM_QARN_MessageLog, OEM_QARN_LogRecord, OEM_QARN_Sensor, "
                              "OEM_QARN_PowerSupply, faults)\nobjmgrd-sim: " +
                              host.Path() + " is not right: not started\n");
}

TEST(ObjmgrdSimCommand, PrintsNothingOfItsOwn)
{
    const HostText host("[OEM_QARN_System]\nHostNam = \"a\"\n");
    const Result result = RunSim({"--host", host.Path(), "--", "echo", "a", "b c"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "a b c\n");
    EXPECT_EQ(result.err, "");
}

TEST(ObjmgrdSimCommand, ServesInAPrivateDirectory)
{
    const Result result = RunShell("echo \"$ZOROBJMGR\"; stat -c %a \"$ZOROBJMGR\" \"$ZORSSNDIR\"; "
                                   "test \"$ZORSSNDIR\" = \"$ZOROBJMGR/sessions\" && echo same; "
                                   "touch \"$ZORSSNDIR/left\"");
    EXPECT_EQ(result.err, "");
    std::istringstream lines(result.out);
    std::string directory;
    std::getline(lines, directory);
    EXPECT_EQ(directory.substr(directory.rfind('/'), 13), "/objmgrd-sim.");
    EXPECT_EQ(result.out, directory + "\n700\n700\nsame\n");
    EXPECT_FALSE(Exists(directory));
}

TEST(ObjmgrdSimCommand, ASessionRegistryThatIsSetStays)
{
    const Result result = RunShell("echo $ZORSSNDIR; ls $ZOROBJMGR | grep -c sessions",
                                   [] { setenv("ZORSSNDIR", "/some/where", 1); });
    EXPECT_EQ(result.out, "/some/where\n0\n");
}

TEST(ObjmgrdSimCommand, ARelativeTmpdirMakesAnAbsoluteDirectory)
{
    const TestDirectory directory;
    const Result result = RunShell("cd / && test -S $ZOROBJMGR/socket && echo there", [&] {
        EXPECT_EQ(chdir(directory.Path().c_str()), 0);
        setenv("TMPDIR", ".", 1);
    });
    EXPECT_EQ(result.out, "there\n");
}

TEST(ObjmgrdSimCommand, TheDirectoryIsInTmpUnlessItIsSaidWhere)
{
    for (const bool empty : {true, false}) {
        const Result result = RunShell("echo $ZOROBJMGR", [&] {
            unsetenv("TMPDIR");
            if (empty)
                setenv("TMPDIR", "", 1);
        });
        EXPECT_EQ(result.out.substr(0, 17), "/tmp/objmgrd-sim.");
        EXPECT_FALSE(Exists(result.out.substr(0, result.out.size() - 1)));
    }
}

// Also to a terminal: whoever runs the command learns why it finds no server any more.
TEST(ObjmgrdSimCommand, SaysWhyItServesNoLonger)
{
    const Result result = RunShell("rm -r $ZOROBJMGR; sleep 3");
    EXPECT_EQ(result.err,
              "objmgrd-sim: the directory or the files in it are not this service's any more: "
              "Stale file handle\nobjmgrd-sim: stopped: Stale file handle\n");
}

TEST(ObjmgrdSimCommand, WithoutATmpdirItDoesNotStart)
{
    const Result result = RunShell("echo started", [] { setenv("TMPDIR", "/nonexistent", 1); });
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "objmgrd-sim: no private directory: No such file or directory\n");
}

TEST(ObjmgrdSimCommand, TheCommandGetsNothingOfOurs)
{
    const auto prepare = [] {
        signal(SIGPIPE, SIG_IGN);
        signal(SIGINT, SIG_IGN);
        signal(SIGHUP, SIG_IGN);
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_SETMASK, &all, nullptr);
        umask(0027);
        for (int fd = 3; fd < 1024; ++fd)
            close(fd);
    };
    // The last entry is that of ls itself.
    const Result result = RunShell("ls /proc/self/fd; umask; exec grep -E '^Sig(Blk|Ign)' "
                                   "/proc/self/status",
                                   prepare);
    EXPECT_EQ(result.out.substr(0, 13), "0\n1\n2\n3\n0027\n");
    EXPECT_NE(result.out.find("SigBlk:\t0000000000000000\n"), std::string::npos) << result.out;
    // Signals 32 and 33 are the C library's own; an emulator carries them as 34 and 35.
    const size_t ignored = result.out.find("SigIgn:\t");
    ASSERT_NE(ignored, std::string::npos);
    EXPECT_EQ(strtoull(result.out.c_str() + ignored + 8, nullptr, 16) & ~kLibrarySignals, 0u);
}

TEST(ObjmgrdSimCommand, TheCommandStaysInTheProcessGroup)
{
    const Result result = RunShell("cut -d' ' -f5 /proc/self/stat /proc/$PPID/stat");
    std::istringstream lines(result.out);
    std::string mine;
    std::string parents;
    lines >> mine >> parents;
    EXPECT_FALSE(mine.empty());
    EXPECT_EQ(mine, parents);
}

TEST(ObjmgrdSimCommand, SignalsArePassedOn)
{
    for (int signal : {SIGHUP, SIGINT, SIGTERM, SIGQUIT, SIGUSR1, SIGUSR2}) {
        const TestDirectory directory;
        const std::string ready = directory.Path() + "/ready";
        const std::string number = std::to_string(signal);
        Program program({"--host", RackServer(), "--", "sh", "-c",
                         "trap 'exit " + std::to_string(100 + signal) + "' " + number + "; touch " +
                             ready + "; while :; do sleep 0.02; done"});
        ASSERT_TRUE(Appears(ready));
        program.Signal(signal);
        EXPECT_EQ(program.Wait(), 100 + signal);
        EXPECT_EQ(program.Err(), "");
    }
}

TEST(ObjmgrdSimCommand, ACommandThatASignalEndsGives128AndItsNumber)
{
    const TestDirectory directory;
    const std::string ready = directory.Path() + "/ready";
    Program program(
        {"--host", RackServer(), "--", "sh", "-c", "touch " + ready + "; exec sleep 100"});
    ASSERT_TRUE(Appears(ready));
    program.Signal(SIGTERM);
    EXPECT_EQ(program.Wait(), 143);
}

TEST(ObjmgrdSimCommand, ACommandOutlivesItsService)
{
    const TestDirectory directory;
    const std::string ready = directory.Path() + "/ready";
    const std::string out = directory.Path() + "/answer";
    Program program({"--host", RackServer(), "--", "sh", "-c",
                     self + " client 'get OEM_QARN_System PowerStatus' > " + ready + ".new; mv " +
                         ready + ".new " + ready + "; while test -e " + ready +
                         "; do sleep 0.02; done; " + self +
                         " client 'get OEM_QARN_System PowerStatus' > " + out + ".new; mv " + out +
                         ".new " + out});
    ASSERT_TRUE(Appears(ready));
    EXPECT_EQ(ReadFile(ready), "0 ON\n");
    program.Signal(SIGKILL);
    EXPECT_EQ(program.Wait(), -SIGKILL);
    unlink(ready.c_str());
    ASSERT_TRUE(Appears(out));
    EXPECT_EQ(ReadFile(out), "not open\n");
}

TEST(ObjmgrdSimCommand, MethodsTakeEffect)
{
    EXPECT_EQ(
        RunClient(RackServer(),
                  {"get OEM_QARN_System PowerStatus", "invoke OEM_QARN_System Stop",
                   "get OEM_QARN_System PowerStatus", "invoke OEM_QARN_System Stop",
                   "invoke OEM_QARN_System Start", "get OEM_QARN_System PowerStatus",
                   "invoke OEM_QARN_System Reset Mode=PowerCycle", "get OEM_QARN_System LastReset",
                   "get OEM_QARN_MessageLog.Name=SEL NumRecords",
                   "invoke OEM_QARN_MessageLog.Name=SEL Clear",
                   "get OEM_QARN_MessageLog.Name=SEL NumRecords",
                   "instance OEM_QARN_LogRecord.LogName=SEL,RecordNum=1 "
                   "RecordNum"}),
        "0 ON\n0 0\n0 OFF\n0 1\n0 0\n0 ON\n0 0\n0 PowerCycle\n0 20\n0 0\n0 0\n6 null\n");
}

TEST(ObjmgrdSimCommand, TheRackServerHasEveryKindOfSensor)
{
    Words reads;
    for (int index = 1; index <= 38; ++index) {
        const std::string path = "OEM_QARN_Sensor.Index=" + std::to_string(index);
        reads.push_back("get " + path + " Type");
        reads.push_back("get " + path + " Format");
    }
    std::istringstream answers(RunClient(RackServer(), reads));
    std::map<std::string, int> kinds;
    std::string type;
    std::string format;
    while (std::getline(answers, type) && std::getline(answers, format))
        ++kinds[type + "," + format];
    const std::map<std::string, int> expected = {
        {"0 1,0 1", 8}, {"0 2,0 1", 4},  {"0 2,0 2", 10},  {"0 3,0 1", 2},
        {"0 4,0 1", 6}, {"0 4,0 3", 1},  {"0 5,0 2", 1},   {"0 8,0 2", 2},
        {"0 8,0 3", 1}, {"0 41,0 2", 1}, {"0 192,0 2", 1}, {"6 ,6 ", 1},
    };
    EXPECT_EQ(kinds, expected);
}

TEST(ObjmgrdSimCommand, TheEdgeBoxIsOff)
{
    EXPECT_EQ(RunClient(EXAMPLE_HOSTS "/edge-box-off.toml",
                        {"get OEM_QARN_System PowerStatus", "invoke OEM_QARN_System Reset",
                         "get OEM_QARN_LogRecord.LogName=SEL,RecordNum=2,"
                         "TimestampFormat=YYYYMMDDHHMMSS Timestamp",
                         "instance OEM_QARN_LogRecord.LogName=SEL,RecordNum=1,"
                         "TimestampFormat=YYYYMMDDHHMMSS Timestamp"}),
              "0 OFF\n0 1\n0 20240711182005\n0 System Boot\n");
}

TEST(ObjmgrdSimCommand, TheFaultyServerFailsAsItsCommentsSay)
{
    EXPECT_EQ(RunClient(EXAMPLE_HOSTS "/faulty.toml",
                        {"get OEM_QARN_System PowerStatus", "get OEM_QARN_System PowerStatus",
                         "get OEM_QARN_System PowerStatus", "get OEM_QARN_System PowerStatus",
                         "get OEM_QARN_System Description",
                         "instance OEM_QARN_LogRecord.LogName=SEL,RecordNum=2 RecordNum",
                         "instance OEM_QARN_LogRecord.LogName=SEL,RecordNum=3 RecordNum",
                         "instance OEM_QARN_LogRecord.LogName=SEL,RecordNum=4 Description",
                         "instance OEM_QARN_Sensor.Index=1 Reading",
                         "instance OEM_QARN_Sensor.Index=1 Reading",
                         "instance OEM_QARN_Sensor.Index=2 Reading", "invoke OEM_QARN_System Stop",
                         "invoke OEM_QARN_MessageLog.Name=SEL Clear",
                         "get OEM_QARN_MessageLog.Name=SEL NumRecords"}),
              "0 ON\n2 \n2 \n0 ON\n1 \n2 null\n6 null\n0 null\n1 null\n0 44\n0 null\n2 0\n0 1\n"
              "0 5\n");
}

TEST(ObjmgrdSimCommand, FaultsOfTheClientArePlayed)
{
    const std::string system = "[OEM_QARN_System]\nOem = \"o\"\n";
    const std::string get = "get OEM_QARN_System Oem";
    const std::string instance = "instance OEM_QARN_System Oem";
    const HostText interface(system + "[faults]\ninterface = { from = 2, to = 3 }\n");
    EXPECT_EQ(RunClient(interface.Path(), {get, get, get, get}),
              "0 o\nno interface\nno interface\n0 o\n");
    const HostText open(system + "[faults]\nopen = { from = 2 }\n");
    EXPECT_EQ(RunClient(open.Path(), {get, get, get}), "0 o\nnot open\nnot open\n");
    const HostText openAlways(system + "[faults]\nopen = {}\n");
    EXPECT_EQ(RunClient(openAlways.Path(), {get, get}), "not open\nnot open\n");
    const HostText init(system + "[faults]\ninit_instance = { to = 1 }\n");
    EXPECT_EQ(RunClient(init.Path(), {instance, instance}), "no instance object\n0 o\n");
}

TEST(ObjmgrdSimCommand, AReplyThatNeverComesIsAFailureAfterTheTimeLimit)
{
    const HostText host("[OEM_QARN_System]\nPowerStatus = \"ON\"\n"
                        "[faults.methods.Stop]\nreply = false\n");
    EXPECT_EQ(
        RunClient(host.Path(), {"invoke OEM_QARN_System Stop", "get OEM_QARN_System PowerStatus"}),
        "1 0\n0 OFF\n");
}

// ---- as a service ----

TEST(ObjmgrdSimService, ServesUntilASignalEndsIt)
{
    for (int signal : {SIGTERM, SIGINT}) {
        const TestDirectory directory;
        const std::string at = directory.Path() + "/objmgr";
        Program service({"--host", RackServer(), "--dir", at});
        ASSERT_TRUE(Appears(at + "/image"));
        EXPECT_EQ(AskService(at, "get OEM_QARN_System HostName"), "0 db-node-04.dc1.example.net\n");
        EXPECT_EQ(AskService(at, "invoke OEM_QARN_System Stop"), "0 0\n");
        EXPECT_EQ(AskService(at, "get OEM_QARN_System PowerStatus"), "0 OFF\n");
        service.Signal(signal);
        EXPECT_EQ(service.Wait(), 0);
        EXPECT_EQ(service.Out(), "");
        EXPECT_EQ(service.Err(), "");
        EXPECT_FALSE(Exists(at + "/image"));
        EXPECT_FALSE(Exists(at + "/socket"));
        EXPECT_EQ(AskService(at, "get OEM_QARN_System HostName"), "not open\n");
    }
}

// Its life on a terminal, where what else goes to the system's log is said.
std::string OnATerminal(const std::string &directory, const std::function<void(pid_t)> &then,
                        int *status)
{
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_EQ(grantpt(terminal), 0);
    EXPECT_EQ(unlockpt(terminal), 0);
    const int end = open(ptsname(terminal), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ChildProcess child([&] {
        dup2(end, STDERR_FILENO);
        execl(OBJMGRD_SIM, OBJMGRD_SIM, "--host", RackServer().c_str(), "--dir", directory.c_str(),
              nullptr);
        _exit(99);
    });
    close(end);
    EXPECT_TRUE(Appears(directory + "/image"));
    then(child.Pid());
    *status = child.Wait();
    std::string text;
    char part[512];
    for (ssize_t size = 0; (size = read(terminal, part, sizeof part)) > 0;)
        text.append(part, static_cast<size_t>(size));
    close(terminal);
    return text;
}

TEST(ObjmgrdSimService, SaysOnATerminalWhatItDoes)
{
    const TestDirectory directory;
    const std::string at = directory.Path() + "/objmgr";
    const std::string serving =
        "objmgrd-sim: serving " + RackServer() + " in " + at + "\r\nobjmgrd-sim: ";
    int status = -1;
    const auto stop = [](pid_t pid) { kill(pid, SIGTERM); };
    EXPECT_EQ(OnATerminal(at, stop, &status), serving + "stopped\r\n");
    EXPECT_EQ(WEXITSTATUS(status), 0);
    const auto remove = [&](pid_t) { std::filesystem::remove_all(at); };
    EXPECT_EQ(OnATerminal(at, remove, &status),
              serving + "the directory or the files in it are not this service's any more: "
                        "Stale file handle\r\nobjmgrd-sim: stopped: Stale file handle\r\n");
    EXPECT_EQ(WEXITSTATUS(status), 1);
}

TEST(ObjmgrdSimService, TakesItsDirectoryFromTheEnvironment)
{
    const TestDirectory directory;
    Program service({"--host", RackServer()},
                    [&] { setenv("ZOROBJMGR", directory.Path().c_str(), 1); });
    ASSERT_TRUE(Appears(directory.Path() + "/image"));
    EXPECT_EQ(AskService(directory.Path(), "get OEM_QARN_System Oem"), "0 0\n");
}

TEST(ObjmgrdSimService, ItsGroupMayUseIt)
{
    const TestDirectory directory;
    const std::string at = directory.Path() + "/a/b";
    Program service({"--host", RackServer(), "--dir", at}, [] { umask(0077); });
    ASSERT_TRUE(Appears(at + "/image"));
    struct stat info = {};
    ASSERT_EQ(stat(at.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0750u);
    ASSERT_EQ(stat((at + "/socket").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0660u);
}

TEST(ObjmgrdSimService, ASecondOneSaysSoAndExits)
{
    const TestDirectory directory;
    Program first({"--host", RackServer(), "--dir", directory.Path()});
    ASSERT_TRUE(Appears(directory.Path() + "/image"));
    const Result second =
        RunSim({"--host", EXAMPLE_HOSTS "/edge-box-off.toml", "--dir", directory.Path()});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.err,
              "objmgrd-sim: " + directory.Path() + ": another object manager serves there\n");
    EXPECT_EQ(AskService(directory.Path(), "get OEM_QARN_System PowerStatus"), "0 ON\n");
}

TEST(ObjmgrdSimService, ARestartFollowsASuddenDeath)
{
    const TestDirectory directory;
    const std::string &at = directory.Path();
    Program first({"--host", RackServer(), "--dir", at});
    ASSERT_TRUE(Appears(at + "/image"));
    EXPECT_EQ(AskService(at, "invoke OEM_QARN_System Stop"), "0 0\n");
    first.Signal(SIGKILL);
    EXPECT_EQ(first.Wait(), -SIGKILL);
    EXPECT_EQ(AskService(at, "get OEM_QARN_System PowerStatus"), "not open\n");
    std::filesystem::remove(at + "/image");
    Program second({"--host", RackServer(), "--dir", at});
    ASSERT_TRUE(Appears(at + "/image"));
    EXPECT_EQ(AskService(at, "get OEM_QARN_System PowerStatus"), "0 ON\n");
    EXPECT_EQ(AskService(at, "invoke OEM_QARN_System Stop"), "0 0\n");
}

// ---- rights ----

// A file of rights with this text.
class RightsText
{
public:
    explicit RightsText(const std::string &text) { Write(text); }
    void Write(const std::string &text) const
    {
        std::ofstream(Path()) << text;
        chmod(Path().c_str(), 0600);
    }
    std::string Path() const { return directory_.Path() + "/rights.toml"; }

private:
    TestDirectory directory_;
};

TEST(ObjmgrdSimCheck, SaysWhatIsWrongWithTheRights)
{
    const RightsText rights("[users]\n1001 = ['login', 'powder']\n");
    const Result wrong = RunSim({"--host", RackServer(), "--rights", rights.Path(), "--check"});
    EXPECT_EQ(wrong.status, 1);
    EXPECT_EQ(wrong.out, RackServer() + ": right\n");
    EXPECT_EQ(wrong.err,
              rights.Path() + ":2:18: unknown right \"powder\" (known: login, power, clear-log)\n");
    rights.Write("[users]\n1001 = ['login', 'power']\n");
    const Result right = RunSim({"--host", RackServer(), "--rights", rights.Path(), "--check"});
    EXPECT_EQ(right.status, 0);
    EXPECT_EQ(right.out, RackServer() + ": right\n" + rights.Path() + ": right\n");
    const Result missing = RunSim({"--host", RackServer(), "--rights", "/none", "--check"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err, "/none: No such file or directory\n");
}

TEST(ObjmgrdSimService, RefusesRightsThatAreNotRight)
{
    const TestDirectory directory;
    const std::string at = directory.Path() + "/objmgr";
    const RightsText rights("[user]\n");
    const Result result = RunSim({"--host", RackServer(), "--dir", at, "--rights", rights.Path()});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, rights.Path() +
                              ":1:2: unknown table \"user\" (known: users, groups)\n"
                              "objmgrd-sim: " +
                              rights.Path() + " is not right: not started\n");
    EXPECT_FALSE(Exists(at));
}

// What the service in the directory answers to somebody of this uid, as ServiceAsk says it.
u32 RightsOf(uid_t uid, const std::string &directory)
{
    int ends[2];
    if (pipe(ends) != 0)
        abort();
    ChildProcess child([&] {
        ServiceFacts facts = {};
        if (setgroups(0, nullptr) != 0 || setresgid(uid, uid, uid) != 0 ||
            setresuid(uid, uid, uid) != 0)
            return;
        ServiceAsk(directory.c_str(), 10000, &facts);
        (void)!write(ends[1], &facts.rights, sizeof facts.rights);
    });
    child.Wait();
    u32 rights = 99;
    close(ends[1]);
    (void)!read(ends[0], &rights, sizeof rights);
    close(ends[0]);
    return rights;
}

// Its children could not be waited for.
TEST(ObjmgrdSimService, TakesNoticeOfChildrenThoughItsStarterDidNot)
{
    const TestDirectory directory;
    const std::string at = directory.Path() + "/objmgr";
    Program service({"--host", RackServer(), "--dir", at}, [] { signal(SIGCHLD, SIG_IGN); });
    ASSERT_TRUE(Appears(at + "/image"));
    const std::string status = ReadFile("/proc/" + std::to_string(service.Pid()) + "/status");
    const size_t ignored = status.find("SigIgn:\t");
    ASSERT_NE(ignored, std::string::npos);
    const u64 set = strtoull(status.c_str() + ignored + 8, nullptr, 16);
    EXPECT_EQ(set & (u64{1} << (SIGCHLD - 1)), 0u);
    EXPECT_NE(set & (u64{1} << (SIGPIPE - 1)), 0u);
}

TEST(ObjmgrdSimService, ReadsItsRightsAgainOnSighup)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root, to ask as another user";
    const TestDirectory directory;
    const std::string at = directory.Path() + "/objmgr";
    const RightsText rights("[users]\n1234567 = ['login', 'power']\n");
    chmod(directory.Path().c_str(), 0755);
    Program service({"--host", RackServer(), "--dir", at, "--rights", rights.Path()});
    ASSERT_TRUE(Appears(at + "/image"));
    chmod(at.c_str(), 0755);
    chmod((at + "/socket").c_str(), 0666);
    EXPECT_EQ(RightsOf(1234567, at), 0x3u);
    EXPECT_EQ(RightsOf(1234568, at), 0x0u);

    const auto rightsBecome = [&](uid_t uid, u32 wanted) {
        for (int i = 0; i < 500 && RightsOf(uid, at) != wanted; ++i)
            usleep(10000);
        return RightsOf(uid, at) == wanted;
    };
    rights.Write("[users]\n1234568 = ['login', 'clear-log']\n");
    service.Signal(SIGHUP);
    EXPECT_TRUE(rightsBecome(1234568, 0x5));
    EXPECT_EQ(RightsOf(1234567, at), 0x0u);

    // One that is not right changes nothing.
    rights.Write("[users]\n1234567 = 'powder'\n");
    service.Signal(SIGHUP);
    usleep(300000);
    EXPECT_EQ(RightsOf(1234568, at), 0x5u);
    unlink(rights.Path().c_str());
    service.Signal(SIGHUP);
    usleep(300000);
    EXPECT_EQ(RightsOf(1234568, at), 0x5u);
    service.Signal(SIGTERM);
    EXPECT_EQ(service.Wait(), 0);
}

TEST(ObjmgrdSimService, SighupWithoutAFileOfRightsEndsNothing)
{
    const TestDirectory directory;
    Program service({"--host", RackServer(), "--dir", directory.Path()});
    ASSERT_TRUE(Appears(directory.Path() + "/image"));
    service.Signal(SIGHUP);
    usleep(100000);
    EXPECT_EQ(AskService(directory.Path(), "get OEM_QARN_System Oem"), "0 0\n");
    service.Signal(SIGTERM);
    EXPECT_EQ(service.Wait(), 0);
}

TEST(ObjmgrdSimService, RefusesADirectoryThatCannotBe)
{
    const Result result = RunSim({"--host", RackServer(), "--dir", "/dev/null/objmgr"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "objmgrd-sim: /dev/null/objmgr: Not a directory\n");
}

TEST(ObjmgrdSimService, RefusesAFileThatIsNotRight)
{
    const TestDirectory directory;
    const std::string at = directory.Path() + "/objmgr";
    const HostText host("[OEM_QARN_System]\nOem = 1.0\n");
    const Result result = RunSim({"--host", host.Path(), "--dir", at});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, host.Path() + ":2:7: a value is text: write it in quotes\nobjmgrd-sim: " +
                              host.Path() + " is not right: not started\n");
    EXPECT_FALSE(Exists(at));
}
