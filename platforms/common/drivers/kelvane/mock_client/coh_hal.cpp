#include "mock_client/coh_hal.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <pthread.h>
#include <unistd.h>

#include "mock_client/console.h"
#include "platform/host_tree.h"
#include "platform/recorder.h"
#include "platform/thread.h"

coh_hal_device dev_ctx = {-1, {}, nullptr, 0};

namespace {

// The fallback is run by a shell on the real host; a simulated card's tree has no use for it.
void make_node(int32_t number)
{
    if (host_tree_root()[0] != '\0') {
        console_error("mknod is not run below the host tree %s: is the simulated card running?",
                      host_tree_root());
        return;
    }
    char command[200];
    snprintf(command, sizeof command,
             "sudo mknod -m 660 /dev/uio%d c `grep uio /proc/devices | awk '{print $1}'` %d", number, number);
    const int status = system(command);
    (void)status; // the next open shows whether it helped
}

int32_t open_node(int32_t number)
{
    char node[24];
    snprintf(node, sizeof node, "/dev/uio%d", number);
    dev_ctx.fd = uio_open(node);
    if (dev_ctx.fd < 0) {
        make_node(number);
        dev_ctx.fd = uio_open(node);
    }
    if (dev_ctx.fd < 0) {
        console_error("Cannot open %s%s: %s", host_tree_root(), node, strerror(errno));
        return ENODEV;
    }
    return 0;
}

int32_t map_bar(const uio_info *info)
{
    const uint64_t size = info->maps[0].size;
    if (size < KELVANE_BAR_BYTES) {
        console_error("The first map of " KELVANE_UIO_NAME " has 0x%llx bytes, the card's BAR needs 0x%x",
                      static_cast<unsigned long long>(size), KELVANE_BAR_BYTES);
        return ENOMEM;
    }
    const char *const recording = secure_getenv("KELVANE_RECORD");
    const bool recorded = recording != nullptr && recording[0] != '\0';
    const int failed = recorded ? recorder_start(recording, KELVANE_DOWNLOAD_RAM) : 0;
    if (failed != 0) {
        console_error("Cannot record in %s, which KELVANE_RECORD names: %s", recording, strerror(failed));
        return EINVAL;
    }
    const int error = uio_map(dev_ctx.fd, size, &dev_ctx.mapped);
    if (error == EBUSY) {
        console_error("Process %d has the card of %s/dev/uio%d: one at a time", uio_owner(dev_ctx.fd),
                      host_tree_root(), info->number);
        return ENOMEM;
    }
    if (error != 0) {
        console_error("Cannot map 0x%llx bytes of %s/dev/uio%d: %s", static_cast<unsigned long long>(size),
                      host_tree_root(), info->number, strerror(error));
        return ENOMEM;
    }
    return 0;
}

int32_t find_and_map()
{
    dev_ctx.info = uio_find_devices_by_name(KELVANE_UIO_NAME);
    if (dev_ctx.info == nullptr) {
        console_error("No UIO device called " KELVANE_UIO_NAME
                      " below %s/sys/class/uio (%s): load the card's driver, or set "
                      "%s to the folder of a simulated card",
                      host_tree_root(), strerror(errno), HOST_TREE_VARIABLE);
        return ENODEV;
    }
    if (uio_get_all_info(dev_ctx.info) != 0) {
        console_error("Cannot read the size in %s/sys/class/uio/uio%d/maps/map0", host_tree_root(),
                      dev_ctx.info->number);
        return EINVAL;
    }
    const int32_t result = open_node(dev_ctx.info->number);
    return result != 0 ? result : map_bar(dev_ctx.info);
}

int32_t tell_mapped(int32_t handle, int32_t mapped)
{
    return kelvane_pci_mapped(static_cast<uint32_t>(handle), mapped,
                              reinterpret_cast<uintptr_t>(dev_ctx.mapped.base), dev_ctx.mapped.size_bytes);
}

void *coh_intr_forward_thread(void *argument)
{
    const auto *device = static_cast<const coh_hal_device *>(argument);
    platform_thread_set_name("coh_intr_forward_thread", pthread_self());
    kelvane_enable_msi(device->handle, 1);

    uint32_t count = 0; // how many interrupts so far: each read stands for all that came since the last
    while (uio_wait_interrupt(device->fd, &device->mapped, &count) == sizeof count) {
        kelvane_notify_msi(device->handle);
    }
    return nullptr;
}

} // namespace

int32_t coh_hal_pci_init()
{
    const int32_t result = find_and_map();
    if (result != 0) {
        if (dev_ctx.fd >= 0) {
            close(dev_ctx.fd);
        }
        uio_free(dev_ctx.info);
        dev_ctx = {-1, {}, nullptr, 0};
    }
    return result;
}

int32_t coh_hal_mmap_enable(int32_t handle)
{
    return tell_mapped(handle, 1);
}

int32_t coh_hal_mmap_disable(int32_t handle)
{
    return tell_mapped(handle, 0);
}

int32_t coh_hal_interrupt_enable(int32_t handle, uint32_t)
{
    dev_ctx.handle = static_cast<uint32_t>(handle);

    // These two belong to the platform; the thread inherits the mask, and this thread keeps it.
    sigset_t platform_signals;
    sigemptyset(&platform_signals);
    sigaddset(&platform_signals, SIGRTMIN + 6);
    sigaddset(&platform_signals, SIGRTMIN + 10);
    pthread_sigmask(SIG_BLOCK, &platform_signals, nullptr);

    pthread_t thread;
    if (pthread_create(&thread, nullptr, coh_intr_forward_thread, &dev_ctx) != 0) {
        return ENOSYS;
    }
    pthread_detach(thread); // nobody joins it: its resources go when it ends
    return 0;
}

int32_t coh_hal_interrupt_disable(int32_t, uint32_t)
{
    return 0;
}

int32_t coh_hal_pci_read_cb_fn(uint32_t, uint32_t, uint32_t offset, uint32_t *value, uint32_t)
{
    *value = mmio_read32(&dev_ctx.mapped, offset);
    return 0;
}

int32_t coh_hal_pci_write_cb_fn(uint32_t, uint32_t, uint32_t offset, uint32_t value, uint32_t)
{
    mmio_write32(&dev_ctx.mapped, offset, value);
    return 0;
}

int32_t coh_hal_pci_read_block_cb_fn(uint32_t, uint32_t, uint32_t offset, uint32_t words, uint32_t *data,
                                     uint32_t)
{
    for (uint32_t word = 0; word < words; word++) {
        data[word] = mmio_read32(&dev_ctx.mapped, offset + 4 * word);
    }
    return 0;
}

int32_t coh_hal_pci_write_block_cb_fn(uint32_t, uint32_t, uint32_t offset, uint32_t words,
                                      const uint32_t *data, uint32_t)
{
    for (uint32_t word = 0; word < words; word++) {
        mmio_write32(&dev_ctx.mapped, offset + 4 * word, data[word]);
    }
    return 0;
}
