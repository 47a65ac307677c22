#include "core/pci.h"

#include <cstdio>

#include "core/handle.h"
#include "core/trace/trace.h"

namespace {

// The two checks before each access. `function` is the access's own name.
int32_t pass_gate(kelvane_handle handle, uint32_t check_alive, const char *function)
{
    if (kelvane_get_pci_mapped(handle) == 0) {
        TRACE_AS(function, LEVEL_ERROR, handle, NO_ADDRESS, "fpga is not PCI mapped \n");
        return KELVANE_RET_CODE_DEVICE_UNAVAILABLE;
    }
    return check_alive == CHECK_ALIVE ? check_keep_alive(handle) : KELVANE_EOK;
}

int32_t judge_callback(kelvane_handle handle, int32_t callback_rc, const char *function)
{
    if (callback_rc != 0) {
        TRACE_AS(function, LEVEL_ERROR, handle, NO_ADDRESS, "callback rc = %d \n", callback_rc);
        return KELVANE_RET_CODE_DEVICE_UNAVAILABLE;
    }
    return KELVANE_EOK;
}

} // namespace

int32_t check_keep_alive(kelvane_handle handle)
{
    const kelvane_handle_record *record = handle_record(handle);
    if (record != nullptr && record->keep_alive_enabled.load(std::memory_order_relaxed) == 1 &&
        record->keep_alive_status.load(std::memory_order_relaxed) != KELVANE_ALIVE) {
        TRACE(LEVEL_ERROR, handle, NO_ADDRESS, "keep alive NOT_ALIVE \n");
        return KELVANE_RET_CODE_DEVICE_UNAVAILABLE;
    }
    return KELVANE_EOK;
}

int32_t kelvane_internal_pci_read(kelvane_handle handle, uint32_t bus, uint32_t offset, uint32_t *value,
                                  uint32_t check_alive)
{
    int32_t rc = pass_gate(handle, check_alive, __func__);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    const kelvane_pci_read_cb callback = handle_record(handle)->init_device.pci_read_cb;
    rc = judge_callback(handle, callback(handle, bus, offset, value, check_alive), __func__);
    if (rc == KELVANE_EOK) {
        TRACE(LEVEL_REG, handle, NO_ADDRESS, "offset 0x%08x value 0x%08x ", offset, *value);
    }
    return rc;
}

int32_t kelvane_internal_pci_write(kelvane_handle handle, uint32_t bus, uint32_t offset, uint32_t value,
                                   uint32_t check_alive)
{
    if (kelvane_get_pci_mapped(handle) == 0) {
        printf("fpga is not PCI mapped \n"); // the only one of the four that tells the console, too
    }
    int32_t rc = pass_gate(handle, check_alive, __func__);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    const kelvane_pci_write_cb callback = handle_record(handle)->init_device.pci_write_cb;
    rc = judge_callback(handle, callback(handle, bus, offset, value, check_alive), __func__);
    if (rc == KELVANE_EOK) {
        TRACE(LEVEL_REG, handle, NO_ADDRESS, "offset 0x%08x value 0x%08x ", offset, value);
    }
    return rc;
}

int32_t kelvane_internal_pci_read_block(kelvane_handle handle, uint32_t bus, uint32_t offset, uint32_t words,
                                        uint32_t *data, uint32_t check_alive)
{
    int32_t rc = pass_gate(handle, check_alive, __func__);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    const kelvane_pci_read_block_cb callback = handle_record(handle)->init_device.pci_read_block_cb;
    if (callback != nullptr) {
        return judge_callback(handle, callback(handle, bus, offset, words, data, check_alive), __func__);
    }
    for (uint32_t i = 0; i < words && rc == KELVANE_EOK; i++) {
        rc = kelvane_internal_pci_read(handle, bus, offset + 4 * i, &data[i], check_alive);
    }
    return rc;
}

int32_t kelvane_internal_pci_write_block(kelvane_handle handle, uint32_t bus, uint32_t offset, uint32_t words,
                                         const uint32_t *data, uint32_t check_alive)
{
    int32_t rc = pass_gate(handle, check_alive, __func__);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    const kelvane_pci_write_block_cb callback = handle_record(handle)->init_device.pci_write_block_cb;
    if (callback != nullptr) {
        return judge_callback(handle, callback(handle, bus, offset, words, data, check_alive), __func__);
    }
    for (uint32_t i = 0; i < words && rc == KELVANE_EOK; i++) {
        rc = kelvane_internal_pci_write(handle, bus, offset + 4 * i, data[i], check_alive);
    }
    return rc;
}
