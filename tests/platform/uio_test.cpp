#include "platform/uio.h"

#include <cerrno>
#include <memory>

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/host_tree.h"
#include "temporary_folder.h"

namespace {

class uio : public testing::Test {
  protected:
    uio()
    {
        setenv("KELVANE_HOST_ROOT", (tree.path() + "//").c_str(), 1);
        host_tree_forget();
    }
    ~uio() override
    {
        unsetenv("KELVANE_HOST_ROOT");
        host_tree_forget();
    }

    static int find(const std::string &name)
    {
        const std::unique_ptr<uio_info, void (*)(uio_info *)> info(uio_find_devices_by_name(name.c_str()),
                                                                   uio_free);
        return info != nullptr ? info->number : -errno;
    }

    temporary_folder tree;
};

TEST_F(uio, finds_the_lowest_number_of_a_name)
{
    tree.write("sys/class/uio/uio12/name", "ZYNQFPGA\n");
    tree.write("sys/class/uio/uio3/name", "ZYNQFPGA\n");
    tree.write("sys/class/uio/uio0/name", "OTHER\n");
    tree.write("sys/class/uio/uio7/name", "BARE"); // no line end
    EXPECT_EQ(find("ZYNQFPGA"), 3);
    EXPECT_EQ(find("BARE"), 7);
    EXPECT_EQ(find("ZYNQ"), -ENODEV);
    EXPECT_EQ(find("ZYNQFPGA\n"), -ENODEV);
}

TEST_F(uio, follows_the_links_of_a_real_tree)
{
    tree.write("sys/devices/pci/uio/uio4/name", "ZYNQFPGA\n");
    std::filesystem::create_directories(tree.path() + "/sys/class/uio");
    std::filesystem::create_directory_symlink("../../devices/pci/uio/uio4",
                                              tree.path() + "/sys/class/uio/uio4");
    std::filesystem::create_symlink("nowhere", tree.path() + "/sys/class/uio/uio1");
    std::filesystem::create_symlink("uio2", tree.path() + "/sys/class/uio/uio2"); // a circle
    EXPECT_EQ(find("ZYNQFPGA"), 4);
}

TEST_F(uio, a_tree_without_devices_is_told_from_a_missing_one)
{
    EXPECT_EQ(find("ZYNQFPGA"), -ENOENT);
    std::filesystem::create_directories(tree.path() + "/sys/class/uio");
    EXPECT_EQ(find("ZYNQFPGA"), -ENODEV);
}

TEST_F(uio, entries_that_are_no_device_are_passed_over)
{
    for (const char *entry : {"uio", "uio-1", "uio+1", "uio1x", "uio01", "uio 1", "uio0x1", "uio2147483648",
                              "uio99999999999999999999", "UIO1", "xuio1"}) {
        tree.write(std::string("sys/class/uio/") + entry + "/name", "ZYNQFPGA\n");
    }
    EXPECT_EQ(find("ZYNQFPGA"), -ENODEV);
    tree.write("sys/class/uio/uio2147483647/name", "ZYNQFPGA\n");
    EXPECT_EQ(find("ZYNQFPGA"), 2147483647);
}

TEST_F(uio, hostile_name_files_match_nothing)
{
    const std::string longest(63, 'n');
    tree.write("sys/class/uio/uio0/name", std::string(1 << 20, 'n'));
    tree.write("sys/class/uio/uio1/name", longest + "\n");
    tree.write("sys/class/uio/uio2/name", std::string("ZYNQFPGA\0x", 10));
    tree.write("sys/class/uio/uio3/name", "ZYNQFPGA\nZYNQFPGA\n");
    std::filesystem::create_directories(tree.path() + "/sys/class/uio/uio4/name");
    std::filesystem::create_directories(tree.path() + "/sys/class/uio/uio5");
    ASSERT_EQ(mkfifo((tree.path() + "/sys/class/uio/uio5/name").c_str(), 0600), 0); // opening could block
    EXPECT_EQ(find(longest), 1);
    EXPECT_EQ(find("ZYNQFPGA"), -ENODEV);
    EXPECT_EQ(find(longest + "n"), -ENODEV);
}

TEST_F(uio, reads_all_information)
{
    tree.write("sys/class/uio/uio5/name", "ZYNQFPGA\n");
    tree.write("sys/class/uio/uio5/version", "1.2\n");
    tree.write("sys/class/uio/uio5/event", "4294967296\n");
    tree.write("sys/class/uio/uio5/maps/map0/name", "bar0\n");
    tree.write("sys/class/uio/uio5/maps/map0/addr", "0x00000000f8000000\n");
    tree.write("sys/class/uio/uio5/maps/map0/size", "0x0000000004000000\n");
    tree.write("sys/class/uio/uio5/maps/map0/offset", "0x40\n");
    tree.write("sys/class/uio/uio5/maps/map1/size", "4096");
    tree.write("sys/class/uio/uio5/maps/map3/size", "0x1000\n"); // beyond a gap
    uio_info info{};
    info.number = 5;
    ASSERT_EQ(uio_get_all_info(&info), 0);
    EXPECT_STREQ(info.version, "1.2");
    EXPECT_EQ(info.event_count, 4294967296u);
    ASSERT_EQ(info.map_count, 2u);
    EXPECT_STREQ(info.maps[0].name, "bar0");
    EXPECT_EQ(info.maps[0].address, 0xF8000000u);
    EXPECT_EQ(info.maps[0].size, 67108864u);
    EXPECT_EQ(info.maps[0].offset, 64u);
    EXPECT_EQ(info.maps[1].size, 4096u);
    EXPECT_STREQ(info.maps[1].name, "");
}

TEST_F(uio, a_size_that_is_no_number_is_an_error)
{
    EXPECT_EQ(uio_get_all_info(nullptr), EINVAL);
    uio_info info{};
    EXPECT_EQ(uio_get_all_info(&info), EIO); // no file at all
    for (const char *size : {"", "\n", "0x\n", "-1\n", " 1\n", "0x1 \n", "0x10000000000000000\n", "1e3\n",
                             "18446744073709551616\n", "0xg\n", "+1\n", "ff\n", "1\n\n"}) {
        tree.write("sys/class/uio/uio0/maps/map0/size", size);
        EXPECT_EQ(uio_get_all_info(&info), EIO) << size;
    }
    tree.write("sys/class/uio/uio0/maps/map0/size", std::string(100000, '0'));
    EXPECT_EQ(uio_get_all_info(&info), EIO);
    tree.write("sys/class/uio/uio0/maps/map0/size", "0xffffffffffffffff\n");
    EXPECT_EQ(uio_get_all_info(&info), 0);
    EXPECT_EQ(info.maps[0].size, UINT64_MAX);
}

TEST_F(uio, a_plain_node_is_opened_and_mapped_and_never_beyond_its_end)
{
    EXPECT_EQ(uio_open("/dev/uio0"), -1);
    EXPECT_EQ(errno, ENOENT);
    tree.write("dev/uio0", std::string("\x78\x56\x34\x12", 4) + std::string(4092, '\0'));
    const int fd = uio_open("/dev/uio0");
    ASSERT_GE(fd, 0);
    mmio_mapping mapping{};
    EXPECT_EQ(uio_map(fd, 0, &mapping), EINVAL);
    EXPECT_EQ(uio_map(fd, 4097, &mapping), EINVAL);
    EXPECT_EQ(uio_map(fd, 0x40000001, &mapping), EINVAL);
    EXPECT_EQ(uio_map(-1, 4096, &mapping), EBADF);
    ASSERT_EQ(uio_map(fd, 4096, &mapping), 0);
    EXPECT_EQ(mmio_read32(&mapping, 0), 0x12345678u);
    mmio_write32(&mapping, 4092, 7);
    mmio_write32(&mapping, 4096, 8);
    mmio_write32(&mapping, 0xFFFFFFFC, 8);
    mmio_write32(&mapping, 2, 8);
    EXPECT_EQ(mmio_read32(&mapping, 4092), 7u);
    EXPECT_EQ(mmio_read32(&mapping, 0), 0x12345678u);
    EXPECT_EQ(mmio_read32(&mapping, 4096), 0xFFFFFFFFu);
    EXPECT_EQ(mmio_read32(&mapping, 0xFFFFFFFC), 0xFFFFFFFFu);
    EXPECT_EQ(mmio_read32(&mapping, 2), 0xFFFFFFFFu);
    close(fd);
}

TEST_F(uio, a_path_that_is_too_long_is_refused)
{
    char out[16];
    EXPECT_EQ(host_tree_path(out, sizeof out, "/sys/class/uio"), ENAMETOOLONG);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(uio_open(("/" + std::string(5000, 'x')).c_str()), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

} // namespace
