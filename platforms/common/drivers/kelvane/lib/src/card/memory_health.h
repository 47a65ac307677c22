// The card's table of memory errors and upsets of its programmable logic.
#ifndef CARD_MEMORY_HEALTH_H
#define CARD_MEMORY_HEALTH_H

#include <cstdint>

#include "kelvane.h"
#include "kelvane_bar.h"

struct ddr_info_table {
    uint32_t word[DDR_INFO_WORDS];
};

// 0 or 64174.
int32_t kelvane_get_ddr_info_table(kelvane_handle handle, ddr_info_table *table);

#endif
