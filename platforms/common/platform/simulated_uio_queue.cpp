// The memory order of the queue, in one place.
//
// A slot's word is the only thing that carries a write: the compare-and-swap that fills it releases what
// the writer stored in the BAR, the reader's load of the word acquires it.
//
// No wake-up is lost because of four accesses that are all sequentially consistent, and so stand in one
// order that both sides agree on:
//     writer: fill the slot, then read `asleep`        reader: set `asleep`, then read the slot
// Whichever side comes second sees what the other did: either the writer finds `asleep` set and wakes,
// or the reader finds the word and stays awake. The wake itself cannot fall between the reader's look
// and its sleep, since `wake` was read before the look, at the end of the sleep before, and the kernel
// compares it once more.
#include "platform/simulated_uio_queue.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/wait.h"

namespace {

constexpr long FULL_QUEUE_PAUSE_NS = 50000;
constexpr uint32_t LAP_MASK = 0xFFFFFF;

uint64_t *slot_of(simulated_uio_control *control, uint64_t ticket)
{
    return &control->slot[ticket % SIMULATED_UIO_SLOTS];
}

uint32_t lap_of_word(uint64_t word)
{
    return static_cast<uint32_t>(word >> 40);
}

// Laps count modulo 2^24; a lap counts as behind if it is less than half a circle back.
bool lap_is_behind(uint32_t lap, uint32_t reference)
{
    return ((lap - reference) & LAP_MASK) > LAP_MASK / 2;
}

bool replace(uint64_t *slot, uint64_t *expected, uint64_t word)
{
    return __atomic_compare_exchange_n(slot, expected, word, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
}

enum class outcome { queued, late, gone };

bool card_is_gone(const simulated_uio_control *control, const uint32_t *gone)
{
    return __atomic_load_n(gone, __ATOMIC_RELAXED) != 0 ||
           __atomic_load_n(&control->removed, __ATOMIC_RELAXED) != 0;
}

outcome fill(simulated_uio_control *control, uint64_t ticket, uint64_t word, const uint32_t *gone)
{
    uint64_t *slot = slot_of(control, ticket);
    for (;;) {
        uint64_t found = SIMULATED_UIO_EMPTY(ticket);
        if (replace(slot, &found, word)) {
            return outcome::queued;
        }
        if (!lap_is_behind(lap_of_word(found), SIMULATED_UIO_LAP(ticket))) {
            return outcome::late; // the reader gave this ticket up
        }
        if (card_is_gone(control, gone)) {
            return outcome::gone;
        }
        // Full. What is waited for is another process, so this is real time whatever a test has set.
        const timespec pause{0, FULL_QUEUE_PAUSE_NS};
        nanosleep(&pause, nullptr);
    }
}

} // namespace

bool simulated_uio_post(simulated_uio_control *control, uint32_t index, uint32_t value, const uint32_t *gone)
{
    for (;;) {
        if (card_is_gone(control, gone)) {
            return false;
        }
        const uint64_t ticket = __atomic_fetch_add(&control->tail, 1, __ATOMIC_RELAXED);
        switch (fill(control, ticket, SIMULATED_UIO_FULL(ticket, index, value), gone)) {
        case outcome::queued:
            // `asleep` stays set until the card runs: a writer that dies before its wake costs nothing.
            if (__atomic_load_n(&control->asleep, __ATOMIC_SEQ_CST) != 0) {
                simulated_uio_wake(control);
            }
            return true;
        case outcome::gone:
            return false;
        case outcome::late:
            break;
        }
    }
}

void simulated_uio_reader_init(simulated_uio_reader *reader, simulated_uio_control *control)
{
    *reader = simulated_uio_reader{};
    reader->control = control;
}

// The ticket at the head is drawn and its slot is empty: has its writer's time run out?
static bool patience_is_over(simulated_uio_reader *reader, uint64_t tail, uint64_t now_ns)
{
    if (reader->head >= reader->missing_below) {
        // All tickets drawn so far whose slots are free share one span of patience, so that a process
        // that died with many threads in the queue holds it up only once.
        reader->missing_since_ns = now_ns;
        reader->missing_below = std::min<uint64_t>(tail, reader->head + SIMULATED_UIO_SLOTS);
        return false;
    }
    return now_ns - reader->missing_since_ns >= SIMULATED_UIO_PATIENCE_NS;
}

bool simulated_uio_pop(simulated_uio_reader *reader, uint64_t now_ns, uint32_t *offset, uint32_t *value)
{
    simulated_uio_control *control = reader->control;
    // Bounded, so that a writer run wild cannot keep the card's loop in here.
    for (uint32_t looks = 0; looks < SIMULATED_UIO_SLOTS; looks++) {
        const uint64_t ticket = reader->head;
        uint64_t word = __atomic_load_n(slot_of(control, ticket), __ATOMIC_ACQUIRE);
        if (word == SIMULATED_UIO_EMPTY(ticket)) {
            const uint64_t tail = __atomic_load_n(&control->tail, __ATOMIC_RELAXED);
            if (static_cast<int64_t>(tail - ticket) <= 0 || !patience_is_over(reader, tail, now_ns)) {
                return false;
            }
        }
        if (!replace(slot_of(control, ticket), &word, SIMULATED_UIO_EMPTY(ticket + SIMULATED_UIO_SLOTS))) {
            continue; // the slow writer came after all
        }
        reader->head++;

        const uint32_t number = static_cast<uint32_t>(word >> 32) & 0xFF; // index + 1, 0 for empty
        const uint32_t posted =
            std::min(__atomic_load_n(&control->posted_count, __ATOMIC_RELAXED), SIMULATED_UIO_REGISTERS);
        if (lap_of_word(word) == SIMULATED_UIO_LAP(ticket) && number >= 1 && number <= posted) {
            *offset = __atomic_load_n(&control->posted_offset[number - 1], __ATOMIC_RELAXED);
            *value = static_cast<uint32_t>(word);
            return true;
        }
    }
    return false;
}

void simulated_uio_sleep(simulated_uio_reader *reader, uint64_t timeout_ns)
{
    simulated_uio_control *control = reader->control;
    __atomic_store_n(&control->asleep, 1, __ATOMIC_SEQ_CST);
    const uint64_t word = __atomic_load_n(slot_of(control, reader->head), __ATOMIC_SEQ_CST);
    if (word == SIMULATED_UIO_EMPTY(reader->head)) {
        if (__atomic_load_n(&control->tail, __ATOMIC_RELAXED) != reader->head) {
            timeout_ns = std::min<uint64_t>(timeout_ns, SIMULATED_UIO_PATIENCE_NS);
        }
        const timespec limit{static_cast<time_t>(timeout_ns / WAIT_NS_PER_S),
                             static_cast<long>(timeout_ns % WAIT_NS_PER_S)};
        syscall(SYS_futex, &control->wake, FUTEX_WAIT, reader->wakes_seen,
                timeout_ns == UINT64_MAX ? nullptr : &limit, nullptr, 0);
    }
    __atomic_store_n(&control->asleep, 0, __ATOMIC_RELAXED);
    reader->wakes_seen = __atomic_load_n(&control->wake, __ATOMIC_SEQ_CST);
}

void simulated_uio_wake(simulated_uio_control *control)
{
    __atomic_fetch_add(&control->wake, 1, __ATOMIC_SEQ_CST);
    syscall(SYS_futex, &control->wake, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}
