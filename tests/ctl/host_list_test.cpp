// SPDX-License-Identifier: Apache-2.0
#include "ctl/host_list.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace
{

using Names = std::vector<std::string>;

Names Expand(std::string_view list)
{
    Names names;
    EXPECT_EQ(HostListExpand(list, &names), "");
    return names;
}

std::string Wrong(std::string_view list)
{
    Names names = {"something"};
    const std::string wrong = HostListExpand(list, &names);
    EXPECT_TRUE(names.empty());
    return wrong;
}

}  // namespace

TEST(HostList, NamesAndRanges)
{
    EXPECT_EQ(Expand("db1"), (Names{"db1"}));
    EXPECT_EQ(Expand("db1,web"), (Names{"db1", "web"}));
    EXPECT_EQ(Expand(" db1 , web "), (Names{"db1", "web"}));
    EXPECT_EQ(Expand("n[1-3]"), (Names{"n1", "n2", "n3"}));
    EXPECT_EQ(Expand("n[7]"), (Names{"n7"}));
    EXPECT_EQ(Expand("n[1,3-4]-mgmt,x"), (Names{"n1-mgmt", "n3-mgmt", "n4-mgmt", "x"}));
    EXPECT_EQ(Expand("[1-2]"), (Names{"1", "2"}));
    EXPECT_EQ(Expand("n[1-10/4]"), (Names{"n1", "n5", "n9"}));
    EXPECT_EQ(Expand("n[1-9/4]"), (Names{"n1", "n5", "n9"}));
}

TEST(HostList, LeadingZerosAreTheLeastNumberOfDigits)
{
    EXPECT_EQ(Expand("n[08-10]"), (Names{"n08", "n09", "n10"}));
    EXPECT_EQ(Expand("n[8-10]"), (Names{"n8", "n9", "n10"}));
    EXPECT_EQ(Expand("n[099-101]"), (Names{"n099", "n100", "n101"}));
    EXPECT_EQ(Expand("n[09-100/90]"), (Names{"n09", "n99"}));
}

TEST(HostList, SeveralGroupsAreEveryCombination)
{
    EXPECT_EQ(Expand("r[1-2]n[01-02]"), (Names{"r1n01", "r1n02", "r2n01", "r2n02"}));
}

TEST(HostList, EachNameOnce)
{
    EXPECT_EQ(Expand("n2,n[1-3],n2"), (Names{"n2", "n1", "n3"}));
}

TEST(HostList, WhatIsNoList)
{
    EXPECT_EQ(Wrong(""), "a name is missing");
    EXPECT_EQ(Wrong("a,,b"), "a name is missing");
    EXPECT_EQ(Wrong("a,"), "a name is missing");
    EXPECT_EQ(Wrong("n[1-3"), "a bracket is not closed: n[1-3");
    EXPECT_EQ(Wrong("n1-3]"), "not a name: n1-3]");
    EXPECT_EQ(Wrong("n[9-1]"), "a range ends before it begins: [9-1]");
    EXPECT_EQ(Wrong("n[]"), "not a range of numbers: []");
    EXPECT_EQ(Wrong("n[a]"), "not a range of numbers: [a]");
    EXPECT_EQ(Wrong("n[1-]"), "not a range of numbers: [1-]");
    EXPECT_EQ(Wrong("n[1-2/]"), "not a range of numbers: [1-2/]");
    EXPECT_EQ(Wrong("n[1/2]"), "not a range of numbers: [1/2]");
    EXPECT_EQ(Wrong("n[1-2/0]"), "a step of nothing: [1-2/0]");
    EXPECT_EQ(Wrong("n[[1]]"), "not a range of numbers: [[1]");
    EXPECT_EQ(Wrong("a b"), "not a name: a b");
    // A name is a directory's.
    EXPECT_EQ(Wrong("../n"), "not a name: ../n");
    EXPECT_EQ(Wrong(".."), "a name begins with a point: ..");
    EXPECT_EQ(Wrong(".n[1-2]"), "a name begins with a point: .n[1-2]");
}

