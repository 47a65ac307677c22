#include <mutex>

#include <linux/seccomp.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "benchmarks/clock.h"
#include "benchmarks/figures.h"
#include "core/mutex.h"

namespace {

constexpr unsigned TURNS = 20'000;

kelvane_mutex measured;
std::mutex reference;

void measured_loop(unsigned turns)
{
    for (unsigned turn = 0; turn < turns; turn++) {
        if (kelvane_mutex_lock(&measured) != 0 || kelvane_mutex_unlock(&measured) != 0) {
            figure_fail("kelvane_mutex_lock");
        }
    }
}

void reference_loop(unsigned turns)
{
    for (unsigned turn = 0; turn < turns; turn++) {
        reference.lock();
        reference.unlock();
    }
}

// A thread alone is served by shorter paths, which no user of the library ever has.
void start_second_thread()
{
    std::thread([] { pause(); }).detach();
}

// In a process whose first thread the kernel stops for good at any system call but a write, and whose second
// one waits for that write.
bool locks_without_system_call()
{
    const pid_t pid = fork();
    if (pid == 0) {
        int done[2] = {-1, -1};
        if (pipe(done) != 0) {
            _exit(3);
        }
        std::thread([&done] {
            pollfd watched = {done[0], POLLIN, 0};
            _exit(poll(&watched, 1, 10'000) == 1 ? 0 : 4);
        }).detach();
        measured_loop(1); // the kernel is asked for the thread's id the first time
        if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) != 0) {
            _exit(3);
        }
        measured_loop(TURNS);
        for (;;) {
            (void)!write(done[1], "", 1);
        }
    }
    int status = 0;
    return pid > 0 && waitpid(pid, &status, 0) == pid && status == 0;
}

void start()
{
    if (kelvane_mutex_init(&measured) != 0) {
        figure_fail("kelvane_mutex_init");
    }
    if (!locks_without_system_call()) {
        figure_fail("locking without a system call");
    }
    start_second_thread();
}

} // namespace

round_values uncontended_mutex()
{
    static const bool started = (start(), true);
    (void)started;
    return {nanoseconds_each(TURNS, measured_loop), nanoseconds_each(TURNS, reference_loop)};
}
