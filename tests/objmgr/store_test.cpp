// SPDX-License-Identifier: Apache-2.0
#include "objmgr/store.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

// A record written by hand; numbers in native byte order.
static std::string Number(u32 number)
{
    return std::string(reinterpret_cast<const char *>(&number), sizeof(number));
}

static std::string Property(const std::string &name, u32 status, const std::string &text)
{
    const u16 textLength = static_cast<u16>(text.size());
    return Number(status) +
           std::string(reinterpret_cast<const char *>(&textLength), sizeof(textLength)) +
           static_cast<char>(name.size()) + name + '\0' + text + '\0';
}

static const std::string kRecord = Number(0) + Property("Reading", 0, "27") +
                                   Property("Empty", 0, "") + Property("Denied", 2, "") +
                                   Property("Last", 0, "end");

static bool IsRight(const std::string &record)
{
    CimStatus status = 99;
    return StoreCheckRecord(record.data(), record.size(), &status);
}

static std::string Shown(const StoreText &found)
{
    if (found.text == nullptr)
        return found.status == kCimNoSuchProperty ? "absent" : "wrong";
    return found.status == kCimOk ? found.text
                                  : "status " + std::to_string(found.status) + found.text;
}

static std::string TextOf(const std::string &record, const char *property)
{
    EXPECT_TRUE(IsRight(record));
    return Shown(StoreFindProperty(record.data(), record.size(), property));
}

TEST(Store, FindsPropertiesByName)
{
    EXPECT_EQ(TextOf(kRecord, "Reading"), "27");
    EXPECT_EQ(TextOf(kRecord, "Empty"), "");
    EXPECT_EQ(TextOf(kRecord, "Last"), "end");
    EXPECT_EQ(TextOf(kRecord, "Denied"), "status 2");
}

TEST(Store, NamesMatchWholeAndByCase)
{
    EXPECT_EQ(TextOf(kRecord, "reading"), "absent");
    EXPECT_EQ(TextOf(kRecord, "Readin"), "absent");
    EXPECT_EQ(TextOf(kRecord, "Readings"), "absent");
    EXPECT_EQ(TextOf(kRecord, "27"), "absent");
    EXPECT_EQ(TextOf(kRecord, ""), "absent");
    EXPECT_EQ(TextOf(kRecord, nullptr), "absent");
}

TEST(Store, NamesThatBeginAlikeAreToldApart)
{
    const std::string record = Number(0) + Property("Read", 0, "1") + Property("Reading", 0, "2") +
                               Property("Readings", 0, "3");
    EXPECT_EQ(TextOf(record, "Read"), "1");
    EXPECT_EQ(TextOf(record, "Reading"), "2");
    EXPECT_EQ(TextOf(record, "Readings"), "3");
    EXPECT_EQ(TextOf(record, "Readin"), "absent");
    EXPECT_EQ(TextOf(record, "Reads"), "absent");
}

TEST(Store, TextPointsIntoTheRecord)
{
    EXPECT_EQ(StoreFindProperty(kRecord.data(), kRecord.size(), "Reading").text,
              kRecord.data() + 4 + 7 + 8);
}

TEST(Store, TextOfARefusedPropertyIsEmptyWhateverIsStored)
{
    const std::string record = Number(0) + Property("Denied", 2, "secret");
    EXPECT_EQ(TextOf(record, "Denied"), "status 2");
}

TEST(Store, FirstOfTwoPropertiesWithOneNameCounts)
{
    const std::string record = Number(0) + Property("A", 0, "1") + Property("A", 0, "2");
    EXPECT_EQ(TextOf(record, "A"), "1");
}

TEST(Store, FormWithDigitsIsFoundByThePropertyAlone)
{
    const std::string record = Number(0) + Property("Timestamp;YYYYMMDDHHMMSS", 0, "2024") +
                               Property("Timestamp", 0, "Monday") + Property("Reading", 0, "27");
    const auto digitsOf = [&](const char *property) {
        return Shown(StoreFindDigits(record.data(), record.size(), property));
    };
    EXPECT_EQ(digitsOf("Timestamp"), "2024");
    EXPECT_EQ(digitsOf("Timestam"), "absent");
    EXPECT_EQ(digitsOf("Timestamp;"), "absent");
    EXPECT_EQ(digitsOf("Timestamp;YYYYMMDDHHMMSS"), "absent");
    EXPECT_EQ(digitsOf("Reading"), "absent");
    EXPECT_EQ(digitsOf(""), "absent");
    EXPECT_EQ(digitsOf(nullptr), "absent");
    EXPECT_EQ(TextOf(record, "Timestamp"), "Monday");
    EXPECT_EQ(TextOf(record, "Timestamp;YYYYMMDDHHMMSS"), "absent");
}

