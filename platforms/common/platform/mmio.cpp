#include "platform/mmio.h"

#include "platform/simulated_uio_client.h"

// A relaxed atomic access through a volatile pointer is the one plain load or store that a device wants.
// The memory of a simulated card needs the order that the bus keeps by itself, hence acquire and release.

namespace {

constexpr uint32_t ALL_ONES = 0xFFFFFFFF;

bool beyond(const mmio_mapping *mapping, uint32_t offset)
{
    return offset % 4 != 0 || offset >= mapping->size || mapping->size - offset < 4;
}

} // namespace

uint32_t mmio_read32(const mmio_mapping *mapping, uint32_t offset)
{
    if (beyond(mapping, offset)) {
        return ALL_ONES;
    }
    const volatile uint32_t *word = mapping->base + offset / 4;
    if (mapping->simulated == nullptr) {
        return __atomic_load_n(word, __ATOMIC_RELAXED);
    }
    return simulated_mapping_gone(mapping->simulated) ? ALL_ONES : __atomic_load_n(word, __ATOMIC_ACQUIRE);
}

void mmio_write32(const mmio_mapping *mapping, uint32_t offset, uint32_t value)
{
    if (beyond(mapping, offset)) {
        return;
    }
    volatile uint32_t *word = mapping->base + offset / 4;
    if (mapping->simulated == nullptr) {
        __atomic_store_n(word, value, __ATOMIC_RELAXED);
    } else if (simulated_mapping_gone(mapping->simulated)) {
        return;
    } else if (simulated_mapping_special(mapping->simulated, offset)) {
        simulated_mapping_write_special(mapping->simulated, word, offset, value);
    } else {
        __atomic_store_n(word, value, __ATOMIC_RELEASE);
    }
}
