#include "firmware_operations.h"

#include <string>

#include "background/keep_alive.h"
#include "background/response_thread.h"
#include "firmware_card.h"
#include "fuzz_checks.h"
#include "mbox/receive.h"

namespace {

std::string image_folder;

// ---- the application's callbacks; a byte says whether they fail

int32_t chosen_result(void)
{
    return (the_card.input->byte() & 0x80) != 0 ? static_cast<int32_t>(KELVANE_RET_CODE_EBUSY)
                                                : static_cast<int32_t>(KELVANE_EOK);
}

int32_t request_done(kelvane_handle, kelvane_device_address, uint32_t, int32_t)
{
    return chosen_result();
}

int32_t batch_came(kelvane_handle handle, kelvane_device_address, const kelvane_global_pm *record, uint64_t)
{
    must(record != nullptr, "a batch without a record", "kelvane_pm_notify_cb");
    uint32_t value = 0;
    kelvane_read_scratchpad_register(handle, &value);
    return chosen_result();
}

int32_t alarms_came(kelvane_handle, kelvane_device_address, const global_alarms *record, uint64_t)
{
    must(record != nullptr, "alarms without a record", "kelvane_alarms_notify_cb");
    return chosen_result();
}

int32_t watch_changed(kelvane_handle, int32_t, uint32_t status)
{
    must(status == KELVANE_ALIVE || status == KELVANE_NOT_ALIVE, "no status", "kelvane_keep_alive_cb");
    return chosen_result();
}

int32_t dap_answered(kelvane_handle, void *data, const uint32_t *size)
{
    must(*size < 1024, "an answer beyond the buffer", "kelvane_dap_cb");
    uint32_t sum = 0; // every byte of it can be read
    for (uint32_t i = 0; i < *size; i++) {
        sum += static_cast<const uint8_t *>(data)[i];
    }
    return sum == 1 ? chosen_result() : 0;
}

// ---- shapes of operations

template <typename record_type>
int32_t get(host_call &call, int32_t (*operation)(kelvane_handle, kelvane_device_address, record_type *))
{
    guarded<record_type> output;
    const int32_t rc = operation(call.handle, call.device_address, &output.value);
    output.check("a record");
    return rc;
}

template <typename output_type>
int32_t get_direction(host_call &call,
                      int32_t (*operation)(kelvane_handle, kelvane_device_address, output_type *, int32_t))
{
    guarded<output_type> output;
    const int32_t rc = operation(call.handle, call.device_address, &output.value, call.input.byte());
    output.check("a value of a direction");
    return rc;
}

template <typename output_type>
int32_t get_of_card(host_call &call, int32_t (*operation)(kelvane_handle, output_type *))
{
    guarded<output_type> output;
    const int32_t rc = operation(call.handle, &output.value);
    output.check("a value of the card");
    return rc;
}

template <typename value_type>
int32_t set(host_call &call, int32_t (*operation)(kelvane_handle, kelvane_device_address, value_type))
{
    return operation(call.handle, call.device_address, static_cast<value_type>(call.input.byte()));
}

template <typename value_type>
int32_t set_direction(host_call &call,
                      int32_t (*operation)(kelvane_handle, kelvane_device_address, value_type, value_type))
{
    return operation(call.handle, call.device_address, call.input.byte(), call.input.byte());
}

using version_operation = int32_t (*)(kelvane_handle, kelvane_device_address, uint32_t *, uint32_t *);

int32_t get_version(host_call &call, version_operation operation)
{
    guarded<uint32_t> major;
    guarded<uint32_t> minor;
    const int32_t rc = operation(call.handle, call.device_address, &major.value, &minor.value);
    major.check("a major version");
    minor.check("a minor version");
    return rc;
}

int32_t download(host_call &call)
{
    constexpr const char *NAMES[] = {"good", "empty", "short_digest", "no_digest", "none"};
    const uint8_t byte = call.input.byte();
    return kelvane_download_software(call.handle, byte / 16, (image_folder + NAMES[byte % 5]).c_str());
}

int32_t send_dap(host_call &call)
{
    uint8_t message[1100];
    memset(message, call.input.byte(), sizeof message);
    const uint32_t size = call.input.byte() * 5;
    return kelvane_dap_command(call.handle, message, &size, size % 2 == 0 ? dap_answered : nullptr);
}

int32_t turn_card(host_call &call)
{
    const uint8_t byte = call.input.byte();
    the_card.removed = byte == 0xFF;
    the_card.forgets_writes = (byte & 0x40) != 0;
    if ((byte & 0x80) != 0) {
        the_card.failing_access = the_card.accesses + 1 + (byte & 0x3F);
    }
    return 0;
}

// New rows come at the end: the kept inputs name them by number.
constexpr host_operation OPERATIONS[] = {
    {"the card offers",
     [](host_call &) {
         card_offer_message();
         return 0;
     }},
    {"the card turns", turn_card},
    {"response thread",
     [](host_call &call) {
         const uint8_t byte = call.input.byte();
         return kelvane_asyc_resp_common(call.handle, byte % 4, byte / 16 % 4);
     }},
    {"low-priority thread",
     [](host_call &call) {
         low_priority_pass(&call.threads.low_priority);
         return 0;
     }},
    {"DAP thread",
     [](host_call &call) {
         dap_serve_event(0, &the_dap_record, &call.threads.dap);
         return 0;
     }},
    {"kelvane_notify_msi", [](host_call &call) { return kelvane_notify_msi(call.handle); }},
    {"kelvane_deque_msi", [](host_call &call) { return kelvane_deque_msi(call.handle); }},
    {"kelvane_enable_msi",
     [](host_call &call) { return kelvane_enable_msi(call.handle, call.input.byte()); }},
    {"kelvane_pci_mapped",
     [](host_call &call) { return kelvane_pci_mapped(call.handle, call.input.byte() % 16 != 15, 0, 0); }},
    {"the drain",
     [](host_call &call) {
         return kelvane_deque_resp_receive(call.handle, call.device_address, call.input.byte() % 4);
     }},
    {"kelvane_keep_alive",
     [](host_call &call) { return kelvane_keep_alive(call.handle, call.device_address); }},
    {"kelvane_enable_keep_alive_notify",
     [](host_call &call) {
         return kelvane_enable_keep_alive_notify(call.handle, call.input.byte() % 4, watch_changed);
     }},
    {"kelvane_dap_command", send_dap},
    {"kelvane_set_traffic_type",
     [](host_call &call) {
         const uint8_t byte = call.input.byte();
         return kelvane_set_traffic_type(call.handle, call.device_address, byte & 0x1F,
                                         (byte & 0x80) != 0 ? request_done : nullptr, byte);
     }},
    {"kelvane_set_laser",
     [](host_call &call) {
         const uint8_t byte = call.input.byte();
         return kelvane_set_laser(call.handle, call.device_address, byte & 1,
                                  (byte & 0x80) != 0 ? request_done : nullptr, byte);
     }},
    {"kelvane_enable_pm_notify",
     [](host_call &call) {
         return kelvane_enable_pm_notify(call.handle, call.device_address, call.input.byte() % 4 == 0,
                                         batch_came);
     }},
    {"kelvane_enable_alarms_notify",
     [](host_call &call) {
         return kelvane_enable_alarms_notify(call.handle, call.device_address, call.input.byte() % 4 == 0,
                                             alarms_came);
     }},
    {"kelvane_force_global_alarms_notify",
     [](host_call &call) {
         const global_alarms record{};
         return kelvane_force_global_alarms_notify(call.handle, call.device_address, &record);
     }},
    {"kelvane_download_software", download},
    {"kelvane_program_activate_software",
     [](host_call &call) {
         return kelvane_program_activate_software(call.handle, call.device_address, "image", nullptr, 7);
     }},
    {"kelvane_get_download_progress",
     [](host_call &call) {
         guarded<uint32_t> progress;
         const int32_t rc =
             kelvane_get_download_progress(call.handle, call.input.byte() % 8, &progress.value);
         progress.check("kelvane_get_download_progress");
         return rc;
     }},
    {"kelvane_get_zynq_rsa_check",
     [](host_call &call) {
         guarded<uint32_t> output;
         const int32_t rc = kelvane_get_zynq_rsa_check(call.handle, call.input.byte() % 4, &output.value);
         output.check("kelvane_get_zynq_rsa_check");
         return rc;
     }},
    {"kelvane_read_register",
     [](host_call &call) {
         guarded<uint32_t> output;
         const int32_t rc =
             kelvane_read_register(call.handle, call.device_address, call.input.byte(), &output.value);
         output.check("kelvane_read_register");
         return rc;
     }},
    {"kelvane_write_register",
     [](host_call &call) {
         return kelvane_write_register(call.handle, call.device_address, call.input.byte(), 1);
     }},
    {"kelvane_default_initialize", [](host_call &call) { return kelvane_default_initialize(call.handle); }},
    {"kelvane_recover_device",
     [](host_call &call) { return kelvane_recover_device(call.handle, call.device_address); }},
    {"kelvane_set_trigger_reset",
     [](host_call &call) { return kelvane_set_trigger_reset(call.handle, call.input.byte() % 3); }},
    {"kelvane_print_local_handler",
     [](host_call &call) {
         kelvane_print_local_handler(call.handle);
         return 0;
     }},
    {"kelvane_diag_command", [](host_call &call) { return set(call, kelvane_diag_command); }},
    {"kelvane_set_pm_parameters", [](host_call &call) { return set(call, kelvane_set_pm_parameters); }},
    {"kelvane_set_optical_output_power",
     [](host_call &call) { return set(call, kelvane_set_optical_output_power); }},
    {"kelvane_set_xpm2_led", [](host_call &call) { return set(call, kelvane_set_xpm2_led); }},
    {"kelvane_set_host_loopback", [](host_call &call) { return set(call, kelvane_set_host_loopback); }},
    {"kelvane_set_laser_channel",
     [](host_call &call) { return set_direction(call, kelvane_set_laser_channel); }},
    {"kelvane_set_cons_action", [](host_call &call) { return set_direction(call, kelvane_set_cons_action); }},
    {"kelvane_get_laser_channel_flex_grid",
     [](host_call &call) { return get_direction(call, kelvane_get_laser_channel_flex_grid); }},
    {"kelvane_get_traffic_type", [](host_call &call) { return get(call, kelvane_get_traffic_type); }},
    {"kelvane_get_xpm2_status", [](host_call &call) { return get(call, kelvane_get_xpm2_status); }},
    {"kelvane_get_network_loopback", [](host_call &call) { return get(call, kelvane_get_network_loopback); }},
    {"kelvane_get_xpm2_inventory_inf",
     [](host_call &call) { return get(call, kelvane_get_xpm2_inventory_inf); }},
    {"kelvane_global_provisioned_config",
     [](host_call &call) { return get(call, kelvane_global_provisioned_config); }},
    {"kelvane_get_subsystem_status_info",
     [](host_call &call) { return get(call, kelvane_get_subsystem_status_info); }},
    {"kelvane_get_xpm2_port_pm", [](host_call &call) { return get(call, kelvane_get_xpm2_port_pm); }},
    {"kelvane_get_sirane_port_pm", [](host_call &call) { return get(call, kelvane_get_sirane_port_pm); }},
    {"kelvane_get_host_port_pm", [](host_call &call) { return get(call, kelvane_get_host_port_pm); }},
    {"kelvane_get_generic_pm", [](host_call &call) { return get(call, kelvane_get_generic_pm); }},
    {"kelvane_get_global_pm", [](host_call &call) { return get(call, kelvane_get_global_pm); }},
    {"kelvane_dbg_get_hostport_pcs_counters",
     [](host_call &call) { return get(call, kelvane_dbg_get_hostport_pcs_counters); }},
    {"kelvane_get_global_alarms", [](host_call &call) { return get(call, kelvane_get_global_alarms); }},
    {"kelvane_get_nwtk_port_alarms", [](host_call &call) { return get(call, kelvane_get_nwtk_port_alarms); }},
    {"kelvane_get_program_progress", [](host_call &call) { return get(call, kelvane_get_program_progress); }},
    {"kelvane_get_software_running",
     [](host_call &call) { return get_version(call, kelvane_get_software_running); }},
    {"kelvane_get_software_downloaded",
     [](host_call &call) { return get_version(call, kelvane_get_software_downloaded); }},
    {"kelvane_software_version_comp_check",
     [](host_call &call) { return get_of_card(call, kelvane_software_version_comp_check); }},
    {"kelvane_get_ordune_inventory_inf",
     [](host_call &call) { return get_of_card(call, kelvane_get_ordune_inventory_inf); }},
    {"kelvane_get_secure_type", [](host_call &call) { return get_of_card(call, kelvane_get_secure_type); }},
    {"kelvane_get_ddr_ecc_counters",
     [](host_call &call) { return get_of_card(call, kelvane_get_ddr_ecc_counters); }},
    {"kelvane_get_seu_pl_uncorrectable",
     [](host_call &call) { return get_of_card(call, kelvane_get_seu_pl_uncorrectable); }},
};

} // namespace

const std::span<const host_operation> host_operations = OPERATIONS;

void set_image_folder(const char *folder)
{
    image_folder = std::string(folder) + "/";
}