TEST(Store, LongestNameAndTextAreFound)
{
    const std::string name(255, 'n');
    const std::string text(65535, 't');
    const std::string record = Number(0) + Property(name, 0, text) + Property("Last", 0, "end");
    EXPECT_EQ(TextOf(record, name.c_str()), text);
    EXPECT_EQ(TextOf(record, (name + "n").c_str()), "absent");
    EXPECT_EQ(TextOf(record, "Last"), "end");
}

TEST(Store, RecordWithoutANulBehindANameOrATextIsNone)
{
    const std::string record = Number(0) + Property("A", 0, "12") + Property("B", 0, "3");
    EXPECT_TRUE(IsRight(record));
    const size_t first = 4 + 7 + 2 + 3;
    for (const size_t nul : {4 + 7 + size_t{1}, first - 1, first + 7 + 1, record.size() - 1}) {
        std::string broken = record;
        ASSERT_EQ(broken[nul], '\0');
        broken[nul] = 'x';
        EXPECT_FALSE(IsRight(broken)) << nul;
    }
}

TEST(Store, RecordWithANulInsideANameOrATextIsNone)
{
    EXPECT_FALSE(IsRight(Number(0) + Property(std::string("A\0B", 3), 0, "1")));
    EXPECT_FALSE(IsRight(Number(0) + Property("A", 0, std::string("1\0", 2))));
}

TEST(Store, StatusIsTheFirstFourBytes)
{
    CimStatus status = 0;
    const std::string record = Number(6);
    EXPECT_TRUE(StoreCheckRecord(record.data(), 4, &status));
    EXPECT_EQ(status, 6u);
    EXPECT_FALSE(StoreCheckRecord(record.data(), 3, &status));
    EXPECT_EQ(status, kCimFailed);
    EXPECT_FALSE(StoreCheckRecord(nullptr, 0, &status));
    EXPECT_EQ(status, kCimFailed);
}

// Exact-size copies on the heap: the address sanitizer sees a read beyond them.
static std::unique_ptr<char[]> Copy(const std::string &bytes, size_t size)
{
    std::unique_ptr<char[]> copy(new char[size]);
    memcpy(copy.get(), bytes.data(), size);
    return copy;
}

// A record that ends behind a property is right, cut off anywhere else it is none.
TEST(Store, RecordCutAnywhereIsNeverReadBeyond)
{
    const size_t reading = 4 + 7 + 8 + 3;
    const size_t empty = reading + 7 + 6 + 1;
    const size_t denied = empty + 7 + 7 + 1;
    for (size_t size = 0; size < kRecord.size(); ++size) {
        const std::unique_ptr<char[]> cut = Copy(kRecord, size);
        CimStatus status;
        EXPECT_EQ(StoreCheckRecord(cut.get(), size, &status),
                  size == 4 || size == reading || size == empty || size == denied)
            << size;
    }
}

TEST(Store, CorruptRecordsAreNeverReadBeyond)
{
    for (size_t at = 0; at < kRecord.size(); ++at) {
        for (const char byte : {'\0', '\1', 'x', '\xff'}) {
            const std::unique_ptr<char[]> broken = Copy(kRecord, kRecord.size());
            broken[at] = byte;
            CimStatus status = 99;
            if (!StoreCheckRecord(broken.get(), kRecord.size(), &status))
                continue;
            const StoreText found = StoreFindProperty(broken.get(), kRecord.size(), "Last");
            StoreFindDigits(broken.get(), kRecord.size(), "Last");
            if (found.text != nullptr) {
                EXPECT_GE(found.text, broken.get());
                EXPECT_LT(found.text + strlen(found.text), broken.get() + kRecord.size());
            }
        }
    }
}
