// SPDX-License-Identifier: Apache-2.0
// The built programs together on a simulated service: shell, login and objmgrd-redfish.
#include "redfish/service.h"
#include "support/clock.h"
#include "support/objmgr_process.h"
#include "support/program.h"
#include "support/test_files.h"

#include <fstream>
#include <sys/resource.h>

namespace
{

const std::string kSessions = "/redfish/v1/SessionService/Sessions";

// "RssAnon" in kB.
long StatusKb(pid_t pid, const std::string &name)
{
    const std::string text = ReadFile("/proc/" + std::to_string(pid) + "/status");
    const size_t at = text.find(name + ":");
    return at == std::string::npos ? -1 : atol(text.c_str() + at + name.size() + 1);
}

// objmgrd-redfish in a process of its own, killed with the test.
class Served
{
public:
    Served(const std::string &config, const std::string &directory)
    {
        log_ = directory + "/log";
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            const rlimit any = {RLIM_INFINITY, RLIM_INFINITY};
            setrlimit(RLIMIT_CORE, &any);
            if (freopen(log_.c_str(), "w", stderr) == nullptr)
                _exit(126);
            execl(OBJMGRD_REDFISH, OBJMGRD_REDFISH, "--config", config.c_str(), "--dir",
                  (directory + "/run").c_str(), nullptr);
            _exit(127);
        }
    }
    ~Served() { End(SIGKILL); }
    Served(const Served &) = delete;
    Served &operator=(const Served &) = delete;
    // The wait status.
    int End(int signal)
    {
        int status = 0;
        if (pid_ <= 0)
            return status;
        kill(pid_, signal);
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return status;
    }
    pid_t Pid() const { return pid_; }
    std::string Log() const { return ReadFile(log_); }

private:
    pid_t pid_ = -1;
    std::string log_;
};

class RedfishProgram : public testing::Test
{
protected:
    void Serve(SimOptions options = {}) { service = std::make_unique<SimService>(options); }
    std::string File(const std::string &name) const { return directory.Path() + "/" + name; }
    // Writes settings; lines: more of [redfish], and tables after it.
    std::string Config(const std::string &lines = "", std::string url = "")
    {
        WriteFile(File("password"), std::string(SimService::kPassword) + "\n", 0600);
        if (url.empty())
            url = service->Url();
        WriteFile(File("redfish.toml"),
                  "[redfish]\nurl = \"" + url + "\"\nuser = \"" + SimService::kUser +
                      "\"\npassword_file = \"" + File("password") + "\"\nsession_file = \"" +
                      File("session") + "\"\n" + lines,
                  0600);
        return File("redfish.toml");
    }
    // One command of a shell, with the service for as long as it takes.
    ProgramEnd Shell(const std::string &config, const std::string &line)
    {
        return RunProgram({OBJMGRD_REDFISH, "--config", config, "--", SMCLP_LOGIN, "-c", line});
    }

    TestDirectory directory;
    std::unique_ptr<SimService> service;
};

std::string RunLine(const std::string &command)
{
    const ProgramEnd end = RunProgram({"/bin/sh", "-c", command});
    EXPECT_EQ(end.status, 0) << command << "\n" << end.err;
    return end.out;
}

}  // namespace

TEST_F(RedfishProgram, TheShellShowsAndSwitches)
{
    Serve();
    service->AddLogEntry("1", "Fan 1 failed");
    const std::string config = Config();
    EXPECT_EQ(Shell(config, "show -display properties=(name,elementname) /system1").out,
              "\n/system1:\n\n  Properties:\n    name                = TAG1\n"
              "    elementname         = host1\n");
    EXPECT_NE(Shell(config, "show /system1/logs1/log1/record1").out.find("Fan 1 failed"),
              std::string::npos);
    EXPECT_EQ(Shell(config, "stop /system1").out, "system was stopped successfully.\n");
    EXPECT_FALSE(service->Power());
    EXPECT_EQ(Shell(config, "start /system1").out, "system was started successfully.\n");
    EXPECT_EQ(Shell(config, "reset /system1").out, "system was reset successfully.\n");
    EXPECT_EQ(service->Actions(), (std::vector<std::string>{"ForceOff", "On", "ForceRestart"}));
    EXPECT_EQ(service->Sessions(), 0u);
}

