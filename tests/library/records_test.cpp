// Records and words of the firmware: completed where an older one sent them, and told in the log.
#include <algorithm>
#include <cstring>
#include <numeric>
#include <regex>

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

    // What a function tells of each field, behind the field's name and the unit that may follow it.
    std::string values(const std::string &function)
    {
        static const std::regex name_or_end(R"((^|\|) *[^ |]+ +(/\*[^|]*\*/ +)?| +(?=[ |]))");
        return std::regex_replace(said(function), name_or_end, "$1");
    }

    // Of a word of alarms, from the highest bit: '#' for one that has a name in the log, and the lowest
    // one's.
    std::string named(int32_t (*get)(kelvane_handle, kelvane_device_address, uint32_t *),
                      const std::string &function)
    {
        std::string bits;
        std::string last;
        for (uint32_t bit = 32; bit-- > 0;) {
            fetch(get, 0xFF00FF00, {1u << bit});
            last = said(function).substr(12);
            bits += last.empty() ? '.' : '#';
        }
        return bits + last;
    }
};

TEST_F(records_test, the_names_of_alarm_bits)
{
    EXPECT_EQ(named(kelvane_get_nwtk_port_alarms, "kelvane_trace_ntwk_port_alarms"),
              ".#................##############RX_NTWK_OUT_OF_ALGN|");
    EXPECT_EQ(named(kelvane_get_xpm2_alarms, "kelvane_trace_xpm2_alarms_t"),
              "##............##################XPM2_HW_FLT|");
    EXPECT_EQ(named(kelvane_get_generic_alarms, "kelvane_trace_generic_alarms_t"),
              "##.................#.###########SRN_IMAGE_CORRUPT|");
    EXPECT_EQ(named(kelvane_get_host_otn_alarms, "kelvane_trace_host_alarms"),
              "......................##########IS_PRESENT__HOST_OTN_ALARMS__TX_HOST_OUT_OF_ALGN|");
    fetch(kelvane_get_host_otn_alarms, 0xFF00FF00, {0});
    EXPECT_EQ(said("kelvane_trace_host_alarms"), "|0x00000000|");
    fetch(kelvane_get_host_pcs_alarms, 0xFF00FF00, {1}); // alone among them it is not told
    EXPECT_EQ(said("kelvane_trace_host_alarms"), "");
    kelvane_device_delete(0);
    kelvane_init_device_t ethernet = recorded_bar_device();
    ethernet.client_type = 1;
    ASSERT_EQ(kelvane_device_create(ethernet), 0);
    local_handles_array[0].pci_mapped = 1;
    EXPECT_EQ(named(kelvane_get_host_otn_alarms, "kelvane_trace_host_alarms"),
              "........................########IS_PRESENT__HOST_PCS_ALARMS__TX_HOST_BLK_LCK_FLT|");
    fetch(kelvane_get_host_port_pm, 0xFF00FF01, {0xFFFFFFFF, 0, 5, 1, 7, 0, 8, 0});
    EXPECT_EQ(values("trace_host_pm"), "-0000001|4294967301|00000007|8|");
}

