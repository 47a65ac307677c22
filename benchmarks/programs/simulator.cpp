// The simulated card as a process: it sleeps while nothing happens, and a host must not feel it.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>

#include "benchmarks/clock.h"
#include "benchmarks/figures.h"
#include "benchmarks/programs/process_use.h"
#include "benchmarks/programs/program.h"
#include "benchmarks/programs/spinning_card.h"
#include "kelvane.h"
#include "kelvane_bar.h"
#include "lifecycle/driver.h"
#include "platform/host_tree.h"
#include "platform/recorder.h"
#include "platform/uio.h"

namespace {

constexpr unsigned COMMANDS = 20;

mmio_mapping sleeping;
mmio_mapping spinning;
const mmio_mapping *reached; // by the library
pid_t spinning_pid;

int32_t read_word(kelvane_handle, uint32_t, uint32_t offset, uint32_t *value, uint32_t)
{
    *value = mmio_read32(reached, offset);
    return 0;
}

int32_t write_word(kelvane_handle, uint32_t, uint32_t offset, uint32_t value, uint32_t)
{
    mmio_write32(reached, offset, value);
    return 0;
}

void map_simulator()
{
    start_simulator();
    uio_info *info = uio_find_devices_by_name(KELVANE_UIO_NAME);
    if (info == nullptr) {
        figure_fail("uio_find_devices_by_name");
    }
    char node[32];
    std::snprintf(node, sizeof node, "/dev/uio%d", info->number);
    const int fd = uio_open(node);
    errno = uio_map(fd, BAR_BYTES, &sleeping);
    if (errno != 0) {
        figure_fail("uio_map");
    }
    uio_free(info);
}

void link_up(const mmio_mapping *mapping)
{
    reached = mapping;
    if (kelvane_pci_mapped(0, 1, 0, 0) != 0) {
        figure_fail("kelvane_pci_mapped");
    }
}

void start_cards()
{
    spinning_pid = spinning_card_start(&spinning);
    map_simulator();
    kelvane_init_device_t device{};
    device.notify_plugin_cb = [](kelvane_handle, kelvane_device_address, uint32_t) { return 0; };
    device.pci_read_cb = read_word;
    device.pci_write_cb = write_word;
    driver_starts_threads = false;
    if (kelvane_init_driver() != 0 || kelvane_device_create(device) != 0) {
        figure_fail("kelvane_device_create");
    }
    link_up(&sleeping);
    link_up(&spinning);
    kill(spinning_pid, SIGSTOP);
}

double commands_a_second(const mmio_mapping *mapping)
{
    reached = mapping;
    return 1e9 / nanoseconds_each(COMMANDS, [](unsigned turns) {
               for (unsigned turn = 0; turn < turns; turn++) {
                   uint32_t value = 0;
                   if (kelvane_read_register(0, KELVANE_ADDRESS_SIRANE(0), 0x9010, &value) != 0 ||
                       value != 1) {
                       figure_fail("kelvane_read_register");
                   }
               }
           });
}

} // namespace

round_values simulator_rate()
{
    static const bool started = (start_cards(), true);
    (void)started;
    const double measured = commands_a_second(&sleeping);
    kill(spinning_pid, SIGCONT);
    const double reference = commands_a_second(&spinning);
    kill(spinning_pid, SIGSTOP);
    return {measured, reference};
}

round_values recorded_rate()
{
    static const bool started = (start_cards(), true);
    (void)started;
    const std::string file = std::string(host_tree_root()) + "/recording";
    if (recorder_start(file.c_str(), KELVANE_DOWNLOAD_RAM) != 0) {
        figure_fail("recorder_start");
    }
    const double measured = commands_a_second(&sleeping);
    recorder_stop();
    return {measured, commands_a_second(&sleeping)};
}

round_values simulator_idle()
{
    static const pid_t pid = start_simulator();
    return {processor_percent(pid, 1), 0};
}
