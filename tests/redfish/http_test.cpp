// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/redfish/http on a simulated service: what is not seen through the conversation.
#include "objmgrd/redfish/http.h"

#include "redfish/reader.h"
#include "support/test_files.h"

TEST(Http, SecondsToWaitAreNoMoreThanFiveMinutes)
{
    struct Row {
        const char *told;
        u32 seconds;
    };
    const Row rows[] = {
        {"", 0},
        {"0", 0},
        {"2", 2},
        {"-5", 0},
        {"300", 300},
        {"301", 300},
        {"1e9", 1},
        {"soon", 0},
        {"99999999999999999999999", 300},
        {" 7 ", 7},
        {"Wed, 21 Oct 2099 07:28:00 GMT", 0},
    };
    const TestDirectory directory;
    SimService service({});
    const RedfishSettings settings = QuickSettings(service, directory.Path() + "/session");
    Password password(kRedfishPasswordMax, "this service");
    Http http(&settings, &password);
    for (const Row &row : rows) {
        SimFault fault;
        fault.status = 503;
        fault.retryAfter = row.told;
        service.SetFault("/redfish/v1", fault);
        HttpRequest request;
        request.link = "/redfish/v1/";
        HttpAnswer answer;
        http.Start(std::move(request), [&](HttpAnswer &&came) { answer = std::move(came); });
        ASSERT_TRUE(WaitUntil([&] {
            http.Pump(-1, 100);
            return http.OnTheirWay() == 0;
        }));
        EXPECT_EQ(answer.status, 503u) << row.told;
        EXPECT_EQ(answer.retryAfterS, row.seconds) << row.told;
    }
}
