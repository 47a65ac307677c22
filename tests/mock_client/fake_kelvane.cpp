#include "mock_client/fake_kelvane.h"

#include <condition_variable>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <pthread.h>
#include <unistd.h>

#include "kelvane.h"
#include "mock_client/client_device.h"
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
std::string &calls = *new std::string;
interrupt_calls &interrupts = *new interrupt_calls;
fake_answer answer = {"", 0};
int call_count = 0;

[[gnu::format(printf, 1, 2)]] int32_t called(const char *format, ...)
{
    char text[200];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    calls.append(text).append("\n");
    if (++call_count == 1000) {
        fflush(nullptr);
        _exit(FAKE_KELVANE_EXHAUSTED);
    }
    const size_t length = strlen(answer.call);
    return length > 0 && strncmp(text, answer.call, length) == 0 ? answer.result : 0;
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
    calls.clear();
    call_count = 0;
}

std::string fake_kelvane_calls()
{
    return calls;
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
