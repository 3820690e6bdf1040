// SPDX-License-Identifier: Apache-2.0
// image_writer.cpp -- the one writer of the object manager's image.
#include "objmgrd/image_writer.h"

#include "objmgr/object_path.h"
#include "objmgr/safe_text.h"
#include "objmgr/schema.h"
#include "objmgrd/image_publisher.h"
#include "platform/clock.h"

#include <algorithm>
#include <errno.h>
#include <optional>

namespace
{

constexpr u64 kPauseUs = 10 * 1000;
constexpr u64 kPauseTimes = 9;

bool IsKey(const std::string &key)
{
    ObjectPath parsed;
    return ObjectPathParse(key.c_str(), &parsed) == kCimOk && key == parsed.key &&
           SafeTextIsSafe(key.data(), key.size());
}

i64 Padded(const std::string &record)
{
    return static_cast<i64>(ImageAlign(static_cast<u32>(record.size())));
}

}  // namespace

struct ImageWriter::State {
    ImagePublisher publisher;
    HalfBuilder staged;
    bool isStaged = false;
    u64 logChanges = 0;
    u64 publishFromUs = 0;
    // The transaction: what it changed so far. Without a value: deleted.
    bool inTransaction = false;
    int failure = 0;  // errno of the first change that failed
    std::map<std::string, std::optional<std::string>> changes;
    std::optional<std::string> faults;

    int Change(const std::string &key, std::optional<std::string> record);
    void DropWhatStays();
    u64 SizeAfterChanges() const;
    int Stage();
};

int ImageWriter::State::Change(const std::string &key, std::optional<std::string> record)
{
    if (!inTransaction)
        return EINVAL;
    if (failure != 0)
        return failure;
    if (!IsKey(key))
        return failure = EINVAL;
    changes[key] = std::move(record);
    return 0;
}

// Providers write all they know at every turn: what is the same already is no change.
void ImageWriter::State::DropWhatStays()
{
    std::erase_if(changes, [&](const auto &change) {
        const StoredRecord *old = staged.Find(change.first);
        return change.second ? old != nullptr && old->bytes == *change.second : old == nullptr;
    });
    if (faults && *faults == staged.Faults())
        faults.reset();
}

u64 ImageWriter::State::SizeAfterChanges() const
{
    i64 records = 0;
    i64 bytes = 0;
    for (const auto &[key, record] : changes) {
        const StoredRecord *old = staged.Find(key);
        records += (record ? 1 : 0) - (old != nullptr ? 1 : 0);
        bytes += (record ? Padded(*record) : 0) - (old != nullptr ? Padded(old->bytes) : 0);
    }
    return staged.SizeWith(records, bytes, faults ? faults->size() : staged.Faults().size());
}

int ImageWriter::State::Stage()
{
    DropWhatStays();
    if (changes.empty() && !faults)
        return 0;
    const int error = publisher.MakeRoom(SizeAfterChanges());
    if (error != 0)
        return error;
    for (auto &[key, record] : changes) {
        if (key.starts_with(kLogRecordClass) || key.starts_with(kMessageLogClass))
            ++logChanges;
        if (record)
            staged.Put(key, std::move(*record));
        else
            staged.Delete(key);
    }
    if (faults)
        staged.SetFaults(std::move(*faults));
    isStaged = true;
    return 0;
}

ImageWriter::~ImageWriter()
{
    Close();
}

int ImageWriter::Open(const std::string &directory, const ImageWriterOptions &options)
{
    if (state_ != nullptr)
        return EBUSY;
    if (directory.empty())
        return EINVAL;
    state_ = new State;
    const int error = state_->publisher.Open(directory, options.service, options.methodTimeoutMs,
                                             options.halfMax);
    if (error != 0)
        Close();
    return error;
}

u16 ImageWriter::AddSource(const std::string &name)
{
    return state_ != nullptr ? state_->publisher.AddSource(name) : kImageNoSource;
}

void ImageWriter::Heard(u16 source, u64 nowMs)
{
    if (state_ != nullptr)
        state_->publisher.Heard(source, nowMs);
}

void ImageWriter::Silent(u16 source)
{
    if (state_ != nullptr)
        state_->publisher.Silent(source);
}

int ImageWriter::Begin()
{
    if (state_ == nullptr)
        return EINVAL;
    if (state_->inTransaction)
        return EBUSY;
    state_->inTransaction = true;
    return 0;
}

int ImageWriter::Put(const std::string &key, const Instance &instance)
{
    if (state_ == nullptr)
        return EINVAL;
    return state_->Change(key, PackRecord(key, instance));
}

int ImageWriter::Delete(const std::string &key)
{
    return state_ != nullptr ? state_->Change(key, std::nullopt) : EINVAL;
}

int ImageWriter::PutFaults(const std::vector<PropertyValue> &rows)
{
    if (state_ == nullptr || !state_->inTransaction)
        return EINVAL;
    if (state_->failure == 0)
        state_->faults = PackProperties(rows);
    return state_->failure;
}

int ImageWriter::Commit()
{
    if (state_ == nullptr || !state_->inTransaction)
        return EINVAL;
    const int error = state_->failure != 0 ? state_->failure : state_->Stage();
    Abort();
    return error;
}

void ImageWriter::Abort()
{
    if (state_ == nullptr)
        return;
    state_->inTransaction = false;
    state_->failure = 0;
    state_->changes.clear();
    state_->faults.reset();
}

const std::string *ImageWriter::Find(const std::string &key) const
{
    const StoredRecord *record = state_ != nullptr ? state_->staged.Find(key) : nullptr;
    return record != nullptr ? &record->bytes : nullptr;
}

u64 ImageWriter::LogChanges() const
{
    return state_ != nullptr ? state_->logChanges : 0;
}

bool ImageWriter::IsStaged() const
{
    return state_ != nullptr && state_->isStaged;
}

u64 ImageWriter::PublishFromMs() const
{
    return state_ != nullptr ? (state_->publishFromUs + 999) / 1000 : 0;
}

int ImageWriter::Publish()
{
    if (state_ == nullptr)
        return EINVAL;
    if (state_->inTransaction)
        return EBUSY;
    if (state_->publisher.IsPublished() && !state_->isStaged)
        return 0;
    const u64 before = ClockUs();
    const int error = state_->publisher.Publish(&state_->staged);
    const u64 after = ClockUs();
    state_->publishFromUs = after + std::max(kPauseUs, kPauseTimes * (after - before));
    state_->isStaged = state_->isStaged && error != 0;
    return error;
}

int ImageWriter::Heartbeat()
{
    if (state_ == nullptr)
        return EINVAL;
    state_->publisher.Heartbeat();
    return 0;
}

int ImageWriter::Check()
{
    return state_ != nullptr ? state_->publisher.Check(&state_->staged) : EINVAL;
}

void ImageWriter::Close()
{
    delete state_;
    state_ = nullptr;
}
