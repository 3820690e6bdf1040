// SPDX-License-Identifier: Apache-2.0
// logs.h -- the two lower levels of the event log: log (the System Event Log, SEL) and record.
#ifndef SMCLP_ME_LOGS_H
#define SMCLP_ME_LOGS_H

#include "smclp/me/me.h"

// What words 11 and 15 of both elements hold; nothing reads them.
constexpr u32 kMeLogWord11 = 60;
constexpr u32 kMeLogWord15 = 1;

// Slots of the kinds (contracts: me.h).
u32 MeSelInstanceTag();  // 1
u32 MeSelAddVerbs(ManagedElement *element);
u32 MeSelAddProperties(ManagedElement *element);
// Clears the value first. An unknown name is kMeOk with an empty value.
u32 MeSelRefreshProperties(ManagedElement *element, const char *name, char *value, u32 length);

// How many records the log holds (its NumRecords, modulo 2^16); 0, traced, when that cannot be
// read. Only a failed Open is not traced.
u32 MeRecordInstanceTag();
u32 MeRecordAddVerbs(ManagedElement *element);
u32 MeRecordAddProperties(ManagedElement *element);
// MeRefreshFromRows (element_kind.h). The record's number is the element's instance number.
u32 MeRecordRefreshProperties(ManagedElement *element, const char *name, char *value, u32 length);

#endif
