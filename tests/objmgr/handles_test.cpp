// SPDX-License-Identifier: Apache-2.0
// Tests of objmgr/handles: which numbers connections get. What they hold is tested with client.
#include "objmgr/handles.h"

#include <gtest/gtest.h>

namespace
{

class Handles : public testing::Test
{
protected:
    void SetUp() override { Forget(); }
    void TearDown() override { Forget(); }
    static void Forget()
    {
        for (OpenConnection &connection : gConnections)
            connection = {};
    }
    // A connection of the first place after its last user was the one of this number.
    static ObjMgrHandle OpenAfter(u32 generation)
    {
        Forget();
        gConnections[0].generation = generation;
        const OpenConnection *connection = HandleOpen(nullptr);
        return connection != nullptr ? connection->handle : 0;
    }
};

TEST_F(Handles, NumbersBeginAnewWithoutZero)
{
    EXPECT_EQ(OpenAfter(0), 1u << 3);
    EXPECT_EQ(OpenAfter(1), 2u << 3);
    EXPECT_EQ(OpenAfter((1u << 29) - 2), ((1u << 29) - 1) << 3);
    EXPECT_EQ(OpenAfter((1u << 29) - 1), 1u << 3);
}

TEST_F(Handles, PlacesAreEightAndEachIsFound)
{
    for (u32 place = 0; place < 8; ++place) {
        OpenConnection *connection = HandleOpen(nullptr);
        ASSERT_NE(connection, nullptr);
        EXPECT_EQ(connection->handle, (1u << 3) + place);
        EXPECT_EQ(HandleFind(connection->handle), connection);
        EXPECT_EQ(HandleFind(connection->handle + (1u << 3)), nullptr);
    }
    EXPECT_EQ(HandleOpen(nullptr), nullptr);
    EXPECT_EQ(HandleFind(0), nullptr);
}

}  // namespace
