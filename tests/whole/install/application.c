/* An application in C that knows the public header and the shared library, and nothing else. */
#include "kelvane.h"

#include <stdio.h>
#include <string.h>

static int failures;

static void check(int holds, const char *what)
{
    if (!holds) {
        fprintf(stderr, "does not hold: %s\n", what);
        failures++;
    }
}

int main(void)
{
    uint32_t major = 0;
    uint32_t minor = 0;
    uint32_t value = 0;
    kelvane_init_device_t init_device;

    kelvane_get_sw_sdk_version(&major, &minor);
    check(major == 1 && minor == 43, "the library is 1.43");
    check(strcmp(kelvane_arm_error_to_string(ORDUNE_MBOX_BUSY), "ORDUNE_MBOX_BUSY") == 0,
          "an error word's name");
    check(kelvane_read_register(0, KELVANE_ADDRESS_SIRANE(0), 0x9010, &value) == 22,
          "no device, no register");

    memset(&init_device, 0, sizeof init_device);
    check(kelvane_device_create(init_device) == -1, "no device without callbacks");
    check(KELVANE_ADDRESS_HOST_PORT(2, 1) == 0xFF02FF01, "address of a host port");
    return failures == 0 ? 0 : 1;
}
