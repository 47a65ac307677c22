// The map of the card's BAR: byte offsets, the words of its tables, and the marks that stand in them.
#ifndef KELVANE_BAR_H
#define KELVANE_BAR_H

#include <cstdint>

#include "kelvane.h"

constexpr uint32_t BAR_BYTES = KELVANE_BAR_BYTES;

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

// The controller's table.
constexpr uint32_t ZYNQ_INFO_TABLE = 0x01F04000;
constexpr uint32_t ZYNQ_INFO_WORDS = 16;

enum zynq_info_word : uint32_t {
    ZYNQ_IMAGE_BUNDLE_RUNNING = 0,
    ZYNQ_RUNNING_BUNDLE_VERSION = 1,
    ZYNQ_FSBL_VERSION = 2,        // packed version and date
    ZYNQ_APPLICATION_VERSION = 3, // packed version and date
    ZYNQ_APP_IS_BARE_METAL = 4,
    ZYNQ_PLBIT_VERSION = 5,
    ZYNQ_WORKING_BUNDLE_VERSION = 6,
    ZYNQ_GOLDEN_BUNDLE_VERSION = 7,
    ZYNQ_SECURE_BOOT_FLAG = 8,
    ZYNQ_DDR_DIM_FLAG = 9,
    ZYNQ_CARD_ID = 10,
    ZYNQ_CARD_VERSION = 11,
    ZYNQ_SIRANE_BOARD_ID = 12,
    ZYNQ_SIRANE_BOARD_REVISION = 13,
};

// Marks in its words.
constexpr uint32_t ZYNQ_WORKING_IMAGE_RUNS = 0x55667788;
constexpr uint32_t ZYNQ_IS_BARE_METAL = 0xAA005500;
constexpr uint32_t ZYNQ_SECURE_BOOT = 0x53C0EEDD;
constexpr uint32_t ZYNQ_IMAGE_UNCHECKED = 0xFFFFFFFD;

// A sirane's table. Words that have no name here are not read.
constexpr uint32_t SIRANE_INFO_TABLE = 0x01F04200;
constexpr uint32_t SIRANE_INFO_WORDS = 193;

enum sirane_info_word : uint32_t {
    SIRANE_BANK_VERSION = 0, // one word for each of the two banks
    SIRANE_BANK_VALID = 2,   // one word for each of the two banks
    SIRANE_DOWNLOADED_BANK = 4,
    SIRANE_RUNNING_BANK = 5,
    SIRANE_PORT_SOFTWARE = 64, // SIRANE_PORT_STRIDE words further for each port
    SIRANE_PORT_VERSION = 65,
    SIRANE_PROGRESS = 192,
};
constexpr uint32_t SIRANE_PORT_STRIDE = 64; // words

constexpr uint32_t sirane_info_table(uint32_t sirane_id)
{
    return SIRANE_INFO_TABLE + 4 * SIRANE_INFO_WORDS * sirane_id;
}

// Memory errors, and upsets of the programmable logic.
constexpr uint32_t DDR_INFO_TABLE = 0x01F04F00;
constexpr uint32_t DDR_INFO_WORDS = 8;

enum ddr_info_word : uint32_t {
    DDR_UNCORRECTABLE_FLAG = 0,
    DDR_CORRECTABLE_COUNTER = 1,
    DDR_UNCORRECTABLE_COUNTER = 2,
    DDR_UPSET_STATE = 3, // one of the marks below
    DDR_UPSET_COUNTER = 4,
};
constexpr uint32_t DDR_NO_UPSET = 0x2233EEAA;
constexpr uint32_t DDR_UPSET_UNCORRECTABLE = 0xBBCC0066;

// Memory that takes a firmware image: first the digest's text, at 64 bytes the image. The largest image
// runs on over the EPROM logs and the trace ring below.
constexpr uint32_t DOWNLOAD_RAM = KELVANE_DOWNLOAD_RAM;
constexpr uint32_t DOWNLOAD_DIGEST_WORDS = 8;
constexpr uint32_t DOWNLOAD_IMAGE_OFFSET = 64;

// Persistent logs, one slice for each sirane and one for the controller. An index steps one byte through
// a sirane's slice and one row of 24 bytes through the controller's.
constexpr uint32_t EPROM_SLICE_BYTES = 0x40000;
constexpr uint32_t EPROM_CONTROLLER_SLICE = 3;
constexpr uint32_t EPROM_READY = 0x01AC7F26;
constexpr uint32_t EPROM_CONTROLLER_ROW_BYTES = 24;
constexpr uint32_t EPROM_LOG_END = 0x3FC00; // in every slice

constexpr uint32_t eprom_slice(uint32_t slice)
{
    return (slice + 248) << 18;
}

// Offsets in a sirane's slice, and in the controller's.
enum sirane_eprom_offset : uint32_t {
    SIRANE_EPROM_FIRST_INDEX = 0,
    SIRANE_EPROM_LAST_INDEX = 4,
    SIRANE_EPROM_LOG = 8,
};
enum controller_eprom_offset : uint32_t {
    CONTROLLER_EPROM_FIRST_INDEX = 4,
    CONTROLLER_EPROM_LAST_INDEX = 8,
    CONTROLLER_EPROM_SIZE = 12, // 0: no log
    CONTROLLER_EPROM_MARK = 20, // EPROM_READY
    CONTROLLER_EPROM_LOG = 48,
};

// Which regulators of a sirane failed: an entry of 32 bytes for each, the word in its last four.
constexpr uint32_t REGULATOR_ALARM_TABLE = 0x03EFFC00;
constexpr uint32_t REGULATOR_ALARM_ENTRY_BYTES = 32;
constexpr uint32_t REGULATOR_ALARM_WORD = 28;

// The firmware's log: two indexes and a ring of rows. Firmware below 3.6 counts rows of 32 bytes, later
// firmware the bytes to rows of 96.
constexpr uint32_t TRACE_LOG = 0x03F00000;
constexpr uint32_t TRACE_FIRST_INDEX_REG = 0x03F0000C;
constexpr uint32_t TRACE_LAST_INDEX_REG = 0x03F00010;
constexpr uint32_t TRACE_ROWS = 0x03F00020;
constexpr uint32_t TRACE_CODED_ROW_BYTES = 32;
constexpr uint32_t TRACE_CODED_ROWS = 32512;
constexpr uint32_t TRACE_TEXT_ROW_BYTES = 96;
constexpr uint32_t TRACE_TEXT_BYTES = 0xFFF00;

// Where the library tells its version: major, minor.
constexpr uint32_t SDK_TO_ARM_DATA = 0x03FFFC00;

#endif
