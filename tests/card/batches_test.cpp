#include <algorithm>

#include "card/card_host.h"
#include "support/virtual_time.h"

namespace {

constexpr uint64_t SECOND = 1000000000;
constexpr uint32_t BATCHES = 0x8000;

struct batches : testing::Test {
    virtual_time time;

    static void subscribe(card_host &host, uint32_t enable, uint32_t reference, uint32_t sirane = 0)
    {
        std::vector<uint32_t> request(116, 0);
        request[1] = 0xFF00FFFF + sirane * 0x10000;
        request[2] = enable;
        host.reference = reference;
        host.send(24, request, sirane, 13);
    }

    void pass(card_host &host, uint64_t nanoseconds)
    {
        time.advance(nanoseconds);
        card_step(host.it);
    }

    // The numbers of the batches that wait.
    static std::vector<uint32_t> numbers(card_host &host, uint32_t sirane = 0)
    {
        std::vector<uint32_t> taken;
        for (auto got = host.take(BATCHES, sirane); got.there; got = host.take(BATCHES, sirane)) {
            EXPECT_EQ(got.data.at(115), 0u);
            taken.push_back(got.data.at(114));
        }
        return taken;
    }
};

using list = std::vector<uint32_t>;

TEST_F(batches, a_batch_is_the_record_of_its_moment_with_a_number)
{
    struct layout {
        card_options options;
        uint32_t words;
        uint32_t version;
        uint32_t record_words;
    };
    for (const layout &it :
         {layout{{5, 22}, 116, 1, 110}, layout{{4, 1}, 116, 1, 110}, layout{{4, 0}, 96, 0, 90}}) {
        card_host host(it.options);
        host.link_up();
        EXPECT_EQ(host.error_of(2, {0, 0xFF0100FF, 1, 0}), 0u);
        subscribe(host, 1, 0xABCD, 1);
        pass(host, 10 * SECOND);
        list record = host.run(
                              23,
                              [] {
                                  list request(112, 0);
                                  request[1] = 0xFF01FFFF;
                                  return request;
                              }(),
                              1)
                          .data;
        const list words = host.take_words(BATCHES, 1);
        list expected = {24, 0xABCD, it.words, it.version, 13, 0, 0, 0xFF01FFFF, 1, 0};
        expected.insert(expected.end(), record.begin() + 2, record.begin() + 2 + it.record_words);
        expected.insert(expected.end(), {1, 0});
        EXPECT_EQ(words, expected);
        EXPECT_GT(std::ranges::count_if(words, [](uint32_t word) { return word != 0; }), 40);
    }
}

TEST_F(batches, they_come_at_each_end_of_the_interval)
{
    card_host host;
    host.link_up();
    subscribe(host, 1, 1);
    pass(host, 10 * SECOND - 1);
    EXPECT_EQ(numbers(host), list{});
    pass(host, 1);
    EXPECT_EQ(numbers(host), list{1});
    EXPECT_EQ(host.error_of(18, {0, 0xFF00FFFF, 2}), 0u);
    for (const uint32_t number : {2u, 3u}) {
        pass(host, 2 * SECOND);
        EXPECT_EQ(numbers(host), list{number});
    }
    EXPECT_EQ(host.error_of(18, {0, 0xFF00FFFF, 0}), 0u); // 10 s
    pass(host, 9 * SECOND);
    EXPECT_EQ(numbers(host), list{});
    pass(host, 1 * SECOND + SECOND / 2); // late: the next ones come at the old moments
    pass(host, 9 * SECOND + SECOND / 2);
    EXPECT_EQ(numbers(host), (list{4, 5}));
    host.verb("batch-interval 5");
    pass(host, SECOND / 200);
    EXPECT_EQ(numbers(host), list{6});
}

TEST_F(batches, a_new_enable_begins_a_new_sequence_and_a_disable_ends_it)
{
    card_host host;
    host.link_up();
    host.verb("batch-interval 1000");
    subscribe(host, 1, 0x11);
    subscribe(host, 1, 0x21, 2);
    pass(host, SECOND);
    pass(host, SECOND);
    subscribe(host, 1, 0x12);
    EXPECT_EQ(numbers(host), (list{1, 2})); // they waited
    pass(host, SECOND);
    const auto renewed = host.take(BATCHES);
    EXPECT_EQ(renewed.header[1], 0x12u);
    EXPECT_EQ(renewed.data.at(114), 1u);
    EXPECT_EQ(numbers(host, 2), (list{1, 2, 3}));
    EXPECT_EQ(numbers(host, 1), list{});
    subscribe(host, 0, 0x13);
    pass(host, SECOND);
    EXPECT_EQ(numbers(host), list{});
    EXPECT_FALSE(host.take_answer().there);
    EXPECT_EQ(numbers(host, 2), list{4});
}

TEST_F(batches, none_is_overwritten_and_a_full_queue_drops_the_newest)
{
    card_host host;
    host.link_up();
    host.verb("batch-interval 1");
    subscribe(host, 1, 1);
    for (int i = 0; i < 70; i++) {
        pass(host, SECOND / 1000);
    }
    EXPECT_NE(host.verb("show").find("5 messages lost for want of room"), std::string::npos);
    const list taken = numbers(host);
    ASSERT_EQ(taken.size(), 65u);
    EXPECT_EQ(taken.front(), 1u);
    EXPECT_EQ(taken.back(), 65u);
    pass(host, SECOND / 1000);
    EXPECT_EQ(numbers(host), list{71});
}

TEST_F(batches, a_skipped_one_leaves_a_gap_and_a_hang_none)
{
    card_host host;
    host.link_up();
    host.verb("batch-interval 1000");
    subscribe(host, 1, 1);
    host.verb("skip-batch 2");
    for (int i = 0; i < 4; i++) {
        pass(host, SECOND);
    }
    EXPECT_EQ(numbers(host), (list{3, 4}));
    host.verb("hang");
    pass(host, 10 * SECOND);
    EXPECT_EQ(numbers(host), list{});
    host.verb("resume");
    EXPECT_EQ(numbers(host), list{5});
    pass(host, SECOND - 1);
    EXPECT_EQ(numbers(host), list{});
    host.verb("corrupt-notice ref_id 77");
    pass(host, 1);
    EXPECT_EQ(host.take(BATCHES).header[1], 0x77u);
    host.verb("restart");
    pass(host, 10 * SECOND);
    pass(host, 10 * SECOND);
    EXPECT_EQ(numbers(host), list{}); // the restart forgot who wanted them
}

} // namespace
