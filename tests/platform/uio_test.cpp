#include "platform/uio.h"

#include <cerrno>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/host_tree.h"
#include "support/temporary_folder.h"

namespace {

class uio : public testing::Test {
  protected:
    uio()
    {
        setenv("KELVANE_HOST_ROOT", (tree.path + "//").c_str(), 1);
        host_tree_forget();
    }
    static int find(const std::string &name)
    {
        uio_info *info = uio_find_devices_by_name(name.c_str());
        const int number = info == nullptr ? -errno : info->number;
        uio_free(info);
        return number;
    }

    // Files below /sys/class/uio, and what is in them.
    void write(const std::vector<std::pair<std::string, std::string>> &files) const
    {
        for (const auto &[file, text] : files) {
            tree.write("sys/class/uio/" + file, text);
        }
    }

    temporary_folder tree;
};

TEST_F(uio, finds_the_lowest_number_of_a_name)
{
    EXPECT_EQ(find("CARD"), -ENOENT); // no tree at all
    write(
        {{"uio12/name", "CARD\n"}, {"uio3/name", "CARD\n"}, {"uio0/name", "OTHER\n"}, {"uio7/name", "BARE"}});
    EXPECT_EQ(find("CARD"), 3);
    EXPECT_EQ(find("BARE"), 7); // no line end
    EXPECT_EQ(find("CAR"), -ENODEV);
    EXPECT_EQ(find("CARD\n"), -ENODEV);
    tree.write("sys/devices/uio2/name", "LINKED\n"); // as in a real tree
    for (const char *target :
         {"../../devices/uio2", "no/uio1", "uio4"}) { // right, into the void, in a circle
        const std::string entry = strrchr(target, 'u');
        std::filesystem::create_symlink(target, tree.path + "/sys/class/uio/" + entry);
    }
    EXPECT_EQ(find("LINKED"), 2);
}

TEST_F(uio, entries_and_names_that_are_no_device_are_passed_over)
{
    for (const char *entry : {"uio", "uio-1", "uio+1", "uio1x", "uio01", "uio 1", "uio0x1", "uio2147483648",
                              "uio99999999999999999999", "UIO1", "xuio1"}) {
        write({{std::string(entry) + "/name", "CARD\n"}});
    }
    const std::string longest(63, 'n');
    write({{"uio0/name", std::string(1 << 20, 'n')}, {"uio1/name", longest + "\n"}, {"uio4/name/file", ""}});
    write({{"uio2/name", std::string("CARD\0x", 6)}, {"uio3/name", "CARD\nCARD\n"}, {"uio5/file", ""}});
    ASSERT_EQ(mkfifo((tree.path + "/sys/class/uio/uio5/name").c_str(), 0600), 0); // opening could block
    EXPECT_EQ(find("CARD"), -ENODEV);
    EXPECT_EQ(find(longest), 1);
    EXPECT_EQ(find(longest + "n"), -ENODEV);
    write({{"uio2147483647/name", "CARD\n"}});
    EXPECT_EQ(find("CARD"), 2147483647);
}

TEST_F(uio, reads_all_information)
{
    uio_info info{};
    info.number = 5;
    EXPECT_EQ(uio_get_all_info(nullptr), EINVAL);
    EXPECT_EQ(uio_get_all_info(&info), EIO); // no file at all
    EXPECT_EQ(info.event_count, 0u);
    write({{"uio5/version", "1.2\n"}, {"uio5/event", "4294967296\n"}, {"uio5/maps/map1/size", "4096"}});
    const std::string first = "uio5/maps/map0/";
    write({{first + "addr", "0x00000000f8000000\n"}, {first + "size", "0x0000000004000000\n"}});
    write({{first + "name", "bar0\n"}, {first + "offset", "0x40\n"}, {"uio5/maps/map3/size", "8"}}); // a gap
    ASSERT_EQ(uio_get_all_info(&info), 0);
    const uio_memory &map = info.maps[0];
    EXPECT_EQ((std::vector{info.event_count, map.address, map.size, map.offset, info.maps[1].size}),
              (std::vector<uint64_t>{4294967296, 0xF8000000, 67108864, 64, 4096}));
    EXPECT_EQ(info.map_count, 2u);
    EXPECT_EQ(std::string(info.version) + ',' + map.name + ',' + info.maps[1].name, "1.2,bar0,");
    const std::string no_end(100000, '0');
    for (const char *size : {"", "\n", "0x\n", "-1\n", " 1\n", "0x1 \n", "0x10000000000000000\n", "1e3\n",
                             "+1\n", "18446744073709551616\n", "0xg\n", "ff\n", "1\n\n", no_end.c_str()}) {
        write({{first + "size", size}});
        EXPECT_EQ(uio_get_all_info(&info), EIO) << size;
    }
    write({{first + "size", "0xffffffffffffffff\n"}});
    EXPECT_EQ(uio_get_all_info(&info), 0);
    EXPECT_EQ(map.size, UINT64_MAX);
}

TEST_F(uio, a_plain_node_is_opened_and_mapped_and_never_beyond_its_end)
{
    char out[16];
    EXPECT_EQ(host_tree_path(out, sizeof out, "/sys/class/uio"), ENAMETOOLONG);
    EXPECT_STREQ(out, "");
    for (const auto &[node, error] :
         {std::pair(std::string(5000, 'x'), ENAMETOOLONG), {"dev/uio0", ENOENT}}) {
        EXPECT_EQ(uio_open(("/" + node).c_str()), -1);
        EXPECT_EQ(errno, error);
    }
    tree.write("dev/uio0", std::string("\x78\x56\x34\x12", 4) + std::string(4092, '\0'));
    const int fd = uio_open("/dev/uio0");
    ASSERT_GE(fd, 0);
    mmio_mapping mapping{};
    for (const uint64_t size : {0, 4097, 0x40000001}) {
        EXPECT_EQ(uio_map(fd, size, &mapping), EINVAL);
    }
    EXPECT_EQ(uio_map(-1, 4096, &mapping), EBADF);
    ASSERT_EQ(uio_map(fd, 4096, &mapping), 0);
    for (const uint32_t offset : {4096u, 0xFFFFFFFCu, 2u}) {
        mmio_write32(&mapping, offset, 8);
        EXPECT_EQ(mmio_read32(&mapping, offset), 0xFFFFFFFFu);
    }
    mmio_write32(&mapping, 4092, 7);
    EXPECT_EQ(mmio_read32(&mapping, 4092), 7u);
    EXPECT_EQ(mmio_read32(&mapping, 0), 0x12345678u);
    close(fd);
}

} // namespace
