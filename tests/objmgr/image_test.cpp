// SPDX-License-Identifier: Apache-2.0
#include "objmgr/image.h"

#include "support/objmgr_store.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>

// Properties written by hand.
static std::string Property(const std::string &name, u32 status, const std::string &text)
{
    const u32 littleStatus = htole32(status);
    const u16 length = htole16(static_cast<u16>(text.size()));
    return std::string(reinterpret_cast<const char *>(&littleStatus), sizeof(littleStatus)) +
           std::string(reinterpret_cast<const char *>(&length), sizeof(length)) +
           static_cast<char>(name.size()) + name + '\0' + text + '\0';
}

static const std::string kProperties = Property("Reading", 0, "27") + Property("Empty", 0, "") +
                                       Property("Denied", 2, "") + Property("Last", 0, "end");

// An exact-size copy on the heap: the address sanitizer sees a read beyond it.
static std::unique_ptr<char[]> Copy(const std::string &bytes, size_t size)
{
    std::unique_ptr<char[]> copy(new char[size]);
    memcpy(copy.get(), bytes.data(), size);
    return copy;
}

static bool AreRight(const std::string &properties)
{
    const std::unique_ptr<char[]> copy = Copy(properties, properties.size());
    return ImageCheckProperties(copy.get(), copy.get() + properties.size());
}

static std::string Shown(const ImageText &found)
{
    if (found.text == nullptr)
        return found.status == kCimNoSuchProperty ? "absent" : "wrong";
    return found.status == kCimOk ? found.text
                                  : "status " + std::to_string(found.status) + found.text;
}

static std::string TextOf(const std::string &properties, const char *property)
{
    EXPECT_TRUE(AreRight(properties));
    const char *first = properties.data();
    return Shown(ImageFindProperty(first, first + properties.size(), property));
}

// ---- properties ----

TEST(Image, FindsPropertiesByName)
{
    EXPECT_EQ(TextOf(kProperties, "Reading"), "27");
    EXPECT_EQ(TextOf(kProperties, "Empty"), "");
    EXPECT_EQ(TextOf(kProperties, "Last"), "end");
    EXPECT_EQ(TextOf(kProperties, "Denied"), "status 2");
}

TEST(Image, NamesMatchWholeAndByCase)
{
    EXPECT_EQ(TextOf(kProperties, "reading"), "absent");
    EXPECT_EQ(TextOf(kProperties, "Readin"), "absent");
    EXPECT_EQ(TextOf(kProperties, "Readings"), "absent");
    EXPECT_EQ(TextOf(kProperties, "27"), "absent");
    EXPECT_EQ(TextOf(kProperties, ""), "absent");
    EXPECT_EQ(TextOf(kProperties, nullptr), "absent");
}

TEST(Image, NamesThatBeginAlikeAreToldApart)
{
    const std::string properties =
        Property("Read", 0, "1") + Property("Reading", 0, "2") + Property("Readings", 0, "3");
    EXPECT_EQ(TextOf(properties, "Read"), "1");
    EXPECT_EQ(TextOf(properties, "Reading"), "2");
    EXPECT_EQ(TextOf(properties, "Readings"), "3");
    EXPECT_EQ(TextOf(properties, "Readin"), "absent");
    EXPECT_EQ(TextOf(properties, "Reads"), "absent");
}

TEST(Image, TextPointsIntoTheProperties)
{
    const char *first = kProperties.data();
    EXPECT_EQ(ImageFindProperty(first, first + kProperties.size(), "Reading").text, first + 7 + 8);
}

TEST(Image, TextOfARefusedPropertyIsEmptyWhateverIsStored)
{
    EXPECT_EQ(TextOf(Property("Denied", 2, "secret"), "Denied"), "status 2");
}

TEST(Image, FirstOfTwoPropertiesWithOneNameCounts)
{
    EXPECT_EQ(TextOf(Property("A", 0, "1") + Property("A", 0, "2"), "A"), "1");
}

