// Bytes over a Unix socket, and open files beside them.
#ifndef CONTROL_DESCRIPTOR_PASSING_H
#define CONTROL_DESCRIPTOR_PASSING_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

constexpr size_t DESCRIPTORS_MAX = 8; // of one message; the kernel closes what is beyond

// Where the service listens unless somebody says otherwise, below the host's tree.
std::string service_socket_path();

// As sendmsg, with the descriptor of an open file along with the first byte; -1 for none. Raises no signal.
ssize_t send_beside(int socket, std::string_view bytes, int file, int flags);

// As recvmsg; the descriptors that came along are put behind `files`, and are the caller's to close.
ssize_t receive_beside(int socket, char *bytes, size_t count, int flags, std::vector<int> *files);

// Whether all of them came to be in the file; errno tells otherwise. Blocks.
bool write_all(int file, std::string_view bytes);

#endif