TEST_F(RedfishProgram, CheckSaysWhatIsWrong)
{
    const auto check = [&](const std::string &config) {
        return RunProgram({OBJMGRD_REDFISH, "--config", config, "--check"});
    };
    ProgramEnd end = check(Config("insecure = true\n", "https://192.0.2.1"));
    EXPECT_EQ(end.status, 1);
    EXPECT_NE(end.err.find("redfish.toml:6:1: unknown key \"insecure\" in [redfish]"),
              std::string::npos)
        << end.err;
    EXPECT_EQ(check(Config("", "https://192.0.2.1")).status, 0);
    end = check(Config("ca_file = \"/nowhere\"\n", "https://192.0.2.1"));
    EXPECT_EQ(end.status, 1);
    EXPECT_NE(end.err.find("ca_file /nowhere: No such file or directory"), std::string::npos);
    const std::string config = Config("", "https://192.0.2.1");
    chmod(File("password").c_str(), 0644);
    EXPECT_EQ(check(config).status, 1);
}

TEST_F(RedfishProgram, CertificatesAndPins)
{
    const std::string at = "cd " + directory.Path() + " && ";
    const std::string key = " -newkey rsa:2048 -nodes -subj /CN=bmc.example";
    RunLine(at + "openssl req -x509 -keyout ca.key -out ca.pem -days 30" + key + " 2>/dev/null");
    RunLine(at + "openssl req -keyout bmc.key -out bmc.csr" + key + " 2>/dev/null");
    RunLine(at + "printf 'subjectAltName=DNS:bmc.example,IP:127.0.0.1' > ext && "
                 "openssl x509 -req -in bmc.csr -CA ca.pem -CAkey ca.key -CAcreateserial "
                 "-out bmc.pem -days 20 -extfile ext 2>/dev/null");
    // Ended in the past.
    RunLine(at +
            "openssl x509 -req -in bmc.csr -signkey bmc.key -out old.pem -days -1 2>/dev/null || "
            "openssl x509 -req -in bmc.csr -signkey bmc.key -out old.pem -days 0 2>/dev/null");
    // A key that is too short, of the right authority.
    RunLine(at + "openssl req -newkey rsa:1024 -nodes -subj /CN=bmc.example -keyout short.key "
                 "-out short.csr 2>/dev/null && openssl x509 -req -in short.csr -CA ca.pem "
                 "-CAkey ca.key -CAcreateserial -out short.pem -days 20 -extfile ext 2>/dev/null");
    const auto pinOf = [&](const std::string &file) {
        const std::string hash = RunLine(at + "openssl pkey -in " + file +
                                         " -pubout -outform der | openssl dgst -sha256 -binary"
                                         " | base64");
        return "sha256//" + hash.substr(0, hash.find('\n'));
    };
    const std::string pin = pinOf("bmc.key");
    const std::string byShortKey = "pin = \"" + pinOf("short.key") + "\"\n";
    const std::string byAuthority = "ca_file = \"" + File("ca.pem") + "\"\n";
    const std::string byKey = "pin = \"" + pin + "\"\n";
    const std::string byAnother =
        "pin = \"sha256//AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=\"\n";
    const std::string named = "tls_name = \"bmc.example\"\n";

    struct Row {
        const char *certificate;
        bool localhost;  // as the host in the url
        std::string lines;
        bool trusted;
    };
    const Row rows[] = {
        {"bmc.pem", false, byAuthority, true},
        {"bmc.pem", false, byKey, true},
        {"bmc.pem", false, byAuthority + byKey, true},
        {"bmc.pem", true, byAuthority + named, true},
        {"old.pem", true, byKey, true},
        {"short.pem", false, byShortKey, true},
        {"short.pem", false, byAuthority, false},
        {"short.pem", false, byAuthority + byShortKey, false},
        {"short.pem", false, byKey, false},
        {"bmc.pem", false, "", false},
        {"bmc.pem", true, byAuthority, false},
        {"bmc.pem", false, byAuthority + byAnother, false},
        {"bmc.pem", false, byAnother, false},
        {"old.pem", false, byAuthority, false},
        {"old.pem", false, byAuthority + byKey, false},
    };
    for (const Row &row : rows) {
        SimOptions options;
        options.certificate = ReadFile(File(row.certificate));
        const bool isShort = row.certificate == std::string("short.pem");
        options.key = ReadFile(File(isShort ? "short.key" : "bmc.key"));
        Serve(options);
        const std::string url =
            row.localhost ? "https://localhost:" + std::to_string(service->Port()) : "";
        const ProgramEnd end = Shell(Config(row.lines, url), "show -display properties=(name)"
                                                             " /system1");
        EXPECT_EQ(end.out.find("TAG1") != std::string::npos, row.trusted)
            << row.certificate << " " << row.localhost << " " << row.lines << end.err;
        if (!row.trusted) {
            const std::string seen = isShort ? pinOf("short.key") : pin;
            EXPECT_NE(end.err.find("its key has the pin " + seen), std::string::npos) << end.err;
            EXPECT_EQ(service->Requests().size(), 0u);
        }
    }
}

