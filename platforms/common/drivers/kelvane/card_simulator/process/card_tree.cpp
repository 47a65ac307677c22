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
#include <span>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "card_simulator/process/local_socket.h"
#include "platform/own_folder.h"
#include "platform/simulated_uio_client.h"

namespace {

constexpr const char *LOCK_FILE = "/card.lock";
constexpr const char *CONTROL_SOCKET = "/control";
constexpr const char *NODE = "/dev/uio0";
constexpr const char *EVENT = "/sys/class/uio/uio0/event";
constexpr const char *FOLDERS[] = {
    "", // the root
    "/dev",
    "/root",
    "/run",
    "/run/kelvane",
    "/sys",
    "/sys/class",
    "/sys/class/uio",
    "/sys/class/uio/uio0",
    "/sys/class/uio/uio0/maps",
    "/sys/class/uio/uio0/maps/map0",
};
// Folders that nobody chose a name for: a card's own, and those of the script that starts one.
constexpr const char *MADE_UP_NAMES[] = {"kelvane_card.", "kelvane_host."};
// What a card makes beside folders; the device's `name`, by which it is found, goes first and comes last.
constexpr const char *FILES[] = {
    "/sys/class/uio/uio0/name",
    "/sys/class/uio/uio0/version",
    EVENT,
    "/sys/class/uio/uio0/maps/map0/name",
    "/sys/class/uio/uio0/maps/map0/addr",
    "/sys/class/uio/uio0/maps/map0/size",
    "/sys/class/uio/uio0/maps/map0/offset",
    NODE,
    "/dev/uio0.lock", // by the host that has the card
    CONTROL_SOCKET,
};
// Those of a service, which may wait for a card that starts, and ends with it.
constexpr const char *SERVICE_FILES[] = {"/run/kelvane/kelvaned.sock", "/run/kelvane/kelvaned.sock.lock"};
constexpr const char *DRIVER_VERSION = "1.0\n";
constexpr const char *MAP_NAME = "bar0\n";
constexpr uint64_t BUS_ADDRESS = 0xA0000000;

void close_if_open(int &fd)
{
    if (fd >= 0) {
        close(fd);
        fd = -1;
    }
}

bool failed(std::string *problem, const std::string &what, const std::string &path)
{
    *problem = what + " " + path + ": " + std::strerror(errno);
    return false;
}

// A refused folder has its reason there already.
bool not_opened(std::string *problem, const std::string &above, const std::string &path)
{
    if (problem->empty()) {
        return failed(problem, "cannot open", above + path);
    }
    *problem = above + *problem + ": a card's tree has to be the user's own";
    return false;
}

bool is_made_up(std::string_view name)
{
    return std::ranges::any_of(MADE_UP_NAMES,
                               [name](const char *made_up) { return name.starts_with(made_up); });
}

// The folder in which `path` lies, and its name there.
int folder_of(const card_tree &tree, const char *path, const char **name, std::string *problem)
{
    *name = strrchr(path, '/') + 1;
    const std::string_view folder(path, static_cast<size_t>(*name - path - 1));
    const int fd = own_folder_below(tree.root_fd, folder, problem);
    if (fd < 0) {
        not_opened(problem, tree.root, std::string(folder));
    }
    return fd;
}

void remove(const card_tree &tree, const char *path, int flags)
{
    std::string ignored; // what is not there, or no more the card's, stays
    const char *name = nullptr;
    int folder = folder_of(tree, path, &name, &ignored);
    if (folder >= 0) {
        unlinkat(folder, name, flags);
        close_if_open(folder);
    }
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
        tree.made = 1;
    } else if (mkdir(path.c_str(), 0700) == 0) {
        tree.made = 1;
    } else if (errno != EEXIST) {
        return failed(problem, "cannot make", path);
    }
    tree.root_fd = own_folder_open(path, problem);
    if (tree.root_fd < 0) {
        return not_opened(problem, "", path);
    }
    char *resolved = realpath(path.c_str(), nullptr);
    if (resolved == nullptr) {
        return failed(problem, "cannot resolve", path);
    }
    tree.root = resolved;
    std::free(resolved);
    return true;
}

// The lock file names the card's process, and the folders that it and the dead ones before it made.
bool read_signature(int lock_fd, int *owner, uint32_t *made)
{
    char text[32] = {};
    return pread(lock_fd, text, sizeof text - 1, 0) > 0 && std::sscanf(text, "%d %" SCNx32, owner, made) == 2;
}

