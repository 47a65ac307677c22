#include "mock_client/device_table.h"

#include <iterator>

#include "kelvane.h"

namespace {

constexpr uint32_t ADDRESSES[] = {
    KELVANE_ADDRESS_BOARD,              // 0: the board's FPGA
    KELVANE_ADDRESS_SIRANE(0),          // 1
    KELVANE_ADDRESS_NETWORK_PORT(0, 0), // 2: module 0
    KELVANE_ADDRESS_NETWORK_PORT(0, 1), // 3: module 1
    KELVANE_ADDRESS_SIRANE(1),          // 4
    KELVANE_ADDRESS_NETWORK_PORT(1, 0), // 5: module 2
    KELVANE_ADDRESS_NETWORK_PORT(1, 1), // 6: module 3
    KELVANE_ADDRESS_SIRANE(2),          // 7
    KELVANE_ADDRESS_NETWORK_PORT(2, 0), // 8: module 4
    KELVANE_ADDRESS_NETWORK_PORT(2, 1), // 9: module 5
    KELVANE_ADDRESS_BOARD,              // 10: the FPGA's golden image, told from 0 only by upgrade
};

struct sirane_ports {
    int32_t sirane;
    module_port ports[KELVANE_NETWORK_PORTS_PER_SIRANE];
};

constexpr sirane_ports SIRANE_PORTS[] = {
    {1, {{2, 0}, {3, 1}}},
    {4, {{5, 2}, {6, 3}}},
    {7, {{8, 4}, {9, 5}}},
};

} // namespace

uint32_t client_dev_to_address(uint32_t device)
{
    return device < std::size(ADDRESSES) ? ADDRESSES[device] : NO_DEVICE_ADDRESS;
}

std::span<const module_port> client_module_ports(int32_t device)
{
    for (const sirane_ports &row : SIRANE_PORTS) {
        if (row.sirane == device) {
            return row.ports;
        }
    }
    return {};
}
