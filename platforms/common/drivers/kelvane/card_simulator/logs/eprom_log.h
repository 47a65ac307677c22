// The logs that survive a loss of power: a text for each sirane, the controller's rows, and which
// regulators failed.
//
// A text begins at `first`, with its oldest line, and ends before `last`; a line is a multiple of 4 bytes
// long, and the 4 bytes after the newest are erased. Of the controller's rows `first` is the oldest and
// `last` the newest.
#ifndef CARD_SIMULATOR_LOGS_EPROM_LOG_H
#define CARD_SIMULATOR_LOGS_EPROM_LOG_H

#include <array>
#include <cstdint>
#include <string>

#include "card_simulator/bus/bar.h"
#include "card_simulator/logs/log_area.h"
#include "card_simulator/state/card_events.h"
#include "kelvane_mbox.h"

constexpr uint32_t EPROM_SLICE_COUNT = SIRANE_COUNT + 1;

// A row of the controller's log: milliseconds since power came; number of the start in the upper and the
// event in the lower half; device; error word; two of the event's values.
using eprom_row = std::array<uint32_t, 6>;
constexpr uint32_t EPROM_OPERATORS_ROW = 0xFFFF; // where others have start and event

struct eprom_text {
    log_area area;
    uint32_t first = 0;
    uint32_t last = 0;
};

struct eprom_rows {
    log_area area;
    bool ready = true;
    bool wrapped = false;
    uint32_t next = 0;
};

struct eprom_log {
    eprom_text siranes[SIRANE_COUNT];
    eprom_rows controller;
};

// As delivered: empty and ready.
void eprom_start(eprom_log &log, bar &bar);
void eprom_restore(const eprom_log &log, bar &bar);

void eprom_event(eprom_log &log, bar &bar, const card_event &event, uint32_t starts);

// A line into the log of a sirane, a row into the controller's.
void eprom_put_line(eprom_log &log, bar &bar, uint32_t sirane_id, const std::string &line);
void eprom_put_row(eprom_log &log, bar &bar, const eprom_row &row);

void eprom_clear(eprom_log &log, bar &bar, uint32_t slice);
void eprom_set_ready(eprom_log &log, bar &bar, bool ready);

// What the host reads as indexes until something is written.
void eprom_show_indexes(eprom_log &log, bar &bar, uint32_t slice, uint32_t first, uint32_t last);

uint32_t eprom_regulators(const eprom_log &log, uint32_t sirane_id);
void eprom_set_regulators(eprom_log &log, bar &bar, uint32_t sirane_id, uint32_t word);

#endif
