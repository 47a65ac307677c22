#include "monitoring/performance.h"

#include <cstring>

#include "support/handshake.h"
#include "support/library.h"

namespace {

class performance_test : public library_test {
  protected:
    performance_test()
    {
        turn_log_on();
        start_library();
        firmware.install();
    }

    void answer(uint32_t version, const std::vector<uint32_t> &record)
    {
        firmware.data = {0, 0};
        firmware.data.insert(firmware.data.end(), record.begin(), record.end());
        firmware.spoil = [version](std::vector<uint32_t> &header) { header[3] = version; };
        log_lines();
        trace_level_mask_set(8);
    }

    // The PM lines of a function since the answer was set.
    std::vector<std::string> lines_of(const std::string &function)
    {
        std::vector<std::string> lines;
        const std::string prefix = "PM    " + function + ": ";
        for (const std::string &line : log_lines()) {
            if (line.find(prefix) == 0) {
                lines.push_back(line.substr(prefix.size()));
            }
        }
        return lines;
    }

    answering_firmware firmware;
};

template <typename record_type> std::vector<uint32_t> words_of(const record_type &record)
{
    std::vector<uint32_t> words(sizeof record / 4);
    memcpy(words.data(), &record, sizeof record);
    return words;
}

std::vector<uint32_t> ramp(uint32_t from, uint32_t count)
{
    std::vector<uint32_t> words;
    for (uint32_t i = 0; i < count; i++) {
        words.push_back(from + i);
    }
    return words;
}

TEST_F(performance_test, only_the_low_half_of_a_power_counts)
{
    answer(0, {1, 2, 0xABCDFF9C, 0x12340064, 0xFFFF8000, 0xFFFFE000});
    kelvane_xpm2_port_pm record{};
    EXPECT_EQ(kelvane_get_xpm2_port_pm(0, 0xFF0001FF, &record), 0);
    EXPECT_EQ(record.optical_output_power, -100);
    EXPECT_EQ(record.optical_input_power, 100);
    EXPECT_EQ(record.optical_signal_power, -32768);
    EXPECT_EQ(record.xpm2_temperature, -8192);
    EXPECT_EQ(lines_of("trace_kelvane_xpm2_port_pm"),
              (std::vector<std::string>{
                  "tx_laser_eol           1 %", "rx_laser_eol           2 %",
                  "optical_output_power   -0000100 (0,01 dBm)", "optical_input_power    00000100 (0,01 dBm)",
                  "optical_signal_power   -0032768 (0,01 dBm)", "xpm2_temperature       0xffffe000 -32 C"}));
}

TEST_F(performance_test, a_network_port_of_older_firmware_lacks_its_last_ten_fields)
{
    answer(0, ramp(100, 32));
    kelvane_sirane_port_pm record{};
    EXPECT_EQ(kelvane_get_sirane_port_pm(0, 0xFF0001FF, &record), 0);
    std::vector<uint32_t> expected = ramp(100, 32);
    for (size_t i = 21; i <= 30; i++) {
        expected[i] = 0xFFFFFFFF;
    }
    EXPECT_EQ(words_of(record), expected);
    EXPECT_EQ(record.sopmd_cur, -1);
    EXPECT_EQ(record.pdl_max, -1);
    answer(1, ramp(100, 32));
    EXPECT_EQ(kelvane_get_sirane_port_pm(0, 0xFF0001FF, &record), 0);
    EXPECT_EQ(words_of(record), ramp(100, 32));
}

TEST_F(performance_test, a_network_port_in_the_log)
{
    std::vector<uint32_t> words = ramp(1, 32);
    words[12] = 0x3F800000; // pre_fec_ber_est_curr: 1.0
    words[13] = 0x38D1B717; // 1e-4
    words[17] = 1;          // the upper half of corrected_bits_count_pm_int
    answer(1, words);
    kelvane_sirane_port_pm record{};
    EXPECT_EQ(kelvane_get_sirane_port_pm(0, 0xFF0001FF, &record), 0);
    const std::vector<std::string> lines = lines_of("trace_kelvane_sirane_port_pm");
    ASSERT_EQ(lines.size(), 30u);
    EXPECT_EQ(lines[0], "rx_cd_curr   /* ps/nm  */ 1 ");
    EXPECT_EQ(lines[11], "rx_osnr_avg  /* 0.1 dB */ 12 ");
    EXPECT_EQ(lines[12], "pre_fec_ber_est_curr      1.000000 1.000000E+00 ");
    EXPECT_EQ(lines[13], "pre_fec_ber_est_min       0.000100 1.000000E-04 ");
    EXPECT_EQ(lines[16], "corrected_bits_count_pm_int     4294967313");
    EXPECT_EQ(lines[29], "pdl_max      /* 0.1 dB  */ 31 ");
}

TEST_F(performance_test, the_whole_record_of_older_firmware_byte_by_byte)
{
    // 90 words: hosts 0 to 31, port 0 from 32, port 1 from 54, modules from 76, generic from 88.
    std::vector<uint32_t> old = ramp(0x1000, 90);
    answer(0, old);
    kelvane_global_pm record{};
    EXPECT_EQ(kelvane_get_global_pm(0, 0xFF00FFFF, &record), 0);
    std::vector<uint32_t> expected = ramp(0x1000, 32);
    for (const uint32_t port : {0x1020u, 0x1036u}) {
        const std::vector<uint32_t> kept = ramp(port, 21); // up to bei_error_counter
        expected.insert(expected.end(), kept.begin(), kept.end());
        expected.insert(expected.end(), 10, 0xFFFFFFFF);
        expected.push_back(0);
    }
    const std::vector<uint32_t> behind_the_ports = ramp(0x104C, 14); // two modules, then the card
    expected.insert(expected.end(), behind_the_ports.begin(), behind_the_ports.end());
    EXPECT_EQ(words_of(record), expected);
    EXPECT_EQ(expected.size(), 110u);
}

TEST_F(performance_test, the_whole_record_in_the_log_labels_each_part)
{
    answer(1, ramp(1, 110));
    kelvane_global_pm record{};
    EXPECT_EQ(kelvane_get_global_pm(0, 0xFF00FFFF, &record), 0);
    const std::string text = log_text();
    for (const char *line :
         {"[d:000|n:255|h:000] PM    Slot:00 trace_host_pm: fec_frame_counter              8589934593",
          "[d:000|n:255|h:003] PM    Slot:00 trace_host_pm: otn_pm_bip_8_violation_counter 32",
          "[d:000|n:000|h:255] PM    Slot:00 trace_kelvane_sirane_port_pm: rx_cd_curr   /* ps/nm  */ 33 ",
          "[d:000|n:001|h:255] PM    Slot:00 trace_kelvane_xpm2_port_pm: tx_laser_eol           103 %",
          "[d:000|n:255|h:255] PM    Slot:00 trace_kelvane_generic_pm: ordune_temperature     0x0000006e 0 "
          "C"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line;
    }
}

TEST_F(performance_test, host_ports_by_the_kind_of_client)
{
    kelvane_device_delete(0);
    kelvane_init_device_t device = recorded_bar_device();
    device.client_type = 1;
    ASSERT_EQ(kelvane_device_create(device), 0);
    open_gate();
    answer(0, {0xFFFFFFFF, 0, 5, 1, 7, 0, 8, 0});
    host_pm record{};
    EXPECT_EQ(kelvane_get_host_port_pm(0, 0xFF00FF01, &record), 0);
    EXPECT_EQ(record.frames.rx_good_octects, 0x100000005u);
    EXPECT_EQ(lines_of("trace_host_pm"),
              (std::vector<std::string>{"rx_good_frame   -0000001", "rx_good_octects 4294967301",
                                        "rx_bad_frame    00000007", "rx_bad_octects  8"}));
}

TEST_F(performance_test, counters_of_a_host_port_in_the_log)
{
    answer(0, ramp(1, 58));
    kelvane_hostport_pcs_counters record{};
    EXPECT_EQ(kelvane_dbg_get_hostport_pcs_counters(0, 0xFF00FF03, &record), 0);
    EXPECT_EQ(record.TX_BAD_FRAMES_CNT, 15u);
    EXPECT_EQ(record.RX_BAD_JUMBO_PKT_CNT, 56u);
    EXPECT_EQ(record.PM_COUNTER, 57u);
    const std::vector<std::string> lines = lines_of("trace_kelvane_hostport_pcs_counters");
    ASSERT_EQ(lines.size(), 49u);
    EXPECT_EQ(lines[0], "TX_GOOD_FRAMES_CNT                  1   ");
    EXPECT_EQ(lines[1], "TX_GOOD_OCTETS_CNT         17179869187   ");
    EXPECT_EQ(lines[48], "PM_COUNTER                         57   ");
}

} // namespace
