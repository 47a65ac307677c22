// kelvaned as a process beside the figure's own, and its clients.
#ifndef BENCHMARKS_RUNNING_SERVICE_H
#define BENCHMARKS_RUNNING_SERVICE_H

#include <cstdint>

#include <sys/types.h>

// Starts the service in the figure's host's tree and waits, some 5 seconds, until it is up. It ends with the
// figure. Returns its process.
pid_t start_service();

// The same on a card of its own that answers at once, like the bench card of this process.
pid_t start_service_on_bench_card();

// One more of its clients.
int connect_to_service();

// Asks for a register of the sirane, as one line, and takes the answer; each ends the figure's process unless
// that goes well.
void send_register_request(int client, uint32_t sirane);
void take_register_answer(int client);

#endif
