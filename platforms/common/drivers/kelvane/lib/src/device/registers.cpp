// A device's registers, read and written by the firmware on the library's behalf.
#include "core/device_address.h"
#include "kelvane_trace_defs.h"
#include "mbox/command.h"

int32_t kelvane_read_register(kelvane_handle handle, kelvane_device_address device_address,
                              uint32_t reg_address, uint32_t *value)
{
    TRACE(INFO, handle, device_address, " start reg_address = %08x ", reg_address);
    int32_t rc = check_address_and_handle(device_address, handle);
    command c;
    if (rc == KELVANE_EOK) {
        rc = command_prepare(&c, 9, {handle, device_address, reg_address, 0});
    }
    if (rc == KELVANE_EOK) {
        rc = command_exchange(&c, handle, device_address, OWN_PATH, __func__);
    }
    if (rc != KELVANE_EOK) {
        return rc;
    }
    *value = c.response.word[3];
    TRACE(INFO, handle, device_address, " end   reg_value = %08x \n", *value);
    return command_result(c);
}

// Neither address nor handle is checked: what another operation refuses here goes out to the firmware.
int32_t kelvane_write_register(kelvane_handle handle, kelvane_device_address device_address,
                               uint32_t reg_address, uint32_t value)
{
    TRACE(INFO, handle, device_address, " start reg_address = %08x ", reg_address);
    command c;
    int32_t rc = command_prepare(&c, 10, {handle, device_address, reg_address, value});
    if (rc == KELVANE_EOK) {
        rc = command_exchange(&c, handle, device_address, OWN_PATH, __func__);
    }
    if (rc != KELVANE_EOK) {
        return rc;
    }
    TRACE(INFO, handle, device_address, "end   \n");
    return command_result(c);
}
