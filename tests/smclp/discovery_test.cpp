// SPDX-License-Identifier: Apache-2.0
// discovery_test.cpp -- from a table of kinds to the tree of targets.
//
// The rules are tested on tables of the test's own.
#include "smclp/discovery.h"

#include "platform/memmgr.h"
#include "smclp/command_list.h"
#include "support/failing_memory.h"
#include "support/test_shell.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace
{

struct Kind {
    const char *name;
    u32 kindId;
    u32 parentKindId;
};
MeConstructor gTable[9];
Kind gKinds[8];
std::string gSteps;

template <int N> void Construct(ManagedElement *element)
{
    // What discovery presets must be there, and nothing else.
    if (element->kindId != 2 || element->parentKindId != 2 || element->word9 != 0 ||
        element->word10 != 1 || element->name[0] != '\0' || element->instanceNumber != 0)
        gSteps += "NOT PRESET ";
    gSteps += std::to_string(N) + " ";
    MeSetName(element, gKinds[N].name);
    if (gKinds[N].kindId != 2)
        element->kindId = gKinds[N].kindId;
    if (gKinds[N].parentKindId != 2)
        element->parentKindId = gKinds[N].parentKindId;
}

// Pools 0 and 1: 8 elements and 8 mappings.
class TestTable : public testing::Test
{
protected:
    TestTable()
    {
        EXPECT_EQ(MemMgrAddPool(400, 8), 0u);
        EXPECT_EQ(MemMgrAddPool(12, 8), 0u);
        pMeMapping = nullptr;
        SMCLP_MAX_LEVEL = 1;
        gSteps.clear();
    }
    ~TestTable() override
    {
        pMeMapping = nullptr;
        SMCLP_MAX_LEVEL = 1;
        MemMgrRemovePools();
    }

    static void Use(const std::vector<Kind> &kinds)
    {
        static constexpr MeConstructor kConstructors[] = {Construct<0>, Construct<1>, Construct<2>,
                                                          Construct<3>, Construct<4>, Construct<5>,
                                                          Construct<6>, Construct<7>};
        for (size_t i = 0; i < kinds.size(); ++i) {
            gKinds[i] = kinds[i];
            gTable[i] = kConstructors[i];
        }
        gTable[kinds.size()] = nullptr;
    }
    static std::string Mapped()
    {
        std::string text;
        for (const auto *entry = pMeMapping; entry != nullptr; entry = entry->next)
            text += std::to_string(entry->kindId) + ":" + entry->element->name + " ";
        return text;
    }
    // "name(child child(grandchild))"
    static std::string Tree(const ManagedElement *element)
    {
        std::string text = element->name;
        if (element->firstChild == nullptr)
            return text;
        text += "(";
        for (const auto *child = element->firstChild; child != nullptr;
             child = child->nextSibling) {
            EXPECT_EQ(child->parent, element);
            text += (child != element->firstChild ? " " : "") + Tree(child);
        }
        return text + ")";
    }
    static std::string TreeFromRoot() { return Tree(SmclpGetRootElement()); }
};

TEST_F(TestTable, EmptyTableIsAFailure)
{
    Use({});
    EXPECT_EQ(SmclpDiscoverFrom(gTable), 1u);
    EXPECT_EQ(SmclpGetRootElement(), nullptr);
    EXPECT_EQ(SMCLP_MAX_LEVEL, 1u);
}

TEST_F(TestTable, KindsHangUnderTheirParentsInTheOrderOfTheTable)
{
    Use({{"", 1, 3}, {"b", 10, 1}, {"a", 11, 1}, {"x", 12, 10}, {"y", 13, 12}, {"z", 14, 10}});
    EXPECT_EQ(SmclpDiscoverFrom(gTable), 0u);
    EXPECT_EQ(gSteps, "0 1 2 3 4 5 ");
    EXPECT_EQ(Mapped(), "1: 10:b 11:a 12:x 13:y 14:z ");
    EXPECT_EQ(TreeFromRoot(), "(b(x(y) z) a)");
    EXPECT_EQ(SmclpGetRootElement()->parent, nullptr);
}

// Not the depth of the tree: deliberate.
TEST_F(TestTable, MaxLevelIsOneAndTheNumberOfElementsWithChildren)
{
    Use({{"", 1, 3}});
    SmclpDiscoverFrom(gTable);
    EXPECT_EQ(SMCLP_MAX_LEVEL, 1u);

    pMeMapping = nullptr;
    SMCLP_MAX_LEVEL = 1;
    Use({{"", 1, 3}, {"a", 10, 1}, {"b", 11, 1}, {"x", 12, 10}, {"y", 13, 11}});
    SmclpDiscoverFrom(gTable);
    EXPECT_EQ(TreeFromRoot(), "(a(x) b(y))");
    EXPECT_EQ(SMCLP_MAX_LEVEL, 4u);
}

TEST_F(TestTable, VerbsAreAddedAtOnceAndPropertiesWhenSomebodyLooks)
{
    gSteps.clear();
    static constexpr MeConstructor kTable[] = {[](ManagedElement *element) {
                                                   element->kindId = kMeRoot;
                                                   element->parentKindId = kMeKindNone;
                                                   element->addVerbs = [](ManagedElement *) -> u32 {
                                                       gSteps += "verbs ";
                                                       return 7;
                                                   };
                                                   element->addProperties =
                                                       [](ManagedElement *looked) -> u32 {
                                                       gSteps += "properties ";
                                                       return MeAddProperty(looked, "One", "");
                                                   };
                                               },
                                               nullptr};
    EXPECT_EQ(SmclpDiscoverFrom(kTable), 0u);
    EXPECT_EQ(gSteps, "verbs ");
    EXPECT_EQ(MeProperties(SmclpGetRootElement()), nullptr);
    EXPECT_EQ(gSteps, "verbs properties ");
}

TEST_F(TestTable, KindWithoutANameIsLeftOutUnlessItIsTheRoot)
{
    Use({{"", 1, 3}, {"", 10, 1}, {"a", 11, 1}});
    EXPECT_EQ(SmclpDiscoverFrom(gTable), 0u);
    EXPECT_EQ(Mapped(), "1: 11:a ");
    EXPECT_EQ(TreeFromRoot(), "(a)");
}

TEST_F(TestTable, KindWithoutIdsIsLeftOut)
{
    Use({{"", 1, 3}, {"a", 2, 1}, {"b", 10, 2}, {"c", 11, 1}});
    EXPECT_EQ(SmclpDiscoverFrom(gTable), 0u);
    EXPECT_EQ(gSteps, "0 1 2 3 ");
    EXPECT_EQ(Mapped(), "1: 11:c ");
    EXPECT_EQ(TreeFromRoot(), "(c)");
}

TEST_F(TestTable, KindWithoutAMappedParentStaysMappedAndUnlinked)
{
    Use({{"", 1, 3}, {"a", 10, 99}, {"b", 11, 12}, {"c", 12, 1}});
    EXPECT_EQ(SmclpDiscoverFrom(gTable), 0u);
    EXPECT_EQ(Mapped(), "1: 10:a 11:b 12:c ");
    EXPECT_EQ(TreeFromRoot(), "(c)");
    EXPECT_EQ(SmclpGetMeById(10)->parent, nullptr);
    EXPECT_EQ(SmclpGetMeById(11)->parent, nullptr);
    EXPECT_EQ(SMCLP_MAX_LEVEL, 2u);
}

TEST_F(TestTable, KindsThatShareAnIdAreBothLinkedAndTheFirstIsFound)
{
    Use({{"", 1, 3}, {"first", 47, 1}, {"second", 47, 1}, {"child", 50, 47}});
    EXPECT_EQ(SmclpDiscoverFrom(gTable), 0u);
    EXPECT_STREQ(SmclpGetMeById(47)->name, "first");
    EXPECT_EQ(TreeFromRoot(), "(first(child) second)");
}

// Mapped, but never found.
TEST_F(TestTable, IdsTwoAndThreeFindNothingEvenWhenAnElementCarriesThem)
{
    Use({{"", 1, 3}, {"three", 3, 1}, {"child", 10, 3}});
    EXPECT_EQ(SmclpDiscoverFrom(gTable), 0u);
    EXPECT_EQ(Mapped(), "1: 3:three 10:child ");
    EXPECT_EQ(SmclpGetMeById(3), nullptr);
    EXPECT_EQ(SmclpGetMeById(10)->parent, nullptr);

    EXPECT_EQ(SmclpAddMeIdMapping(SmclpGetRootElement(), 2), 0u);
    EXPECT_EQ(SmclpGetMeById(2), nullptr);
}

TEST_F(TestTable, RootIsTheFirstMappedElementWithAKindId)
{
    Use({{"zero", 0, 3}, {"", 1, 3}, {"a", 10, 1}});
    EXPECT_EQ(SmclpDiscoverFrom(gTable), 0u);
    EXPECT_EQ(Mapped(), "0:zero 1: 10:a ");
    EXPECT_EQ(SmclpGetRootElement()->kindId, 1u);
}

TEST_F(TestTable, EveryElementFailingInTurnLeavesThePartBefore)
{
    const std::vector<Kind> kinds = {{"", 1, 3}, {"a", 10, 1}, {"b", 11, 1}, {"x", 12, 10}};
    const char *const kTrees[] = {"", "", "(a)", "(a b)"};
    for (u32 call : {1u, 3u, 5u, 7u}) {  // element, mapping, element ...
        pMeMapping = nullptr;
        Use(kinds);
        MemoryFailure failure(Memory::Pools, call);
        EXPECT_EQ(SmclpDiscoverFrom(gTable), call == 1 ? 1u : 0u) << call;
        EXPECT_TRUE(failure.Struck());
        if (call == 1)
            EXPECT_EQ(SmclpGetRootElement(), nullptr);
        else
            EXPECT_EQ(TreeFromRoot(), kTrees[call / 2]) << call;
    }
}

TEST_F(TestTable, ElementWithoutAMappingIsLeftOut)
{
    Use({{"", 1, 3}, {"a", 10, 1}, {"b", 11, 1}, {"x", 12, 10}});
    MemoryFailure failure(Memory::Pools, 4);
    EXPECT_EQ(SmclpDiscoverFrom(gTable), 0u);
    EXPECT_EQ(Mapped(), "1: 11:b 12:x ");
    EXPECT_EQ(TreeFromRoot(), "(b)");
    EXPECT_EQ(gSteps, "0 1 2 3 ");
}

TEST_F(TestTable, RootWithoutAMappingLeavesNoRoot)
{
    Use({{"", 1, 3}});
    MemoryFailure failure(Memory::Pools, 2);
    EXPECT_EQ(SmclpDiscoverFrom(gTable), 0u);
    EXPECT_EQ(SmclpGetRootElement(), nullptr);
}

TEST(Populate, NullIsABadParameter)
{
    EXPECT_EQ(SmclpPopulateManagedElement(nullptr), 2u);
}

TEST(Populate, CallsVerbsThenPropertiesWhereTheyArePresent)
{
    gSteps.clear();
    ManagedElement element = {};
    EXPECT_EQ(SmclpPopulateManagedElement(&element), 0u);
    EXPECT_EQ(gSteps, "");

    element.addVerbs = [](ManagedElement *) -> u32 {
        gSteps += "verbs ";
        return 7;
    };
    element.addProperties = [](ManagedElement *) -> u32 {
        gSteps += "properties ";
        return 8;
    };
    EXPECT_EQ(SmclpPopulateManagedElement(&element), 0u);
    EXPECT_EQ(gSteps, "verbs properties ");

    element.addVerbs = nullptr;
    EXPECT_EQ(SmclpPopulateManagedElement(&element), 0u);
    EXPECT_EQ(gSteps, "verbs properties properties ");
}

class Mapping : public testing::Test
{
protected:
    Mapping() { EXPECT_EQ(MemMgrAddPool(12, 2), 0u); }
    ~Mapping() override { ResetShellGlobals(); }
};

TEST_F(Mapping, EntriesAreAppended)
{
    ManagedElement first = {};
    ManagedElement second = {};
    EXPECT_EQ(SmclpAddMeIdMapping(&first, 10), 0u);
    EXPECT_EQ(SmclpAddMeIdMapping(&second, 20), 0u);
    EXPECT_EQ(pMeMapping->element, &first);
    EXPECT_EQ(pMeMapping->kindId, 10u);
    EXPECT_EQ(pMeMapping->next->element, &second);
    EXPECT_EQ(pMeMapping->next->next, nullptr);
    EXPECT_EQ(SmclpGetMeById(10), &first);
    EXPECT_EQ(SmclpGetMeById(20), &second);
    EXPECT_EQ(SmclpGetMeById(30), nullptr);
}

TEST_F(Mapping, ExhaustedPoolIsResultThree)
{
    ManagedElement element = {};
    EXPECT_EQ(SmclpAddMeIdMapping(&element, 10), 0u);
    EXPECT_EQ(SmclpAddMeIdMapping(&element, 20), 0u);
    EXPECT_EQ(SmclpAddMeIdMapping(&element, 30), 3u);
    EXPECT_EQ(SmclpGetMeById(30), nullptr);
    EXPECT_EQ(pMeMapping->next->next, nullptr);
}

TEST_F(Mapping, EmptyMappingFindsNothing)
{
    EXPECT_EQ(SmclpGetMeById(1), nullptr);
    EXPECT_EQ(SmclpGetRootElement(), nullptr);
}

// What holds for the shell's own table whatever kinds it has.
TEST(Discovery, RootComesFirstWithSystemAsItsFirstChild)
{
    TestShell shell;
    const ManagedElement *root = SmclpGetRootElement();
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root, SmclpGetMeById(1));
    EXPECT_EQ(root, pMeMapping->element);
    EXPECT_STREQ(root->name, "");
    EXPECT_EQ(root->parent, nullptr);
    ASSERT_NE(root->firstChild, nullptr);
    EXPECT_STREQ(root->firstChild->name, "system");
    EXPECT_EQ(root->firstChild->parent, root);
    EXPECT_EQ(root->firstChild, SmclpGetMeById(5));
    EXPECT_EQ(root->firstChild->nextSibling, nullptr);
}

