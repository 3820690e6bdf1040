// SPDX-License-Identifier: Apache-2.0
// log_archive.h -- hands the event log that a service serves to its archive.
//
// The server looks after each commit; a thread of its own writes, since a disk may take its time.
// Every state of the log that was committed reaches the archive in its order, so that a record that
// is cleared at once is in it, too. A disk that is full is tried again once a second.
#ifndef OBJMGRD_LOG_ARCHIVE_H
#define OBJMGRD_LOG_ARCHIVE_H

#include "archive/archive_line.h"
#include "objmgrd/archive_settings.h"
#include "objmgrd/image_writer.h"

#include <memory>
#include <vector>

// States of the log that wait for the disk. Beyond so many the newest takes the place of the one
// before it: what that alone had is lost, and said.
constexpr size_t kLogArchiveWaitMost = 256;

// The log that the store holds: the records 1 to NumRecords, up to the first that is not there yet.
// False: it cannot be read now, which says nothing about it.
bool LogOfStore(const ImageWriter &store, std::vector<ArchiveRecord> *log);

class LogArchive
{
public:
    LogArchive() = default;
    ~LogArchive();  // as Stop
    LogArchive(const LogArchive &) = delete;
    LogArchive &operator=(const LogArchive &) = delete;

    // Opens the archive and starts the thread. log: of a service (ServiceLog), called by Look
    // alone. 0 or an errno value; EBUSY: another service writes there.
    int Start(const ArchiveSettings &settings, void (*log)(int priority, const char *line));
    // After each commit, on the server's thread; never waits. Costs nothing while the log has not
    // changed.
    void Look(const ImageWriter &store);
    // Writes what waits, for two seconds at the most, and ends the thread; one that hangs in the
    // disk is left behind.
    void Stop();

private:
    struct Shared;
    static void *Run(void *argument);

    std::shared_ptr<Shared> shared_;
    void (*log_)(int, const char *) = nullptr;
    u64 seenChanges_ = 0;
};

#endif
