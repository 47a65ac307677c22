#include "card/bench.h"

namespace {

using commands = bench;

SCRIPT(commands, what_is_set_is_judged_kept_and_given_back, R"(
    > unplug 3; > laser-time 0; sync 7 # of an asynchronous request, given back by each answer
    1 7 m00 24 = 0 7 m00 24; 0 7 m00 18 2 = 0 7 m00 18 2; 0 7 m00 25 2 = 0x80200003; 1 0 m00 24 = 0 0 m00 18
    0 0 m01 18 2 = 0x8050000F 0 m01 18; 0 0 s0 18 2 = 0x8010000D; 0 0 m30 18 2 = 0x80000003
    2 0 m00 1 1; 2 0 m00 2 1 = 0x80620001; 3 0 m00 0 = 0 0 m00 1; 4 0 m00 429690429 1 = 0x80500007
    63 0 m00 1913000 1; 63 0 m00 1961000 2; 64 0 m00 0 1 = 0 0 m00 1913000 1; 64 0 m00 0 0 = 0 0 m00 1961000
    63 0 m00 1937005 2; 5 0 m00 0 2 = 0 0 m00 193700 2; 4 0 m00 194000 0; 64 0 m00 0 2 = 0 0 m00 1940000 2
    63 0 m00 1912999 1 = 0x80500007; 63 0 m00 1961001 1 = 0x80500007; 5 0 m00 9 3 = 0x80000007 0 m00 0 3
    6 0 m00 1 1; 6 0 m00 2 1 = 0x80100011; 7 0 m00 0 1 = 0 0 m00 1 1; 7 0 m00 9 2 = 0 0 m00 0 2
    8 0 m00 0x41200000; 8 0 m00 0x41300000 = 0x80500005; 8 0 m00 0x7FC00000 = 0x80500005; 57 0 m00 0 = 0 0 m00 0x41200000
    58 0 m00 -2500; 58 0 m00 1000; 58 0 m00 -2501 = 0x80500005; 58 0 m00 1001 = 0x80500005; 42 0 m00 1
    8 0 m00 0xC1D00000 = 0x80500005; 42 0 m00 2 = 0x80100011; 43 0 m00 0 = 0x80100011; 43 0 m00 5 = 0x80100011
    44 0 m00 9 = 0 0 m00 4; 43 0 m00 2; 44 0 m00 9 = 0 0 m00 2; 45 0 m00 1; 48 0 m00 9 = 0 0 m00 1
    49 0 m00 -280000; 49 0 m00 -280001 = 0x80100011; 50 0 m00 280001 = 0x80100011; 51 0 m00 0 = 0 0 m00 -280000
    46 0 h02 1; 46 0 h04 1 = 0x80100007; 46 0 m00 1 = 0x8010000D; 47 0 b 1 = 0x8010000D 0 b 0; 52 0 m00 0 = 0 0 m00 60000
    47 0 h02 9 = 0 0 h02 1; 47 0 h01 9 = 0 0 h01 0; 47 0 s0 9 = 0 0 s0 1; 65 0 s0 5 6; 65 0 m00 5 6 = 0x8010000D
    17 0 m00 0 0 = 0 0 m00 1 0; 17 0 m01 5 0 = 0 0 m01 0 0; 62 0 1 0 = 0 0 1 1; 62 0 2 0 = 0 0 2 1; 62 0 3 9 = 0x84000001
    18 0 s0 64; 18 0 b 0; 18 0 s0 65 = 0x80100011; 56 0 0xFFFFFFFF; 9 0 b 0x10 0; 9 0 m00 0x10 0; 9 0 h03 0x9010 0
    9 0 s3 0x9010 0 = 0x80000003; 9 0 0xFF000000 1 0 = 0x80000003; 9 0 0xF0FF00FF 1 0 = 0x80000003
    9 0 m01 1 0 = 0x8050000F; 9 0 s0 0xFFFF 0; 9 0 s0 0x10000 0 = 0x8010000B; 10 0 0xFFFFFFFF 1 1 = 0x80000003
    60 0 s0 9 = 0x8010000D; 60 0 m00 9 = 0 0 m00 3; 13 0 s0 5; 60 0 m00 9 = 0 0 m00 1; 2 0 m00 1 1 = 0x80620011
    2 0 m00 0 1; 13 0 s0 4; 2 0 m00 1 1; 13 0 b 5 = 0x8010000D; 13 0 b 1; 13 0 m00 2; 13 0 s0 3; 13 0 s0 6 = 0x80100005
    13 0 m00 34; 2 0 m00 1 1 = 0x8010000F; 2 0 m00 1 1; 13 0 b 34; 2 0 m00 1 1 = 0x8010000F; 13 0 s1 34; 2 0 m00 1 1
    55 0 1; 55 0 1 = 0x80010013; 55 0 0; 55 0 0; 55 0 1; 55 0 2 = 0x80100011; 39 0 m00 2 = 0x80100011
    39 0 m01 1 = 0x8050000F; 39 0 m00 1; r 1f04304 = 0; 0 0 m00 18 2 = 0x8050000F; 39 0 m00 0; r 1f04304 = 0x10012
    1 0 m00 24 = 0 0 m00 24; 39 0 m00 1; 16 0; r 1f04304 = 0x10012
    21 0 h04 0*8 = 0x80100007; 21 0 s0 0*8 = 0x8010000D; 22 0 s3 0*2 = 0x80000003; 22 0 b 0*2; 40 0 s3 0*30 = 0x80000003
    19 0 s0 0*6 = 0x8010000D; 20 0 s0 0*32 = 0x8010000D; 23 0 m00 0*110 = 0x8010000D; 61 0 m00 0*58 = 0x8010000D
    38 0 s0 0*58 = 0x8010000D; 34 0 s3 0*9 = 0x80000003; 53 0 m20 0*37 = 0x8010000D; 10 0 s0 0x10000 1 = 0x8010000B
)")

SCRIPT(commands, registers_belong_to_their_device_and_outlast_what_they_should, R"(
    10 0 b 0x9030 0x80000001; 10 0 s0 0x9030 2; 10 0 m00 0x9030 3; 10 0 m01 0x9030 4; 10 0 s1 0x9030 5
    9 0 b 0x9030 0 = 0 0 b 0x9030 0x80000001; 9 0 m00 0x9030 0 = 0 0 m00 0x9030 3; 9 0 m01 0x9030 0 = 0 0 m01 0x9030 4
    59 0 m10; 59 0 b = 0x8010000D; 59 0 s3 = 0x80000003; 9 0 s1 0x9030 0 = 0 0 s1 0x9030 0x3210
    9 0 s0 0x9030 0 = 0 0 s0 0x9030 2; 16 0; 9 0 s0 0x9030 0 = 0 0 s0 0x9030 0x3210; 9 0 m01 0x9030 0 = 0 0 m01 0x9030 0
    10 0 s2 0xB00C 1; 10 0 s2 0xB010 2; 10 0 s2 0x9010 3; 10 0 s2 0x9131 4; 10 0 s2 0xB01D 5; 10 0 s2 0xB024 6
    53 0 s2 7*37 = 0 0 s2 1; r 1c0213c = 2 3; r 1c02198 = 4; r 1c021ac = 5 6
    0 0 m00 18 2; > restart; t 1s; link; 1 0 m00 24 = 0 0 m00 18; 59 0 s0; 1 0 m00 24 = 0 0 m00 18
    > remove; > insert; t 1s; link; 1 0 m00 24 = 0 0 m00 24; 0 0 m00 18 2; > unplug 2; > plug 2; 1 0 m00 24 = 0 0 m00 24
)")

SCRIPT(commands, verbs_that_make_no_sense_are_refused_with_a_reason, R"(
    ! alarms = there is no verb alarms; ! plug = DEV is missing; ! plug x = DEV is no decimal number: x
    ! plug 10 = DEV is 0 to 9; ! plug 4 = a module is one of; ! plug 2 2 = nothing is expected behind: 2; ! refuse 66
    ! refuse 9 99999999999; ! refuse 9 101%; ! error 9 ORDUNE_NOTHING; ! corrupt rc; ! peek 4000000; ! peek 2
    ! set-register 1 10000 0; ! resume = does not hang; ! insert; ! spurious-interrupt;
    ! spurious-interrupt 2 17 = a sirane is one of the
    ! upset down; ! memory-error twice; ! restart hot; ! restart warm 6; ! dap sing 1; ! dap answer 1101
    ! image-version 256.1; ! image-version 1.65536; ! log empty; ! log text; ! log fill 100001; ! eprom 4 clear
    ! eprom 3 text words; ! eprom ready x; ! regulator 2 1 on; ! regulator 1 32 on; ! regulator 1 1 off
    > regulator 1 1 on; ! regulator 1 1 on; > unplug 3; ! alarm ring; ! alarm raise 10 SRN_TEMP; ! alarm raise 1.
    ! alarm raise 1.h4 TX_HOST_LOA; ! alarm raise 1.n2 RX_NTWK_LOF; ! alarm raise 2.n0 RX_NTWK_LOF
    ! alarm raise 1.x0 SRN_TEMP; ! alarm raise 1 RX_NTWK_LOF; ! alarm raise 3 XPM2_TEMP; ! alarm raise 2 XPM2_SUMMARY_ALRM
    ! alarm clear 1 ORD_SUMMARY_ALRM; ! alarm clear 3 RX_NTWK_LOCH; > alarm list = 1.n1 0x00000100 RX_NTWK_LOCH
    ! show 10; ! delay 9; ! dap hold; ! dap echo 1; ! program-time; ! restart warm 6.1 2; ! restart cold 1
    ! log indexes 1 2 3; > hang; ! hang = already; ! restart warm = does not run; > remove; ! remove = the card is removed
)")

SCRIPT(commands, show_tells_what_differs_from_the_start, R"(
    2 0 m00 1 1; > set-register 1 9020 0249; > unplug 8; > error 9 ORDUNE_TIMEOUT 3; > corrupt ref_id 10%
    > show = mailbox command  H 2 F 2; > show = device 8, module: not plugged; > show = device 9, module: plugged
    > show = register 0x9020 = 0x00000249, 0x00000000 after a reset  Host Lanes Client
    > show = fault: error 9 0x8010000f ORDUNE_TIMEOUT, 3 times; > show = header word 1 0xdeadbeef, 10%
    w 3f0000c 7; > show = log: text rows, the next is 3, first 0x7, last 0x120, overwritten
)")

} // namespace
