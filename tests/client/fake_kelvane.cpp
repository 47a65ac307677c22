#include "client/fake_kelvane.h"

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <pthread.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include "kelvane.h"
#include "mock_client/client_device.h"
#include "mock_client/client_traffic.h"
#include "mock_client/coh_hal.h"

namespace {

struct interrupt_calls {
    std::mutex lock;
    std::condition_variable changed;
    std::string text;
    bool let_in = false;
    bool ended = false;
};

// On the heap for good: the forwarding thread outlives main.
interrupt_calls &interrupts = *new interrupt_calls;
std::thread &completion = *new std::thread;
fake_answer answer = {"", 0};
int call_count = 0;

[[gnu::format(printf, 1, 2)]] int32_t called(const char *format, ...)
{
    if (completion.joinable()) {
        completion.join();
    }
    char text[200];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    dprintf(STDOUT_FILENO, "[%s]", text);
    if (++call_count == 1000) {
        fflush(nullptr);
        _exit(FAKE_KELVANE_EXHAUSTED);
    }
    const size_t length = strlen(answer.call);
    return length > 0 && strncmp(text, answer.call, length) == 0 ? answer.result : 0;
}

// Of a sirane's two requests only the second one is answered, late enough for a client that does not wait
// to be seen going on.
template <typename callback>
void complete(callback fn_cb, uint32_t handle, uint32_t device_address, uint32_t transaction_id)
{
    if (fn_cb != nullptr && (device_address & 0x100) != 0) {
        completion = std::thread([=] {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            fn_cb(handle, device_address, transaction_id, 110);
        });
    }
}

const char *name_of(bool is_own)
{
    return is_own ? "callback" : "none";
}

struct end_of_thread {
    ~end_of_thread()
    {
        const std::lock_guard<std::mutex> guard(interrupts.lock);
        interrupts.ended = true;
        interrupts.changed.notify_all();
    }
};

} // namespace

void fake_kelvane_start(const fake_answer &given)
{
    answer = given;
    call_count = 0;
}

void fake_kelvane_let_interrupts_in()
{
    const std::lock_guard<std::mutex> guard(interrupts.lock);
    interrupts.let_in = true;
}

std::string fake_kelvane_interrupt_calls()
{
    std::unique_lock<std::mutex> guard(interrupts.lock);
    interrupts.changed.wait(guard, [] { return interrupts.ended; });
    interrupts.let_in = false;
    return interrupts.text;
}

int32_t kelvane_enable_msi(kelvane_handle handle, uint32_t enable)
{
    static thread_local end_of_thread mark;
    (void)mark;
    char name[16];
    pthread_getname_np(pthread_self(), name, sizeof name);
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    char text[100];
    snprintf(text, sizeof text, "%s without %d%d%d: kelvane_enable_msi(%u, %u)\n", name,
             sigismember(&blocked, SIGRTMIN + 6), sigismember(&blocked, SIGRTMIN + 10),
             sigismember(&blocked, SIGTERM), handle, enable);
    const std::lock_guard<std::mutex> guard(interrupts.lock);
    interrupts.text += text;
    if (!interrupts.let_in) {
        pthread_exit(nullptr);
    }
    return 110;
}

int32_t kelvane_notify_msi(kelvane_handle handle)
{
    const std::lock_guard<std::mutex> guard(interrupts.lock);
    interrupts.text += "kelvane_notify_msi(" + std::to_string(handle) + ")\n";
    return 64174;
}

int32_t kelvane_init_driver(void)
{
    return called("kelvane_init_driver()");
}

int32_t kelvane_device_create(kelvane_init_device_t device)
{
    const bool callbacks =
        device.notify_plugin_cb == coherent_oir_fn && device.notify_plugin_cb(0, 0, 0) == 0 &&
        device.pci_read_cb == coh_hal_pci_read_cb_fn && device.pci_write_cb == coh_hal_pci_write_cb_fn &&
        device.pci_read_block_cb == coh_hal_pci_read_block_cb_fn &&
        device.pci_write_block_cb == coh_hal_pci_write_block_cb_fn &&
        device.app_zynq_restart_notify_cb == nullptr && device.generic_cb == nullptr;
    return called("kelvane_device_create(slot %u, client %u, subsystem %u, callbacks %s)", device.slot_id,
                  device.client_type, device.subsystem_number, callbacks ? "right" : "wrong");
}

