// SPDX-License-Identifier: Apache-2.0
// image_publisher.h -- the image's file: its room, what is written to it and what its head says.
#ifndef OBJMGRD_IMAGE_PUBLISHER_H
#define OBJMGRD_IMAGE_PUBLISHER_H

#include "objmgrd/half_builder.h"
#include "objmgrd/image_directory.h"

// All functions return 0 or an errno value, unless they say otherwise.
class ImagePublisher
{
public:
    ImagePublisher() = default;
    ~ImagePublisher();  // removes the image: clients fail at once
    ImagePublisher(const ImagePublisher &) = delete;
    ImagePublisher &operator=(const ImagePublisher &) = delete;

    // As ImageWriter::Open. halfMax: bytes that a half may have at the most.
    int Open(const std::string &directory, const std::string &service, u32 methodTimeoutMs,
             u32 halfMax);

    // Makes sure that a half of `size` bytes can be published: where the file in use is too small,
    // allocates another one, which takes its place with the next publish. ENOSPC: no such room.
    int MakeRoom(u64 size);

    // Writes all that `records` has. The first one makes alive and the image.
    int Publish(HalfBuilder *records);
    bool IsPublished() const { return image_.fd >= 0; }

    void Heartbeat();
    // As ImageWriter::Check; `records` is what has to be in an image that is made anew.
    int Check(HalfBuilder *records);

    // As those of ImageWriter.
    u16 AddSource(const std::string &name);
    void Heard(u16 source, u64 nowMs);
    void Silent(u16 source);

private:
    bool IsSource(u16 number) const;
    void WriteHead(ImageHead *head) const;
    int WriteHalf(WritableImage *file, const std::string &half) const;
    int Write(const std::string &half);
    template <typename Set> void ForEachHead(Set set);

    ImageDirectory directory_;
    u32 halfMax_ = 0;
    // What every file of this start begins with, and the table of sources as it is now.
    ImageHead head_ = {};
    WritableImage image_;  // in use; none before the first publish
    WritableImage next_;   // to take its place with the next publish, or none
    u32 count_ = 0;        // of the last publish
};

#endif
