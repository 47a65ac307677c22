// The bytes of a DAP message in both directions, at their limits.
#include <cstring>

#include "core/mutex.h"
#include "core/transaction_id.h"
#include "dap/dap_channel.h"
#include "support/library.h"

namespace {

struct {
    int calls;
    uint32_t size;
    uint8_t last;
    int32_t returns;
} heard;

int32_t on_answer(kelvane_handle, void *data, const uint32_t *size)
{
    heard.calls++;
    heard.size = *size;
    heard.last = *size == 0 ? 0 : static_cast<const uint8_t *>(data)[*size - 1];
    return heard.returns;
}

class dap_message_test : public library_test {
  protected:
    dap_message_test()
    {
        turn_log_on();
        start_library();
        heard = {};
        kelvane_transaction_counter.next = 0x42;
        for (uint32_t i = 0; i < sizeof bytes; i++) {
            bytes[i] = static_cast<uint8_t>(i + 1);
        }
        log_lines();
    }

    void show_answer(uint32_t ref_id, uint32_t size, uint32_t rc)
    {
        const uint32_t header[] = {54, ref_id, size, 0, 0xFF00FF00, rc};
        for (uint32_t i = 0; i < 6; i++) {
            the_bar.word[0x01F08000 + 4 * i] = header[i];
        }
        for (uint32_t i = 0; i < 256; i++) {
            the_bar.word[0x01F08018 + 4 * i] = 0xA5A5A5A5;
        }
    }

    dap_record &record = the_dap_record;
    uint8_t bytes[1024];
};

TEST_F(dap_message_test, sizes_on_the_way_out)
{
    const struct {
        uint32_t size, words, last_word;
    } cases[] = {{0, 0, 0},
                 {1, 1, 0x01},
                 {4, 1, 0x04030201},
                 {5, 2, 0x05},
                 {1023, 256, 0x00FFFEFD},
                 {1024, 256, 0x00FFFEFD}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.size);
        memset(record.dap_buffer, 0xEE, sizeof record.dap_buffer); // of an earlier message
        the_bar.take_accesses();
        EXPECT_EQ(kelvane_dap_mbox_handler_set_data(&record, bytes, c.size, on_answer), 0);
        EXPECT_EQ(kelvane_dap_mbox_handler_move_data_to_regs(0, &record), 0);
        EXPECT_EQ(the_bar.take_accesses().size(), 2 * (6 + c.words));
        EXPECT_EQ(the_bar.word[0x01F08008], c.size);
        if (c.words != 0) {
            EXPECT_EQ(the_bar.word[0x01F08018 + 4 * (c.words - 1)], c.last_word);
        }
    }
}

TEST_F(dap_message_test, a_message_too_large_is_refused_and_the_line_shows_its_first_word)
{
    uint8_t large[1025] = {0x39, 0x30};
    const uint32_t size = sizeof large;
    EXPECT_EQ(kelvane_dap_command(0, large, &size, on_answer), 22);
    EXPECT_TRUE(log_has("ERROR kelvane_dap_mbox_handler_set_data: size = 12345  too big !!! "));
    EXPECT_EQ(record.dap_pending, 0u);
}

TEST_F(dap_message_test, the_trace_prints_one_word_more_than_there_are_and_reads_none)
{
    auto *exact = new uint8_t[8]{1, 0, 0, 0, 2, 0, 0, 0}; // the sanitizer watches its end
    EXPECT_EQ(kelvane_dap_mbox_handler_set_data(&record, exact, 8, on_answer), 0);
    delete[] exact;
    const std::string prefix = "LOWPR kelvane_dap_mbox_handler_set_data: ";
    EXPECT_EQ(log_lines(),
              (std::vector<std::string>{prefix + "size=8 spare=0 32bit_word=2", prefix + " 0x00000001 ",
                                        prefix + " 0x00000002 ", prefix + " 0x00000000 "}));
}

