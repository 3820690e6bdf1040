// SPDX-License-Identifier: Apache-2.0
// discovery.h -- builds the tree of targets at start-up and finds elements by kind.
#ifndef SMCLP_DISCOVERY_H
#define SMCLP_DISCOVERY_H

#include "smclp/me/me.h"
#include "smclp/results.h"

constexpr u32 kSmclpMeIdMappingSize = 12;  // on the controller

struct SmclpMeIdMapping {
    SmclpMeIdMapping *next;
    ManagedElement *element;
    u32 kindId;
};
static_assert(sizeof(void *) != 4 || sizeof(SmclpMeIdMapping) == kSmclpMeIdMappingSize,
              "mapping entries come from the pool of 12-byte blocks");

// The mapped elements in the order of meTable; null before discovery.
extern SmclpMeIdMapping *pMeMapping;

// The depth that "all levels" stands for: 1 plus the number of elements that have children (not
// the depth of the tree; deliberate). 1 before discovery.
extern u32 SMCLP_MAX_LEVEL;

// Builds the tree from meTable: one element per kind, linked under the element of its parent
// kind, with its verbs; properties are added when somebody looks at them (MeProperties). A kind
// that cannot be allocated, has no name or has no ids is left out. Returns kSmclpOk; kSmclpFailed
// when meTable is empty or not even the first element can be created.
u32 SmclpDiscoverElements();
// The same from another table, which a null ends.
u32 SmclpDiscoverFrom(const MeConstructor *table);

// Lets the kind add its verbs, then its properties. Returns kSmclpOk, or kSmclpBadParameter
// for null. Discovery leaves the properties for later, so nothing in the shell calls it: it belongs
// to the interface of the model, for elements made by hand.
u32 SmclpPopulateManagedElement(ManagedElement *element);

// Appends a mapping. Returns kSmclpOk, or kSmclpNoMemory when the pool is exhausted.
u32 SmclpAddMeIdMapping(ManagedElement *element, u32 kindId);

// The first element mapped with that kind id, or null. kMeKindUnset and kMeKindNone yield null.
ManagedElement *SmclpGetMeById(u32 kindId);

// The root: the first mapped element with a kind id. Null before discovery.
ManagedElement *SmclpGetRootElement();

#endif
