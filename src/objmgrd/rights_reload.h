// SPDX-License-Identifier: Apache-2.0
// rights_reload.h -- reads the file of rights again while the service goes on.
//
// Names of users and groups may come from a directory over the network, which can take a minute to
// say that it is not there: a thread waits for it, and the serving thread does not.
#ifndef OBJMGRD_RIGHTS_RELOAD_H
#define OBJMGRD_RIGHTS_RELOAD_H

#include "objmgrd/rights.h"

#include <memory>
#include <optional>

class RightsReload
{
public:
    // `signal` is raised in this process whenever there is something to take; every thread has to
    // block it.
    RightsReload(std::string file, int signal);
    ~RightsReload();  // a thread that still waits for a name is left behind
    RightsReload(const RightsReload &) = delete;
    RightsReload &operator=(const RightsReload &) = delete;

    // Begins to read, or once more after the reading in hand: what the file holds now is what is
    // taken last. 0 or an errno value.
    int Begin();

    struct Outcome {
        std::optional<Rights> rights;  // nothing: the file is not right
        std::vector<FileNote> notes;
    };
    // What was read since the last call; nothing: no reading has ended.
    std::optional<Outcome> Take();

private:
    struct Shared;
    static void *Read(void *argument);

    std::shared_ptr<Shared> shared_;
};

#endif
