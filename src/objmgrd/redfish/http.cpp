// SPDX-License-Identifier: Apache-2.0
// http.cpp -- see http.h.
#include "objmgrd/redfish/http.h"

#include "objmgrd/text.h"

#include <algorithm>
#include <list>
#include <stdlib.h>
#include <string.h>

#include <curl/curl.h>

namespace
{

constexpr size_t kHeadersMax = 65536;
constexpr u32 kPinMs = 3000;
constexpr long kConnectMs = 5000;

struct Transfer {
    HttpRequest request;
    Http::Done done;
    HttpAnswer answer;
    CURL *easy = nullptr;
    curl_slist *headers = nullptr;
    curl_slist *connectTo = nullptr;
    size_t headerBytes = 0;
    bool tooLarge = false;
    bool followed = false;
    bool asItStands = false;  // the body is taken without decompressing it

    ~Transfer()
    {
        // The token stands in the list.
        for (curl_slist *at = headers; at != nullptr; at = at->next)
            explicit_bzero(at->data, strlen(at->data));
        if (easy != nullptr)
            curl_easy_cleanup(easy);
        curl_slist_free_all(headers);
        curl_slist_free_all(connectTo);
        explicit_bzero(request.body.data(), request.body.size());
        explicit_bzero(request.token.data(), request.token.size());
    }
};

size_t TakeBody(char *bytes, size_t, size_t count, void *mine)
{
    auto *transfer = static_cast<Transfer *>(mine);
    std::string &body = transfer->answer.body;
    if (body.size() + count > kJsonBytesMax) {
        transfer->tooLarge = true;
        return 0;
    }
    body.append(bytes, count);
    return count;
}

// The value of a header of this name (in lower case).
bool HeaderIs(std::string_view line, std::string_view name, std::string *value)
{
    if (line.size() <= name.size() || line[name.size()] != ':')
        return false;
    for (size_t i = 0; i < name.size(); ++i) {
        const char c = line[i];
        if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c) != name[i])
            return false;
    }
    std::string_view rest = line.substr(name.size() + 1);
    while (!rest.empty() && (rest.front() == ' ' || rest.front() == '\t'))
        rest.remove_prefix(1);
    while (!rest.empty() && static_cast<u8>(rest.back()) <= ' ')
        rest.remove_suffix(1);
    *value = rest.size() <= 2 * kLinkMax ? std::string(rest) : "";
    return true;
}

size_t TakeHeader(char *bytes, size_t, size_t count, void *mine)
{
    auto *transfer = static_cast<Transfer *>(mine);
    transfer->headerBytes += count;
    if (transfer->headerBytes > kHeadersMax) {
        transfer->tooLarge = true;
        return 0;
    }
    const std::string_view line(bytes, count);
    HttpAnswer &answer = transfer->answer;
    std::string value;
    if (HeaderIs(line, "location", &value))
        answer.location = value;
    else if (HeaderIs(line, "x-auth-token", &value))
        answer.token = value;
    else if (HeaderIs(line, "etag", &value))
        answer.etag = value;
    else if (HeaderIs(line, "retry-after", &value))
        // A date is no number: 0.
        answer.retryAfterS = static_cast<u32>(
            std::clamp(strtol(value.c_str(), nullptr, 10), 0L, long{kRetryAfterMostS}));
    return count;
}

// What libcurl says about the key, among much else.
int TakePin(CURL *, curl_infotype type, char *bytes, size_t count, void *mine)
{
    constexpr std::string_view kHead = "public key hash: ";
    const std::string_view text(bytes, count);
    const size_t at = type == CURLINFO_TEXT ? text.find(kHead) : std::string_view::npos;
    if (at != std::string_view::npos)
        *static_cast<std::string *>(mine) = TextOneLine(text.substr(at + kHead.size()), 255);
    return 0;
}

bool IsTrustFault(CURLcode code)
{
    return code == CURLE_PEER_FAILED_VERIFICATION || code == CURLE_SSL_PINNEDPUBKEYNOTMATCH ||
           code == CURLE_SSL_CACERT_BADFILE || code == CURLE_SSL_ISSUER_ERROR ||
           code == CURLE_SSL_CERTPROBLEM || code == CURLE_SSL_INVALIDCERTSTATUS;
}

}  // namespace

struct Http::State {
    const RedfishSettings *settings;
    const Password *password;
    CURLM *multi = nullptr;
    std::list<std::unique_ptr<Transfer>> transfers;

    Origin UrlOrigin() const
    {
        Origin origin = settings->origin;
        if (!settings->tlsName.empty())
            origin.host = settings->tlsName;
        return origin;
    }
    void SetTls(CURL *easy, const char *pin) const;
    void SetRequest(Transfer *transfer) const;
    void Begin(std::unique_ptr<Transfer> transfer);
    void BeginAgain(Transfer *transfer);
    bool Redirected(Transfer *transfer);
    void Finish(CURL *easy, CURLcode code);
};

