// All devices at a glance.
#include <algorithm>
#include <map>

#include "control/address.h"
#include "kelvanectl/alarms.h"
#include "kelvanectl/records.h"
#include "kelvanectl/text/output.h"

namespace {

struct column {
    const char *name;
    const char *method;
    std::vector<std::string_view> kinds; // of devices that have it
};

const std::vector<column> &columns()
{
    static const auto *const all = new std::vector<column>{
        {"present", "is_xpm2_present", {"module"}},
        {"laser", "get_laser", {"module"}},
        {"traffic_type", "get_traffic_type", {"module"}},
        {"version", "get_software_running", {"board", "sirane", "module"}},
    };
    return *all;
}

std::vector<reading> readings_of(const std::string &address)
{
    std::vector<reading> readings;
    const std::string kind = address.substr(0, address.find('/'));
    for (const column &it : columns()) {
        if (std::ranges::count(it.kinds, kind) != 0) {
            readings.push_back({address, it.method});
        }
    }
    return readings;
}

json row_of(const std::string &address, const json &found, const json &alarms)
{
    json row = {{"address", address}};
    const json own = found.value(address, json::object());
    for (const column &it : columns()) {
        json value = own.value(short_name(it.method), json());
        if (value.is_object() && value.contains("major")) {
            value = in_words(value);
        }
        row[it.name] = value.is_object() ? json() : value; // null for what could not be read
    }
    row["alarms"] = alarms.value(address, json());
    return row;
}

exit_status list(const tool &tool)
{
    exit_status status = STATUS_DONE;
    std::vector<reading> readings;
    for (const std::string &address : all_address_words()) {
        std::ranges::copy(readings_of(address), std::back_inserter(readings));
    }
    const json found = read_records(tool, readings, &status);
    const json alarms = status == STATUS_DONE ? raised_alarms(tool, &status) : json();
    if (status != STATUS_DONE) {
        return status;
    }
    json rows = json::array();
    for (const std::string &address : all_address_words()) {
        rows.push_back(row_of(address, found, alarms));
        json &own = rows.back()["alarms"];
        if (!tool.options.as_json && own.is_array()) {
            own = own.size();
        }
    }
    output_rows("devices", rows, tool.options.as_json);
    return STATUS_DONE;
}

} // namespace

const subcommand LIST = {"list", "Lists the devices, and what they do.", add_nothing, list};
