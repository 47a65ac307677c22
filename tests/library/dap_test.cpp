// The DAP channel: its states, and the bytes of a message in both directions.
#include "dap/dap_channel.h"

#include <sstream>
#include <thread>

#include "core/mutex.h"
#include "core/transaction_id.h"
#include "support/library.h"

namespace {

std::string heard; // "size:last byte " of each answer
int32_t (*then)(); // what the callback returns

int32_t on_answer(kelvane_handle, void *data, const uint32_t *size)
{
    const uint8_t last = *size == 0 ? 0 : static_cast<const uint8_t *>(data)[*size - 1];
    heard += std::to_string(*size) + ":" + std::to_string(last) + " ";
    return then();
}

class dap_test : public firmware_test {
  protected:
    dap_test()
    {
        heard.clear();
        then = [] { return 0; };
        bytes.resize(1026);
        for (size_t i = 0; i < bytes.size(); i++) {
            bytes[i] = static_cast<char>(i + 2);
        }
        the_bar.on_write = [this](uint32_t offset, uint32_t value) {
            shown += offset == 0x01C0C000 ? " " + std::to_string(value) : "";
        };
    }

    int32_t request(uint32_t size, kelvane_dap_cb callback = on_answer)
    {
        return kelvane_dap_command(0, bytes.data(), &size, callback);
    }

    // The thread's pass when the firmware shows a state or, with 0, after a request: the channel's state
    // behind it, and the states that it showed the firmware.
    std::string serve(uint32_t firmware_state = 0)
    {
        the_bar.word[0x01C0C004] = firmware_state;
        shown.clear();
        dap_serve_event(0, &the_dap_record, &state);
        return (state.handle_event == kelvane_dap_wait_for_call    ? "call"
                : state.handle_event == kelvane_dap_wait_for_reset ? "reset"
                                                                   : "done") +
               shown;
    }

    // A message of that size is with the firmware.
    void send(uint32_t size, kelvane_dap_cb callback = on_answer)
    {
        state = {kelvane_dap_wait_for_call};
        firmware.next_reference(0x42);
        EXPECT_EQ(request(size, callback), 0);
        EXPECT_EQ(serve(), "reset 1024");
        EXPECT_EQ(serve(1024), "done 4");
        heard.clear();
        the_bar.take_accesses();
    }

    static void put_answer(uint32_t reference, uint32_t size, uint32_t rc = 0)
    {
        const std::vector<uint32_t> data(256, 0xA5A5A5A5);
        offer_message({54, reference, size, 0, 0xFF00FF00, rc}, data, 0x01F07F00);
    }

