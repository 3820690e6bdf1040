// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/bmc_freeipmi against a UDP port that never answers. What a BMC's answers
// lead to is tested against ipmi_sim.
#include "objmgrd/ipmi/bmc_freeipmi.h"

#include "support/clock.h"
#include "support/loopback_socket.h"

#include <freeipmi/freeipmi.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

// What the library is asked for when a session is opened (linked with --wrap).
static unsigned int sWorkarounds;
static u8 sPrivilege;
static u8 sCipherSuite;

extern "C" {
int __wrap_ipmi_ctx_open_outofband_2_0(ipmi_ctx_t context, const char *host, const char *user,
                                       const char *password, const unsigned char *key,
                                       unsigned int keySize, uint8_t privilege, uint8_t cipherSuite,
                                       unsigned int sessionMs, unsigned int againMs,
                                       unsigned int workarounds, unsigned int flags);
decltype(ipmi_ctx_open_outofband_2_0) __real_ipmi_ctx_open_outofband_2_0;
int __wrap_ipmi_ctx_open_outofband_2_0(ipmi_ctx_t context, const char *host, const char *user,
                                       const char *password, const unsigned char *key,
                                       unsigned int keySize, uint8_t privilege, uint8_t cipherSuite,
                                       unsigned int sessionMs, unsigned int againMs,
                                       unsigned int workarounds, unsigned int flags)
{
    sWorkarounds = workarounds;
    sPrivilege = privilege;
    sCipherSuite = cipherSuite;
    return __real_ipmi_ctx_open_outofband_2_0(context, host, user, password, key, keySize,
                                              privilege, cipherSuite, sessionMs, againMs,
                                              workarounds, flags);
}
}

namespace
{

class FreeIpmiBmcTest : public testing::Test
{
protected:
    FreeIpmiBmcTest()
    {
        settings_->host = "127.0.0.1";
        settings_->port = socket_.Port();
        settings_->answerMs = 100;
        settings_->sessionMs = 300;
    }
    u32 Packets() const
    {
        char packet[1024];
        u32 count = 0;
        while (recv(socket_.Fd(), packet, sizeof packet, 0) >= 0)
            ++count;
        return count;
    }

    const LoopbackSocket socket_{SOCK_NONBLOCK};
    std::string why_;
    std::shared_ptr<IpmiSettings> settings_ = std::make_shared<IpmiSettings>();
    std::shared_ptr<Password> password_ = std::make_shared<Password>(kIpmiPasswordMax, "IPMI");
};

}  // namespace

TEST_F(FreeIpmiBmcTest, OpeningHasALimit)
{
    FreeIpmiBmc bmc(settings_, password_, BmcUse::Poll);
    const i64 begun = NowMs();
    EXPECT_EQ(bmc.Open(&why_), BmcOpening::Silent);
    EXPECT_LE(NowMs() - begun, 1100);
    EXPECT_EQ(why_, "no answer from 127.0.0.1");
    EXPECT_GE(Packets(), 3u);  // asked again and again
}

TEST_F(FreeIpmiBmcTest, ForControlNothingIsSentTwice)
{
    settings_->sessionMs = 1000;
    FreeIpmiBmc bmc(settings_, password_, BmcUse::Control);
    const i64 begun = NowMs();
    EXPECT_EQ(bmc.Open(&why_), BmcOpening::Silent);
    EXPECT_GE(NowMs() - begun, 1900);
    EXPECT_LE(NowMs() - begun, 2600);
    EXPECT_EQ(Packets(), 1u);
}

TEST_F(FreeIpmiBmcTest, WithoutASessionNothingIsAsked)
{
    FreeIpmiBmc bmc(settings_, password_, BmcUse::Poll);
    EXPECT_FALSE(bmc.Ask({0, 1, 0, {}}).came);
    bmc.Close();
    EXPECT_EQ(Packets(), 0u);
}

TEST_F(FreeIpmiBmcTest, AHostWithoutAnAddress)
{
    settings_->host = "no-such-host.invalid";
    FreeIpmiBmc bmc(settings_, password_, BmcUse::Poll);
    EXPECT_EQ(bmc.Open(&why_), BmcOpening::Silent);
    EXPECT_EQ(why_, "no address is known for host no-such-host.invalid");
}

TEST_F(FreeIpmiBmcTest, ADeviceThatIsNone)
{
    settings_->driver = IpmiDriver::Local;
    FreeIpmiBmc bmc(settings_, password_, BmcUse::Poll);
    settings_->device = "/nonexistent/ipmi0";
    EXPECT_EQ(bmc.Open(&why_), BmcOpening::Silent);
    EXPECT_EQ(why_,
              "there is no IPMI device /nonexistent/ipmi0: are the kernel modules ipmi_si and "
              "ipmi_devintf loaded?");
    settings_->device = "/dev/null";
    const i64 begun = NowMs();
    bmc.Open(&why_);
    EXPECT_FALSE(bmc.Ask({0, 1, 0, {}}).came);
    EXPECT_LE(NowMs() - begun, 1000);
}

TEST_F(FreeIpmiBmcTest, EveryWorkaroundIsTheLibrarysOwn)
{
    const std::pair<u32, unsigned int> rows[] = {
        {0, 0x00},
        {kIpmiAuthenticationCapabilities, 0x01},
        {kIpmiIntelSession, 0x02},
        {kIpmiSupermicroSession, 0x04},
        {kIpmiSunSession, 0x08},
        {kIpmiOpenSessionPrivilege, 0x10},
        {kIpmiNonEmptyIntegrityCheckValue, 0x20},
        {kIpmiNoChecksumCheck, 0x40},
        {kIpmiSunSession | kIpmiNoChecksumCheck, 0x48},
    };
    settings_->host = "no-such-host.invalid";  // so that nothing is waited for
    for (const auto &[ours, library] : rows) {
        settings_->workarounds = ours;
        sWorkarounds = 0xFFFF;
        FreeIpmiBmc(settings_, password_, BmcUse::Poll).Open(&why_);
        EXPECT_EQ(sWorkarounds, library);
    }
}

TEST_F(FreeIpmiBmcTest, ASessionHasThePrivilegeAndTheCipherSuiteOfTheSettings)
{
    settings_->host = "no-such-host.invalid";
    settings_->privilege = 2;
    settings_->cipherSuite = 17;
    FreeIpmiBmc(settings_, password_, BmcUse::Control).Open(&why_);
    EXPECT_EQ(sPrivilege, 2);
    EXPECT_EQ(sCipherSuite, 17);
}
