#include "control/card_owner.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <pthread.h>

#include "control/dispatch.h"
#include "platform/host_tree.h"
#include "platform/recorder.h"
#include "platform/uio.h"

namespace {

struct mapped_card {
    int fd;
    mmio_mapping bar;
};

mapped_card card; // constant once it is mapped
void (*tell_gone)();
std::atomic<uint64_t> words_written;
std::atomic<uint32_t> latest_word;

int32_t read_word(kelvane_handle, uint32_t, uint32_t offset, uint32_t *value, uint32_t)
{
    *value = mmio_read32(&card.bar, offset);
    latest_word.store(*value, std::memory_order_relaxed);
    return 0;
}

int32_t write_word(kelvane_handle, uint32_t, uint32_t offset, uint32_t value, uint32_t)
{
    mmio_write32(&card.bar, offset, value);
    words_written.fetch_add(1, std::memory_order_relaxed);
    return 0;
}

int32_t ignore_plugin(kelvane_handle, kelvane_device_address, uint32_t)
{
    return 0;
}

std::string map_card()
{
    uio_info *info = uio_find_devices_by_name(KELVANE_UIO_NAME);
    if (info == nullptr) {
        return std::string("there is no UIO device called " KELVANE_UIO_NAME " below ") + host_tree_root() +
               "/sys/class/uio; " HOST_TREE_VARIABLE " names the folder of a simulated card";
    }
    const int described = uio_get_all_info(info);
    const std::string node = "/dev/uio" + std::to_string(info->number);
    const uint64_t bytes = described == 0 ? info->maps[0].size : 0;
    uio_free(info);
    if (bytes < KELVANE_BAR_BYTES) {
        return "the first map of " + node + " is not the card's BAR";
    }
    card.fd = uio_open(node.c_str());
    if (card.fd < 0) {
        return "cannot open " + node + ": " + strerror(errno);
    }
    const int error = uio_map(card.fd, bytes, &card.bar);
    if (error == EBUSY) {
        return "process " + std::to_string(uio_owner(card.fd)) + " has the card: one at a time";
    }
    return error == 0 ? "" : "cannot map " + node + ": " + strerror(error);
}

void *forward_interrupts(void *)
{
    uint32_t count = 0;
    while (uio_wait_interrupt(card.fd, &card.bar, &count) == sizeof count) {
        kelvane_notify_msi(THE_CARD);
    }
    if (tell_gone != nullptr) {
        tell_gone();
    }
    return nullptr;
}

std::string make_device(host_kind kind, const card_events &events)
{
    kelvane_init_device_t device{};
    device.client_type = kind == host_kind::otn ? 0 : 1;
    device.notify_plugin_cb = events.plugin != nullptr ? events.plugin : ignore_plugin;
    device.pci_read_cb = read_word;
    device.pci_write_cb = write_word;
    device.app_zynq_restart_notify_cb = events.restart;
    device.generic_cb = events.generic;
    int32_t rc = kelvane_init_driver();
    puts(""); // ends the line in which the library says that it has no log file
    fflush(stdout);
    if (rc != KELVANE_EOK) {
        return "kelvane_init_driver: " + name_of_code(rc);
    }
    rc = kelvane_device_create(device);
    return rc != THE_CARD ? "kelvane_device_create: " + name_of_code(rc) : "";
}

std::string start_interrupts()
{
    pthread_t thread;
    const int error = pthread_create(&thread, nullptr, forward_interrupts, nullptr);
    if (error != 0) {
        return std::string("the thread for interrupts: ") + strerror(error);
    }
    pthread_detach(thread);
    return "";
}

} // namespace

bool card_is_there()
{
    uio_info *info = uio_find_devices_by_name(KELVANE_UIO_NAME);
    uio_free(info);
    return info != nullptr;
}

std::string record_card(const std::string &path)
{
    const int error = recorder_start(path.c_str(), KELVANE_DOWNLOAD_RAM);
    return error == 0 ? "" : "cannot record in " + path + ": " + strerror(error);
}

std::string take_card(host_kind kind, const card_events &events)
{
    std::string problem = map_card();
    if (problem.empty()) {
        problem = make_device(kind, events);
    }
    tell_gone = events.gone;
    return problem.empty() ? start_interrupts() : problem;
}

int32_t link_up_card()
{
    const int32_t rc = kelvane_pci_mapped(THE_CARD, 1, 0, 0);
    return rc != KELVANE_EOK ? rc : kelvane_enable_msi(THE_CARD, 1);
}

std::string take_direct_card(host_kind kind)
{
    std::string problem = take_card(kind, {});
    if (!problem.empty()) {
        return problem;
    }
    const int32_t rc = link_up_card();
    return rc != KELVANE_EOK ? "the link-up failed: " + name_of_code(rc) : "";
}

bool card_reads_all_ones()
{
    return latest_word.load(std::memory_order_relaxed) == MMIO_ALL_ONES;
}

uint64_t card_words_written()
{
    return words_written.load(std::memory_order_relaxed);
}
