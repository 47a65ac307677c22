// The handlers of what the firmware reports unasked: performance batches, alarm changes, modules plugged and
// unplugged, restarts.
#include <cstring>

#include "background/handlers.h"
#include "card/running_firmware.h"
#include "core/handle.h"
#include "core/pci.h"
#include "core/thread.h"
#include "core/trace/trace.h"
#include "mbox/message.h"
#include "mbox/model.h"
#include "mbox/state.h"
#include "monitoring/alarms.h"
#include "monitoring/performance.h"

namespace {

// Byte offsets in the data of a message. Word 1 is the device address, except in a restart's.
constexpr size_t PM_RECORD = 16;
constexpr size_t PM_INCREMENTAL_ID = 456;
constexpr size_t OLD_PM_INCREMENTAL_ID = 376; // of version 0
constexpr size_t ALARM_RECORD = 12;
constexpr size_t ALARM_VALUE = 48;

constexpr uint32_t WORD_DEVICE_ADDRESS = 1;
constexpr uint32_t WORD_PLUGGED = 2;
constexpr uint32_t WORD_ZYNQ_RESTART = 1;

constexpr uint32_t RESET_PAUSE_NS = 500000;

template <typename value_type> value_type load(const mbox_data &data, size_t offset)
{
    value_type value;
    memcpy(&value, reinterpret_cast<const char *>(data.word) + offset, sizeof value);
    return value;
}

void trace_reference(kelvane_handle handle, const mailbox_handler &mb, const mbox_data_header &header,
                     const char *function)
{
    TRACE_AS(function, mb.flow_level, handle, KELVANE_ADDRESS_SIRANE(mb.sirane_id), "ref id = %x ",
             header.ref_id);
}

// The callback's status, logged if it is a failure, which makes the response thread refuse the message.
int32_t callback_result(kelvane_handle handle, kelvane_device_address device_address, int32_t rc,
                        const char *function)
{
    if (rc != KELVANE_EOK) {
        TRACE_AS(function, LEVEL_ERROR, handle, device_address, "ERROR after calling callback rc = 0x%x",
                 static_cast<unsigned>(rc));
    }
    return rc;
}

const char *zynq_restart_name(uint32_t zynq_restart)
{
    switch (zynq_restart) {
    case KELVANE_APP_ZYNQ_RESTART_UNDEF:
        return "KELVANE_APP_ZYNQ_RESTART_UNDEF";
    case KELVANE_APP_ZYNQ_RESTART_WARM:
        return "KELVANE_APP_ZYNQ_RESTART_WARM";
    case KELVANE_APP_ZYNQ_RESTART_WARM_FAIL:
        return "KELVANE_APP_ZYNQ_RESTART_WARM_FAIL";
    case KELVANE_APP_ZYNQ_RESTART_COLD:
        return "KELVANE_APP_ZYNQ_RESTART_COLD";
    case KELVANE_APP_ZYNQ_RESTART_WARM_DONE:
        return "KELVANE_APP_ZYNQ_RESTART_WARM_DONE";
    default:
        return "Invalid zynq_restart value";
    }
}

constexpr const char *PM_NOTIFY = "mbox_manage_enable_pm_notify"; // its steps log under its name

// The number of the batch before; 0 for none.
uint64_t last_batch(kelvane_handle handle, uint32_t sirane_id)
{
    uint64_t id = 0;
    const int32_t rc = kelvane_get_local_pm_incremental_id(handle, sirane_id, &id);
    if (rc != KELVANE_EOK) {
        TRACE_AS(PM_NOTIFY, LEVEL_ERROR, handle, KELVANE_ADDRESS_SIRANE(sirane_id),
                 " ERROR getting local_pm_incremental_id srn %d rc = %d ", static_cast<int>(sirane_id), rc);
        return 0;
    }
    return id;
}

// Keeps the number of this batch, and logs when the one before it is missing; the batch is delivered all the
// same.
void follow_sequence(kelvane_handle handle, uint32_t sirane_id, uint64_t old_id, uint64_t new_id)
{
    const kelvane_device_address address = KELVANE_ADDRESS_SIRANE(sirane_id);
    if (old_id != 0 && old_id != new_id - 1) {
        TRACE_AS(PM_NOTIFY, LEVEL_ERROR, handle, address, " ERROR MISSING PM SEQUENCE  old%lu new %lu",
                 static_cast<unsigned long>(old_id), static_cast<unsigned long>(new_id));
    }
    const int32_t rc = kelvane_set_local_pm_incremental_id(handle, sirane_id, new_id);
    if (rc != KELVANE_EOK) {
        TRACE_AS(PM_NOTIFY, LEVEL_ERROR, handle, address,
                 " ERROR setting local_pm_incremental_id srn %d rc = %d ", static_cast<int>(sirane_id), rc);
    }
}

// After a warm restart the firmware expects its command mailboxes to be reset.
int32_t reset_command_mailboxes(kelvane_handle handle)
{
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        const mailbox_handler &mb = mailbox_of(sirane_id, MBOX_COMMAND);
        int32_t rc = write_mbox_state(handle, mb, MBOX_STATE_NONE, SKIP_ALIVE);
        if (rc == KELVANE_EOK) {
            kelvane_delay(0, RESET_PAUSE_NS);
            rc = write_mbox_state(handle, mb, MBOX_STATE_IDLE, SKIP_ALIVE);
        }
        if (rc != KELVANE_EOK) {
            return rc;
        }
    }
    return KELVANE_EOK;
}

} // namespace

