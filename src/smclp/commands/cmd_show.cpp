// SPDX-License-Identifier: Apache-2.0
// cmd_show.cpp -- show: targets, properties and verbs of a target and of what is below it.
//
// A section is an element's path and up to three lists. How far down the walk goes is kept in one
// budget, imax, that the walk itself lowers; which elements come more than once follows from that
// and is part of what users see.
#include "smclp/commands/cmd_show.h"
#include "smclp/address.h"
#include "smclp/command_list.h"
#include "smclp/commands/commands.h"
#include "smclp/discovery.h"
#include "smclp/output.h"

#include <string.h>

ShowPara *gpShowPara;
u32 gWhatToShow;
i32 imax;
u32 bPrintFlag;

namespace
{

// Names are padded to these widths before " = " and "= ". Both stand as they are.
constexpr size_t kAllPadding = 23;
constexpr size_t kSelectedPadding = 20;

// Prints the section's path before its first list. A result other than 0 ends the list.
u32 SayHeader(const ManagedElement *element)
{
    char path[kSmclpPathSize] = "";
    const u32 result = SmclpReturnAbsolutePath(element, path, sizeof path);
    if (result != 0)
        return result;
    SmclpOutput("\n%s:", path);
    bPrintFlag = 0;
    return 0;
}

u32 SayHeaderIfDue(const ManagedElement *element)
{
    return bPrintFlag == 1 ? SayHeader(element) : 0;
}

// One child's line or lines. *first: no child has printed yet. The count is asked for once to see
// whether there is anything, then before every line: it may change in between.
u32 SayChild(const ManagedElement *element, const ManagedElement *child, bool *first)
{
    const bool counted = child->instanceTag != nullptr;
    if (counted && child->instanceTag() == 0)
        return 0;
    for (u32 i = 1; counted ? i <= child->instanceTag() : i == 1; ++i) {
        if (*first) {
            const u32 result = SayHeaderIfDue(element);
            if (result != 0)
                return result;
            SmclpOutput("\n  Targets:");
            *first = false;
        }
        if (counted)
            SmclpOutput("    %s%u", child->name, i);
        else
            SmclpOutput("    %s", child->name);
    }
    return 0;
}

}  // namespace

u32 SmclpShowOutputTargets(const ManagedElement *element)
{
    bool first = true;
    for (const ManagedElement *child = element->firstChild; child != nullptr;
         child = child->nextSibling) {
        const u32 result = SayChild(element, child, &first);
        if (result != 0)
            return result;
    }
    return 0;
}

u32 SmclpShowOutputVerbs(const ManagedElement *element)
{
    if (element->verbs == nullptr)
        return 0;
    if (bPrintFlag == 1)
        SayHeader(element);
    SmclpOutput("\n  Verbs:");
    for (const void *entry = element->verbs; entry != nullptr; entry = ListNext(entry)) {
        const SmclpCommand *command = SmclpGetCommandById(*static_cast<const u32 *>(entry));
        if (command != nullptr)
            SmclpOutput("    %s", command->name);
    }
    return 0;
}

namespace
{

MeProperty *ReturnProperty(ManagedElement *element, const char *name, MeProperty *previous)
{
    return MeReturnProperty(element, name, previous, gpShowPara->filterGiven,
                            gpShowPara->filterValue, gpShowPara->filterName);
}

// One line. separator: what stands between the padding and the value.
u32 SayProperty(const ManagedElement *element, const char *name, const MeProperty *property,
                size_t width, const char *separator, bool *first)
{
    if (property == nullptr || property->value[0] == '\0')
        return 0;
    if (*first) {
        const u32 result = SayHeaderIfDue(element);
        if (result != 0)
            return result;
        SmclpOutput("\n  Properties:");
        *first = false;
    }
    const size_t length = strlen(name);
    const int padding = length < width ? static_cast<int>(width - length) : 1;
    SmclpOutputNoNewline("    %s", name);
    SmclpOutputNoNewline("%*s", padding, "");
    SmclpOutput("%s%s", separator, property->value);
    return 0;
}

}  // namespace

u32 SmclpShowOutputPropAll(ManagedElement *element)
{
    bool first = true;
    for (const void *entry = MeProperties(element); entry != nullptr; entry = ListNext(entry)) {
        const char *name = static_cast<const MeProperty *>(entry)->name;
        const MeProperty *property = ReturnProperty(element, name, nullptr);
        const u32 result = SayProperty(element, name, property, kAllPadding, " = ", &first);
        if (result != 0)
            return result;
    }
    return 0;
}

u32 SmclpShowOutputPropSelective(ManagedElement *element)
{
    bool first = true;
    MeProperty *previous = nullptr;
    for (const void *entry = gpShowPara->selectedProperties; entry != nullptr;
         entry = ListNext(entry)) {
        const char *name = static_cast<const char *>(entry);  // as requested, in lower case
        previous = ReturnProperty(element, name, previous);
        const u32 result = SayProperty(element, name, previous, kSelectedPadding, "= ", &first);
        if (result != 0)
            return result;
    }
    return 0;
}

namespace
{

u32 SmclpShowOutputProperties(ManagedElement *element)
{
    switch (gpShowPara->displayWhat) {
    case kDisplayAllProperties:
        return SmclpShowOutputPropAll(element);
    case kDisplaySelectedProperties:
        return SmclpShowOutputPropSelective(element);
    default:
        return 0;
    }
}

}  // namespace

