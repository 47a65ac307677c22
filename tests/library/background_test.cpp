// What goes on beside the callers: the low-priority thread's passes with the watch over the firmware's echo
// and over upsets, interrupts, and messages that no thread takes.
#include <thread>

#include "background/keep_alive.h"
#include "mbox/receive.h"
#include "support/library.h"

namespace {

std::string heard; // what the two callbacks were told
int32_t callback_returns;

const auto on_status = [](kelvane_handle, int32_t deque_status, uint32_t status) {
    heard += std::to_string(deque_status) + " " + std::to_string(status) + "; ";
    return callback_returns;
};

kelvane_init_device_t watched_device()
{
    kelvane_init_device_t device = recorded_bar_device();
    device.generic_cb = [](auto, uint32_t address, uint32_t value) {
        heard += "upset " + std::to_string(address) + " " + std::to_string(value) + "; ";
        return callback_returns;
    };
    return device;
}

class background_test : public firmware_test {
  protected:
    background_test() : firmware_test(watched_device())
    {
        callback_returns = 0;
        heard.clear();
        woken_threads();
        the_bar.word[0x01F04004] = 0x00050015;
        the_bar.on_write = [this, follow = the_bar.on_write](uint32_t offset, uint32_t value) {
            follow(offset, value);
            if (offset == 0x01C0C008 && echoes) {
                the_bar.word[0x01C0C00C] = value;
            }
        };
    }

    // A pass, and what was heard up to its end.
    std::string pass()
    {
        background_passes(1);
        return std::exchange(heard, "");
    }

    // Ten times whether it watches, plus what it found, as the library tells it.
    static uint32_t state()
    {
        uint32_t told[2] = {9, 9};
        EXPECT_EQ(kelvane_get_keep_alive_status(0, &told[0], &told[1]), 0);
        return 10 * told[0] + told[1];
    }

    // The result of a drain, and the accesses behind the question for the version.
    static std::string drain(mbox_id mbox = MBOX_RESPONSE)
    {
        std::string told = did(kelvane_deque_resp_receive(0, sirane_0, mbox));
        return told.replace(told.find("r1f04000+16"), 11, "...");
    }

