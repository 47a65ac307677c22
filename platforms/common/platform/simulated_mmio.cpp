#include "platform/simulated_mmio.h"

#include "platform/simulated_uio_client.h"
#include "platform/simulated_uio_queue.h"

// The memory needs the order that a bus keeps by itself, hence acquire and release.

namespace {

bool on_special_page(const simulated_mapping *mapping, uint32_t offset)
{
    const uint32_t page = offset / SIMULATED_PAGE_BYTES;
    return (mapping->special_page[page / 64] >> (page % 64) & 1) != 0;
}

void post(simulated_mapping *mapping, uint32_t offset, uint32_t value)
{
    for (uint32_t i = 0; i < mapping->posted_count; i++) {
        if (mapping->posted_offset[i] == offset) {
            simulated_uio_post(mapping->control, i, value, &mapping->gone);
            return;
        }
    }
}

} // namespace

bool simulated_mmio_answers(const mmio_mapping *mapping, uint32_t word)
{
    return word < mapping->size_bytes / 4 &&
           __atomic_load_n(&mapping->simulated->gone, __ATOMIC_RELAXED) == 0 &&
           __atomic_load_n(&mapping->simulated->control->removed, __ATOMIC_RELAXED) == 0;
}

uint32_t simulated_mmio_read32(const mmio_mapping *mapping, uint32_t word)
{
    return __atomic_load_n(mapping->base + word, __ATOMIC_ACQUIRE);
}

void simulated_mmio_write32(const mmio_mapping *mapping, uint32_t word, uint32_t value)
{
    const uint32_t offset = 4 * word;
    if (offset == mapping->simulated->clear_on_one_offset) {
        __atomic_fetch_and(mapping->base + word, ~value, __ATOMIC_ACQ_REL);
    } else {
        __atomic_store_n(mapping->base + word, value, __ATOMIC_RELEASE);
    }
    if (on_special_page(mapping->simulated, offset)) {
        post(mapping->simulated, offset, value);
    }
}
