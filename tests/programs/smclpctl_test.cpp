// SPDX-License-Identifier: Apache-2.0
// smclpctl_test.cpp -- the built smclpctl on simulated servers, its guide and its JSON Schema.
//
// A block of docs/scripting.md that is fenced as ```ctl is typed at the system's shell, in an empty
// directory: what follows "$ " is typed, everything else is printed. host=NAME behind the word
// names the simulated server; with "rack" there are three, n1 to n3, n3 being switched off.
#include "support/program.h"
#include "support/test_files.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <signal.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;

constexpr char kSchema[] = PROJECT_TOP "/docs/smclpctl.schema.json";
constexpr char kValidate[] = PROJECT_TOP "/tests/ctl/validate";

std::string HostFile(const std::string &host)
{
    return PROJECT_TOP "/examples/hosts/" + host + ".toml";
}

std::string Path()
{
    return std::string(fs::path(SMCLPCTL).parent_path()) + ":" +
           std::string(fs::path(OBJMGRD_SIM).parent_path()) + ":/usr/bin:/bin";
}

// Runs a script of the system's shell on a simulated server.
ProgramEnd RunScript(const std::string &script, const std::string &host = "rack-server")
{
    return RunProgram({OBJMGRD_SIM, "--host", HostFile(host), "--", "/usr/bin/env",
                       "PATH=" + Path(), "/bin/sh", "-c", script});
}