int32_t kelvane_device_delete(kelvane_handle handle)
{
    return called("kelvane_device_delete(%u)", handle);
}

int32_t kelvane_pci_mapped(kelvane_handle handle, int32_t pci_mapped, uint64_t base, uint64_t size)
{
    return called("kelvane_pci_mapped(%u, %d, %s, 0x%llx)", handle, pci_mapped, base != 0 ? "base" : "null",
                  static_cast<unsigned long long>(size));
}

int32_t kelvane_default_initialize(kelvane_handle handle)
{
    return called("kelvane_default_initialize(%u)", handle);
}

int32_t kelvane_get_software_running(kelvane_handle handle, kelvane_device_address device_address,
                                     uint32_t *major, uint32_t *minor)
{
    const int32_t result = called("kelvane_get_software_running(%u, 0x%x)", handle, device_address);
    if (result == 0) {
        *major = 5;
        *minor = 22;
    }
    return result;
}

int32_t kelvane_software_version_comp_check(kelvane_handle handle, uint32_t *comp_sw)
{
    // The answer is the verdict; 110 fails the call.
    const int32_t result = called("kelvane_software_version_comp_check(%u)", handle);
    *comp_sw = result == 110 ? 0 : static_cast<uint32_t>(result);
    return result == 110 ? 110 : 0;
}

int32_t kelvane_read_register(kelvane_handle handle, kelvane_device_address device_address,
                              uint32_t reg_address, uint32_t *value)
{
    *value = 0xBEEF;
    return called("kelvane_read_register(%u, 0x%x, 0x%x)", handle, device_address, reg_address);
}

int32_t kelvane_write_register(kelvane_handle handle, kelvane_device_address device_address,
                               uint32_t reg_address, uint32_t value)
{
    return called("kelvane_write_register(%u, 0x%x, 0x%x, 0x%x)", handle, device_address, reg_address, value);
}

int32_t kelvane_diag_command(kelvane_handle handle, kelvane_device_address device_address,
                             uint32_t diag_command)
{
    return called("kelvane_diag_command(%u, 0x%x, %u)", handle, device_address, diag_command);
}

int32_t kelvane_recover_device(kelvane_handle handle, kelvane_device_address device_address)
{
    return called("kelvane_recover_device(%u, 0x%x)", handle, device_address);
}

int32_t kelvane_set_traffic_type(kelvane_handle handle, kelvane_device_address device_address,
                                 uint32_t traffic_type, kelvane_set_traffic_type_cb fn_cb,
                                 uint32_t transaction_id)
{
    const int32_t result =
        called("kelvane_set_traffic_type(%u, 0x%x, %u, %s, %u)", handle, device_address, traffic_type,
               name_of(fn_cb == coherent_set_traffic_type_cb_fn), transaction_id);
    complete(fn_cb, handle, device_address, transaction_id);
    return result;
}

int32_t kelvane_set_laser(kelvane_handle handle, kelvane_device_address device_address, int32_t laser,
                          kelvane_set_laser_cb fn_cb, int32_t transaction_id)
{
    const int32_t result = called("kelvane_set_laser(%u, 0x%x, %d, %s, %d)", handle, device_address, laser,
                                  name_of(fn_cb == coherent_set_laser_cb_fn), transaction_id);
    complete(fn_cb, handle, device_address, static_cast<uint32_t>(transaction_id));
    return result;
}

int32_t kelvane_set_laser_channel_flex_grid(kelvane_handle handle, kelvane_device_address device_address,
                                            int32_t channel, int32_t tx_rx)
{
    return called("kelvane_set_laser_channel_flex_grid(%u, 0x%x, %d, %d)", handle, device_address, channel,
                  tx_rx);
}

int32_t kelvane_get_traffic_type(kelvane_handle handle, kelvane_device_address device_address,
                                 uint32_t *traffic_type)
{
    *traffic_type = 24;
    return called("kelvane_get_traffic_type(%u, 0x%x)", handle, device_address);
}

