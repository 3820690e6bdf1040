// SPDX-License-Identifier: Apache-2.0
// main.cpp -- smclpctl: the same truth as the shell's for scripts and monitoring.
#include "ctl/commands.h"

#include <stdlib.h>
#include <unistd.h>

namespace
{

// NO_COLOR, whatever it says, as https://no-color.org has it: empty counts as not set.
bool WantsColor()
{
    const char *none = getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) == 1 && (none == nullptr || *none == '\0');
}

}  // namespace

int main(int argc, char **argv)
{
    Options options;
    const std::string wrong = OptionsParse(argc, argv, CommandTime(), &options);
    if (!wrong.empty()) {
        fprintf(stderr, "smclpctl: %s\nTry \"smclpctl --help\".\n", TextValue(wrong).text.c_str());
        return kExitUsage;
    }
    if (options.help || options.version) {
        fputs(options.help ? kOptionsUsage : "smclpctl " ZOR_VERSION "\n", stdout);
        return fflush(stdout) == 0 ? kExitDone : kExitFailed;
    }
    if (!options.directory.empty())
        setenv("ZOROBJMGR", options.directory.c_str(), 1);
    Console console;
    console.color = WantsColor();
    return CommandRun(options, console);
}
