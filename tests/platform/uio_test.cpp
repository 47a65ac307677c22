#include "platform/uio.h"

#include <cerrno>
#include <cstring>
#include <sstream>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
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

    // Files below /sys/class/uio, each with a word in it, one behind the other.
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
    const std::string folder = tree.path + "/sys/class/uio/", longest(63, 'n');
    write("uio/name CARD uio-1/name CARD uio1x/name CARD uio01/name CARD uio0x1/name CARD xuio1/name CARD "
          "uio2147483648/name CARD uio99999999999999999999/name CARD uio4/name/file CARD uio5/file CARD "
          "uio1/name " +
          longest + " uio0/name " + std::string(1 << 20, 'n'));
    tree.write("sys/class/uio/uio2/name", std::string("CARD\0x", 6));
    ASSERT_EQ(mkfifo((folder + "uio5/name").c_str(), 0600), 0); // opening could block
    EXPECT_EQ(find("CARD"), -ENODEV);
    EXPECT_EQ(find(longest), 1);
    EXPECT_EQ(find(longest + "n"), -ENODEV);
    write("uio2147483647/name CARD");
    EXPECT_EQ(find("CARD"), 2147483647);
    write("uio12/name CARD uio9/name CARD");
    EXPECT_EQ(find("CARD"), 9);
    EXPECT_EQ(find("CAR"), -ENODEV);
    EXPECT_EQ(find("CARD\n"), -ENODEV);
    tree.write("sys/devices/uio7/name", "LINKED"); // as in a real tree; no line end
    for (const char *target :
         {"../../devices/uio7", "no/uio6", "uio8"}) { // right, into the void, in a circle
        std::filesystem::create_symlink(target, folder + strrchr(target, 'u'));
    }
    EXPECT_EQ(find("LINKED"), 7);
}

TEST_F(uio, reads_all_information)
{
    uio_info info{};
    info.number = 5;
    EXPECT_EQ(uio_get_all_info(nullptr), EINVAL);
    EXPECT_EQ(uio_get_all_info(&info), EIO); // no file at all
    write("uio5/version 1.2 uio5/event 4294967296 uio5/maps/map0/addr 0x00000000f8000000 uio5/maps/map0/name "
          "bar0 "
          "uio5/maps/map0/size 0x0000000004000000 uio5/maps/map0/offset 0x40 uio5/maps/map1/size 4096 "
          "uio5/maps/map3/size 8"); // behind a gap
    ASSERT_EQ(uio_get_all_info(&info), 0);
    const uio_memory &map = info.maps[0], &other = info.maps[1];
    EXPECT_EQ(std::tuple(info.event_count, info.map_count, map.address, map.size, map.offset, other.size),
              std::tuple(4294967296u, 2u, 0xF8000000u, 67108864u, 64u, 4096u));
    EXPECT_EQ(std::string(info.version) + map.name + other.name, "1.2bar0");
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

TEST_F(uio, a_node_is_mapped_as_far_as_it_goes_and_a_socket_stands_for_one_in_a_tree)
{
    char out[16];
    EXPECT_EQ(host_tree_path(out, sizeof out, "/sys/class/uio"), ENAMETOOLONG);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(uio_open(std::string(5000, '/').c_str()), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
    tree.write("dev/uio0", std::string("\x78\x56\x34\x12", 4) + std::string(4092, '\0'));
    const int fd = uio_open("/dev/uio0");
    mmio_mapping mapping{};
    for (const uint64_t size : {0, 4097, 0x40000001}) {
        EXPECT_EQ(uio_map(fd, size, &mapping), EINVAL);
    }
    EXPECT_EQ(uio_map(-1, 4096, &mapping), EBADF);
    ASSERT_EQ(uio_map(fd, 4096, &mapping), 0);
    for (const auto &[offset, value] : {std::pair(4096u, 0xFFFFFFFFu), {2, 0xFFFFFFFF}, {4092, 7}}) {
        mmio_write32(&mapping, offset, 7);
        EXPECT_EQ(mmio_read32(&mapping, offset), value);
    }
    EXPECT_EQ(mmio_read32(&mapping, 0), 0x12345678u);
    const std::string folder(120, 'd'); // a socket's address holds less
    tree.write(folder + "/beside", "");
    const sockaddr_un address{AF_UNIX, "uio0"};
    const int listening = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    EXPECT_EQ(chdir((tree.path + "/" + folder).c_str()), 0);
    EXPECT_EQ(bind(listening, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(listen(listening, 1), 0);
    const int card = uio_open(("/" + folder + "/uio0").c_str());
    EXPECT_GT(card, dup(0)); // the folder, which was opened before, is closed
    setenv("KELVANE_HOST_ROOT", "", 1);
    host_tree_forget();
    EXPECT_EQ(uio_open("uio0"), -1); // only in a tree
    EXPECT_EQ(errno, ENXIO);
}

} // namespace
