#include "benchmarks/service/running_service.h"

#include <chrono>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>

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

pid_t start_and_wait(const char *file)
{
    const pid_t service = program_start({file}).pid;
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

} // namespace

pid_t start_service()
{
    start_simulator();
    return start_and_wait(KELVANED);
}

pid_t start_service_on_bench_card()
{
    return start_and_wait(KELVANED_ON_BENCH_CARD);
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
    if (take_line(client, room) != R"({"jsonrpc":"2.0","id":1,"result":{"value":0}})"
                                   "\n") {
        figure_fail("read_register through the service");
    }
}
