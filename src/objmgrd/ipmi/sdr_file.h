// SPDX-License-Identifier: Apache-2.0
// sdr_file.h -- the sensor data records of a BMC, stored between two starts of the service.
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

struct SdrStoredThresholds {
    u16 sensor = 0;  // its place in the repository, from 0
    u8 mask = 0;     // which there are
    u8 values[kThresholdCount] = {};
};

struct SdrStored {
    SdrStamp stamp;
    std::vector<std::vector<u8>> records;
    std::vector<SdrStoredThresholds> thresholds;
};

// Whether a repository with this stamp can be known again: some BMCs have no clock for it.
bool SdrStampTells(const SdrStamp &stamp);

// bmc: which BMC it is, at most 255 bytes.
std::string SdrStoredPack(std::string_view bmc, const SdrStored &stored);
// False: that is no packed form, or of another BMC. *stored is then empty.
bool SdrStoredParse(std::string_view bytes, std::string_view bmc, SdrStored *stored);

class SdrFile
{
public:
    // directory: "": nothing is stored.
    SdrFile(const std::string &directory, const std::string &bmc);

    // False: there is none that counts; one that is damaged is removed.
    bool Read(SdrStored *stored);
    // Writes it where it is not the same as before. Empty: done; otherwise what is wrong, in words.
    std::string Write(const SdrStored &stored);
    const std::string &Path() const { return path_; }

private:
    const std::string directory_;
    const std::string bmc_;
    std::string path_;
    std::string written_;  // what the file holds
};

#endif
