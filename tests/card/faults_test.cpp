#include "card/bench.h"

namespace {

using faults = bench;

SCRIPT(faults, each_verb_strikes_where_it_was_aimed, R"(
    > refuse 9 2; set_arm_trace_level 1; offer read_register s0 1 0 = 16; w 1c00000 2; offer read_register s0 1 0 = 16
    w 1c00000 2; read_register s0 0x9010 0 = 0 0x9010 1; > error write_register ORDUNE_MBOX_BUSY
    write_register s0 0x9010 9 = 0x80010013 0x9010 9; read_register s0 0x9010 0 = 0 0x9010 1
    > error write_register 0x80000002 always; write_register s0 1 9 = 0x80000002; s0 1 9 = 0x80000002
    > error write_register 1 0; s0 0x9010 9; > delay read_register 1500; read_register s0 0x9010 0 = none; t 1499ms
    r 1c02004 = 2; set_arm_trace_level 1; t 1ms
    take 2000 = read_register 0x1234 4 0 0xFF00FF00 0 0 s0 0x9010 9 # it was overtaken
    > drop-answer write_register; write_register s0 0x9010 8 = none; read_register s0 0x9010 0 = 0 0x9010 8
    > refuse read_register always; > error read_register 1; > clear; s0 0x9010 0; > refuse read_register 100%
    offer read_register s0 1 0 = 16; w 1c00000 2; > refuse read_register 0%; s0 1 0; > delay read_register 10
    s0 0x9010 0 = none; link; t 10ms; take 2000 = none # the reset of the mailbox dropped it
    > corrupt cmd; offer set_arm_trace_level 1 = 4; w 1c00000 2; take 2000 = 200 0x1234 2 0 0xFF00FF00 0 0 1
    set_arm_trace_level 1; > corrupt ref_id; > corrupt version; offer set_arm_trace_level 1 = 4; w 1c00000 2
    take 2000 = set_arm_trace_level 0xDEADBEEF 2 255 0xFF00FF00 0 0 1; > corrupt sy 0xFF00FF01; > corrupt size 10
    offer set_arm_trace_level 1 = 4; w 1c00000 2; r 1c02100 = set_arm_trace_level 0x1234 16 0 0xFF00FF01; link
    > corrupt sy; > corrupt size; offer set_arm_trace_level 1 = 4; w 1c00000 2
    r 1c02100 = set_arm_trace_level 0x1234 0x7FFFFFFF 0 12
)")

TEST_F(faults, a_share_of_the_occasions_is_drawn_from_the_seed)
{
    int refused[3] = {};
    for (const uint64_t seed : {0, 1, 2}) {
        start({.seed = seed / 2 + 7});
        play("> refuse read_register 50%");
        for (int i = 0; i < 1000; i++) {
            refused[seed] += offer(words_of("read_register s0 1 0")) == words{16};
            play("w 1c00000 2; w 1c02000 4 2");
        }
    }
    EXPECT_NEAR(refused[0], 500, 80); // five times the standard deviation
    EXPECT_TRUE(refused[0] == refused[1] && refused[0] != refused[2]);
}

SCRIPT(faults, interrupts_and_answers_get_lost_come_late_twice_and_for_nothing, R"(
    w 1804000 0x11; w 20 7; > drop-interrupt; read_register s0 1 0; events = 0; r 24 = 0; s0 1 0; irq = 1
    > late-interrupt 40; s0 1 0; t 39ms; r 24 = 0; events = 0; t 1ms; r 24 = 1; r 2c = 17; irq = 1; > double-interrupt
    s0 1 0; irq = 2; > spurious-interrupt; r 24 = 0; irq = 1; > spurious-interrupt 7 16; r 24 = 4; r 34 = 16; irq = 1
    set_laser m00 1 0; sync 3; m00 1 0 = none; t 299ms; take 2000 = none; t 1ms
    take 2000 = set_laser 0x1234 4 0 3 0 0 m00 1 0; > laser-time 20; > delay set_traffic_type 5
    set_traffic_type m00 1 0 = none; t 24ms; take 2000 = none # but when nobody waits for it
    t 1ms; take 2000 = set_traffic_type 0x1234 4 0 3 0 0 m00 1 0
)")

SCRIPT(faults, a_hung_firmware_does_nothing_until_it_resumes, R"(
    w 1c0c008 0x17000001; > delay set_arm_trace_level 5; set_arm_trace_level 1 = none; > hang
    offer read_register s0 1 0 = 2; w 1c0c008 0x17000002 0x17000003; t 5ms; r 1c0c00c = 0x17000001; r 1c02004 = 2
    > resume; r 1c0c00c = 0x17000003; r 1c00004 = 4; take 2000 = set_arm_trace_level 0x1234 2 0 0xFF00FF00 0 0 1
    w 1c00000 2; take 2000 = read_register 0x1234 4 0 0xFF00FF00 0 0 s0 1 0; > hang; offer read_register s0 1 0 = 2
    w 1c00000 2; > resume; r 1c00004 = 2; take 2000 = none # it was given up
)")

SCRIPT(faults, a_start_forgets_what_is_in_memory_and_the_power_what_was_set, R"(
    w 1804000 0x11; w 20 7; write_register s0 0x9010 9; enable_keep_alive_notify 1; offer read_register s0 1 0 = 4
    w 1c00000 2; > restart; r 1c00004 = 0; r 1c02004 = 0; r 1d04004 = 0; r 1e08004 = 0; r 1c0c004 = 0; r 24 = 0; t 999ms
    r 1c00004 = 0; t 1ms; r 1c00004 = 2; take 2000 = none; read_register s0 0x9010 0 = 0 0x9010 9
    enable_keep_alive_notify 1; > hang; w 1f000a0 0xA5110000 0xA5110000; r 1c00004 = 2; w 1f000a0 0xA5670000 0xA5000000
    r 1c00004 = 2; w 1f000a0 0xA5670000 0xA5110000; r 1c00004 = 0; t 1s
    read_register s0 0x9010 0 = 0 0x9010 9 # ends the hang
    w 1f000a0 0xA5670000 0xA5330000; r 1c00004 = 0; t 1s; s0 0x9010 0 = 0 0x9010 1; write_register s0 0x9010 9; > remove
    r 1c00004 = 0xFFFFFFFF; w 300 1; > insert; r 300 = 0; r 20 = 0; r 1c00004 = 0; t 1s; r 1c00004 = 2
    r 1f04004 = 0x50016; w 1c00000 0 2; w 1c02000 0 2; read_register s0 0x9010 0 = 0 0x9010 1; > restart; > slow-start 1
    t 1s; r 1c00004 = 0; w 1c00000 0 2; r 1c00004 = 0; w 1c00000 0 2; r 1c00004 = 2; > slow-start 2; w 1e00000 2
    r 1e02004 = 0; w 1e00000 0 2; r 1e02004 = 0 # no reset without the 0
    w 1e00000 0 2; r 1e02004 = 0; w 1e00000 0 2; r 1e00004 = 2; r 1e02004 = 2; r 1e08004 = 2; r 1d00004 = 0
)")

SCRIPT(faults, memory_errors_move_slowly_by_themselves_and_as_the_operator_wants, R"(
    t 1800s; t 1800s; t 1800s; r 1f04f00 = 0 12 0 0x2233EEAA 2 0 0 0; > upset correctable
    r 1f04f00 = 0 12 0 0x2233EEAA 3; > upset uncorrectable; r 1f04f00 = 0 12 0 0xBBCC0066 3; > memory-error
    r 1f04f00 = 0 13 0 0xBBCC0066 3; > memory-error uncorrectable; r 1f04f00 = 1 13 1 0xBBCC0066 3; > hang
    > upset clear; r 1f04f00 = 1 13 1 0xBBCC0066 3; > resume; r 1f04f00 = 1 13 1 0x2233EEAA 3; > upset uncorrectable
    > restart; t 60s; r 1f04f00 = 0 0 0 0xBBCC0066 0; > restart cold; t 60s; r 1f04f00 = 0 0 0 0x2233EEAA 0
)")

} // namespace
