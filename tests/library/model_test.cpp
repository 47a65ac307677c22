#include "mbox/model.h"

#include "background/handlers.h"
#include "core/handle.h"
#include "kelvane_bar.h"
#include "mbox/catalogue.h"
#include "support/library.h"

namespace {

struct literal_row {
    uint32_t id, bytes, version;
};

const literal_row catalogue[] = {
    {0, 16, 0},  {1, 12, 0},  {2, 16, 0},   {3, 12, 0},   {4, 16, 0},   {5, 16, 0},   {6, 16, 0},
    {7, 16, 0},  {8, 12, 0},  {9, 16, 0},   {10, 16, 0},  {11, 12, 0},  {12, 12, 0},  {13, 12, 0},
    {14, 12, 0}, {15, 12, 0}, {16, 4, 0},   {17, 16, 0},  {18, 12, 0},  {19, 32, 0},  {20, 136, 1},
    {21, 40, 0}, {22, 16, 0}, {23, 448, 1}, {24, 464, 1}, {25, 12, 0},  {26, 12, 0},  {27, 12, 0},
    {28, 12, 0}, {29, 12, 0}, {30, 12, 0},  {31, 12, 0},  {32, 12, 0},  {33, 12, 0},  {34, 44, 0},
    {35, 56, 0}, {36, 44, 0}, {37, 12, 0},  {38, 240, 2}, {39, 12, 0},  {40, 128, 1}, {41, 8, 0},
    {42, 12, 0}, {43, 12, 0}, {44, 12, 0},  {45, 12, 0},  {46, 12, 0},  {47, 12, 0},  {48, 12, 0},
    {49, 12, 0}, {50, 12, 0}, {51, 12, 0},  {52, 12, 0},  {53, 156, 0}, {54, 0, 0},   {55, 8, 0},
    {56, 8, 0},  {57, 12, 0}, {58, 12, 0},  {59, 8, 0},   {60, 12, 0},  {61, 240, 0}, {62, 12, 0},
    {63, 16, 0}, {64, 16, 0}, {65, 16, 0},
};

TEST_F(library_test, the_catalogue_row_by_row)
{
    ASSERT_EQ(std::size(catalogue), 66u);
    for (uint32_t id = 0; id < 66; id++) {
        SCOPED_TRACE(id);
        uint32_t value = 7;
        EXPECT_EQ(mbox_data_table[id].command, catalogue[id].id);
        EXPECT_EQ(kelvane_get_mbox_data_max_data_size(id, &value), 0);
        EXPECT_EQ(value, catalogue[id].bytes);
        EXPECT_EQ(kelvane_get_mbox_data_command_version(id, &value), 0);
        EXPECT_EQ(value, catalogue[id].version);
        EXPECT_EQ(kelvane_get_mbox_data_command_timeout_sec(id, &value), 0);
        EXPECT_EQ(value, 500u);
        EXPECT_EQ(kelvane_get_mbox_data_command_timeout_nsec(id, &value), 0);
        EXPECT_EQ(value, 0u);
        EXPECT_EQ(cb_fn_data_table[id].command, id);
    }
}

TEST_F(library_test, a_command_above_the_catalogue)
{
    uint32_t value = 7;
    EXPECT_EQ(kelvane_get_mbox_data_command_timeout_sec(66, &value), 64170);
    EXPECT_EQ(kelvane_get_mbox_data_command_timeout_nsec(66, &value), 64170);
    EXPECT_EQ(value, 7u);
    EXPECT_EQ(kelvane_get_mbox_data_command_version(66, &value), 64170);
    EXPECT_EQ(value, 0xFFFFFFFF);
    value = 7;
    EXPECT_EQ(kelvane_get_mbox_data_max_data_size(0xFFFFFFFF, &value), 64170);
    EXPECT_EQ(value, 0xFFFFFFFF);
    mbox_answer_handler handler = mbox_manage_asynch_set_laser;
    EXPECT_EQ(kelvane_get_cb_fn_data_table(66, &handler), 22);
    EXPECT_EQ(handler, nullptr);
    EXPECT_EQ(kelvane_get_cb_fn_data_table(1, &handler), 0);
    EXPECT_EQ(handler, nullptr);
    EXPECT_EQ(kelvane_get_cb_fn_data_table(2, &handler), 0);
    EXPECT_EQ(handler, mbox_manage_asynch_set_laser);
}

struct literal_mailbox {
    uint32_t sirane_id, mbox;
    uint32_t host, firmware, area;
    uint32_t field_sirane, timeout_sec;
    uint32_t header_level, flow_level, error_level;
};

const literal_mailbox mailboxes[] = {
    {0, 0, 0x01C02000, 0x01C02004, 0x01C02100, 0, 300, 2, 16, 1},
    {0, 1, 0x01C08000, 0x01C08004, 0x01C08100, 0, 300, 64, 64, 8},
    {0, 2, 0x01C04000, 0x01C04004, 0x01C04100, 0, 300, 4, 64, 4},
    {0, 3, 0x01C00000, 0x01C00004, 0x01C00100, 0, 300, 2, 16, 1},
    {0, 4, 0x01C0C000, 0x01C0C004, 0x01F08000, 0, 300, 64, 64, 64},
    {0, 5, 0x01C0C008, 0x01C0C00C, 0, 0, 1, 64, 64, 64},
    {1, 0, 0x01D02000, 0x01D02004, 0x01D02100, 1, 300, 2, 16, 1},
    {1, 1, 0x01D08000, 0x01D08004, 0x01D08100, 1, 300, 64, 64, 8},
    {1, 2, 0x01D04000, 0x01D04004, 0x01D04100, 1, 300, 4, 64, 4},
    {1, 3, 0x01D00000, 0x01D00004, 0x01D00100, 1, 300, 2, 16, 1},
    {1, 4, 0x01C0C000, 0x01C0C004, 0x01F08000, 0, 300, 64, 64, 64},
    {1, 5, 0x01C0C008, 0x01C0C00C, 0, 0, 1, 64, 64, 64},
    {2, 0, 0x01E02000, 0x01E02004, 0x01E02100, 2, 300, 2, 16, 1},
    {2, 1, 0x01E08000, 0x01E08004, 0x01E08100, 2, 300, 64, 64, 8},
    {2, 2, 0x01E04000, 0x01E04004, 0x01E04100, 2, 300, 4, 64, 4},
    {2, 3, 0x01E00000, 0x01E00004, 0x01E00100, 2, 300, 2, 16, 1},
    {2, 4, 0x01C0C000, 0x01C0C004, 0x01F08000, 0, 300, 64, 64, 64},
    {2, 5, 0x01C0C008, 0x01C0C00C, 0, 0, 1, 64, 64, 64},
};

TEST_F(library_test, the_register_map_mailbox_by_mailbox)
{
    start_library();
    for (const literal_mailbox &m : mailboxes) {
        SCOPED_TRACE(testing::Message() << m.sirane_id << " " << m.mbox);
        const mailbox_handler *mb = get_mbox_handler(m.sirane_id, m.mbox);
        ASSERT_NE(mb, nullptr);
        const mailbox_handler &f = mbox_fields(mb);
        EXPECT_EQ(f.sirane_id, m.field_sirane);
        EXPECT_EQ(f.mbox, m.mbox);
        EXPECT_EQ(f.resp_reg_to_write, m.host);
        EXPECT_EQ(f.waiting_reg, m.firmware);
        EXPECT_EQ(f.mailbox_addr, m.area);
        EXPECT_EQ(f.polling_sec, 0u);
        EXPECT_EQ(f.polling_nsec, 500000u);
        EXPECT_EQ(f.timeout_sec, m.timeout_sec);
        EXPECT_EQ(f.timeout_nsec, 0u);
        EXPECT_EQ(f.header_level, m.header_level);
        EXPECT_EQ(f.flow_level, m.flow_level);
        EXPECT_EQ(f.error_level, m.error_level);
        EXPECT_EQ(mbox_polling_number(mb), m.mbox == 5 ? 2000u : 600000u);
        const mbox_registers row = global_mbox_register[m.sirane_id][m.mbox];
        EXPECT_EQ(row.waiting_reg, m.mbox < 4 ? m.firmware : 0u);
        EXPECT_EQ(row.mailbox_addr, m.mbox < 4 ? m.area : 0u);
    }
}

TEST(bar, offsets)
{
    EXPECT_EQ(BOARD_ID_REG, 0u);
    EXPECT_EQ(MSI_ENABLE_REG, 0x20u);
    EXPECT_EQ(MSI_STATUS_REG, 0x24u);
    EXPECT_EQ(msi_source_reg(0), 0x2Cu);
    EXPECT_EQ(msi_source_reg(2), 0x34u);
    EXPECT_EQ(LINK_TEST_BASE, 0x300u);
    EXPECT_EQ(SCRATCHPAD_REG, 0x3F8u);
    EXPECT_EQ(GLOBAL_IRQ_ENABLE_REG, 0x01804000u);
    EXPECT_EQ(TRIGGER_RESET_REG, 0x01F000A0u);
    EXPECT_EQ(ZYNQ_INFO_TABLE, 0x01F04000u);
    EXPECT_EQ(sirane_info_table(0), 0x01F04200u);
    EXPECT_EQ(sirane_info_table(2), 0x01F04808u);
    EXPECT_EQ(SDK_TO_ARM_DATA, 0x03FFFC00u);
}

TEST_F(library_test, what_is_no_mailbox_gets_defaults)
{
    turn_log_on();
    start_library();
    log_lines();
    EXPECT_EQ(get_mbox_handler(3, 0), nullptr);
    EXPECT_EQ(get_mbox_handler(0, 6), nullptr);
    EXPECT_EQ(log_lines(),
              (std::vector<std::string>{"ERROR get_mbox_handler: invalid parameter sirane_id 3 mbox 0 ",
                                        "ERROR get_mbox_handler: invalid parameter sirane_id 0 mbox 6 "}));
    const mailbox_handler *past = &mbox_handlers[0][0] + 18;
    EXPECT_EQ(is_mbox_h_valid(past - 1), 1u);
    EXPECT_EQ(is_mbox_h_valid(past), 0u);
    EXPECT_EQ(is_mbox_h_valid(nullptr), 1u); // one-sided
    for (const mailbox_handler *broken : {past, static_cast<const mailbox_handler *>(nullptr)}) {
        const mailbox_handler &f = mbox_fields(broken);
        EXPECT_EQ(f.sirane_id, 0xFFFFFFFF);
        EXPECT_EQ(f.mbox, 6u);
        EXPECT_EQ(f.resp_reg_to_write, 0u);
        EXPECT_EQ(f.waiting_reg, 0u);
        EXPECT_EQ(f.mailbox_addr, 100u);
        EXPECT_EQ(f.polling_sec, 100u);
        EXPECT_EQ(f.polling_nsec, 100u);
        EXPECT_EQ(f.timeout_sec, 100u);
        EXPECT_EQ(f.timeout_nsec, 100u);
        EXPECT_EQ(f.header_level, 0u);
        EXPECT_EQ(f.flow_level, 0u);
        EXPECT_EQ(f.error_level, 0u);
        EXPECT_EQ(mbox_polling_number(broken), 1000000001u);
    }
}

TEST_F(library_test, locks_and_semaphores_of_a_mailbox)
{
    start_library();
    kelvane_handle_record &record = local_handles_array[0];
    EXPECT_EQ(mbox_sem_of(0, 2, 1), &record.mbox_semaphore[2][1]);
    EXPECT_EQ(mbox_sem_of(0, 2, 4), &record.dap_semaphore);
    EXPECT_EQ(mbox_sem_of(0, 9, 4), &record.dap_semaphore);
    EXPECT_EQ(mbox_sem_of(0, 3, 0), nullptr);
    EXPECT_EQ(mbox_sem_of(0, 0, 3), nullptr);
    EXPECT_EQ(mbox_sem_of(1, 0, 0), nullptr);
    EXPECT_EQ(mbox_command_mutex(0, 2), &record.command_mutex[2]);
    EXPECT_EQ(mbox_command_mutex(0, 3), nullptr);
    EXPECT_EQ(mbox_response_mutex(0, 1, 2), &record.response_mutex[1][2]);
    EXPECT_EQ(mbox_response_mutex(0, 1, 3), nullptr);
}

TEST_F(library_test, a_header_is_traced_at_one_level_or_not_at_all)
{
    turn_log_on();
    start_library();
    log_lines();
    const mbox_data_header header = {9, 0xABCD, 4, 1, 0xFF00FF00, 0x8010000F};
    for (const uint32_t level : {3u, 0u, 65u, 128u}) {
        trace_mbox_header(0, 0xFF00FFFF, 3, header, level);
    }
    trace_mbox_header(0, 0xFF00FFFF, 3, header, 4);
    EXPECT_EQ(log_lines(),
              std::vector<std::string>{
                  "ALARM trace_mbox_header: mbx 3 cmd 9 rfd 0x0000abcd sz 4 ver 1 sy 0xff00ff00 rc "
                  "0x8010000f"});
}

} // namespace
