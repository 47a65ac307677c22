#include "card_simulator/process/card_tree.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char *LOCK_FILE = "/card.lock";
constexpr const char *CONTROL_SOCKET = "/control";
constexpr const char *NODE = "/dev/uio0";
constexpr const char *DEVICE = "/sys/class/uio/uio0";
constexpr const char *FOLDERS[] = {
    "/dev",
    "/root",
    "/sys",
    "/sys/class",
    "/sys/class/uio",
    "/sys/class/uio/uio0",
    "/sys/class/uio/uio0/maps",
    "/sys/class/uio/uio0/maps/map0",
};
// Folders that nobody chose a name for: a card's own, and those of the script that starts one.
constexpr const char *MADE_UP_NAMES[] = {"kelvane_card.", "kelvane_host."};
// Files of the device; `name`, by which it is found, is removed first and written last.
constexpr const char *FILES[] = {
    "/name",           "/version",          "/event", "/maps/map0/name", "/maps/map0/addr",
    "/maps/map0/size", "/maps/map0/offset",
};
constexpr const char *DRIVER_VERSION = "1.0\n";
constexpr const char *MAP_NAME = "bar0\n";
constexpr uint64_t BUS_ADDRESS = 0xA0000000;

bool failed(std::string *problem, const std::string &what, const std::string &path)
{
    *problem = what + " " + path + ": " + std::strerror(errno);
    return false;
}

bool make_folder(const std::string &path, std::string *problem)
{
    return mkdir(path.c_str(), 0755) == 0 || errno == EEXIST || failed(problem, "cannot make", path);
}

bool resolve(card_tree &tree, const std::string &folder, std::string *problem)
{
    std::string path = folder;
    if (path.empty()) {
        const char *place = std::getenv("TMPDIR");
        path = std::string(place == nullptr || *place == '\0' ? "/tmp" : place) + "/kelvane_card.XXXXXX";
        if (mkdtemp(path.data()) == nullptr) {
            return failed(problem, "cannot make", path);
        }
    } else if (!make_folder(path, problem)) {
        return false;
    }
    char *resolved = realpath(path.c_str(), nullptr);
    if (resolved == nullptr) {
        return failed(problem, "cannot resolve", path);
    }
    tree.root = resolved;
    std::free(resolved);
    return true;
}

std::string owner_of(int lock_fd)
{
    char text[16] = {};
    return pread(lock_fd, text, sizeof text - 1, 0) > 0 ? std::string(", process ") + text : "";
}

// A card that ends may remove the lock file between the open and the lock: then the locked file is not the
// named one any more, and it is tried again.
bool lock(card_tree &tree, std::string *problem)
{
    const std::string path = tree.root + LOCK_FILE;
    for (;;) {
        const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
        if (fd < 0) {
            return failed(problem, "cannot open", path);
        }
        if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
            const int error = errno;
            *problem = error == EWOULDBLOCK ? "a card runs on " + tree.root + " already" + owner_of(fd)
                                            : "cannot lock " + path + ": " + std::strerror(error);
            close(fd);
            return false;
        }
        struct stat locked;
        struct stat named;
        if (fstat(fd, &locked) == 0 && stat(path.c_str(), &named) == 0 && locked.st_ino == named.st_ino &&
            locked.st_dev == named.st_dev) {
            tree.lock_fd = fd;
            return true;
        }
        close(fd);
    }
}

bool write_file(const std::string &path, const std::string &text, std::string *problem)
{
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0644);
    if (fd < 0) {
        return failed(problem, "cannot write", path);
    }
    const bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (!written) {
        failed(problem, "cannot write", path);
    }
    close(fd);
    return written;
}

std::string hexadecimal(int digits, uint64_t number)
{
    char text[32];
    std::snprintf(text, sizeof text, "0x%0*" PRIx64 "\n", digits, number);
    return text;
}

void remove_device(const card_tree &tree)
{
    for (const char *file : FILES) {
        unlink((tree.root + DEVICE + file).c_str());
    }
    unlink(tree.node.c_str());
    unlink(tree.control.c_str());
}

void name_sockets(card_tree &tree)
{
    tree.node = tree.root + NODE;
    tree.control = card_tree_control_path(tree.root);
}

// A live card that has just made its lock file may not have written its process id into it yet.
bool is_of_a_dead_card(int lock_fd)
{
    char owner = 0;
    return pread(lock_fd, &owner, 1, 0) == 1 && flock(lock_fd, LOCK_EX | LOCK_NB) == 0;
}

