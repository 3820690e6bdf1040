// SPDX-License-Identifier: Apache-2.0
// image.h -- the file "image": all instances of the object manager, as the service writes them and
// every client reads them.
//
// The file: one page with the head, then two halves of equal capacity. A half holds all instances;
// the service writes the half that is not in use, then says in the head that it is. Numbers have
// fixed widths and are little-endian, so that programs of any word size and any C library share
// one file.
//
// Who writes what when. Publish number n (1, 2, 3, ...; it goes on from file to file of one start):
//   service: begun = n (relaxed), release fence, half n & 1 with pwrite, its size, done = n
//   (release) client:  n = done (acquire), pread of half n & 1, acquire fence, begun (relaxed)
// What the client has is whole as long as begun is at most n + 1; a half is written again only by
// publish n + 2. All of these are aligned 32-bit words. Both sides move a half by a system call,
// so that a file that is cut short is a short read and no signal.
//
// Nothing in an image is trusted by its reader. What is checked: ImageCheckHalf once for a half,
// ImageCheckRecord once for a record.
#ifndef OBJMGR_IMAGE_H
#define OBJMGR_IMAGE_H

#include "objmgr/store.h"

#include <endian.h>
#include <string.h>

constexpr u32 kImageMagic = 0x494f5a4d;  // "MZOI"
// Another number is another format: it is not read. The words down to `superseded` stay where they
// are in every version.
constexpr u32 kImageVersion = 1;
constexpr u32 kImageHeadSize = 4096;
// A half that claims more is not believed; a service never makes a larger one.
constexpr u32 kImageHalfMax = u32{64} * 1024 * 1024;
constexpr u32 kImageSources = 64;
constexpr u16 kImageNoSource = 0xffff;
constexpr u32 kImageServiceNameMax = 31;  // bytes without the NUL
constexpr u32 kImageSourceNameMax = 23;   // bytes without the NUL
constexpr u32 kImageUnitMax = 63;         // bytes without the NUL

// ---- the head ----

// What a row of the table of sources says.
enum ImageSourceState : u32 {
    kImageSourceNone = 0,       // the row is not in use
    kImageSourceUnheard = 1,    // it has a name and was never heard
    kImageSourceAnswering = 2,  // it answered the last time
    kImageSourceSilent = 3,     // it did not answer the last time
};

// Where instances come from: a BMC, a simulated host. The name does not change once the state is
// not kImageSourceNone; the other words change at any time, without a publish.
struct ImageSource {
    char name[kImageSourceNameMax + 1];  // filled up with NULs
    u32 heardMs;  // CLOCK_MONOTONIC, low 32 bits of the milliseconds; 0: never
    u32 state;    // ImageSourceState
};

struct ImageHead {
    u32 magic;
    u32 version;
    u32 start[2];    // random: which start of a service made this file
    u32 superseded;  // 1: another file has taken this one's place, and no half is left here
    u32 begun;
    u32 done;
    u32 heartbeatMs;   // CLOCK_MONOTONIC, low 32 bits of the milliseconds; compared by difference
    u32 halfCapacity;  // bytes of each half; half 0 begins behind the head, half 1 behind it
    u32 halfSize[2];   // bytes in use
    u32 methodTimeoutMs;  // how long a client waits for the answer to a method
    char serviceName[kImageServiceNameMax + 1];  // filled up with NULs
    ImageSource sources[kImageSources];
};
static_assert(sizeof(ImageHead) <= kImageHeadSize && sizeof(ImageSource) == 32,
              "the head is one page");
static_assert(offsetof(ImageHead, superseded) == 16, "the same in every version");

// Words of a mapped head, which the other side may be writing or reading.
inline u32 ImageLoad(const u32 *word)
{
    return le32toh(__atomic_load_n(word, __ATOMIC_RELAXED));
}
inline u32 ImageLoadAcquire(const u32 *word)
{
    return le32toh(__atomic_load_n(word, __ATOMIC_ACQUIRE));
}
inline void ImageStore(u32 *word, u32 value)
{
    __atomic_store_n(word, htole32(value), __ATOMIC_RELAXED);
}
inline void ImageStoreRelease(u32 *word, u32 value)
{
    __atomic_store_n(word, htole32(value), __ATOMIC_RELEASE);
}

// ---- a half ----
//
// An ImageHalf, then `slots` places of an index, then the records one after the other, each at a
// multiple of kImageRecordAlign from the half's beginning, then perhaps the plan of faults of a
// simulated host (packed like properties; it is no instance and cannot be asked for).
//
// The index is a table with open addressing: a key's place is its hash, or one of the
// kImageProbesMax - 1 places that follow it (around the end) up to the first empty one. Records
// stand so that those of a list follow each other by their numbers: the shell walks lists.

constexpr u32 kImageRecordAlign = 16;
constexpr u32 kImageProbesMax = 64;

struct ImageHalf {
    u32 size;     // bytes in use, this included
    u32 count;    // the publish that wrote it
    u32 slots;    // a power of two
    u32 records;  // where the first one begins
    u32 recordsEnd;
    u32 faults;      // where the plan of faults begins
    u32 faultsSize;  // 0: none
    u32 reserved;
};

struct ImageSlot {
    u32 hash;
    u32 record;  // offset in the half; 0: empty
};

