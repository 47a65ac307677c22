#include "benchmarks/library/bench_card.h"

#include <cstdlib>

#include "benchmarks/figures.h"
#include "core/handle.h"
#include "core/trace/trace.h"
#include "kelvane_bar.h"
#include "kelvane_mbox.h"
#include "lifecycle/driver.h"

namespace {

constexpr mbox_registers COMMAND = mbox_registers_of(0, MBOX_COMMAND);
constexpr mbox_registers RESPONSE = mbox_registers_of(0, MBOX_RESPONSE);
constexpr mbox_registers ALARMS = mbox_registers_of(0, MBOX_ALARM);
constexpr mbox_registers KEEP_ALIVE = mbox_registers_of(0, MBOX_KEEP_ALIVE);
constexpr uint32_t SIRANE_STRIDE = mbox_registers_of(1, MBOX_COMMAND).waiting_reg - COMMAND.waiting_reg;
constexpr uint32_t SIZE_WORD = 8; // offset in a header

std::atomic<uint32_t> *words;

// `base` leads from sirane 0 to the one that is meant.
void answer(uint32_t base)
{
    const uint32_t command = bench_word(base + COMMAND.mailbox_addr);
    if (command == CMD_ENABLE_PM_NOTIFY || command == CMD_ENABLE_ALARMS_NOTIFY) {
        return; // their answers would be the messages that they ask for
    }
    const uint32_t bytes = MBOX_HEADER_BYTES + 4 * bench_word(base + COMMAND.mailbox_addr + SIZE_WORD);
    for (uint32_t at = 0; at < bytes; at += 4) {
        bench_word(base + RESPONSE.mailbox_addr + at) =
            bench_word(base + COMMAND.mailbox_addr + at).load(std::memory_order_relaxed);
    }
    bench_word(base + RESPONSE.waiting_reg) = MBOX_STATE_READY;
}

void host_wrote(uint32_t offset, uint32_t value)
{
    const uint32_t base = (offset - COMMAND.resp_reg_to_write) / SIRANE_STRIDE * SIRANE_STRIDE;
    const uint32_t at_sirane_0 = offset - base;
    if (at_sirane_0 == COMMAND.resp_reg_to_write && value == MBOX_STATE_READY) {
        bench_word(base + COMMAND.waiting_reg) = MBOX_STATE_READY;
    } else if (at_sirane_0 == COMMAND.resp_reg_to_write &&
               bench_word(base + COMMAND.waiting_reg) == MBOX_STATE_READY) {
        bench_word(base + COMMAND.waiting_reg) = MBOX_STATE_IDLE;
        answer(base);
    } else if (at_sirane_0 == RESPONSE.resp_reg_to_write && value == MBOX_STATE_READY) {
        bench_word(base + RESPONSE.waiting_reg) = MBOX_STATE_IDLE;
    } else if (at_sirane_0 == ALARMS.resp_reg_to_write && value == MBOX_STATE_READY) {
        bench_word(base + ALARMS.waiting_reg) = MBOX_STATE_IDLE;
    } else if (offset == KEEP_ALIVE.resp_reg_to_write) {
        bench_word(KEEP_ALIVE.waiting_reg) = value;
    }
}

} // namespace

std::atomic<uint32_t> &bench_word(uint32_t offset)
{
    return words[offset / 4];
}

int32_t bench_read(kelvane_handle, uint32_t, uint32_t offset, uint32_t *value, uint32_t)
{
    *value = bench_word(offset).load(std::memory_order_relaxed);
    return 0;
}

int32_t bench_write(kelvane_handle, uint32_t, uint32_t offset, uint32_t value, uint32_t)
{
    if (offset == MSI_STATUS_REG) {
        bench_word(offset) &= ~value;
        return 0;
    }
    bench_word(offset).store(value, std::memory_order_relaxed);
    if (offset - COMMAND.resp_reg_to_write < SIRANE_COUNT * SIRANE_STRIDE) {
        host_wrote(offset, value);
    }
    return 0;
}

int32_t bench_read_block(kelvane_handle, uint32_t, uint32_t offset, uint32_t count, uint32_t *data, uint32_t)
{
    for (uint32_t i = 0; i < count; i++) {
        data[i] = bench_word(offset + 4 * i).load(std::memory_order_relaxed);
    }
    return 0;
}

static int32_t bench_write_block(kelvane_handle, uint32_t, uint32_t offset, uint32_t count,
                                 const uint32_t *data, uint32_t)
{
    for (uint32_t i = 0; i < count; i++) {
        bench_word(offset + 4 * i).store(data[i], std::memory_order_relaxed);
    }
    return 0;
}

void start_on_bench_card(bench_threads threads)
{
    words = static_cast<std::atomic<uint32_t> *>(std::calloc(BAR_BYTES / 4, 4));
    if (words == nullptr) {
        figure_fail("calloc");
    }
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        for (const uint32_t mbox : {MBOX_COMMAND, MBOX_RESPONSE, MBOX_PM, MBOX_ALARM}) {
            bench_word(mbox_registers_of(sirane_id, mbox).waiting_reg) = MBOX_STATE_IDLE;
        }
    }
    kelvane_init_device_t device{};
    device.notify_plugin_cb = [](kelvane_handle, kelvane_device_address, uint32_t) { return 0; };
    device.pci_read_cb = bench_read;
    device.pci_write_cb = bench_write;
    device.pci_read_block_cb = bench_read_block;
    device.pci_write_block_cb = bench_write_block;
    driver_starts_threads = threads == WITH_THREADS;
    if (kelvane_init_driver() != 0 || kelvane_device_create(device) != 0) {
        figure_fail("kelvane_device_create");
    }
    handle_record(0)->pci_mapped = 1;
}

void bench_command(uint32_t sirane_id)
{
    uint32_t value = 0;
    if (kelvane_read_register(0, KELVANE_ADDRESS_SIRANE(sirane_id), 0x9010, &value) != 0) {
        figure_fail("kelvane_read_register");
    }
}

void fill_rings()
{
    for (uint32_t line = 0; line < 65536; line++) {
        for (const uint32_t level :
             {LEVEL_ERROR, LEVEL_INFO, LEVEL_ALARM, LEVEL_PM, LEVEL_DEBUG, LEVEL_REG, LEVEL_LOWPR}) {
            TRACE(level, NO_HANDLE, NO_ADDRESS, "line %u ", line);
        }
    }
}
