// The card's operations from a shell: kelvanectl --direct call read_register '{"address":"sirane/1", ...}'.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <map>
#include <string>

#include <unistd.h>

#include "control/address.h"
#include "control/open_rpc.h"
#include "kelvanectl/output.h"
#include "kelvanectl/session.h"

namespace {

struct tool {
    bool direct = false;
    bool as_json = false;
    host_kind kind = host_kind::ethernet;
    std::string method;
    std::string parameters = "{}";
    std::string address;
};

exit_status call_method(const tool &tool, session &session)
{
    const json parameters = json::parse(tool.parameters, nullptr, false);
    if (parameters.is_discarded()) {
        output_problem("the parameters are no JSON: " + tool.parameters);
        return STATUS_USAGE;
    }
    return output_answer(session.ask(tool.method, parameters), tool.as_json);
}

// What there is to show of each kind of device, one operation after the other.
exit_status show(const tool &tool, session &session)
{
    kelvane_device_address address = 0;
    if (!address_of_words(tool.address, &address)) {
        output_problem(tool.address + " is no address: board, sirane/0, module/0, host/0.0, or 0x...");
        return STATUS_USAGE;
    }
    const std::map<std::string_view, std::vector<const char *>> shown = {
        {"board", {"get_software_running", "get_ordune_inventory_inf", "get_ddr_ecc_counters"}},
        {"sirane",
         {"get_software_running", "get_generic_pm", "get_generic_alarms", "global_provisioned_config"}},
        {"module",
         {"is_xpm2_present", "get_xpm2_inventory_inf", "get_laser", "get_traffic_type", "get_xpm2_port_pm",
          "get_sirane_port_pm", "get_xpm2_alarms", "get_nwtk_port_alarms"}},
        {"host", {"get_host_port_pm", "get_host_loopback"}},
    };
    const auto found = shown.find(std::string_view(tool.address).substr(0, tool.address.find('/')));
    if (found == shown.end()) {
        output_problem("nothing is known about what is at " + tool.address);
        return STATUS_USAGE;
    }
    json all = json::object();
    for (const char *name : found->second) {
        const operation &operation = *operation_of_name(name);
        const answer one = session.ask(
            name, operation.address == address_kind::none ? json::object() : json{{"address", tool.address}});
        if (!one.error.is_null()) {
            return output_answer(one, tool.as_json);
        }
        all.update(one.result);
    }
    return output_answer({all}, tool.as_json);
}

exit_status list_methods(const tool &tool)
{
    if (tool.as_json) {
        output_line(open_rpc_document(tool.kind, json::array()).dump());
        return STATUS_DONE;
    }
    for (const operation &it : all_operations()) {
        std::string needs = it.address == address_kind::none ? "" : " address";
        for (const parameter &one : it.in) {
            needs += std::string(" ") + one.name;
        }
        output_line(it.name + needs + "\n    " + it.sentence);
    }
    return STATUS_DONE;
}

} // namespace

int main(int argc, char **argv)
{
    tool tool;
    CLI::App options("Asks the card in the words of its library's operations, and shows what it says.");
    options.add_flag("--direct", tool.direct, "take the card for this one command");
    options.add_flag("--json", tool.as_json, "the result, or the error, as one line of JSON");
    options.add_option("--host-kind", tool.kind, "what the host ports carry")
        ->transform(CLI::CheckedTransformer(
            std::map<std::string, host_kind>{{"ethernet", host_kind::ethernet}, {"otn", host_kind::otn}}));
    CLI::App *const methods = options.add_subcommand("methods", "The operations, and what they need.");
    CLI::App *const show_one = options.add_subcommand("show", "What there is to know of a device.");
    show_one->add_option("ADDRESS", tool.address, "board, sirane/0, module/0, host/0.0")->required();
    CLI::App *const call_one = options.add_subcommand("call", "Runs one operation.");
    call_one->add_option("METHOD", tool.method, "its name")->required();
    call_one->add_option("JSON", tool.parameters, "its parameters by their names")->capture_default_str();
    options.require_subcommand(1);
    try {
        options.parse(argc, argv);
    } catch (const CLI::ParseError &wrong) {
        return options.exit(wrong) == 0 ? STATUS_DONE : STATUS_USAGE;
    }
    if (methods->parsed()) {
        return list_methods(tool);
    }
    if (!tool.direct) {
        output_problem("--direct is needed: no service owns the card");
        return STATUS_NO_CARD;
    }
    output_keep_for_tool();
    direct_session session(tool.kind);
    const exit_status status = show_one->parsed() ? show(tool, session) : call_method(tool, session);
    fflush(nullptr);
    _exit(status); // the library's threads never stop
}
