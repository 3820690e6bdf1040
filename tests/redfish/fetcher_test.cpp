// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/redfish/fetcher on a simulated service.
#include "objmgrd/redfish/fetcher.h"

#include "redfish/reader.h"
#include "support/objmgr_process.h"

#include <fstream>
#include <sys/stat.h>

namespace
{

u64 gNowMs = 1'000'000;

u64 StandingClock()
{
    return gNowMs;
}

const std::string kSensors = "/redfish/v1/Chassis/C1/Sensors/";

class FetcherTest : public testing::Test
{
protected:
    FetcherTest()
        : service_(Options()), password_(kRedfishPasswordMax, "this service"),
          settings_(QuickSettings(service_, directory_.Path() + "/session")),
          fetcher_(&settings_, &password_, StandingClock)
    {
        const std::string file = directory_.Path() + "/password";
        std::ofstream(file) << SimService::kPassword << "\n";
        chmod(file.c_str(), 0600);
        EXPECT_EQ(password_.Read(file), "");
        fetcher_.SetLogin(HttpLogin::Basic, "");
    }
    static SimOptions Options()
    {
        SimOptions options;
        options.auth = SimAuth::Basic;
        options.temperatures = 12;
        options.delayMs = 60;
        return options;
    }
    // How many requests for twelve sensors were on their way at once.
    unsigned AtOnce()
    {
        service_.ForgetRequests();
        u32 good = 0;
        for (int i = 1; i <= 12; ++i)
            fetcher_.Want(kSensors + "Temp" + std::to_string(i),
                          [&good](Got &&got) { good += got.Good() ? 1u : 0u; });
        EXPECT_TRUE(fetcher_.ReadWanted());
        EXPECT_EQ(good, 12u);
        return service_.MostAtOnce();
    }

    TestDirectory directory_;
    SimService service_;
    Password password_;
    RedfishSettings settings_;
    Fetcher fetcher_;
};

}  // namespace

TEST_F(FetcherTest, OnePlaceStaysFreeForSomeTimesAsLongAsASlowAnswerTook)
{
    EXPECT_EQ(AtOnce(), 4u);
    SimFault fault;
    fault.delayMs = 900;
    service_.SetFault("/redfish/v1/slow", fault);
    fetcher_.Get("/redfish/v1/slow");
    EXPECT_EQ(AtOnce(), 3u);
    gNowMs += 3500;
    EXPECT_EQ(AtOnce(), 3u);
    // It took four seconds at the most.
    gNowMs += 12'500;
    EXPECT_EQ(AtOnce(), 4u);
}
