// SPDX-License-Identifier: Apache-2.0
// settings.h -- which service to read, and how: objmgrd-redfish's settings file, in TOML.
//
//   archive, archive_mb        before any table: see objmgrd/archive_settings.h
//   [redfish]
//   url = "https://192.0.2.10" scheme, host and port; "http" to this machine itself only
//   user = "operator"          at most 255 bytes
//   password_file = "/etc/x"   see password.h
//   ca_file = "/etc/x.pem"     "" or absent: the certificates that the system trusts
//   pin = "sha256//..."        the certificate's key must be this one. Without ca_file the
//                              certificate is not looked at otherwise
//   tls_name = "bmc.example"   the name in the certificate, where it is not the host of the url
//   system = "1"               Id of the system, where the service has several
//   log = "/redfish/v1/..."    address of the LogService to read; absent: found by itself
//   tag = "serial"             what is the service tag: "serial" or "sku"
//   cycle = "auto"             a power cycle where the service has none of its own: "auto" switches
//                              off and on, "refuse" does not
//   session_file = "/run/x"    remembers the session, so that the next start deletes what a killed
//                              service left; absent: in $RUNTIME_DIRECTORY or /run/zor, named after
//                              url and user
//   [poll]                     milliseconds from one look to the next
//   power_ms = 1000            the power state, 500 to 10000
//   sensors_ms = 5000          every sensor, 1000 to 60000
//   temperatures_ms = 5000     a kind of its own, 1000 to 60000; absent: as sensors_ms
//   voltages_ms = 5000         the same
//   currents_ms = 5000         the same, watts and amperes
//   fans_ms = 5000             the same
//   states_ms = 5000           the same, what has no number: supplies, batteries, intrusion,
//                              redundancy
//   log_ms = 10000             whether the log changed, 1000 to 300000
//   discovery_ms = 300000      which sensors there are, 30000 to 3600000
//   [timeouts]                 milliseconds
//   answer_ms = 10000          a request without an answer has failed, 1000 to 30000
//   lost_ms = 15000            without any answer for so long everything is unknown, 2000 to 60000
//   method_ms = 30000          a method is answered at the latest, 1000 to 119000
#ifndef OBJMGRD_REDFISH_SETTINGS_H
#define OBJMGRD_REDFISH_SETTINGS_H

#include "objmgrd/archive_settings.h"
#include "objmgrd/file_note.h"
#include "objmgrd/redfish/link.h"

struct RedfishSettings {
    ArchiveSettings archive;
    Origin origin;
    std::string user;
    std::string passwordFile;
    std::string caFile;
    std::string pin;
    std::string tlsName;
    std::string system;
    std::string log;
    std::string sessionFile;
    bool skuIsTag = false;
    bool refuseCycle = false;

    u32 powerMs = 1000;
    u32 sensorsMs = 5000;
    u32 temperaturesMs = 5000;
    u32 voltagesMs = 5000;
    u32 currentsMs = 5000;
    u32 fansMs = 5000;
    u32 statesMs = 5000;
    u32 logMs = 10000;
    u32 discoveryMs = 300000;

    u32 answerMs = 10000;
    u32 lostMs = 15000;
    u32 methodMs = 30000;
};

constexpr size_t kRedfishSettingsFileMax = size_t{64} * 1024;
constexpr u32 kRedfishPasswordMax = 255;

// Reads settings. True when they are right; *settings holds defaults otherwise. *notes gets every
// fault in the order of the file; of the faults of syntax only the first. The files that are named
// are not looked at.
bool RedfishSettingsParse(std::string_view text, RedfishSettings *settings,
                          std::vector<FileNote> *notes);

// The same for a file; one that cannot be read is a fault of line 0.
bool RedfishSettingsRead(const std::string &file, RedfishSettings *settings,
                         std::vector<FileNote> *notes);

// Where the session is remembered unless the settings say so.
std::string RedfishSessionFile(const RedfishSettings &settings);

#endif
