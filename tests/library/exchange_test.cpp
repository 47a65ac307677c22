// The exchange of one command as the wire sees it, and what each failure leaves behind.
#include <algorithm>
#include <thread>

#include "core/handle.h"
#include "core/mutex.h"
#include "core/transaction_id.h"
#include "mbox/command.h"
#include "mbox/model.h"
#include "mbox/receive.h"
#include "mbox/send.h"
#include "mbox/state.h"
#include "support/handshake.h"
#include "support/library.h"

namespace {

class exchange_test : public library_test {
  protected:
    exchange_test()
    {
        turn_log_on();
        start_library();
        firmware.install();
        kelvane_transaction_counter.next = 0x1234;
        the_bar.take_accesses();
        log_lines();
    }

    int32_t send(uint32_t words = 4)
    {
        const uint32_t data[8] = {0, 0xFF00FFFF, 0x9010, 0, 0, 0, 0, 0};
        return manage_cmd_send(0, 0xFF00FFFF, 3, {9, 0x1234, words, 0, 0xFF00FF00, 0}, data);
    }

    // The mutexes are free again, whatever happened.
    void expect_locks_free()
    {
        for (kelvane_mutex *mutex :
             {&local_handles_array[0].command_mutex[0], &local_handles_array[0].response_mutex[0][0]}) {
            EXPECT_EQ(kelvane_mutex_get_owner(mutex), 0);
            EXPECT_EQ(kelvane_mutex_lock(mutex), 0);
            kelvane_mutex_unlock(mutex);
        }
    }

