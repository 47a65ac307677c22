#include "kelvanectl/top/view.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "control/address.h"
#include "kelvanectl/text/output.h"

namespace {

constexpr int COLUMNS_MIN = 80;
constexpr int ROWS_MIN = 24;
constexpr int ADDRESS_WIDTH = 8;
constexpr int LASER_WIDTH = 6;
constexpr int HISTORY_WIDTH_MIN = 10;
constexpr int TYPE_WIDTH = 15;
constexpr const char *GAP = "  ";
constexpr int GAP_WIDTH = 2;
constexpr long BATCH_LATE_S = 70; // the longest interval is 64
constexpr const char *BLOCKS[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr const char *ASCII_BLOCKS[] = {"_", ".", "-", ":", "=", "+", "*", "#"};
constexpr size_t LEVELS = std::size(BLOCKS);

struct column {
    const char *head;
    figure of;
    int width;
    int digits; // behind the point
    std::chars_format format = std::chars_format::fixed;
    int columns_min = COLUMNS_MIN; // of the screen
    bool is_bad = false;           // when it is not 0
};

constexpr auto FIXED = std::chars_format::fixed;
constexpr column COLUMNS[] = {
    {"OUTPUT", {&MODULE_PM, "optical_output_power"}, 6, 2},
    {"INPUT", {&MODULE_PM, "optical_input_power"}, 6, 2},
    {"SIGNAL", {&MODULE_PM, "optical_signal_power"}, 6, 2, FIXED, 100},
    {"OSNR", {&NETWORK_PORT_PM, "rx_osnr_curr"}, 4, 1},
    {"PRE-FEC", {&NETWORK_PORT_PM, "pre_fec_ber_est_curr"}, 7, 1, std::chars_format::scientific},
    {"UNCORR", {&NETWORK_PORT_PM, "uncorrectable_fec_code_block_pm_int"}, 6, 0, FIXED, COLUMNS_MIN, true},
    {"CD", {&NETWORK_PORT_PM, "rx_cd_curr"}, 9, 0, FIXED, 120},
    {"DGD", {&NETWORK_PORT_PM, "rx_dgd_curr"}, 5, 0, FIXED, 120},
    {"TEMP", {&MODULE_PM, "xpm2_temperature"}, 7, 1, FIXED, 100},
    {"LASER EOL", {&MODULE_PM, "tx_laser_eol"}, 9, 0, FIXED, 120},
};

// For a size of the screen: columns that have room, and what they leave to the history and the alarms.
struct layout {
    std::vector<column> columns;
    int history_width = 0;
    int alarms_width = 0;
    double low = HUGE_VAL; // of all the history that is seen
    double high = -HUGE_VAL;
};

std::vector<double> last_of(const module_board &module, size_t history, int width)
{
    const auto &all = module.batches[history];
    return {all.end() - std::min(std::ssize(all), static_cast<ptrdiff_t>(width)), all.end()};
}

layout layout_of(const board &shown, const view_options &options)
{
    layout found;
    int left = options.columns - ADDRESS_WIDTH - LASER_WIDTH - 3 * GAP_WIDTH;
    for (const column &it : COLUMNS) {
        if (options.columns >= it.columns_min) {
            found.columns.push_back(it);
            left -= it.width + GAP_WIDTH;
        }
    }
    found.history_width = std::max(HISTORY_WIDTH_MIN, left / 2);
    found.alarms_width = left - found.history_width;
    for (const module_board &module : shown.modules) {
        for (const double it : last_of(module, options.history, found.history_width)) {
            if (it > 0 || !HISTORIES[options.history].is_logarithmic) {
                found.low = std::fmin(found.low, it);
                found.high = std::fmax(found.high, it);
            }
        }
    }
    return found;
}

bool is_first_byte(char it)
{
    return (static_cast<unsigned char>(it) & 0xC0) != 0x80;
}

// Exactly that wide, in characters, behind space for a negative width: "+" tells that there is more.
std::string fitted(const std::string &text, int width)
{
    const auto columns = static_cast<size_t>(std::abs(width));
    const auto length = static_cast<size_t>(std::ranges::count_if(text, is_first_byte));
    if (length <= columns) {
        const std::string space(columns - length, ' ');
        return width < 0 ? space + text : text + space;
    }
    size_t bytes = 0;
    for (size_t left = columns - 1; !is_first_byte(text[bytes]) || left-- > 0;) {
        bytes++;
    }
    return text.substr(0, bytes) + "+";
}

std::string number_text(double value, std::chars_format format, int digits)
{
    char text[512]; // more than any has
    return {text, std::to_chars(text, std::end(text), value, format, digits).ptr};
}

std::string value_text(double value, const column &it)
{
    const std::string text = std::isnan(value) ? "-" : number_text(value, it.format, it.digits);
    return fitted(text.size() <= static_cast<size_t>(it.width)
                      ? text
                      : number_text(value, std::chars_format::scientific, 0),
                  -it.width);
}

std::string history_text(const module_board &module, const view_options &options, const layout &layout)
{
    std::string text;
    for (const double it : last_of(module, options.history, layout.history_width)) {
        const bool is_logarithmic = HISTORIES[options.history].is_logarithmic;
        const double part = is_logarithmic ? std::log(it / layout.low) : it - layout.low;
        const double all = is_logarithmic ? std::log(layout.high / layout.low) : layout.high - layout.low;
        const double level = part > 0 ? std::fmin(LEVELS - 1, part / all * LEVELS) : 0;
        const auto &blocks = options.has_blocks ? BLOCKS : ASCII_BLOCKS;
        text += std::isnan(it) ? " " : blocks[static_cast<size_t>(level)];
    }
    return fitted(text, -layout.history_width);
}

long seconds_since(moment then)
{
    return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - then).count();
}

view_line state_line(const board &shown)
{
    const std::string since = std::to_string(seconds_since(shown.link_since));
    const std::string state = shown.link == service_link::lost ? "no service: tried again every second"
                              : shown.link == service_link::asked
                                  ? "the service was asked " + since + " s ago"
                                  : "card: " + shown.state + ", firmware: " + shown.firmware;
    view_line line = {{"kelvanectl top", look::strong},
                      {GAP + state, shown.is_live() ? look::good : look::bad}};
    if (shown.link == service_link::heard) {
        line.push_back({std::string(GAP) + "batches, seconds ago:"});
        for (const moment it : shown.last_batch) {
            const bool is_known = it != moment();
            line.push_back({is_known ? " " + std::to_string(seconds_since(it)) : " -",
                            is_known && seconds_since(it) >= BATCH_LATE_S ? look::bad : look::plain});
        }
    }
    return line;
}

view_line history_line(const view_options &options, const layout &layout)
{
    const history &it = HISTORIES[options.history];
    const auto span_end = [](double value) { return number_text(value, std::chars_format::general, 3); };
    return {
        {"history of batches: " + name_of_field(field_of(it.of)) +
         (layout.low <= layout.high ? " from " + span_end(layout.low) + " to " + span_end(layout.high) : "") +
         (it.is_logarithmic ? ", logarithmic" : "")}};
}

void add_head(std::vector<view_line> &lines, const layout &layout)
{
    std::string above = fitted("MODULE", ADDRESS_WIDTH) + GAP + fitted("LASER", LASER_WIDTH);
    std::string units(above.size(), ' ');
    for (const column &it : layout.columns) {
        std::string unit = field_of(it.of).unit;
        std::ranges::replace(unit, '_', ' ');
        above += GAP + fitted(it.head, -it.width);
        units += GAP + fitted(unit.substr(unit.empty() ? 0 : 1), -it.width);
    }
    lines.push_back({{above + GAP + fitted("HISTORY", layout.history_width) + GAP + "ALARMS", look::strong}});
    lines.push_back({{units, look::faint}});
}

std::string alarms_text(const json &raised)
{
    return raised.is_null()
               ? "-"
               : (raised.size() > 1 ? std::to_string(raised.size()) + " " : "") + in_words(raised);
}

view_line module_line(const board &shown, size_t number, const view_options &options, const layout &layout)
{
    const module_board &module = shown.modules[number];
    const bool is_absent = module.is_present == false;
    const auto if_live = [&](bool holds, look look) {
        return !shown.is_live() || is_absent ? look::faint : holds ? look : look::plain;
    };
    const std::string address = words_of_module(number);
    view_line line = {{fitted(address, ADDRESS_WIDTH) + GAP, if_live(false, look::plain)},
                      {fitted(is_absent ? "absent" : in_words(module.laser), LASER_WIDTH),
                       if_live(module.laser == true, look::good)}};
    for (const column &it : layout.columns) {
        const double value = value_of(module, it.of);
        line.push_back({GAP + value_text(value, it), if_live(it.is_bad && value > 0, look::bad)});
    }
    const json raised = shown.alarms_of(address);
    line.push_back({GAP + history_text(module, options, layout) + GAP, if_live(false, look::plain)});
    line.push_back({fitted(alarms_text(raised), layout.alarms_width), raised.empty()
                                                                          ? if_live(false, look::plain)
                                                                      : shown.is_live() ? look::bad
                                                                                        : look::faint});
    return line;
}

// Those of siranes and host ports, which have no row.
view_line other_alarms_line(const board &shown)
{
    std::string text;
    for (const std::string &address : all_address_words()) {
        const json raised = address.starts_with("module/") ? json() : shown.alarms_of(address);
        text += raised.empty() ? "" : GAP + address + " " + alarms_text(raised);
    }
    return {{"other alarms:"}, {text.empty() ? "  none" : text, text.empty() ? look::plain : look::bad}};
}

} // namespace

