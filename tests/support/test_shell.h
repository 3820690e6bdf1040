// SPDX-License-Identifier: Apache-2.0
// test_shell.h -- the shell inside a test: lines in, output and traces out.
#ifndef TESTS_SUPPORT_TEST_SHELL_H
#define TESTS_SUPPORT_TEST_SHELL_H

#include "smclp/me/me.h"
#include "smclp/session.h"

#include <string>
#include <vector>

// What ssn_check answers in tests, and what it was asked last.
struct FakeSsn {
    u32 result = 0;
    u32 state = 1;
    u32 second = 0;
    u32 calls = 0;
    u32 sessionId = 0;
    u32 address = 0;
    u8 type = 0;
};
extern FakeSsn gFakeSsn;

// Collects what is written to standard output while it lives.
class OutputCapture
{
public:
    OutputCapture();
    ~OutputCapture();
    OutputCapture(const OutputCapture &) = delete;
    OutputCapture &operator=(const OutputCapture &) = delete;
    // Ends the capture and returns the text.
    std::string Take();

private:
    int saved_;
    int file_;
};

// Sends standard input from a text while it lives; at its end comes the end of input.
class InputText
{
public:
    explicit InputText(const std::string &text);
    ~InputText();
    InputText(const InputText &) = delete;
    InputText &operator=(const InputText &) = delete;

private:
    int saved_;
};

// Collects traces in a file of its own while it lives.
class TraceCapture
{
public:
    TraceCapture();
    ~TraceCapture();
    TraceCapture(const TraceCapture &) = delete;
    TraceCapture &operator=(const TraceCapture &) = delete;
    // The lines so far, without their new lines. Line numbers are replaced by "#", except in the
    // five fixed positions (main 61 and 131, smclp 90, cmd_delete 149 and 203).
    std::vector<std::string> Lines() const;
    void Clear();

private:
    std::string path_;
};

// Pools, command list, tree and session as SmclpInit builds them; undone at the end, so that each
// test may make its own. One at a time.
class TestShell
{
public:
    // kinds: what the tree is built from.
    explicit TestShell(const MeConstructor *kinds = meTable);
    // Those of the shell that was made last.
    static const MeConstructor *Kinds();
    ~TestShell();
    TestShell(const TestShell &) = delete;
    TestShell &operator=(const TestShell &) = delete;

    // Runs one command line through the dispatcher; returns its result. At most 255 characters.
    u32 Run(const std::string &line);
    // What the last Run wrote.
    const std::string &Output() const { return output_; }
    SmclpSession *Session() const { return session_; }
    // The element at an address, resolved from the root.
    ManagedElement *At(const char *address) const;
    // A property's value as the kind writes it into a fresh buffer of 256 bytes; *result receives
    // what the kind returned.
    static std::string Refresh(ManagedElement *element, const char *property,
                               u32 *result = nullptr);

private:
    SmclpSession *session_ = nullptr;
    std::string output_;
};

// Takes apart what SmclpInit built, without the session.
void ResetShellGlobals();

// The verbs an element lists, and its properties, in order, joined by blanks.
std::string VerbsOf(const ManagedElement *element);
std::string PropertiesOf(ManagedElement *element);

#endif
