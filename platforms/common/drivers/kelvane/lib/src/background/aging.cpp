#include "background/aging.h"

#include "background/handlers.h"
#include "core/device_address.h"
#include "core/handle.h"
#include "core/trace/trace.h"
#include "mbox/request_table.h"

namespace {

constexpr uint32_t TIMED_OUT = KELVANE_RET_CODE_ETIMEDOUT;

// Tells the callback of an out-of-date request and frees it. A handler that fails leaves the record, to be
// tried again on the next pass.
int32_t report(kelvane_handle handle, kelvane_device_address device_address, const mailbox_handler *mb,
               uint32_t id)
{
    kelvane_handle_record *record = handle_record(handle);
    const uint32_t sirane_id = fields_of(device_address).sirane;
    if (record == nullptr || sirane_id >= SIRANE_COUNT) {
        return KELVANE_RET_CODE_EINVAL;
    }
    asynch_req_t *array = record->asynch_req_array[sirane_id];
    kelvane_mutex *lock = &record->asynch_req_lock[sirane_id];

    asynch_req_t request{};
    int32_t rc = get_asynch_req(handle, device_address, mb, array, lock, id, &request);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    mbox_data_header header = request.header;
    header.size = 0;
    header.rc = TIMED_OUT;
    mbox_answer_handler handler = nullptr;
    rc = kelvane_get_cb_fn_data_table(request.header.cmd, &handler);
    if (rc == KELVANE_EOK) {
        rc = handler == nullptr ? static_cast<int32_t>(KELVANE_RET_CODE_GEN_ERR)
                                : handler(handle, mb, header, request);
    }
    return rc != KELVANE_EOK ? rc : remove_asynch_req(handle, device_address, mb, array, lock, id);
}

} // namespace

int32_t kelvane_manage_asynch_req_aging(kelvane_handle handle, kelvane_device_address device_address,
                                        const mailbox_handler *mb, asynch_req_t *array, kelvane_mutex *lock)
{
    int32_t rc = KELVANE_EOK;
    for (uint32_t id = 0; id < ASYNCH_REQ_STANDARD_SLOTS; id++) {
        uint32_t out_of_date = 0;
        rc = increase_aging_asynch_req(handle, device_address, mb, array, lock, id);
        if (rc == KELVANE_EOK) {
            rc = is_out_of_date_asynch_req(handle, device_address, mb, array, lock, id, &out_of_date);
        }
        if (rc == KELVANE_EOK && out_of_date == 1) {
            TRACE(LEVEL_ERROR, handle, device_address, "ERROR is_out_of_date req id %d ",
                  static_cast<int>(id));
            rc = report(handle, device_address, mb, id);
        }
        if (rc != KELVANE_EOK) {
            TRACE(LEVEL_ERROR, handle, device_address, "ERROR problem with req id %d  ",
                  static_cast<int>(id));
            print_asynch_req_array_copy(handle, device_address, mb, array, lock, LEVEL_ERROR);
        }
    }
    return rc;
}
