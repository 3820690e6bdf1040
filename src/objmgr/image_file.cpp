// SPDX-License-Identifier: Apache-2.0
// image_file.cpp -- the files of the object manager's directory as a client opens them.
//
// Nothing that this does can be felt by anybody else: files are opened for reading alone, no lock
// is taken, and of the image only the head is mapped, which no service cuts off.
#include "objmgr/image_file.h"

#include "platform/large_buffer.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace
{

alignas(kLargeBufferAlign) char gDirectory[PATH_MAX];
bool gDirectoryKnown;

void CloseFd(int *fd)
{
    if (*fd >= 0)
        close(*fd);
    *fd = -1;
}

ObjMgrPresence WhyNotOpened()
{
    if (errno == ENOENT || errno == ENOTDIR)
        return ObjMgrPresence::Absent;
    if (errno == EACCES)
        return ObjMgrPresence::Forbidden;
    return errno == ELOOP ? ObjMgrPresence::NotTrusted : ObjMgrPresence::Unreadable;
}

// Opens the directory, which must be writable for its owner alone: whoever else may write there
// could put any file in the place of the service's. *owner: whose its files have to be.
ObjMgrPresence OpenDirectory(int *fd, uid_t *owner)
{
    struct stat info;
    const char *path = ImageDirectory();
    if (path == nullptr)
        return ObjMgrPresence::Absent;
    *fd = open(path, O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (*fd < 0)
        return WhyNotOpened();
    if (fstat(*fd, &info) != 0 || (info.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        return ObjMgrPresence::NotTrusted;
    *owner = info.st_uid;
    return ObjMgrPresence::Serving;
}

ObjMgrPresence OpenOwned(int directoryFd, const char *name, uid_t owner, int *fd, off_t *size)
{
    struct stat info;
    *fd = openat(directoryFd, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (*fd < 0)
        return WhyNotOpened();
    if (fstat(*fd, &info) != 0 || !S_ISREG(info.st_mode) || info.st_uid != owner)
        return ObjMgrPresence::NotTrusted;
    *size = info.st_size;
    return ObjMgrPresence::Serving;
}

// Only a write lock counts: who may only read the file could place no other than a read lock.
bool IsLocked(int aliveFd)
{
    struct flock lock = {};
    lock.l_type = F_RDLCK;
    lock.l_whence = SEEK_SET;
    return fcntl(aliveFd, F_OFD_GETLK, &lock) == 0 && lock.l_type == F_WRLCK;
}

ObjMgrPresence OpenHead(ImageFile *file, off_t size)
{
    // A file that is cut to nothing while it is mapped would be a signal: a service leaves the
    // head.
    if (size < static_cast<off_t>(kImageHeadSize))
        return ObjMgrPresence::Unreadable;
    void *mapped = mmap(nullptr, kImageHeadSize, PROT_READ, MAP_SHARED, file->imageFd, 0);
    if (mapped == MAP_FAILED)
        return ObjMgrPresence::Unreadable;
    file->head = static_cast<const ImageHead *>(mapped);
    if (ImageLoad(&file->head->magic) != kImageMagic)
        return ObjMgrPresence::Unreadable;
    return ImageLoad(&file->head->version) == kImageVersion ? ObjMgrPresence::Serving
                                                            : ObjMgrPresence::OtherVersion;
}

ObjMgrPresence OpenFiles(ImageFile *file, int *directoryFd)
{
    uid_t owner = 0;
    off_t size = 0;
    ObjMgrPresence presence = OpenDirectory(directoryFd, &owner);
    if (presence == ObjMgrPresence::Serving)
        presence = OpenOwned(*directoryFd, kStoreAliveName, owner, &file->aliveFd, &size);
    if (presence == ObjMgrPresence::Serving && !IsLocked(file->aliveFd))
        presence = ObjMgrPresence::Dead;
    if (presence == ObjMgrPresence::Serving)
        presence = OpenOwned(*directoryFd, kStoreImageName, owner, &file->imageFd, &size);
    return presence == ObjMgrPresence::Serving ? OpenHead(file, size) : presence;
}

}  // namespace

u32 ImageClockMs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return static_cast<u32>(now.tv_sec) * 1000 + static_cast<u32>(now.tv_nsec) / 1000000;
}

// A set-user-id program must not follow its caller to an image of the caller's making.
bool ImageUseDirectory(const char *directory)
{
    if (directory == nullptr)
        directory = secure_getenv("ZOROBJMGR");
    if (directory == nullptr || *directory == '\0')
        directory = kObjMgrDefaultDir;
    const size_t length = strlen(directory);
    if (length + sizeof("/") + sizeof(kStoreSocketName) > sizeof(gDirectory))
        return false;
    memcpy(gDirectory, directory, length + 1);
    gDirectoryKnown = true;
    return true;
}

const char *ImageDirectory()
{
    return gDirectoryKnown || ImageUseDirectory(nullptr) ? gDirectory : nullptr;
}

ObjMgrPresence ImageFileOpen(ImageFile *file, u32 nowMs)
{
    int directoryFd = -1;
    const ObjMgrPresence presence = OpenFiles(file, &directoryFd);
    CloseFd(&directoryFd);
    if (presence != ObjMgrPresence::Serving)
        ImageFileClose(file);
    file->aliveAtMs = nowMs;
    return presence;
}

void ImageFileClose(ImageFile *file)
{
    if (file->head != nullptr)
        munmap(const_cast<ImageHead *>(file->head), kImageHeadSize);
    file->head = nullptr;
    CloseFd(&file->imageFd);
    CloseFd(&file->aliveFd);
}

bool ImageFileIsCurrent(ImageFile *file, u32 nowMs)
{
    if (ImageLoad(&file->head->superseded) != 0)
        return false;
    if (file->aliveAtMs == nowMs)
        return true;
    file->aliveAtMs = nowMs;
    return IsLocked(file->aliveFd);
}

bool ImageFileBeats(const ImageFile *file, u32 nowMs)
{
    const u32 ageMs = nowMs - ImageLoad(&file->head->heartbeatMs);
    return ageMs <= kHeartbeatLimitMs || ageMs >= u32{0} - kHeartbeatLimitMs;
}
