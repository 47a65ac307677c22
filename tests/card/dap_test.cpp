
#include "card/card_host.h"
#include "support/virtual_time.h"

namespace {

constexpr uint64_t MS = 1000000;
constexpr uint32_t H = 0x01C0C000;
constexpr uint32_t F = 0x01C0C004;
constexpr uint32_t AREA = 0x01F08000;

using words = std::vector<uint32_t>;

struct dap : testing::Test {
    dap()
    {
        host.link_up();
        host.enable_interrupts();
    }

    // Whether the card interrupted for this channel.
    bool called()
    {
        if (!host.interrupted()) {
            return false;
        }
        EXPECT_EQ(host.read(0x2C), 20u);
        host.write(0x24, 1);
        return true;
    }

    void request(const words &message)
    {
        for (uint32_t i = 0; i < message.size(); i++) {
            host.write(AREA + 4 * i, message[i]);
        }
        host.write(H, 4);
    }

    words message(uint32_t count) const
    {
        words read;
        for (uint32_t i = 0; i < count; i++) {
            read.push_back(host.read(AREA + 4 * i));
        }
        return read;
    }

    void pass(uint64_t nanoseconds)
    {
        time.advance(nanoseconds);
        card_step(host.it);
    }

    virtual_time time;
    card_host host;
};

const words REQUEST = {54, 0x77, 5, 0, 0xFF00FF00, 0, 0x44332211, 0x55};

TEST_F(dap, an_exchange_echoes_the_message)
{
    EXPECT_EQ(host.read(F), 2u);
    request(REQUEST); // without the reset nobody looks at it
    EXPECT_EQ(host.read(F), 2u);
    host.write(H, 1024);
    EXPECT_EQ(host.read(F), 1024u);
    EXPECT_TRUE(called());
    request(REQUEST);
    EXPECT_EQ(host.read(F), 2048u);
    EXPECT_TRUE(called());
    EXPECT_EQ(message(8), REQUEST);
    host.write(H, 2);
    EXPECT_EQ(host.read(F), 2u);
    pass(1000 * MS);
    EXPECT_FALSE(called());
}

TEST_F(dap, what_is_not_followed_up_is_told_again)
{
    host.verb("dap hold 1");
    host.write(H, 1024);
    for (const uint32_t state : {1024u, 8u, 2048u}) {
        EXPECT_EQ(host.read(F), state);
        EXPECT_TRUE(called());
        pass(100 * MS - 1);
        EXPECT_FALSE(called());
        pass(1);
        EXPECT_TRUE(called());
        EXPECT_EQ(host.read(F), state);
        if (state == 1024) {
            request(REQUEST);
        } else {
            host.write(H, state == 8 ? 8 : 2);
        }
    }
    host.write(H, 1024);
    int calls = 0;
    for (int i = 0; i < 30; i++) {
        calls += called() ? 1 : 0;
        pass(100 * MS);
    }
    EXPECT_EQ(calls, 11);
    host.write(H, 1024); // changed or not
    EXPECT_TRUE(called());
}

TEST_F(dap, holds_come_before_a_late_answer)
{
    host.verb("dap hold 2");
    host.verb("dap delay 50");
    host.write(H, 1024);
    request(REQUEST);
    host.write(H, 8); // not yet
    EXPECT_EQ(host.read(F), 1024u);
    pass(50 * MS);
    for (const uint32_t state : {8u, 8u, 2048u}) {
        EXPECT_EQ(host.read(F), state);
        host.write(H, 8);
    }
    EXPECT_EQ(host.read(F), 2048u);
}

TEST_F(dap, answers_are_as_long_and_as_wrong_as_wanted)
{
    host.verb("dap answer 1100");
    host.verb("dap error 80100011");
    host.verb("corrupt ref_id 5");
    host.write(H, 1024);
    request(REQUEST);
    EXPECT_EQ(message(9),
              (words{54, 5, 1100, 0, 0xFF00FF00, 0x80100011, 0x44332211, 0x33221155, 0x22115544}));
    EXPECT_EQ(host.read(AREA + 24 + 1096), 0x55443322u);
    EXPECT_EQ(host.read(AREA + 24 + 1100), 0u);
    host.refused_verb("dap answer 1101");
    host.verb("dap echo");
    host.write(H, 1024);
    request(REQUEST);
    EXPECT_EQ(message(8), REQUEST);
}

TEST_F(dap, a_size_beyond_the_limit_is_cut)
{
    host.write(H, 1024);
    request({54, 1, 0xFFFFFFFF, 0, 0xFF00FF00, 0});
    EXPECT_EQ(host.read(AREA + 8), 1024u);
    host.verb("dap answer 6");
    host.write(H, 1024);
    request({54, 1, 0, 0, 0xFF00FF00, 0});
    EXPECT_EQ(message(8), (words{54, 1, 6, 0, 0xFF00FF00, 0, 0x03020100, 0x0504}));
}

TEST_F(dap, ignored_resets_change_nothing)
{
    host.verb("dap ignore-reset 2");
    for (int i = 0; i < 2; i++) {
        host.write(H, 2);
        host.write(H, 1024);
        EXPECT_EQ(host.read(F), 2u);
        pass(1000 * MS);
        EXPECT_FALSE(called());
    }
    host.write(H, 1024);
    EXPECT_EQ(host.read(F), 1024u);
    EXPECT_NE(host.verb("show").find("dap: H 1024 F 1024; 0 holds, 0 ms, 0 resets ignored"),
              std::string::npos);
    for (const char *line : {"dap", "dap hold", "dap hold x", "dap sing 1", "dap echo 1"}) {
        host.refused_verb(line);
    }
}

TEST_F(dap, a_restart_in_the_middle_ends_the_exchange)
{
    host.verb("dap delay 5000");
    host.write(H, 1024);
    request(REQUEST);
    host.verb("restart");
    EXPECT_EQ(host.read(F), 0u);
    pass(1000 * MS);
    EXPECT_EQ(host.read(F), 2u);
    pass(5000 * MS);
    EXPECT_EQ(host.read(F), 2u);
}

} // namespace
