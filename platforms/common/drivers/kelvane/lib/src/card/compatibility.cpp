// The library's verdict on the firmware it finds.
#include "card/running_firmware.h"
#include "core/trace/trace.h"

namespace {

constexpr firmware_version SUPPORTED_FIRMWARE = {5, 22};
constexpr uint32_t ANY = 0xFFFFFFFF;

// Rows in the order of testing; a firmware that none of them covers is undefined. A verdict without a text is
// not logged.
struct verdict_row {
    firmware_version first, last;
    uint32_t verdict;
    const char *text;
};

constexpr const char *UPDATE_NEEDED = "comp_sw = KELVANE_COMP_SW_FATAL_NOT_ALIGNED - updtate needed ";
constexpr const char *UPDATE_NOT_NEEDED =
    "comp_sw = KELVANE_COMP_SW_WARNING_NOT_ALIGNED - updtate not needed  ";
constexpr const char *ALIGNED = "comp_sw = KELVANE_COMP_SW_ALIGNED  ";
constexpr const char *UNDEFINED = "comp_sw = KELVANE_COMP_UNDEF  ";

const verdict_row verdicts[] = {
    {{2, 0}, {2, 6}, KELVANE_COMP_SW_FATAL_NOT_ALIGNED, nullptr},
    {{2, 7}, {2, ANY}, KELVANE_COMP_SW_FATAL_NOT_ALIGNED, UPDATE_NEEDED},
    {{0, 1}, {1, ANY}, KELVANE_COMP_SW_FATAL_NOT_ALIGNED, nullptr},
    // A firmware that gives no version counts as the oldest here, and only here.
    {{0, 0}, {0, 0}, KELVANE_COMP_SW_FATAL_NOT_ALIGNED, nullptr},
    {{6, 0}, {ANY, ANY}, KELVANE_COMP_UNDEF, UNDEFINED},
    {{5, 23}, {5, ANY}, KELVANE_COMP_UNDEF, UNDEFINED},
    {{3, 0}, {4, ANY}, KELVANE_COMP_SW_FATAL_NOT_ALIGNED, UPDATE_NEEDED},
    {{5, 0}, {5, 21}, KELVANE_COMP_SW_WARNING_NOT_ALIGNED, UPDATE_NOT_NEEDED},
    {{5, 22}, {5, 22}, KELVANE_COMP_SW_ALIGNED, ALIGNED},
};

const verdict_row &judge(firmware_version running)
{
    static const verdict_row unknown = {{}, {}, KELVANE_COMP_UNDEF, nullptr};
    for (const verdict_row &row : verdicts) {
        if (running >= row.first && running <= row.last) {
            return row;
        }
    }
    return unknown;
}

} // namespace

int32_t kelvane_software_version_comp_check(kelvane_handle handle, uint32_t *comp_sw)
{
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, " start ");
    *comp_sw = KELVANE_COMP_UNDEF;
    firmware_version running;
    const int32_t rc = get_running_firmware(handle, &running, LEVEL_INFO);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    TRACE(LEVEL_DEBUG, handle, KELVANE_ADDRESS_BOARD, " arm version running   %d 0x%04x %d 0x%04x ",
          static_cast<int>(running.major), running.major, static_cast<int>(running.minor), running.minor);
    TRACE(LEVEL_DEBUG, handle, KELVANE_ADDRESS_BOARD, " arm version supported %d 0x%04x %d 0x%04x ",
          static_cast<int>(SUPPORTED_FIRMWARE.major), SUPPORTED_FIRMWARE.major,
          static_cast<int>(SUPPORTED_FIRMWARE.minor), SUPPORTED_FIRMWARE.minor);

    const verdict_row &verdict = judge(running);
    *comp_sw = verdict.verdict;
    if (verdict.text != nullptr) {
        TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "%s", verdict.text);
        TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "end comp_sw = %d", static_cast<int>(*comp_sw));
    }
    return KELVANE_EOK;
}
