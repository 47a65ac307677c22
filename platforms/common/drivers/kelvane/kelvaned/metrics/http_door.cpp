#include "kelvaned/metrics/http_door.h"

#include <charconv>
#include <chrono>
#include <cstring>
#include <string_view>

#include <microhttpd.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr const char *LOOPBACK = "127.0.0.1";
constexpr const char *PATH = "/metrics";
constexpr auto TEXT_LIVES = std::chrono::milliseconds(100);
constexpr unsigned CONNECTIONS_MAX = 32;
constexpr size_t CONNECTION_BYTES_MAX = 16 * 1024; // its request's line and headers among them
constexpr unsigned IDLE_SECONDS_MAX = 10;
constexpr int BACKLOG = 16;

struct page {
    std::function<std::string()> make_text;
    MHD_Response *metrics = nullptr; // many connections may be sending it
    std::chrono::steady_clock::time_point made;
};

struct parts {
    std::string host = LOOPBACK;
    std::string port;
};

bool take_apart(std::string_view where, parts *out)
{
    const size_t colon = where.rfind(':');
    if (colon != where.npos && colon > 0) {
        const bool is_bracketed = where.front() == '[' && where[colon - 1] == ']';
        out->host = is_bracketed ? where.substr(1, colon - 2) : where.substr(0, colon);
    }
    out->port = where.substr(colon == where.npos ? 0 : colon + 1);
    uint16_t number = 0;
    const char *const end = out->port.data() + out->port.size();
    const auto [at, error] = std::from_chars(out->port.data(), end, number);
    return error == std::errc() && at == end;
}

// -1 with errno.
int listen_at_address(const addrinfo &it)
{
    const int fd = socket(it.ai_family, it.ai_socktype | SOCK_CLOEXEC, it.ai_protocol);
    const int on = 1;
    if (fd >= 0 && setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
        bind(fd, it.ai_addr, it.ai_addrlen) == 0 && listen(fd, BACKLOG) == 0) {
        return fd;
    }
    const int error = errno;
    close(fd);
    errno = error;
    return -1;
}

std::string name_of(int listening)
{
    sockaddr_storage address = {};
    socklen_t size = sizeof address;
    char host[NI_MAXHOST] = "";
    char port[NI_MAXSERV] = "";
    getsockname(listening, reinterpret_cast<sockaddr *>(&address), &size);
    getnameinfo(reinterpret_cast<const sockaddr *>(&address), size, host, sizeof host, port, sizeof port,
                NI_NUMERICHOST | NI_NUMERICSERV);
    const std::string name = host;
    return (name.find(':') == name.npos ? name : "[" + name + "]") + ":" + port;
}

MHD_Response *response_of(const std::string &text, const char *type)
{
    MHD_Response *const it =
        MHD_create_response_from_buffer(text.size(), const_cast<char *>(text.data()),
                                        MHD_RESPMEM_MUST_COPY); // NOLINT(*-const-cast): it copies
    MHD_add_response_header(it, MHD_HTTP_HEADER_CONTENT_TYPE, type);
    return it;
}

MHD_Result answer_with(MHD_Connection *connection, unsigned status, const std::string &text)
{
    MHD_Response *const it = response_of(text + "\n", "text/plain; charset=utf-8");
    if (status == MHD_HTTP_METHOD_NOT_ALLOWED) {
        MHD_add_response_header(it, MHD_HTTP_HEADER_ALLOW, "GET, HEAD");
    }
    const MHD_Result done = MHD_queue_response(connection, status, it);
    MHD_destroy_response(it);
    return done;
}

MHD_Result answer_with_metrics(MHD_Connection *connection, page &page)
{
    const auto now = std::chrono::steady_clock::now();
    if (page.metrics == nullptr || now - page.made >= TEXT_LIVES) {
        const std::string text = page.make_text();
        if (text.empty()) {
            return answer_with(connection, MHD_HTTP_SERVICE_UNAVAILABLE, "the service does not answer");
        }
        if (page.metrics != nullptr) {
            MHD_destroy_response(page.metrics);
        }
        page.metrics = response_of(text, "text/plain; version=0.0.4; charset=utf-8");
        page.made = now;
    }
    return MHD_queue_response(connection, MHD_HTTP_OK, page.metrics);
}

MHD_Result take_request(void *self, MHD_Connection *connection, const char *path, const char *method,
                        const char *, const char *, size_t *, void **state)
{
    if (strcmp(method, MHD_HTTP_METHOD_GET) != 0 && strcmp(method, MHD_HTTP_METHOD_HEAD) != 0) {
        return answer_with(connection, MHD_HTTP_METHOD_NOT_ALLOWED, "GET and HEAD are all there is");
    }
    if (*state == nullptr) { // an answer before the request has been read whole would end the connection
        *state = self;
        return MHD_YES;
    }
    if (strcmp(path, PATH) != 0) {
        return answer_with(connection, MHD_HTTP_NOT_FOUND,
                           std::string("there is ") + PATH + " and nothing else");
    }
    return answer_with_metrics(connection, *static_cast<page *>(self));
}

} // namespace

int listen_http(std::string *where, std::string *problem)
{
    const std::string asked = *where;
    parts parts;
    if (!take_apart(asked, &parts)) {
        *problem = asked + " is no HOST:PORT";
        return -1;
    }
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo *found = nullptr;
    if (const int error = getaddrinfo(parts.host.c_str(), parts.port.c_str(), &hints, &found); error != 0) {
        *problem = "cannot find " + parts.host + ": " + gai_strerror(error);
        return -1;
    }
    const int listening = listen_at_address(*found);
    *problem = listening < 0 ? "cannot listen at " + asked + ": " + strerror(errno) : "";
    freeaddrinfo(found);
    *where = listening < 0 ? asked : name_of(listening);
    return listening;
}

bool serve_http(int listening, std::function<std::string()> make_text)
{
    auto *const the_page = new page{std::move(make_text), nullptr, {}}; // its thread never stops
    return MHD_start_daemon(MHD_USE_EPOLL_INTERNAL_THREAD, 0, nullptr, nullptr, take_request, the_page,
                            MHD_OPTION_LISTEN_SOCKET, listening, MHD_OPTION_CONNECTION_LIMIT, CONNECTIONS_MAX,
                            MHD_OPTION_CONNECTION_MEMORY_LIMIT, CONNECTION_BYTES_MAX,
                            MHD_OPTION_CONNECTION_TIMEOUT, IDLE_SECONDS_MAX, MHD_OPTION_END) != nullptr;
}
