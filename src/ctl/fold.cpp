// SPDX-License-Identifier: Apache-2.0
// fold.cpp -- see fold.h.
#include "ctl/fold.h"

#include "ctl/host_list.h"
#include "ctl/output.h"

#include <unordered_map>

namespace
{

// Equal for answers that are to become one.
std::string KeyOf(const SheetForm &form, const std::vector<Row> &rows)
{
    const size_t server = ColumnIndex(form, "server");
    const size_t age = ColumnIndex(form, "age_seconds");
    std::string key;
    for (Row row : rows) {
        for (const size_t column : {server, age}) {
            if (column < row.size())
                row[column] = {};
        }
        key += CsvRow(row);
    }
    return key;
}

void TakeLargerAges(const SheetForm &form, const std::vector<Row> &from, std::vector<Row> *to)
{
    const size_t age = ColumnIndex(form, "age_seconds");
    for (size_t i = 0; i < from.size() && age < form.columns.size(); ++i) {
        if (NumberOfValue(from[i][age]) > NumberOfValue((*to)[i][age]))
            (*to)[i][age] = from[i][age];
    }
}

}  // namespace

std::vector<FoldedAnswer> FoldAnswers(const SheetForm &form,
                                      const std::vector<ServerAnswer> &answers)
{
    std::vector<FoldedAnswer> folded;
    std::vector<std::vector<std::string>> names;
    std::unordered_map<std::string, size_t> places;
    for (const ServerAnswer &answer : answers) {
        const auto place = places.try_emplace(KeyOf(form, answer.rows), folded.size());
        if (place.second) {
            folded.push_back({"", answer.rows});
            names.emplace_back();
        } else {
            TakeLargerAges(form, answer.rows, &folded[place.first->second].rows);
        }
        names[place.first->second].push_back(answer.server);
    }
    for (size_t i = 0; i < folded.size(); ++i)
        folded[i].servers = HostListFold(names[i]);
    return folded;
}
