// SPDX-License-Identifier: Apache-2.0
#include "objmgrd/packed_instance.h"

#include "support/objmgr_store.h"

#include <gtest/gtest.h>

TEST(StoreSafeText, PlainTextStays)
{
    EXPECT_EQ(StoreSafeText(""), "");
    EXPECT_EQ(StoreSafeText("Fan 1 ~ 40%"), "Fan 1 ~ 40%");
    EXPECT_EQ(StoreSafeText("\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"),
              "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80");
}

TEST(StoreSafeText, ControlCharactersBecomeQuestionMarks)
{
    EXPECT_EQ(StoreSafeText(std::string("a\0b", 3)), "a?b");
    EXPECT_EQ(StoreSafeText("\x1b[2J\r\n\t"), "?[2J???");
    EXPECT_EQ(StoreSafeText("\x1f \x7e\x7f"), "? ~?");
    EXPECT_EQ(StoreSafeText("\xc2\x80|\xc2\x9b|\xc2\x9f|\xc2\xa0"), "?|?|?|\xc2\xa0");
}

TEST(StoreSafeText, BytesThatAreNoUtf8BecomeQuestionMarks)
{
    EXPECT_EQ(StoreSafeText("a\x80\xff\xfe"), "a???");
    EXPECT_EQ(StoreSafeText("\xc3"), "?");
    EXPECT_EQ(StoreSafeText("\xc3("), "?(");
    EXPECT_EQ(StoreSafeText("\xe2\x82"), "??");
    EXPECT_EQ(StoreSafeText("\xe2\x82x"), "??x");
    EXPECT_EQ(StoreSafeText("\xf0\x9f\x98"), "???");
    EXPECT_EQ(StoreSafeText("\xc0\xaf\xc1\xbf"), "????");
    EXPECT_EQ(StoreSafeText("\xe0\x9f\xbf|\xe0\xa0\x80"), "???|\xe0\xa0\x80");
    EXPECT_EQ(StoreSafeText("\xed\xa0\x80|\xed\x9f\xbf"), "???|\xed\x9f\xbf");
    EXPECT_EQ(StoreSafeText("\xf0\x8f\xbf\xbf|\xf0\x90\x80\x80"), "????|\xf0\x90\x80\x80");
    EXPECT_EQ(StoreSafeText("\xf4\x90\x80\x80|\xf4\x8f\xbf\xbf"), "????|\xf4\x8f\xbf\xbf");
    EXPECT_EQ(StoreSafeText("\xf5\x80\x80\x80"), "????");
}

TEST(StoreSafeText, LongTextIsCutAtAWholeCharacter)
{
    const std::string longest(1023, 'x');
    EXPECT_EQ(StoreSafeText(longest), longest);
    EXPECT_EQ(StoreSafeText(longest + "y"), longest);
    EXPECT_EQ(StoreSafeText(longest + "\n"), longest);
    EXPECT_EQ(StoreSafeText("\n" + longest), "?" + longest.substr(1));
    const std::string before(1021, 'x');
    EXPECT_EQ(StoreSafeText(before + "\xc3\xa9z"), before + "\xc3\xa9");
    EXPECT_EQ(StoreSafeText(before + "\xe2\x82\xac"), before);
    EXPECT_EQ(StoreSafeText(before + "\xf0\x9f\x98\x80z"), before);
}

TEST(PackProperties, StatusLengthsNameAndText)
{
    EXPECT_EQ(PackProperties({{"A", 0, "1"}, {"B", 2, "hidden"}}),
              std::string("\0\0\0\0\1\0\1"
                          "A\0"
                          "1\0"
                          "\2\0\0\0\0\0\1"
                          "B\0"
                          "\0",
                          7 + 2 + 2 + 7 + 2 + 1));
}

TEST(PackProperties, PropertiesThatAreReadMostComeFirstAndTheRestAsGiven)
{
    const Instance mixed = Texts({{"Index", "1"},
                                  {"NumRecords", "2"},
                                  {"Format", "3"},
                                  {"ServiceTag", "4"},
                                  {"Name", "5"},
                                  {"PowerStatus", "6"},
                                  {"Type", "7"},
                                  {"Format", "8"},
                                  {"Typed", "9"},
                                  {"A", "10"}});
    const auto ordered = [](const char *name, const char *text) {
        return std::string(4, '\0') + static_cast<char>(strlen(text)) + '\0' +
               static_cast<char>(strlen(name)) + name + '\0' + text + '\0';
    };
    EXPECT_EQ(PackProperties(mixed.properties),
              ordered("Type", "7") + ordered("Format", "3") + ordered("Format", "8") +
                  ordered("PowerStatus", "6") + ordered("ServiceTag", "4") +
                  ordered("NumRecords", "2") + ordered("Index", "1") + ordered("Name", "5") +
                  ordered("Typed", "9") + ordered("A", "10"));
}

TEST(PackProperties, NamesThatDoNotFitAreLeftOut)
{
    const std::string longest(63, 'n');
    const std::string record = PackProperties(Texts({{longest, "1"},
                                                     {longest + "n", "2"},
                                                     {"", "3"},
                                                     {"a\nb", "4"},
                                                     {std::string("a\0b", 3), "5"},
                                                     {"a\x7f", "6"},
                                                     {"a\xe2\x80\xae", "7"}})
                                                  .properties);
    EXPECT_EQ(record.size(), 7u + 63 + 1 + 2);
}

TEST(PackRecord, LongUnitIsLeftOut)
{
    Instance instance;
    instance.unit = std::string(63, 'u');
    EXPECT_STREQ(ImageInstanceAt(PackRecord("K", instance).data(), 0).unit, instance.unit.c_str());
    instance.unit += 'u';
    const std::string record = PackRecord("K", instance);
    EXPECT_STREQ(ImageInstanceAt(record.data(), 0).unit, "");
}

TEST(PackRecord, UnitIsMadeSafe)
{
    Instance instance;
    instance.unit = "\x1b"
                    "C";
    const std::string record = PackRecord("K", instance);
    EXPECT_STREQ(ImageInstanceAt(record.data(), 0).unit, "?C");
}
