#include "platform/mmio.h"

#include <bit>

#include "platform/simulated_mmio.h"

// A relaxed atomic access through a volatile pointer is the one plain load or store that a device wants.

namespace {

// Rotated, so that the low bits of an offset that is no multiple of 4 make an index beyond any mapping.
uint32_t word_index(uint32_t offset)
{
    return std::rotr(offset, 2);
}

} // namespace

uint32_t mmio_read32(const mmio_mapping *mapping, uint32_t offset)
{
    const uint32_t word = word_index(offset);
    if (word < mapping->device_words) [[likely]] {
        return __atomic_load_n(mapping->base + word, __ATOMIC_RELAXED);
    }
    return mapping->simulated != nullptr ? simulated_mmio_read32(mapping, word) : MMIO_ALL_ONES;
}

void mmio_write32(const mmio_mapping *mapping, uint32_t offset, uint32_t value)
{
    const uint32_t word = word_index(offset);
    if (word < mapping->device_words) [[likely]] {
        __atomic_store_n(mapping->base + word, value, __ATOMIC_RELAXED);
    } else if (mapping->simulated != nullptr) {
        simulated_mmio_write32(mapping, word, value);
    }
}
