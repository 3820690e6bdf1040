// SPDX-License-Identifier: Apache-2.0
// store_writer.cpp -- the one writer of the object manager's store.
//
// Nothing here outlives the service's process, so nothing is synced to a disk. Who may enter the
// directory may connect: the permissions of what is made inside follow the directory's own.
#include "objmgrd/store_writer.h"

#include "objmgr/object_path.h"
#include "objmgr/schema.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <lmdb.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <utility>

static constexpr char kStoreTemplate[] = "store-XXXXXX";
static constexpr size_t kStorePrefixLength = sizeof("store-") - 1;
static constexpr char kNewLinkName[] = "store.new";

// ---- texts and packed instances ----

// Length of the valid UTF-8 character at text[at], 0 when there is none.
static size_t CharacterLength(const std::string &text, size_t at)
{
    const auto byte = [&](size_t i) { return static_cast<u8>(text[at + i]); };
    const u8 lead = byte(0);
    const size_t length = lead < 0x80                    ? 1
                          : lead >= 0xc2 && lead <= 0xdf ? 2
                          : lead >= 0xe0 && lead <= 0xef ? 3
                          : lead >= 0xf0 && lead <= 0xf4 ? 4
                                                         : 0;
    if (length == 0 || length > text.size() - at)
        return 0;
    for (size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0) != 0x80)
            return 0;
    }
    // Longer forms than needed, surrogates, and what lies beyond U+10FFFF.
    const bool bad = (lead == 0xe0 && byte(1) < 0xa0) || (lead == 0xed && byte(1) > 0x9f) ||
                     (lead == 0xf0 && byte(1) < 0x90) || (lead == 0xf4 && byte(1) > 0x8f);
    return bad ? 0 : length;
}

static bool IsControl(const std::string &text, size_t at, size_t length)
{
    const u8 lead = static_cast<u8>(text[at]);
    if (length == 1)
        return lead < 0x20 || lead == 0x7f;
    return length == 2 && lead == 0xc2 && static_cast<u8>(text[at + 1]) < 0xa0;
}

std::string StoreSafeText(const std::string &text)
{
    std::string safe;
    for (size_t at = 0; at < text.size();) {
        const size_t length = CharacterLength(text, at);
        const bool keep = length > 0 && !IsControl(text, at, length);
        if (safe.size() + (keep ? length : 1) > kStoreTextMax)
            break;
        if (keep)
            safe.append(text, at, length);
        else
            safe += '?';
        at += length > 0 ? length : 1;
    }
    return safe;
}

static bool IsPropertyName(const std::string &name)
{
    if (name.empty() || name.size() > kStorePropertyNameMax)
        return false;
    for (const char c : name) {
        const u8 byte = static_cast<u8>(c);
        if (byte < 0x20 || byte == 0x7f)
            return false;
    }
    return true;
}

// Properties that the shell reads for every instance of a walk, or before anything else. A reader
// goes through a record from its beginning, so these come first.
static constexpr const char *kFirstNames[] = {kPropertyType, kPropertyFormat, kPropertyPowerStatus,
                                              kPropertyServiceTag, kPropertyNumRecords};

static bool IsFirstName(const std::string &name)
{
    for (const char *first : kFirstNames) {
        if (name == first)
            return true;
    }
    return false;
}

template <typename Number> static void AppendNumber(std::string *record, Number number)
{
    char bytes[sizeof(number)];
    memcpy(bytes, &number, sizeof(number));
    record->append(bytes, sizeof(bytes));
}

static void AppendProperty(std::string *record, const PropertyValue &property)
{
    const std::string text =
        property.status == kCimOk ? StoreSafeText(property.text) : std::string();
    AppendNumber(record, property.status);
    AppendNumber(record, static_cast<u16>(text.size()));
    AppendNumber(record, static_cast<u8>(property.name.size()));
    record->append(property.name.c_str(), property.name.size() + 1);
    record->append(text.c_str(), text.size() + 1);
}

std::string StorePack(const Instance &instance)
{
    std::string record;
    AppendNumber(&record, instance.status);
    for (const char *first : kFirstNames) {
        for (const PropertyValue &property : instance.properties) {
            if (property.name == first)
                AppendProperty(&record, property);
        }
    }
    for (const PropertyValue &property : instance.properties) {
        if (IsPropertyName(property.name) && !IsFirstName(property.name))
            AppendProperty(&record, property);
    }
    return record;
}

