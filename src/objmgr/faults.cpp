// SPDX-License-Identifier: Apache-2.0
// faults.cpp -- faults that a simulated host asks its clients to play.
#include "objmgr/faults.h"

#include "objmgr/image.h"
#include "objmgr/object_path.h"
#include "platform/large_buffer.h"

#include <stdio.h>
#include <string.h>

namespace
{

// Calls from .. to fail, counted from 1; from 0: none does.
struct CallRange {
    u32 from;
    u32 to;
};

struct ReadRow {
    CallRange range;
    CimStatus status;
    char key[kStorePathMax + 1];
    char property[kStorePropertyNameMax + 1];  // empty: the row is about GetInstance
};

// In the order of FaultPoint.
constexpr const char *kPointNames[] = {"interface", "open", "init_instance"};
static_assert(sizeof(kPointNames) / sizeof(kPointNames[0]) == kFaultPoints &&
                  static_cast<u32>(FaultPoint::InitInstance) == kFaultPoints - 1,
              "one name per point");

alignas(kLargeBufferAlign) ReadRow gReads[kFaultReadRowsMax];
u32 gReadCalls[kFaultReadRowsMax];

bool TakeNumber(const char **text, u32 *number)
{
    u64 value = 0;
    const char *at = *text;
    for (; *at >= '0' && *at <= '9'; ++at) {
        value = value * 10 + static_cast<u64>(*at - '0');
        if (value > UINT32_MAX)
            return false;
    }
    if (at == *text)
        return false;
    *text = at;
    *number = static_cast<u32>(value);
    return true;
}

bool TakeByte(const char **text, char byte)
{
    if (**text != byte)
        return false;
    ++*text;
    return true;
}

bool TakeRange(const char **text, CallRange *range)
{
    if (!TakeNumber(text, &range->from))
        return false;
    range->to = range->from;
    if (TakeByte(text, '-') && !TakeNumber(text, &range->to))
        return false;
    return range->from > 0 && range->from <= range->to;
}

bool TakeWord(const char **text, char *out, size_t size)
{
    const size_t length = strcspn(*text, " ");
    if (length == 0 || length >= size)
        return false;
    memcpy(out, *text, length);
    out[length] = '\0';
    *text += length;
    return true;
}

bool ParseReadRow(const char *text, ReadRow *row)
{
    char path[kStoreTextMax + 1];
    ObjectPath parsed;
    row->property[0] = '\0';
    if (!TakeRange(&text, &row->range) || !TakeByte(&text, ' ') ||
        !TakeNumber(&text, &row->status) || row->status == kCimOk || !TakeByte(&text, ' ') ||
        !TakeWord(&text, path, sizeof(path)) || ObjectPathParse(path, &parsed) != kCimOk)
        return false;
    memcpy(row->key, parsed.key, parsed.keyLength + 1);
    if (TakeByte(&text, ' ') && !TakeWord(&text, row->property, sizeof(row->property)))
        return false;
    return *text == '\0';
}

// A plan that is malformed, or null, is none. The calls made so far stay.
void LoadPoint(const char *text, FaultPointPlan *plan)
{
    CallRange range;
    const bool planned = text != nullptr && TakeRange(&text, &range) && *text == '\0';
    plan->first = planned ? range.from : 0;
    plan->count = planned ? range.to - plan->first + 1 : 0;
    if (planned && range.to == UINT32_MAX)
        plan->count = UINT64_MAX - plan->first;  // for ever
}

bool CountCall(const CallRange &range, u32 *calls)
{
    if (*calls < UINT32_MAX)
        ++*calls;
    return range.from > 0 && *calls >= range.from && *calls <= range.to;
}

}  // namespace

FaultPointPlan gFaultPoints[kFaultPoints];
u32 gFaultReadRows;

// The plan's texts are taken apart by these, each moving *text behind what it took.

void FaultsLoad(const void *plan, size_t size)
{
    const char *first = static_cast<const char *>(plan);
    const char *end = first + size;
    if (first == nullptr || !ImageCheckProperties(first, end))
        end = first;
    // The text of a row: empty, and so malformed, when it has a status; null when there is none.
    const auto rowText = [&](const char *name) { return ImageFindProperty(first, end, name).text; };
    for (u32 i = 0; i < kFaultPoints; ++i)
        LoadPoint(rowText(kPointNames[i]), &gFaultPoints[i]);
    for (gFaultReadRows = 0; gFaultReadRows < kFaultReadRowsMax; ++gFaultReadRows) {
        char name[16];
        snprintf(name, sizeof(name), "read %u", gFaultReadRows + 1);
        const char *text = rowText(name);
        if (text == nullptr)
            return;
        if (!ParseReadRow(text, &gReads[gFaultReadRows]))
            gReads[gFaultReadRows].range = {0, 0};
    }
}

CimStatus FaultsReadStatus(const char *key, const char *property)
{
    if (property == nullptr)
        property = "";
    CimStatus status = kCimOk;
    for (u32 i = 0; i < gFaultReadRows; ++i) {
        const ReadRow &row = gReads[i];
        if (row.range.from == 0 || strcmp(row.key, key) != 0 || strcmp(row.property, property) != 0)
            continue;
        // Every row counts its reads, also while an earlier one answers.
        if (CountCall(row.range, &gReadCalls[i]) && status == kCimOk)
            status = row.status;
    }
    return status;
}
