// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/redfish/etags.
#include "objmgrd/redfish/etags.h"

#include <gtest/gtest.h>

namespace
{

// Three documents of a group change with their ETags.
void Prove(EtagBook *book, u32 group)
{
    for (u32 i = 0; i <= kEtagProofs; ++i)
        book->Take(group, "/proof", "e" + std::to_string(i), i);
}

}  // namespace

TEST(Etags, AreNotBelievedBeforeTheyHaveChangedWithTheirDocuments)
{
    EtagBook book;
    for (u32 i = 0; i < kEtagProofs; ++i)
        book.Take(1, "/a", "e" + std::to_string(i), i);
    EXPECT_EQ(book.For(1, "/a"), "");
    book.Take(1, "/a", "e9", 9);
    EXPECT_EQ(book.For(1, "/a"), "e9");
    // Of this group alone.
    book.Take(2, "/b", "e1", 1);
    EXPECT_EQ(book.For(2, "/b"), "");
}

TEST(Etags, ADocumentThatStaysProvesNothing)
{
    EtagBook book;
    for (u32 i = 0; i < 20; ++i)
        book.Take(1, "/a", "e" + std::to_string(i), 7);
    EXPECT_EQ(book.For(1, "/a"), "");
}

TEST(Etags, OneThatStaysWhileItsDocumentChangesCostsTheGroup)
{
    EtagBook book;
    Prove(&book, 1);
    book.Take(1, "/a", "e", 1);
    EXPECT_EQ(book.For(1, "/a"), "e");
    book.Take(1, "/a", "e", 2);
    EXPECT_EQ(book.For(1, "/a"), "");
    EXPECT_EQ(book.For(1, "/proof"), "");
    Prove(&book, 1);
    EXPECT_EQ(book.For(1, "/proof"), "");
    book.Clear();
    Prove(&book, 1);
    EXPECT_EQ(book.For(1, "/proof"), "e3");
}

TEST(Etags, EachDocumentIsReadWholeNowAndThen)
{
    EtagBook book;
    Prove(&book, 1);
    for (u32 i = 0; i < kEtagUses; ++i)
        EXPECT_EQ(book.For(1, "/proof"), "e3");
    EXPECT_EQ(book.For(1, "/proof"), "");
    book.Take(1, "/proof", "e3", 3);
    EXPECT_EQ(book.For(1, "/proof"), "e3");
}

TEST(Etags, WhatDidNotComeIsReadWhole)
{
    EtagBook book;
    Prove(&book, 1);
    book.Take(1, "/a", "e", 1);
    book.Drop("/a");
    EXPECT_EQ(book.For(1, "/a"), "");
    EXPECT_EQ(book.For(1, "/proof"), "e3");
    book.DropAll();
    EXPECT_EQ(book.For(1, "/proof"), "");
    // A document that has no ETag any more.
    book.Take(1, "/b", "e", 1);
    book.Take(1, "/b", "", 1);
    EXPECT_EQ(book.For(1, "/b"), "");
}
