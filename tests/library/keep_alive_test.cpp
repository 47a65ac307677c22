#include "background/keep_alive.h"

#include "core/handle.h"
#include "mbox/request_table.h"
#include "support/handshake.h"
#include "support/library.h"

namespace {

struct heard_status {
    int32_t deque_status;
    uint32_t status;
    bool operator==(const heard_status &) const = default;
};
std::vector<heard_status> heard;
std::vector<uint32_t> upsets;
int32_t callback_returns;

int32_t on_status(kelvane_handle, int32_t deque_status, uint32_t status)
{
    heard.push_back({deque_status, status});
    return callback_returns;
}

int32_t on_upset(kelvane_handle, kelvane_device_address device_address, uint32_t value)
{
    EXPECT_EQ(device_address, 0xF0FFFFFFu);
    upsets.push_back(value);
    return callback_returns;
}

class keep_alive_test : public library_test {
  protected:
    keep_alive_test()
    {
        turn_log_on();
        start_library();
        firmware.install();
        the_bar.on_write = [this](uint32_t offset, uint32_t value) {
            if (offset == 0x01C0C008 && echoes) {
                the_bar.word[0x01C0C00C] = value;
            }
        };
        heard.clear();
        upsets.clear();
        callback_returns = 0;
        keep_alive_sequence = 0;
        record.keep_alive_enabled = 1;
        record.keep_alive_cb = on_status;
    }

    int32_t exchange()
    {
        return kelvane_keep_alive(0, 0xFF02FFFF);
    }