    answering_firmware firmware;
};

const std::vector<std::string> register_read_on_the_wire = {
    "R 01c00004",          "W 01c00100=00000009", "W 01c00104=00001234", "W 01c00108=00000004",
    "W 01c0010c=00000000", "W 01c00110=ff00ff00", "W 01c00114=00000000", "W 01c00118=00000000",
    "W 01c0011c=ff00ffff", "W 01c00120=00009010", "W 01c00124=00000000", "W 01c00000=00000004",
    "R 01c00004",          "W 01c00000=00000002", "R 01c02004",          "R 01c02100",
    "R 01c02104",          "R 01c02108",          "R 01c0210c",          "R 01c02110",
    "R 01c02114",          "R 01c02118",          "R 01c0211c",          "R 01c02120",
    "R 01c02124",          "W 01c02100=ffffffff", "W 01c02104=ffffffff", "W 01c02108=ffffffff",
    "W 01c0210c=ffffffff", "W 01c02110=ffffffff", "W 01c02114=ffffffff", "W 01c02000=00000004",
    "R 01c02004",          "W 01c02000=00000002",
};

TEST_F(exchange_test, one_command_word_by_word)
{
    firmware.data = {0, 0xFF00FFFF, 0x9010, 0xCAFE};
    uint32_t value = 0;
    EXPECT_EQ(kelvane_read_register(0, 0xFF00FFFF, 0x9010, &value), 0);
    EXPECT_EQ(value, 0xCAFEu);
    EXPECT_EQ(the_bar.check_alive, std::vector<uint32_t>(34, 1));
    EXPECT_EQ(the_bar.take_accesses(), register_read_on_the_wire); // 34 of them
    EXPECT_EQ(time.sleeps(), 1u);                                  // after closing, and none before
    EXPECT_EQ(time.now(), 500000u);
    expect_locks_free();
}

TEST_F(exchange_test, a_firmware_that_never_becomes_idle)
{
    the_bar.word[COMMAND_F] = 4;
    the_bar.record = false;
    EXPECT_EQ(send(), 110);
    EXPECT_EQ(the_bar.access_number, 600002u); // the polls, idle by the time-out, idle by the failure exit
    EXPECT_EQ(time.now(), 599999u * 500000ull);
    EXPECT_EQ(the_bar.word[COMMAND_H], 2u);
    const std::vector<std::string> lines = log_lines();
    EXPECT_EQ(
        lines[lines.size() - 5],
        "ERROR mbox_wait_for_state: TIMEOUT EXPIRED on reg 01c00004 polling number=0 waited 0x00000004");
    EXPECT_EQ(
        lines[lines.size() - 3],
        "ERROR manage_cmd_send: state on MBOX not available reg_address = 01c00004  read_state = 00000004 ");
    EXPECT_EQ(lines[lines.size() - 1], "DEBUG manage_cmd_send: end mbox = 3 ");
    EXPECT_LT(lines.size(), 40u); // a long poll fills no log
}

TEST_F(exchange_test, a_firmware_that_never_accepts)
{
    the_bar.on_write = nullptr;
    EXPECT_EQ(send(), 110);
    EXPECT_EQ(time.sleeps(), 599999u);
    the_bar.take_accesses();
    // A firmware that stays at idle is never taken for one that accepts.
    EXPECT_EQ(the_bar.word[COMMAND_H], 2u);
}

TEST_F(exchange_test, a_refused_message)
{
    firmware.refuse = true;
    EXPECT_EQ(send(), 64173);
    std::vector<std::string> accesses = the_bar.take_accesses();
    EXPECT_EQ(accesses[accesses.size() - 2], "W 01c00000=00000002");
    EXPECT_EQ(accesses[accesses.size() - 1], "W 01c00000=00000002");
    EXPECT_TRUE(log_has("ERROR manage_cmd_send: received 0x00000010 on mbox 3  returning 0x0000faad "));
}

TEST_F(exchange_test, a_state_register_that_shows_no_state)
{
    const struct {
        uint32_t state;
        int32_t code;
    } cases[] = {{0, 64175}, {0xFFFFFFFF, 64171}, {6, 64171}, {1, 64171}, {4096, 64171}};
    for (const auto &c : cases) {
        the_bar.word[COMMAND_F] = c.state;
        EXPECT_EQ(send(), c.code) << c.state;
        EXPECT_EQ(the_bar.take_accesses(), (std::vector<std::string>{"R 01c00004", "W 01c00000=00000002"}));
        EXPECT_TRUE(log_has("ERROR mbox_wait_for_state: fail: unable to read reg 01c00004 "));
    }
}

TEST_F(exchange_test, a_dead_link_is_waited_out_where_the_firmware_need_not_be_up)
{
    the_bar.word[0x01C0C00C] = 0xFFFFFFFF; // the keep-alive echo: the mailbox with the shortest wait
    trace_level_mask_set(64 | 1);
    uint32_t state = 0;
    EXPECT_EQ(mbox_wait_for_state(0, 0xFF00FFFF, get_mbox_handler(0, 5), 2, MATCH_EXACT, 0, &state), 110);
    EXPECT_EQ(time.sleeps(), 1999u);
    EXPECT_EQ(the_bar.take_accesses().back(), "W 01c0c008=00000002");
    uint32_t told = 0;
    for (const std::string &line : log_lines()) {
        told += line ==
                "LOWPR mbox_wait_for_state: state read = ffffffff DEFAULT PCI ERROR VALUE, EXECUTION NOT "
                "STOPPED";
    }
    EXPECT_EQ(told, 2000u); // on each poll
    the_bar.word[COMMAND_F] = 0;
    the_bar.record = false;
    EXPECT_EQ(mbox_wait_for_state(0, 0xFF00FFFF, get_mbox_handler(0, 3), 2, MATCH_EXACT, 0, &state), 110);
    EXPECT_EQ(trace_level_mask_get(), 65u);
}

TEST_F(exchange_test, no_words_no_data)
{
    EXPECT_EQ(send(0), 0);
    EXPECT_EQ(the_bar.take_accesses().size(), 10u);
}

TEST_F(exchange_test, every_failing_access_of_a_command_ends_it_with_its_locks_free)
{
    for (uint64_t n = 1; n <= 34; n++) {
        firmware.install();
        the_bar.fail_from = the_bar.access_number + n;
        uint32_t value = 0x5555;
        const int32_t rc = kelvane_read_register(0, 0xFF00FFFF, 0x9010, &value);
        // Failing to wipe the received header is the one failure that nobody hears of.
        const bool wiping = n >= 26 && n <= 31;
        EXPECT_EQ(rc, wiping ? 0 : 64174) << n;
        EXPECT_EQ(value, wiping ? 0u : 0x5555u) << n;
        expect_locks_free();
        firmware.install();
        EXPECT_EQ(kelvane_read_register(0, 0xFF00FFFF, 0x9010, &value), 0) << n; // the next one works
    }
}

TEST_F(exchange_test, answers_that_do_not_belong_to_the_request)
{
    const struct {
        const char *what;
        size_t word;
        uint32_t value;
        int32_t code;
        const char *line;
    } cases[] = {
        {"command", 0, 66, 64173, "ERROR kelvane_validate_header:  problem with command number "},
        {"command all ones", 0, 0xFFFFFFFF, 64173,
         "ERROR kelvane_validate_header:  problem with command number "},
        {"newer version", 3, 1, 64173,
         "ERROR kelvane_validate_header:  problem with version expected=0x00000000 received=0x00000001"},
        {"size at the limit", 2, 16, 64173,
         "ERROR kelvane_validate_header:  problem with size expected=0x00000010 received=0x00000010"},
        {"size one less", 2, 15, 0, nullptr},
        {"absurd size", 2, 0xFFFFFFFF, 64173,
         "ERROR kelvane_validate_header:  problem with size expected=0x00000010 received=0xffffffff"},
        {"reference", 1, 0, 64173, nullptr},
        {"another command of that size", 0, 10, 0, nullptr},
        {"DAP message", 0, 54, 64173,
         "ERROR kelvane_validate_header:  problem with size expected=0x00000000 received=0x00000004"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        the_bar.take_accesses();
        firmware.spoil = [&](std::vector<uint32_t> &header) { header[c.word] = c.value; };
        uint32_t value = 0x5555;
        EXPECT_EQ(kelvane_read_register(0, 0xFF00FFFF, 0x9010, &value), c.code);
        const std::vector<std::string> accesses = the_bar.take_accesses();
        const std::string answer = c.code == 0 ? "W 01c02000=00000004" : "W 01c02000=00000010";
        EXPECT_NE(std::find(accesses.begin(), accesses.end(), answer), accesses.end());
        EXPECT_LE(accesses.size(), 34u + 1978u); // no word beyond the message area
        if (c.line != nullptr) {
            EXPECT_TRUE(log_has(c.line));
        }
        expect_locks_free();
    }
}

TEST_F(exchange_test, an_older_version_passes)
{
    const mbox_data_header header = {38, 7, 59, 0, 0xFF00FF00, 0};
    EXPECT_EQ(kelvane_validate_header(0, 0xFF00FFFF, 7, header), 1u);
    EXPECT_EQ(kelvane_validate_header(0, 0xFF00FFFF, 8, header), 0u);
    EXPECT_TRUE(log_has(
        "ERROR kelvane_validate_header:  problem with ref_id expected=0x00000008 received=0x00000007 "));
}

TEST_F(exchange_test, an_error_word_is_delivered_and_logged)
{
    firmware.rc = 0x8010000F;
    firmware.data = {0, 0xFF00FFFF, 0x9010, 0xBEEF};
    uint32_t value = 0;
    EXPECT_EQ(kelvane_read_register(0, 0xFF00FFFF, 0x9010, &value), ORDUNE_TIMEOUT);
    EXPECT_EQ(value, 0xBEEFu); // written before the error word is looked at
    const std::string text = log_text();
    EXPECT_NE(text.find("kelvane_dump_arm_error: ARM ERR 0x8010000f ORDUNE_TIMEOUT 2148532239 \n"),
              std::string::npos);
    EXPECT_NE(text.find("read_mbox_header: ARM ERROR mbx_addr[0x1c02100], size[6]\n"), std::string::npos);
}

TEST_F(exchange_test, a_silent_firmware_times_out_and_no_state_is_written)
{
    firmware.answer = false;
    the_bar.record = false;
    uint32_t value = 0x5555;
    EXPECT_EQ(kelvane_read_register(0, 0xFF00FFFF, 0x9010, &value), 110);
    EXPECT_EQ(time.sleeps(), 600000u);
    EXPECT_EQ(value, 0x5555u);
    EXPECT_EQ(the_bar.word.count(RESPONSE_H), 0u);
    EXPECT_TRUE(log_has("ERROR manage_resp_receive: TIMEOUT EXPIRED on reg 01c02004 = polling_number=0 "));
    expect_locks_free();
}

TEST_F(exchange_test, an_answer_with_the_very_last_poll_counts_as_late)
{
    firmware.answer = false;
    the_bar.record = false;
    uint64_t offer_after = 599999; // sleeps of one command, of which the last but one precedes the last poll
    uint64_t before = 0;
    time.on_sleep([&] {
        if (time.sleeps() - before == offer_after) {
            offer_message({9, firmware.request_header[1], 4, 0, 0xFF00FF00, 0}, {1, 2, 3, 4});
        }
    });
    uint32_t value = 0;
    EXPECT_EQ(kelvane_read_register(0, 0xFF00FFFF, 0x9010, &value), 110);
    EXPECT_EQ(the_bar.word[RESPONSE_H], 2u); // closed all the same
    offer_after = 599998;
    before = time.sleeps();
    EXPECT_EQ(kelvane_read_register(0, 0xFF00FFFF, 0x9010, &value), 0);
    EXPECT_EQ(value, 4u);
}

TEST_F(exchange_test, a_message_of_another_is_left_alone)
{
    firmware.spoil = [](std::vector<uint32_t> &header) { header[4] = 0xD; };
    trace_level_mask_set(0);
    the_bar.record = false;
    uint32_t value = 0;
    EXPECT_EQ(kelvane_read_register(0, 0xFF00FFFF, 0x9010, &value), 110);
    EXPECT_EQ(the_bar.word[RESPONSE_F], 4u);
    EXPECT_EQ(the_bar.word[RESPONSE_AREA], 9u);
}

TEST_F(exchange_test, a_response_mutex_that_is_not_to_be_had)
{
    std::thread([&] { kelvane_mutex_lock(&local_handles_array[0].response_mutex[0][0]); }).join();
    uint32_t value = 0;
    // The failing release of the mutex outranks the lock's own time-out.
    EXPECT_EQ(kelvane_read_register(0, 0xFF00FFFF, 0x9010, &value), 64172);
    EXPECT_GE(time.now(), 360000000000u);
    EXPECT_EQ(kelvane_mutex_get_owner(&local_handles_array[0].command_mutex[0]), 0);
}

TEST_F(exchange_test, a_firmware_that_does_not_close)
{
    the_bar.on_write = [](uint32_t offset, uint32_t value) {
        if (offset == COMMAND_H && value == 4) {
            the_bar.word[COMMAND_F] = 4;
        } else if (offset == COMMAND_H && value == 2) {
            the_bar.word[COMMAND_F] = 2;
            offer_message({9, 0x1234, 4, 0, 0xFF00FF00, 0}, {0, 0, 0, 0});
        }
    };
    the_bar.record = false;
    uint32_t value = 0;
    EXPECT_EQ(kelvane_read_register(0, 0xFF00FFFF, 0x9010, &value), 110);
    EXPECT_EQ(the_bar.word[RESPONSE_H], 2u);
    EXPECT_TRUE(log_has("ERROR kelvane_close_resp_mbox_handshake: state on MBOX not available reg_address = "
                        "01c02004  read_state = 00000001 "));
    expect_locks_free();
}

TEST_F(exchange_test, the_states_that_can_be_answered)
{
    const mailbox_handler *mb = get_mbox_handler(0, 0);
    EXPECT_EQ(manage_resp_mbox_new_state(0, 0xFF00FFFF, mb, 2, 0), 0);
    EXPECT_EQ(manage_resp_mbox_new_state(0, 0xFF00FFFF, mb, 4, 1), 0);
    EXPECT_EQ(manage_resp_mbox_new_state(0, 0xFF00FFFF, mb, 4, 0), 0);
    EXPECT_EQ(manage_resp_mbox_new_state(0, 0xFF00FFFF, mb, 8, 1), 64170);
    EXPECT_EQ(manage_cmd_mbox_new_state(0, mb, 16), 0);
    EXPECT_EQ(the_bar.take_accesses(),
              (std::vector<std::string>{"W 01c02000=00000002", "W 01c02000=00000004", "W 01c02000=00000010",
                                        "W 01c02000=00000002"}));
}

TEST_F(exchange_test, one_look_hides_its_detail_after_the_third)
{
    const mailbox_handler *mb = get_mbox_handler(0, 0);
    uint32_t state = 0;
    EXPECT_EQ(mbox_check_for_state(0, 0xFF00FFFF, mb, 4, 3, &state), 0); // a state, though not the wanted one
    EXPECT_EQ(state, 2u);
    EXPECT_EQ(log_lines().size(), 3u);
    EXPECT_EQ(mbox_check_for_state(0, 0xFF00FFFF, mb, 4, 4, &state), 0);
    EXPECT_TRUE(log_lines().empty());
    EXPECT_EQ(trace_level_mask_get(), 127u);
    the_bar.word[RESPONSE_F] = 4;
    EXPECT_EQ(mbox_check_for_state(0, 0xFF00FFFF, mb, 4, 9, &state), 0);
    EXPECT_EQ(log_lines(),
              std::vector<std::string>{
                  "DEBUG mbox_check_for_state: FOUND 00000004 on waiting_state_mask 00000004 on reg "
                  "01c02004, attempts done incr_counter 9 "});
}

TEST_F(exchange_test, the_shared_path_dumps_the_header_of_a_failure)
{
    firmware.refuse = true;
    EXPECT_EQ(kelvane_set_arm_trace_level(0, 3), 64173);
    const std::string text = log_text();
    EXPECT_NE(text.find("kelvane_manage_sync_call: returned rc = 64173 on manage_cmd_send \n"),
              std::string::npos);
    EXPECT_NE(
        text.find(
            "ERROR Slot:00 trace_mbox_header: mbx 3 cmd 56 rfd 0x00001234 sz 2 ver 0 sy 0xff00ff00 rc 0x0"),
        std::string::npos);
    firmware.refuse = false;
    firmware.answer = false;
    the_bar.record = false;
    EXPECT_EQ(kelvane_set_arm_trace_level(0, 3), 110);
    EXPECT_TRUE(log_has("ERROR kelvane_manage_sync_call: returned rc = 110 on manage_resp_receive "));
}

TEST_F(exchange_test, a_sirane_or_card_that_is_not_there)
{
    EXPECT_EQ(kelvane_write_register(0, 0xFF03FFFF, 1, 2), 64170);
    EXPECT_EQ(kelvane_write_register(0, 0xFFFFFFFF, 1, 2), 64170);
    EXPECT_EQ(kelvane_write_register(1, 0xFF00FFFF, 1, 2), 64170);
    EXPECT_EQ(manage_cmd_send(0, 0xFF03FFFF, 3, {}, nullptr), 64170);
    EXPECT_EQ(kelvane_deque_resp_receive(0, 0xFF03FFFF, 0), 64170);
    EXPECT_EQ(kelvane_deque_resp_receive(0, 0xFF00FFFF, 3), 64170);
    EXPECT_TRUE(the_bar.take_accesses().empty());
}

TEST_F(exchange_test, a_mailbox_that_answers_nobody)
{
    mbox_data_header header{};
    mbox_data data{};
    for (const uint32_t mbox : {3u, 5u, 6u}) { // without a response mutex, or not there at all
        EXPECT_EQ(manage_resp_receive(0, 0xFF00FFFF, mbox, &header, &data, {}), 64170) << mbox;
    }
    EXPECT_TRUE(the_bar.take_accesses().empty());
}

TEST_F(exchange_test, a_response_mutex_that_is_given_away_in_the_middle)
{
    const std::function<void(uint32_t, uint32_t)> follow = the_bar.on_write;
    the_bar.on_write = [&](uint32_t offset, uint32_t value) {
        if (offset == RESPONSE_AREA) { // the wiping of the header
            kelvane_mutex_unlock(&local_handles_array[0].response_mutex[0][0]);
        }
        follow(offset, value);
    };
    uint32_t value = 0x5555;
    EXPECT_EQ(kelvane_read_register(0, 0xFF00FFFF, 0x9010, &value), 64172);
    EXPECT_EQ(value, 0x5555u);
    expect_locks_free();
}

TEST_F(exchange_test, a_wait_of_the_background_thread_says_so)
{
    local_handles_array[0].low_prio_tid = kelvane_gettid();
    firmware.answer = false;
    the_bar.record = false;
    uint32_t value = 0;
    EXPECT_EQ(kelvane_read_register(0, 0xFF00FFFF, 0x9010, &value), 110);
    EXPECT_TRUE(log_has("ERROR manage_resp_receive: TIMEOUT EXPIRED_ON_LOW_PRIO "));
}

} // namespace
