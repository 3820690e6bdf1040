// SPDX-License-Identifier: Apache-2.0
// host_list.cpp -- see host_list.h.
#include "ctl/host_list.h"

#include <algorithm>
#include <unordered_set>

namespace
{

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool IsNameCharacter(char c)
{
    return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '_' ||
           c == '.';
}

// The digits at the front, taken off; empty: there are none.
std::string_view TakeDigits(std::string_view *text)
{
    size_t length = 0;
    while (length < text->size() && IsDigit((*text)[length]))
        ++length;
    const std::string_view digits = text->substr(0, length);
    text->remove_prefix(length);
    return digits;
}

bool TakeCharacter(std::string_view *text, char c)
{
    if (text->empty() || text->front() != c)
        return false;
    text->remove_prefix(1);
    return true;
}

// At most kHostNumberMost digits.
u64 NumberOf(std::string_view digits)
{
    u64 number = 0;
    for (const char c : digits)
        number = number * 10 + static_cast<u64>(c - '0');
    return number;
}

std::string Padded(u64 number, size_t width)
{
    std::string text = std::to_string(number);
    if (text.size() < width)
        text.insert(0, width - text.size(), '0');
    return text;
}

// Appends what one range of a group stands for. "" or what is wrong.
std::string ExpandRange(std::string_view range, const HostListLimits &limits,
                        std::vector<std::string> *texts)
{
    std::string_view rest = range;
    const std::string_view first = TakeDigits(&rest);
    std::string_view last = first;
    std::string_view step = "1";
    if (TakeCharacter(&rest, '-')) {
        last = TakeDigits(&rest);
        if (TakeCharacter(&rest, '/'))
            step = TakeDigits(&rest);
    }
    const std::string shown = "[" + std::string(range) + "]";
    if (first.empty() || last.empty() || step.empty() || !rest.empty())
        return "not a range of numbers: " + shown;
    if (std::max({first.size(), last.size(), step.size()}) > kHostNumberMost)
        return "a number has too many digits: " + shown;
    const u64 from = NumberOf(first);
    const u64 to = NumberOf(last);
    const u64 by = NumberOf(step);
    if (to < from)
        return "a range ends before it begins: " + shown;
    if (by == 0)
        return "a step of nothing: " + shown;
    if ((to - from) / by >= limits.names - texts->size())
        return "too many names: " + shown;
    for (u64 number = from;; number += by) {
        texts->push_back(Padded(number, first.size()));
        if (to - number < by)
            return "";
    }
}

// What the inside of one pair of brackets stands for.
std::string ExpandGroup(std::string_view inside, const HostListLimits &limits,
                        std::vector<std::string> *texts)
{
    for (;;) {
        const size_t comma = inside.find(',');
        std::string wrong = ExpandRange(inside.substr(0, comma), limits, texts);
        if (!wrong.empty() || comma == std::string_view::npos)
            return wrong;
        inside.remove_prefix(comma + 1);
    }
}

// Every one of `names` followed by every one of `texts`.
std::string Combine(const std::vector<std::string> &texts, const HostListLimits &limits,
                    std::vector<std::string> *names)
{
    if (texts.size() > limits.names / names->size())
        return "too many names";
    std::vector<std::string> combined;
    combined.reserve(texts.size() * names->size());
    size_t bytes = 0;
    for (const std::string &name : *names) {
        for (const std::string &text : texts) {
            bytes += name.size() + text.size();
            if (name.size() + text.size() > kHostNameMost || bytes > limits.bytes)
                return "a name or a list is too long";
            combined.push_back(name + text);
        }
    }
    *names = std::move(combined);
    return "";
}

std::string ExpandPart(std::string_view part, const HostListLimits &limits,
                       std::vector<std::string> *names)
{
    const std::string shown(part);
    *names = {""};
    while (!part.empty()) {
        std::vector<std::string> texts;
        std::string wrong;
        if (TakeCharacter(&part, '[')) {
            const size_t end = part.find(']');
            if (end == std::string_view::npos)
                return "a bracket is not closed: " + shown;
            wrong = ExpandGroup(part.substr(0, end), limits, &texts);
            part.remove_prefix(end + 1);
        } else {
            const size_t length = std::min(part.find('['), part.size());
            const std::string_view text = part.substr(0, length);
            if (!std::all_of(text.begin(), text.end(), IsNameCharacter))
                return "not a name: " + shown;
            texts.emplace_back(text);
            part.remove_prefix(length);
        }
        if (wrong.empty())
            wrong = Combine(texts, limits, names);
        if (!wrong.empty())
            return wrong;
    }
    if (names->front().empty())
        return "a name is missing";
    if (names->front().front() == '.')
        return "a name begins with a point: " + shown;
    return "";
}

// Where the part that begins at the front ends: at a comma outside brackets.
size_t PartLength(std::string_view list)
{
    bool inside = false;
    for (size_t i = 0; i < list.size(); ++i) {
        if (list[i] == '[')
            inside = true;
        else if (list[i] == ']')
            inside = false;
        else if (list[i] == ',' && !inside)
            return i;
    }
    return list.size();
}

std::string_view WithoutBlanks(std::string_view text)
{
    while (!text.empty() && text.front() == ' ')
        text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    return text;
}

std::string ExpandAll(std::string_view list, const HostListLimits &limits,
                      std::vector<std::string> *names)
{
    std::unordered_set<std::string> seen;
    size_t written = 0;
    size_t bytes = 0;
    for (;;) {
        const size_t length = PartLength(list);
        std::vector<std::string> part;
        std::string wrong = ExpandPart(WithoutBlanks(list.substr(0, length)), limits, &part);
        if (!wrong.empty())
            return wrong;
        written += part.size();
        for (std::string &name : part) {
            bytes += name.size();
            if (seen.insert(name).second)
                names->push_back(std::move(name));
        }
        if (written > limits.names || bytes > limits.bytes)
            return "too many names";
        if (length == list.size())
            return "";
        list.remove_prefix(length + 1);
    }
}

// A name taken apart at its last number.
struct Numbered {
    std::string before;
    std::string after;
    std::string digits;  // empty: no number, or one of too many digits
    u64 number = 0;
};

Numbered TakeApart(const std::string &name)
{
    size_t end = name.size();
    while (end > 0 && !IsDigit(name[end - 1]))
        --end;
    size_t begin = end;
    while (begin > 0 && IsDigit(name[begin - 1]))
        --begin;
    if (begin == end || end - begin > kHostNumberMost)
        return {name, "", "", 0};
    const std::string digits = name.substr(begin, end - begin);
    return {name.substr(0, begin), name.substr(end), digits, NumberOf(digits)};
}

bool Before(const Numbered &a, const Numbered &b)
{
    if (a.before != b.before)
        return a.before < b.before;
    if (a.after != b.after)
        return a.after < b.after;
    if (a.digits.empty() != b.digits.empty())
        return a.digits.empty();
    return a.number != b.number ? a.number < b.number : a.digits.size() < b.digits.size();
}

// Whether a range can go on from a to b: the next number, written as the range would write it.
bool Follows(const Numbered &a, const Numbered &b)
{
    if (b.number != a.number + 1)
        return false;
    return a.digits.size() == b.digits.size() ||
           (a.digits.front() != '0' && b.digits.front() != '0');
}

// The names from `begin` to `end`, which differ in their number alone.
std::string FoldGroup(const std::vector<Numbered> &names, size_t begin, size_t end)
{
    const Numbered &first = names[begin];
    if (end - begin == 1)
        return first.before + first.digits + first.after;
    std::string ranges;
    for (size_t i = begin; i < end;) {
        size_t last = i;
        while (last + 1 < end && Follows(names[last], names[last + 1]))
            ++last;
        if (!ranges.empty())
            ranges += ',';
        ranges += names[i].digits;
        if (last != i)
            ranges += "-" + names[last].digits;
        i = last + 1;
    }
    return first.before + "[" + ranges + "]" + first.after;
}

bool SameGroup(const Numbered &a, const Numbered &b)
{
    return a.before == b.before && a.after == b.after && !a.digits.empty() && !b.digits.empty();
}

}  // namespace

std::string HostListExpand(std::string_view list, std::vector<std::string> *names,
                           const HostListLimits &limits)
{
    names->clear();
    if (list.size() > 2 * limits.bytes)
        return "the list is too long";
    std::string wrong = ExpandAll(list, limits, names);
    if (!wrong.empty())
        names->clear();
    return wrong;
}

std::string HostListFold(const std::vector<std::string> &names)
{
    std::vector<Numbered> parts;
    parts.reserve(names.size());
    for (const std::string &name : names)
        parts.push_back(TakeApart(name));
    std::sort(parts.begin(), parts.end(), Before);
    const auto same = [](const Numbered &a, const Numbered &b) {
        return !Before(a, b) && !Before(b, a);
    };
    parts.erase(std::unique(parts.begin(), parts.end(), same), parts.end());

    std::string list;
    for (size_t begin = 0; begin < parts.size();) {
        size_t end = begin + 1;
        while (end < parts.size() && SameGroup(parts[begin], parts[end]))
            ++end;
        if (!list.empty())
            list += ',';
        list += FoldGroup(parts, begin, end);
        begin = end;
    }
    return list;
}
