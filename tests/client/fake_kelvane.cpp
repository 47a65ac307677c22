#include "client/fake_kelvane.h"

#include <cstdarg>
#include <cstring>
#include <numeric>
#include <pthread.h>
#include <thread>
#include <tuple>
#include <unistd.h>
#include <utility>

#include "kelvane.h"
#include "mock_client/client_device.h"
#include "mock_client/client_traffic.h"

fake_answer the_answer = {"", 0};

namespace {

// On the heap for good: it may run when main ends.
std::thread &completion = *new std::thread;
bool activated = false; // the first time uses the image up

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
    const size_t length = strlen(the_answer.call);
    return length > 0 && strncmp(text, the_answer.call, length) == 0 ? the_answer.result : 0;
}

// Of a sirane's two requests only the second one is answered, late enough for a client that does not wait
// to be seen going on.
template <typename callback> void complete(callback fn_cb, uint32_t handle, uint32_t address, uint32_t id)
{
    if (fn_cb != nullptr && (address & 0x100) != 0) {
        completion = std::thread([=] {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            fn_cb(handle, address, id, 110);
        });
    }
}

// Every field another value.
const kelvane_sirane_port_pm PORT_PM = {
    -1,  2,  3,  4,  5,  6,  7,  8,  -9, 10, 11, 12, 0.5F, 0.000025F, 3, 1e9F, 18446744073709551615U,
    -15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27,   0};
const kelvane_xpm2_port_pm MODULE_PM = {31, 32, -33, 34, -35, -0x1234};

kelvane_subsystem_status_t status()
{
    kelvane_subsystem_status_t record{};
    auto *const words = reinterpret_cast<uint32_t *>(&record);
    std::iota(words, words + 31, 0xABCDEF00);
    std::tie(record.dac_vco_1, record.dac_vco_2, record.adc_vco_1) = std::tuple(1.5F, -0.25F, 1e6F);
    return record;
}

// One-bits and zero-bits by turns, so that no bit looks like its neighbour; of the last module by pairs.
uint32_t alarms_of(uint32_t address)
{
    return address == 0xFF0000FF ? 0x80002AAA : address == 0xFF0001FF ? 0x7FFFCCCC : 0x8000000A;
}

} // namespace

int32_t kelvane_enable_msi(kelvane_handle handle, uint32_t enable)
{
    if (strcmp(the_answer.call, "kelvane_notify_msi") != 0) {
        pthread_exit(nullptr);
    }
    return called("kelvane_enable_msi(%u, %u)", handle, enable);
}

