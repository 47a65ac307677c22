#include "platform/uio.h"

#include <cerrno>
#include <filesystem>
#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/host_tree.h"
#include "support/temporary_folder.h"

namespace {

class uio : public testing::Test {
  protected:
    static int find(const std::string &name)
    {
        uio_info *info = uio_find_devices_by_name(name.c_str());
        const int number = info == nullptr ? -errno : info->number;
        uio_free(info);
        return number;
    }

    // Files below /sys/class/uio, each with a word in it, one after the other.
    void write(const std::string &files) const
    {
        std::istringstream in(files);
        for (std::string file, word; in >> file >> word;) {
            tree.write("sys/class/uio/" + file, word + "\n");
        }
    }

    const host_folder tree;
};

TEST_F(uio, finds_the_lowest_number_of_a_name_and_passes_over_what_is_no_device)
{
    EXPECT_EQ(find("CARD"), -ENOENT); // no tree at all
    const std::string longest(63, 'n');
    write("uio/name CARD uio-1/name CARD uio1x/name CARD uio01/name CARD uio0x1/name CARD xuio1/name CARD "
          "uio2147483648/name CARD uio99999999999999999999/name CARD uio4/name/file CARD uio5/file CARD "
          "uio1/name " +
          longest + " uio0/name " + std::string(1 << 20, 'n'));
    tree.write("sys/class/uio/uio2/name", std::string("CARD\0x", 6));
    ASSERT_EQ(mkfifo((tree.path + "/sys/class/uio/uio5/name").c_str(), 0600), 0); // opening could block
    EXPECT_EQ(find("CARD"), -ENODEV);
    EXPECT_EQ(find(longest + "n"), -ENODEV);
    EXPECT_EQ(find(longest), 1);
    write("uio2147483647/name CARD");
    EXPECT_EQ(find("CARD"), 2147483647);
    write("uio12/name CARD uio9/name CARD");
    EXPECT_EQ(find("CARD"), 9);
    EXPECT_EQ(find("CAR"), -ENODEV);
}

TEST_F(uio, only_what_lies_in_folders_of_ones_own_and_behind_no_link_is_used)
{
    namespace fs = std::filesystem;
    write("uio0/name CARD");
    const fs::path class_folder = tree.path + "/sys/class", log = tree.path + "/root/kelvane.log";
    const auto expect_refused = [&](const std::string &what, int error) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(find("CARD") + find("CARD"), 2 * -error);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "kelvane: " + tree.path + what + ": not used as part of a host's tree\n");
    };
    for (const auto &[folder, mode] : {std::pair("/sys/class", 0720), {"/sys", 0702}, {"", 0720}}) {
        fs::permissions(tree.path + folder, fs::perms(mode));
        expect_refused(std::string(folder) + " may be written to by others", EPERM);
    }
    fs::permissions(tree.path, fs::perms(0700));
    fs::permissions(tree.path + "/sys", fs::perms(0700));
    if (geteuid() == 0) {
        ASSERT_EQ(chown(class_folder.c_str(), 12345, 0), 0);
        expect_refused("/sys/class belongs to user 12345", EPERM);
    }
    fs::rename(class_folder, tree.path + "/other");
    fs::create_symlink("../other", class_folder);
    expect_refused("/sys/class is a symbolic link", ELOOP);
    fs::create_symlink("../other", log);
    for (const char *mode : {"r", "w", "a+"}) {
        EXPECT_EQ(host_tree_fopen("/root/kelvane.log", mode), nullptr);
        EXPECT_EQ(errno, ELOOP);
    }
    fs::remove(log);
    fclose(host_tree_fopen("/root/kelvane.log", "w+"));
    EXPECT_EQ(fs::status(log).permissions(), fs::perms(0600));
}

TEST_F(uio, reads_all_information)
{
    uio_info info{};
    info.number = 5;
    EXPECT_EQ(uio_get_all_info(&info), EIO); // no file at all
    write("uio5/version 1.2 uio5/event 4294967296 uio5/maps/map0/addr 0xf8000000 uio5/maps/map0/name bar0 "
          "uio5/maps/map0/size 0x0000000004000000 uio5/maps/map0/offset 0x40 uio5/maps/map1/size 4096 "
          "uio5/maps/map3/size 8"); // after a gap
    ASSERT_EQ(uio_get_all_info(&info), 0);
    const uio_memory &map = info.maps[0];
    EXPECT_EQ(std::tuple(info.event_count, info.map_count, map.address, map.size, map.offset),
              std::tuple(4294967296u, 2u, 0xF8000000u, 67108864u, 64u));
    EXPECT_EQ(std::string(info.version) + map.name, "1.2bar0");
    const std::string no_end(100000, '0');
    for (const char *size : {"", "0x\n", "-1\n", " 1\n", "0x10000000000000000\n", "18446744073709551616\n",
                             "0xg\n", "ff\n", "1\n\n", no_end.c_str()}) {
        tree.write("sys/class/uio/uio5/maps/map0/size", size);
        EXPECT_EQ(uio_get_all_info(&info), EIO) << size;
    }
    write("uio5/maps/map0/size 0xffffffffffffffff");
    EXPECT_EQ(uio_get_all_info(&info), 0);
    EXPECT_EQ(map.size, UINT64_MAX);
}

TEST_F(uio, a_node_is_mapped_as_far_as_it_goes)
{
    EXPECT_EQ(uio_open(std::string(5000, '/').c_str()), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
    tree.write("dev/uio0", std::string(4096, '\1'));
    const int fd = uio_open("/dev/uio0");
    mmio_mapping mapping{};
    ASSERT_EQ(uio_map(fd, 4096, &mapping), 0);
    for (const auto &[offset, value] : {std::pair(4096u, 0xFFFFFFFFu), {2, 0xFFFFFFFF}, {4092, 7}}) {
        mmio_write32(&mapping, offset, 7);
        EXPECT_EQ(mmio_read32(&mapping, offset), value);
    }
    EXPECT_EQ(mmio_read32(&mapping, 0), 0x01010101u);
}

} // namespace
