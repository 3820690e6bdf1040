// SPDX-License-Identifier: Apache-2.0
// fold.cpp -- see fold.h.
#include "ctl/fold.h"

#include "ctl/host_list.h"

#include <algorithm>
#include <unordered_map>

namespace
{

// What answers that are to become one have in common.
class Likeness
{
public:
    explicit Likeness(const SheetForm &form)
        : server_(ColumnIndex(form, "server")), age_(ColumnIndex(form, "age_seconds"))
    {
    }

    // Equal for such answers.
    size_t Hash(const std::vector<Row> &rows) const
    {
        size_t hash = rows.size();
        for (const Row &row : rows) {
            for (size_t i = 0; i < row.size(); ++i) {
                if (Counts(i))
                    hash = hash * 31 + std::hash<std::string>()(row[i].text);
            }
        }
        return hash;
    }

    bool Are(const std::vector<Row> &one, const std::vector<Row> &other) const
    {
        return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                          [&](const Row &a, const Row &b) { return AreRows(a, b); });
    }

    void TakeLargerAges(const std::vector<Row> &from, std::vector<Row> *to) const
    {
        for (size_t i = 0; i < from.size(); ++i) {
            if (age_ < from[i].size() && from[i][age_].text != (*to)[i][age_].text &&
                NumberOfValue(from[i][age_]) > NumberOfValue((*to)[i][age_]))
                (*to)[i][age_] = from[i][age_];
        }
    }

private:
    bool Counts(size_t column) const { return column != server_ && column != age_; }
    bool AreRows(const Row &a, const Row &b) const
    {
        if (a.size() != b.size())
            return false;
        for (size_t i = 0; i < a.size(); ++i) {
            if (Counts(i) && a[i].text != b[i].text)
                return false;
        }
        return true;
    }

    size_t server_;
    size_t age_;
};

}  // namespace

std::vector<FoldedAnswer> FoldAnswers(const SheetForm &form,
                                      const std::vector<ServerAnswer> &answers)
{
    const Likeness likeness(form);
    std::vector<FoldedAnswer> folded;
    std::vector<std::vector<std::string>> names;
    std::unordered_multimap<size_t, size_t> places;  // of folded answers, by their hashes
    for (const ServerAnswer &answer : answers) {
        const size_t hash = likeness.Hash(answer.rows);
        const auto [begin, end] = places.equal_range(hash);
        const auto same = std::find_if(begin, end, [&](const auto &place) {
            return likeness.Are(answer.rows, folded[place.second].rows);
        });
        if (same != end) {
            likeness.TakeLargerAges(answer.rows, &folded[same->second].rows);
            names[same->second].push_back(answer.server);
            continue;
        }
        places.emplace(hash, folded.size());
        folded.push_back({"", answer.rows});
        names.push_back({answer.server});
    }
    for (size_t i = 0; i < folded.size(); ++i)
        folded[i].servers = HostListFold(names[i]);
    return folded;
}
