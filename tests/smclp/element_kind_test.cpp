// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/element_kind.h"

#include "support/fake_objmgr.h"
#include "support/test_shell.h"

#include <gtest/gtest.h>
#include <string.h>

namespace
{

u32 Fails(const PropertyRequest &)
{
    return 16;
}

u32 Number(const PropertyRequest &request)
{
    request.value[0] = static_cast<char>('0' + request.number);
    return 0;
}

constexpr PropertyRow kRows[] = {
    {"One", FromText, "text"}, {"Two", Fails, nullptr}, {"Three", Number, nullptr}};
constexpr u32 kVerbs[] = {kCommandHelp, kCommandStop};
constexpr ElementKind kKind = {.unit = "unit",
                               .name = "kind",
                               .description = "A kind.",
                               .kindId = 77,
                               .parentKindId = 78,
                               .verbs = kVerbs,
                               .rows = kRows};
constexpr ElementKind kBareKind = {
    .unit = "bare", .name = "bare", .description = "", .kindId = 79, .parentKindId = 77};

}  // namespace

TEST(ElementKind, NamesAreAddedInOrderWithEmptyValues)
{
    FakeObjMgr om;
    TestShell shell;
    ManagedElement *element = MeCreate();
    EXPECT_EQ(MeAddKindProperties(kKind, element), 0u);
    EXPECT_EQ(PropertiesOf(element), "One Two Three");
    EXPECT_STREQ(static_cast<MeProperty *>(element->properties)->value, "");
    EXPECT_EQ(MeAddKindProperties(kKind, nullptr), 2u);
}

TEST(ElementKind, RowsAreFoundByTheirExactName)
{
    EXPECT_EQ(MeFindPropertyRow(kKind, "Two"), &kRows[1]);
    EXPECT_EQ(MeFindPropertyRow(kKind, "two"), nullptr);
    EXPECT_EQ(MeFindPropertyRow(kKind, ""), nullptr);
    EXPECT_EQ(MeFindPropertyRow(kKind, nullptr), nullptr);
}

TEST(ElementKind, RefreshClearsTheWholeValueAndAsksTheSource)
{
    ManagedElement element = {};
    element.instanceNumber = 7;
    char value[256];
    memset(value, 'x', sizeof value);
    EXPECT_EQ(MeRefreshFromRows(kKind, &element, "Three", value, sizeof value, 1), 0u);
    EXPECT_EQ(value[0], '7');
    for (size_t i = 1; i < sizeof value; ++i)
        ASSERT_EQ(value[i], '\0') << i;
    EXPECT_EQ(MeRefreshFromRows(kKind, &element, "One", value, sizeof value, 1), 0u);
    EXPECT_STREQ(value, "text");
    EXPECT_EQ(MeRefreshFromRows(kKind, &element, "Two", value, sizeof value, 1), 16u);
    EXPECT_STREQ(value, "");
}

TEST(ElementKind, LengthOf64IsRefused65IsTaken)
{
    ManagedElement element = {};
    TraceCapture traces;
    char value[65] = "x";
    EXPECT_EQ(MeRefreshFromRows(kKind, &element, "One", value, 64, 1), 1u);
    EXPECT_STREQ(value, "x");
    EXPECT_EQ(MeRefreshFromRows(kKind, &element, "One", value, 65, 1), 0u);
    EXPECT_STREQ(value, "text");
    EXPECT_EQ(traces.Lines(), std::vector<std::string>{});
}

TEST(AppendText, CutsAtTheEndOfTheBuffer)
{
    char text[8] = "abc";
    AppendText(text, sizeof text, "def");
    EXPECT_STREQ(text, "abcdef");
    AppendText(text, sizeof text, "gh");
    EXPECT_STREQ(text, "abcdefg");
    AppendText(text, sizeof text, "i");
    EXPECT_STREQ(text, "abcdefg");
}

TEST(AppendText, BufferWithoutAnEndIsLeftAlone)
{
    char text[4] = {'a', 'b', 'c', 'd'};
    AppendText(text, 4, "e");
    EXPECT_EQ(memcmp(text, "abcd", 4), 0);
}

TEST(AppendList, EmptyListAndTexts)
{
    char text[32] = "";
    AppendListBegin(text, sizeof text);
    AppendListEnd(text, sizeof text);
    EXPECT_STREQ(text, "{ }");
    text[0] = '\0';
    AppendListBegin(text, sizeof text);
    AppendListText(text, sizeof text, "a b");
    AppendListText(text, sizeof text, "");
    AppendListEnd(text, sizeof text);
    EXPECT_STREQ(text, "{ \"a b\" \"\" }");
}

TEST(ElementKind, VerbsAreAddedInOrder)
{
    FakeObjMgr om;
    TestShell shell;
    ManagedElement *element = MeCreate();
    EXPECT_EQ(MeAddKindVerbs(kKind, element), 0u);
    EXPECT_EQ(VerbsOf(element), "3 11");
    EXPECT_EQ(MeAddKindVerbs(kKind, nullptr), 2u);
}

TEST(ElementKind, WithoutAWordItHasTheCommonVerbsAndNoProperties)
{
    FakeObjMgr om;
    TestShell shell;
    ManagedElement *element = MeCreate();
    EXPECT_EQ(MeAddKindVerbs(kBareKind, element), 0u);
    EXPECT_EQ(MeAddKindProperties(kBareKind, element), 0u);
    EXPECT_EQ(VerbsOf(element), "1 12 3 2 13");
    EXPECT_EQ(PropertiesOf(element), "");
}

TEST(ElementKind, FillsNameDescriptionAndIdsIn)
{
    ManagedElement element = {};
    element.instanceNumber = 5;
    MeFillIn(kKind, &element);
    EXPECT_EQ(element.instanceNumber, 0u);
    EXPECT_STREQ(element.name, "kind");
    EXPECT_STREQ(element.description, "A kind.");
    EXPECT_EQ(element.kindId, 77u);
    EXPECT_EQ(element.parentKindId, 78u);
}
