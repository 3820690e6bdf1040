// SPDX-License-Identifier: Apache-2.0
// me_test.cpp -- managed elements: names, verbs, properties.
#include "smclp/me/me.h"

#include "platform/memmgr.h"
#include "support/hand_tree.h"

#include <gtest/gtest.h>
#include <string.h>

void MeRoot(ManagedElement *element);
void MeSystem(ManagedElement *element);

namespace
{

class Me : public ::testing::Test
{
protected:
    Me() { element = tree.Add(tree.root, "box"); }
    // The value of the entry that comes back, with its name; "null" for none.
    std::string Return(const char *name, u32 filterGiven = 0, const char *filterName = "",
                       const char *filterValue = "")
    {
        tree.refreshCalls.clear();
        const MeProperty *entry =
            MeReturnProperty(element, name, nullptr, filterGiven, filterValue, filterName);
        return entry == nullptr ? "null" : std::string(entry->name) + "=" + entry->value;
    }
    u32 PropertyCount() const
    {
        u32 count = 0;
        for (const void *entry = MeProperties(element); entry != nullptr; entry = ListNext(entry))
            ++count;
        return count;
    }
    HandTree tree;
    ManagedElement *element;
};

using Calls = std::vector<std::string>;

}  // namespace

TEST_F(Me, TableBeginsWithTheRootAndTheSystem)
{
    EXPECT_EQ(meTable[0], MeRoot);
    EXPECT_EQ(meTable[1], MeSystem);
}

TEST_F(Me, PropertiesAreAddedAtTheFirstLookAlone)
{
    EXPECT_EQ(MeProperties(element), nullptr);  // nobody adds any
    element->addProperties = [](ManagedElement *self) {
        return MeAddProperty(self, "Colour", "") + MeAddProperty(self, "Weight", "");
    };
    EXPECT_EQ(element->properties, nullptr);
    EXPECT_EQ(MeReturnProperty(element, std::string(64, 'c').c_str(), nullptr, 0, "", ""), nullptr);
    EXPECT_EQ(element->properties, nullptr);
    EXPECT_EQ(Return("weight").substr(0, 7), "Weight=");
    EXPECT_EQ(PropertyCount(), 2u);
    EXPECT_STREQ(static_cast<const MeProperty *>(MeProperties(element))->name, "Colour");
    EXPECT_EQ(PropertyCount(), 2u);
}

TEST_F(Me, FilterFindsPropertiesThatNobodyHasLookedAt)
{
    element->addProperties = [](ManagedElement *self) {
        return MeAddProperty(self, "Colour", "red") + MeAddProperty(self, "Weight", "5");
    };
    element->refreshProperties = nullptr;
    EXPECT_EQ(Return("Weight", 1, "Colour", "red"), "Weight=5");
}

TEST_F(Me, CreatedElementIsCleared)
{
    ManagedElement *first = MeCreate();
    ASSERT_NE(first, nullptr);
    memset(static_cast<void *>(first), 0xa5, sizeof *first);
    EXPECT_EQ(MeDestroy(first), 0u);
    ManagedElement *again = MeCreate();
    ASSERT_EQ(again, first);
    const ManagedElement cleared = {};
    EXPECT_EQ(memcmp(again, &cleared, sizeof cleared), 0);
    EXPECT_EQ(MeDestroy(nullptr), 2u);
}

TEST_F(Me, CreateIsNullWhenThePoolIsExhausted)
{
    for (int i = 0; i < 8; ++i)
        EXPECT_NE(MeCreate(), nullptr);
    EXPECT_EQ(MeCreate(), nullptr);
}

TEST_F(Me, NameOf63CharactersIsTakenAndOf64Refused)
{
    const std::string longest(63, 'n');
    EXPECT_EQ(MeSetName(element, longest.c_str()), 0u);
    EXPECT_EQ(MeSetName(element, (longest + "n").c_str()), 1u);
    EXPECT_EQ(element->name, longest);
    EXPECT_EQ(MeSetName(element, nullptr), 1u);
    EXPECT_EQ(element->name, longest);
    EXPECT_EQ(MeSetName(element, ""), 0u);
    EXPECT_STREQ(element->name, "");
    EXPECT_EQ(MeSetName(nullptr, "a"), 1u);
}

