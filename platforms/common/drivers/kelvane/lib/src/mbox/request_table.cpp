#include "mbox/request_table.h"

#include <algorithm>

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
constexpr uint32_t TYPE_COUNT = sizeof types / sizeof types[0];

const char *type_name(uint32_t type)
{
    return type < TYPE_COUNT ? types[type].name : "Invalid KELVANE_ASYNCH_TYPE ";
}

void make_free(asynch_req_t *record)
{
    *record = asynch_req_t{};
    record->signature = ASYNCH_REQ_SIGNATURE_FREE;
}

void make_all_free(asynch_req_t *array)
{
    for (uint32_t id = 0; id < KELVANE_MAX_ASYNCH_REQ; id++) {
        make_free(&array[id]);
    }
}

bool ages(const asynch_req_t &record)
{
    return record.signature == ASYNCH_REQ_SIGNATURE_USED &&
           record.asynch_op_type == KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH;
}

uint32_t pick_slot(const asynch_req_t *array, uint32_t type)
{
    if (type != KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH) {
        return types[type].fixed_slot;
    }
    for (uint32_t id = 0; id < ASYNCH_REQ_STANDARD_SLOTS; id++) {
        if (array[id].signature == ASYNCH_REQ_SIGNATURE_FREE) {
            return id;
        }
    }
    return ASYNCH_REQ_ID_NONE;
}

// Refuses an id above the table.
int32_t check_id(kelvane_handle handle, kelvane_device_address device_address, const mailbox_handler *mb,
                 uint32_t asynch_req_id, const char *function)
{
    if (asynch_req_id >= KELVANE_MAX_ASYNCH_REQ) {
        TRACE_AS(function, mbox_fields(mb).error_level, handle, device_address,
                 "ERROR  Invalid asynch_req_id %d > KELVANE_MAX_ASYNCH_REQ %d  ",
                 static_cast<int>(asynch_req_id), static_cast<int>(KELVANE_MAX_ASYNCH_REQ));
        return KELVANE_RET_CODE_EINVAL;
    }
    return KELVANE_EOK;
}

int32_t copy_record(const asynch_req_t *array, kelvane_mutex *lock, uint32_t id, asynch_req_t *out)
{
    return with_lock(lock, [&] {
        *out = array[id];
        return KELVANE_EOK;
    });
}

} // namespace

int32_t init_asynch_req_array(kelvane_handle, asynch_req_t *array, kelvane_mutex *lock)
{
    const int32_t rc = kelvane_mutex_init(lock);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    return with_lock(lock, [&] {
        make_all_free(array);
        return KELVANE_EOK;
    });
}

void delete_asynch_req_array(kelvane_handle, const mailbox_handler *, asynch_req_t *array,
                             kelvane_mutex *lock)
{
    with_lock(lock, [&] {
        make_all_free(array);
        return KELVANE_EOK;
    });
    kelvane_mutex_destroy(lock);
}

int32_t insert_asynch_req(kelvane_handle handle, kelvane_device_address device_address,
                          const mailbox_handler *mb, asynch_req_t *array, kelvane_mutex *lock,
                          uint32_t *id_out, asynch_req_t record)
{
    const uint32_t level = mbox_fields(mb).error_level;
    const auto type = record.asynch_op_type;
    *id_out = ASYNCH_REQ_ID_NONE;
    if (record.fn_cb == nullptr || type == KELVANE_ASYNCH_TYPE_OP_UNDEF) {
        TRACE(level, handle, device_address, "invalid input parameter fn_cb %p asynch_op_type %d ",
              reinterpret_cast<void *>(record.fn_cb), static_cast<int>(type));
        return KELVANE_RET_CODE_EINVAL;
    }
    const char *const function = __func__;
    return with_lock(lock, [&]() -> int32_t {
        if (type >= TYPE_COUNT) {
            TRACE_AS(function, level, handle, device_address, "unsupported asynch_req = %d ",
                     static_cast<int>(type));
            return KELVANE_RET_CODE_EINVAL;
        }
        const uint32_t slot = pick_slot(array, type);
        if (slot == ASYNCH_REQ_ID_NONE) {
            TRACE_AS(function, level, handle, device_address, "asynch req queue full: asynch_req_id %d",
                     static_cast<int>(slot));
            print_asynch_req_array(handle, device_address, mb, array, level);
            return KELVANE_RET_CODE_EBUSY;
        }
        array[slot] = record;
        array[slot].signature = ASYNCH_REQ_SIGNATURE_USED;
        array[slot].aging_time = 0;
        array[slot].header.sy = slot;
        *id_out = slot;
        return KELVANE_EOK;
    });
}

int32_t remove_asynch_req(kelvane_handle handle, kelvane_device_address device_address,
                          const mailbox_handler *mb, asynch_req_t *array, kelvane_mutex *lock,
                          uint32_t asynch_req_id)
{
    const int32_t rc = check_id(handle, device_address, mb, asynch_req_id, __func__);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    return with_lock(lock, [&] {
        make_free(&array[asynch_req_id]);
        return KELVANE_EOK;
    });
}

