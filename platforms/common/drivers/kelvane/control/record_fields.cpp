#include "control/record_fields.h"

#include <type_traits>

#include "kelvane.h"

namespace {

template <typename member> constexpr field_type type_of()
{
    using element = std::remove_all_extents_t<member>;
    if constexpr (std::is_same_v<element, char>) {
        return field_type::text;
    } else if constexpr (std::is_same_v<element, uint16_t>) {
        return field_type::u16;
    } else if constexpr (std::is_same_v<element, uint32_t>) {
        return field_type::u32;
    } else if constexpr (std::is_same_v<element, int32_t>) {
        return field_type::i32;
    } else if constexpr (std::is_same_v<element, uint64_t>) {
        return field_type::u64;
    } else if constexpr (std::is_same_v<element, float>) {
        return field_type::f32;
    } else {
        return field_type::record;
    }
}

template <typename member> constexpr uint32_t count_of()
{
    return std::is_array_v<member> ? static_cast<uint32_t>(std::extent_v<member>) : 1;
}

// A field of `record`, and what is particular to it.
#define FIELD(member, ...)                                                                                   \
    {                                                                                                        \
        .name = #member, .offset = offsetof(record, member), .type = type_of<decltype(record::member)>(),    \
        .count = count_of<decltype(record::member)>() __VA_OPT__(, ) __VA_ARGS__                             \
    }

// A word that is signed for the operation that sets it.
#define SIGNED(member)                                                                                       \
    {                                                                                                        \
        .name = #member, .offset = offsetof(record, member), .type = field_type::i32,                        \
        .count = count_of<decltype(record::member)>()                                                        \
    }

template <typename record> struct fields;

template <> struct fields<kelvane_host_frames_pm_t> {
    using record = kelvane_host_frames_pm_t;
    static constexpr const char *name = "kelvane_host_frames_pm_t";
    static const field list[];
};
const field fields<kelvane_host_frames_pm_t>::list[] = {
    FIELD(rx_good_frame),
    FIELD(rx_good_octects),
    FIELD(rx_bad_frame),
    FIELD(rx_bad_octects),
};

template <> struct fields<kelvane_host_otn_pm_t> {
    using record = kelvane_host_otn_pm_t;
    static constexpr const char *name = "kelvane_host_otn_pm_t";
    static const field list[];
};
const field fields<kelvane_host_otn_pm_t>::list[] = {
    FIELD(fec_frame_counter),
    FIELD(corrected_bits_counter),
    FIELD(pre_fec_ber_est),
    FIELD(otn_sm_bei_counter),
    FIELD(otn_sm_bip_8_violation_counter),
    FIELD(otn_pm_bei_count),
    FIELD(otn_pm_bip_8_violation_counter),
};

template <> struct fields<kelvane_xpm2_port_pm> {
    using record = kelvane_xpm2_port_pm;
    static constexpr const char *name = "kelvane_xpm2_port_pm";
    static const field list[];
};
const field fields<kelvane_xpm2_port_pm>::list[] = {
    FIELD(tx_laser_eol, .unit = "_percent"),
    FIELD(rx_laser_eol, .unit = "_percent"),
    FIELD(optical_output_power, .unit = "_dbm", .scale = 0.01),
    FIELD(optical_input_power, .unit = "_dbm", .scale = 0.01),
    FIELD(optical_signal_power, .unit = "_dbm", .scale = 0.01),
    FIELD(xpm2_temperature, .unit = "_celsius", .scale = 1.0 / 256),
};

template <> struct fields<kelvane_sirane_port_pm> {
    using record = kelvane_sirane_port_pm;
    static constexpr const char *name = "kelvane_sirane_port_pm";
    static const field list[];
};
const field fields<kelvane_sirane_port_pm>::list[] = {
    FIELD(rx_cd_curr, .unit = "_ps_per_nm"),
    FIELD(rx_cd_min, .unit = "_ps_per_nm"),
    FIELD(rx_cd_max, .unit = "_ps_per_nm"),
    FIELD(rx_cd_avg, .unit = "_ps_per_nm"),
    FIELD(rx_dgd_curr, .unit = "_ps"),
    FIELD(rx_dgd_min, .unit = "_ps"),
    FIELD(rx_dgd_max, .unit = "_ps"),
    FIELD(rx_dgd_avg, .unit = "_ps"),
    FIELD(rx_osnr_curr, .unit = "_db", .scale = 0.1),
    FIELD(rx_osnr_min, .unit = "_db", .scale = 0.1),
    FIELD(rx_osnr_max, .unit = "_db", .scale = 0.1),
    FIELD(rx_osnr_avg, .unit = "_db", .scale = 0.1),
    FIELD(pre_fec_ber_est_curr),
    FIELD(pre_fec_ber_est_min),
    FIELD(pre_fec_ber_est_max),
    FIELD(pre_fec_ber_est_avg),
    FIELD(corrected_bits_count_pm_int),
    FIELD(uncorrectable_fec_code_block_pm_int),
    FIELD(bip8_error_counter),
    FIELD(bei_error_counter),
    FIELD(sopmd_cur, .unit = "_ps2", .may_lack = true),
    FIELD(sopmd_ave, .unit = "_ps2", .may_lack = true),
    FIELD(sopmd_min, .unit = "_ps2", .may_lack = true),
    FIELD(sopmd_max, .unit = "_ps2", .may_lack = true),
    FIELD(sop_chi, .unit = "_degrees", .scale = 0.1, .may_lack = true),
    FIELD(sop_phi, .unit = "_degrees", .scale = 0.1, .may_lack = true),
    FIELD(pdl_cur, .unit = "_db", .scale = 0.1, .may_lack = true),
    FIELD(pdl_ave, .unit = "_db", .scale = 0.1, .may_lack = true),
    FIELD(pdl_min, .unit = "_db", .scale = 0.1, .may_lack = true),
    FIELD(pdl_max, .unit = "_db", .scale = 0.1, .may_lack = true),
};

template <> struct fields<kelvane_generic_pm> {
    using record = kelvane_generic_pm;
    static constexpr const char *name = "kelvane_generic_pm";
    static const field list[];
};
const field fields<kelvane_generic_pm>::list[] = {
    FIELD(sirane_temperature, .unit = "_celsius", .scale = 1.0 / 256),
    FIELD(ordune_temperature, .unit = "_celsius", .scale = 1.0 / 256),
};

template <> struct fields<kelvane_hostport_pcs_counters> {
    using record = kelvane_hostport_pcs_counters;
    static constexpr const char *name = "kelvane_hostport_pcs_counters";
    static const field list[];
};
const field fields<kelvane_hostport_pcs_counters>::list[] = {
    FIELD(TX_GOOD_FRAMES_CNT),
    FIELD(TX_GOOD_OCTETS_CNT),
    FIELD(TX_GOOD_MULTICAST_CNT),
    FIELD(TX_GOOD_BROADCAST_CNT),
    FIELD(TX_GOOD_64B_PKT_CNT),
    FIELD(TX_GOOD_65B_127B_PKT_CNT),
    FIELD(TX_GOOD_128B_255B_PKT_CNT),
    FIELD(TX_GOOD_256B_511B_PKT_CNT),
    FIELD(TX_GOOD_512B_1023B_PKT_CNT),
    FIELD(TX_GOOD_1024B_1518B_PKT_CNT),
    FIELD(TX_GOOD_1519B_LTJ_PKT_CNT),
    FIELD(TX_GOOD_JUMBO_PKT_CNT),
    FIELD(TX_BAD_FRAMES_CNT),
    FIELD(TX_BAD_OCTETS_CNT),
    FIELD(TX_BAD_MULTICAST_CNT),
    FIELD(TX_BAD_BROADCAST_CNT),
    FIELD(TX_BAD_64B_PKT_CNT),
    FIELD(TX_BAD_65B_127B_PKT_CNT),
    FIELD(TX_BAD_128B_255B_PKT_CNT),
    FIELD(TX_BAD_256B_511B_PKT_CNT),
    FIELD(TX_BAD_512B_1023B_PKT_CNT),
    FIELD(TX_BAD_1024B_1518B_PKT_CNT),
    FIELD(TX_BAD_1519B_LTJ_PKT_CNT),
    FIELD(TX_BAD_JUMBO_PKT_CNT),
    FIELD(RX_GOOD_FRAMES_CNT),
    FIELD(RX_GOOD_OCTETS_CNT),
    FIELD(RX_GOOD_MULTICAST_CNT),
    FIELD(RX_GOOD_BROADCAST_CNT),
    FIELD(RX_GOOD_64B_PKT_CNT),
    FIELD(RX_GOOD_65B_127B_PKT_CNT),
    FIELD(RX_GOOD_128B_255B_PKT_CNT),
    FIELD(RX_GOOD_256B_511B_PKT_CNT),
    FIELD(RX_GOOD_512B_1023B_PKT_CNT),
    FIELD(RX_GOOD_1024B_1518B_PKT_CNT),
    FIELD(RX_GOOD_1519B_LTJ_PKT_CNT),
    FIELD(RX_GOOD_JUMBO_PKT_CNT),
    FIELD(RX_BAD_FRAMES_CNT),
    FIELD(RX_BAD_OCTETS_CNT),
    FIELD(RX_BAD_MULTICAST_CNT),
    FIELD(RX_BAD_BROADCAST_CNT),
    FIELD(RX_BAD_64B_PKT_CNT),
    FIELD(RX_BAD_65B_127B_PKT_CNT),
    FIELD(RX_BAD_128B_255B_PKT_CNT),
    FIELD(RX_BAD_256B_511B_PKT_CNT),
    FIELD(RX_BAD_512B_1023B_PKT_CNT),
    FIELD(RX_BAD_1024B_1518B_PKT_CNT),
    FIELD(RX_BAD_1519B_LTJ_PKT_CNT),
    FIELD(RX_BAD_JUMBO_PKT_CNT),
    FIELD(PM_COUNTER),
};

template <> struct fields<kelvane_provisioned_config_t> {
    using record = kelvane_provisioned_config_t;
    static constexpr const char *name = "kelvane_provisioned_config_t";
    static const field list[];
};
const field fields<kelvane_provisioned_config_t>::list[] = {
    FIELD(traffic_type, .words = &TRAFFIC_TYPES),
    FIELD(laser, .words = &SWITCH),
    FIELD(tx_channel),
    FIELD(rx_channel),
    FIELD(tx_bright_tuning),
    FIELD(rx_bright_tuning),
    FIELD(power),
    SIGNED(rx_cd_low_search_value),
    SIGNED(rx_cd_high_search_value),
    FIELD(xpm2_led, .words = &LEDS),
    FIELD(network_loopback, .words = &SWITCH),
    FIELD(host_loopback, .words = &SWITCH),
    FIELD(tx_channel_flex_grid),
    FIELD(rx_channel_flex_grid),
};

template <> struct fields<kelvane_xpm2_inventory_t> {
    using record = kelvane_xpm2_inventory_t;
    static constexpr const char *name = "kelvane_xpm2_inventory_t";
    static const field list[];
};
const field fields<kelvane_xpm2_inventory_t>::list[] = {
    FIELD(deviation),
    FIELD(part_number),
    FIELD(serial_number),
    FIELD(date_code_number),
    FIELD(CLEI_code_number),
    FIELD(module_hardware_version_number),
    FIELD(module_firmware_running_version_number),
    FIELD(module_firmware_committed_version_number),
    FIELD(vendorname),
    FIELD(description),
    FIELD(pid),
    FIELD(vid),
    FIELD(type, .words = &MODULE_TYPES),
    FIELD(oif_aco_bool, .may_lack = true),
    FIELD(nolva_part_number),
    FIELD(nolva_serial_number),
    FIELD(nolva_supplied_vendor_id, .may_lack = true),
};

template <> struct fields<kelvane_ordune_inventory_t> {
    using record = kelvane_ordune_inventory_t;
    static constexpr const char *name = "kelvane_ordune_inventory_t";
    static const field list[];
};
const field fields<kelvane_ordune_inventory_t>::list[] = {
    FIELD(image_bundle_running),
    FIELD(running_bundle_image_version),
    FIELD(plbit_running_version),
    FIELD(working_bundle_image_version),
    FIELD(golden_bundle_image_version),
    FIELD(secure_boot_flag),
    FIELD(ddr_dim_flag),
    FIELD(card_id),
    FIELD(card_version),
};

template <> struct fields<kelvane_ddr_ecc_counters_t> {
    using record = kelvane_ddr_ecc_counters_t;
    static constexpr const char *name = "kelvane_ddr_ecc_counters_t";
    static const field list[];
};
const field fields<kelvane_ddr_ecc_counters_t>::list[] = {
    FIELD(ddr_ecc_uncorrectable_flag),
    FIELD(ddr_ecc_correctable_counter, .only_grows = true),
    FIELD(ddr_ecc_uncorrectable_counter, .only_grows = true),
    FIELD(pl_seu_corr_counter, .only_grows = true),
};

template <> struct fields<kelvane_subsystem_status_t> {
    using record = kelvane_subsystem_status_t;
    static constexpr const char *name = "kelvane_subsystem_status_t";
    static const field list[];
};
const field fields<kelvane_subsystem_status_t>::list[] = {
    FIELD(SRN_CMD_ERR_ADDR),
    FIELD(SRN_CMD_ERR_DATA),
    FIELD(SRN_CMD_ERR_DATA_MASK),
    FIELD(SRN_CMD_ERR_STAT),
    FIELD(SRN_MOD_STATE),
    FIELD(SRN_TEMP_MON_A2D_VAL),
    FIELD(SRN_MOD_EXT_FUNC_STAT),
    FIELD(SRN_MOD_GEN_CNTL),
    FIELD(SRN_DEVICE_SETUP_CNTL),
    FIELD(SRN_NTWK_LANES_ENABLE_CNTL),
    FIELD(SRN_HOST_LANES_CLIENT_INTF_DEF_CNTL),
    FIELD(SRN_IND_LANES_CLIENT_TX_NTWK_LANE_MAP),
    FIELD(SRN_COUPLED_LANES_CLIENT_TX_NTWK_LANE_MAP),
    FIELD(SRN_IND_LANES_NTWK_LANE_CLIENT_RX_MAP),
    FIELD(SRN_COUPLED_LANES_NTWK_LANE_CLIENT_RX_MAP),
    FIELD(SRN_CLIENT_GEN_CNTL_INTF_0),
    FIELD(SRN_CLIENT_GEN_CNTL_INTF_1),
    FIELD(SRN_CLIENT_GEN_CNTL_INTF_2),
    FIELD(SRN_CLIENT_GEN_CNTL_INTF_3),
    FIELD(SRN_NTWK_FEC_MODE_CNTL_LN_0),
    FIELD(SRN_NTWK_FEC_MODE_CNTL_LN_1),
    FIELD(SRN_NTWK_TX_TURN_UP_STATE_LN_0),
    FIELD(SRN_NTWK_TX_TURN_UP_STATE_LN_1),
    FIELD(SRN_NTWK_RX_TURN_UP_STATE_LN_0),
    FIELD(SRN_NTWK_RX_TURN_UP_STATE_LN_1),
    FIELD(SRN_NTWK_TX_CNTL_LN_0),
    FIELD(SRN_NTWK_TX_CNTL_LN_1),
    FIELD(SRN_NTWK_RX_CNTL_LN_0),
    FIELD(SRN_NTWK_RX_CNTL_LN_1),
    FIELD(SRN_NTWK_PLL_BW_CNTL_LN_0),
    FIELD(SRN_NTWK_PLL_BW_CNTL_LN_1),
    FIELD(dac_vco_1),
    FIELD(dac_vco_2),
    FIELD(adc_vco_1),
    FIELD(adc_vco_2),
    FIELD(SRN_MOD_GEN_STAT),
    FIELD(SRN_MOD_FLT_STAT_LH),
};

// Of the records with host ports in them, one list for each kind of port.
namespace global_pm {
using record = kelvane_global_pm;
const field ethernet[] = {
    FIELD(host, .of = &HOST_FRAMES_PM),
    FIELD(sirane_port, .of = &NETWORK_PORT_PM),
    FIELD(xpm2_port, .of = &MODULE_PM),
    FIELD(generic, .of = &GENERIC_PM),
};
const field otn[] = {FIELD(host, .of = &HOST_OTN_PM), ethernet[1], ethernet[2], ethernet[3]};
const record_fields lists[] = {{"kelvane_global_pm", sizeof(record), "", otn},
                               {"kelvane_global_pm", sizeof(record), "", ethernet}};
} // namespace global_pm

#define ALARMS(member, names)                                                                                \
    {                                                                                                        \
        .name = #member, .offset = offsetof(record, member), .type = field_type::alarms,                     \
        .count = count_of<decltype(record::member)>(), .bits = (names)                                       \
    }

namespace alarms {
using record = global_alarms;
const field ethernet[] = {
    ALARMS(host, kelvane_host_pcs_alarm_names),
    ALARMS(ntwk_port, kelvane_ntwk_port_alarm_names),
    ALARMS(xpm2, kelvane_xpm2_alarm_names),
    ALARMS(generic, kelvane_generic_alarm_names),
};
const field otn[] = {ALARMS(host, kelvane_host_otn_alarm_names), ethernet[1], ethernet[2], ethernet[3]};
const record_fields lists[] = {{"global_alarms", sizeof(record), "", otn},
                               {"global_alarms", sizeof(record), "", ethernet}};
} // namespace alarms

template <typename record> constexpr record_fields list_of(const char *subject = "")
{
    return {fields<record>::name, sizeof(record), subject, fields<record>::list};
}

} // namespace