TEST_F(Me, DescriptionOf255CharactersIsTakenAndOf256Refused)
{
    const std::string longest(255, 'd');
    EXPECT_EQ(MeSetDesc(element, longest.c_str()), 0u);
    EXPECT_EQ(MeSetDesc(element, (longest + "d").c_str()), 1u);
    EXPECT_EQ(element->description, longest);
    EXPECT_EQ(MeSetDesc(element, nullptr), 1u);
    EXPECT_EQ(element->description, longest);
    EXPECT_EQ(MeSetDesc(nullptr, "a"), 1u);
    EXPECT_EQ(element->kindId, 102u);  // what follows the field is untouched
}

// Verbs

TEST_F(Me, CommandsKeepTheOrderOfAddition)
{
    for (const u32 id : {13u, 1u, 8u})
        EXPECT_EQ(MeAddCommand(element, id), 0u);
    EXPECT_EQ(VerbsOf(element), "13 1 8");
    EXPECT_TRUE(MeHasCommand(element, 8));
    EXPECT_FALSE(MeHasCommand(element, 5));
}

// An unknown id yields the last command of the list, so it counts as known: deliberate.
TEST_F(Me, CommandThatDoesNotExistIsAddedOnceTheListIsBuilt)
{
    EXPECT_EQ(MeAddCommand(element, 99), 0u);
    EXPECT_EQ(VerbsOf(element), "99");
}

TEST_F(Me, CommandIsRefusedWhileTheListIsEmpty)
{
    SmclpCommandLink *list = pClpCommandList;
    pClpCommandList = nullptr;
    EXPECT_EQ(MeAddCommand(element, 1), 1u);
    EXPECT_EQ(MeAddCommand(nullptr, 1), 2u);
    pClpCommandList = list;
    EXPECT_EQ(VerbsOf(element), "");
}

TEST_F(Me, CommandThatFindsNoMemoryIsTraced)
{
    while (MemMgrAlloc(kMeCommandIdSize) != nullptr) {
    }
    const TraceCapture trace;
    EXPECT_EQ(MeAddCommand(element, 1), 2u);
    EXPECT_EQ(trace.Lines(), Calls{"ERROR: me [#]: Unable to allocate memory"});
    EXPECT_EQ(VerbsOf(element), "");
}

TEST_F(Me, CommandOfNoElementIsABadArgument)
{
    const TraceCapture trace;
    EXPECT_EQ(MeAddCommand(nullptr, 1), 2u);
    EXPECT_TRUE(trace.Lines().empty());
}

TEST_F(Me, SeveralCommandsStopAtTheFirstFailure)
{
    const u32 ids[] = {1, 2, 3};
    EXPECT_EQ(MeAddCommands(element, ids, 3), 0u);
    EXPECT_EQ(VerbsOf(element), "1 2 3");
    while (MemMgrAlloc(kMeCommandIdSize) != nullptr) {
    }
    const TraceCapture trace;
    EXPECT_EQ(MeAddCommands(element, ids, 3), 2u);
    EXPECT_EQ(trace.Lines().size(), 1u);
}

// Properties

TEST_F(Me, PropertiesKeepTheOrderOfAddition)
{
    EXPECT_EQ(MeAddProperty(element, "B", "2"), 0u);
    EXPECT_EQ(MeAddProperty(element, "A", ""), 0u);
    EXPECT_EQ(PropertiesOf(element), "B A");
    EXPECT_STREQ(static_cast<const MeProperty *>(element->properties)->value, "2");
}

TEST_F(Me, PropertyNameOf63AndValueOf255CharactersAreTheLongest)
{
    const std::string name(63, 'n');
    const std::string value(255, 'v');
    EXPECT_EQ(MeAddProperty(element, name.c_str(), value.c_str()), 0u);
    EXPECT_EQ(MeAddProperty(element, (name + "n").c_str(), ""), 2u);
    EXPECT_EQ(MeAddProperty(element, "a", (value + "v").c_str()), 2u);
    EXPECT_EQ(PropertyCount(), 1u);
    const auto *entry = static_cast<const MeProperty *>(element->properties);
    EXPECT_EQ(entry->name, name);
    EXPECT_EQ(entry->value, value);
}

TEST_F(Me, PropertyWithoutElementNameOrValueIsABadArgument)
{
    EXPECT_EQ(MeAddProperty(nullptr, "a", ""), 2u);
    EXPECT_EQ(MeAddProperty(element, nullptr, ""), 2u);
    EXPECT_EQ(MeAddProperty(element, "a", nullptr), 2u);
    EXPECT_EQ(PropertyCount(), 0u);
}