// ---- environments ----

namespace
{
// One store-<random> directory.
struct Environment {
    std::string name;
    MDB_env *env = nullptr;
    MDB_dbi dbi = 0;
};

struct Change {
    std::string key;
    std::string record;
    bool put;
};
}  // namespace

struct StoreWriter::State {
    std::string directory;
    size_t mapSizeBytes = 0;
    int aliveFd = -1;
    bool published = false;
    Environment store;
    // The transaction: what it changed so far, to be repeated in a new environment.
    bool inTransaction = false;
    MDB_txn *txn = nullptr;
    int failure = 0;  // errno of the first change that failed
    std::vector<Change> changes;

    std::string PathTo(const char *name) const { return directory + "/" + name; }
    std::string PathTo(const std::string &name) const { return directory + "/" + name; }

    int MakeStore(Environment *made) const;
    void RemoveStore(Environment *store) const;
    void RemoveStoresBut(const std::string &kept) const;
    int LinkTo(const std::string &name) const;
    int TakeAliveLock();
    int CountStore() const;
    int WriteHeartbeat();
    int Rebuild();
    int RebuildAndRepeat();
    int Record(Change change);
    int EndTransaction(bool commit);
};

static int ErrnoOf(int rc)
{
    if (rc == MDB_MAP_FULL || rc == MDB_TXN_FULL)
        return ENOSPC;
    if (rc == MDB_BAD_VALSIZE)
        return EINVAL;
    return rc < 0 ? EIO : rc;
}

namespace
{
struct Modes {
    mode_t directory;
    mode_t readOnly;
    mode_t shared;
};
}  // namespace

// LMDB's readers write to the lock file, so whoever may enter the directory gets that right.
static Modes ModesFor(mode_t parent)
{
    Modes modes = {0700, 0600, 0600};
    if ((parent & S_IXGRP) != 0)
        modes = {modes.directory | 0050, modes.readOnly | 0040, modes.shared | 0060};
    if ((parent & S_IXOTH) != 0)
        modes = {modes.directory | 0005, modes.readOnly | 0004, modes.shared | 0006};
    return modes;
}

static int OpenEnvironment(const std::string &path, size_t mapSizeBytes, Environment *made)
{
    int rc = mdb_env_create(&made->env);
    if (rc != 0) {
        made->env = nullptr;
        return rc;
    }
    int fd = -1;
    MDB_txn *txn = nullptr;
    if ((rc = mdb_env_set_mapsize(made->env, mapSizeBytes)) != 0 ||
        (rc = mdb_env_set_maxreaders(made->env, kStoreMaxReaders)) != 0 ||
        (rc = mdb_env_open(made->env, path.c_str(), MDB_NOSYNC | MDB_NOMETASYNC, 0600)) != 0 ||
        (rc = mdb_env_get_fd(made->env, &fd)) != 0 ||
        (rc = mdb_txn_begin(made->env, nullptr, 0, &txn)) != 0)
        return rc;
    rc = mdb_dbi_open(txn, nullptr, 0, &made->dbi);
    mdb_txn_abort(txn);
    if (rc == 0 && fcntl(fd, F_SETFD, FD_CLOEXEC) != 0)
        rc = errno;
    return rc;
}

static int SetModes(const std::string &directory, const std::string &store)
{
    struct stat info;
    if (stat(directory.c_str(), &info) != 0)
        return errno;
    const Modes modes = ModesFor(info.st_mode);
    // The directory last: setting its mode ends the inheritance of the group.
    if (chmod((store + "/data.mdb").c_str(), modes.readOnly) != 0 ||
        chmod((store + "/lock.mdb").c_str(), modes.shared) != 0 ||
        chmod(store.c_str(), modes.directory) != 0)
        return errno;
    return 0;
}

int StoreWriter::State::MakeStore(Environment *made) const
{
    std::string path = PathTo(kStoreTemplate);
    if (mkdtemp(path.data()) == nullptr)
        return errno;
    made->name = path.substr(directory.size() + 1);
    int rc = OpenEnvironment(path, mapSizeBytes, made);
    if (rc == 0)
        rc = SetModes(directory, path);
    if (rc != 0)
        RemoveStore(made);
    return ErrnoOf(rc);
}

