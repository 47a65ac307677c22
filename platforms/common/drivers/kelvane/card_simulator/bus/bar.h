// The card's BAR: 64 MiB of words that the host and the firmware share.
#ifndef CARD_SIMULATOR_BUS_BAR_H
#define CARD_SIMULATOR_BUS_BAR_H

#include <atomic>
#include <cstdint>
#include <span>

struct bar {
    uint32_t *words = nullptr;
    bool shared = false;               // with other processes
    bool plain = false;                // memory that nobody watches: see polled_memory.h
    std::atomic<bool> removed = false; // the host reads all ones, and its writes are lost
};

// Maps the memory: that of `memory_fd`, which stays the caller's, or for -1 memory of its own. All zero
// at first. Returns 0 or the error of mmap.
int32_t bar_map(bar &bar, int memory_fd);
void bar_unmap(bar &bar);

// Zeroes the whole memory and gives its pages back.
void bar_clear(bar &bar);

// The firmware's accesses: of a word in the BAR, with nothing else happening.
uint32_t bar_read(const bar &bar, uint32_t offset);
void bar_write(bar &bar, uint32_t offset, uint32_t value);
void bar_set_bits(bar &bar, uint32_t offset, uint32_t bits);
void bar_clear_bits(bar &bar, uint32_t offset, uint32_t bits);

// The host's accesses, as the bus does them. A write returns whether it hit a posted register: one
// whose every write the firmware has to hear of.
uint32_t bar_host_read(const bar &bar, uint32_t offset);
bool bar_host_write(bar &bar, uint32_t offset, uint32_t value);

bool bar_holds(uint32_t offset);
bool bar_posts(uint32_t offset);
std::span<const uint32_t> bar_posted_registers();

#endif
