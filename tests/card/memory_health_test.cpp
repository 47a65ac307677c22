#include "card/card_host.h"
#include "support/virtual_time.h"

namespace {

constexpr uint64_t MINUTE = 60000000000;

std::vector<uint32_t> table(const card_host &host)
{
    std::vector<uint32_t> words;
    for (uint32_t i = 0; i < 8; i++) {
        words.push_back(host.read(0x01F04F00 + 4 * i));
    }
    return words;
}

using words = std::vector<uint32_t>;

TEST(memory_health, counters_move_slowly_by_themselves)
{
    virtual_time time;
    card_host host;
    EXPECT_EQ(table(host), (words{0, 0, 0, 0x2233EEAA, 0, 0, 0, 0}));
    for (int i = 0; i < 90; i++) {
        time.advance(MINUTE);
        card_step(host.it);
    }
    EXPECT_EQ(table(host), (words{0, 12, 0, 0x2233EEAA, 2, 0, 0, 0}));
}

TEST(memory_health, the_operator_brings_errors_about)
{
    struct step {
        const char *line;
        words then;
    };
    const step STEPS[] = {
        {"upset correctable", {0, 0, 0, 0x2233EEAA, 1, 0, 0, 0}},
        {"upset uncorrectable", {0, 0, 0, 0xBBCC0066, 1, 0, 0, 0}},
        {"memory-error", {0, 1, 0, 0xBBCC0066, 1, 0, 0, 0}},
        {"memory-error uncorrectable", {1, 1, 1, 0xBBCC0066, 1, 0, 0, 0}},
        {"hang", {1, 1, 1, 0xBBCC0066, 1, 0, 0, 0}},
        {"upset clear", {1, 1, 1, 0xBBCC0066, 1, 0, 0, 0}},
        {"resume", {1, 1, 1, 0x2233EEAA, 1, 0, 0, 0}},
        {"upset uncorrectable", {1, 1, 1, 0xBBCC0066, 1, 0, 0, 0}},
    };
    virtual_time time;
    card_host host;
    for (const step &it : STEPS) {
        host.verb(it.line);
        EXPECT_EQ(table(host), it.then) << it.line;
    }
    host.refused_verb("upset");
    host.refused_verb("upset down");
    host.refused_verb("memory-error twice");
    for (const auto &[line, state] :
         {std::pair("restart", 0xBBCC0066u), std::pair("restart cold", 0x2233EEAAu)}) {
        host.verb(line);
        time.advance(MINUTE);
        card_step(host.it);
        EXPECT_EQ(table(host), (words{0, 0, 0, state, 0, 0, 0, 0})) << line;
    }
}

} // namespace
