#include "client/fake_kelvane.h"

#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <pthread.h>
#include <thread>
#include <tuple>
#include <unistd.h>
#include <utility>

#include "kelvane.h"
#include "mock_client/client_device.h"
#include "mock_client/client_traffic.h"
#include "mock_client/coh_hal.h"

namespace {

bool interrupts_let_in = false;
// On the heap for good: it may run when main ends.
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

const char *judge(const kelvane_init_device_t &it)
{
    const bool right = it.notify_plugin_cb == coherent_oir_fn && it.notify_plugin_cb(0, 0, 0) == 0 &&
                       it.pci_read_cb == coh_hal_pci_read_cb_fn &&
                       it.pci_write_cb == coh_hal_pci_write_cb_fn &&
                       it.pci_read_block_cb == coh_hal_pci_read_block_cb_fn &&
                       it.pci_write_block_cb == coh_hal_pci_write_block_cb_fn &&
                       it.app_zynq_restart_notify_cb == nullptr && it.generic_cb == nullptr;
    return right ? "right" : "wrong";
}

// Every field another value.
const kelvane_sirane_port_pm PORT_PM = {
    -1,  2,  3,  4,  5,  6,  7,  8,  -9, 10, 11, 12, 0.5F, 0.000025F, 3, 1e9F, 18446744073709551615U,
    -15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27,   0};
const kelvane_xpm2_port_pm MODULE_PM = {31, 32, -33, 34, -35, -0x1234};

kelvane_subsystem_status_t status()
{
    kelvane_subsystem_status_t record{};
    for (uint32_t i = 0; i < 31; i++) {
        reinterpret_cast<uint32_t *>(&record)[i] = 0xABCDEF00 + i;
    }
    record.dac_vco_1 = 1.5F;
    record.dac_vco_2 = -0.25F;
    record.adc_vco_1 = 1e6F;
    return record;
}

// One-bits and zero-bits by turns, so that no bit looks like its neighbour; of the last module by pairs.
uint32_t alarms_of(uint32_t address)
{
    return address == 0xFF0000FF ? 0x80002AAA : address == 0xFF0001FF ? 0x7FFFCCCC : 0x8000000A;
}

bool activated = false; // the first time uses the image up

} // namespace

void fake_kelvane_start(const fake_answer &given)
{
    answer = given;
    call_count = 0;
}

void fake_kelvane_let_interrupts_in()
{
    interrupts_let_in = true;
}

int32_t kelvane_enable_msi(kelvane_handle handle, uint32_t enable)
{
    if (!interrupts_let_in) {
        pthread_exit(nullptr);
    }
    char name[16];
    pthread_getname_np(pthread_self(), name, sizeof name);
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    dprintf(STDOUT_FILENO, "%s without %d%d%d: kelvane_enable_msi(%u, %u)\n", name,
            sigismember(&blocked, SIGRTMIN + 6), sigismember(&blocked, SIGRTMIN + 10),
            sigismember(&blocked, SIGTERM), handle, enable);
    return 110;
}

int32_t kelvane_notify_msi(kelvane_handle handle)
{
    dprintf(STDOUT_FILENO, "kelvane_notify_msi(%u)\n", handle);
    return 64174;
}

