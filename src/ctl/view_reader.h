// SPDX-License-Identifier: Apache-2.0
// view_reader.h -- reads a server's view through the object manager's client, as the shell does.
#ifndef CTL_VIEW_READER_H
#define CTL_VIEW_READER_H

#include "ctl/options.h"
#include "ctl/view.h"
#include "objmgr/inspect.h"

#include <deque>

// Which instances a view is to hold: what a command does not need costs nothing.
enum ViewParts : u32 {
    kViewSystem = 1,   // the host and the head of its log
    kViewSensors = 2,  // up to the first gap in the list
    kViewRecords = 4,  // as many as the log says
    kViewAll = 7,
};

// Points the object manager's client at a directory; empty: the process's own (ZOROBJMGR, else the
// default). False: the path is too long.
bool ViewUseDirectory(const std::string &directory);

// Why there is nothing to read, for people.
const char *ViewReasonOf(ObjMgrPresence presence);
// ... and as an exit status: kExitNoRight or kExitNoService.
CtlExit ViewExitOf(ObjMgrPresence presence);

// One view at a time: each Read ends what the one before it returned.
class ViewReader
{
public:
    ViewReader() = default;
    ~ViewReader();
    ViewReader(const ViewReader &) = delete;
    ViewReader &operator=(const ViewReader &) = delete;

    // Takes one consistent snapshot. directory: the object manager's; empty: the process's own.
    // Null: there is no service that could be read; Reason and Exit say why.
    const ServerView *Read(const std::string &directory, u32 parts);
    const std::string &Reason() const { return reason_; }
    CtlExit Exit() const { return exit_; }

private:
    void Release();
    bool AddInstance(const char *path, std::string_view key,
                     std::span<const char *const> properties);
    u32 SourceOf(const ObjMgrInstance *instance);
    void AddSensors();
    void AddRecords();

    const ObjMgrInterface *objMgr_ = nullptr;
    ObjMgrHandle handle_ = 0;
    ServerView view_;
    std::string reason_;
    CtlExit exit_ = kExitDone;
    std::vector<u32> sourceNumbers_;  // of view_.sources, as the client counts them
    std::deque<std::string> keys_;
    std::deque<std::vector<ViewProperty>> properties_;
};

#endif
