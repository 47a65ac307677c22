#include "platform/simulated_uio_queue.h"

#include <atomic>
#include <memory>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using write = std::pair<uint32_t, uint32_t>; // offset, value

class simulated_uio_queue : public testing::Test {
  protected:
    simulated_uio_queue()
    {
        control->posted_count = 2;
        control->posted_offset[0] = 0x10;
        control->posted_offset[1] = 0x20;
        simulated_uio_reader_init(&reader, control.get());
    }

    bool post(uint32_t index, uint32_t value)
    {
        return simulated_uio_post(control.get(), index, value, &gone);
    }

    std::vector<write> pop_all(uint64_t now_ns)
    {
        std::vector<write> taken;
        write next;
        while (simulated_uio_pop(&reader, now_ns, &next.first, &next.second)) {
            taken.push_back(next);
        }
        return taken;
    }

    // The thread that posts has got as far as drawing its ticket.
    void await_tail(uint64_t tail)
    {
        while (__atomic_load_n(&control->tail, __ATOMIC_RELAXED) < tail) {
            std::this_thread::yield();
        }
    }

    std::unique_ptr<simulated_uio_control> control = std::make_unique<simulated_uio_control>();
    simulated_uio_reader reader{};
    uint32_t gone = 0;
};

TEST_F(simulated_uio_queue, keeps_order_and_repeated_values)
{
    for (const auto &[index, value] : {write{0, 4}, {0, 4}, {1, 2}, {0, 0}, {1, 0xFFFFFFFF}, {1, 2}}) {
        EXPECT_TRUE(post(index, value));
    }
    EXPECT_EQ(pop_all(0), (std::vector<write>{
                              {0x10, 4}, {0x10, 4}, {0x20, 2}, {0x10, 0}, {0x20, 0xFFFFFFFF}, {0x20, 2}}));
    EXPECT_EQ(pop_all(0), std::vector<write>{});
}

TEST_F(simulated_uio_queue, gives_up_all_dead_writers_after_one_span_of_patience)
{
    control->tail = 3; // three tickets whose writers died
    EXPECT_TRUE(post(0, 7));
    EXPECT_EQ(pop_all(1000), std::vector<write>{});
    EXPECT_EQ(pop_all(20000999), std::vector<write>{});
    EXPECT_EQ(pop_all(20001000), (std::vector<write>{{0x10, 7}}));

    control->tail++; // one that dies later has a span of its own
    EXPECT_EQ(pop_all(30000000), std::vector<write>{});
    EXPECT_TRUE(post(0, 8));
    EXPECT_EQ(pop_all(49999999), std::vector<write>{});
    EXPECT_EQ(pop_all(50000000), (std::vector<write>{{0x10, 8}}));
}

TEST_F(simulated_uio_queue, a_writer_that_was_given_up_draws_another_ticket)
{
    control->tail = 1;
    EXPECT_EQ(pop_all(0), std::vector<write>{});
    EXPECT_EQ(pop_all(20000000), std::vector<write>{});
    control->tail = 0; // as if the writer drew ticket 0 long ago and comes only now
    EXPECT_TRUE(post(1, 9));
    EXPECT_EQ(control->tail, 2u);
    EXPECT_EQ(pop_all(20000000), (std::vector<write>{{0x20, 9}}));
}

TEST_F(simulated_uio_queue, passes_the_end_of_the_lap_count)
{
    constexpr uint64_t last = (uint64_t{1} << 34) - 1; // the last ticket of lap 2^24 - 1
    reader.head = control->tail = last - 1;
    for (uint64_t &slot : control->slot) {
        slot = 0; // lap 0 of the next round
    }
    control->slot[1022] = control->slot[1023] = 0xFFFFFF0000000000;
    for (uint32_t value = 1; value <= 4; value++) {
        EXPECT_TRUE(post(0, value));
    }
    EXPECT_EQ(pop_all(0), (std::vector<write>{{0x10, 1}, {0x10, 2}, {0x10, 3}, {0x10, 4}}));
}

