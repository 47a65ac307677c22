// All devices at a glance.
#include "control/address.h"
#include "kelvanectl/alarms.h"
#include "kelvanectl/records.h"
#include "kelvanectl/text/output.h"

namespace {

// Whatever a sirane tells of both its ports comes in one record: a list takes as few commands as it can.
std::vector<reading> all_readings(bool has_service)
{
    std::vector<reading> readings = has_service ? std::vector<reading>() : readings_of_alarms();
    for (const std::string &address : all_address_words()) {
        const bool is_module = address.starts_with("module/");
        const bool is_sirane = address.starts_with("sirane/");
        if (is_module) {
            readings.push_back({address, "is_xpm2_present"});
        }
        if (is_sirane) {
            readings.push_back({address, "global_provisioned_config"});
        }
        if (is_module || is_sirane || address == "board") {
            readings.push_back({address, "get_software_running"});
        }
    }
    return readings;
}

// Null for what could not be read, or is not there.
json value_of(const json &records, const std::string &address, const char *name)
{
    const json value = records.value(address, json::object()).value(name, json());
    return value.is_object() && value.contains("error") ? json() : value;
}

// What is provisioned of a module's port.
json provisioned(const json &records, const std::string &address, const char *name)
{
    kelvane_device_address port = 0;
    if (value_of(records, address, "is_xpm2_present") != true || !address_of_words(address, &port)) {
        return nullptr;
    }
    const json config = value_of(records, words_of_address(KELVANE_ADDRESS_SIRANE(KELVANE_SIRANE_OF(port))),
                                 "global_provisioned_config");
    return config.is_object() ? config.at(name).at(KELVANE_NETWORK_PORT_OF(port)) : json();
}

json row_of(const std::string &address, const json &records, const json &alarms)
{
    const json version = value_of(records, address, "software_running");
    return {{"address", address},
            {"present", value_of(records, address, "is_xpm2_present")},
            {"laser", provisioned(records, address, "laser")},
            {"traffic_type", provisioned(records, address, "traffic_type")},
            {"version", version.is_object() ? json(in_words(version)) : json()},
            {"alarms", alarms.value(address, json())}};
}

// The service hears of all alarms, and need not ask the card. Null for those of a sirane that it did not
// hear.
json known_alarms(const tool &tool)
{
    const answer status = tool.card.ask("service_status", json::object());
    const json raised =
        status.error.is_null() ? status.result.value("alarms", json::object()) : json::object();
    json known = json::object();
    for (const std::string &address : all_address_words()) {
        kelvane_device_address device = 0;
        if (address == "board" || !raised.is_object() || !address_of_words(address, &device)) {
            continue;
        }
        const std::string sirane = words_of_address(KELVANE_ADDRESS_SIRANE(sirane_serving(device)));
        known[address] =
            raised.value(sirane, json::array()).is_null() ? json() : raised.value(address, json::array());
    }
    return known;
}

exit_status list(const tool &tool)
{
    exit_status status = STATUS_DONE;
    const json records = read_records(tool, all_readings(tool.service != nullptr), &status);
    if (status != STATUS_DONE) {
        return status;
    }
    const json alarms = tool.service != nullptr ? known_alarms(tool) : raised_alarms(records);
    json rows = json::array();
    for (const std::string &address : all_address_words()) {
        rows.push_back(row_of(address, records, alarms));
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
