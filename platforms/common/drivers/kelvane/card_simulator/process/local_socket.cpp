#include "card_simulator/process/local_socket.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int BACKLOG = 16;

bool is_shortage(int error)
{
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

} // namespace

// By way of the folder's descriptor the address is short, however deep the folder lies.
int local_socket_listen(int folder, const char *name)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const int length =
        std::snprintf(address.sun_path, sizeof address.sun_path, "/proc/self/fd/%d/%s", folder, name);
    if (length >= static_cast<int>(sizeof address.sun_path)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        return -1;
    }
    // The file gets the socket's own mode.
    if (fchmod(fd, S_IRUSR | S_IWUSR) != 0 ||
        bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(fd, BACKLOG) != 0) {
        const int error = errno;
        close(fd);
        errno = error;
        return -1;
    }
    return fd;
}

int local_socket_accept(event_loop &loop, int listener)
{
    const int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    const int error = errno;
    if (fd < 0 && is_shortage(error) && event_loop_rest(loop, listener)) {
        std::fprintf(stderr, "card_simulator: whoever connects now has to wait: %s\n", std::strerror(error));
    }
    return fd;
}
