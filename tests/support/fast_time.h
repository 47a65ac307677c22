// Time that runs several times as fast, for a test with real threads: a sleep of 2 s is over in 2 s divided
// by the speed, and so are the limits of locks.
#ifndef TESTS_SUPPORT_FAST_TIME_H
#define TESTS_SUPPORT_FAST_TIME_H

#include <cstdint>

// For the rest of the process: the library's threads wait in it until then.
void fast_time_start(uint64_t speed);

#endif
