#include "card/card_host.h"
#include "support/virtual_time.h"

namespace {

constexpr uint64_t SECOND = 1000000000;
constexpr uint32_t ANSWERS = 0x2000;
constexpr uint32_t ALARMS = 0x4000;

using words = std::vector<uint32_t>;

struct notices : testing::Test {
    notices()
    {
        host.link_up();
    }

    void subscribe(uint32_t enable, uint32_t reference, uint32_t sirane = 1)
    {
        words request(14, 0);
        request[1] = 0xFF00FFFF + sirane * 0x10000;
        request[2] = enable;
        host.reference = reference;
        host.send(35, request, sirane, 14);
    }

    void pass(uint64_t nanoseconds)
    {
        time.advance(nanoseconds);
        card_step(host.it);
    }

    virtual_time time;
    card_host host;
};

TEST_F(notices, every_change_of_an_alarm_word_is_told_to_its_subscription)
{
    host.verb("alarm raise 4.h1 TX_HOST_LOA");
    subscribe(1, 0x51);
    EXPECT_EQ(host.take_words(ALARMS, 1), words{}); // what stands already is no change
    host.verb("alarm raise 5 RX_NTWK_LOF");
    EXPECT_EQ(host.take_words(ALARMS, 1),
              (words{35, 0x51, 14, 0, 14, 0, 0, 0xFF01FFFF, 1, 0, 4, 0, 0, 0x2000, 0, 0, 0, 0, 1, 0}));
    host.verb("alarm raise 5 RX_NTWK_LOF");
    host.verb("alarm raise 1 SRN_TEMP"); // of another sirane
    EXPECT_EQ(host.take_words(ALARMS, 1), words{});
    EXPECT_EQ(host.take_words(ALARMS, 0), words{});
    host.verb("alarm clear 4.h1 all");
    host.verb("unplug 6");
    EXPECT_EQ(host.take_words(ALARMS, 1),
              (words{35, 0x51, 14, 0, 14, 0, 0, 0xFF01FFFF, 1, 0, 0, 0, 0, 0x2000, 0, 0, 0, 0, 2, 0}));
    EXPECT_EQ(host.take_words(ALARMS, 1),
              (words{35, 0x51, 14, 0, 14, 0, 0, 0xFF01FFFF, 1, 0, 0, 0, 0, 0x2000, 0x100, 0, 0, 0, 3, 0}));
    subscribe(1, 0x52);
    host.verb("plug 6");
    const auto renewed = host.take(ALARMS, 1);
    EXPECT_EQ(renewed.header[1], 0x52u);
    EXPECT_EQ(renewed.data.at(12), 1u);
    subscribe(0, 0x53);
    host.verb("alarm clear 5 all");
    EXPECT_EQ(host.take_words(ALARMS, 1), words{});
}

TEST_F(notices, a_forced_record_goes_to_the_subscription_there_is)
{
    const words forced = {0, 0xFF01FFFF, 11, 12, 13, 14, 15, 16, 17, 18, 19};
    host.send(36, forced, 1);
    subscribe(1, 0x60);
    EXPECT_EQ(host.take_words(ALARMS, 1), words{});
    host.send(36, forced, 1);
    EXPECT_EQ(host.take_words(ALARMS, 1),
              (words{35, 0x60, 14, 0, 14, 0, 0, 0xFF01FFFF, 1, 11, 12, 13, 14, 15, 16, 17, 18, 19, 1, 0}));
    EXPECT_FALSE(host.take_answer(1).there);
}

TEST_F(notices, modules_that_come_and_go_are_told_to_their_sirane)
{
    host.verb("unplug 9");
    EXPECT_EQ(host.take_words(ANSWERS, 2), (words{37, 1, 3, 0, 15, 0, 0, 0xFF0201FF, 0}));
    host.verb("plug 9");
    EXPECT_EQ(host.take_words(ANSWERS, 2), (words{37, 2, 3, 0, 15, 0, 0, 0xFF0201FF, 1}));
    EXPECT_EQ(host.run(39, {0, 0xFF0000FF, 1}).header[0], 39u); // the host's pretence; its answer comes first
    EXPECT_EQ(host.take_words(ANSWERS), (words{37, 3, 3, 0, 15, 0, 0, 0xFF0000FF, 0}));
    EXPECT_EQ(host.run(16, {0}).header[0], 16u); // and its end
    EXPECT_EQ(host.take_words(ANSWERS), (words{37, 4, 3, 0, 15, 0, 0, 0xFF0000FF, 1}));
    host.verb("hang");
    host.verb("unplug 2");
    host.verb("unplug 3");
    host.verb("plug 2");
    EXPECT_EQ(host.take_words(ANSWERS), words{});
    host.verb("corrupt-notice sy 3");
    host.verb("resume");
    EXPECT_EQ(host.take_words(ANSWERS), (words{37, 5, 3, 0, 3, 0, 0, 0xFF0001FF, 0}));
    EXPECT_EQ(host.take_words(ANSWERS), words{});
}

TEST_F(notices, nobody_is_told_before_a_host_has_come)
{
    card_host unvisited;
    unvisited.verb("unplug 2");
    unvisited.write(0x01C02000, 2);
    EXPECT_EQ(unvisited.take_words(ANSWERS), words{});
}

TEST_F(notices, a_warm_restart_is_announced_and_told_when_done)
{
    host.enable_interrupts();
    host.verb("restart warm 6.1");
    EXPECT_TRUE(host.interrupted());
    EXPECT_EQ(host.take_words(ANSWERS), (words{41, 1, 2, 0, 16, 0, 0, 1}));
    pass(3 * SECOND - 1);
    EXPECT_EQ(host.error_of(56, {0, 1}), 0u); // still there
    pass(1);
    EXPECT_EQ(host.read(0x01C02004), 0u);
    EXPECT_EQ(host.read(0x01F04004), 0x00050016u);
    while (host.interrupted()) {
    }
    pass(SECOND);
    EXPECT_TRUE(host.interrupted());
    EXPECT_EQ(host.take_words(ANSWERS), (words{41, 2, 2, 0, 16, 0, 0, 4}));
    EXPECT_EQ(host.read(0x01F04004), 0x00060001u);
}

TEST_F(notices, a_failed_restart_only_says_so_and_a_cold_one_says_so_afterwards)
{
    host.verb("restart warm-fail");
    EXPECT_EQ(host.take_words(ANSWERS), (words{41, 1, 2, 0, 16, 0, 0, 2}));
    pass(10 * SECOND);
    EXPECT_EQ(host.error_of(10, {0, 0xFF00FFFF, 0x9010, 9}), 0u);
    host.verb("restart cold");
    EXPECT_EQ(host.read(0x01C02004), 0u);
    pass(SECOND);
    EXPECT_EQ(host.take_words(ANSWERS), (words{41, 2, 2, 0, 16, 0, 0, 3}));
    EXPECT_EQ(host.register_of(0xFF00FFFF, 0x9010), 1u);
    host.verb("restart"); // a crash says nothing
    pass(SECOND);
    EXPECT_EQ(host.take_words(ANSWERS), words{});
    for (const char *line : {"restart hot", "restart warm 6", "restart warm 6.1 2", "restart cold 1"}) {
        host.refused_verb(line);
    }
    host.verb("hang");
    host.refused_verb("restart warm");
}

} // namespace