TEST(Image, FormWithDigitsIsFoundByThePropertyAlone)
{
    const std::string properties = Property("Timestamp;YYYYMMDDHHMMSS", 0, "2024") +
                                   Property("Timestamp", 0, "Monday") +
                                   Property("Reading", 0, "27");
    const char *first = properties.data();
    const auto digitsOf = [&](const char *property) {
        return Shown(ImageFindDigits(first, first + properties.size(), property));
    };
    EXPECT_EQ(digitsOf("Timestamp"), "2024");
    EXPECT_EQ(digitsOf("Timestam"), "absent");
    EXPECT_EQ(digitsOf("Timestamp;"), "absent");
    EXPECT_EQ(digitsOf("Timestamp;YYYYMMDDHHMMSS"), "absent");
    EXPECT_EQ(digitsOf("Reading"), "absent");
    EXPECT_EQ(digitsOf(""), "absent");
    EXPECT_EQ(digitsOf(nullptr), "absent");
    EXPECT_EQ(TextOf(properties, "Timestamp"), "Monday");
    EXPECT_EQ(TextOf(properties, "Timestamp;YYYYMMDDHHMMSS"), "absent");
}

TEST(Image, LongestNameAndTextAreFoundAndLongerOnesRefused)
{
    const std::string name(255, 'n');
    const std::string text(1023, 't');
    const std::string properties = Property(name, 0, text) + Property("Last", 0, "end");
    EXPECT_EQ(TextOf(properties, name.c_str()), text);
    EXPECT_EQ(TextOf(properties, (name + "n").c_str()), "absent");
    EXPECT_EQ(TextOf(properties, "Last"), "end");
    EXPECT_FALSE(AreRight(Property("Name", 0, text + "t")));
}

TEST(Image, PropertiesWithoutANulBehindANameOrATextAreNone)
{
    const std::string properties = Property("A", 0, "12") + Property("B", 0, "3");
    const size_t first = 7 + 2 + 3;
    for (const size_t nul : {7 + size_t{1}, first - 1, first + 7 + 1, properties.size() - 1}) {
        std::string broken = properties;
        ASSERT_EQ(broken[nul], '\0');
        broken[nul] = 'x';
        EXPECT_FALSE(AreRight(broken)) << nul;
    }
}

TEST(Image, TextsThatMustNotBeShownAreRefused)
{
    EXPECT_FALSE(AreRight(Property(std::string("A\0B", 3), 0, "1")));
    EXPECT_FALSE(AreRight(Property("A", 0, std::string("1\0", 2))));
    EXPECT_FALSE(AreRight(Property("A", 0, "\x1b[2J")));
    EXPECT_FALSE(AreRight(Property("A", 0, "\xc2\x9b")));
    EXPECT_FALSE(AreRight(Property("A", 0, "\xe2\x80\xae")));
    EXPECT_FALSE(AreRight(Property("A", 0, "\xff")));
    EXPECT_FALSE(AreRight(Property("A\n", 0, "1")));
    EXPECT_FALSE(AreRight(Property("A", 2, "\n")));
    EXPECT_TRUE(AreRight(Property("A", 0, "\xc3\xa9")));
}

// Properties that end behind one of them are right, cut off anywhere else they are not.
TEST(Image, PropertiesCutAnywhereAreNeverReadBeyond)
{
    const size_t reading = 7 + 8 + 3;
    const size_t empty = reading + 7 + 6 + 1;
    const size_t denied = empty + 7 + 7 + 1;
    for (size_t size = 0; size < kProperties.size(); ++size) {
        EXPECT_EQ(AreRight(kProperties.substr(0, size)),
                  size == 0 || size == reading || size == empty || size == denied)
            << size;
    }
}

// ---- records and halves ----

static const Records kRecords = {{"B", Texts({{"Name", "b"}})},
                                 {"A.I=2", Texts({{"Name", "2"}})},
                                 {"A.I=10", Texts({{"Name", "10"}})}};

static ImageHalf HeadOfHalf(const std::string &half)
{
    ImageHalf head;
    memcpy(&head, half.data(), sizeof(head));
    return head;
}

static std::string WithHead(std::string half, const ImageHalf &head)
{
    memcpy(half.data(), &head, sizeof(head));
    return half;
}

static bool IsHalf(const std::string &half, u32 count = 1)
{
    const std::unique_ptr<char[]> copy = Copy(half, half.size());
    return ImageCheckHalf(copy.get(), half.size(), count);
}

TEST(Image, HalfOfAServiceIsRight)
{
    EXPECT_TRUE(IsHalf(HalfWith(kRecords)));
    EXPECT_TRUE(IsHalf(HalfWith({})));
}

TEST(Image, HalfOfAnotherPublishIsNotRight)
{
    EXPECT_FALSE(IsHalf(HalfWith(kRecords), 2));
    EXPECT_FALSE(IsHalf(HalfWith(kRecords), 0));
}