TEST_F(Me, PropertyThatFindsNoMemoryIsOutOfMemory)
{
    for (int i = 0; i < 64; ++i)
        EXPECT_EQ(MeAddProperty(element, "a", ""), 0u);
    const TraceCapture trace;
    EXPECT_EQ(MeAddProperty(element, "b", ""), 3u);
    EXPECT_TRUE(trace.Lines().empty());
    EXPECT_EQ(PropertyCount(), 64u);
}

// MeReturnProperty

TEST_F(Me, ReturnedPropertyIsFresh)
{
    tree.Property(element, "Name", "one");
    tree.Property(element, "Other", "two");
    EXPECT_EQ(Return("Name"), "Name=one");
    EXPECT_EQ(tree.refreshCalls, Calls{"box Name 256"});
    tree.SetValue(element, "Name", "three");
    EXPECT_EQ(Return("Name"), "Name=three");
    EXPECT_EQ(Return("Other"), "Other=two");
}

// The kind compares names with case: it gets the one that it stored.
TEST_F(Me, PropertyIsFoundWhateverItsCaseAndRefreshedUnderItsOwnName)
{
    tree.Property(element, "HealthState", "5");
    EXPECT_EQ(Return("healthstate"), "HealthState=5");
    EXPECT_EQ(tree.refreshCalls, Calls{"box HealthState 256"});
    EXPECT_EQ(Return("HEALTHSTATE"), "HealthState=5");
}

TEST_F(Me, FirstOfTwoPropertiesOfOneNameIsReturned)
{
    tree.Property(element, "A", "1");
    tree.Property(element, "a", "2");
    EXPECT_EQ(Return("a"), "A=1");
}

TEST_F(Me, ReturnsNullForNoElementNoNameAndALongName)
{
    tree.Property(element, "A", "1");
    EXPECT_EQ(Return(nullptr), "null");
    EXPECT_EQ(Return(std::string(64, 'A').c_str()), "null");
    EXPECT_TRUE(tree.refreshCalls.empty());
    EXPECT_STREQ(static_cast<const MeProperty *>(element->properties)->value, "");
    EXPECT_EQ(MeReturnProperty(nullptr, "A", nullptr, 0, "", ""), nullptr);
    // 63 characters are looked for, and not found.
    EXPECT_EQ(Return(std::string(63, 'A').c_str()), "A=");
}

TEST_F(Me, ReturnsNullForAnElementWithoutProperties)
{
    EXPECT_EQ(Return("A"), "null");
    EXPECT_EQ(Return("A", 1, "B", "1"), "null");
}

TEST_F(Me, UnknownNameReturnsTheLastEntryEmptied)
{
    tree.Property(element, "A", "1");
    tree.Property(element, "B", "2");
    EXPECT_EQ(Return("B"), "B=2");
    EXPECT_EQ(Return("C"), "B=");
    EXPECT_TRUE(tree.refreshCalls.empty());
    EXPECT_STREQ(static_cast<const MeProperty *>(element->properties)->value, "");
    EXPECT_EQ(Return("B"), "B=2");
}

TEST_F(Me, WithoutRefreshTheStoredValueIsReturned)
{
    EXPECT_EQ(MeAddProperty(element, "A", "stored"), 0u);
    EXPECT_EQ(Return("a"), "A=stored");
    EXPECT_EQ(Return("a", 1, "A", "STORED"), "A=stored");
}

TEST_F(Me, FailedRefreshLeavesWhatTheKindLeaves)
{
    tree.Property(element, "A", "1");
    EXPECT_EQ(Return("A"), "A=1");
    tree.RemoveValue(element, "A");
    EXPECT_EQ(Return("A"), "A=1");
    EXPECT_EQ(tree.refreshCalls, Calls{"box A 256"});
}

TEST_F(Me, PropertyRefreshedTo255CharactersIsWhole)
{
    tree.Property(element, "A", std::string(255, 'v'));
    EXPECT_EQ(Return("A"), "A=" + std::string(255, 'v'));
    tree.SetValue(element, "A", std::string(300, 'w'));
    EXPECT_EQ(Return("A"), "A=" + std::string(255, 'w'));
}

