#include "card/card_host.h"
#include "support/virtual_time.h"

namespace {

constexpr uint64_t MS = 1000000;

const std::vector<uint32_t> READ = {0, 0xFF00FFFF, 0x9010, 0};

TEST(faults, refuse_strikes_its_command_so_many_times)
{
    card_host host;
    host.link_up();
    host.verb("refuse 9 2");
    EXPECT_EQ(host.error_of(56, {0, 1}), 0u);
    for (const uint32_t shown : {16u, 16u, 4u}) {
        EXPECT_EQ(host.offer(9, READ), shown);
        host.write(0x01C00000, 2);
    }
    EXPECT_EQ(host.take_answer().data.at(3), 1u);
}

TEST(faults, error_answers_in_full_without_running)
{
    card_host host;
    host.link_up();
    host.verb("error 10 ORDUNE_MBOX_BUSY");
    EXPECT_EQ(host.error_of(10, {0, 0xFF00FFFF, 0x9010, 9}), 0x80010013u);
    EXPECT_EQ(host.register_of(0xFF00FFFF, 0x9010), 1u);
    host.verb("error 10 0x80000002 always");
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(host.error_of(10, {0, 0xFF00FFFF, 0x9010, 9}), 0x80000002u);
    }
    host.verb("error 10 1 0");
    EXPECT_EQ(host.error_of(10, {0, 0xFF00FFFF, 0x9010, 9}), 0u);
}

TEST(faults, delay_brings_the_answer_when_its_time_has_come)
{
    virtual_time time;
    card_host host;
    host.link_up();
    host.verb("delay 9 1500");
    EXPECT_FALSE(host.run(9, READ).there);
    time.advance(1499 * MS);
    card_step(host.it);
    EXPECT_EQ(host.read(0x01C02004), 2u);
    EXPECT_EQ(host.error_of(56, {0, 1}), 0u); // a later command overtakes it
    time.advance(1 * MS);
    card_step(host.it);
    EXPECT_EQ(host.take_answer().header[0], 9u);
}

TEST(faults, a_reset_of_the_mailbox_drops_a_delayed_answer)
{
    virtual_time time;
    card_host host;
    host.link_up();
    host.verb("delay 9 10");
    EXPECT_FALSE(host.run(9, READ).there);
    host.link_up();
    time.advance(10 * MS);
    card_step(host.it);
    EXPECT_FALSE(host.take_answer().there);
}

TEST(faults, corrupt_spoils_one_word_of_one_answer)
{
    struct spoiled {
        const char *line;
        uint32_t word;
        uint32_t value;
    };
    const spoiled CASES[] = {
        {"corrupt cmd", 0, 200},
        {"corrupt ref_id", 1, 0xDEADBEEF},
        {"corrupt ref_id 5", 1, 5},
        {"corrupt size", 2, 0x7FFFFFFF},
        {"corrupt size 10", 2, 0x10},
        {"corrupt version", 3, 0xFF},
        {"corrupt sy 0xFF00FF01", 4, 0xFF00FF01},
    };
    for (const spoiled &it : CASES) {
        card_host host;
        host.link_up();
        uint32_t expected[6] = {9, 0x1234, 4, 0, 0xFF00FF00, 0};
        expected[it.word] = it.value;
        host.verb(it.line);
        const card_host::received answer = host.run(9, READ);
        for (uint32_t i = 0; i < 6; i++) {
            EXPECT_EQ(answer.header[i], expected[i]) << it.line << ", word " << i;
        }
        EXPECT_EQ(host.error_of(9, READ), 0u) << it.line;
    }
}

TEST(faults, drop_answer_runs_the_command)
{
    card_host host;
    host.link_up();
    host.verb("drop-answer 10");
    EXPECT_FALSE(host.run(10, {0, 0xFF00FFFF, 0x9010, 9}).there);
    EXPECT_EQ(host.register_of(0xFF00FFFF, 0x9010), 9u);
}

TEST(faults, drop_interrupt_leaves_the_message_and_the_next_interrupt)
{
    card_host host;
    host.link_up();
    host.enable_interrupts();
    host.verb("drop-interrupt");
    EXPECT_TRUE(host.run(9, READ).there);
    EXPECT_FALSE(host.interrupted());
    EXPECT_EQ(host.read(0x24), 0u);
    EXPECT_TRUE(host.run(9, READ).there);
    EXPECT_TRUE(host.interrupted());
}

// How many interrupts the host gets for one message, each cleared.
int interrupts(card_host &host)
{
    int count = 0;
    while (host.interrupted()) {
        host.write(0x24, 7);
        count++;
    }
    return count;
}