// An operation that shows its call, and what it does after that: `rc` is what it returns.
#define FAKE(name, parameters, effect, format, ...)                                                          \
    int32_t name parameters                                                                                  \
    {                                                                                                        \
        int32_t rc = called(#name "(" format ")" __VA_OPT__(, ) __VA_ARGS__);                                \
        effect;                                                                                              \
        return rc;                                                                                           \
    }
#define NOTHING static_cast<void>(0)

// One that gives something of a device.
#define GET(name, type, effect) FAKE(name, (u32 h, u32 a, type * it), effect, "%u, 0x%x", h, a)

using u32 = uint32_t;
using i32 = int32_t;

FAKE(kelvane_init_driver, (void), NOTHING, "")
FAKE(kelvane_device_create, (kelvane_init_device_t it), NOTHING,
     "slot %u, client %u, subsystem %u, plug-ins %s, others %d", it.slot_id, it.client_type,
     it.subsystem_number, it.notify_plugin_cb == coherent_oir_fn ? "taken" : "lost",
     it.app_zynq_restart_notify_cb != nullptr || it.generic_cb != nullptr)
FAKE(kelvane_device_delete, (u32 h), NOTHING, "%u", h)
FAKE(kelvane_pci_mapped, (u32 h, i32 mapped, uint64_t base, uint64_t size), NOTHING, "%u, %d, %s, 0x%lx", h,
     mapped, base != 0 ? "base" : "null", size)
FAKE(kelvane_notify_msi, (u32 h), NOTHING, "%u", h)
FAKE(kelvane_default_initialize, (u32 h), NOTHING, "%u", h)
FAKE(kelvane_get_software_running, (u32 h, u32 a, u32 *major, u32 *minor),
     if (rc == 0) std::tie(*major, *minor) = std::pair(5, 22), "%u, 0x%x", h, a)
// The answer is the verdict; 110 fails the call.
FAKE(kelvane_software_version_comp_check, (u32 h, u32 *verdict),
     *verdict = std::exchange(rc, rc == 110 ? 110 : 0) % 110, "%u", h)
FAKE(kelvane_read_register, (u32 h, u32 a, u32 reg, u32 *it), *it = 0xBEEF, "%u, 0x%x, 0x%x", h, a, reg)
FAKE(kelvane_write_register, (u32 h, u32 a, u32 reg, u32 it), NOTHING, "%u, 0x%x, 0x%x, 0x%x", h, a, reg, it)
FAKE(kelvane_diag_command, (u32 h, u32 a, u32 it), NOTHING, "%u, 0x%x, %u", h, a, it)
FAKE(kelvane_recover_device, (u32 h, u32 a), NOTHING, "%u, 0x%x", h, a)
FAKE(kelvane_set_traffic_type, (u32 h, u32 a, u32 type, kelvane_set_traffic_type_cb cb, u32 id),
     complete(cb, h, a, id), "%u, 0x%x, %u, %s, %u", h, a, type,
     cb == coherent_set_traffic_type_cb_fn ? "callback" : "none", id)
FAKE(kelvane_set_laser, (u32 h, u32 a, i32 laser, kelvane_set_laser_cb cb, i32 id),
     complete(cb, h, a, static_cast<u32>(id)), "%u, 0x%x, %d, %s, %d", h, a, laser,
     cb == coherent_set_laser_cb_fn ? "callback" : "none", id)
FAKE(kelvane_set_laser_channel_flex_grid, (u32 h, u32 a, i32 channel, i32 tx_rx), NOTHING, "%u, 0x%x, %d, %d",
     h, a, channel, tx_rx)
GET(kelvane_get_traffic_type, u32, *it = 24)
FAKE(kelvane_get_laser_channel_flex_grid, (u32 h, u32 a, u32 *it, i32 tx_rx), *it = 1910000, "%u, 0x%x, %d",
     h, a, tx_rx)
GET(kelvane_get_laser, u32, *it = 1)
// The records are written whatever the result, as after an answer that carries an error.
GET(kelvane_get_sirane_port_pm, kelvane_sirane_port_pm, *it = PORT_PM)
GET(kelvane_get_xpm2_port_pm, kelvane_xpm2_port_pm, *it = MODULE_PM)
GET(kelvane_get_generic_pm, kelvane_generic_pm, *it = (kelvane_generic_pm{0x2AFF, 0x1F7F}))
GET(kelvane_get_nwtk_port_alarms, u32, if (rc == 0) *it = 0xC0005555)
GET(kelvane_get_generic_alarms, u32, if (rc == 0) *it = alarms_of(a))
FAKE(kelvane_download_software, (u32 h, u32 kind, const char *file), NOTHING, "%u, %u, %s", h, kind, file)
FAKE(kelvane_program_activate_software,
     (u32 h, u32 a, const char *file, kelvane_program_activate_cb cb, u32 id),
     rc = rc == 0 && std::exchange(activated, true) ? 7 : rc, "%u, 0x%x, %s, %s, %u", h, a, file,
     cb == nullptr ? "none" : "callback", id)
FAKE(kelvane_ps_print_trace, (u32 h), NOTHING, "%u", h)
GET(kelvane_get_subsystem_status_info, kelvane_subsystem_status_t, *it = status())
