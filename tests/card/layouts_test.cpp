// The records of measurements, inventory and configuration, as each firmware sends them.
#include <numeric>

#include "card/bench.h"

namespace {

struct layouts : bench {
    // The words of an answer, with the version of its layout in place of the address.
    words record(const std::string &command)
    {
        EXPECT_EQ(offer(words_of(command)), 4u);
        write(0x01C00000, 2);
        words got = take_answer();
        got[7] = got[3];
        return {got.begin() + 7, got.end()};
    }

    words part(const std::string &command, size_t from, size_t count)
    {
        const words all = record(command);
        return {all.data() + from, all.data() + from + count};
    }

    std::string text(const std::string &command, size_t from, size_t count)
    {
        return {reinterpret_cast<const char *>(part(command, from, count).data()), 4 * count};
    }
};

constexpr const char *ALL = "23 0 s0 0*110";

std::string padded(std::string text, size_t size)
{
    text.resize(size, '\0');
    return text;
}

TEST_F(layouts, inventory_and_configuration_are_told_as_the_firmware_knows_them)
{
    const uint32_t FIRMWARE[][4] = {{2, 6, 0, 0}, {2, 7, 1, 1}, {4, 0, 1, 1}, {4, 1, 2, 1}};
    for (const auto &[major, minor, inventory, configuration] : FIRMWARE) {
        SCOPED_TRACE(minor);
        start({major, minor});
        EXPECT_EQ(record("38 0 m10 9*58")[0], inventory);
        EXPECT_EQ(text("38 0 m10 9*58", 1, 58),
                  padded("D000000", 16) + padded("73-20416-05", 16) + "8842019-00713-02" + "2021112300" +
                      "WMXA0Q2BAA\x01\x02\x12\x01\x12\x01" + padded("Borealis Phot.", 16) +
                      padded("Coherent line module 200G, tunable", 64) + padded("XPM2-200-C", 16) +
                      (inventory == 0 ? "V02-REV-B0000001" : "V02-" + std::string(12, '\xFF')) +
                      std::string({0, 0, 2, 0, 0, 0, inventory > 0, 0, 0, 0}) +
                      (inventory == 2 ? padded("BP4470-C-2", 16) + "8842019-00713-02" + padded("\xA1", 4)
                                      : std::string(36, 0)));
        play("0 0 m11 12 0; 2 0 m10 1 1; 4 0 m10 195000 1; 6 0 m11 1 2; 8 0 m11 0x3F800000; 49 0 m10 11");
        play("50 0 m11 12; 43 0 m10 1; 45 0 m11 1; 46 0 h13 1");
        std::string channels = "195000 193100*3 0*3 1 0 0x3F800000 11 -2000 60000 12 1 4 0 1 0*3 1 0*4";
        if (inventory == 2) {
            play("63 0 m10 1937000 1; 4 0 m10 195000 1");
            channels.replace(channels.size() - 3, 3, "1950000 1931000*3");
        } else {
            play("63 0 m10 1937000 1 = 0x80100005; 64 0 m10 0 1 = 0x80100005");
        }
        EXPECT_EQ(record("40 3 s1 9*30"), words_of(std::to_string(configuration) + " 24 12 1 0 " + channels));
    }
    EXPECT_EQ(text("38 0 m00 0*58", 9, 4) + text("38 0 m20 0*58", 9, 4),
              padded("SMX2316A0J4T", 16) + padded("SMX2402A11QK", 16));
}

TEST_F(layouts, single_measurements_and_batches_are_pieces_of_the_whole_record)
{
    for (const uint32_t minor : {0u, 1u}) {
        SCOPED_TRACE(minor);
        start({4, minor});
        play("2 0 m00 1 1; 2 0 m01 1 1; t 100s");
        const size_t port = minor == 0 ? 22 : 32; // without polarisation; one word of padding
        EXPECT_EQ(part(ALL, 0, 1), words{minor});
        EXPECT_EQ(part("20 0 m01 0*32", 0, 1), words{minor});
        EXPECT_EQ(part("20 0 m01 0*32", 1, 21), part(ALL, 33 + port, 21));
        EXPECT_EQ(part("20 0 m01 0*32", 22, 11) == words(11), minor == 0);
        EXPECT_EQ(part(ALL, 91, 20) == words(20), minor == 0);
        EXPECT_EQ(part("21 0 h02 0*8", 1, 8), part(ALL, 17, 8));
        EXPECT_EQ(part("19 0 m01 0*6", 1, 6), part(ALL, 39 + 2 * port, 6));
        for (const char *temperatures : {"22 0 s0 0 0", "22 0 m00 0 0", "22 0 h03 0 0"}) {
            EXPECT_EQ(part(temperatures, 1, 2), part(ALL, 45 + 2 * port, 2));
        }
        play("sync 13; reference 5; 24 0 s0 1 0*113 = none; t 10s");
        words expected = part(ALL, 0, minor == 0 ? 91 : 111);
        expected[0] = 0; // the third word
        expected.insert(expected.begin(), {24, 5, minor == 0 ? 96u : 116u, minor, 13, 0, 0, 0xFF00FFFF, 1});
        expected.insert(expected.end(), {1, 0});
        EXPECT_EQ(take(0x01C08000), expected);
        sync = 0xFF00FF00;
    }
    const words frames = record("61 0 h02 0*58");
    EXPECT_EQ(part("61 0 h02 0*58", 29, 4), part(ALL, 17, 4));
    EXPECT_EQ(part("61 0 h02 0*58", 43, 4), part(ALL, 21, 4));
    EXPECT_EQ(frames[57], 110u);                                                               // seconds
    EXPECT_NEAR(std::accumulate(frames.begin() + 35, frames.begin() + 43, 0u), frames[29], 8); // by size
    start({.client = host_client::otn});
    play("t 3600s; 61 0 h00 0*58 = 0x80200001");
    const words otn = record("21 0 h00 0*8");
    EXPECT_NEAR(otn[1], 3600 * 10000, 3600 * 1100);
    EXPECT_EQ((words{otn[5], otn[8]}), (words{8, 5}));
}

} // namespace
