// The mailboxes at link-up.
#include "mbox/send.h"
#include "support/handshake.h"
#include "support/library.h"

namespace {

class startup_test : public library_test {
  protected:
    startup_test()
    {
        turn_log_on();
        start_library();
        firmware.install();
        the_bar.take_accesses();
    }
    answering_firmware firmware;
};

TEST_F(startup_test, a_reset_covers_the_four_mailboxes_and_the_card_wide_one)
{
    EXPECT_EQ(global_reset_mbox(0, 1, 0), 0);
    EXPECT_EQ(the_bar.check_alive, std::vector<uint32_t>(5, 0));
    EXPECT_EQ(the_bar.take_accesses(),
              (std::vector<std::string>{"W 01d00000=00000000", "W 01d02000=00000000", "W 01d04000=00000000",
                                        "W 01d08000=00000000", "W 01c0c000=00000400"}));
    the_bar.fail_from = the_bar.access_number + 2;
    EXPECT_EQ(global_reset_mbox(0, 1, 2), 64174);
    EXPECT_EQ(the_bar.take_accesses().size(), 2u);
    EXPECT_EQ(global_reset_mbox(0, 3, 2), 64170);
}

TEST_F(startup_test, idle_is_awaited_exactly)
{
    EXPECT_EQ(kelvane_wait_for_mbox_idle_startup(0, 2), 0);
    EXPECT_EQ(the_bar.take_accesses(),
              (std::vector<std::string>{"R 01e00004", "R 01e02004", "R 01e04004", "R 01e08004"}));
    the_bar.word[0x01E04004] = 6;
    the_bar.record = false;
    EXPECT_EQ(kelvane_wait_for_mbox_idle_startup(0, 2), 110);
    EXPECT_EQ(time.now(), 599999u * 500000ull);
}

TEST_F(startup_test, older_firmware_is_asked_until_it_shows_any_state)
{
    for (const uint32_t state : {0x01C00004, 0x01C02004, 0x01C04004, 0x01C08004}) {
        the_bar.word[state] = 4; // not idle, and good enough
    }
    EXPECT_EQ(kelvane_check_for_mbox_idle_startup(0, 0), 0);
    EXPECT_EQ(time.now(), 1500000000u);
    the_bar.next_values[0x01C04004] = {0, 0xFFFFFFFF, 2};
    EXPECT_EQ(kelvane_check_for_mbox_idle_startup(0, 0), 0);
    EXPECT_EQ(time.now(), 6000000000u); // one attempt before, three more
}

TEST_F(startup_test, older_firmware_that_never_comes_up)
{
    the_bar.word[0x01C08004] = 0;
    EXPECT_EQ(kelvane_check_for_mbox_idle_startup(0, 0), 64175);
    EXPECT_EQ(time.now(), 150000000000u);
    EXPECT_EQ(kelvane_check_for_mbox_idle_startup(0, 3), 64170);
}

} // namespace
