// The library's verdict on the firmware that it finds.
#include "core/trace/trace.h"
#include "kelvane.h"

namespace {

constexpr uint32_t SUPPORTED_MAJOR = 5;
constexpr uint32_t SUPPORTED_MINOR = 22;
constexpr uint32_t ANY = 0xFFFFFFFF;

// Rows in the order of testing; a firmware that no row holds is undefined. A verdict without a text is
// given without a word in the log.
struct verdict_row {
    uint32_t first_major, last_major;
    uint32_t first_minor, last_minor;
    uint32_t verdict;
    const char *text;
};

const verdict_row verdicts[] = {
    {2, 2, 0, 6, KELVANE_COMP_SW_FATAL_NOT_ALIGNED, nullptr},
    {2, 2, 7, ANY, KELVANE_COMP_SW_FATAL_NOT_ALIGNED,
     "comp_sw = KELVANE_COMP_SW_FATAL_NOT_ALIGNED - updtate needed "},
    {0, 1, 0, ANY, KELVANE_COMP_SW_FATAL_NOT_ALIGNED, nullptr},
    {6, ANY, 0, ANY, KELVANE_COMP_UNDEF, "comp_sw = KELVANE_COMP_UNDEF  "},
    {5, 5, 23, ANY, KELVANE_COMP_UNDEF, "comp_sw = KELVANE_COMP_UNDEF  "},
    {3, 4, 0, ANY, KELVANE_COMP_SW_FATAL_NOT_ALIGNED,
     "comp_sw = KELVANE_COMP_SW_FATAL_NOT_ALIGNED - updtate needed "},
    {5, 5, 0, 21, KELVANE_COMP_SW_WARNING_NOT_ALIGNED,
     "comp_sw = KELVANE_COMP_SW_WARNING_NOT_ALIGNED - updtate not needed  "},
    {5, 5, 22, 22, KELVANE_COMP_SW_ALIGNED, "comp_sw = KELVANE_COMP_SW_ALIGNED  "},
};

const verdict_row &judge(uint32_t major, uint32_t minor)
{
    static const verdict_row unknown = {0, 0, 0, 0, KELVANE_COMP_UNDEF, nullptr};
    for (const verdict_row &row : verdicts) {
        if (major >= row.first_major && major <= row.last_major && minor >= row.first_minor &&
            minor <= row.last_minor) {
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
    uint32_t major = 0;
    uint32_t minor = 0;
    const int32_t rc = kelvane_get_software_running(handle, KELVANE_ADDRESS_BOARD, &major, &minor);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    TRACE(LEVEL_DEBUG, handle, KELVANE_ADDRESS_BOARD, " arm version running   %d 0x%04x %d 0x%04x ",
          static_cast<int>(major), major, static_cast<int>(minor), minor);
    TRACE(LEVEL_DEBUG, handle, KELVANE_ADDRESS_BOARD, " arm version supported %d 0x%04x %d 0x%04x ",
          static_cast<int>(SUPPORTED_MAJOR), SUPPORTED_MAJOR, static_cast<int>(SUPPORTED_MINOR),
          SUPPORTED_MINOR);

    const verdict_row &verdict = judge(major, minor);
    *comp_sw = verdict.verdict;
    if (verdict.text != nullptr) {
        TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "%s", verdict.text);
        TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "end comp_sw = %d", static_cast<int>(*comp_sw));
    }
    return KELVANE_EOK;
}
