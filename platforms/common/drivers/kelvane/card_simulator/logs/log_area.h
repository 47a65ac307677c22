// A stretch of the BAR that holds a log, with the card's own copy of it.
//
// A large image overwrites what the host sees of a log, its head first. While the head in the BAR is not the
// card's, only the copy is written, so that the image stays intact.
#ifndef CARD_SIMULATOR_LOGS_LOG_AREA_H
#define CARD_SIMULATOR_LOGS_LOG_AREA_H

#include <cstdint>
#include <vector>

#include "card_simulator/bus/bar.h"

struct log_area {
    uint32_t base = 0;
    uint32_t bytes = 0;
    uint32_t head_bytes = 0;
    std::vector<uint32_t> words; // up to the last that was ever written; the others are 0
};

uint32_t log_area_get(const log_area &area, uint32_t offset);
void log_area_put(log_area &area, bar &bar, uint32_t offset, uint32_t value);

// The first `bytes` of a text, padded with zeros; `bytes` is a multiple of 4.
void log_area_put_text(log_area &area, bar &bar, uint32_t offset, const char *text, uint32_t bytes);

// Empties the copy; the host sees it once the area is restored.
void log_area_clear(log_area &area);

// Whether the host sees the card's head.
bool log_area_is_intact(const log_area &area, const bar &bar);

// The host sees the card's copy again.
void log_area_restore(const log_area &area, bar &bar);

#endif
