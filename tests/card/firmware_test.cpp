// Images, logs and records, as firmware of each age has them.
#include <numeric>
#include <tuple>

#include "card/bench.h"

namespace {

using firmware = bench;

SCRIPT(firmware, images_are_judged_and_run_in_the_other_bank_or_after_the_next_start, R"(
    w 2000000 0x33636336; w 2000004 0x37613730; w 2000008 0x65326365; w 200000c 0x31613732; w 2000010 0x34316634
    w 2000014 0x31376130; w 2000018 0x34633136; w 200001c 0x66633738; w 2000040 0x13579BDF # below its digest, as text
    download_software 2 4 = none; t 99ms; take 2000 = none; t 1ms
    take 2000 = download_software 0x1234 3 0 0xFF00FF00 0 0 2 4
    > show = downloaded: kind 2, 2.8, 4 bytes, 6cc307a7ec2e27a14f140a7161c487cf; > unplug 3; 2 0 = 0x80300001
    2 33553404 = 0x80300001; 3 4 = 0x80300009; program_activate_software b 7 = 0x80300009; m00 7 = 0x80300009
    h01 7 = 0x80300009; m01 7 = 0x8050000F; s3 7 = 0x80000003; download_software 2 1048576 = none; t 115ms
    take 2000 = none; t 1ms; take 2000 = download_software 0x1234 3 0 0xFF00FF00 0x80300003 0 2 1048576; r 1f04500 = 0
    r 1f04200 = 0x02000008 0x02000007 1 1 0 1; r 1f04504 = 0x02000008 0x02000007 1 1 0 1 # for any of them
    write_register s1 0x9030 9; program_activate_software s1 7 = none; 2: program_activate_software s1 7 = 0x8030000D
    2: download_software 2 4 = 0x8030000D # while one is worked on
    > show = programming under way: kind 2, 2.8, device 4; t 400ms; r 1f04804 = 0x00B20000; t 399ms; take 2000 = none
    t 1ms; take 2000 = program_activate_software 0x1234 3 0 0xFF00FF00 0 0 s1 7
    read_register s1 0x9030 0 = 0 0x9030 0x3210; r 1f04804 = 0x00E40000; r 1f04504 = 0x02000008 0x02000007 1 1 0 0
    r 1f04808 = 0x02000006 0x02000007 1 1 1 1; program_activate_software s2 7 = 0x80300001; > image-version 3.772
    download_software 2 4 = none; t 100ms; > program-time 250; program_activate_software s1 7 = none; t 250ms
    > restart cold; t 1s; r 1f04504 = 0x02000008 0x03000304 1 1 1 1; link; download_software 2 4 = none; t 100ms
    program_activate_software s0 7 = none; t 100ms; > restart; t 1s; r 1f04200 = 0x02000006 0x02000007 0 1 1 1
    r 1f04500 = 0; t 1s; link # it was not finished
    download_software 1 4 = none; r 1f04018 = 0xFFFFFFFD 0x00020004; t 100ms; link
    program_activate_software s1 7 = 0x80300009; b 7 = none; t 250ms; r 1f04004 = 0x00050016
    r 1f04018 = 0x00050017 0x00020004; link; > image-version 4.0; download_software 0 4 = none; t 100ms; link
    program_activate_software s0 7 = 0x80300009; m00 7 = 0x80300009; b 7 = none; t 250ms
    r 1f04018 = 0x00050017 0x00040000; > restart; t 1s; r 1f04004 = 0x00050017; link; > image-version 2.6
    download_software 1 4 = none; t 100ms; > restart cold; t 1s; r 1f04004 = 0x00020006; link; 4 4 = none; t 100ms; link
    program_activate_software b 7 = 0x80300009; m11 7 = none; t 250ms; r 1f04608 = 0x00010012; r 1f04708 = 0x00010013
    link; download_software 4 4 = none; t 100ms; link; program_activate_software m00 7 = none; > unplug 2; w 1c02000 4 2
    t 250ms; r 1c02114 = 0x8050000F; > plug 2; r 1f04304 = 0x00010012 # it was pulled meanwhile
)")

SCRIPT(firmware, logs_tell_what_happens_in_rows_of_text_or_of_codes, R"(
    > log clear; t 250ms; program_activate_software s2 7 = 0x80300001; > unplug 3; > regulator 7 12 on
    > log text what  ever; > restart
    text 3f00020 =      0.250 ERR  03 command failed, device 1, command 15, code 0x80300001
    text 3f00080 =      0.250 LOG  39 module unplugged, device 3
    text 3f000e0 =      0.250 LOG  39 alarm raised, device 1, word 5, bits 0x00000100
    text 3f00140 =      0.250 ERR  06 regulator failed, device 7, bit 12; text 3f001a0 = what ever
    text 3f00200 =      0.250 INFO 09 firmware goes down, device 0, cold 0; r 3f0000c = 0 576; > restart cold; t 1s
    r 3f0000c = 0 96; > log clear; > restart; t 1s; r 3f0000c = 0 192; > restart warm 3.5; t 3s; t 1s; r 3f0000c = 0 0
    r 3f00020 = 5000 0x010930D4 0 0 0x00030005 0 0 0; link; s0 7 = 0x80300001; recover_device s0; > log text abcdefghij
    r 3f00040 = 5000 0x0203212D 0x80300001 1 15 0 0 0
    r 3f00060 = 5000 0x0029103C 0 1 0 0 0 0 5000 0x00143000 0 0x64636261 0x68676665 0x00006A69 0 0; > log clear
    > log fill 32512; r 3f0000c = 0 32511; > log fill 1; r 3f0000c = 2 1; > log indexes 1C 1; r 3f0000c = 28
)")

SCRIPT(firmware, logs_come_round_and_a_row_ends_in_its_place, R"(
    > log clear; > log fill 10919; r 3f0000c = 0 0xFFEA0; > log fill 1; r 3f0000c = 96 0; > log clear; w 3fffc00 1
    w 3fffc04 43; > log fill 10911 # up to the row with the host's own words
    > log text xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx
    > log text yyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyy
    r 3fffbf8 = 0x78787878 0x00787878 1 43; r 3fffc78 = 0x79797979 0x00797979; > eprom 3 clear
    r 3ec0000 = 0 0 0 0 0 0x01AC7F26; > eprom 3 fill 1; r 3ec0000 = 0 0 0 24; > eprom 3 fill 10877
    r 3ec0000 = 0 0 10877 261072; > eprom 3 fill 1; r 3ec0000 = 0 1 0 261072; > eprom ready off; r 3ec0014 = 0
    > eprom 3 indexes 3FBF9 2; r 3ec0000 = 0 0x3FBF9 2; > eprom ready on; > eprom 3 fill 1
    r 3ec0000 = 0 2 1 261072 0 0x01AC7F26; r 3ec0048 = 0 0xFFFF 0 0 0 0; > eprom 2 fill 1
    r 3e80000 = 0 8 0x20776F72 0x0A202030; > eprom 2 clear; > eprom 2 fill 22092
    r 3e80000 = 0 261104 # 8000 bytes of 8 a row, the rest of 12, of 261112
    > eprom 2 text 1234567; r 3e80000 = 8 0 0 0x0A202030; > eprom 2 indexes 100 3fbf9; r 3e80000 = 0x100 0x3FBF9
    > regulator 1 0 on; r 3effc1c = 1; > regulator 4 1 on; r 3effc3c = 2; > regulator 7 31 on; > regulator 7 21 on
    r 3effc5c = 0x80200000; > eprom 3 clear; r 3effc5c = 0x80200000; > regulator 7 31 off; r 3effc5c = 0x00200000
)")

SCRIPT(firmware, logs_survive_a_loss_of_power_in_the_eprom_and_an_image_in_their_place, R"(
    > regulator 4 21 on; > eprom 1 text by hand; > remove; > insert; t 1s; link; > regulator 1 8 on
    r 3ec0030 = 0 0x00010000 0 0 0x00050016 1 0 0x00010011 4 0 21 0; text 3e40008 = 1 0.000 regulator failed
    text 3e40034 = by hand; text 3e00008 = 2 0.000 regulator failed, device 1, bit 8; w 3f00000 7; w 3f0000c 7
    w 3e00008 7; w 3ec0014 7; w 3effc1c 7; download_software 2 33553403 = none # an image stood there
    r 3f00000 = 0; r 3f0000c = 0; r 3ec0014 = 0x01AC7F26; r 3effc1c = 0x00000100; r 3effc3c = 0x00200000; t 611ms
    w 3e00008 7; w 3ec0014 7; > restart; r 3ec0014 = 0x01AC7F26; text 3e00008 = 2 0.000 regulator failed
)")

TEST_F(firmware, inventory_and_configuration_are_told_as_the_firmware_knows_them)
{
    const uint32_t FIRMWARE[][4] = {{2, 6, 0, 0}, {2, 7, 1, 1}, {4, 0, 1, 1}, {4, 1, 2, 1}};
    for (const auto &[major, minor, inventory, configuration] : FIRMWARE) {
        SCOPED_TRACE(minor);
        start({major, minor});
        const words label = run("get_xpm2_inventory_inf m10 9*58");
        std::string text =
            "D000000_________73-20416-05_____8842019-00713-022021112300WMXA0Q2BAA\1\2\x12\1\x12\1"
            "Borealis Phot.__Coherent line module 200G, tunable______________________________"
            "XPM2-200-C______V02-";
        text += inventory == 0 ? "REV-B0000001__\2_______" : std::string(12, '\xFF') + "__\2___\1___";
        text += inventory == 2 ? "BP4470-C-2______8842019-00713-02\xA1___" : std::string(36, '_');
        std::ranges::replace(text, '_', '\0');
        EXPECT_EQ(label[3], inventory);
        EXPECT_EQ(std::string(reinterpret_cast<const char *>(&label[8]), 232), text);
        play("set_traffic_type m11 12 0; set_laser m10 1 1; set_laser_channel m10 195000 1; "
             "set_laser_bright_tuning m11 1 2; set_optical_output_power m11 0x3F800000; "
             "set_rx_cd_low_search_value m10 11");
        play("set_rx_cd_high_search_value m11 12; set_xpm2_led m10 1; set_network_loopback m11 1; "
             "set_host_loopback h13 1");
        const bool flex = inventory == 2; // grid
        play(flex ? "get_laser_channel_flex_grid m10 0 1 = 0 1950000"
                  : "set_laser_channel_flex_grid m10 1937000 1 = 0x80100005; get_laser_channel_flex_grid m10 "
                    "0 1 = "
                    "0x80100005");
        play("handle 3; global_provisioned_config s1 9*30 = 0 24 12 1 0 195000 193100*3 0*3 1 0 "
             "0x3F800000 11 -2000 "
             "60000 12 1 4 0 1 "
             "0*3 1 " +
             std::string(flex ? "1950000 1931000*3" : "0*4") +
             "; r 1c0210c = " + std::to_string(configuration));
    }
    play("get_xpm2_inventory_inf m00 0*58; text 1c02140 = SMX2316A0J4T; get_xpm2_inventory_inf m20 0*58; "
         "text 1c02140 = SMX2402A11QK");
}

TEST_F(firmware, single_measurements_and_batches_are_pieces_of_the_whole_record)
{
    for (const uint32_t minor : {0u, 1u}) {
        SCOPED_TRACE(minor);
        start({4, minor});
        play("set_laser m00 1 1; set_laser m01 1 1; t 100s");
        const words all = run("get_global_pm s0 0*110"), line = run("get_sirane_port_pm m01 0*32");
        EXPECT_EQ((words{all[3], line[3]}), (words{minor, minor}));
        EXPECT_EQ(words(all.begin() + 98, all.end()) == words(20), minor == 0); // without polarisation
        EXPECT_EQ(words(line.begin() + 29, line.end()) == words(11), minor == 0);
        const uint32_t port = minor == 0 ? 22 : 32; // one word of padding
        const std::tuple<const char *, uint32_t, uint32_t> PIECES[] = {
            {"get_sirane_port_pm m01 0*32", 40 + port, 21}, {"get_host_port_pm h02 0*8", 24, 8},
            {"get_xpm2_port_pm m01 0*6", 46 + 2 * port, 6}, {"get_generic_pm s0 0 0", 52 + 2 * port, 2},
            {"get_generic_pm m00 0 0", 52 + 2 * port, 2},   {"get_generic_pm h03 0 0", 52 + 2 * port, 2}};
        for (const auto &[command, from, count] : PIECES) {
            const words piece = run(command);
            EXPECT_TRUE(std::equal(piece.begin() + 8, piece.begin() + 8 + count, all.begin() + from))
                << command;
        }
        play("> batch-interval 1; sync 13; reference 5; enable_pm_notify s0 1 0*113 = none; t 1ms; sync "
             "0xFF00FF00");
        words batch = {CMD_ENABLE_PM_NOTIFY, 5, minor == 0 ? 96u : 116u, minor, 13, 0, 0, 0xFF00FFFF, 1, 0};
        batch.insert(batch.end(), all.begin() + 8, all.begin() + (minor == 0 ? 98 : 118));
        batch.insert(batch.end(), {1, 0});
        EXPECT_EQ(take(0x01C08000), batch);
    }
    const words frames = run("dbg_get_hostport_pcs_counters h02 0*58"),
                port = run("get_host_port_pm h02 0*8");
    EXPECT_TRUE(std::equal(&frames[36], &frames[40], &port[8]));
    EXPECT_TRUE(std::equal(&frames[50], &frames[54], &port[12]));
    EXPECT_EQ(frames[64], 100u);                                                               // seconds
    EXPECT_NEAR(std::accumulate(frames.begin() + 42, frames.begin() + 50, 0u), frames[36], 8); // by size
    start({.client = host_client::otn});
    play("t 3600s; dbg_get_hostport_pcs_counters h00 0*58 = 0x80200001; get_host_port_pm h00 0*8; r 1c02130 "
         "= 8; r 1c0213c = 5");
}

} // namespace
