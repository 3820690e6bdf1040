// SPDX-License-Identifier: Apache-2.0
// bmc_freeipmi.cpp -- see bmc_freeipmi.h.
#include "objmgrd/ipmi/bmc_freeipmi.h"

#include "objmgrd/ipmi/answer_time.h"
#include "objmgrd/ipmi/answers_once.h"
#include "objmgrd/ipmi/bmc_probe.h"
#include "platform/clock.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <errno.h>
#include <mutex>
#include <pthread.h>
#include <signal.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>
#include <utility>

#include <freeipmi/freeipmi.h>

namespace
{

// The library's own limits, in milliseconds. Neither is reached: see bmc_freeipmi.h.
constexpr u32 kSessionTimeoutMs = 60000;
constexpr u32 kNeverAgainMs = 30000;
// Opening takes some six answers; ending a session takes one, and matters little.
constexpr u32 kOpeningFactor = 2;
constexpr u32 kCloseMs = 300;
// A signal that comes just before the waiting begins would be lost: it is sent again.
constexpr u32 kAgainUs = 20000;

// Opening a session is tried again after so many times what the BMC takes for an answer and this
// time, and then after twice as long each time: a lost packet of it is not sent again before. How
// often is limited: see opening_allowance.h.
constexpr u32 kOpeningAnswers = 8;
constexpr u32 kOpeningLeastMs = 50;
// Failures before the time is over that opening is tried again at once for.
constexpr u32 kEarlyMax = 2;

int LimitSignal()
{
    return SIGRTMIN;
}

timespec TimeOf(u64 us)
{
    return {static_cast<time_t>(us / 1000000), static_cast<long>(us % 1000000) * 1000};
}

// A timer of the calling thread whose signal ends every waiting with EINTR.
class Alarm
{
public:
    Alarm() = default;
    ~Alarm()
    {
        if (made_)
            timer_delete(timer_);
    }
    Alarm(const Alarm &) = delete;
    Alarm &operator=(const Alarm &) = delete;

    void Set(u64 us)
    {
        if (!made_)
            Make();
        const itimerspec time = {TimeOf(us == 0 ? 0 : kAgainUs), TimeOf(us)};
        if (made_)
            timer_settime(timer_, 0, &time, nullptr);
    }

private:
    void Make()
    {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        sigaction(LimitSignal(), &action, nullptr);
        sigset_t signal;
        sigemptyset(&signal);
        sigaddset(&signal, LimitSignal());
        pthread_sigmask(SIG_UNBLOCK, &signal, nullptr);
        sigevent event = {};
        event.sigev_notify = SIGEV_THREAD_ID;
        event.sigev_signo = LimitSignal();
        event._sigev_un._tid = gettid();
        made_ = timer_create(CLOCK_MONOTONIC, &event, &timer_) == 0;
    }

