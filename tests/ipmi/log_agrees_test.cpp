// SPDX-License-Identifier: Apache-2.0
// log_agrees_test.cpp -- the shell's log beside the one that other IPMI tools read from the BMC.
#include "ipmi/served_bmc.h"

#include <atomic>
#include <ctype.h>
#include <stdlib.h>
#include <string.h>

namespace
{

constexpr char kLog[] = "/system1/logs1/log1";

std::string Lower(std::string text)
{
    for (char &c : text)
        c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    return text;
}

bool Contains(const std::string &text, const std::string &part)
{
    return Lower(text).find(Lower(part)) != std::string::npos;
}

// The number behind a word: "reading 98 C", "Sensor Reading = 98.00 C".
bool NumberBehind(const std::string &text, const std::string &word, double *number)
{
    const size_t at = text.find(word);
    if (at == std::string::npos)
        return false;
    *number = atof(text.c_str() + at + word.size());
    return true;
}

class LogAgrees : public ServedBmc
{
protected:
    explicit LogAgrees(SimMachine machine = RackServer()) : ServedBmc(std::move(machine)) {}

    std::vector<FreeLogEntry> Listed() const
    {
        return ParseIpmiSel(Freeipmi("ipmi-sel", kIpmiSelTable));
    }
    // ipmitool's: id, date, time, sensor, event, direction.
    std::vector<Fields> Tabled() const
    {
        return SplitTable(Ipmitool({"-c", "sel", "elist"}), ',', 7);
    }
    std::string Count() const { return Property(kLog, "CurrentNumberOfRecords"); }
    static std::string Record(size_t number)
    {
        return std::string(kLog) + "/record" + std::to_string(number);
    }
    void CheckTime(const FreeLogEntry &listed, const std::string &shown, const std::string &where);
    void CheckWords(const FreeLogEntry &listed, const Fields &tabled, const std::string &shown);
    void CheckNumbers(const FreeLogEntry &listed, const std::string &shown);
    void CheckAll();
};

void LogAgrees::CheckTime(const FreeLogEntry &listed, const std::string &shown,
                          const std::string &where)
{
    const std::string digits = FourteenDigits(listed);
    if (!digits.empty())
        EXPECT_EQ(shown, digits + "-000") << where;
    else if (listed.date == "PostInit" || listed.date == "PreInit")
        EXPECT_EQ(shown, "System Boot") << where;
    else
        EXPECT_EQ(shown, "**************-000") << where;
}

void LogAgrees::CheckWords(const FreeLogEntry &listed, const Fields &tabled,
                           const std::string &shown)
{
    const std::string kOem = "OEM defined = ";
    if (listed.event.compare(0, kOem.size(), kOem) == 0) {
        std::string bytes = Lower(listed.event.substr(kOem.size()));
        std::erase(bytes, 'h');
        EXPECT_TRUE(Contains(shown, bytes)) << shown << " has not " << bytes;
        return;
    }
    // A sensor that is in no record is told by its type and number.
    unsigned number = 0;
    if (sscanf(listed.name.c_str(), "Sensor #%u", &number) == 1) {
        char hexadecimal[16];
        snprintf(hexadecimal, sizeof hexadecimal, " 0x%02x:", number);
        EXPECT_TRUE(Contains(shown, listed.type + hexadecimal)) << shown;
    } else {
        EXPECT_EQ(shown.compare(0, listed.name.size() + 2, listed.name + ": "), 0) << shown;
    }
    const bool asserted = tabled[5] == "Asserted";
    EXPECT_TRUE(Contains(shown, asserted ? ", asserted" : ", deasserted")) << shown;

    unsigned offset = 0;
    if (sscanf(listed.event.c_str(), "Event Offset = %xh", &offset) == 1) {
        char data[16];
        snprintf(data, sizeof data, "data %02x", offset);
        EXPECT_TRUE(Contains(shown, data)) << shown;
        return;
    }
    const std::string theirs = listed.event.substr(0, listed.event.find(" ;"));
    EXPECT_TRUE(Contains(shown, theirs) || Contains(shown, tabled[4]))
        << shown << " is neither " << theirs << " nor " << tabled[4];
}

void LogAgrees::CheckNumbers(const FreeLogEntry &listed, const std::string &shown)
{
    double theirs = 0;
    double ours = 0;
    if (listed.event.find("h ;") != std::string::npos)
        return;  // raw bytes: there is no record to convert them with
    for (const auto &[their, our] :
         {std::pair("Sensor Reading = ", "(reading "), std::pair("Threshold = ", "threshold ")}) {
        EXPECT_EQ(NumberBehind(listed.event, their, &theirs), NumberBehind(shown, our, &ours))
            << shown << " and " << listed.event;
        EXPECT_NEAR(ours, theirs, 0.0051) << shown;
        ours = theirs = 0;
    }
}

// Every record of the one is the record at the same place of the other.
void LogAgrees::CheckAll()
{
    const std::vector<FreeLogEntry> listed = Listed();
    const std::vector<Fields> tabled = Tabled();
    ASSERT_EQ(listed.size(), tabled.size());
    ASSERT_EQ(Count(), std::to_string(listed.size()));
    const Shown shown = Show(kLog);
    for (size_t i = 0; i < listed.size(); ++i) {
        const auto found = shown.find(Record(i + 1));
        ASSERT_NE(found, shown.end()) << i + 1;
        std::map<std::string, std::string> ours = found->second;
        EXPECT_EQ(ours["RecordID"], std::to_string(i + 1));
        CheckTime(listed[i], ours["MessageTimeStamp"], ours["Description"]);
        CheckWords(listed[i], tabled[i], ours["Description"]);
        if (listed[i].name.compare(0, 8, "Sensor #") != 0)
            CheckNumbers(listed[i], ours["Description"]);
    }
    EXPECT_EQ(shown.count(Record(listed.size() + 1)), 0u);
}

TEST_F(LogAgrees, EveryRecord)
{
    Serve();
    CheckAll();
}

TEST_F(LogAgrees, NewEntriesAppear)
{
    Serve();
    const size_t before = bmc.Machine().log.size();
    Ipmitool({"sel", "time", "set", "now"});
    const size_t atOnce = Listed().size();  // a BMC may log that its clock was set
    bmc.SetReading("Inlet Temp", 88, true);
    bmc.SetState("Intrusion", 0, true, true);
    ASSERT_TRUE(WaitUntil([&] { return Count() == std::to_string(atOnce + 3); }));
    EXPECT_GE(atOnce, before);
    CheckAll();
    EXPECT_NE(Property(Record(atOnce + 1), "MessageTimeStamp"), "System Boot");
}

TEST_F(LogAgrees, ReadsOnlyWhatIsNew)
{
    PutRelay();
    Serve({.cipherSuite = 2});
    const u64 first = relay->Requests(kIpmiLogEntry);
    EXPECT_GE(first, bmc.Machine().log.size());
    for (int i = 1; i <= 5; ++i) {
        bmc.SetState("Intrusion", 0, i % 2 == 1, true);
        ASSERT_TRUE(WaitUntil(
            [&] { return Count() == std::to_string(bmc.Machine().log.size() + size_t(i)); }));
    }
    // Each new entry, and perhaps the one before it to see that it is still there.
    EXPECT_LE(relay->Requests(kIpmiLogEntry) - first, 2u * 5 + 2);
    CheckAll();
}

// Numbers and texts are those of the BMC's log: a service that starts again, or a BMC that does,
// shows the same ones, and so does a new entry that comes when nobody looks.
TEST_F(LogAgrees, ARecordKeepsItsNumberAndTextOverARestart)
{
    Serve();
    const Shown before = Show(kLog);
    ASSERT_GT(before.size(), bmc.Machine().log.size());
    EXPECT_EQ(service->Terminate(), 0);
    Serve();
    EXPECT_EQ(Show(kLog), before);
    EXPECT_EQ(service->Terminate(), 0);
    ASSERT_EQ(bmc.Restart(), "");
    bmc.SetState("Intrusion", 0, true, true);
    Serve();
    const Shown after = Show(kLog);
    EXPECT_EQ(after.size(), before.size() + 1);
    for (size_t number = 1; number <= bmc.Machine().log.size(); ++number)
        EXPECT_EQ(after.at(Record(number)), before.at(Record(number))) << number;
}

// What no words exist for is told in bytes.
TEST_F(LogAgrees, DataOfASensorsOwnEventsIsShown)
{
    Serve();
    const size_t number = bmc.Machine().log.size() + 1;
    const u8 battery = SimSensorNamed(bmc.Machine(), "CMOS Battery").number;
    bmc.AddLogEntry(0x02, {0, 0, 0, 0, 0x20, 0, 4, 41, battery, 0x6F, 0xF1, 0x00, 0x03});
    ASSERT_TRUE(WaitUntil([&] { return Count() == std::to_string(number); }));
    EXPECT_TRUE(Contains(Property(Record(number), "Description"), "(data 00 03)"))
        << Property(Record(number), "Description");
}

TEST_F(LogAgrees, ClearedByTheShell)
{
    Serve();
    ASSERT_FALSE(Listed().empty());
    EXPECT_EQ(Out(std::string("delete ") + Record(1).substr(0, strlen(kLog)) + "/record*"),
              "All records deleted successfully.\n");
    EXPECT_EQ(Count(), "0");
    EXPECT_TRUE(Listed().empty());
    // Ids begin anew.
    bmc.SetReading("Inlet Temp", 88, true);
    ASSERT_TRUE(WaitUntil([&] { return Count() == "2"; }));
    CheckAll();
}

TEST_F(LogAgrees, ClearedByOthers)
{
    Serve();
    Ipmitool({"sel", "clear"});
    ASSERT_TRUE(WaitUntil([&] { return Count() == "0"; }));
    EXPECT_EQ(Out(std::string("show -display targets ") + kLog), "");
    bmc.SetReading("Inlet Temp", 88, true);
    ASSERT_TRUE(WaitUntil([&] { return Count() == "2"; }));
    CheckAll();
}

TEST_F(LogAgrees, EntryDeletedByOthersInTheMiddle)
{
    Serve();
    Ipmitool({"sel", "delete", "5"});
    ASSERT_TRUE(WaitUntil([&] { return Count() == std::to_string(bmc.Machine().log.size() - 1); }));
    // Its id is given to the next one, which stands at the end all the same.
    bmc.SetState("Intrusion", 0, true, true);
    ASSERT_TRUE(WaitUntil([&] { return Count() == std::to_string(bmc.Machine().log.size()); }));
    CheckAll();
}

TEST_F(LogAgrees, ClearAnswersWhenTheBmcHasErased)
{
    PutRelay();
    static std::atomic<int> inProgress = 4;
    static std::atomic<int> asked = 0;
    relay->Edit(kIpmiLogClear, [&](std::vector<u8> *data) {
        ++asked;
        if (data->size() == 2 && inProgress-- > 0)
            (*data)[1] = 0;  // erasure in progress
    });
    Serve({.cipherSuite = 0});
    EXPECT_EQ(Out(std::string("delete ") + kLog + "/record*"),
              "All records deleted successfully.\n");
    EXPECT_GE(asked, 5);  // a request whose answer is late is sent once more
    EXPECT_EQ(Count(), "0");
    EXPECT_TRUE(Listed().empty());
}

TEST_F(LogAgrees, ClearThatNeverEndsIsNotSaidToBeDone)
{
    PutRelay();
    relay->Edit(kIpmiLogClear, [](std::vector<u8> *data) {
        if (data->size() == 2)
            (*data)[1] = 0;
    });
    Serve({.cipherSuite = 0});
    const i64 start = NowMs();
    const ProgramEnd end = Shell(std::string("delete ") + kLog + "/record*");
    EXPECT_EQ(end.out, "");
    EXPECT_EQ(end.status, 1);
    EXPECT_LT(NowMs() - start, 10'000);
}

TEST_F(LogAgrees, ClearNeedsTheRight)
{
    Serve();
    const ProgramEnd end = Shell(std::string("delete ") + kLog + "/record*", "3");
    EXPECT_EQ(end.out, "ERROR: Insufficient user privileges to perform operation.\n");
    EXPECT_EQ(Listed().size(), bmc.Machine().log.size());
}

class LongLog : public LogAgrees
{
protected:
    static SimMachine Machine()
    {
        SimMachine machine = RackServer();
        const SimLogEntry pattern = machine.log[2];
        while (machine.log.size() < 512) {
            const size_t id = 300 + machine.log.size();
            machine.log.push_back(pattern);
            machine.log.back()[0] = static_cast<u8>(id);
            machine.log.back()[1] = static_cast<u8>(id >> 8);
        }
        return machine;
    }
    LongLog() : LogAgrees(Machine()) {}
};

TEST_F(LongLog, IsReadOnce)
{
    PutRelay();
    Serve({.cipherSuite = 2});
    ASSERT_TRUE(WaitUntil([&] { return Count() == "512"; }));
    // Some are sent again where the machine has so much to do that the answer is late.
    constexpr u64 kSentAgain = 50;
    const u64 first = relay->Requests(kIpmiLogEntry);
    EXPECT_GE(first, 512u);
    EXPECT_LE(first, 512u + kSentAgain);
    bmc.SetState("Intrusion", 0, true, true);
    ASSERT_TRUE(WaitUntil([&] { return Count() == "513"; }));
    EXPECT_LE(relay->Requests(kIpmiLogEntry) - first, kSentAgain);
    CheckAll();
}

// A reading that began anew with every such answer would never end.
TEST_F(LongLog, IsReadFromABmcThatIsBusyNowAndThen)
{
    PutRelay();
    static std::atomic<u32> seed = 1;
    relay->Edit(kIpmiLogEntry, [&](std::vector<u8> *data) {
        seed = seed * 1664525 + 1013904223;
        if ((seed >> 24) % 20 == 0)
            *data = {0xC0};  // node busy
    });
    Serve({.cipherSuite = 0});
    ASSERT_TRUE(WaitUntil([&] { return Count() == "512"; }));
    CheckAll();
}

}  // namespace
