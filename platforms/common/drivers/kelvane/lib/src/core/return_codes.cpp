#include "kelvane.h"

namespace {

struct return_code_row {
    int32_t code;
    const char *name;
};

const return_code_row return_codes[] = {
    {KELVANE_EOK, " KELVANE_EOK                          "},
    {KELVANE_RET_CODE_EBUSY, " KELVANE_RET_CODE_EBUSY               "},
    {KELVANE_RET_CODE_EINVAL, " KELVANE_RET_CODE_EINVAL              "},
    {KELVANE_RET_CODE_ETIMEDOUT, " KELVANE_RET_CODE_ETIMEDOUT           "},
    {KELVANE_RET_CODE_GEN_ERR, " KELVANE_RET_CODE_GEN_ERR             "},
    {KELVANE_RET_CODE_HW_PROBLEM, " KELVANE_RET_CODE_HW_PROBLEM          "},
    {KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM, " KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM"},
    {KELVANE_RET_CODE_VERSION_MISMATCH, " KELVANE_RET_CODE_VERSION_MISMATCH    "},
    {KELVANE_RET_CODE_DEVICE_UNAVAILABLE, " KELVANE_RET_CODE_DEVICE_UNAVAILABLE  "},
    {KELVANE_RET_CODE_DEVICE_NOT_READY, " KELVANE_RET_CODE_DEVICE_NOT_READY    "},
};

} // namespace

const char *kelvane_rc_to_string(int32_t code)
{
    for (const return_code_row &row : return_codes) {
        if (row.code == code) {
            return row.name;
        }
    }
    return kelvane_arm_error_to_string(code);
}
