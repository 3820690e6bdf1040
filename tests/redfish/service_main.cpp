// SPDX-License-Identifier: Apache-2.0
// service_main.cpp -- the simulated Redfish service as a program, to try things by hand and for
// figures. Prints its url; when it is ended (SIGINT, SIGTERM) what it was asked, a line for each
// request with its time in ms and the bytes of its answer, and how many these were.
//
//   redfish_service [NAME=VALUE...]
//
//   temperatures=N fans=N systems=N page=N delay=MS lag=MS   numbers of SimOptions
//   newer=0|1 older=0|1 top=0|1 one=0|1 never=0|1 tasks=0|1 http10=0|1
//                                      one: answers one after the other
//   expand=works|refused|ignored|lies  auth=sessions|basic
//   certificate=FILE key=FILE          HTTPS
//   log=N                              entries of the log
#include "redfish/service.h"
#include "support/test_files.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace
{

struct NumberRow {
    const char *name;
    unsigned SimOptions::*field;
};
constexpr NumberRow kNumbers[] = {
    {"temperatures", &SimOptions::temperatures},
    {"fans", &SimOptions::fans},
    {"systems", &SimOptions::systems},
    {"page", &SimOptions::page},
    {"delay", &SimOptions::delayMs},
    {"lag", &SimOptions::powerLagMs},
};
struct SwitchRow {
    const char *name;
    bool SimOptions::*field;
};
constexpr SwitchRow kSwitches[] = {
    {"newer", &SimOptions::newer},     {"older", &SimOptions::older},
    {"top", &SimOptions::top},         {"one", &SimOptions::oneAtATime},
    {"never", &SimOptions::neverDone}, {"tasks", &SimOptions::tasks},
    {"http10", &SimOptions::http10},
};

unsigned gLog = 0;

bool Take(const std::string &name, const std::string &value, SimOptions *options)
{
    for (const NumberRow &row : kNumbers) {
        if (name == row.name) {
            options->*row.field = static_cast<unsigned>(strtoul(value.c_str(), nullptr, 10));
            return true;
        }
    }
    for (const SwitchRow &row : kSwitches) {
        if (name == row.name) {
            options->*row.field = value == "1";
            return true;
        }
    }
    if (name == "expand")
        options->expand = value == "works"     ? SimExpand::Works
                          : value == "refused" ? SimExpand::Refused
                          : value == "ignored" ? SimExpand::Ignored
                                               : SimExpand::Lies;
    else if (name == "auth")
        options->auth = value == "basic" ? SimAuth::Basic : SimAuth::Sessions;
    else if (name == "certificate")
        options->certificate = ReadFile(value);
    else if (name == "key")
        options->key = ReadFile(value);
    else if (name == "log")
        gLog = static_cast<unsigned>(strtoul(value.c_str(), nullptr, 10));
    else
        return false;
    return true;
}

}  // namespace

int main(int argc, char **argv)
{
    SimOptions options;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        const size_t equal = argument.find('=');
        if (equal == std::string::npos ||
            !Take(argument.substr(0, equal), argument.substr(equal + 1), &options)) {
            fprintf(stderr, "redfish_service: %s?\n", argv[i]);
            return 2;
        }
    }
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    sigprocmask(SIG_BLOCK, &ends, nullptr);
    SimService service(options);
    for (unsigned i = 1; i <= gLog; ++i)
        service.AddLogEntry(std::to_string(i), "Entry number " + std::to_string(i) + " of the log");
    printf("%s\n", service.Url().c_str());
    fflush(stdout);
    int signal = 0;
    sigwait(&ends, &signal);
    for (const SimRequest &request : service.Requests())
        printf("%u %s %s %u %zu\n", request.atMs, request.method.c_str(), request.url.c_str(),
               request.status, request.bytes);
    printf("%zu requests on %u connections, at most %u at once, %zu sessions left\n",
           service.Requests().size(), service.Connections(), service.MostAtOnce(),
           service.Sessions());
    return 0;
}
