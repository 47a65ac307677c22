#include "card/bench.h"

namespace {

using images = bench;

SCRIPT(images, what_cannot_be_is_refused_at_once_and_the_image_stays, R"(
    image; wait 14 0 2 4 = 0 100; > unplug 3; 14 0 2 0 = 0x80300001; 14 0 2 33553404 = 0x80300001; 14 0 3 4 = 0x80300009
    14 0 5 4 = 0x80300009; 14 0 0xFFFFFFFF 4 = 0x80300009; 15 0 b 7 = 0x80300009; 15 0 m00 7 = 0x80300009
    15 0 h01 7 = 0x80300009; 15 0 m01 7 = 0x8050000F; 15 0 s3 7 = 0x80000003; wait 14 0 2 1048576 = 0x80300003 116
    > error 14 ORDUNE_FLASH_WRITEERROR; 14 0 2 4 = 0x80300007; r 1f04500 = 0; r 1f04200 = 0x02000008 0x02000007 1 1 0 1
    15 0 s0 7 = none; 1: 15 0 s1 7 = 0x8030000D; 2: 14 0 2 4 = 0x8030000D; 9 0 s0 0x9010 0 # while one is worked on
    > show = programming under way: kind 2, 2.8, device 1; t 799ms; take 2000 = none; t 1ms; r 1c02114 = 0
    link; > show = nothing downloaded; wait 14 0 0 4 = 0; 15 0 s0 7 = 0x80300009; 15 0 m00 7 = 0x80300009
    wait 14 0 1 4 = 0; 15 0 s2 7 = 0x80300009; wait 14 0 4 4 = 0; 15 0 b 7 = 0x80300009; 15 0 s1 7 = 0x80300009
    wait 15 0 m11 7 = 0; r 1f04608 = 0x00010012; r 1f04708 = 0x00010013; r 1f04500 = 0x64E46400; r 1f04804 = 0xE4
)")

SCRIPT(images, activation_resets_the_sirane_into_its_other_bank_and_uses_the_image_up, R"(
    image; wait 14 0 2 4 = 0; > show = downloaded: kind 2, 2.8, 4 bytes, 6cc307a7ec2e27a14f140a7161c487cf
    r 1f04200 = 0x02000008 0x02000007 1 1 0 1; r 1f04504 = 0x02000008 0x02000007 1 1 0 1 # it could go to any
    10 0 s1 0x9030 9; 10 0 s2 0x9030 9; wait 15 0 s1 7 = 0 800; 15 0 s2 7 = 0x80300001
    9 0 s1 0x9030 0 = 0 0 s1 0x9030 0x3210; 9 0 s2 0x9030 0 = 0 0 s2 0x9030 9
    r 1f04504 = 0x02000008 0x02000007 1 1 0 0; r 1f04808 = 0x02000006 0x02000007 1 1 1 1
    > image-version 3.772; wait 14 0 2 4 = 0; > program-time 250; wait 15 0 s1 7 = 0 250; > restart cold; t 1s
    r 1f04504 = 0x02000008 0x03000304 1 1 1 1; link; wait 14 0 2 4 = 0; > program-time 800; 15 0 s0 7 = none
    t 400ms; r 1f04500 = 0x00B20000; > restart; t 1s; r 1f04200 = 0x02000006 0x02000007 0 1 1 1; r 1f04500 = 0
    t 1s; take 2000 = none; link; wait 14 0 2 4 = 0; 15 0 s0 7 = none; link; t 800ms; take 2000 = none # nobody hears
    r 1f04200 = 0x02000008 0x02000007 1 1 0 0
)")

SCRIPT(images, the_controller_and_a_module_run_theirs_after_a_start, R"(
    image; 14 0 1 4 = none; r 1f04018 = 0xFFFFFFFD 0x00020004; t 100ms; link # being checked
    wait 15 0 b 7 = 0; r 1f04004 = 0x00050016; r 1f04018 = 0x00050017 0x00020004; > image-version 4.0
    wait 14 0 0 4 = 0; wait 15 0 b 7 = 0; r 1f04018 = 0x00050017 0x00040000; > restart; t 1s; r 1f04004 = 0x00050017
    link; > image-version 2.6; wait 14 0 1 4 = 0; > restart cold; t 1s; r 1f04004 = 0x00020006
    link; wait 14 0 4 4 = 0; 15 0 m00 7 = none; > unplug 2; w 1c02000 4 2; t 800ms; r 1c02114 = 0x8050000F; > plug 2
    r 1f04304 = 0x00010012
)")

struct logs : bench {
    // The text between the two indexes of a log in the BAR.
    std::string text_of(uint32_t indexes, uint32_t rows) const
    {
        std::string all;
        for (uint32_t at = rows + read(indexes); at < rows + read(indexes + 4); at += 4) {
            const uint32_t word = read(at);
            all.append(reinterpret_cast<const char *>(&word), 4);
        }
        std::erase(all, '\0');
        return all;
    }

