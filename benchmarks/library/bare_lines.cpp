#include "benchmarks/library/bare_lines.h"

#include "benchmarks/library/bench_card.h"
#include "kelvane_trace_defs.h"
#include "mbox/model.h"

namespace {

constexpr kelvane_handle CARD = 0;
constexpr kelvane_device_address SIRANE_0 = KELVANE_ADDRESS_SIRANE(0);

void line_of_read(uint32_t offset, uint32_t value)
{
    TRACE_AS("kelvane_internal_pci_read", LEVEL_REG, CARD, NO_ADDRESS, "offset 0x%08x value 0x%08x ", offset,
             value);
}

void write(uint32_t offset, uint32_t value)
{
    bench_write(CARD, 0, offset, value, 1);
    TRACE_AS("kelvane_internal_pci_write", LEVEL_REG, CARD, NO_ADDRESS, "offset 0x%08x value 0x%08x ", offset,
             value);
}

void line_of_header(uint32_t level, uint32_t mbox, uint32_t cmd, uint32_t ref_id, uint32_t size, uint32_t sy)
{
    TRACE_AS("trace_mbox_header", level, CARD, SIRANE_0,
             "mbx %d cmd %d rfd 0x%08x sz %d ver %d sy 0x%08x rc 0x%x", static_cast<int>(mbox),
             static_cast<int>(cmd), ref_id, static_cast<int>(size), 0, sy, 0u);
}

void wait_for_state(uint32_t reg, uint32_t mask)
{
    constexpr const char *name = "mbox_wait_for_state";
    TRACE_AS(name, LEVEL_DEBUG, CARD, SIRANE_0,
             " waiting_reg %08x waiting_state_mask %08x polling_number = %lu", reg, mask, 600000ul);
    const uint32_t state = bare_read(reg);
    TRACE_AS(name, LEVEL_DEBUG, CARD, SIRANE_0,
             "FOUND %08x on waiting_state_mask %08x on reg %08x polling_number %lu", state, mask, reg,
             600000ul);
}

void send(uint32_t ref_id)
{
    TRACE_AS("manage_cmd_send", LEVEL_DEBUG, CARD, SIRANE_0, "start mbox = %d ", 3);
    wait_for_state(0x01C00004, 0x2);
    TRACE_AS("write_mbox_header", LEVEL_DEBUG, CARD, SIRANE_0, " offset mailbox_addr %08x size %d",
             0x01C00100u, 6);
    const uint32_t header[] = {CMD_READ_REGISTER, ref_id, 4, 0, 0xFF00FF00, 0};
    for (uint32_t i = 0; i < 6; i++) {
        write(0x01C00100 + 4 * i, header[i]);
    }
    line_of_header(LEVEL_INFO, 3, CMD_READ_REGISTER, ref_id, 4, 0xFF00FF00);
    TRACE_AS("write_mbox_data", LEVEL_DEBUG, CARD, SIRANE_0, " offset mailbox_addr %08x size %d", 0x01C00100u,
             4);
    const uint32_t data[] = {0, 0xFF00FFFF, 0x9010, 0};
    for (uint32_t i = 0; i < 4; i++) {
        write(0x01C00118 + 4 * i, data[i]);
    }
    write(0x01C00000, 0x4);
    wait_for_state(0x01C00004, 0x14);
    write(0x01C00000, 0x2);
    TRACE_AS("manage_cmd_send", LEVEL_DEBUG, CARD, SIRANE_0, "end mbox = %d ", 3);
}

void receive_message(uint32_t ref_id)
{
    TRACE_AS("mbox_check_for_state", LEVEL_DEBUG, CARD, SIRANE_0,
             " waiting_reg %08x waiting_state_mask %08x incr_counter = %d ", 0x01C02004u, 0x4u, 0);
    const uint32_t state = bare_read(0x01C02004);
    TRACE_AS("mbox_check_for_state", LEVEL_DEBUG, CARD, SIRANE_0,
             "FOUND %08x on waiting_state_mask %08x on reg %08x, attempts done incr_counter %d ", state, 0x4u,
             0x01C02004u, 0);
    TRACE_AS("manage_resp_receive", LEVEL_DEBUG, CARD, SIRANE_0,
             "FOUND %08x on waiting_state_mask %08x on reg %08x  polling_number%lu", state, 0x4u, 0x01C02004u,
             600000ul);
    TRACE_AS("read_mbox_header", LEVEL_DEBUG, CARD, SIRANE_0, " offset mailbox_addr  %08x ", 0x01C02100u);
    for (uint32_t offset = 0x01C02100; offset < 0x01C02118; offset += 4) {
        bare_read(offset);
    }
    line_of_header(LEVEL_INFO, 0, CMD_READ_REGISTER, ref_id, 4, 0xFF00FF00);
    TRACE_AS("manage_resp_receive", LEVEL_DEBUG, CARD, SIRANE_0, "validate_header = %d ", 1);
    TRACE_AS("read_mbox_data", LEVEL_DEBUG, CARD, SIRANE_0, " offset mailbox_addr  %08x ", 0x01C02100u);
    for (uint32_t offset = 0x01C02118; offset < 0x01C02128; offset += 4) {
        bare_read(offset);
    }
}

void close_message()
{
    TRACE_AS("invalidate_mbox_data", LEVEL_DEBUG, CARD, SIRANE_0, " offset mailbox_addr %08x size %d",
             0x01C02100u, 6);
    for (uint32_t offset = 0x01C02100; offset < 0x01C02118; offset += 4) {
        write(offset, 0xFFFFFFFF);
    }
    TRACE_AS("manage_resp_mbox_new_state", LEVEL_DEBUG, CARD, SIRANE_0,
             " mbox %d  new_state=%08x validate_header = %d", 0, 0x4u, 1);
    write(0x01C02000, 0x4);
    wait_for_state(0x01C02004, 0x2);
    TRACE_AS("manage_resp_mbox_new_state", LEVEL_DEBUG, CARD, SIRANE_0,
             " mbox %d  new_state=%08x validate_header = %d", 0, 0x2u, 1);
    write(0x01C02000, 0x2);
}

// Of as many words, all 0, from an offset on.
void lines_of_reads(uint32_t offset, uint32_t words)
{
    for (uint32_t i = 0; i < words; i++) {
        line_of_read(offset + 4 * i, 0);
    }
}

void lines_of_alarms(const char *function, kelvane_device_address address)
{
    TRACE_AS(function, LEVEL_ALARM, CARD, address, "%s", "");
    TRACE_AS(function, LEVEL_ALARM, CARD, address, "0x%08x", 0u);
}

void lines_of_record()
{
    for (uint32_t port = 0; port < 4; port++) {
        lines_of_alarms("kelvane_trace_host_alarms", KELVANE_ADDRESS_NETWORK_PORT(0, port));
    }
    for (uint32_t port = 0; port < 2; port++) {
        lines_of_alarms("kelvane_trace_ntwk_port_alarms", KELVANE_ADDRESS_NETWORK_PORT(0, port));
        lines_of_alarms("kelvane_trace_xpm2_alarms_t", KELVANE_ADDRESS_NETWORK_PORT(0, port));
    }
    lines_of_alarms("kelvane_trace_generic_alarms_t", 0xFF000000);
}

void lines_of_header_read(uint32_t ref_id)
{
    TRACE_AS("read_mbox_header", LEVEL_LOWPR, CARD, SIRANE_0, " offset mailbox_addr  %08x ", 0x01C04100u);
    const uint32_t header[] = {CMD_ENABLE_ALARMS_NOTIFY, ref_id, 14, 0, 14, 0};
    for (uint32_t i = 0; i < 6; i++) {
        line_of_read(0x01C04100 + 4 * i, header[i]);
    }
    line_of_header(LEVEL_ALARM, 2, CMD_ENABLE_ALARMS_NOTIFY, ref_id, 14, 14);
}

void lines_of_look()
{
    constexpr const char *name = "kelvane_asyc_resp_common";
    TRACE_AS("mbox_check_for_state", LEVEL_LOWPR, CARD, SIRANE_0,
             " waiting_reg %08x waiting_state_mask %08x incr_counter = %d ", 0x01C04004u, 0x4u, 0);
    line_of_read(0x01C04004, 0x4);
    TRACE_AS("mbox_check_for_state", LEVEL_LOWPR, CARD, SIRANE_0,
             "FOUND %08x on waiting_state_mask %08x on reg %08x, attempts done incr_counter %d ", 0x4u, 0x4u,
             0x01C04004u, 0);
    TRACE_AS(name, LEVEL_LOWPR, CARD, SIRANE_0, "FOUND waiting_state_mask %08x on reg %08x ", 0x4u,
             0x01C04004u);
    TRACE_AS(name, LEVEL_LOWPR, CARD, SIRANE_0, "polling counter  %d", 0);
}

void lines_of_request(uint32_t ref_id, kelvane_alarms_notify_cb callback)
{
    constexpr const char *name = "print_asynch_req_t";
    line_of_header(LEVEL_LOWPR, 2, CMD_ENABLE_ALARMS_NOTIFY, ref_id, 14, 14);
    TRACE_AS(name, LEVEL_LOWPR, CARD, SIRANE_0, " asynch_req_p->fn_cb      = %p",
             reinterpret_cast<void *>(callback));
    TRACE_AS(name, LEVEL_LOWPR, CARD, SIRANE_0, " asynch_req_p->aging_time = %d", 0);
    TRACE_AS(name, LEVEL_LOWPR, CARD, SIRANE_0, " asynch_req_p->signature  = %08x", 0xCCBBDD11u);
    TRACE_AS(name, LEVEL_LOWPR, CARD, SIRANE_0, " asynch_req_p->asynch_op_type  = %s",
             "KELVANE_ASYNCH_TYPE_OP_ALARM");
    TRACE_AS("is_asynch_req_id_valid", LEVEL_LOWPR, CARD, SIRANE_0, "is_valid = %d ", 1);
}

} // namespace

