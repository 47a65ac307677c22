#include "card_simulator/console/card_show.h"

#include <algorithm>
#include <cinttypes>
#include <string_view>

#include "card_simulator/bus/mailbox_map.h"
#include "card_simulator/console/error_words.h"
#include "card_simulator/console/fault_verbs.h"
#include "card_simulator/console/images_show.h"
#include "card_simulator/console/logs_show.h"
#include "card_simulator/state/append_text.h"
#include "card_simulator/state/registers.h"
#include "kelvane_bar.h"

namespace {

constexpr uint32_t REGISTERS_SHOWN = 24; // of a device

struct mailbox_line {
    uint32_t mbox;
    const char *name;
};

constexpr mailbox_line MAILBOX_LINES[] = {
    {MBOX_COMMAND, "command"},
    {MBOX_RESPONSE, "response"},
    {MBOX_PM, "pm"},
    {MBOX_ALARM, "alarm"},
};

const char *firmware_condition(const card &card)
{
    if (card.bar.removed) {
        return "removed";
    }
    if (card.firmware.hung) {
        return "hung";
    }
    return card.firmware.up ? "up" : "starting";
}

const char *module_condition(const card_state &state, uint32_t device)
{
    if (!state.devices[device].plugged) {
        return "not plugged";
    }
    return has_module(state, device) ? "plugged" : "plugged, the host pretends that it is out";
}

std::string_view name_of_register(uint32_t device, uint32_t number)
{
    for (const named_register &named : SIRANE_REGISTERS) {
        if (is_sirane_device(device) && named.number == number) {
            return named.name;
        }
    }
    return "";
}

void append_registers(std::string &text, const card &card, uint32_t device)
{
    uint32_t changed = 0;
    for (const auto &[number, value] : card.state.devices[device].registers) {
        const uint32_t start = register_start(device, number);
        if (value == start || ++changed > REGISTERS_SHOWN) {
            continue;
        }
        const std::string_view name = name_of_register(device, number);
        append(text, "    register 0x%04x = 0x%08x, 0x%08x after a reset  %.*s\n", number, value, start,
               static_cast<int>(name.size()), name.data());
    }
    if (changed > REGISTERS_SHOWN) {
        append(text, "    and %u registers more\n", changed - REGISTERS_SHOWN);
    }
}

void append_mailbox(std::string &text, const card &card, uint32_t sirane_id, const mailbox_line &line)
{
    const mbox_registers registers = mbox_registers_of(sirane_id, line.mbox);
    append(text, "    mailbox %-8s H %u F %u", line.name, bar_read(card.bar, registers.resp_reg_to_write),
           bar_read(card.bar, registers.waiting_reg));
    if (line.mbox < OUTBOX_COUNT) {
        append(text, ", %zu waiting", card.firmware.siranes[sirane_id].out[line.mbox].queue.size());
    }
    text += '\n';
}

void append_sirane(std::string &text, const card &card, uint32_t sirane_id)
{
    const uint32_t device = sirane_device(sirane_id);
    const device_state &state = card.state.devices[device];
    append(text, "device %u, sirane %u: %s power, %u resets, last diagnostic %u, interrupt %s\n", device,
           sirane_id, state.low_power ? "low" : "high", state.resets, state.last_diagnostic,
           (bar_read(card.bar, MSI_STATUS_REG) >> sirane_id & 1) != 0 ? "pending" : "not pending");
    for (const mailbox_line &line : MAILBOX_LINES) {
        append_mailbox(text, card, sirane_id, line);
    }
    append_registers(text, card, device);
}

void append_fault_value(std::string &text, const armed_fault &fault, fault_value kind)
{
    if (kind == fault_value::milliseconds) {
        append(text, " %u ms", fault.value);
    } else if (kind != fault_value::none) {
        append(text, " 0x%x", fault.value);
    }
    const std::string_view name =
        kind == fault_value::error_word ? name_of_error_word(fault.value) : std::string_view{};
    append(text, "%s%.*s", name.empty() ? "" : " ", static_cast<int>(name.size()), name.data());
}

void append_fault(std::string &text, const armed_fault &fault)
{
    const auto *shape = std::ranges::find(FAULT_SHAPES, fault.kind, &fault_shape::kind);
    append(text, "fault: %.*s", static_cast<int>(shape->verb.size()), shape->verb.data());
    if (shape->subject == fault_subject::command) {
        append(text, " %s", command_names[fault.subject]);
    } else if (shape->subject == fault_subject::header_word) {
        append(text, " header word %u", fault.subject);
    }
    append_fault_value(text, fault, shape->value);
    if (fault.percent < 100) {
        append(text, ", %u%%\n", fault.percent);
    } else if (fault.left == FAULT_ALWAYS) {
        text += ", always\n";
    } else {
        append(text, ", %u times\n", fault.left);
    }
}

void append_dap(std::string &text, const card &card)
{
    const dap_settings &settings = card.firmware.dap_settings;
    append(text, "dap: H %u F %u; %u holds, %u ms, %u resets ignored, error word 0x%x, ",
           bar_read(card.bar, DAP_REGISTERS.resp_reg_to_write), bar_read(card.bar, DAP_REGISTERS.waiting_reg),
           settings.holds, settings.delay_ms, settings.ignored_resets, settings.error_word);
    if (settings.answer_bytes.has_value()) {
        append(text, "answers of %u bytes\n", *settings.answer_bytes);
    } else {
        text += "echoes\n";
    }
}

void append_memory(std::string &text, const bar &bar)
{
    const auto word = [&bar](ddr_info_word number) { return bar_read(bar, DDR_INFO_TABLE + 4 * number); };
    append(text, "memory errors: %u corrected, %u not; upsets: %u corrected, logic %s\n",
           word(DDR_CORRECTABLE_COUNTER), word(DDR_UNCORRECTABLE_COUNTER), word(DDR_UPSET_COUNTER),
           word(DDR_UPSET_STATE) == DDR_UPSET_UNCORRECTABLE ? "spoiled" : "good");
}

} // namespace

std::string card_show(const card &card)
{
    std::string text;
    append(text, "firmware %u.%u, %s, started %u times, seed %" PRIu64 "\n", card.state.running.major,
           card.state.running.minor, firmware_condition(card), card.state.starts, card.state.seed);
    append(text, "%u clients, %" PRIu64 " interrupts raised, watch %s, trace level 0x%08x\n",
           card.clients.load(), card.interrupts, card.state.watch_on ? "on" : "off", card.state.trace_level);
    append(text,
           "%" PRIu64 " messages lost for want of room, %" PRIu64 " commands failed that get no answer\n",
           card.firmware.lost_messages, card.state.unanswered_errors);
    append_memory(text, card.bar);
    append_dap(text, card);
    append_images(text, card.state.images);
    append_logs(text, card.logs, card.bar);
    append_registers(text, card, BOARD_DEVICE);
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        append_sirane(text, card, sirane_id);
        for (uint32_t device = sirane_device(sirane_id) + 1; is_module_device(device); device++) {
            append(text, "device %u, module: %s\n", device, module_condition(card.state, device));
            append_registers(text, card, device);
        }
    }
    for (const armed_fault &fault : card.faults.armed) {
        append_fault(text, fault);
    }
    return text;
}