TEST(HostList, LimitsFromBothSides)
{
    EXPECT_EQ(Expand("n[0-65535]").size(), 65536u);
    EXPECT_EQ(Wrong("n[0-65536]"), "too many names: [0-65536]");
    EXPECT_EQ(Expand("n[0-255]x[0-255]").size(), 65536u);
    EXPECT_EQ(Wrong("n[0-255]x[0-256]"), "too many names");
    EXPECT_EQ(Wrong("n[0-65535],m"), "too many names");
    EXPECT_EQ(Expand(std::string(255, 'n')).size(), 1u);
    EXPECT_EQ(Wrong(std::string(256, 'n')), "a name or a list is too long");
    EXPECT_EQ(Expand("n[999999999999999998-999999999999999999]").size(), 2u);
    EXPECT_EQ(Wrong("n[1000000000000000000]"),
              "a number has too many digits: [1000000000000000000]");
    EXPECT_EQ(Wrong("n[0-999999999999999999]"), "too many names: [0-999999999999999999]");
    EXPECT_EQ(Expand("n[0-65534,7]").size(), 65536u - 1);
    EXPECT_EQ(Wrong("n[0-65535,7]"), "too many names: [7]");
    EXPECT_EQ(Expand("n[0-131071/2]").size(), 65536u);
    EXPECT_EQ(Wrong("n[0-131072/2]"), "too many names: [0-131072/2]");
    EXPECT_EQ(Expand("n[0-65534],m").size(), 65536u);
    EXPECT_EQ(Expand(std::string(254, 'n') + "[9]").size(), 1u);
    EXPECT_EQ(Wrong(std::string(254, 'n') + "[9-10]"), "a name or a list is too long");
    EXPECT_EQ(Expand("n[1-3/999999999999999999]").size(), 1u);
    EXPECT_EQ(Wrong("n[1-3/1000000000000000000]"),
              "a number has too many digits: [1-3/1000000000000000000]");
    EXPECT_EQ(Wrong("n[1-1000000000000000000]"),
              "a number has too many digits: [1-1000000000000000000]");
    // 8192 names of 128 bytes are all that fits.
    const std::string most = std::string(124, 'n') + "[0000-8191]";
    EXPECT_EQ(Expand(most).size(), 8192u);
    EXPECT_EQ(Wrong(most + ",m"), "too many names");
    EXPECT_EQ(Wrong(std::string(124, 'n') + "[0000-8192]"), "a name or a list is too long");
    EXPECT_EQ(Expand(std::string((2 << 20) - 1, ' ') + "n"), (Names{"n"}));
    EXPECT_EQ(Wrong(std::string(2 << 20, ' ') + "n"), "the list is too long");
    // Many long names: 255 bytes each.
    EXPECT_EQ(Wrong(std::string(250, 'n') + "[0-60000]"), "a name or a list is too long");
}

TEST(HostList, SmallerLimits)
{
    const HostListLimits limits = {4, 12};
    const auto expand = [&](std::string_view list) {
        Names names;
        const std::string wrong = HostListExpand(list, &names, limits);
        return wrong + ": " + std::to_string(names.size());
    };
    EXPECT_EQ(expand("n[1-4]"), ": 4");
    EXPECT_EQ(expand("n[1-5]"), "too many names: [1-5]: 0");
    EXPECT_EQ(expand("[1-2][1-2]"), ": 4");
    EXPECT_EQ(expand("[1-2][1-3]"), "too many names: 0");
    EXPECT_EQ(expand("n[1-3],m"), ": 4");
    EXPECT_EQ(expand("n[1-3],m,n1"), "too many names: 0");
    EXPECT_EQ(expand("nnn[0-2]"), ": 3");
    EXPECT_EQ(expand("nnn[8-10]"), "a name or a list is too long: 0");
    EXPECT_EQ(expand("nnn[0-1],nnnn"), ": 3");
    EXPECT_EQ(expand("nnn[0-1],nnnnn"), "too many names: 0");
    EXPECT_EQ(expand(std::string(23, ' ') + "n"), ": 1");
    EXPECT_EQ(expand(std::string(24, ' ') + "n"), "the list is too long: 0");
}

TEST(HostList, Folds)
{
    EXPECT_EQ(HostListFold({}), "");
    EXPECT_EQ(HostListFold({"db1"}), "db1");
    EXPECT_EQ(HostListFold({"n3", "n1", "n2"}), "n[1-3]");
    EXPECT_EQ(HostListFold({"n1", "n3", "n4", "n1"}), "n[1,3-4]");
    EXPECT_EQ(HostListFold({"n08", "n09", "n10"}), "n[08-10]");
    EXPECT_EQ(HostListFold({"n9", "n10"}), "n[9-10]");
    EXPECT_EQ(HostListFold({"n09", "n99", "n100"}), "n[09,99-100]");
    EXPECT_EQ(HostListFold({"n1", "n01"}), "n[1,01]");
    EXPECT_EQ(HostListFold({"n01-mgmt", "n02-mgmt", "web"}), "n[01-02]-mgmt,web");
    EXPECT_EQ(HostListFold({"r1n1", "r2n1"}), "r1n1,r2n1");
    EXPECT_EQ(HostListFold({"n", "n1"}), "n,n1");
    EXPECT_EQ(HostListFold({"n1", "n"}), "n,n1");
    EXPECT_EQ(HostListFold({"n01", "n1"}), "n[1,01]");
    EXPECT_EQ(HostListFold({"n1-b", "n2-a", "m9-b"}), "m9-b,n2-a,n1-b");
    EXPECT_EQ(HostListFold({"n09", "n010"}), "n[09,010]");
    EXPECT_EQ(HostListFold({"n9", "n010"}), "n[9,010]");
    EXPECT_EQ(HostListFold({"n0099", "n100"}), "n[0099,100]");
    EXPECT_EQ(HostListFold({"n999999999999999998", "n999999999999999999"}),
              "n[999999999999999998-999999999999999999]");
    // Numbers that no range can have.
    EXPECT_EQ(HostListFold({"n1000000000000000000", "n1000000000000000001"}),
              "n1000000000000000000,n1000000000000000001");
}

TEST(HostList, FoldedListsWriteOutTheSameNames)
{
    for (const char *list : {"n[1-40]", "r[1-3]n[01-16]-mgmt,db[7,9],web", "n[098-101],n[98-101]",
                             "[0-20]", "n[0-9],n[00-09],n[000-009]"}) {
        Names names = Expand(list);
        Names again = Expand(HostListFold(names));
        std::sort(names.begin(), names.end());
        std::sort(again.begin(), again.end());
        EXPECT_EQ(names, again) << list;
    }
}
