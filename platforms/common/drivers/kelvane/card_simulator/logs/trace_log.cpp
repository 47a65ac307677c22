#include "card_simulator/logs/trace_log.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstring>

#include "card_simulator/state/append_text.h"
#include "card_simulator/state/durations.h"

namespace {

constexpr uint32_t TEXT_ROWS = TRACE_TEXT_BYTES / TRACE_TEXT_ROW_BYTES;
constexpr uint32_t FIRST_INDEX = TRACE_FIRST_INDEX_REG - TRACE_LOG;
constexpr uint32_t LAST_INDEX = TRACE_LAST_INDEX_REG - TRACE_LOG;
constexpr uint32_t ROWS = TRACE_ROWS - TRACE_LOG;
constexpr uint32_t DATA_WORDS = 5;
constexpr uint32_t OPERATORS_MODULE = 20;

struct coded_row {
    uint32_t at_ms;
    uint16_t line_and_valid; // bits 0 to 11 and 12 to 15
    uint8_t source_module;
    uint8_t kind;
    uint32_t code;
    uint32_t data[DATA_WORDS];
};
static_assert(sizeof(coded_row) == TRACE_CODED_ROW_BYTES);

constexpr const char *ROW_NAMES[] = {"LOG ", "INFO", "ERR "};

// The row is complete before the indexes move.
void show_text_row(trace_log &log, bar &bar)
{
    log.next = (log.next + 1) % TEXT_ROWS;
    log.wrapped = log.wrapped || log.next == 0;
    const uint32_t oldest = log.wrapped ? (log.next + 1) % TEXT_ROWS : 0;
    trace_log_show_indexes(log, bar, oldest * TRACE_TEXT_ROW_BYTES, log.next * TRACE_TEXT_ROW_BYTES);
}

void show_coded_row(trace_log &log, bar &bar)
{
    const uint32_t newest = log.next;
    log.next = (log.next + 1) % TRACE_CODED_ROWS;
    if (!log.wrapped || log.next == 0) {
        log.wrapped = log.wrapped || log.next == 0;
        trace_log_show_indexes(log, bar, 0, newest);
    } else {
        trace_log_show_indexes(log, bar, newest + 2, newest + 1);
    }
}

// The row that holds the host's version words ends before them.
uint32_t text_room(uint32_t row)
{
    const uint32_t place = TRACE_ROWS + row * TRACE_TEXT_ROW_BYTES;
    const bool shared = place <= SDK_TO_ARM_DATA && SDK_TO_ARM_DATA < place + TRACE_TEXT_ROW_BYTES;
    return shared ? SDK_TO_ARM_DATA - place : TRACE_TEXT_ROW_BYTES;
}

void put_text_row(trace_log &log, bar &bar, std::string text)
{
    text.resize(std::min<size_t>(text.size(), text_room(log.next) - 1));
    log_area_put_text(log.area, bar, ROWS + log.next * TRACE_TEXT_ROW_BYTES, text.c_str(),
                      TRACE_TEXT_ROW_BYTES);
    show_text_row(log, bar);
}

void put_coded_row(trace_log &log, bar &bar, const coded_row &row)
{
    std::array<uint32_t, TRACE_CODED_ROW_BYTES / sizeof(uint32_t)> words;
    std::memcpy(words.data(), &row, sizeof row);
    const uint32_t place = ROWS + log.next * TRACE_CODED_ROW_BYTES;
    for (uint32_t i = 0; i < words.size(); i++) {
        log_area_put(log.area, bar, place + 4 * i, words[i]);
    }
    show_coded_row(log, bar);
}

uint16_t line_and_valid(uint32_t line, uint32_t valid)
{
    return static_cast<uint16_t>(valid << 12 | (line & 0xFFF));
}

std::string row_prefix(uint64_t at_ms, row_kind kind, uint32_t source_module)
{
    std::string text;
    append(text, "%6" PRIu64 ".%03u %s %02u ", at_ms / MS_PER_S, static_cast<unsigned>(at_ms % MS_PER_S),
           ROW_NAMES[kind], source_module);
    return text;
}

} // namespace

void trace_log_event(trace_log &log, bar &bar, const card_event &event)
{
    const event_shape &shape = shape_of_event(event.kind);
    if (log.text) {
        put_text_row(log, bar, row_prefix(event.at_ms, shape.row, shape.source_module) + event_text(event));
        return;
    }
    const auto valid = static_cast<uint32_t>(
        1 + std::ranges::count_if(shape.labels, [](const event_label &it) { return it.name != nullptr; }));
    coded_row row = {static_cast<uint32_t>(event.at_ms),
                     line_and_valid(shape.source_line, valid),
                     static_cast<uint8_t>(shape.source_module),
                     static_cast<uint8_t>(shape.row),
                     event.code,
                     {event.device}};
    std::ranges::copy(event.values.value, row.data + 1);
    put_coded_row(log, bar, row);
}

void trace_log_text(trace_log &log, bar &bar, const std::string &text, uint64_t at_ms)
{
    if (log.text) {
        put_text_row(log, bar, text);
        return;
    }
    coded_row row = {static_cast<uint32_t>(at_ms), 0, OPERATORS_MODULE, ROW_LOG, 0, {}};
    const size_t taken = std::min(text.size(), sizeof row.data);
    std::memcpy(row.data, text.data(), taken);
    row.line_and_valid = line_and_valid(0, static_cast<uint32_t>((taken + 3) / 4));
    put_coded_row(log, bar, row);
}

void trace_log_clear(trace_log &log, bar &bar)
{
    log_area_clear(log.area);
    log.wrapped = false;
    log.next = 0;
    log_area_restore(log.area, bar);
}

// In this order: the oldest row is dropped before the newest one appears.
void trace_log_show_indexes(trace_log &log, bar &bar, uint32_t first, uint32_t last)
{
    log_area_put(log.area, bar, FIRST_INDEX, first);
    log_area_put(log.area, bar, LAST_INDEX, last);
}