TEST(faults, interrupts_come_late_twice_and_for_nothing)
{
    virtual_time time;
    card_host host;
    host.link_up();
    host.refused_verb("spurious-interrupt"); // nobody wants any
    host.enable_interrupts();
    host.verb("late-interrupt 40");
    EXPECT_TRUE(host.run(9, READ).there);
    time.advance(39 * MS);
    card_step(host.it);
    EXPECT_EQ(host.read(0x24), 0u);
    EXPECT_EQ(interrupts(host), 0);
    time.advance(1 * MS);
    card_step(host.it);
    EXPECT_EQ(host.read(0x24), 1u);
    EXPECT_EQ(host.read(0x2C), 17u);
    EXPECT_EQ(interrupts(host), 1);
    host.verb("double-interrupt");
    EXPECT_TRUE(host.run(9, READ).there);
    EXPECT_EQ(interrupts(host), 2);
    host.verb("spurious-interrupt");
    EXPECT_EQ(host.read(0x24), 0u);
    EXPECT_EQ(interrupts(host), 1);
    host.verb("spurious-interrupt 7 16");
    EXPECT_EQ(host.read(0x24), 4u);
    EXPECT_EQ(host.read(0x34), 16u);
    EXPECT_EQ(interrupts(host), 1);
    host.refused_verb("spurious-interrupt 2 17");
}

TEST(faults, a_laser_request_that_nobody_waits_for_takes_its_time)
{
    virtual_time time;
    card_host host;
    host.link_up();
    const auto wait_for_answer = [&time, &host](uint64_t ms) {
        time.advance(ms * MS - 1);
        card_step(host.it);
        EXPECT_FALSE(host.take_answer().there);
        time.advance(1);
        card_step(host.it);
        return host.take_answer().header[4];
    };
    EXPECT_EQ(host.error_of(2, {0, 0xFF0000FF, 1, 0}), 0u); // somebody waits for this one
    host.send(2, {0, 0xFF0000FF, 1, 0}, 0, 3);
    EXPECT_EQ(wait_for_answer(300), 3u);
    host.verb("laser-time 20");
    host.verb("delay 0 5");
    host.send(0, {0, 0xFF0000FF, 1, 0}, 0, 4);
    EXPECT_EQ(wait_for_answer(25), 4u);
    host.verb("laser-time 0");
    host.send(0, {0, 0xFF0000FF, 1, 0}, 0, 5);
    EXPECT_EQ(host.take_answer().header[4], 5u);
}

uint32_t refused_of_1000(uint64_t seed, const char *line)
{
    card_host host(card_options{5, 22, seed});
    host.link_up();
    host.verb(line);
    uint32_t refused = 0;
    for (int i = 0; i < 1000; i++) {
        refused += host.offer(9, READ) == 16 ? 1 : 0;
        host.write(0x01C00000, 2);
        host.take_answer();
    }
    return refused;
}

TEST(faults, a_share_of_the_occasions)
{
    EXPECT_EQ(refused_of_1000(1, "refuse 9 0%"), 0u);
    EXPECT_EQ(refused_of_1000(1, "refuse 9 100%"), 1000u);
    for (const uint64_t seed : {1, 2, 3}) { // five times the standard deviation
        EXPECT_NEAR(refused_of_1000(seed, "refuse 9 1%"), 10, 16);
        EXPECT_NEAR(refused_of_1000(seed, "refuse 9 10%"), 100, 48);
        EXPECT_NEAR(refused_of_1000(seed, "refuse 9 50%"), 500, 80);
    }
    EXPECT_EQ(refused_of_1000(7, "refuse 9 50%"), refused_of_1000(7, "refuse 9 50%"));
    EXPECT_NE(refused_of_1000(7, "refuse 9 50%"), refused_of_1000(8, "refuse 9 50%"));

    card_host host;
    host.verb("corrupt ref_id 10%");
    EXPECT_NE(host.verb("show").find("fault: corrupt header word 1 0xdeadbeef, 10%\n"), std::string::npos);
    host.verb("corrupt ref_id 0%");
    EXPECT_EQ(host.verb("show").find("fault: "), std::string::npos);
    for (const char *line :
         {"refuse 9 101%", "refuse 9 %", "refuse 9 -1%", "refuse 9 10%%", "refuse 9 10% 1"}) {
        host.refused_verb(line);
    }
}

TEST(faults, clear_takes_all_away)
{
    card_host host;
    host.link_up();
    host.verb("refuse 9 always");
    host.verb("error 9 1");
    host.verb("clear");
    EXPECT_EQ(host.error_of(9, READ), 0u);
}

TEST(faults, a_hung_firmware_does_nothing_until_it_resumes)
{
    virtual_time time;
    card_host host;
    host.link_up();
    host.write(0x01C0C008, 0x17000001);
    host.verb("delay 56 5");
    EXPECT_FALSE(host.run(56, {0, 1}).there);
    host.verb("hang");
    EXPECT_EQ(host.offer(9, READ), 2u);
    host.write(0x01C0C008, 0x17000002);
    host.write(0x01C0C008, 0x17000003);
    time.advance(5 * MS);
    card_step(host.it);
    EXPECT_EQ(host.read(0x01C0C00C), 0x17000001u);
    EXPECT_EQ(host.read(0x01C02004), 2u);
    host.verb("resume");
    EXPECT_EQ(host.read(0x01C0C00C), 0x17000003u);
    EXPECT_EQ(host.read(0x01C00004), 4u);
    EXPECT_EQ(host.take_answer().header[0], 56u); // its time had come
    host.write(0x01C00000, 2);
    EXPECT_EQ(host.take_answer().header[0], 9u);
}

