#include "mbox/request_table.h"

#include <iterator>

#include "card/running_firmware.h"
#include "core/handle.h"
#include "core/mutex.h"
#include "core/thread.h"
#include "core/trace/trace.h"
#include "mbox/model.h"

namespace {

struct type_row {
    uint32_t type;
    const char *name;
    uint32_t fixed_slot; // ASYNCH_REQ_ID_NONE: the lowest free standard slot
};

constexpr type_row types[] = {
    {KELVANE_ASYNCH_TYPE_OP_UNDEF, "KELVANE_ASYNCH_TYPE_OP_UNDEF", ASYNCH_REQ_ID_NONE},
    {KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH, "KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH", ASYNCH_REQ_ID_NONE},
    {KELVANE_ASYNCH_TYPE_OP_PM, "KELVANE_ASYNCH_TYPE_OP_PM", FIXED_REQ_ID_PM},
    {KELVANE_ASYNCH_TYPE_OP_ALARM, "KELVANE_ASYNCH_TYPE_OP_ALARM", FIXED_REQ_ID_ALARM},
    {KELVANE_ASYNCH_TYPE_OP_NOTIFY_PLUGIN, "KELVANE_ASYNCH_TYPE_OP_NOTIFY_PLUGIN",
     FIXED_REQ_ID_NOTIFY_PLUGIN},
    {KELVANE_ASYNCH_TYPE_OP_APP_ZYNQ_RESTART_NOTIFY, "KELVANE_ASYNCH_TYPE_OP_APP_ZYNQ_RESTART_NOTIFY",
     FIXED_REQ_ID_APP_ZYNQ_RESTART},
};
constexpr uint32_t TYPE_COUNT = std::size(types);

constexpr firmware_version FIRST_HELD_BACK_FIRMWARE = {5, 22};
constexpr uint32_t HELD_BACK_PAUSE_S = 1;

const char *type_name(uint32_t type)
{
    return type < TYPE_COUNT ? types[type].name : "Invalid KELVANE_ASYNCH_TYPE ";
}

void make_free(asynch_req_t *record)
{
    *record = asynch_req_t{};
    record->signature = ASYNCH_REQ_SIGNATURE_FREE;
}

void make_all_free(request_table &requests)
{
    for (asynch_req_t &record : requests.record) {
        make_free(&record);
    }
}

bool ages(const asynch_req_t &record)
{
    return record.signature == ASYNCH_REQ_SIGNATURE_USED &&
           record.asynch_op_type == KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH;
}

uint32_t pick_slot(const request_table &requests, uint32_t type)
{
    if (type != KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH) {
        return types[type].fixed_slot;
    }
    for (uint32_t id = 0; id < ASYNCH_REQ_STANDARD_SLOTS; id++) {
        if (requests.record[id].signature == ASYNCH_REQ_SIGNATURE_FREE) {
            return id;
        }
    }
    return ASYNCH_REQ_ID_NONE;
}

// Refuses an id beyond the table.
int32_t check_id(trace_context at, const mailbox_handler &mb, uint32_t id, const char *function)
{
    if (id >= KELVANE_MAX_ASYNCH_REQ) {
        TRACE_AT_AS(function, mb.error_level, at,
                    "ERROR  Invalid asynch_req_id %d > KELVANE_MAX_ASYNCH_REQ %d  ", static_cast<int>(id),
                    static_cast<int>(KELVANE_MAX_ASYNCH_REQ));
        return KELVANE_RET_CODE_EINVAL;
    }
    return KELVANE_EOK;
}

int32_t copy_record(request_table &requests, uint32_t id, asynch_req_t *out)
{
    return with_lock(&requests.lock, [&] {
        *out = requests.record[id];
        return KELVANE_EOK;
    });
}

// Runs `body(record)` with the lock held, for an id of the table.
template <typename body_type>
int32_t with_record(trace_context at, const mailbox_handler &mb, request_table &requests, uint32_t id,
                    const char *function, body_type body)
{
    const int32_t rc = check_id(at, mb, id, function);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    return with_lock(&requests.lock, [&] {
        body(requests.record[id]);
        return KELVANE_EOK;
    });
}

void print_asynch_req_t(trace_context at, uint32_t mbox, const asynch_req_t &record, uint32_t level)
{
    trace_mbox_header(at, mbox, record.header, level);
    TRACE_AT(level, at, " asynch_req_p->fn_cb      = %p", reinterpret_cast<void *>(record.fn_cb.address));
    TRACE_AT(level, at, " asynch_req_p->aging_time = %d", static_cast<int>(record.aging_time));
    TRACE_AT(level, at, " asynch_req_p->signature  = %08x", record.signature);
    TRACE_AT(level, at, " asynch_req_p->asynch_op_type  = %s", type_name(record.asynch_op_type));
}

// What failed stands at the mailbox's error level, one record at its flow level, the whole table at its
// header level. With the lock held, or on a copy.
void print_records(trace_context at, uint32_t mbox, const asynch_req_t *records, uint32_t level)
{
    for (uint32_t id = 0; id < KELVANE_MAX_ASYNCH_REQ; id++) {
        if (records[id].asynch_op_type != KELVANE_ASYNCH_TYPE_OP_UNDEF) {
            TRACE_AS("print_asynch_req_array", level, at.handle, at.address, "pos %d  ",
                     static_cast<int>(id));
            print_asynch_req_t(at, mbox, records[id], level);
        }
    }
}

} // namespace

