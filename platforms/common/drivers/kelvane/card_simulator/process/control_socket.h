// The operator's verbs from other processes. A packet is a verb's line; the answer is one packet, too:
// '0' for done or '1' for refused, and the text.
#ifndef CARD_SIMULATOR_PROCESS_CONTROL_SOCKET_H
#define CARD_SIMULATOR_PROCESS_CONTROL_SOCKET_H

#include <string>
#include <vector>

#include "card_simulator/process/card_tree.h"
#include "card_simulator/process/event_loop.h"
#include "card_simulator/process/uio_server.h"

constexpr size_t CONTROL_LINE_BYTES_MAX = 1024;
constexpr size_t CONTROL_ANSWER_BYTES_MAX = 65536;
constexpr size_t CONTROL_CONNECTIONS_MAX = 16;

struct control_socket {
    uio_server *server = nullptr;
    event_loop *loop = nullptr;
    int listener = -1;
    std::vector<int> connections;
};

bool control_socket_start(control_socket &socket, const card_tree &tree, uio_server &server, event_loop &loop,
                          std::string *problem);
void control_socket_stop(control_socket &socket);

// The other end: sends one line to the card whose tree is `folder` and prints its answer, a refusal on
// standard error. Returns a process's status: 0 done, 1 refused or no card there.
int control_socket_send(const std::string &folder, const std::string &line);

#endif
