// SPDX-License-Identifier: Apache-2.0
// docs_test.cpp -- the manual pages against the programs and tables that they describe.
//
// A block that is fenced as ```smclp is a session at the prompt: what follows "->" is typed, every
// other line is printed. One that is fenced as ```smclp-script is typed at the system's shell,
// where what follows "$ " is typed. Each block has a simulated server and a login of its own;
// behind the fence's word may stand host=NAME (a file of examples/hosts, rack-server without) and
// privilege=HEX (every right without).
#include "platform/list.h"
#include "smclp/command_table.h"
#include "smclp/discovery.h"
#include "support/fake_objmgr.h"
#include "support/program.h"
#include "support/test_shell.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <set>

namespace
{

using Lines = std::vector<std::string>;

constexpr char kDocs[] = PROJECT_TOP "/docs";
constexpr char kTargetsPage[] = PROJECT_TOP "/docs/targets.md";
constexpr char kTranscriptsPage[] = PROJECT_TOP "/docs/transcripts.md";
constexpr char kReadme[] = PROJECT_TOP "/README.md";
constexpr char kUnsupportedPage[] = "unsupported";

const Lines kBanner = {
    "MORV5 SM-CLP System Management Shell, version 1.0",
    "Type \"show\" to list the targets here, \"cd system1\" to move to the managed system.",
    "Type \"help\" for the verbs of a target, \"exit\" to end the session.",
    "",
};

struct Block {
    std::string file;
    int line = 0;  // of the first of `lines`, from 1
    bool isScript = false;
    std::string host = "rack-server";
    std::string privilege;  // empty: every right
    Lines lines;
};

bool StartsWith(const std::string &text, const std::string &start)
{
    return text.compare(0, start.size(), start) == 0;
}

Lines Split(const std::string &text, char separator)
{
    Lines parts(1);
    for (const char c : text) {
        if (c == separator)
            parts.emplace_back();
        else
            parts.back() += c;
    }
    return parts;
}

Lines ReadLines(const std::string &file)
{
    std::ifstream in(file);
    EXPECT_TRUE(in.is_open()) << file;
    Lines lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

Lines PagesBelow(const std::string &directory)
{
    Lines pages;
    std::error_code error;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(directory, error)) {
        if (entry.path().extension() == ".md")
            pages.push_back(entry.path());
    }
    EXPECT_FALSE(error) << directory;
    std::sort(pages.begin(), pages.end());
    return pages;
}

// What stands behind the three back quotes.
void ReadFence(const std::string &fence, Block *block)
{
    const Lines words = Split(fence, ' ');
    block->isScript = words[0] == "smclp-script";
    for (size_t i = 1; i < words.size(); ++i) {
        if (StartsWith(words[i], "host="))
            block->host = words[i].substr(5);
        else if (StartsWith(words[i], "privilege="))
            block->privilege = words[i].substr(10);
        else
            ADD_FAILURE_AT(block->file.c_str(), block->line - 1) << "unknown: " << words[i];
    }
}

// The fenced blocks of a page, with what stands behind the fence still in `host`.
std::vector<Block> ReadFenced(const std::string &file)
{
    std::vector<Block> blocks;
    bool inside = false;
    int number = 0;
    for (const std::string &line : ReadLines(file)) {
        ++number;
        if (StartsWith(line, "```")) {
            inside = !inside;
            if (inside) {
                blocks.emplace_back();
                blocks.back().file = file;
                blocks.back().line = number + 1;
                blocks.back().host = line.substr(3);
            }
        } else if (inside) {
            blocks.back().lines.push_back(line);
        }
    }
    if (inside)
        ADD_FAILURE_AT(file.c_str(), blocks.back().line - 1) << "the fence is not closed";
    return blocks;
}

std::vector<Block> ReadTranscripts(const std::string &file)
{
    std::vector<Block> transcripts;
    for (Block &block : ReadFenced(file)) {
        const std::string fence = block.host;
        block.host = "rack-server";
        if (!StartsWith(fence, "smclp"))
            continue;
        ReadFence(fence, &block);
        transcripts.push_back(block);
    }
    return transcripts;
}

// The lines that a session types, without the prompt.
Lines TypedLines(const Block &block)
{
    Lines typed;
    for (const std::string &line : block.lines) {
        if (!block.isScript && StartsWith(line, "->"))
            typed.push_back(line.substr(2));
    }
    return typed;
}

// The lines that differ, "-" of the page and "+" of the program; *first is the number of lines
// before them. Empty when none differs.
std::string Difference(const Lines &page, const Lines &program, size_t *first)
{
    const size_t common = std::min(page.size(), program.size());
    size_t start = 0;
    while (start < common && page[start] == program[start])
        ++start;
    size_t end = 0;
    while (end < common - start && page[page.size() - 1 - end] == program[program.size() - 1 - end])
        ++end;
    *first = start;
    std::string text;
    for (size_t i = start; i < page.size() - end; ++i)
        text += "-" + page[i] + "\n";
    for (size_t i = start; i < program.size() - end; ++i)
        text += "+" + program[i] + "\n";
    return text;
}

// before: the lines of `page` that stand before the block's first one.
void Compare(const Block &block, const Lines &page, size_t before, const ProgramEnd &end)
{
    size_t first = 0;
    const std::string difference = Difference(page, Split(end.out, '\n'), &first);
    const int offset = first < before ? 0 : static_cast<int>(first - before);
    if (!difference.empty()) {
        ADD_FAILURE_AT(block.file.c_str(), block.line + offset)
            << "the page (-) and the program (+) differ:\n"
            << difference;
    }
    if (!end.err.empty())
        ADD_FAILURE_AT(block.file.c_str(), block.line) << "on standard error: " << end.err;
}

Lines CommandLineOf(const Block &block)
{
    Lines arguments = {OBJMGRD_SIM, "--host", PROJECT_TOP "/examples/hosts/" + block.host + ".toml",
                       "--", SMCLP_LOGIN};
    if (!block.privilege.empty())
        arguments.insert(arguments.end(), {"--privilege", block.privilege});
    return arguments;
}

void ReplaySession(const Block &block)
{
    Lines page = kBanner;
    page.insert(page.end(), block.lines.begin(), block.lines.end());
    std::string input;
    for (const std::string &line : TypedLines(block))
        input += line + "\n";
    if (block.lines.empty() || block.lines.back() != "->exit") {
        input += "exit\n";
        page.insert(page.end(), {"", "->exit"});
    }
    page.emplace_back();  // behind the last new line
    Compare(block, page, kBanner.size(), RunProgram(CommandLineOf(block), input));
}

std::string InQuotes(const std::string &text)
{
    std::string quoted = "'";
    for (const char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

void ReplayScript(const Block &block)
{
    std::string script;
    for (const std::string &line : block.lines) {
        if (StartsWith(line, "$ "))
            script +=
                "s=$?; printf '%s\\n' " + InQuotes(line) + "; (exit $s)\n" + line.substr(2) + "\n";
    }
    const std::string directory = std::filesystem::path(SMCLP).parent_path();
    Lines arguments = CommandLineOf(block);
    arguments.insert(arguments.end(), {"--", "/usr/bin/env", "PATH=" + directory + ":/usr/bin:/bin",
                                       "/bin/sh", "-c", script});
    Lines page = block.lines;
    page.emplace_back();
    Compare(block, page, 0, RunProgram(arguments));
}

void Replay(const Block &block)
{
    if (block.isScript)
        ReplayScript(block);
    else
        ReplaySession(block);
}

TEST(Docs, TranscriptsAreWhatTheProgramsPrint)
{
    size_t count = 0;
    for (const std::string &page : PagesBelow(kDocs)) {
        for (const Block &block : ReadTranscripts(page)) {
            Replay(block);
            ++count;
        }
    }
    EXPECT_GE(count, 20u);
}

TEST(Docs, TranscriptOfTheReadmeIsWhatTheProgramsPrint)
{
    size_t count = 0;
    for (Block &block : ReadFenced(kReadme)) {
        if (block.lines.size() < kBanner.size() + 2 || block.lines[0] != "$ ./run.sh" ||
            block.lines.back() != "$")
            continue;
        ++count;
        block.host = "rack-server";
        const Lines banner(block.lines.begin() + 1, block.lines.begin() + 5);
        EXPECT_EQ(banner, kBanner);
        block.line += 5;
        block.lines = Lines(block.lines.begin() + 5, block.lines.end() - 1);
        ReplaySession(block);
    }
    EXPECT_EQ(count, 1u);
}

// The replay itself: a page that says something else is noticed, at its line.
void ReplayWrongSession()
{
    Block block;
    block.file = "page.md";
    block.line = 10;
    block.lines = {"->version", "version 1.1"};
    Replay(block);
}

void ReplayWrongScript()
{
    Block block;
    block.file = "page.md";
    block.line = 10;
    block.isScript = true;
    block.lines = {"$ smclp create", "ERROR: Command not supported.", "$ echo $?", "12"};
    Replay(block);
}

TEST(Docs, DifferencesAreNoticed)
{
    EXPECT_NONFATAL_FAILURE(ReplayWrongSession(), "differ:\n-version 1.1\n+version 1.0\n");
    EXPECT_NONFATAL_FAILURE(ReplayWrongScript(), "differ:\n-12\n+11\n");
    size_t first = 0;
    EXPECT_EQ(Difference({"a", "b", "c"}, {"a", "b", "c"}, &first), "");
    EXPECT_EQ(Difference({"a", "b", "c"}, {"a", "x", "y", "c"}, &first), "-b\n+x\n+y\n");
    EXPECT_EQ(first, 1u);
    EXPECT_EQ(Difference({"a", "a"}, {"a"}, &first), "-a\n");
    EXPECT_EQ(Difference({}, {"a"}, &first), "+a\n");
}

std::string FirstWord(const std::string &line)
{
    return Split(line, ' ')[0];
}

std::set<std::string> VerbsTypedOn(const std::vector<Block> &blocks, const std::string &host)
{
    std::set<std::string> verbs;
    for (const Block &block : blocks) {
        if (block.host != host)
            continue;
        for (const std::string &line : TypedLines(block))
            verbs.insert(FirstWord(line));
    }
    return verbs;
}

// Supported or not, a verb has a page that shows it.
TEST(Docs, EveryVerbHasAPageAndEveryPageAVerb)
{
    std::set<std::string> expected = {kUnsupportedPage};
    for (const SmclpCommandRow *row = smclpCommandTable; row->id != 0; ++row) {
        const std::string page = row->parse != nullptr ? row->verb : kUnsupportedPage;
        expected.insert(page);
        const std::string file = std::string(kDocs) + "/verbs/" + page + ".md";
        EXPECT_EQ(VerbsTypedOn(ReadTranscripts(file), "rack-server").count(row->verb), 1u)
            << file << " does not show " << row->verb;
    }
    std::set<std::string> found;
    for (const std::string &page : PagesBelow(std::string(kDocs) + "/verbs"))
        found.insert(std::filesystem::path(page).stem());
    EXPECT_EQ(found, expected);
}

// The address of the kind without its last number; the number of every kind that has others below
// it is 1.
std::string Address(const ManagedElement *element)
{
    if (element->parent == nullptr)
        return "/";
    const std::string parent = Address(element->parent);
    return (parent == "/" ? parent : parent + "1/") + element->name;
}

// The address of the first instance.
std::string FirstAddress(const ManagedElement *element)
{
    return element->parent == nullptr ? "/" : Address(element) + "1";
}

// The lines of the kind's section: from behind its heading to the next heading.
Lines SectionOf(const ManagedElement *element, const Lines &page)
{
    const std::string address = Address(element);
    const auto isHeading = [](const std::string &line) { return StartsWith(line, "#"); };
    const auto isOfKind = [&](const std::string &line) {
        const auto has = [&](const std::string &number) {
            return line.find("`" + address + number + "`") != std::string::npos;
        };
        return isHeading(line) && (element->parent == nullptr ? has("") : has("1") || has("N"));
    };
    const auto heading = std::find_if(page.begin(), page.end(), isOfKind);
    if (heading == page.end())
        return {};
    return Lines(heading + 1, std::find_if(heading + 1, page.end(), isHeading));
}

// The first column of the rows that name a property.
std::string PropertiesIn(const Lines &section)
{
    std::string names;
    for (const std::string &line : section) {
        if (StartsWith(line, "| `"))
            names += (names.empty() ? "" : " ") + line.substr(3, line.find('`', 3) - 3);
    }
    return names;
}

std::string VerbsLine(const ManagedElement *element)
{
    std::string line;
    for (const void *entry = element->verbs; entry != nullptr; entry = ListNext(entry)) {
        line += line.empty() ? "Verbs: " : ", ";
        line += SmclpGetCommandById(*static_cast<const u32 *>(entry))->name;
    }
    return line + ".";
}

size_t KindCount()
{
    size_t count = 0;
    while (meTable[count] != nullptr)
        ++count;
    return count;
}

TEST(Docs, TargetsPageHasEveryKindWithItsPropertiesAndVerbs)
{
    const FakeObjMgr objMgr;
    const TestShell shell;
    const Lines page = ReadLines(kTargetsPage);
    size_t count = 0;
    for (const SmclpMeIdMapping *entry = pMeMapping; entry != nullptr; entry = entry->next) {
        ManagedElement *element = entry->element;
        SCOPED_TRACE("docs/targets.md, heading of " + FirstAddress(element));
        const Lines section = SectionOf(element, page);
        EXPECT_FALSE(section.empty());
        EXPECT_EQ(PropertiesIn(section), PropertiesOf(element));
        EXPECT_EQ(std::count(section.begin(), section.end(), VerbsLine(element)), 1)
            << VerbsLine(element);
        const std::string description = std::string("\"") + element->description + "\"";
        EXPECT_EQ(std::count(section.begin(), section.end(), description), 1) << description;
        ++count;
    }
    EXPECT_EQ(count, KindCount());
}

// Whether a session shows that address and gets its section.
bool IsShown(const std::vector<Block> &blocks, const std::string &host, const std::string &address)
{
    const Lines wanted = {"->show " + address, "", address + ":"};
    return std::any_of(blocks.begin(), blocks.end(), [&](const Block &block) {
        return block.host == host && std::search(block.lines.begin(), block.lines.end(),
                                                 wanted.begin(), wanted.end()) != block.lines.end();
    });
}

// A host that is off has no sensors: there the collection stands for them.
TEST(Docs, TranscriptsPageShowsEveryKindAndVerbOnBothHosts)
{
    const FakeObjMgr objMgr;
    const TestShell shell;
    const std::vector<Block> blocks = ReadTranscripts(kTranscriptsPage);
    for (const SmclpMeIdMapping *entry = pMeMapping; entry != nullptr; entry = entry->next) {
        const std::string address = FirstAddress(entry->element);
        EXPECT_TRUE(IsShown(blocks, "rack-server", address)) << address;
        EXPECT_TRUE(IsShown(blocks, "edge-box-off", address) ||
                    IsShown(blocks, "edge-box-off", FirstAddress(entry->element->parent)))
            << address;
    }
    for (const std::string host : {"rack-server", "edge-box-off"}) {
        const std::set<std::string> verbs = VerbsTypedOn(blocks, host);
        for (const SmclpCommandRow *row = smclpCommandTable; row->id != 0; ++row)
            EXPECT_EQ(verbs.count(row->verb), 1u) << row->verb << " on " << host;
    }
}

// A file that a page for developers names in `...`, <verb>, <kind> and <name> being one that is
// there; empty: it is none, or one that a build makes.
std::string FileNamed(std::string text)
{
    const std::string words[][2] = {{"<verb>", "stop"}, {"<kind>", "chassis"}, {"<name>", "ipmi"}};
    for (const auto &[word, one] : words) {
        for (size_t at; (at = text.find(word)) != std::string::npos;)
            text.replace(at, word.size(), one);
    }
    const std::string characters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
                                   "_-./@";
    const bool isPath = text.find('/') != std::string::npos && text[0] != '/' &&
                        text.find_first_not_of(characters) == std::string::npos;
    return isPath && !StartsWith(text, "build") ? text : "";
}

TEST(Docs, FilesThatTheListsOfContributingNameAreThere)
{
    const Lines page = ReadLines(PROJECT_TOP "/CONTRIBUTING.md");
    size_t count = 0;
    for (const std::string &line : page) {
        const Lines parts = Split(line, '`');
        for (size_t i = 1; i < parts.size(); i += 2u) {
            const std::string file = FileNamed(parts[i]);
            EXPECT_TRUE(file.empty() || std::filesystem::exists(PROJECT_TOP "/" + file)) << line;
            count += file.empty() ? 0u : 1u;
        }
    }
    EXPECT_GE(count, 50u);
}

}  // namespace
