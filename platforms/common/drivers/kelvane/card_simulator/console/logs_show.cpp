#include "card_simulator/console/logs_show.h"

#include "card_simulator/state/append_text.h"

namespace {

// The indexes as a host reads them, and whether they are the card's.
void append_indexes(std::string &text, const log_area &area, const bar &bar, uint32_t first, uint32_t last)
{
    append(text, "first 0x%x, last 0x%x%s\n", bar_read(bar, area.base + first),
           bar_read(bar, area.base + last), log_area_is_intact(area, bar) ? "" : ", overwritten");
}

} // namespace

void append_logs(std::string &text, const card_logs &logs, const bar &bar)
{
    const trace_log &trace = logs.trace;
    append(text, "log: %s rows, the next is %u%s, ", trace.text ? "text" : "coded", trace.next,
           trace.wrapped ? " of another round" : "");
    append_indexes(text, trace.area, bar, TRACE_FIRST_INDEX_REG - trace.area.base,
                   TRACE_LAST_INDEX_REG - trace.area.base);
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        append(text, "eprom log of sirane %u: regulators 0x%08x, ", sirane_id,
               eprom_regulators(logs.eprom, sirane_id));
        append_indexes(text, logs.eprom.siranes[sirane_id].area, bar, SIRANE_EPROM_FIRST_INDEX,
                       SIRANE_EPROM_LAST_INDEX);
    }
    const eprom_rows &rows = logs.eprom.controller;
    append(text, "eprom log of the controller: %s, the next row is %u%s, ",
           rows.ready ? "ready" : "not ready", rows.next, rows.wrapped ? " of another round" : "");
    append_indexes(text, rows.area, bar, CONTROLLER_EPROM_FIRST_INDEX, CONTROLLER_EPROM_LAST_INDEX);
}
