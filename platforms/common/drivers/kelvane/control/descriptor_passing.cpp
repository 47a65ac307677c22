#include "control/descriptor_passing.h"

#include <cstring>

#include <sys/socket.h>
#include <unistd.h>

#include "platform/host_tree.h"

std::string service_socket_path()
{
    return std::string(host_tree_root()) + "/run/kelvane/kelvaned.sock";
}

ssize_t send_beside(int socket, std::string_view bytes, int file, int flags)
{
    alignas(cmsghdr) char rights[CMSG_SPACE(sizeof file)] = {};
    iovec piece = {const_cast<char *>(bytes.data()), bytes.size()};
    msghdr message = {};
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    if (file >= 0) {
        message.msg_control = rights;
        message.msg_controllen = sizeof rights;
        cmsghdr *const header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof file);
        memcpy(CMSG_DATA(header), &file, sizeof file);
    }
    return sendmsg(socket, &message, flags | MSG_NOSIGNAL);
}

ssize_t receive_beside(int socket, char *bytes, size_t count, int flags, std::vector<int> *files)
{
    alignas(cmsghdr) char rights[CMSG_SPACE(DESCRIPTORS_MAX * sizeof(int))];
    iovec piece = {bytes, count};
    msghdr message = {};
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    message.msg_control = rights;
    message.msg_controllen = sizeof rights;
    const ssize_t got = recvmsg(socket, &message, flags | MSG_CMSG_CLOEXEC);
    for (cmsghdr *it = got < 0 ? nullptr : CMSG_FIRSTHDR(&message); it != nullptr;
         it = CMSG_NXTHDR(&message, it)) {
        if (it->cmsg_level != SOL_SOCKET || it->cmsg_type != SCM_RIGHTS) {
            continue;
        }
        for (size_t at = CMSG_LEN(0); at + sizeof(int) <= it->cmsg_len; at += sizeof(int)) {
            int file = -1;
            memcpy(&file, reinterpret_cast<const char *>(it) + at, sizeof file);
            files->push_back(file);
        }
    }
    return got;
}

bool write_all(int file, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = write(file, bytes.data(), bytes.size());
        if (written < 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}