TEST(Image, EveryPartOfAHalfLiesInIt)
{
    const std::string half = HalfWith(kRecords);
    const ImageHalf right = HeadOfHalf(half);
    const auto isRightWith = [&](void (*change)(ImageHalf *)) {
        ImageHalf head = right;
        change(&head);
        return IsHalf(WithHead(half, head));
    };
    EXPECT_TRUE(isRightWith([](ImageHalf *) {}));
    EXPECT_FALSE(isRightWith([](ImageHalf *head) { --head->size; }));
    EXPECT_FALSE(isRightWith([](ImageHalf *head) { ++head->size; }));
    EXPECT_FALSE(isRightWith([](ImageHalf *head) { head->slots = 0; }));
    EXPECT_FALSE(isRightWith([](ImageHalf *head) { head->slots = 7; }));
    EXPECT_TRUE(isRightWith([](ImageHalf *head) { head->slots = 4; }));
    EXPECT_FALSE(isRightWith([](ImageHalf *head) { head->slots = 16; }));
    EXPECT_FALSE(isRightWith([](ImageHalf *head) { head->slots = 0x80000000; }));
    EXPECT_FALSE(isRightWith([](ImageHalf *head) { head->records -= 16; }));
    EXPECT_FALSE(isRightWith([](ImageHalf *head) { head->records += 1; }));
    EXPECT_TRUE(isRightWith([](ImageHalf *head) { head->records = head->recordsEnd; }));
    EXPECT_FALSE(isRightWith([](ImageHalf *head) { head->records = head->recordsEnd + 16; }));
    EXPECT_FALSE(isRightWith([](ImageHalf *head) { head->recordsEnd = head->size + 1; }));
    EXPECT_FALSE(isRightWith([](ImageHalf *head) { head->faults = head->size + 1; }));
    EXPECT_FALSE(isRightWith([](ImageHalf *head) { head->faultsSize = 1; }));
    EXPECT_FALSE(isRightWith([](ImageHalf *head) { head->faultsSize = 0xffffffff; }));
    EXPECT_FALSE(isRightWith([](ImageHalf *head) { head->faults = 31; }));
}

TEST(Image, HalfCutAnywhereIsNotRight)
{
    const std::string half = HalfWith(kRecords);
    for (size_t size = 0; size < half.size(); ++size)
        EXPECT_FALSE(IsHalf(half.substr(0, size))) << size;
}

static u32 FirstRecord(const std::string &half)
{
    return le32toh(HeadOfHalf(half).records);
}

static bool IsRecord(const std::string &half, u32 offset)
{
    const std::unique_ptr<char[]> copy = Copy(half, half.size());
    return ImageCheckRecord(copy.get(), offset);
}

TEST(Image, RecordsStandInTheOrderOfTheirNumbers)
{
    const std::string half = HalfWith(kRecords);
    std::string keys;
    for (u32 at = FirstRecord(half); at < le32toh(HeadOfHalf(half).recordsEnd);) {
        ASSERT_TRUE(IsRecord(half, at));
        const ImageInstance instance = ImageInstanceAt(half.data(), at);
        keys += std::string(instance.key) + ' ';
        at = ImageAlign(static_cast<u32>(instance.end - half.data()));
    }
    EXPECT_EQ(keys, "A.I=2 A.I=10 B ");
}

TEST(Image, RecordSaysUnitAndSource)
{
    Instance sensor = Texts({{"Reading", "27"}});
    sensor.unit = "Cel";
    sensor.source = 5;
    sensor.status = 7;
    const std::string half = HalfWith({{"S", sensor}, {"T", {}}});
    const ImageInstance with = ImageInstanceAt(half.data(), FirstRecord(half));
    EXPECT_STREQ(with.key, "S");
    EXPECT_STREQ(with.unit, "Cel");
    EXPECT_EQ(with.source, 5u);
    EXPECT_EQ(with.status, 7u);
    EXPECT_STREQ(ImageFindProperty(with.first, with.end, "Reading").text, "27");
    const u32 next = ImageAlign(static_cast<u32>(with.end - half.data()));
    const ImageInstance without = ImageInstanceAt(half.data(), next);
    EXPECT_STREQ(without.key, "T");
    EXPECT_STREQ(without.unit, "");
    EXPECT_EQ(without.source, kImageNoSource);
    EXPECT_EQ(without.first, without.end);
}

