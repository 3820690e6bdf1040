// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/redfish/fetcher on a simulated service.
#include "objmgrd/redfish/fetcher.h"

#include "redfish/fetching.h"

namespace
{

const std::string kSensors = "/redfish/v1/Chassis/C1/Sensors/";

class FetcherTest : public Fetching
{
protected:
    FetcherTest() : Fetching(Options()) {}
    static SimOptions Options()
    {
        SimOptions options;
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
};

}  // namespace

// One quick answer among the first looks like a service that answers one after the other.
TEST_F(FetcherTest, WhereOneByOneIsNoQuickerFourAreAskedAtATimeAgain)
{
    service_.Change([](SimOptions *options) { options->delayMs = 0; });
    SimFault fault;
    fault.delayMs = 150;
    service_.SetFault("", fault);
    fault.delayMs = 5;
    service_.SetFault(kSensors + "Temp1", fault);
    for (const u32 limit : {1u, 4u, 4u}) {
        std::vector<std::string> links(15, kSensors + "Temp2");
        links.insert(links.begin(), kSensors + "Temp1");
        for (const Got &got : fetcher_.GetAll(links))
            EXPECT_TRUE(got.Good());
        EXPECT_EQ(fetcher_.Limit(), limit);
    }
}

TEST_F(FetcherTest, OnePlaceStaysFreeForSomeTimesAsLongAsASlowAnswerTook)
{
    EXPECT_EQ(AtOnce(), 4u);
    SimFault fault;
    fault.delayMs = 900;
    service_.SetFault("/redfish/v1/slow", fault);
    fetcher_.Get("/redfish/v1/slow");
    EXPECT_EQ(AtOnce(), 3u);
    fetchingNowMs += 3500;
    EXPECT_EQ(AtOnce(), 3u);
    // It took four seconds at the most.
    fetchingNowMs += 12'500;
    EXPECT_EQ(AtOnce(), 4u);
}
