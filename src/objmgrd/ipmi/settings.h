// SPDX-License-Identifier: Apache-2.0
// settings.h -- the settings of objmgrd-ipmi, read from a TOML file.
//
//   archive, archive_mb        before any table: see objmgrd/archive_settings.h
//   [bmc]
//   driver = "lan"             "lan": IPMI 2.0 over the network; "local": the kernel's IPMI device
//   device = "/dev/ipmi0"      local only
//   host = "192.0.2.10"        lan only, and needed there: a name or an address
//   port = 623                 lan only, 1 to 65535
//   user = "admin"             lan only, at most 16 bytes
//   password_file = "/etc/x"   lan only: see password.h; "" or absent: no password
//   privilege = "operator"     lan only: user, operator or administrator
//   cipher_suite = 3           lan only: 0 to 3, 6 to 8, 11, 12 or 15 to 17
//   workarounds = []           lan only: names from the table in settings.cpp
//   cache_directory = "/var/cache/zor"
//                              where the sensor records are stored between two starts
//                              (ipmi/sdr_file.h);
//                              "": nowhere
//   [poll]                     milliseconds from one look to the next
//   sensors_ms = 1900          readings of every kind that is not named below, 100 to 60000
//   temperatures_ms, voltages_ms, currents_ms (amperes and watts), fans_ms: as sensors_ms
//   states_ms = 10000          sensors without a number, 100 to 60000; they are looked at, too,
//   when
//                              the log has a new entry
//   thresholds_ms = 60000      thresholds, 1000 to 3600000
//   power_ms = 500             the power state, 100 to 2000
//   log_ms = 2000              whether the log changed, 100 to 60000
//   sdr_ms = 30000             whether the sensor records changed, 1000 to 3600000
//   [timeouts]                 milliseconds
//   answer_ms = 1000           lan only: a request (never a power command) without an answer is
//                              sent again, 100 to 5000, below session_ms
//   session_ms = 2500          a request without an answer has failed, 200 to 10000
//   method_ms = 4500           a method is answered at the latest, 1000 to 60000
#ifndef OBJMGRD_IPMI_SETTINGS_H
#define OBJMGRD_IPMI_SETTINGS_H

#include "objmgrd/archive_settings.h"
#include "objmgrd/file_note.h"

#include <string_view>

enum class IpmiDriver : u8 { Lan, Local };

struct IpmiSettings {
    ArchiveSettings archive;
    IpmiDriver driver = IpmiDriver::Lan;
    std::string device = "/dev/ipmi0";
    std::string host;
    u32 port = 623;
    std::string user;
    std::string passwordFile;
    u8 privilege = 3;  // IPMI: 2 user, 3 operator, 4 administrator
    u8 cipherSuite = 3;
    u32 workarounds = 0;  // bits of IpmiWorkaround

    std::string cacheDirectory = "/var/cache/zor";

    u32 sensorsMs = 1900;
    u32 temperaturesMs = 1900;
    u32 voltagesMs = 1900;
    u32 currentsMs = 1900;
    u32 fansMs = 1900;
    u32 statesMs = 10000;
    u32 thresholdsMs = 60000;
    u32 powerMs = 500;
    u32 logMs = 2000;
    u32 sdrMs = 30000;

    u32 answerMs = 1000;
    u32 sessionMs = 2500;
    u32 methodMs = 4500;
};

// Ways in which BMCs differ from the standard; the names in the file are these in lower case with
// underscores.
enum IpmiWorkaround : u32 {
    kIpmiAuthenticationCapabilities = 1 << 0,
    kIpmiIntelSession = 1 << 1,
    kIpmiSupermicroSession = 1 << 2,
    kIpmiSunSession = 1 << 3,
    kIpmiOpenSessionPrivilege = 1 << 4,
    kIpmiNonEmptyIntegrityCheckValue = 1 << 5,
    kIpmiNoChecksumCheck = 1 << 6,
};

constexpr size_t kIpmiSettingsFileMax = size_t{64} * 1024;
constexpr size_t kIpmiUserMax = 16;
constexpr u32 kIpmiPasswordMax = 20;  // IPMI 2.0

// Reads settings. True when they are right; *settings holds defaults otherwise. *notes gets every
// fault in the order of the file; of the faults of syntax only the first. The password file is
// not looked at.
bool IpmiSettingsParse(std::string_view text, IpmiSettings *settings, std::vector<FileNote> *notes);

// The same for a file; one that cannot be read is a fault of line 0.
bool IpmiSettingsRead(const std::string &file, IpmiSettings *settings,
                      std::vector<FileNote> *notes);

// Without a good answer for so long the BMC counts as lost: 2.7 s, so that clients are told within
// 3 s; where a request may take longer than the default, as long as that and a pause between two.
u32 IpmiLostMs(const IpmiSettings &settings);

// "192.0.2.10:623" or "/dev/ipmi0": tells BMCs apart.
std::string IpmiBmcAddress(const IpmiSettings &settings);

// "192.0.2.10" or "/dev/ipmi0": the BMC's name in messages.
std::string IpmiBmcName(const IpmiSettings &settings);

#endif
