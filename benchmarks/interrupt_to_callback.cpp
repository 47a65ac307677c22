// From the interrupt to the application's callback: a thread that waits for interrupts is woken, tells the
// library, and the response thread of the alarm mailbox reads the message and calls back. Beside it two
// semaphore hops between threads, which is what the way has to cost at least.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "core/semaphore.h"
#include "figures.h"
#include "kelvane.h"
#include "kelvane_bar.h"
#include "kelvane_mbox.h"
#include "kelvane_trace_defs.h"

namespace {

using clock_type = std::chrono::steady_clock;

constexpr mbox_registers COMMAND = mbox_registers_of(0, MBOX_COMMAND);
constexpr mbox_registers ALARM_MAILBOX = mbox_registers_of(0, MBOX_ALARM);
constexpr uint32_t ALARM_MESSAGE_WORDS = 14;

std::atomic<uint32_t> *bar_words; // of a card that accepts everything and answers nothing
std::atomic<uint32_t> reference_of_subscription;

kelvane_semaphore interrupt, reference_interrupt, second_hop, arrived;
std::atomic<clock_type::time_point> arrival;

std::atomic<uint32_t> &word(uint32_t offset)
{
    return bar_words[offset / 4];
}

void arrive()
{
    arrival = clock_type::now();
    kelvane_sem_give(&arrived);
}

int32_t read_word(kelvane_handle, uint32_t, uint32_t offset, uint32_t *value, uint32_t)
{
    *value = word(offset);
    return 0;
}

int32_t write_word(kelvane_handle, uint32_t, uint32_t offset, uint32_t value, uint32_t)
{
    if (offset == MSI_STATUS_REG) {
        word(offset) &= ~value;
        return 0;
    }
    word(offset) = value;
    if (offset == COMMAND.resp_reg_to_write) {
        reference_of_subscription = word(COMMAND.mailbox_addr + 4).load();
        word(COMMAND.waiting_reg) = value == MBOX_STATE_READY ? MBOX_STATE_READY : MBOX_STATE_IDLE;
    } else if (offset == ALARM_MAILBOX.resp_reg_to_write && value == MBOX_STATE_READY) {
        word(ALARM_MAILBOX.waiting_reg) = MBOX_STATE_IDLE;
    }
    return 0;
}

void *wait_for_interrupts(void *)
{
    for (;;) {
        kelvane_sem_take(&interrupt);
        kelvane_notify_msi(0);
    }
}

void *hop_once_more(void *)
{
    for (;;) {
        kelvane_sem_take(&reference_interrupt);
        kelvane_sem_give(&second_hop);
    }
}

void *arrive_at_last(void *)
{
    for (;;) {
        kelvane_sem_take(&second_hop);
        arrive();
    }
}

void fail(const char *what)
{
    std::fprintf(stderr, "kelvane_bench: interrupt_to_callback: %s failed\n", what);
    std::exit(2);
}

// The handle record says that the BAR is mapped; a link-up would need a whole card.
void start_library()
{
    bar_words = static_cast<std::atomic<uint32_t> *>(std::calloc(BAR_BYTES / 4, 4));
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        for (const uint32_t mbox : {MBOX_COMMAND, MBOX_RESPONSE, MBOX_PM, MBOX_ALARM}) {
            word(mbox_registers_of(sirane_id, mbox).waiting_reg) = MBOX_STATE_IDLE;
        }
    }
    word(msi_source_reg(0)) = MSI_SOURCE_ALARM;
    kelvane_init_device_t device{};
    device.notify_plugin_cb = [](kelvane_handle, kelvane_device_address, uint32_t) { return 0; };
    device.pci_read_cb = read_word;
    device.pci_write_cb = write_word;
    if (kelvane_init_driver() != 0 || kelvane_device_create(device) != 0) {
        fail("kelvane_device_create");
    }
    std::printf("\n");                         // behind what the library says of its log file
    if (kelvane_pci_mapped(0, 2, 0, 0) != 0) { // mapped, with no link-up
        fail("kelvane_pci_mapped");
    }
    const auto on_alarms = [](kelvane_handle, kelvane_device_address, const global_alarms *, uint64_t) {
        arrive();
        return 0;
    };
    if (kelvane_enable_alarms_notify(0, KELVANE_ADDRESS_SIRANE(0), 1, on_alarms) != 0) {
        fail("kelvane_enable_alarms_notify");
    }
}

// The first lap through a ring takes memory from the system; what is measured comes later.
void fill_rings()
{
    for (uint32_t line = 0; line < 65536; line++) {
        for (const uint32_t level : {ERROR, INFO, ALARM, PM, DEBUG, REG, LOWPR}) {
            TRACE(level, 0, KELVANE_ADDRESS_BOARD, "line %u ", line);
        }
    }
}

void start()
{
    start_library();
    fill_rings();
    for (kelvane_semaphore *semaphore : {&interrupt, &reference_interrupt, &second_hop, &arrived}) {
        kelvane_sem_init(semaphore);
        kelvane_sem_take(semaphore);
    }
    pthread_t ignored;
    for (const auto body : {wait_for_interrupts, hop_once_more, arrive_at_last}) {
        if (pthread_create(&ignored, nullptr, body, nullptr) != 0) {
            fail("pthread_create");
        }
    }
}

double nanoseconds_until_arrival(kelvane_semaphore *first)
{
    const auto start = clock_type::now();
    kelvane_sem_give(first);
    kelvane_sem_take(&arrived);
    return std::chrono::duration<double, std::nano>(arrival.load() - start).count();
}

void offer_alarms()
{
    const uint32_t header[] = {35, reference_of_subscription, ALARM_MESSAGE_WORDS, 0, FIXED_REQ_ID_ALARM, 0};
    uint32_t offset = ALARM_MAILBOX.mailbox_addr;
    for (const uint32_t header_word : header) {
        word(offset) = header_word;
        offset += 4;
    }
    word(ALARM_MAILBOX.waiting_reg) = MBOX_STATE_READY;
    word(MSI_STATUS_REG) = 1;
}

} // namespace

round_times interrupt_to_callback()
{
    static const bool started = (start(), true);
    (void)started;
    // The pass before ends with a pause of half a millisecond.
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    offer_alarms();
    const double measured = nanoseconds_until_arrival(&interrupt);
    std::this_thread::sleep_for(std::chrono::milliseconds(2)); // both sides start from sleeping threads
    return {measured, nanoseconds_until_arrival(&reference_interrupt)};
}
