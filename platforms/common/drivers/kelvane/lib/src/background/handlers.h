// The handlers of asynchronous answers: each turns one kind of message into a call of the application.
#ifndef BACKGROUND_HANDLERS_H
#define BACKGROUND_HANDLERS_H

#include <cstdint>

#include "kelvane.h"
#include "kelvane_mbox.h"

// `header` and `record` are copies. A status other than 0 refuses the message.
using mbox_answer_handler = int32_t (*)(kelvane_handle handle, const mailbox_handler *mb,
                                        mbox_data_header header, asynch_req_t record);

struct cb_fn_data_row {
    uint32_t command; // equal to the row's index
    mbox_answer_handler handler;
};

extern const cb_fn_data_row cb_fn_data_table[COMMAND_COUNT];

// The handler of a command, null for a command without one. 0, or 22 for a command above the table.
int32_t kelvane_get_cb_fn_data_table(uint32_t command, mbox_answer_handler *callback_out);

// Completion of a request with a callback: an answer, or after the time limit the stored request with the
// code in `rc`. The application's failure is logged and is not the message's. Return 0, 22 for a record
// without callback, or the failure of reading the message.
int32_t mbox_manage_asynch_set_traffic_type(kelvane_handle handle, const mailbox_handler *mb,
                                            mbox_data_header header, asynch_req_t record);
int32_t mbox_manage_asynch_set_laser(kelvane_handle handle, const mailbox_handler *mb,
                                     mbox_data_header header, asynch_req_t record);

// A batch of performance data, an alarm change: decoded, traced, and given to the subscription's callback,
// whose failure is logged and is not the message's. Return 0, or the failure of reading the message.
int32_t mbox_manage_enable_pm_notify(kelvane_handle handle, const mailbox_handler *mb,
                                     mbox_data_header header, asynch_req_t record);
int32_t mbox_manage_enable_alarms_notify(kelvane_handle handle, const mailbox_handler *mb,
                                         mbox_data_header header, asynch_req_t record);

// A module plugged or unplugged, a restart of the firmware. Here the callback's failure refuses the message.
int32_t mbox_manage_notify_plugin(kelvane_handle handle, const mailbox_handler *mb, mbox_data_header header,
                                  asynch_req_t record);
int32_t mbox_manage_app_zynq_restart_notify(kelvane_handle handle, const mailbox_handler *mb,
                                            mbox_data_header header, asynch_req_t record);

// The data of a performance notification of version 0, brought to the current layout in place. Returns 0.
int32_t kelvane_post_proc_enable_pm_notify(kelvane_handle handle, mbox_data *data,
                                           const mbox_data_header &header);

#endif
