// The writer's side. Three rules keep it whole:
//
// - A place is claimed by a compare-and-swap of its sequence word from an older, complete state, so two
//   writers never mix in one place. The claim acquires and every later store releases: none of them can
//   be seen before the claim, and the last one, of the sequence word, after all of them. A reader that
//   finds the same complete sequence word before and after its copy has a whole entry.
// - Only memory that was allocated is touched, or a full file system would kill the process. Memory is
//   allocated in order, so that one number says how much there is. A ticket beyond it asks for more; when
//   there is no more, the capacity is frozen at what there is. Tickets below that number have the same place
//   with either capacity, and of two tickets that meet in one place the claim lets the newer one stay.
// - Capacity and allocation are this process's own words; those in the file are for readers.
#include "platform/trace/trace_ring.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/file_size_guard.h"
#include "platform/thread.h"
#include "platform/trace/trace_ring_file.h"
#include "platform/trace/trace_ring_folder.h"
#include "platform/trace/trace_ring_layout.h"
#include "platform/wait.h"

struct trace_ring {
    trace_ring_header *header = nullptr;
    char *first_entry = nullptr;
    std::atomic<uint32_t> capacity = 0;  // entries; shrinks once at most, when there is no more memory
    std::atomic<uint32_t> allocated = 0; // entries whose memory is allocated
    uint32_t entries = 0;
    uint32_t entry_bytes = 0;
    uint32_t message_bytes = 0;
    int fd = -1; // holds the lock that shows that the owner lives
    trace_ring *next = nullptr;
};

