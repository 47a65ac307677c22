// What lies where, how long it may be and what it is called: mailboxes, commands, device addresses, codes.
#include <array>
#include <sstream>

#include "core/arm_errors.h"
#include "core/device_address.h"
#include "mbox/catalogue.h"
#include "mbox/model.h"
#include "support/library.h"

namespace {

using catalogue_test = firmware_test;

TEST_F(catalogue_test, mailboxes)
{
    // By mailbox: its area, its wait, the levels of its lines.
    const std::array<uint32_t, 5> of_sirane_0[] = {
        {0x01C02100, 300, 2, 16, 1}, {0x01C08100, 300, 64, 64, 8},  {0x01C04100, 300, 4, 64, 4},
        {0x01C00100, 300, 2, 16, 1}, {0x01F08000, 300, 64, 64, 64}, {0, 1, 64, 64, 64}};
    for (uint32_t pair = 0; pair < 18; pair++) {
        const mailbox_handler mb = *get_mbox_handler(pair / 6, pair % 6);
        const uint32_t own = mb.mbox < 4 ? 0x100000 * (pair / 6) : 0; // the last two are the card's
        EXPECT_EQ((std::array{mb.mailbox_addr - own, mb.timeout_sec, mb.header_level, mb.flow_level,
                              mb.error_level}),
                  of_sirane_0[pair % 6]);
    }
    EXPECT_EQ(get_mbox_handler(3, 0), nullptr);
    EXPECT_EQ(get_mbox_handler(0, 6), nullptr);
    EXPECT_EQ(mbox_fields(nullptr).mbox, 6u); // harmless defaults
    EXPECT_EQ(mbox_fields(get_mbox_handler(2, 5) + 1).mailbox_addr, 100u);
    uint32_t bytes = 0;
    EXPECT_EQ(kelvane_get_mbox_data_max_data_size(66, &bytes), 64170); // of no command
    EXPECT_EQ(bytes, 0xFFFFFFFF);
}

TEST_F(catalogue_test, kinds_of_device_address)
{
    const std::pair<std::string, int32_t (*)(kelvane_device_address)> checks[] = {
        {"g", check_device_address_input},
        {"b", kelvane_check_dev_addr_ordune},
        {"s", kelvane_check_dev_addr_srn},
        {"n", kelvane_check_dev_addr_srn_network_port},
        {"h", kelvane_check_dev_addr_srn_host_port}};
    // The address, the checks that it passes, its sirane.
    const std::tuple<uint32_t, std::string, uint32_t> cases[] = {
        {0xF0FFFFFF, "gb", 0}, {0xFEFFFFFF, "gb", 0},  {0xFF00FFFF, "gs", 0}, // only the nibble counts
        {0x0F01FFFF, "gs", 1}, {0xFF0000FF, "gn", 0},  {0xFF02FEFF, "gn", 2}, {0xFF00FF01, "gh", 0},
        {0xFF03FFFF, "s", 3},  {0xFFFEFFFF, "s", 254}, {0xFFFFFFFF, "", 255}, {0xFF000000, "", 0},
        {0xF000FFFF, "", 0},   {0xF0FF00FF, "", 0},    {0xF0FFFF00, "", 0},   {0xFFFF00FF, "", 255},
    };
    for (const auto &[address, passes, sirane] : cases) {
        std::string passed;
        for (const auto &[letter, check] : checks) {
            passed += check(address) == 0 ? letter : "";
        }
        EXPECT_EQ(passed, passes) << std::hex << address;
        EXPECT_EQ(sirane_id_of_address(address), sirane) << std::hex << address;
    }
}

// The first error word of a family, how many there are, and the name of the first. A word is 2 above the one
// before; a word that stands twice has the first of its names. "~" is a tab.
const char *const families = R"(
80000001 10 ORDUNE_FAILURE  80010001 10 ORDUNE_MBOX_ERROR  80100001 14 ORDUNE_GENERIC_CMD_ERROR
80200001 2 ORDUNE_GENERIC_INTERF_SET  80300001 7 ORDUNE_UPGRADE_ERROR
80400001 3 ORDUNE_INTERNAL_TASKS_ERROR  80500001 25 ORDUNE_XPM2_GENERIC_ERROR
80600001 4 ORDUNE_SIRANE_GENERIC_ERROR  80610001 18 ORDUNE_SIRANE_FWDWL_FAIL
80620001 9 ORDUNE_SIRANE_SETLASER_ERROR  80620011 1 ORDUNE_SIRANE_SETLASER_PWRFAIL2STOP
80630001 4 ORDUNE_SIRANE_PWR_FAIL  80700001 2 ORDUNE_SIRANE_NTWCFG_ERROR
80800001 5 ORDUNE_MDIO_ERROR  80900001 2 ORDUNE_CNTL_LOOP_ERROR
81000001 1 ORDUNE_MBOX_CMDINTR_ERROR  81000003 1 ERROR_PWR_UP_5V~
81000003 5 ERROR_PWR_UP_5V_SIRANE_0  8100000b 7 ERROR_SRN_UNRESET_0
81001001 1 ERROR_WRONG_CMD_ATSEQUENCETASK  81200001 2 ERROR_PM_NOTIFY
81300001 2 ERROR_HOST_ALARM_NOTIFY  81400001 2 ERROR_NTWK_ALARM_NOTIFY
81500001 2 ERROR_GLB_ALARM_NOTIFY  81550001 2 ERROR_GENERIC_ALARM_NOTIFY
81600001 2 ERROR_XPM2_ALARM_NOTIFY  82000001 1 ORDUNE_CALIBRATION_ERROR
82100001 14 ORDUNE_CAL_CARD_IDB_ERROR  82200001 2 ORDUNE_CAL_XPM_ERROR  84000001 4 ORDUNE_RSA_ERROR
85000001 4 ORDUNE_PMTASK_ERROR  88000001 2 ORDUNE_QSPI_ERROR)";

