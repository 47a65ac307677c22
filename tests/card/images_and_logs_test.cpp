#include <algorithm>

#include "card/bench.h"

namespace {

struct image {
    uint32_t size;
    const char *digest; // md5sum's, of the bytes that write_image makes
};

constexpr image OF_4 = {4, "6cc307a7ec2e27a14f140a7161c487cf"};
constexpr image LARGEST = {33553403, "2514a3e0714ad103cb196520773b5740"};

struct images : bench {
    // Words that differ from each other; the last one padded with zeros.
    void write_image(const image &image) const
    {
        for (uint32_t i = 0; i < 32; i++) {
            const uint32_t word = read(0x02000000 + i / 4 * 4) & ~(0xFFu << i % 4 * 8);
            write(0x02000000 + i / 4 * 4, word | static_cast<uint32_t>(image.digest[i]) << i % 4 * 8);
        }
        for (uint32_t i = 0; 4 * i < image.size; i++) {
            const uint32_t left = std::min(4u, image.size - 4 * i);
            write(0x02000040 + 4 * i, (i * 2654435761u + 0x13579BDF) & (0xFFFFFFFF >> 8 * (4 - left)));
        }
    }

    // Error word and milliseconds of a command that takes its time.
    std::pair<uint32_t, int> wait_for(const std::string &command)
    {
        offer(words_of(command));
        write(0x01C00000, 2);
        for (int ms = 0; ms < 1000; ms++, pass(1000000)) {
            if (const words got = take_answer(); !got.empty()) {
                return {got[5], ms};
            }
        }
        return {0xBAD, 0};
    }

    uint32_t download(char kind, const image &image)
    {
        write_image(image);
        return wait_for(std::string("14 0 ") + kind + " " + std::to_string(image.size)).first;
    }

    std::string text_at(uint32_t place, uint32_t length) const
    {
        std::string text;
        for (uint32_t i = 0; i < length; i++) {
            text += static_cast<char>(read(place + i / 4 * 4) >> i % 4 * 8);
        }
        return text;
    }

    // The rows of the firmware's log, in the order of a log that did not come round.
    std::string rows() const
    {
        std::string all;
        for (uint32_t at = read(0x03F0000C); at < read(0x03F00010); at += 96) {
            all += text_at(0x03F00020 + at, 96).c_str() + std::string("\n");
        }
        return all;
    }

