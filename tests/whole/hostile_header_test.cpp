// Messages from the card with impossible headers, on every mailbox that the library reads: each pair of the
// header's words at its limits and beyond. Whatever happens ends with a code that has a meaning, nothing but
// the outputs is written, no lock stays, and the next good exchange works.
#include <algorithm>
#include <array>
#include <vector>

#include "background/response_thread.h"
#include "core/handle.h"
#include "core/semaphore.h"
#include "dap/dap_channel.h"
#include "kelvane_handle.h"
#include "mbox/receive.h"
#include "support/library.h"
#include "support/promises.h"

namespace {

constexpr uint32_t HEADER_WORDS = 6; // cmd, ref_id, size, version, sy, rc
constexpr uint32_t REFERENCE = 0x4321;
constexpr uint32_t NOTHING_FIXED = HEADER_WORDS;
constexpr uint32_t SYNC_FIXED = 4;

using header_words = std::array<uint32_t, HEADER_WORDS>;

// The last command, what an area holds, the newest version, the last slot.
constexpr header_words LIMIT = {65, REFERENCE, 1978, 1, 16, 1};

// A mailbox of sirane 0, and a good message in it.
struct mailbox_row {
    uint32_t mbox;
    uint32_t base;
    header_words good;
};

constexpr mailbox_row RESPONSE = {0, 0x01C02000, {2, REFERENCE, 4, 0, 0, 0}};
constexpr mailbox_row PERFORMANCE = {1, 0x01C08000, {24, REFERENCE, 116, 1, 13, 0}};
constexpr mailbox_row ALARMS = {2, 0x01C04000, {35, REFERENCE, 14, 0, 14, 0}};
constexpr mailbox_row ANSWER = {0, 0x01C02000, {9, REFERENCE, 4, 0, 0xFF00FF00, 0}};
constexpr mailbox_row DAP = {4, 0x01F08000 - 0x100, {54, REFERENCE, 8, 0, 0xFF00FF00, 0}};

uint32_t callbacks = 0;

template <typename... arguments> int32_t count(arguments...)
{
    callbacks++;
    return 0;
}

class hostile_header_test : public firmware_test {
  protected:
    hostile_header_test()
    {
        trace_level_mask_set(0);
        the_bar.record = false;
        the_bar.word[0x01F04004] = 0x00050015; // 5.21: a drain does not wait for a subscription
        time.on_sleep([this] { run_woken_threads(); });
    }

    static void fill_request_table()
    {
        const auto put = [](uint32_t slot, uint32_t command, kelvane_asynch_type type, auto callback) {
            asynch_req_t &record = local_handles_array[0].asynch_req_array[0][slot];
            record = {};
            record.signature = 0xCCBBDD11;
            record.asynch_op_type = type;
            record.header = {command, REFERENCE, 4, 0, slot, 0};
            record.fn_cb = reinterpret_cast<asynch_callback>(callback);
        };
        put(0, 2, KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH, kelvane_set_laser_cb{count});
        put(13, 24, KELVANE_ASYNCH_TYPE_OP_PM, kelvane_pm_notify_cb{count});
        put(14, 35, KELVANE_ASYNCH_TYPE_OP_ALARM, kelvane_alarms_notify_cb{count});
    }

    void expect_good_exchange()
    {
        firmware.install();
        firmware.data = {0, 0xFF00FFFF, 0x9010, 0xCAFE};
        uint32_t value = 0;
        EXPECT_EQ(kelvane_read_register(0, 0xFF00FFFF, 0x9010, &value), 0);
        EXPECT_EQ(value, 0xCAFEu);
    }

