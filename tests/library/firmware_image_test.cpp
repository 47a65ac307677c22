// Firmware images on their way from a file into the card's memory, and the progress that the card shows.
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

#include "support/library.h"

namespace {

constexpr char DIGEST[] = "00112233445566778899aabbccddeeff  image.bin\n";
const std::string WRITTEN_DIGEST =
    "w2000000=31313030,33333232,35353434,37373636,39393838,62626161,64646363,66666565 ";

class firmware_image_test : public firmware_test {
  protected:
    void write_image(const std::string &content, const std::string &digest = DIGEST) const
    {
        std::ofstream(image, std::ios::binary) << content;
        std::ofstream(image + ".md5") << digest;
    }

    int32_t download(uint32_t kind = 2)
    {
        accesses();
        return kelvane_download_software(0, kind, image.c_str());
    }

    static long open_files()
    {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }

    const std::string image = folder.path + "/image.bin";
};

TEST_F(firmware_image_test, a_download_delivers_digest_image_and_command)
{
    const std::string bytes("\x00\x80\x00\x01\x02\xFF\x03\x04", 8);
    const char *const words[] = {"1008000", "1008000,2", "1008000,ff02", "1008000,3ff02", "1008000,403ff02"};
    for (uint32_t kind = 0; kind < 5; kind++) {
        write_image(bytes.substr(0, 4 + kind));
        EXPECT_EQ(download(kind), 0);
        EXPECT_EQ(the_bar.check_alive, std::vector<uint32_t>(the_bar.check_alive.size(), 1));
        const std::string expected = WRITTEN_DIGEST + "w2000040=" + words[kind] + " r1c00004 w1c00100=e,";
        EXPECT_EQ(accesses().substr(0, expected.size()), expected);
        EXPECT_EQ(firmware.request_data, (std::vector<uint32_t>{0, kind, 4 + kind}));
    }
    firmware.rc = 0x80300004;
    EXPECT_EQ(download(), static_cast<int32_t>(0x80300004));
    write_image("abcd", "00112233445566778899aabbccddeef"); // a short digest fails after its whole words
    EXPECT_EQ(download(), 64170);
    EXPECT_EQ(accesses(), "w2000000=31313030,33333232,35353434,37373636,39393838,62626161,64646363");
}

TEST_F(firmware_image_test, what_is_no_image_is_refused_and_no_command_is_sent)
{
    const std::string base = folder.path + "/";
    std::filesystem::create_directory(base + "folder");
    mkfifo((base + "pipe").c_str(), 0666);
    std::ofstream{base + "empty"};
    std::ofstream{base + "no_digest"} << "abcd";
    for (const char *name : {"folder", "pipe", "empty", "no_image"}) {
        std::ofstream(base + name + ".md5") << DIGEST;
    }
    write_image("abcd");
    const std::string longest(255, 'x');
    const std::tuple<std::string, uint32_t, kelvane_handle, int32_t> cases[] = {
        {base + "no_image", 2, 0, 64170}, {base + "no_digest", 2, 0, 64170}, {base + "empty", 2, 0, 64170},
        {base + "folder", 2, 0, 64170},   {base + "pipe", 2, 0, 64170},      {image, 5, 0, 22},
        {longest, 2, 0, 64170},           {longest + "x", 2, 0, 22},         {image, 2, 1, 22}};
    const long files = open_files();
    for (const auto &[name, kind, handle, code] : cases) {
        EXPECT_EQ(kelvane_download_software(handle, kind, name.c_str()), code) << name;
        EXPECT_EQ(the_bar.word.count(0x01C00100), 0u) << name;
        EXPECT_EQ(open_files(), files) << name;
    }
}

TEST_F(firmware_image_test, the_largest_image_and_one_byte_more)
{
    the_bar.memory.assign(0x02000000 / 4, 0xAAAAAAAA);
    write_image("");
    std::filesystem::resize_file(image, 0x100000000); // the firmware would be told 0
    EXPECT_EQ(download(), 64170);
    EXPECT_EQ(the_bar.memory[0x10], 0xAAAAAAAA);
    for (const std::string end : {"xyz", "wxyz"}) { // at 33553400
        std::filesystem::resize_file(image, 33553400 + end.size());
        std::fstream(image, std::ios::in | std::ios::out | std::ios::binary).seekp(33553400) << end;
        EXPECT_EQ(download(), end == "xyz" ? 0 : 64170);
        EXPECT_EQ(the_bar.memory[0x01FFFC38 / 4], end == "xyz" ? 0x007A7978u : 0x7A797877);
        EXPECT_EQ(the_bar.memory[0x01FFFC3C / 4], 0xAAAAAAAA);
        EXPECT_EQ(firmware.request_data, (std::vector<uint32_t>{0, 2, 33553403}));
        EXPECT_EQ(trace_level_mask_get(), end == "xyz" ? 0x7Fu : 0x4Fu);
    }
}

TEST_F(firmware_image_test, pauses_and_levels_on_the_way)
{
    // A pause every fifty words, besides the one after the command.
    for (const auto &[bytes, nanoseconds] : cases_of("3 > 500000; 4 > 502000; 203 > 502000; 204 > 504000")) {
        write_image(std::string(std::stoul(bytes), 'x'));
        const uint64_t before = time.now();
        EXPECT_EQ(download(), 0);
        EXPECT_EQ(std::to_string(time.now() - before), nanoseconds) << bytes;
    }
    // After ten words the two loudest levels go off, and come back swapped. 127 is all of them.
    for (const auto &[words_and_levels, after] :
         cases_of("10 16 > 32; 11 32 > 16; 10 127 > 127; 9 16 > 16")) {
        size_t end = 0;
        write_image(std::string(4 * std::stoul(words_and_levels, &end), 'x'));
        trace_level_mask_set(std::stoul(words_and_levels.substr(end)));
        EXPECT_EQ(download(), 0);
        EXPECT_EQ(std::to_string(trace_level_mask_get()), after) << words_and_levels;
    }
}

TEST_F(firmware_image_test, what_fails_on_the_way_ends_the_copy)
{
    write_image(std::string(80, 'x'));
    const long files = open_files();
    the_bar.fail_from = the_bar.access_number + 8; // the digest's last word
    EXPECT_EQ(download(), 64174);
    EXPECT_EQ(the_bar.check_alive.size(), 8u);
    write_image("abcde");
    the_bar.fail_from = the_bar.access_number + 10; // the image's last byte
    EXPECT_EQ(download(), 64174);
    EXPECT_TRUE(log_contains("end   dev=2 file " + image + " final i 1 \n"));
    write_image(std::string(40000, 'x'));
    the_bar.on_write = [this](uint32_t offset, uint32_t) {
        if (offset == 0x02000040) {
            std::filesystem::resize_file(image, 20002);
        }
    };
    EXPECT_EQ(download(), 64170);
    EXPECT_EQ(the_bar.word.rbegin()->first, 0x02004E5Cu); // the 5000th word
    EXPECT_EQ(open_files(), files);
    const auto callback = [](kelvane_handle, kelvane_device_address, uint32_t, int32_t) { return 0; };
    EXPECT_EQ(kelvane_program_activate_software(1, 0xFF03FFFF, "i.bin", callback, 7), 64170); // at once
}

TEST_F(firmware_image_test, progress)
{
    the_bar.word[0x01F04500] = 0x01020304; // of sirane 0: controller, sirane, ports 0 and 1
    the_bar.word[0x01F04804] = 0x80FFE485; // of sirane 1
    // The code and the output, 7 before it.
    const auto progress = [](auto get, uint32_t what) {
        uint32_t value = 7;
        const int32_t rc = get(0, what, &value);
        return std::to_string(rc) + " " + std::to_string(value);
    };
    for (const auto &[kind, expected] : cases_of("0 > 22 7; 1 > 0 1; 2 > 0 2; 4 > 0 3")) {
        EXPECT_EQ(progress(kelvane_get_download_progress, std::stoul(kind)), expected);
    }
    the_bar.word[0x01F04500] = 0x8182E304; // the highest bit of all but port 1 means programming
    for (const auto &[address, expected] :
         cases_of("f0ffffff > 0 1; ff00ffff > 0 2; ff0000ff > 0 99; ff0001ff > 0 0; ff01ffff > 0 99; "
                  "ff0100ff > 0 99; ff0101ff > 0 5; ffffffff > 0 7; ff0002ff > 22 7; ff03ffff > 22 7")) {
        EXPECT_EQ(progress(kelvane_get_program_progress, std::stoul(address, nullptr, 16)), expected)
            << address;
    }
    EXPECT_TRUE(log_contains("ERROR Slot:00 kelvane_get_sirane_subsys_info_table: invalid sirane_id 3 \n"));
}

} // namespace
