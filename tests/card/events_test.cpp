// What the card says by itself, and the channel that it calls over.
#include "card/bench.h"

namespace {

using events = bench;

SCRIPT(events, raised_alarms_stand_in_the_words_of_their_place, R"(
    > alarm raise 1.h0 IS_PRESENT__HOST_PCS_ALARMS__TX_HOST_REMOTE_FLT; > alarm raise 1.h3 tx_host_loa
    > alarm raise 2 RX_NTWK_LOF; > alarm raise 1.n1 rx_ntwk_los; > alarm raise 1 SRN_TEMP; > alarm raise 0 ORD_EEP_FAIL
    get_host_pcs_alarms h00 9 = 0 0x80; get_host_otn_alarms h03 9 = 0 4; get_host_pcs_alarms s0 9 = 0 0x84
    get_nwtk_port_alarms m00 9 = 0 0x2000; m01 9 = 0 0; s0 9 = 0 0x2000; get_xpm2_alarms m01 9 = 0 0x80000020
    s0 9 = 0 0x80000020; get_generic_alarms b 9 = 0 0xC0001002; h02 9 = 0 0xC0001002; s1 9 = 0 0x40001000
    get_global_alarms s0 0*9 = 0 0x80 0 0 4 0x2000 0 0 0x80000020 0xC0001002
    > alarm list = 1 0xc0001002 SRN_SUMMARY_ALRM ORD_SUMMARY_ALRM ORD_EEP_FAIL SRN_TEMP
    > alarm list = 1.n0 0x00002000 RX_NTWK_LOF; > alarm clear 1.h3 TX_HOST_LOA; > alarm clear 1.h0 all
    > alarm clear 0 ORD_EEP_FAIL; > alarm clear 1 all; > alarm clear 2 all; > alarm clear 3 RX_NTWK_LOS; s0 0*9 = 0 0*9
    > alarm raise 2 XPM2_TEMP; set_xpm2_simulated_oir m00 1; get_nwtk_port_alarms m00 9 = 0 0x100
    get_xpm2_alarms m00 0 = 0x8050000F; s0 9 = 0 0; set_xpm2_simulated_oir m00 0; get_nwtk_port_alarms m00 9 = 0 0
    get_xpm2_alarms m00 9 = 0 0x80000010 # too warm still
    > unplug 2; > plug 2; m00 9 = 0 0
)")

SCRIPT(events, every_change_of_an_alarm_word_is_told_to_its_subscription, R"(
    > alarm raise 4.h1 TX_HOST_LOA; sync 14; reference 0x51; 1: enable_alarms_notify s1 1 0*11 = none
    take 104000 = none # what stands already is no change
    > alarm raise 5 RX_NTWK_LOF; take 104000 = enable_alarms_notify 0x51 14 0 14 0 0 s1 1 0 4 0 0 0x2000 0 0 0 0 1 0
    > alarm raise 5 RX_NTWK_LOF; > alarm raise 1 SRN_TEMP; take 104000 = none; take 4000 = none; > alarm clear 4.h1 all
    take 104000 = enable_alarms_notify 0x51 14 0 14 0 0 s1 1 0 0 0 0 0x2000 0 0 0 0 2 0; reference 0x52
    1: enable_alarms_notify s1 1 0*11 = none; > unplug 6
    take 104000 = enable_alarms_notify 0x52 14 0 14 0 0 s1 1 0 0 0 0 0x2000 0x100 0 0 0 1 0
    1: force_global_alarms_notify s1 11 12 13 14 15 16 17 18 19 = none
    take 104000 = enable_alarms_notify 0x52 14 0 14 0 0 s1 1 11 12 13 14 15 16 17 18 19 2 0
    1: enable_alarms_notify s1 0 0*11 = none; > plug 6; take 104000 = none; 1: force_global_alarms_notify s1 0*9 = none
    take 104000 = none; 1: enable_alarms_notify s1 = none; 1: enable_pm_notify s3 0*114 = none
    > show = 2 commands failed that get no answer
)")

SCRIPT(events, modules_that_come_and_go_and_restarts_are_told, R"(
    w 1804000 0x11; w 20 7; > unplug 9; take 202000 = notify_plugin 1 3 0 15 0 0 m21 0; > plug 9
    take 202000 = notify_plugin 2 3 0 15 0 0 m21 1; set_xpm2_simulated_oir m00 1
    take 2000 = notify_plugin 3 3 0 15 0 0 m00 0; default_initialize
    take 2000 = notify_plugin 4 3 0 15 0 0 m00 1 # a pretence and its end
    > hang; > unplug 2; > unplug 3; > plug 2; take 2000 = none; > corrupt-notice sy 3; > resume
    take 2000 = notify_plugin 5 3 0 3 0 0 m01 0; take 2000 = none; irq = 4; > restart warm 6.1; irq = 1
    take 2000 = app_zynq_restart_notify 6 2 0 16 0 0 1; t 2999ms; set_arm_trace_level 1; irq = 1; t 1ms; r 1c02004 = 0
    r 1f04004 = 0x50016; irq = 0; t 1s; irq = 1; take 2000 = app_zynq_restart_notify 7 2 0 16 0 0 4; r 1f04004 = 0x60001
    > restart warm-fail; take 2000 = app_zynq_restart_notify 8 2 0 16 0 0 2; t 10s; write_register s0 0x9010 9
    > restart cold; r 1c02004 = 0; t 1s; take 2000 = app_zynq_restart_notify 9 2 0 16 0 0 3
    read_register s0 0x9010 0 = 0 0x9010 1; > restart; t 1s; take 2000 = none # a crash says nothing
    > remove; > insert; t 1s; > unplug 9; w 1e02000 2; take 202000 = none # no host has come
)")

SCRIPT(events, batches_come_at_each_end_of_the_interval, R"(
    sync 13; reference 1; enable_pm_notify s0 1 0*113 = none; t 9999ms; r 1c08004 = 2; t 1ms; r 1c082e0 = 1 0
    w 1c08000 4 2; set_pm_parameters s0 2; t 2s; t 2s; s0 0; t 9s; t 2500ms; t 9500ms # one is late: the next one is not
    r 1c082e0 = 2 0; w 1c08000 4 2; r 1c082e0 = 3 0; w 1c08000 4 2; r 1c082e0 = 4 0; w 1c08000 4 2; r 1c082e0 = 5 0
    > batch-interval 1000; enable_pm_notify s0 1 0*113 = none; 2: enable_pm_notify s2 1 0*113 = none; > skip-batch 2
    t 1s; t 1s; w 1c08000 4 2; r 1c082e0 = 2 0; w 1c08000 4 2; r 1c08004 = 2; r 1e082e0 = 2 0; w 1e08000 4 2
    r 1e08004 = 2; r 1d08004 = 2; s0 0 0*113 = none; t 1s; > hang; t 10s; > resume; r 1e082e0 = 3 0; w 1e08000 4 2
    r 1e082e0 = 4 0; w 1e08000 4 2; r 1e08004 = 2; r 1c08004 = 2; > restart; t 10s; t 10s
    take 208000 = none # it forgot who wanted them
)")

SCRIPT(events, dap_echoes_holds_and_repeats_its_calls, R"(
    w 1804000 0x11; w 20 7; w 1c0c000 4; r 1c0c004 = 2 # without the reset nobody looks at it
    w 1f08000 54; w 1f08004 0x77; w 1f08008 5; w 1f08010 0xFF00FF00; w 1f08018 0x44332211; w 1f0801c 0x55
    w 1c0c000 1024; r 1c0c004 = 1024; r 2c = 20; irq = 1; w 1c0c000 4; r 1c0c004 = 2048; irq = 1
    r 1f08000 = dap_message 0x77 5 0 0xFF00FF00 0 0x44332211 0x55; w 1c0c000 2; r 1c0c004 = 2; t 1s; irq = 0
    > dap hold 2; > dap delay 50; w 1c0c000 1024; irq = 1; t 99ms; irq = 0; t 1ms; irq = 1; w 1c0c000 4 8
    r 1c0c004 = 1024; t 50ms; r 1c0c004 = 8; irq = 1; w 1c0c000 8; r 1c0c004 = 8; w 1c0c000 8; r 1c0c004 = 2048; irq = 2
    t 1s; irq = 1; > dap echo; > dap answer 1100; > dap error 80100011; > corrupt ref_id 5; w 1c0c000 1024 4
    r 1f08000 = dap_message 5 1100 0 0xFF00FF00 0x80100011 0x44332211 0x33221155 0x22115544; r 1f08460 = 0x55443322 0
    > dap answer 6; w 1f08008 0; w 1f08018 0; w 1f0801c 0; w 1c0c000 1024 4; r 1f08008 = 6
    r 1f08018 = 0x03020100 0x0504; > dap echo; w 1f08008 0xFFFFFFFF; w 1c0c000 1024 4; r 1f08008 = 1024; w 1c0c000 2
    > dap ignore-reset 2; w 1c0c000 1024 1024; r 1c0c004 = 2; w 1c0c000 1024; > show = dap: H 1024 F 1024
    > dap delay 5000; w 1c0c000 4; > restart; r 1c0c004 = 0; t 1s; r 1c0c004 = 2; t 5s; r 1c0c004 = 2 # it was ended
)")

} // namespace
