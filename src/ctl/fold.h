// SPDX-License-Identifier: Apache-2.0
// fold.h -- equal answers of several servers become one, as clustershell's -b does it.
#ifndef CTL_FOLD_H
#define CTL_FOLD_H

#include "ctl/sheet.h"

struct FoldedAnswer {
    std::string servers;  // their names, folded: "n[1-40]"
    std::vector<Row> rows;
};

// What one server answered.
struct ServerAnswer {
    std::string server;
    std::vector<Row> rows;
};

// In the order of the first server of each. Equal is what shows no difference but the server's name
// and ages; of those the largest is shown.
std::vector<FoldedAnswer> FoldAnswers(const SheetForm &form,
                                      const std::vector<ServerAnswer> &answers);

#endif
