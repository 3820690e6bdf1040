// SPDX-License-Identifier: Apache-2.0
// fetching.h -- a fetcher of a simulated service, logged in, on a clock that stands.
#ifndef TESTS_REDFISH_FETCHING_H
#define TESTS_REDFISH_FETCHING_H

#include "objmgrd/redfish/fetcher.h"
#include "redfish/reader.h"
#include "support/objmgr_process.h"

#include <fstream>
#include <sys/stat.h>

inline u64 fetchingNowMs = 1'000'000;

class Fetching : public testing::Test
{
protected:
    // Without sessions, whatever the options say.
    explicit Fetching(SimOptions options)
        : service_((options.auth = SimAuth::Basic, options)),
          password_(kRedfishPasswordMax, "this service"),
          settings_(QuickSettings(service_, directory_.Path() + "/session")),
          fetcher_(&settings_, &password_, [] { return fetchingNowMs; })
    {
        const std::string file = directory_.Path() + "/password";
        std::ofstream(file) << SimService::kPassword << "\n";
        chmod(file.c_str(), 0600);
        EXPECT_EQ(password_.Read(file), "");
        fetcher_.SetLogin(HttpLogin::Basic, "");
    }

    TestDirectory directory_;
    SimService service_;
    Password password_;
    RedfishSettings settings_;
    Fetcher fetcher_;
};

#endif
