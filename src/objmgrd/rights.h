// SPDX-License-Identifier: Apache-2.0
// rights.h -- who may do what: the file with which the administrator gives users and groups rights.
//
//   [users]
//   alice = ["login", "power", "clear-log"]
//   1007 = "login"                  # a number is a uid
//
//   [groups]
//   operators = ["login", "power"]  # likewise a gid
//
// The rights:
//   login      kPrivilegeLogin: may use the shell: look at everything, call no method
//   power      kPrivilegePowerControl: start, stop and reset the host, set its power state
//   clear-log  kPrivilegeClearLog: delete the records of the event log
// Rights only add up: whoever stands in the file as a user and through several groups has them all.
// Root and the user that the service runs as have every right, whatever the file says. Who has not
// the right to log in is not served any method, whatever other rights the file gives him. The
// overflow ids (objmgrd/peer.h) never have a right: a line that names one is worth a warning.
//
// Names are looked up when the file is read, never for a call. A name that is not known gives
// nobody anything and is worth a warning: the user may come later (the file is read again on
// SIGHUP, service.h). Everything else that is wrong is a fault: an unknown table, a right that is
// none, a file that others than its owner may write, or whose owner is neither root nor the
// service's user.
#ifndef OBJMGRD_RIGHTS_H
#define OBJMGRD_RIGHTS_H

#include "objmgr/privilege.h"
#include "objmgrd/file_note.h"
#include "objmgrd/peer.h"

#include <map>
#include <string_view>

// Where the file stands when no other is named.
constexpr char kRightsDefaultFile[] = "/etc/zor/rights.toml";
constexpr size_t kRightsFileMax = size_t{1} * 1024 * 1024;  // a larger file is refused

// Looks a name up; true when it is known. For tests; otherwise the system's.
struct RightsNames {
    bool (*user)(const std::string &name, u32 *uid);
    bool (*group)(const std::string &name, u32 *gid);
};
extern const RightsNames kSystemNames;

class Rights
{
public:
    // Without a file: everybody who may connect may log in, and change nothing.
    Rights() = default;

    // The rights of a peer, as bits of objmgr/privilege.h.
    u32 Of(const Peer &peer) const;

private:
    friend class RightsReader;

    bool everybodyLogsIn_ = true;
    std::map<u32, u32> users_;
    std::map<u32, u32> groups_;
};

// Reads the text of a file. True when it is right; *rights is set then and untouched otherwise.
// *notes gets every fault and warning in the order of the file.
bool RightsParse(std::string_view text, Rights *rights, std::vector<FileNote> *notes,
                 const RightsNames &names = kSystemNames);

// The same for a file. One that cannot be read is a fault of line 0.
bool RightsRead(const std::string &file, Rights *rights, std::vector<FileNote> *notes);

#endif
