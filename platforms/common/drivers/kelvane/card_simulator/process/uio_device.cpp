#include "card_simulator/process/uio_device.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "card_simulator/process/polled_memory.h"
#include "card_simulator/process/uio_server.h"
#include "card_simulator/shared_card.h"
#include "kelvane_bar.h"
#include "platform/thread.h"
#include "platform/wait.h"

namespace {

constexpr uint64_t LOOK_PERIOD_NS = 50000;

bool open_file(const std::string &path, int flags, int *fd, std::string *problem)
{
    *fd = open(path.c_str(), flags | O_CLOEXEC);
    if (*fd < 0) {
        *problem = "cannot open " + path + ": " + std::strerror(errno);
    }
    return *fd >= 0;
}

// A card that died left its words in the memory. A plain file may be too short, and touching what it lacks is
// fatal.
bool clear_memory(int fd, const std::string &path, std::string *problem)
{
    bar memory;
    struct stat status {};
    const bool too_short =
        fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_size < off_t{BAR_BYTES};
    const int32_t error = too_short ? ENOSPC : bar_map(memory, fd);
    if (error != 0) {
        *problem = "cannot map a BAR in " + path + ": " + std::strerror(error);
        return false;
    }
    bar_clear(memory);
    bar_unmap(memory);
    return true;
}

void leave_all_ones(const bar &bar)
{
    std::memset(bar.words, 0xFF, BAR_BYTES);
}

void write_interrupt(void *self)
{
    const int fd = static_cast<uio_server *>(self)->interrupt_fd;
    if (pwrite(fd, "1\n", 2, 0) != 2) {
        std::fprintf(stderr, "card_simulator: cannot raise an interrupt: %s\n", std::strerror(errno));
    }
}

void tell_removed(void *self, bool removed)
{
    if (removed) {
        leave_all_ones(static_cast<uio_server *>(self)->card->bar);
    }
}

void run_firmware(uio_server &server)
{
    thread_block_signals(nullptr);
    polled_memory memory;
    polled_memory_start(memory, server.card);
    uint64_t awake_until = 0;
    while (!server.stop) {
        const uint64_t now = wait_monotonic();
        if (polled_memory_look(memory, server.card)) {
            awake_until = now + SIMULATED_UIO_AWAKE_NS;
        }
        card_step(server.card);
        if (now < awake_until) {
            std::this_thread::yield();
        } else {
            wait_sleep(LOOK_PERIOD_NS);
        }
    }
    leave_all_ones(server.card->bar);
}

} // namespace

bool uio_device_start(uio_server &server, const card_options &options, const uio_device_files &files,
                      std::string *problem)
{
    if (!open_file(files.memory, O_RDWR, &server.bar_fd, problem) ||
        !open_file(files.interrupt, O_WRONLY, &server.interrupt_fd, problem) ||
        !clear_memory(server.bar_fd, files.memory, problem)) {
        return false;
    }
    server.card =
        card_create_on(options, server.bar_fd, card_outlets{&server, write_interrupt, tell_removed});
    server.firmware = std::thread(run_firmware, std::ref(server));
    return true;
}
