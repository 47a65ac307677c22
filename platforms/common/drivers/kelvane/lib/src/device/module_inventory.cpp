// The inventory of a pluggable module, and the check of a firmware image.
#include "device/module_inventory.h"

#include <cstddef>
#include <cstring>

#include "card/running_firmware.h"
#include "core/device_address.h"
#include "core/field_trace.h"
#include "core/handle.h"
#include "core/trace/trace.h"
#include "mbox/command.h"

static_assert(sizeof(kelvane_xpm2_inventory_t) == 232);
static_assert(offsetof(kelvane_xpm2_inventory_t, module_hardware_version_number) == 68);
static_assert(offsetof(kelvane_xpm2_inventory_t, vid) == 170);
static_assert(offsetof(kelvane_xpm2_inventory_t, type) == 188);
static_assert(offsetof(kelvane_xpm2_inventory_t, nolva_supplied_vendor_id) == 228);

namespace {

constexpr firmware_version SHORT_VID_FIRMWARE = {2, 7};
constexpr size_t SHORT_VID_BYTES = 4;

#define AT(field) offsetof(kelvane_xpm2_inventory_t, field)

constexpr traced_field fields_up_to_type[] = {
    {"deviation                                %s  ", AT(deviation), FIELD_TEXT_16},
    {"part_number                              %s  ", AT(part_number), FIELD_TEXT_16},
    {"serial_number                            %s  ", AT(serial_number), FIELD_TEXT_16},
    {"date_code_number                         %s  ", AT(date_code_number), FIELD_TEXT_10},
    {"CLEI_code_number                         %s  ", AT(CLEI_code_number), FIELD_TEXT_10},
    {"module_hardware_version_number           %04x", AT(module_hardware_version_number), FIELD_HALF_WORD},
    {"module_firmware_running_version_number   %04x", AT(module_firmware_running_version_number),
     FIELD_HALF_WORD},
    {"module_firmware_committed_version_number %04x", AT(module_firmware_committed_version_number),
     FIELD_HALF_WORD},
    {"vendorname                               %s  ", AT(vendorname), FIELD_TEXT_16},
    {"description                              %s  ", AT(description), FIELD_TEXT_64},
    {"pid                                      %s  ", AT(pid), FIELD_TEXT_16},
    {"vid                                      %s  ", AT(vid), FIELD_TEXT_16},
    {"type                                     %d  ", AT(type), FIELD_WORD},
};

constexpr traced_field fields_after_type[] = {
    {"oif_aco_bool                           0x%x  ", AT(oif_aco_bool), FIELD_WORD},
    {"nolva_part_number                      %s    ", AT(nolva_part_number), FIELD_TEXT_16},
    {"nolva_serial_number                    %s    ", AT(nolva_serial_number), FIELD_TEXT_16},
    {"nolva_supplied_vendor_id               0x%x  ", AT(nolva_supplied_vendor_id), FIELD_WORD},
};

#undef AT

const char *type_text(int32_t type)
{
    switch (type) {
    case KELVANE_XPM2_TYPE_ELECTRICAL:
        return " XPM ELECTRICAL ";
    case KELVANE_XPM2_TYPE_OPTICAL:
        return " XPM OPTICAL    ";
    default:
        return " XPM UNKNOWN    ";
    }
}

void trace_inventory(kelvane_handle handle, kelvane_device_address device_address,
                     const kelvane_xpm2_inventory_t &record)
{
    constexpr const char *name = "kelvane_get_xpm2_inventory_inf";
    trace_fields(LEVEL_INFO, handle, device_address, name, fields_up_to_type, &record);
    TRACE_AS(name, LEVEL_INFO, handle, device_address, "%s", type_text(record.type));
    trace_fields(LEVEL_INFO, handle, device_address, name, fields_after_type, &record);
}

} // namespace

void kelvane_manage_vid_inc(kelvane_handle handle, kelvane_xpm2_inventory_t *record)
{
    firmware_version running; // still 0.0 after a failed inquiry, and thus the newest
    get_running_firmware(handle, &running, LEVEL_INFO);
    TRACE(LEVEL_INFO, handle, NO_ADDRESS, "full_ver 0x%08x inc_full_ver 0x%08x", running.to_word(),
          SHORT_VID_FIRMWARE.to_word());
    if (running >= SHORT_VID_FIRMWARE) {
        memset(record->vid + SHORT_VID_BYTES, 0, sizeof record->vid - SHORT_VID_BYTES);
    }
}

void kelvane_post_proc_get_xpm2_inventory_inf(kelvane_handle handle, kelvane_xpm2_inventory_t *record,
                                              const mbox_data_header &response_header)
{
    if (response_header.version > 1) {
        return;
    }
    if (response_header.version == 0) {
        record->oif_aco_bool = -1;
        TRACE(LEVEL_DEBUG, handle, NO_ADDRESS, "box_data_header_var_out->version = %d  post proc done ",
              static_cast<int>(response_header.version));
    }
    memset(record->nolva_part_number, 0, sizeof record->nolva_part_number);
    memset(record->nolva_serial_number, 0, sizeof record->nolva_serial_number);
    record->nolva_supplied_vendor_id = -1;
}

int32_t kelvane_get_xpm2_inventory_inf(kelvane_handle handle, kelvane_device_address device_address,
                                       kelvane_xpm2_inventory_t *record)
{
    const operation op = {CMD_GET_XPM2_INVENTORY_INF, CHECK_NETWORK_PORT, __func__, handle, device_address};
    int32_t rc = command_check(op);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    TRACE(LEVEL_INFO, handle, device_address, "start "); // after the checks, unlike in other operations
    command c;
    rc = command_run(&c, op, {handle, device_address});
    if (rc != KELVANE_EOK) {
        return rc;
    }
    command_copy_record(c, record, sizeof *record);
    kelvane_manage_vid_inc(handle, record);
    kelvane_post_proc_get_xpm2_inventory_inf(handle, record, c.response_header);
    trace_inventory(handle, device_address, *record);
    return command_result(c);
}

int32_t kelvane_get_zynq_rsa_check(kelvane_handle handle, int32_t run_type, uint32_t *rsa_check)
{
    int32_t rc = check_kelvane_handler_input(handle);
    if (rc == KELVANE_EOK && run_type != KELVANE_ZYNQ_RUN_WORKING && run_type != KELVANE_ZYNQ_RUN_GOLDEN) {
        TRACE(LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, " Invalid parameter ");
        rc = KELVANE_RET_CODE_EINVAL;
    }
    command c;
    if (rc == KELVANE_EOK) {
        rc = command_run(&c,
                         {CMD_GET_ZYNQ_RSA_CHECK, CHECK_HANDLE, __func__, handle, KELVANE_ADDRESS_SIRANE(0)},
                         {handle, static_cast<uint32_t>(run_type), 0});
    }
    if (rc == KELVANE_EOK) { // the error word of the answer is ignored
        *rsa_check = c.response.word[2];
    }
    return rc;
}