TEST(Image, RecordBeginsOnlyWhereOneMay)
{
    const std::string half = HalfWith(kRecords);
    const u32 first = FirstRecord(half);
    EXPECT_TRUE(IsRecord(half, first));
    EXPECT_FALSE(IsRecord(half, first + 1));
    EXPECT_FALSE(IsRecord(half, first - 16));
    EXPECT_FALSE(IsRecord(half, 0));
    EXPECT_FALSE(IsRecord(half, le32toh(HeadOfHalf(half).recordsEnd)));
    EXPECT_FALSE(IsRecord(half, 0xfffffff0));
}

TEST(Image, RecordWhoseLengthsDoNotFitIsNone)
{
    const std::string half = HalfWith({{"Key", Texts({{"Name", "x"}})}});
    const u32 at = FirstRecord(half);
    ImageRecord right;
    memcpy(&right, half.data() + at, sizeof(right));
    const auto isRightWith = [&](void (*change)(ImageRecord *)) {
        ImageRecord record = right;
        change(&record);
        std::string changed = half;
        memcpy(changed.data() + at, &record, sizeof(record));
        return IsRecord(changed, at);
    };
    EXPECT_TRUE(isRightWith([](ImageRecord *) {}));
    EXPECT_FALSE(isRightWith([](ImageRecord *record) { record->bytes = 0; }));
    EXPECT_FALSE(isRightWith([](ImageRecord *record) { record->bytes = 15; }));
    EXPECT_FALSE(isRightWith([](ImageRecord *record) { record->bytes = 16; }));
    EXPECT_FALSE(isRightWith([](ImageRecord *record) { --record->bytes; }));
    EXPECT_FALSE(isRightWith([](ImageRecord *record) { record->bytes += 16; }));
    EXPECT_FALSE(isRightWith([](ImageRecord *record) { record->bytes = 0xffffffff; }));
    EXPECT_FALSE(isRightWith([](ImageRecord *record) { ++record->keyLength; }));
    EXPECT_FALSE(isRightWith([](ImageRecord *record) { --record->keyLength; }));
    EXPECT_FALSE(isRightWith([](ImageRecord *record) { record->keyLength = 0xffff; }));
    EXPECT_FALSE(isRightWith([](ImageRecord *record) { record->unitLength = 1; }));
    EXPECT_FALSE(isRightWith([](ImageRecord *record) { record->unitLength = 255; }));
}

TEST(Image, KeyOfEveryLengthHasAHashOfItsOwn)
{
    const std::string text = "OEM_QARN_Sensor";
    std::map<u32, size_t> seen;
    for (size_t length = 0; length <= text.size(); ++length)
        EXPECT_TRUE(seen.emplace(ImageHash(text.data(), length), length).second) << length;
    // Bytes beyond are not looked at, and zero bytes do count.
    EXPECT_EQ(ImageHash("abcdeXXX", 5), ImageHash("abcdeYYY", 5));
    EXPECT_NE(ImageHash("abcd", 4), ImageHash("abcd\0", 5));
}

// Any change of any bytes: what is found is right, lies in the half and ends there.
TEST(Image, HalvesDamagedAtRandomAreNeverReadBeyond)
{
    std::mt19937 random(20240101);
    const std::string half = HalfWith(kRecords);
    for (int image = 0; image < 10000; ++image) {
        const std::unique_ptr<char[]> damaged = Copy(half, half.size());
        for (u64 changes = 1 + random() % 4; changes > 0; --changes)
            damaged[random() % half.size()] = static_cast<char>(random());
        if (!ImageCheckHalf(damaged.get(), half.size(), 1))
            continue;
        for (u32 at = 0; at < half.size(); at += kImageRecordAlign) {
            if (!ImageCheckRecord(damaged.get(), at))
                continue;
            const ImageInstance instance = ImageInstanceAt(damaged.get(), at);
            const char *end = damaged.get() + half.size();
            ASSERT_LE(instance.end, end);
            ASSERT_EQ(strlen(instance.key), instance.keyLength);
            const ImageText name = ImageFindProperty(instance.first, instance.end, "Name");
            ImageFindDigits(instance.first, instance.end, "Name");
            if (name.text != nullptr) {
                ASSERT_LT(name.text + strlen(name.text), end);
            }
        }
    }
}
