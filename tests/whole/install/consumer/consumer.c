/* An application that calls the installed library and its companion. */
#include <stdio.h>

#include <kelvane.h>
#include <platform/uio.h>

int main(void)
{
    uint32_t major = 0;
    uint32_t minor = 0;

    kelvane_get_sw_sdk_version(&major, &minor);
    printf("%u.%u %s\n", major, minor, uio_find_devices_by_name("no such card") == NULL ? "none" : "found");
    return 0;
}
