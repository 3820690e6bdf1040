// SPDX-License-Identifier: Apache-2.0
// host_list.h -- lists of servers' names as clustershell and powerman write them.
//
//   list   = part *("," part)
//   part   = text and groups, at least one of them: "rack[1-2]n[01-16]-mgmt", "db1"
//   group  = "[" range *("," range) "]"
//   range  = number [ "-" number [ "/" step ] ]     "[1-9/2]" is 1, 3, 5, 7, 9
//
// The number of digits of a range's first number is the least that its numbers are written with:
// "[08-10]" is 08, 09, 10. Several groups in one part stand for every combination. Blanks around a
// part are passed over. A name becomes a directory's: letters, digits, "-", "_" and "." only, and
// it does not begin with a point.
#ifndef CTL_HOST_LIST_H
#define CTL_HOST_LIST_H

#include "platform/types.h"

#include <string>
#include <string_view>
#include <vector>

constexpr size_t kHostListMost = 65536;         // names in one list, those given twice included
constexpr size_t kHostNameMost = 255;           // bytes of one name: what a file system takes
constexpr size_t kHostNumberMost = 18;          // digits of one number
constexpr size_t kHostListBytesMost = 1 << 20;  // bytes of all names together

struct HostListLimits {
    size_t names = kHostListMost;
    size_t bytes = kHostListBytesMost;
};

// Writes out a list: *names gets each name once, in the order of its first place. Returns "" or,
// with *names empty, what is wrong ("a range ends before it begins: [9-1]"), for one line.
std::string HostListExpand(std::string_view list, std::vector<std::string> *names,
                           const HostListLimits &limits = {});

// The shortest list of these names that this can find: "n[01-16]-mgmt,db1". Names that differ in
// more than their last number are not folded into one part. HostListExpand gives the same names,
// each once, in another order.
std::string HostListFold(const std::vector<std::string> &names);

#endif
