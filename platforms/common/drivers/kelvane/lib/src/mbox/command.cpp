#include "mbox/command.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "core/handle.h"
#include "core/mutex.h"
#include "core/thread.h"
#include "core/trace/trace.h"
#include "core/transaction_id.h"
#include "mbox/catalogue.h"
#include "mbox/model.h"
#include "mbox/receive.h"
#include "mbox/request_table.h"
#include "mbox/send.h"
#include "mbox/waiting.h"

namespace {

enum exchange_step {
    STEP_LOCK,
    STEP_SEND,
    STEP_RECEIVE,
};

struct exchange {
    const char *function; // that failures are logged under
    kelvane_handle handle;
    kelvane_device_address device_address;
    const mbox_data_header *header;
    const uint32_t *data;
    mbox_data_header *response_header; // null: no answer is awaited
    mbox_data *response_data;
    uint32_t delay_ns; // before the send
    command_path path;
};

// Logs a failed send or receive.
void report(const exchange &e, exchange_step step, int32_t rc)
{
    const char *const end = e.path == SPACED_PATH ? "\n" : "";
    if (step == STEP_SEND) {
        TRACE_AS(e.function, LEVEL_ERROR, e.handle, e.device_address,
                 "returned rc = %d on manage_cmd_send %s", rc, end);
    } else {
        TRACE_AS(e.function, LEVEL_ERROR, e.handle, e.device_address,
                 "returned rc = %d on manage_resp_receive %s", rc, end);
    }
    if (e.path == SHARED_PATH) {
        trace_mbox_header({e.handle, e.device_address}, MBOX_COMMAND,
                          step == STEP_SEND ? *e.header : *e.response_header, LEVEL_ERROR);
    }
}

// The link of the address's sirane; null, with a line in the log, where there is no such mailbox or handle.
sirane_link *link_of(kelvane_handle handle, kelvane_device_address device_address, mbox_id mbox)
{
    const uint32_t sirane_id = sirane_id_of_address(device_address);
    if (get_mbox_handler(sirane_id, mbox) == nullptr) {
        return nullptr;
    }
    sirane_link *link = find_link(handle, sirane_id);
    if (link == nullptr) {
        check_kelvane_handler_input(handle); // for its line
    }
    return link;
}

int32_t wait_for_turn(sirane_link &link)
{
    announced_wait turn(nullptr, &link.command_mutex);
    return turn.lock();
}

// Lock, send, receive, unlock; a failure of the two in the middle is reported before the unlock. `reached` is
// the step that the status belongs to.
int32_t run(const exchange &e, exchange_step *reached)
{
    *reached = STEP_LOCK;
    const trace_context at = {e.handle, e.device_address};
    sirane_link *link = link_of(e.handle, e.device_address, MBOX_COMMAND);
    if (link == nullptr) {
        return KELVANE_RET_CODE_GEN_ERR;
    }
    const mutex_guard held(&link->command_mutex, wait_for_turn(*link));
    if (held.status() != KELVANE_EOK) {
        return held.status();
    }
    if (e.delay_ns != 0) {
        kelvane_delay(0, e.delay_ns);
    }
    *reached = STEP_SEND;
    int32_t rc = manage_cmd_send(at, mailbox_of(link->sirane_id, MBOX_COMMAND), *e.header, e.data);
    if (rc == KELVANE_EOK && e.response_header != nullptr) {
        *reached = STEP_RECEIVE;
        rc = manage_resp_receive(at, *link, MBOX_RESPONSE, e.response_header, e.response_data, *e.header);
    }
    if (rc != KELVANE_EOK) {
        report(e, *reached, rc);
    }
    return rc;
}

} // namespace

int32_t command_prepare(command *c, command_id id, std::initializer_list<uint32_t> words)
{
    *c = command{};
    uint32_t version = 0;
    uint32_t bytes = 0;
    int32_t rc = kelvane_get_mbox_data_command_version(id, &version);
    if (rc == KELVANE_EOK) {
        rc = kelvane_get_mbox_data_max_data_size(id, &bytes);
    }
    uint32_t ref_id = 0;
    if (rc == KELVANE_EOK) {
        rc = kelvane_transaction_id_next(&ref_id);
    }
    if (rc != KELVANE_EOK) {
        return rc;
    }
    c->header = {id, ref_id, bytes / 4, version, MBOX_SYNC_WORD, 0};
    std::copy(words.begin(), words.end(), c->data);
    return KELVANE_EOK;
}

