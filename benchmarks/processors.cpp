#include "benchmarks/processors.h"

#include <cerrno>

#include <sched.h>
#include <unistd.h>

#include "benchmarks/figures.h"

void stay_on(pthread_t thread, unsigned number)
{
    cpu_set_t ours;
    if (sched_getaffinity(getpid(), sizeof ours, &ours) != 0) {
        figure_fail("sched_getaffinity");
    }
    unsigned left = number % static_cast<unsigned>(CPU_COUNT(&ours));
    size_t processor = 0;
    while (!CPU_ISSET(processor, &ours) || left-- > 0) {
        processor++;
    }
    cpu_set_t here;
    CPU_ZERO(&here);
    CPU_SET(processor, &here);
    errno = pthread_setaffinity_np(thread, sizeof here, &here);
    if (errno != 0) {
        figure_fail("pthread_setaffinity_np");
    }
}
