#include "card_simulator/firmware/loop.h"

#include <algorithm>
#include <utility>

#include "card_simulator/firmware/answers.h"
#include "card_simulator/firmware/batches.h"
#include "card_simulator/firmware/card_record.h"
#include "card_simulator/firmware/dap.h"
#include "card_simulator/firmware/delivery.h"
#include "card_simulator/firmware/host_writes.h"
#include "card_simulator/firmware/notices.h"
#include "card_simulator/firmware/restarts.h"
#include "card_simulator/state/image_work.h"
#include "card_simulator/state/memory_health.h"
#include "card_simulator/state/tables.h"
#include "platform/wait.h"

void firmware_hang(card &card)
{
    card.firmware.hung = true;
}

// A loop that polls its registers finds the last value that was written meanwhile.
void firmware_resume(card &card)
{
    card.firmware.hung = false;
    for (const auto &[offset, value] : std::exchange(card.firmware.missed_writes, {})) {
        firmware_host_wrote(card, offset, value);
    }
    notices_follow(card);
    firmware_step(card);
}

void firmware_step(card &card)
{
    firmware &it = card.firmware;
    if (card.bar.removed || it.hung) {
        return;
    }
    const uint64_t now_ns = wait_monotonic();
    if (it.announced.due_ns <= now_ns) {
        firmware_restart_as_announced(card);
    }
    if (!it.up && now_ns >= it.up_at_ns) {
        firmware_come_up(card);
    }
    if (!it.up) {
        return;
    }
    delivery_step(card, now_ns);
    const bool image_is_done = image_work_step(card.state, now_ns);
    publish_changed_tables(card.state, card.bar);
    if (image_is_done) {
        answers_tell_verdict(card);
        notices_follow(card);
    }
    answers_send_due(card, now_ns);
    batches_send_due(card, now_ns);
    dap_step(card, now_ns);
    if (it.scrub_due_ns <= now_ns) {
        it.scrub_due_ns = now_ns + SCRUB_PERIOD_NS;
        publish_memory_health(card.state, card.bar);
    }
}

uint64_t firmware_next_due(const card &card)
{
    const firmware &it = card.firmware;
    if (card.bar.removed || it.hung) {
        return NEVER_NS;
    }
    if (!it.up) {
        return it.up_at_ns;
    }
    return std::min({it.announced.due_ns, delivery_next_due(card), batches_next_due(card), dap_next_due(card),
                     it.scrub_due_ns, image_work_next_due(card.state), answers_next_due(card)});
}
