// The DAP channel: its states, and the bytes of a message in both directions.
#include "dap/dap_channel.h"

#include <sstream>
#include <thread>

#include "core/transaction_id.h"
#include "support/library.h"

namespace {

std::string heard;      // " size:last byte" of each answer since the last pass
int32_t (*answering)(); // what the callback returns

int32_t on_answer(kelvane_handle, void *data, const uint32_t *size)
{
    const uint8_t last = *size == 0 ? 0 : static_cast<const uint8_t *>(data)[*size - 1];
    heard += " " + std::to_string(*size) + ":" + std::to_string(last);
    return answering();
}

class dap_test : public firmware_test {
  protected:
    dap_test()
    {
        answering = [] { return 0; };
        the_bar.on_write = [this](uint32_t offset, uint32_t value) {
            shown += offset == 0x01C0C000 ? " " + std::to_string(value) : "";
        };
    }

    // Requests bytes 2, 3, 4 and so on.
    static int32_t request(uint32_t size, kelvane_dap_cb callback = on_answer)
    {
        uint8_t bytes[1025];
        for (size_t i = 0; i < sizeof bytes; i++) {
            bytes[i] = static_cast<uint8_t>(i + 2);
        }
        return kelvane_dap_command(0, bytes, &size, callback);
    }

    // The thread's pass when the firmware shows a state: the channel's state after it, the states that the
    // channel showed, the number of accesses, and the answers received.
    std::string serve(uint32_t firmware_state)
    {
        the_bar.word[0x01C0C004] = firmware_state;
        shown.clear();
        heard.clear();
        dap_serve_event(0, &the_dap_record, &state);
        const std::string count = " /" + std::to_string(the_bar.check_alive.size());
        accesses();
        const char *name = state.handle_event == kelvane_dap_wait_for_call ? "call" : "reset";
        name = state.handle_event == kelvane_dap_wait_for_done ? "done" : name;
        EXPECT_EQ(kelvane_mutex_get_owner(&the_dap_record.dap_lock), 0);
        return name + shown + count + heard;
    }

    // From the idle channel on: "r5" is a request, "n5" one without a callback, "a5" puts an answer into the
    // mailbox, "w5" one to another request, "e5" one with an error, "f5" has the fifth access fail; a number
    // is a pass, 0 one without a state.
    std::string run(const std::string &steps)
    {
        state = {kelvane_dap_wait_for_call};
        firmware.next_reference(0x42);
        std::string outcome;
        std::istringstream in(steps);
        for (std::string step; in >> step;) {
            const bool pass = isdigit(step[0]) != 0;
            const auto number = static_cast<uint32_t>(std::stoul(step.substr(pass ? 0 : 1)));
            if (pass) {
                outcome = serve(number);
            } else if (step[0] == 'f') {
                the_bar.fail_from = the_bar.access_number + number;
            } else if (step[0] == 'r' || step[0] == 'n') {
                EXPECT_EQ(request(number, step[0] == 'r' ? on_answer : nullptr), 0);
            } else {
                offer_message(
                    {54, step[0] == 'w' ? 7u : 0x42, number, 0, 0xFF00FF00, step[0] == 'e' ? 0x80010001 : 0},
                    std::vector<uint32_t>(256, 0xA5A5A5A5), 0x01F07F00);
            }
        }
        return outcome;
    }