int32_t kelvane_get_laser_channel_flex_grid(kelvane_handle handle, kelvane_device_address device_address,
                                            uint32_t *channel, int32_t tx_rx)
{
    *channel = 1910000;
    return called("kelvane_get_laser_channel_flex_grid(%u, 0x%x, %d)", handle, device_address, tx_rx);
}

int32_t kelvane_get_laser(kelvane_handle handle, kelvane_device_address device_address, uint32_t *laser)
{
    *laser = 1;
    return called("kelvane_get_laser(%u, 0x%x)", handle, device_address);
}

// The records are written whatever the result, as after an answer that carries an error.
int32_t kelvane_get_sirane_port_pm(kelvane_handle handle, kelvane_device_address device_address,
                                   kelvane_sirane_port_pm *record)
{
    *record = {
        -1,  2,  3,  4,  5,  6,  7,  8,  -9, 10, 11, 12, 0.5F, 0.000025F, 3, 1e9F, 18446744073709551615U,
        -15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27,   0};
    return called("kelvane_get_sirane_port_pm(%u, 0x%x)", handle, device_address);
}

int32_t kelvane_get_xpm2_port_pm(kelvane_handle handle, kelvane_device_address device_address,
                                 kelvane_xpm2_port_pm *record)
{
    *record = {31, 32, -33, 34, -35, -0x1234};
    return called("kelvane_get_xpm2_port_pm(%u, 0x%x)", handle, device_address);
}

int32_t kelvane_get_generic_pm(kelvane_handle handle, kelvane_device_address device_address,
                               kelvane_generic_pm *record)
{
    *record = {0x2AFF, 0x1F7F};
    return called("kelvane_get_generic_pm(%u, 0x%x)", handle, device_address);
}

int32_t kelvane_get_nwtk_port_alarms(kelvane_handle handle, kelvane_device_address device_address,
                                     uint32_t *alarms)
{
    const int32_t result = called("kelvane_get_nwtk_port_alarms(%u, 0x%x)", handle, device_address);
    if (result == 0) {
        *alarms = 0xC0009A35;
    }
    return result;
}

int32_t kelvane_get_generic_alarms(kelvane_handle handle, kelvane_device_address device_address,
                                   uint32_t *alarms)
{
    const int32_t result = called("kelvane_get_generic_alarms(%u, 0x%x)", handle, device_address);
    if (result == 0) {
        *alarms = device_address == 0xFF0000FF   ? 0x80002C93
                  : device_address == 0xFF0001FF ? 0x7FFFD36C
                                                 : 0x8000000B;
    }
    return result;
}

int32_t kelvane_download_software(kelvane_handle handle, uint32_t download_device, const char *file_name)
{
    return called("kelvane_download_software(%u, %u, %s)", handle, download_device, file_name);
}

// The first one uses the image up.
int32_t kelvane_program_activate_software(kelvane_handle handle, kelvane_device_address device_address,
                                          const char *file_name, kelvane_program_activate_cb fn_cb,
                                          uint32_t transaction_id)
{
    static bool used_up = false;
    const int32_t result = called("kelvane_program_activate_software(%u, 0x%x, %s, %s, %u)", handle,
                                  device_address, file_name, name_of(fn_cb != nullptr), transaction_id);
    return result != 0 ? result : std::exchange(used_up, true) ? 7 : 0;
}

int32_t kelvane_ps_print_trace(kelvane_handle handle)
{
    return called("kelvane_ps_print_trace(%u)", handle);
}

int32_t kelvane_get_subsystem_status_info(kelvane_handle handle, kelvane_device_address device_address,
                                          kelvane_subsystem_status_t *record)
{
    uint32_t words[31];
    for (uint32_t i = 0; i < 31; i++) {
        words[i] = 0xABCDEF00 + i;
    }
    memcpy(record, words, sizeof words);
    record->dac_vco_1 = 1.5F;
    record->dac_vco_2 = -0.25F;
    record->adc_vco_1 = 1e6F;
    record->adc_vco_2 = 0;
    return called("kelvane_get_subsystem_status_info(%u, 0x%x)", handle, device_address);
}