TEST_F(records_test, the_parts_of_a_sirane_with_their_addresses)
{
    fetch(kelvane_get_global_alarms, 0xFF00FFFF, {1, 2, 4, 8, 0x10, 0x20, 0x40, 0x80, 0x100});
    fetch(kelvane_get_global_pm, 0xFF00FFFF, count_from(1, 110), 1);
    const std::string text = log_text();
    size_t at = 0;
    for (const auto &[address, line] :
         cases_of("003|h:255 > host_alarms: 0x00000008; 000|h:255 > ntwk_port_alarms: 0x00000010; "
                  "001|h:255 > xpm2_alarms_t: 0x00000080; 255|h:255 > generic_alarms_t: 0x00000100; "
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

TEST_F(records_test, the_values_of_performance_records)
{
    // Of a power only the low half counts.
    fetch(kelvane_get_xpm2_port_pm, 0xFF0001FF, {1, 2, 0xABCDFF9C, 0x12340064, 0xFFFF8000, 0xFFFFE000});
    EXPECT_EQ(values("trace_kelvane_xpm2_port_pm"),
              "1 %|2 %|-0000100 (0,01 dBm)|00000100 (0,01 dBm)|-0032768 (0,01 dBm)|0xffffe000 -32 C|");
    fetch(kelvane_get_host_port_pm, 0xFF00FF01, {1, 2, 3, 0x3F800000, 5, 6, 7, 8});
    EXPECT_EQ(values("trace_host_pm"), "8589934593|3|1.000000 1.000000E+00|5|6|7|8|");
    fetch(kelvane_get_generic_pm, 0xF0FFFFFF, {0x1F40, 0xFFFFFEFF});
    EXPECT_EQ(values("trace_kelvane_generic_pm"), "0x00001f40 31 C|0xfffffeff -2 C|");
    const words record =
        join({count_from(1, 12), {0x3F800000, 0x38D1B717, 0x40000000, 0x41200000}, count_from(17, 16)});
    EXPECT_EQ(fetch(kelvane_get_sirane_port_pm, 0xFF0001FF, record, 1), record);
    EXPECT_EQ(values("trace_kelvane_sirane_port_pm"),
              "1|2|3|4|5|6|7|8|9|10|11|12|1.000000 1.000000E+00|0.000100 1.000000E-04|2.000000 2.000000E+00|"
              "10.000000 1.000000E+01|77309411345|19|20|21|22|23|24|25|26|27|28|29|30|31|");
    fetch(kelvane_dbg_get_hostport_pcs_counters, 0xFF00FF03, count_from(1, 58));
    EXPECT_EQ(
        values("trace_kelvane_hostport_pcs_counters"),
        "1|17179869187|5|6|7|8|9|10|11|12|13|14|15|77309411345|19|20|21|22|23|24|25|26|27|28|"
        "29|137438953503|33|34|35|36|37|38|39|40|41|42|43|197568495661|47|48|49|50|51|52|53|54|55|56|57|");
}

TEST_F(records_test, the_status_of_a_sirane)
{
    words record = count_from(0, 37);
    record[31] = 0x3FC00000;
    record[32] = 0xBE800000;
    record[33] = record[34] = 0;
    EXPECT_EQ(fetch(kelvane_get_subsystem_status_info, 0xFF00FFFF, record), record);
    std::string numbers = values("kelvane_subsystem_status_info"); // behind the registers'
    numbers = std::regex_replace(numbers, std::regex("[0-9A-F]{4}h 0x000000"), "");
    EXPECT_EQ(numbers, "00|01|02|03|04|05|06|07|08|09|0a|0b|0c|0d|0e|0f|10|11|12|13|14|15|16|17|18|19|1a|1b|"
                       "1c|1d|1e|1.500000|-0.250000|0.000000|0.000000|23|24|");
    EXPECT_TRUE(log_contains(" SRN_CMD_ERR_ADDR                          B00Ch 0x00000000 \n"));
}

TEST_F(records_test, the_provisioned_configuration)
{
    words record = {18, 25, 1,  0, 35, 36, 37, 0x20000000, 7,  8,  9,  10,  11,  12,  13,
                    14, 15, 16, 1, 9,  19, 20, 21,         22, 23, 24, 260, 270, 280, 290};
    words computed = record; // from the legacy channels, in 32 bits
    std::ranges::copy(words{350, 360, 370, 0x40000000}, computed.begin() + 26);
    for (const auto &[version, running, expected] : {std::tuple{0u, 0x50016u, &computed},
                                                     {1, 0x40000, &computed},
                                                     {1, 0x40001, &record},
                                                     {1, 0, &record}}) {
        the_bar.word[0x01F04004] = running;
        EXPECT_EQ(fetch(kelvane_global_provisioned_config, 0xFF00FFFF, record, version), *expected);
    }
    EXPECT_EQ(values("kelvane_tr_glbl_prv_cfg_config"),
              "KELVANE_TRAFFIC_TYPE_100GE_CLIENT_200G_16QAM_FEC25_DIFF KELVANE_TRAFFIC_TYPE_NONE|"
              "1 0|35 36|37 536870912|7 8|9 10|11 12|13 14|15 16|19 20|"
              "KELVANE_LED_GREEN KELVANE_UNKNOWN_LED|21 22 23 24|260 270|280 290|");
}

TEST_F(records_test, the_inventory_of_a_module)
{
    std::string raw(232, '\0');
    for (size_t i = 0; i < raw.size(); i++) {
        raw[i] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789abcdefghijklmnopqrstuvwxyz"[i % 62];
    }
    raw.replace(72, 2, "\xFE\xFF").replace(188, 4, {2, 0, 0, 0});
    const auto fetched = [&](uint32_t version, uint32_t running) {
        the_bar.word[0x01F04004] = running;
        words sent(raw.size() / 4);
        memcpy(sent.data(), raw.data(), raw.size());
        const words got = fetch(kelvane_get_xpm2_inventory_inf, 0xFF0001FF, sent, version);
        return std::string(reinterpret_cast<const char *>(got.data()), 4 * got.size());
    };
    const std::string none(4, '\xFF');
    const std::string zeros(32, '\0');
    EXPECT_EQ(fetched(2, 0x00020006), raw);
    EXPECT_EQ(fetched(1, 0x00020006), raw.substr(0, 196) + zeros + none); // what older ones do not send
    EXPECT_EQ(fetched(0, 0x00020006), raw.substr(0, 192) + none + zeros + none);
    for (const uint32_t running : {0x00020007u, 0u}) { // newer ones send less of the vid
        EXPECT_EQ(fetched(2, running), std::string(raw).replace(174, 12, 12, '\0'));
    }
    EXPECT_EQ(values("kelvane_get_xpm2_inventory_inf"),
              "|ABCDEFGHIJKLMNOP|QRSTUVWXYZ012345|6789abcdefghijkl|mnopqrstuv|wxyzABCDEF|4847|4a49|fffe|"
              "MNOPQRSTUVWXYZ01|23456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123|"
              "456789abcdefghij|klmn|2|OPTICAL|0x4a494847|KLMNOPQRSTUVWXYZ|0123456789abcdef|0x6a696867|");
    for (const char type : {1, 3}) {
        raw[188] = type;
        fetched(2, 0);
    }
    EXPECT_TRUE(log_contains(" XPM ELECTRICAL \n") && log_contains(" XPM UNKNOWN    \n"));
}

} // namespace
