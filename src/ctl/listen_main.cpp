// SPDX-License-Identifier: Apache-2.0
// listen_main.cpp -- smclpctl-listen: answers Prometheus over HTTP.
//
// A program of its own, which smclpctl becomes for export --listen: the library for HTTP brings
// others along, and their loading would cost each start of smclpctl more than its whole work.
//
// Every scrape reads the services anew; one thread, since the object manager's client is for one.
// There is no TLS and no password: it listens on the loopback address unless told otherwise.
#include "ctl/commands.h"
#include "ctl/listen_address.h"
#include "ctl/prometheus.h"

#include <errno.h>
#include <microhttpd.h>
#include <signal.h>
#include <string.h>
#include <unistd.h>

namespace
{

constexpr unsigned kConnectionsMost = 32;
constexpr unsigned kTimeoutSeconds = 10;
constexpr char kPage[] = "smclpctl: the metrics are at /metrics\n";

struct Answer {
    unsigned status;
    const char *type;
    std::string text;
};

Answer AnswerTo(const Options &options, const char *url, const char *method)
{
    if (strcmp(method, "GET") != 0 && strcmp(method, "HEAD") != 0)
        return {MHD_HTTP_METHOD_NOT_ALLOWED, "text/plain", "GET only\n"};
    if (strcmp(url, "/") == 0)
        return {MHD_HTTP_OK, "text/plain", kPage};
    if (strcmp(url, "/metrics") != 0)
        return {MHD_HTTP_NOT_FOUND, "text/plain", "there is no such page\n"};
    PrometheusText text;
    ViewReader reader;
    for (const Server &server : CommandServers(options))
        text.Add(server.name, reader.Read(server.directory, kViewSystem | kViewSensors));
    return {MHD_HTTP_OK, "text/plain; version=0.0.4; charset=utf-8", text.Text()};
}

MHD_Result Handle(void *context, MHD_Connection *connection, const char *url, const char *method,
                  const char *, const char *, size_t *uploadSize, void **)
{
    *uploadSize = 0;
    Answer answer = AnswerTo(*static_cast<const Options *>(context), url, method);
    MHD_Response *response = MHD_create_response_from_buffer(answer.text.size(), answer.text.data(),
                                                             MHD_RESPMEM_MUST_COPY);
    if (response == nullptr)
        return MHD_NO;
    MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, answer.type);
    const MHD_Result result = MHD_queue_response(connection, answer.status, response);
    MHD_destroy_response(response);
    return result;
}

int Complain(const std::string &what)
{
    fprintf(stderr, "smclpctl: %s\n", what.c_str());
    return kExitFailed;
}

// A socket of our own, so that port 0 can be told, and a failure said in words. -1: errno.
int Listen(sockaddr_storage *address, socklen_t size)
{
    const int fd = socket(address->ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int on = 1;
    if (fd < 0)
        return -1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bind(fd, reinterpret_cast<sockaddr *>(address), size) != 0 || listen(fd, SOMAXCONN) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr *>(address), &size) != 0) {
        const int error = errno;
        close(fd);
        errno = error;
        return -1;
    }
    return fd;
}

}  // namespace

int main(int argc, char **argv)
{
    Options options;
    const std::string wrong = OptionsParse(argc, argv, CommandTime(), &options);
    if (wrong.empty() && options.version) {
        printf("smclpctl-listen %s\n", ZOR_VERSION);
        return kExitDone;
    }
    if (!wrong.empty() || options.listen.empty()) {
        Complain(wrong.empty() ? "--listen is missing" : TextValue(wrong).text);
        return kExitUsage;
    }
    sockaddr_storage address;
    socklen_t size = 0;
    if (!ListenAddressParse(options.listen, &address, &size)) {
        Complain("no address and port, as in 127.0.0.1:9290: " + TextValue(options.listen).text);
        return kExitUsage;
    }
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM})
        sigaddset(&signals, signal);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    signal(SIGPIPE, SIG_IGN);

    const int fd = Listen(&address, size);
    if (fd < 0)
        return Complain(options.listen + ": " + strerror(errno));
    MHD_Daemon *daemon = MHD_start_daemon(
        MHD_USE_INTERNAL_POLLING_THREAD, 0, nullptr, nullptr, Handle, &options,
        MHD_OPTION_LISTEN_SOCKET, fd, MHD_OPTION_CONNECTION_LIMIT, kConnectionsMost,
        MHD_OPTION_CONNECTION_TIMEOUT, kTimeoutSeconds, MHD_OPTION_END);
    if (daemon == nullptr)
        return Complain(options.listen + ": no HTTP here");
    fprintf(stderr, "smclpctl: listening on %s\n", ListenAddressText(address).c_str());
    int signal = 0;
    sigwait(&signals, &signal);
    MHD_stop_daemon(daemon);
    return kExitDone;
}
