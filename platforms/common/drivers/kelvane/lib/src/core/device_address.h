// Device addresses: their fields, and the checks for each kind of address.
#ifndef CORE_DEVICE_ADDRESS_H
#define CORE_DEVICE_ADDRESS_H

#include <cstdint>

#include "kelvane.h"

constexpr uint32_t ADDRESS_FIELD_NONE = KELVANE_NO_FIELD;
constexpr uint32_t ADDRESS_TYPE_SIRANE = 0xF;

struct address_fields {
    uint32_t type;
    uint32_t sirane;
    uint32_t network_port;
    uint32_t host_port;
};

constexpr address_fields fields_of(kelvane_device_address address)
{
    return {address >> 24 & 0xF, KELVANE_SIRANE_OF(address), KELVANE_NETWORK_PORT_OF(address),
            KELVANE_HOST_PORT_OF(address)};
}

// The sirane whose mailboxes and command mutex serve an address; 0 for the board. Not bounded.
constexpr uint32_t sirane_id_of_address(kelvane_device_address address)
{
    return fields_of(address).type == ADDRESS_TYPE_SIRANE ? fields_of(address).sirane : 0;
}

// Each returns KELVANE_EOK, or KELVANE_RET_CODE_EINVAL with a log line.

// The general check, and the only one that refuses a sirane the card does not have.
int32_t check_device_address_input(kelvane_device_address address);
int32_t kelvane_check_dev_addr_ordune(kelvane_device_address address);
int32_t kelvane_check_dev_addr_srn(kelvane_device_address address);
int32_t kelvane_check_dev_addr_srn_network_port(kelvane_device_address address);
int32_t kelvane_check_dev_addr_srn_host_port(kelvane_device_address address);

// The general check, then the handle's: what most public operations begin with.
int32_t check_address_and_handle(kelvane_device_address address, kelvane_handle handle);

#endif
