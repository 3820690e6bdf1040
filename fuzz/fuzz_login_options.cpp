// SPDX-License-Identifier: Apache-2.0
// fuzz_login_options.cpp -- any words as smclp-login's command line, the last of them as the line
// of an ssh client; and that such a line takes away and never gives.
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "session/login_client.h"
#include "session/login_line.h"

// Words end at a NUL.
static std::vector<std::string> Words(const u8 *data, size_t size)
{
    std::vector<std::string> words(1);
    for (size_t i = 0; i < size; ++i)
        if (data[i] == 0)
            words.emplace_back();
        else
            words.back() += static_cast<char>(data[i]);
    return words;
}

static void CheckMessage(u32 result, const char *message, size_t size)
{
    if (memchr(message, '\0', size) == nullptr || (result != 0) != (message[0] != '\0'))
        abort();
}

// 0 is no limit.
static bool IsWider(u32 now, u32 before)
{
    return before != 0 && (now == 0 || now > before);
}

static void CheckTakenAway(const LoginOptions &now, const LoginOptions &before)
{
    if ((now.privilege & ~before.privilege) != 0 || now.command != before.command ||
        now.unconfined != before.unconfined || IsWider(now.sessions, before.sessions) ||
        IsWider(now.userSessions, before.userSessions) ||
        strcmp(now.client.addressText, before.client.addressText) != 0)
        abort();
    for (u32 type = 0; type < 256; ++type)
        if (IsWider(now.idleSeconds[type], before.idleSeconds[type]))
            abort();
    if (now.type != before.type && (before.typeGiven || now.type == kLoginTypeConsole))
        abort();
}

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    std::vector<std::string> words = Words(data, size);
    std::string original = words.back();
    words.back() = "";
    char name[] = "smclp-login";
    std::vector<char *> argv = {name};
    for (size_t i = 0; i + 1 < words.size(); ++i)
        argv.push_back(words[i].data());
    argv.push_back(nullptr);

    static LoginOptions options;
    static LoginOptions before;
    char message[64] = "";
    LoginDefaultOptions(&options);
    u32 result = LoginParseOptions(static_cast<int>(argv.size()) - 1, argv.data(), &options,
                                   message, sizeof(message));
    CheckMessage(result, message, sizeof(message));
    if (result != 0 || options.action != LoginAction::Run)
        return 0;
    before = options;
    const std::string connection = original;
    result = LoginTakeLine(&options, original.data(), message, sizeof(message));
    CheckMessage(result, message, sizeof(message));
    CheckTakenAway(options, before);
    LoginTakeClient(&options, connection.c_str(), false);
    return 0;
}