TEST(Discovery, EveryMappedElementHangsUnderTheElementOfItsParentKind)
{
    TestShell shell;
    u32 withChildren = 0;
    for (const auto *entry = pMeMapping; entry != nullptr; entry = entry->next) {
        const ManagedElement *element = entry->element;
        EXPECT_EQ(entry->kindId, element->kindId);
        EXPECT_EQ(element->parent, SmclpGetMeById(element->parentKindId)) << element->name;
        withChildren += element->firstChild != nullptr;
        if (element->parent == nullptr)
            continue;
        u32 found = 0;
        for (const auto *child = element->parent->firstChild; child != nullptr;
             child = child->nextSibling)
            found += child == element;
        EXPECT_EQ(found, 1u) << element->name;
    }
    EXPECT_EQ(SMCLP_MAX_LEVEL, 1 + withChildren);
}

TEST(Discovery, ElementsHaveTheirVerbs)
{
    TestShell shell;
    EXPECT_EQ(VerbsOf(SmclpGetMeById(1)), "1 12 3 2 13");
    EXPECT_EQ(VerbsOf(SmclpGetMeById(5)), "1 12 3 8 2 10 11 13");
}

TEST(Discovery, ReservedIdsFindNothing)
{
    TestShell shell;
    EXPECT_EQ(SmclpGetMeById(2), nullptr);
    EXPECT_EQ(SmclpGetMeById(3), nullptr);
    EXPECT_EQ(SmclpGetMeById(0), nullptr);
}

TEST(Discovery, MaxLevelIsOneBeforeIt)
{
    EXPECT_EQ(SMCLP_MAX_LEVEL, 1u);
}

}  // namespace
