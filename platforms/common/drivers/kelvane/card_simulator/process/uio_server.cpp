#include "card_simulator/process/uio_server.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include "card_simulator/process/local_socket.h"
#include "card_simulator/shared_card.h"
#include "kelvane_bar.h"
#include "platform/thread.h"
#include "platform/wait.h"

namespace {

// Sealed against resizing, so that no process can make another one fault.
int shared_memory(const char *name, size_t bytes, std::string *problem)
{
    const int fd = memfd_create(name, MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (fd < 0 || ftruncate(fd, static_cast<off_t>(bytes)) != 0 ||
        fcntl(fd, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0) {
        *problem = std::string("cannot make shared memory: ") + std::strerror(errno);
        if (fd >= 0) {
            close(fd);
        }
        return -1;
    }
    return fd;
}

void fill_control(simulated_uio_control *control)
{
    control->magic = SIMULATED_UIO_MAGIC;
    control->version = SIMULATED_UIO_VERSION;
    control->bar_bytes = BAR_BYTES;
    control->clear_on_one_offset = MSI_STATUS_REG;
    for (const uint32_t offset : bar_posted_registers()) {
        control->posted_offset[control->posted_count++] = offset;
    }
}

bool make_memory(uio_server &server, std::string *problem)
{
    server.bar_fd = shared_memory("card_bar", BAR_BYTES, problem);
    if (server.bar_fd < 0) {
        return false;
    }
    server.control_fd = shared_memory("card_control", sizeof(simulated_uio_control), problem);
    if (server.control_fd < 0) {
        return false;
    }
    void *page = mmap(nullptr, sizeof(simulated_uio_control), PROT_READ | PROT_WRITE, MAP_SHARED,
                      server.control_fd, 0);
    if (page == MAP_FAILED) {
        *problem = std::string("cannot map shared memory: ") + std::strerror(errno);
        return false;
    }
    server.control = static_cast<simulated_uio_control *>(page);
    fill_control(server.control);
    simulated_uio_reader_init(&server.reader, server.control);
    return true;
}

// ---- the firmware's thread

bool take_posted_writes(uio_server &server)
{
    bool any = false;
    uint32_t offset = 0;
    uint32_t value = 0;
    while (!server.stop && simulated_uio_pop(&server.reader, wait_monotonic(), &offset, &value)) {
        card_posted_write(server.card, offset, value);
        any = true;
    }
    return any;
}

void run_firmware(uio_server &server)
{
    thread_block_signals(nullptr);
    uint64_t awake_until = 0;
    uint64_t due = 0;
    while (!server.stop) {
        const bool wrote = take_posted_writes(server);
        const uint64_t now = wait_monotonic();
        if (wrote) {
            awake_until = now + SIMULATED_UIO_AWAKE_NS;
        }
        if (wrote || now >= due || server.look_again.exchange(false)) {
            card_step(server.card);
            due = card_next_due(server.card);
        } else if (now < awake_until) {
            std::this_thread::yield();
        } else {
            simulated_uio_sleep(&server.reader, due == NEVER_NS ? UINT64_MAX : due - now);
        }
    }
}

// ---- clients

// A client that reads too slowly has unread counts queued. It looks at the card after each of them, so it
// loses nothing with the newest one.
void send_interrupt(void *self)
{
    auto &server = *static_cast<uio_server *>(self);
    const uint32_t count = ++server.event_count;
    const std::lock_guard guard(server.clients_mutex);
    for (const int fd : server.clients) {
        send(fd, &count, sizeof count, MSG_DONTWAIT | MSG_NOSIGNAL);
    }
}

void tell_removed(void *self, bool removed)
{
    auto &server = *static_cast<uio_server *>(self);
    __atomic_store_n(&server.control->removed, removed ? 1 : 0, __ATOMIC_SEQ_CST);
}

bool greet(const uio_server &server, int fd)
{
    simulated_uio_greeting greeting{SIMULATED_UIO_MAGIC, SIMULATED_UIO_VERSION, BAR_BYTES,
                                    sizeof(simulated_uio_control)};
    const int handed[2] = {server.bar_fd, server.control_fd};
    alignas(cmsghdr) char rights[CMSG_SPACE(sizeof handed)] = {};
    iovec bytes{&greeting, sizeof greeting};
    msghdr message{};
    message.msg_iov = &bytes;
    message.msg_iovlen = 1;
    message.msg_control = rights;
    message.msg_controllen = sizeof rights;
    cmsghdr *header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof handed);
    std::memcpy(CMSG_DATA(header), handed, sizeof handed);
    return sendmsg(fd, &message, MSG_DONTWAIT | MSG_NOSIGNAL) == static_cast<ssize_t>(sizeof greeting);
}

void clients_changed(uio_server &server)
{
    server.card->clients = static_cast<uint32_t>(server.clients.size());
    std::string problem;
    if (!card_tree_write_event_count(*server.tree, server.event_count, &problem)) {
        std::fprintf(stderr, "card_simulator: %s\n", problem.c_str());
    }
}

void drop_client(uio_server &server, int fd)
{
    event_loop_forget(*server.loop, fd);
    {
        const std::lock_guard guard(server.clients_mutex);
        std::erase(server.clients, fd);
    }
    close(fd);
    clients_changed(server);
}

// Nothing is expected from a client: what it sends is discarded, and its end is noticed.
void client_ready(void *self, int fd)
{
    char dropped[64];
    const ssize_t got = recv(fd, dropped, sizeof dropped, MSG_DONTWAIT);
    if (got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR)) {
        drop_client(*static_cast<uio_server *>(self), fd);
    }
}

void host_connects(void *self, int listener)
{
    auto &server = *static_cast<uio_server *>(self);
    const int fd = local_socket_accept(*server.loop, listener);
    if (fd < 0) {
        return;
    }
    // The greeting is out before the first interrupt can be.
    if (server.clients.size() >= UIO_CLIENTS_MAX || !greet(server, fd)) {
        std::fprintf(stderr, "card_simulator: a client was turned away\n");
        close(fd);
        return;
    }
    {
        const std::lock_guard guard(server.clients_mutex);
        server.clients.push_back(fd);
    }
    event_loop_watch(*server.loop, {fd, &server, client_ready});
    clients_changed(server);
}

void close_if_open(int &fd)
{
    if (fd >= 0) {
        close(fd);
        fd = -1;
    }
}

} // namespace

