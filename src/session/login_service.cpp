// SPDX-License-Identifier: Apache-2.0
// login_service.cpp -- the service's answer, in words.
#include "session/login_service.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "session/registry.h"

namespace
{

LoginVerdict Say(int status, const char *format, ...) __attribute__((format(printf, 2, 3)));
LoginVerdict Say(int status, const char *format, ...)
{
    LoginVerdict verdict = {};
    verdict.status = status;
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(verdict.line, sizeof(verdict.line), format, arguments);
    va_end(arguments);
    return verdict;
}

LoginVerdict NoteOf(const ServiceFacts *facts)
{
    for (u32 i = 0; i < facts->sources && i < kServiceSourcesMax; ++i)
        if (!facts->source[i].answers)
            return Say(0, "note: %s does not answer %s", facts->source[i].name, facts->name);
    return {};
}

LoginNotice NoticeOf(LoginEvent event, u32 session, const char *address, const char *reason)
{
    LoginNotice notice = {};
    notice.event = event;
    notice.session = session;
    snprintf(notice.address, sizeof(notice.address), "%s", address != nullptr ? address : "");
    snprintf(notice.reason, sizeof(notice.reason), "%s", reason != nullptr ? reason : "");
    return notice;
}

u32 SecondsSince(const timespec &begin)
{
    return static_cast<u32>(RegistryNow().tv_sec - begin.tv_sec);
}

void Drop(LoginLink *link)
{
    if (link->connection >= 0)
        close(link->connection);
    link->connection = -1;
}

// Takes what the service has answered.
void Settle(LoginLink *link)
{
    if (link->connection < 0)
        return;
    switch (ServiceHoldOf(link->connection)) {
    case ServiceHeld::Known:
        link->notice.event = LoginEvent::Lasting;  // for the next service
        link->pause = 0;
        break;
    case ServiceHeld::Declined:
        link->declined = true;
        Drop(link);
        break;
    case ServiceHeld::Ended:
        Drop(link);
        break;
    case ServiceHeld::Silent:
        break;
    }
}

}  // namespace

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

void LoginTellRefusal(const char *directory, const char *address, const char *reason)
{
    const LoginNotice notice = NoticeOf(LoginEvent::Refusal, 0, address, reason);
    ServiceTell(directory, kLoginTellMs, &notice);
}

// --- The link --------------------------------------------------------------------------------

void LoginLinkOpen(LoginLink *link, const char *directory, u32 session, const char *address)
{
    *link = {};
    link->directory = directory;
    link->notice = NoticeOf(LoginEvent::Login, session, address, nullptr);
    link->begin = RegistryNow();
    link->connection = ServiceHold(directory, kLoginTellMs, &link->notice);
    Settle(link);
}

void LoginLinkLook(LoginLink *link)
{
    Settle(link);
    if (link->connection >= 0 || link->declined)
        return;
    if (link->wait != 0) {
        --link->wait;
        return;
    }
    link->notice.seconds = SecondsSince(link->begin);
    link->connection = ServiceHold(link->directory, 0, &link->notice);
    link->pause = link->pause == 0 ? 1 : link->pause * 2;
    if (link->pause > kLoginPauseMost)
        link->pause = kLoginPauseMost;
    link->wait = link->pause - 1;
}

void LoginLinkClose(LoginLink *link, const char *reason)
{
    LoginNotice notice =
        NoticeOf(LoginEvent::Logout, link->notice.session, link->notice.address, reason);
    notice.seconds = SecondsSince(link->begin);
    Settle(link);
    if (link->connection < 0 ||
        ServiceTellOver(link->connection, kLoginTellMs, &notice) == ServiceAnswer::Absent)
        ServiceTell(link->directory, kLoginTellMs, &notice);
    Drop(link);
}
