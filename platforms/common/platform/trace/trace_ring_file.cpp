#include "platform/trace/trace_ring_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/trace/trace_ring.h"

namespace {

constexpr uint32_t BLOCK_ENTRIES = 64;

// Reads up to `size` bytes; fewer only at the end of the file. Returns the count, or -1.
ssize_t read_at(int fd, void *out, size_t size, uint64_t offset)
{
    size_t done = 0;
    while (done < size) {
        const ssize_t got =
            pread(fd, static_cast<char *>(out) + done, size - done, static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            return -1;
        }
        if (got == 0) {
            break;
        }
        done += static_cast<size_t>(got);
    }
    return static_cast<ssize_t>(done);
}

bool header_is_sound(const trace_ring_header &header)
{
    return header.magic == TRACE_RING_MAGIC && header.version == TRACE_RING_VERSION && header.entries > 0 &&
           header.message_bytes % 8 == 0 && header.message_bytes >= TRACE_RING_MESSAGE_BYTES_MIN &&
           header.message_bytes <= TRACE_RING_MESSAGE_BYTES_MAX &&
           header.entry_bytes == sizeof(trace_ring_entry) + header.message_bytes &&
           uint64_t{header.entries} * header.entry_bytes <= TRACE_RING_BYTES_MAX && header.capacity > 0 &&
           header.capacity <= header.entries && trace_ring_name_is_plain(header.name);
}

uint64_t offset_of(const trace_ring_file &file, uint32_t place)
{
    return TRACE_RING_HEADER_BYTES + uint64_t{place} * file.header.entry_bytes;
}

bool is_complete(uint64_t sequence)
{
    return sequence != 0 && sequence % 2 == 0;
}

bool is_printable(char c)
{
    return c >= 0x20 && c < 0x7F;
}

// What a terminal would obey is shown, not sent.
std::string printable(const char *text, size_t length)
{
    std::string out;
    for (size_t i = 0; i < length; i++) {
        if (is_printable(text[i])) {
            out += text[i];
        } else {
            char shown[8];
            snprintf(shown, sizeof shown, "\\x%02x", static_cast<unsigned char>(text[i]));
            out += shown;
        }
    }
    return out;
}

// The arguments in the message store, as far as it goes.
struct argument_reader {
    const char *store;
    size_t length;
    size_t at = 0;

    std::string text()
    {
        if (at >= length) {
            return "";
        }
        const size_t size = strnlen(store + at, length - at);
        const char *start = store + at;
        at += (size / 8 + 1) * 8;
        return printable(start, size);
    }

    std::string number()
    {
        uint32_t value = 0;
        if (at > length || length - at < sizeof value) {
            return "";
        }
        memcpy(&value, store + at, sizeof value);
        at += sizeof value;
        return std::to_string(static_cast<int32_t>(value));
    }
};

std::string message_of(const trace_ring_entry &entry, const char *store, size_t store_bytes)
{
    argument_reader arguments{store, std::min<size_t>(entry.length, store_bytes)};
    std::string first;
    switch (entry.tag) {
    case TRACE_RING_TAG_STRING:
    case TRACE_RING_TAG_TAGGED_STRING:
        return arguments.text();
    case TRACE_RING_TAG_STRING_NUMBER:
        first = arguments.text();
        return first + " " + arguments.number();
    case TRACE_RING_TAG_TWO_STRINGS:
        first = arguments.text();
        return first + " " + arguments.text();
    default: {
        char tag[32];
        snprintf(tag, sizeof tag, "(tag %#llx)", static_cast<unsigned long long>(entry.tag));
        return tag;
    }
    }
}

} // namespace

bool trace_ring_name_is_plain(const char *name)
{
    const size_t length = strnlen(name, TRACE_RING_NAME_BYTES);
    return length > 0 && length < TRACE_RING_NAME_BYTES && std::all_of(name, name + length, [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      c == '_' || c == '-';
           });
}

