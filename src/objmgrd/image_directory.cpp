// SPDX-License-Identifier: Apache-2.0
// image_directory.cpp -- the service's files in the object manager's directory.
//
// Nothing here outlives the service's process, so nothing is synced to a disk.
#include "objmgrd/image_directory.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace
{

constexpr char kNewImage[] = "image.new";
constexpr char kNewAlive[] = "alive.new";
constexpr size_t kFillBytes = 64 * 1024;

void CloseFd(int *fd)
{
    if (*fd >= 0)
        close(*fd);
    *fd = -1;
}

// For nobody but the service: letting shells of other users in is the administrator's decision.
int MakeDirectory(const std::string &path)
{
    for (size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
        if (mkdir(path.substr(0, end).c_str(), 0755) != 0 && errno != EEXIST)
            return errno;
    }
    return mkdir(path.c_str(), 0700) != 0 && errno != EEXIST ? errno : 0;
}

bool IsPrivate(const struct stat &info)
{
    return info.st_uid == geteuid() && (info.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// A lock of the open file description: it does not end when another descriptor of the file is
// closed, and no process that is started inherits it (CLOEXEC).
int LockFile(int fd)
{
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (fcntl(fd, F_OFD_SETLK, &lock) == 0)
        return 0;
    return errno == EAGAIN || errno == EACCES ? EBUSY : errno;
}

// Where the file system cannot allocate, zeros are written.
int Allocate(int fd, u64 size)
{
    while (fallocate(fd, 0, 0, static_cast<off_t>(size)) != 0) {
        if (errno == EOPNOTSUPP || errno == ENOSYS)
            break;
        if (errno != EINTR)
            return errno;
    }
    struct stat info;
    if (fstat(fd, &info) != 0)
        return errno;
    const std::vector<char> zeros(kFillBytes);
    for (u64 at = static_cast<u64>(info.st_size); at < size;) {
        const size_t part = static_cast<size_t>(size - at < kFillBytes ? size - at : kFillBytes);
        const ssize_t written = pwrite(fd, zeros.data(), part, static_cast<off_t>(at));
        if (written < 0 && errno != EINTR)
            return errno;
        at += written > 0 ? static_cast<u64>(written) : 0;
    }
    return 0;
}

bool IsSame(const struct stat &a, const struct stat &b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

ImageDirectory::~ImageDirectory()
{
    if (aliveFd_ >= 0 && IsAt(kStoreAliveName, aliveFd_))
        unlinkat(directoryFd_, kStoreAliveName, 0);
    CloseFd(&aliveFd_);
    CloseFd(&lockFd_);
    CloseFd(&directoryFd_);
}

int ImageDirectory::Open(const std::string &path)
{
    path_ = path;
    int error = MakeDirectory(path);
    if (error != 0)
        return error;
    directoryFd_ = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    struct stat info;
    if (directoryFd_ < 0 || fstat(directoryFd_, &info) != 0)
        return errno;
    if (!IsPrivate(info))
        return EPERM;
    error = Lock();
    if (error != 0)
        return error;
    RetireLeftover();
    for (const char *name : {kStoreAliveName, kNewAlive, kNewImage}) {
        if (unlinkat(directoryFd_, name, 0) != 0 && errno != ENOENT)
            return errno;
    }
    return 0;
}

int ImageDirectory::Lock()
{
    lockFd_ = openat(directoryFd_, kStoreLockName,
                     O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
    if (lockFd_ < 0)
        return errno;
    // Whatever it was before: from here on nobody else opens it.
    if (fchmod(lockFd_, 0600) != 0)
        return errno;
    return LockFile(lockFd_);
}

// Readers of a killed service's image still have it open: they learn that it is over, and its
// memory is given back.
void ImageDirectory::RetireLeftover()
{
    WritableImage old;
    struct stat info;
    old.fd = openat(directoryFd_, kStoreImageName, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (old.fd >= 0 && fstat(old.fd, &info) == 0 && S_ISREG(info.st_mode) &&
        info.st_size >= static_cast<off_t>(kImageHeadSize)) {
        void *mapped = mmap(nullptr, kImageHeadSize, PROT_READ | PROT_WRITE, MAP_SHARED, old.fd, 0);
        if (mapped != MAP_FAILED)
            old.head = static_cast<ImageHead *>(mapped);
        if (old.head != nullptr && le32toh(old.head->magic) != kImageMagic) {
            munmap(old.head, kImageHeadSize);  // no image, whatever it is
            old.head = nullptr;
        }
    }
    unlinkat(directoryFd_, kStoreImageName, 0);
    Retire(&old);
}

// Who may enter the directory may read what is in it: the directory's group, for that.
int ImageDirectory::SetMode(int fd) const
{
    struct stat directory;
    struct stat file;
    if (fstat(directoryFd_, &directory) != 0 || fstat(fd, &file) != 0)
        return errno;
    mode_t mode = 0600;
    if ((directory.st_mode & S_IXGRP) != 0)
        mode |= S_IRGRP;
    if ((directory.st_mode & S_IXOTH) != 0)
        mode |= S_IROTH;
    if ((mode & S_IRGRP) != 0 && file.st_gid != directory.st_gid &&
        fchown(fd, static_cast<uid_t>(-1), directory.st_gid) != 0)
        return errno;
    return fchmod(fd, mode) == 0 ? 0 : errno;
}

int ImageDirectory::PutAlive()
{
    unlinkat(directoryFd_, kNewAlive, 0);
    int fd =
        openat(directoryFd_, kNewAlive, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        return errno;
    int error = LockFile(fd);
    if (error == 0)
        error = SetMode(fd);
    if (error == 0 && renameat(directoryFd_, kNewAlive, directoryFd_, kStoreAliveName) != 0)
        error = errno;
    if (error != 0) {
        unlinkat(directoryFd_, kNewAlive, 0);
        CloseFd(&fd);
        return error;
    }
    CloseFd(&aliveFd_);  // readers of one that was taken away look for the new one
    aliveFd_ = fd;
    return 0;
}

int ImageDirectory::Create(u32 capacity, WritableImage *made)
{
    *made = {};
    unlinkat(directoryFd_, kNewImage, 0);
    made->fd =
        openat(directoryFd_, kNewImage, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (made->fd < 0)
        return errno;
    int error = Allocate(made->fd, kImageHeadSize + u64{2} * capacity);
    if (error == 0)
        error = SetMode(made->fd);
    void *mapped = MAP_FAILED;
    if (error == 0) {
        mapped = mmap(nullptr, kImageHeadSize, PROT_READ | PROT_WRITE, MAP_SHARED, made->fd, 0);
        error = mapped == MAP_FAILED ? errno : 0;
    }
    if (error != 0) {
        RemoveNew(made->fd);
        CloseFd(&made->fd);
        return error;
    }
    made->head = static_cast<ImageHead *>(mapped);
    made->capacity = capacity;
    made->head->magic = htole32(kImageMagic);
    made->head->version = htole32(kImageVersion);
    made->head->halfCapacity = htole32(capacity);
    return 0;
}

void ImageDirectory::Discard(WritableImage *made)
{
    if (made->fd >= 0)
        RemoveNew(made->fd);
    Retire(made);
}

// Another file that has the name by now stays.
void ImageDirectory::RemoveNew(int fd) const
{
    if (IsAt(kNewImage, fd))
        unlinkat(directoryFd_, kNewImage, 0);
}

int ImageDirectory::Name(const WritableImage &made)
{
    if (!IsAt(kNewImage, made.fd))
        return ESTALE;
    return renameat(directoryFd_, kNewImage, directoryFd_, kStoreImageName) == 0 ? 0 : errno;
}

void ImageDirectory::Retire(WritableImage *image)
{
    if (image->head != nullptr) {
        ImageStoreRelease(&image->head->superseded, 1);
        munmap(image->head, kImageHeadSize);
        // Only once they can know: a reader in the middle of it finds a short file and looks again.
        (void)!ftruncate(image->fd, kImageHeadSize);
    }
    CloseFd(&image->fd);
    *image = {};
}

void ImageDirectory::RemoveImage(const WritableImage &image)
{
    if (image.fd >= 0 && IsAt(kStoreImageName, image.fd))
        unlinkat(directoryFd_, kStoreImageName, 0);
}

// Whether the open file has this name.
bool ImageDirectory::IsAt(const char *name, int fd) const
{
    struct stat named;
    struct stat opened;
    return fstat(fd, &opened) == 0 &&
           fstatat(directoryFd_, name, &named, AT_SYMLINK_NOFOLLOW) == 0 && IsSame(named, opened);
}

int ImageDirectory::Check(const WritableImage &image, bool *aliveGone, bool *imageGone) const
{
    struct stat named;
    struct stat opened;
    if (fstat(directoryFd_, &opened) != 0)
        return errno;
    if (stat(path_.c_str(), &named) != 0 || !IsSame(named, opened) || !IsPrivate(opened) ||
        !IsAt(kStoreLockName, lockFd_))
        return ESTALE;
    *aliveGone = aliveFd_ >= 0 && !IsAt(kStoreAliveName, aliveFd_);
    *imageGone = image.fd >= 0 && !IsAt(kStoreImageName, image.fd);
    return 0;
}