    timer_t timer_ = {};
    bool made_ = false;
};

// Limits the waiting until the end of the scope.
class Limit
{
public:
    Limit(Alarm *alarm, u32 ms) : alarm_(alarm) { alarm_->Set(u64{ms} * 1000); }
    ~Limit() { alarm_->Set(0); }
    Limit(const Limit &) = delete;
    Limit &operator=(const Limit &) = delete;

private:
    Alarm *alarm_;
};

struct WorkaroundRow {
    u32 ours;
    unsigned int library;
};

constexpr WorkaroundRow kWorkarounds[] = {
    {kIpmiAuthenticationCapabilities,
     IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_AUTHENTICATION_CAPABILITIES},
    {kIpmiIntelSession, IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_INTEL_2_0_SESSION},
    {kIpmiSupermicroSession, IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_SUPERMICRO_2_0_SESSION},
    {kIpmiSunSession, IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_SUN_2_0_SESSION},
    {kIpmiOpenSessionPrivilege, IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_OPEN_SESSION_PRIVILEGE},
    {kIpmiNonEmptyIntegrityCheckValue,
     IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_NON_EMPTY_INTEGRITY_CHECK_VALUE},
    {kIpmiNoChecksumCheck, IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_NO_CHECKSUM_CHECK},
};

// What a failure to open means. "%u": the user; "%p": the privilege; "%c": the cipher suite;
// "%h": the host; "%d": the device.
struct CauseRow {
    int error;
    BmcOpening opening;
    const char *words;
};

constexpr char kNoAnswer[] = "no answer from %h";

constexpr CauseRow kLanCauses[] = {
    {IPMI_ERR_USERNAME_INVALID, BmcOpening::Refused, "%h knows no user %u"},
    {IPMI_ERR_PASSWORD_INVALID, BmcOpening::Refused, "%h refuses the password of user %u"},
    {IPMI_ERR_PASSWORD_VERIFICATION_TIMEOUT, BmcOpening::Refused,
     "%h does not answer to the password of user %u: it may be wrong"},
    // A damaged answer is taken for this as well, and trying again locks nobody out.
    {IPMI_ERR_K_G_INVALID, BmcOpening::Silent, "%h asks for a second key, which is not supported"},
    {IPMI_ERR_PRIVILEGE_LEVEL_INSUFFICIENT, BmcOpening::Refused,
     "%h does not let user %u open a session with privilege %p"},
    {IPMI_ERR_PRIVILEGE_LEVEL_CANNOT_BE_OBTAINED, BmcOpening::Refused,
     "%h does not let user %u open a session with privilege %p"},
    {IPMI_ERR_AUTHENTICATION_TYPE_UNAVAILABLE, BmcOpening::Refused,
     "%h does not do cipher suite %c"},
    {IPMI_ERR_CIPHER_SUITE_ID_UNAVAILABLE, BmcOpening::Refused, "%h does not do cipher suite %c"},
    // All sessions taken is a matter of a minute, and tries that were cut short take one each.
    {IPMI_ERR_BAD_RMCPPLUS_STATUS_CODE, BmcOpening::Silent,
     "%h refuses the session: cipher suite %c may not be one of its own, or all its sessions are "
     "taken"},
    {IPMI_ERR_IPMI_ERROR, BmcOpening::Silent,
     "%h refuses the session: cipher suite %c may not be one of its own, or all its sessions are "
     "taken"},
    {IPMI_ERR_IPMI_2_0_UNAVAILABLE, BmcOpening::Refused, "%h does not speak IPMI 2.0"},
    {IPMI_ERR_HOSTNAME_INVALID, BmcOpening::Silent, "no address is known for host %h"},
    {IPMI_ERR_BMC_BUSY, BmcOpening::Silent, "%h is too busy for a session"},
};

constexpr CauseRow kLocalCauses[] = {
    {IPMI_ERR_PERMISSION, BmcOpening::Silent, "%d may not be opened by this user"},
    {IPMI_ERR_DEVICE_NOT_FOUND, BmcOpening::Silent,
     "there is no IPMI device %d: are the kernel modules ipmi_si and ipmi_devintf loaded?"},
    {IPMI_ERR_DRIVER_PATH_REQUIRED, BmcOpening::Silent,
     "there is no IPMI device %d: are the kernel modules ipmi_si and ipmi_devintf loaded?"},
    {IPMI_ERR_DEVICE_NOT_SUPPORTED, BmcOpening::Silent, "%d is no IPMI device"},
};

const char *PrivilegeName(u8 privilege)
{
    return privilege == 2 ? "user" : privilege == 3 ? "operator" : "administrator";
}

std::string Words(const char *form, const IpmiSettings &settings)
{
    std::string words;
    for (const char *at = form; *at != '\0'; ++at) {
        if (*at != '%') {
            words += *at;
            continue;
        }
        ++at;
        words += *at == 'u'   ? "\"" + settings.user + "\""
                 : *at == 'p' ? std::string(PrivilegeName(settings.privilege))
                 : *at == 'c' ? std::to_string(settings.cipherSuite)
                              : IpmiBmcName(settings);
    }
    return words;
}

// A host that is an IPv6 address stands in brackets.
std::string Address(const IpmiSettings &settings)
{
    const bool brackets = settings.host.find(':') != std::string::npos;
    return (brackets ? "[" + settings.host + "]" : settings.host) + ":" +
           std::to_string(settings.port);
}

// Errors that say that the request was answered, in a way.
struct AnswerRow {
    int error;
    u8 code;
};

constexpr AnswerRow kAnswers[] = {
    {IPMI_ERR_PRIVILEGE_LEVEL_INSUFFICIENT, kBmcDenied},
    {IPMI_ERR_BMC_BUSY, kBmcNodeBusy},
    {IPMI_ERR_DRIVER_BUSY, kBmcNodeBusy},
};

// A request on a thread of its own.
struct Aside {
    bool begun = false;  // the thread is to be joined
    pthread_t thread = {};
    BmcRequest request = {};
    std::mutex mutex;
    std::condition_variable ended;
    bool done = false;
    BmcAnswer answer;
};

}  // namespace

