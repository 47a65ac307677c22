// Single values of a device, and its registers.
#include "kelvanectl/values.h"

#include <algorithm>

#include "control/address.h"
#include "kelvanectl/records.h"
#include "kelvanectl/text/output.h"

namespace {

void add_get(CLI::App &app, command_options &options)
{
    app.add_option("ADDRESS", options.address, "board, sirane/0, module/0, host/0.0")->required();
    app.add_option("WHAT", options.what,
                   "laser, traffic_type, ...: an operation of `methods` without its get_")
        ->required();
    app.add_option("VALUE", options.values, "what it needs, in the order of `methods`");
}

void add_set(CLI::App &app, command_options &options)
{
    app.add_option("ADDRESS", options.address, "board, sirane/0, module/0, host/0.0")->required();
    app.add_option("WHAT", options.what,
                   "laser, traffic_type, ...: an operation of `methods` without its set_")
        ->required();
    app.add_option("VALUE", options.values, "its values, in the order of `methods`")->required();
}

using lister = std::vector<const operation *> (*)(const kelvane_device_address *address);

// Null, with `status` set and the caller told, when there is none.
const operation *find(const tool &tool, lister list, exit_status *status)
{
    if (!check_address(tool, status)) {
        return nullptr;
    }
    kelvane_device_address address = 0;
    address_of_words(tool.options.address, &address);
    std::string names;
    for (const operation *const it : list(&address)) {
        if (tool.options.what == it->name || tool.options.what == short_name(it->name)) {
            return it;
        }
        names += (names.empty() ? "" : ", ") + short_name(it->name);
    }
    *status = fail_usage("there is no " + tool.options.what + " at " + tool.options.address +
                             (names.empty() ? "" : "; there is " + names),
                         tool.options.as_json);
    return nullptr;
}

exit_status run(const tool &tool, lister list)
{
    exit_status status = STATUS_DONE;
    const operation *const found = find(tool, list, &status);
    if (found == nullptr) {
        return status;
    }
    const std::vector<std::string> &values = tool.options.values;
    if (values.size() > found->in.size()) {
        return fail_usage(std::string(found->name) + " takes " + std::to_string(found->in.size()) +
                              " values, not " + std::to_string(values.size()),
                          tool.options.as_json);
    }
    json parameters = json::object();
    if (found->address != address_kind::none) {
        parameters["address"] = tool.options.address;
    }
    for (size_t i = 0; i < values.size(); i++) {
        parameters[found->in[i].name] = values[i];
    }
    return output_answer(tool.card.ask(found->name, parameters), tool.options.as_json);
}

exit_status get(const tool &tool)
{
    return run(tool, gettable);
}

exit_status set(const tool &tool)
{
    return run(tool, settable);
}

void add_register(CLI::App &app, command_options &options)
{
    app.add_option("ADDRESS", options.address, "board, sirane/0, module/0")->required();
    app.add_option("REGISTER", options.what, "its number, decimal or 0x...")->required();
}

void add_register_value(CLI::App &app, command_options &options)
{
    add_register(app, options);
    app.add_option("VALUE", options.parameters, "decimal or 0x...")->required();
}

exit_status read_register(const tool &tool)
{
    const answer answer = tool.card.ask(
        "read_register", {{"address", tool.options.address}, {"reg_address", tool.options.what}});
    const json value = answer.error.is_null() ? answer.result.value("value", json()) : json();
    if (!value.is_number_unsigned() || tool.options.as_json) {
        return output_answer(answer, tool.options.as_json);
    }
    char text[64];
    snprintf(text, sizeof text, "0x%08x  %u", value.get<uint32_t>(), value.get<uint32_t>());
    output_line(text);
    return STATUS_DONE;
}

exit_status write_register(const tool &tool)
{
    return output_answer(tool.card.ask("write_register", {{"address", tool.options.address},
                                                          {"reg_address", tool.options.what},
                                                          {"value", tool.options.parameters}}),
                         tool.options.as_json);
}

bool is_for(const operation &it, const kelvane_device_address *address)
{
    return address == nullptr || (it.address == address_kind::none ? KELVANE_IS_BOARD(*address)
                                                                   : address_fits(it.address, *address));
}

} // namespace

std::vector<const operation *> gettable(const kelvane_device_address *address)
{
    std::vector<const operation *> found;
    for (const operation &it : all_operations()) {
        if (it.does == effect::reads && is_for(it, address)) {
            found.push_back(&it);
        }
    }
    return found;
}

std::vector<const operation *> settable(const kelvane_device_address *address)
{
    std::vector<const operation *> found;
    for (const operation &it : all_operations()) {
        const bool sets = it.does == effect::sets || it.does == effect::disturbs;
        const std::string_view name = it.name;
        if (sets && (name.starts_with("set_") || name == "write_scratchpad_register") &&
            is_for(it, address)) {
            found.push_back(&it);
        }
    }
    return found;
}

const subcommand GET = {"get", "Reads a value of a device.", add_get, get};
const subcommand SET = {"set", "Sets a value of a device.", add_set, set};
const subcommand REGISTER_READ = {"register read", "Reads a register.", add_register, read_register};
const subcommand REGISTER_WRITE = {"register write", "Writes a register.", add_register_value,
                                   write_register};