std::string InQuotes(const std::string &text)
{
    std::string quoted = "'";
    for (const char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

struct Recipe {
    int line = 0;
    std::string host = "rack-server";
    bool rack = false;
    std::string typed;  // a script that prints what is typed before its output
    std::string expected;
};

std::vector<Recipe> ReadRecipes()
{
    std::ifstream page(PROJECT_TOP "/docs/scripting.md");
    std::vector<Recipe> recipes;
    bool inside = false;
    int number = 0;
    for (std::string line; std::getline(page, line);) {
        ++number;
        if (line.rfind("```ctl", 0) == 0) {
            inside = true;
            recipes.emplace_back();
            recipes.back().line = number;
            recipes.back().rack = line.find(" rack") != std::string::npos;
            const size_t host = line.find("host=");
            if (host != std::string::npos)
                recipes.back().host = line.substr(host + 5);
        } else if (line == "```") {
            inside = false;
        } else if (inside) {
            recipes.back().expected += line + "\n";
            if (line.rfind("$ ", 0) == 0)
                recipes.back().typed +=
                    "printf '%s\\n' " + InQuotes(line) + "\n" + line.substr(2) + "\n";
        }
    }
    return recipes;
}

}  // namespace

namespace
{

// The servers n1 to n3 below `directory`, up and running, for as long as a script runs.
std::string OnRack(const std::string &directory, const std::string &script)
{
    std::string text = "trap 'kill $services; wait' EXIT\n";
    for (const auto &[name, host] : {std::pair("n1", "rack-server"), std::pair("n2", "rack-server"),
                                     std::pair("n3", "edge-box-off")}) {
        const std::string own = directory + "/run/" + name;
        text += "mkdir -p " + own + "; chmod 700 " + own + "; objmgrd-sim --host " +
                HostFile(host) + " --dir " + own + " & services=\"$services $!\"\n";
        text += "until smclpctl --dir " + own + " power >/dev/null 2>&1; do sleep 0.05; done\n";
    }
    return text + "smclpctl() { command smclpctl --run-dir " + directory + "/run \"$@\"; }\n" +
           "exec 2>&1\n" + script;
}

}  // namespace

TEST(Smclpctl, RecipesOfTheGuide)
{
    const std::vector<Recipe> recipes = ReadRecipes();
    EXPECT_GE(recipes.size(), 10u);
    for (const Recipe &recipe : recipes) {
        const TestDirectory directory;
        const std::string script =
            recipe.rack ? OnRack(directory.Path(), recipe.typed) : recipe.typed;
        const ProgramEnd end =
            RunScript("cd " + directory.Path() + " || exit\n" + script, recipe.host);
        EXPECT_EQ(end.out, recipe.expected) << "line " << recipe.line << ": " << end.err;
    }
}

// Every answer of every command, on every example, and what goes to standard error.
TEST(Smclpctl, AnswersKeepToTheSchema)
{
    const std::string validate = std::string(kValidate) + " " + kSchema;
    for (const char *host : {"rack-server", "edge-box-off", "faulty"}) {
        const ProgramEnd end =
            RunScript("for c in sensors system power log health 'power on' 'power off' 'log clear' "
                      "'watch 0.1 --count 2' 'power reset'; do for f in json jsonl; do "
                      "smclpctl $c -f $f; smclpctl --dir /nowhere $c -f $f; done; done 2>&1 | " +
                          validate,
                      host);
        EXPECT_EQ(end.err, "") << host;
        EXPECT_GE(atoi(end.out.c_str()), 20) << host;
    }
}

// Those that have it answer; of the others it is said.
TEST(Smclpctl, ATargetThatOnlySomeServersHave)
{
    const TestDirectory directory;
    const ProgramEnd end =
        RunScript(OnRack(directory.Path(),
                         "fan() { smclpctl -w 'n[1-3]' sensors --target "
                         "/system1/fans1/tachsensor2 \"$@\"; }\n"
                         "fan -f csv 2>/dev/null | cut -d, -f1-3 | tr -d '\\r'\n"
                         "fan 2>/dev/null | cut -c1-13\n"
                         "fan -f jsonl 2>/dev/null | jq -c '[.server, .name]'\n"
                         "fan 2>&1 >/dev/null; echo $?\n"
                         "fan -f json 2>&1 >/dev/null | jq -c '[.server, .error.exit]'\n"
                         "smclpctl -w n3 sensors --target /system1/fans1 -f json | jq -c .sensors\n"
                         "smclpctl -w n3 sensors --target /system1/fans1 -f json >/dev/null; "
                         "echo $?"));
    EXPECT_EQ(end.out, "server,name,target\n"
                       "n1,Fan2 RPM,/system1/fans1/tachsensor2\n"
                       "n2,Fan2 RPM,/system1/fans1/tachsensor2\n"
                       "n[1-2]:\n"
                       "NAME      TYP\n"
                       "Fan2 RPM  fan\n"
                       "[\"n1\",\"Fan2 RPM\"]\n"
                       "[\"n2\",\"Fan2 RPM\"]\n"
                       "smclpctl: n3: no such target: /system1/fans1/tachsensor2 (the host is off: "
                       "it has no sensors)\n"
                       "1\n"
                       "[\"n3\",1]\n"
                       "[]\n"
                       "0\n")
        << end.err;
}

TEST(Smclpctl, TheSchemaNoticesWhatIsWrong)
{
    for (const char *wrong :
         {"{}", "{\"schema\":2,\"time\":\"2024-02-29T06:58:12Z\",\"systems\":[]}",
          "{\"schema\":1,\"time\":\"2024-02-29T06:58:12Z\",\"systems\":[{\"server\":null}]}"}) {
        const ProgramEnd end = RunProgram({kValidate, kSchema}, wrong);
        EXPECT_EQ(end.status, 1) << wrong;
    }
    const ProgramEnd right = RunProgram(
        {kValidate, kSchema}, "{\"schema\":1,\"time\":\"2024-02-29T06:58:12Z\",\"systems\":[]}");
    EXPECT_EQ(right.status, 0) << right.err;
}

TEST(Smclpctl, ReadsTheSameAsTheShell)
{
    const ProgramEnd end =
        RunScript("smclpctl sensors -f json | jq -r '.sensors[] | select(.unit != null) | "
                  "\"\\(.target) \\(.reading)\"' | while read -r target reading; do "
                  "smclp-login -c \"show -display properties=(currentreading) $target\" | "
                  "grep -q \" = $reading\\$\" || echo \"$target\"; echo -n .; done");
    EXPECT_EQ(end.out, "....................") << end.err;
}

TEST(Smclpctl, FollowSurvivesARestartOfTheService)
{
    const TestDirectory directory;
    const std::string dir = directory.Path() + "/om";
    const std::string serve = "objmgrd-sim --host " + HostFile("edge-box-off") + " --dir " + dir;
    const ProgramEnd end =
        RunProgram({"/usr/bin/env", "PATH=" + Path(), "/bin/sh", "-c",
                    "mkdir -m 700 " + dir + "; cd " + directory.Path() + "\n" +
                        "lines() { until [ \"$(wc -l <$1)\" -ge $2 ]; do sleep 0.1; done; }\n"
                        "smclpctl --dir " +
                        dir + " log --follow -f jsonl >out 2>err & follow=$!\n" + "lines err 1; " +
                        serve + " & service=$!\n" +
                        "lines out 3; kill -9 $service; wait $service 2>/dev/null; lines err 2\n" +
                        serve + " & service=$!\n" + "until smclpctl --dir " + dir +
                        " power; do sleep 0.1; done >none 2>&1; sleep 2\n"
                        "kill $service; wait $service; lines err 3; kill $follow; wait\n"
                        "jq -r .record out; wc -l <err"});
    // Each record once; one line for each time that the service was not there.
    EXPECT_EQ(end.out, "1\n2\n3\n3\n") << end.err;
}

TEST(Smclpctl, ColoursAndTablesThatRenewThemselvesOnATerminalOnly)
{
    const std::string line = "smclpctl watch 0.1 --count 2";
    EXPECT_EQ(RunScript(line).out, "");
    PtyProgram terminal({OBJMGRD_SIM, "--host", HostFile("rack-server"), "--", "/usr/bin/env",
                         "PATH=" + Path(), "/bin/sh", "-c", line});
    const std::string shown = terminal.ReadUntil("System Performance");
    EXPECT_FALSE(terminal.failed);
    EXPECT_NE(shown.find("\x1b[H\x1b[J"), std::string::npos);
    EXPECT_NE(shown.find("COURSE"), std::string::npos);
    EXPECT_EQ(terminal.Wait(), 0);
}

TEST(Smclpctl, UsageAndVersion)
{
    const ProgramEnd wrong = RunProgram({SMCLPCTL, "sensor"});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(wrong.err, "smclpctl: no command: sensor\nTry \"smclpctl --help\".\n");
    const ProgramEnd json = RunProgram({SMCLPCTL, "power", "--wait", "1", "-f", "json"});
    EXPECT_EQ(json.status, 2);
    EXPECT_EQ(json.err, "{\"schema\":1,\"server\":null,\"error\":{\"exit\":2,\"message\":"
                        "\"--wait needs on, off, reset or cycle\"}}\n");
    EXPECT_EQ(RunProgram({SMCLPCTL, "--version"}).out, "smclpctl " ZOR_VERSION "\n");
    EXPECT_EQ(RunProgram({SMCLPCTL, "--help"}).out.rfind("Usage: smclpctl ", 0), 0u);
}

TEST(Smclpctl, AFullDiskIsSaid)
{
    const ProgramEnd end = RunScript("smclpctl sensors -f csv >/dev/full");
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.err, "smclpctl: cannot write: No space left on device\n");
}

