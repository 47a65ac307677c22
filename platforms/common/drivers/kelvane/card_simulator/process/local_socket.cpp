#include "card_simulator/process/local_socket.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int BACKLOG = 16;

void close_keeping_errno(int fd)
{
    const int error = errno;
    close(fd);
    errno = error;
}

// A path that is longer than a socket's address holds is named through its folder, which stays open as
// long as the address is used.
struct local_address {
    sockaddr_un address = {};
    int folder = -1;

    local_address() = default;
    ~local_address()
    {
        if (folder >= 0) {
            close_keeping_errno(folder);
        }
    }
    local_address(const local_address &) = delete;
    local_address &operator=(const local_address &) = delete;
};

bool put_path(sockaddr_un *address, const std::string &path)
{
    if (path.size() >= sizeof address->sun_path) {
        errno = ENAMETOOLONG;
        return false;
    }
    address->sun_family = AF_UNIX;
    std::memcpy(address->sun_path, path.c_str(), path.size() + 1);
    return true;
}

bool address_of(const std::string &path, local_address *it)
{
    const size_t slash = path.rfind('/');
    if (path.size() < sizeof it->address.sun_path || slash == std::string::npos) {
        return put_path(&it->address, path);
    }
    it->folder = open(path.substr(0, slash + 1).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    return it->folder >= 0 &&
           put_path(&it->address, "/proc/self/fd/" + std::to_string(it->folder) + path.substr(slash));
}

const sockaddr *generic(const sockaddr_un *address)
{
    return reinterpret_cast<const sockaddr *>(address);
}

} // namespace

int local_socket_listen(const std::string &path, std::string *problem)
{
    local_address address;
    int fd = -1;
    if (address_of(path, &address)) {
        fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    }
    if (fd >= 0 &&
        (bind(fd, generic(&address.address), sizeof address.address) != 0 || listen(fd, BACKLOG) != 0)) {
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
    local_address address;
    if (!address_of(path, &address)) {
        return -1;
    }
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (fd >= 0 && connect(fd, generic(&address.address), sizeof address.address) != 0) {
        close_keeping_errno(fd);
        return -1;
    }
    return fd;
}

int local_socket_accept(int listener)
{
    return accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
}
