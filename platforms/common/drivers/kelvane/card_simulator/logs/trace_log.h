// The firmware's log: a ring of rows that the host reads whenever it likes. Older firmware writes coded
// rows, newer firmware lines of text.
//
// The two indexes are set so that a host that follows them as they are meant shows the rows in order:
// - text: `first` is the oldest row, `last` is behind the newest. One row is kept free, since equal indexes
//   are an empty ring.
// - coded, until the ring is full: `first` is 0, `last` the newest row. A host that finds `first` above
//   `last` shows `last` to the end and then 0 to `first`, so on a ring that has come round `last` is the
//   oldest row and `first` the one behind it: all rows come in order, and the two oldest once again.
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
    bool came_round = false;
    uint32_t next = 0; // row to be written
};

void trace_log_event(trace_log &log, bar &bar, const card_event &event);

// A line of the operator's; in coded rows its first 20 characters are the data.
void trace_log_text(trace_log &log, bar &bar, const std::string &text, uint64_t at_ms);

void trace_log_clear(trace_log &log, bar &bar);

// What the host reads as indexes until the next row is written.
void trace_log_show_indexes(trace_log &log, bar &bar, uint32_t first, uint32_t last);

#endif
