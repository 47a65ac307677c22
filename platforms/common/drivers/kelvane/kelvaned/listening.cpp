#include "kelvaned/listening.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/device_owner.h"
#include "platform/host_tree.h"
#include "platform/own_folder.h"

namespace {

constexpr const char *GROUP = "kelvane";
constexpr const char *FOLDERS[] = {"/run", "/run/kelvane"};

std::string told(const std::string &what)
{
    return what + ": " + strerror(errno);
}

// The lock tells a service that listens from one that died.
std::string lock_beside(const std::string &path)
{
    const int fd = open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        return told("cannot open " + path + ".lock");
    }
    const int error = device_own(fd);
    if (error == EBUSY) {
        return "process " + std::to_string(device_owner(fd)) + " is the service at " + path;
    }
    return error == 0 ? "" : "cannot lock " + path + ".lock: " + strerror(error);
}

} // namespace

std::string make_usual_folder()
{
    const std::string root = host_tree_root();
    for (const char *folder : FOLDERS) {
        if (mkdir((root + folder).c_str(), root.empty() ? 0755 : 0700) != 0 && errno != EEXIST) {
            return told("cannot make " + root + folder);
        }
    }
    if (root.empty()) {
        return "";
    }
    std::string problem;
    const int top = own_folder_open(root, &problem);
    const int folder = top < 0 ? -1 : own_folder_below(top, FOLDERS[1], &problem);
    if (folder < 0) {
        return problem.empty() ? told("cannot open " + root + FOLDERS[1]) : root + " " + problem;
    }
    close(folder);
    close(top);
    return "";
}

int listen_at(const std::string &path, std::string *problem)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        *problem = "the path of a socket has at most " + std::to_string(sizeof address.sun_path - 1) +
                   " characters, " + path + " has " + std::to_string(path.size());
        return -1;
    }
    *problem = lock_beside(path);
    if (!problem->empty()) {
        return -1;
    }
    memcpy(address.sun_path, path.c_str(), path.size());
    unlink(path.c_str());
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    umask(S_IXUSR | S_IXGRP | S_IRWXO); // the socket's mode is 0660
    if (fd < 0 || bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(fd, SOMAXCONN) != 0) {
        *problem = told("cannot listen at " + path);
        return -1;
    }
    umask(S_IRWXG | S_IRWXO);
    const group *const users = getgrnam(GROUP);
    if (users != nullptr && chown(path.c_str(), static_cast<uid_t>(-1), users->gr_gid) != 0 &&
        errno != EPERM) {
        *problem = told("cannot give " + path + " to the group " + GROUP);
        return -1;
    }
    return fd;
}
