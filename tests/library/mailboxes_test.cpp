// What lies where and how long it may be: mailboxes, commands, device addresses.
#include <cstring>

#include "background/handlers.h"
#include "core/device_address.h"
#include "mbox/catalogue.h"
#include "mbox/model.h"
#include "support/library.h"

namespace {

using mailboxes_test = firmware_test;

TEST_F(mailboxes_test, the_catalogue_of_commands)
{
    const uint32_t bytes[] = {16, 12, 16,  12,  16,  16, 16,  16,  12, 16, 16,  12, 12, 12, 12, 12, 4,
                              16, 12, 32,  136, 40,  16, 448, 464, 12, 12, 12,  12, 12, 12, 12, 12, 12,
                              44, 56, 44,  12,  240, 12, 128, 8,   12, 12, 12,  12, 12, 12, 12, 12, 12,
                              12, 12, 156, 0,   8,   8,  12,  12,  8,  12, 240, 12, 16, 16, 16};
    ASSERT_EQ(std::size(bytes), 66u);
    std::string newer;
    std::string handled;
    uint32_t value = 0;
    for (uint32_t id = 0; id < 66; id++) {
        EXPECT_EQ(kelvane_get_mbox_data_command_version(id, &value), 0);
        newer += value == 0 ? "" : std::to_string(id) + ":" + std::to_string(value) + " ";
        EXPECT_EQ(kelvane_get_mbox_data_max_data_size(id, &value), 0);
        EXPECT_EQ(value, bytes[id]) << id;
        mbox_answer_handler handler = nullptr;
        EXPECT_EQ(kelvane_get_cb_fn_data_table(id, &handler), 0);
        handled += handler == nullptr ? "" : std::to_string(id) + " ";
        const mbox_data_row row = mbox_data_table[id];
        EXPECT_EQ((std::vector{row.command, row.timeout_sec, row.timeout_nsec}), (std::vector{id, 500u, 0u}));
    }
    EXPECT_EQ(newer, "20:1 23:1 24:1 38:2 40:1 ");
    EXPECT_EQ(handled, "0 2 24 35 37 41 ");
    for (const auto &column : {kelvane_get_mbox_data_command_version, kelvane_get_mbox_data_max_data_size}) {
        EXPECT_EQ(column(66, &value), 64170);
        EXPECT_EQ(value, 0xFFFFFFFF);
    }
    EXPECT_TRUE(log_has("ERROR kelvane_get_mbox_data_max_data_size: command 66 not valid "));
    mbox_answer_handler handler = mbox_manage_asynch_set_laser;
    EXPECT_EQ(kelvane_get_cb_fn_data_table(66, &handler), 22);
    EXPECT_EQ(handler, nullptr);
}

TEST_F(mailboxes_test, registers_limits_and_trace_levels)
{
    const mailbox_handler of_sirane_0[] = {
        {0, 0, 0x01C02000, 0x01C02004, 0x01C02100, 0, 500000, 300, 0, 2, 16, 1},
        {0, 1, 0x01C08000, 0x01C08004, 0x01C08100, 0, 500000, 300, 0, 64, 64, 8},
        {0, 2, 0x01C04000, 0x01C04004, 0x01C04100, 0, 500000, 300, 0, 4, 64, 4},
        {0, 3, 0x01C00000, 0x01C00004, 0x01C00100, 0, 500000, 300, 0, 2, 16, 1},
        {0, 4, 0x01C0C000, 0x01C0C004, 0x01F08000, 0, 500000, 300, 0, 64, 64, 64},
        {0, 5, 0x01C0C008, 0x01C0C00C, 0, 0, 500000, 1, 0, 64, 64, 64},
    };
    for (uint32_t sirane = 0; sirane < 3; sirane++) {
        for (mailbox_handler expected : of_sirane_0) {
            if (expected.mbox < 4) { // the last two are the card's
                expected.sirane_id = sirane;
                expected.resp_reg_to_write += sirane * 0x100000;
                expected.waiting_reg += sirane * 0x100000;
                expected.mailbox_addr += sirane * 0x100000;
            }
            const mailbox_handler *mb = get_mbox_handler(sirane, expected.mbox);
            EXPECT_EQ(memcmp(mb, &expected, sizeof expected), 0) << sirane << expected.mbox;
            EXPECT_EQ(mbox_polling_number(mb), expected.mbox == 5 ? 2000u : 600000u);
        }
    }
    EXPECT_EQ(get_mbox_handler(3, 0), nullptr);
    EXPECT_EQ(get_mbox_handler(0, 6), nullptr);
    EXPECT_TRUE(log_has("ERROR get_mbox_handler: invalid parameter sirane_id 0 mbox 6 "));
    EXPECT_EQ(mbox_fields(nullptr).mbox, 6u); // harmless defaults
    EXPECT_EQ(mbox_fields(get_mbox_handler(2, 5) + 1).mailbox_addr, 100u);
}

TEST_F(mailboxes_test, kinds_of_device_address)
{
    const std::pair<std::string, int32_t (*)(kelvane_device_address)> checks[] = {
        {"g", check_device_address_input},
        {"b", kelvane_check_dev_addr_ordune},
        {"s", kelvane_check_dev_addr_srn},
        {"n", kelvane_check_dev_addr_srn_network_port},
        {"h", kelvane_check_dev_addr_srn_host_port}};
    // The address, the checks that it passes, its sirane.
    const std::tuple<uint32_t, std::string, uint32_t> cases[] = {
        {0xF0FFFFFF, "gb", 0}, {0x00FFFFFF, "gb", 0}, {0xFEFFFFFF, "gb", 0}, // only the nibble counts
        {0xFF00FFFF, "gs", 0}, {0xFF02FFFF, "gs", 2}, {0x0F01FFFF, "gs", 1}, {0xFF0000FF, "gn", 0},
        {0xFF02FEFF, "gn", 2}, {0xFF00FF01, "gh", 0}, {0xFF03FFFF, "s", 3},  {0xFFFEFFFF, "s", 254},
        {0xFFFFFFFF, "", 255}, {0xFF000000, "", 0},   {0xF000FFFF, "", 0},   {0xF0FF00FF, "", 0},
        {0xF0FFFF00, "", 0},   {0xFFFF00FF, "", 255},
    };
    for (const auto &[address, passes, sirane] : cases) {
        std::string passed;
        for (const auto &[letter, check] : checks) {
            passed += check(address) == 0 ? letter : "";
        }
        EXPECT_EQ(passed, passes) << std::hex << address;
        EXPECT_EQ(sirane_id_of_address(address), sirane) << std::hex << address;
    }
    EXPECT_EQ(kelvane_check_dev_addr_srn(0xF0FFFFFF), 22);
    EXPECT_EQ(check_device_address_input(0xFF03FEFF), 22);
    EXPECT_TRUE(log_contains("ERROR Slot:-1 kelvane_check_dev_addr_srn: invalid kelvane_device_address \n"));
    EXPECT_TRUE(log_contains("[d:003|n:254|h:255] ERROR Slot:-1 check_device_address_input: "
                             "invalid kelvane_device_address ff03feff\n"));
}

} // namespace
