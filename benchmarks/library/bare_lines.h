// What the library does for a command or an interrupt, without the library: the same accesses to the card
// and the same lines, written out one after the other: the reference for what they cost in the library.
#ifndef BENCHMARKS_BARE_LINES_H
#define BENCHMARKS_BARE_LINES_H

#include <cstdint>

#include "kelvane.h"

// A word of the card, with the line that every access draws.
uint32_t bare_read(uint32_t offset);

// kelvane_read_register of register 0x9010 on sirane 0, on the card of bench_card.h: 34 accesses.
void bare_read_register(uint32_t ref_id);

// An alarm interrupt of sirane 0 with a message of no alarms: the lines of the interrupt thread up to the
// waking of the response thread, and of that one up to the callback. No access is made.
void bare_interrupt_lines();
void bare_response_lines(uint32_t ref_id, kelvane_alarms_notify_cb callback);

#endif
