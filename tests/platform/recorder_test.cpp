#include "platform/recorder.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <map>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/mmio.h"
#include "platform/recorder_queue.h"
#include "platform/uio.h"
#include "platform/wait.h"
#include "platform/word_digest.h"
#include "support/file_size_limit.h"
#include "support/temporary_folder.h"

namespace {

constexpr uint32_t IMAGE_FROM = 0x1000;

uint64_t clock_ns;

class recorder : public testing::Test {
  protected:
    recorder()
    {
        static const wait_source source = {nullptr, nullptr, [](void *) { return clock_ns += 1000; },
                                           [](void *, timespec *now) {
                                               *now = {1700000000, 5};
                                               return 0;
                                           },
                                           nullptr};
        clock_ns = 0x100000000 - 3000;
        wait_use_source(&source);
    }
    ~recorder() override
    {
        recorder_stop();
        wait_use_source(nullptr);
    }

    std::vector<uint8_t> bytes() const
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    // The file's 32-bit words from `first` on.
    std::vector<uint32_t> words(size_t first) const
    {
        const std::vector<uint8_t> all = bytes();
        std::vector<uint32_t> out;
        for (size_t i = 4 * first; i + 4 <= all.size(); i += 4) {
            out.push_back(all[i] | all[i + 1] << 8 | all[i + 2] << 16 | uint32_t{all[i + 3]} << 24);
        }
        return out;
    }

