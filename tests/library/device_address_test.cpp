#include "core/device_address.h"

#include "support/library.h"

namespace {

struct address_case {
    uint32_t address;
    int32_t general, board, sirane, network_port, host_port;
    uint32_t sirane_id;
};

const address_case cases[] = {
    //             general board sirane network host  sirane_id
    {0xF0FFFFFF, 0, 0, 22, 22, 22, 0},                                        // the board
    {0x00FFFFFF, 0, 0, 22, 22, 22, 0},                                        // only the nibble counts
    {0xFEFFFFFF, 0, 0, 22, 22, 22, 0},     {0xFF00FFFF, 0, 22, 0, 22, 22, 0}, // a sirane
    {0xFF02FFFF, 0, 22, 0, 22, 22, 2},     {0x0F01FFFF, 0, 22, 0, 22, 22, 1},
    {0xFF03FFFF, 22, 22, 0, 22, 22, 3}, // bounded by the general test alone
    {0xFFFEFFFF, 22, 22, 0, 22, 22, 254},  {0xFFFFFFFF, 22, 22, 22, 22, 22, 255}, // an unknown device
    {0xFF0000FF, 0, 22, 22, 0, 22, 0},                                            // a network port
    {0xFF02FEFF, 0, 22, 22, 0, 22, 2},     {0xFF00FF01, 0, 22, 22, 22, 0, 0},     // a host port
    {0xFF000000, 22, 22, 22, 22, 22, 0},                                          // both ports
    {0xF000FFFF, 22, 22, 22, 22, 22, 0},                                          // a board with a sirane
    {0xF0FF00FF, 22, 22, 22, 22, 22, 0},   {0xF0FFFF00, 22, 22, 22, 22, 22, 0},
    {0xFFFF00FF, 22, 22, 22, 22, 22, 255}, // a port of no sirane
};

TEST_F(library_test, every_kind_of_address_passes_its_own_check_only)
{
    for (const address_case &c : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << c.address);
        EXPECT_EQ(check_device_address_input(c.address), c.general);
        EXPECT_EQ(kelvane_check_dev_addr_ordune(c.address), c.board);
        EXPECT_EQ(kelvane_check_dev_addr_srn(c.address), c.sirane);
        EXPECT_EQ(kelvane_check_dev_addr_srn_network_port(c.address), c.network_port);
        EXPECT_EQ(kelvane_check_dev_addr_srn_host_port(c.address), c.host_port);
        EXPECT_EQ(sirane_id_of_address(c.address), c.sirane_id);
    }
}

TEST_F(library_test, a_refused_address_is_logged_with_its_fields)
{
    turn_log_on();
    start_library();
    log_lines();
    check_device_address_input(0xFF03FFFF);
    EXPECT_NE(log_text().find("[d:003|n:255|h:255] ERROR Slot:-1 check_device_address_input: "
                              "invalid kelvane_device_address ff03ffff\n"),
              std::string::npos);
    kelvane_check_dev_addr_srn(0xF0FFFFFF);
    EXPECT_EQ(log_lines().back(), "ERROR kelvane_check_dev_addr_srn: invalid kelvane_device_address ");
}

} // namespace
