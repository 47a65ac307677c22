// One service pass of a response thread, message by message.
#include "background/response_thread.h"

#include <algorithm>
#include <thread>

#include "background/aging.h"
#include "core/handle.h"
#include "core/mutex.h"
#include "mbox/model.h"
#include "mbox/request_table.h"
#include "support/handshake.h"
#include "support/library.h"

namespace {

struct outcome {
    uint32_t device_address, transaction_id;
    int32_t result;
    bool operator==(const outcome &) const = default;
};
std::vector<outcome> outcomes;
int32_t callback_returns;
int32_t command_in_callback; // what a command from the callback gave

int32_t laser_done(kelvane_handle, kelvane_device_address device_address, uint32_t transaction_id,
                   int32_t result)
{
    outcomes.push_back({device_address, transaction_id, result});
    return callback_returns;
}

int32_t laser_done_and_command(kelvane_handle, kelvane_device_address, uint32_t, int32_t)
{
    uint32_t value = 0;
    command_in_callback = kelvane_read_register(0, 0xFF00FFFF, 1, &value);
    return 0;
}

class response_thread_test : public library_test {
  protected:
    response_thread_test()
    {
        turn_log_on();
        start_library();
        firmware.install();
        firmware.answer = false;
        outcomes.clear();
        callback_returns = 0;
        command_in_callback = 0;
        log_lines();
    }

    // Asks for a laser with a callback; the reference of the request.
    uint32_t request(int32_t transaction_id, kelvane_set_laser_cb callback = laser_done)
    {
        EXPECT_EQ(kelvane_set_laser(0, 0xFF0001FF, 1, callback, transaction_id), 0);
        the_bar.take_accesses();
        return firmware.request_header[1];
    }

    void answer(uint32_t ref_id, uint32_t sy, uint32_t rc = 0, uint32_t command = 2)
    {
        offer_message({command, ref_id, 4, 0, sy, rc}, {0, 0xFF0001FF, 1, 40});
    }

    int32_t pass(uint32_t mbox = 0)
    {
        return kelvane_asyc_resp_common(0, 0, mbox);
    }

    void age(int passes)
    {
        for (int i = 0; i < passes; i++) {
            kelvane_manage_asynch_req_aging(0, 0xFF00FFFF, get_mbox_handler(0, 0), table,
                                            &local_handles_array[0].asynch_req_lock[0]);
        }
    }

    bool answered_with(uint32_t state)
    {
        char text[32];
        snprintf(text, sizeof text, "W 01c02000=%08x", state);
        const std::vector<std::string> accesses = the_bar.take_accesses();
        return std::count(accesses.begin(), accesses.end(), text) > 0;
    }

