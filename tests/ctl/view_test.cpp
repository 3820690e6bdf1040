// SPDX-License-Identifier: Apache-2.0
// Tests of ctl/view.
#include "ctl/view.h"

#include <gtest/gtest.h>

TEST(View, ATextIsThatOfThePropertyOfExactlyThisName)
{
    const ViewProperty rows[] = {{"Reading", "23"}, {"Name", ""}};
    ViewInstance instance;
    instance.properties = rows;
    EXPECT_EQ(ViewText(instance, "Reading"), "23");
    EXPECT_EQ(ViewText(instance, "Name"), "");  // an empty text is one
    for (const char *other : {"", "Readin", "Readings", "reading", "Type"})
        EXPECT_EQ(ViewText(instance, other), std::nullopt) << other;
    EXPECT_EQ(ViewText(ViewInstance(), "Reading"), std::nullopt);
}

// Whatever its status is, and even where somebody has left properties in it.
TEST(View, AnInstanceThatFailsHasNoTexts)
{
    const ViewProperty rows[] = {{"Reading", "23"}};
    ViewInstance instance;
    instance.properties = rows;
    for (const CimStatus status : {kCimFailed, kCimAccessDenied}) {
        instance.status = status;
        EXPECT_EQ(ViewText(instance, "Reading"), std::nullopt) << status;
    }
}

TEST(View, TheAgeIsThatOfTheInstancesOwnSource)
{
    ServerView view;
    view.sources = {{"power", 0.5}, {"log", 0.0}, {"sensors", std::nullopt}};
    ViewInstance instance;
    EXPECT_EQ(ViewAge(view, instance), 0.5);  // the first, where none is named
    instance.source = 1;
    EXPECT_EQ(ViewAge(view, instance), 0.0);
    instance.source = 2;  // never heard
    EXPECT_EQ(ViewAge(view, instance), std::nullopt);
}

TEST(View, ASourceThatIsNoneHasNoAge)
{
    ServerView view;
    view.sources = {{"power", 0.5}, {"log", 1.5}};
    ViewInstance instance;
    instance.source = 1;
    EXPECT_EQ(ViewAge(view, instance), 1.5);
    for (const u32 number : {2u, 3u, UINT32_MAX}) {
        instance.source = number;
        EXPECT_EQ(ViewAge(view, instance), std::nullopt) << number;
    }
    instance.source = 0;
    view.sources.clear();
    EXPECT_EQ(ViewAge(view, instance), std::nullopt);
}
