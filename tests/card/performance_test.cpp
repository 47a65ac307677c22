#include <cmath>
#include <cstring>

#include "card/card_host.h"
#include "support/virtual_time.h"

namespace {

constexpr uint64_t SECOND = 1000000000;

// A measurement's record, read by byte offset.
struct record {
    uint32_t version = 0;
    uint32_t error_word = 0;
    std::string bytes;

    template <typename type> type at(size_t offset) const
    {
        type value{};
        EXPECT_LE(offset + sizeof value, bytes.size());
        std::memcpy(&value, bytes.data() + offset, sizeof value);
        return value;
    }

    int32_t word(size_t offset) const
    {
        return at<int32_t>(offset);
    }
};

record measure(card_host &host, uint32_t command, uint32_t words, uint32_t address)
{
    std::vector<uint32_t> request(words, 0);
    request[1] = address;
    const card_host::received got = host.run(command, request);
    EXPECT_EQ(got.data.size(), words);
    record it{got.header[3], got.header[5], std::string(4 * (got.data.size() - 2), '\0')};
    std::memcpy(it.bytes.data(), got.data.data() + 2, it.bytes.size());
    return it;
}

record measure_all(card_host &host, uint32_t address = 0xFF00FFFF)
{
    return measure(host, 23, 112, address);
}

void light(card_host &host, uint32_t address)
{
    EXPECT_EQ(host.error_of(2, {0, address, 1, 1}), 0u);
}

template <typename type> void expect_ordered(const record &it, size_t current)
{
    const size_t size = sizeof(type);
    const auto now = it.at<type>(current);
    const auto least = it.at<type>(current + size);
    const auto most = it.at<type>(current + 2 * size);
    const auto average = it.at<type>(current + 3 * size);
    EXPECT_LE(least, now);
    EXPECT_LE(now, most);
    EXPECT_LE(least, average);
    EXPECT_LE(average, most);
}

// Those of sopmd and pdl stand in the order now, average, least, most.
void expect_ordered_late(const record &it, size_t current)
{
    EXPECT_LE(it.word(current + 8), it.word(current));
    EXPECT_LE(it.word(current), it.word(current + 12));
    EXPECT_LE(it.word(current + 8), it.word(current + 4));
    EXPECT_LE(it.word(current + 4), it.word(current + 12));
}

void expect_sane_port(const record &it, size_t port)
{
    for (const size_t field : {0, 16, 32}) {
        expect_ordered<int32_t>(it, port + field);
    }
    expect_ordered<float>(it, port + 48);
    expect_ordered_late(it, port + 84);
    expect_ordered_late(it, port + 108);
    EXPECT_GT(it.at<float>(port + 48), 1e-5F);
    EXPECT_LT(it.at<float>(port + 48), 1e-2F);
    EXPECT_GT(it.word(port + 32), 200); // OSNR, 0.1 dB
    EXPECT_LT(it.word(port + 32), 350);
    EXPECT_GT(it.at<uint64_t>(port + 64), 0u);
}

constexpr size_t TEMPERATURES[] = {384 + 20, 408 + 20, 432, 436};
constexpr size_t COUNTERS[] = {0, 16, 32, 96, 128 + 76, 128 + 80, 256 + 76, 256 + 80};
constexpr size_t WIDE_COUNTERS[] = {8, 24, 40, 104};

TEST(performance, an_hour_of_measurements_is_plausible)
{
    for (const uint64_t seed : {1u, 2u, 77u}) {
        virtual_time time;
        card_host host(card_options{.seed = seed});
        host.link_up();
        light(host, 0xFF0000FF);
        light(host, 0xFF0001FF);
        record before = measure_all(host);
        for (uint64_t seconds = 0; seconds < 3600; seconds += 3) {
            time.advance(3 * SECOND);
            const record now = measure_all(host);
            expect_sane_port(now, 128);
            expect_sane_port(now, 256);
            for (const size_t offset : TEMPERATURES) {
                EXPECT_LE(std::abs(now.word(offset) - before.word(offset)), 3 * 256);
                EXPECT_GT(now.word(offset), 30 * 256);
                EXPECT_LT(now.word(offset), 80 * 256);
            }
            for (const size_t offset : COUNTERS) {
                EXPECT_GE(now.word(offset), before.word(offset)) << offset;
            }
            for (const size_t offset : WIDE_COUNTERS) {
                EXPECT_GE(now.at<uint64_t>(offset), before.at<uint64_t>(offset)) << offset;
            }
            for (const size_t field : {128, 144, 160}) {
                if (seconds / 10 == (seconds + 3) / 10) { // one interval: it knows what was read before
                    EXPECT_LE(now.word(field + 4), before.word(field));
                    EXPECT_GE(now.word(field + 8), before.word(field));
                }
            }
            before = now;
        }
        EXPECT_GT(before.word(16), 30);       // bad frames
        EXPECT_GT(before.word(128 + 76), 10); // errors of the line
    }
}

TEST(performance, the_same_seed_and_time_measure_the_same)
{
    const auto hour_of = [](uint64_t seed) {
        virtual_time time;
        time.advance(500 * SECOND); // when the card is switched on does not matter
        card_host host(card_options{.seed = seed});
        host.link_up();
        light(host, 0xFF0000FF);
        time.advance(3600 * SECOND);
        return measure_all(host).bytes;
    };
    EXPECT_EQ(hour_of(5), hour_of(5));
    EXPECT_NE(hour_of(5), hour_of(6));
}

TEST(performance, single_records_are_the_pieces_of_the_whole_one)
{
    virtual_time time;
    card_host host;
    host.link_up();
    light(host, 0xFF0101FF);
    time.advance(1234 * SECOND);
    const std::string all = measure_all(host, 0xFF01FFFF).bytes;
    EXPECT_EQ(measure(host, 21, 10, 0xFF01FF02).bytes, all.substr(64, 32));
    EXPECT_EQ(measure(host, 20, 34, 0xFF0101FF).bytes, all.substr(256, 128));
    EXPECT_EQ(measure(host, 19, 8, 0xFF0101FF).bytes, all.substr(408, 24));
    for (const uint32_t address : {0xFF01FFFFu, 0xFF0100FFu, 0xFF01FF03u}) {
        EXPECT_EQ(measure(host, 22, 4, address).bytes, all.substr(432, 8));
    }
    EXPECT_EQ(measure(host, 22, 4, 0xF0FFFFFF).error_word, 0u);
    const record frames = measure(host, 61, 60, 0xFF01FF02);
    EXPECT_EQ(frames.bytes.substr(112, 16), all.substr(64, 16));
    EXPECT_EQ(frames.bytes.substr(168, 16), all.substr(80, 16));
    EXPECT_EQ(frames.word(224), 1234);
    uint32_t by_size = 0;
    for (size_t offset = 136; offset < 168; offset += 4) {
        by_size += frames.at<uint32_t>(offset);
    }
    EXPECT_NEAR(by_size, frames.at<uint32_t>(112), 8);
}

TEST(performance, firmware_before_4_1_sends_the_older_layout)
{
    std::string all[2];
    std::string port[2];
    for (const uint32_t minor : {0u, 1u}) {
        virtual_time time;
        card_host host(card_options{4, minor});
        host.link_up();
        light(host, 0xFF0000FF);
        light(host, 0xFF0001FF);
        time.advance(100 * SECOND);
        const record whole = measure_all(host);
        const record one = measure(host, 20, 34, 0xFF0001FF);
        EXPECT_EQ(whole.version, minor);
        EXPECT_EQ(one.version, minor);
        all[minor] = whole.bytes;
        port[minor] = one.bytes;
    }
    const std::string padding(4, '\0');
    EXPECT_EQ(all[0], all[1].substr(0, 128) + all[1].substr(128, 84) + padding + all[1].substr(256, 84) +
                          padding + all[1].substr(384, 56) + std::string(80, '\0'));
    EXPECT_EQ(port[0], port[1].substr(0, 84) + std::string(44, '\0'));
}

// Output, input and signal power of network port 0; only the lower half of a word counts.
std::vector<int> powers_of(card_host &host)
{
    const record it = measure_all(host);
    std::vector<int> powers;
    for (const size_t offset : {392, 396, 400}) {
        EXPECT_EQ(it.at<uint16_t>(offset + 2), 0x5A5A);
        powers.push_back(it.at<int16_t>(offset));
    }
    return powers;
}

TEST(performance, light_shows_in_the_powers_and_in_what_is_received)
{
    virtual_time time;
    card_host host;
    host.link_up();
    time.advance(60 * SECOND);
    const int input = powers_of(host)[1];
    EXPECT_NEAR(input, -1100, 330);
    EXPECT_EQ(powers_of(host), (std::vector<int>{-4000, input, -4000}));
    EXPECT_EQ(measure_all(host).bytes.substr(128, 256), std::string(256, '\0'));
    light(host, 0xFF0000FF);
    EXPECT_EQ(host.error_of(58, {0, 0xFF0000FF, 0xFFFFFED4}), 0u); // -3 dBm
    EXPECT_NEAR(powers_of(host)[0], -300, 10);
    EXPECT_NEAR(powers_of(host)[2], input - 60, 20);
    EXPECT_EQ(host.error_of(8, {0, 0xFF0000FF, 0x40000000}), 0u); // 2 dBm
    EXPECT_NEAR(powers_of(host)[0], 200, 10);
    EXPECT_EQ(host.error_of(42, {0, 0xFF0000FF, 1}), 0u);
    EXPECT_EQ(powers_of(host)[0], -4000);
    time.advance(3000 * SECOND);
    expect_sane_port(measure_all(host), 128);
    const int counted = measure_all(host).word(128 + 76);
    EXPECT_GT(counted, 10);
    host.verb("unplug 2");
    time.advance(3000 * SECOND);
    EXPECT_EQ(powers_of(host), (std::vector<int>{-4000, -4000, -4000}));
    EXPECT_EQ(measure_all(host).word(128), 0);
    EXPECT_EQ(measure_all(host).word(128 + 76), counted); // nothing was counted in the dark, nothing lost
    EXPECT_EQ(measure(host, 19, 8, 0xFF0000FF).error_word, 0x8050000Fu);
    EXPECT_EQ(measure(host, 20, 34, 0xFF0000FF).error_word, 0u);
}

TEST(performance, the_interval_bounds_what_is_summed_up)
{
    virtual_time time;
    card_host host;
    host.link_up();
    light(host, 0xFF0000FF);
    time.advance(640 * SECOND);
    struct interval {
        uint32_t seconds;
        uint32_t error_word;
        uint64_t counted; // seconds of the interval over at 640 s, that one included
    };
    uint64_t one_second = 0;
    for (const interval &it : {interval{1, 0, 1}, {64, 0, 1}, {65, 0x80100011, 1}, {0, 0, 1}, {63, 0, 11}}) {
        EXPECT_EQ(host.error_of(18, {0, 0xFF00FFFF, it.seconds}), it.error_word);
        const uint64_t bits = measure_all(host).at<uint64_t>(128 + 64);
        one_second = one_second == 0 ? bits : one_second;
        EXPECT_NEAR(static_cast<double>(bits) / static_cast<double>(one_second), it.counted, 0.01);
    }
    light(host, 0xFF0001FF); // in the middle of an interval
    const auto one_second_of_other = measure_all(host).at<uint64_t>(256 + 64);
    time.advance(5 * SECOND);
    EXPECT_NEAR(measure_all(host).at<uint64_t>(256 + 64), 6 * one_second_of_other, 6);
}

TEST(performance, an_otn_card_counts_otn_frames)
{
    virtual_time time;
    card_host host(card_options{.client = host_client::otn});
    host.link_up();
    time.advance(3600 * SECOND);
    const record it = measure(host, 21, 10, 0xFF00FF00);
    EXPECT_NEAR(static_cast<double>(it.at<uint64_t>(0)), 3600 * 10000, 3600 * 1100);
    EXPECT_GT(it.word(8), 0);
    EXPECT_GT(it.at<float>(12), 1e-9F);
    EXPECT_LT(it.at<float>(12), 1e-5F);
    EXPECT_EQ(it.word(16), 8);
    EXPECT_EQ(it.word(28), 5);
    EXPECT_EQ(measure(host, 61, 60, 0xFF00FF00).error_word, 0x80200001u);
}

TEST(performance, questions_to_the_wrong_device_are_refused)
{
    struct question {
        uint32_t command;
        uint32_t words;
        uint32_t address;
        uint32_t error_word;
    };
    const question QUESTIONS[] = {
        {19, 8, 0xFF00FFFF, 0x8010000D},   {20, 34, 0xFF00FFFF, 0x8010000D}, {20, 34, 0xF0FFFFFF, 0x8010000D},
        {21, 10, 0xFF00FF04, 0x80100007},  {21, 10, 0xFF00FFFF, 0x8010000D}, {22, 4, 0xFF03FFFF, 0x80000003},
        {23, 112, 0xFF0000FF, 0x8010000D}, {61, 60, 0xFF0000FF, 0x8010000D},
    };
    card_host host;
    host.link_up();
    for (const question &it : QUESTIONS) {
        EXPECT_EQ(measure(host, it.command, it.words, it.address).error_word, it.error_word)
            << it.command << std::hex << ' ' << it.address;
    }
}

TEST(performance, show_tells_settings_and_measurements_of_a_device)
{
    card_host host;
    host.link_up();
    light(host, 0xFF0000FF);
    host.verb("unplug 3");
    const struct {
        const char *line;
        const char *part;
    } SHOWN[] = {
        {"show 0", "firmware 5.22, ethernet host ports"}, {"show 1", "host port 3: loopback 0"},
        {"show 2", "channel tx 1931000 rx 1931000"},      {"show 2", "rx osnr 2"},
        {"show 3", "empty port 1 of sirane 0"},
    };
    for (const auto &it : SHOWN) {
        const std::string text = host.verb(it.line);
        EXPECT_NE(text.find(it.part), std::string::npos) << it.line << '\n' << text;
    }
    host.refused_verb("show 10");
}

} // namespace
