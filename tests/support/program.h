// SPDX-License-Identifier: Apache-2.0
// program.h -- built programs run by tests: over pipes and on a pseudo-terminal.
#ifndef TESTS_SUPPORT_PROGRAM_H
#define TESTS_SUPPORT_PROGRAM_H

#include <string>
#include <sys/types.h>
#include <vector>

// How a program ended: its exit status, or 128 plus the signal that ended it.
struct ProgramEnd {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs a program to its end with `input` on a pipe as standard input. A program that takes more
// than 30 s is killed (status 137).
ProgramEnd RunProgram(const std::vector<std::string> &arguments, const std::string &input = "");

// Writes `text` to a new file below the test's temporary directory and returns its path.
std::string WriteTempFile(const std::string &text);

// A program on a pseudo-terminal of its own, as its controlling terminal.
class PtyProgram
{
public:
    explicit PtyProgram(const std::vector<std::string> &arguments);
    ~PtyProgram();  // kills what still runs
    PtyProgram(const PtyProgram &) = delete;
    PtyProgram &operator=(const PtyProgram &) = delete;

    void Type(const std::string &keys) const;
    // Reads until `text` has come since the last call, and returns everything up to its end. When
    // it does not come within 10 s, or the program ends first, returns what came and sets failed.
    std::string ReadUntil(const std::string &text);
    bool failed = false;
    // Local modes of the terminal.
    bool Echoes() const;
    bool IsCanonical() const;
    // Waits until the terminal is in (or out of) raw mode, at most 10 s.
    bool WaitForRaw(bool raw) const;
    void HangUp();  // closes the terminal's other side
    pid_t Pid() const { return pid_; }
    // Waits for the end, at most 10 s, and returns the status as in ProgramEnd; -1 when it runs.
    int Wait();

private:
    int terminal_ = -1;
    pid_t pid_ = -1;
    std::string pending_;
};

#endif
