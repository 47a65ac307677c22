#include "card_simulator/console/log_verbs.h"

#include "card_simulator/firmware/card_record.h"
#include "card_simulator/state/append_text.h"
#include "card_simulator/state/durations.h"

namespace {

constexpr uint32_t FILL_ROWS_MAX = 100000; // of one fill: three times the longest ring
constexpr uint32_t BITS_OF_WORD = 32;

uint64_t uptime_ms(const card_state &state)
{
    return uptime_ns(state) / NS_PER_MS;
}

// The rest of the line, with one blank between its words.
bool take_text(arguments &args, std::string *text)
{
    if (args.next == args.given.size()) {
        return reject(args, "TEXT is missing");
    }
    while (args.next < args.given.size()) {
        *text += text->empty() ? "" : " ";
        *text += args.given[args.next++];
    }
    return true;
}

bool take_rows(arguments &args, uint32_t *rows)
{
    return take_number(args, "ROWS", 10, rows) && take_end(args) &&
           (*rows <= FILL_ROWS_MAX || reject(args, "ROWS is 100000 at most"));
}

bool take_indexes(arguments &args, uint32_t *first, uint32_t *last)
{
    return take_number(args, "FIRST", 16, first) && take_number(args, "LAST", 16, last) && take_end(args);
}

bool take_switch(arguments &args, bool *on)
{
    std::string_view word;
    if (!take_word(args, "on or off", &word) || !take_end(args)) {
        return false;
    }
    *on = word == "on";
    return *on || word == "off" || reject(args, "it is on or off: " + std::string(word));
}

std::string numbered(uint32_t number)
{
    std::string text;
    append(text, "row %u", number);
    return text;
}

void fill_trace(card &card, uint32_t rows)
{
    for (uint32_t row = 0; row < rows; row++) {
        trace_log_text(card.logs.trace, card.bar, numbered(row), uptime_ms(card.state));
    }
}

void fill_slice(card &card, uint32_t slice, uint32_t rows)
{
    for (uint32_t row = 0; row < rows; row++) {
        if (slice < SIRANE_COUNT) {
            eprom_put_line(card.logs.eprom, card.bar, slice, numbered(row));
        } else {
            eprom_put_row(card.logs.eprom, card.bar,
                          {static_cast<uint32_t>(uptime_ms(card.state)), EPROM_OPERATORS_ROW, 0, 0, row, 0});
        }
    }
}

enum class log_change { text, fill, indexes, clear };

// What is to be done to a log.
struct log_request {
    log_change change = log_change::clear;
    std::string text;
    uint32_t rows = 0;
    uint32_t first = 0;
    uint32_t last = 0;
};

bool take_log_request(arguments &args, log_request *request)
{
    std::string_view what;
    if (!take_word(args, "text, fill, indexes or clear", &what)) {
        return false;
    }
    if (what == "text") {
        request->change = log_change::text;
        return take_text(args, &request->text);
    }
    if (what == "fill") {
        request->change = log_change::fill;
        return take_rows(args, &request->rows);
    }
    if (what == "indexes") {
        request->change = log_change::indexes;
        return take_indexes(args, &request->first, &request->last);
    }
    return what == "clear" ? take_end(args)
                           : reject(args, "it is text, fill, indexes or clear: " + std::string(what));
}

bool verb_slice(card &card, arguments &args, uint32_t slice)
{
    eprom_log &eprom = card.logs.eprom;
    log_request request;
    if (!take_log_request(args, &request)) {
        return false;
    }
    switch (request.change) {
    case log_change::text:
        if (slice >= SIRANE_COUNT) {
            return reject(args, "the controller's log has no text");
        }
        eprom_put_line(eprom, card.bar, slice, request.text);
        break;
    case log_change::fill:
        fill_slice(card, slice, request.rows);
        break;
    case log_change::indexes:
        eprom_show_indexes(eprom, card.bar, slice, request.first, request.last);
        break;
    case log_change::clear:
        eprom_clear(eprom, card.bar, slice);
        break;
    }
    return true;
}

} // namespace

bool verb_log(card &card, arguments &args, std::string *)
{
    trace_log &log = card.logs.trace;
    log_request request;
    if (!take_log_request(args, &request)) {
        return false;
    }
    switch (request.change) {
    case log_change::text:
        trace_log_text(log, card.bar, request.text, uptime_ms(card.state));
        break;
    case log_change::fill:
        fill_trace(card, request.rows);
        break;
    case log_change::indexes:
        trace_log_show_indexes(log, card.bar, request.first, request.last);
        break;
    case log_change::clear:
        trace_log_clear(log, card.bar);
        break;
    }
    return true;
}

bool verb_eprom(card &card, arguments &args, std::string *)
{
    if (args.next < args.given.size() && args.given[args.next] == "ready") {
        bool on = false;
        args.next++;
        if (!take_switch(args, &on)) {
            return false;
        }
        eprom_set_ready(card.logs.eprom, card.bar, on);
        return true;
    }
    uint32_t slice = 0;
    if (!take_number(args, "SLICE", 16, &slice)) {
        return false;
    }
    return slice < EPROM_SLICE_COUNT ? verb_slice(card, args, slice) : reject(args, "SLICE is 0 to 3");
}

bool verb_regulator(card &card, arguments &args, std::string *)
{
    uint32_t device = 0;
    uint32_t bit = 0;
    bool on = false;
    if (!take_device(args, &device) || !take_number(args, "BIT", 10, &bit) || !take_switch(args, &on)) {
        return false;
    }
    if (!is_sirane_device(device)) {
        return reject(args, "a sirane is one of the devices 1, 4, 7");
    }
    if (bit >= BITS_OF_WORD) {
        return reject(args, "BIT is 0 to 31");
    }
    eprom_log &eprom = card.logs.eprom;
    const uint32_t sirane_id = sirane_of_device(device);
    const uint32_t word = eprom_regulators(eprom, sirane_id);
    const uint32_t mask = uint32_t{1} << bit;
    if (((word & mask) != 0) == on) {
        return reject(args, on ? "it failed already" : "it did not fail");
    }
    eprom_set_regulators(eprom, card.bar, sirane_id, word ^ mask);
    note_event(card.state, on ? event_kind::regulator_failed : event_kind::regulator_recovered, device,
               {bit});
    return true;
}
