// Diagnostics, recovery, status, scratchpad, reset and default state of the card.
#include "card/info_tables.h"
#include "core/device_address.h"
#include "core/handle.h"
#include "core/pci.h"
#include "core/thread.h"
#include "kelvane_bar.h"
#include "kelvane_trace_defs.h"
#include "mbox/command.h"

namespace {

constexpr uint32_t DIAG_DELAY_NSEC = 10000000;
constexpr uint32_t TRIGGER_RESET_PAUSE_NSEC = 100000000;

// The sirane itself, from an address of it or of something on it.
kelvane_device_address sirane_of(kelvane_device_address device_address)
{
    return KELVANE_ADDRESS_SIRANE(sirane_id_of_address(device_address));
}

} // namespace

int32_t kelvane_diag_command(kelvane_handle handle, kelvane_device_address device_address,
                             uint32_t diag_command)
{
    TRACE(LEVEL_INFO, handle, device_address, " start diag_command=%d ", static_cast<int>(diag_command));
    command c;
    const int32_t rc = command_run(
        &c,
        {CMD_DIAG_COMMAND, CHECK_DEVICE, __func__, handle, device_address, device_address, DIAG_DELAY_NSEC},
        {handle, device_address, diag_command});
    return rc != KELVANE_EOK ? rc : command_result(c);
}

int32_t kelvane_recover_device(kelvane_handle handle, kelvane_device_address device_address)
{
    TRACE(LEVEL_INFO, handle, device_address, "start ");
    command c;
    const int32_t rc = command_run(
        &c, {CMD_RECOVER_DEVICE, CHECK_DEVICE, __func__, handle, device_address, sirane_of(device_address)},
        {handle, device_address});
    return rc != KELVANE_EOK ? rc : command_result(c);
}

int32_t kelvane_get_xpm2_status(kelvane_handle handle, kelvane_device_address device_address,
                                uint32_t *status)
{
    TRACE(LEVEL_INFO, handle, device_address, "start ");
    command c;
    const int32_t rc = command_run(&c,
                                   {CMD_GET_XPM2_STATUS, CHECK_NETWORK_PORT, __func__, handle, device_address,
                                    sirane_of(device_address)},
                                   {handle, device_address});
    if (rc != KELVANE_EOK) {
        return rc;
    }
    *status = c.response.word[2];
    TRACE(LEVEL_INFO, handle, device_address, " end status %d ", static_cast<int>(*status));
    return command_result(c);
}

int32_t kelvane_set_arm_trace_level(kelvane_handle handle, uint32_t arm_trace_level)
{
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_SIRANE(0), "start arm_trace_level 0x%08x ", arm_trace_level);
    command c;
    const int32_t rc =
        command_run(&c, {CMD_SET_ARM_TRACE_LEVEL, CHECK_HANDLE, __func__, handle, KELVANE_ADDRESS_SIRANE(0)},
                    {handle, arm_trace_level});
    return rc != KELVANE_EOK ? rc : command_result(c);
}

int32_t kelvane_default_initialize(kelvane_handle handle)
{
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "start ");
    command c;
    const int32_t rc = command_run(
        &c, {CMD_DEFAULT_INITIALIZE, CHECK_NOTHING, __func__, handle, KELVANE_ADDRESS_BOARD}, {handle});
    if (rc != KELVANE_EOK) {
        return rc;
    }
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) { // asked for the log's sake only
        uint32_t major = 0;
        uint32_t minor = 0;
        kelvane_get_software_downloaded(handle, KELVANE_ADDRESS_SIRANE(sirane_id), &major, &minor);
        kelvane_get_software_running(handle, KELVANE_ADDRESS_SIRANE(sirane_id), &major, &minor);
    }
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "end ");
    return command_result(c);
}

int32_t kelvane_read_scratchpad_register(kelvane_handle handle, uint32_t *value)
{
    int32_t rc = check_kelvane_handler_input(handle);
    if (rc == KELVANE_EOK) {
        rc = kelvane_internal_pci_read(handle, 0, SCRATCHPAD_REG, value, CHECK_ALIVE);
    }
    if (rc == KELVANE_EOK) {
        TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, " value=%08x ", *value);
    }
    return rc;
}

int32_t kelvane_write_scratchpad_register(kelvane_handle handle, const uint32_t *value)
{
    int32_t rc = check_kelvane_handler_input(handle);
    if (rc == KELVANE_EOK) {
        rc = kelvane_internal_pci_write(handle, 0, SCRATCHPAD_REG, *value, CHECK_ALIVE);
        TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, " value=%08x ", *value);
    }
    return rc;
}

int32_t kelvane_set_endianess(kelvane_handle handle)
{
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "start ");
    return KELVANE_EOK;
}

int32_t kelvane_set_trigger_reset(kelvane_handle handle, uint32_t trigger_reset)
{
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "start trigger_reset = %d ",
          static_cast<int>(trigger_reset));
    int32_t rc = check_kelvane_handler_input(handle);
    if (rc == KELVANE_EOK && trigger_reset > 1) {
        rc = KELVANE_RET_CODE_EINVAL;
    }
    if (rc == KELVANE_EOK) {
        rc = kelvane_internal_pci_write(handle, 0, TRIGGER_RESET_REG, TRIGGER_RESET_ARM, CHECK_ALIVE);
    }
    if (rc == KELVANE_EOK) {
        kelvane_delay(0, TRIGGER_RESET_PAUSE_NSEC);
        rc = kelvane_internal_pci_write(handle, 0, TRIGGER_RESET_REG,
                                        trigger_reset == 1 ? TRIGGER_RESET_SET : TRIGGER_RESET_UNSET,
                                        CHECK_ALIVE);
    }
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "end rc = %d ", rc);
    return rc;
}
