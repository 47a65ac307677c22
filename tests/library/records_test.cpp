// Records and words of the firmware: completed where an older one sent them, and told in the log.
#include <algorithm>
#include <cstring>
#include <numeric>

#include "support/library.h"

namespace {

using words = std::vector<uint32_t>;

words count_from(uint32_t first, size_t count)
{
    words counted(count);
    std::iota(counted.begin(), counted.end(), first);
    return counted;
}

words join(const std::vector<words> &parts)
{
    words joined;
    for (const words &part : parts) {
        joined.insert(joined.end(), part.begin(), part.end());
    }
    return joined;
}

class records_test : public firmware_test {
  protected:
    // What the library makes of the firmware's words.
    template <typename record_type>
    words fetch(int32_t (*get)(kelvane_handle, kelvane_device_address, record_type *), uint32_t address,
                const words &answer, uint32_t version = 0)
    {
        firmware.data = join({{0, 0}, answer});
        firmware.spoil = [version](words &header) { header[3] = version; };
        trace_level_mask_set(2 | 4 | 8);
        log_lines();
        record_type record{};
        EXPECT_EQ(get(0, address, &record), 0);
        words copied(sizeof record / 4);
        memcpy(copied.data(), &record, sizeof record);
        return copied;
    }

    // The messages of a function, with one blank where there are more.
    std::string lines(const std::string &function)
    {
        std::string text = said(function);
        const auto blanks = [](char left, char right) { return left == ' ' && right == ' '; };
        text.erase(std::unique(text.begin(), text.end(), blanks), text.end());
        return text;
    }

    using inquiry = int32_t (*)(kelvane_handle, kelvane_device_address, uint32_t *);

