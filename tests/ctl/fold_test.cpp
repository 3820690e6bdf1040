// SPDX-License-Identifier: Apache-2.0
#include "ctl/fold.h"

#include <gtest/gtest.h>

namespace
{

constexpr Column kFoldColumns[] = {
    {"server", nullptr, false}, {"power", "POWER", false}, {"age_seconds", "AGE", true}};
constexpr SheetForm kFoldForm = {"systems", kFoldColumns};
constexpr Column kFewColumns[] = {{"power", "POWER", false}};
constexpr SheetForm kFewForm = {"systems", kFewColumns};

ServerAnswer Answer(const char *server, const char *power, double age)
{
    return {server, {{TextValue(server), TextValue(power), SecondsValue(age)}}};
}

}  // namespace

TEST(Fold, EqualAnswersBecomeOne)
{
    const auto folded = FoldAnswers(kFoldForm, {Answer("n1", "on", 0.5), Answer("n2", "off", 1),
                                                Answer("n3", "on", 2.5), Answer("n4", "on", 1)});
    ASSERT_EQ(folded.size(), 2u);
    EXPECT_EQ(folded[0].servers, "n[1,3-4]");
    EXPECT_EQ(folded[0].rows[0][1].text, "on");
    EXPECT_EQ(folded[0].rows[0][2].text, "2.5");
    EXPECT_EQ(folded[1].servers, "n2");
}

TEST(Fold, OtherNumbersOfRowsAreNotEqual)
{
    ServerAnswer two = Answer("n1", "on", 1);
    two.rows.push_back(two.rows[0]);
    EXPECT_EQ(FoldAnswers(kFoldForm, {two, Answer("n2", "on", 1)}).size(), 2u);
    EXPECT_EQ(FoldAnswers(kFoldForm, {{"n1", {}}, {"n2", {}}}).size(), 1u);
    EXPECT_EQ(FoldAnswers(kFoldForm, {}).size(), 0u);
}

TEST(Fold, NullIsNotAnEmptyAgeOnly)
{
    ServerAnswer unknown = {"n1", {{TextValue("n1"), Value(), Value()}}};
    EXPECT_EQ(FoldAnswers(kFoldForm, {unknown, Answer("n2", "on", 1)}).size(), 2u);
}

TEST(Fold, FormsWithoutServerOrAge)
{
    EXPECT_EQ(FoldAnswers(kFewForm, {{"n1", {{TextValue("on")}}}, {"n2", {{TextValue("on")}}}})
                  .at(0)
                  .servers,
              "n[1-2]");
}