TEST_F(RedfishProgram, TheEnvironmentsProxyIsNotUsed)
{
    Serve();
    setenv("http_proxy", "http://127.0.0.1:9", 1);
    setenv("ALL_PROXY", "http://127.0.0.1:9", 1);
    EXPECT_NE(Shell(Config(), "show -display properties=(name) /system1").out.find("TAG1"),
              std::string::npos);
    unsetenv("http_proxy");
    unsetenv("ALL_PROXY");
}

TEST_F(RedfishProgram, AKilledServicesSessionIsDeletedByTheNext)
{
    Serve();
    const std::string config = Config();
    {
        Served served(config, directory.Path());
        ASSERT_TRUE(WaitUntil([&] { return service->Sessions() == 1; }));
        ASSERT_TRUE(WaitUntil([&] { return !ReadFile(File("session")).empty(); }));
        served.End(SIGKILL);
    }
    EXPECT_EQ(service->Sessions(), 1u);
    Served served(config, directory.Path());
    ASSERT_TRUE(WaitUntil([&] { return service->Count("DELETE", kSessions + "/1") == 1; }));
    ASSERT_TRUE(WaitUntil([&] { return service->Count("POST", kSessions) == 2; }));
    EXPECT_EQ(service->Sessions(), 1u);
    served.End(SIGTERM);
    EXPECT_EQ(service->Sessions(), 0u);
    EXPECT_EQ(ReadFile(File("session")), "");
}

TEST_F(RedfishProgram, NoSecretIsToldAnywhere)
{
    Serve();
    Served served(Config(), directory.Path());
    ASSERT_TRUE(WaitUntil([&] { return service->Count("GET", "/redfish/v1/Systems/S1") >= 2; }));
    const std::string proc = "/proc/" + std::to_string(served.Pid());
    for (const std::string &secret : {std::string(SimService::kPassword), std::string("token-1")}) {
        EXPECT_EQ(ReadFile(proc + "/cmdline").find(secret), std::string::npos);
        EXPECT_EQ(ReadFile(proc + "/environ").find(secret), std::string::npos);
        EXPECT_EQ(served.Log().find(secret), std::string::npos);
        for (const auto &entry : std::filesystem::recursive_directory_iterator(File("run"))) {
            if (entry.is_regular_file()) {
                EXPECT_EQ(ReadFile(entry.path()).find(secret), std::string::npos) << entry.path();
            }
        }
    }
    // Nor in a core file: there is none.
    EXPECT_FALSE(WCOREDUMP(served.End(SIGABRT)));
}

