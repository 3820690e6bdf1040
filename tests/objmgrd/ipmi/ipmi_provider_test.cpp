// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/ipmi_provider: the serving side, as its clients see it. The BMC is
// switched by files in a directory of the test's own, since it lives in the server's process.
#include "objmgrd/ipmi/ipmi_provider.h"

#include "objmgrd/ipmi/fake_bmc.h"
#include "platform/clock.h"
#include "support/served_process.h"
#include "support/test_files.h"

#include <fstream>
#include <sys/stat.h>

namespace
{

constexpr char kSystem[] = "OEM_QARN_System";
constexpr char kLog[] = "OEM_QARN_MessageLog.Name=SEL";
constexpr char kSensor1[] = "OEM_QARN_Sensor.Index=1";
constexpr char kRecord1[] = "OEM_QARN_LogRecord.LogName=SEL,RecordNum=1";

std::string logFile;

void LogToFile(int, const char *line)
{
    std::ofstream(logFile, std::ios::app) << line << "\n";
}

// On the machine's clock nothing passes here; silence takes real time.
class SwitchedBmc : public FakeBmc
{
public:
    SwitchedBmc(FakeMachine *machine, bool control, std::string directory)
        : FakeBmc(machine, control), state_(*machine), directory_(std::move(directory))
    {
    }
    BmcOpening Open(std::string *why, u32 limitMs = 0) override
    {
        Look();
        return FakeBmc::Open(why, limitMs);
    }
    BmcAnswer Ask(const BmcRequest &request) override
    {
        Look();
        return FakeBmc::Ask(request);
    }

private:
    bool Has(const char *name) const
    {
        return access((directory_ + "/" + name).c_str(), F_OK) == 0;
    }
    void Look()
    {
        while (Has("hang"))
            usleep(10000);
        state_.silent = Has("silent");
        state_.stuck = Has("stuck");
        if (state_.silent)
            usleep(300000);
    }

    FakeMachine &state_;
    const std::string directory_;
};

class IpmiProviderTest : public testing::Test
{
protected:
    IpmiProviderTest()
    {
        logFile = switches_.Path() + "/log";
        served_ = std::make_unique<ServedProcess>(ServerOptions{.directory = Directory()},
                                                  [this] { return Make(); });
        EXPECT_TRUE(served_->started);
    }
    std::string Directory() const { return directory_.Path(); }
    void Switch(const char *name, bool on) const
    {
        const std::string file = switches_.Path() + "/" + name;
        if (on)
            std::ofstream(file) << "on";
        else
            unlink(file.c_str());
    }
    std::string Read(const char *path, const char *property) const
    {
        return ReadFresh(Directory(), path, property);
    }
    std::string Call(const char *path, const char *method, const char *args = nullptr) const
    {
        return CallMethod(Directory(), 0x7, path, method, args);
    }
    // How long it takes until the value is there, in milliseconds; 20000 at most.
    u32 Until(const char *path, const char *property, const std::string &value) const
    {
        for (u32 ms = 0; ms < 20000; ms += 20) {
            if (Read(path, property) == value)
                return ms;
            usleep(20000);
        }
        ADD_FAILURE() << Read(path, property) << " instead of " << value;
        return 20000;
    }
    std::string Log() const { return ReadFile(logFile); }

    TestDirectory directory_;
    TestDirectory switches_;
    std::unique_ptr<ServedProcess> served_;

private:
    Provider *Make() const
    {
        auto *machine = new FakeMachine;  // as long as the process
        machine->sdrs = {SdrOf({"T1", 1, 1, 0x01, true, 0})};
        machine->readings = {{1, {23, 0x40, 0}}};
        machine->sel = {SelEvent(1, 0x60000000)};
        machine->frus = {{0, FruOf({{}, {}, ProductArea("Maker", "Product", "SERIAL")})}};
        IpmiSettings settings;
        settings.host = "bmc";
        settings.cacheDirectory = "";
        settings.powerMs = 100;
        settings.methodMs = 1500;
        return MakeIpmiProvider(
                   settings, std::make_unique<SwitchedBmc>(machine, false, switches_.Path()),
                   std::make_unique<SwitchedBmc>(machine, true, switches_.Path()), LogToFile)
            .release();
    }
};

}  // namespace

TEST_F(IpmiProviderTest, ServesTheMachine)
{
    Until(kSystem, "ServiceTag", "SERIAL");
    Until(kSensor1, "Reading", "23");
    Until(kLog, "NumRecords", "1");
    EXPECT_EQ(Read(kSystem, "PowerStatus"), "ON");
    EXPECT_EQ(Read("OEM_QARN_Sensor.Index=2", "Type"), "status 6");
    EXPECT_EQ(Read("OEM_QARN_LogRecord.LogName=SEL,RecordNum=1,TimestampFormat=YYYYMMDDHHMMSS",
                   "Timestamp"),
              "20210114082536");
    EXPECT_EQ(Log(), "BMC bmc: reached\nBMC bmc: sensor records read: 1 sensors\n");
}