struct FreeIpmiBmc::State {
    State(std::shared_ptr<const IpmiSettings> theSettings,
          std::shared_ptr<const Password> thePassword, BmcUse theUse,
          std::shared_ptr<OpeningAllowance> theAllowance)
        : settings(std::move(theSettings)), password(std::move(thePassword)), use(theUse),
          allowance(std::move(theAllowance)),
          time(settings->answerMs * 1000, settings->sessionMs * 1000)
    {
    }

    const std::shared_ptr<const IpmiSettings> settings;
    const std::shared_ptr<const Password> password;
    const BmcUse use;
    const std::shared_ptr<OpeningAllowance> allowance;
    ipmi_ctx_t context = nullptr;
    Alarm alarm;

    bool openSessionPrivilege = false;  // this BMC needs that workaround, as was seen
    u32 againMs = 0;                    // the library sends a request again
    u32 openingMs = 0;                  // the last opening took
    AnswerTime time;
    Aside aside;
    std::string lastWhy;  // the last opening failed

    BmcOpening Open(std::string *why, u32 limitMs);
    BmcOpening OpenAsUsed(std::string *why, u32 limitMs);
    BmcOpening OpenInParts(std::string *why, u32 limitMs, u32 answerUs);
    bool Repeats() const { return use == BmcUse::Poll && settings->driver == IpmiDriver::Lan; }
    int Send(const BmcRequest &request, Alarm *with, u64 waitUs, u8 *in, size_t inSize) const;
    BmcAnswer Ask(const BmcRequest &request, Alarm *with);
    static void *RunAside(void *state);
    void EndAside();
    bool OpenLan(u32 limitMs);
    u32 MayOpen() const;
    bool OpenLocal(u32 limitMs);
    BmcOpening Cause(std::string *why) const;
    void Close();
};

bool FreeIpmiBmc::State::OpenLan(u32 limitMs)
{
    unsigned int workarounds = IPMI_WORKAROUND_FLAGS_DEFAULT;
    for (const WorkaroundRow &row : kWorkarounds) {
        if ((settings->workarounds & row.ours) != 0)
            workarounds |= row.library;
    }
    if (openSessionPrivilege)
        workarounds |= IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_OPEN_SESSION_PRIVILEGE;
    const Limit limit(&alarm, limitMs != 0 ? limitMs : settings->sessionMs * kOpeningFactor);
    const AnswersOnce once;
    const bool open = ipmi_ctx_open_outofband_2_0(
                          context, Address(*settings).c_str(), settings->user.c_str(),
                          password->Text(), nullptr, 0, settings->privilege, settings->cipherSuite,
                          kSessionTimeoutMs, againMs, workarounds, IPMI_FLAGS_DEFAULT) == 0;
    // The first answer says what the BMC does; with the second request it holds a session.
    if (!open && AnswersOnce::Count() != 0)
        allowance->Left(ClockUs() / 1000);
    return open;
}

// How often.
u32 FreeIpmiBmc::State::MayOpen() const
{
    return settings->driver == IpmiDriver::Local
               ? 1
               : allowance->Allows(ClockUs() / 1000, use == BmcUse::Control);
}

bool FreeIpmiBmc::State::OpenLocal(u32 limitMs)
{
    const Limit limit(&alarm, limitMs != 0 ? limitMs : settings->sessionMs);
    return ipmi_ctx_open_inband(context, IPMI_DEVICE_OPENIPMI, 1, 0, 0, settings->device.c_str(),
                                IPMI_WORKAROUND_FLAGS_DEFAULT, IPMI_FLAGS_DEFAULT) == 0;
}