// Then the key, NUL, the unit, NUL, and until the end the properties: for each, in any order (those
// that are read most had better come first): u32 CIM status (0: served), u16 bytes of its text,
// u8 bytes of its name, name, NUL, text, NUL. No property is aligned. Lengths are without the
// NULs. A property with a non-zero status has an empty text. A property name that ends in
// ";YYYYMMDDHHMMSS" is the fourteen-digit form of the property before the semicolon.
struct ImageRecord {
    u32 bytes;   // of the record, this included
    u32 status;  // CIM status of the instance (0: served)
    u16 keyLength;
    u16 source;     // its row in the head, or kImageNoSource
    u8 unitLength;  // 0: the provider does not know it
    u8 reserved[3];
};
static_assert(sizeof(ImageHalf) == 32 && sizeof(ImageRecord) == 16 && sizeof(ImageSlot) == 8,
              "the same on every machine");

inline u32 ImageAlign(u32 offset)
{
    return (offset + kImageRecordAlign - 1) & ~(kImageRecordAlign - 1);
}

inline u32 ImageHash(const char *key, size_t length)
{
    u32 hash = static_cast<u32>(length);
    const auto mix = [&hash](u32 word) {
        hash ^= word;
        hash = (hash << 13 | hash >> 19) * 0x9e3779b1u;
    };
    u32 word;
    for (; length >= sizeof(word); key += sizeof(word), length -= sizeof(word)) {
        memcpy(&word, key, sizeof(word));
        mix(le32toh(word));
    }
    word = 0;
    for (size_t i = 0; i < length; ++i)
        word |= static_cast<u32>(static_cast<u8>(key[i])) << 8 * i;
    mix(word);
    return hash ^ hash >> 15;
}

// Whether the `size` bytes at `half` (aligned for a u32) begin as publish `count` has to: every
// part lies within them. Says nothing about the records.
bool ImageCheckHalf(const void *half, size_t size, u32 count);

// ---- a record ----

// One that ImageCheckRecord has found right.
struct ImageInstance {
    const char *key;  // NUL-terminated, like the unit
    const char *unit;
    const char *first;  // the properties
    const char *end;
    CimStatus status;
    u32 keyLength;
    u16 source;
};

// Whether a right record begins at `offset` of a half that ImageCheckHalf has found right: in
// order, whole, and every text in it safe (objmgr/safe_text.h).
bool ImageCheckRecord(const void *half, u32 offset);

// The parts of a record that is right.
inline ImageInstance ImageInstanceAt(const void *half, u32 offset)
{
    const char *at = static_cast<const char *>(half) + offset;
    ImageRecord record;
    memcpy(&record, at, sizeof(record));
    ImageInstance instance;
    instance.keyLength = le16toh(record.keyLength);
    instance.key = at + sizeof(record);
    instance.unit = instance.key + instance.keyLength + 1;
    instance.first = instance.unit + record.unitLength + 1;
    instance.end = at + le32toh(record.bytes);
    instance.status = le32toh(record.status);
    instance.source = le16toh(record.source);
    return instance;
}

// ---- properties ----

// Whether the bytes from `first` to `end` are properties, whole and in order, every text safe.
bool ImageCheckProperties(const char *first, const char *end);

// What an instance says of one property.
struct ImageText {
    CimStatus status;  // the property's own, or kCimNoSuchProperty where there is none
    const char *text;  // where it lies, NUL-terminated, empty when the property's own status is not
                       // 0; null: there is no such property
};

// Finds a property by name (case matters) among properties that are right. There is none by the
// name of null, nor by an empty one. A form with digits has no name of its own and is not found
// here.
inline ImageText ImageFindProperty(const char *first, const char *end, const char *property);

// The same for the fourteen-digit form of the property.
ImageText ImageFindDigits(const char *first, const char *end, const char *property);

// ---- how ImageFindProperty does it: here, since one command can call it a million times ----

constexpr u32 kImagePropertyHeadSize = 7;

// One property, where it lies.
struct ImageProperty {
    const char *name;
    size_t nameLength;
    const char *text;
    size_t textLength;
};

// The property whose head is at `at`.
inline ImageProperty ImagePropertyAt(const char *at)
{
    u16 textLength;
    memcpy(&textLength, at + sizeof(CimStatus), sizeof(textLength));
    const size_t nameLength = static_cast<u8>(at[kImagePropertyHeadSize - 1]);
    const char *name = at + kImagePropertyHeadSize;
    return {name, nameLength, name + nameLength + 1, le16toh(textLength)};
}

inline const char *ImageEndOf(const ImageProperty &property)
{
    return property.text + property.textLength + 1;
}

inline ImageText ImageTextOf(const ImageProperty &property)
{
    u32 status;
    memcpy(&status, property.name - kImagePropertyHeadSize, sizeof(status));
    status = le32toh(status);
    return {status, status == kCimOk ? property.text : property.text + property.textLength};
}

inline bool ImageIsDigitForm(const ImageProperty &property)
{
    return property.nameLength >= kStoreTimestampSuffixLength &&
           memcmp(property.name + property.nameLength - kStoreTimestampSuffixLength,
                  kStoreTimestampSuffix, kStoreTimestampSuffixLength) == 0;
}

// Both end in a NUL. The shell reads short names all the time: less than a call of strcmp costs.
inline bool ImageIsSameName(const char *a, const char *b)
{
    while (*a == *b) {
        if (*a == '\0')
            return true;
        ++a;
        ++b;
    }
    return false;
}

ImageText ImageFindProperty(const char *first, const char *end, const char *property)
{
    if (property == nullptr || *property == '\0')
        return {kCimNoSuchProperty, nullptr};
    for (const char *at = first; at != end;) {
        const ImageProperty found = ImagePropertyAt(at);
        if (ImageIsSameName(found.name, property) && !ImageIsDigitForm(found))
            return ImageTextOf(found);
        at = ImageEndOf(found);
    }
    return {kCimNoSuchProperty, nullptr};
}

#endif