TEST_F(IpmiProviderTest, MethodsAreAnsweredWhenTheyAreDone)
{
    Until(kSystem, "PowerStatus", "ON");
    EXPECT_EQ(Call(kSystem, "Stop"), "0 0");
    EXPECT_EQ(Read(kSystem, "PowerStatus"), "OFF");
    EXPECT_EQ(Call(kSystem, "Stop"), "0 1");
    EXPECT_EQ(Call(kSystem, "Reset"), "0 1");
    EXPECT_EQ(Call(kSystem, "Start", ""), "0 0");
    EXPECT_EQ(Read(kSystem, "PowerStatus"), "ON");
    EXPECT_EQ(Call(kSystem, "Reset"), "0 0");
    EXPECT_EQ(Call(kSystem, "Reset", "Mode=PowerCycle"), "0 0");
    Until(kLog, "NumRecords", "1");
    EXPECT_EQ(Call(kLog, "Clear"), "0 0");
    EXPECT_EQ(Read(kLog, "NumRecords"), "0");
    EXPECT_EQ(Read(kRecord1, "RecordNum"), "status 6");
}

TEST_F(IpmiProviderTest, OtherMethodsAndArguments)
{
    Until(kSensor1, "Reading", "23");
    EXPECT_EQ(Call(kSystem, "Stop", "x"), "4 0");
    EXPECT_EQ(Call(kSystem, "Stop", "Mode=PowerCycle"), "4 0");
    EXPECT_EQ(Call(kSystem, "Reset", "Mode=powercycle"), "4 0");
    EXPECT_EQ(Call(kLog, "Clear", "x"), "4 0");
    EXPECT_EQ(Call(kSystem, "Clear"), "17 0");
    EXPECT_EQ(Call(kLog, "Stop"), "17 0");
    EXPECT_EQ(Call(kSensor1, "Start"), "17 0");
    EXPECT_EQ(Call("OEM_QARN_Sensor.Index=2", "Start"), "6 0");
    EXPECT_EQ(Call("OEM_QARN_Fan", "Start"), "6 0");
    EXPECT_EQ(Call("", "Start"), "4 0");
    EXPECT_EQ(CallMethod(Directory(), 0x5, kSystem, "Stop", nullptr), "2 0");
    EXPECT_EQ(Read(kSystem, "PowerStatus"), "ON");
}

TEST_F(IpmiProviderTest, ASilentBmcShowsNothingWithin3Seconds)
{
    Until(kSensor1, "Reading", "23");
    Until(kLog, "NumRecords", "1");
    Switch("silent", true);
    EXPECT_LE(Until(kSystem, "PowerStatus", "status 1"), 3000u);
    EXPECT_EQ(Read(kSensor1, "Type"), "status 1");
    EXPECT_EQ(Read(kLog, "NumRecords"), "status 1");
    EXPECT_EQ(Read(kRecord1, "RecordNum"), "status 1");
    EXPECT_EQ(Call(kSystem, "Stop"), "1 0");
    Switch("silent", false);
    Until(kSystem, "PowerStatus", "ON");
    Until(kSensor1, "Reading", "23");
    Until(kRecord1, "RecordNum", "1");
    EXPECT_EQ(Log(), "BMC bmc: reached\nBMC bmc: sensor records read: 1 sensors\n"
                     "BMC bmc cannot be read: no answer from bmc\n"
                     "BMC bmc: power off: not begun in time\n"
                     "BMC bmc: answers again\n");
}

// The thread hangs in a request: nothing that it could say would be true.
TEST_F(IpmiProviderTest, AThreadThatHangsHoldsNobodyUp)
{
    Until(kSensor1, "Reading", "23");
    Switch("hang", true);
    EXPECT_LE(Until(kSystem, "PowerStatus", "status 1"), 3000u);
    EXPECT_EQ(Read(kSensor1, "Type"), "status 1");
    const u64 begun = ClockMs();
    EXPECT_EQ(Call(kSystem, "Stop"), "1 0");
    EXPECT_LT(ClockMs() - begun, 3000u);
    usleep(3500000);  // the heartbeat goes on
    EXPECT_EQ(Read(kSystem, "PowerStatus"), "status 1");
    Switch("hang", false);
    Until(kSystem, "PowerStatus", "ON");
    Until(kSensor1, "Reading", "23");
    // Nobody waits for the Stop any more: it is not done.
    usleep(300000);
    EXPECT_EQ(Read(kSystem, "PowerStatus"), "ON");
}

TEST_F(IpmiProviderTest, AHostThatDoesNotFollowIsAFailure)
{
    Until(kSystem, "PowerStatus", "ON");
    Switch("stuck", true);
    EXPECT_EQ(Call(kSystem, "Stop"), "1 0");
    EXPECT_EQ(Read(kSystem, "PowerStatus"), "ON");
}

TEST_F(IpmiProviderTest, EndsAlsoWhileTheBmcIsSilent)
{
    Until(kSystem, "PowerStatus", "ON");
    Switch("silent", true);
    EXPECT_EQ(served_->Terminate(), 0);
}
