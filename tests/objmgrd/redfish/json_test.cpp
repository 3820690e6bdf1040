// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/redfish/json.
#include "objmgrd/redfish/json.h"

#include "documents.h"

#include <gtest/gtest.h>

#include <cstring>

namespace
{

std::string NameIn(const std::string &text)
{
    JsonDocument document;
    return document.Read(text) ? document.Root()["Name"].Text() : "(refused)";
}

std::string Mended(std::string text)
{
    JsonMend(&text);
    return text;
}

}  // namespace

TEST(Json, WrongTypesAreNone)
{
    JsonDocument document;
    ASSERT_TRUE(document.Read(
        R"({"Text": "a", "Number": 1.5, "Null": null, "List": [1, "b"], "True": true})"));
    const JsonValue root = document.Root();
    EXPECT_EQ(root["Text"].Number(), std::nullopt);
    EXPECT_EQ(root["Number"].Text(), "");
    EXPECT_EQ(root["Number"].Number(), 1.5);
    EXPECT_TRUE(root["Null"].IsNone());
    EXPECT_TRUE(root.Has("Null"));
    EXPECT_FALSE(root.Has("Nothing"));
    EXPECT_TRUE(root["Nothing"]["inside"][size_t{3}]["of"].IsNone());
    EXPECT_EQ(root["List"].Size(), 2u);
    EXPECT_EQ(root["List"][size_t{1}].Text(), "b");
    EXPECT_TRUE(root["List"][size_t{2}].IsNone());
    EXPECT_EQ(root["Text"].Size(), 0u);
    EXPECT_TRUE(root["True"].IsTrue());
    EXPECT_FALSE(root["Number"].IsTrue());
    EXPECT_TRUE(root["Text"].IsText("a"));
    EXPECT_FALSE(root["Text"].IsText("ab"));
    EXPECT_FALSE(JsonValue().IsText(""));
}

TEST(Json, WhatSaysNothing)
{
    Documents read;
    for (const char *text :
         {"{}", "{'@odata.id': '/a'}", "{'Name': null, 'Status': {'State': null}}",
          "{'Name': '', 'List': [], 'Members@odata.count': 3, 'Oem': {'A': 1}}",
          "{'A': [{}, null]}"})
        EXPECT_TRUE(read(text).SaysNothing()) << text;
    for (const char *text : {"{'Name': 'A'}", "{'Reading': 0}", "{'A': false}",
                             "{'Status': {'State': 'Absent'}}", "{'A': [{}, 1]}"})
        EXPECT_FALSE(read(text).SaysNothing()) << text;
    EXPECT_TRUE(JsonValue().SaysNothing());
}

