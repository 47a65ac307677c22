#include "background/handlers.h"

#include <algorithm>
#include <type_traits>

#include "core/trace/trace.h"
#include "mbox/message.h"
#include "mbox/model.h"
#include "mbox/request_table.h"

static_assert(std::is_same_v<kelvane_set_laser_cb, kelvane_set_traffic_type_cb>);

namespace {

// Words of the data of a laser or traffic-type answer, as they were sent.
enum { WORD_HANDLE, WORD_DEVICE_ADDRESS, WORD_VALUE, WORD_TRANSACTION_ID, REQUEST_WORDS };

int32_t complete_request(kelvane_handle handle, const mailbox_handler *mb, const mbox_data_header &header,
                         const asynch_req_t &record, const char *function)
{
    const kelvane_device_address sirane = KELVANE_ADDRESS_SIRANE(mbox_fields(mb).sirane_id);
    TRACE_AS(function, LEVEL_INFO, handle, sirane, "ref id = %x ", header.ref_id);
    if (record.fn_cb == nullptr) {
        return KELVANE_RET_CODE_EINVAL;
    }
    mbox_data data{};
    if (is_aging_expired(record.aging_time)) { // nothing came: the request speaks for itself
        std::copy(record.req_data, record.req_data + REQUEST_WORDS, data.word);
    } else {
        const int32_t rc = read_mbox_data(handle, mb, &data, header.size);
        if (rc != KELVANE_EOK) {
            return rc;
        }
    }
    const kelvane_device_address device_address = data.word[WORD_DEVICE_ADDRESS];
    const uint32_t transaction_id = data.word[WORD_TRANSACTION_ID];
    TRACE_AS(function, LEVEL_INFO, handle, device_address,
             "calling callback function handler=%d dev_addr=0x%08x tr_id=%d rc=0x%x",
             static_cast<int>(handle), device_address, static_cast<int>(transaction_id), header.rc);
    const auto callback = reinterpret_cast<kelvane_set_laser_cb>(record.fn_cb);
    const int32_t rc = callback(handle, device_address, transaction_id, static_cast<int32_t>(header.rc));
    if (rc != KELVANE_EOK) {
        TRACE_AS(function, LEVEL_ERROR, handle, device_address, "ERROR after calling callback rc = %x",
                 static_cast<unsigned>(rc));
    }
    return KELVANE_EOK;
}

} // namespace

int32_t mbox_manage_asynch_set_traffic_type(kelvane_handle handle, const mailbox_handler *mb,
                                            mbox_data_header header, asynch_req_t record)
{
    return complete_request(handle, mb, header, record, __func__);
}

int32_t mbox_manage_asynch_set_laser(kelvane_handle handle, const mailbox_handler *mb,
                                     mbox_data_header header, asynch_req_t record)
{
    return complete_request(handle, mb, header, record, __func__);
}

const cb_fn_data_row cb_fn_data_table[COMMAND_COUNT] = {
    {0, mbox_manage_asynch_set_traffic_type},
    {1, nullptr},
    {2, mbox_manage_asynch_set_laser},
    {3, nullptr},
    {4, nullptr},
    {5, nullptr},
    {6, nullptr},
    {7, nullptr},
    {8, nullptr},
    {9, nullptr},
    {10, nullptr},
    {11, nullptr},
    {12, nullptr},
    {13, nullptr},
    {14, nullptr},
    {15, nullptr},
    {16, nullptr},
    {17, nullptr},
    {18, nullptr},
    {19, nullptr},
    {20, nullptr},
    {21, nullptr},
    {22, nullptr},
    {23, nullptr},
    {24, mbox_manage_enable_pm_notify},
    {25, nullptr},
    {26, nullptr},
    {27, nullptr},
    {28, nullptr},
    {29, nullptr},
    {30, nullptr},
    {31, nullptr},
    {32, nullptr},
    {33, nullptr},
    {34, nullptr},
    {35, mbox_manage_enable_alarms_notify},
    {36, nullptr},
    {37, mbox_manage_notify_plugin},
    {38, nullptr},
    {39, nullptr},
    {40, nullptr},
    {41, mbox_manage_app_zynq_restart_notify},
    {42, nullptr},
    {43, nullptr},
    {44, nullptr},
    {45, nullptr},
    {46, nullptr},
    {47, nullptr},
    {48, nullptr},
    {49, nullptr},
    {50, nullptr},
    {51, nullptr},
    {52, nullptr},
    {53, nullptr},
    {54, nullptr},
    {55, nullptr},
    {56, nullptr},
    {57, nullptr},
    {58, nullptr},
    {59, nullptr},
    {60, nullptr},
    {61, nullptr},
    {62, nullptr},
    {63, nullptr},
    {64, nullptr},
    {65, nullptr},
};

int32_t kelvane_get_cb_fn_data_table(uint32_t command, mbox_answer_handler *callback_out)
{
    *callback_out = nullptr;
    if (command >= COMMAND_COUNT) {
        TRACE(LEVEL_ERROR, NO_HANDLE, NO_ADDRESS, "invalid command= %d ", static_cast<int>(command));
        return KELVANE_RET_CODE_EINVAL;
    }
    *callback_out = cb_fn_data_table[command].handler;
    return KELVANE_EOK;
}
