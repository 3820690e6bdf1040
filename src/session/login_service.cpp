// SPDX-License-Identifier: Apache-2.0
// login_service.cpp -- the service's answer, in words.
#include "session/login_service.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

static LoginVerdict Say(int status, const char *format, ...) __attribute__((format(printf, 2, 3)));
static LoginVerdict Say(int status, const char *format, ...)
{
    LoginVerdict verdict = {};
    verdict.status = status;
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(verdict.line, sizeof(verdict.line), format, arguments);
    va_end(arguments);
    return verdict;
}

static LoginVerdict NoteOf(const ServiceFacts *facts)
{
    for (u32 i = 0; i < facts->sources && i < kServiceSourcesMax; ++i)
        if (!facts->source[i].answers)
            return Say(0, "note: %s does not answer %s", facts->source[i].name, facts->name);
    return {};
}

LoginVerdict LoginAskService(const char *directory, u32 timeoutMs)
{
    ServiceFacts facts;
    switch (ServiceAsk(directory, timeoutMs, &facts)) {
    case ServiceAnswer::Serving:
        return NoteOf(&facts);
    case ServiceAnswer::NoRight:
        return Say(77, "you have not the right to log in (%s grants it)", facts.name);
    case ServiceAnswer::Forbidden:
        return Say(77, "you may not use the service in %s", directory);
    case ServiceAnswer::NotTrusted:
        return Say(69,
                   "the service in %s is not to be trusted: others may write the directory, or "
                   "who serves there is not its owner",
                   directory);
    case ServiceAnswer::Hung:
        return Say(75, "the service in %s does not answer", directory);
    case ServiceAnswer::OtherVersion:
        return Say(70, "the service in %s is of another version (%u, not %u)", directory,
                   facts.version, kMethodVersion);
    default:
        return Say(69, "the service is not running in %s", directory);
    }
}

void LoginTellService(const char *directory, LoginEvent event, u32 session, u32 seconds,
                      const char *address, const char *reason)
{
    LoginNotice notice = {};
    notice.event = event;
    notice.session = session;
    notice.seconds = seconds;
    snprintf(notice.address, sizeof(notice.address), "%s", address != nullptr ? address : "");
    snprintf(notice.reason, sizeof(notice.reason), "%s", reason != nullptr ? reason : "");
    ServiceTell(directory, kLoginTellMs, &notice);
}
