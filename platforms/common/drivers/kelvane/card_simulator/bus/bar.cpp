#include "card_simulator/bus/bar.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <sys/mman.h>

#include "card_simulator/bus/mailbox_map.h"
#include "kelvane_bar.h"

namespace {

constexpr uint32_t CARD_REGISTERS[] = {
    DAP_REGISTERS.resp_reg_to_write,
    KEEP_ALIVE_REGISTERS.resp_reg_to_write,
    MSI_ENABLE_REG,
    MSI_STATUS_REG,
    GLOBAL_IRQ_ENABLE_REG,
    TRIGGER_RESET_REG,
};
constexpr size_t POSTED_COUNT = SIRANE_COUNT * std::size(SIRANE_MAILBOXES) + std::size(CARD_REGISTERS);

constexpr std::array<uint32_t, POSTED_COUNT> posted_registers()
{
    std::array<uint32_t, POSTED_COUNT> registers{};
    size_t count = 0;
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        for (const uint32_t mbox : SIRANE_MAILBOXES) {
            registers[count++] = mbox_registers_of(sirane_id, mbox).resp_reg_to_write;
        }
    }
    for (const uint32_t offset : CARD_REGISTERS) {
        registers[count++] = offset;
    }
    return registers;
}

constexpr std::array<uint32_t, POSTED_COUNT> POSTED = posted_registers();

uint32_t *word_at(const bar &bar, uint32_t offset)
{
    return bar.words + offset / sizeof(uint32_t);
}

} // namespace

int32_t bar_map(bar &bar, int memory_fd)
{
    const int flags = memory_fd < 0 ? MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE : MAP_SHARED;
    void *memory = mmap(nullptr, BAR_BYTES, PROT_READ | PROT_WRITE, flags, memory_fd, 0);
    if (memory == MAP_FAILED) {
        return errno;
    }
    bar.words = static_cast<uint32_t *>(memory);
    bar.shared = memory_fd >= 0;
    return 0;
}

void bar_unmap(bar &bar)
{
    if (bar.words != nullptr) {
        munmap(bar.words, BAR_BYTES);
        bar.words = nullptr;
    }
}

void bar_clear(bar &bar)
{
    if (madvise(bar.words, BAR_BYTES, bar.shared ? MADV_REMOVE : MADV_DONTNEED) != 0) {
        for (uint32_t offset = 0; offset < BAR_BYTES; offset += sizeof(uint32_t)) {
            bar_write(bar, offset, 0);
        }
    }
}

// The orders matter between processes: who sees a state sees the message that was written before it.
uint32_t bar_read(const bar &bar, uint32_t offset)
{
    return __atomic_load_n(word_at(bar, offset), __ATOMIC_ACQUIRE);
}

void bar_write(bar &bar, uint32_t offset, uint32_t value)
{
    __atomic_store_n(word_at(bar, offset), value, __ATOMIC_RELEASE);
}

void bar_set_bits(bar &bar, uint32_t offset, uint32_t bits)
{
    __atomic_fetch_or(word_at(bar, offset), bits, __ATOMIC_ACQ_REL);
}

void bar_clear_bits(bar &bar, uint32_t offset, uint32_t bits)
{
    __atomic_fetch_and(word_at(bar, offset), ~bits, __ATOMIC_ACQ_REL);
}

uint32_t bar_host_read(const bar &bar, uint32_t offset)
{
    if (!bar_holds(offset) || bar.removed.load(std::memory_order_relaxed)) {
        return PCI_ALL_ONES;
    }
    return bar_read(bar, offset);
}

bool bar_host_write(bar &bar, uint32_t offset, uint32_t value)
{
    if (!bar_holds(offset) || bar.removed.load(std::memory_order_relaxed)) {
        return false;
    }
    if (offset == MSI_STATUS_REG) {
        bar_clear_bits(bar, offset, value);
    } else {
        bar_write(bar, offset, value);
    }
    return bar_posts(offset);
}

bool bar_holds(uint32_t offset)
{
    return offset < BAR_BYTES && offset % sizeof(uint32_t) == 0;
}

bool bar_posts(uint32_t offset)
{
    return std::ranges::find(POSTED, offset) != POSTED.end();
}

std::span<const uint32_t> bar_posted_registers()
{
    return POSTED;
}
