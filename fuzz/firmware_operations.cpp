#include "firmware_operations.h"

#include <cstring>
#include <iterator>
#include <string>

#include "background/keep_alive.h"
#include "background/response_thread.h"
#include "firmware_card.h"
#include "fuzz_checks.h"
#include "mbox/receive.h"
#include "support/operations.h"

namespace {

std::string image_folder;

// ---- the application's callbacks; a byte says whether they fail

int32_t chosen_result(void)
{
    return (the_card.input->byte() & 0x80) != 0 ? static_cast<int32_t>(KELVANE_RET_CODE_EBUSY)
                                                : static_cast<int32_t>(KELVANE_EOK);
}

int32_t request_done(kelvane_handle, kelvane_device_address, uint32_t, int32_t)
{
    return chosen_result();
}

int32_t batch_came(kelvane_handle handle, kelvane_device_address, const kelvane_global_pm *record, uint64_t)
{
    must(record != nullptr, "a batch without a record", "kelvane_pm_notify_cb");
    uint32_t value = 0;
    kelvane_read_scratchpad_register(handle, &value);
    return chosen_result();
}

int32_t alarms_came(kelvane_handle, kelvane_device_address, const global_alarms *record, uint64_t)
{
    must(record != nullptr, "alarms without a record", "kelvane_alarms_notify_cb");
    return chosen_result();
}

int32_t watch_changed(kelvane_handle, int32_t, uint32_t status)
{
    must(status == KELVANE_ALIVE || status == KELVANE_NOT_ALIVE, "no status", "kelvane_keep_alive_cb");
    return chosen_result();
}

int32_t dap_answered(kelvane_handle, void *data, const uint32_t *size)
{
    must(*size < 1024, "an answer beyond the buffer", "kelvane_dap_cb");
    uint32_t sum = 0; // every byte of it can be read
    for (uint32_t i = 0; i < *size; i++) {
        sum += static_cast<const uint8_t *>(data)[i];
    }
    return sum == 1 ? chosen_result() : 0;
}

int32_t download(host_call &call)
{
    constexpr const char *NAMES[] = {"good", "empty", "short_digest", "no_digest", "none"};
    const uint8_t byte = call.input.byte();
    return kelvane_download_software(call.handle, byte / 16, (image_folder + NAMES[byte % 5]).c_str());
}

int32_t send_dap(host_call &call)
{
    uint8_t message[1100];
    memset(message, call.input.byte(), sizeof message);
    const uint32_t size = call.input.byte() * 5;
    return kelvane_dap_command(call.handle, message, &size, size % 2 == 0 ? dap_answered : nullptr);
}

int32_t turn_card(host_call &call)
{
    const uint8_t byte = call.input.byte();
    the_card.removed = byte == 0xFF;
    the_card.forgets_writes = (byte & 0x40) != 0;
    if ((byte & 0x80) != 0) {
        the_card.failing_access = the_card.accesses + 1 + (byte & 0x3F);
    }
    return 0;
}

int32_t serve_mailbox(host_call &call)
{
    const uint8_t byte = call.input.byte();
    return kelvane_asyc_resp_common(call.handle, byte % 4, byte / 16 % 4);
}

// A request with a callback or, without one, a command.
template <typename operation_type> int32_t request(host_call &call, operation_type operation, uint8_t mask)
{
    const uint8_t byte = call.input.byte();
    return operation(call.handle, call.device_address, byte & mask,
                     (byte & 0x80) != 0 ? request_done : nullptr, byte);
}

template <typename operation_type, typename callback_type>
int32_t subscribe(host_call &call, operation_type operation, callback_type callback)
{
    return operation(call.handle, call.device_address, call.input.byte() % 4 == 0, callback);
}

// The table of all operations stands behind these. The kept inputs name them by number.
constexpr host_operation OPERATIONS[] = {
    {"the card offers", [](host_call &) { return card_offer_message(), 0; }},
    {"the card turns", turn_card},
    {"response thread", serve_mailbox},
    {"low-priority thread", [](host_call &c) { return low_priority_pass(&c.low_priority), 0; }},
    {"DAP thread", [](host_call &c) { return dap_serve_event(0, &the_dap_record, &c.dap), 0; }},
    {"kelvane_deque_msi", [](host_call &c) { return kelvane_deque_msi(c.handle); }},
    {LINK_UP, [](host_call &c) { return kelvane_pci_mapped(c.handle, c.input.byte() % 16 != 15, 0, 0); }},
    {"the drain",
     [](host_call &c) { return kelvane_deque_resp_receive(c.handle, c.device_address, c.input.byte() % 4); }},
    {"kelvane_keep_alive", [](host_call &c) { return kelvane_keep_alive(c.handle, c.device_address); }},
    {"kelvane_enable_keep_alive_notify",
     [](host_call &c) {
         return kelvane_enable_keep_alive_notify(c.handle, c.input.byte() % 4, watch_changed);
     }},
    {"kelvane_dap_command", send_dap},
    {"kelvane_set_traffic_type", [](host_call &c) { return request(c, kelvane_set_traffic_type, 0x1F); }},
    {"kelvane_set_laser", [](host_call &c) { return request(c, kelvane_set_laser, 1); }},
    {"kelvane_enable_pm_notify",
     [](host_call &c) { return subscribe(c, kelvane_enable_pm_notify, batch_came); }},
    {"kelvane_enable_alarms_notify",
     [](host_call &c) { return subscribe(c, kelvane_enable_alarms_notify, alarms_came); }},
    {"kelvane_download_software", download},
    {"kelvane_get_download_progress",
     [](host_call &c) { return kelvane_get_download_progress(c.handle, c.input.byte() % 8, c.out); }},
    {"kelvane_print_local_handler", [](host_call &c) { return kelvane_print_local_handler(c.handle), 0; }},
};

} // namespace

int32_t run_chosen(uint8_t byte, host_call &call, const char **name)
{
    const size_t own = std::size(OPERATIONS);
    const size_t index = byte % (own + command_rows.size() + register_rows.size());
    if (index < own) {
        *name = OPERATIONS[index].name;
        return OPERATIONS[index].run(call);
    }
    const size_t row = index - own;
    const operation_row &operation =
        row < command_rows.size() ? command_rows[row] : register_rows[row - command_rows.size()];
    *name = operation.name;
    return operation.call(
        {call.handle, call.device_address, [&call] { return call.input.byte(); }, call.out});
}

void set_image_folder(const char *folder)
{
    image_folder = std::string(folder) + "/";
}
