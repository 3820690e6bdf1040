// SPDX-License-Identifier: Apache-2.0
// schema.h -- the words of the object manager: classes, keys, properties, methods.
//
// The one place where they are spelt: shell, service, sources of data and tools take them from
// here, so that a misspelling does not compile. The instances are
//   OEM_QARN_System                                   the host computer
//   OEM_QARN_MessageLog.Name=SEL                      its System Event Log
//   OEM_QARN_LogRecord.LogName=SEL,RecordNum=N        a record of the log
//   OEM_QARN_Sensor.Index=N                           a sensor; N from 1 without a gap
//   OEM_QARN_PowerSupply.PowerSupplyIndex=N           a power supply
#ifndef OBJMGR_SCHEMA_H
#define OBJMGR_SCHEMA_H

#include "objmgr/privilege.h"

// ---- classes
inline constexpr char kSystemClass[] = "OEM_QARN_System";
inline constexpr char kMessageLogClass[] = "OEM_QARN_MessageLog";
inline constexpr char kLogRecordClass[] = "OEM_QARN_LogRecord";
inline constexpr char kSensorClass[] = "OEM_QARN_Sensor";
inline constexpr char kPowerSupplyClass[] = "OEM_QARN_PowerSupply";

// ---- properties. Those of the first line of a class are its keys, which can be read, too.
// OEM_QARN_System
inline constexpr char kPropertyPowerStatus[] = "PowerStatus";  // kPowerStatusOn, kPowerStatusOff
inline constexpr char kPropertyServiceTag[] = "ServiceTag";
inline constexpr char kPropertyDescription[] = "Description";  // also of a record
inline constexpr char kPropertyHostName[] = "HostName";
inline constexpr char kPropertyOem[] = "Oem";
// OEM_QARN_MessageLog
inline constexpr char kPropertyName[] = "Name";  // also of a sensor, where it is no key
inline constexpr char kPropertyNumRecords[] = "NumRecords";
// OEM_QARN_LogRecord
inline constexpr char kPropertyLogName[] = "LogName";
inline constexpr char kPropertyRecordNum[] = "RecordNum";
inline constexpr char kPropertyTimestamp[] = "Timestamp";
// OEM_QARN_Sensor
inline constexpr char kPropertyIndex[] = "Index";
inline constexpr char kPropertyType[] = "Type";
inline constexpr char kPropertyFormat[] = "Format";
inline constexpr char kPropertyReading[] = "Reading";
inline constexpr char kPropertyWarningThresholdMin[] = "WarningThresholdMin";
inline constexpr char kPropertyWarningThresholdMax[] = "WarningThresholdMax";
inline constexpr char kPropertyFailThresholdMin[] = "FailThresholdMin";
inline constexpr char kPropertyFailThresholdMax[] = "FailThresholdMax";
inline constexpr char kPropertyStatusText[] = "StatusText";
inline constexpr char kPropertyState[] = "State";
inline constexpr char kPropertyStateValue[] = "StateValue";
// OEM_QARN_PowerSupply
inline constexpr char kPropertyPowerSupplyIndex[] = "PowerSupplyIndex";
inline constexpr char kPropertyPowerSupplyWattage[] = "PowerSupplyWattage";

// ---- values with a meaning of their own
inline constexpr char kPowerStatusOn[] = "ON";
inline constexpr char kPowerStatusOff[] = "OFF";
inline constexpr char kSelName[] = "SEL";  // the one log, as Name and as LogName

// A binding that is no key: it asks for Timestamp as fourteen digits (objmgr/objmgr.h).
inline constexpr char kTimestampFormatBinding[] = "TimestampFormat";
inline constexpr char kTimestampFormatDigits[] = "YYYYMMDDHHMMSS";

// ---- paths
// A text that the compiler puts together.
template <size_t Size> struct SchemaText {
    char text[Size];
    constexpr operator const char *() const { return text; }
};

template <size_t... Sizes>
consteval SchemaText<(Sizes + ...) - sizeof...(Sizes) + 1> SchemaJoin(const char (&...parts)[Sizes])
{
    SchemaText<(Sizes + ...) - sizeof...(Sizes) + 1> joined = {};
    size_t at = 0;
    const auto append = [&](const char *part, size_t size) {
        for (size_t i = 0; i + 1 < size; ++i)
            joined.text[at++] = part[i];
    };
    (append(parts, Sizes), ...);
    return joined;
}

