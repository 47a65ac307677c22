#include "card_simulator/firmware/dap.h"

#include <algorithm>

#include "card_simulator/bus/mailbox.h"
#include "card_simulator/bus/mailbox_map.h"
#include "card_simulator/firmware/card_record.h"
#include "card_simulator/firmware/delivery.h"
#include "kelvane_bar.h"
#include "platform/wait.h"

namespace {

constexpr uint32_t DATA = DAP_REGISTERS.mailbox_addr + MBOX_HEADER_BYTES;
constexpr uint32_t INTERRUPT_SIRANE = 0; // the card-wide mailbox uses its interrupt

uint32_t words_of(uint32_t bytes)
{
    return (bytes + 3) / 4;
}

void show(card &card, uint32_t state)
{
    bar_write(card.bar, DAP_REGISTERS.waiting_reg, state);
}

// Shows a state that the host has to react to, and reminds it for a while until it does.
void call_host(card &card, dap_phase phase, uint32_t state)
{
    card.firmware.dap.phase = phase;
    card.firmware.dap.due_ns = wait_monotonic() + DAP_REMINDER_PERIOD_NS;
    card.firmware.dap.reminders_left = DAP_REMINDERS_MAX;
    show(card, state);
    delivery_interrupt(card, INTERRUPT_SIRANE, MSI_SOURCE_DAP);
}

// The answer repeats the request's bytes until it is full.
std::vector<uint32_t> answer_of(const dap_exchange &dap, uint32_t request_bytes, uint32_t bytes)
{
    std::vector<uint32_t> words(words_of(bytes), 0);
    const auto *from = reinterpret_cast<const unsigned char *>(dap.data.data());
    auto *to = reinterpret_cast<unsigned char *>(words.data());
    for (uint32_t i = 0; i < bytes; i++) {
        to[i] = request_bytes != 0 ? from[i % request_bytes] : static_cast<unsigned char>(i);
    }
    return words;
}

void answer(card &card)
{
    const dap_settings &settings = card.firmware.dap_settings;
    const uint32_t request_bytes = std::min(card.firmware.dap.request.size, DAP_REQUEST_BYTES_MAX);
    mbox_data_header header = card.firmware.dap.request;
    header.size = settings.answer_bytes.value_or(request_bytes);
    header.rc = settings.error_word;
    const std::vector<uint32_t> data = answer_of(card.firmware.dap, request_bytes, header.size);
    for (uint32_t i = 0; i < data.size(); i++) {
        bar_write(card.bar, DATA + 4 * i, data[i]);
    }
    faults_corrupt(card.faults, fault_kind::corrupt, 0, header);
    message_write_header(card.bar, DAP_REGISTERS.mailbox_addr, header);
    call_host(card, dap_phase::done, MBOX_STATE_DONE);
}

void work(card &card)
{
    dap_exchange &dap = card.firmware.dap;
    if (dap.holds_left > 0) {
        dap.holds_left--;
        call_host(card, dap_phase::held, MBOX_STATE_HOLD);
    } else {
        answer(card);
    }
}

void take_message(card &card)
{
    dap_exchange &dap = card.firmware.dap;
    dap.request = message_read_header(card.bar, DAP_REGISTERS.mailbox_addr);
    dap.data.resize(words_of(std::min(dap.request.size, DAP_REQUEST_BYTES_MAX)));
    for (uint32_t i = 0; i < dap.data.size(); i++) {
        dap.data[i] = bar_read(card.bar, DATA + 4 * i);
    }
    dap.holds_left = card.firmware.dap_settings.holds;
    dap.phase = dap_phase::working;
    dap.due_ns = wait_monotonic() + card.firmware.dap_settings.delay_ms * NS_PER_MS;
    dap_step(card, wait_monotonic());
}

} // namespace

void dap_start(card &card)
{
    card.firmware.dap = {};
    show(card, MBOX_STATE_IDLE);
}

void dap_stop(card &card)
{
    card.firmware.dap = {};
    show(card, MBOX_STATE_NONE);
}

void dap_host_wrote(card &card, uint32_t state)
{
    dap_exchange &dap = card.firmware.dap;
    uint32_t &ignored = card.firmware.dap_settings.ignored_resets;
    if (state == MBOX_STATE_RESET && ignored > 0) {
        ignored--;
    } else if (state == MBOX_STATE_RESET) {
        call_host(card, dap_phase::reset, MBOX_STATE_RESET);
    } else if (state == MBOX_STATE_IDLE) {
        dap_start(card);
    } else if (state == MBOX_STATE_READY && dap.phase == dap_phase::reset) {
        take_message(card);
    } else if (state == MBOX_STATE_HOLD && dap.phase == dap_phase::held) {
        work(card);
    }
}

void dap_step(card &card, uint64_t now_ns)
{
    dap_exchange &dap = card.firmware.dap;
    if (dap.phase == dap_phase::idle || dap.due_ns > now_ns) {
        return;
    }
    if (dap.phase == dap_phase::working) {
        work(card);
    } else {
        dap.reminders_left--;
        dap.due_ns = dap.reminders_left > 0 ? now_ns + DAP_REMINDER_PERIOD_NS : NEVER_NS;
        delivery_interrupt(card, INTERRUPT_SIRANE, MSI_SOURCE_DAP);
    }
}

uint64_t dap_next_due(const card &card)
{
    const dap_exchange &dap = card.firmware.dap;
    return dap.phase == dap_phase::idle ? NEVER_NS : dap.due_ns;
}
