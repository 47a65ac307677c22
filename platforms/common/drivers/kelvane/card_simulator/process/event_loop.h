// What the simulator's process waits for: descriptors, and what to do when one has something to read.
// One thread.
#ifndef CARD_SIMULATOR_PROCESS_EVENT_LOOP_H
#define CARD_SIMULATOR_PROCESS_EVENT_LOOP_H

#include <cstdint>
#include <vector>

struct watch {
    int fd;
    void *self;
    void (*ready)(void *self, int fd); // may be called without need: it must not block
    uint64_t rests_until_ns = 0;       // on the monotonic clock; 0: it does not rest
};

struct event_loop {
    std::vector<watch> watches;
};

void event_loop_watch(event_loop &loop, const watch &watch);
void event_loop_forget(event_loop &loop, int fd); // the descriptor stays open

// Leaves the descriptor alone for 50 ms: what made it ready cannot be dealt with now, and would make it ready
// at once again. Returns whether it was not resting just before.
bool event_loop_rest(event_loop &loop, int fd);

// Blocks until something is ready and does all that is. Returns 0 or the error of poll.
int event_loop_turn(event_loop &loop);

#endif