BmcOpening FreeIpmiBmc::State::Cause(std::string *why) const
{
    const int error = ipmi_ctx_errnum(context);
    const bool lan = settings->driver == IpmiDriver::Lan;
    const CauseRow *row = lan ? std::begin(kLanCauses) : std::begin(kLocalCauses);
    const CauseRow *end = lan ? std::end(kLanCauses) : std::end(kLocalCauses);
    row = std::find_if(row, end, [&](const CauseRow &cause) { return cause.error == error; });
    if (row != end) {
        *why = Words(row->words, *settings);
        return row->opening;
    }
    struct stat info;
    if (!lan && stat(settings->device.c_str(), &info) != 0)
        *why = settings->device + ": " + strerror(errno);
    else
        *why = Words(kNoAnswer, *settings);
    return BmcOpening::Silent;
}

void FreeIpmiBmc::State::Close()
{
    EndAside();
    if (context == nullptr)
        return;
    const Limit limit(&alarm, kCloseMs);
    ipmi_ctx_close(context);
    ipmi_ctx_destroy(context);
    context = nullptr;
}

FreeIpmiBmc::FreeIpmiBmc(std::shared_ptr<const IpmiSettings> settings,
                         std::shared_ptr<const Password> password, BmcUse use,
                         std::shared_ptr<OpeningAllowance> allowance)
    : state_(new State(std::move(settings), std::move(password), use, std::move(allowance)))
{
}

FreeIpmiBmc::~FreeIpmiBmc()
{
    state_->Close();
    delete state_;
}

BmcOpening FreeIpmiBmc::State::Open(std::string *why, u32 limitMs)
{
    context = ipmi_ctx_create();
    if (context == nullptr) {
        *why = strerror(errno);
        return BmcOpening::Silent;
    }
    const bool lan = settings->driver == IpmiDriver::Lan;
    if (lan ? OpenLan(limitMs) : OpenLocal(limitMs))
        return BmcOpening::Open;
    const BmcOpening opening = Cause(why);
    const bool privilege =
        lan && ipmi_ctx_errnum(context) == IPMI_ERR_PRIVILEGE_LEVEL_CANNOT_BE_OBTAINED;
    Close();
    if (!privilege || openSessionPrivilege)
        return opening;
    // Some BMCs take the privilege of a session only as these ask for it. Where it is refused then
    // as well, the first answer stands. Another refusal (a wrong password) is the BMC's true word
    // and the privilege was not what it minded; a packet that is lost says nothing.
    openSessionPrivilege = true;
    std::string second;
    const BmcOpening again = Open(&second, limitMs);
    openSessionPrivilege = again != BmcOpening::Refused || second != *why;
    if (!openSessionPrivilege)
        return opening;
    *why = second;
    return again;
}

// A BMC that takes long for its keys is known by the time that an earlier opening took.
BmcOpening FreeIpmiBmc::State::OpenInParts(std::string *why, u32 limitMs, u32 answerUs)
{
    const u64 end = ClockUs() + u64{limitMs} * 1000;
    u64 part = std::max(answerUs * kOpeningAnswers + kOpeningLeastMs * 1000, openingMs * 2000);
    u32 failures = 0;
    for (;;) {
        const u64 before = ClockUs();
        const u64 left = std::max(end, before + 1000) - before;
        // The last one for a while gets all the time that there is.
        const u64 limit = MayOpen() <= 1 ? left : std::min(part, left);
        const BmcOpening opening = Open(why, static_cast<u32>(limit / 1000));
        const u64 took = ClockUs() - before;
        if (opening == BmcOpening::Open)
            openingMs = static_cast<u32>(took / 1000);
        // The library gives up at an answer that is damaged.
        const bool early = took < limit / 1000 * 1000;
        if (opening != BmcOpening::Silent || limit == left || MayOpen() == 0 ||
            (early && failures++ == kEarlyMax))
            return opening;
        if (!early)
            part *= 2;
    }
}

BmcOpening FreeIpmiBmc::Open(std::string *why, u32 limitMs)
{
    Close();
    if (state_->MayOpen() == 0) {
        *why = state_->lastWhy.empty() ? Words(kNoAnswer, *state_->settings) : state_->lastWhy;
        return BmcOpening::Silent;
    }
    const BmcOpening opening = state_->OpenAsUsed(why, limitMs);
    state_->lastWhy = opening == BmcOpening::Open ? "" : *why;
    return opening;
}