    temporary_folder folder;
    const std::string path = folder.path + "/a";
    std::vector<uint32_t> memory = std::vector<uint32_t>(0x1000, 0xABCD0001);
    const mmio_mapping bar = {memory.data(), 0x4000, 0, nullptr};
};

TEST_F(recorder, the_file_of_a_few_accesses_byte_by_byte)
{
    pthread_setname_np(pthread_self(), "fifteen letters");
    ASSERT_EQ(recorder_start(path.c_str(), IMAGE_FROM), 0);
    EXPECT_EQ(recorder_start(path.c_str(), IMAGE_FROM), EBUSY);
    mmio_write32(&bar, 0x20, 0x12345678);
    EXPECT_EQ(mmio_read32(&bar, 0x20), 0x12345678u);
    EXPECT_EQ(mmio_read32(&bar, 0x4000), 0xFFFFFFFFu); // beyond
    mmio_write32(&bar, 0x22, 1);                       // no multiple of 4
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    uint32_t count = 7;
    ASSERT_EQ(write(fds[1], &count, 4), 4);
    EXPECT_EQ(uio_wait_interrupt(fds[0], &bar, &count), 4);
    close(fds[1]);
    EXPECT_EQ(uio_wait_interrupt(fds[0], &bar, &count), 0);
    close(fds[0]);
    EXPECT_EQ(uio_wait_interrupt(fds[0], &bar, &count), -1);
    EXPECT_EQ(errno, EBADF);
    recorder_stop();
    EXPECT_FALSE(recorder_is_on());
    mmio_write32(&bar, 0x20, 1);
    const std::vector<uint8_t> head = bytes();
    EXPECT_EQ(std::string(head.begin(), head.begin() + 8), std::string("KELVREC\0", 8));
    std::vector<uint32_t> told = words(2);
    told.resize(4); // version, size, 1700000000 s and 5 ns
    EXPECT_EQ(told, (std::vector<uint32_t>{1, 64, 0x362A0005, 0x17979CFE}));
    EXPECT_EQ(words(7)[0], IMAGE_FROM);
    EXPECT_EQ(std::string(head.begin() + 32, head.begin() + 45), "platform_test");
    const std::vector<uint32_t> block = words(16);
    ASSERT_EQ(block.size(), 4 + 5 * 9u);
    EXPECT_EQ(std::vector<uint32_t>(block.begin(), block.begin() + 3),
              (std::vector<uint32_t>{0x4B4C424B, 9, 0}));
    EXPECT_EQ(std::vector<uint32_t>(block.begin() + 4, block.end()),
              (std::vector<uint32_t>{0x74666966, 0x206E6565, 0x7474656C, 0x00737265, 0x00060001, // its name
                                     1000,       0,          0x20,       0x12345678, 0x00020001, //
                                     2000,       0,          0x20,       0x12345678, 0x00010001, //
                                     3000,       0,          0x4000,     0xFFFFFFFF, 0x01010001, //
                                     4000,       0,          0x22,       1,          0x01020001, //
                                     5000,       0,          0,          7,          0x00030001, //
                                     6000,       0,          0,          0,          0x01030001, //
                                     7000,       0,          0,          9,          0x01030001, // EBADF
                                     8000,       0,          0,          0,          0x00070001}));
}

TEST_F(recorder, words_of_an_image_are_counted_and_digested)
{
    ASSERT_EQ(recorder_start(path.c_str(), IMAGE_FROM), 0);
    const auto put = [&](uint32_t from, uint32_t count) {
        for (uint32_t i = 0; i < count; i++) {
            mmio_write32(&bar, from + 4 * i, i * 0x01010101 + 7);
        }
    };
    put(0x0FF8, 5);    // its first two are before the memory for images, and its three are too few
    put(0x2000, 1000); // a run
    EXPECT_EQ(mmio_read32(&bar, 0x2000), 7u);
    recorder_stop();
    const std::vector<uint32_t> block = words(20);
    ASSERT_EQ(block.size(), 5 * 10u);
    std::vector<std::vector<uint32_t>> entries;
    for (size_t i = 5; i < 45; i += 5) {
        entries.push_back({block[i + 2], block[i + 3], block[i + 4]});
    }
    EXPECT_EQ(entries, (std::vector<std::vector<uint32_t>>{{0x0FF8, 7, 0x00020001},
                                                           {0x0FFC, 0x01010108, 0x00020001},
                                                           {0x1000, 0x02020209, 0x00020001},
                                                           {0x1004, 0x0303030A, 0x00020001},
                                                           {0x1008, 0x0404040B, 0x00020001},
                                                           {0x2000, 1000, 0x00040001},
                                                           {0x44A6E02A, 0xCF1A1653, 0x00050001},
                                                           {0x2000, 7, 0x00010001}}));
    EXPECT_EQ(block[35], 0x92D0CDC5u);
    EXPECT_EQ(block[36], 0xD16288F4u);
    EXPECT_EQ(memory[0x2000 / 4 + 999], 0xEAEAEAEEu); // and were written
}

TEST(word_digest, is_that_of_md5sum_at_every_edge_of_a_block)
{
    const std::map<uint32_t, std::array<uint32_t, 4>> known = {
        {0, {0xD98C1DD4, 0x04B2008F, 0x980980E9, 0x7E42F8EC}},
        {13, {0xC9B4C74D, 0x1D95B971, 0x19725A36, 0xDE704A1A}},
        {14, {0xDC89B0DF, 0x707AEC49, 0xB663EEF3, 0x094FD4F6}},
        {16, {0x093AE0F5, 0xFEAF221A, 0xB97722D5, 0xD5436288}},
        {20, {0xF848FB16, 0x218569D7, 0x074E0A9B, 0x59494C6B}}};
    for (const auto &[count, expected] : known) {
        word_digest digest;
        for (uint32_t i = 0; i < count; i++) {
            digest.add(i * 0x01010101 + 7);
        }
        EXPECT_EQ(digest.finish(), expected) << count;
    }
}

TEST_F(recorder, every_access_of_many_threads_is_there_or_counted)
{
    wait_use_source(nullptr);
    ASSERT_EQ(recorder_start(path.c_str(), IMAGE_FROM), 0);
    std::vector<std::thread> threads;
    for (uint32_t thread = 0; thread < 4; thread++) {
        threads.emplace_back([this, thread] {
            for (uint32_t i = 0; i < 100000; i++) {
                mmio_write32(&bar, 16 * thread, i);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    recorder_stop();
    const std::vector<uint32_t> all = words(0);
    uint64_t entries = 0, lost = 0;
    std::map<uint32_t, std::vector<uint32_t>> by_offset;
    for (size_t at = 16; at < all.size(); at += 4 + 5 * all[at + 1]) {
        ASSERT_EQ(all[at], 0x4B4C424Bu);
        lost += all[at + 2];
        for (size_t i = at + 4; i < at + 4 + 5 * all[at + 1]; i += 5) {
            entries++;
            if (all[i + 4] >> 16 == 2) {
                by_offset[all[i + 2]].push_back(all[i + 3]);
            }
        }
    }
    EXPECT_EQ(entries + lost, 400000u + 4 + 1);
    for (const auto &[offset, values] : by_offset) {
        EXPECT_TRUE(std::is_sorted(values.begin(), values.end())) << offset;
    }
}

TEST(recorder_queue, counts_what_finds_no_room_and_goes_on)
{
    recorder_queue queue;
    recording_entry entry{};
    for (uint32_t i = 0; i < recorder_queue::SLOTS + 3; i++) {
        queue.put({i, 0, 0, 0, 0, 0, 0});
    }
    for (uint32_t i = 0; i < recorder_queue::SLOTS; i++) {
        ASSERT_TRUE(queue.take(&entry));
        ASSERT_EQ(entry.time_low_ns, i);
    }
    EXPECT_FALSE(queue.take(&entry));
    EXPECT_EQ(queue.take_lost(), 3u);
    EXPECT_EQ(queue.take_lost(), 0u);
    queue.put({77, 0, 0, 0, 0, 0, 0});
    ASSERT_TRUE(queue.take(&entry));
    EXPECT_EQ(entry.time_low_ns, 77u);
}

TEST_F(recorder, a_full_disk_ends_the_recording_and_nothing_else)
{
    testing::internal::CaptureStderr();
    ASSERT_EQ(recorder_start(path.c_str(), IMAGE_FROM), 0);
    limit_file_size(2000);
    mmio_write32(&bar, 0, 5);
    while (recorder_is_on()) {
        EXPECT_EQ(mmio_read32(&bar, 0), 5u);
    }
    limit_file_size(RLIM_INFINITY);
    EXPECT_EQ(mmio_read32(&bar, 0), 5u);
    recorder_stop();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "the recording " + path + " ends here: File too large\n");
    EXPECT_EQ(bytes().size(), 2000u);
}

TEST_F(recorder, a_new_recording_keeps_the_one_before)
{
    const std::string before = path + ".1";
    for (const uint64_t size_before : {0, 2000, 64 + 16 + 20}) {
        if (size_before == 2000) { // which is no recording of this process
            std::filesystem::resize_file(path, 2000);
        }
        ASSERT_EQ(recorder_start(path.c_str(), IMAGE_FROM), 0);
        recorder_stop();
        EXPECT_EQ(bytes().size(), 64 + 16 + 20u);
        EXPECT_EQ(std::filesystem::exists(before), size_before > 0);
        EXPECT_TRUE(size_before == 0 || std::filesystem::file_size(before) == size_before);
    }
    const std::string link = folder.path + "/link";
    std::filesystem::create_symlink(path, link);
    ASSERT_EQ(recorder_start(link.c_str(), IMAGE_FROM), 0);
    recorder_stop();
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(std::filesystem::file_size(link), 64 + 16 + 20u);

    std::filesystem::remove(before);
    std::filesystem::create_directory(before);
    EXPECT_EQ(recorder_start(path.c_str(), IMAGE_FROM), EISDIR);
    EXPECT_EQ(bytes().size(), 64 + 16 + 20u);
}

TEST_F(recorder, only_a_plain_file_is_written)
{
    EXPECT_EQ(recorder_start((folder.path + "/none/a").c_str(), 0), ENOENT);
    EXPECT_EQ(recorder_start(folder.path.c_str(), 0), EISDIR);
    EXPECT_EQ(recorder_start("/dev/null", 0), EINVAL);
    const std::string other = folder.path + "/other"; // as of another process
    const int file = open(other.c_str(), O_RDWR | O_CREAT, 0600);
    EXPECT_EQ(write(file, "x", 1) | flock(file, LOCK_EX), 1);
    EXPECT_EQ(recorder_start(other.c_str(), 0), EBUSY);
    EXPECT_EQ(std::filesystem::file_size(other), 1u);
    close(file);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(recorder_start(path.c_str(), 0), ENXIO);
    limit_file_size(10);
    EXPECT_EQ(recorder_start((folder.path + "/b").c_str(), 0), EFBIG);
    limit_file_size(RLIM_INFINITY);
    EXPECT_FALSE(recorder_is_on());
}

} // namespace
