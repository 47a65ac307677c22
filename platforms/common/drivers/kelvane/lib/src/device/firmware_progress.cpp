// How far the firmware has come with an image, from the bytes it publishes while it works.
#include "card/info_tables.h"
#include "core/device_address.h"
#include "core/handle.h"
#include "core/trace/trace.h"
#include "device/firmware_image.h"

namespace {

constexpr uint32_t REPORTED_PERCENT_MAX = 99; // completion shows in the command's return

struct download_address {
    uint32_t download_device;
    kelvane_device_address device_address;
};

constexpr download_address DOWNLOAD_ADDRESSES[] = {
    {KELVANE_DOWNLOAD_SIRANE, KELVANE_ADDRESS_SIRANE(0)},
    {DOWNLOAD_XPM2, KELVANE_ADDRESS_NETWORK_PORT(0, 0)},
    {KELVANE_DOWNLOAD_HESPERA, KELVANE_ADDRESS_BOARD},
};

constexpr uint32_t NO_PROGRESS_FIELD = 32;

// The lowest bit of the address's byte in the progress word, or NO_PROGRESS_FIELD with the status in `rc`.
uint32_t progress_field(kelvane_handle handle, kelvane_device_address device_address, int32_t *rc)
{
    const address_fields a = fields_of(device_address);
    if (a.network_port == 1) {
        return 0;
    }
    if (a.network_port == 0) {
        return 8;
    }
    if (a.network_port != ADDRESS_FIELD_NONE) {
        TRACE_AS("kelvane_get_progress", LEVEL_ERROR, handle, device_address, "invalid xpm2_id %d ",
                 static_cast<int>(a.network_port));
        *rc = KELVANE_RET_CODE_EINVAL;
        return NO_PROGRESS_FIELD;
    }
    if (a.sirane != ADDRESS_FIELD_NONE) {
        return 16;
    }
    if (a.type != ADDRESS_TYPE_SIRANE) {
        return 24;
    }
    TRACE_AS("kelvane_get_progress", LEVEL_ERROR, handle, device_address, "invalid kelvane_device_address ");
    *rc = KELVANE_EOK; // an address that names nothing is logged, but no error
    return NO_PROGRESS_FIELD;
}

} // namespace

int32_t kelvane_get_progress(kelvane_handle handle, kelvane_device_address device_address, uint32_t fpd_op,
                             uint32_t *progress)
{
    int32_t rc = check_kelvane_handler_input(handle);
    const uint32_t sirane = fields_of(device_address).sirane;
    sirane_info_table_image table{};
    if (rc == KELVANE_EOK) {
        rc = kelvane_get_sirane_subsys_info_table(handle, sirane == ADDRESS_FIELD_NONE ? 0 : sirane, &table);
    }
    if (rc != KELVANE_EOK) {
        return rc;
    }
    const uint32_t field = progress_field(handle, device_address, &rc);
    if (field == NO_PROGRESS_FIELD) {
        return rc;
    }
    const uint32_t byte = table.word[SIRANE_PROGRESS] >> field & 0xFF;
    uint32_t percent = byte & 0x7F;
    if (byte >> 7 != fpd_op) {
        TRACE(LEVEL_INFO, handle, device_address, "invalid operation request %d progress %d ",
              static_cast<int>(fpd_op), static_cast<int>(percent));
        percent = 0;
    } else if (percent > REPORTED_PERCENT_MAX) {
        TRACE(LEVEL_INFO, handle, device_address, "scaling %d value ", static_cast<int>(percent));
        percent = REPORTED_PERCENT_MAX;
    }
    *progress = percent;
    return KELVANE_EOK;
}

int32_t kelvane_get_download_progress(kelvane_handle handle, uint32_t download_device, uint32_t *progress)
{
    for (const download_address &row : DOWNLOAD_ADDRESSES) {
        if (row.download_device == download_device) {
            return kelvane_get_progress(handle, row.device_address, FPD_DOWNLOAD, progress);
        }
    }
    TRACE(LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, "operation not allowed on device %d ",
          static_cast<int>(download_device));
    return KELVANE_RET_CODE_EINVAL;
}

int32_t kelvane_get_program_progress(kelvane_handle handle, kelvane_device_address device_address,
                                     uint32_t *progress)
{
    return kelvane_get_progress(handle, device_address, FPD_PROGRAM, progress);
}
