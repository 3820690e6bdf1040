// SPDX-License-Identifier: Apache-2.0
// session_file.h -- the session with the service, remembered where the next start finds it.
//
// A service has few sessions and keeps those that nobody ends: one that was left behind by a kill
// counts until its time is over. So the address and the token of the session stand in a file of the
// service's user alone, as long as it lasts.
#ifndef OBJMGRD_REDFISH_SESSION_FILE_H
#define OBJMGRD_REDFISH_SESSION_FILE_H

#include "platform/types.h"

#include <string>

struct RememberedSession {
    std::string service;  // url of the service
    std::string link;     // address of the session
    std::string token;
};

// "" when it is written, otherwise what is wrong, for the administrator.
std::string SessionFileWrite(const std::string &file, const RememberedSession &session);

// False: there is none, or none that can be trusted (another's, readable by others, a link).
bool SessionFileRead(const std::string &file, RememberedSession *session);

void SessionFileRemove(const std::string &file);

#endif
