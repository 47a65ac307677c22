#include "card_simulator/process/control_socket.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "card_simulator/process/card_tree.h"
#include "card_simulator/process/local_socket.h"
#include "card_simulator/process/terminal_text.h"

namespace {

constexpr time_t ANSWER_TIMEOUT_S = 10;
constexpr char DONE = '0';
constexpr char REFUSED = '1';

void drop_connection(control_socket &control, int fd)
{
    event_loop_forget(*control.loop, fd);
    std::erase(control.connections, fd);
    close(fd);
}

std::string answer_to(uio_server &server, const std::string &line)
{
    std::string answer;
    if (line.size() > CONTROL_LINE_BYTES_MAX || line.find('\0') != std::string::npos) {
        return std::string(1, REFUSED) + "a line is text of up to 1024 characters\n";
    }
    const int32_t result = uio_server_verb(server, line.c_str(), &answer);
    answer.insert(answer.begin(), result == 0 ? DONE : REFUSED);
    answer.resize(std::min(answer.size(), CONTROL_ANSWER_BYTES_MAX));
    return answer;
}

void line_came(void *self, int fd)
{
    auto &control = *static_cast<control_socket *>(self);
    std::string line(CONTROL_LINE_BYTES_MAX + 1, '\0');
    const ssize_t got = recv(fd, line.data(), line.size(), MSG_DONTWAIT);
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    if (got <= 0) {
        drop_connection(control, fd);
        return;
    }
    line.resize(static_cast<size_t>(got));
    const std::string answer = answer_to(*control.server, line);
    if (send(fd, answer.data(), answer.size(), MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
        std::fprintf(stderr, "card_simulator: a verb's answer could not be sent: %s\n", std::strerror(errno));
        drop_connection(control, fd);
    }
}

void sender_connects(void *self, int listener)
{
    auto &control = *static_cast<control_socket *>(self);
    const int fd = local_socket_accept(*control.loop, listener);
    if (fd < 0) {
        return;
    }
    if (control.connections.size() >= CONTROL_CONNECTIONS_MAX) {
        std::fprintf(stderr, "card_simulator: too many connections to the control socket\n");
        close(fd);
        return;
    }
    control.connections.push_back(fd);
    event_loop_watch(*control.loop, {fd, &control, line_came});
}

// The answer with its status character, empty when none came.
std::string ask(int fd, const std::string &line)
{
    const timeval patience{ANSWER_TIMEOUT_S, 0};
    std::string answer(CONTROL_ANSWER_BYTES_MAX, '\0');
    ssize_t got = -1;
    if (setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience) == 0 &&
        send(fd, line.data(), line.size(), MSG_NOSIGNAL) >= 0) {
        got = recv(fd, answer.data(), answer.size(), 0);
    }
    answer.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return answer;
}

} // namespace

bool control_socket_start(control_socket &socket, const card_tree &tree, uio_server &server, event_loop &loop,
                          std::string *problem)
{
    socket.server = &server;
    socket.loop = &loop;
    socket.listener = card_tree_listen_for_verbs(tree, problem);
    if (socket.listener < 0) {
        return false;
    }
    event_loop_watch(loop, {socket.listener, &socket, sender_connects});
    return true;
}

void control_socket_stop(control_socket &socket)
{
    while (!socket.connections.empty()) {
        drop_connection(socket, socket.connections.back());
    }
    if (socket.listener >= 0) {
        event_loop_forget(*socket.loop, socket.listener);
        close(socket.listener);
        socket.listener = -1;
    }
}

int control_socket_send(const std::string &folder, const std::string &line)
{
    std::string problem;
    const int fd = card_tree_connect(folder, &problem);
    if (fd < 0) {
        std::fprintf(stderr, "card: %s\n", problem.c_str());
        return 1;
    }
    const std::string answer = ask(fd, line);
    if (answer.empty()) {
        std::fprintf(stderr, "card: the card on %s does not answer\n", folder.c_str());
        close(fd);
        return 1;
    }
    close(fd);
    const bool done = answer[0] == DONE;
    print_for_terminal(done ? stdout : stderr, answer.substr(1));
    return done ? 0 : 1;
}