    // A sirane's log in the EPROM, which did not come round.
    std::string eprom(uint32_t sirane) const
    {
        const uint32_t base = 0x03E00000 + 0x40000 * sirane;
        return text_at(base + 8 + read(base), read(base + 4) - read(base));
    }
};

using check = std::pair<uint32_t, int>;

TEST_F(images, a_download_of_any_length_takes_its_time_and_one_wrong_byte_is_refused)
{
    const std::pair<image, int> LENGTHS[] = {{{1, "a26785922b3516fe627bab9726c66e43"}, 100},
                                             {{5, "8c3ba76c1cfbd239a987e6c155366015"}, 100},
                                             {{3, "E434651D027343B9D8AED825A0E60C4C"}, 100},
                                             {{0x100000, "fa96db107ea6798f1aae94572355296a"}, 116}};
    for (const auto &[image, ms] : LENGTHS) {
        write_image(image);
        EXPECT_EQ(wait_for("14 0 2 " + std::to_string(image.size)), check(0, ms)) << image.size;
        play("r 1f04200 = 0x02000008 0x02000007 1 1 0 1; > image-version 2.8");
    }
    play("> image-version 9.1");
    for (const uint32_t offset : {0x02000000, 0x0200001C, 0x02000040, 0x02000080, 0x0210003C}) {
        const uint32_t right = read(offset);
        write(offset, right ^ 0x01000000);
        EXPECT_EQ(wait_for("14 0 2 1048576").first, 0x80300003u) << offset;
        play("r 1f04500 = 0; r 1f04200 = 0x02000008 0x02000007 1 1 0 1");
        write(offset, right);
    }
}

TEST_F(images, what_cannot_be_is_refused_at_once_and_the_image_stays)
{
    EXPECT_EQ(download('2', OF_4), 0u);
    play(R"(
        > unplug 3; 14 0 2 0 = 0x80300001; 14 0 2 33553404 = 0x80300001; 14 0 2 0xFFFFFFFF = 0x80300001
        14 0 3 4 = 0x80300009; 14 0 5 4 = 0x80300009; 14 0 0xFFFFFFFF 4 = 0x80300009; 15 0 b 7 = 0x80300009
        15 0 m00 7 = 0x80300009; 15 0 h01 7 = 0x80300009; 15 0 m01 7 = 0x8050000F; 15 0 s3 7 = 0x80000003
        > error 14 ORDUNE_FLASH_WRITEERROR; 14 0 2 4 = 0x80300007
        15 0 s0 7 = none; 1: 15 0 s1 7 = 0x8030000D; 2: 14 0 2 4 = 0x8030000D; 9 0 s0 0x9010 0
        > show = programming under way: kind 2, 2.8, device 1; t 799ms; take 2000 = none
        t 1ms; r 1c02114 = 0; w 1c02000 4 2; > show = nothing downloaded; > plug 3
    )");
    const std::tuple<char, const char *, uint32_t> PAIRS[] = {
        {'0', "b", 0},           {'0', "s0", 0x80300009}, {'0', "m00", 0x80300009}, {'1', "b", 0},
        {'1', "s2", 0x80300009}, {'2', "b", 0x80300009},  {'2', "m10", 0x80300009}, {'4', "b", 0x80300009},
        {'4', "s1", 0x80300009}, {'4', "m11", 0}};
    for (const auto &[kind, address, error] : PAIRS) {
        EXPECT_EQ(download(kind, OF_4), 0u);
        EXPECT_EQ(wait_for(std::string("15 0 ") + address + " 7").first, error) << kind << address;
    }
    play("r 1f04608 = 0x00010012; r 1f04708 = 0x00010013"); // the other port's, and of m11
}

TEST_F(images, activation_resets_the_sirane_into_its_other_bank_and_uses_the_image_up)
{
    EXPECT_EQ(download('2', OF_4), 0u);
    play(R"(
        > show = downloaded: kind 2, 2.8, 4 bytes, 6cc307a7ec2e27a14f140a7161c487cf; 10 0 s1 0x9030 9; 10 0 s2 0x9030 9
        r 1f04200 = 0x02000008 0x02000007 1 1 0 1; r 1f04504 = 0x02000008 0x02000007 1 1 0 1
    )");
    EXPECT_EQ(wait_for("15 0 s1 7"), check(0, 800));
    play(R"(
        9 0 s1 0x9030 0 = 0 0 s1 0x9030 0x3210; 9 0 s2 0x9030 0 = 0 0 s2 0x9030 9; 15 0 s2 7 = 0x80300001
        r 1f04504 = 0x02000008 0x02000007 1 1 0 0; r 1f04808 = 0x02000006 0x02000007 1 1 1 1; > image-version 3.772
    )");
    EXPECT_EQ(download('2', OF_4), 0u);
    play("> program-time 250");
    EXPECT_EQ(wait_for("15 0 s1 7"), check(0, 250));
    play("r 1f04504 = 0x02000008 0x03000304 1 1 1 1; > restart cold; t 1s; r 1f04504 = 0x02000008 0x03000304 "
         "1 1 1 1");
    link_up();
    EXPECT_EQ(download('2', OF_4), 0u);
    play("> program-time 800; 15 0 s0 7 = none; t 400ms; r 1f04500 = 0x00B20000; > restart; t 1s"); // cut
                                                                                                    // short
    play("r 1f04200 = 0x02000006 0x02000007 0 1 1 1; r 1f04500 = 0; t 1s; take 2000 = none");
}

TEST_F(images, the_controller_and_a_module_run_theirs_after_a_start)
{
    write_image(OF_4);
    play("14 0 1 4 = none; r 1f04018 = 0xFFFFFFFD 0x00020004; t 100ms; w 1c02000 4 2"); // being checked
    EXPECT_EQ(wait_for("15 0 b 7").first, 0u);
    play("r 1f04004 = 0x00050016; r 1f04018 = 0x00050017 0x00020004; > image-version 4.0");
    EXPECT_EQ(download('0', OF_4), 0u);
    EXPECT_EQ(wait_for("15 0 b 7").first, 0u);
    play(
        "r 1f04004 = 0x00050016; r 1f04018 = 0x00050017 0x00040000; > restart; t 1s; r 1f04004 = 0x00050017");
    link_up();
    play("> image-version 2.6");
    EXPECT_EQ(download('1', OF_4), 0u);
    play("38 0 m00 0*58; > restart cold; t 1s; r 1f04004 = 0x00020006");
    link_up();
    play("offer 38 0 m00 0*58 = 4; w 1c00000 2; r 1c0210c = 0; w 1c02000 4 2"); // with the layout of old
    EXPECT_EQ(download('4', OF_4), 0u);
    play("15 0 m00 7 = none; > unplug 2; w 1c02000 4 2; t 800ms; r 1c02114 = 0x8050000F; > plug 2; r 1f04304 "
         "= 0x00010012");
    link_up();
    EXPECT_EQ(download('2', OF_4), 0u);
    play("15 0 s0 7 = none");
    link_up();
    play("t 800ms; take 2000 = none; r 1f04200 = 0x02000008 0x02000007 1 1 0 0"); // nobody hears, the work
                                                                                  // goes on
}

using logs = images;

TEST_F(logs, tell_the_story_of_an_upgrade_and_what_else_happens)
{
    EXPECT_EQ(download('2', {4, "00000000000000000000000000000000"}), 0x80300003u);
    EXPECT_EQ(download('2', OF_4), 0u);
    EXPECT_EQ(wait_for("15 0 s1 7").first, 0u);
    play("15 0 s2 7 = 0x80300001");
    EXPECT_EQ(rows(), R"(     0.000 INFO 09 firmware started, device 0, version 5.22, cold 1
     0.000 INFO 38 download begun, device 1, kind 2, bytes 4
     0.100 ERR  38 digest is wrong, device 1, kind 2, bytes 4, code 0x80300003
     0.100 INFO 38 download begun, device 1, kind 2, bytes 4
     0.200 INFO 38 digest is right, device 1, kind 2, bytes 4
     0.200 INFO 38 image kept, device 1, kind 2, version 2.8
     0.200 INFO 05 programming begun, device 4, kind 2
     1.000 INFO 05 image activated, device 4, version 2.8
     1.000 LOG  41 device reset, device 4
     1.000 ERR  03 command failed, device 1, command 15, code 0x80300001
)");
    play(R"(
        > log clear; > unplug 3; > plug 3; > regulator 7 12 on; > regulator 7 12 off; offer 11 0 = 16; w 1c00000 2
        16 0; 56 0 1; 59 0 m20; 14 0 2 1 = none; t 1s; w 1c02000 4 2; 56 0 2; 59 0 m20; 15 0 s0 0 = 0x80300001
        > restart; > log text what  ever
    )");
    EXPECT_EQ(rows(), R"(     1.000 LOG  39 module unplugged, device 3
     1.000 LOG  39 alarm raised, device 1, word 5, bits 0x00000100
     1.000 LOG  39 module plugged, device 3
     1.000 LOG  39 alarm cleared, device 1, word 5, bits 0x00000100
     1.000 ERR  06 regulator failed, device 7, bit 12
     1.000 LOG  06 regulator recovered, device 7, bit 12
     1.000 ERR  04 message refused, device 1, command 11
     1.000 LOG  02 all devices reset, device 0
     1.000 LOG  41 device reset, device 7
     2.000 ERR  38 digest is wrong, device 1, kind 2, bytes 1, code 0x80300003
     2.000 ERR  03 command failed, device 1, command 15, code 0x80300001
     2.000 INFO 09 firmware goes down, device 0, cold 0
what ever
)");
    play("> log clear; > log text kept; t 1s");
    EXPECT_EQ(rows(), "kept\n     3.000 INFO 09 firmware started, device 0, version 5.22, cold 0\n");
    play("> restart cold; t 1s");
    EXPECT_EQ(rows(), "     0.000 INFO 09 firmware started, device 0, version 5.22, cold 1\n");
    play("> restart warm 3.5; t 3s; t 1s; r 3f0000c = 0 0; r 3f00020 = 4000 0x010930D4 0 0 0x00030005 0 0 0");
}

TEST_F(logs, coded_rows_have_their_fields)
{
    start({3, 5});
    EXPECT_EQ(download('2', OF_4), 0u);
    EXPECT_EQ(wait_for("15 0 s0 7").first, 0u);
    play(R"(
        15 0 s0 7 = 0x80300001; > log text abcdefghij; r 3f0000c = 0 8; r 3f00020 = 0 0x010930D4 0 0 0x00030005 1 0 0
        r 3f00040 = 0 0x0126305F 0 1 2 4 0 0; r 3f00060 = 100 0x0126308C 0 1 2 4 0 0
        r 3f00080 = 100 0x012630AB 0 1 2 0x00020008 0 0; r 3f000a0 = 100 0x010520E6 0 1 2 0 0 0
        r 3f000c0 = 900 0x01052113 0 1 0x00020008 0 0 0; r 3f000e0 = 900 0x0029103C 0 1 0 0 0 0
        r 3f00100 = 900 0x0203212D 0x80300001 1 15; r 3f00120 = 900 0x00143000 0 0x64636261 0x68676665 0x00006A69 0 0
        > log clear; r 3f0000c = 0 0; > log fill 1; r 3f0000c = 0 0; > log fill 1; r 3f0000c = 0 1
        > log fill 32510; r 3f0000c = 0 32511; > log fill 1; r 3f0000c = 2 1; > log fill 32508; r 3f0000c = 32510 32509
        > log fill 2; r 3f0000c = 32512 32511; > log fill 1; r 3f0000c = 0 32511; > log fill 1; r 3f0000c = 2 1
        > log indexes 1FC01 1; r 3f0000c = 0x1FC01 1; > log fill 1; r 3f0000c = 3 2
    )");
}

TEST_F(logs, the_rings_come_round_and_a_row_ends_in_its_place)
{
    play(R"(
        > log clear; > log fill 1; r 3f0000c = 0 96; > log fill 10918; r 3f0000c = 0 0xFFEA0
        > log fill 1; r 3f0000c = 96 0; > log fill 10918; r 3f0000c = 0xFFEA0 0xFFE40; > log fill 1; r 3f0000c = 0 0xFFEA0
        > log indexes fff00 123; r 3f0000c = 0xFFF00 0x123; > log fill 1; r 3f0000c = 96 0; r 3f00020 = 0x20776F72
        > log clear; w 3fffc00 1; w 3fffc04 43; > log fill 10911 # up to the row where the host told its version
    )");
    verb("log text " + std::string(97, 'x'));
    verb("log text " + std::string(97, 'y'));
    EXPECT_EQ(text_at(0x03F00020 + 10911 * 96, 64), std::string(63, 'x') + '\0');
    EXPECT_EQ(text_at(0x03F00020 + 10912 * 96, 96), std::string(95, 'y') + '\0');
    play(R"(
        r 3fffc00 = 1 43; > eprom 3 clear; r 3ec0000 = 0 0 0 0 0 0x01AC7F26; > eprom 3 fill 1; r 3ec0000 = 0 0 0 24
        > eprom 3 fill 10877; r 3ec0000 = 0 0 10877 261072; > eprom 3 fill 1; r 3ec0000 = 0 1 0 261072
        > eprom 3 fill 10876; r 3ec0000 = 0 10877 10876; > eprom 3 fill 1; r 3ec0000 = 0 0 10877 261072 0 0x01AC7F26
        > eprom ready off; r 3ec0014 = 0; > eprom 3 indexes 3FBF9 2; r 3ec0000 = 0 0x3FBF9 2; > eprom ready on
        > eprom 3 fill 1; r 3ec0000 = 0 1 0 261072 0 0x01AC7F26; r 3ec0030 = 0 0xFFFF 0 0 0 0
        r 3effbd0 = 0 0xFFFF 0 0 10875 0; > eprom 2 fill 1; r 3e80000 = 0 8 0x20776F72 0x0A202030; > eprom 2 clear
        > eprom 2 fill 22092; r 3e80000 = 0 261104 # 8000 bytes of 8 a row, the rest of 12, of 261112
        > eprom 2 text 1234567; r 3e80000 = 8 0 0 0x0A202030; > eprom 2 text 12345678; r 3e80000 = 24 12
        > eprom 2 indexes 100 3fbf9; r 3e80000 = 0x100 0x3FBF9
        > regulator 1 0 on; r 3effc1c = 1; > regulator 4 1 on; r 3effc3c = 2; > regulator 7 31 on; > regulator 7 21 on
        r 3effc5c = 0x80200000; > eprom 3 clear; r 3effc5c = 0x80200000; > regulator 7 31 off; r 3effc5c = 0x00200000
    )");
}

TEST_F(logs, the_eprom_keeps_what_matters_over_a_loss_of_power)
{
    EXPECT_EQ(download('2', OF_4), 0u);
    EXPECT_EQ(wait_for("15 0 s2 7").first, 0u);
    play("> regulator 4 21 on; > eprom 1 text by hand; > remove; > insert; t 1s");
    EXPECT_EQ(eprom(0), "");
    EXPECT_EQ(eprom(1), "1 0.900 regulator failed, device 4, bit 21 \nby hand\n");
    EXPECT_EQ(eprom(2),
              "1 0.100 programming begun, device 7, kind 2\n1 0.900 image activated, device 7, version 2.8 \n"
              "1 0.900 device reset, device 7 \n");
    play(R"(
        r 3ec0030 = 0 0x00010000 0 0 0x00050016 1 100 0x00010007 1 0 2 0x00020008 900 0x0001000A 7 0 0x00020008 0
        r 3ec0078 = 900 0x00010011 4 0 21 0; r 3effc3c = 0x00200000
    )");
}

TEST_F(logs, an_image_that_covers_them_reads_well_and_they_come_back)
{
    play("> regulator 1 7 on; > log fill 2");
    const std::string before = rows();
    write_image(LARGEST);
    play("> unplug 3; > regulator 1 8 on"); // are told of, but not where the image stands
    EXPECT_EQ(wait_for("14 0 2 33553403"), check(0, 611));
    EXPECT_EQ(rows().substr(0, before.size() + 46),
              before + "     0.000 LOG  39 module unplugged, device 3\n");
    EXPECT_EQ(eprom(0),
              "1 0.000 regulator failed, device 1, bit 7  \n1 0.000 regulator failed, device 1, bit 8  \n");
    play("r 3effc1c = 0x00000180; r 3ec0014 = 0x01AC7F26; r 3feff20 = 0");
    for (const char *way : {"14 0 2 0 = 0x80300001", "15 0 m00 0 = 0x80300009", "> restart"}) {
        const std::string kept = rows();
        write(0x03F00000, ~read(0x03F00000)); // the head of the log's area
        write(0x03F00020, 7);
        play(way);
        EXPECT_TRUE(rows().starts_with(kept) && rows().size() > kept.size()) << way;
    }
}

} // namespace
