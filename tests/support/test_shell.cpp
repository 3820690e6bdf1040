// SPDX-License-Identifier: Apache-2.0
// test_shell.cpp -- the shell inside a test.
#include "support/test_shell.h"

#include "platform/list.h"
#include "platform/memmgr.h"
#include "platform/trace.h"
#include "session/ssn.h"
#include "smclp/address.h"
#include "smclp/command_list.h"
#include "smclp/discovery.h"
#include "smclp/dispatch.h"
#include "smclp/line_editor.h"
#include "smclp/shell.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <regex>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

FakeSsn gFakeSsn;

u32 ssn_check(u32 sessionId, u32 address, u8 type, u32 *state, u32 *second)
{
    ++gFakeSsn.calls;
    gFakeSsn.sessionId = sessionId;
    gFakeSsn.address = address;
    gFakeSsn.type = type;
    *state = gFakeSsn.state;
    *second = gFakeSsn.second;
    return gFakeSsn.result;
}

static std::string ReadWhole(int file)
{
    std::string text;
    char part[4096];
    ssize_t count;
    for (off_t at = 0; (count = pread(file, part, sizeof part, at)) > 0; at += count)
        text.append(part, static_cast<size_t>(count));
    return text;
}

OutputCapture::OutputCapture()
{
    fflush(stdout);
    saved_ = dup(STDOUT_FILENO);
    file_ = memfd_create("output", MFD_CLOEXEC);
    dup2(file_, STDOUT_FILENO);
}

OutputCapture::~OutputCapture()
{
    if (file_ != -1)
        Take();
}

std::string OutputCapture::Take()
{
    fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
    std::string text = ReadWhole(file_);
    close(file_);
    file_ = -1;
    return text;
}

InputText::InputText(const std::string &text)
{
    saved_ = dup(STDIN_FILENO);
    const int file = memfd_create("input", MFD_CLOEXEC);
    if (write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        abort();
    lseek(file, 0, SEEK_SET);
    dup2(file, STDIN_FILENO);
    close(file);
}

InputText::~InputText()
{
    dup2(saved_, STDIN_FILENO);
    close(saved_);
}

TraceCapture::TraceCapture()
{
    char path[] = "/tmp/trace-XXXXXX";
    close(mkstemp(path));
    path_ = path;
    TraceClose();
    setenv("ZORTRACE", path, 1);
}

TraceCapture::~TraceCapture()
{
    TraceClose();
    unsetenv("ZORTRACE");
    unlink(path_.c_str());
}

std::vector<std::string> TraceCapture::Lines() const
{
    const int file = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    const std::string text = ReadWhole(file);
    close(file);

    static const std::regex kFixed("ERROR: (main \\[(61|131)\\]|smclp \\[90\\]|"
                                   "cmd_delete \\[(149|203)\\]): .*");
    static const std::regex kLineNumber("\\[[0-9]+\\]");
    std::vector<std::string> lines;
    size_t start = 0;
    for (size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
        std::string line = text.substr(start, end - start);
        if (!std::regex_match(line, kFixed))
            line = std::regex_replace(line, kLineNumber, "[#]",
                                      std::regex_constants::format_first_only);
        lines.push_back(line);
    }
    return lines;
}

void TraceCapture::Clear()
{
    if (truncate(path_.c_str(), 0) != 0)
        abort();
}

void ResetShellGlobals()
{
    SmclpCommandListUninit();
    pClpCommandList = nullptr;
    pMeMapping = nullptr;
    SMCLP_MAX_LEVEL = 1;
    MemMgrRemovePools();
    memset(histBuff, 0, sizeof histBuff);
    histCount = 1;
    histFull = 0;
}

static const MeConstructor *gKinds = meTable;

const MeConstructor *TestShell::Kinds()
{
    return gKinds;
}

TestShell::TestShell(const MeConstructor *kinds)
{
    gKinds = kinds;
    EXPECT_EQ(SmclpInitFrom(kinds), 0u);
    EXPECT_EQ(SmclpCreateSession(&session_), 0u);
}

TestShell::~TestShell()
{
    EXPECT_EQ(ListLockDepth(), 0u);
    EXPECT_EQ(pCmdPara, nullptr);
    SmclpRemoveSession(session_);
    ResetShellGlobals();
}

u32 TestShell::Run(const std::string &line)
{
    char buffer[256] = "";
    if (line.size() >= sizeof buffer)
        abort();
    memcpy(buffer, line.data(), line.size());
    OutputCapture capture;
    const u32 result = SmclpExecuteCommand(session_, buffer);
    output_ = capture.Take();
    return result;
}

ManagedElement *TestShell::At(const char *address) const
{
    return SmclpResolveTargetAddress(address, SmclpGetRootElement());
}

std::string TestShell::Refresh(ManagedElement *element, const char *property, u32 *result)
{
    char value[kMeValueSize] = "";
    const u32 code = element->refreshProperties(element, property, value, sizeof value);
    if (result != nullptr)
        *result = code;
    return value;
}

std::string VerbsOf(const ManagedElement *element)
{
    std::string text;
    for (const void *entry = element->verbs; entry != nullptr; entry = ListNext(entry))
        text += (text.empty() ? "" : " ") + std::to_string(*static_cast<const u32 *>(entry));
    return text;
}

std::string PropertiesOf(ManagedElement *element)
{
    std::string text;
    for (const void *entry = MeProperties(element); entry != nullptr; entry = ListNext(entry)) {
        text += text.empty() ? "" : " ";
        text += static_cast<const MeProperty *>(entry)->name;
    }
    return text;
}
