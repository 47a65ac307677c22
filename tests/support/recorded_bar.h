// A card made of plain words, for tests that say register by register what the card shows: every access
// is recorded, words can be scripted, and accesses can be made to fail.
#ifndef TESTS_SUPPORT_RECORDED_BAR_H
#define TESTS_SUPPORT_RECORDED_BAR_H

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "kelvane.h"

struct recorded_bar {
    std::map<uint32_t, uint32_t> word;                    // what a read gives; written words land here
    std::map<uint32_t, std::deque<uint32_t>> next_values; // given one by one before `word` is
    std::vector<uint32_t> check_alive;                    // of each access since they were told last
    bool record = true;

    // The words from 0x02000000 on, when there are any: quicker than `word`, and never recorded. Behind them
    // a read gives all ones.
    std::vector<uint32_t> memory;
    uint32_t failing_offset = 1; // reads of this word fail

    // Called after each write, as the firmware would see it.
    std::function<void(uint32_t offset, uint32_t value)> on_write;

    // Access number fail_from (from 1) and the fail_count - 1 behind it fail.
    uint64_t fail_from = 0;
    uint64_t fail_count = 1;
    uint64_t access_number = 0;

    int32_t access(bool write, uint32_t offset, uint32_t *value, uint32_t alive);

    // The accesses since the last call on one line, hexadecimal: "r1c00004 w1c00100=9,1234,ffffffff*4
    // r1c02100+10". Writes to words that lie one behind the other stand behind one '=', a value that comes
    // again with its count; such reads with their count behind a '+'.
    std::string told();

  private:
    struct recorded_access {
        bool write;
        uint32_t offset;
        uint32_t value;
    };
    std::vector<recorded_access> accesses_;
};

// The card that the callbacks below reach; one a test.
extern recorded_bar the_bar;

// An init-device record with the two word callbacks on the_bar and no block callbacks.
kelvane_init_device_t recorded_bar_device(void);

#endif
