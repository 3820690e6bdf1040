// SPDX-License-Identifier: Apache-2.0
// hand_tree.h -- target trees that a test builds by hand, with slots that answer as told and count.
#ifndef TESTS_SUPPORT_HAND_TREE_H
#define TESTS_SUPPORT_HAND_TREE_H

#include "platform/memmgr.h"
#include "smclp/command_table.h"
#include "smclp/discovery.h"
#include "smclp/dispatch.h"
#include "smclp/me/me.h"
#include "smclp/session.h"
#include "support/test_shell.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <list>
#include <map>
#include <string>
#include <vector>

// Pools, command list and a bare root, without the kinds of meTable; SMCLP_MAX_LEVEL is 14. The
// session's current target is the root. One at a time, and not beside a TestShell.
class HandTree
{
public:
    HandTree()
    {
        gTree = this;
        ResetShellGlobals();
        MemMgrAddPool(kManagedElementSize, 8);
        MemMgrAddPool(kSmclpCommandSize, 16);
        MemMgrAddPool(kSmclpCommandLinkSize, 128);
        MemMgrAddPool(kMeCommandIdSize, 256);
        MemMgrAddPool(kMePropertySize, 64);
        MemMgrAddPool(32, 256);
        SmclpCommandListInit();
        SMCLP_MAX_LEVEL = 14;
        root = New(nullptr, "");
        root->kindId = kMeRoot;
        session.currentTarget = root;
    }
    ~HandTree()
    {
        EXPECT_EQ(pCmdPara, nullptr);
        EXPECT_EQ(NamesInUse(), 0u) << "selected names not released";
        ResetShellGlobals();
        gTree = nullptr;
    }
    HandTree(const HandTree &) = delete;
    HandTree &operator=(const HandTree &) = delete;

    // A new last child of a kind of its own, without slots, verbs and properties.
    ManagedElement *Add(ManagedElement *parent, const char *name) { return New(parent, name); }
    // The same, made by a real kind's constructor.
    ManagedElement *AddKind(ManagedElement *parent, MeConstructor construct)
    {
        ManagedElement *element = New(parent, "");
        construct(element);
        SmclpPopulateManagedElement(element);
        return element;
    }

    void Verbs(ManagedElement *element, std::initializer_list<u32> ids)
    {
        for (const u32 id : ids)
            EXPECT_EQ(MeAddCommand(element, id), 0u);
    }

    // Gives the kind numbered instances: each call of the count answers the next number, and the
    // last one from then on. At most eight kinds.
    void Count(ManagedElement *element, std::vector<u32> answers)
    {
        size_t slot = 0;
        while (slot < counted_.size() && counted_[slot].element != element)
            ++slot;
        if (slot == counted_.size())
            counted_.push_back({element, {}, 0});
        counted_[slot].answers = std::move(answers);
        counted_[slot].calls = 0;
        static constexpr MeInstanceTagFunction kTags[] = {Tag<0>, Tag<1>, Tag<2>, Tag<3>,
                                                          Tag<4>, Tag<5>, Tag<6>, Tag<7>};
        element->instanceTag = kTags[slot];
    }
    u32 CountCalls(const ManagedElement *element) const
    {
        for (const Counted &counted : counted_) {
            if (counted.element == element)
                return counted.calls;
        }
        return 0;
    }

    // Adds a property that a refresh fills with `value`.
    void Property(ManagedElement *element, const std::string &name, const std::string &value)
    {
        EXPECT_EQ(MeAddProperty(element, name.c_str(), ""), 0u);
        element->refreshProperties = Refresh;
        SetValue(element, name, value);
    }
    // What a refresh writes from now on; instance 0: for every instance without a value of its own.
    void SetValue(ManagedElement *element, const std::string &name, const std::string &value,
                  u16 instance = 0)
    {
        values_[{element, name, instance}] = value;
    }
    // Refreshes fail and write nothing.
    void RemoveValue(ManagedElement *element, const std::string &name)
    {
        values_.erase({element, name, u16{0}});
    }

    // Gives the kind a method that answers `result`.
    void Method(ManagedElement *element, u32 result)
    {
        element->method = CallMethod;
        methodResults_[element] = result;
    }

