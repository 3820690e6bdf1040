// SPDX-License-Identifier: Apache-2.0
// fuzz_image.cpp -- an image as a hostile service would write it, read by the client.
//
// Byte 0: what the rest is.
//   0  a half; its size and its number are put right, since everything else would be refused
//   1  the first 64 bytes of the head, then a half as it is
//   2  lines of text that are packed and published as a service does
#include "objmgr/faults.h"
#include "objmgr/inspect.h"
#include "objmgr/reader.h"
#include "objmgr/safe_text.h"
#include "platform/clock.h"
#include "support/objmgr_store.h"

#include "uncounted.h"

#include <algorithm>
#include <stdlib.h>
#include <sys/mman.h>

namespace
{

constexpr u32 kCapacity = 64 * 1024;
constexpr size_t kHeadBytes = 64;
constexpr int kPathsWithDigits = 4;  // more take no other way
constexpr size_t kPackedProperties = 16;

void Require(bool right)
{
    if (!right)
        abort();
}

// A directory with a service that seems to live and a file for its image, which is mapped: what is
// published costs no call of the system.
class FalseService
{
public:
    FalseService()
    {
        char path[] = "/tmp/fuzz_image.XXXXXX";
        Require(mkdtemp(path) != nullptr);
        path_ = path;
        setenv("ZOROBJMGR", path, 1);
        const int fd = open((path_ + "/image").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        Require(fd >= 0 && ftruncate(fd, kFileSize) == 0 && HoldAlive(path_) == 0);
        void *file = mmap(nullptr, kFileSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        Require(file != MAP_FAILED);
        close(fd);
        file_ = static_cast<u8 *>(file);
    }
    ~FalseService()
    {
        munmap(file_, kFileSize);
        unlink((path_ + "/image").c_str());
        unlink((path_ + "/alive").c_str());
        rmdir(path_.c_str());
    }
    FalseService(const FalseService &) = delete;
    FalseService &operator=(const FalseService &) = delete;

    // `head`: bytes that take the place of the head's first ones.
    void Publish(std::string_view half, bool mend, std::string_view head)
    {
        ++count_;
        pauses_ = 0;
        u8 *place = file_ + kImageHeadSize + (count_ & 1) * kCapacity;
        memcpy(place, half.data(), half.size());
        if (mend && half.size() >= sizeof(ImageHalf)) {
            const u32 words[] = {htole32(static_cast<u32>(half.size())), htole32(count_)};
            memcpy(place, words, sizeof words);
        }
        ImageHead right = {};
        right.magic = htole32(kImageMagic);
        right.version = htole32(kImageVersion);
        right.begun = right.done = htole32(count_);
        right.heartbeatMs = htole32(static_cast<u32>(ClockMs()));
        right.halfCapacity = htole32(kCapacity);
        right.halfSize[count_ & 1] = htole32(static_cast<u32>(half.size()));
        memcpy(&right, head.data(), std::min(head.size(), kHeadBytes));
        memcpy(file_, &right, sizeof right);
    }

    // A client that found its copy torn looks again: first at a publish that has ended meanwhile,
    // then, since nothing else will change, at a service that hangs.
    void Pause()
    {
        ImageHead head;
        memcpy(&head, file_, sizeof head);
        if (++pauses_ == 1)
            head.begun = head.done = htole32(count_);
        else
            head.heartbeatMs = htole32(static_cast<u32>(ClockMs()) - 2 * kHeartbeatLimitMs);
        memcpy(file_, &head, sizeof head);
    }

private:
    static constexpr size_t kFileSize = kImageHeadSize + 2 * kCapacity;

    std::string path_;
    u8 *file_ = nullptr;
    u32 count_ = 0;
    u32 pauses_ = 0;
};

FalseService *gService;

FUZZ_UNCOUNTED bool IsSame(const char *a, const char *b)
{
    if (a == nullptr)
        return false;
    while (*a == *b && *a != '\0') {
        ++a;
        ++b;
    }
    return *a == *b;
}

void CheckText(const char *text, size_t most)
{
    Require(strlen(text) <= most && SafeTextIsSafe(text, strlen(text)));
}

// Whatever is read may be shown and ends within the snapshot. Both ways of reading need not agree:
// an index of a hostile service may pass over a record that a walk comes to.
void CheckProperty(ObjMgrHandle handle, const char *path, const ObjMgrInstance *instance,
                   const char *property)
{
    const ObjMgrInterface *om = ObjMgrGetInterface();
    char buffer[kStoreTextMax + 1];
    const char *text = om->GetInstanceValue(instance, property);
    if (text != nullptr)
        CheckText(text, kStoreTextMax);
    if (om->GetPropertyValue(handle, path, property, sizeof buffer, buffer) == kCimOk &&
        !IsSame(text, buffer))
        CheckText(buffer, kStoreTextMax);
}

void CheckPath(ObjMgrHandle handle, const char *path)
{
    const ObjMgrInterface *om = ObjMgrGetInterface();
    u64 storage[64];
    ObjMgrInstance *instance = om->InitInstance(storage, sizeof storage);
    if (instance == nullptr || om->GetInstance(handle, path, 0, instance) != kCimOk)
        return;
    CheckText(ObjMgrUnit(instance), kImageUnitMax);
    ObjMgrSource source;
    if (ObjMgrGetSource(ObjMgrSourceOf(instance), &source))
        CheckText(source.name, kImageSourceNameMax);
    for (const char *property : {"Type", "Reading", "Name", "Timestamp", "", "A"})
        CheckProperty(handle, path, instance, property);
}

// Returns the key of the first record, for as long as the handle is open, or null.
const char *ReadAll(ObjMgrHandle handle)
{
    for (const char *path : {"OEM_QARN_System", "OEM_QARN_Sensor.Index=1", "K",
                             "K,TimestampFormat=YYYYMMDDHHMMSS", ".faults", ""})
        CheckPath(handle, path);
    const char *first = nullptr;
    u32 position = 0;
    for (int i = 0; i < 64; ++i) {
        const char *key = ObjMgrNextKey(handle, &position);
        if (key == nullptr)
            break;
        if (i == 0)
            first = key;
        CheckText(key, kStorePathMax);
        CheckPath(handle, key);
        if (i < kPathsWithDigits)
            CheckPath(handle, (std::string(key) + ",TimestampFormat=YYYYMMDDHHMMSS").c_str());
    }
    return first;
}

// All is read over one connection; that another one has the same copy, which outlives the first
// connection, one record shows.
void ReadPublished()
{
    const ObjMgrInterface *om = ObjMgrGetInterface();
    ObjMgrHandle first = 0;
    ObjMgrHandle second = 0;
    if (om == nullptr)
        return;
    om->Open(&first);
    const char *key = ReadAll(first);
    if (key != nullptr && om->Open(&second) == 0) {
        om->Close(first);
        CheckPath(second, key);
    }
    om->Close(second != 0 ? second : first);
    char name[kImageServiceNameMax + 1];
    ObjMgrServiceName(name);
    CheckText(name, kImageServiceNameMax);
}

// Lines of NAME '=' TEXT, or NAME '!' for a property with a status.
Instance InstanceOf(std::string_view all)
{
    Instance instance;
    while (!all.empty()) {
        const size_t end = std::min(all.find('\n'), all.size());
        const std::string_view line = all.substr(0, end);
        const size_t equals = std::min(line.find('='), line.size());
        PropertyValue &value = instance.properties.emplace_back();
        value.name = line.substr(0, equals);
        if (equals < line.size()) {
            value.text = line.substr(equals + 1);
        } else if (line.ends_with('!')) {
            value.name = line.substr(0, line.size() - 1);
            value.status = kCimAccessDenied;
            value.text = "secret";
        }
        all.remove_prefix(std::min(end + 1, all.size()));
    }
    return instance;
}

// The first property of the name of property `i`, which clients find.
FUZZ_UNCOUNTED const PropertyValue &FirstOfName(const Instance &instance, size_t i)
{
    const std::vector<PropertyValue> &properties = instance.properties;
    size_t first = 0;
    while (properties[first].name != properties[i].name)
        ++first;
    return properties[first];
}

// What was packed is right, and is found again: the first property of a name, its text made safe.
void CheckPacked(const Instance &instance, const std::string &record)
{
    const ImageInstance packed = ImageInstanceAt(record.data(), 0);
    Require(ImageCheckProperties(packed.first, packed.end));
    for (size_t i = 0; i < instance.properties.size() && i < kPackedProperties; ++i) {
        const std::string &name = instance.properties[i].name;
        if (name.find('\0') != std::string::npos)
            continue;  // asked for by a part of itself
        const PropertyValue &expected = FirstOfName(instance, i);
        const bool isName = !name.empty() && name.size() <= kStorePropertyNameMax &&
                            SafeTextIsSafe(name.data(), name.size());
        const ImageText found = ImageFindProperty(packed.first, packed.end, name.c_str());
        Require((found.text != nullptr) == (isName && !name.ends_with(kStoreTimestampSuffix)));
        const std::string text = expected.status == kCimOk ? StoreSafeText(expected.text) : "";
        Require(found.text == nullptr || (found.status == expected.status && found.text == text));
        Require(text.size() <= kStoreTextMax && SafeTextIsSafe(text.data(), text.size()));
    }
}

}  // namespace

// Until a copy that was torn is taken again.
extern "C" int nanosleep(const timespec *, timespec *)
{
    if (gService != nullptr)
        gService->Pause();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    static FalseService service;
    gService = &service;
    if (size < 1 || size > kCapacity)
        return 0;
    const std::string_view rest(reinterpret_cast<const char *>(data) + 1, size - 1);
    if (data[0] == 2) {
        const Instance instance = InstanceOf(rest);
        const std::string record = PackRecord("K", instance);
        CheckPacked(instance, record);
        HalfBuilder builder;
        builder.Put("K", record);
        service.Publish(builder.Build(1), true, "");
    } else if (data[0] == 1) {
        service.Publish(rest.substr(std::min(rest.size(), kHeadBytes)), false, rest);
    } else {
        service.Publish(rest, true, "");
    }
    ReadPublished();
    return 0;
}
