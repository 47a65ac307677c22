#include "support/handshake.h"
#include "support/library.h"

namespace {

TEST_F(library_test, the_status_registers_in_the_log)
{
    turn_log_on();
    start_library();
    answering_firmware firmware;
    firmware.install();
    firmware.data.assign(39, 0);
    for (uint32_t i = 0; i < 37; i++) {
        firmware.data[2 + i] = i;
    }
    firmware.data[33] = 0x3FC00000; // dac_vco_1: 1.5
    log_lines();
    trace_level_mask_set(2);
    kelvane_subsystem_status_t record{};
    EXPECT_EQ(kelvane_get_subsystem_status_info(0, 0xFF00FFFF, &record), 0);
    EXPECT_EQ(record.dac_vco_1, 1.5f);
    EXPECT_EQ(record.SRN_MOD_FLT_STAT_LH, 36u);
    std::vector<std::string> lines;
    for (const std::string &line : log_lines()) {
        if (line.find("INFO  kelvane_subsystem_status_info: ") == 0) {
            lines.push_back(line.substr(37));
        }
    }
    ASSERT_EQ(lines.size(), 37u);
    EXPECT_EQ(lines[0], " SRN_CMD_ERR_ADDR                          B00Ch 0x00000000 ");
    EXPECT_EQ(lines[12], " SRN_COUPLED_LANES_CLIENT_TX_NTWK_LANE_MAP 9031h 0x0000000c ");
    EXPECT_EQ(lines[30], " SRN_NTWK_PLL_BW_CNTL_LN_1                 9131h 0x0000001e ");
    EXPECT_EQ(lines[31], " dac_vco_1                                         1.500000   ");
    EXPECT_EQ(lines[35], " SRN_MOD_GEN_STAT                          B01Dh 0x00000023   ");
    EXPECT_EQ(lines[36], " SRN_MOD_FLT_STAT_LH                       B024h 0x00000024   ");
}

} // namespace