int32_t get_asynch_req(kelvane_handle handle, kelvane_device_address device_address,
                       const mailbox_handler *mb, asynch_req_t *array, kelvane_mutex *lock,
                       uint32_t asynch_req_id, asynch_req_t *record_out)
{
    const int32_t rc = check_id(handle, device_address, mb, asynch_req_id, __func__);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    return with_lock(lock, [&] {
        *record_out = array[asynch_req_id];
        print_asynch_req_t(handle, device_address, mb, *record_out, 0);
        return KELVANE_EOK;
    });
}

namespace {

// Judges a header against the record of its slot, with the lock held.
bool belongs(kelvane_handle handle, kelvane_device_address device_address, const mailbox_handler *mb,
             const asynch_req_t *array, const mbox_data_header &header)
{
    constexpr const char *name = "is_asynch_req_id_valid";
    const uint32_t level = mbox_fields(mb).error_level;
    const uint32_t id = header.sy;
    const asynch_req_t &record = array[id];
    if (record.signature == ASYNCH_REQ_SIGNATURE_FREE) {
        TRACE_AS(name, level, handle, device_address,
                 "ERROR  Invalid asynch_req_id %d  signature KO = 0x%08x ", static_cast<int>(id),
                 record.signature);
        print_asynch_req_array(handle, device_address, mb, array, level);
        return false;
    }
    if (id >= FIXED_REQ_ID_NOTIFY_PLUGIN) { // the firmware starts these by itself, with no reference
        return true;
    }
    if (header.ref_id != record.header.ref_id) {
        TRACE_AS(name, level, handle, device_address,
                 "ERROR  Invalid asynch_req_id %d  local_asynch_req.header.ref_id %d != "
                 "mbox_data_header.ref_id %d ",
                 static_cast<int>(id), static_cast<int>(record.header.ref_id),
                 static_cast<int>(header.ref_id));
        print_asynch_req_t(handle, device_address, mb, record, level);
        return false;
    }
    if (is_aging_expired(record.aging_time)) { // the aging pass reports it, and nobody else
        TRACE_AS(name, level, handle, device_address,
                 "ERROR  Invalid asynch_req_id %d aging time  aging_time %d ", static_cast<int>(id),
                 static_cast<int>(record.aging_time));
        print_asynch_req_t(handle, device_address, mb, record, level);
        return false;
    }
    return true;
}

// The test, and `take(record)` of a valid header's record in the same step.
template <typename take_type>
int32_t test_and_take(kelvane_handle handle, kelvane_device_address device_address, const mailbox_handler *mb,
                      asynch_req_t *array, kelvane_mutex *lock, uint32_t *is_valid_out,
                      const mbox_data_header &header, take_type take)
{
    constexpr const char *name = "is_asynch_req_id_valid";
    *is_valid_out = 0;
    if (check_id(handle, device_address, mb, header.sy, name) != KELVANE_EOK) {
        return KELVANE_EOK; // refused, and no failure
    }
    return with_lock(lock, [&] {
        if (belongs(handle, device_address, mb, array, header)) {
            *is_valid_out = 1;
            take(&array[header.sy]);
        }
        TRACE_AS(name, mbox_fields(mb).flow_level, handle, device_address, "is_valid = %d ",
                 static_cast<int>(*is_valid_out));
        return KELVANE_EOK;
    });
}

} // namespace

int32_t is_asynch_req_id_valid(kelvane_handle handle, kelvane_device_address device_address,
                               const mailbox_handler *mb, asynch_req_t *array, kelvane_mutex *lock,
                               uint32_t *is_valid_out, mbox_data_header header)
{
    return test_and_take(handle, device_address, mb, array, lock, is_valid_out, header,
                         [](asynch_req_t *) {});
}

int32_t claim_asynch_req(kelvane_handle handle, kelvane_device_address device_address,
                         const mailbox_handler *mb, asynch_req_t *array, kelvane_mutex *lock,
                         uint32_t *is_valid_out, mbox_data_header header, asynch_req_t *record_out)
{
    return test_and_take(handle, device_address, mb, array, lock, is_valid_out, header,
                         [&](asynch_req_t *record) {
                             *record_out = *record;
                             print_asynch_req_t(handle, device_address, mb, *record, 0);
                             if (record->asynch_op_type == KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH) {
                                 make_free(record);
                             }
                         });
}

int32_t increase_aging_asynch_req(kelvane_handle handle, kelvane_device_address device_address,
                                  const mailbox_handler *mb, asynch_req_t *array, kelvane_mutex *lock,
                                  uint32_t asynch_req_id)
{
    int32_t rc = check_id(handle, device_address, mb, asynch_req_id, __func__);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    const char *const function = __func__;
    return with_lock(lock, [&] {
        asynch_req_t &record = array[asynch_req_id];
        if (ages(record)) {
            record.aging_time += ASYNCH_REQ_AGING_STEP;
            TRACE_AS(function, mbox_fields(mb).flow_level, handle, device_address,
                     "asynch_req_id %d aging = %d ", static_cast<int>(asynch_req_id),
                     static_cast<int>(record.aging_time));
        }
        return KELVANE_EOK;
    });
}

