#include <thread>

#include "benchmarks/clock.h"
#include "benchmarks/figures.h"
#include "benchmarks/processors.h"
#include "benchmarks/threads/futex.h"
#include "core/semaphore.h"
#include "core/trace/trace.h"

namespace {

constexpr unsigned TURNS = 100; // there and back

kelvane_semaphore there, back;
bare_wake bare_there, bare_back;

void measured_loop(unsigned turns)
{
    for (unsigned turn = 0; turn < turns; turn++) {
        kelvane_sem_give(&there);
        kelvane_sem_take(&back);
    }
}

void reference_loop(unsigned turns)
{
    for (unsigned turn = 0; turn < turns; turn++) {
        bare_give(bare_there);
        bare_take(bare_back);
    }
}

// On one processor a wake is a switch from thread to thread. Across two, the sleeping processor takes ten
// times as long to come to itself, and hides whatever the semaphore adds.
void start()
{
    stay_on(pthread_self(), 0);
    trace_level_mask_clear(LEVEL_LOWPR);
    for (kelvane_semaphore *semaphore : {&there, &back}) {
        if (kelvane_sem_init(semaphore) != 0 || kelvane_sem_take(semaphore) != 0) {
            figure_fail("kelvane_sem_init");
        }
    }
    std::thread([] {
        for (;;) {
            kelvane_sem_take(&there);
            kelvane_sem_give(&back);
        }
    }).detach();
    std::thread([] {
        for (;;) {
            bare_take(bare_there);
            bare_give(bare_back);
        }
    }).detach();
}

double microseconds_of_a_wake(void (*loop)(unsigned))
{
    return nanoseconds_each(TURNS, loop) / 2 / 1000;
}

} // namespace

round_values semaphore_wake()
{
    static const bool started = (start(), true);
    (void)started;
    return {microseconds_of_a_wake(measured_loop), microseconds_of_a_wake(reference_loop)};
}
