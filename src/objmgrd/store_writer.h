// SPDX-License-Identifier: Apache-2.0
// store_writer.h -- the one writer of the object manager's store.
#ifndef OBJMGRD_STORE_WRITER_H
#define OBJMGRD_STORE_WRITER_H

#include "objmgr/store.h"

#include <string>
#include <vector>

struct PropertyValue {
    std::string name;
    CimStatus status = kCimOk;  // not 0: clients get this instead of the text
    std::string text;
};

// One instance as a provider describes it.
struct Instance {
    CimStatus status = kCimOk;  // not 0: clients get this instead of any value
    std::vector<PropertyValue> properties;
};

// Makes text from outside safe to show on a terminal and to store: every control character (C0,
// DEL, C1) and every byte that is no valid UTF-8 becomes "?", a text of more than kStoreTextMax
// bytes is cut at the last whole character that fits; nothing else changes.
std::string StoreSafeText(const std::string &text);

// The packed form of an instance, as objmgr/store.h describes it. Texts go through StoreSafeText.
// Names of more than kStorePropertyNameMax bytes or with control characters are left out.
// Type, Format, PowerStatus, ServiceTag and NumRecords come first, in this order, because clients
// read them most; the others follow as given.
std::string StorePack(const Instance &instance);

// Owns the directory's store, its alive lock and its heartbeat. Every change is a transaction:
// readers see all of it or nothing. All functions return 0 or an errno value, unless they say
// otherwise; after a failure the store is as it was before the transaction.
class StoreWriter
{
public:
    StoreWriter() = default;
    ~StoreWriter();  // as Close
    StoreWriter(const StoreWriter &) = delete;
    StoreWriter &operator=(const StoreWriter &) = delete;

    // Creates the directory where needed (for its owner alone), takes the alive lock and builds an
    // empty store. A store that a dead service left is out of use from here on: clients find none
    // before Publish. What is made inside may be used by everyone who may enter the directory.
    // EBUSY: another service runs there. mapSizeBytes: the most that the store may hold.
    int Open(const std::string &directory, size_t mapSizeBytes = kStoreMapSize);

    // Makes the new store the one in use, with a fresh heartbeat, and removes older ones.
    int Publish();

    // Begin: EBUSY while a transaction is open. Put and Delete: EINVAL for a key that is no
    // canonical object path (kStoreFaultsKey is one here), ENOSPC when the store cannot hold it.
    // Once one of them has failed, so does everything up to Abort or Commit, which then returns
    // that error.
    int Begin();
    int Put(const std::string &key, const Instance &instance);
    int Delete(const std::string &key);  // 0 also when there is no such key
    int Commit();
    void Abort();

    // Rewrites the heartbeat and gives back the slots of readers that died. When readers that
    // stand still have let the map fill up, the store is rebuilt in a new environment (as it is in
    // Put, Delete and Commit). EBUSY inside a transaction.
    int Heartbeat();

    // Gives up the lock and removes the store, so that clients fail at once.
    void Close();

private:
    struct State;
    State *state_ = nullptr;
};

#endif