int trace_ring_file_read_header(int fd, trace_ring_header *out)
{
    struct stat status {};
    if (fstat(fd, &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return EINVAL;
    }
    const ssize_t got = read_at(fd, out, sizeof *out, 0);
    if (got < 0) {
        return errno;
    }
    if (got != static_cast<ssize_t>(sizeof *out) || !header_is_sound(*out)) {
        return EINVAL;
    }
    out->program[sizeof out->program - 1] = '\0';
    for (char *c = out->program; *c != '\0'; c++) {
        *c = is_printable(*c) ? *c : '?';
    }
    return 0;
}

int trace_ring_file_open(const std::string &path, trace_ring_file *out)
{
    out->fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (out->fd < 0) {
        return errno;
    }
    const int error = trace_ring_file_read_header(out->fd, &out->header);
    if (error != 0) {
        trace_ring_file_close(out);
    }
    return error;
}

void trace_ring_file_close(trace_ring_file *file)
{
    if (file->fd >= 0) {
        close(file->fd);
        file->fd = -1;
    }
}

bool trace_ring_file_owner_lives(int fd)
{
    if (flock(fd, LOCK_SH | LOCK_NB) != 0) {
        return true;
    }
    flock(fd, LOCK_UN);
    return false;
}

int trace_ring_file_marks(const trace_ring_file &file, std::vector<trace_ring_mark> *out)
{
    out->clear();
    const uint32_t entry_bytes = file.header.entry_bytes;
    std::vector<char> block(size_t{BLOCK_ENTRIES} * entry_bytes);
    for (uint32_t place = 0; place < file.header.entries; place += BLOCK_ENTRIES) {
        const size_t wanted = size_t{std::min(BLOCK_ENTRIES, file.header.entries - place)} * entry_bytes;
        const ssize_t got = read_at(file.fd, block.data(), wanted, offset_of(file, place));
        if (got < 0) {
            return errno;
        }
        const auto whole = static_cast<uint32_t>(static_cast<size_t>(got) / entry_bytes);
        for (uint32_t i = 0; i < whole; i++) {
            trace_ring_entry entry;
            memcpy(&entry, block.data() + size_t{i} * entry_bytes, sizeof entry);
            if (is_complete(entry.sequence)) {
                out->push_back({entry.sequence / 2 - 1, entry.time_ns, place + i});
            }
        }
        if (static_cast<size_t>(got) < wanted) {
            break;
        }
    }
    std::sort(out->begin(), out->end(),
              [](const auto &left, const auto &right) { return left.ticket < right.ticket; });
    return 0;
}

trace_ring_reading trace_ring_file_read(const trace_ring_file &file, uint64_t ticket, uint32_t place,
                                        trace_ring_line *out)
{
    const uint64_t complete = 2 * ticket + 2;
    std::vector<char> copy(file.header.entry_bytes);
    uint64_t before = 0;
    uint64_t after = 0;
    // Three reads: the kernel may copy the bytes of a single one in any order.
    const auto size = static_cast<ssize_t>(copy.size());
    if (place >= file.header.entries ||
        read_at(file.fd, &before, sizeof before, offset_of(file, place)) != sizeof before ||
        read_at(file.fd, copy.data(), copy.size(), offset_of(file, place)) != size) {
        return trace_ring_reading::lost;
    }
    __sync_synchronize();
    if (read_at(file.fd, &after, sizeof after, offset_of(file, place)) != sizeof after) {
        return trace_ring_reading::lost;
    }
    if (before != complete || after != complete) {
        return before < complete ? trace_ring_reading::pending : trace_ring_reading::lost;
    }
    memcpy(&out->entry, copy.data(), sizeof out->entry);
    out->function = printable(out->entry.function, strnlen(out->entry.function, TRACE_RING_FUNCTION_BYTES));
    out->message = message_of(out->entry, copy.data() + sizeof out->entry, file.header.message_bytes);
    return trace_ring_reading::complete;
}