// Removes what this file makes and nothing else; never follows a link.
static void RemoveStoreDirectory(const std::string &directory, const std::string &name)
{
    const std::string path = directory + "/" + name;
    const int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return;
    // A client that is just opening the store finds its data first and may then make a lock file.
    unlinkat(fd, "data.mdb", 0);
    unlinkat(fd, "lock.mdb", 0);
    close(fd);
    rmdir(path.c_str());
}

void StoreWriter::State::RemoveStore(Environment *old) const
{
    if (old->env != nullptr)
        mdb_env_close(old->env);
    if (!old->name.empty())
        RemoveStoreDirectory(directory, old->name);
    *old = Environment();
}

static bool IsStoreName(const char *name)
{
    if (strlen(name) != sizeof(kStoreTemplate) - 1 ||
        strncmp(name, kStoreTemplate, kStorePrefixLength) != 0)
        return false;
    for (const char *at = name + kStorePrefixLength; *at != '\0'; ++at) {
        const bool digit = *at >= '0' && *at <= '9';
        const bool letter = (*at >= 'A' && *at <= 'Z') || (*at >= 'a' && *at <= 'z');
        if (!digit && !letter)
            return false;
    }
    return true;
}

void StoreWriter::State::RemoveStoresBut(const std::string &kept) const
{
    DIR *listing = opendir(directory.c_str());
    if (listing == nullptr)
        return;
    std::vector<std::string> names;
    while (const dirent *entry = readdir(listing)) {
        if (IsStoreName(entry->d_name) && kept != entry->d_name)
            names.push_back(entry->d_name);
    }
    closedir(listing);
    for (const std::string &name : names)
        RemoveStoreDirectory(directory, name);
}

int StoreWriter::State::LinkTo(const std::string &name) const
{
    const std::string fresh = PathTo(kNewLinkName);
    unlink(fresh.c_str());
    if (symlink(name.c_str(), fresh.c_str()) != 0)
        return errno;
    if (rename(fresh.c_str(), PathTo(kStoreLinkName).c_str()) == 0)
        return 0;
    const int error = errno;
    unlink(fresh.c_str());
    return error;
}

// ---- transactions ----

static MDB_val ValueOf(const std::string &text)
{
    return {text.size(), const_cast<char *>(text.data())};  // LMDB only reads it
}

// A record that stays as it is costs no page: providers write all they know at every turn.
static int PutRecord(MDB_txn *txn, MDB_dbi dbi, const std::string &key, const std::string &record)
{
    MDB_val keyValue = ValueOf(key);
    MDB_val old;
    if (mdb_get(txn, dbi, &keyValue, &old) == 0 && old.mv_size == record.size() &&
        memcmp(old.mv_data, record.data(), record.size()) == 0)
        return 0;
    MDB_val value = ValueOf(record);
    return mdb_put(txn, dbi, &keyValue, &value, 0);
}

static int Apply(MDB_txn *txn, MDB_dbi dbi, const Change &change)
{
    if (change.put)
        return PutRecord(txn, dbi, change.key, change.record);
    MDB_val key = ValueOf(change.key);
    const int rc = mdb_del(txn, dbi, &key, nullptr);
    return rc == MDB_NOTFOUND ? 0 : rc;
}

static int PutHeartbeat(MDB_txn *txn, MDB_dbi dbi)
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const u64 beat = static_cast<u64>(now.tv_sec) * 1000 + static_cast<u64>(now.tv_nsec) / 1000000;
    return PutRecord(txn, dbi, kStoreHeartbeatKey,
                     std::string(reinterpret_cast<const char *>(&beat), sizeof(beat)));
}

static int CopyRecords(MDB_txn *from, MDB_dbi fromDbi, MDB_txn *to, MDB_dbi toDbi)
{
    MDB_cursor *cursor = nullptr;
    int rc = mdb_cursor_open(from, fromDbi, &cursor);
    if (rc != 0)
        return rc;
    MDB_val key;
    MDB_val value;
    // Keys come in order, so pages of the new store are filled to the end.
    while ((rc = mdb_cursor_get(cursor, &key, &value, MDB_NEXT)) == 0) {
        if ((rc = mdb_put(to, toDbi, &key, &value, MDB_APPEND)) != 0)
            break;
    }
    mdb_cursor_close(cursor);
    return rc == MDB_NOTFOUND ? 0 : rc;
}

