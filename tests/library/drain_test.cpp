// What the drain takes and what it leaves.
#include "core/handle.h"
#include "core/mutex.h"
#include "core/semaphore.h"
#include "mbox/receive.h"
#include "mbox/request_table.h"
#include "support/handshake.h"
#include "support/library.h"

#include <algorithm>
#include <thread>

namespace {

const std::vector<uint32_t> sync_header = {9, 0x77, 4, 0, 0xFF00FF00, 0};

class drain_test : public library_test {
  protected:
    drain_test()
    {
        turn_log_on();
        start_library();
        firmware.install();
        the_bar.word[0x01F04004] = 0x00050016; // firmware 5.22
        the_bar.take_accesses();
        log_lines();
    }

    int32_t drain(uint32_t mbox = 0)
    {
        return kelvane_deque_resp_receive(0, 0xFF00FFFF, mbox);
    }

    answering_firmware firmware;
    kelvane_handle_record &record = local_handles_array[0];
};

TEST_F(drain_test, nothing_offered)
{
    the_bar.take_accesses();
    EXPECT_EQ(drain(), 0);
    EXPECT_EQ(the_bar.take_accesses().back(), "R 01c02004");
    the_bar.word[0x01C02004] = 0;
    EXPECT_EQ(drain(), 64175);
    EXPECT_EQ(kelvane_mutex_get_owner(&record.response_mutex[0][0]), 0);
}

TEST_F(drain_test, an_orphan_is_thrown_away)
{
    offer_message(sync_header, {1, 2, 3, 4});
    EXPECT_EQ(drain(), 0);
    EXPECT_EQ(the_bar.word[RESPONSE_F], 2u);
    EXPECT_EQ(the_bar.word[RESPONSE_H], 2u);
    EXPECT_EQ(the_bar.word[RESPONSE_AREA], 0xFFFFFFFF);
    EXPECT_EQ(kelvane_mutex_get_owner(&record.command_mutex[0]), 0);
    EXPECT_TRUE(log_has("INFO  kelvane_deque_resp_receive:  found 00000004 state to manage on mbox 0 "));
}

TEST_F(drain_test, an_absurd_orphan_is_refused)
{
    offer_message({9, 0x77, 0xFFFFFFFF, 0, 0xFF00FF00, 0}, {});
    EXPECT_EQ(drain(), 64173);
    EXPECT_EQ(kelvane_mutex_get_owner(&record.command_mutex[0]), 0);
    EXPECT_EQ(the_bar.word[RESPONSE_F], 2u);
}

TEST_F(drain_test, the_answer_of_a_running_command_is_left)
{
    offer_message(sync_header, {1, 2, 3, 4});
    std::thread([&] { kelvane_mutex_lock(&record.command_mutex[0]); }).join();
    EXPECT_EQ(drain(), 110);
    EXPECT_EQ(time.now(), 10u); // nanoseconds
    EXPECT_EQ(the_bar.word[RESPONSE_F], 4u);
    EXPECT_EQ(the_bar.word[RESPONSE_AREA + 4], 0x77u);
}

TEST_F(drain_test, an_answer_that_was_taken_between_the_two_looks)
{
    offer_message(sync_header, {1, 2, 3, 4});
    the_bar.next_values[RESPONSE_F] = {4, 2};
    EXPECT_EQ(drain(), 0);
    EXPECT_TRUE(
        log_has("ERROR kelvane_deque_resp_receive:  BUG of arm mbox reg val changed during the read of the "
                "header "));
    EXPECT_EQ(kelvane_mutex_get_owner(&record.command_mutex[0]), 0);
}

TEST_F(drain_test, another_message_between_the_two_looks)
{
    const struct {
        uint32_t offset;
        std::deque<uint32_t> values;
    } changes[] = {
        {RESPONSE_AREA + 4, {0x77, 0x78}},       // another command's answer
        {RESPONSE_AREA + 16, {0xFF00FF00, 0xD}}, // an asynchronous one
    };
    for (const auto &change : changes) {
        offer_message(sync_header, {1, 2, 3, 4});
        the_bar.next_values[change.offset] = change.values;
        const uint64_t before = time.now();
        EXPECT_EQ(drain(), 0);
        EXPECT_LT(time.now() - before, 1000000000u);
        EXPECT_EQ(the_bar.word[RESPONSE_F], 4u);
        EXPECT_TRUE(
            log_has("ERROR kelvane_deque_resp_receive:  BUG of arm mbox reg val changed during the read of "
                    "the header "));
        EXPECT_EQ(kelvane_mutex_get_owner(&record.command_mutex[0]), 0);
    }
}

TEST_F(drain_test, an_asynchronous_message_wakes_its_thread)
{
    offer_message({2, 0x77, 4, 0, 3, 0}, {1, 2, 3, 4});
    kelvane_semaphore &semaphore = record.mbox_semaphore[0][0];
    kelvane_sem_take(&semaphore);
    // The woken thread takes the message while the drain gives it time.
    time.on_sleep([this] {
        if (time.sleeps() == 2) {
            the_bar.word[RESPONSE_F] = 2;
        }
    });
    EXPECT_EQ(drain(), 0);
    uint32_t state = 0;
    kelvane_sem_get_state(&semaphore, &state);
    EXPECT_EQ(state, 1u);
    EXPECT_EQ(time.now(), 2000000u);
    EXPECT_EQ(the_bar.word[RESPONSE_AREA], 2u); // not the drain's to touch
    const std::string text = log_text();
    EXPECT_NE(text.find("kelvane_deque_resp_receive: unloking sem mbox = 0 \n"), std::string::npos);
    EXPECT_NE(text.find("kelvane_deque_resp_receive: mutex taken and leaved \n"), std::string::npos);
}

TEST_F(drain_test, the_performance_mailbox_is_held_back_without_a_subscription)
{
    the_bar.word[0x01C08004] = 4;
    EXPECT_EQ(drain(1), 64175);
    EXPECT_EQ(time.now(), 1000000000u);
    const std::vector<std::string> accesses = the_bar.take_accesses();
    EXPECT_EQ(std::count(accesses.begin(), accesses.end(), "R 01c08004"), 0);
    the_bar.word[0x01C04004] = 2;
    EXPECT_EQ(drain(2), 0); // alarms are never held back
    EXPECT_EQ(time.now(), 1000000000u);
    the_bar.word[0x01F04004] = 0x00050015; // older firmware
    the_bar.word[0x01C08004] = 2;
    EXPECT_EQ(drain(1), 0);
    the_bar.word[0x01F04004] = 0; // no version at all passes for the newest
    EXPECT_EQ(drain(1), 64175);
}

TEST_F(drain_test, the_gate_of_the_performance_mailbox_is_asked_in_every_round)
{
    asynch_req_t subscription{};
    subscription.fn_cb = [] {};
    subscription.asynch_op_type = 2;
    uint32_t id = 0;
    ASSERT_EQ(insert_asynch_req(0, 0xFF00FFFF, nullptr, record.asynch_req_array[0],
                                &record.asynch_req_lock[0], &id, subscription),
              0);
    the_bar.word[0x01C08004] = 4;
    the_bar.word[0x01C08110] = 13;
    time.on_sleep([this] {
        if (time.sleeps() == 3) {
            remove_asynch_req(0, 0xFF00FFFF, nullptr, record.asynch_req_array[0], &record.asynch_req_lock[0],
                              13);
        }
    });
    EXPECT_EQ(drain(1), 64175);
}

TEST_F(drain_test, every_failing_access_leaves_the_locks_free)
{
    for (uint64_t n = 1;; n++) {
        offer_message(sync_header, {1, 2, 3, 4});
        const uint64_t before = the_bar.access_number;
        the_bar.fail_from = before + n;
        const int32_t rc = drain();
        EXPECT_TRUE(rc == 0 || rc == 64174) << n << ": " << rc;
        EXPECT_EQ(kelvane_mutex_get_owner(&record.command_mutex[0]), 0) << n;
        EXPECT_EQ(kelvane_mutex_get_owner(&record.response_mutex[0][0]), 0) << n;
        if (the_bar.access_number < before + n) {
            EXPECT_EQ(rc, 0);
            EXPECT_GT(n, 30u);
            break;
        }
    }
}

} // namespace
