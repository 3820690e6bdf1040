// SPDX-License-Identifier: Apache-2.0
// bmc_service.h -- objmgrd-ipmi on a simulated BMC, for figures.
#ifndef BENCH_BMC_SERVICE_H
#define BENCH_BMC_SERVICE_H

#include "platform/types.h"
#include "support/test_files.h"

#include <string>
#include <sys/types.h>

struct BmcServiceOptions {
    const char *privilege = "1";  // of the shells, as ZORPRIV has it
    std::string settings;         // whole lines beside those of the BMC, in its table
    int errors = -1;              // where it writes what is wrong; -1: where this process does
};

// The service in a directory of its own, on the BMC at host:port, as long as this object lives and
// no longer than this thread. The environment of this process, and so every shell that it starts,
// uses the service that was made last. A service that cannot be started ends this process.
class BmcService
{
public:
    BmcService(const char *program, const std::string &host, u16 port,
               const BmcServiceOptions &options);
    ~BmcService();
    BmcService(const BmcService &) = delete;
    BmcService &operator=(const BmcService &) = delete;

    pid_t Pid() const { return pid_; }

private:
    TestDirectory directory_;
    pid_t pid_ = -1;
};

// How often a part stands in a text, not counting those that overlap.
size_t CountOf(const std::string &text, const std::string &part);

#endif
