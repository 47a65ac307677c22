#include "support/operations.h"

namespace {

// `count` words 1, 2, 3 ... with 1 in the upper half, some of them replaced.
words up_to(uint32_t count, std::initializer_list<std::pair<size_t, uint32_t>> replaced = {})
{
    words counted;
    for (uint32_t i = 1; i <= count; i++) {
        counted.push_back(0x00010000 + i);
    }
    for (const auto &[index, value] : replaced) {
        counted[index] = value;
    }
    return counted;
}

// The powers are the lower halves of their words, with their sign.
const words PORT_PM = up_to(6, {{2, 3}, {3, 4}, {4, 5}});
const words GLOBAL_PM = up_to(110, {{98, 99}, {99, 100}, {100, 101}, {104, 105}, {105, 106}, {106, 107}});
// The tail of `vid`, bytes 174 to 185, is emptied.
const words INVENTORY = up_to(58, {{43, 0x0000002C}, {44, 0}, {45, 0}, {46, 0x00010000}});
constexpr uint32_t ODD = 0x80001234; // a value that neither sign nor size may change
constexpr uint32_t BITS = 0x80000801;

#define AT(operation) "kelvane_" #operation, caller<kelvane_##operation, true>::call
#define OF(operation) "kelvane_" #operation, caller<kelvane_##operation, false>::call

const operation_row COMMANDS[] = {
    {AT(set_traffic_type), RC, PORT, {18, 0, 2}, {0, 4, 0}, {18, 2}},
    {AT(get_traffic_type), RC, PORT, {}, {1, 3, 0}, {24}, {ODD, 5}, {ODD}},
    {AT(set_laser), RC, PORT, {1, 0, 9}, {2, 4, 0}, {1, 9}},
    {AT(get_laser), RC, PORT, {}, {3, 3, 0}, {}, {ODD, 5}, {ODD}},
    {AT(set_laser_channel), RC, PORT, {~4u, 1}, {4, 4, 0}, {~4u, 1}},
    {AT(get_laser_channel), RC, PORT, {2}, {5, 4, 0}, {0, 2}, {ODD, 5}, {ODD}},
    {AT(set_laser_bright_tuning), RC, PORT, {7, 2}, {6, 4, 0}, {7, 2}},
    {AT(get_laser_bright_tuning), RC, PORT, {1}, {7, 4, 0}, {0, 1}, {ODD, 5}, {ODD}},
    {AT(set_optical_output_power), RC, PORT, {0xC0200000}, {8, 3, 0}, {0xC0200000}},
    {AT(set_optical_output_power_v2), RC, PORT, {3}, {8, 3, 0}, {0x40400000}},
    {AT(read_register), RC, DEVICE, {0x9010}, {9, 4, 0}, {0x9010}, {0, 0xCAFE}, {0xCAFE}},
    {AT(write_register), RC, NOTHING, {0x9100, 0x82}, {10, 4, 0}, {0x9100, 0x82}},
    {AT(diag_command), RC, DEVICE, {34}, {13, 3, 0}, {34}},
    {AT(program_activate_software), RC, DEVICE, {0, 77}, {15, 3, 0}, {77}},
    {OF(default_initialize), RC, CARD, {}, {16, 1, 0}, {}},
    {AT(is_xpm2_present), RC, DEVICE, {}, {17, 4, 0}, {}, {ODD, 5}, {ODD}},
    {AT(set_pm_parameters), RC, DEVICE, {64}, {18, 3, 0}, {64}},
    {AT(get_xpm2_port_pm), RC, DEVICE, {}, {19, 8, 0}, {}, up_to(6), PORT_PM},
    {AT(get_sirane_port_pm), RC, DEVICE, {}, {20, 34, 1}, {}, up_to(32), up_to(32)},
    {AT(get_host_port_pm), RC, DEVICE, {}, {21, 10, 0}, {}, up_to(8), up_to(8)},
    {AT(get_generic_pm), RC, DEVICE, {}, {22, 4, 0}, {}, up_to(2), up_to(2)},
    {AT(get_global_pm), RC, DEVICE, {}, {23, 112, 1}, {}, up_to(110), GLOBAL_PM},
    {AT(enable_pm_notify), NO_ANSWER, DEVICE, {1, 1}, {24, 116, 1, 13}, {1}},
    {AT(enable_pm_notify), NO_ANSWER, DEVICE, {0, 0}, {24, 116, 1}, {}},
    {AT(get_host_pcs_alarms), RC, DEVICE, {}, {26, 3, 0}, {}, {BITS}, {BITS}},
    {AT(get_host_otn_alarms), RC, DEVICE, {}, {27, 3, 0}, {}, {BITS}, {BITS}},
    {AT(get_nwtk_port_alarms), RC, DEVICE, {}, {28, 3, 0}, {}, {BITS}, {BITS}},
    {AT(get_generic_alarms), RC, DEVICE, {}, {31, 3, 0}, {}, {BITS}, {BITS}},
    {AT(get_xpm2_alarms), RC, DEVICE, {}, {32, 3, 0}, {}, {BITS}, {BITS}},
    {AT(get_global_alarms), RC, DEVICE, {}, {34, 11, 0}, {}, up_to(9), up_to(9)},
    {AT(enable_alarms_notify), NO_ANSWER, DEVICE, {1, 1}, {35, 14, 0, 14}, {1}},
    {AT(enable_alarms_notify), NO_ANSWER, DEVICE, {0, 0}, {35, 14, 0}, {}},
    {AT(force_global_alarms_notify), NO_ANSWER, DEVICE, up_to(9), {36, 11, 0}, up_to(9)},
    {AT(get_xpm2_inventory_inf), RC, PORT, {}, {38, 60, 2}, {}, up_to(58), INVENTORY},
    {AT(set_xpm2_simulated_oir), RC, PORT, {1}, {39, 3, 0}, {1}},
    {AT(global_provisioned_config), RC, SIRANE, {}, {40, 32, 1}, {}, up_to(30), up_to(30)},
    {AT(set_tx_disable), RC, PORT, {1}, {42, 3, 0}, {1}},
    {AT(set_xpm2_led), RC, PORT, {3}, {43, 3, 0}, {3}},
    {AT(get_xpm2_led), RC, PORT, {}, {44, 3, 0}, {}, {ODD, 5}, {ODD}},
    {AT(set_network_loopback), RC, PORT, {2}, {45, 3, 0}, {2}},
    {AT(set_host_loopback), RC, DEVICE, {2}, {46, 3, 0}, {2}},
    {AT(get_host_loopback), RC, DEVICE, {}, {47, 3, 0}, {}, {ODD, 5}, {ODD}},
    {AT(get_network_loopback), RC, PORT, {}, {48, 3, 0}, {}, {ODD, 5}, {ODD}},
    {AT(set_rx_cd_low_search_value), RC, PORT, {~999u}, {49, 3, 0}, {~999u}},
    {AT(set_rx_cd_high_search_value), RC, PORT, {1000}, {50, 3, 0}, {1000}},
    {AT(get_rx_cd_low_search_value), RC, PORT, {}, {51, 3, 0}, {}, {ODD, 5}, {ODD}},
    {AT(get_rx_cd_high_search_value), RC, PORT, {}, {52, 3, 0}, {}, {ODD, 5}, {ODD}},
    {AT(get_subsystem_status_info), RC, SIRANE, {}, {53, 39, 0}, {}, up_to(37), up_to(37)},
    {OF(enable_keep_alive_notify), RC, CARD, {2, 0}, {55, 2, 0}, {2}},
    {OF(set_arm_trace_level), RC, CARD, {0x1F}, {56, 2, 0}, {0x1F}},
    {AT(get_config_optical_output_power), RC, PORT, {}, {57, 3, 0}, {}, {ODD, 5}, {ODD}},
    {AT(set_runtime_optical_output_power), RC, PORT, {~2u}, {58, 3, 0}, {~2u}},
    {AT(recover_device), RC, DEVICE, {}, {59, 2, 0}, {}},
    {AT(get_xpm2_status), RC, PORT, {}, {60, 3, 0}, {}, {0x1F}, {0x1F}},
    {AT(dbg_get_hostport_pcs_counters), RC, HOST, {}, {61, 60, 0}, {}, up_to(58), up_to(58)},
    {OF(get_zynq_rsa_check), NO_RC, CARD, {2}, {62, 3, 0}, {2}, {0x77}, {0x77}},
    {AT(set_laser_channel_flex_grid), RC, PORT, {1937000, 2}, {63, 4, 0}, {1937000, 2}},
    {AT(get_laser_channel_flex_grid), RC, PORT, {0}, {64, 4, 0}, {}, {ODD, 5}, {ODD}},
    {AT(set_cons_action), NO_RC, SIRANE, {3, ~3u}, {65, 4, 0}, {3, ~3u}},
};

const operation_row REGISTERS[] = {
    {AT(get_software_running), NO_COMMAND, DEVICE},
    {AT(get_software_downloaded), NO_COMMAND, DEVICE},
    {AT(get_program_progress), NO_COMMAND, DEVICE},
    {OF(get_software_downloaded_golden_zynq)},
    {OF(software_version_comp_check)},
    {OF(get_ordune_inventory_inf)},
    {OF(get_zynq_run_type)},
    {OF(get_secure_type)},
    {OF(get_ddr_ecc_counters)},
    {OF(get_seu_pl_uncorrectable)},
    {OF(read_scratchpad_register)},
    {OF(write_scratchpad_register), NO_COMMAND, CARD, {1}},
    {OF(set_trigger_reset), NO_COMMAND, CARD, {1}},
    {OF(enable_msi), NO_COMMAND, CARD, {1}},
    {OF(glb_interrupt_enable), NO_COMMAND, CARD, {1}},
    {OF(notify_msi)},
    {OF(deque_msi)},
    {OF(get_download_progress), NO_COMMAND, CARD, {2}},
    {OF(ps_print_trace)},
    {OF(ps_print_eprom_trace)},
    {AT(ps_print_sel_trace), NO_COMMAND, DEVICE, {0, 40}},
};

} // namespace

const std::span<const operation_row> command_rows = COMMANDS;
const std::span<const operation_row> register_rows = REGISTERS;

kelvane_device_address operation_row::address() const
{
    constexpr kelvane_device_address GOOD[] = {0xFF00FFFF, 0xFF0001FF, 0xFF00FF03, 0xFF00FFFF, 0, 0xFF000000};
    return GOOD[checks];
}

int32_t operation_row::run(kelvane_handle handle, kelvane_device_address at, uint32_t *out) const
{
    size_t next = 0;
    return call({handle, at, [&] { return next < in.size() ? in[next++] : 0; }, out});
}