// pin: what has to be the key's; null: what the settings say.
void Http::State::SetTls(CURL *easy, const char *pin) const
{
    const bool pinOnly = pin != nullptr || (!settings->pin.empty() && settings->caFile.empty());
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, pinOnly ? 0L : 1L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, pinOnly ? 0L : 2L);
    curl_easy_setopt(easy, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    if (!settings->caFile.empty()) {
        curl_easy_setopt(easy, CURLOPT_CAINFO, settings->caFile.c_str());
        curl_easy_setopt(easy, CURLOPT_CAPATH, nullptr);
    }
    if (pin != nullptr)
        curl_easy_setopt(easy, CURLOPT_PINNEDPUBLICKEY, pin);
    else if (!settings->pin.empty())
        curl_easy_setopt(easy, CURLOPT_PINNEDPUBLICKEY, settings->pin.c_str());
    curl_easy_setopt(easy, CURLOPT_PROXY, "");
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, settings->origin.scheme.c_str());
}

void Http::State::SetRequest(Transfer *transfer) const
{
    CURL *easy = transfer->easy;
    const HttpRequest &request = transfer->request;
    SetTls(easy, nullptr);
    curl_easy_setopt(easy, CURLOPT_URL, (UrlOrigin().Url() + request.link).c_str());
    curl_easy_setopt(easy, CURLOPT_PRIVATE, transfer);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, TakeBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, transfer);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, TakeHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, transfer);
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
    if (!transfer->asItStands)
        curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "");
    else
        curl_easy_setopt(easy, CURLOPT_HTTP_CONTENT_DECODING, 0L);
    curl_easy_setopt(easy, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(request.timeoutMs));
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS,
                     std::min(kConnectMs, static_cast<long>(request.timeoutMs)));
    curl_easy_setopt(easy, CURLOPT_TCP_KEEPALIVE, 1L);
    const auto header = [&](const std::string &line) {
        transfer->headers = curl_slist_append(transfer->headers, line.c_str());
    };
    header("Accept: application/json");
    header("OData-Version: 4.0");
    if (request.method == HttpMethod::Post) {
        header("Content-Type: application/json");
        header("Expect:");
        curl_easy_setopt(easy, CURLOPT_POST, 1L);
        curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(request.body.size()));
        curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.body.c_str());
        curl_easy_setopt(easy, CURLOPT_FRESH_CONNECT, 1L);
        curl_easy_setopt(easy, CURLOPT_FORBID_REUSE, 1L);
    } else if (request.method == HttpMethod::Delete) {
        curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, "DELETE");
    } else {
        curl_easy_setopt(easy, CURLOPT_HTTPGET, 1L);
        if (!request.etag.empty())
            header("If-None-Match: " + request.etag);
    }
    if (request.login == HttpLogin::Token) {
        header("X-Auth-Token: " + request.token);
    } else if (request.login == HttpLogin::Basic) {
        curl_easy_setopt(easy, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
        curl_easy_setopt(easy, CURLOPT_USERNAME, settings->user.c_str());
        curl_easy_setopt(easy, CURLOPT_PASSWORD, password->Text());
    }
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, transfer->headers);
    if (settings->tlsName.empty())
        return;
    const Origin &to = settings->origin;
    const std::string host = to.host.find(':') == std::string::npos ? to.host : "[" + to.host + "]";
    transfer->connectTo =
        curl_slist_append(nullptr, ("::" + host + ":" + std::to_string(to.port)).c_str());
    curl_easy_setopt(easy, CURLOPT_CONNECT_TO, transfer->connectTo);
}

void Http::State::Begin(std::unique_ptr<Transfer> transfer)
{
    transfer->easy = curl_easy_init();
    if (transfer->easy == nullptr)
        abort();  // as every other allocation of the service
    SetRequest(transfer.get());
    if (curl_multi_add_handle(multi, transfer->easy) != CURLM_OK)
        abort();
    transfers.push_back(std::move(transfer));
}

// Begins the request again where one redirect leads to.
bool Http::State::Redirected(Transfer *transfer)
{
    const HttpAnswer &answer = transfer->answer;
    const bool may = transfer->request.method == HttpMethod::Get || transfer->request.followOnce;
    if (!may || transfer->followed ||
        (answer.status != 301 && answer.status != 307 && answer.status != 308))
        return false;
    const std::string link = LinkOf(settings->origin, answer.location);
    if (link.empty())
        return false;
    transfer->request.link = link;
    transfer->followed = true;
    BeginAgain(transfer);
    return true;
}

void Http::State::BeginAgain(Transfer *transfer)
{
    auto again = std::make_unique<Transfer>();
    again->request = transfer->request;
    again->done = std::move(transfer->done);
    again->followed = transfer->followed;
    again->asItStands = transfer->asItStands;
    Begin(std::move(again));
}

