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
    return name + '\0' + Number(status) + text + '\0';
}

static const std::string kRecord = Number(0) + Property("Reading", 0, "27") +
                                   Property("Empty", 0, "") + Property("Denied", 2, "") +
                                   Property("Last", 0, "end");

static std::string TextOf(const std::string &record, const char *property)
{
    CimStatus status = 99;
    const char *text = nullptr;
    if (!StoreFindProperty(record.data(), record.size(), property, &status, &text))
        return "absent";
    return status == kCimOk ? text : "status " + std::to_string(status) + text;
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
    CimStatus status;
    const char *text;
    EXPECT_FALSE(StoreFindProperty(kRecord.data(), kRecord.size(), nullptr, &status, &text));
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
    CimStatus status;
    const char *text = nullptr;
    ASSERT_TRUE(StoreFindProperty(kRecord.data(), kRecord.size(), "Reading", &status, &text));
    EXPECT_EQ(text, kRecord.data() + 4 + 8 + 4);
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

TEST(Store, StatusIsTheFirstFourBytes)
{
    CimStatus status = 0;
    const std::string record = Number(6);
    EXPECT_TRUE(StoreReadStatus(record.data(), 4, &status));
    EXPECT_EQ(status, 6u);
    EXPECT_FALSE(StoreReadStatus(record.data(), 3, &status));
    EXPECT_EQ(status, kCimFailed);
    EXPECT_FALSE(StoreReadStatus(nullptr, 0, &status));
    EXPECT_EQ(status, kCimFailed);
}

// Exact-size copies on the heap: the address sanitizer sees a read beyond them.
static std::unique_ptr<char[]> Copy(const std::string &bytes, size_t size)
{
    std::unique_ptr<char[]> copy(new char[size]);
    memcpy(copy.get(), bytes.data(), size);
    return copy;
}

TEST(Store, RecordCutAnywhereIsNeverReadBeyond)
{
    const size_t readingEnd = 4 + 8 + 4 + 3;
    for (size_t size = 0; size < kRecord.size(); ++size) {
        const std::unique_ptr<char[]> cut = Copy(kRecord, size);
        CimStatus status;
        const char *text;
        EXPECT_FALSE(StoreFindProperty(cut.get(), size, "Last", &status, &text)) << size;
        EXPECT_FALSE(StoreFindProperty(cut.get(), size, "None", &status, &text)) << size;
        EXPECT_EQ(StoreFindProperty(cut.get(), size, "Reading", &status, &text), size >= readingEnd)
            << size;
        EXPECT_EQ(StoreReadStatus(cut.get(), size, &status), size >= 4) << size;
    }
}

TEST(Store, CorruptRecordsAreNeverReadBeyond)
{
    for (size_t size = 0; size < kRecord.size(); ++size) {
        for (const char byte : {'\0', 'x', '\xff'}) {
            const std::unique_ptr<char[]> broken = Copy(kRecord, kRecord.size());
            broken[size] = byte;
            CimStatus status = 99;
            const char *text = nullptr;
            if (StoreFindProperty(broken.get(), kRecord.size(), "Last", &status, &text)) {
                EXPECT_GE(text, broken.get());
                EXPECT_LT(text + strlen(text), broken.get() + kRecord.size());
            }
        }
    }
}
