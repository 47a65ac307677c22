// The states of the DAP channel: every state with every event, and one exchange word by word.
#include "dap/dap_channel.h"

#include <cstring>
#include <thread>

#include "core/handle.h"
#include "core/mutex.h"
#include "core/semaphore.h"
#include "core/transaction_id.h"
#include "support/library.h"

namespace {

constexpr uint32_t H = 0x01C0C000;
constexpr uint32_t F = 0x01C0C004;

std::vector<std::vector<uint8_t>> answers;

int32_t on_answer(kelvane_handle, void *data, const uint32_t *size)
{
    const auto *bytes = static_cast<const uint8_t *>(data);
    answers.emplace_back(bytes, bytes + *size);
    return 0;
}

class dap_channel_test : public library_test {
  protected:
    dap_channel_test()
    {
        turn_log_on();
        start_library();
        answers.clear();
        log_lines();
    }

    // The state after the event, and what was written to the state register.
    dap_state on_event(dap_state before, uint32_t event, std::vector<uint32_t> *shown)
    {
        the_bar.take_accesses();
        record.dap_cmd = event;
        const dap_state next = before.handle_event(0, &record);
        shown->clear();
        for (const std::string &access : the_bar.take_accesses()) {
            if (access.find("W 01c0c000=") == 0) {
                shown->push_back(static_cast<uint32_t>(strtoul(access.c_str() + 11, nullptr, 16)));
            }
        }
        return next;
    }

    int32_t request(const char *text)
    {
        const auto size = static_cast<uint32_t>(strlen(text));
        return kelvane_dap_command(0, text, &size, on_answer);
    }

    // What the thread does after each give of its semaphore.
    void serve()
    {
        dap_serve_event(0, &record, &state);
    }

