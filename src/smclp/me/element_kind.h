// SPDX-License-Identifier: Apache-2.0
// element_kind.h -- what element kinds share: the common verbs, and properties out of a table.
//
// A kind lists its properties once, in the order in which they are shown, each with the function
// that produces its value. AddProperties takes the names, RefreshProperties the sources; nothing
// is built at run time.
#ifndef SMCLP_ME_ELEMENT_KIND_H
#define SMCLP_ME_ELEMENT_KIND_H

#include "smclp/me/me.h"

#include <span>

struct SensorKind;

// One property to be refreshed.
struct PropertyRequest {
    const char *argument;      // of the property's row
    u32 number;                // the instance addressed, 16 bits; 0: none
    char *value;               // where the value goes
    u32 length;                // bytes of value, at least kMeMinRefreshLength
    const SensorKind *sensor;  // null unless the kind's table names one
};

// Produces a property's value. Returns a MeResult; on kMeOk the value is written, NUL-terminated
// and cut to the length, otherwise it is left alone.
using PropertySource = u32 (*)(const PropertyRequest &request);

struct PropertyRow {
    const char *name;
    PropertySource source;
    const char *argument;  // what it means is the source's affair; null where it needs none
};

struct PropertyTable {
    const char *unit;  // under which the kind traces
    std::span<const PropertyRow> rows;
    const SensorKind *sensor = nullptr;
};

// Source: the argument itself.
u32 FromText(const PropertyRequest &request);

// Adds the names of all rows with empty values. Returns the first non-zero result of
// MeAddProperty, else 0.
u32 MeAddTableProperties(const PropertyTable &table, ManagedElement *element);

// The row of that name (case matters), or null; null for a null name.
const PropertyRow *MeFindPropertyRow(const PropertyTable &table, const char *name);

// The RefreshProperties slot of most kinds. A null element, name or value is traced, with the
// table's unit and `line`, and is kMeFailed; so, untraced, is a length below kMeMinRefreshLength.
// Otherwise `value` is cleared over its whole length and then the row's source decides; a name
// that is not in the table is kMeOk and leaves the value empty.
u32 MeRefreshFromTable(const PropertyTable &table, const ManagedElement *element, const char *name,
                       char *value, u32 length, int line);

// Adds cd, exit, help, show and version: what every kind but the root and the system begins with.
// Returns the first non-zero result of MeAddCommand, else 0.
u32 MeAddCommonVerbs(ManagedElement *element);

// Append to the text in `to` (`size` bytes in all), cutting what does not fit.
void AppendText(char *to, size_t size, const char *text);
// A list of texts as it is shown, { "a" "b" }: begin, any number of texts, end.
void AppendListBegin(char *to, size_t size);
void AppendListText(char *to, size_t size, const char *text);
void AppendListEnd(char *to, size_t size);

#endif
