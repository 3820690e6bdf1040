// SPDX-License-Identifier: Apache-2.0
// kind_checks.h -- one element kind inside a test.
#ifndef TESTS_SUPPORT_KIND_CHECKS_H
#define TESTS_SUPPORT_KIND_CHECKS_H

#include "smclp/discovery.h"
#include "smclp/me/kinds.h"
#include "support/fake_objmgr.h"
#include "support/test_shell.h"

#include <gtest/gtest.h>
#include <string.h>
#include <string>
#include <utility>
#include <vector>

// The element that discovery made of a constructor; null when it made none.
inline ManagedElement *ElementOf(MeConstructor constructor)
{
    const SmclpMeIdMapping *entry = pMeMapping;
    for (const MeConstructor *row = TestShell::Kinds(); *row != nullptr && entry != nullptr;
         ++row) {
        if (*row == constructor)
            return entry->element;
        entry = entry->next;
    }
    return nullptr;
}

// What a refresh returned and wrote, and what it traced.
struct Refreshed {
    u32 result;
    std::string value;
    bool operator==(const Refreshed &) const = default;
};
inline void PrintTo(const Refreshed &refreshed, std::ostream *out)
{
    *out << refreshed.result << " \"" << refreshed.value << '"';
}

// A shell with the whole tree, and one kind of it. The value buffer is full of other text before
// every refresh, and is followed by bytes that must not change.
class KindTest
{
public:
    explicit KindTest(MeConstructor constructor) : element(ElementOf(constructor))
    {
        if (element == nullptr)
            abort();
        om.ClearLog();
        traces.Clear();
    }

    Refreshed Get(const char *property, u16 instance = 1, u32 length = kMeValueSize)
    {
        char buffer[kMeValueSize + 16];
        memset(buffer, 'x', sizeof buffer);
        if (length > kMeValueSize)
            abort();
        element->instanceNumber = instance;
        const u32 result = element->refreshProperties(element, property, buffer, length);
        for (size_t i = length; i < sizeof buffer; ++i)
            EXPECT_EQ(buffer[i], 'x') << property << " wrote at " << i << " of " << length;
        const size_t used = strnlen(buffer, length);
        if (length >= kMeMinRefreshLength && element->kindId != kMeSystem) {  // it does not clear
            EXPECT_LT(used, length) << property << " has no end";
        }
        EXPECT_EQ(om.openConnections, 0) << property;
        return {result, std::string(buffer, used)};
    }

    // Every property of the list has this value, with result 0, and there are no others.
    void ExpectValues(const std::vector<std::pair<const char *, const char *>> &expected,
                      u16 instance)
    {
        std::string names;
        for (const auto &[name, value] : expected) {
            EXPECT_EQ(Get(name, instance), (Refreshed{0, value})) << name;
            names += (names.empty() ? "" : " ") + std::string(name);
        }
        EXPECT_EQ(names, PropertiesOf(element));
    }

    FakeObjMgr om;
    TraceCapture traces;
    TestShell shell;
    ManagedElement *element;
};

struct KindFacts {
    const char *name;
    const char *description;
    u32 kindId;
    u32 parentKindId;
    const char *verbs;
    const char *properties;
};

// The kind's constructor, AddVerbs and AddProperties made this of the element.
inline void ExpectKind(MeConstructor constructor, const KindFacts &facts)
{
    KindTest kind(constructor);
    ManagedElement *element = kind.element;
    EXPECT_STREQ(element->name, facts.name);
    EXPECT_STREQ(element->description, facts.description);
    EXPECT_EQ(element->kindId, facts.kindId);
    EXPECT_EQ(element->parentKindId, facts.parentKindId);
    EXPECT_EQ(VerbsOf(element), facts.verbs);
    EXPECT_EQ(PropertiesOf(element), facts.properties);
    for (const void *entry = MeProperties(element); entry != nullptr; entry = ListNext(entry))
        EXPECT_STREQ(static_cast<const MeProperty *>(entry)->value, "");
}

// Which slots are filled: instance tag, verbs, properties, refresh, method.
inline std::string SlotsOf(const ManagedElement *element)
{
    std::string slots;
    slots += element->instanceTag != nullptr ? 'I' : '-';
    slots += element->addVerbs != nullptr ? 'V' : '-';
    slots += element->addProperties != nullptr ? 'P' : '-';
    slots += element->refreshProperties != nullptr ? 'R' : '-';
    slots += element->method != nullptr ? 'M' : '-';
    return slots;
}

// The names of an element's children, in order, joined by blanks.
inline std::string ChildrenOf(const ManagedElement *element)
{
    std::string names;
    for (const ManagedElement *at = element->firstChild; at != nullptr; at = at->nextSibling)
        names += (names.empty() ? "" : " ") + std::string(at->name);
    return names;
}

using Lines = std::vector<std::string>;

#endif
