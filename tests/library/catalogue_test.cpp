// What lies where, how long it may be and what it is called: mailboxes, commands, device addresses, codes.
#include <array>

#include "background/handlers.h"
#include "core/arm_errors.h"
#include "core/device_address.h"
#include "firmware_log/source_modules.h"
#include "mbox/catalogue.h"
#include "mbox/model.h"
#include "support/library.h"

namespace {

using catalogue_test = firmware_test;

TEST_F(catalogue_test, mailboxes)
{
    // By mailbox: its area, its wait, the levels of its lines.
    const std::array<uint32_t, 5> of_sirane_0[] = {
        {0x01C02100, 300, 2, 16, 1}, {0x01C08100, 300, 64, 64, 8},  {0x01C04100, 300, 4, 64, 4},
        {0x01C00100, 300, 2, 16, 1}, {0x01F08000, 300, 64, 64, 64}, {0, 1, 64, 64, 64}};
    for (uint32_t pair = 0; pair < 18; pair++) {
        const mailbox_handler mb = *get_mbox_handler(pair / 6, pair % 6);
        const uint32_t own = mb.mbox < 4 ? 0x100000 * (pair / 6) : 0; // the last two are the card's
        EXPECT_EQ((std::array{mb.mailbox_addr - own, mb.timeout_sec, mb.header_level, mb.flow_level,
                              mb.error_level}),
                  of_sirane_0[pair % 6]);
    }
    EXPECT_EQ(get_mbox_handler(3, 0), nullptr);
    EXPECT_EQ(get_mbox_handler(0, 6), nullptr);
    uint32_t bytes = 0;
    EXPECT_EQ(kelvane_get_mbox_data_max_data_size(COMMAND_COUNT, &bytes), 64170); // of no command
    EXPECT_EQ(bytes, 0xFFFFFFFF);
    answer_handler handler = {KELVANE_ASYNCH_TYPE_OP_PM, mbox_manage_asynch_set_laser};
    EXPECT_EQ(kelvane_get_cb_fn_data_table(COMMAND_COUNT, &handler), 22);
    EXPECT_EQ(handler.run, nullptr);
}

TEST_F(catalogue_test, rows_stand_at_their_index)
{
    for (uint32_t command = 0; command < COMMAND_COUNT; command++) {
        const mbox_data_row &row = mbox_data_table[command];
        EXPECT_EQ((std::array{row.command, row.timeout_sec, row.timeout_nsec}),
                  (std::array{command, 500u, 0u}));
    }
    // Bytes of the records that no operation sends.
    for (const auto &[command, bytes] :
         {std::pair{11, 12u}, {12, 12}, {25, 12}, {29, 12}, {30, 12}, {33, 12}, {37, 12}, {41, 8}, {54, 0}}) {
        EXPECT_EQ(mbox_data_table[command].max_data_size, bytes) << command;
    }
    for (uint32_t module = 0; module < 48; module++) {
        EXPECT_EQ(file_list[module].number, module);
    }
}

TEST_F(catalogue_test, kinds_of_device_address)
{
    int32_t (*const checks[])(kelvane_device_address) = {
        check_device_address_input, kelvane_check_dev_addr_ordune, kelvane_check_dev_addr_srn,
        kelvane_check_dev_addr_srn_network_port, kelvane_check_dev_addr_srn_host_port};
    // The address, the checks that it passes by their letters "gbsnh", its sirane.
    const std::tuple<uint32_t, std::string, uint32_t> cases[] = {
        {0xF0FFFFFF, "gb", 0}, {0xFEFFFFFF, "gb", 0},  {0xFF00FFFF, "gs", 0}, // only the nibble counts
        {0x0F01FFFF, "gs", 1}, {0xFF0000FF, "gn", 0},  {0xFF02FEFF, "gn", 2}, {0xFF00FF01, "gh", 0},
        {0xFF03FFFF, "s", 3},  {0xFFFEFFFF, "s", 254}, {0xFFFFFFFF, "", 255}, {0xFF000000, "", 0},
        {0xF000FFFF, "", 0},   {0xF0FF00FF, "", 0},    {0xF0FFFF00, "", 0},   {0xFFFF00FF, "", 255},
    };
    for (const auto &[address, passes, sirane] : cases) {
        std::string passed;
        for (size_t i = 0; i < 5; i++) {
            passed += checks[i](address) == 0 ? "gbsnh"[i] : ' ';
        }
        std::erase(passed, ' ');
        EXPECT_EQ(passed, passes) << std::hex << address;
        EXPECT_EQ(sirane_id_of_address(address), sirane) << std::hex << address;
    }
}

TEST_F(catalogue_test, error_words_and_return_codes)
{
    const arm_error_row *row = arm_errors_array;
    size_t twice = 0; // three stand under two names, and the first counts
    for (; row->code != 0xFFFFFFFF; row++) {
        EXPECT_LE(row->code, row[1].code) << row->name;
        twice += row->code == row[1].code;
        EXPECT_STREQ(kelvane_arm_error_to_string(static_cast<int32_t>(row->code + 1)), "UNKNOWN");
    }
    EXPECT_EQ(row, arm_errors_array + 170);
    EXPECT_EQ(twice, 3u);
    std::string names;
    for (const uint32_t each : {0u, 16u, 22u, 110u, 64170u, 64171u, 64172u, 64173u, 64174u, 64175u,
                                0x80000001u, 0x80300003u, 0x80620011u, 0x8210001Bu, 0x88000003u, 1u}) {
        names += std::string(kelvane_rc_to_string(static_cast<int32_t>(each))) + "|";
    }
    EXPECT_EQ(names, " KELVANE_EOK                          | KELVANE_RET_CODE_EBUSY               |"
                     " KELVANE_RET_CODE_EINVAL              | KELVANE_RET_CODE_ETIMEDOUT           |"
                     " KELVANE_RET_CODE_GEN_ERR             | KELVANE_RET_CODE_HW_PROBLEM          |"
                     " KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM| KELVANE_RET_CODE_VERSION_MISMATCH    |"
                     " KELVANE_RET_CODE_DEVICE_UNAVAILABLE  | KELVANE_RET_CODE_DEVICE_NOT_READY    |"
                     "ORDUNE_FAILURE|ORDUNE_MD5_FAIL|ORDUNE_SIRANE_SETLASER_PWRFAIL2START|"
                     "ORDUNE_CAL_CARD_TOLVAN_DEF_USED|ORDUNE_QSPI_SERVER_ERROR|UNKNOWN|");
}

TEST_F(catalogue_test, reserved_operations_write_their_line)
{
    uint32_t out = 7;
    EXPECT_EQ(kelvane_get_rx_osnr_cur(9, 0xFFFFFFFF, &out), 0);
    EXPECT_EQ(out, 7u);
    EXPECT_TRUE(log_contains("INFO  Slot:-1 kelvane_get_rx_osnr_cur: stubbed \n"));
    EXPECT_EQ(accesses(), "");
}

} // namespace