TEST_F(RedfishProgram, GarbageDoesNotFillTheMemory)
{
    SimOptions options;
    options.expand = SimExpand::Ignored;
    options.temperatures = 8;
    Serve(options);
    Served served(Config("[poll]\nsensors_ms = 1000\n"), directory.Path());
    ASSERT_TRUE(WaitUntil([&] { return service->Count("GET", "/redfish/v1/Systems/S1") >= 3; }));
    SimFault fault;
    fault.garbage = 3'900'000;
    for (int i = 1; i <= 8; ++i)
        service->SetFault("/redfish/v1/Chassis/C1/Sensors/Temp" + std::to_string(i), fault);
    fault.garbage = 20'000'000;
    service->SetFault("/redfish/v1/Managers/M1/LogServices/SEL/Entries", fault);
    // 1.2 MB that become 200.
    SimFault bomb;
    bomb.encoding = "gzip";
    bomb.body = SimGzipBomb(200'000'000);
    service->SetFault("/redfish/v1/Chassis/C1/Sensors/Temp7", bomb);
    const auto count = [&] {
        return service->Count("GET", "/redfish/v1/Chassis/C1/Sensors/Temp8");
    };
    service->ForgetRequests();
    ASSERT_TRUE(WaitUntil([&] { return count() >= 3; }));
    const long early = StatusKb(served.Pid(), "VmHWM");
    ASSERT_TRUE(WaitUntil([&] { return count() >= 7; }));
    // What one round takes at the most, over and over. A sanitizer holds back what is freed.
    if (!ZOR_SANITIZED) {
        EXPECT_LT(StatusKb(served.Pid(), "VmHWM"), early + 20'000);
        EXPECT_LT(early, 120'000);
    }
    // It still answers.
    service->ClearFaults();
    const size_t before = service->Count("GET", "/redfish/v1/Systems/S1");
    EXPECT_TRUE(
        WaitUntil([&] { return service->Count("GET", "/redfish/v1/Systems/S1") > before + 1; }));
}

// As fast as the service gives it, for as many seconds as REDFISH_GARBAGE_S says; not in every run.
TEST_F(RedfishProgram, GarbageAtFullSpeedDoesNotFillTheMemory)
{
    const auto *given = getenv("REDFISH_GARBAGE_S");
    if (given == nullptr)
        GTEST_SKIP() << "REDFISH_GARBAGE_S is not set";
    constexpr unsigned kSensors = 64;
    constexpr size_t kGarbage = 3'900'000;
    SimOptions options;
    options.expand = SimExpand::Ignored;
    options.temperatures = kSensors;
    Serve(options);
    Served served(Config("[poll]\nsensors_ms = 1000\n"), directory.Path());
    ASSERT_TRUE(WaitUntil([&] { return service->Count("GET", "/redfish/v1/Systems/S1") >= 3; }));
    SimFault fault;
    fault.garbage = kGarbage;
    for (unsigned i = 1; i <= kSensors; ++i)
        service->SetFault("/redfish/v1/Chassis/C1/Sensors/Temp" + std::to_string(i), fault);
    const auto garbage = [&] {
        size_t answers = 0;
        for (const SimRequest &request : service->Requests())
            answers += request.url.find("/Sensors/Temp") != std::string::npos ? 1u : 0u;
        service->ForgetRequests();
        return answers * kGarbage;
    };
    // The largest that it gets in the first rounds, and in all others.
    const int seconds = atoi(given);
    long early = 0;
    long late = 0;
    size_t bytes = 0;
    garbage();
    for (int second = 0; second < seconds + 10; ++second) {
        sleep(1);
        const long now = StatusKb(served.Pid(), "VmRSS");
        if (second < 10) {
            early = std::max(early, now);
            garbage();
            continue;
        }
        late = std::max(late, now);
        bytes += garbage();
    }
    printf("%zu MB in %d s, %zu MB a second; at most %ld kB in the first 10 s, %ld kB afterwards\n",
           bytes / 1'000'000, seconds, bytes / 1'000'000 / static_cast<size_t>(seconds), early,
           late);
    EXPECT_LT(late, early + 20'000);
    EXPECT_GT(bytes / static_cast<size_t>(seconds), 100'000'000u);
    EXPECT_TRUE(WaitUntil([&] { return service->Count("GET", "/redfish/v1/Systems/S1") != 0; }));
}
