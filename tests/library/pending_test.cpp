// What waits on the card: interrupts, and messages that no thread takes.
#include <thread>

#include "core/handle.h"
#include "core/mutex.h"
#include "mbox/receive.h"
#include "support/library.h"

namespace {

class pending_test : public firmware_test {
  protected:
    pending_test()
    {
        the_bar.word[0x01F04004] = 0x00050016; // firmware 5.22
        woken_threads();
    }

    // The result, and the accesses behind the question for the version.
    static std::string drain(uint32_t mbox = 0)
    {
        std::string told = did(kelvane_deque_resp_receive(0, 0xFF00FFFF, mbox));
        return told.replace(told.find("r1f04000+16"), 11, "...");
    }

    static void fail_access(uint64_t number)
    {
        the_bar.fail_from = the_bar.access_number + number;
    }
};

TEST_F(pending_test, interrupts_are_enabled_and_disabled)
{
    const std::tuple<uint32_t, uint32_t, std::string> cases[] = {
        {0x32123456, 1, "0 r0 r1804000 w1804000=f1f r20 w20=17"},
        {0x32123456, 2, "0 r0 r1804000 w1804000=f0e r20 w20=10"},
        {0x33000000, 1, "0 r0 r20 w20=17"}, // no global enable there
    };
    for (const auto &[board_id, enable, told] : cases) {
        the_bar.word[0] = board_id;
        the_bar.word[0x01804000] = 0xF1E;
        the_bar.word[0x20] = 0x10;
        EXPECT_EQ(did(kelvane_enable_msi(0, enable)), told);
    }
    set_watch(1, 2); // not asked for
    the_bar.word[0] = 0;
    fail_access(4); // as if nothing were enabled
    EXPECT_EQ(did(kelvane_enable_msi(0, 1)), "0 r0 r1804000 w1804000=f1f r20 w20=7");
    fail_access(2);
    EXPECT_EQ(did(kelvane_enable_msi(0, 1)), "64174 r0 r1804000");
}

TEST_F(pending_test, an_interrupt_wakes_the_thread_that_its_source_names)
{
    const std::pair<uint32_t, std::string> sources[] = {{17, "10 "},          {18, "11 "}, {19, "12 "},
                                                        {0xABCDEF14, "dap "}, {16, ""},    {0x1100, ""}};
    for (const auto &[source, woken] : sources) {
        the_bar.word[0x24] = 2;
        the_bar.word[0x30] = source;
        EXPECT_EQ(did(kelvane_notify_msi(0)), "0 r24 r30 r24 w24=2");
        EXPECT_EQ(woken_threads(), woken) << source;
    }
    the_bar.word[0x2C] = 17;
    the_bar.word[0x30] = 19;
    the_bar.word[0x34] = 20;
    the_bar.next_values[0x24] = {7, 7, 6, 4};
    EXPECT_EQ(did(kelvane_notify_msi(0)), "0 r24 r2c r24 w24=7 r30 r24 w24=6 r34 r24 w24=4");
    EXPECT_EQ(woken_threads(), "00 12 dap ");
    the_bar.next_values[0x24] = {1, 1, 1, 2, 2, 2, 0, 0}; // until none is left
    EXPECT_EQ(did(kelvane_deque_msi(0)), "0 r24 r24 r2c r24 w24=1 r24 r24 r30 r24 w24=2 r24");
    EXPECT_EQ(woken_threads(), "00 12 ");
    EXPECT_EQ(did(kelvane_notify_msi(0)), "0 r24"); // none
    the_bar.word[0x24] = 1;
    fail_access(5); // the clearing
    EXPECT_EQ(did(kelvane_deque_msi(0)), "64174 r24 r24 r2c r24 w24=1");
    EXPECT_EQ(woken_threads(), "00 ");
    fail_access(2); // the source; cleared all the same
    EXPECT_EQ(did(kelvane_notify_msi(0)), "0 r24 r2c r24 w24=1");
    EXPECT_EQ(woken_threads(), "");
    set_watch(1, 2);
    EXPECT_EQ(did(kelvane_notify_msi(0)) + did(kelvane_deque_msi(0)), "64174 64174 ");
}

const std::vector<uint32_t> ANSWER = {9, 0x77, 4, 0, 0xFF00FF00, 0};

TEST_F(pending_test, an_orphaned_answer_is_thrown_away)
{
    const std::string looks = "... r1c02004 r1c02100+6 r1c02004 r1c02100+6 r1c02004 ";
    EXPECT_EQ(drain(), "0 ... r1c02004");
    offer_message(ANSWER, {});
    EXPECT_EQ(drain(),
              "0 " + looks + "r1c02100+10 w1c02100=ffffffff*6 w1c02000=4 r1c02004 w1c02000=2 r1c02004");
    offer_message({9, 0x77, 16, 0, 0xFF00FF00, 0}, {});
    EXPECT_EQ(drain(), "64173 " + looks +
                           "r1c02100+22 w1c02100=ffffffff*6 w1c02000=10 r1c02004 w1c02000=2 w1c02000=2");
    the_bar.word[RESPONSE_F] = 0;
    EXPECT_EQ(drain(), "64175 ... r1c02004");
    EXPECT_EQ(held_locks() + woken_threads(), "");
}

TEST_F(pending_test, an_answer_that_may_have_an_owner_is_left)
{
    const std::string looks = "... r1c02004 r1c02100+6";
    // A word that changes between the two looks, and the second look.
    const std::tuple<uint32_t, std::deque<uint32_t>, std::string> changes[] = {
        {RESPONSE_F, {4, 2}, " r1c02004"},
        {RESPONSE_AREA + 4, {0x77, 0x78}, " r1c02004 r1c02100+6"},
        {RESPONSE_AREA + 16, {0xFF00FF00, 0xD}, " r1c02004 r1c02100+6"}};
    for (const auto &[offset, values, second_look] : changes) {
        offer_message(ANSWER, {});
        the_bar.next_values[offset] = values;
        EXPECT_EQ(drain(), "0 " + looks + second_look);
        EXPECT_EQ(held_locks(), "");
    }
    EXPECT_EQ(time.now(), 0u);
    std::thread([] { kelvane_mutex_lock(&local_handles_array[0].command_mutex[0]); }).join();
    EXPECT_EQ(drain(), "110 " + looks); // a command of the sirane runs
    EXPECT_EQ(time.now(), 10u);
    EXPECT_EQ(held_locks(), "0 command, ");
}

TEST_F(pending_test, another_message_wakes_its_thread)
{
    offer_message({2, 0x77, 4, 0, 3, 0}, {});
    time.on_sleep([this] { // the woken thread takes the message while the drain gives it time
        the_bar.word[RESPONSE_F] = time.sleeps() == 2 ? 2 : 4;
    });
    EXPECT_EQ(drain(), "0 ... r1c02004 r1c02100+6 r1c02004");
    EXPECT_EQ(woken_threads(), "00 ");
    EXPECT_EQ(time.now(), 2000000u);
}

TEST_F(pending_test, the_performance_mailbox_is_held_back_without_a_subscription)
{
    EXPECT_EQ(drain(2), "0 ... r1c04004"); // alarms never
    EXPECT_EQ(drain(1), "64175 ...");
    EXPECT_EQ(time.now(), 1000000000u);
    the_bar.word[0x01F04004] = 0; // no version at all passes for the newest
    EXPECT_EQ(drain(1), "64175 ...");
    the_bar.word[0x01F04004] = 0x00050015;
    EXPECT_EQ(drain(1), "0 ... r1c08004");
    the_bar.word[0x01F04004] = 0x00050016;
    firmware.answer = false;
    EXPECT_EQ(kelvane_enable_pm_notify(0, 0xFF00FFFF, 1, [](auto...) { return 0; }), 0);
    offer_message({24, 1, 4, 1, 13, 0}, {}, PERFORMANCE_H);
    time.on_sleep([this, before = time.sleeps()] {
        if (time.sleeps() - before == 3) { // asked in every round
            EXPECT_EQ(kelvane_enable_pm_notify(0, 0xFF00FFFF, 0, nullptr), 0);
        }
    });
    EXPECT_EQ(kelvane_deque_resp_receive(0, 0xFF00FFFF, 1), 64175);
    EXPECT_EQ(woken_threads(), "01 ");
}

} // namespace
