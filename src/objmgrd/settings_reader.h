// SPDX-License-Identifier: Apache-2.0
// settings_reader.h -- what the settings of all sources of data have in common: tables of keys in
// TOML, each fault with its place, the keys before the tables.
#ifndef OBJMGRD_SETTINGS_READER_H
#define OBJMGRD_SETTINGS_READER_H

#include "objmgrd/archive_settings.h"
#include "objmgrd/toml.h"

// For TomlRead. A source's reader derives from it.
class SettingsReader
{
public:
    // tables: the names that may stand in the file, the first one has to; they end with a null.
    // Everything must outlive this.
    SettingsReader(const char *const *tables, ArchiveSettings *archive,
                   std::vector<FileNote> *notes)
        : tables_(tables), archive_(archive), notes_(notes)
    {
    }
    virtual ~SettingsReader() = default;
    void ReadTop(const toml::table &top);
    bool Right() const { return faults_ == 0; }

protected:
    void Fault(const toml::source_region &place, std::string text);
    // "KEY is a number from LEAST to MOST" unless it is one.
    void ReadNumber(const char *key, const toml::node &node, i64 least, i64 most, u32 *number);
    // One line of at most mostBytes.
    void ReadText(const char *key, const toml::node &node, size_t mostBytes, std::string *text);
    void FaultUnknown(const char *table, const toml::key &key);

    // The tables that there are, in the order of their names.
    virtual void ReadTable(const char *name, const toml::table &table) = 0;
    // After all of them.
    virtual void CheckWhole(const toml::table &top) = 0;

private:
    const char *const *tables_;
    ArchiveSettings *archive_;
    std::vector<FileNote> *notes_;
    u32 faults_ = 0;
};

#endif
