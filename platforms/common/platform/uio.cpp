#include "platform/uio.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/host_tree.h"
#include "platform/simulated_uio_client.h"

namespace {

constexpr uint64_t MOST_MAPPED_BYTES = 1 << 30;
constexpr int MOST_PENDING_COUNTS = 1024; // more can't be pending; a sender without end is not followed

// Reads what fits of a small file, without its line end. Returns the length, or -1 when it is no plain
// file or can't be read; `whole` tells whether there is more in it. `out` always ends in a 0.
int read_attribute(const char *path, char *out, size_t size, bool *whole)
{
    out[0] = '\0';
    char full[PATH_MAX];
    if (host_tree_path(full, sizeof full, path) != 0) {
        return -1;
    }
    const int fd = open(full, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) {
        return -1;
    }
    char text[UIO_NAME_BYTES + 1]; // one for a line end behind a text that just fits
    size_t length = 0;
    struct stat status {};
    ssize_t got = fstat(fd, &status) == 0 && S_ISREG(status.st_mode) ? 1 : -1;
    while (got > 0 && length < sizeof text) {
        got = read(fd, text + length, sizeof text - length);
        length += got > 0 ? static_cast<size_t>(got) : 0;
    }
    close(fd);
    if (got < 0) {
        return -1;
    }
    if (length > 0 && text[length - 1] == '\n') {
        length--;
    }
    *whole = length < size;
    length = *whole ? length : size - 1;
    memcpy(out, text, length);
    out[length] = '\0';
    return static_cast<int>(length);
}

// The kernel's form of a number: 0x and hexadecimal digits, or decimal digits, and nothing else.
bool parse_number(std::string_view text, uint64_t *out)
{
    uint64_t base = 10;
    if (text.starts_with("0x")) {
        base = 16;
        text.remove_prefix(2);
    }
    if (text.empty()) {
        return false;
    }
    uint64_t value = 0;
    for (const char c : text) {
        const bool letter = (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
        if (!(c >= '0' && c <= '9') && !(base == 16 && letter)) {
            return false;
        }
        const uint64_t digit = static_cast<uint64_t>(letter ? (c | 0x20) - 'a' + 10 : c - '0');
        if (value > (UINT64_MAX - digit) / base) {
            return false;
        }
        value = value * base + digit;
    }
    *out = value;
    return true;
}

bool read_number(const char *path, uint64_t *out)
{
    char text[UIO_NAME_BYTES];
    bool whole = false;
    const int length = read_attribute(path, text, sizeof text, &whole);
    return length >= 0 && whole && parse_number({text, static_cast<size_t>(length)}, out);
}

// The N of an entry "uio<N>" as the kernel writes it: no blanks, no signs, no leading zeros.
bool parse_device_number(std::string_view entry, int32_t *out)
{
    if (!entry.starts_with("uio")) {
        return false;
    }
    entry.remove_prefix(3);
    uint64_t number = 0;
    if (entry.starts_with("0x") || (entry.size() > 1 && entry[0] == '0') || !parse_number(entry, &number) ||
        number > INT32_MAX) {
        return false;
    }
    *out = static_cast<int32_t>(number);
    return true;
}

bool device_is_named(int32_t number, const char *name)
{
    char path[64];
    snprintf(path, sizeof path, "/sys/class/uio/uio%d/name", number);
    char text[UIO_NAME_BYTES];
    bool whole = false;
    const int length = read_attribute(path, text, sizeof text, &whole);
    return length >= 0 && whole && std::string_view(text, static_cast<size_t>(length)) == name;
}

// Returns 0 with the lowest number, or an error.
int find_number(const char *name, int32_t *number)
{
    char folder[PATH_MAX];
    const int error = host_tree_path(folder, sizeof folder, "/sys/class/uio");
    DIR *entries = error == 0 ? opendir(folder) : nullptr;
    if (entries == nullptr) {
        return error != 0 ? error : errno;
    }
    bool found = false;
    errno = 0;
    while (const dirent *entry = readdir(entries)) {
        int32_t candidate = 0;
        if (parse_device_number(entry->d_name, &candidate) && (!found || candidate < *number) &&
            device_is_named(candidate, name)) {
            *number = candidate;
            found = true;
        }
        errno = 0;
    }
    const int reading = errno;
    closedir(entries);
    if (reading != 0) {
        return reading;
    }
    return found ? 0 : ENODEV;
}

bool read_map(int32_t number, uint32_t index, uio_memory *map)
{
    char path[96];
    const auto attribute = [&](const char *leaf) {
        snprintf(path, sizeof path, "/sys/class/uio/uio%d/maps/map%u/%s", number, index, leaf);
        return path;
    };
    bool whole = false;
    *map = uio_memory{};
    read_attribute(attribute("name"), map->name, sizeof map->name, &whole);
    read_number(attribute("addr"), &map->address);
    read_number(attribute("offset"), &map->offset);
    return read_number(attribute("size"), &map->size);
}

// A socket's path may be longer than the 108 bytes of its address: then it is named through its folder.
int connect_to(const char *path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    int folder = -1;
    if (strlen(path) < sizeof address.sun_path) {
        memcpy(address.sun_path, path, strlen(path) + 1);
    } else {
        const char *leaf = strrchr(path, '/') + 1;
        char parent[PATH_MAX];
        snprintf(parent, sizeof parent, "%.*s", static_cast<int>(leaf - path), path);
        folder = open(parent, O_PATH | O_DIRECTORY | O_CLOEXEC);
        if (folder < 0) {
            return -1;
        }
        const int length =
            snprintf(address.sun_path, sizeof address.sun_path, "/proc/self/fd/%d/%s", folder, leaf);
        if (length >= static_cast<int>(sizeof address.sun_path)) {
            close(folder);
            errno = ENAMETOOLONG;
            return -1;
        }
    }
    int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    int error = fd < 0 ? errno : 0;
    if (fd >= 0 && connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        error = errno;
        close(fd);
        fd = -1;
    }
    if (folder >= 0) {
        close(folder);
    }
    errno = error;
    return fd;
}

} // namespace

uio_info *uio_find_devices_by_name(const char *name)
{
    int32_t number = 0;
    const int error = find_number(name, &number);
    if (error != 0) {
        errno = error;
        return nullptr;
    }
    auto *info = new (std::nothrow) uio_info{};
    if (info == nullptr) {
        errno = ENOMEM;
        return nullptr;
    }
    info->number = number;
    snprintf(info->name, sizeof info->name, "%s", name);
    return info;
}

int uio_get_all_info(uio_info *info)
{
    if (info == nullptr) {
        return EINVAL;
    }
    char path[64];
    bool whole = false;
    snprintf(path, sizeof path, "/sys/class/uio/uio%d/version", info->number);
    read_attribute(path, info->version, sizeof info->version, &whole);
    info->event_count = 0;
    snprintf(path, sizeof path, "/sys/class/uio/uio%d/event", info->number);
    read_number(path, &info->event_count);
    info->map_count = 0;
    while (info->map_count < UIO_MAX_MAPS &&
           read_map(info->number, info->map_count, &info->maps[info->map_count])) {
        info->map_count++;
    }
    return info->map_count > 0 ? 0 : EIO;
}

void uio_free(uio_info *info)
{
    delete info;
}

int uio_open(const char *node)
{
    char path[PATH_MAX];
    const int error = host_tree_path(path, sizeof path, node);
    if (error != 0) {
        errno = error;
        return -1;
    }
    struct stat status {};
    if (host_tree_root()[0] != '\0' && stat(path, &status) == 0 && S_ISSOCK(status.st_mode)) {
        return connect_to(path);
    }
    return open(path, O_RDWR | O_SYNC | O_CLOEXEC);
}

int uio_map(int fd, uint64_t size, mmio_mapping *out)
{
    struct stat status {};
    if (fstat(fd, &status) != 0) {
        return errno;
    }
    if (size == 0 || size > MOST_MAPPED_BYTES) {
        return EINVAL;
    }
    if (S_ISSOCK(status.st_mode)) {
        return simulated_mapping_attach(fd, size, out);
    }
    // A plain file in a made-up tree: touching it beyond its end would be fatal.
    if (S_ISREG(status.st_mode) && static_cast<uint64_t>(status.st_size) < size) {
        return EINVAL;
    }
    void *base = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (base == MAP_FAILED) {
        return errno;
    }
    *out = mmio_mapping{static_cast<volatile uint32_t *>(base), static_cast<uint32_t>(size), nullptr};
    return 0;
}

long uio_wait_interrupt(int fd, uint32_t *count)
{
    const ssize_t length = read(fd, count, sizeof *count);
    if (length != static_cast<ssize_t>(sizeof *count)) {
        return length;
    }
    // On a device this fails at once; on a socket the newest of the counts that wait is the one that holds.
    uint32_t newer = 0;
    for (int i = 0; i < MOST_PENDING_COUNTS; i++) {
        const ssize_t more = recv(fd, &newer, sizeof newer, MSG_DONTWAIT);
        if (more <= 0) {
            break;
        }
        if (more == static_cast<ssize_t>(sizeof newer)) {
            *count = newer;
        }
    }
    return length;
}
