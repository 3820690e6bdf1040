// SPDX-License-Identifier: Apache-2.0
// log_archive.cpp -- see log_archive.h.
#include "objmgrd/log_archive.h"

#include "archive/archive_writer.h"
#include "objmgr/schema.h"

#include <charconv>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <pthread.h>
#include <signal.h>
#include <string.h>
#include <syslog.h>
#include <time.h>

namespace
{

constexpr auto kTryAgain = std::chrono::seconds(1);
constexpr auto kStopMost = std::chrono::seconds(2);

// The text of a property; false: it cannot be read.
bool TextOf(const ImageInstance &instance, const char *property, std::string *text)
{
    const ImageText found = ImageFindProperty(instance.first, instance.end, property);
    if (instance.status != kCimOk || found.status != kCimOk || found.text == nullptr)
        return false;
    *text = found.text;
    return true;
}

// The seconds of fourteen digits, which are UTC; nothing for any other text.
std::optional<i64> TimeOf(const std::string &digits)
{
    tm parts = {};
    if (digits.size() != 14 || digits.find_first_not_of("0123456789") != std::string::npos)
        return std::nullopt;
    const char *end = strptime(digits.c_str(), "%Y%m%d%H%M%S", &parts);
    return end != nullptr && *end == '\0' ? std::optional<i64>(timegm(&parts)) : std::nullopt;
}

ImageInstance InstanceOf(const std::string &record)
{
    return ImageInstanceAt(record.data(), 0);
}

}  // namespace

bool LogOfStore(const ImageWriter &store, std::vector<ArchiveRecord> *log)
{
    log->clear();
    const std::string *head = store.Find(kSelPath.text);
    std::string count;
    if (head == nullptr || !TextOf(InstanceOf(*head), kPropertyNumRecords, &count))
        return false;
    u32 most = 0;
    if (std::from_chars(count.data(), count.data() + count.size(), most).ec != std::errc())
        return false;
    RowPath path = LogRecordPath(1);
    for (u32 number = 1; number <= most; ++number, path.Next()) {
        const std::string *record = store.Find(path.Text());
        ArchiveRecord row;
        row.number = number;
        if (record == nullptr ||
            !TextOf(InstanceOf(*record), kPropertyDescription, &row.description))
            return number != 1;
        const ImageInstance instance = InstanceOf(*record);
        const ImageText digits = ImageFindDigits(instance.first, instance.end, kPropertyTimestamp);
        const std::string time = digits.text != nullptr ? digits.text : "";
        row.time = TimeOf(time);
        row.boot = time.find("System Boot") != std::string::npos;
        log->push_back(std::move(row));
    }
    return true;
}

// What the two threads share. It outlives the archive where the thread hangs.
struct LogArchive::Shared {
    ArchiveWriter writer;  // the thread's
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::vector<ArchiveRecord>> waiting;
    bool stops = false;
    bool ended = false;
    int error = 0;         // of the last try
    bool overrun = false;  // a state was lost
    // What the server's thread has said.
    int saidError = 0;
};

LogArchive::~LogArchive()
{
    Stop();
}

void *LogArchive::Run(void *argument)
{
    const std::unique_ptr<std::shared_ptr<Shared>> held(
        static_cast<std::shared_ptr<Shared> *>(argument));
    Shared &shared = **held;
    std::unique_lock<std::mutex> lock(shared.mutex);
    for (;;) {
        shared.changed.wait(lock, [&] { return shared.stops || !shared.waiting.empty(); });
        if (shared.waiting.empty())
            break;
        const std::vector<ArchiveRecord> log = shared.waiting.front();
        lock.unlock();
        const int error = shared.writer.Update(log);
        lock.lock();
        shared.error = error;
        if (error == 0)
            shared.waiting.pop_front();
        else if (shared.stops)
            break;
        else
            shared.changed.wait_for(lock, kTryAgain, [&] { return shared.stops; });
    }
    shared.ended = true;
    shared.changed.notify_all();
    return nullptr;
}

int LogArchive::Start(const ArchiveSettings &settings, void (*log)(int, const char *))
{
    auto shared = std::make_shared<Shared>();
    const u64 bytes = u64{settings.megabytes} * 1024 * 1024;
    if (const int error = shared->writer.Open(settings.directory, bytes))
        return error;
    auto *held = new std::shared_ptr<Shared>(shared);
    pthread_t thread;
    // Signals are the server's.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const int error = pthread_create(&thread, nullptr, Run, held);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (error != 0) {
        delete held;
        return error;
    }
    pthread_detach(thread);
    shared_ = std::move(shared);
    log_ = log;
    return 0;
}

void LogArchive::Look(const ImageWriter &store)
{
    if (shared_ == nullptr)
        return;
    const std::lock_guard<std::mutex> lock(shared_->mutex);
    if (shared_->error != shared_->saidError && log_ != nullptr) {
        const std::string line =
            shared_->error == 0
                ? std::string("the archive is written again")
                : std::string("the archive cannot be written: ") + strerror(shared_->error);
        log_(shared_->error == 0 ? LOG_NOTICE : LOG_ERR, line.c_str());
    }
    shared_->saidError = shared_->error;
    if (store.LogChanges() == seenChanges_)
        return;
    seenChanges_ = store.LogChanges();
    std::vector<ArchiveRecord> log;
    if (!LogOfStore(store, &log))
        return;
    if (shared_->waiting.size() == kLogArchiveWaitMost) {
        shared_->waiting.pop_back();
        if (!shared_->overrun && log_ != nullptr)
            log_(LOG_ERR, "the archive is behind: records that are cleared meanwhile are lost");
        shared_->overrun = true;
    }
    shared_->waiting.push_back(std::move(log));
    shared_->changed.notify_all();
}

void LogArchive::Stop()
{
    if (shared_ == nullptr)
        return;
    std::unique_lock<std::mutex> lock(shared_->mutex);
    shared_->stops = true;
    shared_->changed.notify_all();
    shared_->changed.wait_for(lock, kStopMost, [&] { return shared_->ended; });
    lock.unlock();
    shared_.reset();
}
