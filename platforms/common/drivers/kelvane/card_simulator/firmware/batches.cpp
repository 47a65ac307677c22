#include "card_simulator/firmware/batches.h"

#include <algorithm>
#include <span>
#include <vector>

#include "card_simulator/firmware/card_record.h"
#include "card_simulator/firmware/delivery.h"
#include "card_simulator/state/measurements.h"
#include "card_simulator/state/performance_layout.h"

namespace {

constexpr size_t RECORD_WORD = 4; // after handle, device address, enable and an unused word

uint64_t interval_ns(const card &card, uint32_t sirane_id)
{
    return card.firmware.batch_interval_ms != 0 ? card.firmware.batch_interval_ms * NS_PER_MS
                                                : pm_interval_s(card.state, sirane_id) * NS_PER_S;
}

uint64_t due_ns(const card &card, uint32_t sirane_id)
{
    const subscription &to = card.state.pm_batches[sirane_id];
    return to.enable != 0 ? to.since_ns + interval_ns(card, sirane_id) : NEVER_NS;
}

mailbox_message batch_of(const card_state &state, uint32_t sirane_id)
{
    const subscription &to = state.pm_batches[sirane_id];
    mailbox_message message;
    std::vector<uint32_t> &data = message.data;
    data = {to.handle, to.device_address, to.enable, 0};
    data.resize(RECORD_WORD + GLOBAL_PM_WORDS);
    data.resize(RECORD_WORD + put_global_pm(state, sirane_id, std::span(data).subspan(RECORD_WORD)));
    data.push_back(static_cast<uint32_t>(to.number));
    data.push_back(static_cast<uint32_t>(to.number >> 32));
    message.header = {CMD_ENABLE_PM_NOTIFY,
                      to.ref_id,
                      static_cast<uint32_t>(data.size()),
                      performance_layout_version(state),
                      to.sync_word,
                      0};
    return message;
}

} // namespace

void batches_send_due(card &card, uint64_t now_ns)
{
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        const uint64_t due = due_ns(card, sirane_id);
        if (due > now_ns) {
            continue;
        }
        // Intervals that a busy or hung firmware missed are not made up for.
        subscription &to = card.state.pm_batches[sirane_id];
        to.since_ns = now_ns - due < interval_ns(card, sirane_id) ? due : now_ns;
        to.number++;
        if (!faults_strike(card.faults, fault_kind::skip_batch, 0)) {
            delivery_post_notice(card, sirane_id, MBOX_PM, batch_of(card.state, sirane_id));
        }
    }
}

uint64_t batches_next_due(const card &card)
{
    uint64_t due = NEVER_NS;
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        due = std::min(due, due_ns(card, sirane_id));
    }
    return due;
}
