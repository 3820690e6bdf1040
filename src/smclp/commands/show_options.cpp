// SPDX-License-Identifier: Apache-2.0
// show_options.cpp -- the parser of show.
//
// When the parser refuses a line, the names that it had taken by then are released here; otherwise
// the executor releases them.
#include "smclp/commands/show_options.h"

#include "platform/str.h"
#include "smclp/command_list.h"
#include "smclp/commands/commands.h"
#include "smclp/discovery.h"

#include <stdlib.h>
#include <string.h>

struct arg_lit *show;
struct arg_str *display;
struct arg_str *level;
u32 numoptShow;

namespace
{

constexpr u32 kOptionCount = 8;
constexpr int kMaxErrors = 20;
constexpr size_t kPropertyTextMax = 128;
constexpr char kPropertiesWord[] = "properties";

// A result of a step that lets the parser go on with the next.
constexpr u32 kGoOn = ~0u;

constexpr OptionRewrite kRewrites[] = {
    {"-all", "-a"},     {"-display", "-d"}, {"-d ", "--d "}, {"-level", "-l"},  {"-l ", "--l "},
    {"-examine", "-x"}, {"-version", "-v"}, {"-help", "-h"}, {"-output", "-o"}, {"-o ", "--o "},
};

bool Examined()
{
    return examine->count > 0;
}

// A fault under -examine is said by the answer, otherwise by the parser's result.
u32 Fault(ShowPara *para, u32 result)
{
    if (!Examined())
        return result;
    para->showExamine = kSyntaxInvalid;
    return 0;
}

// The value of an option is none of those that it can have.
u32 FaultOfValue(ShowPara *para, const char *value)
{
    if (StrEqual(value, "-x")) {  // the option swallowed a rewritten -examine
        para->showExamine = kSyntaxInvalid;
        return 0;
    }
    const bool missing = *value == '\0' || StrEqual(value, " ");
    return Fault(para, missing ? kParseValueMissing : kParseBadValue);
}

// The operand. *refused: the syntax is invalid, but -examine lets the parser go on.
u32 TakeShowTarget(ShowPara *para, i32 errors, SmclpCommandLine *record, bool *refused)
{
    if (errors == 0)
        return kGoOn;
    if (cmd_end->argval[0] == nullptr)
        return Fault(para, kParseUnexpected);
    if (errors > 1)
        return kGoOn;
    const u32 result = TakeTarget(record);
    if (result != 0)
        return result;
    if (record->target[0] == '-') {
        if (!Examined())
            return kParseTargetIsOption;
        *refused = true;
    }
    return kGoOn;
}

bool BeginsWith(const char *text, const char *word)
{
    return strncmp(text, word, strlen(word)) == 0;
}

u32 SetDisplay(ShowPara *para, u32 what)
{
    para->displayGiven = 1;
    para->displayWhat = what;
    return kGoOn;
}

u32 TakeDisplay(ShowPara *para)
{
    if (display->count == 0)
        return kGoOn;
    const char *value = display->sval[0];
    if (StrEqual(value, "all"))
        return SetDisplay(para, kDisplayAll);
    if (StrEqual(value, "verbs"))
        return SetDisplay(para, kDisplayVerbs);
    if (StrEqual(value, "targets"))
        return SetDisplay(para, kDisplayTargets);
    if (!BeginsWith(value, kPropertiesWord))
        return FaultOfValue(para, value);

    if (strlen(value) >= kPropertyTextMax)
        return kParseBadValue;  // also under -examine: deliberate
    if (StrEqual(value, kPropertiesWord))
        return SetDisplay(para, kDisplayAllProperties);
    const char *list = value + strlen(kPropertiesWord);
    if (*list != '=')
        return FaultOfValue(para, value);
    SetDisplay(para, kDisplaySelectedProperties);
    char text[kPropertyTextMax];
    StrCopy(text, list + 1, sizeof text);
    const u32 result = SmclpParseProperties(text, para, static_cast<u32>(examine->count));
    return result != 0 ? result : kGoOn;
}

// The level that the text spells, or 0 for none that there is.
u32 LevelNumber(const char *text)
{
    if (!StrIsNumeric(text))
        return 0;
    while (*text == '0')
        ++text;
    if (strlen(text) > 9)  // could wrap round to a level
        return 0;
    const u32 number = StrToUINT32(text);
    return number <= SMCLP_MAX_LEVEL ? number : 0;
}

u32 TakeLevel(ShowPara *para)
{
    if (level->count == 0)
        return kGoOn;
    const char *value = level->sval[0];
    const u32 number = StrEqual(value, "all") ? kLevelAll : LevelNumber(value);
    if (number == 0)
        return FaultOfValue(para, value);
    para->levelGiven = 1;
    para->levelValue = number;
    return kGoOn;
}

u32 TakeRequest(ShowPara *para, i32 errors, bool targetRefused)
{
    if (show->count > 0)
        para->showRequest = kShowDisplay;
    if (help->count > 0)
        para->showRequest = kShowHelp;
    if (version->count > 0)
        para->showRequest = kShowVersion;

    if (Examined()) {
        para->showExamine = errors < 2 && !targetRefused ? kSyntaxValid : kSyntaxInvalid;
        return 0;
    }
    if (errors >= 2)
        return kParseUnexpected;
    if (help->count == 0 && level->count == 0 && display->count == 0 && version->count == 0)
        para->showRequest = kShowDisplay;
    return 0;
}

u32 TakeShowOptions(ShowPara *para, i32 errors, SmclpCommandLine *record)
{
    bool targetRefused = false;
    u32 result = TakeShowTarget(para, errors, record, &targetRefused);
    if (result == kGoOn)
        result = TakeDisplay(para);
    if (result == kGoOn)
        result = TakeLevel(para);
    if (result == kGoOn && !TakeOutputFormat(&para->formatGiven, &para->formatXml))
        result = Fault(para, kParseBadValue);
    if (result == kGoOn)
        result = TakeRequest(para, errors, targetRefused);
    return result;
}

// The option table is built and the line short enough.
u32 ParseShowLine(char *line, SmclpCommandLine *record)
{
    auto *para = static_cast<ShowPara *>(calloc(1, sizeof(ShowPara)));
    pCmdPara = para;
    if (para == nullptr)
        return kParseNoMemory;
    if (!RewriteOptions(line, kRewrites, sizeof kRewrites / sizeof *kRewrites))
        return kParseUnexpected;
    if (argtable == nullptr || arg_nullcheck(argtable) != 0)
        return kParseNotPossible;

    OptionWords split;
    const i32 errors = ParseWords(line, &split, argtable);
    const u32 result = errors < 0 ? u32{kParseUnexpected} : TakeShowOptions(para, errors, record);
    if (result != kParseOk)
        ReleaseSelectedProperties(para);
    return result;
}

// One item of a property list.
enum class Item { Name, Filter, Bad, NoMemory };

Item TakeFilter(const char *text, const char *equals, ShowPara *para)
{
    const size_t nameLength = static_cast<size_t>(equals - text);
    const char *value = equals + 2;
    if (para->filterGiven != 0 || nameLength >= sizeof para->filterName ||
        strlen(value) >= sizeof para->filterValue)
        return Item::Bad;
    StrCopy(para->filterName, text, nameLength + 1);
    StrCopy(para->filterValue, value, sizeof para->filterValue);
    para->filterGiven = 1;
    return Item::Filter;
}

Item TakeItem(const char *text, ShowPara *para)
{
    if (*text == '\0')
        return Item::Bad;
    if (strstr(text, "==") != nullptr)
        return TakeFilter(text, strchr(text, '='), para);
    if (strlen(text) >= kSelectedNameSize)
        return Item::Bad;
    auto *name =
        static_cast<char *>(ListAllocateObject(&para->selectedProperties, kSelectedNameSize));
    if (name == nullptr)
        return Item::NoMemory;
    StrCopy(name, text, kSelectedNameSize);
    return Item::Name;
}

u32 FaultOfList(ShowPara *para, u32 examineCount, u32 result)
{
    if (examineCount == 0)
        return result;
    para->showExamine = kSyntaxInvalid;
    return 0;
}

}  // namespace

