#include "benchmarks/service/running_service.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "benchmarks/figure_process.h"
#include "benchmarks/figures.h"
#include "benchmarks/programs/program.h"

namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr auto UP_WITHIN = seconds(30);
constexpr auto LOOKS_AGAIN = std::chrono::milliseconds(50);
constexpr std::string_view SCRAPE = "GET /metrics HTTP/1.1\r\nHost: localhost\r\n\r\n";
constexpr size_t ANSWER_BYTES_MAX = 4096;

// -1 while nobody listens.
int connect_once()
{
    const std::string path = figure_host() + "/run/kelvane/kelvaned.sock";
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        figure_fail("the socket's path, which is too long,");
    }
    memcpy(address.sun_path, path.c_str(), path.size());
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) {
        return fd;
    }
    close(fd);
    return -1;
}

void send_line(int client, std::string_view line)
{
    if (send(client, line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size())) {
        figure_fail("asking the service");
    }
}

// The line is in `room`.
std::string_view take_line(int client, char (&room)[ANSWER_BYTES_MAX])
{
    size_t have = 0;
    while (have == 0 || room[have - 1] != '\n') {
        const ssize_t got = recv(client, room + have, sizeof room - have, 0);
        if (got <= 0) {
            figure_fail("the service's answer");
        }
        have += static_cast<size_t>(got);
    }
    return {room, have};
}

bool is_up(int client)
{
    char room[ANSWER_BYTES_MAX];
    send_line(client, R"({"jsonrpc":"2.0","id":1,"method":"service_status"})"
                      "\n");
    return take_line(client, room).find(R"("state":"up")") != std::string_view::npos;
}

pid_t start_and_wait(const std::vector<std::string> &words)
{
    const pid_t service = program_start(words).pid;
    const auto late = steady_clock::now() + UP_WITHIN;
    int client = -1;
    while ((client = connect_once()) < 0 || !is_up(client)) {
        close(client);
        if (steady_clock::now() > late) {
            figure_fail("waiting for the service");
        }
        std::this_thread::sleep_for(LOOKS_AGAIN);
    }
    close(client);
    return service;
}

sockaddr_in metrics_address = {};

// Its socket, in which nobody listens any more, has had a port that is free.
void choose_metrics_address()
{
    metrics_address.sin_family = AF_INET;
    metrics_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof metrics_address;
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(fd, reinterpret_cast<const sockaddr *>(&metrics_address), size) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr *>(&metrics_address), &size) != 0) {
        figure_fail("choosing a port");
    }
    close(fd);
}

// The whole answer to a request, which follows its header of some hundred bytes.
std::string_view take_metrics(int connection, std::vector<char> *room)
{
    size_t have = 0;
    size_t whole = room->size();
    while (have < whole) {
        const ssize_t got = recv(connection, room->data() + have, room->size() - have, 0);
        if (got <= 0) {
            figure_fail("the scrape's answer");
        }
        have += static_cast<size_t>(got);
        const std::string_view text(room->data(), have);
        const size_t end = text.find("\r\n\r\n");
        const size_t length = text.find("Content-Length: ");
        if (end != text.npos && length < end) {
            whole = end + 4 + std::strtoul(room->data() + length + strlen("Content-Length: "), nullptr, 10);
        }
    }
    return {room->data(), have};
}

} // namespace

pid_t start_service()
{
    start_simulator();
    return start_and_wait({KELVANED});
}

pid_t start_service_on_bench_card()
{
    return start_and_wait({KELVANED_ON_BENCH_CARD});
}

void start_service_with_metrics()
{
    choose_metrics_address();
    start_simulator();
    start_and_wait({KELVANED, "--http", std::to_string(ntohs(metrics_address.sin_port))});
    const auto late = steady_clock::now() + UP_WITHIN;
    std::vector<char> room(1 << 20);
    const int connection = connect_to_metrics();
    for (bool has_all = false; !has_all; std::this_thread::sleep_for(LOOKS_AGAIN)) {
        send_line(connection, SCRAPE);
        has_all = take_metrics(connection, &room).find("input_power_dbm{module=\"module/5\"}") !=
                  std::string_view::npos;
        if (steady_clock::now() > late) {
            figure_fail("waiting for the measurements");
        }
    }
    close(connection);
}

int connect_to_metrics()
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(fd, reinterpret_cast<const sockaddr *>(&metrics_address), sizeof metrics_address) != 0) {
        figure_fail("connecting to the metrics");
    }
    return fd;
}

size_t scrape_metrics(int connection)
{
    static thread_local std::vector<char> room(1 << 20);
    send_line(connection, SCRAPE);
    return take_metrics(connection, &room).size();
}

int connect_to_service()
{
    const int client = connect_once();
    if (client < 0) {
        figure_fail("connecting to the service");
    }
    return client;
}

void send_register_request(int client, uint32_t sirane)
{
    static constexpr std::string_view REQUESTS[] = {
        R"({"jsonrpc":"2.0","id":1,"method":"read_register","params":{"address":"sirane/0","reg_address":36880}})"
        "\n",
        R"({"jsonrpc":"2.0","id":1,"method":"read_register","params":{"address":"sirane/1","reg_address":36880}})"
        "\n",
        R"({"jsonrpc":"2.0","id":1,"method":"read_register","params":{"address":"sirane/2","reg_address":36880}})"
        "\n",
    };
    send_line(client, REQUESTS[sirane]);
}

void take_register_answer(int client)
{
    char room[ANSWER_BYTES_MAX];
    if (!take_line(client, room).starts_with(R"({"jsonrpc":"2.0","id":1,"result":{"value":)")) {
        figure_fail("read_register through the service");
    }
}