    std::string eprom(uint32_t sirane) const
    {
        return text_of(0x03E00000 + 0x40000 * sirane, 0x03E00008 + 0x40000 * sirane);
    }
};

TEST_F(logs, tell_what_happens)
{
    play(R"(
        > log clear; t 250ms; 15 0 s2 7 = 0x80300001; > unplug 3; > regulator 7 12 on
        offer 11 0 = 16; w 1c00000 2; 16 0; 59 0 m20; wait 14 0 2 1 = 0x80300003; > restart; > log text what  ever
    )");
    EXPECT_EQ(text_of(0x03F0000C, 0x03F00020),
              "     0.250 ERR  03 command failed, device 1, command 15, code 0x80300001"
              "     0.250 LOG  39 module unplugged, device 3"
              "     0.250 LOG  39 alarm raised, device 1, word 5, bits 0x00000100"
              "     0.250 ERR  06 regulator failed, device 7, bit 12"
              "     0.250 ERR  04 message refused, device 1, command 11"
              "     0.250 LOG  02 all devices reset, device 0"
              "     0.250 LOG  41 device reset, device 7"
              "     0.250 INFO 38 download begun, device 1, kind 2, bytes 1"
              "     0.350 ERR  38 digest is wrong, device 1, kind 2, bytes 1, code 0x80300003"
              "     0.350 INFO 09 firmware goes down, device 0, cold 0what ever");
    play(R"(
        > restart cold; t 1s; r 3f0000c = 0 96; > log clear; > restart; t 1s; r 3f0000c = 0 192
        > restart warm 3.5; t 3s; t 1s; r 3f0000c = 0 0; r 3f00020 = 5000 0x010930D4 0 0 0x00030005 0 0 0
    )");
}

TEST_F(logs, coded_rows_have_their_fields)
{
    start({3, 5});
    play(R"(
        image; wait 14 0 2 4 = 0; wait 15 0 s0 7 = 0; 15 0 s0 7 = 0x80300001; > log text abcdefghij
        r 3f0000c = 0 8 0 0 0 0 0x010930D4 0 0 0x00030005 1 0 0 0 0x0126305F 0 1 2 4 0 0 100 0x0126308C 0 1 2 4 0 0
        r 3f00080 = 100 0x012630AB 0 1 2 0x00020008 0 0 100 0x010520E6 0 1 2 0 0 0 900 0x01052113 0 1 0x00020008 0 0 0
        r 3f000e0 = 900 0x0029103C 0 1 0 0 0 0 900 0x0203212D 0x80300001 1 15 0 0 0
        r 3f00120 = 900 0x00143000 0 0x64636261 0x68676665 0x00006A69 0 0; > log clear; > log fill 1; r 3f0000c = 0 0
        > log fill 32511; r 3f0000c = 0 32511; > log fill 1; r 3f0000c = 2 1; > log indexes 1FC01 1; > log fill 1
        r 3f0000c = 3 2
    )");
}

TEST_F(logs, the_rings_come_round_and_a_row_ends_in_its_place)
{
    play(R"(
        > log clear; > log fill 10919; r 3f0000c = 0 0xFFEA0; > log fill 1; r 3f0000c = 96 0; > log fill 10919
        r 3f0000c = 0 0xFFEA0; > log indexes fff00 123; r 3f0000c = 0xFFF00 0x123; > log fill 1; r 3f0000c = 96 0
        r 3f00020 = 0x20776F72; > log clear; w 3fffc00 1; w 3fffc04 43; > log fill 10911 # up to the host's own row
    )");
    verb("log text " + std::string(97, 'x'));
    verb("log text " + std::string(97, 'y'));
    play(R"(
        r 3fffbf8 = 0x78787878 0x00787878 1 43; r 3fffc78 = 0x79797979 0x00797979
        > eprom 3 clear; r 3ec0000 = 0 0 0 0 0 0x01AC7F26; > eprom 3 fill 1; r 3ec0000 = 0 0 0 24
        > eprom 3 fill 10877; r 3ec0000 = 0 0 10877 261072; > eprom 3 fill 1; r 3ec0000 = 0 1 0 261072
        > eprom 3 fill 10877; r 3ec0000 = 0 0 10877 261072 0 0x01AC7F26
        > eprom ready off; r 3ec0014 = 0; > eprom 3 indexes 3FBF9 2; r 3ec0000 = 0 0x3FBF9 2; > eprom ready on
        > eprom 3 fill 1; r 3ec0000 = 0 1 0 261072 0 0x01AC7F26; r 3ec0030 = 0 0xFFFF 0 0 0 0
        > eprom 2 fill 1; r 3e80000 = 0 8 0x20776F72 0x0A202030; > eprom 2 clear
        > eprom 2 fill 22092; r 3e80000 = 0 261104 # 8000 bytes of 8 a row, the rest of 12, of 261112
        > eprom 2 text 1234567; r 3e80000 = 8 0 0 0x0A202030; > eprom 2 indexes 100 3fbf9; r 3e80000 = 0x100 0x3FBF9
        > regulator 1 0 on; r 3effc1c = 1; > regulator 4 1 on; r 3effc3c = 2; > regulator 7 31 on; > regulator 7 21 on
        r 3effc5c = 0x80200000; > eprom 3 clear; r 3effc5c = 0x80200000; > regulator 7 31 off; r 3effc5c = 0x00200000
    )");
}

TEST_F(logs, the_eprom_keeps_what_matters_over_a_loss_of_power_and_under_an_image)
{
    play(R"(
        image; wait 14 0 2 4 = 0; wait 15 0 s2 7 = 0; > regulator 4 21 on; > eprom 1 text by hand; > remove; > insert
        t 1s
        r 3ec0030 = 0 0x00010000 0 0 0x00050016 1 100 0x00010007 1 0 2 0x00020008 900 0x0001000A 7 0 0x00020008 0
        r 3ec0078 = 900 0x00010011 4 0 21 0; link; > unplug 3; > regulator 1 8 on
    )");
    for (const char *way : {"wait 14 0 2 33553403 = 0x80300003 611", "14 0 2 0 = 0x80300001",
                            "15 0 m00 0 = 0x80300001", "> restart"}) {
        play("w 3effc1c 7; w 3f00000 7; w 3f0000c 7 7; w 3ec0014 7; w 3e00008 7"); // an image stood there
        play(way);
        play("r 3f00000 = 0; r 3f0000c = 0; r 3effc1c = 0x00000100; r 3effc3c = 0x00200000; r 3ec0014 = "
             "0x01AC7F26");
    }
    EXPECT_EQ(
        eprom(1) + eprom(0) + eprom(2),
        "1 0.900 regulator failed, device 4, bit 21 \nby hand\n2 0.000 regulator failed, device 1, bit 8  \n"
        "1 0.100 programming begun, device 7, kind 2\n1 0.900 image activated, device 7, version 2.8 \n"
        "1 0.900 device reset, device 7 \n");
    EXPECT_NE(text_of(0x03F0000C, 0x03F00020).find("LOG  39 module unplugged, device 3"), std::string::npos);
}

} // namespace