int32_t init_asynch_req_array(request_table &requests)
{
    const int32_t rc = kelvane_mutex_init(&requests.lock);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    return with_lock(&requests.lock, [&] {
        make_all_free(requests);
        return KELVANE_EOK;
    });
}

void delete_asynch_req_array(request_table &requests)
{
    with_lock(&requests.lock, [&] {
        make_all_free(requests);
        return KELVANE_EOK;
    });
    kelvane_mutex_destroy(&requests.lock);
}

int32_t insert_asynch_req(trace_context at, const mailbox_handler &mb, request_table &requests,
                          const asynch_req_t &record, uint32_t *id_out)
{
    const auto type = record.asynch_op_type;
    *id_out = ASYNCH_REQ_ID_NONE;
    if (record.fn_cb.address == nullptr || type == KELVANE_ASYNCH_TYPE_OP_UNDEF) {
        TRACE_AT(mb.error_level, at, "invalid input parameter fn_cb %p asynch_op_type %d ",
                 reinterpret_cast<void *>(record.fn_cb.address), static_cast<int>(type));
        return KELVANE_RET_CODE_EINVAL;
    }
    const char *const function = __func__;
    return with_lock(&requests.lock, [&]() -> int32_t {
        if (type >= TYPE_COUNT) {
            TRACE_AT_AS(function, mb.error_level, at, "unsupported asynch_req = %d ", static_cast<int>(type));
            return KELVANE_RET_CODE_EINVAL;
        }
        const uint32_t slot = pick_slot(requests, type);
        if (slot == ASYNCH_REQ_ID_NONE) {
            TRACE_AT_AS(function, mb.error_level, at, "asynch req queue full: asynch_req_id %d",
                        static_cast<int>(slot));
            print_records(at, mb.mbox, requests.record, mb.header_level);
            return KELVANE_RET_CODE_EBUSY;
        }
        asynch_req_t &stored = requests.record[slot];
        stored = record;
        stored.signature = ASYNCH_REQ_SIGNATURE_USED;
        stored.aging_time = 0;
        stored.header.sy = slot;
        *id_out = slot;
        return KELVANE_EOK;
    });
}

int32_t remove_asynch_req(trace_context at, const mailbox_handler &mb, request_table &requests, uint32_t id)
{
    return with_record(at, mb, requests, id, __func__, [](asynch_req_t &record) { make_free(&record); });
}

int32_t get_asynch_req(trace_context at, const mailbox_handler &mb, request_table &requests, uint32_t id,
                       asynch_req_t *record_out)
{
    return with_record(at, mb, requests, id, __func__, [&](const asynch_req_t &record) {
        *record_out = record;
        print_asynch_req_t(at, mb.mbox, record, mb.flow_level);
    });
}

