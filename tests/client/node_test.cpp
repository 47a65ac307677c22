// A host whose device node is missing. The device, the shell's `sudo` and its `grep` are the test's own,
// so nothing on the real host is looked at or changed.
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <tuple>

#include "client/run_child.h"
#include "mock_client/coh_hal.h"
#include "platform/host_tree.h"

namespace {

std::string opened; // nodes that the client tried to open
int failing_opens;  // this many fail
uint32_t memory[1];

} // namespace

const char *host_tree_root(void)
{
    return "";
}

void host_tree_forget(void)
{
}

uio_info *uio_find_devices_by_name(const char *)
{
    auto *info = new uio_info{};
    info->number = 12;
    info->maps[0].size = 0x4000000;
    return info;
}

int uio_get_all_info(uio_info *)
{
    return 0;
}

void uio_free(uio_info *info)
{
    delete info;
}

int uio_open(const char *node)
{
    opened += std::string(node) + " ";
    errno = ENOENT;
    return failing_opens-- > 0 ? -1 : 1000;
}

int uio_map(int, uint64_t size, mmio_mapping *out)
{
    *out = {memory, static_cast<uint32_t>(size), nullptr};
    return 0;
}

long uio_wait_interrupt(int, uint32_t *)
{
    return -1;
}

namespace {

TEST(coh_hal_node, is_made_once_when_it_cannot_be_opened)
{
    const std::string made = "sudo mknod -m 660 /dev/uio12 c 240 12\n";
    const std::tuple<int, int, std::string> cases[] = {
        {0, 0, "/dev/uio12 "},
        {1, 0, made + "/dev/uio12 /dev/uio12 "},
        {2, 19,
         made + ">>> ERROR <<<Cannot open /dev/uio12: No such file or directory\n/dev/uio12 /dev/uio12 "}};
    const host_folder host;
    host.write("sudo", "#!/bin/sh\necho sudo $*\n");
    host.write("grep", "#!/bin/sh\necho \"240 $1 $2\" | sed 's,uio /proc/devices,uio,'\n");
    for (const char *program : {"sudo", "grep"}) {
        std::filesystem::permissions(host.root / program, std::filesystem::perms::owner_all);
    }
    setenv("PATH", (host.root.string() + ":" + getenv("PATH")).c_str(), 1);
    for (const auto &[failing, code, printed] : cases) {
        failing_opens = failing;
        const child_result run = run_child("", streams::together, [] {
            const int result = coh_hal_pci_init();
            printf("%s", opened.c_str());
            return result;
        });
        EXPECT_EQ(run.status, code);
        EXPECT_EQ(run.out, printed);
    }
}

} // namespace