TEST_F(catalogue_test, error_words_and_return_codes)
{
    std::istringstream in(families);
    const arm_error_row *row = arm_errors_array;
    uint32_t code;
    uint32_t count;
    for (std::string name; in >> std::hex >> code >> std::dec >> count >> name;) {
        name.back() = name.back() == '~' ? '\t' : name.back();
        EXPECT_EQ(row->name, name);
        for (uint32_t i = 0; i < count; i++, row++, code += 2) {
            EXPECT_EQ(row->code, code) << name;
            EXPECT_STREQ(kelvane_arm_error_to_string(static_cast<int32_t>(code + 1)), "UNKNOWN");
        }
    }
    EXPECT_EQ(row, arm_errors_array + 170);
    EXPECT_EQ(row->code, 0xFFFFFFFF); // ends the table
    std::string names;
    for (const uint32_t each : {0u, 16u, 22u, 110u, 64170u, 64171u, 64172u, 64173u, 64174u, 64175u,
                                0x80300003u, 0x81000003u, 0x84000003u, 1u}) {
        names += std::string(kelvane_rc_to_string(static_cast<int32_t>(each))) + "|";
    }
    EXPECT_EQ(names, " KELVANE_EOK                          | KELVANE_RET_CODE_EBUSY               |"
                     " KELVANE_RET_CODE_EINVAL              | KELVANE_RET_CODE_ETIMEDOUT           |"
                     " KELVANE_RET_CODE_GEN_ERR             | KELVANE_RET_CODE_HW_PROBLEM          |"
                     " KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM| KELVANE_RET_CODE_VERSION_MISMATCH    |"
                     " KELVANE_RET_CODE_DEVICE_UNAVAILABLE  | KELVANE_RET_CODE_DEVICE_NOT_READY    |"
                     "ORDUNE_MD5_FAIL|ERROR_PWR_UP_5V\t|ORDUNE_RSA_RDFLAG_ERROR\t|UNKNOWN|");
}

} // namespace
