// From the event of the UIO device to the application's callback: the application's interrupt thread is woken
// and tells the library, the response thread of the alarm mailbox is woken, reads the message and calls back.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include <unistd.h>

#include "benchmarks/figure_process.h"
#include "benchmarks/figures.h"
#include "benchmarks/library/bare_lines.h"
#include "benchmarks/library/bench_card.h"
#include "benchmarks/library/logged_lines.h"
#include "benchmarks/processors.h"
#include "benchmarks/threads/futex.h"
#include "core/handle.h"
#include "kelvane_bar.h"
#include "kelvane_mbox.h"
#include "kelvane_trace_defs.h"
#include "platform/uio.h"

namespace {

using clock_type = std::chrono::steady_clock;

constexpr mbox_registers COMMAND = mbox_registers_of(0, MBOX_COMMAND);
constexpr mbox_registers ALARM_MAILBOX = mbox_registers_of(0, MBOX_ALARM);
constexpr uint32_t ALARM_MESSAGE_WORDS = 14;

constexpr mmio_mapping NO_CARD{}; // nothing is mapped: a pipe stands in for the device
int device[2];                    // reading end, writing end
std::atomic<uint32_t> reference_of_subscription;

bare_wake first_hop, second_hop, arrived;
std::atomic<clock_type::time_point> arrival;

void arrive()
{
    arrival = clock_type::now();
    bare_give(arrived);
}

void wait_for_interrupts()
{
    uint32_t count = 0;
    while (uio_wait_interrupt(device[0], &NO_CARD, &count) == sizeof count) {
        kelvane_notify_msi(0);
    }
}

void hop_once_more()
{
    for (;;) {
        bare_take(first_hop);
        bare_interrupt_lines();
        bare_give(second_hop);
    }
}

int32_t on_alarms(kelvane_handle, kelvane_device_address, const global_alarms *, uint64_t)
{
    arrive();
    return 0;
}

void arrive_at_last()
{
    for (;;) {
        bare_take(second_hop);
        bare_response_lines(reference_of_subscription, on_alarms);
        arrive();
    }
}

void raise_event()
{
    const uint32_t count = 1;
    if (write(device[1], &count, sizeof count) != sizeof count) {
        figure_fail("write");
    }
}

void offer_alarms()
{
    const uint32_t header[] = {
        CMD_ENABLE_ALARMS_NOTIFY, reference_of_subscription, ALARM_MESSAGE_WORDS, 0, FIXED_REQ_ID_ALARM, 0};
    uint32_t offset = ALARM_MAILBOX.mailbox_addr;
    for (const uint32_t header_word : header) {
        bench_word(offset) = header_word;
        offset += 4;
    }
    bench_word(ALARM_MAILBOX.waiting_reg) = MBOX_STATE_READY;
    bench_word(MSI_STATUS_REG) = 1;
}

void start_library()
{
    start_on_bench_card(WITH_THREADS);
    bench_word(msi_source_reg(0)) = MSI_SOURCE_ALARM;
    if (kelvane_enable_alarms_notify(0, KELVANE_ADDRESS_SIRANE(0), 1, on_alarms) != 0) {
        figure_fail("kelvane_enable_alarms_notify");
    }
    reference_of_subscription = bench_word(COMMAND.mailbox_addr + 4).load();
}

void sleep_ms(int duration)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(duration));
}

// Up to the last line that matters, of that thread, or of all other threads.
std::vector<logged_line> lines_up_to(const std::vector<logged_line> &all, bool of_thread, int32_t tid,
                                     const char *last)
{
    std::vector<logged_line> lines;
    for (const logged_line &line : all) {
        if ((line.tid == tid) == of_thread) {
            lines.push_back(line);
            if (line.text.find(last) != std::string::npos) {
                break;
            }
        }
    }
    return lines;
}

void compare_once()
{
    sleep_ms(100); // all threads have come to their semaphores
    take_logged_lines();
    offer_alarms();
    raise_event();
    bare_take(arrived);
    sleep_ms(100);
    const std::vector<logged_line> library = take_logged_lines();
    const int32_t response_tid = handle_record(0)->sirane[0].answers[MBOX_ALARM].mbox_tid;
    bare_interrupt_lines();
    expect_same_lines(lines_up_to(library, false, response_tid, "kelvane_sem_give"), take_logged_lines());
    bare_response_lines(reference_of_subscription, on_alarms);
    expect_same_lines(lines_up_to(library, true, response_tid, "calling callback"), take_logged_lines());
}

// The thread that hears the interrupt still has to clear it when it has woken the other one. On the same
// processor that would be on the way, and on a busy machine the scheduler puts both there.
void start_threads()
{
    std::thread interrupt(wait_for_interrupts);
    std::thread first(hop_once_more);
    std::thread second(arrive_at_last);
    stay_on(interrupt.native_handle(), 0);
    stay_on(handle_record(0)->sirane[0].answers[MBOX_ALARM].thread, 1);
    stay_on(first.native_handle(), 0);
    stay_on(second.native_handle(), 1);
    for (std::thread *thread : {&interrupt, &first, &second}) {
        thread->detach();
    }
}

void start()
{
    if (pipe(device) != 0) {
        figure_fail("pipe");
    }
    figure_log_on();
    start_library();
    start_threads();
    compare_once();
    log_off();
    fill_rings();
}

template <typename beginning> double microseconds_until_arrival(beginning begin)
{
    sleep_ms(2); // all threads sleep; the pass before ends with a pause of half a millisecond
    const auto start = clock_type::now();
    begin();
    bare_take(arrived);
    return std::chrono::duration<double, std::micro>(arrival.load() - start).count();
}

} // namespace

round_values interrupt_to_callback()
{
    static const bool started = (start(), true);
    (void)started;
    sleep_ms(2);
    offer_alarms();
    const double measured = microseconds_until_arrival(raise_event);
    return {measured, microseconds_until_arrival([] { bare_give(first_hop); })};
}