bool uio_server_start(uio_server &server, const card_options &options, card_tree &tree, event_loop &loop,
                      std::string *problem)
{
    server.tree = &tree;
    server.loop = &loop;
    if (!make_memory(server, problem)) {
        return false;
    }
    server.card = card_create_on(options, server.bar_fd, card_outlets{&server, send_interrupt, tell_removed});
    server.listener = card_tree_listen_as_node(tree, problem);
    if (server.listener < 0) {
        return false;
    }
    event_loop_watch(loop, {server.listener, &server, host_connects});
    server.firmware = std::thread(run_firmware, std::ref(server));
    return true;
}

void uio_server_stop(uio_server &server)
{
    server.stop = true;
    if (server.control != nullptr) {
        tell_removed(&server, true);
        simulated_uio_wake(server.control);
    }
    if (server.firmware.joinable()) {
        server.firmware.join();
    }
    for (const int fd : server.clients) {
        event_loop_forget(*server.loop, fd);
        close(fd);
    }
    server.clients.clear();
    if (server.listener >= 0) {
        event_loop_forget(*server.loop, server.listener);
    }
    close_if_open(server.listener);
    if (server.card != nullptr) {
        card_destroy(server.card);
        server.card = nullptr;
    }
    if (server.control != nullptr) {
        munmap(server.control, sizeof(simulated_uio_control));
        server.control = nullptr;
    }
    close_if_open(server.bar_fd);
    close_if_open(server.control_fd);
    close_if_open(server.interrupt_fd);
}

int32_t uio_server_verb(uio_server &server, const char *line, std::string *answer)
{
    const int32_t result = card_verb(server.card, line, answer);
    server.look_again = true;
    if (server.control != nullptr) {
        simulated_uio_wake(server.control);
    }
    return result;
}
