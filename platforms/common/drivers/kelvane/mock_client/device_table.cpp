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

} // namespace

uint32_t client_dev_to_address(uint32_t device)
{
    return device < std::size(ADDRESSES) ? ADDRESSES[device] : NO_DEVICE_ADDRESS;
}