TEST_F(simulated_uio_queue, a_full_queue_holds_its_writer_until_there_is_room)
{
    for (uint32_t value = 0; value < 1024; value++) {
        ASSERT_TRUE(post(0, value));
    }
    std::atomic<bool> done = false;
    std::thread writer([&] {
        EXPECT_TRUE(post(1, 5));
        done = true;
    });
    await_tail(1025);
    EXPECT_FALSE(done);
    write first;
    EXPECT_TRUE(simulated_uio_pop(&reader, 0, &first.first, &first.second));
    EXPECT_EQ(first, (write{0x10, 0}));
    writer.join();
    const auto rest = pop_all(0);
    ASSERT_EQ(rest.size(), 1024u);
    EXPECT_EQ(rest[1022], (write{0x10, 1023}));
    EXPECT_EQ(rest[1023], (write{0x20, 5}));
}

TEST_F(simulated_uio_queue, a_full_queue_lets_go_of_its_writer_when_the_card_is_gone)
{
    for (uint32_t *word : {&gone, &control->removed}) {
        control->tail = 0;
        for (uint64_t ticket = 0; ticket < 1024; ticket++) {
            control->slot[ticket] = 0;
            ASSERT_TRUE(post(0, 1));
        }
        std::thread writer([&] { EXPECT_FALSE(post(0, 2)); });
        await_tail(1025);
        __atomic_store_n(word, 1, __ATOMIC_RELAXED);
        writer.join();
        EXPECT_FALSE(post(0, 3));
        *word = 0;
    }
}

TEST_F(simulated_uio_queue, a_word_that_names_no_posted_register_is_thrown_away)
{
    control->slot[0] = 0x0000000300000007; // index 2 of 2
    control->slot[1] = 0x0000050100000007; // lap 5
    control->tail = 2;
    EXPECT_TRUE(post(0, 8));
    EXPECT_EQ(pop_all(0), (std::vector<write>{{0x10, 8}}));
}

TEST_F(simulated_uio_queue, survives_a_page_full_of_rubbish)
{
    std::mt19937_64 random(1);
    for (int round = 0; round < 20; round++) {
        for (uint64_t &slot : control->slot) {
            slot = random() & (round % 2 ? ~uint64_t{0} : 0x000000FFFFFFFFFF);
        }
        control->tail = random();
        control->posted_count = static_cast<uint32_t>(random());
        write taken;
        for (int looks = 0; looks < 20; looks++) {
            if (simulated_uio_pop(&reader, random(), &taken.first, &taken.second)) {
                EXPECT_TRUE(taken.first == 0x10 || taken.first == 0x20 || taken.first == 0);
            }
        }
    }
}

TEST_F(simulated_uio_queue, sleep_ends_for_what_came_before_it)
{
    EXPECT_TRUE(post(0, 1));
    simulated_uio_sleep(&reader, UINT64_MAX); // would never return
    EXPECT_EQ(pop_all(0).size(), 1u);
    simulated_uio_wake(control.get());
    simulated_uio_sleep(&reader, UINT64_MAX);
    EXPECT_EQ(control->asleep, 0u);
}

// Each writer waits now and then until its word is taken, so that the card falls asleep often and every
// lost wake-up would hang the test.
TEST_F(simulated_uio_queue, loses_nothing_between_many_writers_and_a_sleeping_card)
{
    constexpr uint32_t writers = 4, words = 5000;
    std::atomic<uint32_t> next[writers] = {};
    std::vector<std::thread> threads;
    for (uint32_t writer = 0; writer < writers; writer++) {
        threads.emplace_back([&, writer] {
            for (uint32_t number = 0; number < words; number++) {
                EXPECT_TRUE(post(writer % 2, writer << 16 | number));
                while (number % 64 == 0 && next[writer] <= number) {
                    std::this_thread::yield();
                }
            }
        });
    }
    for (uint32_t taken = 0; taken < writers * words;) {
        write one;
        if (simulated_uio_pop(&reader, 0, &one.first, &one.second)) { // no clock: no ticket is given up
            const uint32_t writer = one.second >> 16;
            ASSERT_LT(writer, writers);
            ASSERT_EQ(one.second & 0xFFFF, next[writer]++);
            ASSERT_EQ(one.first, writer % 2 ? 0x20u : 0x10u);
            taken++;
        } else {
            simulated_uio_sleep(&reader, UINT64_MAX);
        }
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

} // namespace