TEST(Json, OneBadTextDoesNotCostTheOthers)
{
    EXPECT_EQ(NameIn("{\"Name\": \"A\", \"Bad\": \"\xff\xfe\"}"), "A");
    EXPECT_EQ(NameIn("{\"Name\": \"A\tB\nC\"}"), "A B C");
    EXPECT_EQ(NameIn("{\"Name\": \"A\xc3\"}"), "A?");
    EXPECT_EQ(NameIn("{\"Name\": \"A\xe4\xb8\"}"), "A??");
    EXPECT_EQ(NameIn("{\"Name\": \"\xed\xa0\x80\"}"), "???");
    EXPECT_EQ(NameIn("{\"Name\": \"\xf4\x90\x80\x80\"}"), "????");
    EXPECT_EQ(NameIn("{\"Name\": \"\xc0\xaf\"}"), "??");
    EXPECT_EQ(NameIn("{\"Name\": \"\xf0\x9f\x98\x80\"}"), "\xf0\x9f\x98\x80");
    EXPECT_EQ(NameIn(R"({"Name": "a\u0000b"})"), "a b");
    EXPECT_EQ(NameIn(R"({"a\u0000b": 1, "Name": "A"})"), "A");
    EXPECT_EQ(NameIn(R"({"Name": "\ud83d\ude00"})"), "\xf0\x9f\x98\x80");
    EXPECT_EQ(NameIn(R"({"Name": "\ud83d-"})"), "?-");
    EXPECT_EQ(NameIn(R"({"Name": "\ude00"})"), "?");
    EXPECT_EQ(NameIn(R"({"Name": "\\ud83d"})"), "\\ud83d");
    EXPECT_EQ(NameIn(R"({"Name": "\u001b[2J\u009b5m"})"), "[2J 5m");
    EXPECT_EQ(NameIn(std::string("{\"Name\": \"a\0b\"}", 15)), "a b");
    EXPECT_EQ(NameIn("\xef\xbb\xbf{\"Name\": \"A\"}"), "A");
    EXPECT_EQ(NameIn(R"({"Name": "A", "Big": 12345678901234567890123})"), "A");
    EXPECT_EQ(NameIn(R"({"Name": "A", "Name": "B"})"), "B");
}

TEST(Json, BytesOfCharactersFromBothSides)
{
    for (const char *whole :
         {"\x7f", "\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xee\x80\x80",
          "\xef\xbf\xbe", "\xf0\x90\x80\x80", "\xf1\x80\x80\x80", "\xf4\x8f\xbf\xbf"})
        EXPECT_EQ(Mended(whole), whole);
    for (const char *bad :
         {"\x80", "\xbf", "\xc1\xbf", "\xc2\xc0", "\xe0\x9f\xbf", "\xed\xa0\x80", "\xe1\x80\xc2",
          "\xf0\x8f\xbf\xbf", "\xf1\x80\x80\xc2", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xff"})
        EXPECT_EQ(Mended(bad), std::string(strlen(bad), '?'));
    EXPECT_EQ(Mended("\xc2\x7f"), "?\x7f");
    EXPECT_EQ(Mended("\xe1\x80"), "??");
}

TEST(Json, DigitsOfEscapesFromBothSides)
{
    for (const char digit : {'0', '9', 'a', 'f', 'A', 'F'})
        EXPECT_EQ(Mended(std::string("\\udbf") + digit), "\\u003f") << digit;
    for (const char other : {'/', ':', '@', '`', 'g', 'G'})
        EXPECT_EQ(Mended(std::string("\\udbf") + other), std::string("\\udbf") + other) << other;
    EXPECT_EQ(Mended("\\uD7FF\\u0000\\u0001"), "\\uD7FF\\u0020\\u0001");
}

TEST(Json, HalvesOfPairsFromBothSides)
{
    for (const char *whole : {"\\ud7ff", "\\ue000", "\\ud800\\udc00", "\\udbff\\udfff"})
        EXPECT_EQ(Mended(whole), whole);
    EXPECT_EQ(Mended("\\udc00\\udc00"), "\\u003f\\u003f");
    EXPECT_EQ(Mended("\\udfff"), "\\u003f");
    EXPECT_EQ(Mended("\\ud800\\ud800"), "\\u003f\\u003f");
    EXPECT_EQ(Mended("\\udbff\\udbff\\udc00"), "\\u003f\\udbff\\udc00");
    EXPECT_EQ(Mended("\\ud800\\ue000"), "\\u003f\\ue000");
}

TEST(Json, MendingChangesNothingElse)
{
    const std::string text = "{\"a\": \"\\\"\\\\ \\n\\u00e4 \xc3\xa4\", \"b\": [1, 2.5e3]}";
    EXPECT_EQ(Mended(text), text);
    EXPECT_EQ(Mended("\\"), "\\");
    EXPECT_EQ(Mended("\\u12"), "\\u12");
    EXPECT_EQ(Mended("\\\x01u"), "\\ u");
    EXPECT_EQ(Mended(""), "");
}

TEST(Json, WhatIsNoObjectIsNoDocument)
{
    JsonDocument document;
    for (const char *text : {"", "[]", "[{}]", "1", "null", "{", "{\"a\": 1,}", "{} {}",
                             "{\"a\": NaN}", "{\"a\": 1e999}", "<html></html>"}) {
        EXPECT_TRUE(document.Read("{}"));
        EXPECT_FALSE(document.Read(text)) << text;
        EXPECT_TRUE(document.Root().IsNone());
    }
    EXPECT_FALSE(document.Read(std::string(100000, '[')));
    EXPECT_FALSE(
        document.Read("{\"a\":" + std::string(100000, '[') + std::string(100000, ']') + "}"));
}

TEST(Json, ALargeDocumentIsRefused)
{
    JsonDocument document;
    const std::string start = "{\"a\": \"";
    const size_t most = 4194304;
    EXPECT_TRUE(document.Read(start + std::string(most - start.size() - 2, 'x') + "\"}"));
    EXPECT_FALSE(document.Read(start + std::string(most - start.size() - 1, 'x') + "\"}"));
}

TEST(Json, AnErrorIsNoResource)
{
    JsonDocument document;
    EXPECT_TRUE(document.ReadResource(R"({"Id": "1"})"));
    EXPECT_FALSE(document.ReadResource(R"({"error": {"code": "Base.1.8.GeneralError"}})"));
    EXPECT_TRUE(document.Root().IsNone());
    EXPECT_TRUE(document.Read(R"({"error": {}})"));
}

TEST(Json, TextsAreCut)
{
    JsonDocument document;
    ASSERT_TRUE(document.Read("{\"a\": \"" + std::string(300, 'x') + "\"}"));
    EXPECT_EQ(document.Root()["a"].Text(), std::string(255, 'x'));
    EXPECT_EQ(document.Root()["a"].RawText(), std::string(300, 'x'));
}
