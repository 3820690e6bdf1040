// SPDX-License-Identifier: Apache-2.0
// connection.h -- one connection to the object manager, with a verb for each of its operations.
//
// Over the table of objmgr/objmgr.h, which says what each operation does and how long texts live.
// Everything is here so that a walk of a long list costs no call more than the table's own.
#ifndef OBJMGR_CONNECTION_H
#define OBJMGR_CONNECTION_H

#include "objmgr/objmgr.h"

// When the end of the scope calls Close.
enum class ObjMgrClose : u8 {
    Always,      // whenever there is an interface, also when Open failed or was not called
    WhenOpened,  // only after an Open that succeeded
};

class ObjMgrConnection
{
public:
    // Gets the interface and opens nothing.
    explicit ObjMgrConnection(ObjMgrClose close = ObjMgrClose::Always)
        : objMgr_(ObjMgrGetInterface()), close_(close)
    {
    }
    ~ObjMgrConnection()
    {
        if (objMgr_ != nullptr && (handle_ != 0 || close_ == ObjMgrClose::Always))
            objMgr_->Close(handle_);
    }
    ObjMgrConnection(const ObjMgrConnection &) = delete;
    ObjMgrConnection &operator=(const ObjMgrConnection &) = delete;

    bool HasInterface() const { return objMgr_ != nullptr; }

    // All below need an interface.

    // True when the connection is open.
    bool Open() { return objMgr_->Open(&handle_) == 0; }
    bool IsOpen() const { return handle_ != 0; }

    // The property's text into out, which takes `size` bytes.
    CimStatus GetProperty(const char *path, const char *property, char *out, u16 size) const
    {
        return objMgr_->GetPropertyValue(handle_, path, property, size, out);
    }

    ObjMgrInstance *InitInstance(void *storage, size_t size) const
    {
        return objMgr_->InitInstance(storage, static_cast<u32>(size));
    }
    CimStatus GetInstance(const char *path, ObjMgrInstance *instance) const
    {
        return objMgr_->GetInstance(handle_, path, 0, instance);
    }
    // The text of a property of an instance that was got, or null.
    const char *GetValue(const ObjMgrInstance *instance, const char *property) const
    {
        return objMgr_->GetInstanceValue(instance, property);
    }

    // Claims rights for the methods of this connection (objmgr/privilege.h).
    void SetPrivilege(u32 word) const
    {
        const ObjMgrPrivilege privilege = {word, {0, 0}};
        objMgr_->SetPrivilege(handle_, &privilege);
    }
    // args may be null. *result: the method's own return value, set with status 0 only.
    CimStatus Invoke(const char *path, const char *method, const char *args, u32 *result) const
    {
        return objMgr_->InvokeMethod(handle_, path, method, args, 0, 0, result);
    }

private:
    const ObjMgrInterface *objMgr_;
    ObjMgrHandle handle_ = 0;
    ObjMgrClose close_;
};

#endif
