// mock_client from its start to its first prompt, on a card that runs already.
#include <sys/mman.h>
#include <unistd.h>

#include "benchmarks/clock.h"
#include "benchmarks/figures.h"
#include "benchmarks/programs/process_use.h"
#include "benchmarks/programs/program.h"
#include "mock_client/client.h"
#include "platform/thread.h"
#include "platform/wait.h"

namespace {

constexpr uint32_t SLEEPS_MAX = 10'000;

// The sleeps of the client's own thread, in memory that the process which counts them shares with this one.
struct sleep_list {
    uint32_t count;
    uint64_t nanoseconds[SLEEPS_MAX];
};

sleep_list *sleeps;

void sleep_and_count(void *, uint64_t nanoseconds)
{
    if (thread_kernel_id() == getpid() && sleeps->count < SLEEPS_MAX) {
        sleeps->nanoseconds[sleeps->count++] = nanoseconds;
    }
    const timespec duration = {static_cast<time_t>(nanoseconds / WAIT_NS_PER_S),
                               static_cast<long>(nanoseconds % WAIT_NS_PER_S)};
    nanosleep(&duration, nullptr);
}

uint64_t monotonic(void *)
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * WAIT_NS_PER_S + static_cast<uint64_t>(now.tv_nsec);
}

// The client in a process whose sleeps are counted, but otherwise real.
int counting_client()
{
    static const wait_source counting = {
        nullptr,
        sleep_and_count,
        monotonic,
        [](void *, timespec *now) { return clock_gettime(CLOCK_REALTIME, now); },
        [](void *, pthread_mutex_t *mutex, const timespec *deadline) {
            return pthread_mutex_timedlock(mutex, deadline);
        },
    };
    wait_use_source(&counting);
    char name[] = "mock_client";
    char *words[] = {name, nullptr};
    return client_main(1, words);
}

double milliseconds_to_prompt()
{
    program client;
    const double taken = nanoseconds_each(1, [&client](unsigned) {
        client = program_start({MOCK_CLIENT});
        program_wait_for(client, CLIENT_PROMPT);
    });
    program_end_with(client, "quit\n");
    return taken / 1e6;
}

double milliseconds_of_sleeps()
{
    sleeps->count = 0;
    const program client = program_start_body(counting_client);
    program_wait_for(client, CLIENT_PROMPT);
    program_end_with(client, "quit\n");
    if (sleeps->count == 0 || sleeps->count == SLEEPS_MAX) {
        figure_fail("counting the client's sleeps");
    }
    return nanoseconds_each(1,
                            [](unsigned) {
                                for (uint32_t i = 0; i < sleeps->count; i++) {
                                    wait_sleep(sleeps->nanoseconds[i]);
                                }
                            }) /
           1e6;
}

void start()
{
    start_simulator();
    void *memory =
        mmap(nullptr, sizeof(sleep_list), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        figure_fail("mmap");
    }
    sleeps = static_cast<sleep_list *>(memory);
}

} // namespace

round_values client_start()
{
    static const bool started = (start(), true);
    (void)started;
    const double measured = milliseconds_to_prompt();
    return {measured, milliseconds_of_sleeps()};
}

round_values client_resident()
{
    static const bool started = (start(), true);
    (void)started;
    const program client = program_start({MOCK_CLIENT});
    program_wait_for(client, CLIENT_PROMPT);
    const double resident = private_mebibytes(client.pid, "");
    program_end_with(client, "quit\n");
    return {resident, 0};
}