    bool echoes = true;
};

TEST_F(background_test, a_pass_polls_every_mailbox)
{
    low_priority_state idle = low_priority_start(0);
    low_priority_pass(&idle); // of a thread that is not active
    EXPECT_EQ(accesses(), "");
    trace_level_mask_set(65);
    EXPECT_EQ(pass(), "");
    EXPECT_EQ(accesses(), "r1f04000+16 r1c02004 r1f04000+16 r1c08004 r1f04000+16 r1c04004 "
                          "r1f04000+16 r1d02004 r1f04000+16 r1d08004 r1f04000+16 r1d04004 "
                          "r1f04000+16 r1e02004 r1f04000+16 r1e08004 r1f04000+16 r1e04004 r1f04f00+8");
    EXPECT_EQ(time.now(), 0u);
    the_bar.word[0x01F04004] = 0x00050016;
    pass();
    EXPECT_EQ(time.now(), 3000000000u); // nobody has subscribed to performance batches
}

TEST_F(background_test, what_turns_it_on_and_off)
{
    const std::tuple<uint32_t, uint32_t, uint32_t, uint32_t> cases[] = {
        {1, 0x80010011, 0x80010011, 0}, {2, 0, 0, 0}, {0, 0x80010013, 0x80010013, 0}, {1, 0x80010013, 0, 10}};
    for (const auto &[enable, rc, code, told] : cases) {
        set_watch(0, 0);
        firmware.rc = rc; // busy: it watches already
        EXPECT_EQ(kelvane_enable_keep_alive_notify(0, enable, on_status), static_cast<int32_t>(code));
        EXPECT_EQ(state(), told);
    }
    EXPECT_EQ(pass(), "0 1; ");
    firmware.rc = 0;
    EXPECT_EQ(kelvane_enable_keep_alive_notify(0, 1, nullptr), 0); // keeps the callback
    echoes = false;
    EXPECT_EQ(pass(), "64174 2; ");
    set_watch(1, 1);
    shorten_waits();
    firmware.answer = false;
    EXPECT_EQ(kelvane_enable_keep_alive_notify(0, 1, nullptr), 110); // a failure changes nothing
    EXPECT_EQ(state(), 11u);
    EXPECT_EQ(kelvane_enable_keep_alive_notify(0, 0, on_status), 110); // off all the same, and nobody to call
    EXPECT_EQ(state(), 1u);
    set_watch(1, 1);
    EXPECT_EQ(pass(), "");
    EXPECT_EQ(state(), 12u);
}

TEST_F(background_test, one_missing_echo_is_dead_and_one_echo_alive)
{
    keep_alive_sequence = 65534;
    EXPECT_EQ(kelvane_enable_keep_alive_notify(0, 1, on_status), 0);
    EXPECT_EQ(kelvane_write_register(0, 0xFF00FFFF, 1, 2), 64174); // until the firmware has answered
    callback_returns = 0x55;
    EXPECT_EQ(pass(), "0 1; ");
    EXPECT_EQ(the_bar.word[0x01C0C008], 0x1700FFFFu);
    EXPECT_EQ(pass(), ""); // told once
    EXPECT_EQ(the_bar.word[0x01C0C008], 0x17000000u);
    echoes = false;
    for (const uint32_t wrong : {0x17000009u, 0xFFFFFFFFu}) { // not the token, and a dead link
        set_watch(1, 1);
        the_bar.word[0x01C0C00C] = wrong;
        const uint64_t before = time.sleeps();
        EXPECT_EQ(pass(), "64174 2; "); // the service of interrupts met the gate
        EXPECT_EQ(time.sleeps() - before, 1999u);
        EXPECT_EQ(the_bar.word[0x01C0C008], 2u); // by the time-out
    }
    EXPECT_EQ(pass(), "");
    echoes = true;
    offer_message({CMD_READ_REGISTER, 0x77, 4, 0, 0xFF00FF00, 0}, {1, 2, 3, 4}); // left from before
    EXPECT_EQ(pass(), "0 1; ");
    EXPECT_EQ(the_bar.word[RESPONSE_AREA], 0xFFFFFFFFu); // drained
    the_bar.fail_from = the_bar.access_number + 1;       // a token that was never written, whatever is echoed
    the_bar.word[0x01C0C00C] = 0x17000005;
    EXPECT_EQ(kelvane_keep_alive(0, 0xFF02FFFF), 0x55);
    EXPECT_EQ(heard, "64174 2; ");
    EXPECT_EQ(kelvane_keep_alive(0, 0xFFFFFFFF), 64170); // an address of no mailbox
}

TEST_F(background_test, an_upset_of_the_memory_is_told_once_for_each_entry)
{
    const std::string told = "upset 4043309055 1; ";
    const std::tuple<uint32_t, uint32_t, std::string> steps[] = {
        {0x2233EEAA, 1, ""}, {0xBBCC0066, 2, told}, {0xBBCC0066, 2, ""}, {0, 0, ""}, {0xBBCC0066, 2, told}};
    for (const auto &[mark, state, expected] : steps) {
        the_bar.word[0x01F04F0C] = mark;
        uint32_t seen = 9;
        EXPECT_EQ(kelvane_get_seu_pl_uncorrectable(0, &seen), 0);
        EXPECT_EQ(seen, state);
        EXPECT_EQ(pass(), expected);
    }
    callback_returns = 5; // its own matter
    kelvane_set_last_seu_pl_uncorrectable(0, 0);
    EXPECT_EQ(kelvane_manage_seu_pl_uncorrectable(0), 0);
    kelvane_set_generic_cb(nullptr);
    kelvane_set_last_seu_pl_uncorrectable(0, 0);
    EXPECT_EQ(kelvane_manage_seu_pl_uncorrectable(0), 22);
    EXPECT_EQ(kelvane_manage_seu_pl_uncorrectable(0), 0); // stored, and not repeated
}

TEST_F(background_test, interrupts_are_enabled_and_wake_the_thread_that_their_source_names)
{
    the_bar.word[0] = 0x32123456;
    the_bar.word[0x01804000] = 0xF1E;
    the_bar.word[0x20] = 0x10;
    EXPECT_EQ(did(kelvane_enable_msi(0, 1)), "0 r0 r1804000 w1804000=f1f r20 w20=17");
    EXPECT_EQ(did(kelvane_enable_msi(0, 2)), "0 r0 r1804000 w1804000=f0e r20 w20=10");
    the_bar.word[0] = 0x33000000; // no global enable there
    EXPECT_EQ(did(kelvane_enable_msi(0, 1)), "0 r0 r20 w20=17");
    set_watch(1, 2); // not asked for
    the_bar.word[0] = 0;
    the_bar.fail_from = the_bar.access_number + 4; // as if nothing were enabled
    EXPECT_EQ(did(kelvane_enable_msi(0, 1)), "0 r0 r1804000 w1804000=f1f r20 w20=7");
    the_bar.fail_from = the_bar.access_number + 2;
    EXPECT_EQ(did(kelvane_enable_msi(0, 1)), "64174 r0 r1804000");
    set_watch(0, 0);
    const auto served = [](int32_t rc) { return did(rc) + ", woken: " + woken_threads(); };
    for (const auto &[source, woken] :
         cases_of("11 > 10 ; 12 > 11 ; 13 > 12 ; abcdef14 > dap ; 10 > ; 1100 > ")) {
        the_bar.word[0x24] = 2;
        the_bar.word[0x30] = std::stoul(source, nullptr, 16);
        EXPECT_EQ(served(kelvane_notify_msi(0)), "0 r24 r30 r24 w24=2, woken: " + woken) << source;
    }
    the_bar.word[0x2C] = 17;
    the_bar.word[0x30] = 19;
    the_bar.word[0x34] = 20;
    the_bar.next_values[0x24] = {7, 7, 6, 4};
    EXPECT_EQ(served(kelvane_notify_msi(0)),
              "0 r24 r2c r24 w24=7 r30 r24 w24=6 r34 r24 w24=4, woken: 00 12 dap ");
    the_bar.next_values[0x24] = {1, 1, 1, 2, 2, 2, 0}; // until none is left
    EXPECT_EQ(served(kelvane_deque_msi(0)),
              "0 r24 r24 r2c r24 w24=1 r24 r24 r30 r24 w24=2 r24, woken: 00 12 ");
    the_bar.word[0x24] = 1;
    the_bar.fail_from = the_bar.access_number + 5; // the clearing
    EXPECT_EQ(served(kelvane_deque_msi(0)), "64174 r24 r24 r2c r24 w24=1, woken: 00 ");
    the_bar.fail_from = the_bar.access_number + 2; // the source; cleared all the same
    EXPECT_EQ(served(kelvane_notify_msi(0)), "0 r24 r2c r24 w24=1, woken: ");
    set_watch(1, 2);
    EXPECT_EQ(did(kelvane_notify_msi(0)) + did(kelvane_deque_msi(0)), "64174 64174 ");
}

const std::vector<uint32_t> ANSWER = {CMD_READ_REGISTER, 0x77, 4, 0, 0xFF00FF00, 0};

TEST_F(background_test, an_answer_without_an_owner_is_thrown_away)
{
    const std::string look = "... r1c02004 r1c02100+6";
    const std::string looks = look + " r1c02004 r1c02100+6 r1c02004 ";
    offer_message(ANSWER, {});
    EXPECT_EQ(drain(),
              "0 " + looks + "r1c02100+10 w1c02100=ffffffff*6 w1c02000=4 r1c02004 w1c02000=2 r1c02004");
    offer_message({CMD_READ_REGISTER, 0x77, 16, 0, 0xFF00FF00, 0}, {});
    EXPECT_EQ(drain(), "64173 " + looks +
                           "r1c02100+22 w1c02100=ffffffff*6 w1c02000=10 r1c02004 w1c02000=2 w1c02000=2");
    the_bar.word[RESPONSE_F] = 0;
    EXPECT_EQ(drain(), "64175 ... r1c02004");
    EXPECT_EQ(woken_threads(), "");
    // One that may have an owner is left.
    // A word that changes between the two looks, and the second look.
    const std::tuple<uint32_t, std::deque<uint32_t>, std::string> changes[] = {
        {RESPONSE_F, {4, 2}, ""},
        {RESPONSE_AREA + 4, {0x77, 0x78}, " r1c02100+6"},
        {RESPONSE_AREA + 16, {0xFF00FF00, 0xD}, " r1c02100+6"}};
    for (const auto &[offset, values, second_look] : changes) {
        offer_message(ANSWER, {});
        the_bar.next_values[offset] = values;
        EXPECT_EQ(drain(), "0 " + look + " r1c02004" + second_look);
    }
    for (const uint64_t access : {51, 24, 25}) { // the look behind it all, the second one at state and header
        offer_message(ANSWER, {});
        the_bar.fail_from = the_bar.access_number + access;
        EXPECT_EQ(drain().substr(0, 6), "64174 ");
        EXPECT_EQ(the_bar.access_number, the_bar.fail_from);
    }
    const uint64_t before = time.now();
    std::thread([] { kelvane_mutex_lock(&sirane_0.command_mutex); }).join();
    EXPECT_EQ(drain(), "110 " + look); // a command of the sirane runs
    EXPECT_EQ(time.now() - before, 10u);
    EXPECT_EQ(held_locks(), "0 command, ");
}

TEST_F(background_test, the_performance_mailbox_is_held_back_without_a_subscription)
{
    the_bar.word[0x01F04004] = 0x00050016;
    EXPECT_EQ(drain(MBOX_ALARM), "0 ... r1c04004"); // alarms never
    EXPECT_EQ(drain(MBOX_PM), "64175 ...");
    EXPECT_EQ(time.now(), 1000000000u);
    the_bar.word[0x01F04004] = 0x00050015;
    EXPECT_EQ(drain(MBOX_PM), "0 ... r1c08004");
    the_bar.word[0x01F04004] = 0x00050016;
    firmware.answer = false;
    EXPECT_EQ(kelvane_enable_pm_notify(0, 0xFF00FFFF, 1, [](auto...) { return 0; }), 0);
    offer_message({CMD_ENABLE_PM_NOTIFY, 1, 4, 1, 13, 0}, {}, PERFORMANCE_H);
    time.on_sleep([this, before = time.sleeps()] {
        if (time.sleeps() - before == 3) { // asked in every round
            EXPECT_EQ(kelvane_enable_pm_notify(0, 0xFF00FFFF, 0, nullptr), 0);
        }
    });
    EXPECT_EQ(kelvane_deque_resp_receive(0, sirane_0, MBOX_PM), 64175);
    EXPECT_EQ(woken_threads(), "01 ");
    EXPECT_EQ(time.now(), 2004000000u);
}

} // namespace