TEST_F(Me, FilterThatMatchesLetsThePropertyThrough)
{
    tree.Property(element, "A", "1");
    tree.Property(element, "State", "On");
    EXPECT_EQ(Return("A", 1, "State", "On"), "A=1");
    EXPECT_EQ(tree.refreshCalls, (Calls{"box State 256", "box A 256"}));
    EXPECT_EQ(Return("A", 1, "STATE", "oN"), "A=1");
    EXPECT_EQ(Return("state", 1, "state", "on"), "State=On");
    EXPECT_EQ(Return("A", 7, "state", "on"), "A=1");  // any flag but 0 is a filter
}

TEST_F(Me, FilterThatDoesNotMatchEmptiesTheLastEntry)
{
    tree.Property(element, "State", "On");
    tree.Property(element, "A", "1");
    EXPECT_EQ(Return("A"), "A=1");
    EXPECT_EQ(Return("A", 1, "State", "Off"), "A=");
    EXPECT_EQ(tree.refreshCalls, Calls{"box State 256"});
    EXPECT_EQ(Return("State", 1, "State", "O"), "A=");
    EXPECT_EQ(Return("State", 1, "State", "On "), "A=");
}

TEST_F(Me, FilterOnAnAbsentPropertyEmptiesTheLastEntry)
{
    tree.Property(element, "A", "1");
    tree.Property(element, "B", "2");
    EXPECT_EQ(Return("A", 1, "C", "1"), "B=");
    EXPECT_TRUE(tree.refreshCalls.empty());
    EXPECT_EQ(Return("A", 1, "", ""), "B=");
}

TEST_F(Me, FilterLooksAtEveryPropertyOfItsName)
{
    tree.Property(element, "S", "1");
    tree.Property(element, "s", "2");
    tree.Property(element, "A", "a");
    EXPECT_EQ(Return("A", 1, "S", "2"), "A=a");
    EXPECT_EQ(tree.refreshCalls, (Calls{"box S 256", "box s 256", "box A 256"}));
    EXPECT_EQ(Return("A", 1, "S", "1"), "A=a");
    EXPECT_EQ(tree.refreshCalls, (Calls{"box S 256", "box A 256"}));
}

TEST_F(Me, FilterForAnEmptyValueMatchesAnEmptyProperty)
{
    tree.Property(element, "S", "");
    tree.Property(element, "A", "a");
    EXPECT_EQ(Return("A", 1, "S", ""), "A=a");
}

TEST_F(Me, MatchedFilterWithAnUnknownNameEmptiesTheLastEntry)
{
    tree.Property(element, "S", "1");
    tree.Property(element, "A", "a");
    EXPECT_EQ(Return("B", 1, "S", "1"), "A=");
}

// Children

TEST_F(Me, ChildIsAppendedAtTheEnd)
{
    ManagedElement *first = MeCreateChild(element, "first");
    ManagedElement *second = MeCreateChild(element, std::string(63, 's').c_str());
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(element->firstChild, first);
    EXPECT_EQ(first->nextSibling, second);
    EXPECT_EQ(second->nextSibling, nullptr);
    EXPECT_EQ(first->parent, element);
    EXPECT_EQ(second->parent, element);
    EXPECT_STREQ(first->name, "first");
    EXPECT_EQ(second->name, std::string(63, 's'));
    EXPECT_EQ(first->firstChild, nullptr);
}

TEST_F(Me, ChildWithABadNameIsTraced)
{
    for (const char *name : {static_cast<const char *>(nullptr),
                             "0123456789012345678901234567890123456789012345678901234567890123"}) {
        const TraceCapture trace;
        EXPECT_EQ(MeCreateChild(element, name), nullptr);
        EXPECT_EQ(trace.Lines(), Calls{"ERROR: me [#]: Invalid parameter"});
    }
    EXPECT_EQ(element->firstChild, nullptr);
    const TraceCapture trace;
    EXPECT_EQ(MeCreateChild(nullptr, "a"), nullptr);
}

TEST_F(Me, ChildThatFindsNoMemoryIsTraced)
{
    while (MeCreate() != nullptr) {
    }
    const TraceCapture trace;
    EXPECT_EQ(MeCreateChild(element, "a"), nullptr);
    EXPECT_EQ(trace.Lines(),
              Calls{"ERROR: me [#]: Failed to allocate memory for new managed element"});
    EXPECT_EQ(element->firstChild, nullptr);
}
