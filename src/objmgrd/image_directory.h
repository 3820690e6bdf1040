// SPDX-License-Identifier: Apache-2.0
// image_directory.h -- the service's files in the object manager's directory.
//
//   lock    that this service is alone there: held with a lock of its open file description, mode
//           0600, so that nobody else can open it. It stays when the service ends
//   alive   the sign for clients that the service lives, made anew at each start: under another
//           name, mode 0600, locked, and only then given its mode and its name. Whoever holds a
//           read lock on an old one keeps nobody from starting
//   image   objmgr/image.h; all its room is allocated before it gets its name
//
// The directory has to belong to the user that the service runs as and to be writable for nobody
// else. Its mode says who may read: group or others that may enter it may read the files.
#ifndef OBJMGRD_IMAGE_DIRECTORY_H
#define OBJMGRD_IMAGE_DIRECTORY_H

#include "objmgr/image.h"

#include <string>

// A file with the format of an image, which may have a name or not yet.
struct WritableImage {
    int fd = -1;
    ImageHead *head = nullptr;  // mapped for writing
    u32 capacity = 0;           // of each half
};

// All functions return 0 or an errno value, unless they say otherwise.
class ImageDirectory
{
public:
    ImageDirectory() = default;
    ~ImageDirectory();  // removes alive; an image is its owner's to give up
    ImageDirectory(const ImageDirectory &) = delete;
    ImageDirectory &operator=(const ImageDirectory &) = delete;

    // Makes the directory where it is missing (and those above), for its owner alone, takes the
    // lock, and puts what a dead service left out of use: the image is marked as superseded,
    // removed and cut to its head, alive is removed. EBUSY: another service runs there. EPERM: the
    // directory is another user's, or its group or others may write there.
    int Open(const std::string &path);

    // Makes alive.
    int PutAlive();

    // A new file for halves of `capacity` bytes, all room allocated, its head zero but for the
    // words that do not change. ENOSPC: there is no such room.
    int Create(u32 capacity, WritableImage *made);
    // Gives the file that Create made last the image's name. ESTALE: another file has taken the
    // place where it waited; that one stays as it is.
    int Name(const WritableImage &made);
    // Gives up a file that Create made and that was not named; nothing where there is none.
    void Discard(WritableImage *made);
    // Tells readers that the file is not the image any more, gives its room back although readers
    // may still have it open, and closes it. Does not touch the name.
    static void Retire(WritableImage *image);
    // Takes the image's name away from this file; another service's file keeps it.
    void RemoveImage(const WritableImage &image);

    // Whether everything is still this service's: *aliveGone and *imageGone say what has to be made
    // again. ESTALE: the directory or the lock has been replaced or may be written by others, so
    // that this service is not alone there any more.
    int Check(const WritableImage &image, bool *aliveGone, bool *imageGone) const;

private:
    int Lock();
    int SetMode(int fd) const;
    bool IsAt(const char *name, int fd) const;
    void RetireLeftover();
    void RemoveNew(int fd) const;

    std::string path_;
    int directoryFd_ = -1;
    int lockFd_ = -1;
    int aliveFd_ = -1;
};

#endif
