// SPDX-License-Identifier: Apache-2.0
// sdr_file.cpp -- see sdr_file.h.
//
// The file: eight bytes that say what it is, the checksum of the rest (8 bytes), the BMC's name
// (its length in one byte), the stamp (2, 4 and 4), the number of records (4), each with its length
// (2), the number of thresholds (4), each with its sensor (2), mask and six values. Numbers have
// their lowest byte first.
#include "objmgrd/ipmi/sdr_file.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr std::string_view kMark = "ZORSDR1\n";
constexpr size_t kSumSize = 8;
constexpr size_t kRecordMost = 260;  // header and 255 bytes
constexpr u16 kRecordsMost = 8192;

// FNV-1a.
u64 SumOf(std::string_view bytes)
{
    u64 sum = 0xcbf29ce484222325;
    for (const char byte : bytes)
        sum = (sum ^ static_cast<u8>(byte)) * 0x100000001b3;
    return sum;
}

void Put(std::string *out, u64 number, u32 bytes)
{
    for (u32 i = 0; i < bytes; ++i)
        *out += static_cast<char>((number >> (8 * i)) & 0xff);
}

class Reading
{
public:
    explicit Reading(std::string_view bytes) : left_(bytes) {}

    std::string_view Bytes(u64 bytes)
    {
        right_ = right_ && bytes <= left_.size();
        if (!right_)
            return {};
        const size_t count = static_cast<size_t>(bytes);
        const std::string_view taken = left_.substr(0, count);
        left_.remove_prefix(count);
        return taken;
    }
    u64 Number(u32 bytes)
    {
        u64 number = 0;
        u32 shift = 0;
        for (const char byte : Bytes(bytes)) {
            number |= u64{static_cast<u8>(byte)} << shift;
            shift += 8;
        }
        return number;
    }
    bool Right() const { return right_; }
    bool AtEnd() const { return right_ && left_.empty(); }

private:
    std::string_view left_;
    bool right_ = true;
};

bool ParseRest(std::string_view rest, std::string_view bmc, SdrStored *stored)
{
    Reading in(rest);
    if (in.Bytes(in.Number(1)) != bmc)
        return false;
    stored->stamp.records = static_cast<u16>(in.Number(2));
    stored->stamp.added = static_cast<u32>(in.Number(4));
    stored->stamp.erased = static_cast<u32>(in.Number(4));
    const u64 records = in.Number(4);
    if (records > kRecordsMost)
        return false;
    for (u64 i = 0; i < records && in.Right(); ++i) {
        const std::string_view record = in.Bytes(in.Number(2));
        if (record.size() > kRecordMost)
            return false;
        stored->records.emplace_back(record.begin(), record.end());
    }
    const u64 thresholds = in.Number(4);
    if (thresholds > kSdrSensorsMax)
        return false;
    for (u64 i = 0; i < thresholds && in.Right(); ++i) {
        SdrStoredThresholds row;
        row.sensor = static_cast<u16>(in.Number(2));
        row.mask = static_cast<u8>(in.Number(1)) & 0x3f;
        for (u8 &value : row.values)
            value = static_cast<u8>(in.Number(1));
        stored->thresholds.push_back(row);
    }
    return in.AtEnd();
}

// A file name of letters, digits, dots, commas and signs that do no harm.
std::string FileName(const std::string &bmc)
{
    std::string name;
    for (const char c : bmc) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c >= '0' && c <= '9') || c == '-' || (c == '.' && !name.empty());
        name += plain ? c : '_';
    }
    return name.substr(0, 200) + ".sdr";
}

// Only what nobody but root and this user can have written.
bool IsOurs(int fd)
{
    struct stat info;
    return fstat(fd, &info) == 0 && S_ISREG(info.st_mode) &&
           (info.st_uid == geteuid() || info.st_uid == 0) && (info.st_mode & 022) == 0 &&
           info.st_size >= 0 && static_cast<size_t>(info.st_size) <= kSdrFileMax;
}

bool ReadAll(int fd, std::string *bytes)
{
    char part[16384];
    for (;;) {
        const ssize_t got = read(fd, part, sizeof part);
        if (got <= 0)
            return got == 0;
        bytes->append(part, static_cast<size_t>(got));
        if (bytes->size() > kSdrFileMax)
            return false;
    }
}

bool WriteAll(int fd, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t put = write(fd, bytes.data(), bytes.size());
        if (put <= 0)
            return false;
        bytes.remove_prefix(static_cast<size_t>(put));
    }
    return true;
}

}  // namespace

bool SdrStampTells(const SdrStamp &stamp)
{
    return stamp.added != 0 && stamp.added != 0xFFFFFFFF;
}

std::string SdrStoredPack(std::string_view bmc, const SdrStored &stored)
{
    std::string rest;
    Put(&rest, bmc.size(), 1);
    rest += bmc;
    Put(&rest, stored.stamp.records, 2);
    Put(&rest, stored.stamp.added, 4);
    Put(&rest, stored.stamp.erased, 4);
    Put(&rest, stored.records.size(), 4);
    for (const std::vector<u8> &record : stored.records) {
        Put(&rest, record.size(), 2);
        rest.append(record.begin(), record.end());
    }
    Put(&rest, stored.thresholds.size(), 4);
    for (const SdrStoredThresholds &row : stored.thresholds) {
        Put(&rest, row.sensor, 2);
        Put(&rest, row.mask, 1);
        for (const u8 value : row.values)
            Put(&rest, value, 1);
    }
    std::string packed(kMark);
    Put(&packed, SumOf(rest), kSumSize);
    return packed + rest;
}

bool SdrStoredParse(std::string_view bytes, std::string_view bmc, SdrStored *stored)
{
    *stored = SdrStored();
    Reading in(bytes);
    if (in.Bytes(kMark.size()) != kMark)
        return false;
    const u64 sum = in.Number(kSumSize);
    if (!in.Right())
        return false;
    const std::string_view rest = bytes.substr(kMark.size() + kSumSize);
    if (SumOf(rest) == sum && ParseRest(rest, bmc, stored))
        return true;
    *stored = SdrStored();
    return false;
}

SdrFile::SdrFile(const std::string &directory, const std::string &bmc)
    : directory_(directory), bmc_(bmc.substr(0, 255)),
      path_(directory.empty() ? "" : directory + "/" + FileName(bmc_))
{
}

bool SdrFile::Read(SdrStored *stored)
{
    *stored = SdrStored();
    if (path_.empty())
        return false;
    const int fd = open(path_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return false;
    std::string bytes;
    const bool right = IsOurs(fd) && ReadAll(fd, &bytes) && SdrStoredParse(bytes, bmc_, stored);
    close(fd);
    if (right)
        written_ = std::move(bytes);
    else
        unlink(path_.c_str());
    return right;
}

std::string SdrFile::Write(const SdrStored &stored)
{
    std::string packed = SdrStoredPack(bmc_, stored);
    if (path_.empty() || packed == written_)
        return "";
    mkdir(directory_.c_str(), 0750);
    // Whole or not at all, whenever the service is ended.
    const std::string fresh = path_ + ".new";
    unlink(fresh.c_str());
    const int fd = open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    const bool done = fd >= 0 && WriteAll(fd, packed);
    int error = done ? 0 : errno;
    if (fd >= 0 && close(fd) != 0 && done)
        error = errno;
    if (error == 0 && rename(fresh.c_str(), path_.c_str()) != 0)
        error = errno;
    if (error != 0) {
        if (fd >= 0)
            unlink(fresh.c_str());
        return path_ + ": " + strerror(error);
    }
    written_ = std::move(packed);
    return "";
}
