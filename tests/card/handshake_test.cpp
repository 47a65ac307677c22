#include "card/bench.h"

namespace {

using handshake = bench;

SCRIPT(handshake, a_command_is_run_once_when_the_host_lets_go_or_refused, R"(
    reference 0x77; offer read_register s0 0x9010 0 = 4; r 1c02004 = 2 # not yet
    w 1c00000 2; r 1c00004 = 2; r 1c02004 = 4; r 1c02100 = read_register 0x77 4 0 0xFF00FF00 0 0 0xFF00FFFF 0x9010 1
    w 1c02000 4; r 1c02004 = 2; w 1c02000 2; r 1c02004 = 2; r 1d02004 = 2; > set-register 1 9010 6; w 1c00000 2 2
    take 2000 = none; read_register s0 0x9010 0 = 0 0x9010 6 # the message still lay there
    offer write_register s0 0x9010 7 = 4; offer write_register s0 0x9010 8 = 4; w 1c00000 2 # the first one was copied
    take 2000 = write_register 0x77 4 0 0xFF00FF00 0 0 s0 0x9010 7; take 2000 = none
    offer read_register s0 0x9010 0 = 4; w 1c00000 0; take 2000 = read_register 0x77 4 0 0xFF00FF00 0 0 s0 0x9010 7
    offer unused_11 s0 0 = 16; w 1c00000 2; offer unused_12 s0 0 = 16; w 1c00000 2; offer notify_plugin s0 0 = 16
    w 1c00000 2; offer 66 s0 0 = 16; w 1c00000 2; offer 0xFFFFFFFF s0 0 = 16; w 1c00000 2; r 1c00004 = 2; r 1c02004 = 2
    w 1c00100 read_register; w 1c00108 1979; w 1c00000 4; r 1c00004 = 16; w 1c00000 2; w 1c00108 1978; w 1c00000 4 2
    r 1c02108 = 4; r 1c02114 = 0x80100009 # its own size, whatever was asked
)")

SCRIPT(handshake, answers_queue_behind_the_offered_one_and_a_reset_drops_them, R"(
    offer write_register s0 0x9010 0x11 = 4; w 1c00000 2; offer write_register s0 0x9010 0x22 = 4; w 1c00000 2
    r 1c02124 = 0x11; w 1c02000 2; r 1c02004 = 4 # an idle before the message was taken: it stays
    w 1c02000 4; r 1c02004 = 2; r 1c02124 = 0x11 # the next one waits for the host's idle
    w 1c02000 2; r 1c02004 = 4; r 1c02124 = 0x22; w 1c02000 16; w 1c02000 2; r 1c02004 = 2 # dropped by the host
    offer write_register s0 0x9010 0x33 = 4; w 1c00000 2; offer write_register s0 0x9010 0x44 = 4; w 1c00000 2
    w 1c02000 0; r 1c02004 = 2; offer read_register s0 0x9010 0 = 4; w 1c00000 2; r 1c02004 = 2 # no offer at 0
    w 1c02000 0 2; r 1c02004 = 2; read_register s0 0x9010 0 = 0 0x9010 0x44
)")

TEST_F(handshake, one_message_is_offered_and_64_wait)
{
    play("> batch-interval 1; enable_pm_notify s0 1 0*113 = none");
    for (int i = 0; i < 65; i++) {
        play("offer set_arm_trace_level 1 = 4; w 1c00000 2; t 1ms");
    }
    play("offer set_arm_trace_level 1 = 16 # no room for its answer");
    play("w 1c00000 2; w 1c02000 4 2; offer set_arm_trace_level 1 = 4; > show = 0 messages lost; t 1ms; > "
         "show = 1 messages lost");
}

SCRIPT(handshake, interrupts_name_one_source_at_a_time_and_come_as_enabled, R"(
    offer read_register s0 0x9010 0 = 4; w 1c00000 2; r 24 = 1; w 20 7; w 1804000 1; w 1804000 0x10; events = 0
    w 1804000 0x11; events = 1; w 1804000 0x11; w 20 1; w 20 3; events = 0 # sirane 1 has nothing
    r 2c = 17; w 1c0c000 1024; r 2c = 17; w 24 6; events = 0; r 24 = 1 # stays while the bit is set
    w 24 1; r 24 = 1; r 2c = 20; events = 1; w 24 0xFFFFFFFF; r 24 = 0; events = 0; w 1c0c000 1024 1024 1024
    irq = 2 # a source that waits already waits once
    w 20 7; offer read_register s2 0x9010 0 = 4; r 0 = 0x21040003 # real hardware
    w 1804000 0; w 1c0c000 1024; events = 0
)")

SCRIPT(handshake, the_bar_keeps_plain_words_and_has_an_end, R"(
    w 300 1 2; w 3fffffc 5; r 300 = 2; r 3fffffc = 5; w 4000000 1; w 301 1; r 4000000 = 0xFFFFFFFF; r 301 = 0xFFFFFFFF
    r 300 = 2; > peek 1f04004 = 0x00050016; > poke 0x1F04004 60001; r 1f04004 = 0x60001; > ; >   # a remark
    w 1c0c008 0x17000001; r 1c0c00c = 0x17000001; w 1c0c008 2; r 1c0c00c = 0x17000001 # the keep-alive
)")

} // namespace