void Http::State::Finish(CURL *easy, CURLcode code)
{
    Transfer *mine = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &mine);
    const auto place = std::find_if(transfers.begin(), transfers.end(),
                                    [&](const auto &transfer) { return transfer.get() == mine; });
    if (place == transfers.end())
        return;
    const std::unique_ptr<Transfer> transfer = std::move(*place);
    transfers.erase(place);
    curl_multi_remove_handle(multi, easy);

    HttpAnswer &answer = transfer->answer;
    curl_off_t tookUs = 0;
    curl_easy_getinfo(easy, CURLINFO_TOTAL_TIME_T, &tookUs);
    answer.tookMs = static_cast<u32>(tookUs / 1000);
    curl_off_t connectUs = 0;
    curl_easy_getinfo(easy, CURLINFO_PRETRANSFER_TIME_T, &connectUs);
    answer.waitedMs = static_cast<u32>((tookUs - std::min(connectUs, tookUs)) / 1000);
    answer.mark = transfer->request.mark;
    if (code == CURLE_OK) {
        long status = 0;
        curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
        answer.status = static_cast<u32>(status);
        answer.fault = HttpFault::None;
        if (Redirected(transfer.get()))
            return;
    } else if (code == CURLE_BAD_CONTENT_ENCODING && transfer->request.method == HttpMethod::Get &&
               !transfer->asItStands) {
        // Declared to be compressed, and not: some services do that with what they do not compress.
        transfer->asItStands = true;
        return BeginAgain(transfer.get());
    } else {
        answer.fault = transfer->tooLarge   ? HttpFault::TooLarge
                       : IsTrustFault(code) ? HttpFault::Trust
                                            : HttpFault::Silent;
        answer.why =
            transfer->tooLarge ? "an answer is larger than 4 MB" : curl_easy_strerror(code);
        answer.body.clear();
    }
    transfer->done(std::move(answer));
}

Http::Http(const RedfishSettings *settings, const Password *password)
    : state_(std::make_unique<State>())
{
    curl_global_init(CURL_GLOBAL_DEFAULT);
    state_->settings = settings;
    state_->password = password;
    state_->multi = curl_multi_init();
    if (state_->multi == nullptr)
        abort();  // as every other allocation of the service
    curl_multi_setopt(state_->multi, CURLMOPT_MAXCONNECTS, static_cast<long>(kHttpAtOnce));
}

Http::~Http()
{
    Drop();
    curl_multi_cleanup(state_->multi);
}

void Http::Start(HttpRequest request, Done done)
{
    auto transfer = std::make_unique<Transfer>();
    transfer->request = std::move(request);
    transfer->done = std::move(done);
    state_->Begin(std::move(transfer));
}

u32 Http::OnTheirWay() const
{
    return static_cast<u32>(state_->transfers.size());
}

void Http::Pump(int wakeFd, u32 ms)
{
    int running = 0;
    curl_multi_perform(state_->multi, &running);
    int left = 0;
    bool finished = false;
    const auto finish = [&] {
        while (CURLMsg *message = curl_multi_info_read(state_->multi, &left)) {
            if (message->msg != CURLMSG_DONE)
                continue;
            finished = true;
            state_->Finish(message->easy_handle, message->data.result);
        }
    };
    finish();
    if (finished)
        return;
    curl_waitfd wake = {};
    wake.fd = wakeFd;
    wake.events = CURL_WAIT_POLLIN;
    curl_multi_poll(state_->multi, wakeFd < 0 ? nullptr : &wake, wakeFd < 0 ? 0 : 1,
                    static_cast<int>(ms), nullptr);
    curl_multi_perform(state_->multi, &running);
    finish();
}

void Http::Drop()
{
    for (const auto &transfer : state_->transfers)
        curl_multi_remove_handle(state_->multi, transfer->easy);
    state_->transfers.clear();
}

std::string Http::SeenPin()
{
    CURL *easy = curl_easy_init();
    if (easy == nullptr)
        return "";
    std::string pin;
    // Nobody has this key: the connection ends before anything is sent on it.
    state_->SetTls(easy, "sha256//AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=");
    curl_easy_setopt(easy, CURLOPT_URL, state_->settings->origin.Url().c_str());
    curl_easy_setopt(easy, CURLOPT_CONNECT_ONLY, 1L);
    curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(kPinMs));
    curl_easy_setopt(easy, CURLOPT_VERBOSE, 1L);
    curl_easy_setopt(easy, CURLOPT_DEBUGFUNCTION, TakePin);
    curl_easy_setopt(easy, CURLOPT_DEBUGDATA, &pin);
    curl_easy_perform(easy);
    curl_easy_cleanup(easy);
    return pin;
}
