#include "platform/uio.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/device_owner.h"
#include "platform/host_tree.h"
#include "platform/recorder.h"
#include "platform/simulated_uio_client.h"

namespace {

constexpr uint64_t MAPPED_BYTES_MAX = 1 << 30;
constexpr int SOCKETS_MAX = 1024;

// A simulated card's node is a socket, which has no locks: a file beside it has them. By socket, the file's
// descriptor plus 1. It stays open as long as the process, since to close it would give the card back.
std::atomic<int> lock_files[SOCKETS_MAX];

int lock_file_of(int fd)
{
    const int file = fd >= 0 && fd < SOCKETS_MAX ? lock_files[fd].load() - 1 : -1;
    return file >= 0 ? file : fd;
}

// Returns 0 or an error.
int open_lock_file(int fd, const char *node)
{
    if (fd >= SOCKETS_MAX) {
        return EMFILE;
    }
    const int file = host_tree_open((std::string(node) + ".lock").c_str(), O_RDWR | O_CREAT | O_NONBLOCK);
    if (file < 0) {
        return errno;
    }
    lock_files[fd] = file + 1;
    return 0;
}

// Reads what fits of a small file, without its line end. Returns the length, or -1 when it is no plain
// file or cannot be read; `whole` is false if there is more in it than fits. `out` always ends in a 0.
int read_attribute(const char *path, char *out, size_t size, bool *whole)
{
    out[0] = '\0';
    const int fd = host_tree_open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) {
        return -1;
    }
    char text[UIO_NAME_BYTES + 1]; // one for a line end after a text that just fits
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
    const int folder = host_tree_open("/sys/class/uio", O_RDONLY | O_DIRECTORY);
    DIR *entries = folder < 0 ? nullptr : fdopendir(folder);
    if (entries == nullptr) {
        const int error = errno;
        if (folder >= 0) {
            close(folder);
        }
        return error;
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
    while (info->map_count < UIO_MAPS_MAX &&
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
    const int found = host_tree_root()[0] != '\0' ? host_tree_open(node, O_PATH) : -1;
    struct stat status {};
    if (found >= 0 && fstat(found, &status) == 0 && S_ISSOCK(status.st_mode)) {
        int fd = simulated_uio_connect(found);
        const int error = fd < 0 ? errno : open_lock_file(fd, node);
        close(found);
        if (fd >= 0 && error != 0) {
            close(std::exchange(fd, -1));
        }
        errno = error;
        return fd;
    }
    if (found >= 0) {
        close(found);
    }
    return host_tree_open(node, O_RDWR | O_SYNC);
}

int uio_map(int fd, uint64_t size, mmio_mapping *out)
{
    struct stat status {};
    if (fstat(fd, &status) != 0) {
        return errno;
    }
    if (size == 0 || size > MAPPED_BYTES_MAX) {
        return EINVAL;
    }
    if (const int error = device_own(lock_file_of(fd)); error != 0) {
        return error;
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
    const auto size_bytes = static_cast<uint32_t>(size);
    *out = mmio_mapping{static_cast<volatile uint32_t *>(base), size_bytes,
                        recorder_is_on() ? 0 : size_bytes / 4, nullptr};
    return 0;
}

int32_t uio_owner(int fd)
{
    return device_owner(lock_file_of(fd));
}

long uio_wait_interrupt(int fd, const mmio_mapping *mapping, uint32_t *count)
{
    const ssize_t length = read(fd, count, sizeof *count);
    const int error = length < 0 ? errno : 0;
    if (length != static_cast<ssize_t>(sizeof *count)) {
        recorder_interrupts_ended(error);
        errno = error;
        return length;
    }
    if (mapping->simulated != nullptr) {
        simulated_uio_newest_count(fd, count);
    }
    recorder_interrupt(*count);
    return length;
}