    // Runs a line through the dispatcher.
    u32 Run(const std::string &line)
    {
        std::vector<char> buffer(512, '\0');
        line.copy(buffer.data(), buffer.size() - 1);
        OutputCapture capture;
        const u32 result = SmclpExecuteCommand(&session, buffer.data());
        output = capture.Take();
        return result;
    }
    // The paths of the sections in the output, in order, joined by blanks.
    std::string Sections() const
    {
        std::string paths;
        size_t start = 0;
        for (size_t end; (end = output.find('\n', start)) != std::string::npos; start = end + 1) {
            if (output[start] == '/' && output[end - 1] == ':')
                paths += (paths.empty() ? "" : " ") + output.substr(start, end - start - 1);
        }
        return paths;
    }
    // Blocks in use of the pool that selected names come from.
    static u32 NamesInUse()
    {
        MemMgrPoolUse use;
        for (u32 i = 0; MemMgrGetPoolUse(i, &use); ++i) {
            if (use.blockSize == 32)
                return use.used;
        }
        return 0;
    }

    ManagedElement *root;
    SmclpSession session = {};
    std::string output;                     // of the last Run
    std::vector<std::string> refreshCalls;  // "name property size"
    std::vector<std::string> methodCalls;   // "name operation zero1 zero2"

private:
    struct Counted {
        ManagedElement *element;
        std::vector<u32> answers;
        u32 calls;
    };
    struct Key {
        const ManagedElement *element;
        std::string name;
        u16 instance;
        auto operator<=>(const Key &) const = default;
    };

    ManagedElement *New(ManagedElement *parent, const char *name)
    {
        elements_.push_back({});
        ManagedElement *element = &elements_.back();
        MeSetName(element, name);
        element->kindId = 100 + static_cast<u32>(elements_.size());
        element->parent = parent;
        if (parent == nullptr)
            return element;
        ManagedElement **end = &parent->firstChild;
        while (*end != nullptr)
            end = &(*end)->nextSibling;
        *end = element;
        return element;
    }
    template <size_t Slot> static u32 Tag()
    {
        Counted &counted = gTree->counted_[Slot];
        const size_t at = counted.calls++;
        return at < counted.answers.size() ? counted.answers[at] : counted.answers.back();
    }
    static u32 Refresh(ManagedElement *element, const char *name, char *value, u32 length)
    {
        gTree->refreshCalls.push_back(std::string(element->name) + " " + name + " " +
                                      std::to_string(length));
        auto found = gTree->values_.find({element, name, element->instanceNumber});
        if (found == gTree->values_.end())
            found = gTree->values_.find({element, name, 0});
        if (found == gTree->values_.end())
            return 1;
        value[found->second.copy(value, length - 1)] = '\0';
        return 0;
    }
    static u32 CallMethod(ManagedElement *element, char *operation, u32 zero1, u32 zero2)
    {
        gTree->methodCalls.push_back(std::string(element->name) + " " + operation + " " +
                                     std::to_string(zero1) + " " + std::to_string(zero2));
        return gTree->methodResults_[element];
    }

    static inline HandTree *gTree = nullptr;
    std::list<ManagedElement> elements_;
    std::vector<Counted> counted_;
    std::map<Key, std::string> values_;
    std::map<const ManagedElement *, u32> methodResults_;
};

// Sets or removes (null) an environment variable for as long as it lives.
class ScopedEnv
{
public:
    ScopedEnv(const char *name, const char *value) : name_(name)
    {
        const char *old = getenv(name);
        had_ = old != nullptr;
        old_ = had_ ? old : "";
        Set(value);
    }
    ~ScopedEnv() { Set(had_ ? old_.c_str() : nullptr); }
    ScopedEnv(const ScopedEnv &) = delete;
    ScopedEnv &operator=(const ScopedEnv &) = delete;

private:
    void Set(const char *value)
    {
        if (value != nullptr)
            setenv(name_, value, 1);
        else
            unsetenv(name_);
    }
    const char *name_;
    bool had_;
    std::string old_;
};

constexpr char kSuccessLine[] = "SUCCESS : The command syntax is valid.\n";
constexpr char kFailedLine[] =
    "FAILED  : Command syntax may be invalid or target may be invalid.\n";
constexpr char kVersionLine[] = "version 1.0\n";
constexpr char kInvalidSyntaxLine[] = "ERROR: Invalid syntax specified.\n";
constexpr char kNotSupportedLine[] = "ERROR: Command not supported.\n";
constexpr char kInvalidArgumentLine[] = "ERROR: Invalid argument specified.\n";
constexpr char kInvalidTargetLine[] = "ERROR: Invalid target specified.\n";
constexpr char kOptionMissingLine[] = "ERROR: Required option is missing.\n";
constexpr char kNoPrivilegeLine[] = "ERROR: Insufficient user privileges to perform operation.\n";

#endif