    dap_state state = {kelvane_dap_wait_for_call};
    std::string shown;
};

TEST_F(dap_test, every_state_with_every_event)
{
    for (
        const auto &[steps, outcome] : cases_of(
            "2 > call /1; 4 > call /1; 3 > call /1; f1 0 > call /1; r1 f1 0 > call /1; r1 0 > reset 1024 /1; "
            "r1 0 2 > reset 1024 /2; r1 0 8 > reset /1; r1 0 1024 > done 4 /16; r1 0 2048 > reset 1024 /2; "
            "r1 0 r1 0 > reset 2 1024 /2; r1 0 1024 2 > reset 1024 /2; r1 0 1024 8 > done 8 /2; "
            "r1 0 1024 16 > done /1; r1 0 1024 r1 0 > reset 1024 /1; r0 0 1024 > done 4 /14; "
            "r5 0 1024 > done 4 /18; r1024 0 1024 > done 4 /526; r4 0 1024 a0 2048 > call 2 /8 0:0; "
            "r4 0 1024 a5 2048 > call 2 /10 5:165; r4 0 1024 a1023 2048 > call 2 /264 1023:165; "
            "r4 0 1024 a1024 2048 > done 2 /8; r4 0 1024 w4 2048 > done 2 /8; r4 0 1024 e4 2048 > call 2 /8; "
            "n4 0 1024 a4 2048 > call 2 /9; r8 0 f1 1024 > reset /1; r8 0 f2 1024 > reset 4 /3; "
            "r8 0 f17 1024 > reset 4 /18; r8 0 f18 1024 > reset /18; r8 0 1024 a8 f1 2048 > done /1; "
            "r8 0 1024 a8 f2 2048 > done 2 /3; r8 0 1024 a8 f9 2048 > done 2 /10; "
            "r8 0 1024 a8 f10 2048 > done /10 8:165")) {
        EXPECT_EQ(run(steps), outcome) << steps;
    }
    run("r8 0 1024 a8 f9 2048"); // the answer's second word cannot be read
    EXPECT_EQ(the_dap_record.dap_buffer[0], 0xA5A5A5A5u);
    EXPECT_EQ(the_dap_record.dap_buffer[1], 0u);
    answering = [] { return request(1) == 64172 ? 5 : 0; }; // from the callback nothing can be requested
    EXPECT_EQ(run("r4 0 1024 a4 2048"), "call 2 /9 4:165");
    EXPECT_TRUE(log_contains("ERROR FROM callback rc = 5  \n"));
    the_bar.next_values[0x01F08004] = {0xBAD}; // a word that reads back differently is no failure
    EXPECT_EQ(run("r8 0 1024"), "done 4 /6");
    EXPECT_EQ(run("r8 0"), "reset 1024 /1");
    ASSERT_EQ(kelvane_mutex_lock(&kelvane_transaction_counter.mutex), 0); // no reference can be drawn
    EXPECT_EQ(serve(1024), "reset 4 /2");
    kelvane_mutex_unlock(&kelvane_transaction_counter.mutex);
}

TEST_F(dap_test, words_on_the_way_out)
{
    run("r6 0");
    the_bar.word[0x01C0C004] = 1024;
    EXPECT_EQ(request(7) + request(5), 0); // the newer of two that wait, and nothing of the longer one
    dap_serve_event(0, &the_dap_record, &state);
    dap_serve_event(0, &the_dap_record, &state);
    EXPECT_EQ(accesses(), "w1c0c000=2 w1c0c000=400 r1c0c004 w1f08000=36 r1f08000 w1f08004=42 r1f08004 "
                          "w1f08008=5 r1f08008 w1f0800c=0 r1f0800c w1f08010=ff00ff00 r1f08010 w1f08014=0 "
                          "r1f08014 w1f08018=5040302 r1f08018 w1f0801c=6 r1f0801c w1c0c000=4");
    EXPECT_EQ(request(1025), 22);
    EXPECT_EQ(serve(2), "reset 1024 /2"); // no request waits
    EXPECT_EQ(request(8, nullptr), 0);
    std::thread([] { kelvane_mutex_lock(&the_dap_record.dap_lock); }).join();
    accesses();
    EXPECT_EQ(request(1), 110);
    EXPECT_EQ(time.now(), 1000000000u);
    dap_serve_event(0, &the_dap_record, &state);
    EXPECT_EQ(accesses(), "");
    const uint32_t size = 1;
    EXPECT_EQ(kelvane_dap_command(1, "x", &size, on_answer), 64170);
    the_dap_record.dap_valid = 0;
    EXPECT_EQ(request(1), 64170);
}

} // namespace
