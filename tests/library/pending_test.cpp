// What waits on the card: interrupts, and messages that no thread takes.
#include <thread>

#include "core/handle.h"
#include "core/mutex.h"
#include "mbox/receive.h"
#include "support/library.h"

namespace {

const std::vector<uint32_t> answer_header = {9, 0x77, 4, 0, 0xFF00FF00, 0};

class pending_test : public firmware_test {
  protected:
    pending_test()
    {
        the_bar.word[0x01F04004] = 0x00050016; // firmware 5.22
        woken_threads();
    }

    int32_t drain(uint32_t mbox = 0)
    {
        accesses();
        return kelvane_deque_resp_receive(0, 0xFF00FFFF, mbox);
    }
};

TEST_F(pending_test, interrupts_are_enabled_and_disabled)
{
    const struct {
        uint32_t board_id, enable;
        std::string accesses;
    } cases[] = {
        {0x32123456, 1, "r0 r1804000 w1804000=f1f r20 w20=17"},
        {0x00000000, 0, "r0 r1804000 w1804000=f0e r20 w20=10"},
        {0x32123456, 2, "r0 r1804000 w1804000=f0e r20 w20=10"},
        {0x33000000, 1, "r0 r20 w20=17"}, // no global enable there
    };
    for (const auto &c : cases) {
        the_bar.word[0] = c.board_id;
        the_bar.word[0x01804000] = 0xF1E;
        the_bar.word[0x20] = 0x10;
        EXPECT_EQ(kelvane_enable_msi(0, c.enable), 0);
        EXPECT_EQ(the_bar.check_alive, std::vector<uint32_t>(the_bar.check_alive.size(), 0));
        EXPECT_EQ(accesses(), c.accesses);
    }
    the_bar.word[0] = 0;
    the_bar.fail_from = the_bar.access_number + 4; // as if nothing were enabled
    EXPECT_EQ(kelvane_enable_msi(0, 1), 0);
    EXPECT_EQ(accesses(), "r0 r1804000 w1804000=f1f r20 w20=7");
    the_bar.fail_from = the_bar.access_number + 2;
    EXPECT_EQ(kelvane_enable_msi(0, 1), 64174);
    EXPECT_EQ(accesses(), "r0 r1804000");
    EXPECT_TRUE(log_has("ERROR kelvane_enable_msi: problem with access rc = 64174 "));
}

TEST_F(pending_test, an_interrupt_wakes_the_thread_that_its_source_names)
{
    const std::pair<uint32_t, std::string> sources[] = {
        {17, "10 "}, {18, "11 "}, {19, "12 "}, {20, "dap "}, {0xABCDEF11, "10 "},
        {16, ""},    {21, ""},    {0, ""},     {0x1100, ""},
    };
    for (const auto &[source, woken] : sources) {
        the_bar.word[0x24] = 2;
        the_bar.word[0x30] = source;
        EXPECT_EQ(kelvane_notify_msi(0), 0);
        EXPECT_EQ(accesses(), "r24 r30 r24 w24=2");
        EXPECT_EQ(woken_threads(), woken) << source;
    }
    EXPECT_TRUE(log_contains("kelvane_read_ir_mbox: mbox should not have msi found \n"));
    EXPECT_TRUE(log_contains("kelvane_read_ir_mbox: reg[0x1100]: mbox not found srn[1] \n"));
    the_bar.next_values[0x24] = {7, 7, 6, 4};
    the_bar.word[0x2C] = 17;
    the_bar.word[0x30] = 19;
    the_bar.word[0x34] = 20;
    EXPECT_EQ(kelvane_notify_msi(0), 0);
    EXPECT_EQ(accesses(), "r24 r2c r24 w24=7 r30 r24 w24=6 r34 r24 w24=4"); // every pending bit is cleared
    EXPECT_EQ(woken_threads(), "00 12 dap ");
}

TEST_F(pending_test, interrupts_are_served_until_none_is_left)
{
    the_bar.next_values[0x24] = {1, 1, 1, 2, 2, 2, 0, 0};
    the_bar.word[0x2C] = 18;
    the_bar.word[0x30] = 17;
    EXPECT_EQ(kelvane_deque_msi(0), 0);
    EXPECT_EQ(accesses(), "r24 r24 r2c r24 w24=1 r24 r24 r30 r24 w24=2 r24");
    EXPECT_EQ(woken_threads(), "01 10 ");
    EXPECT_EQ(kelvane_notify_msi(0), 0);
    EXPECT_EQ(accesses(), "r24"); // nothing pending
    the_bar.word[0x24] = 1;
    the_bar.fail_from = the_bar.access_number + 5; // the clearing
    EXPECT_EQ(kelvane_deque_msi(0), 64174);
    EXPECT_EQ(woken_threads(), "01 ");
    the_bar.fail_from = the_bar.access_number + 2; // the source; cleared all the same
    EXPECT_EQ(kelvane_notify_msi(0), 0);
    EXPECT_EQ(accesses(), "r24 r24 r2c r24 w24=1 r24 r2c r24 w24=1");
    EXPECT_EQ(woken_threads(), "");
    the_bar.fail_from = the_bar.access_number + 1;
    the_bar.fail_count = 2;
    EXPECT_EQ(kelvane_notify_msi(0), 64174);
    EXPECT_EQ(kelvane_deque_msi(0), 64174);
}

TEST_F(pending_test, an_orphaned_answer_is_thrown_away)
{
    EXPECT_EQ(drain(), 0);
    EXPECT_EQ(accesses(), "r1f04000+16 r1c02004");
    offer_message(answer_header, {1, 2, 3, 4});
    EXPECT_EQ(drain(), 0);
    EXPECT_EQ(accesses(), "r1f04000+16 r1c02004 r1c02100+6 r1c02004 r1c02100+6 r1c02004 r1c02100+10 "
                          "w1c02100=ffffffff*6 w1c02000=4 r1c02004 w1c02000=2 r1c02004");
    EXPECT_TRUE(log_has("INFO  kelvane_deque_resp_receive:  found 00000004 state to manage on mbox 0 "));
    offer_message({9, 0x77, 0xFFFFFFFF, 0, 0xFF00FF00, 0}, {});
    EXPECT_EQ(drain(), 64173);
    EXPECT_EQ(the_bar.word[RESPONSE_F], 2u);
    the_bar.word[RESPONSE_F] = 0;
    EXPECT_EQ(drain(), 64175);
    EXPECT_EQ(held_locks(), "");
    EXPECT_EQ(woken_threads(), "");
}

TEST_F(pending_test, an_answer_that_may_have_an_owner_is_left)
{
    // Taken, or in the place of another one, between the two looks.
    const std::pair<uint32_t, std::deque<uint32_t>> changes[] = {
        {RESPONSE_F, {4, 2}}, {RESPONSE_AREA + 4, {0x77, 0x78}}, {RESPONSE_AREA + 16, {0xFF00FF00, 0xD}}};
    for (const auto &[offset, values] : changes) {
        offer_message(answer_header, {1, 2, 3, 4});
        the_bar.next_values[offset] = values;
        EXPECT_EQ(drain(), 0);
        EXPECT_EQ(accesses().find('w'), std::string::npos);
        EXPECT_TRUE(
            log_has("ERROR kelvane_deque_resp_receive:  BUG of arm mbox reg val changed during the read "
                    "of the header "));
        EXPECT_EQ(held_locks(), "");
    }
    EXPECT_EQ(time.now(), 0u);
    std::thread([] { kelvane_mutex_lock(&local_handles_array[0].command_mutex[0]); }).join();
    EXPECT_EQ(drain(), 110); // a command of the sirane runs
    EXPECT_EQ(time.now(), 10u);
    EXPECT_EQ(accesses().find('w'), std::string::npos);
    EXPECT_EQ(held_locks(), "0 command, ");
}

TEST_F(pending_test, another_message_wakes_its_thread)
{
    offer_message({2, 0x77, 4, 0, 3, 0}, {1, 2, 3, 4});
    time.on_sleep([this] { // the woken thread takes the message while the drain gives it time
        if (time.sleeps() == 2) {
            the_bar.word[RESPONSE_F] = 2;
        }
    });
    EXPECT_EQ(drain(), 0);
    EXPECT_EQ(woken_threads(), "00 ");
    EXPECT_EQ(time.now(), 2000000u);
    EXPECT_EQ(accesses().find('w'), std::string::npos);
    EXPECT_TRUE(log_contains("kelvane_deque_resp_receive: unloking sem mbox = 0 \n"));
    EXPECT_TRUE(log_contains("kelvane_deque_resp_receive: mutex taken and leaved \n"));
}

TEST_F(pending_test, the_performance_mailbox_is_held_back_without_a_subscription)
{
    const struct {
        uint32_t version, mbox;
        int32_t code;
    } cases[] = {{0x00050016, 1, 64175}, {0x00050016, 2, 0}, {0x00050015, 1, 0}, {0, 1, 64175}};
    for (const auto &[version, mbox, code] : cases) { // no version at all passes for the newest
        the_bar.word[0x01F04004] = version;
        const uint64_t before = time.now();
        EXPECT_EQ(drain(mbox), code) << version;
        EXPECT_EQ(accesses(),
                  code == 0 ? mbox == 1 ? "r1f04000+16 r1c08004" : "r1f04000+16 r1c04004" : "r1f04000+16");
        EXPECT_EQ(time.now() - before, code == 0 ? 0u : 1000000000u);
    }
    const auto on_batch = [](kelvane_handle, kelvane_device_address, const kelvane_global_pm *, uint64_t) {
        return 0;
    };
    firmware.answer = false;
    EXPECT_EQ(kelvane_enable_pm_notify(0, 0xFF00FFFF, 1, on_batch), 0);
    offer_message({24, 1, 4, 1, 13, 0}, {}, PERFORMANCE_H);
    const uint64_t before = time.sleeps();
    time.on_sleep([&] {
        if (time.sleeps() - before == 3) { // asked in every round
            EXPECT_EQ(kelvane_enable_pm_notify(0, 0xFF00FFFF, 0, nullptr), 0);
        }
    });
    EXPECT_EQ(drain(1), 64175);
    EXPECT_EQ(woken_threads(), "01 ");
}

} // namespace
