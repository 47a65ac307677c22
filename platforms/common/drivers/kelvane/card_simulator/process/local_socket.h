// Unix sockets of whole packets, by path. None of these blocks but local_socket_connect's first answer.
#ifndef CARD_SIMULATOR_PROCESS_LOCAL_SOCKET_H
#define CARD_SIMULATOR_PROCESS_LOCAL_SOCKET_H

#include <string>

// A listening socket at the path, whose file must not exist; or -1 with the reason in `problem`.
int local_socket_listen(const std::string &path, std::string *problem);

// A connected socket, blocking; or -1 with errno set.
int local_socket_connect(const std::string &path);

// The next connection, not blocking; or -1 with errno set.
int local_socket_accept(int listener);

#endif
