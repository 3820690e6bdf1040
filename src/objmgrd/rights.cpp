// SPDX-License-Identifier: Apache-2.0
// rights.cpp -- see rights.h.
#include "objmgrd/rights.h"

#include "objmgrd/toml.h"

#include <algorithm>
#include <errno.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

struct RightRow {
    const char *word;
    u32 bits;
};

constexpr RightRow kRights[] = {
    {"login", kPrivilegeLogin},
    {"power", kPrivilegePowerControl},
    {"clear-log", kPrivilegeClearLog},
};

// Entries of large directories need more than the system's first guess.
constexpr size_t kEntryMax = size_t{1} * 1024 * 1024;

template <typename Entry, typename Function>
bool LookUp(Function function, const std::string &name, Entry *entry)
{
    std::vector<char> room(16384);
    Entry *found = nullptr;
    for (;;) {
        const int error = function(name.c_str(), entry, room.data(), room.size(), &found);
        if (error == ERANGE && room.size() < kEntryMax)
            room.resize(room.size() * 2);
        else if (error != EINTR)
            return error == 0 && found != nullptr;
    }
}

bool SystemUser(const std::string &name, u32 *uid)
{
    passwd entry;
    if (!LookUp(getpwnam_r, name, &entry))
        return false;
    *uid = entry.pw_uid;
    return true;
}

bool SystemGroup(const std::string &name, u32 *gid)
{
    group entry;
    if (!LookUp(getgrnam_r, name, &entry))
        return false;
    *gid = entry.gr_gid;
    return true;
}

bool IsNumber(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// At most 4294967294: the largest is nobody's id.
bool ParseId(std::string_view digits, u32 *id)
{
    u64 number = 0;
    for (char c : digits) {
        number = number * 10 + static_cast<u64>(c - '0');
        if (number >= UINT32_MAX)
            return false;
    }
    *id = static_cast<u32>(number);
    return true;
}

// Whoever may write the file gives the rights.
bool IsGuarded(int fd, std::vector<FileNote> *notes)
{
    struct stat info;
    if (fstat(fd, &info) != 0)
        FileNoteAdd(notes, strerror(errno));
    else if (!S_ISREG(info.st_mode))
        FileNoteAdd(notes, "is no plain file");
    else if (info.st_uid != 0 && info.st_uid != geteuid())
        FileNoteAdd(notes, "belongs neither to root nor to the user that the service runs as");
    else if ((info.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        FileNoteAdd(notes, "may be written by others than its owner (chmod go-w)");
    else
        return true;
    return false;
}

}  // namespace

const RightsNames kSystemNames = {SystemUser, SystemGroup};

// Walks the parsed tables and collects every fault instead of stopping at the first.
class RightsReader
{
public:
    RightsReader(Rights *rights, std::vector<FileNote> *notes, const RightsNames &names)
        : rights_(rights), notes_(notes), names_(names)
    {
        rights_->everybodyLogsIn_ = false;
    }

    void ReadTop(const toml::table &top)
    {
        for (const auto &[key, node] : top) {
            if (key == "users")
                ReadTable(key, node, "user", names_.user, &rights_->users_);
            else if (key == "groups")
                ReadTable(key, node, "group", names_.group, &rights_->groups_);
            else
                Fault(key.source(),
                      "unknown table " + FileNoteQuoted(key.str()) + " (known: users, groups)");
        }
    }
    bool Right() const { return faults_ == 0; }

private:
    void Note(const toml::source_region &place, bool warning, std::string text)
    {
        FileNote note;
        note.line = place.begin.line;
        note.column = place.begin.column;
        note.warning = warning;
        note.text = std::move(text);
        notes_->push_back(std::move(note));
        faults_ += warning ? 0 : 1;
    }
    void Fault(const toml::source_region &place, std::string text)
    {
        Note(place, false, std::move(text));
    }

    void ReadTable(const toml::key &name, const toml::node &node, const char *what,
                   bool (*lookUp)(const std::string &, u32 *), std::map<u32, u32> *out)
    {
        const toml::table *table = node.as_table();
        if (table == nullptr) {
            Fault(node.source(),
                  std::string(name.str()) + " is a table: write [" + std::string(name.str()) + "]");
            return;
        }
        for (const auto &[key, value] : *table) {
            const u32 bits = ReadRights(value);
            u32 id = 0;
            if (FindId(key, what, lookUp, &id))
                (*out)[id] |= bits;
        }
    }

    bool FindId(const toml::key &key, const char *what, bool (*lookUp)(const std::string &, u32 *),
                u32 *id)
    {
        const std::string name(key.str());
        if (name.empty()) {
            Fault(key.source(), std::string("a ") + what + " has a name");
            return false;
        }
        if (IsNumber(name) && !ParseId(name, id)) {
            Fault(key.source(), "there is no such number of a " + std::string(what));
            return false;
        }
        if (!IsNumber(name) && !lookUp(name, id)) {
            Note(key.source(), true,
                 "there is no " + std::string(what) + " " + FileNoteQuoted(name) +
                     ": nobody gets these rights");
            return false;
        }
        if (*id == kOverflowId) {
            Note(key.source(), true,
                 "the " + std::string(what) + " " + FileNoteQuoted(name) + " never has a right");
            return false;
        }
        return true;
    }

    u32 ReadRights(const toml::node &node)
    {
        const toml::array *array = node.as_array();
        if (array == nullptr)
            return ReadRight(node);
        u32 bits = 0;
        for (const toml::node &element : *array)
            bits |= ReadRight(element);
        return bits;
    }

    u32 ReadRight(const toml::node &node)
    {
        const auto *word = node.as_string();
        if (word == nullptr) {
            Fault(node.source(), "rights are words: write [\"login\", \"power\"]");
            return 0;
        }
        for (const RightRow &row : kRights) {
            if (word->get() == row.word)
                return row.bits;
        }
        Fault(node.source(),
              "unknown right " + FileNoteQuoted(word->get()) + " (known: login, power, clear-log)");
        return 0;
    }

    Rights *rights_;
    std::vector<FileNote> *notes_;
    const RightsNames &names_;
    u32 faults_ = 0;
};

u32 Rights::Of(const Peer &peer) const
{
    if (peer.uid == 0 || peer.uid == geteuid())
        return kPrivilegeAll;
    if (peer.uid == kOverflowId)
        return 0;
    u32 bits = everybodyLogsIn_ ? kPrivilegeLogin : 0;
    const auto add = [&bits](const std::map<u32, u32> &given, u32 id) {
        const auto found = given.find(id);
        if (found != given.end() && id != kOverflowId)
            bits |= found->second;
    };
    add(users_, peer.uid);
    add(groups_, peer.gid);
    for (u32 group : peer.groups)
        add(groups_, group);
    return (bits & kPrivilegeLogin) != 0 ? bits : 0;
}

bool RightsParse(std::string_view text, Rights *rights, std::vector<FileNote> *notes,
                 const RightsNames &names)
{
    Rights read;
    RightsReader reader(&read, notes, names);
    if (!TomlRead(text, &reader, notes))
        return false;
    *rights = std::move(read);
    return true;
}

// What is judged is what is read: the name may lead elsewhere a moment later.
bool RightsRead(const std::string &file, Rights *rights, std::vector<FileNote> *notes)
{
    const int fd = open(file.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        FileNoteAdd(notes, strerror(errno));
        return false;
    }
    std::string text;
    const bool read =
        IsGuarded(fd, notes) && FileReadFrom(fd, kRightsFileMax, "1 MiB", &text, notes);
    close(fd);
    return read && RightsParse(text, rights, notes);
}