namespace {

constexpr const char *VALIDITY = "is_asynch_req_id_valid"; // claiming a record logs under its name, too

// Judges a header against the record of its slot, with the lock held.
bool belongs(trace_context at, const mailbox_handler &mb, const request_table &requests,
             const mbox_data_header &header)
{
    const uint32_t level = mb.error_level;
    const uint32_t id = header.sy;
    const asynch_req_t &record = requests.record[id];
    if (record.signature == ASYNCH_REQ_SIGNATURE_FREE) {
        TRACE_AT_AS(VALIDITY, level, at, "ERROR  Invalid asynch_req_id %d  signature KO = 0x%08x ",
                    static_cast<int>(id), record.signature);
        print_records(at, mb.mbox, requests.record, mb.header_level);
        return false;
    }
    if (id >= FIXED_REQ_ID_NOTIFY_PLUGIN) { // the firmware sends these unasked, with no reference
        return true;
    }
    if (header.ref_id != record.header.ref_id) {
        TRACE_AT_AS(VALIDITY, level, at,
                    "ERROR  Invalid asynch_req_id %d  local_asynch_req.header.ref_id %d != "
                    "mbox_data_header.ref_id %d ",
                    static_cast<int>(id), static_cast<int>(record.header.ref_id),
                    static_cast<int>(header.ref_id));
        print_asynch_req_t(at, mb.mbox, record, mb.flow_level);
        return false;
    }
    if (is_aging_expired(record.aging_time)) { // left to the aging pass to report
        TRACE_AT_AS(VALIDITY, level, at, "ERROR  Invalid asynch_req_id %d aging time  aging_time %d ",
                    static_cast<int>(id), static_cast<int>(record.aging_time));
        print_asynch_req_t(at, mb.mbox, record, mb.flow_level);
        return false;
    }
    return true;
}

// The test and, for a valid header, `take(record)`, in one step under the lock.
template <typename take_type>
int32_t test_and_take(trace_context at, const mailbox_handler &mb, request_table &requests,
                      const mbox_data_header &header, bool *is_valid_out, take_type take)
{
    *is_valid_out = false;
    if (check_id(at, mb, header.sy, VALIDITY) != KELVANE_EOK) {
        return KELVANE_EOK; // not valid, but no failure
    }
    return with_lock(&requests.lock, [&] {
        int32_t rc = KELVANE_EOK;
        if (belongs(at, mb, requests, header)) {
            *is_valid_out = true;
            rc = take(requests.record[header.sy]);
        }
        TRACE_AT_AS(VALIDITY, mb.flow_level, at, "is_valid = %d ", static_cast<int>(*is_valid_out));
        return rc;
    });
}

} // namespace

int32_t is_asynch_req_id_valid(trace_context at, const mailbox_handler &mb, request_table &requests,
                               const mbox_data_header &header, bool *is_valid_out)
{
    return test_and_take(at, mb, requests, header, is_valid_out,
                         [](const asynch_req_t &) -> int32_t { return KELVANE_EOK; });
}

int32_t claim_asynch_req(trace_context at, const mailbox_handler &mb, request_table &requests,
                         const mbox_data_header &header, kelvane_asynch_type type, bool *is_valid_out,
                         asynch_req_t *record_out)
{
    const char *const function = __func__;
    return test_and_take(at, mb, requests, header, is_valid_out, [&](asynch_req_t &record) -> int32_t {
        const bool is_request = type == KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH;
        if (record.asynch_op_type != type || (is_request && record.header.cmd != header.cmd)) {
            TRACE_AT_AS(function, mb.error_level, at,
                        "ERROR command %d does not belong to a record of %s, command %d ",
                        static_cast<int>(header.cmd), type_name(record.asynch_op_type),
                        static_cast<int>(record.header.cmd));
            return KELVANE_RET_CODE_GEN_ERR;
        }
        *record_out = record;
        print_asynch_req_t(at, mb.mbox, record, mb.flow_level);
        if (is_request) {
            make_free(&record);
        }
        return KELVANE_EOK;
    });
}

