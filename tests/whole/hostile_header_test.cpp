// Messages from the card with impossible headers, on every mailbox that the library reads: each word of the
// header, and every pair of them, at its limits and beyond. Whatever happens ends with a code that has a
// meaning, nothing but the outputs is written, no lock stays, and the next good exchange works.
#include <algorithm>
#include <array>
#include <vector>

#include "background/response_thread.h"
#include "core/handle.h"
#include "core/semaphore.h"
#include "dap/dap_channel.h"
#include "kelvane_handle.h"
#include "mbox/receive.h"
#include "support/handshake.h"
#include "support/library.h"
#include "support/promises.h"

namespace {

constexpr uint32_t HEADER_WORDS = 6; // cmd, ref_id, size, version, sy, rc
constexpr uint32_t REFERENCE = 0x4321;
constexpr uint32_t CANARY = 0x5AFE5AFE;

using header_words = std::array<uint32_t, HEADER_WORDS>;

// A mailbox of sirane 0, and a good message in it.
struct mailbox_row {
    const char *name;
    uint32_t mbox;
    uint32_t hosts_state; // the card's is the word behind it
    uint32_t area;
    header_words good;
};

constexpr mailbox_row RESPONSE = {"response", 0, 0x01C02000, 0x01C02100, {2, REFERENCE, 4, 0, 0, 0}};
constexpr mailbox_row PERFORMANCE = {
    "performance", 1, 0x01C08000, 0x01C08100, {24, REFERENCE, 116, 1, 13, 0}};
constexpr mailbox_row ALARMS = {"alarms", 2, 0x01C04000, 0x01C04100, {35, REFERENCE, 14, 0, 14, 0}};
constexpr mailbox_row ANSWER = {
    "a synchronous answer", 0, 0x01C02000, 0x01C02100, {9, REFERENCE, 4, 0, 0xFF00FF00, 0}};
constexpr mailbox_row DAP = {"DAP", 4, 0x01C0C000, 0x01F08000, {54, REFERENCE, 8, 0, 0xFF00FF00, 0}};

// The last command, what an area holds, the newest version, the last slot.
constexpr header_words LIMIT = {65, REFERENCE, 1978, 1, 16, 1};

uint32_t callbacks = 0;

template <typename... arguments> int32_t count(arguments...)
{
    callbacks++;
    return 0;
}

class hostile_header_test : public library_test {
  protected:
    hostile_header_test()
    {
        start_library();
        trace_level_mask_set(0);
        the_bar.record = false;
        the_bar.word[0x01F04004] = 0x00050015; // 5.21: a drain does not wait for a subscription
        time.on_sleep([this] { run_woken_threads(); });
    }

    // The card follows the host's handshake on the mailbox, for one message.
    static void offer(const mailbox_row &mailbox, const header_words &header)
    {
        for (uint32_t i = 0; i < HEADER_WORDS; i++) {
            the_bar.word[mailbox.area + 4 * i] = header[i];
        }
        the_bar.word[mailbox.hosts_state + 4] = 4;
        the_bar.on_write = [mailbox](uint32_t offset, uint32_t) {
            if (offset == mailbox.hosts_state) {
                the_bar.word[mailbox.hosts_state + 4] = 2;
            }
        };
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

    static void expect_good_exchange()
    {
        answering_firmware firmware;
        firmware.data = {0, 0xFF00FFFF, 0x9010, 0xCAFE};
        firmware.install();
        uint32_t value = 0;
        EXPECT_EQ(kelvane_read_register(0, 0xFF00FFFF, 0x9010, &value), 0);
        EXPECT_EQ(value, 0xCAFEu);
        the_bar.on_write = nullptr;
    }

    // Calls `read` for the good header with one word, and with two words, replaced. `fixed` is left alone.
    template <typename reader> void with_every_header(const mailbox_row &mailbox, uint32_t fixed, reader read)
    {
        const auto values = [&mailbox](uint32_t word) {
            return std::vector<uint32_t>{mailbox.good[word], 0,          1,         LIMIT[word],
                                         LIMIT[word] + 1,    0xFFFFFFFF, 0x9E3779B9};
        };
        for (uint32_t first = 0; first < HEADER_WORDS; first++) {
            for (uint32_t second = first + 1; second < HEADER_WORDS; second++) {
                if (first == fixed || second == fixed) {
                    continue;
                }
                for (const uint32_t first_value : values(first)) {
                    for (const uint32_t second_value : values(second)) {
                        header_words header = mailbox.good;
                        header[first] = first_value;
                        header[second] = second_value;
                        SCOPED_TRACE(testing::Message()
                                     << mailbox.name << std::hex << ": word " << first << " " << first_value
                                     << ", " << second << " " << second_value);
                        fill_request_table();
                        offer(mailbox, header);
                        EXPECT_TRUE(is_documented(read()));
                        EXPECT_EQ(held_locks(), "");
                        expect_good_exchange();
                        if (HasFailure()) {
                            return;
                        }
                    }
                }
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

constexpr uint32_t NOTHING_FIXED = HEADER_WORDS;
constexpr uint32_t SYNC_FIXED = 4;

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
            uint32_t behind[8] = {CANARY, CANARY, CANARY, CANARY, CANARY, CANARY, CANARY, CANARY};
        } output;
        const mbox_data_header asked = {9, REFERENCE, 4, 0, 0xFF00FF00, 0};
        const int32_t rc =
            manage_resp_receive(0, 0xFF00FFFF, MBOX_RESPONSE, &output.header, &output.data, asked);
        EXPECT_EQ(std::ranges::count(output.behind, CANARY), 8);
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
