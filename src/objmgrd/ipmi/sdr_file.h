// SPDX-License-Identifier: Apache-2.0
// sdr_file.h -- the sensor data records of a BMC, kept between two starts of the service.
//
// One file for each BMC, CACHE_DIRECTORY/NAME.sdr. What is in it counts only while the BMC's own
// time stamps are still those that it was read at (SdrReader::Recall). The file is not trusted: one
// that is damaged, of another BMC, or that somebody else could have written is thrown away.
#ifndef OBJMGRD_IPMI_SDR_FILE_H
#define OBJMGRD_IPMI_SDR_FILE_H

#include "objmgrd/ipmi/sdr_reader.h"

#include <string_view>

// Larger files are none of ours: 8,192 records of 260 bytes fit.
constexpr size_t kSdrFileMax = size_t{4} * 1024 * 1024;

struct SdrKeptThresholds {
    u16 sensor = 0;  // its place in the repository, from 0
    u8 mask = 0;     // which there are
    u8 values[kThresholdCount] = {};
};

struct SdrKept {
    SdrStamp stamp;
    std::vector<std::vector<u8>> records;
    std::vector<SdrKeptThresholds> thresholds;
};

// Whether a repository with this stamp can be known again: some BMCs have no clock for it.
bool SdrStampTells(const SdrStamp &stamp);

// bmc: which BMC it is, at most 255 bytes.
std::string SdrKeptPack(std::string_view bmc, const SdrKept &kept);
// False: that is no packed form, or of another BMC. *kept is then empty.
bool SdrKeptParse(std::string_view bytes, std::string_view bmc, SdrKept *kept);

class SdrFile
{
public:
    // directory: "": nothing is kept.
    SdrFile(const std::string &directory, const std::string &bmc);

    // False: there is none that counts; one that is damaged is removed.
    bool Read(SdrKept *kept);
    // Writes it where it is not the same as before. Empty: done; otherwise what is wrong, in words.
    std::string Write(const SdrKept &kept);
    const std::string &Path() const { return path_; }

private:
    const std::string directory_;
    const std::string bmc_;
    std::string path_;
    std::string written_;  // what the file holds
};

#endif