int32_t command_check(const operation &op)
{
    if (op.checks == CHECK_NOTHING) {
        return KELVANE_EOK;
    }
    int32_t rc = op.checks == CHECK_HANDLE ? KELVANE_EOK : check_device_address_input(op.device_address);
    if (rc == KELVANE_EOK && op.checks == CHECK_NETWORK_PORT) {
        rc = kelvane_check_dev_addr_srn_network_port(op.device_address);
    } else if (rc == KELVANE_EOK && op.checks == CHECK_HOST_PORT) {
        rc = kelvane_check_dev_addr_srn_host_port(op.device_address);
    } else if (rc == KELVANE_EOK && (op.checks == CHECK_SIRANE || op.checks == CHECK_SIRANE_ADDRESS)) {
        rc = kelvane_check_dev_addr_srn(op.device_address);
    }
    if (rc == KELVANE_EOK && op.checks != CHECK_SIRANE_ADDRESS) {
        rc = check_kelvane_handler_input(op.handle);
    }
    return rc;
}

int32_t command_exchange(command *c, const operation &op)
{
    const kelvane_device_address carrier = op.carrier != 0 ? op.carrier : op.device_address;
    const command_path path = mbox_data_table[op.command].path;
    if (path == SHARED_PATH) {
        return kelvane_manage_sync_call(op.handle, carrier, c->header, c->data, &c->response_header,
                                        &c->response);
    }
    exchange_step unused_step;
    return run({op.function, op.handle, carrier, &c->header, c->data, &c->response_header, &c->response,
                op.delay_ns, path},
               &unused_step);
}

int32_t command_run(command *c, const operation &op, std::initializer_list<uint32_t> words)
{
    int32_t rc = command_check(op);
    if (rc == KELVANE_EOK) {
        rc = command_prepare(c, op.command, words);
    }
    return rc != KELVANE_EOK ? rc : command_exchange(c, op);
}

int32_t command_set(const operation &op, std::initializer_list<uint32_t> words)
{
    TRACE_AS(op.function, LEVEL_INFO, op.handle, op.device_address, "start ");
    command c;
    const int32_t rc = command_run(&c, op, words);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    TRACE_AS(op.function, LEVEL_INFO, op.handle, op.device_address, "end ");
    return command_result(c);
}

int32_t command_get(const operation &op, std::initializer_list<uint32_t> words, uint32_t *out)
{
    TRACE_AS(op.function, LEVEL_INFO, op.handle, op.device_address, "start ");
    command c;
    const int32_t rc = command_run(&c, op, words);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    *out = c.response.word[2];
    TRACE_AS(op.function, LEVEL_INFO, op.handle, op.device_address, "end value = %08x ", *out);
    return command_result(c);
}

int32_t command_register(command *c, kelvane_handle handle, kelvane_device_address device_address,
                         mbox_id mbox, kelvane_asynch_type type, asynch_callback callback)
{
    sirane_link *link = link_of(handle, device_address, mbox);
    if (link == nullptr) {
        return KELVANE_RET_CODE_GEN_ERR;
    }
    asynch_req_t request{};
    request.header = c->header;
    request.fn_cb = callback;
    request.asynch_op_type = type;
    if (type == KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH) {
        std::copy(c->data, c->data + std::size(request.req_data), request.req_data);
    }
    uint32_t slot = ASYNCH_REQ_ID_NONE;
    const int32_t rc = insert_asynch_req({handle, device_address}, mailbox_of(link->sirane_id, mbox),
                                         link->requests, request, &slot);
    if (rc == KELVANE_EOK) {
        c->header.sy = slot;
    }
    return rc;
}

int32_t command_unregister(kelvane_handle handle, kelvane_device_address device_address, mbox_id mbox,
                           uint32_t fixed_slot)
{
    sirane_link *link = link_of(handle, device_address, mbox);
    return link == nullptr ? static_cast<int32_t>(KELVANE_RET_CODE_GEN_ERR)
                           : remove_asynch_req({handle, device_address}, mailbox_of(link->sirane_id, mbox),
                                               link->requests, fixed_slot);
}

int32_t command_send(command *c, kelvane_handle handle, kelvane_device_address device_address,
                     const char *function)
{
    exchange_step unused_step;
    return run({function, handle, device_address, &c->header, c->data, nullptr, nullptr, 0, OWN_PATH},
               &unused_step);
}

void command_copy_record(const command &c, void *record, size_t bytes)
{
    memcpy(record, &c.response.word[2], std::min(bytes, sizeof c.response.word - 8));
}

int32_t kelvane_manage_sync_call(kelvane_handle handle, kelvane_device_address device_address,
                                 const mbox_data_header &header, const uint32_t *data,
                                 mbox_data_header *response_header, mbox_data *response_data)
{
    TRACE(LEVEL_DEBUG, handle, device_address, "start ");
    int32_t rc = check_address_and_handle(device_address, handle);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    exchange_step reached;
    rc =
        run({__func__, handle, device_address, &header, data, response_header, response_data, 0, SHARED_PATH},
            &reached);
    if (rc != KELVANE_EOK && reached == STEP_LOCK) {
        return rc;
    }
    TRACE(LEVEL_DEBUG, handle, device_address, " end ");
    return rc;
}
