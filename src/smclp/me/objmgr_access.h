// SPDX-License-Identifier: Apache-2.0
// objmgr_access.h -- how element kinds and verbs reach the object manager.
//
// Every request gets the interface, opens a connection of its own and closes it on every path.
#ifndef SMCLP_ME_OBJMGR_ACCESS_H
#define SMCLP_ME_OBJMGR_ACCESS_H

#include "objmgr/objmgr.h"
#include "objmgr/schema.h"
#include "platform/trace.h"

constexpr size_t kObjectPathSize = 256;      // bytes of a path that the shell builds
constexpr size_t kPowerStatusSize = 32;      // bytes of the power status
constexpr size_t kServiceTagSize = 64;       // bytes of the service tag
constexpr size_t kRecordStorageSize = 512;   // bytes of a log record's instance object
constexpr size_t kSensorStorageSize = 1024;  // bytes of a sensor's instance object

// One request's connection. Closes at the end of the scope whenever there is an interface, also
// when Open failed: the service wants both.
class ObjMgrConnection
{
public:
    ObjMgrConnection() : objMgr_(ObjMgrGetInterface()) {}
    ~ObjMgrConnection()
    {
        if (objMgr_ != nullptr)
            objMgr_->Close(handle_);
    }
    ObjMgrConnection(const ObjMgrConnection &) = delete;
    ObjMgrConnection &operator=(const ObjMgrConnection &) = delete;

    bool HasInterface() const { return objMgr_ != nullptr; }
    // True when the connection is open.
    bool Open() { return objMgr_->Open(&handle_) == 0; }
    // Both steps as most requests want them: a missing interface is traced, with `unit` and
    // `line`, a failed Open is not. True when the connection is open.
    bool Connect(const char *unit, int line)
    {
        if (HasInterface())
            return Open();
        TRACE_ASSERT_FAILED_AT(unit, line);
        return false;
    }
    const ObjMgrInterface *operator->() const { return objMgr_; }
    ObjMgrHandle Handle() const { return handle_; }

private:
    const ObjMgrInterface *objMgr_;
    ObjMgrHandle handle_ = 0;
};

// Hands the user's privilege word (ZORPRIV, hexadecimal) to a connection. False, with nothing
// handed over, when the variable is missing or no hexadecimal number.
bool ObjMgrHandOverPrivilege(const ObjMgrInterface *objMgr, ObjMgrHandle handle);

#endif
