// SPDX-License-Identifier: Apache-2.0
#include "objmgrd/half_builder.h"

#include "support/objmgr_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

TEST(KeyOrder, NumbersAtTheEndAreComparedAsNumbers)
{
    const std::vector<std::string> ordered = {
        "",        "A",     "A.I=",   "A.I=1", "A.I=2",     "A.I=9",     "A.I=10",       "A.I=99",
        "A.I=100", "A.I=0", "A.I=01", "B",     "C.A=2,B=1", "C.A=2,B=3", "C.A=10,B=1000"};
    const KeyOrder before;
    std::vector<std::string> keys = ordered;
    std::shuffle(keys.begin(), keys.end(), std::mt19937(1));
    std::sort(keys.begin(), keys.end(), before);
    for (size_t i = 0; i < keys.size(); ++i) {
        EXPECT_FALSE(before(keys[i], keys[i]));
        for (size_t j = i + 1; j < keys.size(); ++j) {
            EXPECT_TRUE(before(keys[i], keys[j])) << keys[i] << " " << keys[j];
            EXPECT_FALSE(before(keys[j], keys[i])) << keys[i] << " " << keys[j];
        }
    }
    const auto at = [&](const char *key) { return std::find(keys.begin(), keys.end(), key); };
    EXPECT_LT(at("A.I=2"), at("A.I=10"));
    EXPECT_LT(at("A.I=99"), at("A.I=100"));
}

static u32 Slots(const std::string &half)
{
    ImageHalf head;
    memcpy(&head, half.data(), sizeof(head));
    return head.slots;
}

// The record that the index says, as a reader looks it up.
static u32 Find(const std::string &half, const std::string &key)
{
    const u32 hash = ImageHash(key.data(), key.size());
    for (u32 probe = 0; probe < kImageProbesMax; ++probe) {
        ImageSlot slot;
        const u32 place = (hash + probe) & (Slots(half) - 1);
        memcpy(&slot, half.data() + sizeof(ImageHalf) + place * sizeof(slot), sizeof(slot));
        if (slot.record == 0)
            return 0;
        if (slot.hash == hash && key == ImageInstanceAt(half.data(), slot.record).key)
            return slot.record;
    }
    return 0;
}

TEST(HalfBuilder, EveryKeyIsFound)
{
    HalfBuilder builder;
    for (int i = 0; i < 5000; ++i) {
        const std::string key = "OEM_QARN_LogRecord.LogName=SEL,RecordNum=" + std::to_string(i);
        builder.Put(key, PackRecord(key, {}));
    }
    const std::string &half = builder.Build(3);
    EXPECT_TRUE(ImageCheckHalf(half.data(), half.size(), 3));
    EXPECT_EQ(Slots(half), 16384u);
    for (int i = 0; i < 5000; ++i) {
        const std::string key = "OEM_QARN_LogRecord.LogName=SEL,RecordNum=" + std::to_string(i);
        EXPECT_NE(Find(half, key), 0u) << key;
    }
    EXPECT_EQ(Find(half, "OEM_QARN_LogRecord.LogName=SEL,RecordNum=5000"), 0u);
}

TEST(HalfBuilder, IndexIsHalfFullAtTheMost)
{
    HalfBuilder builder;
    EXPECT_EQ(Slots(builder.Build(1)), 8u);
    for (int i = 0; i < 4; ++i)
        builder.Put("K" + std::to_string(i), PackRecord("K" + std::to_string(i), {}));
    EXPECT_EQ(Slots(builder.Build(1)), 8u);
    builder.Put("K4", PackRecord("K4", {}));
    EXPECT_EQ(Slots(builder.Build(1)), 16u);
    builder.Delete("K4");
    builder.Delete("None");
    EXPECT_EQ(Slots(builder.Build(1)), 8u);
}

// Keys whose places are all the same: the index grows until a search is short.
TEST(HalfBuilder, KeysThatCrowdGetMoreRoom)
{
    HalfBuilder builder;
    std::vector<std::string> keys;
    for (int i = 0; keys.size() < 100; ++i) {
        const std::string key = "K" + std::to_string(i);
        if ((ImageHash(key.data(), key.size()) & 255) == 7)
            keys.push_back(key);
    }
    for (const std::string &key : keys)
        builder.Put(key, PackRecord(key, {}));
    const std::string &half = builder.Build(1);
    EXPECT_GT(Slots(half), 256u);
    for (const std::string &key : keys)
        EXPECT_NE(Find(half, key), 0u) << key;
}

TEST(HalfBuilder, SizeIsEnoughForWhatIsBuilt)
{
    HalfBuilder builder;
    std::mt19937 random(7);
    for (int turn = 0; turn < 300; ++turn) {
        const std::string key = "K" + std::to_string(random() % 60);
        Instance instance;
        instance.properties.push_back({"T", kCimOk, std::string(random() % 200, 'x')});
        if (random() % 3 == 0)
            builder.Delete(key);
        else
            builder.Put(key, PackRecord(key, instance));
        builder.SetFaults(std::string(random() % 50, 'f'));
        const u64 size = builder.Build(1).size();
        EXPECT_LE(size, builder.Size());
        EXPECT_LE(builder.Size() - size, 48u);
    }
}

TEST(HalfBuilder, SizeWithChangesIsTheSizeAfterThem)
{
    HalfBuilder builder;
    builder.Put("A", PackRecord("A", {}));
    const std::string record = PackRecord("B", {});
    const u64 with = builder.SizeWith(1, ImageAlign(static_cast<u32>(record.size())), 5);
    builder.Put("B", record);
    builder.SetFaults("12345");
    EXPECT_EQ(builder.Size(), with);
}
