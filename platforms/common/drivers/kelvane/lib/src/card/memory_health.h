// The card's table of memory errors and of upsets in its programmable logic.
#ifndef CARD_MEMORY_HEALTH_H
#define CARD_MEMORY_HEALTH_H

#include <cstdint>

#include "kelvane.h"
#include "kelvane_bar.h"

enum ddr_info_word : uint32_t {
    DDR_UNCORRECTABLE_FLAG = 0,
    DDR_CORRECTABLE_COUNTER = 1,
    DDR_UNCORRECTABLE_COUNTER = 2,
    DDR_UPSET_STATE = 3, // a mark, see kelvane_bar.h
    DDR_UPSET_COUNTER = 4,
};

struct ddr_info_table {
    uint32_t word[DDR_INFO_WORDS];
};

// KELVANE_EOK or KELVANE_RET_CODE_DEVICE_UNAVAILABLE.
int32_t kelvane_get_ddr_info_table(kelvane_handle handle, ddr_info_table *table);

#endif