int32_t kelvane_post_proc_enable_pm_notify(kelvane_handle handle, mbox_data *data,
                                           const mbox_data_header &header)
{
    if (header.version != 0) {
        return KELVANE_EOK;
    }
    TRACE(LEVEL_DEBUG, handle, NO_ADDRESS, "box_data_header_var_out->version = %d  need to manage post proc ",
          static_cast<int>(header.version));
    auto *bytes = reinterpret_cast<char *>(data->word);
    memcpy(bytes + PM_INCREMENTAL_ID, bytes + OLD_PM_INCREMENTAL_ID, sizeof(uint64_t));
    auto record = load<kelvane_global_pm>(*data, PM_RECORD);
    kelvane_post_proc_global_get_global_pm(handle, &record, header);
    memcpy(bytes + PM_RECORD, &record, sizeof record);
    return KELVANE_EOK;
}

int32_t mbox_manage_enable_pm_notify(kelvane_handle handle, const mailbox_handler &mb,
                                     const mbox_data_header &header, const asynch_req_t &record)
{
    trace_reference(handle, mb, header, __func__);
    const uint64_t old_id = last_batch(handle, mb.sirane_id);
    mbox_data data{};
    int32_t rc = read_mbox_data(handle, mb, &data, header.size);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    kelvane_post_proc_enable_pm_notify(handle, &data, header);
    const auto pm_incremental_id = load<uint64_t>(data, PM_INCREMENTAL_ID);
    follow_sequence(handle, mb.sirane_id, old_id, pm_incremental_id);
    auto pm = load<kelvane_global_pm>(data, PM_RECORD);
    for (kelvane_xpm2_port_pm &module : pm.xpm2_port) {
        rc = post_proc_xpm2_port_pm(&module, module);
        if (rc != KELVANE_EOK) {
            return rc;
        }
    }
    const kelvane_device_address device_address = data.word[WORD_DEVICE_ADDRESS];
    trace_kelvane_global_pm(handle, device_address, pm);
    TRACE(mb.flow_level, handle, device_address, "calling callback function");
    trace_callback_failure({handle, device_address},
                           record.fn_cb.performance(handle, device_address, &pm, pm_incremental_id),
                           __func__);
    return KELVANE_EOK;
}

int32_t mbox_manage_enable_alarms_notify(kelvane_handle handle, const mailbox_handler &mb,
                                         const mbox_data_header &header, const asynch_req_t &record)
{
    trace_reference(handle, mb, header, __func__);
    mbox_data data{};
    const int32_t rc = read_mbox_data(handle, mb, &data, header.size);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    const kelvane_device_address device_address = data.word[WORD_DEVICE_ADDRESS];
    const auto alarms = load<global_alarms>(data, ALARM_RECORD);
    trace_kelvane_global_alarms(handle, device_address, alarms);
    TRACE(mb.flow_level, handle, device_address, "calling callback function");
    trace_callback_failure(
        {handle, device_address},
        record.fn_cb.alarms(handle, device_address, &alarms, load<uint64_t>(data, ALARM_VALUE)), __func__);
    return KELVANE_EOK;
}

int32_t mbox_manage_notify_plugin(kelvane_handle handle, const mailbox_handler &mb,
                                  const mbox_data_header &header, const asynch_req_t &record)
{
    mbox_data data{};
    const int32_t rc = read_mbox_data(handle, mb, &data, header.size);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    const kelvane_device_address device_address = data.word[WORD_DEVICE_ADDRESS];
    const uint32_t plugged = data.word[WORD_PLUGGED];
    TRACE(LEVEL_INFO, handle, device_address, "plugged = %d ref id = %08x ", static_cast<int>(plugged),
          header.ref_id);
    TRACE(LEVEL_INFO, handle, device_address,
          "calling callback function handler=%d dev_addr=0x%08x plugin=%d rc=0x%x", static_cast<int>(handle),
          device_address, static_cast<int>(plugged), header.rc);
    return callback_result(handle, device_address, record.fn_cb.plugin(handle, device_address, plugged),
                           __func__);
}

int32_t mbox_manage_app_zynq_restart_notify(kelvane_handle handle, const mailbox_handler &mb,
                                            const mbox_data_header &header, const asynch_req_t &record)
{
    mbox_data data{};
    int32_t rc = read_mbox_data(handle, mb, &data, header.size);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    const uint32_t zynq_restart = data.word[WORD_ZYNQ_RESTART];
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "zynq_restart %s ref id = %08x ",
          zynq_restart_name(zynq_restart), header.ref_id);
    kelvane_store_firmware_version(handle);
    if (zynq_restart == KELVANE_APP_ZYNQ_RESTART_WARM_DONE) {
        rc = reset_command_mailboxes(handle);
        if (rc != KELVANE_EOK) {
            return rc;
        }
    }
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD,
          "calling callback function handler=%d  zynq_restart %s rc=0x%x", static_cast<int>(handle),
          zynq_restart_name(zynq_restart), header.rc);
    return callback_result(handle, KELVANE_ADDRESS_BOARD, record.fn_cb.restart(handle, zynq_restart),
                           __func__);
}
