#include "platform/simulated_uio_client.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/thread.h"
#include "platform/wait.h"

namespace {

constexpr uint64_t GREETING_PATIENCE_NS = 5 * WAIT_NS_PER_S;
constexpr uint64_t CONNECT_PATIENCE_NS = 2 * WAIT_NS_PER_S;
constexpr int PENDING_COUNTS_MAX = 1024; // more cannot be pending; an endless sender is not followed
constexpr size_t DESCRIPTORS_MAX = 8;    // room to receive, and close, more than the two that are right
constexpr size_t WATCHER_STACK_BYTES = 256 * 1024;

std::mutex mappings_mutex;
simulated_mapping *mappings = nullptr;

class descriptor {
  public:
    explicit descriptor(int fd = -1) : fd_(fd)
    {
    }
    ~descriptor()
    {
        if (fd_ >= 0) {
            const int error = errno;
            close(fd_);
            errno = error;
        }
    }
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;
    void take(int fd)
    {
        fd_ = fd;
    }
    int release()
    {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }
    int get() const
    {
        return fd_;
    }

  private:
    int fd_;
};

struct greeting_packet {
    simulated_uio_greeting text;
    descriptor memory[DESCRIPTORS_MAX];
    size_t descriptors = 0;
};

// Whatever else came with the packet, every descriptor in it is owned by `packet` afterwards.
void take_descriptors(msghdr *message, greeting_packet *packet)
{
    for (cmsghdr *part = CMSG_FIRSTHDR(message); part != nullptr; part = CMSG_NXTHDR(message, part)) {
        if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS) {
            continue;
        }
        const size_t count = (part->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (size_t i = 0; i < count && packet->descriptors < DESCRIPTORS_MAX; i++) {
            int fd = -1;
            memcpy(&fd, CMSG_DATA(part) + i * sizeof(int), sizeof fd);
            packet->memory[packet->descriptors++].take(fd);
        }
    }
}

int receive_greeting(int fd, greeting_packet *packet)
{
    const uint64_t end_ns = wait_monotonic() + GREETING_PATIENCE_NS;
    pollfd readable{fd, POLLIN, 0};
    int ready = -1;
    while (ready < 0) {
        const uint64_t now_ns = wait_monotonic();
        ready = poll(&readable, 1, now_ns < end_ns ? static_cast<int>((end_ns - now_ns) / 1000000) + 1 : 0);
        if (ready < 0 && errno != EINTR) {
            return errno;
        }
    }
    if (ready == 0) {
        return ETIMEDOUT;
    }
    alignas(cmsghdr) char control[CMSG_SPACE(DESCRIPTORS_MAX * sizeof(int))] = {};
    iovec text{&packet->text, sizeof packet->text};
    msghdr message{};
    message.msg_iov = &text;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t length = recvmsg(fd, &message, MSG_CMSG_CLOEXEC | MSG_DONTWAIT);
    if (length < 0) {
        return errno;
    }
    take_descriptors(&message, packet);
    const bool whole = length == sizeof packet->text && (message.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) == 0;
    const simulated_uio_greeting &greeting = packet->text;
    if (!whole || packet->descriptors != 2 || greeting.magic != SIMULATED_UIO_MAGIC ||
        greeting.version != SIMULATED_UIO_VERSION || greeting.bar_bytes == 0 || greeting.bar_bytes % 4 != 0 ||
        greeting.bar_bytes > SIMULATED_BAR_BYTES_MAX ||
        greeting.control_bytes < sizeof(simulated_uio_control)) {
        return EPROTO;
    }
    return 0;
}

// Maps memory that the other end cannot take away again: sealed against shrinking, and as long as promised.
int map_sealed(int fd, uint64_t bytes, void **out)
{
    struct stat status {};
    const int seals = fcntl(fd, F_GET_SEALS);
    if (seals < 0 || (seals & F_SEAL_SHRINK) == 0 || fstat(fd, &status) != 0 || status.st_size < 0 ||
        static_cast<uint64_t>(status.st_size) < bytes) {
        return EPROTO;
    }
    void *memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (memory == MAP_FAILED) {
        return errno;
    }
    *out = memory;
    return 0;
}

int copy_register_list(simulated_mapping *mapping, uint32_t bar_bytes)
{
    const simulated_uio_control *control = mapping->control;
    mapping->posted_count = __atomic_load_n(&control->posted_count, __ATOMIC_ACQUIRE);
    if (__atomic_load_n(&control->magic, __ATOMIC_RELAXED) != SIMULATED_UIO_MAGIC ||
        __atomic_load_n(&control->version, __ATOMIC_RELAXED) != SIMULATED_UIO_VERSION ||
        __atomic_load_n(&control->bar_bytes, __ATOMIC_RELAXED) != bar_bytes ||
        mapping->posted_count > SIMULATED_UIO_REGISTERS) {
        return EPROTO;
    }
    for (uint32_t i = 0; i < mapping->posted_count; i++) {
        const uint32_t offset = __atomic_load_n(&control->posted_offset[i], __ATOMIC_RELAXED);
        if (offset % 4 != 0 || offset >= bar_bytes) {
            return EPROTO;
        }
        mapping->posted_offset[i] = offset;
        const uint32_t page = offset / SIMULATED_PAGE_BYTES;
        mapping->special_page[page / 64] |= uint64_t{1} << (page % 64);
    }
    mapping->clear_on_one_offset = __atomic_load_n(&control->clear_on_one_offset, __ATOMIC_RELAXED);
    return 0;
}

// Waits only for the hang-up, so that the packets are left for uio_wait_interrupt.
void *watch_for_hang_up(void *argument)
{
    auto *mapping = static_cast<simulated_mapping *>(argument);
    pollfd watched{mapping->socket, POLLRDHUP, 0};
    while (poll(&watched, 1, -1) < 0 && errno == EINTR) {
    }
    __atomic_store_n(&mapping->gone, 1, __ATOMIC_RELAXED);
    close(mapping->socket);
    return nullptr;
}

int start_watcher(simulated_mapping *mapping)
{
    pthread_attr_t attributes;
    int error = pthread_attr_init(&attributes);
    if (error != 0) {
        return error;
    }
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_attr_setstacksize(&attributes, WATCHER_STACK_BYTES);
    sigset_t before;
    thread_block_signals(&before);
    pthread_t thread;
    error = pthread_create(&thread, &attributes, watch_for_hang_up, mapping);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    return error;
}

} // namespace

