#include "kelvanectl/records.h"

#include <algorithm>
#include <map>

#include "control/address.h"
#include "kelvanectl/text/output.h"

namespace {

// What there is of each kind of device; the kind is what its address begins with.
struct view_row {
    const char *kind;
    std::vector<const char *> methods;
};

using view_rows = std::vector<view_row>;

const view_rows &show_view()
{
    static const auto *const rows = new view_rows{
        {"board",
         {"get_software_running", "get_zynq_run_type", "get_secure_type", "get_ordune_inventory_inf",
          "get_ddr_ecc_counters", "get_seu_pl_uncorrectable"}},
        {"sirane",
         {"get_software_running", "get_generic_pm", "get_generic_alarms", "global_provisioned_config"}},
        {"module",
         {"is_xpm2_present", "get_laser", "get_traffic_type", "get_xpm2_led", "get_network_loopback",
          "get_nwtk_port_alarms", "get_xpm2_alarms", "get_xpm2_inventory_inf", "get_xpm2_port_pm",
          "get_sirane_port_pm"}},
        {"host", {"get_host_loopback", "get_host_port_pm"}},
    };
    return *rows;
}

const view_rows &pm_view()
{
    static const auto *const rows = new view_rows{
        {"board", {"get_generic_pm"}},
        {"sirane", {"get_global_pm"}},
        {"module", {"get_xpm2_port_pm", "get_sirane_port_pm"}},
        {"host", {"get_host_port_pm"}},
    };
    return *rows;
}

const view_rows &inventory_view()
{
    static const auto *const rows =
        new view_rows{{"board", {"get_ordune_inventory_inf"}}, {"module", {"get_xpm2_inventory_inf"}}};
    return *rows;
}

const view_rows &config_view()
{
    static const auto *const rows = new view_rows{{"sirane", {"global_provisioned_config"}}};
    return *rows;
}

// Of the device, or where it is empty of all.
std::vector<reading> readings_of(const view_rows &rows, const std::string &address)
{
    std::vector<reading> readings;
    for (const std::string &device : address.empty() ? all_address_words() : std::vector{address}) {
        const std::string kind = device.substr(0, device.find('/'));
        for (const view_row &row : rows) {
            for (const char *const method : kind == row.kind ? row.methods : std::vector<const char *>()) {
                readings.push_back({device, method});
            }
        }
    }
    return readings;
}

json without_name(const json &result)
{
    return result.size() == 1 ? result.front() : result;
}

exit_status print(const tool &tool, const std::vector<reading> &readings)
{
    if (readings.empty()) {
        return fail_usage("there is nothing of the kind at " + tool.options.address, tool.options.as_json);
    }
    exit_status status = STATUS_DONE;
    json found = read_records(tool, readings, &status);
    if (status != STATUS_DONE) {
        return status;
    }
    return output_answer({tool.options.address.empty() ? found : found.front()}, tool.options.as_json);
}

void add_address(CLI::App &app, command_options &options)
{
    app.add_option("ADDRESS", options.address, "board, sirane/0, module/0, host/0.0")->required();
}

void add_perhaps_address(CLI::App &app, command_options &options)
{
    app.add_option("ADDRESS", options.address, "of one device only");
}

// A device's number tells no kind.
std::string with_usual_words(const std::string &address)
{
    kelvane_device_address number = 0;
    return address_of_words(address, &number) ? words_of_address(number) : address;
}

template <std::vector<reading> (*readings)(const std::string &address)>
exit_status print_view(const tool &tool)
{
    exit_status status = STATUS_DONE;
    if (!tool.options.address.empty() && !check_address(tool, &status)) {
        return status;
    }
    return print(tool, readings(with_usual_words(tool.options.address)));
}

std::vector<reading> readings_of_show(const std::string &address)
{
    return readings_of(show_view(), address);
}

} // namespace

std::string short_name(std::string_view method)
{
    for (const std::string_view prefix : {"get_", "set_", "read_", "write_"}) {
        if (method.starts_with(prefix)) {
            return std::string(method.substr(prefix.size()));
        }
    }
    return std::string(method);
}

bool check_address(const tool &tool, exit_status *status)
{
    kelvane_device_address address = 0;
    if (address_of_words(tool.options.address, &address)) {
        return true;
    }
    *status = fail_usage(tool.options.address +
                             " is no address: board, sirane/0 to sirane/2, module/0 to module/5, host/0.0 to "
                             "host/2.3, or a number such as 0xff01ffff",
                         tool.options.as_json);
    return false;
}

std::vector<question> questions_of(const std::vector<reading> &readings)
{
    std::vector<question> questions;
    for (const reading &it : readings) {
        const bool has_address = operation_of_name(it.method)->address != address_kind::none;
        questions.push_back({it.method, has_address ? json{{"address", it.address}} : json::object()});
    }
    return questions;
}

json fatal_error(const std::vector<answer> &answers)
{
    const auto is_fatal = [](const answer &it) {
        return !it.error.is_null() && status_of(it.error) == STATUS_NO_CARD;
    };
    const auto found = std::ranges::find_if(answers, is_fatal);
    return found != answers.end() ? found->error : json();
}

json read_records(const tool &tool, const std::vector<reading> &readings, exit_status *status)
{
    const std::vector<answer> answers = tool.card.ask_all(questions_of(readings));
    json error = fatal_error(answers);
    const bool is_any_done =
        std::ranges::any_of(answers, [](const answer &it) { return it.error.is_null(); });
    if (error.is_null() && !is_any_done) {
        error = answers.front().error;
    }
    if (!error.is_null()) {
        *status = fail(error, tool.options.as_json);
        return {};
    }
    return records_of(readings, answers);
}

json records_of(const std::vector<reading> &readings, const std::vector<answer> &answers)
{
    json found = json::object();
    for (size_t i = 0; i < readings.size(); i++) {
        found[readings[i].address][short_name(readings[i].method)] =
            answers[i].error.is_null() ? without_name(answers[i].result) : json{{"error", answers[i].error}};
    }
    return found;
}

std::vector<reading> readings_of_pm(const std::string &address)
{
    // All of a sirane's ports comes in its record.
    return readings_of(address.empty() ? view_rows{{"sirane", {"get_global_pm"}}} : pm_view(), address);
}

std::vector<reading> readings_of_inventory(const std::string &address)
{
    return readings_of(inventory_view(), address);
}

std::vector<reading> readings_of_config(const std::string &address)
{
    return readings_of(config_view(), address);
}

const subcommand SHOW = {"show", "Shows what there is to know of a device.", add_address,
                         print_view<readings_of_show>};
const subcommand PM = {"pm", "Shows what is measured, of all siranes or of one device.", add_perhaps_address,
                       print_view<readings_of_pm>};
const subcommand INVENTORY = {"inventory", "Shows what the card and its modules are.", add_perhaps_address,
                              print_view<readings_of_inventory>};
const subcommand CONFIG = {"config", "Shows what is provisioned, of all siranes or of one.",
                           add_perhaps_address, print_view<readings_of_config>};
