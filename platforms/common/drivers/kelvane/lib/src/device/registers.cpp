// A device's registers, read and written by the firmware on the library's behalf.
#include "kelvane_trace_defs.h"
#include "mbox/command.h"

int32_t kelvane_read_register(kelvane_handle handle, kelvane_device_address device_address,
                              uint32_t reg_address, uint32_t *value)
{
    TRACE(LEVEL_INFO, handle, device_address, " start reg_address = %08x ", reg_address);
    command c;
    const int32_t rc = command_run(&c, {CMD_READ_REGISTER, CHECK_DEVICE, __func__, handle, device_address},
                                   {handle, device_address, reg_address, 0});
    if (rc != KELVANE_EOK) {
        return rc;
    }
    *value = c.response.word[3];
    TRACE(LEVEL_INFO, handle, device_address, " end   reg_value = %08x \n", *value);
    return command_result(c);
}

// What another operation refuses goes out to the firmware here.
int32_t kelvane_write_register(kelvane_handle handle, kelvane_device_address device_address,
                               uint32_t reg_address, uint32_t value)
{
    TRACE(LEVEL_INFO, handle, device_address, " start reg_address = %08x ", reg_address);
    command c;
    const int32_t rc = command_run(&c, {CMD_WRITE_REGISTER, CHECK_NOTHING, __func__, handle, device_address},
                                   {handle, device_address, reg_address, value});
    if (rc != KELVANE_EOK) {
        return rc;
    }
    TRACE(LEVEL_INFO, handle, device_address, "end   \n");
    return command_result(c);
}
