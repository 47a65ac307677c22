#include "platform/host_tree.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "platform/own_folder.h"

namespace {

std::mutex root_mutex;
std::atomic<const char *> root_text = nullptr; // null: the environment has not been asked yet
std::string *root_storage = nullptr;           // never freed: threads outlive main
std::string *last_refused = nullptr;           // likewise: what was told last

// One line for each reason: a device has many files in one folder.
void tell_refused(const std::string &problem)
{
    const int error = errno;
    const std::lock_guard guard(root_mutex);
    if (last_refused == nullptr) {
        last_refused = new std::string;
    }
    if (*last_refused != problem) {
        *last_refused = problem;
        fprintf(stderr, "kelvane: %s: not used as part of a host's tree\n", problem.c_str());
    }
    errno = error;
}

int open_below(const std::string &root, std::string_view path, std::string *problem)
{
    const int top = own_folder_open(root, problem);
    if (top < 0) {
        return -1;
    }
    const int folder = own_folder_below(top, path, problem);
    const int error = errno;
    if (!problem->empty()) {
        *problem = root + *problem;
    }
    close(top);
    errno = error;
    return folder;
}

} // namespace

const char *host_tree_root(void)
{
    const char *known = root_text.load(std::memory_order_acquire);
    if (known != nullptr) {
        return known;
    }
    const std::lock_guard guard(root_mutex);
    if (root_text.load(std::memory_order_relaxed) == nullptr) {
        if (root_storage == nullptr) {
            root_storage = new std::string;
        }
        const char *wanted = secure_getenv(HOST_TREE_VARIABLE);
        root_storage->assign(wanted != nullptr ? wanted : "");
        while (root_storage->ends_with('/')) {
            root_storage->pop_back();
        }
        root_text.store(root_storage->c_str(), std::memory_order_release);
    }
    return root_text.load(std::memory_order_relaxed);
}

int host_tree_open(const char *path, int flags)
{
    const std::string root = host_tree_root();
    if (root.empty()) {
        return open(path, flags | O_CLOEXEC, 0666);
    }
    const std::string_view whole = path;
    const size_t slash = whole.rfind('/');
    if (root.size() + whole.size() >= PATH_MAX || slash == std::string_view::npos) {
        errno = slash == std::string_view::npos ? EINVAL : ENAMETOOLONG;
        return -1;
    }
    std::string problem;
    int fd = -1;
    const int folder = open_below(root, whole.substr(0, slash), &problem);
    if (folder >= 0) {
        fd = openat(folder, path + slash + 1, flags | O_CLOEXEC | O_NOFOLLOW, 0600);
        const int error = errno;
        if (fd < 0 && error == ELOOP) {
            problem = root + path + " is a symbolic link";
        }
        close(folder);
        errno = error;
    }
    if (!problem.empty()) {
        tell_refused(problem);
    }
    return fd;
}

FILE *host_tree_fopen(const char *path, const char *mode)
{
    if (host_tree_root()[0] == '\0') {
        return fopen(path, (std::string(mode) + "e").c_str());
    }
    int flags = strchr(mode, '+') != nullptr ? O_RDWR : mode[0] == 'r' ? O_RDONLY : O_WRONLY;
    flags |= mode[0] == 'r' ? 0 : O_CREAT | (mode[0] == 'w' ? O_TRUNC : O_APPEND);
    const int fd = host_tree_open(path, flags);
    FILE *file = fd < 0 ? nullptr : fdopen(fd, mode);
    if (fd >= 0 && file == nullptr) {
        const int error = errno;
        close(fd);
        errno = error;
    }
    return file;
}

void host_tree_forget(void)
{
    const std::lock_guard guard(root_mutex);
    root_text.store(nullptr, std::memory_order_relaxed);
    delete std::exchange(last_refused, nullptr);
}
