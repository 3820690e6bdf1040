// SPDX-License-Identifier: Apache-2.0
// snapshot.cpp -- a client's own copies of the image.
//
// The shell asks for every value afresh, each time with a connection of its own: a connection to an
// image that has not changed costs a few loads. No STL, no heap: memory comes from the kernel, in
// whole pages, and goes back to it.
#include "objmgr/snapshot.h"

#include "objmgr/faults.h"

#include <errno.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

namespace
{

constexpr u32 kAttempts = 16;
constexpr timespec kPause = {0, 1000000};
// Longer than any service waits for its source; an image may say anything.
constexpr u32 kMethodTimeoutMostMs = 120 * 1000;

ImageFile gFile;
Snapshot gCopies[kObjMgrMaxConnections + 1];  // one more than connections: the newest
Snapshot *gNewest;
ObjMgrPresence gPresence = ObjMgrPresence::Absent;

void Unmap(Snapshot *copy)
{
    if (copy->half != nullptr)
        munmap(copy->half, copy->mapped);
    *copy = {};
}

void ForgetNewest()
{
    if (gNewest != nullptr && gNewest->users == 0)
        Unmap(gNewest);
    gNewest = nullptr;
}

// There is one: each connection holds one at the most.
Snapshot *FindUnused()
{
    Snapshot *unused = gCopies;
    while (unused->half != nullptr)
        ++unused;
    return unused;
}

size_t StatesOf(u32 size)
{
    return size / kImageRecordAlign + 1;
}

// The place for a half of `size` bytes. The newest copy's memory is used again where it fits and
// nobody reads there: a client that looks often must not have the kernel clear pages each time.
Snapshot *MakeRoom(u32 size)
{
    const size_t wanted = ImageAlign(size) + StatesOf(size);
    const size_t pages = (wanted + kImageHeadSize - 1) / kImageHeadSize * kImageHeadSize;
    if (gNewest != nullptr && gNewest->users == 0) {
        Snapshot *reused = gNewest;
        gNewest = nullptr;
        if (reused->mapped >= pages && reused->mapped / 4 <= pages)
            return reused;
        Unmap(reused);
    }
    gNewest = nullptr;
    Snapshot *free = FindUnused();
    void *memory = mmap(nullptr, pages, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    if (memory == MAP_FAILED)
        return nullptr;
    free->half = static_cast<u8 *>(memory);
    free->mapped = pages;
    return free;
}

bool ReadHalf(u8 *half, u32 size, u64 offset)
{
    for (u32 got = 0; got < size;) {
        const ssize_t now =
            pread(gFile.imageFd, half + got, size - got, static_cast<off_t>(offset + got));
        if (now == 0 || (now < 0 && errno != EINTR))
            return false;
        got += now > 0 ? static_cast<u32>(now) : 0;
    }
    return true;
}

void Describe(Snapshot *copy, u32 size, u32 count)
{
    const ImageHead *head = gFile.head;
    ImageHalf half;
    memcpy(&half, copy->half, sizeof(half));
    copy->states = copy->half + ImageAlign(size);
    memset(copy->states, kRecordUnchecked, StatesOf(size));
    copy->slots = reinterpret_cast<const ImageSlot *>(copy->half + sizeof(half));
    copy->slotMask = le32toh(half.slots) - 1;
    copy->size = size;
    copy->next = 0;
    copy->missing[0] = '\0';
    copy->count = count;
    copy->start[0] = ImageLoad(&head->start[0]);
    copy->start[1] = ImageLoad(&head->start[1]);
    copy->users = 0;
    const u32 timeoutMs = ImageLoad(&head->methodTimeoutMs);
    copy->methodTimeoutMs =
        timeoutMs > 0 && timeoutMs <= kMethodTimeoutMostMs ? timeoutMs : kObjMgrMethodTimeoutMs;
}

#if ZOR_SIM
void LoadFaults(const Snapshot *copy)
{
    ImageHalf half;
    memcpy(&half, copy->half, sizeof(half));
    FaultsLoad(copy->half + le32toh(half.faults), le32toh(half.faultsSize));
}
#endif

enum class Copied : u8 { Whole, Torn, Failed };

// Makes publish `count` the newest copy. The order of these steps is that of image.h.
Copied TakeCopy(u32 count)
{
    const ImageHead *head = gFile.head;
    const u32 capacity = ImageLoad(&head->halfCapacity);
    const u32 size = ImageLoad(&head->halfSize[count & 1]);
    // Both may be words of a publish that has just begun, as well as wrong.
    if (capacity > kImageHalfMax || size > capacity || size < sizeof(ImageHalf))
        return Copied::Torn;
    Snapshot *copy = MakeRoom(size);
    if (copy == nullptr)
        return Copied::Failed;
    const u64 offset = kImageHeadSize + u64{count & 1} * capacity;
    const bool read = ReadHalf(copy->half, size, offset);
    __atomic_thread_fence(__ATOMIC_ACQUIRE);
    const bool whole = read && ImageLoad(&head->begun) - count <= 1;
    if (!whole || !ImageCheckHalf(copy->half, size, count)) {
        Unmap(copy);
        return whole ? Copied::Failed : Copied::Torn;
    }
    Describe(copy, size, count);
    gNewest = copy;
#if ZOR_SIM
    LoadFaults(copy);
#endif
    return Copied::Whole;
}

bool NewestIs(u32 count)
{
    return gNewest != nullptr && gNewest->count == count &&
           gNewest->start[0] == ImageLoad(&gFile.head->start[0]) &&
           gNewest->start[1] == ImageLoad(&gFile.head->start[1]);
}

// Opens the file that is the one to read now.
ObjMgrPresence RefreshFile(u32 nowMs)
{
    if (gFile.head != nullptr && ImageFileIsCurrent(&gFile, nowMs))
        return ObjMgrPresence::Serving;
    ImageFileClose(&gFile);
    return ImageFileOpen(&gFile, nowMs);
}

ObjMgrPresence Refresh()
{
    for (u32 attempt = 0; attempt < kAttempts; ++attempt) {
        if (attempt > 0)
            nanosleep(&kPause, nullptr);
        const u32 nowMs = ImageClockMs();
        const ObjMgrPresence presence = RefreshFile(nowMs);
        if (presence != ObjMgrPresence::Serving)
            return presence;
        if (!ImageFileBeats(&gFile, nowMs))
            return ObjMgrPresence::Hung;
        const u32 count = ImageLoadAcquire(&gFile.head->done);
        if (NewestIs(count))
            return ObjMgrPresence::Serving;
        const Copied copied = TakeCopy(count);
        if (copied == Copied::Whole)
            return ObjMgrPresence::Serving;
        if (copied == Copied::Failed)
            return ObjMgrPresence::Unreadable;
    }
    return ObjMgrPresence::Unreadable;
}

}  // namespace

ObjMgrPresence SnapshotPresence()
{
    return gPresence;
}

const ImageHead *SnapshotHead()
{
    return gFile.head;
}

void SnapshotForget()
{
    ForgetNewest();
    ImageFileClose(&gFile);
}

Snapshot *SnapshotAcquire()
{
    gPresence = Refresh();
    if (gPresence != ObjMgrPresence::Serving) {
        ForgetNewest();
        return nullptr;
    }
    ++gNewest->users;
    return gNewest;
}

void SnapshotRelease(Snapshot *copy)
{
    if (--copy->users == 0 && copy != gNewest)
        Unmap(copy);
}
