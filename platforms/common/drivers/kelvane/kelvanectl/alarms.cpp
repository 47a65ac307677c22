#include "kelvanectl/alarms.h"

#include <algorithm>

#include "control/address.h"
#include "kelvanectl/text/output.h"

namespace {

// Whose alarms a member of a sirane's record holds.
std::string address_of(std::string_view member, int sirane, size_t index)
{
    if (member == "generic") {
        return words_of_address(KELVANE_ADDRESS_SIRANE(sirane));
    }
    return words_of_address(member == "host" ? KELVANE_ADDRESS_HOST_PORT(sirane, index)
                                             : KELVANE_ADDRESS_NETWORK_PORT(sirane, index));
}

void collect(const json &record, int sirane, json *raised)
{
    for (const field &it : global_alarms_fields(host_kind::ethernet).fields) {
        const json all = record.value(it.name, json());
        for (size_t index = 0; index < it.count; index++) {
            json &own = (*raised)[address_of(it.name, sirane, index)];
            const json names = it.count == 1 || !all.is_array() ? all : all.at(index);
            if (!names.is_array()) {
                own = nullptr;
                continue;
            }
            for (const json &name : names) {
                own.push_back(name);
            }
            own = own.is_null() ? json::array() : own;
        }
    }
}

// Every alarm that there is of a device, with whether it is raised.
json with_names(const json &raised, host_kind kind)
{
    json all = json::object();
    for (int sirane = 0; sirane < KELVANE_SIRANE_COUNT; sirane++) {
        for (const field &it : global_alarms_fields(kind).fields) {
            for (size_t index = 0; index < it.count; index++) {
                const std::string address = address_of(it.name, sirane, index);
                const json &own = raised[address];
                for (const kelvane_alarm_name &alarm : it.bits) {
                    const std::string_view name = name_of_alarm(alarm);
                    all[address][std::string(name)] =
                        own.is_null() ? json() : json(std::ranges::count(own, json(name)) != 0);
                }
            }
        }
    }
    return all;
}

// The service knows what the host ports carry.
host_kind host_kind_of(const tool &tool)
{
    if (tool.service == nullptr) {
        return tool.options.kind;
    }
    const answer status = tool.card.ask("service_status", json::object());
    return status.error.is_null() && status.result.value("host_kind", json()) == "otn" ? host_kind::otn
                                                                                       : host_kind::ethernet;
}

void add_alarms(CLI::App &app, command_options &options)
{
    app.add_flag("--all", options.all, "every alarm, on or off");
}

exit_status alarms(const tool &tool)
{
    exit_status status = STATUS_DONE;
    const json records = read_records(tool, readings_of_alarms(), &status);
    if (status != STATUS_DONE) {
        return status;
    }
    const json raised = raised_alarms(records);
    const json shown = tool.options.all ? with_names(raised, host_kind_of(tool)) : raised;
    if (tool.options.as_json) {
        output_json({{"alarms", shown}});
        return STATUS_DONE;
    }
    json rows = json::array();
    for (const auto &[address, own] : shown.items()) {
        if (own.is_null()) {
            rows.push_back({{"address", address}, {"alarm", nullptr}});
        }
        for (const auto &[name, value] : own.items()) {
            rows.push_back(tool.options.all ? json{{"address", address}, {"alarm", name}, {"state", value}}
                                            : json{{"address", address}, {"alarm", value}});
        }
    }
    if (rows.empty()) {
        output_line("no alarm is raised");
    } else {
        output_rows("alarms", rows, false);
    }
    return STATUS_DONE;
}

} // namespace

std::vector<reading> readings_of_alarms()
{
    std::vector<reading> readings;
    readings.reserve(KELVANE_SIRANE_COUNT);
    for (int sirane = 0; sirane < KELVANE_SIRANE_COUNT; sirane++) {
        readings.push_back({words_of_address(KELVANE_ADDRESS_SIRANE(sirane)), "get_global_alarms"});
    }
    return readings;
}

json raised_alarms(const json &records)
{
    json raised = json::object();
    for (int sirane = 0; sirane < KELVANE_SIRANE_COUNT; sirane++) {
        collect(records.at(words_of_address(KELVANE_ADDRESS_SIRANE(sirane))).at("global_alarms"), sirane,
                &raised);
    }
    return raised;
}

const subcommand ALARMS = {"alarms", "Shows the alarms that are raised.", add_alarms, alarms};
