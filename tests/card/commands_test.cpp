#include <random>

#include "card/card_host.h"
#include "support/virtual_time.h"

namespace {

struct judged {
    const char *what;
    uint32_t command;
    std::vector<uint32_t> data;
    uint32_t error_word;
};

// Module 3, the second one of sirane 0, is unplugged.
const judged JUDGED[] = {
    {"read", 9, {0, 0xFF00FFFF, 0x9010, 0}, 0},
    {"read of the board", 9, {0, 0xF0FFFFFF, 0x10, 0}, 0},
    {"read of a module", 9, {0, 0xFF0000FF, 0x10, 0}, 0},
    {"read of a host port", 9, {0, 0xFF00FF03, 0x9010, 0}, 0},
    {"read of sirane 3", 9, {0, 0xFF03FFFF, 0x9010, 0}, 0x80000003},
    {"read of both ports", 9, {0, 0xFF000000, 0x9010, 0}, 0x80000003},
    {"read of network port 2", 9, {0, 0xFF0002FF, 0x9010, 0}, 0x80000003},
    {"read of a board with a port", 9, {0, 0xF0FF00FF, 0x9010, 0}, 0x80000003},
    {"read of an empty port", 9, {0, 0xFF0001FF, 0x10, 0}, 0x8050000F},
    {"read of the last register", 9, {0, 0xFF00FFFF, 0xFFFF, 0}, 0},
    {"read beyond it", 9, {0, 0xFF00FFFF, 0x10000, 0}, 0x8010000B},
    {"write of sirane 255", 10, {0, 0xFFFFFFFF, 0x9010, 1}, 0x80000003},
    {"write beyond the registers", 10, {0, 0xFF00FFFF, 0x10000, 1}, 0x8010000B},
    {"high power", 13, {0, 0xFF00FFFF, 4}, 0},
    {"low power", 13, {0, 0xFF00FFFF, 5}, 0},
    {"low power of the board", 13, {0, 0xF0FFFFFF, 5}, 0x8010000D},
    {"low power of a module", 13, {0, 0xFF0000FF, 5}, 0x8010000D},
    {"laser time-out", 13, {0, 0xFF0000FF, 34}, 0},
    {"self test", 13, {0, 0xF0FFFFFF, 1}, 0},
    {"unknown diagnostic", 13, {0, 0xFF00FFFF, 6}, 0x80100005},
    {"diagnostic of sirane 3", 13, {0, 0xFF03FFFF, 4}, 0x80000003},
    {"default", 16, {0}, 0},
    {"watch off", 55, {0, 0}, 0},
    {"watch 2", 55, {0, 2}, 0x80100011},
    {"trace level", 56, {0, 0xFFFFFFFF}, 0},
    {"recover", 59, {0, 0xFF02FFFF}, 0},
    {"recover the board", 59, {0, 0xF0FFFFFF}, 0x8010000D},
    {"recover sirane 3", 59, {0, 0xFF03FFFF}, 0x80000003},
    {"module status", 60, {0, 0xFF0000FF, 9}, 0},
    {"status of an empty port", 60, {0, 0xFF0001FF, 9}, 0x8050000F},
    {"status of a sirane", 60, {0, 0xFF00FFFF, 9}, 0x8010000D},
};

TEST(commands, are_judged_as_a_firmware_would)
{
    for (const judged &it : JUDGED) {
        card_host host;
        host.link_up();
        host.verb("unplug 3");
        const card_host::received answer = host.run(it.command, it.data);
        ASSERT_TRUE(answer.there) << it.what;
        EXPECT_EQ(answer.header[0], it.command) << it.what;
        EXPECT_EQ(answer.header[1], 0x1234u) << it.what;
        EXPECT_EQ(answer.header[4], 0xFF00FF00u) << it.what;
        EXPECT_EQ(answer.header[2], it.data.size()) << it.what;
        EXPECT_EQ(answer.header[5], it.error_word) << it.what;
        EXPECT_EQ(answer.data.at(0), 0u) << it.what;
    }
}

TEST(commands, registers_keep_all_32_bits_of_each_device)
{
    card_host host;
    host.link_up();
    const uint32_t devices[] = {0xF0FFFFFF, 0xFF00FFFF, 0xFF0000FF, 0xFF0001FF, 0xFF01FFFF,
                                0xFF0100FF, 0xFF0101FF, 0xFF02FFFF, 0xFF0200FF, 0xFF0201FF};
    for (const uint32_t device : devices) {
        EXPECT_EQ(host.error_of(10, {0, device, 0x9018, ~device}), 0u);
    }
    for (const uint32_t device : devices) {
        EXPECT_EQ(host.register_of(device, 0x9018), ~device);
    }
    EXPECT_EQ(host.register_of(0xFF00FFFF, 0x1234), 0u);
}

TEST(commands, recover_resets_one_sirane_and_default_all)
{
    card_host host;
    host.link_up();
    const auto write_all = [&host] {
        for (const uint32_t device : {0xFF00FFFFu, 0xFF01FFFFu, 0xFF02FFFFu, 0xFF0100FFu}) {
            host.error_of(10, {0, device, 0x9030, 0x2301});
        }
    };
    write_all();
    EXPECT_EQ(host.error_of(59, {0, 0xFF0100FF}), 0u);
    EXPECT_EQ(host.register_of(0xFF00FFFF, 0x9030), 0x2301u);
    EXPECT_EQ(host.register_of(0xFF01FFFF, 0x9030), 0x3210u);
    EXPECT_EQ(host.register_of(0xFF02FFFF, 0x9030), 0x2301u);
    EXPECT_EQ(host.register_of(0xFF0100FF, 0x9030), 0x2301u);
    write_all();
    EXPECT_EQ(host.error_of(16, {0}), 0u);
    for (const uint32_t device : {0xFF00FFFFu, 0xFF01FFFFu, 0xFF02FFFFu}) {
        EXPECT_EQ(host.register_of(device, 0x9030), 0x3210u);
    }
    EXPECT_EQ(host.register_of(0xFF0100FF, 0x9030), 0u);
}

TEST(commands, the_watch_is_busy_when_it_is_on)
{
    card_host host;
    host.link_up();
    EXPECT_EQ(host.error_of(55, {0, 1}), 0u);
    EXPECT_EQ(host.error_of(55, {0, 1}), 0x80010013u);
    EXPECT_EQ(host.error_of(55, {0, 0}), 0u);
    EXPECT_EQ(host.error_of(55, {0, 0}), 0u);
    EXPECT_EQ(host.error_of(55, {0, 1}), 0u);
}

TEST(commands, a_module_is_ready_while_its_sirane_has_power)
{
    card_host host;
    host.link_up();
    EXPECT_EQ(host.run(60, {0, 0xFF0001FF, 0}).data.at(2), 3u);
    EXPECT_EQ(host.error_of(13, {0, 0xFF00FFFF, 5}), 0u);
    EXPECT_EQ(host.run(60, {0, 0xFF0001FF, 0}).data.at(2), 1u);
    EXPECT_EQ(host.error_of(13, {0, 0xFF00FFFF, 4}), 0u);
    EXPECT_EQ(host.run(60, {0, 0xFF0001FF, 0}).data.at(2), 3u);
    host.verb("unplug 3");
    EXPECT_EQ(host.run(60, {0, 0xFF0001FF, 0}).data.at(2), 0u);
}

TEST(commands, an_asynchronous_request_gets_its_slot_back)
{
    card_host host;
    host.link_up();
    EXPECT_EQ(host.offer(56, {0, 1}, 0, 7), 4u);
    host.write(0x01C00000, 2);
    EXPECT_EQ(host.take_answer().header[4], 7u);
}

// Whatever a host sends, the card goes on: each message is refused, answered, or one of the three silent.
TEST(commands, no_words_take_the_card_out_of_step)
{
    const uint32_t SIZES[] = {0, 1, 2, 3, 4, 8, 10, 11, 14, 32, 34, 39, 60, 112, 116, 1978};
    const uint32_t WORDS[] = {0,          1,          2,          3,          25,         193700,
                              1937000,    0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0x7FC00000, 0xF0FFFFFF,
                              0xFF00FFFF, 0xFF0000FF, 0xFF0201FF, 0xFF02FF03, 0xFF01FFFE, 0xFF000000};
    virtual_time time;
    card_host host;
    host.link_up();
    std::minstd_rand random(1);
    for (int i = 0; i < 20000; i++) {
        const uint32_t command = random() % 68;
        std::vector<uint32_t> data(SIZES[random() % std::size(SIZES)]);
        for (uint32_t &word : data) {
            word = WORDS[random() % std::size(WORDS)];
        }
        const bool accepted = host.offer(command, data) == 4;
        host.write(0x01C00000, 2);
        ASSERT_EQ(host.read(0x01C00004), 2u) << command;
        if (command == 14 || command == 15) { // which take their time
            time.advance(1000000000);
            card_step(host.it);
        }
        const bool silent = command == 24 || command == 35 || command == 36;
        ASSERT_EQ(host.take_answer().there, accepted && !silent) << command;
    }
    EXPECT_NE(host.verb("show").size(), 0u);
}

} // namespace
