#include "card_simulator/local_socket.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int BACKLOG = 16;

bool address_of(const std::string &path, sockaddr_un *address)
{
    *address = sockaddr_un{};
    address->sun_family = AF_UNIX;
    if (path.size() >= sizeof address->sun_path) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::memcpy(address->sun_path, path.c_str(), path.size() + 1);
    return true;
}

const sockaddr *generic(const sockaddr_un *address)
{
    return reinterpret_cast<const sockaddr *>(address);
}

void close_keeping_errno(int fd)
{
    const int error = errno;
    close(fd);
    errno = error;
}

} // namespace

int local_socket_listen(const std::string &path, std::string *problem)
{
    sockaddr_un address;
    int fd = -1;
    if (address_of(path, &address)) {
        fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    }
    if (fd >= 0 && (bind(fd, generic(&address), sizeof address) != 0 || listen(fd, BACKLOG) != 0)) {
        close_keeping_errno(fd);
        fd = -1;
    }
    if (fd < 0) {
        *problem = "cannot listen on " + path + ": " + std::strerror(errno);
    }
    return fd;
}

int local_socket_connect(const std::string &path)
{
    sockaddr_un address;
    if (!address_of(path, &address)) {
        return -1;
    }
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (fd >= 0 && connect(fd, generic(&address), sizeof address) != 0) {
        close_keeping_errno(fd);
        return -1;
    }
    return fd;
}

int local_socket_accept(int listener)
{
    return accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
}