// An operation that shows its call, and what it does behind that: `rc` is what it returns.
#define FAKE(name, parameters, effect, format, ...)                                                          \
    int32_t name parameters                                                                                  \
    {                                                                                                        \
        int32_t rc = called(#name "(" format ")" __VA_OPT__(, ) __VA_ARGS__);                                \
        effect;                                                                                              \
        return rc;                                                                                           \
    }
#define NOTHING static_cast<void>(0)

using u32 = uint32_t;
using i32 = int32_t;

FAKE(kelvane_init_driver, (void), NOTHING, "")
FAKE(kelvane_device_create, (kelvane_init_device_t it), NOTHING,
     "slot %u, client %u, subsystem %u, callbacks %s", it.slot_id, it.client_type, it.subsystem_number,
     judge(it))
FAKE(kelvane_device_delete, (u32 h), NOTHING, "%u", h)
FAKE(kelvane_pci_mapped, (u32 h, i32 mapped, uint64_t base, uint64_t size), NOTHING, "%u, %d, %s, 0x%lx", h,
     mapped, base != 0 ? "base" : "null", size)
FAKE(kelvane_default_initialize, (u32 h), NOTHING, "%u", h)
FAKE(kelvane_get_software_running, (u32 h, u32 a, u32 *major, u32 *minor),
     if (rc == 0) std::tie(*major, *minor) = std::pair(5, 22), "%u, 0x%x", h, a)
// The answer is the verdict; 110 fails the call.
FAKE(kelvane_software_version_comp_check, (u32 h, u32 *comp_sw),
     *comp_sw = rc == 110 ? 0 : static_cast<u32>(rc);
     rc = rc == 110 ? 110 : 0, "%u", h)
FAKE(kelvane_read_register, (u32 h, u32 a, u32 reg, u32 *value), *value = 0xBEEF, "%u, 0x%x, 0x%x", h, a, reg)
FAKE(kelvane_write_register, (u32 h, u32 a, u32 reg, u32 value), NOTHING, "%u, 0x%x, 0x%x, 0x%x", h, a, reg,
     value)
FAKE(kelvane_diag_command, (u32 h, u32 a, u32 diag), NOTHING, "%u, 0x%x, %u", h, a, diag)
FAKE(kelvane_recover_device, (u32 h, u32 a), NOTHING, "%u, 0x%x", h, a)
FAKE(kelvane_set_traffic_type, (u32 h, u32 a, u32 type, kelvane_set_traffic_type_cb cb, u32 id),
     complete(cb, h, a, id), "%u, 0x%x, %u, %s, %u", h, a, type,
     name_of(cb == coherent_set_traffic_type_cb_fn), id)
FAKE(kelvane_set_laser, (u32 h, u32 a, i32 laser, kelvane_set_laser_cb cb, i32 id),
     complete(cb, h, a, static_cast<u32>(id)), "%u, 0x%x, %d, %s, %d", h, a, laser,
     name_of(cb == coherent_set_laser_cb_fn), id)
FAKE(kelvane_set_laser_channel_flex_grid, (u32 h, u32 a, i32 channel, i32 tx_rx), NOTHING, "%u, 0x%x, %d, %d",
     h, a, channel, tx_rx)
FAKE(kelvane_get_traffic_type, (u32 h, u32 a, u32 *type), *type = 24, "%u, 0x%x", h, a)
FAKE(kelvane_get_laser_channel_flex_grid, (u32 h, u32 a, u32 *channel, i32 tx_rx), *channel = 1910000,
     "%u, 0x%x, %d", h, a, tx_rx)
FAKE(kelvane_get_laser, (u32 h, u32 a, u32 *laser), *laser = 1, "%u, 0x%x", h, a)
// The records are written whatever the result, as after an answer that carries an error.
FAKE(kelvane_get_sirane_port_pm, (u32 h, u32 a, kelvane_sirane_port_pm *record), *record = PORT_PM,
     "%u, 0x%x", h, a)
FAKE(kelvane_get_xpm2_port_pm, (u32 h, u32 a, kelvane_xpm2_port_pm *record), *record = MODULE_PM, "%u, 0x%x",
     h, a)
FAKE(kelvane_get_generic_pm, (u32 h, u32 a, kelvane_generic_pm *it), it->sirane_temperature = 0x2AFF;
     it->ordune_temperature = 0x1F7F, "%u, 0x%x", h, a)
FAKE(kelvane_get_nwtk_port_alarms, (u32 h, u32 a, u32 *alarms), if (rc == 0) *alarms = 0xC0005555, "%u, 0x%x",
     h, a)
FAKE(kelvane_get_generic_alarms, (u32 h, u32 a, u32 *alarms), if (rc == 0) *alarms = alarms_of(a), "%u, 0x%x",
     h, a)
FAKE(kelvane_download_software, (u32 h, u32 kind, const char *file), NOTHING, "%u, %u, %s", h, kind, file)
FAKE(kelvane_program_activate_software,
     (u32 h, u32 a, const char *file, kelvane_program_activate_cb cb, u32 id),
     rc = rc == 0 && std::exchange(activated, true) ? 7 : rc, "%u, 0x%x, %s, %s, %u", h, a, file,
     name_of(cb != nullptr), id)
FAKE(kelvane_ps_print_trace, (u32 h), NOTHING, "%u", h)
FAKE(kelvane_get_subsystem_status_info, (u32 h, u32 a, kelvane_subsystem_status_t *record),
     *record = status(), "%u, 0x%x", h, a)