    answering_firmware firmware;
    bool echoes = true;
    kelvane_handle_record &record = local_handles_array[0];
};

TEST_F(keep_alive_test, the_first_echo_reports_and_later_ones_do_not)
{
    EXPECT_EQ(exchange(), 0);
    EXPECT_EQ(the_bar.word[0x01C0C008], 0x17000001u);
    EXPECT_EQ(heard, (std::vector<heard_status>{{0, 1}}));
    EXPECT_EQ(exchange(), 0);
    EXPECT_EQ(the_bar.word[0x01C0C008], 0x17000002u);
    EXPECT_EQ(heard.size(), 1u);
    keep_alive_sequence = 65535;
    EXPECT_EQ(exchange(), 0);
    EXPECT_EQ(the_bar.word[0x01C0C008], 0x17000000u);
}

TEST_F(keep_alive_test, one_missing_echo_is_dead_and_one_good_echo_alive)
{
    exchange();
    heard.clear();
    echoes = false;
    const uint64_t before = time.now();
    EXPECT_EQ(exchange(), 0); // the callback's result
    EXPECT_EQ(time.now() - before, 1999u * 500000u);
    EXPECT_EQ(heard, (std::vector<heard_status>{{64174, 2}})); // the drain of interrupts met the gate
    EXPECT_EQ(the_bar.word[0x01C0C008], 2u);                   // by the time-out
    EXPECT_EQ(exchange(), 110);                                // no change, no report
    EXPECT_EQ(heard.size(), 1u);
    uint32_t value = 0;
    EXPECT_EQ(kelvane_read_register(0, 0xFF00FFFF, 1, &value), 64174);

    echoes = true;
    offer_message({9, 0x77, 4, 0, 0xFF00FF00, 0}, {1, 2, 3, 4}); // left from before
    the_bar.on_write = [](uint32_t offset, uint32_t written) {
        if (offset == 0x01C0C008) {
            the_bar.word[0x01C0C00C] = written;
        } else if (offset == RESPONSE_H && written == 4) {
            the_bar.word[RESPONSE_F] = 2;
        }
    };
    EXPECT_EQ(exchange(), 0);
    EXPECT_EQ(heard.back(), (heard_status{0, 1}));
    EXPECT_EQ(the_bar.word[RESPONSE_AREA], 0xFFFFFFFFu); // drained
}

TEST_F(keep_alive_test, a_recovery_without_a_performance_subscription_takes_three_seconds_on_newer_firmware)
{
    the_bar.word[0x01F04004] = 0x00050016;
    EXPECT_EQ(exchange(), 0);
    EXPECT_EQ(time.now(), 3000000000u);
    EXPECT_EQ(heard, (std::vector<heard_status>{{0, 1}}));
}

TEST_F(keep_alive_test, a_wrong_token_is_no_echo)
{
    echoes = false;
    the_bar.word[0x01C0C00C] = 0x17000002;
    exchange();
    EXPECT_EQ(record.keep_alive_status, 2u);
    EXPECT_EQ(time.now(), 1999u * 500000u);
}

TEST_F(keep_alive_test, without_the_mapping_the_firmware_is_dead)
{
    close_gate();
    testing::internal::CaptureStdout();
    exchange();
    EXPECT_EQ(testing::internal::GetCapturedStdout().substr(0, 24), "fpga is not PCI mapped \n");
    EXPECT_EQ(record.keep_alive_status, 2u);
    EXPECT_EQ(kelvane_keep_alive(0, 0xFFFFFFFF), 64170); // an address of no mailbox
}

TEST_F(keep_alive_test, the_callbacks_result_is_the_exchanges)
{
    callback_returns = 0x55;
    EXPECT_EQ(exchange(), 0x55);
    EXPECT_TRUE(log_has("ERROR kelvane_keep_alive: ERROR after calling callback rc = 55"));
    record.keep_alive_cb = nullptr;
    record.keep_alive_status = 0;
    EXPECT_EQ(exchange(), 0);
}

TEST_F(keep_alive_test, a_waiting_caller_fails_on_its_next_poll)
{
    firmware.install();
    firmware.answer = false;
    record.keep_alive_status = 1;
    time.on_sleep([this] {
        if (time.sleeps() == 5) {
            record.keep_alive_status = 2;
        }
    });
    uint32_t value = 0;
    EXPECT_EQ(kelvane_read_register(0, 0xFF00FFFF, 1, &value), 64174);
    EXPECT_EQ(time.sleeps(), 5u);
}

TEST_F(keep_alive_test, an_upset_is_an_event_once_for_each_entry)
{
    record.generic_cb = on_upset;
    const struct {
        uint32_t mark;
        size_t events;
    } steps[] = {{0x2233EEAA, 0}, {0xBBCC0066, 1}, {0xBBCC0066, 1}, {0x2233EEAA, 1},
                 {0xBBCC0066, 2}, {0, 2},          {0xBBCC0066, 3}};
    for (const auto &step : steps) {
        the_bar.word[0x01F04F0C] = step.mark;
        EXPECT_EQ(kelvane_manage_seu_pl_uncorrectable(0), 0);
        EXPECT_EQ(upsets.size(), step.events);
    }
    EXPECT_EQ(upsets[0], 1u);
}

TEST_F(keep_alive_test, an_upset_that_nobody_wants_to_hear_of)
{
    the_bar.word[0x01F04F0C] = 0xBBCC0066;
    EXPECT_EQ(kelvane_manage_seu_pl_uncorrectable(0), 22);
    EXPECT_EQ(log_lines().back(), "ERROR kelvane_manage_seu_pl_uncorrectable:  invalid cb function");
    EXPECT_EQ(kelvane_manage_seu_pl_uncorrectable(0), 0); // stored, and not repeated
    callback_returns = 9;
    record.generic_cb = on_upset;
    the_bar.word[0x01F04F0C] = 0;
    kelvane_manage_seu_pl_uncorrectable(0);
    the_bar.word[0x01F04F0C] = 0xBBCC0066;
    EXPECT_EQ(kelvane_manage_seu_pl_uncorrectable(0), 0);
    EXPECT_EQ(kelvane_manage_seu_pl_uncorrectable(1), 22);
}

TEST_F(keep_alive_test, memory_health)
{
    const uint32_t table[] = {1, 2, 3, 0x2233EEAA, 5, 6, 7, 8};
    for (uint32_t i = 0; i < 8; i++) {
        the_bar.word[0x01F04F00 + 4 * i] = table[i];
    }
    kelvane_ddr_ecc_counters_t counters{};
    EXPECT_EQ(kelvane_get_ddr_ecc_counters(0, &counters), 0);
    EXPECT_EQ(counters.ddr_ecc_uncorrectable_flag, 1u);
    EXPECT_EQ(counters.ddr_ecc_correctable_counter, 2u);
    EXPECT_EQ(counters.ddr_ecc_uncorrectable_counter, 3u);
    EXPECT_EQ(counters.pl_seu_corr_counter, 5u); // not the word before
    uint32_t state = 9;
    EXPECT_EQ(kelvane_get_seu_pl_uncorrectable(0, &state), 0);
    EXPECT_EQ(state, 1u);
    the_bar.word[0x01F04F0C] = 0x12345678;
    EXPECT_EQ(kelvane_get_seu_pl_uncorrectable(0, &state), 0);
    EXPECT_EQ(state, 0u);
    close_gate();
    state = 9;
    EXPECT_EQ(kelvane_get_seu_pl_uncorrectable(0, &state), 64174);
    EXPECT_EQ(state, 9u);
    EXPECT_EQ(kelvane_get_ddr_ecc_counters(0, &counters), 64174);
    EXPECT_EQ(kelvane_get_ddr_ecc_counters(1, &counters), 22);
}

TEST_F(keep_alive_test, a_token_that_was_never_written_counts_as_dead_whatever_is_echoed)
{
    the_bar.word[0x01C0C00C] = 0x17000001;
    the_bar.fail_from = the_bar.access_number + 1;
    EXPECT_EQ(exchange(), 0); // the callback's result
    EXPECT_EQ(record.keep_alive_status, 2u);
    EXPECT_EQ(heard, (std::vector<heard_status>{{64174, 2}}));
}

} // namespace