uint32_t bare_read(uint32_t offset)
{
    uint32_t value = 0;
    bench_read(CARD, 0, offset, &value, 1);
    line_of_read(offset, value);
    return value;
}

void bare_read_register(uint32_t ref_id)
{
    TRACE_AS("kelvane_read_register", LEVEL_INFO, CARD, SIRANE_0, " start reg_address = %08x ", 0x9010u);
    send(ref_id);
    TRACE_AS("manage_resp_receive", LEVEL_DEBUG, CARD, SIRANE_0, "start mbox = %d ", 0);
    receive_message(ref_id);
    close_message();
    TRACE_AS("manage_resp_receive", LEVEL_DEBUG, CARD, SIRANE_0, "end mbox = %d ", 0);
    TRACE_AS("kelvane_read_register", LEVEL_INFO, CARD, SIRANE_0, " end   reg_value = %08x \n", 0u);
}

void bare_interrupt_lines()
{
    TRACE_AS("kelvane_notify_msi", LEVEL_LOWPR, CARD, NO_ADDRESS, "start ");
    line_of_read(0x00000024, 0x1);
    TRACE_AS("kelvane_notify_msi", LEVEL_LOWPR, CARD, SIRANE_0, " is_ir_present %s on sirane_id %d ", "true",
             0);
    line_of_read(0x0000002C, 0x13);
    TRACE_AS("kelvane_read_ir_mbox", LEVEL_LOWPR, CARD, SIRANE_0, "mbox_with_ir = %d ", 2);
    TRACE_AS("kelvane_sem_give", LEVEL_LOWPR, NO_HANDLE, NO_ADDRESS, "start semid %p state=%d",
             static_cast<void *>(mbox_sem_of(CARD, 0, MBOX_ALARM)), 0);
}

