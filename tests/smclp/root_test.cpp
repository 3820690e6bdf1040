// SPDX-License-Identifier: Apache-2.0
// root_test.cpp -- the root of the tree.
#include "smclp/me/me.h"

#include "support/hand_tree.h"

#include <gtest/gtest.h>

void MeRoot(ManagedElement *element);
u32 MeRootAddVerbs(ManagedElement *element);

TEST(Root, ConstructorFillsInTheKind)
{
    HandTree tree;
    ManagedElement element = {};
    element.kindId = 2;
    element.parentKindId = 2;
    element.word10 = 1;
    MeRoot(&element);
    EXPECT_STREQ(element.name, "");
    EXPECT_STREQ(element.description, "The managed element is the root");
    EXPECT_EQ(element.kindId, 1u);
    EXPECT_EQ(element.parentKindId, 3u);
    EXPECT_EQ(element.word9, 0u);
    EXPECT_EQ(element.word10, 1u);
    EXPECT_EQ(element.word11, 0u);
    EXPECT_EQ(element.word15, 0u);
    EXPECT_EQ(element.instanceNumber, 0u);
    EXPECT_EQ(element.allInstances, 0u);
    EXPECT_EQ(element.addVerbs, MeRootAddVerbs);
    EXPECT_EQ(element.addProperties, nullptr);
    EXPECT_EQ(element.instanceTag, nullptr);
    EXPECT_EQ(element.refreshProperties, nullptr);
    EXPECT_EQ(element.method, nullptr);
    EXPECT_EQ(element.verbs, nullptr);
    EXPECT_EQ(element.properties, nullptr);
}

TEST(Root, VerbsStandInOrder)
{
    HandTree tree;
    ManagedElement element = {};
    EXPECT_EQ(MeRootAddVerbs(&element), 0u);
    EXPECT_EQ(VerbsOf(&element), "1 12 3 2 13");
}

TEST(Root, VerbsThatFindNoMemoryReturnTheFailure)
{
    HandTree tree;
    while (MemMgrAlloc(kMeCommandIdSize) != nullptr) {
    }
    const TraceCapture trace;
    ManagedElement element = {};
    EXPECT_EQ(MeRootAddVerbs(&element), 2u);
    EXPECT_EQ(MeRootAddVerbs(nullptr), 2u);
}

TEST(Root, ShowAndHelpOfTheRoot)
{
    HandTree tree;
    MeRoot(tree.root);
    SmclpPopulateManagedElement(tree.root);
    EXPECT_EQ(tree.Run("show"), 0u);
    EXPECT_EQ(tree.output, "\n/:\n"
                           "\n  Verbs:\n"
                           "    cd\n"
                           "    exit\n"
                           "    help\n"
                           "    show\n"
                           "    version\n");
    EXPECT_EQ(tree.Run("help"), 0u);
    EXPECT_EQ(tree.output, "The managed element is the root\n"
                           "\nVerbs:\n"
                           "  cd\n"
                           "  exit\n"
                           "  help\n"
                           "  show\n"
                           "  version\n");
}