TEST(faults, a_message_given_up_while_it_hung_is_not_run)
{
    card_host host;
    host.link_up();
    host.verb("hang");
    EXPECT_EQ(host.offer(9, READ), 2u);
    host.write(0x01C00000, 2);
    host.verb("resume");
    EXPECT_EQ(host.read(0x01C00004), 2u);
    EXPECT_FALSE(host.take_answer().there);
}

TEST(faults, restart_forgets_what_is_in_memory_and_keeps_registers)
{
    virtual_time time;
    card_host host;
    host.link_up();
    host.enable_interrupts();
    EXPECT_EQ(host.error_of(10, {0, 0xFF00FFFF, 0x9010, 9}), 0u);
    EXPECT_EQ(host.error_of(55, {0, 1}), 0u);
    EXPECT_EQ(host.offer(9, READ), 4u);
    host.write(0x01C00000, 2);
    host.verb("restart");
    for (const uint32_t offset : {0x01C00004u, 0x01C02004u, 0x01D04004u, 0x01E08004u, 0x01C0C004u, 0x24u}) {
        EXPECT_EQ(host.read(offset), 0u) << std::hex << offset;
    }
    time.advance(999 * MS);
    card_step(host.it);
    EXPECT_EQ(host.read(0x01C00004), 0u);
    time.advance(1 * MS);
    card_step(host.it);
    EXPECT_EQ(host.read(0x01C00004), 2u);
    EXPECT_FALSE(host.take_answer().there);
    EXPECT_EQ(host.register_of(0xFF00FFFF, 0x9010), 9u);
    EXPECT_EQ(host.error_of(55, {0, 1}), 0u); // the watch was off again
}

TEST(faults, the_reset_trigger_wants_to_be_armed)
{
    struct trigger {
        uint32_t first;
        uint32_t second;
        uint32_t state_then;
        uint32_t register_then;
    };
    const trigger CASES[] = {
        {0xA5110000, 0xA5110000, 2, 9},
        {0xA5670000, 0xA5110000, 0, 9}, // keeps the registers
        {0xA5670000, 0xA5330000, 0, 1}, // as with the power lost
        {0xA5670000, 0xA5000000, 2, 9},
    };
    for (const trigger &it : CASES) {
        virtual_time time;
        card_host host;
        host.link_up();
        EXPECT_EQ(host.error_of(10, {0, 0xFF00FFFF, 0x9010, 9}), 0u);
        host.verb("hang"); // which the reset ends
        host.write(0x01F000A0, it.first);
        host.write(0x01F000A0, it.second);
        EXPECT_EQ(host.read(0x01C00004), it.state_then);
        if (it.state_then == 2) {
            host.verb("resume");
        }
        time.advance(1000 * MS);
        card_step(host.it);
        EXPECT_EQ(host.register_of(0xFF00FFFF, 0x9010), it.register_then);
    }
}

TEST(faults, a_removed_card_reads_all_ones_and_comes_back_fresh)
{
    virtual_time time;
    card_host host;
    host.link_up();
    host.enable_interrupts();
    EXPECT_EQ(host.error_of(10, {0, 0xFF00FFFF, 0x9010, 9}), 0u);
    host.verb("remove");
    EXPECT_EQ(host.read(0x01C00004), 0xFFFFFFFFu);
    host.write(0x300, 1);
    host.verb("insert");
    EXPECT_EQ(host.read(0x300), 0u);
    EXPECT_EQ(host.read(0x20), 0u);
    EXPECT_EQ(host.read(0x01C00004), 0u);
    time.advance(1000 * MS);
    card_step(host.it);
    EXPECT_EQ(host.read(0x01C00004), 2u);
    EXPECT_EQ(host.read(0x01F04004), 0x00050016u);
    host.link_up();
    EXPECT_EQ(host.register_of(0xFF00FFFF, 0x9010), 1u);
}

TEST(faults, slow_start_counts_the_resets_of_each_sirane)
{
    card_host host(card_options{5, 9});
    host.verb("slow-start 2");
    for (const uint32_t base : {0x01C00000u, 0x01E00000u}) {
        for (const uint32_t shown : {0u, 0u, 2u}) {
            host.write(base, 2); // no reset without the 0
            EXPECT_EQ(host.read(base + 4), 0u);
            host.write(base, 0);
            host.write(base, 2);
            for (const uint32_t state : {0x0004u, 0x2004u, 0x4004u, 0x8004u}) {
                EXPECT_EQ(host.read(base + state), shown);
            }
        }
    }
    EXPECT_EQ(host.read(0x01D00004), 0u);
}

TEST(faults, slow_start_outlasts_the_restart_under_way)
{
    virtual_time time;
    card_host host;
    host.verb("restart");
    host.verb("slow-start 1");
    time.advance(1000 * MS);
    card_step(host.it);
    EXPECT_EQ(host.read(0x01C00004), 0u);
    host.link_up();
    EXPECT_EQ(host.read(0x01C00004), 0u);
    host.link_up();
    EXPECT_EQ(host.read(0x01C00004), 2u);
}

} // namespace