// By way of its descriptor the socket is the one that was looked at, however long its path. A stopped card
// takes nobody from its queue, and a plain connect would wait for it for ever.
int simulated_uio_connect(int node)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof address.sun_path, "/proc/self/fd/%d", node);
    descriptor fd(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    const uint64_t end_ns = wait_monotonic() + CONNECT_PATIENCE_NS;
    while (fd.get() >= 0) {
        const uint64_t now_ns = wait_monotonic();
        const uint64_t left_us = now_ns < end_ns ? (end_ns - now_ns) / 1000 + 1 : 1; // 0 would be no limit
        const timeval left{static_cast<time_t>(left_us / 1000000),
                           static_cast<suseconds_t>(left_us % 1000000)};
        if (setsockopt(fd.get(), SOL_SOCKET, SO_SNDTIMEO, &left, sizeof left) != 0) {
            return -1;
        }
        if (connect(fd.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) {
            return fd.release();
        }
        if (errno != EINTR) {
            errno = errno == EAGAIN ? ETIMEDOUT : errno;
            return -1;
        }
    }
    return -1;
}

int simulated_mapping_attach(int fd, uint64_t size, mmio_mapping *out)
{
    greeting_packet packet;
    int error = receive_greeting(fd, &packet);
    if (error != 0) {
        return error;
    }
    const uint32_t bar_bytes = packet.text.bar_bytes;
    if (size > bar_bytes) {
        return EINVAL;
    }
    auto mapping = std::unique_ptr<simulated_mapping>(new (std::nothrow) simulated_mapping{});
    descriptor watched(fcntl(fd, F_DUPFD_CLOEXEC, 0));
    if (mapping == nullptr || watched.get() < 0) {
        return mapping == nullptr ? ENOMEM : errno;
    }
    void *bar = nullptr;
    void *control = nullptr;
    error = map_sealed(packet.memory[0].get(), bar_bytes, &bar);
    if (error == 0) {
        error = map_sealed(packet.memory[1].get(), sizeof(simulated_uio_control), &control);
    }
    if (error == 0) {
        mapping->control = static_cast<simulated_uio_control *>(control);
        mapping->socket = watched.get();
        error = copy_register_list(mapping.get(), bar_bytes);
    }
    if (error == 0) {
        error = start_watcher(mapping.get());
    }
    if (error != 0) {
        if (bar != nullptr) {
            munmap(bar, bar_bytes);
        }
        if (control != nullptr) {
            munmap(control, sizeof(simulated_uio_control));
        }
        return error;
    }
    watched.release();

    *out = mmio_mapping{static_cast<volatile uint32_t *>(bar), static_cast<uint32_t>(size), 0, mapping.get()};
    const std::lock_guard guard(mappings_mutex);
    mapping->next = mappings;
    mappings = mapping.release();
    return 0;
}

void simulated_uio_newest_count(int fd, uint32_t *count)
{
    uint32_t newer = 0;
    for (int i = 0; i < PENDING_COUNTS_MAX; i++) {
        const ssize_t length = recv(fd, &newer, sizeof newer, MSG_DONTWAIT);
        if (length <= 0) {
            return;
        }
        if (length == static_cast<ssize_t>(sizeof newer)) {
            *count = newer;
        }
    }
}
