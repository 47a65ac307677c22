#include "kelvanectl/recording/recording_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr uint64_t HORIZON_NS =
    1000000000; // no entry is older than another that stands further ahead by more
constexpr size_t SEARCHED_BYTES = 1 << 16;
constexpr size_t THREADS = 1 << 16;

bool has_no_time(const recording_entry &entry)
{
    return entry.kind == RECORDING_THREAD || entry.kind == RECORDING_DIGEST;
}

} // namespace

size_t recording_file::read_at(uint64_t at, void *out, size_t bytes) const
{
    size_t got = 0;
    while (got < bytes) {
        const ssize_t more = pread(fileno(file_.get()), static_cast<char *>(out) + got, bytes - got,
                                   static_cast<off_t>(at + got));
        if (more <= 0) {
            break;
        }
        got += static_cast<size_t>(more);
    }
    return got;
}

std::string recording_file::open(const std::string &path)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        return "cannot open " + path + ": " + strerror(errno);
    }
    file_.reset(fdopen(fd, "r"));
    struct stat status {};
    if (file_ == nullptr || fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) ||
        read_at(0, &head_, sizeof head_) != sizeof head_ ||
        memcmp(head_.magic, RECORDING_MAGIC, sizeof head_.magic) != 0) {
        return path + " is no recording";
    }
    if (head_.version != RECORDING_VERSION) {
        return path + " has version " + std::to_string(head_.version) +
               " of the layout, this program reads " + std::to_string(RECORDING_VERSION);
    }
    if (head_.crc32 != recording_crc32(&head_, offsetof(recording_head, crc32))) {
        return "the head of " + path + " is damaged";
    }
    head_.program[sizeof head_.program - 1] = '\0';
    at_ = std::max<uint64_t>(head_.head_bytes, sizeof head_);
    time_of_thread_.assign(THREADS, 0);
    return "";
}

// Where the next block may begin; the end of the file when there is none.
uint64_t recording_file::find_magic(uint64_t from) const
{
    std::vector<char> piece(SEARCHED_BYTES);
    const std::string_view magic(reinterpret_cast<const char *>(&RECORDING_BLOCK_MAGIC), 4);
    for (;;) {
        const size_t got = read_at(from, piece.data(), piece.size());
        const size_t found = std::string_view(piece.data(), got).find(magic);
        if (found != std::string_view::npos || got < piece.size()) {
            return from + std::min(found, got);
        }
        from += got - magic.size() + 1;
    }
}

bool recording_file::read_entries(uint64_t at, uint32_t count, uint32_t crc32)
{
    block_.resize(count);
    const size_t bytes = count * sizeof(recording_entry);
    return read_at(at, block_.data(), bytes) == bytes && recording_crc32(block_.data(), bytes) == crc32;
}

void recording_file::take_in(const recording_entry &entry)
{
    uint64_t &latest = time_of_thread_[entry.thread];
    if (!has_no_time(entry)) {
        latest = time_of(entry);
        newest_ = std::max(newest_, latest);
    }
    queue_.push({latest, places_++, entry});
}

// False at the end of the file.
bool recording_file::read_block()
{
    for (;;) {
        recording_block head{};
        const size_t got = read_at(at_, &head, sizeof head);
        if (got == 0) {
            return false;
        }
        if (got == sizeof head && head.magic == RECORDING_BLOCK_MAGIC && head.entries > 0 &&
            head.entries <= RECORDING_BLOCK_ENTRIES_MAX &&
            read_entries(at_ + sizeof head, head.entries, head.crc32)) {
            lost_ += head.lost;
            at_ += sizeof head + block_.size() * sizeof(recording_entry);
            std::ranges::for_each(block_, [this](const recording_entry &it) { take_in(it); });
            return true;
        }
        const uint64_t next = find_magic(at_ + 1);
        damaged_bytes_ += next - at_;
        at_ = next;
    }
}

bool recording_file::next(recording_entry *entry)
{
    while ((queue_.empty() || queue_.top().time + HORIZON_NS > newest_) && read_block()) {
    }
    if (queue_.empty()) {
        return false;
    }
    *entry = queue_.top().entry;
    queue_.pop();
    return true;
}
