// SPDX-License-Identifier: Apache-2.0
// objmgr_store.h -- stores for tests of the object manager.
#ifndef TESTS_SUPPORT_OBJMGR_STORE_H
#define TESTS_SUPPORT_OBJMGR_STORE_H

#include "objmgrd/store_writer.h"

#include <errno.h>
#include <fcntl.h>
#include <lmdb.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

using Records = std::vector<std::pair<std::string, Instance>>;

inline Instance Texts(const std::vector<std::pair<std::string, std::string>> &texts)
{
    Instance instance;
    for (const auto &[name, text] : texts)
        instance.properties.push_back({name, kCimOk, text});
    return instance;
}

inline int PutAll(StoreWriter *writer, const Records &records)
{
    int rc = writer->Begin();
    if (rc != 0)
        return rc;
    for (const auto &[key, instance] : records) {
        if ((rc = writer->Put(key, instance)) != 0)
            return rc;
    }
    return writer->Commit();
}

inline int PublishAll(StoreWriter *writer, const std::string &directory, const Records &records,
                      size_t mapSizeBytes = kStoreMapSize)
{
    int rc = writer->Open(directory, mapSizeBytes);
    if (rc == 0)
        rc = PutAll(writer, records);
    return rc == 0 ? writer->Publish() : rc;
}

inline u64 MonotonicMs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<u64>(now.tv_sec) * 1000 + static_cast<u64>(now.tv_nsec) / 1000000;
}

using RawRecords = std::map<std::string, std::string>;

inline RawRecords ReadStore(MDB_env *env)
{
    RawRecords records;
    MDB_txn *txn = nullptr;
    MDB_cursor *cursor = nullptr;
    MDB_dbi dbi;
    if (mdb_txn_begin(env, nullptr, MDB_RDONLY, &txn) != 0)
        return records;
    if (mdb_dbi_open(txn, nullptr, 0, &dbi) == 0 && mdb_cursor_open(txn, dbi, &cursor) == 0) {
        MDB_val key;
        MDB_val value;
        while (mdb_cursor_get(cursor, &key, &value, MDB_NEXT) == 0)
            records[std::string(static_cast<char *>(key.mv_data), key.mv_size)] =
                std::string(static_cast<char *>(value.mv_data), value.mv_size);
        mdb_cursor_close(cursor);
    }
    mdb_txn_abort(txn);
    return records;
}

// Everything in the store in use. Not in the process that writes it or has it open.
inline RawRecords ReadStoreAt(const std::string &directory)
{
    MDB_env *env = nullptr;
    RawRecords records;
    if (mdb_env_create(&env) != 0)
        return records;
    if (mdb_env_open(env, (directory + "/" + kStoreLinkName).c_str(), MDB_RDONLY, 0600) == 0)
        records = ReadStore(env);
    mdb_env_close(env);
    return records;
}

// Builds and publishes a store of any bytes by hand, with its own heartbeat and the alive lock.
// Environment and lock stay open until the process ends.
inline int PublishRaw(const std::string &directory, const RawRecords &records)
{
    const std::string store = directory + "/store-000000";
    MDB_env *env = nullptr;
    MDB_txn *txn = nullptr;
    MDB_dbi dbi;
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    const int alive =
        open((directory + "/" + kStoreAliveName).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (alive < 0 || fcntl(alive, F_SETLK, &lock) != 0 || ftruncate(alive, sizeof(u32)) != 0 ||
        mkdir(store.c_str(), 0700) != 0 || mdb_env_create(&env) != 0 ||
        mdb_env_open(env, store.c_str(), MDB_NOSYNC, 0600) != 0 ||
        mdb_txn_begin(env, nullptr, 0, &txn) != 0 || mdb_dbi_open(txn, nullptr, 0, &dbi) != 0)
        return EIO;
    for (const auto &[name, bytes] : records) {
        MDB_val key = {name.size(), const_cast<char *>(name.data())};
        MDB_val value = {bytes.size(), const_cast<char *>(bytes.data())};
        if (mdb_put(txn, dbi, &key, &value, 0) != 0)
            return EIO;
    }
    if (mdb_txn_commit(txn) != 0)
        return EIO;
    return symlink("store-000000", (directory + "/" + kStoreLinkName).c_str()) == 0 ? 0 : errno;
}

inline std::string HeartbeatBytes(u64 beat)
{
    return std::string(reinterpret_cast<const char *>(&beat), sizeof(beat));
}

#endif
