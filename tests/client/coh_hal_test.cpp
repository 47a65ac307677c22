// Access to the card by way of a UIO device in a tree of the test's own. A host whose root is none is
// pretended, and the shell's `sudo` and `grep` are the test's own, so nothing on the real host is looked at
// or changed.
#include "mock_client/coh_hal.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "client/fake_kelvane.h"
#include "client/run_child.h"
#include "support/temporary_folder.h"

namespace {
bool is_real_host = false;
}

// The linker puts it between the client and the platform.
extern "C" const char *__real_host_tree_root(void);
extern "C" const char *__wrap_host_tree_root(void)
{
    return is_real_host ? "" : __real_host_tree_root();
}

namespace {

TEST(coh_hal, says_what_it_looked_for_when_there_is_no_card)
{
    const host_folder tree;
    for (const auto &[program, does] :
         {std::pair("sudo", "echo sudo $*; mv $KELVANE_HOST_ROOT/made $KELVANE_HOST_ROOT/dev/uio12 2>&-"),
          {"grep", "echo \"240 $1 $2\" | sed 's,uio /proc/devices,uio,'"}}) {
        tree.write(program, std::string("#!/bin/sh\n") + does + "\n");
        std::filesystem::permissions(tree.path + "/" + program, std::filesystem::perms::owner_all);
    }
    setenv("PATH", (tree.path + ":" + getenv("PATH")).c_str(), 1);
    const auto expect = [](int status, const std::string &printed) {
        const child_result run = run_child("", coh_hal_pci_init);
        EXPECT_EQ(run.status, status);
        EXPECT_EQ(run.text, printed);
    };
    const std::string error = ">>> ERROR <<<", uio = "sys/class/uio/uio12/", node = tree.path + "/dev/uio12";
    // What is written, one after the other.
    const std::tuple<std::string, const char *, int, std::string> steps[] = {
        {uio + "name", "OTHER\n", 19,
         "No UIO device called ZYNQFPGA below " + tree.path +
             "/sys/class/uio (No such device): load the card's driver, or set KELVANE_HOST_ROOT to the "
             "folder "
             "of a simulated card\n"},
        {uio + "name", "ZYNQFPGA\n", 22,
         "Cannot read the size in " + tree.path + "/sys/class/uio/uio12/maps/map0\n"},
        {uio + "maps/map0/size", "0x3ffffff\n", 19,
         "mknod is not run below the host tree " + tree.path + ": is the simulated card running?\n" + error +
             "Cannot open " + node + ": No such file or directory\n"},
        {"dev/uio12", "", 12,
         "The first map of ZYNQFPGA has 0x3ffffff bytes, the card's BAR needs 0x4000000\n"},
        {uio + "maps/map0/size", "0x4000000\n", 12,
         "Cannot map 0x4000000 bytes of " + node + ": Invalid argument\n"},
    };
    for (const auto &[file, text, status, printed] : steps) {
        tree.write(file, text);
        expect(status, error + printed);
    }
    is_real_host = true;
    std::filesystem::resize_file(node, 0x4000000);
    setenv("KELVANE_RECORD", tree.path.c_str(), 1);
    expect(22, error + "Cannot record in " + tree.path + ", which KELVANE_RECORD names: Is a directory\n");
    setenv("KELVANE_RECORD", (tree.path + "/recording").c_str(), 1);
    std::filesystem::rename(node, tree.path + "/made");
    const std::string made = "sudo mknod -m 660 /dev/uio12 c 240 12\n";
    expect(0, made);
    EXPECT_EQ(std::filesystem::file_size(tree.path + "/recording"), 64 + 16 + 20u); // nothing, and its end
    std::filesystem::remove(node);
    expect(19, made + error + "Cannot open /dev/uio12: No such file or directory\n");
    is_real_host = false;
}

TEST(coh_hal, forwards_interrupts_until_one_is_cut_short)
{
    the_answer = {"kelvane_notify_msi", 64174};
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "1...2...?", 9), 9);
    const child_result run = run_child("", [&] {
        dev_ctx.fd = ends[0];
        coh_hal_mmap_disable(3);
        coh_hal_interrupt_enable(7, 0);
        for (int left = 9; left > 0;) {
            ioctl(ends[0], FIONREAD, &left);
        }
        sigset_t blocked;
        pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
        return sigismember(&blocked, SIGRTMIN + 6) * 4 + sigismember(&blocked, SIGRTMIN + 10) * 2 +
               sigismember(&blocked, SIGTERM);
    });
    EXPECT_EQ(run.status, 6);
    EXPECT_EQ(run.text, "[kelvane_pci_mapped(3, 0, null, 0x0)][kelvane_enable_msi(7, 1)]"
                        "[kelvane_notify_msi(7)][kelvane_notify_msi(7)]");
}

} // namespace
