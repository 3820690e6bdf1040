// SPDX-License-Identifier: Apache-2.0
// bmc_service.cpp -- objmgrd-ipmi on a simulated BMC, for figures.
#include "bmc_service.h"

#include "ipmi/ipmi_sim.h"

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

BmcService::BmcService(const char *program, const std::string &host, u16 port,
                       const BmcServiceOptions &options)
{
    const std::string &directory = directory_.Path();
    const std::string config = directory + "/bmc.toml";
    const std::string password = directory + "/password";
    const std::string sessions = directory + "/sessions";
    const bool written =
        std::filesystem::create_directory(sessions) &&
        WriteFile(password, kSimOperator.password + std::string("\n"), 0600) &&
        WriteFile(config, "[bmc]\ndriver = \"lan\"\nhost = \"" + host +
                              "\"\nport = " + std::to_string(port) + "\nuser = \"" +
                              kSimOperator.name + "\"\npassword_file = \"" + password +
                              "\"\nworkarounds = [\"open_session_privilege\"]\n" +
                              options.settings);
    setenv("ZOROBJMGR", directory.c_str(), 1);
    setenv("ZORSSNDIR", sessions.c_str(), 1);
    setenv("ZORPRIV", options.privilege, 1);
    // Every count of sensors ends with a trace: they go where writing costs least.
    setenv("ZORTRACE", "/dev/null", 1);
    fflush(stdout);
    pid_ = written ? fork() : -1;
    if (pid_ == -1) {
        perror(directory.c_str());
        exit(2);
    }
    if (pid_ != 0)
        return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int null = open("/dev/null", O_RDWR);
    dup2(null, STDIN_FILENO);
    dup2(null, STDOUT_FILENO);
    if (options.errors != -1)
        dup2(options.errors, STDERR_FILENO);
    execl(program, program, "--config", config.c_str(), "--dir", directory.c_str(), nullptr);
    perror(program);
    _exit(127);
}

BmcService::~BmcService()
{
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
}

size_t CountOf(const std::string &text, const std::string &part)
{
    size_t count = 0;
    for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size())
        ++count;
    return count;
}