    dap_state state = {kelvane_dap_wait_for_call};
    std::string bytes;
    std::string shown;
};

TEST_F(dap_test, every_state_with_every_event)
{
    // "state event:state behind it, what was shown"; 0 is a request, and what is not expected changes
    // nothing.
    std::istringstream cases(
        "call 2:call;call 4:call!;call 8:call!;call 16:call!;call 1024:call!;call 2048:call!;"
        "call 0:reset 1024;reset 2:reset 1024;reset 4:reset!;reset 8:reset!;reset 16:reset!;"
        "reset 1024:done 4;reset 2048:reset 1024;reset 0:reset 2 1024;done 2:reset 1024;done 4:done!;"
        "done 8:done 8;done 16:done!;done 1024:done!;done 0:reset 1024;call 3:call;done 3:done");
    for (std::string text; std::getline(cases, text, ';');) {
        SCOPED_TRACE(text);
        state = {kelvane_dap_wait_for_call};
        if (text[0] != 'c') {
            request(1);
            serve();
        }
        if (text[0] == 'd') {
            serve(1024);
        }
        const uint32_t event = std::stoul(text.substr(text.find(' ')));
        if (event == 0) {
            request(1);
        }
        const std::string told = log_text();
        std::string got = serve(event);
        const std::string line =
            "invalid command " + std::to_string(event) + " received - state does not change ";
        got += log_text().find(line, told.size()) != std::string::npos ? "!" : "";
        EXPECT_EQ(got, text.substr(text.find(':') + 1));
        EXPECT_EQ(kelvane_mutex_get_owner(&the_dap_record.dap_lock), 0);
    }
}

TEST_F(dap_test, one_exchange_word_by_word)
{
    send(5);
    EXPECT_EQ(request(6), 0); // a newer one takes its place, here and while it waits
    EXPECT_EQ(request(7), 0);
    EXPECT_EQ(serve(), "reset 1024");
    EXPECT_EQ(accesses(), "w1c0c000=400");
    EXPECT_EQ(serve(1024), "done 4");
    EXPECT_EQ(accesses(), "r1c0c004 w1f08000=36 r1f08000 w1f08004=43 r1f08004 w1f08008=7 r1f08008 w1f0800c=0 "
                          "r1f0800c w1f08010=ff00ff00 r1f08010 w1f08014=0 r1f08014 w1f08018=5040302 r1f08018 "
                          "w1f0801c=80706 r1f0801c w1c0c000=4");
    put_answer(0x43, 5);
    EXPECT_EQ(serve(2048), "call 2");
    EXPECT_EQ(accesses(), "r1c0c004 r1f08000+8 w1c0c000=2");
    EXPECT_EQ(heard, "5:165 ");
}

TEST_F(dap_test, sizes_on_the_way_out)
{
    for (const auto &[size, words, last] : {std::tuple{1024u, 256u, 0x0100FFFEu},
                                            {1023, 256, 0xFFFE},
                                            {5, 2, 6},
                                            {4, 1, 0x05040302},
                                            {1, 1, 2}}) {
        put_answer(0, 0);
        const uint64_t before = the_bar.access_number;
        send(size); // behind a larger one, of which nothing stays
        EXPECT_EQ(the_bar.access_number - before, 3 + 2 * (6 + words)) << size;
        EXPECT_EQ(the_bar.word[0x01F08008], size);
        EXPECT_EQ(the_bar.word[0x01F08014 + 4 * words], last) << size;
    }
    send(0);
    EXPECT_EQ(the_bar.word[0x01F08018], 2u);
    EXPECT_EQ(request(1025), 22);
    EXPECT_TRUE(
        log_has("ERROR kelvane_dap_mbox_handler_set_data: size = 84148994  too big !!! ")); // its word
    EXPECT_EQ(serve(2), "reset 1024");                           // no request waits
    const std::vector<uint8_t> exact = {1, 0, 0, 0, 2, 0, 0, 0}; // a sanitizer watches its end
    const uint32_t size = 8;
    EXPECT_EQ(kelvane_dap_command(0, exact.data(), &size, nullptr), 0);
    EXPECT_EQ(said("kelvane_dap_mbox_handler_set_data"),
              "size=8 spare=0 32bit_word=2| 0x00000001 | 0x00000002 | 0x00000000 |");
}

TEST_F(dap_test, answers)
{
    const struct {
        uint32_t reference, size, rc;
        const char *state, *heard;
        uint64_t words;
    } cases[] = {
        {0x42, 0, 0, "call 2", "0:0 ", 0},      {0x42, 1023, 0, "call 2", "1023:165 ", 256},
        {0x42, 1024, 0, "done 2", "", 0},       {0x43, 4, 0, "done 2", "", 0},
        {0x42, 0xFFFFFFFF, 0, "done 2", "", 0}, {0x42, 5, 0, "call 2", "5:165 ", 2},
        {0x42, 4, 0x80010001, "call 2", "", 0},
    };
    for (const auto &c : cases) {
        send(4);
        put_answer(c.reference, c.size, c.rc);
        const uint64_t before = the_bar.access_number;
        EXPECT_EQ(serve(2048), c.state) << c.size;
        EXPECT_EQ(heard, c.heard) << c.size;
        EXPECT_EQ(the_bar.access_number - before, 8 + c.words) << c.size;
    }
    EXPECT_TRUE(log_contains("kelvane_dap_mbox_handler_manage_done_state:  ERROR on size or refid   \n"));
    static int32_t nested;
    then = [] {
        const uint32_t size = 1;
        nested = kelvane_dap_command(0, "x", &size, nullptr);
        return 5;
    };
    send(4);
    put_answer(0x42, 4);
    EXPECT_EQ(serve(2048), "call 2"); // what the callback returns is told, and no more
    EXPECT_EQ(nested, 64172);
    EXPECT_TRUE(log_contains("kelvane_dap_mbox_handler_manage_done_state:  ERROR FROM callback rc = 5  \n"));
    send(4, nullptr);
    put_answer(0x42, 4);
    EXPECT_EQ(serve(2048), "call 2");
    EXPECT_TRUE(log_contains("kelvane_dap_mbox_handler_manage_done_state:  callback not evaluated \n"));
}

TEST_F(dap_test, accesses_that_fail_keep_the_state)
{
    EXPECT_EQ(request(8), 0);
    the_bar.fail_from = the_bar.access_number + 1;
    EXPECT_EQ(serve(), "call");
    EXPECT_EQ(request(8), 0);
    EXPECT_EQ(serve(), "reset 1024");
    for (uint64_t n = 1; n <= 18;
         n++) { // the state, the words with their reading back, and 4, shown in any case
        the_bar.fail_from = the_bar.access_number + n;
        EXPECT_EQ(serve(1024), n == 1 || n == 18 ? "reset" : "reset 4") << n;
    }
    ASSERT_EQ(kelvane_mutex_lock(&kelvane_transaction_counter.mutex), 0); // no reference is to be had
    the_bar.take_accesses();
    EXPECT_EQ(serve(1024), "reset 4");
    EXPECT_EQ(accesses(), "r1c0c004 w1c0c000=4");
    kelvane_mutex_unlock(&kelvane_transaction_counter.mutex);
    firmware.next_reference(0x42);
    the_bar.next_values[0x01F08004] = {0xBAD}; // a word that reads back differently is no failure
    EXPECT_EQ(serve(1024), "done 4");
    EXPECT_EQ(accesses(), "r1c0c004 w1f08000=36 r1f08000 w1f08004=42 r1f08004 w1c0c000=4");
    EXPECT_TRUE(log_contains("move_data_to_regs: VALUE NOT WRITTEN written 00000042 read 00000bad  \n"));
    put_answer(0x42, 8);
    for (uint64_t n = 1; n <= 10; n++) {
        the_bar.fail_from = the_bar.access_number + n;
        EXPECT_EQ(serve(2048), n == 1 || n == 10 ? "done" : "done 2") << n;
        EXPECT_EQ(heard, n < 10 ? "" : "8:165 ");
    }
}

TEST_F(dap_test, nobody_to_hand_a_request_to)
{
    std::thread([] { kelvane_mutex_lock(&the_dap_record.dap_lock); }).join();
    EXPECT_EQ(request(1), 110);
    EXPECT_EQ(time.now(), 1000000000u);
    EXPECT_EQ(serve(1024), "call");
    const uint32_t size = 1;
    EXPECT_EQ(kelvane_dap_command(1, "x", &size, on_answer), 64170);
    the_dap_record.dap_valid = 0;
    EXPECT_EQ(request(1), 64170);
}

} // namespace
