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
constexpr PropertyTable kTable = {"unit", kRows};

}  // namespace

TEST(PropertyTable, NamesAreAddedInOrderWithEmptyValues)
{
    FakeObjMgr om;
    TestShell shell;
    ManagedElement *element = MeCreate();
    EXPECT_EQ(MeAddTableProperties(kTable, element), 0u);
    EXPECT_EQ(PropertiesOf(element), "One Two Three");
    EXPECT_STREQ(static_cast<MeProperty *>(element->properties)->value, "");
    EXPECT_EQ(MeAddTableProperties(kTable, nullptr), 2u);
}

TEST(PropertyTable, RowsAreFoundByTheirExactName)
{
    EXPECT_EQ(MeFindPropertyRow(kTable, "Two"), &kRows[1]);
    EXPECT_EQ(MeFindPropertyRow(kTable, "two"), nullptr);
    EXPECT_EQ(MeFindPropertyRow(kTable, ""), nullptr);
    EXPECT_EQ(MeFindPropertyRow(kTable, nullptr), nullptr);
}

TEST(PropertyTable, RefreshClearsTheWholeValueAndAsksTheSource)
{
    ManagedElement element = {};
    element.instanceNumber = 7;
    char value[256];
    memset(value, 'x', sizeof value);
    EXPECT_EQ(MeRefreshFromTable(kTable, &element, "Three", value, sizeof value, 1), 0u);
    EXPECT_EQ(value[0], '7');
    for (size_t i = 1; i < sizeof value; ++i)
        ASSERT_EQ(value[i], '\0') << i;
    EXPECT_EQ(MeRefreshFromTable(kTable, &element, "One", value, sizeof value, 1), 0u);
    EXPECT_STREQ(value, "text");
    EXPECT_EQ(MeRefreshFromTable(kTable, &element, "Two", value, sizeof value, 1), 16u);
    EXPECT_STREQ(value, "");
}

TEST(PropertyTable, LengthOf64IsRefused65IsTaken)
{
    ManagedElement element = {};
    TraceCapture traces;
    char value[65] = "x";
    EXPECT_EQ(MeRefreshFromTable(kTable, &element, "One", value, 64, 1), 1u);
    EXPECT_STREQ(value, "x");
    EXPECT_EQ(MeRefreshFromTable(kTable, &element, "One", value, 65, 1), 0u);
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

TEST(CommonVerbs, InOrder)
{
    FakeObjMgr om;
    TestShell shell;
    ManagedElement *element = MeCreate();
    EXPECT_EQ(MeAddCommonVerbs(element), 0u);
    EXPECT_EQ(VerbsOf(element), "1 12 3 2 13");
    EXPECT_EQ(MeAddCommonVerbs(nullptr), 2u);
}