namespace {

constexpr uint32_t CHUNK_ENTRIES = 64;
constexpr uint32_t CACHE_LINE_BYTES = 64;
constexpr uint32_t FETCHED_BYTES = 192; // of an entry: what a line of usual length fills
constexpr uint32_t INDEX_MAX = 100000;  // files of one process id, of earlier processes included

std::mutex creation_mutex;
std::mutex growth_mutex;
pthread_once_t fork_handlers_once = PTHREAD_ONCE_INIT;

// Under creation_mutex. A forked child that makes rings counts as another process.
struct {
    pid_t pid = 0;
    uint64_t start_ns = 0;
    uint32_t next_index = 0;
    trace_ring *rings = nullptr;
} owner;

// A child must not inherit a lock held by a thread that does not exist in it.
void install_fork_handlers()
{
    const auto lock = [] {
        creation_mutex.lock();
        growth_mutex.lock();
    };
    const auto unlock = [] {
        growth_mutex.unlock();
        creation_mutex.unlock();
    };
    if (pthread_atfork(lock, unlock, unlock) != 0) {
        fprintf(stderr, "trace_ring: no memory for fork handlers\n");
        abort();
    }
}

uint64_t wall_clock_ns()
{
    timespec now{};
    if (wait_realtime(&now) != 0) {
        return 0;
    }
    return static_cast<uint64_t>(now.tv_sec) * WAIT_NS_PER_S + static_cast<uint64_t>(now.tv_nsec);
}

// Extends the file by memory that is really there.
int extend_file(int fd, uint64_t from, uint64_t to)
{
    const file_size_guard guard;
    int result = 0;
    do {
        result = fallocate(fd, 0, static_cast<off_t>(from), static_cast<off_t>(to - from));
    } while (result != 0 && errno == EINTR);
    return result == 0 ? 0 : errno;
}

uint64_t file_bytes(const trace_ring *ring, uint32_t entries)
{
    return TRACE_RING_HEADER_BYTES + uint64_t{entries} * ring->entry_bytes;
}

// Under growth_mutex, or before the ring is known to others. Allocates the chunks up to `index`.
int grow(trace_ring *ring, uint32_t index)
{
    uint32_t had = ring->allocated.load(std::memory_order_relaxed);
    while (had <= index) {
        const uint32_t wanted = std::min(had + CHUNK_ENTRIES, ring->entries);
        const int error =
            extend_file(ring->fd, had == 0 ? 0 : file_bytes(ring, had), file_bytes(ring, wanted));
        if (error != 0) {
            return error;
        }
        had = wanted;
        ring->allocated.store(had, std::memory_order_release);
    }
    return 0;
}

uint32_t place_in_new_memory(trace_ring *ring, uint64_t ticket)
{
    const std::lock_guard guard(growth_mutex);
    const uint32_t capacity = ring->capacity.load(std::memory_order_relaxed);
    const auto index = static_cast<uint32_t>(ticket % capacity);
    const int callers_errno = errno; // a trace line must not change it
    const int error = grow(ring, index);
    errno = callers_errno;
    if (error == 0) {
        return index;
    }
    const uint32_t had = ring->allocated.load(std::memory_order_relaxed);
    ring->capacity.store(had, std::memory_order_relaxed);
    __atomic_store_n(&ring->header->capacity, had, __ATOMIC_RELAXED);
    return static_cast<uint32_t>(ticket % had);
}

trace_ring_entry *place_of(trace_ring *ring, uint64_t ticket)
{
    auto index = static_cast<uint32_t>(ticket % ring->capacity.load(std::memory_order_relaxed));
    if (index >= ring->allocated.load(std::memory_order_acquire)) {
        index = place_in_new_memory(ring, ticket);
    }
    void *place = ring->first_entry + size_t{index} * ring->entry_bytes;
    return static_cast<trace_ring_entry *>(place);
}

bool claim(trace_ring_entry *entry, uint64_t ticket)
{
    const uint64_t writing = 2 * ticket + 1;
    uint64_t found = __atomic_load_n(&entry->sequence, __ATOMIC_RELAXED);
    do {
        if (found % 2 != 0 || found > writing) {
            return false;
        }
    } while (!__atomic_compare_exchange_n(&entry->sequence, &found, writing, true, __ATOMIC_ACQUIRE,
                                          __ATOMIC_RELAXED));
    return true;
}

// The place of the entry that comes next was not touched for a whole lap. Fetched now, it is there when
// the next line is formatted. After the last place this fetches nothing of anybody's, which does no harm.
void fetch_next(const trace_ring *ring, const trace_ring_entry *entry)
{
    const char *next = reinterpret_cast<const char *>(entry) + ring->entry_bytes;
    for (uint32_t line = 0; line < FETCHED_BYTES; line += CACHE_LINE_BYTES) {
        __builtin_prefetch(next + line, 1);
    }
}

template <typename word> void put(word *place, word value)
{
    __atomic_store_n(place, value, __ATOMIC_RELEASE);
}

// Fewer than 8 bytes, and zeros behind them. Put together in a register: a word that is loaded from where its
// bytes were just stored waits for them.
uint64_t last_word(const char *text, uint32_t length)
{
    uint64_t word = 0;
    for (uint32_t i = 0; i < length; i++) {
        const uint32_t place = std::endian::native == std::endian::little ? i : 7 - i;
        word |= uint64_t{static_cast<unsigned char>(text[i])} << 8 * place;
    }
    return word;
}

// Word by word, as the readers of these words do it. Returns the bytes used, a multiple of 8.
uint32_t put_text(char *store, uint32_t room, const char *text)
{
    if (text == nullptr) {
        text = "(null)";
    }
    const auto length = static_cast<uint32_t>(strnlen(text, room - 1));
    void *start = store;
    auto *words = static_cast<uint64_t *>(start);
    const uint32_t whole = length / 8;
    for (uint32_t i = 0; i < whole; i++) {
        uint64_t word = 0;
        memcpy(&word, text + size_t{i} * 8, 8);
        put(words + i, word);
    }
    put(words + whole, last_word(text + size_t{whole} * 8, length % 8));
    return (whole + 1) * 8;
}

uint32_t put_number(char *store, uint32_t number)
{
    void *start = store;
    put(static_cast<uint32_t *>(start), number);
    return 4;
}

uint32_t put_arguments(char *store, uint32_t room, uint64_t tag, va_list arguments)
{
    constexpr uint32_t last_argument = 8; // kept free after the first one
    switch (tag) {
    case TRACE_RING_TAG_STRING:
    case TRACE_RING_TAG_TAGGED_STRING:
        return put_text(store, room, va_arg(arguments, const char *));
    case TRACE_RING_TAG_STRING_NUMBER: {
        const uint32_t used = put_text(store, room - last_argument, va_arg(arguments, const char *));
        return used + put_number(store + used, va_arg(arguments, uint32_t));
    }
    case TRACE_RING_TAG_TWO_STRINGS: {
        const uint32_t used = put_text(store, room - last_argument, va_arg(arguments, const char *));
        return used + put_text(store + used, room - used, va_arg(arguments, const char *));
    }
    default:
        return 0; // what follows is unknown, and so left alone
    }
}

// The file is locked before it gets a header: until then nobody takes it for a ring, or for a dead one.
int open_file(const char *name, std::string *path)
{
    for (; owner.next_index < INDEX_MAX; owner.next_index++) {
        *path = trace_ring_folder() + "/" + trace_ring_file_name(owner.pid, owner.next_index, name);
        const int fd = open(path->c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (fd < 0 && errno == EEXIST) {
            continue; // of an earlier process with this id
        }
        owner.next_index++;
        int locked = fd < 0 ? 0 : flock(fd, LOCK_EX);
        while (locked != 0 && errno == EINTR) {
            locked = flock(fd, LOCK_EX);
        }
        if (locked != 0) {
            const int error = errno;
            unlink(path->c_str());
            close(fd);
            errno = error;
            return -1;
        }
        return fd;
    }
    errno = EMFILE;
    return -1;
}

void write_header(trace_ring *ring, const char *name)
{
    trace_ring_header *header = ring->header;
    header->version = TRACE_RING_VERSION;
    header->entry_bytes = ring->entry_bytes;
    header->message_bytes = ring->message_bytes;
    header->entries = ring->entries;
    header->pid = owner.pid;
    header->process_start_ns = owner.start_ns;
    snprintf(header->name, sizeof header->name, "%s", name);
    snprintf(header->program, sizeof header->program, "%s", program_invocation_short_name);
    header->last_ns = owner.start_ns;
    header->capacity = ring->entries;
    __atomic_store_n(&header->magic, TRACE_RING_MAGIC, __ATOMIC_RELEASE);
}

bool fits(const char *name, uint32_t entries, uint64_t bytes)
{
    if (name == nullptr || !trace_ring_name_is_plain(name) || entries == 0) {
        return false;
    }
    const uint64_t message = bytes / entries / 8 * 8;
    return message >= TRACE_RING_MESSAGE_BYTES_MIN && message <= TRACE_RING_MESSAGE_BYTES_MAX &&
           entries * (message + sizeof(trace_ring_entry)) <= TRACE_RING_BYTES_MAX;
}

// Under creation_mutex.
void become_owner()
{
    if (owner.pid != getpid()) {
        owner = {getpid(), wall_clock_ns(), 0, owner.rings};
        trace_ring_remove_dead(trace_ring_folder());
    }
}

} // namespace

trace_ring *trace_ring_create(const char *name, uint32_t entries, uint64_t bytes)
{
    if (!fits(name, entries, bytes)) {
        errno = EINVAL;
        return nullptr;
    }
    pthread_once(&fork_handlers_once, install_fork_handlers);
    const std::lock_guard guard(creation_mutex);
    become_owner();

    auto ring = std::unique_ptr<trace_ring>(new (std::nothrow) trace_ring);
    if (ring == nullptr) {
        errno = ENOMEM;
        return nullptr;
    }
    ring->entries = entries;
    ring->message_bytes = static_cast<uint32_t>(bytes / entries / 8 * 8);
    ring->entry_bytes = ring->message_bytes + static_cast<uint32_t>(sizeof(trace_ring_entry));
    ring->capacity = entries;
    std::string path;
    ring->fd = open_file(name, &path);
    if (ring->fd < 0) {
        return nullptr;
    }
    int error = grow(ring.get(), 0);
    void *memory = MAP_FAILED;
    if (error == 0) {
        memory =
            mmap(nullptr, file_bytes(ring.get(), entries), PROT_READ | PROT_WRITE, MAP_SHARED, ring->fd, 0);
        error = memory == MAP_FAILED ? errno : 0;
    }
    if (error != 0) {
        unlink(path.c_str());
        close(ring->fd);
        errno = error;
        return nullptr;
    }
    ring->header = static_cast<trace_ring_header *>(memory);
    ring->first_entry = static_cast<char *>(memory) + TRACE_RING_HEADER_BYTES;
    write_header(ring.get(), name);
    ring->next = owner.rings;
    owner.rings = ring.get();
    return ring.release();
}

void trace_ring_write(trace_ring *ring, uint64_t tag, int32_t slot, uint32_t device_address,
                      const char *function, ...)
{
    if (ring == nullptr) {
        return;
    }
    const uint64_t now_ns = wall_clock_ns();
    const uint64_t ticket = __atomic_fetch_add(&ring->header->next, 1, __ATOMIC_RELAXED);
    __atomic_store_n(&ring->header->last_ns, now_ns, __ATOMIC_RELAXED);
    trace_ring_entry *entry = place_of(ring, ticket);
    if (!claim(entry, ticket)) {
        __atomic_fetch_add(&ring->header->dropped, 1, __ATOMIC_RELAXED);
        return;
    }
    fetch_next(ring, entry);
    put(&entry->time_ns, now_ns);
    put(&entry->tag, tag);
    put(&entry->slot, slot);
    put(&entry->device_address, device_address);
    put(&entry->thread, thread_kernel_id());
    put_text(entry->function, TRACE_RING_FUNCTION_BYTES, function);
    va_list arguments;
    va_start(arguments, function);
    char *store = reinterpret_cast<char *>(entry) + sizeof *entry;
    put(&entry->length, put_arguments(store, ring->message_bytes, tag, arguments));
    va_end(arguments);
    put(&entry->sequence, 2 * ticket + 2);
}
