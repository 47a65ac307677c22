#include "card_simulator/logs/eprom_log.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>

#include "card_simulator/state/append_text.h"
#include "card_simulator/state/devices.h"
#include "card_simulator/state/durations.h"
#include "kelvane_bar.h"

namespace {

constexpr uint32_t TEXT_BYTES = EPROM_LOG_END - SIRANE_EPROM_LOG;
constexpr uint32_t ROWS = (EPROM_LOG_END - CONTROLLER_EPROM_LOG) / EPROM_CONTROLLER_ROW_BYTES;
constexpr uint32_t LINE_BYTES_MAX = 128;
constexpr uint32_t ERASED_BYTES = sizeof(uint32_t);
static_assert(sizeof(eprom_row) == EPROM_CONTROLLER_ROW_BYTES);

uint32_t regulator_place(uint32_t sirane_id)
{
    return REGULATOR_ALARM_TABLE - eprom_slice(EPROM_CONTROLLER_SLICE) +
           REGULATOR_ALARM_ENTRY_BYTES * sirane_id + REGULATOR_ALARM_WORD;
}

uint32_t used_bytes(const eprom_text &text)
{
    return (text.last + TEXT_BYTES - text.first) % TEXT_BYTES;
}

// A line's last byte is its newline.
uint32_t end_of_oldest_line(const eprom_text &text)
{
    uint32_t at = text.first;
    while (at != text.last) {
        const uint32_t word = log_area_get(text.area, SIRANE_EPROM_LOG + at);
        at = (at + 4) % TEXT_BYTES;
        if (word >> 24 == '\n') {
            break;
        }
    }
    return at;
}

// The oldest lines are dropped before they are overwritten, and the new one is complete before `last` moves.
void put_line(eprom_text &text, bar &bar, std::string line)
{
    line.resize(std::min<size_t>(line.size(), LINE_BYTES_MAX - 1));
    line.resize((line.size() + 4) / 4 * 4 - 1, ' ');
    line += '\n';
    const auto bytes = static_cast<uint32_t>(line.size());
    while (used_bytes(text) + bytes + ERASED_BYTES >= TEXT_BYTES) {
        text.first = end_of_oldest_line(text);
    }
    log_area_put(text.area, bar, SIRANE_EPROM_FIRST_INDEX, text.first);
    uint32_t at = text.last;
    for (uint32_t done = 0; done < bytes; done += 4, at = (at + 4) % TEXT_BYTES) {
        log_area_put_text(text.area, bar, SIRANE_EPROM_LOG + at, &line[done], 4);
    }
    log_area_put(text.area, bar, SIRANE_EPROM_LOG + at, 0);
    text.last = at;
    log_area_put(text.area, bar, SIRANE_EPROM_LAST_INDEX, text.last);
}

void put_row(eprom_rows &rows, bar &bar, const eprom_row &row)
{
    const uint32_t newest = rows.next;
    rows.next = (rows.next + 1) % ROWS;
    const uint32_t oldest = rows.wrapped ? rows.next : 0;
    rows.wrapped = rows.wrapped || rows.next == 0;
    log_area_put(rows.area, bar, CONTROLLER_EPROM_FIRST_INDEX, oldest);
    for (uint32_t i = 0; i < row.size(); i++) {
        const uint32_t place = CONTROLLER_EPROM_LOG + newest * EPROM_CONTROLLER_ROW_BYTES + 4 * i;
        log_area_put(rows.area, bar, place, row[i]);
    }
    log_area_put(rows.area, bar, CONTROLLER_EPROM_LAST_INDEX, newest);
    log_area_put(rows.area, bar, CONTROLLER_EPROM_SIZE,
                 (rows.wrapped ? ROWS : rows.next) * EPROM_CONTROLLER_ROW_BYTES);
}

void put_mark(eprom_rows &rows, bar &bar)
{
    log_area_put(rows.area, bar, CONTROLLER_EPROM_MARK, rows.ready ? EPROM_READY : 0);
}

} // namespace

