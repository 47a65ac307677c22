// Access to the card by way of a UIO device. The device, its library, the shell's `sudo` and its `grep` are
// the test's own, so nothing on the real host is looked at or changed.
#include "mock_client/coh_hal.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include "client/run_child.h"
#include "platform/host_tree.h"
#include "support/temporary_folder.h"

namespace {

// What the device and its library do.
uio_info info;
uio_info *found = &info;
uint64_t bar_bytes = 0x4000000;
const char *root = "/tree";
int info_error, failing_opens, map_error;
std::atomic<int> interrupts = 2; // and one that is cut short, with which the thread ends
uint32_t memory[4];

} // namespace

const char *host_tree_root(void)
{
    return root;
}

uio_info *uio_find_devices_by_name(const char *)
{
    errno = ENODEV;
    return found;
}

int uio_get_all_info(uio_info *it)
{
    it->number = 12;
    it->maps[0].size = bar_bytes;
    return info_error;
}

void uio_free(uio_info *)
{
    printf("freed\n");
}

int uio_open(const char *node)
{
    printf("open %s\n", node);
    fflush(stdout);
    errno = ENOENT;
    return failing_opens-- > 0 ? -1 : 1000;
}

int uio_map(int, uint64_t size, mmio_mapping *out)
{
    *out = {memory, static_cast<uint32_t>(size), nullptr};
    return map_error;
}

long uio_wait_interrupt(int fd, uint32_t *)
{
    return fd == 1000 && interrupts-- > 0 ? 4 : 2;
}

int32_t kelvane_pci_mapped(uint32_t handle, int32_t mapped, uint64_t base, uint64_t size)
{
    printf("mapped %u %d %d 0x%lx\n", handle, mapped, base == reinterpret_cast<uintptr_t>(memory), size);
    return 17;
}

int32_t kelvane_enable_msi(uint32_t handle, uint32_t enable)
{
    char name[16];
    sigset_t blocked;
    pthread_getname_np(pthread_self(), name, sizeof name);
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    printf("%s without %d%d%d: enable_msi %u %u\n", name, sigismember(&blocked, SIGRTMIN + 6),
           sigismember(&blocked, SIGRTMIN + 10), sigismember(&blocked, SIGTERM), handle, enable);
    return 110;
}

int32_t kelvane_notify_msi(uint32_t handle)
{
    printf("notify_msi %u\n", handle);
    return 64174;
}

namespace {

TEST(coh_hal, moves_words_and_forwards_interrupts)
{
    const child_result run = run_child("", [] {
        int32_t rc = coh_hal_pci_init();
        uint32_t read[4] = {0, 1, 2, 3};
        const uint32_t written[3] = {0xA, 0xB, 0xC};
        rc += coh_hal_pci_write_cb_fn(0, 0, 12, 0x12345678, 1) + coh_hal_pci_read_cb_fn(0, 0, 12, read, 1) +
              coh_hal_pci_write_block_cb_fn(0, 0, 0, 3, written, 0) +
              coh_hal_pci_read_block_cb_fn(0, 0, 4, 2, read + 1, 0);
        printf("%x %x %x %x, %x %x %x %x ", memory[0], memory[1], memory[2], memory[3], read[0], read[1],
               read[2], read[3]);
        rc += coh_hal_mmap_enable(2) + coh_hal_mmap_disable(3);
        rc += coh_hal_interrupt_enable(7, 0) + coh_hal_interrupt_disable(7, 0);
        while (interrupts >= 0) {
            sched_yield();
        }
        return rc;
    });
    EXPECT_EQ(run.status, 34);
    EXPECT_EQ(run.text, "open /dev/uio12\na b c 12345678, 12345678 b c 3 mapped 2 1 1 0x4000000\n"
                        "mapped 3 0 1 0x4000000\ncoh_intr_forwar without 110: enable_msi 7 1\n"
                        "notify_msi 7\nnotify_msi 7\n");
}

TEST(coh_hal, says_what_it_looked_for_when_there_is_no_card)
{
    const temporary_folder programs;
    programs.write("sudo", "#!/bin/sh\necho sudo $*\n");
    programs.write("grep", "#!/bin/sh\necho \"240 $1 $2\" | sed 's,uio /proc/devices,uio,'\n");
    std::filesystem::permissions(programs.path + "/sudo", std::filesystem::perms::owner_all);
    std::filesystem::permissions(programs.path + "/grep", std::filesystem::perms::owner_all);
    setenv("PATH", (programs.path + ":" + getenv("PATH")).c_str(), 1);
    const std::string open = "open /dev/uio12\n", error = ">>> ERROR <<<",
                      made = "sudo mknod -m 660 /dev/uio12 c 240 12\n";
    const std::tuple<void (*)(), int, std::string> cases[] = {
        {[] { found = nullptr; }, 19,
         error + "No UIO device called ZYNQFPGA below /tree/sys/class/uio (No such device): load the card's "
                 "driver, or set KELVANE_HOST_ROOT to the folder of a simulated card\n"},
        {[] { info_error = 5; }, 22, error + "Cannot read the size in /tree/sys/class/uio/uio12/maps/map0\n"},
        {[] { bar_bytes = 0x3FFFFFF; }, 12,
         open + error + "The first map of ZYNQFPGA has 0x3ffffff bytes, the card's BAR needs 0x4000000\n"},
        {[] { map_error = 22; }, 12,
         open + error + "Cannot map 0x4000000 bytes of /tree/dev/uio12: Invalid argument\n"},
        {[] { failing_opens = 2; }, 19,
         open + error + "mknod is not run below the host tree /tree: is the simulated card running?\n" +
             open + error + "Cannot open /tree/dev/uio12: No such file or directory\n"},
        {[] { root = "", failing_opens = 2; }, 19,
         open + made + open + error + "Cannot open /dev/uio12: No such file or directory\n"},
        {[] { root = "", failing_opens = 1; }, 0, open + made + open},
    };
    for (const auto &[spoil, code, printed] : cases) {
        const child_result run = run_child("", [spoil = spoil] {
            spoil();
            return coh_hal_pci_init();
        });
        EXPECT_EQ(run.status, code);
        EXPECT_EQ(run.text, printed + (code == 0 ? "" : "freed\n"));
    }
}

} // namespace
