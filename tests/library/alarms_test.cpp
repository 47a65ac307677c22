#include "monitoring/alarms.h"

#include "kelvane_handle.h"
#include "support/handshake.h"
#include "support/library.h"

namespace {

class alarms_test : public library_test {
  protected:
    alarms_test()
    {
        turn_log_on();
        start_library();
        trace_level_mask_set(4);
        log_lines();
    }

    // The ALARM lines since the last call, without their function.
    std::vector<std::string> lines()
    {
        std::vector<std::string> texts;
        for (const std::string &line : log_lines()) {
            texts.push_back(line.substr(line.find(": ") + 2));
        }
        return texts;
    }
};

using texts = std::vector<std::string>;

TEST_F(alarms_test, every_named_bit_of_every_word)
{
    kelvane_trace_ntwk_port_alarms(0, 0xFF0000FF, 0xFFFFFFFF);
    EXPECT_EQ(lines(), (texts{"", "0xffffffff", "COUNTER_OVFL", "RX_NTWK_LOF", "RX_NTWK_OOF", "RX_NTWK_LOM",
                              "RX_NTWK_OOM", "RX_NTWK_BDI", "RX_NTWK_LOCH", "RX_NTWK_WAVE_LOL",
                              "RX_NTWK_PREFEC_HI_BER", "SRN_HW_FLT", "TX_NTWK_LOL", "TX_NTWK_OUT_OF_ALGN",
                              "RX_NTWK_LOL", "RX_NTWK_LOSS_OF_ALGN", "RX_NTWK_OUT_OF_ALGN"}));
    kelvane_trace_xpm2_alarms_t(0, 0xFF0000FF, 0xFFFFFFFF);
    EXPECT_EQ(lines(), (texts{"",
                              "0xffffffff",
                              "XPM2_SUMMARY_ALRM",
                              "XPM2_WRONG_CALDATA",
                              "XPM2_FMEA_PIN_TEST",
                              "XPM2_FMEA_MDIO_TEST",
                              "XPM2_FMEA_PWR_TEST",
                              "XPM2_FMEA_TEST",
                              "TX_NTWK_WAVE_OUT_OF_RANGE",
                              "RX_NTWK_WAVE_OUT_OF_RANGE",
                              "TX_NTWK_PWR_OUT_OF_RANGE",
                              "TX_NTWK_LASER_EOL",
                              "TX_NTWK_LASER_TEMP",
                              "RX_NTWK_SIG_OVL",
                              "RX_NTWK_PWR_OVL",
                              "RX_NTWK_PWR",
                              "RX_NTWK_LOS",
                              "XPM2_TEMP",
                              "XPM2_EXT_PWR_SUPPLY",
                              "XPM2_INT_PWR_SUPPLY",
                              "XPM2_IMAGE_CORRUPT",
                              "XPM2_HW_FLT"}));
    kelvane_trace_generic_alarms_t(0, 0xF0FFFFFF, 0xFFFFFFFF);
    EXPECT_EQ(lines(), (texts{"", "0xffffffff", "SRN_SUMMARY_ALRM", "ORD_SUMMARY_ALRM", "ORD_EEP_FAIL",
                              "SRN_VOLT_REGUL_FAIL", "SRN_ADC_FAIL", "SRN_HIPWR_FAIL", "SRN_LOPWR_FAIL",
                              "SRN_MDIO_FAIL", "ORD_LCIDB_FAIL", "SRN_FAIL", "ORD_HW_FLT", "ORD_TEMP",
                              "SRN_TEMP", "SRN_IMAGE_CORRUPT"}));
    kelvane_trace_host_alarms(0, 0xFF00FF00, 0x00000201);
    EXPECT_EQ(lines(), (texts{"", "0x00000201", "IS_PRESENT__HOST_OTN_ALARMS__TX_HOST_LOS_3",
                              "IS_PRESENT__HOST_OTN_ALARMS__TX_HOST_OUT_OF_ALGN"}));
    local_handles_array[0].client_type = 2;
    kelvane_trace_host_alarms(0, 0xFF00FF00, 0x00000281);
    EXPECT_EQ(lines(), (texts{"", "0x00000281", "IS_PRESENT__HOST_PCS_ALARMS__TX_HOST_REMOTE_FLT",
                              "IS_PRESENT__HOST_PCS_ALARMS__TX_HOST_BLK_LCK_FLT"}));
}

TEST_F(alarms_test, words_with_no_names)
{
    kelvane_trace_generic_alarms_t(0, 0xF0FFFFFF, 0x00000800);
    EXPECT_EQ(lines(), (texts{"", "0x00000800"}));
    kelvane_trace_xpm2_alarms_t(0, 0xFF0000FF, 0);
    EXPECT_EQ(lines(), (texts{"", "0x00000000"}));
    trace_level_mask_clear(4);
    kelvane_trace_xpm2_alarms_t(0, 0xFF0000FF, 1);
    EXPECT_TRUE(lines().empty());
}

TEST_F(alarms_test, the_words_of_a_sirane_and_the_addresses_that_label_them)
{
    answering_firmware firmware;
    firmware.install();
    firmware.data = {0, 0, 1, 2, 4, 8, 0x10, 0x20, 0x40, 0x80, 0x100};
    global_alarms record{};
    EXPECT_EQ(kelvane_get_global_alarms(0, 0xFF00FFFF, &record), 0);
    const std::string text = log_text();
    size_t at = 0;
    for (const char *line :
         {"[d:000|n:000|h:255] ALARM Slot:00 kelvane_trace_host_alarms: 0x00000001",
          "[d:000|n:003|h:255] ALARM Slot:00 kelvane_trace_host_alarms: 0x00000008",
          "[d:000|n:000|h:255] ALARM Slot:00 kelvane_trace_ntwk_port_alarms: 0x00000010",
          "[d:000|n:000|h:255] ALARM Slot:00 kelvane_trace_xpm2_alarms_t: 0x00000040",
          "[d:000|n:001|h:255] ALARM Slot:00 kelvane_trace_ntwk_port_alarms: 0x00000020",
          "[d:000|n:001|h:255] ALARM Slot:00 kelvane_trace_xpm2_alarms_t: 0x00000080",
          "[d:000|n:255|h:255] ALARM Slot:00 kelvane_trace_generic_alarms_t: 0x00000100"}) {
        const size_t found = text.find(line, at);
        ASSERT_NE(found, std::string::npos) << line;
        at = found;
    }
}

TEST_F(alarms_test, of_the_two_host_words_one_is_traced)
{
    answering_firmware firmware;
    firmware.install();
    firmware.data = {0, 0, 1};
    uint32_t word = 0;
    EXPECT_EQ(kelvane_get_host_pcs_alarms(0, 0xFF00FF00, &word), 0);
    EXPECT_TRUE(lines().empty());
    EXPECT_EQ(kelvane_get_host_otn_alarms(0, 0xFF00FF00, &word), 0);
    EXPECT_EQ(lines().size(), 3u);
}

} // namespace
