// What the simulator's process waits for: descriptors, and what to do when one has something to read.
// One thread.
#ifndef CARD_SIMULATOR_PROCESS_EVENT_LOOP_H
#define CARD_SIMULATOR_PROCESS_EVENT_LOOP_H

#include <vector>

struct watch {
    int fd;
    void *self;
    void (*ready)(void *self, int fd); // may be called without need: it must not block
};

struct event_loop {
    std::vector<watch> watches;
};

void event_loop_watch(event_loop &loop, const watch &watch);
void event_loop_forget(event_loop &loop, int fd); // the descriptor stays open

// Blocks until something is ready and does all that is. Returns 0 or the error of poll.
int event_loop_turn(event_loop &loop);

#endif
