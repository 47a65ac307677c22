// A card whose firmware does what the bytes of an input say at each access of the host.
//
// A zero byte is the firmware as it should be: it takes a command, answers it, echoes the keep-alive token,
// has no interrupt pending. Other bytes put any value in the place of the right one. After a number of
// accesses every access fails, so that the long waits, which are minutes of polls, end.
#ifndef FUZZ_FIRMWARE_CARD_H
#define FUZZ_FIRMWARE_CARD_H

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "fuzz_input.h"
#include "kelvane.h"

struct firmware_card {
    fuzz_input *input;
    uint32_t accesses;
    uint32_t failing_access; // 0: none
    uint32_t firmware_version;
    uint8_t table_kind;
    bool removed;                                // all ones from everywhere
    bool forgets_writes;                         // outside the mailboxes
    std::unordered_map<uint32_t, uint32_t> word; // what is right at an offset
    uint32_t wrong_header_words;                 // bits; of the message being read
    uint8_t data_kind;                           // of the same
    std::vector<uint32_t> shown_results;         // result words of the answers read so far
};

extern firmware_card the_card;

// A card fresh from the start, with its version and tables from the first bytes.
void card_start(fuzz_input *input);

// Puts a message of the firmware's own on offer; all of it from the bytes.
void card_offer_message(void);

kelvane_init_device_t card_device(void);

#endif