int32_t increase_aging_asynch_req(trace_context at, const mailbox_handler &mb, request_table &requests,
                                  uint32_t id)
{
    const char *const function = __func__;
    return with_record(at, mb, requests, id, function, [&](asynch_req_t &record) {
        if (ages(record)) {
            record.aging_time += ASYNCH_REQ_AGING_STEP_S;
            TRACE_AT_AS(function, mb.flow_level, at, "asynch_req_id %d aging = %d ", static_cast<int>(id),
                        static_cast<int>(record.aging_time));
        }
    });
}

int32_t is_out_of_date_asynch_req(trace_context at, const mailbox_handler &mb, request_table &requests,
                                  uint32_t id, bool *out_of_date_out)
{
    *out_of_date_out = false;
    asynch_req_t copy{};
    const int32_t rc =
        with_record(at, mb, requests, id, __func__, [&](const asynch_req_t &record) { copy = record; });
    if (rc == KELVANE_EOK && ages(copy) && is_aging_expired(copy.aging_time)) {
        *out_of_date_out = true;
        TRACE_AT(mb.flow_level, at, "asynch_req_id %d out_of_date = %d ", static_cast<int>(id), 1);
        print_asynch_req_t(at, mb.mbox, copy, mb.flow_level);
    }
    return rc;
}

int32_t check_if_cb_is_available(kelvane_handle handle, sirane_link &link, mbox_id mbox)
{
    const trace_context at = {handle, KELVANE_ADDRESS_SIRANE(link.sirane_id)};
    TRACE_AT(LEVEL_LOWPR, at, "start handler=%d sirane_id=%d mbox=%d   ", static_cast<int>(handle),
             static_cast<int>(link.sirane_id), static_cast<int>(mbox));
    bool held_back = false; // after a failed inquiry, too
    is_current_ver_later_or_equal(handle, FIRST_HELD_BACK_FIRMWARE, &held_back);
    if (!held_back) {
        return KELVANE_EOK;
    }
    if (mbox != MBOX_PM) { // the alarm mailbox included, though the line names it
        TRACE_AT(LEVEL_LOWPR, at,
                 "this api is valid only for mbox_pm mbox_alm mbox                 handler=%d sirane_id=%d "
                 "mbox=%d ",
                 static_cast<int>(handle), static_cast<int>(link.sirane_id), static_cast<int>(mbox));
        return KELVANE_EOK;
    }
    asynch_req_t subscription{};
    const int32_t rc = copy_record(link.requests, FIXED_REQ_ID_PM, &subscription);
    if (rc == KELVANE_EOK && subscription.signature == ASYNCH_REQ_SIGNATURE_FREE) {
        TRACE_AT(LEVEL_DEBUG, at, "ERROR  Invalid fixed_req_id %d  signature KO = 0x%08x ",
                 static_cast<int>(FIXED_REQ_ID_PM), subscription.signature);
        kelvane_delay(HELD_BACK_PAUSE_S, 0);
        return KELVANE_RET_CODE_DEVICE_NOT_READY;
    }
    return rc;
}

// A record that is being changed may come half old and half new; it is only printed.
__attribute__((no_sanitize("thread"))) static void copy_as_it_stands(const asynch_req_t *from,
                                                                     asynch_req_t *to)
{
    const auto *source = reinterpret_cast<const volatile unsigned char *>(from);
    auto *target = reinterpret_cast<unsigned char *>(to);
    for (size_t i = 0; i < sizeof(asynch_req_t) * KELVANE_MAX_ASYNCH_REQ; i++) {
        target[i] = source[i];
    }
}

void print_asynch_req_array(trace_context at, uint32_t mbox, const request_table &requests, uint32_t level)
{
    asynch_req_t copy[KELVANE_MAX_ASYNCH_REQ];
    copy_as_it_stands(requests.record, copy);
    print_records(at, mbox, copy, level);
}
