// SPDX-License-Identifier: Apache-2.0
// image_publisher.cpp -- the image's file: its room, what is written to it and what its head says.
#include "objmgrd/image_publisher.h"

#include "objmgr/safe_text.h"
#include "objmgrd/packed_instance.h"
#include "platform/clock.h"

#include <algorithm>
#include <errno.h>
#include <sys/random.h>
#include <unistd.h>
#include <utility>

namespace
{

constexpr u64 kPage = 4096;

// 0 means something else.
u32 HeardWord(u64 nowMs)
{
    const u32 word = static_cast<u32>(nowMs);
    return word != 0 ? word : 1;
}

// `name` made safe and cut at a whole character, filled up with NULs.
void SetName(char *out, size_t size, const std::string &name)
{
    const std::string safeName = StoreSafeText(name);
    size_t length = 0;
    while (length < safeName.size()) {
        bool safe;
        const size_t next = SafeTextCharacter(&safeName[length], safeName.size() - length, &safe);
        if (length + next >= size)
            break;
        length += next;
    }
    memset(out, 0, size);
    memcpy(out, safeName.data(), length);
}

}  // namespace

ImagePublisher::~ImagePublisher()
{
    directory_.RemoveImage(image_);
    ImageDirectory::Retire(&image_);
    directory_.Discard(&next_);
}

int ImagePublisher::Open(const std::string &directory, const std::string &service,
                         u32 methodTimeoutMs, u32 halfMax)
{
    halfMax_ = std::min(halfMax, kImageHalfMax);
    head_.methodTimeoutMs = htole32(methodTimeoutMs);
    SetName(head_.serviceName, sizeof(head_.serviceName), service);
    if (getrandom(head_.start, sizeof(head_.start), 0) != sizeof(head_.start))
        return EIO;
    return directory_.Open(directory);
}

int ImagePublisher::MakeRoom(u64 size)
{
    if (size > halfMax_)
        return ENOSPC;
    const WritableImage &coming = next_.fd >= 0 ? next_ : image_;
    if (coming.fd >= 0 && size <= coming.capacity)
        return 0;
    // Room to grow, so that a list that gets longer does not take a new file each time.
    const u64 wanted = (size + size / 4 + kPage) / kPage * kPage;
    directory_.Discard(&next_);
    int error = directory_.Create(static_cast<u32>(std::min<u64>(wanted, kImageHalfMax)), &next_);
    if (error == ENOSPC)
        error = directory_.Create(static_cast<u32>(size), &next_);
    return error;
}

void ImagePublisher::WriteHead(ImageHead *head) const
{
    memcpy(head->start, head_.start, sizeof(head->start));
    memcpy(head->serviceName, head_.serviceName, sizeof(head->serviceName));
    memcpy(head->sources, head_.sources, sizeof(head->sources));
    head->methodTimeoutMs = head_.methodTimeoutMs;
    ImageStore(&head->heartbeatMs, static_cast<u32>(ClockMs()));
}

// The order of these steps is that of image.h. After a failure `begun` is one ahead, which readers
// take for a publish that is under way: the half in use stays good.
int ImagePublisher::WriteHalf(WritableImage *file, const std::string &half) const
{
    const u32 count = count_ + 1;
    const u32 size = static_cast<u32>(half.size());
    ImageStore(&file->head->begun, count);
    __atomic_thread_fence(__ATOMIC_RELEASE);
    const u64 offset = kImageHeadSize + u64{count & 1} * file->capacity;
    for (u32 done = 0; done < size;) {
        const ssize_t written =
            pwrite(file->fd, half.data() + done, size - done, static_cast<off_t>(offset + done));
        if (written < 0 && errno != EINTR)
            return errno;
        done += written > 0 ? static_cast<u32>(written) : 0;
    }
    ImageStore(&file->head->halfSize[count & 1], size);
    ImageStoreRelease(&file->head->done, count);
    return 0;
}

int ImagePublisher::Write(const std::string &half)
{
    if (next_.fd < 0)
        return WriteHalf(&image_, half);
    WriteHead(next_.head);
    int error = WriteHalf(&next_, half);
    if (error == 0)
        error = directory_.Name(next_);
    if (error != 0) {
        directory_.Discard(&next_);
        return error;
    }
    ImageDirectory::Retire(&image_);
    std::swap(image_, next_);
    return 0;
}

int ImagePublisher::Publish(HalfBuilder *records)
{
    // More than records->Size() where keys crowd around a few places.
    const std::string &half = records->Build(count_ + 1);
    int error = MakeRoom(half.size());
    if (error == 0 && !IsPublished())
        error = directory_.PutAlive();
    if (error == 0)
        error = Write(half);
    // The number of a file that got no name is free again: the half in use is that of the last
    // publish that readers saw.
    if (error == 0)
        ++count_;
    return error;
}

void ImagePublisher::Heartbeat()
{
    if (IsPublished())
        ImageStore(&image_.head->heartbeatMs, static_cast<u32>(ClockMs()));
}

int ImagePublisher::Check(HalfBuilder *records)
{
    bool aliveGone = false;
    bool imageGone = false;
    int error = directory_.Check(image_, &aliveGone, &imageGone);
    if (error == 0 && aliveGone)
        error = directory_.PutAlive();
    if (error == 0 && imageGone) {
        // Readers of the file that lost its name look for the new one.
        directory_.Discard(&next_);
        error = directory_.Create(image_.capacity, &next_);
        if (error == 0)
            error = Publish(records);
    }
    return error;
}

// ---- sources ----

bool ImagePublisher::IsSource(u16 number) const
{
    return number < kImageSources && head_.sources[number].state != kImageSourceNone;
}

template <typename Set> void ImagePublisher::ForEachHead(Set set)
{
    set(&head_);
    if (IsPublished())
        set(image_.head);
}

u16 ImagePublisher::AddSource(const std::string &name)
{
    for (u16 number = 0; number < kImageSources; ++number) {
        if (IsSource(number))
            continue;
        ForEachHead([&](ImageHead *head) {
            SetName(head->sources[number].name, sizeof(head->sources[number].name), name);
            ImageStoreRelease(&head->sources[number].state, kImageSourceUnheard);
        });
        return number;
    }
    return kImageNoSource;
}

void ImagePublisher::Heard(u16 source, u64 nowMs)
{
    if (!IsSource(source))
        return;
    ForEachHead([&](ImageHead *head) {
        ImageStore(&head->sources[source].heardMs, HeardWord(nowMs));
        ImageStoreRelease(&head->sources[source].state, kImageSourceAnswering);
    });
}

void ImagePublisher::Silent(u16 source)
{
    if (!IsSource(source))
        return;
    ForEachHead([&](ImageHead *head) {
        ImageStoreRelease(&head->sources[source].state, kImageSourceSilent);
    });
}
