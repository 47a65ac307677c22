#include <cstring>

#include "support/handshake.h"
#include "support/library.h"

namespace {

class provisioned_config_test : public library_test {
  protected:
    provisioned_config_test()
    {
        turn_log_on();
        start_library();
        firmware.install();
    }

    // Words 4 to 7 are the legacy channels, 26 to 29 the flex-grid ones.
    std::vector<uint32_t> fetch(uint32_t version, uint32_t running)
    {
        the_bar.word[0x01F04004] = running;
        firmware.data = {0,  0xFF00FFFF, 18, 25, 1, 0, 35, 36, 37, 0x20000000, 7,  8,  9,   10,  11,  12,
                         13, 14,         15, 16, 1, 9, 19, 20, 21, 22,         23, 24, 260, 270, 280, 290};
        firmware.spoil = [version](std::vector<uint32_t> &header) { header[3] = version; };
        kelvane_provisioned_config_t record{};
        EXPECT_EQ(kelvane_global_provisioned_config(0, 0xFF00FFFF, &record), 0);
        std::vector<uint32_t> got(30);
        memcpy(got.data(), &record, sizeof record);
        EXPECT_TRUE(std::equal(got.begin(), got.begin() + 26, firmware.data.begin() + 2));
        return {got.begin() + 26, got.end()};
    }

    answering_firmware firmware;
};

TEST_F(provisioned_config_test, flex_grid_channels_by_version)
{
    const std::vector<uint32_t> computed = {350, 360, 370, 0x40000000}; // in 32 bits
    const std::vector<uint32_t> received = {260, 270, 280, 290};
    EXPECT_EQ(fetch(0, 0x00050016), computed);
    EXPECT_EQ(fetch(0, 0), computed);
    EXPECT_EQ(fetch(1, 0x00030009), computed);
    EXPECT_EQ(fetch(1, 0x00040000), computed);
    EXPECT_EQ(fetch(1, 0x00000001), computed);
    EXPECT_EQ(fetch(1, 0x00040001), received);
    EXPECT_EQ(fetch(1, 0x00050016), received);
    EXPECT_EQ(fetch(1, 0), received); // no version passes for the newest
}

TEST_F(provisioned_config_test, the_record_in_the_log)
{
    fetch(1, 0x00050016);
    log_lines();
    trace_level_mask_set(2);
    fetch(0, 0x00050016);
    std::vector<std::string> lines;
    const std::string prefix = "INFO  kelvane_tr_glbl_prv_cfg_config: ";
    for (const std::string &line : log_lines()) {
        if (line.find(prefix) == 0) {
            lines.push_back(line.substr(prefix.size()));
        }
    }
    const std::vector<std::string> expected = {
        "traffic_type            KELVANE_TRAFFIC_TYPE_100GE_CLIENT_200G_16QAM_FEC25_DIFF   "
        "KELVANE_TRAFFIC_TYPE_NONE  ",
        "laser                            1           0 ",
        "tx_channel                      35          36 ",
        "rx_channel                      37   536870912 ",
        "tx_bright_tuning                 7           8 ",
        "rx_bright_tuning                 9          10 ",
        "power                           11          12 ",
        "rx_cd_low_search_value          13          14 ",
        "rx_cd_high_search_value         15          16 ",
        "network_loopback                19          20 ",
        "xpm2_led                KELVANE_LED_GREEN    KELVANE_UNKNOWN_LED ",
        "host_loopback            21         22         23         24 ",
        "tx_channel_flex_grid    350  360 ",
        "rx_channel_flex_grid    370  1073741824 ",
    };
    EXPECT_EQ(lines, expected);
    EXPECT_EQ(log_lines().size(), 0u);
}

} // namespace