void bare_response_lines(uint32_t ref_id, kelvane_alarms_notify_cb callback)
{
    TRACE_AS("kelvane_asyc_resp_th", LEVEL_LOWPR, CARD, SIRANE_0, "unloked sem mbox = %d ", 2);
    TRACE_AS("kelvane_asyc_resp_common", LEVEL_LOWPR, CARD, SIRANE_0,
             "start handler=%d sirane_id=%d mbox=%d   ", 0, 0, 2);
    TRACE_AS("check_if_cb_is_available", LEVEL_LOWPR, CARD, SIRANE_0,
             "start handler=%d sirane_id=%d mbox=%d   ", 0, 0, 2);
    TRACE_AS("kelvane_get_zynq_info_table", LEVEL_DEBUG, CARD, KELVANE_ADDRESS_BOARD,
             " start sizebytes %d  size_32t %d ", 64, 16);
    TRACE_AS("kelvane_get_internal_software_running", LEVEL_DEBUG, CARD, KELVANE_ADDRESS_BOARD,
             "maj_ver %d min_ver %d - 0x%x 0x%x ", 0, 0, 0u, 0u);
    TRACE_AS(
        "check_if_cb_is_available", LEVEL_LOWPR, CARD, SIRANE_0,
        "this api is valid only for mbox_pm mbox_alm mbox                 handler=%d sirane_id=%d mbox=%d ",
        0, 0, 2);
    lines_of_look();
    lines_of_header_read(ref_id);
    TRACE_AS("kelvane_asyc_resp_common", LEVEL_LOWPR, CARD, SIRANE_0, "validate_header = %d ", 1);
    lines_of_request(ref_id, callback);
    TRACE_AS("kelvane_asyc_resp_common", LEVEL_LOWPR, CARD, SIRANE_0, "data header OK");
    TRACE_AS("mbox_manage_enable_alarms_notify", LEVEL_LOWPR, CARD, SIRANE_0, "ref id = %x ", ref_id);
    TRACE_AS("read_mbox_data", LEVEL_LOWPR, CARD, SIRANE_0, " offset mailbox_addr  %08x ", 0x01C04100u);
    lines_of_reads(0x01C04118, 14);
    lines_of_record();
    TRACE_AS("mbox_manage_enable_alarms_notify", LEVEL_LOWPR, CARD, 0xFF000000, "calling callback function");
}