// Nothing may come for days that would tell them so.
TEST(Smclpctl, WhatHasNoEndEndsWithItsReader)
{
    const ProgramEnd end = RunScript("{ smclpctl log --follow; echo $? >&2; } | true\n"
                                     "{ smclpctl watch 0.1; echo $? >&2; } | true");
    EXPECT_EQ(end.status, 0);
    EXPECT_TRUE(end.err == "0\n0\n" || end.err.find("141") != std::string::npos) << end.err;
}

// A service that is killed, records that are cleared, a service without the last ones: nothing is
// lost and nothing is twice.
TEST(Smclpctl, RecordsStayInTheArchive)
{
    const TestDirectory directory;
    const std::string dir = directory.Path() + "/om";
    const ProgramEnd end = RunProgram(
        {"/usr/bin/env", "PATH=" + Path(), "/bin/sh", "-c",
         "cd " + directory.Path() + "; mkdir -m 700 om kept\n" + "{ echo 'archive = \"" +
             directory.Path() + "/kept\"'; cat " + HostFile("edge-box-off") +
             "; } >host.toml\n"
             "ctl() { smclpctl --dir om \"$@\"; }\n"
             "serve() { objmgrd-sim --host host.toml --dir " +
             dir +
             " & service=$!\n"
             "until ctl power >/dev/null 2>&1; do sleep 0.05; done; }\n"
             "all() { ctl log --all kept -f csv | wc -l; }\n"
             "kept() { until [ \"$(cat kept/*.jsonl | wc -l)\" -ge $1 ]; do sleep 0.05; done; }\n"
             "serve; kept 3; all; kill -9 $service; wait $service 2>/dev/null; serve; all\n"
             "ctl log clear; kept 4; ctl log -f csv | wc -l; all\n"
             "kill $service; wait $service; cat kept/*.jsonl | cut -c1-22"});
    const std::string record = "{\"schema\":1,\"id\":\"";
    std::istringstream lines(end.out);
    std::vector<std::string> got;
    for (std::string line; std::getline(lines, line);)
        got.push_back(line.substr(0, record.size()));
    // Three records and the line of names; the log is empty after clearing, the archive is not.
    EXPECT_EQ(got, (std::vector<std::string>{"4", "4", "1", "4", record, record, record,
                                             "{\"schema\":1,\"clear"}))
        << end.err;
}