int32_t is_out_of_date_asynch_req(kelvane_handle handle, kelvane_device_address device_address,
                                  const mailbox_handler *mb, asynch_req_t *array, kelvane_mutex *lock,
                                  uint32_t asynch_req_id, uint32_t *out_of_date_out)
{
    *out_of_date_out = 0;
    int32_t rc = check_id(handle, device_address, mb, asynch_req_id, __func__);
    asynch_req_t record{};
    if (rc == KELVANE_EOK) {
        rc = copy_record(array, lock, asynch_req_id, &record);
    }
    if (rc == KELVANE_EOK && ages(record) && is_aging_expired(record.aging_time)) {
        *out_of_date_out = 1;
        TRACE(mbox_fields(mb).flow_level, handle, device_address, "asynch_req_id %d out_of_date = %d ",
              static_cast<int>(asynch_req_id), static_cast<int>(*out_of_date_out));
        print_asynch_req_t(handle, device_address, mb, record, 0);
    }
    return rc;
}

int32_t check_if_cb_is_available(kelvane_handle handle, uint32_t sirane_id, uint32_t mbox)
{
    const kelvane_device_address address = KELVANE_ADDRESS_SIRANE(sirane_id);
    TRACE(LEVEL_LOWPR, handle, address, "start handler=%d sirane_id=%d mbox=%d   ", static_cast<int>(handle),
          static_cast<int>(sirane_id), static_cast<int>(mbox));
    uint32_t from_5_22 = 0;
    is_current_ver_later_or_equal(handle, 5, 22, &from_5_22);
    if (from_5_22 == 0) {
        return KELVANE_EOK;
    }
    if (mbox != MBOX_PM) {
        TRACE(LEVEL_LOWPR, handle, address,
              "this api is valid only for mbox_pm mbox_alm mbox                 handler=%d sirane_id=%d "
              "mbox=%d ",
              static_cast<int>(handle), static_cast<int>(sirane_id), static_cast<int>(mbox));
        return KELVANE_EOK;
    }
    kelvane_handle_record *record = handle_record(handle);
    if (record == nullptr || sirane_id >= SIRANE_COUNT) {
        return KELVANE_RET_CODE_GEN_ERR;
    }
    asynch_req_t subscription{};
    const int32_t rc = copy_record(record->asynch_req_array[sirane_id], &record->asynch_req_lock[sirane_id],
                                   FIXED_REQ_ID_PM, &subscription);
    if (rc == KELVANE_EOK && subscription.signature == ASYNCH_REQ_SIGNATURE_FREE) {
        TRACE(LEVEL_DEBUG, handle, address, "ERROR  Invalid fixed_req_id %d  signature KO = 0x%08x ",
              static_cast<int>(FIXED_REQ_ID_PM), subscription.signature);
        kelvane_delay(1, 0);
        return KELVANE_RET_CODE_DEVICE_NOT_READY;
    }
    return rc;
}

void print_asynch_req_t(kelvane_handle handle, kelvane_device_address device_address,
                        const mailbox_handler *mb, const asynch_req_t &record, uint32_t level)
{
    const uint32_t at = level == 0 && mb != nullptr ? mbox_fields(mb).flow_level : level;
    trace_mbox_header(handle, device_address, mbox_fields(mb).mbox, record.header, at);
    TRACE(at, handle, device_address, " asynch_req_p->fn_cb      = %p",
          reinterpret_cast<void *>(record.fn_cb));
    TRACE(at, handle, device_address, " asynch_req_p->aging_time = %d", static_cast<int>(record.aging_time));
    TRACE(at, handle, device_address, " asynch_req_p->signature  = %08x", record.signature);
    TRACE(at, handle, device_address, " asynch_req_p->asynch_op_type  = %s",
          type_name(record.asynch_op_type));
}

void print_asynch_req_array(kelvane_handle handle, kelvane_device_address device_address,
                            const mailbox_handler *mb, const asynch_req_t *array, uint32_t level)
{
    for (uint32_t id = 0; id < KELVANE_MAX_ASYNCH_REQ; id++) {
        if (array[id].asynch_op_type != KELVANE_ASYNCH_TYPE_OP_UNDEF) {
            TRACE(level, handle, device_address, "pos %d  ", static_cast<int>(id));
            print_asynch_req_t(handle, device_address, mb, array[id], level);
        }
    }
}

void print_asynch_req_array_copy(kelvane_handle handle, kelvane_device_address device_address,
                                 const mailbox_handler *mb, const asynch_req_t *array, kelvane_mutex *lock,
                                 uint32_t level)
{
    asynch_req_t copy[KELVANE_MAX_ASYNCH_REQ];
    const int32_t rc = with_lock(lock, [&] {
        std::copy(array, array + KELVANE_MAX_ASYNCH_REQ, copy);
        return KELVANE_EOK;
    });
    if (rc == KELVANE_EOK) {
        print_asynch_req_array(handle, device_address, mb, copy, level);
    }
}
