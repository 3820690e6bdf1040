// SPDX-License-Identifier: Apache-2.0
// me.h -- managed elements: the nodes of the target tree.
//
// There is one element per kind, not per instance: the element stands for all instances of its
// kind and holds the number of the one being addressed. A kind is a constructor in meTable that
// fills in name, description, ids and function slots; discovery builds the tree from them.
#ifndef SMCLP_ME_ME_H
#define SMCLP_ME_ME_H

#include "platform/list.h"
#include "platform/types.h"

struct ManagedElement;

// The kind ids that the tree itself needs to know; kinds.h has the others.
constexpr u32 kMeRoot = 1;
constexpr u32 kMeKindUnset = 2;
constexpr u32 kMeKindNone = 3;  // the parent of the root

// Result codes of the slots and of the functions below.
enum MeResult : u32 {
    kMeOk = 0,
    kMeFailed = 1,        // no interface, no connection, CIM error, unknown method
    kMeBadArgument = 2,   // null element or text, unknown verb name or property value
    kMeOutOfMemory = 3,   // of MeAddProperty
    kMeNoPrivilege = 16,  // ZORPRIV missing or unusable, or refused by the object manager
    kMeHostOff = 17,      // cannot be stopped, reset or cycled
    kMeHostOn = 18,       // cannot be started
};

constexpr u32 kMeValueSize = 256;        // bytes of a value, its NUL included
constexpr u32 kMeMinRefreshLength = 65;  // shortest value buffer that a kind writes into
constexpr u32 kMePropertySize = 320;
constexpr u32 kMeCommandIdSize = 4;
constexpr u32 kManagedElementSize = 400;

struct MeProperty {
    char name[64];             // NUL-terminated, as is the value
    char value[kMeValueSize];  // as last refreshed
};
static_assert(sizeof(MeProperty) == kMePropertySize, "properties come from the 320-byte pool");

// Adds the kind's verbs or properties. Returns the first non-zero result, else 0.
using MeAddFunction = u32 (*)(ManagedElement *element);
// How many instances of the kind exist now.
using MeInstanceTagFunction = u32 (*)();
// Writes the current value of the property `name` (case matters), NUL-terminated, into `value`
// (`length` bytes, at least kMeMinRefreshLength, otherwise kMeFailed and nothing written). A
// MeResult; what is in `value` after a failure is the kind's affair.
using MeRefreshFunction = u32 (*)(ManagedElement *element, const char *name, char *value,
                                  u32 length);
// Carries out a named operation. `operation` may be changed in place; the two words are 0. A
// MeResult.
using MeMethodFunction = u32 (*)(ManagedElement *element, char *operation, u32 zero1, u32 zero2);

struct ManagedElement {
    ManagedElement *parent;  // null for the root
    ManagedElement *second;  // nothing sets it; help looks whether it leads to a list of verbs
    ManagedElement *firstChild;
    ManagedElement *nextSibling;
    char name[64];          // NUL-terminated; empty for the root
    char description[256];  // NUL-terminated
    u32 kindId;
    u32 parentKindId;
    u32 word9;   // discovery presets 0; nothing reads it
    u32 word10;  // discovery presets 1; nothing reads it
    u32 word11;  // 60 for the log and its records; nothing reads it
    u32 word12;
    u16 instanceNumber;                   // the instance addressed, from 1; 0: none
    u32 allInstances;                     // 1: the address named the kind with "*"
    u32 word15;                           // 1 for the log and its records; nothing reads it
    ListHead verbs;                       // of u32 command ids, in the order added
    ListHead properties;                  // of MeProperty, in the order added; see MeProperties
    MeAddFunction addProperties;          // may be null
    MeAddFunction addVerbs;               // may be null
    MeInstanceTagFunction instanceTag;    // null: addressed without a number
    MeRefreshFunction refreshProperties;  // may be null
    MeMethodFunction method;              // null: no operations
};
static_assert(sizeof(void *) != 4 || sizeof(ManagedElement) == kManagedElementSize,
              "elements come from the pool of 400-byte blocks");

// Fills in one kind. Gets a cleared element.
using MeConstructor = void (*)(ManagedElement *element);

// The kinds, in the order in which discovery builds the tree; a null ends the table.
extern const MeConstructor meTable[];

// A cleared element, or null when the pool is exhausted.
ManagedElement *MeCreate();

// Gives an element back to its pool. Returns kMeOk, or kMeBadArgument for null. Elements live until
// the process ends, so nothing in the shell calls it: it is the counterpart of MeCreate.
u32 MeDestroy(ManagedElement *element);

// A new element as the last child of `parent`. Null, traced, for a null name or one of 64
// characters or more and when the pool is exhausted; null for a null parent. Discovery links
// elements itself, so nothing in the shell calls it: it belongs to the interface of the model.
ManagedElement *MeCreateChild(ManagedElement *parent, const char *name);

// Set the name (at most 63 characters) or the description (at most 255). Return kMeOk, or
// kMeFailed for a null or longer text, which leaves the element as it was.
u32 MeSetName(ManagedElement *element, const char *name);
u32 MeSetDesc(ManagedElement *element, const char *text);

// Appends a command id. Returns kMeOk; kMeBadArgument for a null element or when the pool is
// exhausted (traced); kMeFailed while the command list is empty.
u32 MeAddCommand(ManagedElement *element, u32 commandId);
// Appends several. Returns the first result that is not kMeOk, else kMeOk.
u32 MeAddCommands(ManagedElement *element, const u32 *commandIds, u32 count);

// Whether the element lists the command.
bool MeHasCommand(const ManagedElement *element, u32 commandId);

// Appends a property. Returns kMeOk; kMeBadArgument for a null element, name or value, a name of 64
// or a value of 256 characters or more; kMeOutOfMemory when the pool is exhausted.
u32 MeAddProperty(ManagedElement *element, const char *name, const char *value);

// The properties of an element, which is not null: MeProperty entries in the order added, null
// where it has none. The kind adds them here, at the first look: a run looks at few kinds, and the
// entries of all are fourteen pages of memory that every start of the shell would have to touch.
const void *MeProperties(ManagedElement *element);

// Refreshes one property and returns its entry, whose value is then current; the entry belongs to
// the element and is overwritten by the next refresh. An entry with an empty value is not shown.
//
// name: compared without regard to case. previous: not used. filterGiven non-zero: the property
// `filterName` must have the value `filterValue`, both without regard to case; otherwise the last
// entry of the list is returned, emptied. The same entry comes back when no property has the
// name. Null for a null element or name, a name of 64 characters or more, and an element without
// properties.
MeProperty *MeReturnProperty(ManagedElement *element, const char *name, MeProperty *previous,
                             u32 filterGiven, const char *filterValue, const char *filterName);

#endif