BmcOpening FreeIpmiBmc::State::OpenAsUsed(std::string *why, u32 limitMs)
{
    againMs = use == BmcUse::Control ? kNeverAgainMs : settings->answerMs;
    if (!Repeats())
        return Open(why, limitMs);
    // Nothing from before says what the BMC takes now.
    time = AnswerTime(settings->answerMs * 1000, settings->sessionMs * 1000);
    const u32 answerUs = BmcProbe(settings->host, settings->port, settings->answerMs);
    const u32 limit = limitMs != 0 ? limitMs : settings->sessionMs * kOpeningFactor;
    if (answerUs == 0)
        return Open(why, limit);
    time.Took(answerUs);
    return OpenInParts(why, limit, answerUs);
}

void FreeIpmiBmc::Close()
{
    state_->Close();
}

int FreeIpmiBmc::State::Send(const BmcRequest &request, Alarm *with, u64 waitUs, u8 *in,
                             size_t inSize) const
{
    u8 out[1 + kBmcRequestMax];
    const u32 size = std::min<u32>(request.size, kBmcRequestMax);
    out[0] = request.command;
    memcpy(out + 1, request.data, size);
    with->Set(waitUs);
    const int got = ipmi_cmd_raw(context, request.lun, request.netFn, out, 1 + size, in,
                                 static_cast<unsigned int>(inSize));
    with->Set(0);
    return got;
}

BmcAnswer FreeIpmiBmc::State::Ask(const BmcRequest &request, Alarm *with)
{
    BmcAnswer answer;
    if (context == nullptr)
        return answer;
    u8 in[2 + kBmcAnswerMax];
    const u64 end = ClockUs() + u64{settings->sessionMs} * 1000;
    bool again = false;
    for (;;) {
        const u64 before = ClockUs();
        const u64 left = std::max(end, before + 1) - before;
        const u64 wait = Repeats() ? std::min<u64>(time.AgainUs(), left) : left;
        const int got = Send(request, with, wait, in, sizeof in);
        const u64 took = ClockUs() - before;
        if (got >= 0) {
            if (!again)
                time.Took(static_cast<u32>(took));
            answer.came = true;
            if (got >= 2) {
                answer.code = in[1];
                answer.size = static_cast<u8>(got - 2);
                memcpy(answer.data, in + 2, answer.size);
            }
            return answer;
        }
        const int error = ipmi_ctx_errnum(context);
        for (const AnswerRow &row : kAnswers) {
            answer.came = answer.came || row.error == error;
            answer.code = row.error == error ? row.code : answer.code;
        }
        // An error that comes before the time is over is one that repeating does not mend.
        if (answer.came || !Repeats() || took < wait || took >= left)
            return answer;
        again = true;
        time.NotEnough();
    }
}

BmcAnswer FreeIpmiBmc::Ask(const BmcRequest &request)
{
    return state_->Ask(request, &state_->alarm);
}

void *FreeIpmiBmc::State::RunAside(void *state)
{
    auto *const mine = static_cast<State *>(state);
    Alarm alarm;  // of this thread
    const BmcAnswer answer = mine->Ask(mine->aside.request, &alarm);
    const std::lock_guard lock(mine->aside.mutex);
    mine->aside.answer = answer;
    mine->aside.done = true;
    mine->aside.ended.notify_all();
    return nullptr;
}

void FreeIpmiBmc::AskAside(const BmcRequest &request)
{
    Aside &aside = state_->aside;
    state_->EndAside();
    aside.request = request;
    aside.done = false;
    aside.begun = pthread_create(&aside.thread, nullptr, State::RunAside, state_) == 0;
    if (!aside.begun) {
        aside.answer = Ask(request);
        aside.done = true;
    }
}

bool FreeIpmiBmc::TakeAnswer(BmcAnswer *answer, u32 waitMs)
{
    Aside &aside = state_->aside;
    {
        std::unique_lock lock(aside.mutex);
        if (!aside.ended.wait_for(lock, std::chrono::milliseconds(waitMs),
                                  [&] { return aside.done; }))
            return false;
        *answer = aside.answer;
    }
    state_->EndAside();
    return true;
}

// The signal ends the waiting; one that comes before it begins would be lost, and is sent again.
void FreeIpmiBmc::State::EndAside()
{
    if (!aside.begun)
        return;
    {
        std::unique_lock lock(aside.mutex);
        while (!aside.done) {
            pthread_kill(aside.thread, LimitSignal());
            aside.ended.wait_for(lock, std::chrono::microseconds(kAgainUs));
        }
    }
    pthread_join(aside.thread, nullptr);
    aside.begun = false;
}
