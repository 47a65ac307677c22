// A card on memory that tells it nothing: the host's stores are plain ones, and the card hears of them when
// it looks.
#include <sys/mman.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "card_simulator/card_record.h"
#include "card_simulator/polled_memory.h"
#include "support/virtual_time.h"

namespace {

constexpr uint64_t MS = 1000000;

struct plain_host {
    plain_host() : fd(memfd_create("bar", MFD_CLOEXEC))
    {
        EXPECT_EQ(ftruncate(fd, 0x04000000), 0);
        it = card_create_on(card_options{}, fd, card_outlets{});
        words = static_cast<uint32_t *>(mmap(nullptr, 0x04000000, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
        EXPECT_NE(words, MAP_FAILED);
        polled_memory_start(memory, it);
        for (const uint32_t base : {0x01C00000u, 0x01D00000u, 0x01E00000u}) {
            for (const uint32_t mailbox : {0x0000u, 0x2000u, 0x8000u, 0x4000u}) {
                word(base + mailbox) = 2;
            }
        }
        word(0x01804000) = 0x11;
        word(0x20) = 7;
        look();
    }
    ~plain_host()
    {
        munmap(words, 0x04000000);
        card_destroy(it);
        close(fd);
    }
    plain_host(const plain_host &) = delete;
    plain_host &operator=(const plain_host &) = delete;

    uint32_t &word(uint32_t offset)
    {
        return words[offset / 4];
    }

    bool look()
    {
        return polled_memory_look(memory, it);
    }

    uint32_t interrupts()
    {
        uint32_t count = 0;
        while (card_take_interrupt(it)) {
            count++;
        }
        return count;
    }

    // Up to the offered answer with register 0x9000.
    void ask(uint32_t sirane = 0)
    {
        const uint32_t base = 0x01C00000 + sirane * 0x00100000;
        const uint32_t request[] = {9, 0x77, 4, 0, 0xFF00FF00, 0, 0, 0xFF00FFFF + (sirane << 16), 0x9000, 0};
        for (uint32_t i = 0; i < 10; i++) {
            word(base + 0x100 + 4 * i) = request[i];
        }
        word(base) = 4;
        look();
        EXPECT_EQ(word(base + 4), 4u);
        word(base) = 2;
        look();
        EXPECT_EQ(word(base + 0x2004), 4u);
    }

    void take(uint32_t sirane = 0)
    {
        const uint32_t base = 0x01C02000 + sirane * 0x00100000;
        for (const uint32_t state : {4u, 2u}) {
            word(base) = state;
            look();
            EXPECT_EQ(word(base + 4), 2u);
        }
    }

    virtual_time time;
    int fd;
    card *it = nullptr;
    uint32_t *words = nullptr;
    polled_memory memory;
};

TEST(polled_memory, a_command_is_answered)
{
    plain_host host;
    host.ask();
    EXPECT_EQ(host.word(0x01C02124), 0x51A0u);
    EXPECT_EQ(host.interrupts(), 1u);
    EXPECT_EQ(host.word(0x24), 1u);
    host.take();
    EXPECT_FALSE(host.look());
}

TEST(polled_memory, a_bit_goes_when_its_mailbox_is_served_and_not_before)
{
    plain_host host;
    host.ask();
    host.word(0x24) = 1; // a clear, which plain memory does not do
    EXPECT_FALSE(host.look());
    EXPECT_EQ(host.word(0x24), 1u);
    host.take();
    EXPECT_EQ(host.word(0x24), 0u);
    EXPECT_EQ(host.interrupts(), 1u);
    host.ask();
    EXPECT_EQ(host.word(0x24), 1u);
    EXPECT_EQ(host.interrupts(), 1u);
}

// The host clears what it read, and meanwhile the card did something.
TEST(polled_memory, a_clear_that_comes_between_is_set_right)
{
    plain_host host;
    host.ask(0);
    host.take(0);
    host.word(0x24) = 1; // read before the bit went
    host.look();
    EXPECT_EQ(host.word(0x24), 0u);
    EXPECT_EQ(host.interrupts(), 1u);

    host.ask(0);
    host.ask(1);
    EXPECT_EQ(host.interrupts(), 2u);
    host.word(0x24) = 1; // read before the second bit came
    host.look();
    EXPECT_EQ(host.word(0x24), 3u);
    EXPECT_EQ(host.interrupts(), 1u);
}

TEST(polled_memory, the_next_source_is_presented_after_the_first_one_is_served)
{
    plain_host host;
    host.ask();
    host.word(0x01C0C000) = 1024;
    host.look();
    EXPECT_EQ(host.word(0x2C), 17u);
    host.take();
    EXPECT_EQ(host.word(0x2C), 20u);
    EXPECT_EQ(host.word(0x24), 1u);
    EXPECT_EQ(host.interrupts(), 2u);
}

TEST(polled_memory, a_bit_that_is_not_served_goes_after_a_while)
{
    plain_host host;
    host.ask();
    host.time.advance(999 * MS);
    host.look();
    EXPECT_EQ(host.word(0x24), 1u);
    host.time.advance(1 * MS);
    host.look();
    EXPECT_EQ(host.word(0x24), 0u);
    EXPECT_EQ(host.word(0x01C02004), 4u); // the message stays
}

TEST(polled_memory, a_source_that_names_no_mailbox_goes_soon)
{
    plain_host host;
    std::string answer;
    EXPECT_EQ(card_verb(host.it, "spurious-interrupt 4 99", &answer), 0) << answer;
    host.look();
    EXPECT_EQ(host.word(0x24), 2u);
    EXPECT_EQ(host.word(0x30), 99u);
    host.time.advance(20 * MS);
    host.look();
    EXPECT_EQ(host.word(0x24), 0u);
    EXPECT_EQ(host.interrupts(), 1u);
}

TEST(polled_memory, a_write_that_changes_nothing_is_not_heard)
{
    plain_host host;
    host.word(0x01C0C000) = 1024;
    EXPECT_TRUE(host.look());
    host.word(0x01C0C000) = 1024;
    EXPECT_FALSE(host.look());
}

TEST(polled_memory, a_removed_card_is_looked_past)
{
    plain_host host;
    std::string answer;
    EXPECT_EQ(card_verb(host.it, "remove", &answer), 0) << answer;
    host.word(0x24) = 0xFFFFFFFF;
    host.word(0x01C00000) = 0xFFFFFFFF;
    host.look();
    EXPECT_EQ(host.word(0x24), 0xFFFFFFFFu);
    EXPECT_EQ(card_verb(host.it, "insert", &answer), 0) << answer;
    host.time.advance(1000 * MS);
    host.look();
    card_step(host.it);
    EXPECT_EQ(host.word(0x24), 0u);
    for (const uint32_t mailbox : {0x01C00000u, 0x01C02000u}) {
        host.word(mailbox) = 2;
    }
    host.look();
    host.ask();
    EXPECT_EQ(host.word(0x01C02124), 0x51A0u);
}

} // namespace