void **SmclpShowCommandInit()
{
    numoptShow = kOptionCount;
    auto **table = static_cast<void **>(calloc(kOptionCount, sizeof(void *)));
    if (table == nullptr)
        return nullptr;
    u32 i = 0;
    table[i++] = examine = arg_lit0("x", nullptr, "examine");
    table[i++] = show = arg_lit0("a", nullptr, "all");
    table[i++] = display =
        arg_str0(nullptr, "d ", nullptr, "targets|verbs|all|properties|associations");
    table[i++] = level = arg_str0(nullptr, "l ", nullptr, "all|1|2|3|4|5||");
    table[i++] = o = arg_str0(nullptr, "o ", nullptr, "format=clpxml|format=clpcsv");
    table[i++] = help = arg_lit0("h", nullptr, "help");
    table[i++] = version = arg_lit0("v", nullptr, "version");
    table[i] = cmd_end = arg_end(kMaxErrors);
    return table;
}

void SmclpShowCommandUnInit(void **table)
{
    OptionTableUnInit(table, numoptShow);
}

u32 SmclpParseCommandLineForShow(char *line, SmclpCommandLine *record)
{
    argtable = SmclpShowCommandInit();
    u32 result = kParseNotPossible;
    if (line != nullptr && record != nullptr && strlen(line) < kSmclpLineSize)
        result = ParseShowLine(line, record);
    SmclpShowCommandUnInit(argtable);
    argtable = nullptr;
    return result;
}

u32 SmclpParseProperties(char *text, ShowPara *para, u32 examineCount)
{
    if (para == nullptr)
        return kParseBadList;
    const size_t length = strlen(text);
    if (length >= kPropertyTextMax)
        return kParseOk;  // refused before it gets here; the early success is deliberate
    if (length < 2 || text[0] != '(' || text[length - 1] != ')')
        return FaultOfList(para, examineCount, kParseBadList);
    text[length - 1] = '\0';

    u32 count = 0;
    Item item = Item::Bad;
    for (char *start = text + 1; start != nullptr; ++count) {
        char *comma = strchr(start, ',');
        if (comma != nullptr)
            *comma++ = '\0';
        item = TakeItem(start, para);
        if (item == Item::NoMemory)
            return kParseNoMemory;
        if (item == Item::Bad)
            return FaultOfList(para, examineCount, kParseBadValue);
        start = comma;
    }
    if (count == 1 && item == Item::Filter) {
        if (para->filterName[0] == '\0')
            return FaultOfList(para, examineCount, kParseBadValue);
        para->displayWhat = kDisplayAllProperties;
    }
    return 0;
}

void ReleaseSelectedProperties(ShowPara *para)
{
    ListFree(&para->selectedProperties);
}
