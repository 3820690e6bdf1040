// SPDX-License-Identifier: Apache-2.0
// objmgr_store.h -- images for tests of the object manager: by the writer, and by hand.
#ifndef TESTS_SUPPORT_OBJMGR_STORE_H
#define TESTS_SUPPORT_OBJMGR_STORE_H

#include "objmgrd/half_builder.h"
#include "objmgrd/image_writer.h"
#include "support/test_files.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <string>
#include <utility>
#include <vector>

using Records = std::vector<std::pair<std::string, Instance>>;

// The key of a record in Records that is the plan of faults.
constexpr char kFaultsKey[] = ".faults";

inline Instance Texts(const std::vector<std::pair<std::string, std::string>> &texts)
{
    Instance instance;
    for (const auto &[name, text] : texts)
        instance.properties.push_back({name, kCimOk, text});
    return instance;
}

// Commits, and does not publish.
inline int StageAll(ImageWriter *writer, const Records &records)
{
    int rc = writer->Begin();
    if (rc != 0)
        return rc;
    for (const auto &[key, instance] : records) {
        rc =
            key == kFaultsKey ? writer->PutFaults(instance.properties) : writer->Put(key, instance);
        if (rc != 0)
            return rc;
    }
    return writer->Commit();
}

inline int PutAll(ImageWriter *writer, const Records &records)
{
    const int rc = StageAll(writer, records);
    return rc == 0 ? writer->Publish() : rc;
}

inline int PublishAll(ImageWriter *writer, const std::string &directory, const Records &records,
                      const ImageWriterOptions &options = {})
{
    const int rc = writer->Open(directory, options);
    return rc == 0 ? PutAll(writer, records) : rc;
}

// ---- an image as bytes ----

inline ImageHead HeadOf(const std::string &image)
{
    ImageHead head = {};
    if (image.size() >= sizeof(head))
        memcpy(&head, image.data(), sizeof(head));
    return head;
}

// The half in use; empty when there is none.
inline std::string HalfOf(const std::string &image)
{
    const ImageHead head = HeadOf(image);
    const u32 done = le32toh(head.done);
    const u64 offset = kImageHeadSize + u64{done & 1} * le32toh(head.halfCapacity);
    const u32 size = le32toh(head.halfSize[done & 1]);
    return offset + size <= image.size() ? image.substr(static_cast<size_t>(offset), size)
                                         : std::string();
}

// All records of the image in use by their keys, packed as they stand.
using RawRecords = std::map<std::string, std::string>;

inline RawRecords ReadImageAt(const std::string &directory)
{
    RawRecords records;
    const std::string half = HalfOf(ReadFile(directory + "/" + kStoreImageName));
    ImageHalf head = {};
    if (half.size() < sizeof(head))
        return records;
    memcpy(&head, half.data(), sizeof(head));
    for (u32 at = le32toh(head.records); at < le32toh(head.recordsEnd);) {
        if (!ImageCheckRecord(half.data(), at))
            return {};
        const ImageInstance instance = ImageInstanceAt(half.data(), at);
        const u32 end = static_cast<u32>(instance.end - half.data());
        records[instance.key] = half.substr(at, end - at);
        at = ImageAlign(end);
    }
    return records;
}

// The text of a property in a packed record, "status N" or "absent".
inline std::string TextIn(const std::string &record, const char *property)
{
    const ImageInstance instance = ImageInstanceAt(record.data(), 0);
    const ImageText found = ImageFindProperty(instance.first, instance.end, property);
    if (found.text == nullptr)
        return "absent";
    return found.status == kCimOk ? found.text : "status " + std::to_string(found.status);
}

// A whole file for one half, of publish 1, whose heartbeat is `beatMs`.
inline std::string ImageFileOf(const std::string &half, u32 beatMs)
{
    const u32 capacity = static_cast<u32>((half.size() + 4095) / 4096 * 4096);
    ImageHead head = {};
    head.magic = htole32(kImageMagic);
    head.version = htole32(kImageVersion);
    head.begun = head.done = htole32(1);
    head.heartbeatMs = htole32(beatMs);
    head.halfCapacity = htole32(capacity);
    head.halfSize[1] = htole32(static_cast<u32>(half.size()));
    std::string image(kImageHeadSize + 2 * size_t{capacity}, '\0');
    memcpy(image.data(), &head, sizeof(head));
    memcpy(image.data() + kImageHeadSize + capacity, half.data(), half.size());
    return image;
}

// The half that a service would publish first.
inline std::string HalfWith(const Records &records)
{
    HalfBuilder builder;
    for (const auto &[key, instance] : records) {
        if (key == kFaultsKey)
            builder.SetFaults(PackProperties(instance.properties));
        else
            builder.Put(key, PackRecord(key, instance));
    }
    return builder.Build(1);
}

// Takes the lock that says that a service lives, as this process, until it ends.
inline int HoldAlive(const std::string &directory)
{
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    const int fd =
        open((directory + "/" + kStoreAliveName).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    return fd >= 0 && fcntl(fd, F_OFD_SETLK, &lock) == 0 ? 0 : EIO;
}

// Any bytes as the image, given their name at once; a service that is not there holds the lock.
inline int PublishBytes(const std::string &directory, const std::string &image)
{
    const std::string made = directory + "/made";
    std::ofstream(made, std::ios::binary) << image;
    return rename(made.c_str(), (directory + "/" + kStoreImageName).c_str()) == 0 ? 0 : errno;
}

#endif
