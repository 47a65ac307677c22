// Access to the card by way of a host's tree, with a plain file as the device.
#include "mock_client/coh_hal.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include "client/fake_kelvane.h"
#include "client/run_child.h"

namespace {

constexpr uint64_t BAR_BYTES = 0x4000000;

TEST(coh_hal, moves_single_words_and_blocks)
{
    host_folder host;
    host.add_card(BAR_BYTES);
    ASSERT_EQ(coh_hal_pci_init(), 0);
    EXPECT_EQ(dev_ctx.mapped.size, BAR_BYTES);

    uint32_t word = 0;
    EXPECT_EQ(coh_hal_pci_write_cb_fn(0, 0, 0x3FFFFFC, 0x12345678, 1), 0);
    EXPECT_EQ(coh_hal_pci_read_cb_fn(0, 0, 0x3FFFFFC, &word, 1), 0);
    EXPECT_EQ(word, 0x12345678u);

    const uint32_t written[3] = {0xA, 0xB, 0xC};
    uint32_t read[4] = {1, 2, 3, 4};
    EXPECT_EQ(coh_hal_pci_write_block_cb_fn(0, 0, 0x100, 3, written, 0), 0);
    EXPECT_EQ(coh_hal_pci_write_block_cb_fn(0, 0, 0x104, 0, nullptr, 0), 0);
    EXPECT_EQ(coh_hal_pci_read_block_cb_fn(0, 0, 0x104, 2, read, 0), 0);
    EXPECT_EQ(coh_hal_pci_read_block_cb_fn(0, 0, 0x104, 0, nullptr, 0), 0);
    EXPECT_EQ(read[0], 0xBu);
    EXPECT_EQ(read[1], 0xCu);
    EXPECT_EQ(read[2], 3u);

    const child_result disabled = run_child("", streams::together, [] { return coh_hal_mmap_disable(3); });
    EXPECT_EQ(disabled.out, "[kelvane_pci_mapped(3, 0, base, 0x4000000)]");
    EXPECT_EQ(coh_hal_interrupt_disable(0, 0), 0);
}

// The file's last bytes are two whole interrupt counts and half of a third, which ends the thread.
TEST(coh_hal, forwards_each_interrupt_until_a_read_comes_up_short)
{
    host_folder host;
    host.add_card(BAR_BYTES + 10);
    const child_result run = run_child("", streams::together, [] {
        const int32_t mapped = coh_hal_pci_init();
        lseek(dev_ctx.fd, BAR_BYTES, SEEK_SET);
        fake_kelvane_let_interrupts_in();
        const int32_t enabled = coh_hal_interrupt_enable(7, 0);
        while (std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}) > 1) {
            sched_yield();
        }
        return mapped + enabled;
    });
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "coh_intr_forwar without 110: kelvane_enable_msi(7, 1)\n"
                       "kelvane_notify_msi(7)\nkelvane_notify_msi(7)\n");
}

TEST(coh_hal, says_what_it_looked_for_when_there_is_no_card)
{
    const char *size = "sys/class/uio/uio0/maps/map0/size";
    const std::string no_device = "No UIO device called ZYNQFPGA below ROOT/sys/class/uio ";
    const std::string load_driver =
        ": load the card's driver, or set KELVANE_HOST_ROOT to the folder of a simulated card";
    const struct {
        const char *path, *text; // what is removed, or written over
        int code;
        std::string printed;
    } cases[] = {
        {"sys/class/uio/uio0/name", "ZYNQFPGA2\n", 19, no_device + "(No such device)" + load_driver},
        {"sys/class/uio", nullptr, 19, no_device + "(No such file or directory)" + load_driver},
        {size, nullptr, 22, "Cannot read the size in ROOT/sys/class/uio/uio0/maps/map0"},
        {size, "no number\n", 22, "Cannot read the size in ROOT/sys/class/uio/uio0/maps/map0"},
        {size, "0x03fff000\n", 12,
         "The first map of ZYNQFPGA has 0x3fff000 bytes, the card's BAR needs 0x4000000"},
        {size, "0x80000000\n", 12, "Cannot map 0x80000000 bytes of ROOT/dev/uio0: Invalid argument"},
        {"dev/uio0", nullptr, 19,
         "mknod is not run below the host tree ROOT: is the simulated card running?\n"
         ">>> ERROR <<<Cannot open ROOT/dev/uio0: No such file or directory"},
    };
    for (const auto &broken : cases) {
        SCOPED_TRACE(broken.printed);
        host_folder host;
        host.add_card(BAR_BYTES);
        std::filesystem::remove_all(host.root / broken.path);
        if (broken.text != nullptr) {
            host.write(broken.path, broken.text);
        }
        const child_result result = run_child("", streams::apart, coh_hal_pci_init);
        EXPECT_EQ(result.status, broken.code);
        std::string printed = result.err;
        for (size_t at = 0; (at = printed.find(host.root)) != std::string::npos;) {
            printed.replace(at, host.root.string().size(), "ROOT");
        }
        EXPECT_EQ(printed, ">>> ERROR <<<" + broken.printed + "\n");
    }
}

} // namespace
