#include "card/bench.h"

namespace {

using commands = bench;

SCRIPT(commands, what_is_set_is_judged_kept_and_given_back, R"(
    > unplug 3; > laser-time 0; sync 7; handle 7 # each answer gives them back
    get_traffic_type m00 24 = 0 24; set_traffic_type m00 18 2 = 0 18 2; m00 25 2 = 0x80200003
    get_traffic_type m00 24 = 0 18; set_traffic_type m01 18 2 = 0x8050000F 18; s0 18 2 = 0x8010000D
    m30 18 2 = 0x80000003; set_laser m00 1 1; m00 2 1 = 0x80620001; get_laser m00 0 = 0 1
    set_laser_channel m00 429690429 1 = 0x80500007; set_laser_channel_flex_grid m00 1913000 1; m00 1961000 2
    get_laser_channel_flex_grid m00 0 1 = 0 1913000 1; m00 0 0 = 0 1961000; set_laser_channel_flex_grid m00 1937005 2
    get_laser_channel m00 0 2 = 0 193700 2; set_laser_channel m00 194000 0
    get_laser_channel_flex_grid m00 0 2 = 0 1940000 2; set_laser_channel_flex_grid m00 1912999 1 = 0x80500007
    m00 1961001 1 = 0x80500007; get_laser_channel m00 9 3 = 0x80000007 0 3; set_laser_bright_tuning m00 1 1
    m00 2 1 = 0x80100011; get_laser_bright_tuning m00 0 1 = 0 1 1; m00 9 2 = 0 0 2
    set_optical_output_power m00 0x41200000; m00 0x41300000 = 0x80500005; m00 0x7FC00000 = 0x80500005
    get_config_optical_output_power m00 0 = 0 0x41200000; set_runtime_optical_output_power m00 -2500; m00 1000
    m00 -2501 = 0x80500005; m00 1001 = 0x80500005; set_tx_disable m00 1
    set_optical_output_power m00 0xC1D00000 = 0x80500005; set_tx_disable m00 2 = 0x80100011
    set_xpm2_led m00 0 = 0x80100011; m00 5 = 0x80100011; get_xpm2_led m00 9 = 0 4; set_xpm2_led m00 2
    get_xpm2_led m00 9 = 0 2; set_network_loopback m00 1; get_network_loopback m00 9 = 0 1
    set_rx_cd_low_search_value m00 -280000; m00 -280001 = 0x80100011
    set_rx_cd_high_search_value m00 280001 = 0x80100011; get_rx_cd_low_search_value m00 0 = 0 -280000
    set_host_loopback h02 1; h04 1 = 0x80100007; m00 1 = 0x8010000D; get_host_loopback b 1 = 0x8010000D 0
    get_rx_cd_high_search_value m00 0 = 0 60000; get_host_loopback h02 9 = 0 1; h01 9 = 0 0; s0 9 = 0 1
    set_cons_action s0 5 6; m00 5 6 = 0x8010000D; is_xpm2_present m00 0 0 = 0 1 0; m01 5 0 = 0 0 0
    get_zynq_rsa_check 1 0 = 0 1; 2 0 = 0 1; 3 9 = 0x84000001; set_pm_parameters s0 64; b 0; s0 65 = 0x80100011
    set_arm_trace_level 0xFFFFFFFF; read_register b 0x10 0; m00 0x10 0; h03 0x9010 0; s3 0x9010 0 = 0x80000003
    0xFF000000 1 0 = 0x80000003; 0xF0FF00FF 1 0 = 0x80000003; m01 1 0 = 0x8050000F; s0 0xFFFF 0
    s0 0x10000 0 = 0x8010000B; write_register 0xFFFFFFFF 1 1 = 0x80000003; get_xpm2_status s0 9 = 0x8010000D
    m00 9 = 0 3; diag_command s0 5; get_xpm2_status m00 9 = 0 1; set_laser m00 1 1 = 0x80620011; m00 0 1
    diag_command s0 4; set_laser m00 1 1; diag_command b 5 = 0x8010000D; b 1; m00 2; s0 3; s0 6 = 0x80100005; m00 34
    set_laser m00 1 1 = 0x8010000F; m00 1 1; diag_command b 34; set_laser m00 1 1 = 0x8010000F; diag_command s1 34
    set_laser m00 1 1; enable_keep_alive_notify 1; 1 = 0x80010013; 0; 0; 1; 2 = 0x80100011
    set_xpm2_simulated_oir m00 2 = 0x80100011; m01 1 = 0x8050000F; m00 1; r 1f04304 = 0
    set_traffic_type m00 18 2 = 0x8050000F; set_xpm2_simulated_oir m00 0; r 1f04304 = 0x10012
    get_traffic_type m00 24 = 0 24; set_xpm2_simulated_oir m00 1; default_initialize; r 1f04304 = 0x10012
    get_host_port_pm h04 0*8 = 0x80100007; s0 0*8 = 0x8010000D; get_generic_pm s3 0*2 = 0x80000003; b 0*2
    global_provisioned_config s3 0*30 = 0x80000003; get_xpm2_port_pm s0 0*6 = 0x8010000D
    get_sirane_port_pm s0 0*32 = 0x8010000D; get_global_pm m00 0*110 = 0x8010000D
    dbg_get_hostport_pcs_counters m00 0*58 = 0x8010000D; get_xpm2_inventory_inf s0 0*58 = 0x8010000D
    get_global_alarms s3 0*9 = 0x80000003; get_subsystem_status_info m20 0*37 = 0x8010000D
    write_register s0 0x10000 1 = 0x8010000B
)")

SCRIPT(commands, registers_belong_to_their_device_and_outlast_what_they_should, R"(
    write_register b 0x9030 0x80000001; s0 0x9030 2; m00 0x9030 3; m01 0x9030 4; s1 0x9030 5
    read_register b 0x9030 0 = 0 0x9030 0x80000001; m00 0x9030 0 = 0 0x9030 3; m01 0x9030 0 = 0 0x9030 4
    recover_device m10; b = 0x8010000D; s3 = 0x80000003; read_register s1 0x9030 0 = 0 0x9030 0x3210
    s0 0x9030 0 = 0 0x9030 2; default_initialize; read_register s0 0x9030 0 = 0 0x9030 0x3210; m01 0x9030 0 = 0 0x9030 0
    write_register s2 0xB00C 1; s2 0xB010 2; s2 0x9010 3; s2 0x9131 4; s2 0xB01D 5; s2 0xB024 6
    get_subsystem_status_info s2 7*37 = 0 1; r 1c0213c = 2 3; r 1c02198 = 4; r 1c021ac = 5 6; set_traffic_type m00 18 2
    > restart; t 1s; link; get_traffic_type m00 24 = 0 18; recover_device s0; get_traffic_type m00 24 = 0 18; > remove
    > insert; t 1s; link; m00 24 = 0 24; set_traffic_type m00 18 2; > unplug 2; > plug 2; get_traffic_type m00 24 = 0 24
)")

SCRIPT(commands, verbs_that_make_no_sense_are_refused_with_a_reason, R"(
    ! alarms = there is no verb alarms; ! plug = DEV is missing; ! plug x = DEV is not a decimal number: x
    ! plug 10 = DEV is 0 to 9; ! plug 4 = a module is one of; ! plug 2 2 = nothing is expected after: 2; ! refuse 66
    ! refuse 99999999999; ! refuse laser = COMMAND is neither; ! refuse read_register 101%
    ! error read_register ORDUNE_NOTHING; ! corrupt crc; ! peek 4000000; ! peek 2; ! set-register 1 10000 0
    ! resume = is not hung; ! insert; ! spurious-interrupt; ! spurious-interrupt 2 17 = a sirane is one of the
    ! upset down; ! memory-error twice; ! restart hot; ! restart warm 6; ! dap sing 1; ! dap answer 1101
    ! image-version 256.1; ! image-version 1.65536; ! log empty; ! log text; ! log fill 100001; ! eprom 4 clear
    ! eprom 3 text words; ! eprom ready x; ! regulator 2 1 on; ! regulator 1 32 on; ! regulator 1 1 off
    > regulator 1 1 on; ! regulator 1 1 on; > unplug 3; ! alarm ring; ! alarm raise 10 SRN_TEMP; ! alarm raise 1.
    ! alarm raise 1.h4 TX_HOST_LOA; ! alarm raise 1.n2 RX_NTWK_LOF; ! alarm raise 2.n0 RX_NTWK_LOF
    ! alarm raise 1.x0 SRN_TEMP; ! alarm raise 1 RX_NTWK_LOF; ! alarm raise 3 XPM2_TEMP
    ! alarm raise 2 XPM2_SUMMARY_ALRM; ! alarm clear 1 ORD_SUMMARY_ALRM; ! alarm clear 3 RX_NTWK_LOCH
    > alarm list = 1.n1 0x00000100 RX_NTWK_LOCH; ! show 10; ! delay read_register; ! dap hold; ! dap echo 1
    ! program-time; ! restart warm 6.1 2; ! restart cold 1; ! log indexes 1 2 3; > hang; ! hang = already
    ! restart warm = is not running; > remove; ! remove = the card is removed
)")

SCRIPT(commands, show_tells_what_differs_from_the_start, R"(
    set_laser m00 1 1; > set-register 1 9020 0249; > unplug 8; > error read_register ORDUNE_TIMEOUT 3
    > corrupt ref_id 10%; > show = mailbox command  H 2 F 2; > show = device 8, module: not plugged
    > show = device 9, module: plugged
    > show = register 0x9020 = 0x00000249, 0x00000000 after a reset  Host Lanes Client
    > show = fault: error read_register 0x8010000f ORDUNE_TIMEOUT, 3 times; > show = header word 1 0xdeadbeef, 10%
    w 3f0000c 7; > show = log: text rows, the next is 3, first 0x7, last 0x120, overwritten
)")

} // namespace