    // Calls `read` for the good header with two words replaced. `fixed` is left alone.
    template <typename reader> void with_every_header(const mailbox_row &mailbox, uint32_t fixed, reader read)
    {
        const auto values = [&mailbox](uint32_t word) {
            return std::array{mailbox.good[word], 0u,          1u,         LIMIT[word],
                              LIMIT[word] + 1,    0xFFFFFFFFu, 0x9E3779B9u};
        };
        for (uint32_t pair = 0; pair < HEADER_WORDS * HEADER_WORDS; pair++) {
            const uint32_t first = pair / HEADER_WORDS;
            const uint32_t second = pair % HEADER_WORDS;
            for (uint32_t choice = 0; choice < 49 && first < second && first != fixed && second != fixed;
                 choice++) {
                header_words header = mailbox.good;
                header[first] = values(first)[choice / 7];
                header[second] = values(second)[choice % 7];
                fill_request_table();
                firmware.install();
                offer_message({header.begin(), header.end()}, {}, mailbox.base);
                EXPECT_TRUE(is_documented(read()));
                EXPECT_EQ(held_locks(), "");
                expect_good_exchange();
                ASSERT_FALSE(HasFailure())
                    << "mailbox " << mailbox.mbox << ", words " << first << " and " << second << std::hex
                    << ": " << header[first] << " and " << header[second];
            }
        }
    }

  private:
    // The library's response threads where there are none: whoever sleeps lets those that were woken pass.
    void run_woken_threads()
    {
        for (uint32_t pair = 0; !one_runs_ && pair < SIRANE_COUNT * MBOX_THREAD_COUNT; pair++) {
            const uint32_t sirane = pair / MBOX_THREAD_COUNT;
            const uint32_t mbox = pair % MBOX_THREAD_COUNT;
            kelvane_semaphore &semaphore = local_handles_array[0].mbox_semaphore[sirane][mbox];
            if (semaphore.semState == 1) {
                one_runs_ = true;
                kelvane_sem_take(&semaphore);
                kelvane_asyc_resp_common(0, sirane, mbox);
                one_runs_ = false;
            }
        }
    }

    bool one_runs_ = false;
};

TEST_F(hostile_header_test, to_the_threads)
{
    for (const mailbox_row &mailbox : {RESPONSE, PERFORMANCE, ALARMS}) {
        callbacks = 0;
        with_every_header(mailbox, NOTHING_FIXED,
                          [&mailbox] { return kelvane_asyc_resp_common(0, 0, mailbox.mbox); });
        EXPECT_GT(callbacks, 0u); // the good ones among them
    }
}

TEST_F(hostile_header_test, to_the_drain)
{
    for (const mailbox_row &mailbox : {RESPONSE, PERFORMANCE, ALARMS, ANSWER}) {
        with_every_header(mailbox, NOTHING_FIXED,
                          [&mailbox] { return kelvane_deque_resp_receive(0, 0xFF00FFFF, mailbox.mbox); });
    }
}

TEST_F(hostile_header_test, to_a_waiting_caller)
{
    with_every_header(ANSWER, SYNC_FIXED, [] { // an answer that says that it is for another is never taken
        struct {
            mbox_data_header header{};
            mbox_data data{};
            guarded_words behind;
        } output;
        const mbox_data_header asked = {9, REFERENCE, 4, 0, 0xFF00FF00, 0};
        const int32_t rc =
            manage_resp_receive(0, 0xFF00FFFF, MBOX_RESPONSE, &output.header, &output.data, asked);
        EXPECT_TRUE(output.behind.is_intact_behind(0));
        return rc;
    });
}

TEST_F(hostile_header_test, on_the_dap_channel)
{
    static uint32_t longest;
    with_every_header(DAP, NOTHING_FIXED, [] {
        the_dap_record.dap_ref_id = REFERENCE;
        the_dap_record.dap_callback = [](kelvane_handle, void *, const uint32_t *size) {
            longest = std::max(longest, *size);
            return 0;
        };
        return kelvane_dap_mbox_handler_manage_done_state(0, &the_dap_record);
    });
    EXPECT_GE(longest, 8u);
    EXPECT_LE(longest, 1024u);
}

} // namespace