// What is committed in `from`, with a fresh heartbeat. The reading side is a write transaction
// too: readers that stand still may have taken every reader's slot.
static int CopyStore(const Environment &from, const Environment &to)
{
    MDB_txn *reading = nullptr;
    MDB_txn *writing = nullptr;
    int rc = mdb_txn_begin(from.env, nullptr, 0, &reading);
    if (rc != 0)
        return rc;
    rc = mdb_txn_begin(to.env, nullptr, 0, &writing);
    if (rc == 0) {
        rc = CopyRecords(reading, from.dbi, writing, to.dbi);
        if (rc == 0)
            rc = PutHeartbeat(writing, to.dbi);
        if (rc == 0)
            rc = mdb_txn_commit(writing);
        else
            mdb_txn_abort(writing);
    }
    mdb_txn_abort(reading);
    return rc;
}

// Moves the committed contents to a new environment: the way out when readers that stand still
// keep every page of the old one in use. Those readers go on with the old one.
int StoreWriter::State::Rebuild()
{
    Environment fresh;
    int rc = MakeStore(&fresh);
    if (rc == 0)
        rc = CopyStore(store, fresh);
    if (rc == 0 && published)
        rc = LinkTo(fresh.name);
    if (rc == 0) {
        std::swap(store, fresh);
        rc = CountStore();
    }
    RemoveStore(&fresh);
    return rc;
}

int StoreWriter::State::RebuildAndRepeat()
{
    if (txn != nullptr)
        mdb_txn_abort(txn);
    txn = nullptr;
    int rc = Rebuild();
    if (rc == 0)
        rc = mdb_txn_begin(store.env, nullptr, 0, &txn);
    for (size_t i = 0; rc == 0 && i < changes.size(); ++i)
        rc = Apply(txn, store.dbi, changes[i]);
    return rc;
}

int StoreWriter::State::Record(Change change)
{
    if (!inTransaction)
        return EINVAL;
    if (failure != 0)
        return failure;
    ObjectPath parsed;
    const bool canonical = ObjectPathParse(change.key.c_str(), &parsed) == kCimOk &&
                           change.key.compare(parsed.key) == 0;
    if (!canonical && change.key != kStoreFaultsKey)
        return failure = EINVAL;
    changes.push_back(std::move(change));
    int rc = Apply(txn, store.dbi, changes.back());
    if (rc == MDB_MAP_FULL)
        rc = RebuildAndRepeat();
    return failure = ErrnoOf(rc);
}

int StoreWriter::State::EndTransaction(bool commit)
{
    if (!inTransaction)
        return EINVAL;
    int rc = failure;
    if (commit && rc == 0) {
        rc = mdb_txn_commit(std::exchange(txn, nullptr));
        if (rc == MDB_MAP_FULL) {
            rc = RebuildAndRepeat();
            if (rc == 0)
                rc = mdb_txn_commit(std::exchange(txn, nullptr));
        }
    }
    if (txn != nullptr)
        mdb_txn_abort(txn);
    txn = nullptr;
    inTransaction = false;
    failure = 0;
    changes.clear();
    return ErrnoOf(rc);
}

int StoreWriter::State::WriteHeartbeat()
{
    MDB_txn *beat = nullptr;
    int rc = mdb_txn_begin(store.env, nullptr, 0, &beat);
    if (rc != 0)
        return rc;
    rc = PutHeartbeat(beat, store.dbi);
    if (rc == 0)
        rc = mdb_txn_commit(beat);
    else
        mdb_txn_abort(beat);
    return rc == MDB_MAP_FULL ? Rebuild() : rc;
}

// ---- the service's directory ----

// Made where it is missing, for nobody but the service: letting shells of other users in is the
// administrator's decision.
static int MakeDirectory(const std::string &path)
{
    for (size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
        if (mkdir(path.substr(0, end).c_str(), 0755) != 0 && errno != EEXIST)
            return errno;
    }
    return mkdir(path.c_str(), 0700) != 0 && errno != EEXIST ? errno : 0;
}

