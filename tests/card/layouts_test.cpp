// The records of measurements, inventory and configuration, as each firmware sends them.
#include <bit>
#include <cmath>
#include <cstring>

#include "card/bench.h"

namespace {

struct layouts : bench {
    void start_as(uint32_t major, uint32_t minor)
    {
        start({major, minor});
        play("2 0 m00 1 1; 2 0 m01 1 1; t 100s");
    }

    // The words of an answer behind the address, and the version of its layout before them.
    words record(const std::string &command)
    {
        EXPECT_EQ(offer(words_of(command)), 4u);
        write(0x01C00000, 2);
        words got = take_answer();
        got.erase(got.begin() + 4, got.begin() + 8);
        got.erase(got.begin(), got.begin() + 3);
        return got;
    }

    words all()
    {
        return record("23 0 s0 0*110");
    }
};

words part(const words &all, size_t from, size_t count)
{
    return {all.begin() + static_cast<long>(from), all.begin() + static_cast<long>(from + count)};
}

std::string bytes(const words &all)
{
    return {reinterpret_cast<const char *>(all.data()), 4 * all.size()};
}

std::string padded(std::string text, size_t size)
{
    text.resize(size, '\0');
    return text;
}

TEST_F(layouts, a_module_tells_what_it_is_as_the_firmware_knows_it)
{
    const struct {
        uint32_t major, minor, version;
        std::string vid, end;
    } FIRMWARE[] = {
        {2, 6, 0, "V02-REV-B0000001", std::string(36, '\0')},
        {2, 7, 1, "V02-" + std::string(12, '\xFF'), std::string(36, '\0')},
        {4, 0, 1, "V02-" + std::string(12, '\xFF'), std::string(36, '\0')},
        {4, 1, 2, "V02-" + std::string(12, '\xFF'),
         padded("BP4470-C-2", 16) + "8842019-00713-02" + padded("\xA1", 4)},
    };
    for (const auto &known : FIRMWARE) {
        start({known.major, known.minor});
        const words got = record("38 0 m10 9*58");
        EXPECT_EQ(got[0], known.version) << known.major << '.' << known.minor;
        EXPECT_EQ(bytes(part(got, 1, 58)),
                  padded("D000000", 16) + padded("73-20416-05", 16) + "8842019-00713-02" + "2021112300" +
                      "WMXA0Q2BAA\x01\x02\x12\x01\x12\x01" + padded("Borealis Phot.", 16) +
                      padded("Coherent line module 200G, tunable", 64) + padded("XPM2-200-C", 16) +
                      known.vid + std::string({0, 0, 2, 0, 0, 0, known.version > 0, 0, 0, 0}) + known.end);
    }
    play("> unplug 9; 38 0 m21 0*58 = 0x8050000F");
    const char *const SERIALS[] = {"SMX2316A0J4T", "SMX2316A0J51", "8842019-00713-02", "8842019-00745-02",
                                   "SMX2402A11QK"};
    for (const char *place : {"m00", "m01", "m10", "m11", "m20"}) {
        const std::string serial = SERIALS[2 * (place[1] - '0') + place[2] - '0'];
        EXPECT_EQ(bytes(part(record(std::string("38 0 ") + place + " 0*58"), 9, 4)), padded(serial, 16));
    }
}

TEST_F(layouts, a_sirane_tells_all_that_is_set_as_its_firmware_knows_it)
{
    for (const auto &[major, minor, version, flex] :
         {std::tuple(2u, 6u, 0u, false), {2u, 7u, 1u, false}, {4u, 0u, 1u, false}, {4u, 1u, 1u, true}}) {
        start({major, minor});
        play(R"(
            0 0 m11 12 0; 2 0 m10 1 1; 4 0 m10 195000 1; 6 0 m11 1 2; 8 0 m11 0x3F800000; 49 0 m10 11
            50 0 m11 12; 43 0 m10 1; 45 0 m11 1; 46 0 h13 1
        )");
        words expected = {version, 24, 12, 1,          0,  195000,     193100,  193100,  193100, 0, 0,
                          0,       1,  0,  0x3F800000, 11, 0xFFFFF830, 60000,   12,      1,      4, 0,
                          1,       0,  0,  0,          1,  1950000,    1931000, 1931000, 1931000};
        expected.resize(flex ? 31 : 27);
        expected.resize(31);
        EXPECT_EQ(record("40 3 s1 9*30"), expected) << major << '.' << minor;
        play(flex ? "63 0 m10 1937000 1" : "63 0 m10 1937000 1 = 0x80100005; 64 0 m10 0 1 = 0x80100005");
    }
}

TEST_F(layouts, single_measurements_and_batches_are_pieces_of_the_whole_record)
{
    for (const uint32_t minor : {0u, 1u}) {
        start_as(4, minor);
        const words whole = all(), one = record("20 0 m01 0*32"), old(minor == 0 ? 20 : 0, 0);
        const size_t port = minor == 0 ? 22 : 32; // without polarisation; one word of padding
        EXPECT_EQ(whole.size(), 111u);
        EXPECT_EQ(part(whole, 91, 20) == words(20, 0), minor == 0);
        EXPECT_EQ((words{whole[0], one[0]}), (words{minor, minor}));
        EXPECT_EQ(part(one, 1, 21), part(whole, 33 + port, 21));
        EXPECT_EQ(part(one, 22, 11) == words(11, 0), minor == 0);
        EXPECT_EQ(part(record("21 0 h02 0*8"), 1, 8), part(whole, 17, 8));
        EXPECT_EQ(part(record("19 0 m01 0*6"), 1, 6), part(whole, 33 + 2 * port + 6, 6));
        for (const char *place : {"22 0 s0 0 0", "22 0 m00 0 0", "22 0 h03 0 0"}) {
            EXPECT_EQ(part(record(place), 1, 2), part(whole, 33 + 2 * port + 12, 2));
        }
        play("sync 13; reference 5; 24 0 s0 1 0*113 = none; t 10s");
        words batch = take(0x01C08000), expected = all();
        expected.resize(minor == 0 ? 91 : 111);
        expected[0] = 0; // the third word
        expected.insert(expected.begin(), {24, 5, minor == 0 ? 96u : 116u, minor, 13, 0, 0, 0xFF00FFFF, 1});
        expected.insert(expected.end(), {1, 0});
        EXPECT_EQ(batch, expected);
        sync = 0xFF00FF00;
    }
    const words whole = all(), frames = record("61 0 h02 0*58");
    EXPECT_EQ(part(frames, 29, 4), part(whole, 17, 4));
    EXPECT_EQ(part(frames, 43, 4), part(whole, 21, 4));
    EXPECT_EQ(frames[57], 110u); // seconds
    EXPECT_NEAR(frames[35] + frames[36] + frames[37] + frames[38] + frames[39] + frames[40] + frames[41] +
                    frames[42],
                frames[29], 8);
    start({.client = host_client::otn});
    play("t 3600s; 61 0 h00 0*58 = 0x80200001");
    const words otn = record("21 0 h00 0*8");
    EXPECT_NEAR(otn[1], 3600 * 10000, 3600 * 1100);
    EXPECT_GT(otn[3], 0u);
    EXPECT_NEAR(std::bit_cast<float>(otn[4]), 1e-6F, 1e-5F);
    EXPECT_EQ((words{otn[5], otn[8]}), (words{8, 5}));
}

TEST_F(layouts, an_hour_of_measurements_is_plausible)
{
    start_as(5, 22);
    const auto now_least_most = [](const words &record_of, size_t now, size_t least, size_t most,
                                   size_t average) {
        const auto at = [&record_of](size_t i) { return static_cast<int32_t>(record_of[i]); };
        EXPECT_TRUE(at(least) <= at(now) && at(now) <= at(most) && at(least) <= at(average) &&
                    at(average) <= at(most))
            << now;
    };
    words before = all();
    for (int i = 0; i < 300; i++) {
        pass(12000000000);
        const words now = all();
        for (const size_t port : {33, 65}) {
            for (const size_t field : {0, 4, 8, 12}) { // the last one floats, which are ordered likewise
                now_least_most(now, port + field, port + field + 1, port + field + 2, port + field + 3);
            }
            now_least_most(now, port + 21, port + 23, port + 24, port + 22);
            now_least_most(now, port + 27, port + 29, port + 30, port + 28);
            const float bit_errors = std::bit_cast<float>(now[port + 12]);
            EXPECT_TRUE(bit_errors > 1e-5F && bit_errors < 1e-2F && now[port + 8] > 200 &&
                        now[port + 8] < 350);
        }
        for (const size_t temperature : {102, 108, 109, 110}) {
            EXPECT_NEAR(static_cast<int>(now[temperature]), static_cast<int>(before[temperature]), 12 * 256);
            EXPECT_TRUE(now[temperature] > 30 * 256 && now[temperature] < 80 * 256);
        }
        for (const size_t counter : {1, 5, 9, 25, 33 + 19, 33 + 20, 65 + 19, 65 + 20}) {
            EXPECT_GE(now[counter], before[counter]) << counter;
        }
        for (const size_t counter : {3, 7, 11, 27}) { // of 64 bits
            EXPECT_GE(std::pair(now[counter + 1], now[counter]),
                      std::pair(before[counter + 1], before[counter]));
        }
        before = now;
    }
    EXPECT_GT(before[5], 30u);       // bad frames
    EXPECT_GT(before[33 + 19], 10u); // errors of the line
    start_as(5, 22);
    pass(3600000000000);
    EXPECT_EQ(all(), before); // the same seed and time
}

TEST_F(layouts, light_shows_in_the_powers_and_in_what_is_received)
{
    // Output, input and signal power of network port 0; only the lower half of a word counts.
    const auto powers = [this] {
        std::vector<int> got;
        for (const uint32_t word : part(all(), 99, 3)) {
            EXPECT_EQ(word >> 16, 0x5A5Au);
            got.push_back(static_cast<int16_t>(word));
        }
        return got;
    };
    play("t 60s");
    const int input = powers()[1];
    EXPECT_NEAR(input, -1100, 330);
    EXPECT_EQ(powers(), (std::vector<int>{-4000, input, -4000}));
    EXPECT_EQ(part(all(), 33, 64), words(64, 0));
    play("2 0 m00 1 1; 58 0 m00 -300");
    EXPECT_NEAR(powers()[0], -300, 10);
    EXPECT_NEAR(powers()[2], input - 60, 20);
    play("8 0 m00 0x40000000"); // 2 dBm
    EXPECT_NEAR(powers()[0], 200, 10);
    play("42 0 m00 1; t 3000s");
    EXPECT_EQ(powers()[0], -4000);
    const uint32_t counted = all()[33 + 19];
    EXPECT_GT(counted, 10u);
    play("> unplug 2; t 3000s");
    EXPECT_EQ(powers(), (std::vector<int>{-4000, -4000, -4000}));
    EXPECT_EQ(part(all(), 33, 1), words{0});
    EXPECT_EQ(all()[33 + 19], counted); // nothing was counted in the dark, nothing lost
    play("19 0 m00 0*6 = 0x8050000F; 20 0 m00 0*32");
}

TEST_F(layouts, the_interval_bounds_what_is_summed_up)
{
    start_as(5, 22);
    play("t 540s"); // 640 since power came
    const uint64_t one_second = [this] { return play("18 0 s0 1"), all()[49]; }();
    for (const auto &[seconds, counted] : {std::pair("64", 1), {"0", 1}, {"63", 11}}) {
        play(std::string("18 0 s0 ") + seconds);
        EXPECT_NEAR(all()[49], counted * one_second, counted) << seconds;
    }
    play("2 0 m01 0 1; t 63s; 2 0 m01 1 1"); // in the middle of an interval
    const uint32_t first = all()[81];
    play("t 5s");
    EXPECT_NEAR(all()[81], 6.0 * first, 6);
}

} // namespace
