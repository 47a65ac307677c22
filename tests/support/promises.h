// What the library keeps whatever the card, its threads and its callers do.
#ifndef TESTS_SUPPORT_PROMISES_H
#define TESTS_SUPPORT_PROMISES_H

#include <algorithm>
#include <string>

// Whether a code has a meaning: success, the library's own codes, an error word of the firmware.
bool is_documented(int32_t code);

// The locks that somebody holds: "0 command, 0 response 1, 2 requests, ".
std::string held_locks();

// Words for an operation's outputs, and words behind them that nobody may touch.
struct guarded_words {
    static constexpr uint32_t UNWRITTEN = 0x5AFE5AFE;

    alignas(8) uint32_t word[1024 + 8];

    guarded_words()
    {
        std::fill(std::begin(word), std::end(word), UNWRITTEN);
    }

    bool is_intact_behind(size_t count = 1024) const
    {
        return std::all_of(word + count, std::end(word), [](uint32_t it) { return it == UNWRITTEN; });
    }
};

#endif