TEST_F(dap_message_test, a_word_that_is_not_written_ends_the_writing_and_is_no_failure)
{
    kelvane_dap_mbox_handler_set_data(&record, bytes, 8, on_answer);
    the_bar.next_values[0x01F08004] = {0xBAD};
    the_bar.take_accesses();
    EXPECT_EQ(kelvane_dap_mbox_handler_move_data_to_regs(0, &record), 0);
    EXPECT_EQ(the_bar.take_accesses().size(), 4u);
    EXPECT_TRUE(log_has("ERROR kelvane_dap_mbox_handler_move_data_to_regs: VALUE NOT WRITTEN written "
                        "00000042 read 00000bad  "));
    for (uint64_t n = 1; n <= 16; n++) {
        the_bar.fail_from = the_bar.access_number + n;
        EXPECT_EQ(kelvane_dap_mbox_handler_move_data_to_regs(0, &record), 64174);
    }
}

TEST_F(dap_message_test, answers)
{
    const struct {
        uint32_t ref_id, size, rc;
        int32_t code;
        int calls;
        uint64_t words_read;
    } cases[] = {
        {0x42, 0, 0, 0, 1, 0},     {0x42, 1023, 0, 0, 1, 256},     {0x42, 1024, 0, 64173, 0, 0},
        {0x43, 4, 0, 64173, 0, 0}, {0x42, 4, 0x80010001, 0, 0, 0}, {0x42, 0xFFFFFFFF, 0, 64173, 0, 0},
        {0x42, 5, 0, 0, 1, 2},
    };
    record.dap_ref_id = 0x42;
    record.dap_callback = on_answer;
    for (const auto &c : cases) {
        SCOPED_TRACE(c.size);
        heard.calls = 0;
        show_answer(c.ref_id, c.size, c.rc);
        the_bar.take_accesses();
        EXPECT_EQ(kelvane_dap_mbox_handler_manage_done_state(0, &record), c.code);
        EXPECT_EQ(heard.calls, c.calls);
        EXPECT_EQ(the_bar.take_accesses().size(), 6 + c.words_read);
        if (c.calls == 1) {
            EXPECT_EQ(heard.size, c.size);
            EXPECT_EQ(heard.last, c.size == 0 ? 0 : 0xA5);
        }
    }
}

TEST_F(dap_message_test, an_answer_that_nobody_wants_and_one_whose_callback_fails)
{
    record.dap_ref_id = 0x42;
    record.dap_callback = nullptr;
    show_answer(0x42, 4, 0);
    EXPECT_EQ(kelvane_dap_mbox_handler_manage_done_state(0, &record), 0);
    EXPECT_TRUE(log_has("ERROR kelvane_dap_mbox_handler_manage_done_state:  callback not evaluated "));
    record.dap_callback = on_answer;
    heard.returns = 5;
    EXPECT_EQ(kelvane_dap_mbox_handler_manage_done_state(0, &record), 0);
    EXPECT_TRUE(log_has("ERROR kelvane_dap_mbox_handler_manage_done_state:  ERROR FROM callback rc = 5  "));
}

TEST_F(dap_message_test, failures_around_a_message)
{
    ASSERT_EQ(kelvane_mutex_lock(&kelvane_transaction_counter.mutex), 0);
    the_bar.take_accesses();
    EXPECT_EQ(kelvane_dap_mbox_handler_move_data_to_regs(0, &record), 64172);
    EXPECT_TRUE(the_bar.take_accesses().empty());
    kelvane_mutex_unlock(&kelvane_transaction_counter.mutex);

    record.dap_ref_id = 0x42;
    record.dap_callback = on_answer;
    show_answer(0x42, 8, 0);
    for (uint64_t n = 1; n <= 8; n++) { // header and data
        the_bar.fail_from = the_bar.access_number + n;
        EXPECT_EQ(kelvane_dap_mbox_handler_manage_done_state(0, &record), 64174) << n;
    }
    EXPECT_EQ(heard.calls, 0);
}

} // namespace
