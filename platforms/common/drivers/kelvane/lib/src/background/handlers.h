// The handlers of asynchronous answers: each turns one kind of message into a call to the application.
#ifndef BACKGROUND_HANDLERS_H
#define BACKGROUND_HANDLERS_H

#include <cstdint>

#include "core/trace_context.h"
#include "kelvane.h"
#include "kelvane_mbox.h"
#include "mbox/catalogue.h"

// The record is of the handler's type; a request's may also be free, and then has no callback. A status other
// than KELVANE_EOK refuses the message.
using mbox_answer_handler = int32_t (*)(kelvane_handle handle, const mailbox_handler &mb,
                                        const mbox_data_header &header, const asynch_req_t &record);

struct answer_handler {
    kelvane_asynch_type type; // of the record that the message must belong to
    mbox_answer_handler run;  // null: the command has no such message
};

extern const answer_handler cb_fn_data_table[ANSWER_KINDS]; // by the catalogue's column `answer`

// The handler of a command's messages. KELVANE_EOK, or KELVANE_RET_CODE_EINVAL for a command beyond the
// catalogue.
int32_t kelvane_get_cb_fn_data_table(uint32_t command, answer_handler *handler_out);

// Logs the failure of a callback where it does not refuse the message; nothing for KELVANE_EOK.
void trace_callback_failure(trace_context at, int32_t rc, const char *function);

// Completion of a request with a callback: by an answer, or after the time limit by the stored request with
// the code in the header's `rc`. The callback's failure is only logged. Return KELVANE_EOK,
// KELVANE_RET_CODE_EINVAL for a record without a callback, or the failure to read the message.
int32_t mbox_manage_asynch_set_traffic_type(kelvane_handle handle, const mailbox_handler &mb,
                                            const mbox_data_header &header, const asynch_req_t &record);
int32_t mbox_manage_asynch_set_laser(kelvane_handle handle, const mailbox_handler &mb,
                                     const mbox_data_header &header, const asynch_req_t &record);

// A batch of performance data, an alarm change: decoded, traced, and given to the subscription's callback,
// whose failure is only logged. Return KELVANE_EOK or the failure to read the message.
int32_t mbox_manage_enable_pm_notify(kelvane_handle handle, const mailbox_handler &mb,
                                     const mbox_data_header &header, const asynch_req_t &record);
int32_t mbox_manage_enable_alarms_notify(kelvane_handle handle, const mailbox_handler &mb,
                                         const mbox_data_header &header, const asynch_req_t &record);

// A module plugged or unplugged, a restart of the firmware. Here the callback's failure is returned, and
// refuses the message.
int32_t mbox_manage_notify_plugin(kelvane_handle handle, const mailbox_handler &mb,
                                  const mbox_data_header &header, const asynch_req_t &record);
int32_t mbox_manage_app_zynq_restart_notify(kelvane_handle handle, const mailbox_handler &mb,
                                            const mbox_data_header &header, const asynch_req_t &record);

// Brings the data of a performance notification of version 0 to the current layout, in place. Returns
// KELVANE_EOK.
int32_t kelvane_post_proc_enable_pm_notify(kelvane_handle handle, mbox_data *data,
                                           const mbox_data_header &header);

#endif
