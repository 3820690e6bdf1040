// SPDX-License-Identifier: Apache-2.0
// image_writer.h -- the one writer of the object manager's image.
//
// What a provider writes is a transaction: Commit stages it, and from there on it is certain to
// fit; Publish makes all that is staged the image that clients read, whole or not at all.
// Publishing has a rhythm (PublishFromMs), since a writer without a pause would starve readers:
// between two publishes lie at least 10 ms, and at least nine times as long as the last one took.
#ifndef OBJMGRD_IMAGE_WRITER_H
#define OBJMGRD_IMAGE_WRITER_H

#include "objmgrd/packed_instance.h"

#include <string>

struct ImageWriterOptions {
    std::string service = "objmgrd";  // who serves, for tools; cut to kImageServiceNameMax bytes
    // How long clients wait for the answer to a method.
    u32 methodTimeoutMs = kObjMgrMethodTimeoutMs;
    u32 halfMax = kImageHalfMax;  // the most that all instances may take, in bytes
};

// All functions return 0 or an errno value, unless they say otherwise.
class ImageWriter
{
public:
    ImageWriter() = default;
    ~ImageWriter();  // as Close
    ImageWriter(const ImageWriter &) = delete;
    ImageWriter &operator=(const ImageWriter &) = delete;

    // Takes the directory (ImageDirectory::Open says how, and what its errors mean). From here on
    // what a dead service left is out of use; clients find nothing before the first Publish.
    int Open(const std::string &directory, const ImageWriterOptions &options = {});

    // A source of data that clients can ask about: "bmc", "sensors". Returns its number, for
    // Instance::source; kImageNoSource when there are kImageSources already, or none is Open.
    u16 AddSource(const std::string &name);
    // The source answered, CLOCK_MONOTONIC milliseconds; seen by clients at once, without a
    // publish. A number that is no source's is ignored.
    void Heard(u16 source, u64 nowMs);
    // The source did not answer; when it was heard last stays.
    void Silent(u16 source);

    // Begin: EBUSY while a transaction is open. Put and Delete: EINVAL for a key that is no
    // canonical object path or holds a character that must not be shown. Once one of them has
    // failed, so does everything up to Abort or Commit, which then returns that error. ENOSPC from
    // Commit: there is no room for it; nothing has changed then, and the next one may fit.
    int Begin();
    int Put(const std::string &key, const Instance &instance);
    int Delete(const std::string &key);  // 0 also when there is no such key
    // The plan of faults of a simulated host (objmgr/faults.h).
    int PutFaults(const std::vector<PropertyValue> &rows);
    int Commit();
    void Abort();

    // What is staged under a key, packed (PackRecord), or null. Until the next Commit.
    const std::string *Find(const std::string &key) const;
    // Grows whenever a commit has changed the event log or one of its records.
    u64 LogChanges() const;

    // Whether something is staged that clients do not see yet.
    bool IsStaged() const;
    // From when on it may be published, CLOCK_MONOTONIC milliseconds.
    u64 PublishFromMs() const;
    // Publishes what is staged; 0 at once when nothing is. The first one makes alive and the image.
    // EBUSY inside a transaction. After a failure what is staged stays so.
    int Publish();

    // Says that the service works, at least every kHeartbeatPeriodMs.
    int Heartbeat();
    // Makes sure that directory, lock and files are still this service's and makes alive and the
    // image anew where they are not; to be called with each heartbeat. An error means that this
    // cannot be mended: the service has to end (ESTALE: it is not alone in the directory any more).
    int Check();

    // Removes the image and gives everything up, so that clients fail at once.
    void Close();

private:
    struct State;
    State *state_ = nullptr;
};

#endif
