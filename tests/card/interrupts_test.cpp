#include "card/card_host.h"

namespace {

void answer_waits(card_host &host, uint32_t sirane, uint32_t address)
{
    EXPECT_EQ(host.offer(9, {0, address, 0x9010, 0}, sirane), 4u);
    host.write(0x01C00000 + sirane * 0x00100000, 2);
}

TEST(interrupts, an_answer_names_its_mailbox_and_raises_one_event)
{
    card_host host;
    host.link_up();
    host.enable_interrupts();
    answer_waits(host, 1, 0xFF01FFFF);
    EXPECT_TRUE(host.interrupted());
    EXPECT_FALSE(host.interrupted());
    EXPECT_EQ(host.read(0x24), 2u);
    EXPECT_EQ(host.read(0x30), 17u);
    host.write(0x24, 2);
    EXPECT_EQ(host.read(0x24), 0u);
    EXPECT_FALSE(host.interrupted());
}

TEST(interrupts, the_next_source_is_presented_after_the_clear)
{
    card_host host;
    host.link_up();
    host.enable_interrupts();
    answer_waits(host, 0, 0xFF00FFFF);
    host.write(0x01C0C000, 1024);
    EXPECT_TRUE(host.interrupted());
    EXPECT_EQ(host.read(0x2C), 17u); // stays while the bit is set
    host.write(0x24, 6);             // the other siranes' bits
    EXPECT_FALSE(host.interrupted());
    EXPECT_EQ(host.read(0x2C), 17u);
    host.write(0x24, 1);
    EXPECT_TRUE(host.interrupted());
    EXPECT_EQ(host.read(0x24), 1u);
    EXPECT_EQ(host.read(0x2C), 20u);
    host.write(0x24, 0xFFFFFFFF);
    EXPECT_EQ(host.read(0x24), 0u);
    EXPECT_FALSE(host.interrupted());
}

TEST(interrupts, a_source_that_waits_already_waits_once)
{
    card_host host;
    host.link_up();
    host.enable_interrupts();
    for (int i = 0; i < 5; i++) {
        host.write(0x01C0C000, 1024);
    }
    int events = 0;
    while (host.interrupted()) {
        events++;
        host.write(0x24, 1);
    }
    EXPECT_EQ(events, 2); // the one presented first, and one for all that came after it
}

TEST(interrupts, events_only_as_the_enable_registers_allow)
{
    struct step {
        uint32_t offset;
        uint32_t value;
        bool event;
    };
    // Sirane 0 and 2 have something pending before the first step.
    const step steps[] = {
        {0x20, 0x7, false},       {0x01804000, 0x01, false}, {0x01804000, 0x10, false},
        {0x01804000, 0x11, true}, {0x01804000, 0x11, false}, // enabled already
        {0x20, 0x1, false},       {0x20, 0x3, false},        // sirane 1 has nothing
        {0x20, 0x5, true},        {0x01804000, 0, false},
    };
    card_host host;
    host.link_up();
    answer_waits(host, 0, 0xFF00FFFF);
    answer_waits(host, 2, 0xFF02FFFF);
    EXPECT_EQ(host.read(0x24), 5u);
    EXPECT_FALSE(host.interrupted());
    for (const step &step : steps) {
        host.write(step.offset, step.value);
        bool event = false;
        while (host.interrupted()) {
            event = true;
        }
        EXPECT_EQ(event, step.event) << std::hex << step.offset << ' ' << step.value;
    }
}

TEST(interrupts, the_board_is_real_hardware)
{
    card_host host;
    EXPECT_LE(host.read(0) >> 24, 0x32u);
    EXPECT_NE(host.read(0), 0u);
}

} // namespace
