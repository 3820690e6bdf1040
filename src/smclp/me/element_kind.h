// SPDX-License-Identifier: Apache-2.0
// element_kind.h -- what element kinds share: a record that says what a kind is, and all that
// follows from it.
//
// A kind lists its properties once, in the order in which they are shown, each with the function
// that produces its value. AddProperties takes the names, RefreshProperties the sources; nothing
// is built at run time.
#ifndef SMCLP_ME_ELEMENT_KIND_H
#define SMCLP_ME_ELEMENT_KIND_H

#include "smclp/me/me.h"
#include "smclp/verbs.h"

#include <span>

struct SensorKind;

// One property to be refreshed.
struct PropertyRequest {
    const char *argument;      // of the property's row
    u32 number;                // the instance addressed, 16 bits; 0: none
    char *value;               // where the value goes
    u32 length;                // bytes of value, at least kMeMinRefreshLength
    const SensorKind *sensor;  // of the kind; null: it is no sensor
};

// Produces a property's value. Returns a MeResult; on kMeOk the value is written, NUL-terminated
// and cut to the length, otherwise it is left alone.
using PropertySource = u32 (*)(const PropertyRequest &request);

struct PropertyRow {
    const char *name;
    PropertySource source;
    const char *argument;  // what it means is the source's affair; null where it needs none
};

// What every kind begins with but the system: cd, exit, help, show and version.
inline constexpr u32 kMeCommonVerbs[] = {kCommandCd, kCommandExit, kCommandHelp, kCommandShow,
                                         kCommandVersion};
// The same and delete.
inline constexpr u32 kMeCommonVerbsAndDelete[] = {kCommandCd,   kCommandExit,    kCommandHelp,
                                                  kCommandShow, kCommandVersion, kCommandDelete};

// What a kind of element is. Its constructor and its slots say nothing else.
struct ElementKind {
    const char *unit;  // under which the kind traces: the name of its file
    const char *name;
    const char *description;
    u32 kindId;                                   // a MeKindId
    u32 parentKindId;                             // of the kind it hangs under
    std::span<const u32> verbs = kMeCommonVerbs;  // command ids, in the order listed
    std::span<const PropertyRow> rows = {};
    const SensorKind *sensor = nullptr;  // what the sources need to know of a sensor kind
};

// Source: the argument itself.
u32 FromText(const PropertyRequest &request);

// Sets an element's name, description and ids; no instance is selected then.
void MeFillIn(const ElementKind &kind, ManagedElement *element);

// Add the kind's verbs, or the names of all its rows with empty values. Return the first result of
// MeAddCommand or MeAddProperty that is not kMeOk, else kMeOk.
u32 MeAddKindVerbs(const ElementKind &kind, ManagedElement *element);
u32 MeAddKindProperties(const ElementKind &kind, ManagedElement *element);

// The row of that name (case matters), or null; null for a null name.
const PropertyRow *MeFindPropertyRow(const ElementKind &kind, const char *name);

// The RefreshProperties slot of most kinds. A null element, name or value is traced, with the
// kind's unit and `line`, and is kMeFailed; so, untraced, is a length below kMeMinRefreshLength.
// Otherwise `value` is cleared over its whole length and then the row's source decides; a name
// that is not among the rows is kMeOk and leaves the value empty.
u32 MeRefreshFromRows(const ElementKind &kind, const ManagedElement *element, const char *name,
                      char *value, u32 length, int line);

// Define the slots of a kind out of its ElementKind. `prefix`: what the names of its slots begin
// with.
#define ME_ONE_INSTANCE(prefix) \
    u32 prefix##InstanceTag()   \
    {                           \
        return 1;               \
    }
#define ME_ADD_VERBS(prefix, kind)                \
    u32 prefix##AddVerbs(ManagedElement *element) \
    {                                             \
        return MeAddKindVerbs(kind, element);     \
    }
#define ME_ADD_PROPERTIES(prefix, kind)                \
    u32 prefix##AddProperties(ManagedElement *element) \
    {                                                  \
        return MeAddKindProperties(kind, element);     \
    }
#define ME_REFRESH_PROPERTIES(prefix, kind)                                               \
    u32 prefix##RefreshProperties(ManagedElement *element, const char *name, char *value, \
                                  u32 length)                                             \
    {                                                                                     \
        return MeRefreshFromRows(kind, element, name, value, length, __LINE__);           \
    }
// Of a constructor's body: fills the element in and sets the four slots that most kinds have.
#define ME_FILL_IN(prefix, kind, element)                         \
    do {                                                          \
        MeFillIn(kind, element);                                  \
        (element)->addProperties = prefix##AddProperties;         \
        (element)->addVerbs = prefix##AddVerbs;                   \
        (element)->instanceTag = prefix##InstanceTag;             \
        (element)->refreshProperties = prefix##RefreshProperties; \
    } while (false)

// A kind that holds others: one instance, no properties. Defines its constructor and its slots.
#define ME_COLLECTION_KIND(constructor, prefix, kind) \
    ME_ONE_INSTANCE(prefix)                           \
    ME_ADD_VERBS(prefix, kind)                        \
    void constructor(ManagedElement *element)         \
    {                                                 \
        MeFillIn(kind, element);                      \
        element->addVerbs = prefix##AddVerbs;         \
        element->instanceTag = prefix##InstanceTag;   \
    }

// A kind with one instance and properties out of its rows.
#define ME_SINGLE_KIND(prefix, kind)       \
    ME_ONE_INSTANCE(prefix)                \
    ME_ADD_VERBS(prefix, kind)             \
    ME_ADD_PROPERTIES(prefix, kind)        \
    ME_REFRESH_PROPERTIES(prefix, kind)    \
    void prefix(ManagedElement *element)   \
    {                                      \
        ME_FILL_IN(prefix, kind, element); \
    }

// Append to the text in `to` (`size` bytes in all), cutting what does not fit.
void AppendText(char *to, size_t size, const char *text);
// A list of texts as it is shown, { "a" "b" }: begin, any number of texts, end.
void AppendListBegin(char *to, size_t size);
void AppendListText(char *to, size_t size, const char *text);
void AppendListEnd(char *to, size_t size);

#endif
