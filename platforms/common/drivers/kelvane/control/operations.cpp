#include "control/operations.h"

#include <algorithm>
#include <tuple>
#include <type_traits>

namespace {

// ---- from a row's function to its call: pointers are outputs, everything else inputs, in their order

struct cursor {
    operation_call &call;
    size_t in = 0;
    size_t out = 0;

    template <typename type> type next()
    {
        if constexpr (std::is_same_v<type, uint32_t *>) {
            return &call.words[out++];
        } else if constexpr (std::is_pointer_v<type>) {
            static_assert(sizeof(std::remove_pointer_t<type>) <= RECORD_BYTES_MAX);
            return reinterpret_cast<type>(call.record);
        } else if constexpr (std::is_same_v<type, float>) {
            return call.in[in++].real;
        } else {
            return static_cast<type>(call.in[in++].word);
        }
    }
};

template <typename... rest>
int32_t run_at(int32_t (*function)(kelvane_handle, kelvane_device_address, rest...), operation_call &call)
{
    [[maybe_unused]] cursor at{call};
    const std::tuple<rest...> arguments{at.next<rest>()...}; // braces: from left to right
    return std::apply([&](rest... it) { return function(THE_CARD, call.address, it...); }, arguments);
}

template <typename... rest>
int32_t run_on_card(int32_t (*function)(kelvane_handle, rest...), operation_call &call)
{
    [[maybe_unused]] cursor at{call};
    const std::tuple<rest...> arguments{at.next<rest>()...};
    return std::apply([&](rest... it) { return function(THE_CARD, it...); }, arguments);
}

template <auto function> int32_t at_address(operation_call &call)
{
    return run_at(function, call);
}

template <auto function> int32_t on_card(operation_call &call)
{
    return run_on_card(function, call);
}

// ---- operations that need more than that

int32_t set_laser(operation_call &call)
{
    return kelvane_set_laser(THE_CARD, call.address, static_cast<int32_t>(call.in[0].word), nullptr, 0);
}

int32_t begin_set_laser(const operation_call &call, kelvane_set_laser_cb is_done, uint32_t transaction_id)
{
    return kelvane_set_laser(THE_CARD, call.address, static_cast<int32_t>(call.in[0].word), is_done,
                             static_cast<int32_t>(transaction_id));
}

int32_t set_traffic_type(operation_call &call)
{
    return kelvane_set_traffic_type(THE_CARD, call.address, call.in[0].word, nullptr, 0);
}

int32_t begin_set_traffic_type(const operation_call &call, kelvane_set_laser_cb is_done,
                               uint32_t transaction_id)
{
    return kelvane_set_traffic_type(THE_CARD, call.address, call.in[0].word, is_done, transaction_id);
}

int32_t write_scratchpad_register(operation_call &call)
{
    return kelvane_write_scratchpad_register(THE_CARD, &call.in[0].word);
}

int32_t download_software(operation_call &call)
{
    return kelvane_download_software(THE_CARD, call.in[0].word, call.image);
}

int32_t program_activate_software(operation_call &call)
{
    return kelvane_program_activate_software(THE_CARD, call.address, "", nullptr, 0);
}

// ---- parameters

using enum parameter_type;
constexpr parameter TX_RX = {"tx_rx", i32, &DIRECTIONS};

constexpr parameter LASER[] = {{"laser", i32, &SWITCH}};
constexpr parameter TRAFFIC_TYPE[] = {{"traffic_type", u32, &TRAFFIC_TYPES}};
constexpr parameter CHANNEL[] = {{"channel", i32}, TX_RX};
constexpr parameter DIRECTION[] = {TX_RX};
constexpr parameter BRIGHT_TUNING[] = {{"bright_tuning", i32}, TX_RX};
constexpr parameter POWER[] = {{"power", f32}};
constexpr parameter WHOLE_POWER[] = {{"power", i32}};
constexpr parameter ENABLE[] = {{"enable", u32, &SWITCH}};
constexpr parameter LED[] = {{"led", u32, &LEDS}};
constexpr parameter VALUE[] = {{"value"}};
constexpr parameter BOUND[] = {{"value", i32}};
constexpr parameter ACTION[] = {{"ca", i32}, {"status", i32}};
constexpr parameter REGISTER[] = {{"reg_address"}};
constexpr parameter REGISTER_VALUE[] = {{"reg_address"}, {"value"}};
constexpr parameter DIAGNOSTIC[] = {{"diag_command", u32, &DIAGNOSTICS}};
constexpr parameter LEVELS[] = {{"arm_trace_level"}};
constexpr parameter INTERVAL[] = {{"pm_interval"}};
constexpr parameter RUN_TYPE[] = {{"run_type", i32, &RUN_TYPES}};
constexpr parameter IMAGE_KIND[] = {{"download_device", u32, &DOWNLOAD_DEVICES}};
constexpr parameter IMAGE[] = {{"download_device", u32, &DOWNLOAD_DEVICES}, {"digest", digest}};
constexpr parameter RESET[] = {{"trigger_reset"}};
constexpr parameter LINES[] = {{"first_line_req", u32, nullptr, true}, {"last_line_req", u32, nullptr, true}};

// ---- what comes back

constexpr output VERSION_WORDS[] = {{"major"}, {"minor"}};
constexpr output VERDICT_WORD[] = {{"comp_sw", false, &VERDICTS}};
constexpr output VALUE_WORD[] = {{"value"}};
constexpr output BOUND_WORD[] = {{"value", true}};
constexpr output STATUS_WORD[] = {{"status"}};
constexpr output WATCH_WORDS[] = {{"enable", false, &SWITCH},
                                  {"keep_alive_status", false, &KEEP_ALIVE_STATUSES}};
constexpr output PROGRESS_WORD[] = {{"progress"}};
constexpr output RUN_TYPE_WORD[] = {{"run_type", false, &RUN_TYPES}};
constexpr output SECURE_WORD[] = {{"secure_type", false, &SECURE_TYPES}};
constexpr output UPSET_WORD[] = {{"state", false, &UPSETS}};
constexpr output LASER_WORD[] = {{"laser", false, &SWITCH}};
constexpr output TRAFFIC_TYPE_WORD[] = {{"traffic_type", false, &TRAFFIC_TYPES}};
constexpr output CHANNEL_WORD[] = {{"channel", true}};
constexpr output BRIGHT_TUNING_WORD[] = {{"bright_tuning", true}};
constexpr output POWER_WORD[] = {{"power"}};
constexpr output PRESENT_WORD[] = {{"is_present", false, &SWITCH}};
constexpr output LED_WORD[] = {{"led", false, &LEDS}};
constexpr output ENABLE_WORD[] = {{"enable", false, &SWITCH}};
constexpr output RSA_CHECK_WORD[] = {{"rsa_check"}};
constexpr output PCS_ALARMS[] = {{"alarms", false, nullptr, kelvane_host_pcs_alarm_names}};
constexpr output OTN_ALARMS[] = {{"alarms", false, nullptr, kelvane_host_otn_alarm_names}};
constexpr output NETWORK_ALARMS[] = {{"alarms", false, nullptr, kelvane_ntwk_port_alarm_names}};
constexpr output MODULE_ALARMS[] = {{"alarms", false, nullptr, kelvane_xpm2_alarm_names}};
constexpr output GENERIC_ALARMS[] = {{"alarms", false, nullptr, kelvane_generic_alarm_names}};

template <const record_fields &list> const record_fields &same_for_all(host_kind)
{
    return list;
}

template <const auto &list> constexpr result_shape words = {list};
template <const record_fields &list> constexpr result_shape record = {{}, same_for_all<list>};
constexpr result_shape HOST_RECORD = {{}, host_pm_fields};
constexpr result_shape PM_RECORD = {{}, global_pm_fields};
constexpr result_shape ALARMS_RECORD = {{}, global_alarms_fields};

// Where the library puts a log, below /root.
std::string firmware_log(kelvane_device_address)
{
    return "ordune.log";
}

std::string selected_log(kelvane_device_address address)
{
    return KELVANE_IS_BOARD(address) ? "ordune.log"
                                     : "sirane_" + std::to_string(KELVANE_SIRANE_OF(address)) + ".log";
}

std::string controller_log(kelvane_device_address)
{
    return "ord_prom.log";
}

constexpr result_shape log_file(std::string (*name)(kelvane_device_address))
{
    return {{}, nullptr, name};
}

#define AT(name)   #name, at_address < kelvane_##name>
#define CARD(name) #name, on_card < kelvane_##name>
#define OWN(name)  #name, name
using enum address_kind;
using enum effect;

// clang-format off
constexpr operation OPERATIONS[] = {
    // versions and tables
    {AT(get_software_running), any, reads, {}, words<VERSION_WORDS>,
     "The version of the running firmware, of a sirane, or of a module."},
    {AT(get_software_downloaded), any, reads, {}, words<VERSION_WORDS>,
     "The version that was downloaded last."},
    {CARD(get_software_downloaded_golden_zynq), none, reads, {}, words<VERSION_WORDS>,
     "The version of the controller's golden image."},
    {CARD(software_version_comp_check), none, reads, {}, words<VERDICT_WORD>,
     "How the running firmware fits the library."},
    {CARD(get_ordune_inventory_inf), none, reads, {}, record<CONTROLLER_INVENTORY>,
     "Inventory of the controller."},
    {CARD(get_zynq_run_type), none, reads, {}, words<RUN_TYPE_WORD>,
     "Which image the controller runs."},
    {CARD(get_secure_type), none, reads, {}, words<SECURE_WORD>,
     "Whether the controller was booted securely."},
    {CARD(get_ddr_ecc_counters), none, reads, {}, record<MEMORY_ERRORS>,
     "Memory errors and upsets that were counted."},
    {CARD(get_seu_pl_uncorrectable), none, reads, {}, words<UPSET_WORD>,
     "Whether an upset could not be corrected."},

    // registers, diagnostics, the watch
    {AT(read_register), any, reads, REGISTER, words<VALUE_WORD>,
     "Reads a register of a device."},
    {AT(write_register), any, disturbs, REGISTER_VALUE, {},
     "Writes a register of a device."},
    {AT(diag_command), any, disturbs, DIAGNOSTIC, {},
     "Has the firmware run a diagnostic."},
    {AT(recover_device), any, restarts, {}, {},
     "Resets the sirane of the address."},
    {AT(get_xpm2_status), network_port, reads, {}, words<STATUS_WORD>,
     "The status word of a module."},
    {CARD(set_arm_trace_level), none, sets, LEVELS, {},
     "Sets the levels of the firmware's log."},
    {CARD(get_keep_alive_status), none, reads, {}, words<WATCH_WORDS>,
     "Whether the firmware is watched, and alive."},
    {CARD(read_scratchpad_register), none, reads, {}, words<VALUE_WORD>,
     "Reads the card's free test word."},
    {OWN(write_scratchpad_register), none, sets, VALUE, {},
     "Writes the card's free test word."},
    {CARD(set_trigger_reset), none, restarts, RESET, {},
     "Resets the card, in one of two ways."},
    {CARD(default_initialize), none, restarts, {}, {},
     "Puts the firmware into its default state, which resets the siranes."},

    // provisioning
    {OWN(set_traffic_type), network_port, disturbs, TRAFFIC_TYPE, {},
     "Sets what a port carries.", begin_set_traffic_type},
    {AT(get_traffic_type), network_port, reads, {}, words<TRAFFIC_TYPE_WORD>,
     "What a port carries."},
    {OWN(set_laser), network_port, disturbs, LASER, {},
     "Switches a laser.", begin_set_laser},
    {AT(get_laser), network_port, reads, {}, words<LASER_WORD>,
     "Whether a laser is on."},
    {AT(set_laser_channel), network_port, disturbs, CHANNEL, {},
     "Tunes one direction of a module."},
    {AT(get_laser_channel), network_port, reads, DIRECTION, words<CHANNEL_WORD>,
     "What one direction is tuned to."},
    {AT(set_laser_channel_flex_grid), network_port, disturbs, CHANNEL, {},
     "Tunes one direction on the flexible grid."},
    {AT(get_laser_channel_flex_grid), network_port, reads, DIRECTION, words<CHANNEL_WORD>,
     "What one direction is tuned to on the flexible grid."},
    {AT(set_laser_bright_tuning), network_port, disturbs, BRIGHT_TUNING, {},
     "Sets whether a laser stays lit while it is tuned."},
    {AT(get_laser_bright_tuning), network_port, reads, DIRECTION, words<BRIGHT_TUNING_WORD>,
     "Whether a laser stays lit while it is tuned."},
    {AT(set_optical_output_power), network_port, disturbs, POWER, {},
     "Sets the provisioned output power."},
    {AT(set_optical_output_power_v2), network_port, disturbs, WHOLE_POWER, {},
     "Sets the provisioned output power from a whole number."},
    {AT(set_runtime_optical_output_power), network_port, disturbs, WHOLE_POWER, {},
     "Sets the output power until the next start."},
    {AT(get_config_optical_output_power), network_port, reads, {}, words<POWER_WORD>,
     "The provisioned output power, as the firmware's word."},
    {AT(is_xpm2_present), any, reads, {}, words<PRESENT_WORD>,
     "Whether a module is in the port."},
    {AT(set_tx_disable), network_port, disturbs, ENABLE, {},
     "Disables a module's transmitter."},
    {AT(set_xpm2_led), network_port, sets, LED, {},
     "Sets a module's LED."},
    {AT(get_xpm2_led), network_port, reads, {}, words<LED_WORD>,
     "What a module's LED shows."},
    {AT(set_xpm2_simulated_oir), network_port, disturbs, VALUE, {},
     "Has the firmware act as if a module had been pulled out or put in."},
    {AT(set_host_loopback), any, disturbs, ENABLE, {},
     "Loops the traffic of a host port back."},
    {AT(get_host_loopback), any, reads, {}, words<ENABLE_WORD>,
     "Whether a host port is looped back."},
    {AT(set_network_loopback), network_port, disturbs, ENABLE, {},
     "Loops the traffic of a network port back."},
    {AT(get_network_loopback), network_port, reads, {}, words<ENABLE_WORD>,
     "Whether a network port is looped back."},
    {AT(set_rx_cd_low_search_value), network_port, disturbs, BOUND, {},
     "Sets the lower bound of the search for dispersion."},
    {AT(get_rx_cd_low_search_value), network_port, reads, {}, words<BOUND_WORD>,
     "The lower bound of the search for dispersion."},
    {AT(set_rx_cd_high_search_value), network_port, disturbs, BOUND, {},
     "Sets the upper bound of the search for dispersion."},
    {AT(get_rx_cd_high_search_value), network_port, reads, {}, words<BOUND_WORD>,
     "The upper bound of the search for dispersion."},
    {AT(set_cons_action), sirane, disturbs, ACTION, {},
     "Sets what happens to the traffic at a defect."},
    {AT(global_provisioned_config), sirane, reads, {}, record<PROVISIONED_CONFIG>,
     "All that is provisioned on a sirane."},

    // inventory, status, images, logs
    {AT(get_xpm2_inventory_inf), network_port, reads, {}, record<MODULE_INVENTORY>,
     "Inventory of a module."},
    {CARD(get_zynq_rsa_check), none, reads, RUN_TYPE, words<RSA_CHECK_WORD>,
     "Checks the signature of an image of the controller."},
    {AT(get_subsystem_status_info), sirane, reads, {}, record<SUBSYSTEM_STATUS>,
     "Control and status registers of a sirane."},
    {OWN(download_software), none, copies, IMAGE, {},
     "Copies an image into the card's memory and has the firmware check and keep it."},
    {OWN(program_activate_software), any, restarts, {}, {},
     "Programs the downloaded image into a device and starts it."},
    {CARD(get_download_progress), none, reads, IMAGE_KIND, words<PROGRESS_WORD>,
     "How far a download has come, in percent."},
    {AT(get_program_progress), any, reads, {}, words<PROGRESS_WORD>,
     "How far the programming of a device has come, in percent."},
    {CARD(ps_print_trace), none, copies, {}, log_file(firmware_log),
     "The log of the running firmware."},
    {AT(ps_print_sel_trace), any, copies, LINES, log_file(selected_log),
     "Lines of the firmware's log, or bytes of a sirane's persistent one."},
    {CARD(ps_print_eprom_trace), none, copies, {}, log_file(controller_log),
     "The controller's persistent log, and which voltage regulators failed."},

    // performance and alarms
    {AT(set_pm_parameters), any, sets, INTERVAL, {},
     "Sets the interval of the counters and the batches."},
    {AT(get_xpm2_port_pm), network_port, reads, {}, record<MODULE_PM>,
     "What a module measures."},
    {AT(get_sirane_port_pm), network_port, reads, {}, record<NETWORK_PORT_PM>,
     "What a network port measures."},
    {AT(get_host_port_pm), host_port, reads, {}, HOST_RECORD,
     "What a host port counts."},
    {AT(get_generic_pm), any, reads, {}, record<GENERIC_PM>,
     "Temperatures of a sirane and the controller."},
    {AT(get_global_pm), sirane, reads, {}, PM_RECORD,
     "All that a sirane measures."},
    {AT(dbg_get_hostport_pcs_counters), host_port, reads, {}, record<HOST_PCS_COUNTERS>,
     "Frames of a host port by size and kind."},
    {AT(get_host_pcs_alarms), host_port, reads, {}, words<PCS_ALARMS>,
     "Alarms of a host port with Ethernet."},
    {AT(get_host_otn_alarms), host_port, reads, {}, words<OTN_ALARMS>,
     "Alarms of a host port with OTN."},
    {AT(get_nwtk_port_alarms), network_port, reads, {}, words<NETWORK_ALARMS>,
     "Alarms of a network port."},
    {AT(get_generic_alarms), any, reads, {}, words<GENERIC_ALARMS>,
     "Alarms of a sirane and the card."},
    {AT(get_xpm2_alarms), network_port, reads, {}, words<MODULE_ALARMS>,
     "Alarms of a module."},
    {AT(get_global_alarms), sirane, reads, {}, ALARMS_RECORD,
     "All alarms of a sirane."},
};
// clang-format on

} // namespace

std::span<const operation> all_operations()
{
    return OPERATIONS;
}

const operation *operation_of_name(std::string_view name)
{
    const auto found =
        std::ranges::find_if(OPERATIONS, [name](const operation &it) { return name == it.name; });
    return found != std::end(OPERATIONS) ? found : nullptr;
}

bool runs_alone(const operation &operation)
{
    return operation.does == restarts || operation.does == copies;
}