// Three of twenty servers answer nobody: together they take as long as one does.
TEST(Smclpctl, ServersThatAreStoppedAreWaitedForTogether)
{
    const TestDirectory directory;
    std::string script = "cd " + directory.Path() +
                         "; trap 'kill -CONT $stopped; kill $all; wait' EXIT\n"
                         "for i in $(seq 20); do mkdir -m 700 n$i; objmgrd-sim --host " +
                         HostFile("rack-server") +
                         " --dir n$i & pid=$!; all=\"$all $pid\"\n"
                         "[ $i -gt 3 ] || stopped=\"$stopped $pid\"; done\n"
                         "ctl() { smclpctl --run-dir $PWD -w 'n[1-20]' \"$@\"; }\n"
                         "until ctl system >none 2>&1; do sleep 0.1; done\n"
                         "kill -STOP $stopped; begin=$(date +%s)\n"
                         "ctl power off --yes -f csv >out 2>err; echo $?\n"
                         "took=$(($(date +%s) - begin)); [ $took -lt 10 ]; echo $?\n"
                         "grep -c 'n[0-9]*,off,off,true,' out; sort err";
    const ProgramEnd end = RunProgram({"/usr/bin/env", "PATH=" + Path(), "/bin/sh", "-c", script});
    const std::string unanswered = ": no answer: the object manager hangs; what was asked may be "
                                   "done all the same\n";
    EXPECT_EQ(end.out, "69\n0\n17\nsmclpctl: n1" + unanswered + "smclpctl: n2" + unanswered +
                           "smclpctl: n3" + unanswered)
        << end.err;
}

// A journal made by systemd's own program. What counts is what a journal takes from the kernel.
TEST(Smclpctl, ReadsAJournal)
{
    const TestDirectory directory;
    const std::string event = "event=login user=alice uid=1001 pid=7 session=5 "
                              "claimed_address=192.0.2.7";
    std::string lines;
    int count = 0;
    const auto add = [&](const std::string &fields, const std::string &message) {
        const std::string second = std::to_string(1732000000 + count++);
        lines += "__REALTIME_TIMESTAMP=" + second + "000000\n_BOOT_ID=" + std::string(32, '1') +
                 "\n" + fields + "MESSAGE=" + message + "\n\n";
    };
    const std::string service = "_UID=0\n_COMM=objmgrd-ipmi\n_EXE=/usr/sbin/objmgrd-ipmi\n";
    add(service, event);
    add("_UID=1001\n_COMM=objmgrd-ipmi\n", event + " forged=user");
    add("_UID=0\n_COMM=logger\nSYSLOG_IDENTIFIER=objmgrd-ipmi\n", event + " forged=program");
    add("_UID=0\n_COMM=objmgrd-ipmi\n_EXE=/usr/bin/perl\n", event + " forged=path");
    add("_COMM=objmgrd-ipmi\n", event + " forged=nobody");
    add(service, "serving");
    add(service, "event=logout user=alice uid=1001 pid=7 session=5 claimed_address=192.0.2.7 "
                 "reason=idle seconds=61");
    std::ofstream(directory.Path() + "/export") << lines;
    const ProgramEnd end = RunScript(
        "remote=/lib/systemd/systemd-journal-remote\n"
        "[ -x $remote ] && [ -x /usr/bin/journalctl ] || { echo none; exit; }\n"
        "cd " +
        directory.Path() +
        "; mkdir j; $remote --output=j/a.journal export 2>/dev/null\n"
        "smclpctl audit --file j/a.journal -f csv | cut -d, -f2-5,13 | tr -d '\\r'; echo $?\n"
        "smclpctl audit --file j --since 2024-11-19T07:06:46Z -f csv | cut -d, -f3 | tr -d '\\r'\n"
        "head -c 4096 j/a.journal >j/cut.journal; smclpctl audit --file j/cut.journal; echo $?");
    if (end.out == "none\n")
        GTEST_SKIP() << "no systemd-journal-remote (Debian: systemd-journal-remote)";
    EXPECT_EQ(end.out, "time,event,user,uid,reason\n"
                       "2024-11-19T07:06:40Z,login,alice,1001,\n"
                       "2024-11-19T07:06:46Z,logout,alice,1001,idle\n"
                       "0\n"
                       "event\n"
                       "logout\n"
                       "1\n")
        << end.err;
}

