/* The card's handle, and the addresses of the devices on it. Part of kelvane.h. */
#ifndef KELVANE_ADDRESS_H
#define KELVANE_ADDRESS_H

#include <stdint.h>

/* A handle names the card; only 0 is ever valid. */
typedef uint32_t kelvane_handle;

/* A device address: bits 27..24 the type (0xF a sirane or something on it, below 0xF the board), bits
 * 23..16 the sirane, 15..8 the network port, 7..0 the host port, 0xFF meaning none. */
typedef uint32_t kelvane_device_address;

enum {
    KELVANE_SIRANE_COUNT = 3,
    KELVANE_NETWORK_PORTS_PER_SIRANE = 2,
    KELVANE_HOST_PORTS_PER_SIRANE = 4,
    KELVANE_MODULE_COUNT = 6,
};

/* Building one, d being the sirane, n the network port, h the host port, m the module, all from 0. */
#define KELVANE_ADDRESS_BOARD              0xF0FFFFFFu
#define KELVANE_ADDRESS_SIRANE(d)          (0xFF00FFFFu | ((uint32_t)(d) << 16))
#define KELVANE_ADDRESS_NETWORK_PORT(d, n) (0xFF0000FFu | ((uint32_t)(d) << 16) | ((uint32_t)(n) << 8))
#define KELVANE_ADDRESS_HOST_PORT(d, h)    (0xFF00FF00u | ((uint32_t)(d) << 16) | (uint32_t)(h))
#define KELVANE_ADDRESS_MODULE(m)          KELVANE_ADDRESS_NETWORK_PORT((m) / 2, (m) % 2)

/* Taking one apart: KELVANE_NO_FIELD for what it does not name. The module is that of a network port. */
#define KELVANE_NO_FIELD                 0xFFu
#define KELVANE_IS_BOARD(address)        (((uint32_t)(address) >> 24 & 0xFu) != 0xFu)
#define KELVANE_SIRANE_OF(address)       ((uint32_t)(address) >> 16 & 0xFFu)
#define KELVANE_NETWORK_PORT_OF(address) ((uint32_t)(address) >> 8 & 0xFFu)
#define KELVANE_HOST_PORT_OF(address)    ((uint32_t)(address)&0xFFu)
#define KELVANE_MODULE_OF(address)       (KELVANE_SIRANE_OF(address) * 2 + KELVANE_NETWORK_PORT_OF(address))

#endif
