#include "benchmarks/programs/spinning_card.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "benchmarks/figures.h"
#include "card_simulator/card.h"
#include "card_simulator/shared_card.h"
#include "kelvane_bar.h"
#include "platform/simulated_uio_client.h"
#include "platform/simulated_uio_queue.h"
#include "platform/wait.h"

namespace {

int sealed_memory(size_t bytes)
{
    const int fd = memfd_create("bench_card", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (fd < 0 || ftruncate(fd, static_cast<off_t>(bytes)) != 0 ||
        fcntl(fd, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0) {
        figure_fail("memfd_create");
    }
    return fd;
}

simulated_uio_control *control_page(int fd)
{
    void *page = mmap(nullptr, sizeof(simulated_uio_control), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (page == MAP_FAILED) {
        figure_fail("mmap");
    }
    auto *control = static_cast<simulated_uio_control *>(page);
    control->magic = SIMULATED_UIO_MAGIC;
    control->version = SIMULATED_UIO_VERSION;
    control->bar_bytes = BAR_BYTES;
    control->clear_on_one_offset = MSI_STATUS_REG;
    for (const uint32_t offset : bar_posted_registers()) {
        control->posted_offset[control->posted_count++] = offset;
    }
    return control;
}

void greet(int socket, int bar_fd, int control_fd)
{
    simulated_uio_greeting greeting = {SIMULATED_UIO_MAGIC, SIMULATED_UIO_VERSION, BAR_BYTES,
                                       sizeof(simulated_uio_control)};
    const int handed[2] = {bar_fd, control_fd};
    alignas(cmsghdr) char rights[CMSG_SPACE(sizeof handed)] = {};
    iovec bytes = {&greeting, sizeof greeting};
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
    if (sendmsg(socket, &message, MSG_NOSIGNAL) != static_cast<ssize_t>(sizeof greeting)) {
        figure_fail("sendmsg");
    }
}

[[noreturn]] void spin(card *card, simulated_uio_control *control)
{
    simulated_uio_reader reader{};
    simulated_uio_reader_init(&reader, control);
    uint64_t due = 0;
    for (;;) {
        bool wrote = false;
        uint32_t offset = 0;
        uint32_t value = 0;
        const uint64_t now = wait_monotonic();
        while (simulated_uio_pop(&reader, now, &offset, &value)) {
            card_posted_write(card, offset, value);
            wrote = true;
        }
        if (wrote || now >= due) {
            card_step(card);
            due = card_next_due(card);
        }
    }
}

} // namespace

pid_t spinning_card_start(mmio_mapping *out)
{
    const int bar_fd = sealed_memory(BAR_BYTES);
    const int control_fd = sealed_memory(sizeof(simulated_uio_control));
    simulated_uio_control *control = control_page(control_fd);
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        figure_fail("socketpair");
    }
    greet(ends[0], bar_fd, control_fd);
    const pid_t pid = fork();
    if (pid < 0) {
        figure_fail("fork");
    }
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        spin(card_create_on(card_options{}, bar_fd, card_outlets{}), control);
    }
    const int error = simulated_mapping_attach(ends[1], BAR_BYTES, out);
    if (error != 0) {
        errno = error;
        figure_fail("simulated_mapping_attach");
    }
    return pid;
}
