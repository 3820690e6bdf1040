// SPDX-License-Identifier: Apache-2.0
// host_file.h -- the description of a simulated server, read from a TOML file.
//
// The file is named after what it holds:
//   [OEM_QARN_System]         one table; without it no system answers
//   [OEM_QARN_MessageLog]     one table; there is a log also without it
//   [[OEM_QARN_LogRecord]]    a row for each record of the log
//   [[OEM_QARN_Sensor]]       a row for each sensor
//   [[OEM_QARN_PowerSupply]]  a row for each power supply
//   [faults]                  failures to play
//
// A key in one of these tables is a property of the instance. Its value is one of
//   "text", 42                  a text, or an integer that is served as its decimal text
//   { status = N }              clients get CIM status N (1 to 65535) instead of a text
//   { text = "T", status = N, from = K, to = L }
//                               "T" is served, but GetPropertyValue answers N in calls K to L
// where a text is a string or an integer. Calls are counted from 1 in each client process; `from`
// alone goes on for ever, `to` alone begins with the first, neither is every call. `status` as a
// key of an instance is no property but the CIM status of the instance as a whole. With status_from
// or status_to the instance is served and only calls K to L of GetInstance answer it. The shell
// reads the classes of one table by GetPropertyValue alone and those of rows by GetInstance alone:
// a status for calls that it never makes is worth a warning.
//
// RecordNum, Index and PowerSupplyIndex are the numbers in the paths of their rows: from 1 to
// 65535, no two alike, gaps allowed; a row without one gets 1, or one more than the row before.
// LogName and Name are always "SEL". All of these can be read as properties too. NumRecords is
// the number of records in the file unless it is given.
//
// A Timestamp that is a TOML date-time or a string "YYYY-MM-DD HH:MM:SS" (or with "T") is a time
// and has a second form of fourteen digits; a fraction of a second and an offset are dropped. Any
// other string ("System Boot") or integer is the same in both forms.
//
// [faults] holds interface, open and init_instance, each { from = K, to = L } (objmgr/faults.h),
// and [faults.methods.NAME] for Start, Stop, Reset and Clear with any of
//   status = N      the method answers this CIM status (1 to 65535) and does nothing
//   return = N      the method answers status 0 and this return word (0 to 4294967295) and does
//                   nothing; not together with status
//   delay_ms = N    the reply comes this much later (0 to 600000); the effect does not
//   reply = false   the reply never comes; the effect does
#ifndef OBJMGRD_SIM_HOST_FILE_H
#define OBJMGRD_SIM_HOST_FILE_H

#include "objmgrd/archive_settings.h"
#include "objmgrd/file_note.h"
#include "objmgrd/image_writer.h"

#include <string>
#include <string_view>
#include <vector>

struct HostInstance {
    std::string key;  // as in the store
    Instance instance;
};

struct HostMethodFault {
    std::string method;
    CimStatus status = kCimOk;  // not 0: answered instead of doing anything
    bool hasReturn = false;     // answer returnWord instead of doing anything
    u32 returnWord = 0;
    u32 delayMs = 0;
    bool reply = true;
};

// A simulated server. Every row of a class stands in the order of the file.
struct Host {
    ArchiveSettings archive;
    std::vector<HostInstance> instances;
    Instance faults;  // the .faults record; without properties: nothing fails
    std::vector<HostMethodFault> methods;
};

// Larger files are refused, so that a wrong FILE (a device, a disk image) does no harm.
constexpr size_t kHostFileMax = size_t{4} * 1024 * 1024;

// Reads a description. True when it is right; *host is filled then and empty otherwise. *notes
// gets every fault and warning in the order of the file; of the faults of syntax only the first.
bool HostFileParse(std::string_view text, Host *host, std::vector<FileNote> *notes);

// The same for a file; one that cannot be read is a fault of line 0.
bool HostFileRead(const std::string &file, Host *host, std::vector<FileNote> *notes);

#endif