    dap_record &record = the_dap_record;
    dap_state state = {kelvane_dap_wait_for_call};
};

using handler = dap_state (*)(kelvane_handle, dap_record *);

TEST_F(dap_channel_test, every_state_with_every_event)
{
    const handler call = kelvane_dap_wait_for_call;
    const handler reset = kelvane_dap_wait_for_reset;
    const handler done = kelvane_dap_wait_for_done;
    const struct {
        handler state;
        uint32_t event;
        std::vector<uint32_t> shown;
        handler next;
        bool unexpected;
    } cases[] = {
        {call, 2, {}, call, false},          {call, 4, {}, call, true},
        {call, 8, {}, call, true},           {call, 16, {}, call, true},
        {call, 1024, {}, call, true},        {call, 2048, {}, call, true},
        {call, 4017, {1024}, reset, false},  {reset, 2, {1024}, reset, false},
        {reset, 4, {}, reset, true},         {reset, 8, {}, reset, true},
        {reset, 16, {}, reset, true},        {reset, 1024, {4}, done, false},
        {reset, 2048, {1024}, reset, false}, {reset, 4017, {2, 1024}, reset, false},
        {done, 2, {1024}, reset, false},     {done, 4, {}, done, true},
        {done, 8, {8}, done, false},         {done, 16, {}, done, true},
        {done, 1024, {}, done, true},        {done, 4017, {1024}, reset, false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.event);
        log_lines();
        std::vector<uint32_t> shown;
        const dap_state next = on_event({c.state}, c.event, &shown);
        EXPECT_EQ(next.handle_event, c.next);
        EXPECT_EQ(shown, c.shown);
        bool told = false;
        for (const std::string &line : log_lines()) {
            told |= line.find(": invalid command " + std::to_string(c.event) +
                              " received - state does not change ") != std::string::npos;
        }
        EXPECT_EQ(told, c.unexpected);
    }
}

TEST_F(dap_channel_test, a_failed_access_keeps_the_state)
{
    std::vector<uint32_t> shown;
    the_bar.fail_from = the_bar.access_number + 1;
    EXPECT_EQ(on_event({kelvane_dap_wait_for_call}, 4017, &shown).handle_event, kelvane_dap_wait_for_call);
    the_bar.fail_from = the_bar.access_number + 1; // the move fails, and 4 is written all the same
    EXPECT_EQ(on_event({kelvane_dap_wait_for_reset}, 1024, &shown).handle_event, kelvane_dap_wait_for_reset);
    EXPECT_EQ(shown, std::vector<uint32_t>{4});
    the_bar.fail_from = the_bar.access_number + 1; // the answer cannot be read, and 2 is written all the same
    EXPECT_EQ(on_event({kelvane_dap_wait_for_done}, 2048, &shown).handle_event, kelvane_dap_wait_for_done);
    EXPECT_EQ(shown, std::vector<uint32_t>{2});
}

TEST_F(dap_channel_test, one_exchange_word_by_word)
{
    kelvane_transaction_counter.next = 0x42;
    EXPECT_EQ(request("hello"), 0);
    serve();
    EXPECT_EQ(the_bar.take_accesses(), std::vector<std::string>{"W 01c0c000=00000400"});
    the_bar.word[F] = 1024;
    serve();
    EXPECT_EQ(
        the_bar.take_accesses(),
        (std::vector<std::string>{"R 01c0c004", "W 01f08000=00000036", "R 01f08000", "W 01f08004=00000042",
                                  "R 01f08004", "W 01f08008=00000005", "R 01f08008", "W 01f0800c=00000000",
                                  "R 01f0800c", "W 01f08010=ff00ff00", "R 01f08010", "W 01f08014=00000000",
                                  "R 01f08014", "W 01f08018=6c6c6568", "R 01f08018", "W 01f0801c=0000006f",
                                  "R 01f0801c", "W 01c0c000=00000004"}));
    the_bar.word[F] = 8;
    serve();
    EXPECT_EQ(the_bar.word[H], 8u);
    the_bar.word[F] = 2048;
    the_bar.word[0x01F08008] = 3;
    the_bar.word[0x01F08018] = 0x00636261;
    the_bar.take_accesses();
    serve();
    EXPECT_EQ(the_bar.take_accesses(),
              (std::vector<std::string>{"R 01c0c004", "R 01f08000", "R 01f08004", "R 01f08008", "R 01f0800c",
                                        "R 01f08010", "R 01f08014", "R 01f08018", "W 01c0c000=00000002"}));
    EXPECT_EQ(answers, (std::vector<std::vector<uint8_t>>{{'a', 'b', 'c'}}));
    EXPECT_EQ(state.handle_event, kelvane_dap_wait_for_call);
}

TEST_F(dap_channel_test, a_newer_request_overwrites_one_that_waits)
{
    EXPECT_EQ(request("first"), 0);
    EXPECT_EQ(request("2nd!"), 0);
    serve();
    the_bar.word[F] = 1024;
    serve();
    EXPECT_EQ(the_bar.word[0x01F08008], 4u);
    EXPECT_EQ(the_bar.word[0x01F08018], 0x21646E32u);
}

TEST_F(dap_channel_test, what_cannot_be_served_is_lost_and_leaves_the_state)
{
    the_bar.word[F] = 3; // no state
    serve();
    EXPECT_EQ(state.handle_event, kelvane_dap_wait_for_call);
    EXPECT_EQ(kelvane_mutex_get_owner(&record.dap_lock), 0);
    std::thread([this] { kelvane_mutex_lock(&record.dap_lock); }).join();
    const uint64_t before = time.now();
    EXPECT_EQ(request("x"), 110);
    EXPECT_EQ(time.now() - before, 1000000000u);
    serve();
    EXPECT_EQ(state.handle_event, kelvane_dap_wait_for_call);
}

TEST_F(dap_channel_test, a_request_from_the_callback_is_refused)
{
    static int32_t nested;
    nested = 0;
    const uint32_t size = 1;
    const auto nesting = [](kelvane_handle, void *data, const uint32_t *bytes) {
        nested = kelvane_dap_command(0, data, bytes, nullptr);
        return 0;
    };
    EXPECT_EQ(kelvane_dap_command(0, "x", &size, nesting), 0);
    serve();
    the_bar.word[F] = 1024;
    serve();
    the_bar.word[F] = 2048;
    serve();
    EXPECT_EQ(nested, 64172);
    EXPECT_EQ(state.handle_event, kelvane_dap_wait_for_call);
}

TEST_F(dap_channel_test, a_state_that_cannot_be_shown_is_not_left)
{
    EXPECT_EQ(request("x"), 0);
    serve();
    the_bar.word[F] = 1024;
    the_bar.fail_from = the_bar.access_number + 1 + 2 * 7 + 1; // behind the message's words
    serve();
    EXPECT_EQ(state.handle_event, kelvane_dap_wait_for_reset);
    serve();
    EXPECT_EQ(state.handle_event, kelvane_dap_wait_for_done);
    the_bar.word[F] = 2048;
    the_bar.fail_from = the_bar.access_number + 1 + 7 + 1; // behind the answer's
    the_bar.word[0x01F08004] = record.dap_ref_id;
    serve();
    EXPECT_EQ(state.handle_event, kelvane_dap_wait_for_done);
    EXPECT_EQ(answers.size(), 1u);
}

TEST_F(dap_channel_test, nobody_to_hand_a_request_to)
{
    const uint32_t size = 1;
    EXPECT_EQ(kelvane_dap_command(1, "x", &size, on_answer), 64170);
    record.dap_valid = 0;
    EXPECT_EQ(kelvane_dap_command(0, "x", &size, on_answer), 64170);
    EXPECT_EQ(record.dap_pending, 0u);
}

} // namespace