// A service that writes to a running journal, in a mount namespace of its own: what others write in
// its name does not count.
TEST(Smclpctl, ReadsARunningJournal)
{
    const TestDirectory directory;
    std::ofstream(directory.Path() + "/inside") <<
        R"sh(mount --make-rprivate / || exit
mount -t tmpfs tmpfs $PWD/dev && for node in null zero full random urandom; do
    : >dev/$node; mount --bind /dev/$node dev/$node; done
mount --move dev /dev && mount -t tmpfs tmpfs /run || exit
mkdir -p /run/systemd/journal /run/log /run/zor/objmgr
[ -s /etc/machine-id ] || { echo 0123456789abcdef0123456789abcdef >/run/id; mount --bind /run/id /etc/machine-id; }
ln -s /run/systemd/journal/dev-log /dev/log
/usr/lib/systemd/systemd-journald 2>/dev/null & journal=$!
trap 'kill $service $journal; wait' EXIT
count=0; until [ -S /run/systemd/journal/dev-log ]; do
    [ $((count += 1)) -lt 100 ] || exit; sleep 0.1; done
kill -0 $journal || exit
objmgrd-sim --host "$HOST" --dir /run/zor/objmgr & service=$!
until smclpctl power >/dev/null 2>&1; do sleep 0.05; done
smclpctl power reset >/dev/null; ZORPRIV=1 smclpctl power off 2>/dev/null
logger -t objmgrd-sim 'event=call user=forged uid=0 command=Stop target=OEM_QARN_System result=done'
count=0; until [ "$(smclpctl audit -f csv | wc -l)" -ge 3 ] || [ $((count += 1)) -gt 50 ]; do
    journalctl --sync >/dev/null 2>&1; sleep 0.1; done
echo serves
smclpctl audit -f csv | cut -d, -f3-5,9,12
smclpctl audit --since 1960-01-01 -f csv | wc -l
smclpctl audit --since 9999-12-31 -f csv | wc -l
smclpctl audit --since -1h -f jsonl | jq -r .command
)sh";
    const ProgramEnd end = RunProgram(
        {"/usr/bin/env", "PATH=" + Path(), "HOST=" + HostFile("rack-server"), "/bin/sh", "-c",
         "[ -x /usr/lib/systemd/systemd-journald ] && [ $(id -u) = 0 ] || exit\ncd " +
             directory.Path() + "; mkdir dev; exec unshare -m sh ./inside"});
    if (end.out.find("serves\n") == std::string::npos)
        GTEST_SKIP() << "no running journal can be had here: " << end.err;
    EXPECT_EQ(end.out, "serves\n"
                       "event,user,uid,command,result\n"
                       "call,root,0,Reset,done\n"
                       "call,root,0,Stop,refused\n"
                       "3\n1\nReset\nStop\n")
        << end.err;
}

TEST(Smclpctl, WhatItExportsIsRightForPrometheus)
{
    const ProgramEnd end = RunScript("command -v promtool >/dev/null || { echo none; exit; }\n"
                                     "smclpctl export | promtool check metrics; echo $?");
    if (end.out == "none\n")
        GTEST_SKIP() << "no promtool (Debian: prometheus)";
    EXPECT_EQ(end.out, "0\n") << end.err;
    EXPECT_EQ(end.err, "");
}

#ifdef SMCLPCTL_LISTEN
TEST(Smclpctl, AnswersAScraper)
{
    const TestDirectory directory;
    const ProgramEnd end = RunScript(
        "cd " + directory.Path() +
        "\nsmclpctl export --listen :0 2>said & pid=$!\n"
        "until grep -q listening said; do sleep 0.05; done\n"
        "cat >ask <<'END'\n"
        "import sys, urllib.error, urllib.request\n"
        "for path in '/metrics', '/', '/none':\n"
        "    try:\n"
        "        with urllib.request.urlopen(sys.argv[1] + path, timeout=10) as answer:\n"
        "            text = answer.read().decode()\n"
        "            print(answer.status, answer.headers['Content-Type'], len(text) > 30)\n"
        "            if path == '/metrics':\n"
        "                print('smclp_up 1' in text, text.count('smclp_temperature_celsius{'))\n"
        "    except urllib.error.HTTPError as error:\n"
        "        print(error.code)\n"
        "END\n"
        "python3 ask http://$(sed 's/.* on //' said)\n"
        "kill $pid; wait $pid; echo $?");
    EXPECT_EQ(end.out, "200 text/plain; version=0.0.4; charset=utf-8 True\n"
                       "True 8\n"
                       "200 text/plain True\n"
                       "404\n"
                       "0\n")
        << end.err;
    EXPECT_EQ(RunScript("smclpctl export --listen nowhere").status, 2);
    const ProgramEnd taken = RunScript("smclpctl export --listen 192.0.2.1:1");
    EXPECT_EQ(taken.status, 1);
    EXPECT_EQ(taken.err, "smclpctl: 192.0.2.1:1: Cannot assign requested address\n");
}
#endif
