// kelvaned as a process beside the figure's own, and its clients.
#ifndef BENCHMARKS_RUNNING_SERVICE_H
#define BENCHMARKS_RUNNING_SERVICE_H

#include <cstddef>
#include <cstdint>

#include <sys/types.h>

// Starts the service in the figure's host's tree and waits, some 5 seconds, until it is up. It ends with the
// figure. Returns its process.
pid_t start_service();

// The same on a card of its own that answers at once, like the bench card of this process.
pid_t start_service_on_bench_card();

// One on a simulated card with its metrics open, whose scrape has values of all modules.
void start_service_with_metrics();

// A connection to its metrics, and a scrape over it; its text's size.
int connect_to_metrics();
size_t scrape_metrics(int connection);

// One more of its clients.
int connect_to_service();

// Asks for a register of the sirane, as one line, and takes the answer; each ends the figure's process unless
// that goes well.
void send_register_request(int client, uint32_t sirane);
void take_register_answer(int client);

#endif
