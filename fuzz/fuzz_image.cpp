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

#include <algorithm>
#include <stdlib.h>
#include <sys/stat.h>

// A copy that was torn is taken again a millisecond later: not here.
extern "C" int nanosleep(const timespec *, timespec *)
{
    return 0;
}

namespace
{

constexpr u32 kCapacity = 64 * 1024;
constexpr size_t kHeadBytes = 64;

void Require(bool right)
{
    if (!right)
        abort();
}

// A directory with a service that seems to live and a file for its image.
class FalseService
{
public:
    FalseService()
    {
        char path[] = "/tmp/fuzz_image.XXXXXX";
        Require(mkdtemp(path) != nullptr);
        path_ = path;
        setenv("ZOROBJMGR", path, 1);
        fd_ = open((path_ + "/image").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        Require(fd_ >= 0 && ftruncate(fd_, kImageHeadSize + 2 * kCapacity) == 0 &&
                HoldAlive(path_) == 0);
    }
    ~FalseService()
    {
        unlink((path_ + "/image").c_str());
        unlink((path_ + "/alive").c_str());
        rmdir(path_.c_str());
    }
    FalseService(const FalseService &) = delete;
    FalseService &operator=(const FalseService &) = delete;

    // `head`: bytes that take the place of the head's first ones.
    void Publish(std::string half, bool mend, const std::string &head)
    {
        ++count_;
        if (mend && half.size() >= sizeof(ImageHalf)) {
            const u32 words[] = {htole32(static_cast<u32>(half.size())), htole32(count_)};
            memcpy(half.data(), words, sizeof words);
        }
        ImageHead right = {};
        right.magic = htole32(kImageMagic);
        right.version = htole32(kImageVersion);
        right.begun = right.done = htole32(count_);
        right.heartbeatMs = htole32(static_cast<u32>(ClockMs()));
        right.halfCapacity = htole32(kCapacity);
        right.halfSize[count_ & 1] = htole32(static_cast<u32>(half.size()));
        memcpy(&right, head.data(), std::min(head.size(), kHeadBytes));
        const off_t offset = kImageHeadSize + static_cast<off_t>(count_ & 1) * kCapacity;
        Require(pwrite(fd_, half.data(), half.size(), offset) ==
                    static_cast<ssize_t>(half.size()) &&
                pwrite(fd_, &right, sizeof right, 0) == sizeof right);
    }

private:
    std::string path_;
    int fd_ = -1;
    u32 count_ = 0;
};

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
    if (om->GetPropertyValue(handle, path, property, sizeof buffer, buffer) == kCimOk)
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

void ReadAll(ObjMgrHandle handle)
{
    for (const char *path : {"OEM_QARN_System", "OEM_QARN_Sensor.Index=1", "K",
                             "K,TimestampFormat=YYYYMMDDHHMMSS", ".faults", ""})
        CheckPath(handle, path);
    u32 position = 0;
    for (int i = 0; i < 64; ++i) {
        const char *key = ObjMgrNextKey(handle, &position);
        if (key == nullptr)
            break;
        CheckText(key, kStorePathMax);
        CheckPath(handle, key);
        CheckPath(handle, (std::string(key) + ",TimestampFormat=YYYYMMDDHHMMSS").c_str());
    }
}

void ReadPublished()
{
    const ObjMgrInterface *om = ObjMgrGetInterface();
    ObjMgrHandle first = 0;
    ObjMgrHandle second = 0;
    if (om == nullptr)
        return;
    om->Open(&first);
    ReadAll(first);
    om->Open(&second);
    ReadAll(second);
    om->Close(first);
    ReadAll(second);
    om->Close(second);
    char name[kImageServiceNameMax + 1];
    ObjMgrServiceName(name);
    CheckText(name, kImageServiceNameMax);
}

// Lines of NAME '=' TEXT, or NAME '!' for a property with a status.
Instance InstanceOf(const std::string &all)
{
    Instance instance;
    for (size_t at = 0; at < all.size();) {
        const size_t end = std::min(all.find('\n', at), all.size());
        const std::string line = all.substr(at, end - at);
        const size_t equals = std::min(line.find('='), line.size());
        PropertyValue value = {line.substr(0, equals), kCimOk, ""};
        if (equals < line.size())
            value.text = line.substr(equals + 1);
        else if (line.ends_with('!'))
            value = {line.substr(0, line.size() - 1), kCimAccessDenied, "secret"};
        instance.properties.push_back(value);
        at = end + 1;
    }
    return instance;
}

// What was packed is right, and is found again: the first property of a name, its text made safe.
void CheckPacked(const Instance &instance)
{
    const std::string packed = PackProperties(instance.properties);
    const char *first = packed.data();
    const char *end = first + packed.size();
    Require(ImageCheckProperties(first, end));
    for (size_t i = 0; i < instance.properties.size() && i < 64; ++i) {
        const std::string &name = instance.properties[i].name;
        if (name.find('\0') != std::string::npos)
            continue;  // asked for by a part of itself
        const PropertyValue *expected = &instance.properties[i];
        for (size_t j = i; j-- > 0;) {
            if (instance.properties[j].name == name)
                expected = &instance.properties[j];
        }
        const bool isName = !name.empty() && name.size() <= kStorePropertyNameMax &&
                            SafeTextIsSafe(name.data(), name.size());
        const ImageText found = ImageFindProperty(first, end, name.c_str());
        Require((found.text != nullptr) == (isName && !name.ends_with(kStoreTimestampSuffix)));
        const std::string text = expected->status == kCimOk ? StoreSafeText(expected->text) : "";
        Require(found.text == nullptr || (found.status == expected->status && found.text == text));
        Require(text.size() <= kStoreTextMax && StoreSafeText(text) == text);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    static FalseService service;
    if (size < 1 || size > kCapacity)
        return 0;
    const std::string rest(reinterpret_cast<const char *>(data) + 1, size - 1);
    if (data[0] == 2) {
        const Instance instance = InstanceOf(rest);
        CheckPacked(instance);
        service.Publish(HalfWith({{"K", instance}}), true, "");
    } else if (data[0] == 1) {
        service.Publish(rest.size() > kHeadBytes ? rest.substr(kHeadBytes) : "", false, rest);
    } else {
        service.Publish(rest, true, "");
    }
    ReadPublished();
    return 0;
}
