// The map of the card's BAR: byte offsets, and the marks that stand in its tables.
#ifndef KELVANE_BAR_H
#define KELVANE_BAR_H

#include <cstdint>

constexpr uint32_t BAR_BYTES = 0x04000000;

// Interrupts.
constexpr uint32_t BOARD_ID_REG = 0x00000000; // top byte above 0x32: a board without global enable
constexpr uint32_t MSI_ENABLE_REG = 0x00000020;
constexpr uint32_t MSI_STATUS_REG = 0x00000024; // a bit written as 1 is cleared
constexpr uint32_t GLOBAL_IRQ_ENABLE_REG = 0x01804000;
constexpr uint32_t GLOBAL_IRQ_ENABLE_MASK = 0x11;
constexpr uint32_t LAST_REAL_BOARD_ID = 0x32;

constexpr uint32_t msi_source_reg(uint32_t sirane_id)
{
    return 0x0000002C + 4 * sirane_id;
}

// Low byte of a source register.
enum msi_source : uint32_t {
    MSI_SOURCE_COMMAND = 16,
    MSI_SOURCE_RESPONSE = 17,
    MSI_SOURCE_PM = 18,
    MSI_SOURCE_ALARM = 19,
    MSI_SOURCE_DAP = 20,
};

// Link test, scratchpad, reset.
constexpr uint32_t LINK_TEST_BASE = 0x00000300;
constexpr uint32_t LINK_TEST_WORDS = 50;
constexpr uint32_t SCRATCHPAD_REG = 0x000003F8;
constexpr uint32_t TRIGGER_RESET_REG = 0x01F000A0;
constexpr uint32_t TRIGGER_RESET_ARM = 0xA5670000;
constexpr uint32_t TRIGGER_RESET_SET = 0xA5110000;
constexpr uint32_t TRIGGER_RESET_UNSET = 0xA5330000;

// Tables that the card publishes.
constexpr uint32_t ZYNQ_INFO_TABLE = 0x01F04000;
constexpr uint32_t ZYNQ_INFO_WORDS = 16;
constexpr uint32_t ZYNQ_WORKING_IMAGE_RUNS = 0x55667788;
constexpr uint32_t ZYNQ_IS_BARE_METAL = 0xAA005500;
constexpr uint32_t ZYNQ_SECURE_BOOT = 0x53C0EEDD;
constexpr uint32_t ZYNQ_IMAGE_UNCHECKED = 0xFFFFFFFD;
constexpr uint32_t SIRANE_INFO_TABLE = 0x01F04200;
constexpr uint32_t SIRANE_INFO_WORDS = 193;

constexpr uint32_t sirane_info_table(uint32_t sirane_id)
{
    return SIRANE_INFO_TABLE + 4 * SIRANE_INFO_WORDS * sirane_id;
}

// Memory errors and upsets.
constexpr uint32_t DDR_INFO_TABLE = 0x01F04F00;
constexpr uint32_t DDR_INFO_WORDS = 8;
constexpr uint32_t DDR_NO_UPSET = 0x2233EEAA;
constexpr uint32_t DDR_UPSET_UNCORRECTABLE = 0xBBCC0066;

// Where the library tells its version: major, minor.
constexpr uint32_t SDK_TO_ARM_DATA = 0x03FFFC00;

#endif
