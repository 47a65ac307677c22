// What is known of the modules: fed with what a service says, shown by the view. It knows no screen.
#ifndef KELVANECTL_TOP_BOARD_H
#define KELVANECTL_TOP_BOARD_H

#include <array>
#include <chrono>
#include <deque>
#include <map>
#include <string>

#include "control/record_json.h"
#include "kelvane.h"

using moment = std::chrono::steady_clock::time_point;

// A number that is measured of a module: in which of the card's records, and by which name of the header.
struct figure {
    const record_fields *record;
    const char *field;
};

// Those of which the last batches are kept, and which a key leads through.
struct history {
    figure of;
    bool is_logarithmic;
};
constexpr history HISTORIES[] = {{{&NETWORK_PORT_PM, "pre_fec_ber_est_curr"}, true},
                                 {{&MODULE_PM, "optical_input_power"}, false},
                                 {{&NETWORK_PORT_PM, "rx_osnr_curr"}, false}};

struct module_board { // NOLINT(bugprone-exception-escape): what json says of its own moves
    json is_present;  // null: not known, likewise the laser
    json laser;
    std::map<const record_fields *, json> measured;
    std::array<std::deque<double>, std::size(HISTORIES)> batches; // not a number: nothing was measured
};

struct board_event {
    std::string time, type, address, text;
};

enum class service_link { asked, heard, lost };

// Nothing that a service says is trusted to have its place or its type. Texts are printable.
struct board { // NOLINT(bugprone-exception-escape): what json says of its own moves
    service_link link = service_link::asked;
    moment link_since = std::chrono::steady_clock::now();
    std::string state;    // of the card: "waiting", "linking", "up"
    std::string firmware; // "alive", "not_alive"
    std::string note;     // how far something is, or why the service is lost
    std::array<module_board, KELVANE_MODULE_COUNT> modules;
    std::array<moment, KELVANE_SIRANE_COUNT> last_batch; // 0: none yet
    json alarms = json::object();   // by address the names of those raised; null for a sirane when unknown
    std::deque<board_event> events; // the newest first

    void lose(const std::string &why);
    void take_snapshot(const json &snapshot);
    void take_module(const std::string &address, const json &members);
    void take_measurements(const std::string &address, const json &record);
    void take_event(const json &event);

    // Null when they are not known.
    json alarms_of(const std::string &address) const;
    // Whether what is shown is what the card does now.
    bool is_live() const;
};

std::string words_of_module(size_t module);

const field &field_of(const figure &it);

// Not a number for what is not known, or nothing.
double value_of(const module_board &module, const figure &it);

// Null where there is none.
const json &member_of(const json &record, const std::string &name);

#endif
