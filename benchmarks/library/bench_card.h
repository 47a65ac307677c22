// The library on a card that is plain words in this process: it answers every command before the access
// that sends it returns, with the words of the command, and has no timers, threads or locks.
#ifndef BENCHMARKS_BENCH_CARD_H
#define BENCHMARKS_BENCH_CARD_H

#include <atomic>
#include <cstdint>

#include "kelvane.h"

// The word at that offset of the BAR.
std::atomic<uint32_t> &bench_word(uint32_t offset);

// The library's callbacks.
int32_t bench_read(kelvane_handle handle, uint32_t bus, uint32_t offset, uint32_t *value,
                   uint32_t check_alive);
int32_t bench_write(kelvane_handle handle, uint32_t bus, uint32_t offset, uint32_t value,
                    uint32_t check_alive);
int32_t bench_read_block(kelvane_handle handle, uint32_t bus, uint32_t offset, uint32_t count, uint32_t *data,
                         uint32_t check_alive);

enum bench_threads { WITHOUT_THREADS, WITH_THREADS };

// Brings the library up on the card, the gate open, no link-up made.
void start_on_bench_card(bench_threads threads);

// The first lap through a ring takes memory from the system; what is measured comes later.
void fill_rings();

// A command of a sirane that goes well; ends the figure's process otherwise.
void bench_command(uint32_t sirane_id);

#endif
