#include "platform/mmio.h"

#include <bit>

#include "platform/recorder.h"
#include "platform/simulated_mmio.h"

// A relaxed atomic access through a volatile pointer is the one plain load or store that a device wants.

namespace {

// Rotated, so that the low bits of an offset that is no multiple of 4 make an index beyond any mapping.
uint32_t word_index(uint32_t offset)
{
    return std::rotr(offset, 2);
}

// Beside the path that costs nothing: a simulated card, a recording, or nothing there.

bool answers(const mmio_mapping *mapping, uint32_t word)
{
    return mapping->simulated != nullptr ? simulated_mmio_answers(mapping, word)
                                         : word < mapping->size_bytes / 4;
}

uint32_t other_read(const mmio_mapping *mapping, uint32_t word, uint32_t offset)
{
    const bool answered = answers(mapping, word);
    uint32_t value = MMIO_ALL_ONES;
    if (answered) {
        value = mapping->simulated != nullptr ? simulated_mmio_read32(mapping, word)
                                              : __atomic_load_n(mapping->base + word, __ATOMIC_RELAXED);
    }
    if (recorder_is_on()) {
        recorder_read(offset, value, answered);
    }
    return value;
}

void other_write(const mmio_mapping *mapping, uint32_t word, uint32_t offset, uint32_t value)
{
    const bool answered = answers(mapping, word);
    if (recorder_is_on()) {
        recorder_write(offset, value, answered);
    }
    if (answered && mapping->simulated != nullptr) {
        simulated_mmio_write32(mapping, word, value);
    } else if (answered) {
        __atomic_store_n(mapping->base + word, value, __ATOMIC_RELAXED);
    }
}

} // namespace

uint32_t mmio_read32(const mmio_mapping *mapping, uint32_t offset)
{
    const uint32_t word = word_index(offset);
    if (word < mapping->device_words) [[likely]] {
        return __atomic_load_n(mapping->base + word, __ATOMIC_RELAXED);
    }
    return other_read(mapping, word, offset);
}

void mmio_write32(const mmio_mapping *mapping, uint32_t offset, uint32_t value)
{
    const uint32_t word = word_index(offset);
    if (word < mapping->device_words) [[likely]] {
        __atomic_store_n(mapping->base + word, value, __ATOMIC_RELAXED);
    } else {
        other_write(mapping, word, offset, value);
    }
}
