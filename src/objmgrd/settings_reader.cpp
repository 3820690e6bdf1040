// SPDX-License-Identifier: Apache-2.0
// settings_reader.cpp -- see settings_reader.h.
#include "objmgrd/settings_reader.h"

#include <algorithm>

namespace
{

bool IsControl(char c)
{
    return static_cast<u8>(c) < 0x20 || c == 0x7f;
}

}  // namespace

void SettingsReader::Fault(const toml::source_region &place, std::string text)
{
    FileNote note;
    note.line = place.begin.line;
    note.column = place.begin.column;
    note.text = std::move(text);
    notes_->push_back(std::move(note));
    ++faults_;
}

void SettingsReader::ReadNumber(const char *key, const toml::node &node, i64 least, i64 most,
                                u32 *number)
{
    const auto *told = node.as_integer();
    if (told == nullptr || told->get() < least || told->get() > most)
        return Fault(node.source(), std::string(key) + " is a number from " +
                                        std::to_string(least) + " to " + std::to_string(most));
    *number = static_cast<u32>(told->get());
}

void SettingsReader::ReadText(const char *key, const toml::node &node, size_t mostBytes,
                              std::string *text)
{
    const auto *told = node.as_string();
    const bool fits = told != nullptr && told->get().size() <= mostBytes &&
                      std::none_of(told->get().begin(), told->get().end(), IsControl);
    if (!fits)
        return Fault(node.source(), std::string(key) + " is a text of at most " +
                                        std::to_string(mostBytes) +
                                        " bytes in quotes, without control characters");
    *text = told->get();
}

void SettingsReader::FaultUnknown(const char *table, const toml::key &key)
{
    Fault(key.source(), "unknown key " + FileNoteQuoted(key.str()) + " in [" + table + "]");
}

void SettingsReader::ReadTop(const toml::table &top)
{
    std::string names;
    for (const char *const *name = tables_; *name != nullptr; ++name)
        names += (names.empty() ? "" : ", ") + std::string(*name);
    for (const auto &[key, node] : top) {
        std::string fault;
        if (ArchiveSettingsKey(key.str(), node, archive_, &fault)) {
            if (!fault.empty())
                Fault(node.source(), fault);
            continue;
        }
        const char *const *name = tables_;
        while (*name != nullptr && key != *name)
            ++name;
        if (*name == nullptr)
            Fault(key.source(),
                  "unknown table " + FileNoteQuoted(key.str()) + " (known: " + names + ")");
        else if (!node.is_table())
            Fault(node.source(), std::string(*name) + " is a table: write [" + *name + "]");
    }
    if (!top.contains(tables_[0]))
        Fault(top.source(), "[" + std::string(tables_[0]) + "] is missing");
    for (const char *const *name = tables_; *name != nullptr; ++name) {
        if (const toml::table *table = top.get_as<toml::table>(*name))
            ReadTable(*name, *table);
    }
    CheckWhole(top);
}
