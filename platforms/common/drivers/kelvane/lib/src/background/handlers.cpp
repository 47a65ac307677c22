#include "background/handlers.h"

#include <algorithm>
#include <type_traits>

#include "core/trace/trace.h"
#include "mbox/message.h"
#include "mbox/model.h"
#include "mbox/request_table.h"

static_assert(std::is_same_v<kelvane_set_laser_cb, kelvane_set_traffic_type_cb>);

namespace {

// The data words of a laser or traffic-type answer: those of its request.
enum { WORD_HANDLE, WORD_DEVICE_ADDRESS, WORD_VALUE, WORD_TRANSACTION_ID, REQUEST_WORDS };

int32_t complete_request(kelvane_handle handle, const mailbox_handler &mb, const mbox_data_header &header,
                         const asynch_req_t &record, const char *function)
{
    const kelvane_device_address sirane = KELVANE_ADDRESS_SIRANE(mb.sirane_id);
    TRACE_AS(function, LEVEL_INFO, handle, sirane, "ref id = %x ", header.ref_id);
    if (record.fn_cb.completion == nullptr) {
        return KELVANE_RET_CODE_EINVAL;
    }
    mbox_data data{};
    if (is_aging_expired(record.aging_time)) { // no answer came: the stored request takes its place
        std::copy(record.req_data, record.req_data + REQUEST_WORDS, data.word);
    } else {
        const int32_t rc = read_mbox_data(handle, mb, &data, header.size);
        if (rc != KELVANE_EOK) {
            return rc;
        }
    }
    const kelvane_device_address device_address = record.req_data[WORD_DEVICE_ADDRESS];
    const uint32_t transaction_id = record.req_data[WORD_TRANSACTION_ID];
    if (data.word[WORD_DEVICE_ADDRESS] != device_address ||
        data.word[WORD_TRANSACTION_ID] != transaction_id) {
        TRACE_AS(function, LEVEL_ERROR, handle, sirane,
                 "ERROR answer names dev_addr=0x%08x tr_id=%d, its request other ones ",
                 data.word[WORD_DEVICE_ADDRESS], static_cast<int>(data.word[WORD_TRANSACTION_ID]));
    }
    TRACE_AS(function, LEVEL_INFO, handle, device_address,
             "calling callback function handler=%d dev_addr=0x%08x tr_id=%d rc=0x%x",
             static_cast<int>(handle), device_address, static_cast<int>(transaction_id), header.rc);
    trace_callback_failure(
        {handle, device_address},
        record.fn_cb.completion(handle, device_address, transaction_id, static_cast<int32_t>(header.rc)),
        function);
    return KELVANE_EOK;
}

} // namespace

void trace_callback_failure(trace_context at, int32_t rc, const char *function)
{
    if (rc != KELVANE_EOK) {
        TRACE_AT_AS(function, LEVEL_ERROR, at, "ERROR after calling callback rc = %x",
                    static_cast<unsigned>(rc));
    }
}

int32_t mbox_manage_asynch_set_traffic_type(kelvane_handle handle, const mailbox_handler &mb,
                                            const mbox_data_header &header, const asynch_req_t &record)
{
    return complete_request(handle, mb, header, record, __func__);
}

int32_t mbox_manage_asynch_set_laser(kelvane_handle handle, const mailbox_handler &mb,
                                     const mbox_data_header &header, const asynch_req_t &record)
{
    return complete_request(handle, mb, header, record, __func__);
}

const answer_handler cb_fn_data_table[ANSWER_KINDS] = {
    {KELVANE_ASYNCH_TYPE_OP_UNDEF, nullptr},
    {KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH, mbox_manage_asynch_set_traffic_type},
    {KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH, mbox_manage_asynch_set_laser},
    {KELVANE_ASYNCH_TYPE_OP_PM, mbox_manage_enable_pm_notify},
    {KELVANE_ASYNCH_TYPE_OP_ALARM, mbox_manage_enable_alarms_notify},
    {KELVANE_ASYNCH_TYPE_OP_NOTIFY_PLUGIN, mbox_manage_notify_plugin},
    {KELVANE_ASYNCH_TYPE_OP_APP_ZYNQ_RESTART_NOTIFY, mbox_manage_app_zynq_restart_notify},
};

int32_t kelvane_get_cb_fn_data_table(uint32_t command, answer_handler *handler_out)
{
    *handler_out = {};
    if (command >= COMMAND_COUNT) {
        TRACE(LEVEL_ERROR, NO_HANDLE, NO_ADDRESS, "invalid command= %d ", static_cast<int>(command));
        return KELVANE_RET_CODE_EINVAL;
    }
    *handler_out = cb_fn_data_table[mbox_data_table[command].answer];
    return KELVANE_EOK;
}
