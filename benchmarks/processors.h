// Where threads run, so that the scheduler's choice does not decide what a figure says.
#ifndef BENCHMARKS_PROCESSORS_H
#define BENCHMARKS_PROCESSORS_H

#include <pthread.h>

// Keeps the thread, and those that it starts, on one of the processors that this process has: two different
// numbers are two processors, if there are as many.
void stay_on(pthread_t thread, unsigned number);

#endif
