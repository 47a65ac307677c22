#include <thread>
#include <vector>

#include "card/card_host.h"

namespace {

// read_register of register 0x9010 on sirane 0, each access of the host as it goes over the bus.
TEST(handshake, one_command_register_by_register)
{
    card_host host;
    host.link_up();
    EXPECT_EQ(host.read(0x01C00004), 2u);
    const uint32_t request[] = {9, 0x77, 4, 0, 0xFF00FF00, 0, 0, 0xFF00FFFF, 0x9010, 0};
    for (uint32_t i = 0; i < 10; i++) {
        host.write(0x01C00100 + 4 * i, request[i]);
    }
    EXPECT_EQ(host.read(0x01C00004), 2u);
    host.write(0x01C00000, 4);
    EXPECT_EQ(host.read(0x01C00004), 4u);
    EXPECT_EQ(host.read(0x01C02004), 2u); // nothing is run before the host lets go
    host.write(0x01C00000, 2);
    EXPECT_EQ(host.read(0x01C00004), 2u);

    EXPECT_EQ(host.read(0x01C02004), 4u);
    const uint32_t answer[] = {9, 0x77, 4, 0, 0xFF00FF00, 0, 0, 0xFF00FFFF, 0x9010, 0x0001};
    for (uint32_t i = 0; i < 10; i++) {
        EXPECT_EQ(host.read(0x01C02100 + 4 * i), answer[i]) << i;
    }
    host.write(0x01C02000, 4);
    EXPECT_EQ(host.read(0x01C02004), 2u);
    host.write(0x01C02000, 2);
    EXPECT_EQ(host.read(0x01C02004), 2u);
    EXPECT_EQ(host.read(0x01D02004), 2u); // the other siranes said nothing
}

TEST(handshake, every_mailbox_shows_idle_from_the_start)
{
    card_host host;
    for (const uint32_t base : {0x01C00000u, 0x01D00000u, 0x01E00000u}) {
        for (const uint32_t state : {0x0004u, 0x2004u, 0x4004u, 0x8004u}) {
            EXPECT_EQ(host.read(base + state), 2u);
        }
    }
    EXPECT_EQ(host.read(0x01C0C004), 2u);
}

TEST(handshake, idle_without_a_message_runs_nothing)
{
    card_host host;
    host.link_up();
    EXPECT_EQ(host.run(10, {0, 0xFF00FFFF, 0x9010, 5}).header[5], 0u);
    host.verb("set-register 1 9010 6");
    host.write(0x01C00000, 2); // the message still lies there
    host.write(0x01C00000, 2);
    EXPECT_EQ(host.read(0x01C02004), 2u);
    EXPECT_EQ(host.register_of(0xFF00FFFF, 0x9010), 6u);
}

TEST(handshake, a_second_ready_neither_copies_nor_runs_again)
{
    card_host host;
    host.link_up();
    EXPECT_EQ(host.offer(10, {0, 0xFF00FFFF, 0x9010, 5}), 4u);
    EXPECT_EQ(host.offer(10, {0, 0xFF00FFFF, 0x9010, 7}), 4u);
    host.write(0x01C00000, 2);
    EXPECT_TRUE(host.take_answer().there);
    EXPECT_FALSE(host.take_answer().there);
    EXPECT_EQ(host.register_of(0xFF00FFFF, 0x9010), 5u);
}

TEST(handshake, commands_nobody_runs_are_refused)
{
    card_host host;
    host.link_up();
    for (const uint32_t command : {11u, 12u, 25u, 29u, 30u, 33u, 54u, 66u, 0xFFFFFFFFu}) {
        EXPECT_EQ(host.offer(command, {0, 0xFF00FFFF, 0}), 16u) << command;
        host.write(0x01C00000, 2);
        EXPECT_EQ(host.read(0x01C00004), 2u);
        EXPECT_EQ(host.read(0x01C02004), 2u);
    }
    EXPECT_EQ(host.register_of(0xFF00FFFF, 0x9010), 1u); // and the next one is served
}

TEST(handshake, a_size_beyond_the_message_area_is_refused)
{
    card_host host;
    host.link_up();
    for (const uint32_t size : {1979u, 0xFFFFFFFFu}) {
        host.write(0x01C00100, 9);
        host.write(0x01C00108, size);
        host.write(0x01C00000, 4);
        EXPECT_EQ(host.read(0x01C00004), 16u) << size;
        host.write(0x01C00000, 2);
    }
    host.write(0x01C00108, 1978);
    host.write(0x01C00000, 4);
    host.write(0x01C00000, 2);
    const card_host::received answer = host.take_answer();
    EXPECT_EQ(answer.header[2], 4u);
    EXPECT_EQ(answer.header[5], 0x80100009u);
}

TEST(handshake, answers_queue_behind_the_offered_one)
{
    card_host host;
    host.link_up();
    for (const uint32_t value : {0x11u, 0x22u}) {
        EXPECT_EQ(host.offer(10, {0, 0xFF00FFFF, 0x9010, value}), 4u);
        host.write(0x01C00000, 2);
    }
    EXPECT_EQ(host.read(0x01C02124), 0x11u);
    host.write(0x01C02000, 2); // an idle before the message was taken: it stays
    EXPECT_EQ(host.read(0x01C02004), 4u);
    host.write(0x01C02000, 4);
    EXPECT_EQ(host.read(0x01C02004), 2u); // the next one waits for the host's idle
    EXPECT_EQ(host.read(0x01C02124), 0x11u);
    host.write(0x01C02000, 2);
    EXPECT_EQ(host.read(0x01C02004), 4u);
    EXPECT_EQ(host.read(0x01C02124), 0x22u);
    host.write(0x01C02000, 16); // refused by the host: dropped
    host.write(0x01C02000, 2);
    EXPECT_EQ(host.read(0x01C02004), 2u);
}

TEST(handshake, reset_drops_what_is_offered_and_what_waits)
{
    card_host host;
    host.link_up();
    for (const uint32_t value : {0x11u, 0x22u, 0x33u}) {
        EXPECT_EQ(host.offer(10, {0, 0xFF00FFFF, 0x9010, value}), 4u);
        host.write(0x01C00000, value == 0x33 ? 0 : 2); // the last one is run by the reset
    }
    host.write(0x01C02000, 0);
    EXPECT_EQ(host.read(0x01C02004), 2u);
    EXPECT_EQ(host.run(9, {0, 0xFF00FFFF, 0x9010, 0}).there, false); // no offer while the host is at 0
    host.write(0x01C02000, 0);
    host.write(0x01C02000, 2);
    EXPECT_EQ(host.read(0x01C02004), 2u);
    EXPECT_EQ(host.register_of(0xFF00FFFF, 0x9010), 0x33u);
}

TEST(handshake, siranes_are_independent)
{
    card_host host;
    host.link_up();
    EXPECT_EQ(host.offer(9, {0, 0xFF01FFFF, 0x9030, 0}, 1), 4u);
    EXPECT_EQ(host.offer(9, {0, 0xFF02FFFF, 0x9010, 0}, 2), 4u);
    host.write(0x01E00000, 2);
    host.write(0x01D00000, 2);
    EXPECT_EQ(host.read(0x01C02004), 2u);
    EXPECT_EQ(host.take_answer(1).data.at(3), 0x3210u);
    EXPECT_EQ(host.take_answer(2).data.at(3), 0x0001u);
}

TEST(handshake, a_host_that_takes_no_answer_is_refused_in_the_end)
{
    card_host host;
    host.link_up();
    int accepted = 0;
    while (host.offer(56, {0, 1}) == 4 && accepted < 1000) {
        host.write(0x01C00000, 2);
        accepted++;
    }
    host.write(0x01C00000, 2);
    EXPECT_EQ(accepted, 65); // one is offered, 64 wait
    for (int i = 0; i < 65; i++) {
        EXPECT_TRUE(host.take_answer().there);
    }
    EXPECT_EQ(host.register_of(0xFF00FFFF, 0x9010), 1u);
}

TEST(handshake, siranes_serve_a_thread_each)
{
    card_host host;
    host.link_up();
    host.enable_interrupts();
    std::vector<std::thread> threads;
    for (uint32_t sirane = 0; sirane < 3; sirane++) {
        threads.emplace_back([&host, sirane] {
            const uint32_t address = 0xFF00FFFF | sirane << 16;
            for (uint32_t i = 0; i < 200; i++) {
                host.run(10, {0, address, 0x9018, i}, sirane);
                const card_host::received answer = host.run(9, {0, address, 0x9018, 0}, sirane);
                EXPECT_EQ(answer.data.at(3), i);
                host.write(0x24, 1u << sirane);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(host.interrupted());
}

TEST(handshake, keep_alive_echoes_the_last_token)
{
    card_host host;
    host.write(0x01C0C008, 0x17000001);
    EXPECT_EQ(host.read(0x01C0C00C), 0x17000001u);
    host.write(0x01C0C008, 2);
    EXPECT_EQ(host.read(0x01C0C00C), 0x17000001u);
    host.write(0x01C0C008, 0x17000000);
    EXPECT_EQ(host.read(0x01C0C00C), 0x17000000u);
}

TEST(handshake, dap_follows_every_reset_and_goes_idle)
{
    card_host host;
    host.enable_interrupts();
    for (int i = 0; i < 2; i++) {
        host.write(0x01C0C000, 1024);
        EXPECT_EQ(host.read(0x01C0C004), 1024u);
        EXPECT_TRUE(host.interrupted());
        EXPECT_EQ(host.read(0x2C), 20u);
        host.write(0x24, 1);
    }
    host.write(0x01C0C000, 2);
    EXPECT_EQ(host.read(0x01C0C004), 2u);
    EXPECT_FALSE(host.interrupted());
}

} // namespace