int StoreWriter::State::TakeAliveLock()
{
    struct stat info;
    if (stat(directory.c_str(), &info) != 0)
        return errno;
    aliveFd =
        open(PathTo(kStoreAliveName).c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (aliveFd < 0)
        return errno;
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (fcntl(aliveFd, F_SETLK, &lock) != 0)
        return errno == EAGAIN || errno == EACCES ? EBUSY : errno;
    return fchmod(aliveFd, ModesFor(info.st_mode).readOnly) == 0 ? 0 : errno;
}

// Tells clients that what they have open may not be the store in use any more.
int StoreWriter::State::CountStore() const
{
    u32 count = 0;
    if (pread(aliveFd, &count, sizeof(count), 0) < 0)
        return errno;
    ++count;
    const ssize_t written = pwrite(aliveFd, &count, sizeof(count), 0);
    if (written == sizeof(count))
        return 0;
    return written < 0 ? errno : ENOSPC;
}

StoreWriter::~StoreWriter()
{
    Close();
}

int StoreWriter::Open(const std::string &directory, size_t mapSizeBytes)
{
    if (state_ != nullptr)
        return EBUSY;
    if (directory.empty())
        return EINVAL;
    state_ = new State;
    state_->directory = directory;
    state_->mapSizeBytes = mapSizeBytes;
    int rc = MakeDirectory(directory);
    if (rc == 0)
        rc = state_->TakeAliveLock();
    if (rc == 0) {
        // A link that is still there is that of a service that died. From here on the lock says
        // that a service is alive, so the dead one's store must not be found any more.
        unlink(state_->PathTo(kStoreLinkName).c_str());
        rc = state_->CountStore();
    }
    if (rc == 0)
        rc = state_->MakeStore(&state_->store);
    if (rc != 0)
        Close();
    return rc;
}

int StoreWriter::Publish()
{
    if (state_ == nullptr)
        return EINVAL;
    if (state_->inTransaction)
        return EBUSY;
    int rc = ErrnoOf(state_->WriteHeartbeat());
    if (rc == 0)
        rc = state_->LinkTo(state_->store.name);
    if (rc == 0)
        rc = state_->CountStore();
    if (rc != 0)
        return rc;
    state_->published = true;
    state_->RemoveStoresBut(state_->store.name);
    return 0;
}

int StoreWriter::Begin()
{
    if (state_ == nullptr)
        return EINVAL;
    if (state_->inTransaction)
        return EBUSY;
    const int rc = mdb_txn_begin(state_->store.env, nullptr, 0, &state_->txn);
    if (rc != 0)
        state_->txn = nullptr;
    state_->inTransaction = rc == 0;
    return ErrnoOf(rc);
}

int StoreWriter::Put(const std::string &key, const Instance &instance)
{
    return state_ != nullptr ? state_->Record({key, StorePack(instance), true}) : EINVAL;
}

int StoreWriter::Delete(const std::string &key)
{
    return state_ != nullptr ? state_->Record({key, std::string(), false}) : EINVAL;
}

int StoreWriter::Commit()
{
    return state_ != nullptr ? state_->EndTransaction(true) : EINVAL;
}

void StoreWriter::Abort()
{
    if (state_ != nullptr)
        state_->EndTransaction(false);
}

int StoreWriter::Heartbeat()
{
    if (state_ == nullptr)
        return EINVAL;
    if (state_->inTransaction)
        return EBUSY;
    int dead = 0;
    mdb_reader_check(state_->store.env, &dead);
    return ErrnoOf(state_->WriteHeartbeat());
}

void StoreWriter::Close()
{
    if (state_ == nullptr)
        return;
    Abort();
    const bool locked = !state_->store.name.empty();
    if (state_->published) {
        unlink(state_->PathTo(kStoreLinkName).c_str());
        state_->CountStore();  // when it fails the lock that goes free says it a little later
    }
    state_->RemoveStore(&state_->store);
    if (locked)
        state_->RemoveStoresBut(std::string());
    if (state_->aliveFd >= 0)
        close(state_->aliveFd);
    delete state_;
    state_ = nullptr;
}
