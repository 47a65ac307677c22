#include "provisioning/provisioned_config.h"

#include <cstddef>

#include "card/running_firmware.h"
#include "core/field_trace.h"
#include "core/trace/trace.h"
#include "mbox/command.h"
#include "provisioning/value_names.h"

static_assert(sizeof(kelvane_provisioned_config_t) == 120);
static_assert(offsetof(kelvane_provisioned_config_t, xpm2_led) == 72);
static_assert(offsetof(kelvane_provisioned_config_t, host_loopback) == 88);
static_assert(offsetof(kelvane_provisioned_config_t, tx_channel_flex_grid) == 104);

namespace {

constexpr uint32_t FLEX_GRID_STEPS = 10; // in one legacy channel
constexpr firmware_version FIRST_FLEX_GRID_FIRMWARE = {4, 1};

#define AT(field) offsetof(kelvane_provisioned_config_t, field)

constexpr traced_field fields_before_led[] = {
    {"laser                   %10d  %10d ", AT(laser), FIELD_WORD_PAIR},
    {"tx_channel              %10d  %10d ", AT(tx_channel), FIELD_WORD_PAIR},
    {"rx_channel              %10d  %10d ", AT(rx_channel), FIELD_WORD_PAIR},
    {"tx_bright_tuning        %10d  %10d ", AT(tx_bright_tuning), FIELD_WORD_PAIR},
    {"rx_bright_tuning        %10d  %10d ", AT(rx_bright_tuning), FIELD_WORD_PAIR},
    {"power                   %10d  %10d ", AT(power), FIELD_WORD_PAIR},
    {"rx_cd_low_search_value  %10d  %10d ", AT(rx_cd_low_search_value), FIELD_WORD_PAIR},
    {"rx_cd_high_search_value %10d  %10d ", AT(rx_cd_high_search_value), FIELD_WORD_PAIR},
    {"network_loopback        %10d  %10d ", AT(network_loopback), FIELD_WORD_PAIR},
};

constexpr traced_field fields_after_led[] = {
    {"host_loopback    %10d %10d %10d %10d ", AT(host_loopback), FIELD_WORD_QUAD},
    {"tx_channel_flex_grid    %u  %u ", AT(tx_channel_flex_grid), FIELD_WORD_PAIR},
    {"rx_channel_flex_grid    %u  %u ", AT(rx_channel_flex_grid), FIELD_WORD_PAIR},
};

#undef AT

} // namespace

int32_t kelvane_post_proc_global_provisioned_config(kelvane_handle handle,
                                                    kelvane_provisioned_config_t *record,
                                                    mbox_data_header *response_header)
{
    firmware_version running;
    const int32_t rc = get_running_firmware(handle, &running, LEVEL_INFO);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    if (running < FIRST_FLEX_GRID_FIRMWARE && response_header->version == 1) {
        TRACE(LEVEL_DEBUG, handle, NO_ADDRESS,
              "box_data_header_var_out->version = %d  need to manage post proc for flex grid ",
              static_cast<int>(response_header->version));
        response_header->version = 0;
    }
    if (response_header->version != 0) {
        return KELVANE_EOK;
    }
    TRACE(LEVEL_DEBUG, handle, NO_ADDRESS,
          "mbox_data_header_var_out->version = %d  need to manage post proc for flex grid ",
          static_cast<int>(response_header->version));
    for (int port = 0; port < 2; port++) {
        record->tx_channel_flex_grid[port] = FLEX_GRID_STEPS * record->tx_channel[port];
        record->rx_channel_flex_grid[port] = FLEX_GRID_STEPS * record->rx_channel[port];
    }
    return KELVANE_EOK;
}

int32_t kelvane_tr_glbl_prv_cfg_config(kelvane_handle handle, kelvane_device_address device_address,
                                       kelvane_provisioned_config_t record)
{
    TRACE(LEVEL_INFO, handle, device_address, "traffic_type            %s  %s ",
          traffic_type_name(record.traffic_type[0]), traffic_type_name(record.traffic_type[1]));
    trace_fields(LEVEL_INFO, handle, device_address, __func__, fields_before_led, &record);
    TRACE(LEVEL_INFO, handle, device_address, "xpm2_led                %s  %s ", led_name(record.xpm2_led[0]),
          led_name(record.xpm2_led[1]));
    trace_fields(LEVEL_INFO, handle, device_address, __func__, fields_after_led, &record);
    return KELVANE_EOK;
}

int32_t kelvane_global_provisioned_config(kelvane_handle handle, kelvane_device_address device_address,
                                          kelvane_provisioned_config_t *record)
{
    TRACE(LEVEL_INFO, handle, device_address, "start ");
    command c;
    const int32_t rc =
        command_run(&c, {CMD_GLOBAL_PROVISIONED_CONFIG, CHECK_SIRANE, __func__, handle, device_address},
                    {handle, device_address});
    if (rc != KELVANE_EOK) {
        return rc;
    }
    command_copy_record(c, record, sizeof *record);
    // If the version inquiry fails, the record stays as it came.
    kelvane_post_proc_global_provisioned_config(handle, record, &c.response_header);
    kelvane_tr_glbl_prv_cfg_config(handle, device_address, *record);
    TRACE(LEVEL_INFO, handle, device_address, "end ");
    return command_result(c);
}
