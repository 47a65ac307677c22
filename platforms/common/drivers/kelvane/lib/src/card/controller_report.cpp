// What the controller's table says about the controller itself: inventory, run type, secure boot, and the
// lines that the link-up writes into the log.
#include "card/firmware_version.h"
#include "card/info_tables.h"
#include "core/handle.h"
#include "core/trace/trace.h"

namespace {

// A version with a date, as the boot loader and the application have them.
struct packed_version {
    int major;
    int minor;
    int date[3];
};

packed_version unpack(uint32_t word)
{
    return {static_cast<int>(word >> 24),
            static_cast<int>(word >> 16 & 0xFF),
            {static_cast<int>(word >> 9 & 0x7F), static_cast<int>(word >> 5 & 0xF),
             static_cast<int>(word & 0x1F)}};
}

int32_t read_checked(kelvane_handle handle, zynq_info_table *table)
{
    const int32_t rc = check_kelvane_handler_input(handle);
    return rc != KELVANE_EOK ? rc : kelvane_get_zynq_info_table(handle, table);
}

} // namespace

int32_t kelvane_trace_zynq_info_table(kelvane_handle handle)
{
    zynq_info_table table{};
    const int32_t rc = kelvane_get_zynq_info_table(handle, &table);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    constexpr kelvane_device_address board = KELVANE_ADDRESS_BOARD;
    const auto &word = table.word;
    const auto working = firmware_version::from_word(word[ZYNQ_WORKING_BUNDLE_VERSION]);
    const auto golden = firmware_version::from_word(word[ZYNQ_GOLDEN_BUNDLE_VERSION]);
    const auto running = firmware_version::from_word(word[ZYNQ_RUNNING_BUNDLE_VERSION]);
    const packed_version fsbl = unpack(word[ZYNQ_FSBL_VERSION]);
    const packed_version application = unpack(word[ZYNQ_APPLICATION_VERSION]);

    TRACE(LEVEL_INFO, handle, board, "Zynq Info Table ");
    TRACE(LEVEL_INFO, handle, board, "imageBundleRunning: %s ",
          word[ZYNQ_IMAGE_BUNDLE_RUNNING] == ZYNQ_WORKING_IMAGE_RUNS ? "working" : "golden");
    TRACE(LEVEL_INFO, handle, board, "workingBundleImageVersion %d.%d 0x%04x.0x%04x",
          static_cast<int>(working.major), static_cast<int>(working.minor), working.major, working.minor);
    TRACE(LEVEL_INFO, handle, board, "GoldenBundleImageVersion  %d.%d 0x%04x.0x%04x",
          static_cast<int>(golden.major), static_cast<int>(golden.minor), golden.major, golden.minor);
    TRACE(LEVEL_INFO, handle, board, "runningBundleImageVersion %d.%d 0x%04x.0x%04x",
          static_cast<int>(running.major), static_cast<int>(running.minor), running.major, running.minor);
    TRACE(LEVEL_INFO, handle, board, "fsbl_RunningVersion %d.%d - %02d/%02d/%02d ", fsbl.major, fsbl.minor,
          fsbl.date[0], fsbl.date[1], fsbl.date[2]);
    TRACE(LEVEL_INFO, handle, board, "application_RunningVersion %d.%d - %02d/%02d/%02d ", application.major,
          application.minor, application.date[0], application.date[1], application.date[2]);
    TRACE(LEVEL_INFO, handle, board, "appIsBareMetal: %s ",
          word[ZYNQ_APP_IS_BARE_METAL] == ZYNQ_IS_BARE_METAL ? "yes" : "no");
    TRACE(LEVEL_INFO, handle, board, "plbit_RunningVersion 0x%08x ", word[ZYNQ_PLBIT_VERSION]);
    TRACE(LEVEL_INFO, handle, board, "secureBootFlag: %s ",
          word[ZYNQ_SECURE_BOOT_FLAG] == ZYNQ_SECURE_BOOT ? "SB_mode" : "NO SB_Mode");
    TRACE(LEVEL_INFO, handle, board, "DDRdimFlag: 0x%x ", word[ZYNQ_DDR_DIM_FLAG]);
    TRACE(LEVEL_INFO, handle, board, "cardID: 0x%08x", word[ZYNQ_CARD_ID]);
    TRACE(LEVEL_INFO, handle, board, "cardVer: 0x%08x", word[ZYNQ_CARD_VERSION]);
    TRACE(LEVEL_INFO, handle, board, "siraneBoardId: 0x%08x", word[ZYNQ_SIRANE_BOARD_ID]);
    TRACE(LEVEL_INFO, handle, board, "siraneBoardRev: 0x%08x", word[ZYNQ_SIRANE_BOARD_REVISION]);
    return KELVANE_EOK;
}

int32_t kelvane_get_ordune_inventory_inf(kelvane_handle handle, kelvane_ordune_inventory_t *inventory)
{
    zynq_info_table table{};
    const int32_t rc = read_checked(handle, &table);
    if (rc == KELVANE_EOK) {
        const auto &word = table.word;
        *inventory = {word[ZYNQ_IMAGE_BUNDLE_RUNNING],  word[ZYNQ_RUNNING_BUNDLE_VERSION],
                      word[ZYNQ_PLBIT_VERSION],         word[ZYNQ_WORKING_BUNDLE_VERSION],
                      word[ZYNQ_GOLDEN_BUNDLE_VERSION], word[ZYNQ_SECURE_BOOT_FLAG],
                      word[ZYNQ_DDR_DIM_FLAG],          word[ZYNQ_CARD_ID],
                      word[ZYNQ_CARD_VERSION]};
    }
    return rc;
}

int32_t kelvane_get_zynq_run_type(kelvane_handle handle, uint32_t *run_type)
{
    zynq_info_table table{};
    const int32_t rc = read_checked(handle, &table);
    if (rc == KELVANE_EOK) {
        *run_type = table.word[ZYNQ_IMAGE_BUNDLE_RUNNING] == ZYNQ_WORKING_IMAGE_RUNS
                        ? KELVANE_ZYNQ_RUN_WORKING
                        : KELVANE_ZYNQ_RUN_GOLDEN;
    }
    return rc;
}

int32_t kelvane_get_secure_type(kelvane_handle handle, uint32_t *secure_type)
{
    *secure_type = 0;
    zynq_info_table table{};
    const int32_t rc = read_checked(handle, &table);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    if (table.word[ZYNQ_SECURE_BOOT_FLAG] == ZYNQ_SECURE_BOOT) {
        *secure_type = KELVANE_SECURED;
        TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, " secure_type = SB_mode - KELVANE_SECURED ");
    } else {
        *secure_type = KELVANE_UNSECURED;
        TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, " secure_type =  NO SB_mode - KELVANE_UNSECURED ");
    }
    return KELVANE_EOK;
}