std::vector<view_line> view_of(const board &shown, const view_options &options)
{
    if (options.columns < COLUMNS_MIN || options.rows < ROWS_MIN) {
        const std::string size = std::to_string(options.columns) + "x" + std::to_string(options.rows);
        return {{{"top needs 80x24, this is " + size + "; q ends it"}}};
    }
    const layout layout = layout_of(shown, options);
    std::vector<view_line> lines = {state_line(shown), history_line(options, layout), {{shown.note}}};
    add_head(lines, layout);
    for (size_t i = 0; i < shown.modules.size(); i++) {
        lines.push_back(module_line(shown, i, options, layout));
    }
    lines.push_back(other_alarms_line(shown));
    lines.push_back({});
    lines.push_back({{"EVENTS (UTC)", look::strong}});
    const size_t last = static_cast<size_t>(options.rows) - 1;
    for (size_t i = 0; i < shown.events.size() && lines.size() < last; i++) {
        const board_event &it = shown.events[i];
        lines.push_back(
            {{it.time + GAP + fitted(it.address, ADDRESS_WIDTH) + GAP},
             {fitted(it.type, TYPE_WIDTH) + GAP, it.type == "alarm_raised" ? look::bad : look::plain},
             {it.text}});
    }
    lines.resize(last);
    lines.push_back({{std::string("q ends") + GAP + "h shows another history", look::faint}});
    return lines;
}
