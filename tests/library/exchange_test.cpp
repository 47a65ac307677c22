// The exchange of a command as the wire sees it, and what each failure leaves behind; and of every command
// the words of its request, the result and output of a given answer, and what is checked first.
#include <algorithm>
#include <thread>

#include "mbox/model.h"
#include "mbox/receive.h"
#include "support/library.h"
#include "support/operations.h"
#include "support/promises.h"

namespace {

class exchange_test : public firmware_test {
  protected:
    int32_t read_register()
    {
        value = 0x5555;
        accesses();
        return kelvane_read_register(0, 0xFF00FFFF, 0x9010, &value);
    }

    // What comes back; the output is then in `written`.
    int32_t call(const operation_row &row, kelvane_handle handle, uint32_t address)
    {
        firmware.next_reference(0x1234);
        accesses();
        guarded_words out;
        const int32_t rc = row.run(handle, address, out.word);
        written.assign(out.word, std::ranges::find(out.word, guarded_words::UNWRITTEN));
        EXPECT_TRUE(out.is_intact_behind(written.size()));
        return rc;
    }

    uint32_t value = 0;
    words written;
};

constexpr char REQUEST[] = "r1c00004 w1c00100=9,1234,4,0,ff00ff00,0*2,ff00ffff,9010,0 w1c00000=4 r1c00004 "
                           "w1c00000=2";

TEST_F(exchange_test, one_command_word_by_word)
{
    firmware.data = {0, 0xFF00FFFF, 0x9010, 0xCAFE};
    EXPECT_EQ(read_register(), 0);
    EXPECT_EQ(value, 0xCAFEu);
    EXPECT_EQ(the_bar.check_alive, std::vector<uint32_t>(34, 1));
    EXPECT_EQ(accesses(), std::string(REQUEST) + " r1c02004 r1c02100+10 w1c02100=ffffffff*6 w1c02000=4 "
                                                 "r1c02004 w1c02000=2");
    EXPECT_EQ(time.now(), 500000u); // after closing
    firmware.rc = 0x8010000F;
    EXPECT_EQ(read_register(), ORDUNE_TIMEOUT);
    EXPECT_TRUE(log_contains("kelvane_dump_arm_error: ARM ERR 0x8010000f ORDUNE_TIMEOUT 2148532239 \n"));
    accesses();
    time.on_sleep([this] { EXPECT_EQ(accesses().empty(), time.now() == 11000000); });
    EXPECT_EQ(kelvane_diag_command(0, 0xFF00FFFF, 5), ORDUNE_TIMEOUT); // waits 10 ms before the send
    EXPECT_EQ(time.now(), 11500000u);
}

// What the firmware shows on its command mailbox, and what comes of it.
TEST_F(exchange_test, a_firmware_that_does_not_take_or_close)
{
    firmware.refuse = true;
    EXPECT_EQ(kelvane_get_laser(0, 0xFF0000FF, &value), 64173);
    firmware.next_reference(0x1234);
    EXPECT_EQ(read_register(), 64173);
    EXPECT_EQ(accesses(), std::string(REQUEST) + " w1c00000=2");
    EXPECT_TRUE(log_contains("kelvane_read_register: returned rc = 64173 on manage_cmd_send \n\n"));
    EXPECT_TRUE(log_contains("kelvane_get_laser: returned rc = 64173 on manage_cmd_send \n "));
    firmware.refuse = false;
    for (const auto &[state, code] : {std::pair{0u, 64175}, {0xFFFFFFFFu, 64171}, {6u, 64171}}) {
        the_bar.word[COMMAND_F] = state;
        EXPECT_EQ(read_register(), code) << state;
        EXPECT_EQ(accesses(), "r1c00004 w1c00000=2");
    }
    the_bar.record = false;
    firmware.install();
    the_bar.on_write = [follow = the_bar.on_write](uint32_t offset, uint32_t state) {
        offset == RESPONSE_H ? void() : follow(offset, state); // does not close
    };
    EXPECT_EQ(read_register(), 110);
    EXPECT_EQ(the_bar.word[RESPONSE_H], 2u);
    EXPECT_TRUE(log_contains("kelvane_close_resp_mbox_handshake: state on MBOX not available "));
    the_bar.word[COMMAND_F] = 4; // never idle
    the_bar.access_number = 0;
    log_lines();
    const uint64_t before = time.now();
    EXPECT_EQ(read_register(), 110);
    EXPECT_EQ(the_bar.access_number, 600002u); // the polls, idle by the time-out, idle by the failure exit
    EXPECT_EQ(time.now() - before, 599999u * 500000ull);
    EXPECT_EQ(the_bar.word[COMMAND_H], 2u);
    EXPECT_LT(log_lines().size(), 30u); // a long poll fills no log
    EXPECT_TRUE(log_contains("manage_cmd_send: state on MBOX not available "));
    EXPECT_EQ(trace_level_mask_get(), 127u);
    the_bar.word[COMMAND_F] = 2; // idle for ever: never taken for one that accepts
    the_bar.on_write = nullptr;
    EXPECT_EQ(read_register(), 110);
    EXPECT_EQ(the_bar.word[COMMAND_H], 2u);
}

TEST_F(exchange_test, every_failing_access_ends_a_command_with_its_locks_free)
{
    for (uint64_t n = 1; n <= 34; n++) {
        firmware.install();
        the_bar.fail_from = the_bar.access_number + n;
        // Failing to wipe the received header is the one failure that nobody hears of.
        const bool wiping = n >= 26 && n <= 31;
        EXPECT_EQ(read_register(), wiping ? 0 : 64174) << n;
        EXPECT_EQ(value, wiping ? 0u : 0x5555u) << n;
        EXPECT_EQ(held_locks(), "");
    }
}

TEST_F(exchange_test, answers_that_do_not_belong_to_the_request)
{
    // The word of the header, its value, the result. Sizes are words, compared with bytes, and another
    // command of that size passes.
    const std::tuple<size_t, uint32_t, int32_t> cases[] = {
        {0, COMMAND_COUNT, 64173}, {0, 54, 64173}, {0, 10, 0}, {1, 7, 64173}, {2, 15, 0}, {2, 16, 64173},
        {2, 0xFFFFFFFF, 64173},    {3, 1, 64173}};
    for (const auto &[word, changed, code] : cases) {
        firmware.spoil = [at = word, to = changed](words &header) { header[at] = to; };
        firmware.next_reference(0x1234);
        EXPECT_EQ(read_register(), code) << word << changed;
        EXPECT_NE(accesses().find(code == 0 ? " w1c02000=4 " : " w1c02000=10 "), std::string::npos);
    }
    EXPECT_EQ(
        kelvane_validate_header({0, 0xFF00FFFF}, 7, {CMD_GET_XPM2_INVENTORY_INF, 7, 59, 0, 0xFF00FF00, 0}),
        true); // older
}

TEST_F(exchange_test, an_answer_that_comes_late_or_for_another_or_never)
{
    firmware.answer = false;
    shorten_waits();
    EXPECT_EQ(read_register(), 110);
    EXPECT_EQ(time.sleeps(), 2000u);
    EXPECT_EQ(the_bar.word.count(RESPONSE_H), 0u);        // no state is written
    for (const uint64_t offered_after : {1999u, 1998u}) { // with the very last poll, and the one before
        const uint64_t before = time.sleeps();
        time.on_sleep([&] {
            if (time.sleeps() - before == offered_after) {
                offer_message({CMD_READ_REGISTER, firmware.request_header[1], 4, 0, 0xFF00FF00, 0},
                              {1, 2, 3, 4});
            }
        });
        EXPECT_EQ(read_register(), offered_after == 1999 ? 110 : 0);
        EXPECT_EQ(the_bar.word[RESPONSE_H], 2u); // closed all the same
    }
    EXPECT_EQ(value, 4u);
    time.on_sleep([] {});
    local_handles_array[0].low_prio_tid = kelvane_gettid();
    offer_message({CMD_READ_REGISTER, 0x1234, 4, 0, 0xD, 0}, {1, 2, 3, 4});
    EXPECT_EQ(read_register(), 110);
    EXPECT_TRUE(log_contains("manage_resp_receive: TIMEOUT EXPIRED_ON_LOW_PRIO "));
    EXPECT_EQ(the_bar.word[RESPONSE_F], 4u); // a message of another is left alone
    EXPECT_EQ(the_bar.word[RESPONSE_AREA], 9u);
    const uint64_t before = time.sleeps(); // until the firmware is found dead
    time.on_sleep([&] { set_watch(1, time.sleeps() - before == 5 ? 2 : 1); });
    EXPECT_EQ(read_register(), 64174);
    EXPECT_EQ(time.sleeps() - before, 5u);
}

TEST_F(exchange_test, a_response_mutex_that_is_not_to_be_had_or_given_away_in_the_middle)
{
    kelvane_mutex *mutex = &sirane_0.answers[0].response_mutex;
    the_bar.on_write = [&, follow = the_bar.on_write](uint32_t offset, uint32_t state) {
        follow(offset, state);
        if (offset == RESPONSE_AREA) { // the wiping of the header
            kelvane_mutex_unlock(mutex);
            kelvane_mutex_unlock(&sirane_0.command_mutex);
        }
    };
    EXPECT_EQ(read_register(), 64172);
    EXPECT_EQ(value, 0x5555u);
    EXPECT_GT(log_text().rfind("unlock mutex"), log_text().rfind("on manage_resp_receive")); // reported first
    std::thread([&] { kelvane_mutex_lock(mutex); }).join();
    // The failing release of the mutex outranks the lock's own time-out.
    EXPECT_EQ(read_register(), 64172);
    EXPECT_GE(time.now(), 360000000000u);
}

// Addresses that each kind of check refuses.
const words refused_by[] = {
    {0xFF03FFFF}, {0xFF03FFFF, 0xFF00FF00}, {0xFF03FFFF, 0xFF0000FF}, {0xFF03FFFF, 0xFF0000FF}, {}, {}};

TEST_F(exchange_test, requests_and_results_of_every_command)
{
    for (const operation_row &row : command_rows) {
        SCOPED_TRACE(row.name);
        words request = {0};
        if (row.checks != CARD) {
            request.push_back(row.address());
        }
        request.insert(request.end(), row.request.begin(), row.request.end());
        request.resize(row.header[1]);
        const uint32_t sync = row.header.size() > 3 ? row.header[3] : 0xFF00FF00;
        firmware.answer = row.result != NO_ANSWER;
        firmware.data = {0, row.address()};
        firmware.data.insert(firmware.data.end(), row.answer.begin(), row.answer.end());
        for (const uint32_t rc : {0u, 0x80100005u}) { // the output is written all the same
            firmware.rc = rc;
            EXPECT_EQ(call(row, 0, row.address()), row.result == RC ? static_cast<int32_t>(rc) : 0);
            EXPECT_EQ(written, row.output);
            EXPECT_EQ(firmware.request_data, request);
            EXPECT_EQ(firmware.request_header,
                      (words{row.header[0], 0x1234, row.header[1], row.header[2], sync, 0}));
        }
    }
}

TEST_F(exchange_test, a_failure_writes_no_output_and_checks_come_first)
{
    firmware.refuse = true;
    for (const operation_row &row : command_rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(call(row, 0, row.address()), 64173);
        EXPECT_TRUE(written.empty());
        local_handles_array[0].pci_mapped = 0;
        EXPECT_EQ(call(row, 0, row.address()), 64174);
        local_handles_array[0].pci_mapped = 1;
        for (const uint32_t address : refused_by[row.checks]) {
            EXPECT_EQ(call(row, 0, address), 22) << std::hex << address;
            EXPECT_EQ(accesses(), "");
        }
        EXPECT_EQ(call(row, 1, row.address()), row.checks == NOTHING ? 64170 : 22);
    }
    uint32_t check = 0;
    EXPECT_EQ(kelvane_get_zynq_rsa_check(0, 1, &check), 64173);
    accesses();
    EXPECT_EQ(kelvane_write_register(0, 0xFF03FFFF, 1, 2), 64170);
    EXPECT_TRUE(log_contains("get_mbox_handler: invalid parameter sirane_id 3 mbox 3 \n"));
    EXPECT_EQ((std::vector{kelvane_set_pm_parameters(0, 0xFF00FFFF, 65),
                           kelvane_get_zynq_rsa_check(0, 3, &check), kelvane_get_zynq_rsa_check(0, 0, &check),
                           kelvane_enable_pm_notify(0, 0xFF00FFFF, 1, nullptr),
                           kelvane_enable_alarms_notify(0, 0xFF00FFFF, 1, nullptr),
                           kelvane_enable_alarms_notify(0, 0xFF00FFFF, 2, nullptr)}),
              std::vector(6, 22));
    EXPECT_EQ(accesses(), "");
}

} // namespace