void remove_if_dead(const std::string &root)
{
    struct stat status;
    if (lstat(root.c_str(), &status) != 0 || !S_ISDIR(status.st_mode) || status.st_uid != geteuid()) {
        return;
    }
    const int lock_fd = open((root + LOCK_FILE).c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
    if (lock_fd < 0) {
        return;
    }
    if (!is_of_a_dead_card(lock_fd)) {
        close(lock_fd);
        return;
    }
    card_tree dead;
    dead.root = root;
    dead.lock_fd = lock_fd;
    name_sockets(dead);
    card_tree_close(dead);
}

// Nobody comes back to a folder with a made-up name: without this its sockets would stay forever.
void remove_dead_trees_beside(const std::string &root)
{
    const std::string folder = root.substr(0, root.rfind('/') + 1);
    DIR *entries = opendir(folder.c_str());
    if (entries == nullptr) {
        return;
    }
    while (const dirent *entry = readdir(entries)) {
        const std::string_view name = entry->d_name;
        if (std::ranges::any_of(MADE_UP_NAMES,
                                [name](const char *made_up) { return name.starts_with(made_up); })) {
            remove_if_dead(folder + entry->d_name);
        }
    }
    closedir(entries);
}

} // namespace

bool card_tree_open(card_tree &tree, const std::string &folder, std::string *problem)
{
    if (!resolve(tree, folder, problem) || !lock(tree, problem)) {
        return false;
    }
    remove_dead_trees_beside(tree.root);
    name_sockets(tree);
    const std::string owner = std::to_string(getpid());
    if (ftruncate(tree.lock_fd, 0) != 0 ||
        pwrite(tree.lock_fd, owner.data(), owner.size(), 0) != static_cast<ssize_t>(owner.size())) {
        return failed(problem, "cannot write", tree.root + LOCK_FILE);
    }
    remove_device(tree);
    for (const char *path : FOLDERS) {
        if (!make_folder(tree.root + path, problem)) {
            return false;
        }
    }
    return true;
}

bool card_tree_publish(const card_tree &tree, const std::string &device_name, uint32_t bar_bytes,
                       std::string *problem)
{
    const std::string device = tree.root + DEVICE;
    const std::string map = device + "/maps/map0";
    return write_file(map + "/name", MAP_NAME, problem) &&
           write_file(map + "/addr", hexadecimal(16, BUS_ADDRESS), problem) &&
           write_file(map + "/size", hexadecimal(16, bar_bytes), problem) &&
           write_file(map + "/offset", hexadecimal(1, 0), problem) &&
           write_file(device + "/version", DRIVER_VERSION, problem) &&
           write_file(device + "/event", "0\n", problem) &&
           write_file(device + "/name", device_name + "\n", problem);
}

bool card_tree_write_event_count(const card_tree &tree, uint32_t count, std::string *problem)
{
    return write_file(tree.root + DEVICE + "/event", std::to_string(count) + "\n", problem);
}

bool card_tree_link(card_tree &tree, const std::string &path, std::string *problem)
{
    struct stat status;
    if (lstat(path.c_str(), &status) == 0 && !S_ISLNK(status.st_mode)) {
        *problem = path + " exists and is no symbolic link";
        return false;
    }
    const std::string fresh = path + "." + std::to_string(getpid());
    unlink(fresh.c_str());
    if (symlink(tree.root.c_str(), fresh.c_str()) != 0) {
        return failed(problem, "cannot make", fresh);
    }
    if (rename(fresh.c_str(), path.c_str()) != 0) {
        failed(problem, "cannot replace", path);
        unlink(fresh.c_str());
        return false;
    }
    tree.link = path;
    return true;
}

void card_tree_close(card_tree &tree)
{
    if (tree.lock_fd < 0) {
        return;
    }
    remove_device(tree);
    char target[PATH_MAX] = {};
    if (!tree.link.empty() && readlink(tree.link.c_str(), target, sizeof target - 1) > 0 &&
        tree.root == target) {
        unlink(tree.link.c_str());
    }
    for (size_t i = std::size(FOLDERS); i-- > 0;) {
        rmdir((tree.root + FOLDERS[i]).c_str());
    }
    unlink((tree.root + LOCK_FILE).c_str());
    rmdir(tree.root.c_str());
    close(tree.lock_fd);
    tree.lock_fd = -1;
}

std::string card_tree_control_path(const std::string &folder)
{
    return folder + CONTROL_SOCKET;
}
