// SPDX-License-Identifier: Apache-2.0
// fake_objmgr.h -- an object manager inside the test, behind the interface that the shell uses.
#ifndef TESTS_SUPPORT_FAKE_OBJMGR_H
#define TESTS_SUPPORT_FAKE_OBJMGR_H

#include "objmgr/objmgr.h"

#include <map>
#include <string>
#include <vector>

// The one that answers is the one constructed last. It starts as a host that is on:
// OEM_QARN_System with PowerStatus "ON", ServiceTag "TAG1234", Description "Test Server",
// HostName "host-a" and Oem "0"; an empty log; no sensors.
class FakeObjMgr
{
public:
    FakeObjMgr();
    ~FakeObjMgr();
    FakeObjMgr(const FakeObjMgr &) = delete;
    FakeObjMgr &operator=(const FakeObjMgr &) = delete;

    void Set(const std::string &path, const std::string &property, const std::string &text);
    // Clients get `status` instead of the property's text, or instead of the instance.
    void SetStatus(const std::string &path, const std::string &property, CimStatus status);
    void SetInstanceStatus(const std::string &path, CimStatus status);
    void Remove(const std::string &path);
    void RemoveProperty(const std::string &path, const std::string &property);
    // Appends a sensor with the next index; properties as name, text, name, text ... Returns the
    // index.
    u32 AddSensor(const char *type, const char *format, const std::vector<std::string> &properties);
    // Appends a log record and counts it in NumRecords.
    u32 AddRecord(const std::string &timestamp, const std::string &digits,
                  const std::string &description);

    // The status of a read of an index without an instance (6 unless changed).
    CimStatus missingStatus = kCimNotFound;
    bool interfaceMissing = false;
    bool openFails = false;
    bool initInstanceFails = false;
    // What InvokeMethod answers. With status 0 and result 0 the method also acts: Start, Stop and
    // Clear change what is read.
    CimStatus methodStatus = kCimOk;
    u32 methodResult = 0;

    // The failing call: the n-th call (from 1) of ObjMgrGetInterface, Open, GetInstance,
    // GetPropertyValue, InvokeMethod, InitInstance or GetInstanceValue fails with `failStatus` or
    // null. 0: none.
    u32 failCall = 0;
    CimStatus failStatus = kCimFailed;
    u32 calls = 0;  // of those so far

    int openConnections = 0;
    u32 opens = 0;
    u32 instanceReads = 0;  // GetInstance and GetPropertyValue

    // Every call in order, for example "Open", "SetPrivilege 1ff",
    // "GetPropertyValue OEM_QARN_System PowerStatus 32", "GetInstance OEM_QARN_Sensor.Index=1",
    // "GetInstanceValue Type", "InitInstance 1024",
    // "InvokeMethod OEM_QARN_System Reset Mode=PowerCycle", "Close".
    std::vector<std::string> log;
    bool keepLog = true;  // false: nothing is appended, for runs that make very many calls
    // The calls of the log that begin with `word`.
    std::vector<std::string> Logged(const std::string &word) const;
    void ClearLog();

    struct Value {
        CimStatus status = kCimOk;
        std::string text;
    };
    struct Object {
        CimStatus status = kCimOk;
        std::map<std::string, Value> properties;
    };
    std::map<std::string, Object> objects;
};

#endif
