// SPDX-License-Identifier: Apache-2.0
// main.cpp -- smclpctl: the same truth as the shell's for scripts and monitoring.
#include "ctl/commands.h"

#include <algorithm>
#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace
{

// NO_COLOR, whatever it says, as https://no-color.org has it: empty counts as not set.
bool NoColor()
{
    const char *none = getenv("NO_COLOR");
    return none != nullptr && *none != '\0';
}

// The program that listens stands beside this one. Returns only when it cannot be started.
int BecomeListener(char **argv)
{
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    const std::string self(path, static_cast<size_t>(std::max<ssize_t>(length, 0)));
    const std::string listener = self + "-listen";
    execv(listener.c_str(), argv);
    fprintf(stderr, "smclpctl: %s: %s\n", listener.c_str(), strerror(errno));
    return kExitFailed;
}

bool Ask(const std::string &question)
{
    char answer[16] = "";
    fprintf(stderr, "%s", question.c_str());
    fflush(stderr);
    return fgets(answer, sizeof answer, stdin) != nullptr && (*answer == 'y' || *answer == 'Y');
}

}  // namespace

int main(int argc, char **argv)
{
    Options options;
    const std::string wrong = OptionsParse(argc, argv, CommandTime(), &options);
    if (!wrong.empty()) {
        CommandFailed(options, {}, {}, kExitUsage, wrong);
        if (options.format == OutputFormat::Table || options.format == OutputFormat::Csv)
            fputs("Try \"smclpctl --help\".\n", stderr);
        return kExitUsage;
    }
    if (options.help || options.version) {
        fputs(options.help ? kOptionsUsage : "smclpctl " ZOR_VERSION "\n", stdout);
        return fflush(stdout) == 0 ? kExitDone : kExitFailed;
    }
    if (!options.listen.empty())
        return BecomeListener(argv);
    Console console;
    console.terminal = isatty(STDOUT_FILENO) == 1;
    console.color = console.terminal && !NoColor();
    // Few writes for much; what is to go out at once is flushed.
    static char buffer[1 << 16];
    if (!console.terminal)
        setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
    if (isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1)
        console.ask = Ask;
    return CommandRun(options, console);
}
