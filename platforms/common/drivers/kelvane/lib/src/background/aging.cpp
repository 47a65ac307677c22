#include "background/aging.h"

#include "background/handlers.h"
#include "core/device_address.h"
#include "core/handle.h"
#include "core/trace/trace.h"
#include "mbox/request_table.h"

namespace {

constexpr uint32_t TIMED_OUT = KELVANE_RET_CODE_ETIMEDOUT;

// Reports an out-of-date request to its callback and frees it. A handler that fails leaves the record for the
// next pass to try again.
int32_t report(trace_context at, const mailbox_handler &mb, uint32_t id)
{
    sirane_link *link = find_link(at.handle, fields_of(at.address).sirane);
    if (link == nullptr) {
        return KELVANE_RET_CODE_EINVAL;
    }
    asynch_req_t request{};
    int32_t rc = get_asynch_req(at, mb, link->requests, id, &request);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    mbox_data_header header = request.header;
    header.size = 0;
    header.rc = TIMED_OUT;
    answer_handler handler{};
    rc = kelvane_get_cb_fn_data_table(request.header.cmd, &handler);
    if (rc == KELVANE_EOK) {
        rc = handler.run == nullptr ? static_cast<int32_t>(KELVANE_RET_CODE_GEN_ERR)
                                    : handler.run(at.handle, mb, header, request);
    }
    return rc != KELVANE_EOK ? rc : remove_asynch_req(at, mb, link->requests, id);
}

} // namespace

int32_t kelvane_manage_asynch_req_aging(trace_context at, const mailbox_handler &mb, request_table &requests)
{
    int32_t rc = KELVANE_EOK;
    for (uint32_t id = 0; id < ASYNCH_REQ_STANDARD_SLOTS; id++) {
        bool out_of_date = false;
        rc = increase_aging_asynch_req(at, mb, requests, id);
        if (rc == KELVANE_EOK) {
            rc = is_out_of_date_asynch_req(at, mb, requests, id, &out_of_date);
        }
        if (rc == KELVANE_EOK && out_of_date) {
            TRACE_AT(mb.error_level, at, "ERROR is_out_of_date req id %d ", static_cast<int>(id));
            rc = report(at, mb, id);
        }
        if (rc != KELVANE_EOK) {
            TRACE_AT(mb.error_level, at, "ERROR problem with req id %d  ", static_cast<int>(id));
            print_asynch_req_array(at, mb.mbox, requests, mb.header_level);
        }
    }
    return rc;
}
