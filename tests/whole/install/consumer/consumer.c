/* An application that calls the installed library and its companion, and knows nothing else of them. */
#include <stdio.h>
#include <string.h>

#include <kelvane.h>
#include <platform/uio.h>

int main(void)
{
    uint32_t major = 0;
    uint32_t minor = 0;
    uint32_t value = 0;
    kelvane_init_device_t no_callbacks;

    kelvane_init_driver();
    struct trace_ring *const rings[] = {kelvane_zynq_ltrace, kelvane_srn_ltrace, kelvane_eprom_ltrace};
    for (unsigned i = 0; i < 3; i++) {
        trace_ring_write(rings[i], KELVANE_TRACE_STRING_NUMBER, 0, KELVANE_ADDRESS_BOARD, "main", "ring", i);
    }
    kelvane_trace_tagged(KELVANE_TRACE_INFO, KELVANE_TRACE_TAGGED_STRING, 0, KELVANE_ADDRESS_BOARD, "main",
                         "file");
    kelvane_get_sw_sdk_version(&major, &minor);
    memset(&no_callbacks, 0, sizeof no_callbacks);
    printf("%u.%u %s ", major, minor, uio_find_devices_by_name("no such card") == NULL ? "none" : "found");
    printf("%s %d %d %x\n", kelvane_arm_error_to_string(ORDUNE_MBOX_BUSY),
           kelvane_read_register(0, KELVANE_ADDRESS_SIRANE(0), 0x9010, &value),
           kelvane_device_create(no_callbacks), KELVANE_ADDRESS_HOST_PORT(2, 1));
    return 0;
}
