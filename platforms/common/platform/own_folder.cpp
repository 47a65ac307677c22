#include "platform/own_folder.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int FOLDER_FLAGS = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

int refuse(int fd, int error, const std::string &path, const std::string &what, std::string *problem)
{
    *problem = path + " " + what;
    if (fd >= 0) {
        close(fd);
    }
    errno = error;
    return -1;
}

int open_checked(int parent, const char *name, const std::string &path, std::string *problem)
{
    problem->clear();
    const int fd = openat(parent, name, FOLDER_FLAGS);
    struct stat status {};
    if (fd < 0) {
        const int error = errno; // of a link it says no more than that it is no folder
        const bool is_link =
            fstatat(parent, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode);
        errno = error;
        return is_link ? refuse(fd, ELOOP, path, "is a symbolic link", problem) : -1;
    }
    if (fstat(fd, &status) != 0 || status.st_uid != geteuid()) {
        return refuse(fd, EPERM, path, "belongs to user " + std::to_string(status.st_uid), problem);
    }
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        return refuse(fd, EPERM, path, "may be written to by others", problem);
    }
    return fd;
}

} // namespace

int own_folder_open(const std::string &path, std::string *problem)
{
    std::string plain = path; // a closing slash would have a link followed
    while (plain.size() > 1 && plain.ends_with('/')) {
        plain.pop_back();
    }
    return open_checked(AT_FDCWD, plain.c_str(), plain, problem);
}

int own_folder_below(int root, std::string_view path, std::string *problem)
{
    problem->clear();
    int folder = openat(root, ".", FOLDER_FLAGS);
    for (size_t at = 0; folder >= 0 && at < path.size();) {
        const size_t end = std::min(path.find('/', at + 1), path.size());
        const std::string name(path.substr(at + 1, end - at - 1));
        const int next = open_checked(folder, name.c_str(), std::string(path.substr(0, end)), problem);
        const int error = errno;
        close(folder);
        errno = error;
        folder = next;
        at = end;
    }
    return folder;
}