void eprom_start(eprom_log &log, bar &bar)
{
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        log.siranes[sirane_id].area = {eprom_slice(sirane_id), EPROM_SLICE_BYTES, SIRANE_EPROM_LOG, {}};
    }
    log.controller.area = {eprom_slice(EPROM_CONTROLLER_SLICE), EPROM_SLICE_BYTES, CONTROLLER_EPROM_LOG, {}};
    put_mark(log.controller, bar);
}

void eprom_restore(const eprom_log &log, bar &bar)
{
    for (const eprom_text &text : log.siranes) {
        log_area_restore(text.area, bar);
    }
    log_area_restore(log.controller.area, bar);
}

void eprom_event(eprom_log &log, bar &bar, const card_event &event, uint32_t starts)
{
    const event_shape &shape = shape_of_event(event.kind);
    if (shape.in_sirane_log && event.device != BOARD_DEVICE) {
        std::string line;
        append(line, "%u %" PRIu64 ".%03u ", starts, event.at_ms / MS_PER_S,
               static_cast<unsigned>(event.at_ms % MS_PER_S));
        put_line(log.siranes[sirane_of_device(event.device)], bar, line + event_text(event));
    }
    if (shape.in_controller_log) {
        put_row(log.controller, bar,
                {static_cast<uint32_t>(event.at_ms), starts << 16 | static_cast<uint32_t>(event.kind),
                 event.device, event.code, event.values.value[0], event.values.value[1]});
    }
}

void eprom_put_line(eprom_log &log, bar &bar, uint32_t sirane_id, const std::string &line)
{
    put_line(log.siranes[sirane_id], bar, line);
}

void eprom_put_row(eprom_log &log, bar &bar, const eprom_row &row)
{
    put_row(log.controller, bar, row);
}

// The regulators' words lie in the controller's slice, after its log, and stay.
void eprom_clear(eprom_log &log, bar &bar, uint32_t slice)
{
    if (slice < SIRANE_COUNT) {
        eprom_text &text = log.siranes[slice];
        text.first = 0;
        text.last = 0;
        log_area_clear(text.area);
        log_area_restore(text.area, bar);
        return;
    }
    eprom_rows &rows = log.controller;
    uint32_t regulators[SIRANE_COUNT];
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        regulators[sirane_id] = eprom_regulators(log, sirane_id);
    }
    rows.next = 0;
    rows.wrapped = false;
    log_area_clear(rows.area);
    log_area_restore(rows.area, bar);
    put_mark(rows, bar);
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        eprom_set_regulators(log, bar, sirane_id, regulators[sirane_id]);
    }
}

void eprom_set_ready(eprom_log &log, bar &bar, bool ready)
{
    log.controller.ready = ready;
    put_mark(log.controller, bar);
}

void eprom_show_indexes(eprom_log &log, bar &bar, uint32_t slice, uint32_t first, uint32_t last)
{
    if (slice < SIRANE_COUNT) {
        log_area_put(log.siranes[slice].area, bar, SIRANE_EPROM_FIRST_INDEX, first);
        log_area_put(log.siranes[slice].area, bar, SIRANE_EPROM_LAST_INDEX, last);
    } else {
        log_area_put(log.controller.area, bar, CONTROLLER_EPROM_FIRST_INDEX, first);
        log_area_put(log.controller.area, bar, CONTROLLER_EPROM_LAST_INDEX, last);
    }
}

uint32_t eprom_regulators(const eprom_log &log, uint32_t sirane_id)
{
    return log_area_get(log.controller.area, regulator_place(sirane_id));
}

void eprom_set_regulators(eprom_log &log, bar &bar, uint32_t sirane_id, uint32_t word)
{
    log_area_put(log.controller.area, bar, regulator_place(sirane_id), word);
}