std::string owner_of(int lock_fd)
{
    int owner = 0;
    uint32_t made = 0;
    return read_signature(lock_fd, &owner, &made) ? ", process " + std::to_string(owner) : "";
}

// A card that ends may remove the lock file between the open and the lock: then the locked file is not the
// named one any more, and it is tried again.
bool lock(card_tree &tree, std::string *problem)
{
    const std::string path = tree.root + LOCK_FILE;
    for (;;) {
        const int fd =
            openat(tree.root_fd, LOCK_FILE + 1, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
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
        if (fstat(fd, &locked) == 0 &&
            fstatat(tree.root_fd, LOCK_FILE + 1, &named, AT_SYMLINK_NOFOLLOW) == 0 &&
            locked.st_ino == named.st_ino && locked.st_dev == named.st_dev) {
            tree.lock_fd = fd;
            return true;
        }
        close(fd);
    }
}

void take_over_folders(card_tree &tree)
{
    int dead = 0;
    uint32_t made = 0;
    if (read_signature(tree.lock_fd, &dead, &made)) {
        tree.made |= made;
    }
}

bool sign(const card_tree &tree, std::string *problem)
{
    char text[32];
    const int length = std::snprintf(text, sizeof text, "%d %" PRIx32 "\n", getpid(), tree.made);
    if (ftruncate(tree.lock_fd, 0) != 0 ||
        pwrite(tree.lock_fd, text, static_cast<size_t>(length), 0) != length) {
        return failed(problem, "cannot write", tree.root + LOCK_FILE);
    }
    return true;
}

bool make_folders(card_tree &tree, std::string *problem)
{
    for (size_t i = 1; i < std::size(FOLDERS); i++) {
        const char *name = nullptr;
        int folder = folder_of(tree, FOLDERS[i], &name, problem);
        if (folder < 0) {
            return false;
        }
        if (mkdirat(folder, name, 0700) == 0) {
            tree.made |= 1u << i;
        } else if (errno != EEXIST) {
            failed(problem, "cannot make", tree.root + FOLDERS[i]);
        }
        close_if_open(folder);
        if (!problem->empty()) {
            return false;
        }
        int made = own_folder_below(tree.root_fd, FOLDERS[i], problem);
        if (made < 0) {
            return not_opened(problem, tree.root, FOLDERS[i]);
        }
        close_if_open(made);
    }
    return true;
}

bool write_file(const card_tree &tree, const char *path, const std::string &text, std::string *problem,
                int *kept = nullptr)
{
    const char *name = nullptr;
    int folder = folder_of(tree, path, &name, problem);
    if (folder < 0) {
        return false;
    }
    int fd = openat(folder, name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
    const bool written = fd >= 0 && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (!written) {
        failed(problem, "cannot write", tree.root + path);
    }
    close_if_open(folder);
    if (kept != nullptr) {
        std::swap(*kept, fd);
    }
    close_if_open(fd);
    return written;
}

std::string hexadecimal(int digits, uint64_t number)
{
    char text[32];
    std::snprintf(text, sizeof text, "0x%0*" PRIx64 "\n", digits, number);
    return text;
}

void remove_files(const card_tree &tree, std::span<const char *const> files)
{
    for (const char *file : files) {
        remove(tree, file, 0);
    }
}

// Only if the path still leads to it.
void remove_root(const card_tree &tree)
{
    struct stat ours {
    }, named{};
    if (fstat(tree.root_fd, &ours) == 0 && lstat(tree.root.c_str(), &named) == 0 &&
        ours.st_ino == named.st_ino && ours.st_dev == named.st_dev) {
        rmdir(tree.root.c_str());
    }
}

// A live card that has just made its lock file may not have written its process id into it yet.
bool is_of_a_dead_card(int lock_fd)
{
    char owner = 0;
    return pread(lock_fd, &owner, 1, 0) == 1 && flock(lock_fd, LOCK_EX | LOCK_NB) == 0;
}

void remove_if_dead(const std::string &root)
{
    card_tree dead;
    dead.root = root;
    std::string ignored; // another user's, for instance
    dead.root_fd = own_folder_open(root, &ignored);
    if (dead.root_fd >= 0) {
        dead.lock_fd = openat(dead.root_fd, LOCK_FILE + 1, O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    }
    if (dead.lock_fd >= 0 && is_of_a_dead_card(dead.lock_fd)) {
        take_over_folders(dead);
    } else {
        close_if_open(dead.lock_fd);
    }
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
        if (is_made_up(entry->d_name)) {
            remove_if_dead(folder + entry->d_name);
        }
    }
    closedir(entries);
}

int listen_at(const card_tree &tree, const char *path, std::string *problem)
{
    const char *name = nullptr;
    int folder = folder_of(tree, path, &name, problem);
    if (folder < 0) {
        return -1;
    }
    const int fd = local_socket_listen(folder, name);
    if (fd < 0) {
        failed(problem, "cannot listen on", tree.root + path);
    }
    close_if_open(folder);
    return fd;
}

} // namespace

bool card_tree_open(card_tree &tree, const std::string &folder, std::string *problem)
{
    if (!resolve(tree, folder, problem) || !lock(tree, problem)) {
        return false;
    }
    remove_dead_trees_beside(tree.root);
    take_over_folders(tree);
    if (!sign(tree, problem)) {
        return false;
    }
    remove_files(tree, FILES);
    return make_folders(tree, problem) && sign(tree, problem);
}

int card_tree_listen_as_node(const card_tree &tree, std::string *problem)
{
    return listen_at(tree, NODE, problem);
}

int card_tree_listen_for_verbs(const card_tree &tree, std::string *problem)
{
    return listen_at(tree, CONTROL_SOCKET, problem);
}

int card_tree_connect(const std::string &folder, std::string *problem)
{
    int root = own_folder_open(folder, problem);
    if (root < 0) {
        not_opened(problem, "", folder);
        return -1;
    }
    int node = openat(root, CONTROL_SOCKET + 1, O_PATH | O_NOFOLLOW | O_CLOEXEC);
    const int fd = node < 0 ? -1 : simulated_uio_connect(node);
    if (fd < 0) {
        *problem = errno == ETIMEDOUT ? "the card on " + folder + " does not answer"
                                      : "no card runs on " + folder + ": " + std::strerror(errno);
    }
    close_if_open(node);
    close_if_open(root);
    return fd;
}

bool card_tree_publish(card_tree &tree, const std::string &device_name, uint32_t bar_bytes,
                       std::string *problem)
{
    return write_file(tree, "/sys/class/uio/uio0/maps/map0/name", MAP_NAME, problem) &&
           write_file(tree, "/sys/class/uio/uio0/maps/map0/addr", hexadecimal(16, BUS_ADDRESS), problem) &&
           write_file(tree, "/sys/class/uio/uio0/maps/map0/size", hexadecimal(16, bar_bytes), problem) &&
           write_file(tree, "/sys/class/uio/uio0/maps/map0/offset", hexadecimal(1, 0), problem) &&
           write_file(tree, "/sys/class/uio/uio0/version", DRIVER_VERSION, problem) &&
           write_file(tree, EVENT, "0\n", problem, &tree.event_fd) &&
           write_file(tree, "/sys/class/uio/uio0/name", device_name + "\n", problem);
}

bool card_tree_write_event_count(const card_tree &tree, uint32_t count, std::string *problem)
{
    const std::string text = std::to_string(count) + "\n"; // never shorter than the one before
    return tree.event_fd < 0 ||
           pwrite(tree.event_fd, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()) ||
           failed(problem, "cannot write", tree.root + EVENT);
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
    close_if_open(tree.event_fd);
    if (tree.lock_fd >= 0) {
        remove_files(tree, FILES);
        remove_files(tree, SERVICE_FILES);
        char target[PATH_MAX] = {};
        if (!tree.link.empty() && readlink(tree.link.c_str(), target, sizeof target - 1) > 0 &&
            tree.root == target) {
            unlink(tree.link.c_str());
        }
        for (size_t i = std::size(FOLDERS); i-- > 1;) {
            if ((tree.made & 1u << i) != 0) {
                remove(tree, FOLDERS[i], AT_REMOVEDIR);
            }
        }
        remove(tree, LOCK_FILE, 0);
        if ((tree.made & 1) != 0 || is_made_up(tree.root.substr(tree.root.rfind('/') + 1))) {
            remove_root(tree);
        }
    }
    close_if_open(tree.lock_fd);
    close_if_open(tree.root_fd);
}
