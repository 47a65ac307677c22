#include "background/low_priority_thread.h"

#include "background/keep_alive.h"
#include "core/handle.h"
#include "support/handshake.h"
#include "support/library.h"

namespace {

int timed_out;

int32_t laser_done(kelvane_handle, kelvane_device_address, uint32_t, int32_t result)
{
    timed_out += result == 110;
    return 0;
}

class low_priority_thread_test : public library_test {
  protected:
    low_priority_thread_test()
    {
        turn_log_on();
        start_library();
        firmware.install();
        firmware.answer = false;
        record.low_prio_active = 1;
        timed_out = 0;
        state = low_priority_start(0);
        trace_level_mask_clear(127 & ~65);
        log_lines();
    }

    std::string pass_line()
    {
        for (const std::string &line : log_lines()) {
            if (line.find("keep alive counter") != std::string::npos) {
                return line;
            }
        }
        return "";
    }

    answering_firmware firmware;
    kelvane_handle_record &record = local_handles_array[0];
    low_priority_state state;
};

TEST_F(low_priority_thread_test, a_pass_polls_every_mailbox_and_labels_itself)
{
    the_bar.word[0x01F04004] = 0x00050015;
    low_priority_pass(&state);
    EXPECT_EQ(pass_line(), "LOWPR kelvane_low_prio_th: sirane -1 keep alive counter = 0 ");
    std::vector<std::string> polls;
    for (const std::string &access : the_bar.take_accesses()) {
        if (access.substr(2, 3) == "01f") { // the version, for the gate of the performance mailbox
            continue;
        }
        if (access.substr(6) == "2004" || access.substr(6) == "4004" || access.substr(6) == "8004") {
            polls.push_back(access);
        }
    }
    EXPECT_EQ(polls,
              (std::vector<std::string>{"R 01c02004", "R 01c08004", "R 01c04004", "R 01d02004", "R 01d08004",
                                        "R 01d04004", "R 01e02004", "R 01e08004", "R 01e04004"}));
    low_priority_pass(&state);
    EXPECT_EQ(pass_line(), "LOWPR kelvane_low_prio_th: sirane 3 keep alive counter = 1 ");
    EXPECT_EQ(state.device_address, 0xFF02FFFFu);
    EXPECT_EQ(time.now(), 0u);
}

TEST_F(low_priority_thread_test, without_a_subscription_a_pass_takes_three_seconds_on_newer_firmware)
{
    the_bar.word[0x01F04004] = 0x00050016;
    low_priority_pass(&state);
    EXPECT_EQ(time.now(), 3000000000u);
}

TEST_F(low_priority_thread_test, requests_age_whether_mapped_or_not)
{
    EXPECT_EQ(kelvane_set_laser(0, 0xFF0001FF, 1, laser_done, 1), 0);
    low_priority_pass(&state);
    EXPECT_EQ(record.asynch_req_array[0][0].aging_time, 2u);
    for (int i = 0; i < 149; i++) {
        low_priority_pass(&state);
    }
    EXPECT_EQ(timed_out, 1);
    EXPECT_EQ(kelvane_set_laser(0, 0xFF0001FF, 1, laser_done, 1), 0);
    close_gate();
    for (int i = 0; i < 160; i++) {
        low_priority_pass(&state);
    }
    EXPECT_GE(record.asynch_req_array[0][0].aging_time, 300u);
    EXPECT_EQ(timed_out, 1); // the stale address looks for it in the last sirane's table
    open_gate();
    low_priority_pass(&state);
    EXPECT_EQ(timed_out, 2);
}

TEST_F(low_priority_thread_test, the_watch_runs_only_when_enabled)
{
    low_priority_pass(&state);
    EXPECT_EQ(the_bar.word.count(0x01C0C008), 0u);
    record.keep_alive_enabled = 1;
    low_priority_pass(&state);
    EXPECT_EQ(record.keep_alive_status, 2u);
}

TEST_F(low_priority_thread_test, after_the_device_is_deleted_each_pass_logs_the_bad_handle)
{
    kelvane_device_delete(0);
    the_bar.take_accesses();
    for (int i = 0; i < 2; i++) {
        low_priority_pass(&state);
        EXPECT_TRUE(log_has("ERROR check_kelvane_handler_input: invalid handler 0"));
    }
    EXPECT_TRUE(the_bar.take_accesses().empty());
}

TEST_F(low_priority_thread_test, while_it_is_not_active_nothing_is_done)
{
    EXPECT_EQ(kelvane_set_laser(0, 0xFF0001FF, 1, laser_done, 1), 0);
    the_bar.take_accesses();
    record.low_prio_active = 2;
    low_priority_pass(&state);
    EXPECT_EQ(record.asynch_req_array[0][0].aging_time, 0u);
    EXPECT_EQ(state.passes, 0u);
    EXPECT_TRUE(the_bar.take_accesses().empty());
}

} // namespace