inline constexpr SchemaText kSelPath =
    SchemaJoin(kMessageLogClass, ".", kPropertyName, "=", kSelName);
// What stands in front of a row's number.
inline constexpr SchemaText kSensorPathHead = SchemaJoin(kSensorClass, ".", kPropertyIndex, "=");
inline constexpr SchemaText kPowerSupplyPathHead =
    SchemaJoin(kPowerSupplyClass, ".", kPropertyPowerSupplyIndex, "=");
inline constexpr SchemaText kLogRecordPathHead =
    SchemaJoin(kLogRecordClass, ".", kPropertyLogName, "=", kSelName, ",", kPropertyRecordNum, "=");
// Asks for a record with its time as digits: stands behind the path.
inline constexpr SchemaText kTimestampDigitsSuffix =
    SchemaJoin(",", kTimestampFormatBinding, "=", kTimestampFormatDigits);

// Bytes of the longest path of a row with its NUL, with room for twenty digits.
inline constexpr size_t kRowPathSize = 64;
static_assert(sizeof kSensorPathHead + 20 <= kRowPathSize &&
                  sizeof kPowerSupplyPathHead + 20 <= kRowPathSize &&
                  sizeof kLogRecordPathHead + 20 <= kRowPathSize,
              "the path of every row fits");

// The path of one row, and of those after it: a walk over all of them writes only the digits that
// change.
class RowPath
{
public:
    template <size_t Size>
    RowPath(const SchemaText<Size> &head, u32 number) : RowPath(head.text, Size - 1, number)
    {
    }
    const char *Text() const { return text_; }
    // The number becomes one more; there is room for twenty digits. Here, since a walk calls it for
    // every row.
    void Next()
    {
        char *digit = text_ + end_ - 1;
        for (; *digit == '9'; --digit)
            *digit = '0';
        if (*digit != '=') {
            ++*digit;
            return;
        }
        // All nines: one digit more.
        digit[1] = '1';
        text_[end_++] = '0';
        text_[end_] = '\0';
    }

private:
    RowPath(const char *head, size_t length, u32 number);

    char text_[kRowPathSize];
    u32 end_;  // bytes without the NUL
};

inline RowPath SensorPath(u32 index)
{
    return {kSensorPathHead, index};
}
inline RowPath LogRecordPath(u32 number)
{
    return {kLogRecordPathHead, number};
}
inline RowPath PowerSupplyPath(u32 index)
{
    return {kPowerSupplyPathHead, index};
}

// ---- methods
inline constexpr char kMethodStart[] = "Start";
inline constexpr char kMethodStop[] = "Stop";
inline constexpr char kMethodReset[] = "Reset";
inline constexpr char kMethodClear[] = "Clear";
inline constexpr char kPowerCycleArgument[] = "Mode=PowerCycle";

enum class MethodId : u8 { Start, Stop, Reset, Clear };

struct MethodRow {
    const char *className;
    const char *method;
    const char *argument;  // the one argument text that it takes; null: none; kAnyArgument: any
    u32 right;             // the bits of objmgr/privilege.h that a caller needs
    MethodId id;
};
inline constexpr char kAnyArgument[] = "*";

// To add a method: a row here, its right in objmgr/privilege.h, and what the sources of data do.
inline constexpr MethodRow kMethodTable[] = {
    {kSystemClass, kMethodStart, nullptr, kPrivilegePowerControl, MethodId::Start},
    {kSystemClass, kMethodStop, nullptr, kPrivilegePowerControl, MethodId::Stop},
    {kSystemClass, kMethodReset, kPowerCycleArgument, kPrivilegePowerControl, MethodId::Reset},
    {kMessageLogClass, kMethodClear, nullptr, kPrivilegeClearLog, MethodId::Clear},
};

inline constexpr size_t kMethodCount = sizeof kMethodTable / sizeof kMethodTable[0];

// The row of a method of the class that `path` begins with (up to its end or the first point);
// null: the class has no such method.
const MethodRow *SchemaFindMethod(const char *path, const char *method,
                                  const MethodRow *table = kMethodTable,
                                  size_t rows = kMethodCount);

// Whether a method takes an argument text; null and an empty text are none.
bool SchemaTakesArgument(const MethodRow *row, const char *argument);

#endif