const record_fields HOST_FRAMES_PM = list_of<kelvane_host_frames_pm_t>("host");
const record_fields HOST_OTN_PM = list_of<kelvane_host_otn_pm_t>("host");
const record_fields MODULE_PM = list_of<kelvane_xpm2_port_pm>("module");
const record_fields NETWORK_PORT_PM = list_of<kelvane_sirane_port_pm>("network_port");
const record_fields GENERIC_PM = list_of<kelvane_generic_pm>();
const record_fields HOST_PCS_COUNTERS = list_of<kelvane_hostport_pcs_counters>();
const record_fields PROVISIONED_CONFIG = list_of<kelvane_provisioned_config_t>();
const record_fields MODULE_INVENTORY = list_of<kelvane_xpm2_inventory_t>("module");
const record_fields CONTROLLER_INVENTORY = list_of<kelvane_ordune_inventory_t>("ordune");
const record_fields MEMORY_ERRORS = list_of<kelvane_ddr_ecc_counters_t>();
const record_fields SUBSYSTEM_STATUS = list_of<kelvane_subsystem_status_t>();

const record_fields &host_pm_fields(host_kind kind)
{
    return kind == host_kind::otn ? HOST_OTN_PM : HOST_FRAMES_PM;
}

const record_fields &global_pm_fields(host_kind kind)
{
    return global_pm::lists[static_cast<size_t>(kind)];
}

const record_fields &global_alarms_fields(host_kind kind)
{
    return alarms::lists[static_cast<size_t>(kind)];
}

kelvane_device_address device_of_element(const field &field, uint32_t sirane, uint32_t index)
{
    switch (field.count) {
    case KELVANE_HOST_PORTS_PER_SIRANE:
        return KELVANE_ADDRESS_HOST_PORT(sirane, index);
    case KELVANE_NETWORK_PORTS_PER_SIRANE:
        return KELVANE_ADDRESS_NETWORK_PORT(sirane, index);
    default:
        return KELVANE_ADDRESS_SIRANE(sirane);
    }
}
