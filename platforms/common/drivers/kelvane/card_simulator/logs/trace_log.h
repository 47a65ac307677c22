// The firmware's log: a ring of rows that the host reads whenever it likes. Older firmware writes coded
// rows, newer firmware lines of text.
//
// The two indexes are such that a host which follows them shows the rows in order:
// - text: `first` is the oldest row, `last` the one after the newest. One row is kept free, since equal
//   indexes mean an empty ring.
// - coded, until the ring is full: `first` is 0, `last` the newest row. A host that finds `first` above
//   `last` shows `last` to the end and then 0 to `first`, so on a ring that has wrapped `last` is the
//   oldest row and `first` the one after it: all rows come in order, and the two oldest once again.
#ifndef CARD_SIMULATOR_LOGS_TRACE_LOG_H
#define CARD_SIMULATOR_LOGS_TRACE_LOG_H

#include <string>

#include "card_simulator/bus/bar.h"
#include "card_simulator/logs/log_area.h"
#include "card_simulator/state/card_events.h"
#include "kelvane_bar.h"

struct trace_log {
    log_area area = {TRACE_LOG, TRACE_ROWS - TRACE_LOG + TRACE_TEXT_BYTES, TRACE_ROWS - TRACE_LOG, {}};
    bool text = true;
    bool wrapped = false;
    uint32_t next = 0; // row to be written
};

void trace_log_event(trace_log &log, bar &bar, const card_event &event);

// A line from the operator; a coded row takes its first 20 characters as data.
void trace_log_text(trace_log &log, bar &bar, const std::string &text, uint64_t at_ms);

void trace_log_clear(trace_log &log, bar &bar);

// What the host reads as indexes until the next row is written.
void trace_log_show_indexes(trace_log &log, bar &bar, uint32_t first, uint32_t last);

#endif