    answering_firmware firmware;
    asynch_req_t *table = local_handles_array[0].asynch_req_array[0];
    kelvane_mutex *response_mutex = &local_handles_array[0].response_mutex[0][0];
};

TEST_F(response_thread_test, nothing_offered)
{
    EXPECT_EQ(pass(), 0);
    EXPECT_EQ(the_bar.take_accesses().back(), "R 01c02004");
    EXPECT_EQ(time.now(), 500000u);
    EXPECT_EQ(kelvane_mutex_get_owner(response_mutex), 0);
}

TEST_F(response_thread_test, an_answer_reaches_its_callback_and_frees_its_slot_first)
{
    const uint32_t ref_id = request(40);
    answer(ref_id, 0, 0x8010000F);
    EXPECT_EQ(pass(), 0);
    EXPECT_EQ(outcomes, (std::vector<outcome>{{0xFF0001FF, 40, ORDUNE_TIMEOUT}}));
    EXPECT_EQ(table[0].signature, 0xBBAACC00u);
    EXPECT_TRUE(answered_with(4));
    EXPECT_EQ(the_bar.word[RESPONSE_AREA], 0xFFFFFFFFu);
    EXPECT_EQ(the_bar.word[RESPONSE_H], 2u);
    EXPECT_EQ(kelvane_mutex_get_owner(response_mutex), 0);
    EXPECT_EQ(pass(), 0);
    EXPECT_EQ(outcomes.size(), 1u);
}

TEST_F(response_thread_test, two_messages_in_one_wake_up)
{
    const uint32_t first = request(40);
    const uint32_t second = request(41);
    answer(first, 0);
    the_bar.on_write = [&](uint32_t offset, uint32_t value) {
        if (offset == RESPONSE_H && value == 4) {
            the_bar.word[RESPONSE_F] = 2;
        } else if (offset == RESPONSE_H && value == 2 && outcomes.size() == 1) {
            answer(second, 1);
        }
    };
    EXPECT_EQ(pass(), 0);
    EXPECT_EQ(outcomes.size(), 2u);
    EXPECT_EQ(time.now(), 1000000u); // half a millisecond for each
    EXPECT_TRUE(log_has(
        "DEBUG kelvane_asyc_resp_common: new request arrived on same mbx handler=0 sirane_id=0 mbox=0   "));
}

TEST_F(response_thread_test, a_synchronous_answer_is_left_to_its_caller)
{
    answer(7, 0xFF00FF00);
    time.on_sleep([this] {
        EXPECT_EQ(kelvane_mutex_get_owner(response_mutex), 0); // not during the pause
        if (time.sleeps() == 3) {
            the_bar.word[RESPONSE_F] = 2; // taken at last
        }
    });
    EXPECT_EQ(pass(), 0);
    EXPECT_EQ(time.now(), 2 * 2000500000ull + 500000);
    EXPECT_EQ(the_bar.word[RESPONSE_AREA + 4], 7u);
    EXPECT_FALSE(answered_with(4));
}

TEST_F(response_thread_test, the_pause_is_for_a_synchronous_answer_only)
{
    const uint32_t ref_id = request(40);
    answer(7, 0xFF00FF00);
    time.on_sleep([&] {
        if (time.sleeps() == 1) {
            answer(ref_id, 0);
        }
    });
    EXPECT_EQ(pass(), 0);
    EXPECT_EQ(time.now(), 2000500000u + 500000u); // the second round did not pause again
    EXPECT_EQ(outcomes.size(), 1u);
}

TEST_F(response_thread_test, messages_that_belong_to_nobody)
{
    const uint32_t ref_id = request(40);
    const struct {
        const char *what;
        std::vector<uint32_t> header;
        uint32_t answer; // to the firmware: well-formed ones are accepted
    } cases[] = {
        {"another reference", {2, ref_id + 1, 4, 0, 0, 0}, 4},
        {"a free slot", {2, ref_id, 4, 0, 5, 0}, 4},
        {"the gap", {2, ref_id, 4, 0, 12, 0}, 4},
        {"past the table", {2, ref_id, 4, 0, 17, 0}, 4},
        {"all ones", {2, ref_id, 4, 0, 0xFFFFFFFF, 0}, 4},
        {"no command", {66, ref_id, 4, 0, 0, 0}, 16},
        {"too new", {2, ref_id, 4, 1, 0, 0}, 16},
        {"too long", {2, ref_id, 16, 0, 0, 0}, 16},
        {"all ones everywhere", {~0u, ~0u, ~0u, ~0u, ~0u, ~0u}, 16},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        the_bar.take_accesses();
        offer_message(c.header, {0, 0, 0, 0});
        EXPECT_EQ(pass(), 0);
        EXPECT_TRUE(answered_with(c.answer));
        EXPECT_TRUE(
            log_has("ERROR kelvane_asyc_resp_common: ERROR data header KO -> aborting asynch notify"));
    }
    EXPECT_TRUE(outcomes.empty());
    EXPECT_EQ(table[0].signature, 0xCCBBDD11u); // the request waits on
    age(150);
    EXPECT_EQ(outcomes, (std::vector<outcome>{{0xFF0001FF, 40, 110}}));
}

TEST_F(response_thread_test, a_request_at_298_is_answered_and_one_at_300_timed_out)
{
    uint32_t ref_id = request(40);
    age(149);
    answer(ref_id, 0);
    EXPECT_EQ(pass(), 0);
    EXPECT_EQ(outcomes.back(), (outcome{0xFF0001FF, 40, 0}));

    ref_id = request(41);
    age(150);
    EXPECT_EQ(outcomes.back(), (outcome{0xFF0001FF, 41, 110}));
    answer(ref_id, 0);
    EXPECT_EQ(pass(), 0); // the late answer is dropped, and accepted towards the firmware
    EXPECT_EQ(outcomes.size(), 2u);
    EXPECT_TRUE(answered_with(4));
}

TEST_F(response_thread_test, a_failed_send_is_reported_at_the_limit)
{
    firmware.refuse = true;
    EXPECT_EQ(kelvane_set_laser(0, 0xFF0001FF, 1, laser_done, 9), 64173);
    age(150);
    EXPECT_EQ(outcomes, (std::vector<outcome>{{0xFF0001FF, 9, 110}}));
}

TEST_F(response_thread_test, a_command_without_handler_is_refused_and_its_record_stays)
{
    const uint32_t ref_id = request(40);
    answer(ref_id, 0, 0, 9);
    EXPECT_EQ(pass(), 64170);
    EXPECT_TRUE(answered_with(16));
    EXPECT_EQ(table[0].signature, 0xCCBBDD11u);
    EXPECT_EQ(kelvane_mutex_get_owner(response_mutex), 0);
    age(150);
    EXPECT_EQ(outcomes, (std::vector<outcome>{{0xFF0001FF, 40, 110}}));
}

TEST_F(response_thread_test, the_applications_failure_is_not_the_messages)
{
    callback_returns = 0x77;
    const uint32_t ref_id = request(40);
    answer(ref_id, 0);
    EXPECT_EQ(pass(), 0);
    EXPECT_TRUE(answered_with(4));
    EXPECT_TRUE(log_has("ERROR mbox_manage_asynch_set_laser: ERROR after calling callback rc = 77"));
}

TEST_F(response_thread_test, a_command_from_the_callback_fails_and_releases_nothing)
{
    const uint32_t ref_id = request(40, laser_done_and_command);
    answer(ref_id, 0);
    EXPECT_EQ(pass(), 0);
    EXPECT_EQ(command_in_callback, 64172);
    EXPECT_EQ(kelvane_mutex_get_owner(response_mutex), 0); // released once, by the pass
    EXPECT_EQ(kelvane_mutex_lock(response_mutex), 0);
    kelvane_mutex_unlock(response_mutex);
}

TEST_F(response_thread_test, a_command_from_the_callback_does_not_wait_for_who_waits_for_it)
{
    std::thread([] { kelvane_mutex_lock(&local_handles_array[0].command_mutex[0]); }).join();
    asynch_req_t record{};
    record.header = {2, 5, 4, 0, 0, 0};
    record.fn_cb = reinterpret_cast<asynch_callback>(laser_done_and_command);
    record.asynch_op_type = 1;
    uint32_t id = 0;
    ASSERT_EQ(insert_asynch_req(0, 0xFF00FFFF, nullptr, table, &local_handles_array[0].asynch_req_lock[0],
                                &id, record),
              0);
    answer(5, 0);
    EXPECT_EQ(pass(), 0);
    EXPECT_EQ(command_in_callback, 110);
    EXPECT_LT(time.now(), 1000000000u);
}

TEST_F(response_thread_test, every_failing_access_ends_the_pass_with_its_lock_free)
{
    trace_level_mask_set(1);
    for (uint64_t n = 1;; n++) {
        firmware.install();
        const uint32_t ref_id = request(40);
        const uint32_t slot = firmware.request_header[4];
        answer(ref_id, slot);
        const uint64_t before = the_bar.access_number;
        the_bar.fail_from = before + n;
        const int32_t rc = pass();
        EXPECT_TRUE(rc == 0 || rc == 64174) << n << ": " << rc;
        EXPECT_EQ(kelvane_mutex_get_owner(response_mutex), 0) << n;
        EXPECT_LE(outcomes.size(), 1u) << n;
        const bool untouched = the_bar.access_number < before + n;
        the_bar.fail_from = 0;
        outcomes.clear();
        remove_asynch_req(0, 0xFF00FFFF, nullptr, table, &local_handles_array[0].asynch_req_lock[0], slot);
        if (untouched) {
            EXPECT_GT(n, 20u);
            break;
        }
    }
}

TEST_F(response_thread_test, a_mailbox_that_is_not_there)
{
    EXPECT_EQ(kelvane_asyc_resp_common(0, 3, 0), 64170);
    EXPECT_EQ(kelvane_asyc_resp_common(0, 0, 3), 64170);
    EXPECT_EQ(kelvane_asyc_resp_common(1, 0, 0), 64170);
    the_bar.word[RESPONSE_F] = 0;
    EXPECT_EQ(pass(), 64175);
    the_bar.word[RESPONSE_F] = 0xFFFFFFFF;
    EXPECT_EQ(pass(), 64171);
    EXPECT_EQ(the_bar.word[RESPONSE_H], 2u);
}

TEST_F(response_thread_test, an_answer_of_a_command_without_handler_and_without_a_request)
{
    answer(0x77, 3, 0, 9);
    EXPECT_EQ(pass(), 0);
    EXPECT_TRUE(answered_with(4));
    EXPECT_TRUE(log_has("ERROR kelvane_asyc_resp_common: ERROR data header KO -> aborting asynch notify"));
}

TEST_F(response_thread_test, a_request_table_that_cannot_be_locked_refuses_the_answer)
{
    kelvane_mutex *lock = &local_handles_array[0].asynch_req_lock[0];
    for (const uint32_t command : {2u, 9u}) {
        answer(request(40), 0, 0, command);
        ASSERT_EQ(kelvane_mutex_lock(lock), 0);
        EXPECT_EQ(pass(), 64172);
        kelvane_mutex_unlock(lock);
        EXPECT_TRUE(answered_with(16));
        EXPECT_EQ(table[0].signature, 0xCCBBDD11u);
        remove_asynch_req(0, 0xFF00FFFF, nullptr, table, lock, 0);
    }
    EXPECT_TRUE(outcomes.empty());
}

TEST_F(response_thread_test, a_card_that_is_gone_at_the_second_look)
{
    the_bar.next_values[RESPONSE_F] = {2, 0xFFFFFFFF};
    EXPECT_EQ(pass(), 64171);
    EXPECT_TRUE(log_has("ERROR kelvane_asyc_resp_common: ERROR state read = ffffffff DEFAULT PCI ERROR "
                        "VALUE, EXECUTION NOT STOPPED"));
    EXPECT_EQ(kelvane_mutex_get_owner(response_mutex), 0);
}

} // namespace