// One section.
u32 SmclpShowDisplayCalculatedTargets(ManagedElement *element)
{
    bPrintFlag = 1;
    switch (gWhatToShow) {
    case kTargets:
        return SmclpShowOutputTargets(element);
    case kProperties:
        return SmclpShowOutputProperties(element);
    case kVerbs:
        return SmclpShowOutputVerbs(element);
    case kEverything:
        SmclpShowOutputTargets(element);
        SmclpShowOutputProperties(element);
        return SmclpShowOutputVerbs(element);
    default:
        return 0;
    }
}

namespace
{

// The element at which a walk that starts here ends, by what is left of the budget.
ManagedElement *StopElement(ManagedElement *start)
{
    for (i32 depth = 1; depth < imax && start != nullptr && start->firstChild != nullptr; ++depth)
        start = start->firstChild;
    return start;
}

u32 WalkChildren(ManagedElement *element, const ManagedElement *stop)
{
    if (element->kindId == stop->kindId)
        return 0;
    return SmclpShowCalculateTargetsForDisplay(element->firstChild, stop);
}

u32 WalkInstances(ManagedElement *element, const ManagedElement *stop)
{
    const u16 remembered = element->instanceNumber;
    u32 result = 0;
    for (u32 i = 1; i <= element->instanceTag(); ++i) {
        element->instanceNumber = static_cast<u16>(i);
        SmclpShowDisplayCalculatedTargets(element);
        result = WalkChildren(element, stop);
    }
    element->instanceNumber = remembered;
    return result;
}

}  // namespace

// Each sibling's walk goes on to the siblings after it, so later siblings come again and again:
// deliberate.
u32 SmclpShowCalculateTargetsForDisplay(ManagedElement *element, const ManagedElement *stop)
{
    if (element == nullptr)
        return 0;
    if (element->nextSibling == nullptr)
        --imax;

    u32 result;
    if (element->instanceTag != nullptr) {
        result = WalkInstances(element, stop);
    } else {
        SmclpShowDisplayCalculatedTargets(element);
        result = WalkChildren(element, stop);
    }
    for (ManagedElement *sibling = element->nextSibling; sibling != nullptr;
         sibling = sibling->nextSibling)
        SmclpShowCalculateTargetsForDisplay(sibling, StopElement(sibling));
    return result;
}

u32 SmclpShowDisplay(ManagedElement *element, const SmclpCommandLine *)
{
    imax = static_cast<i32>(gpShowPara->levelValue == kLevelAll ? SMCLP_MAX_LEVEL
                                                                : gpShowPara->levelValue);
    ManagedElement *start = element;
    if (element->allInstances != 1) {
        SmclpShowDisplayCalculatedTargets(element);
        if (gpShowPara->levelValue == 1)
            return 0;
        --imax;
        start = element->firstChild;
    }
    SmclpShowCalculateTargetsForDisplay(start, StopElement(start));
    return 0;
}

namespace
{

// False: a combination that shows nothing.
bool ChooseWhatToShow()
{
    ShowPara *para = gpShowPara;
    const bool onlyLevel = para->displayGiven == 0 && para->levelGiven == 1;
    const bool plain =
        para->displayGiven == 0 && para->levelGiven == 0 && para->showRequest == kShowDisplay;
    if (para->displayGiven == 0 && !onlyLevel && !plain)
        return false;
    if (para->levelGiven == 0)
        para->levelValue = 1;
    if (para->displayGiven == 0 || para->displayWhat == kDisplayAll) {
        para->displayWhat = kDisplayAllProperties;
        gWhatToShow = kEverything;
        return true;
    }
    switch (para->displayWhat) {
    case kDisplayVerbs:
        gWhatToShow = kVerbs;
        return true;
    case kDisplayTargets:
        gWhatToShow = kTargets;
        return true;
    case kDisplayAllProperties:
    case kDisplaySelectedProperties:
        gWhatToShow = kProperties;
        return true;
    default:
        return false;
    }
}

u32 ShowTarget(ManagedElement *target, const SmclpCommandLine *record)
{
    const ShowPara *para = gpShowPara;
    if (para->showExamine == kSyntaxValid || para->showExamine == kSyntaxInvalid) {
        AnswerSyntax(para->showExamine == kSyntaxValid && target != nullptr);
        return 0;
    }
    if (target == nullptr) {
        SmclpErrorOutput(kErrorInvalidTarget);
        return kSmclpFailed;
    }
    if (para->showRequest == kShowVersion) {
        AnswerVersion();
        return 0;
    }
    if (para->showRequest == kShowHelp || para->showRequest == kShowHelpToo) {
        SmclpOutput("The SHOW command is used to display information about targets.");
        return 0;
    }
    return ChooseWhatToShow() ? SmclpShowDisplay(target, record) : 1;
}

}  // namespace

u32 SmclpCommandShow(SmclpSession *, ManagedElement *target, SmclpCommandLine *record,
                     void *parameters)
{
    bPrintFlag = 1;
    if (parameters == nullptr)
        return kSmclpFailed;
    gpShowPara = static_cast<ShowPara *>(parameters);
    const u32 result = ShowTarget(target, record);
    ReleaseSelectedProperties(gpShowPara);
    gpShowPara = nullptr;  // the dispatcher frees the parameters
    return result;
}