    // "31 NAME|": what the log calls each bit of a word, from the highest, without the common prefix.
    std::string names(inquiry get, const std::string &function, const std::string &prefix = "")
    {
        std::string all = "|0xffffffff|";
        std::string by_bit;
        for (uint32_t bit = 32; bit-- > 0;) {
            fetch(get, 0xFF00FF00, {1u << bit});
            const std::string name = said(function).substr(12);
            if (!name.empty()) {
                by_bit += std::to_string(bit) + " " + name.substr(prefix.size());
                all += prefix + name.substr(prefix.size());
            }
        }
        fetch(get, 0xFF00FF00, {0xFFFFFFFF});
        EXPECT_EQ(said(function), all);
        return by_bit;
    }
};

TEST_F(records_test, the_name_of_each_alarm_bit)
{
    EXPECT_EQ(names(kelvane_get_nwtk_port_alarms, "kelvane_trace_ntwk_port_alarms"),
              "30 COUNTER_OVFL|13 RX_NTWK_LOF|12 RX_NTWK_OOF|11 RX_NTWK_LOM|10 RX_NTWK_OOM|9 RX_NTWK_BDI|"
              "8 RX_NTWK_LOCH|7 RX_NTWK_WAVE_LOL|6 RX_NTWK_PREFEC_HI_BER|5 SRN_HW_FLT|4 TX_NTWK_LOL|"
              "3 TX_NTWK_OUT_OF_ALGN|2 RX_NTWK_LOL|1 RX_NTWK_LOSS_OF_ALGN|0 RX_NTWK_OUT_OF_ALGN|");
    EXPECT_EQ(names(kelvane_get_xpm2_alarms, "kelvane_trace_xpm2_alarms_t"),
              "31 XPM2_SUMMARY_ALRM|30 XPM2_WRONG_CALDATA|17 XPM2_FMEA_PIN_TEST|16 XPM2_FMEA_MDIO_TEST|"
              "15 XPM2_FMEA_PWR_TEST|14 XPM2_FMEA_TEST|13 TX_NTWK_WAVE_OUT_OF_RANGE|"
              "12 RX_NTWK_WAVE_OUT_OF_RANGE|11 TX_NTWK_PWR_OUT_OF_RANGE|10 TX_NTWK_LASER_EOL|"
              "9 TX_NTWK_LASER_TEMP|8 RX_NTWK_SIG_OVL|7 RX_NTWK_PWR_OVL|6 RX_NTWK_PWR|5 RX_NTWK_LOS|"
              "4 XPM2_TEMP|3 XPM2_EXT_PWR_SUPPLY|2 XPM2_INT_PWR_SUPPLY|1 XPM2_IMAGE_CORRUPT|0 XPM2_HW_FLT|");
    EXPECT_EQ(names(kelvane_get_generic_alarms, "kelvane_trace_generic_alarms_t"),
              "31 SRN_SUMMARY_ALRM|30 ORD_SUMMARY_ALRM|12 ORD_EEP_FAIL|10 SRN_VOLT_REGUL_FAIL|"
              "9 SRN_ADC_FAIL|8 SRN_HIPWR_FAIL|7 SRN_LOPWR_FAIL|6 SRN_MDIO_FAIL|5 ORD_LCIDB_FAIL|"
              "4 SRN_FAIL|3 ORD_HW_FLT|2 ORD_TEMP|1 SRN_TEMP|0 SRN_IMAGE_CORRUPT|");
    EXPECT_EQ(
        names(kelvane_get_host_otn_alarms, "kelvane_trace_host_alarms",
              "IS_PRESENT__HOST_OTN_ALARMS__TX_HOST_"),
        "9 LOS_3|8 LOS_2|7 LOS_1|6 LOS_0|5 LOL_3|4 LOL_2|3 LOL_1|2 LOL_0|1 LOSS_OF_ALGN|0 OUT_OF_ALGN|");
    fetch(kelvane_get_host_otn_alarms, 0xFF00FF00, {0});
    EXPECT_EQ(said("kelvane_trace_host_alarms"), "|0x00000000|");
    fetch(kelvane_get_host_pcs_alarms, 0xFF00FF00, {1}); // alone among them it is not told
    EXPECT_EQ(said("kelvane_trace_host_alarms"), "");
}

TEST_F(records_test, host_ports_of_the_ethernet_kind)
{
    kelvane_device_delete(0);
    kelvane_init_device_t device = recorded_bar_device();
    device.client_type = 1;
    ASSERT_EQ(kelvane_device_create(device), 0);
    open_gate();
    EXPECT_EQ(
        names(kelvane_get_host_otn_alarms, "kelvane_trace_host_alarms",
              "IS_PRESENT__HOST_PCS_ALARMS__TX_HOST_"),
        "7 REMOTE_FLT|6 PCS_ERR_FLT|5 PCS_BIP_FLT|4 HI_BER|3 LOCAL_FLT|2 LOA|1 AM_LCK_FLT|0 BLK_LCK_FLT|");
    fetch(kelvane_get_host_port_pm, 0xFF00FF01, {0xFFFFFFFF, 0, 5, 1, 7, 0, 8, 0});
    EXPECT_EQ(lines("trace_host_pm"),
              "rx_good_frame -0000001|rx_good_octects 4294967301|rx_bad_frame 00000007|rx_bad_octects 8|");
}

TEST_F(records_test, the_parts_of_a_sirane_with_their_addresses)
{
    fetch(kelvane_get_global_alarms, 0xFF00FFFF, {1, 2, 4, 8, 0x10, 0x20, 0x40, 0x80, 0x100});
    fetch(kelvane_get_global_pm, 0xFF00FFFF, count_from(1, 110), 1);
    const std::string text = log_text();
    size_t at = 0;
    for (const auto &[address, line] :
         cases_of("000|h:255 > host_alarms: 0x00000001; 003|h:255 > host_alarms: 0x00000008; "
                  "000|h:255 > ntwk_port_alarms: 0x00000010; 000|h:255 > xpm2_alarms_t: 0x00000040; "
                  "001|h:255 > ntwk_port_alarms: 0x00000020; 001|h:255 > xpm2_alarms_t: 0x00000080; "
                  "255|h:255 > generic_alarms_t: 0x00000100; 255|h:000 > host_pm: fec_frame_counter  ; "
                  "255|h:003 > host_pm: otn_pm_bip_8_violation_counter 32; "
                  "000|h:255 > kelvane_sirane_port_pm: rx_cd_curr   /* ps/nm  */ 33; "
                  "001|h:255 > kelvane_xpm2_port_pm: tx_laser_eol           103 %; "
                  "255|h:255 > kelvane_generic_pm: ordune_temperature     0x0000006e 0 C")) {
        at = text.find("trace_" + line, at);
        ASSERT_NE(at, std::string::npos) << line;
        EXPECT_EQ(text.rfind("[d:000|n:" + address, at), text.rfind("[d:", at)) << line;
    }
}

TEST_F(records_test, records_of_older_firmware_lack_ten_fields_a_port)
{
    const words none(10, 0xFFFFFFFF);
    EXPECT_EQ(fetch(kelvane_get_sirane_port_pm, 0xFF0001FF, count_from(100, 32)),
              join({count_from(100, 21), none, {131}}));
    // In the whole record a port has 22 words, from 32 and from 54.
    const words first = join({count_from(0x1000, 53), none, {0}});
    EXPECT_EQ(fetch(kelvane_get_global_pm, 0xFF00FFFF, count_from(0x1000, 90)),
              join({first, count_from(0x1036, 21), none, {0}, count_from(0x104C, 14)}));
}

TEST_F(records_test, the_lines_of_the_small_records)
{
    // Of a power only the low half counts.
    EXPECT_EQ(
        fetch(kelvane_get_xpm2_port_pm, 0xFF0001FF, {1, 2, 0xABCDFF9C, 0x12340064, 0xFFFF8000, 0xFFFFE000}),
        (words{1, 2, 0xFFFFFF9C, 100, 0xFFFF8000, 0xFFFFE000}));
    EXPECT_EQ(lines("trace_kelvane_xpm2_port_pm"),
              "tx_laser_eol 1 %|rx_laser_eol 2 %|optical_output_power -0000100 (0,01 dBm)|"
              "optical_input_power 00000100 (0,01 dBm)|optical_signal_power -0032768 (0,01 dBm)|"
              "xpm2_temperature 0xffffe000 -32 C|");
    fetch(kelvane_get_host_port_pm, 0xFF00FF01, {1, 2, 3, 0x3F800000, 5, 6, 7, 8});
    EXPECT_EQ(lines("trace_host_pm"),
              "fec_frame_counter 8589934593|corrected_bits_counter 3|pre_fec_ber_est 1.000000 1.000000E+00 |"
              "otn_sm_bei_counter 5|otn_sm_bip_8_violation_counter 6|otn_pm_bei_count 7|"
              "otn_pm_bip_8_violation_counter 8|");
    fetch(kelvane_get_generic_pm, 0xF0FFFFFF, {0x1F40, 0xFFFFFEFF});
    EXPECT_EQ(lines("trace_kelvane_generic_pm"),
              "sirane_temperature 0x00001f40 31 C|ordune_temperature 0xfffffeff -2 C|");
}

TEST_F(records_test, the_lines_of_a_network_port)
{
    const words record =
        join({count_from(1, 12), {0x3F800000, 0x38D1B717, 0x40000000, 0x41200000}, count_from(17, 16)});
    EXPECT_EQ(fetch(kelvane_get_sirane_port_pm, 0xFF0001FF, record, 1), record);
    EXPECT_EQ(lines("trace_kelvane_sirane_port_pm"),
              "rx_cd_curr /* ps/nm */ 1 |rx_cd_min /* ps/nm */ 2 |rx_cd_max /* ps/nm */ 3 |"
              "rx_cd_avg /* ps/nm */ 4 |rx_dgd_curr /* ps */ 5 |rx_dgd_min /* ps */ 6 |"
              "rx_dgd_max /* ps */ 7 |rx_dgd_avg /* ps */ 8 |rx_osnr_curr /* 0.1 dB */ 9 |"
              "rx_osnr_min /* 0.1 dB */ 10 |rx_osnr_max /* 0.1 dB */ 11 |rx_osnr_avg /* 0.1 dB */ 12 |"
              "pre_fec_ber_est_curr 1.000000 1.000000E+00 |pre_fec_ber_est_min 0.000100 1.000000E-04 |"
              "pre_fec_ber_est_max 2.000000 2.000000E+00 |pre_fec_ber_est_avg 10.000000 1.000000E+01 |"
              "corrected_bits_count_pm_int 77309411345|uncorrectable_fec_code_block_pm_int 19 |"
              "bip8_error_counter 20 |bei_error_counter 21 |sopmd_cur /* ps^2 */ 22 |"
              "sopmd_ave /* ps^2 */ 23 |sopmd_min /* ps^2 */ 24 |sopmd_max /* ps^2 */ 25 |"
              "sop_chi /* 0.1 deg */ 26 |sop_phi /* 0.1 deg */ 27 |pdl_cur /* 0.1 dB */ 28 |"
              "pdl_ave /* 0.1 dB */ 29 |pdl_min /* 0.1 dB */ 30 |pdl_max /* 0.1 dB */ 31 |");
}

TEST_F(records_test, the_lines_of_a_host_ports_counters)
{
    fetch(kelvane_dbg_get_hostport_pcs_counters, 0xFF00FF03, count_from(1, 58));
    std::string expected;
    uint64_t number = 1;
    for (const std::string group : {"TX_GOOD_", "TX_BAD_", "RX_GOOD_", "RX_BAD_"}) {
        expected += group + "FRAMES_CNT " + std::to_string(number) + " |" + group + "OCTETS_CNT " +
                    std::to_string((number + 3) << 32 | (number + 2)) + " |";
        number += 4;
        for (const char *name :
             {"MULTICAST", "BROADCAST", "64B_PKT", "65B_127B_PKT", "128B_255B_PKT", "256B_511B_PKT",
              "512B_1023B_PKT", "1024B_1518B_PKT", "1519B_LTJ_PKT", "JUMBO_PKT"}) {
            expected += group + name + "_CNT " + std::to_string(number++) + " |";
        }
    }
    EXPECT_EQ(lines("trace_kelvane_hostport_pcs_counters"), expected + "PM_COUNTER 57 |");
}

TEST_F(records_test, the_status_of_a_sirane)
{
    words record = count_from(0, 37);
    record[31] = 0x3FC00000;
    record[32] = 0xBE800000;
    record[33] = record[34] = 0;
    EXPECT_EQ(fetch(kelvane_get_subsystem_status_info, 0xFF00FFFF, record), record);
    EXPECT_EQ(lines("kelvane_subsystem_status_info"),
              " SRN_CMD_ERR_ADDR B00Ch 0x00000000 | SRN_CMD_ERR_DATA B00Dh 0x00000001 |"
              " SRN_CMD_ERR_DATA_MASK B00Eh 0x00000002 | SRN_CMD_ERR_STAT B00Fh 0x00000003 |"
              " SRN_MOD_STATE B016h 0x00000004 | SRN_TEMP_MON_A2D_VAL B02Fh 0x00000005 |"
              " SRN_MOD_EXT_FUNC_STAT B050h 0x00000006 | SRN_MOD_GEN_CNTL B010h 0x00000007 |"
              " SRN_DEVICE_SETUP_CNTL 9010h 0x00000008 | SRN_NTWK_LANES_ENABLE_CNTL 9018h 0x00000009 |"
              " SRN_HOST_LANES_CLIENT_INTF_DEF_CNTL 9020h 0x0000000a |"
              " SRN_IND_LANES_CLIENT_TX_NTWK_LANE_MAP 9030h 0x0000000b |"
              " SRN_COUPLED_LANES_CLIENT_TX_NTWK_LANE_MAP 9031h 0x0000000c |"
              " SRN_IND_LANES_NTWK_LANE_CLIENT_RX_MAP 9040h 0x0000000d |"
              " SRN_COUPLED_LANES_NTWK_LANE_CLIENT_RX_MAP 9041h 0x0000000e |"
              " SRN_CLIENT_GEN_CNTL_INTF_0 9200h 0x0000000f | SRN_CLIENT_GEN_CNTL_INTF_1 9201h 0x00000010 |"
              " SRN_CLIENT_GEN_CNTL_INTF_2 9202h 0x00000011 | SRN_CLIENT_GEN_CNTL_INTF_3 9203h 0x00000012 |"
              " SRN_NTWK_FEC_MODE_CNTL_LN_0 9100h 0x00000013 | SRN_NTWK_FEC_MODE_CNTL_LN_1 9101h 0x00000014 |"
              " SRN_NTWK_TX_TURN_UP_STATE_LN_0 9110h 0x00000015 |"
              " SRN_NTWK_TX_TURN_UP_STATE_LN_1 9111h 0x00000016 |"
              " SRN_NTWK_RX_TURN_UP_STATE_LN_0 9118h 0x00000017 |"
              " SRN_NTWK_RX_TURN_UP_STATE_LN_1 9119h 0x00000018 | SRN_NTWK_TX_CNTL_LN_0 9120h 0x00000019 |"
              " SRN_NTWK_TX_CNTL_LN_1 9121h 0x0000001a | SRN_NTWK_RX_CNTL_LN_0 9128h 0x0000001b |"
              " SRN_NTWK_RX_CNTL_LN_1 9129h 0x0000001c | SRN_NTWK_PLL_BW_CNTL_LN_0 9130h 0x0000001d |"
              " SRN_NTWK_PLL_BW_CNTL_LN_1 9131h 0x0000001e | dac_vco_1 1.500000 | dac_vco_2 -0.250000 |"
              " adc_vco_1 0.000000 | adc_vco_2 0.000000 | SRN_MOD_GEN_STAT B01Dh 0x00000023 |"
              " SRN_MOD_FLT_STAT_LH B024h 0x00000024 |");
}

TEST_F(records_test, the_provisioned_configuration)
{
    words record = {18, 25, 1,  0, 35, 36, 37, 0x20000000, 7,  8,  9,  10,  11,  12,  13,
                    14, 15, 16, 1, 9,  19, 20, 21,         22, 23, 24, 260, 270, 280, 290};
    const words computed = {350, 360, 370, 0x40000000}; // from the legacy channels, in 32 bits
    for (const auto &[version_and_running, channels] : cases_of(
             "0 50016 > computed; 0 0 > computed; 1 30009 > computed; 1 40000 > computed; 1 1 > computed; "
             "1 40001 > received; 1 50016 > received; 1 0 > received")) {
        the_bar.word[0x01F04004] = std::stoul(version_and_running.substr(2), nullptr, 16);
        words expected = record;
        if (channels == "computed") {
            std::copy(computed.begin(), computed.end(), expected.begin() + 26);
        }
        const uint32_t version = version_and_running[0] - '0';
        EXPECT_EQ(fetch(kelvane_global_provisioned_config, 0xFF00FFFF, record, version), expected)
            << version_and_running;
    }
    EXPECT_EQ(
        lines("kelvane_tr_glbl_prv_cfg_config"),
        ""
        "traffic_type KELVANE_TRAFFIC_TYPE_100GE_CLIENT_200G_16QAM_FEC25_DIFF KELVANE_TRAFFIC_TYPE_NONE |"
        "laser 1 0 |tx_channel 35 36 |rx_channel 37 536870912 |tx_bright_tuning 7 8 |"
        "rx_bright_tuning 9 10 |power 11 12 |rx_cd_low_search_value 13 14 |"
        "rx_cd_high_search_value 15 16 |network_loopback 19 20 |"
        "xpm2_led KELVANE_LED_GREEN KELVANE_UNKNOWN_LED |host_loopback 21 22 23 24 |"
        "tx_channel_flex_grid 260 270 |rx_channel_flex_grid 280 290 |");
}

TEST_F(records_test, the_inventory_of_a_module)
{
    const auto pad = [](std::string text, size_t size) {
        text.resize(size);
        return text;
    };
    std::string raw = pad("D1", 16) + std::string(16, 'P') + pad("SN-0001", 16) + std::string(10, '2') +
                      pad("CLEI", 10) + "\x02\x01\x04\x03\xFE\xFF" + pad("VENDOR", 16) +
                      std::string(64, 'd') + pad("PID", 16) + pad("V01 rest of it!!", 18) + pad("\2", 4) +
                      pad("\1", 4) + pad("NPN", 16) + std::string(16, 'S') + pad("\x51", 4);
    const auto fetched = [&](uint32_t version, uint32_t running) {
        the_bar.word[0x01F04004] = running;
        words sent(raw.size() / 4);
        memcpy(sent.data(), raw.data(), raw.size());
        const words got = fetch(kelvane_get_xpm2_inventory_inf, 0xFF0001FF, sent, version);
        return std::string(reinterpret_cast<const char *>(got.data()), 4 * got.size());
    };
    const std::string none(4, '\xFF');
    EXPECT_EQ(fetched(2, 0x00020006), raw);
    EXPECT_EQ(fetched(2, 1), raw);
    EXPECT_EQ(fetched(1, 0x00020006), raw.substr(0, 196) + pad("", 32) + none); // what older ones do not send
    EXPECT_EQ(fetched(0, 0x00020006), raw.substr(0, 192) + none + pad("", 32) + none);
    for (const uint32_t running : {0x00020007u, 0x00050016u, 0u}) { // newer ones send less of the vid
        EXPECT_EQ(fetched(2, running), std::string(raw).replace(174, 12, 12, '\0'));
    }
    EXPECT_EQ(lines("kelvane_get_xpm2_inventory_inf"),
              "start |deviation D1 |part_number PPPPPPPPPPPPPPPP |serial_number SN-0001 |"
              "date_code_number 2222222222 |CLEI_code_number CLEI |module_hardware_version_number 0102|"
              "module_firmware_running_version_number 0304|module_firmware_committed_version_number fffe|"
              "vendorname VENDOR |"
              "description dddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddd |pid PID |"
              "vid V01 |type 2 | XPM OPTICAL |oif_aco_bool 0x1 |nolva_part_number NPN |"
              "nolva_serial_number SSSSSSSSSSSSSSSS |nolva_supplied_vendor_id 0x51 |");
    for (const auto &[type, text] : {std::pair{'\1', " XPM ELECTRICAL |"}, {'\3', " XPM UNKNOWN    |"}}) {
        raw[188] = type;
        fetched(2, 0);
        EXPECT_NE(said("kelvane_get_xpm2_inventory_inf").find(text), std::string::npos);
    }
}

} // namespace
