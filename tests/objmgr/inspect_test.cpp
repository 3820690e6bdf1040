// SPDX-License-Identifier: Apache-2.0
#include "objmgr/inspect.h"

#include "platform/clock.h"
#include "support/client_world.h"

#include <gtest/gtest.h>

// A service with two sources and a sensor of the second one.
class Inspect : public testing::Test
{
protected:
    Inspect()
        : service_({[this] {
                        int rc = writer_.Open(directory_.Path(), {.service = "objmgrd-test"});
                        writer_.AddSource("bmc");
                        source_ = writer_.AddSource("sensors");
                        Instance sensor = Texts({{"Reading", "27"}});
                        sensor.unit = "Cel";
                        sensor.source = source_;
                        return rc | PutAll(&writer_, {{"OEM_QARN_System", {}},
                                                      {"OEM_QARN_Sensor.Index=2", {}},
                                                      {"OEM_QARN_Sensor.Index=10", sensor}});
                    },
                    [this] {
                        writer_.Heard(source_, ClockMs() - 500);
                        return 0;
                    },
                    [this] {
                        writer_.Silent(source_);
                        return 0;
                    }})
    {
        setenv("ZOROBJMGR", directory_.Path().c_str(), 1);
        EXPECT_EQ(service_.Run(0), 0);
    }
    TestDirectory directory_;
    ImageWriter writer_;
    u16 source_ = 0;
    StepProcess service_;
};

TEST_F(Inspect, InstancesSayUnitAndSource)
{
    InFreshProcess([] {
        const ObjMgrInterface *om = ObjMgrGetInterface();
        const ObjMgrHandle handle = MustOpen();
        u64 storage[64];
        ObjMgrInstance *instance = om->InitInstance(storage, sizeof(storage));
        EXPECT_STREQ(ObjMgrUnit(instance), "");
        EXPECT_EQ(ObjMgrSourceOf(instance), kImageNoSource);
        ASSERT_EQ(om->GetInstance(handle, "OEM_QARN_Sensor.Index=10", 0, instance), kCimOk);
        EXPECT_STREQ(ObjMgrUnit(instance), "Cel");
        EXPECT_EQ(ObjMgrSourceOf(instance), 1u);
        ASSERT_EQ(om->GetInstance(handle, "OEM_QARN_Sensor.Index=2", 0, instance), kCimOk);
        EXPECT_STREQ(ObjMgrUnit(instance), "");
        EXPECT_EQ(ObjMgrSourceOf(instance), kImageNoSource);
        om->Close(handle);
        EXPECT_STREQ(ObjMgrUnit(instance), "");
        EXPECT_STREQ(ObjMgrUnit(nullptr), "");
    });
}

// Their age needs no publish and no new connection.
TEST_F(Inspect, SourcesHaveAnAge)
{
    InFreshProcess([this] {
        ObjMgrSource source;
        EXPECT_FALSE(ObjMgrGetSource(0, &source));  // nothing is open
        MustOpen();
        ASSERT_TRUE(ObjMgrGetSource(1, &source));
        EXPECT_STREQ(source.name, "sensors");
        EXPECT_EQ(source.state, kImageSourceUnheard);
        EXPECT_FALSE(source.heard);
        ASSERT_EQ(service_.Run(1), 0);
        ASSERT_TRUE(ObjMgrGetSource(1, &source));
        EXPECT_EQ(source.state, kImageSourceAnswering);
        EXPECT_TRUE(source.heard);
        EXPECT_GE(source.ageMs, 480u);
        EXPECT_LE(source.ageMs, 60000u);
        ASSERT_EQ(service_.Run(2), 0);
        ASSERT_TRUE(ObjMgrGetSource(1, &source));
        EXPECT_EQ(source.state, kImageSourceSilent);
        EXPECT_TRUE(source.heard);
        ASSERT_TRUE(ObjMgrGetSource(0, &source));
        EXPECT_STREQ(source.name, "bmc");
        EXPECT_FALSE(ObjMgrGetSource(2, &source));
        EXPECT_FALSE(ObjMgrGetSource(64, &source));
        EXPECT_FALSE(ObjMgrGetSource(kImageNoSource, &source));
    });
}

TEST_F(Inspect, ServiceSaysItsName)
{
    InFreshProcess([] {
        char name[kImageServiceNameMax + 1] = "x";
        ObjMgrServiceName(name);
        EXPECT_STREQ(name, "");
        EXPECT_EQ(ObjMgrGetPresence(), ObjMgrPresence::Absent);
        MustOpen();
        EXPECT_EQ(ObjMgrGetPresence(), ObjMgrPresence::Serving);
        ObjMgrServiceName(name);
        EXPECT_STREQ(name, "objmgrd-test");
    });
}

TEST_F(Inspect, KeysComeInTheirOrder)
{
    InFreshProcess([] {
        const ObjMgrHandle handle = MustOpen();
        std::string keys;
        u32 position = 0;
        while (const char *key = ObjMgrNextKey(handle, &position))
            keys += std::string(key) + ' ';
        EXPECT_EQ(keys, "OEM_QARN_Sensor.Index=2 OEM_QARN_Sensor.Index=10 OEM_QARN_System ");
        position = 0;
        EXPECT_EQ(ObjMgrNextKey(0, &position), nullptr);
    });
}

TEST_F(Inspect, NamesThatMustNotBeShownAreLeftOut)
{
    InFreshProcess([] {
        std::string image = ImageFileOf(HalfWith({}), BeatMs());
        ImageHead head = HeadOf(image);
        memset(head.serviceName, 'n', sizeof(head.serviceName));
        strcpy(head.sources[0].name, "\x1b[2J");
        head.sources[0].state = htole32(kImageSourceAnswering);
        head.sources[1].state = htole32(77);
        memcpy(image.data(), &head, sizeof(head));
        FalseService service(image);
        MustOpen();
        char name[kImageServiceNameMax + 1];
        ObjMgrServiceName(name);
        EXPECT_EQ(std::string(name), std::string(31, 'n'));
        ObjMgrSource source;
        ASSERT_TRUE(ObjMgrGetSource(0, &source));
        EXPECT_STREQ(source.name, "");
        EXPECT_FALSE(ObjMgrGetSource(1, &source));
    });
}
