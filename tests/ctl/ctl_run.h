// SPDX-License-Identifier: Apache-2.0
// ctl_run.h -- commands of smclpctl inside the test process, on a fake object manager.
#ifndef TESTS_CTL_CTL_RUN_H
#define TESTS_CTL_CTL_RUN_H

#include "ctl/commands.h"
#include "support/fake_objmgr.h"

#include <gtest/gtest.h>
#include <sstream>
#include <stdlib.h>

struct CtlEnd {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs a line whose words are parted by blanks.
inline CtlEnd CtlRun(const std::string &line)
{
    std::istringstream stream("smclpctl " + line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    std::vector<char *> argv;
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    Options options;
    EXPECT_EQ(OptionsParse(static_cast<int>(words.size()), argv.data(), CommandTime(), &options),
              "");
    char *out = nullptr;
    char *err = nullptr;
    size_t outSize = 0;
    size_t errSize = 0;
    Console console;
    console.out = open_memstream(&out, &outSize);
    console.err = open_memstream(&err, &errSize);
    CtlEnd end;
    end.status = CommandRun(options, console);
    fclose(console.out);
    fclose(console.err);
    end.out = std::string(out, outSize);
    end.err = std::string(err, errSize);
    free(out);
    free(err);
    return end;
}

#endif
