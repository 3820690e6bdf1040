// SPDX-License-Identifier: Apache-2.0
// bmc_freeipmi.cpp -- see bmc_freeipmi.h.
#include "objmgrd/ipmi/bmc_freeipmi.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <signal.h>
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
constexpr long kAgainMs = 20;

// After so many answers it is known how long the BMC takes; a request is sent again after a few
// times that.
constexpr u32 kAdaptAfter = 4;
constexpr u32 kAgainFactor = 6;
constexpr u32 kAgainMarginMs = 20;
constexpr u32 kAgainLeastMs = 25;

u64 NowMs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<u64>(now.tv_sec) * 1000 + static_cast<u64>(now.tv_nsec) / 1000000;
}

int LimitSignal()
{
    return SIGRTMIN;
}

timespec TimeOf(u32 ms)
{
    return {static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000};
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

    void Set(u32 ms)
    {
        if (!made_)
            Make();
        const itimerspec time = {TimeOf(ms == 0 ? 0 : kAgainMs), TimeOf(ms)};
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
    Limit(Alarm *alarm, u32 ms) : alarm_(alarm) { alarm_->Set(ms); }
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
    {IPMI_ERR_K_G_INVALID, BmcOpening::Refused, "%h asks for a second key, which is not supported"},
    {IPMI_ERR_PRIVILEGE_LEVEL_INSUFFICIENT, BmcOpening::Refused,
     "%h does not let user %u open a session with privilege %p"},
    {IPMI_ERR_PRIVILEGE_LEVEL_CANNOT_BE_OBTAINED, BmcOpening::Refused,
     "%h does not let user %u open a session with privilege %p"},
    {IPMI_ERR_AUTHENTICATION_TYPE_UNAVAILABLE, BmcOpening::Refused,
     "%h does not do cipher suite %c"},
    {IPMI_ERR_CIPHER_SUITE_ID_UNAVAILABLE, BmcOpening::Refused, "%h does not do cipher suite %c"},
    {IPMI_ERR_BAD_RMCPPLUS_STATUS_CODE, BmcOpening::Refused,
     "%h refuses the session: cipher suite %c may not be one of its own"},
    {IPMI_ERR_IPMI_ERROR, BmcOpening::Refused,
     "%h refuses the session: cipher suite %c may not be one of its own"},
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

}  // namespace

struct FreeIpmiBmc::State {
    State(std::shared_ptr<const IpmiSettings> theSettings,
          std::shared_ptr<const Password> thePassword, BmcUse theUse)
        : settings(std::move(theSettings)), password(std::move(thePassword)), use(theUse)
    {
    }

    const std::shared_ptr<const IpmiSettings> settings;
    const std::shared_ptr<const Password> password;
    const BmcUse use;
    ipmi_ctx_t context = nullptr;
    Alarm alarm;

    bool openSessionPrivilege = false;  // this BMC needs that workaround, as was seen
    u32 againMs = 0;                    // a request without an answer is sent again
    u32 answers = 0;                    // of this session
    u32 quickestMs = 0;                 // ... and how long the quickest of them took

    BmcOpening Open(std::string *why, u32 limitMs);
    void Adapt(u64 tookMs);
    bool OpenLan(u32 limitMs);
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
    return ipmi_ctx_open_outofband_2_0(context, Address(*settings).c_str(), settings->user.c_str(),
                                       password->Text(), nullptr, 0, settings->privilege,
                                       settings->cipherSuite, kSessionTimeoutMs, againMs,
                                       workarounds, IPMI_FLAGS_DEFAULT) == 0;
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
    if (context == nullptr)
        return;
    const Limit limit(&alarm, kCloseMs);
    ipmi_ctx_close(context);
    ipmi_ctx_destroy(context);
    context = nullptr;
}

FreeIpmiBmc::FreeIpmiBmc(std::shared_ptr<const IpmiSettings> settings,
                         std::shared_ptr<const Password> password, BmcUse use)
    : state_(new State(std::move(settings), std::move(password), use))
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

// How soon a request is sent again has to be said when a session is opened, before anything is
// known about the network. So a second session takes the place of one that would wait too long.
void FreeIpmiBmc::State::Adapt(u64 tookMs)
{
    const u32 took = static_cast<u32>(std::min<u64>(tookMs, kSessionTimeoutMs));
    quickestMs = answers == 0 ? took : std::min(quickestMs, took);
    if (++answers != kAdaptAfter)
        return;
    const u32 right =
        std::clamp(quickestMs * kAgainFactor + kAgainMarginMs, kAgainLeastMs, settings->answerMs);
    if (right * 2 > againMs)
        return;
    auto *const before = context;
    const u32 beforeMs = std::exchange(againMs, right);
    std::string ignored;
    if (Open(&ignored, 0) != BmcOpening::Open) {
        context = before;
        againMs = beforeMs;
        return;
    }
    const Limit limit(&alarm, kCloseMs);
    ipmi_ctx_close(before);
    ipmi_ctx_destroy(before);
}

BmcOpening FreeIpmiBmc::Open(std::string *why, u32 limitMs)
{
    Close();
    state_->againMs = state_->use == BmcUse::Control ? kNeverAgainMs : state_->settings->answerMs;
    state_->answers = 0;
    return state_->Open(why, limitMs);
}

void FreeIpmiBmc::Close()
{
    state_->Close();
}

BmcAnswer FreeIpmiBmc::Ask(const BmcRequest &request)
{
    BmcAnswer answer;
    if (state_->context == nullptr)
        return answer;
    u8 out[1 + kBmcRequestMax];
    u8 in[2 + kBmcAnswerMax];
    const u32 size = std::min<u32>(request.size, kBmcRequestMax);
    out[0] = request.command;
    memcpy(out + 1, request.data, size);
    const u64 before = NowMs();
    state_->alarm.Set(state_->settings->sessionMs);
    const int got =
        ipmi_cmd_raw(state_->context, request.lun, request.netFn, out, 1 + size, in, sizeof in);
    state_->alarm.Set(0);
    if (got < 0) {
        const int error = ipmi_ctx_errnum(state_->context);
        for (const AnswerRow &row : kAnswers) {
            answer.came = answer.came || row.error == error;
            answer.code = row.error == error ? row.code : answer.code;
        }
        return answer;
    }
    answer.came = true;
    if (got >= 2) {
        answer.code = in[1];
        answer.size = static_cast<u8>(got - 2);
        memcpy(answer.data, in + 2, answer.size);
    }
    if (state_->use == BmcUse::Poll && state_->settings->driver == IpmiDriver::Lan)
        state_->Adapt(NowMs() - before);
    return answer;
}
