#include "mbox/msi.h"

#include "core/handle.h"
#include "core/semaphore.h"
#include "support/library.h"

namespace {

class msi_test : public library_test {
  protected:
    msi_test()
    {
        turn_log_on();
        start_library();
        for (auto &sirane : local_handles_array[0].mbox_semaphore) {
            for (kelvane_semaphore &semaphore : sirane) {
                kelvane_sem_take(&semaphore);
            }
        }
        kelvane_sem_init(&local_handles_array[0].dap_semaphore);
        kelvane_sem_take(&local_handles_array[0].dap_semaphore);
        the_bar.on_write = [](uint32_t offset, uint32_t value) {
            if (offset == 0x24) { // the bits written as 1 are cleared
                the_bar.word[0x24] = 0;
                (void)value;
            }
        };
        the_bar.take_accesses();
        log_lines();
    }

    uint32_t given(uint32_t sirane_id, uint32_t mbox)
    {
        uint32_t state = 9;
        kelvane_sem_get_state(mbox == 4 ? &local_handles_array[0].dap_semaphore
                                        : &local_handles_array[0].mbox_semaphore[sirane_id][mbox],
                              &state);
        return state;
    }
};

TEST_F(msi_test, enabling_and_disabling)
{
    const struct {
        uint32_t board_id, enable;
        std::vector<std::string> accesses;
    } cases[] = {
        {0x32123456,
         1,
         {"R 00000000", "R 01804000", "W 01804000=00000f1f", "R 00000020", "W 00000020=00000017"}},
        {0x00000000,
         0,
         {"R 00000000", "R 01804000", "W 01804000=00000f0e", "R 00000020", "W 00000020=00000010"}},
        {0x32123456,
         2,
         {"R 00000000", "R 01804000", "W 01804000=00000f0e", "R 00000020", "W 00000020=00000010"}},
        {0x33000000, 1, {"R 00000000", "R 00000020", "W 00000020=00000017"}}, // no global enable there
    };
    for (const auto &c : cases) {
        the_bar.word[0] = c.board_id;
        the_bar.word[0x01804000] = 0xF1E;
        the_bar.word[0x20] = 0x10;
        EXPECT_EQ(kelvane_enable_msi(0, c.enable), 0);
        EXPECT_EQ(the_bar.check_alive, std::vector<uint32_t>(c.accesses.size(), 0));
        EXPECT_EQ(the_bar.take_accesses(), c.accesses);
    }
}

TEST_F(msi_test, an_unreadable_enable_register_counts_as_nothing_enabled)
{
    the_bar.word[0x20] = 0x10;
    the_bar.fail_from = the_bar.access_number + 4;
    EXPECT_EQ(kelvane_enable_msi(0, 1), 0);
    EXPECT_EQ(the_bar.take_accesses().back(), "W 00000020=00000007");
    EXPECT_TRUE(log_has("ERROR kelvane_enable_msi: problem with access rc = 64174 "));
    the_bar.fail_from = the_bar.access_number + 1;
    EXPECT_EQ(kelvane_enable_msi(0, 1), 64174);
}

TEST_F(msi_test, the_source_names_the_mailbox)
{
    const struct {
        uint32_t source;
        int32_t code;
        uint32_t mbox;
    } cases[] = {
        {17, 0, 0},     {18, 0, 1},     {19, 0, 2},    {20, 0, 4},         {0xABCDEF11, 0, 0},
        {16, 64170, 3}, {21, 64170, 6}, {0, 64170, 6}, {0x1100, 64170, 6},
    };
    for (const auto &c : cases) {
        the_bar.word[0x30] = c.source;
        uint32_t mbox = 99;
        EXPECT_EQ(kelvane_read_ir_mbox(0, 1, &mbox), c.code) << c.source;
        EXPECT_EQ(mbox, c.mbox) << c.source;
    }
    uint32_t mbox = 99;
    the_bar.fail_from = the_bar.access_number + 1;
    EXPECT_EQ(kelvane_read_ir_mbox(0, 1, &mbox), 64174);
    EXPECT_EQ(mbox, 99u);
    const std::string text = log_text();
    EXPECT_NE(text.find("kelvane_read_ir_mbox: mbox should not have msi found \n"), std::string::npos);
    EXPECT_NE(text.find("kelvane_read_ir_mbox: reg[0x1100]: mbox not found srn[1] \n"), std::string::npos);
}

TEST_F(msi_test, a_clear_carries_every_pending_bit)
{
    the_bar.word[0x24] = 0x6;
    EXPECT_EQ(kelvane_ordune_msi_clear_interrupt(0, 0), 0);
    EXPECT_EQ(the_bar.take_accesses(), (std::vector<std::string>{"R 00000024", "W 00000024=00000007"}));
}

TEST_F(msi_test, all_pending_siranes_are_served_in_order)
{
    the_bar.on_write = nullptr;
    the_bar.next_values[0x24] = {7, 7, 6, 4};
    the_bar.word[0x2C] = 17;
    the_bar.word[0x30] = 19;
    the_bar.word[0x34] = 20;
    EXPECT_EQ(kelvane_notify_msi(0), 0);
    EXPECT_EQ(the_bar.take_accesses(),
              (std::vector<std::string>{"R 00000024", "R 0000002c", "R 00000024", "W 00000024=00000007",
                                        "R 00000030", "R 00000024", "W 00000024=00000006", "R 00000034",
                                        "R 00000024", "W 00000024=00000004"}));
    EXPECT_EQ(given(0, 0), 1u);
    EXPECT_EQ(given(1, 2), 1u);
    EXPECT_EQ(given(2, 4), 1u); // the card's one, whoever signals it
    EXPECT_EQ(given(0, 1) + given(0, 2) + given(1, 0) + given(2, 0), 0u);
}

TEST_F(msi_test, nothing_pending)
{
    EXPECT_EQ(kelvane_notify_msi(0), 0);
    EXPECT_EQ(kelvane_deque_msi(0), 0);
    EXPECT_EQ(the_bar.take_accesses(), (std::vector<std::string>{"R 00000024", "R 00000024"}));
    the_bar.fail_from = the_bar.access_number + 1;
    the_bar.fail_count = 2;
    EXPECT_EQ(kelvane_notify_msi(0), 64174);
    EXPECT_EQ(kelvane_deque_msi(0), 64174);
}

TEST_F(msi_test, an_unknown_source_wakes_nobody_and_is_cleared)
{
    the_bar.word[0x24] = 1;
    the_bar.word[0x2C] = 16;
    EXPECT_EQ(kelvane_notify_msi(0), 0);
    EXPECT_EQ(the_bar.take_accesses().back(), "W 00000024=00000001");
    EXPECT_EQ(given(0, 0) + given(0, 1) + given(0, 2), 0u);
}

TEST_F(msi_test, pending_interrupts_are_served_until_none_is_left)
{
    the_bar.on_write = nullptr;
    the_bar.next_values[0x24] = {1, 1, 1, 2, 2, 2, 0};
    the_bar.word[0x2C] = 18;
    the_bar.word[0x30] = 17;
    EXPECT_EQ(kelvane_deque_msi(0), 0);
    EXPECT_EQ(given(0, 1), 1u);
    EXPECT_EQ(given(1, 0), 1u);
}

TEST_F(msi_test, accesses_that_fail_in_the_middle)
{
    the_bar.fail_from = the_bar.access_number + 2;
    EXPECT_EQ(kelvane_glb_interrupt_enable(0, 1), 64174);
    EXPECT_EQ(the_bar.take_accesses(), (std::vector<std::string>{"R 00000000", "R 01804000"}));
    the_bar.word[0x24] = 1;
    the_bar.word[0x2C] = 17;
    the_bar.fail_from = the_bar.access_number + 5; // the clearing
    EXPECT_EQ(kelvane_deque_msi(0), 64174);
    EXPECT_EQ(the_bar.take_accesses().back(), "W 00000024=00000001");
    EXPECT_EQ(given(0, 0), 1u);
}

} // namespace
