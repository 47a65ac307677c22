#include "device/firmware_image.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/stat.h>

#include "kelvane_handle.h"
#include "support/handshake.h"
#include "support/library.h"

namespace {

constexpr char DIGEST[] = "00112233445566778899aabbccddeeff  image.bin\n";

std::vector<uint32_t> plain_memory;

class firmware_image_test : public library_test {
  protected:
    firmware_image_test() : image(folder.path + "/image.bin")
    {
        turn_log_on();
        start_library();
        log_lines();
    }

    void write_image(const std::string &content, const std::string &digest = DIGEST) const
    {
        std::ofstream(image, std::ios::binary) << content;
        std::ofstream(image + ".md5") << digest;
    }

    int32_t copy(uint32_t *size) const
    {
        return kelvane_write_image_file_in_ram(0, 2, image.c_str(), size);
    }

    static long open_files()
    {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }

    // A card of plain memory, for images of many words.
    static void use_plain_memory()
    {
        plain_memory.assign(0x04000000 / 4, 0xAAAAAAAA);
        local_handles_array[0].init_device.pci_write_cb = [](kelvane_handle, uint32_t, uint32_t offset,
                                                             uint32_t value, uint32_t) {
            plain_memory.at(offset / 4) = value;
            return 0;
        };
    }

    const std::string image;
};

TEST_F(firmware_image_test, words_of_small_images)
{
    const struct {
        std::string content;
        uint32_t size;
        std::vector<std::string> writes;
    } cases[] = {
        {"a", 1, {"W 02000040=00000061"}},
        {"abc", 3, {"W 02000040=00636261"}},
        {"abcd", 4, {"W 02000040=64636261"}},
        {"abcd\xFF", 5, {"W 02000040=64636261", "W 02000044=000000ff"}},
        {std::string("\x00\x80\x00\x01\x02\x03", 6), 6, {"W 02000040=01008000", "W 02000044=00000302"}},
    };
    for (const auto &c : cases) {
        write_image(c.content);
        uint32_t size = 99;
        EXPECT_EQ(copy(&size), 0);
        EXPECT_EQ(size, c.size);
        EXPECT_EQ(the_bar.check_alive, std::vector<uint32_t>(c.writes.size(), 1));
        EXPECT_EQ(the_bar.take_accesses(), c.writes);
    }
}

TEST_F(firmware_image_test, a_download_delivers_digest_image_and_command)
{
    write_image("abcde");
    answering_firmware firmware;
    firmware.install();
    for (const uint32_t verdict : {0u, 0x80300004u}) {
        the_bar.take_accesses();
        firmware.rc = verdict;
        EXPECT_EQ(kelvane_download_software(0, 1, image.c_str()), static_cast<int32_t>(verdict));
        const std::vector<uint32_t> header(firmware.request_header.begin() + 2,
                                           firmware.request_header.end());
        EXPECT_EQ(firmware.request_header[0], 14u);
        EXPECT_EQ(header, (std::vector<uint32_t>{3, 0, 0xFF00FF00, 0}));
        EXPECT_EQ(firmware.request_data, (std::vector<uint32_t>{0, 1, 5}));
        std::vector<std::string> writes = the_bar.take_accesses();
        writes.resize(10);
        EXPECT_EQ(writes, (std::vector<std::string>{"W 02000000=31313030", "W 02000004=33333232",
                                                    "W 02000008=35353434", "W 0200000c=37373636",
                                                    "W 02000010=39393838", "W 02000014=62626161",
                                                    "W 02000018=64646363", "W 0200001c=66666565",
                                                    "W 02000040=64636261", "W 02000044=00000065"}));
    }
    EXPECT_TRUE(log_has("INFO  kelvane_download_software:  end, rc 0x80300004"));
}

TEST_F(firmware_image_test, what_is_no_image_is_refused_and_no_command_is_sent)
{
    const std::string folder_image = folder.path + "/folder";
    const std::string pipe_image = folder.path + "/pipe";
    const std::string empty_image = folder.path + "/empty";
    const std::string no_digest = folder.path + "/no_digest";
    const std::string no_image = folder.path + "/no_image";
    mkdir(folder_image.c_str(), 0777);
    mkfifo(pipe_image.c_str(), 0666);
    std::ofstream{empty_image};
    std::ofstream{no_digest} << "abcd";
    for (const std::string &name : {folder_image, pipe_image, empty_image, no_image}) {
        std::ofstream(name + ".md5") << DIGEST;
    }
    write_image("abcd");
    const struct {
        std::string name;
        uint32_t kind;
        kelvane_handle handle;
        int32_t code;
        std::string line;
    } cases[] = {
        {no_image, 2, 0, 64170,
         "ERROR kelvane_write_image_file_in_ram: could not open " + folder.path + "/no_image"},
        {no_digest, 2, 0, 64170,
         "ERROR kelvane_write_md5_in_ram: could not open " + folder.path + "/no_digest.md5"},
        {empty_image, 2, 0, 64170, "ERROR kelvane_write_image_file_in_ram: file has NULL size"},
        {folder_image, 2, 0, 64170, ""}, // what a folder's size reads as differs between file systems
        {pipe_image, 2, 0, 64170, "ERROR kelvane_write_image_file_in_ram: failed seeking"},
        {image, 5, 0, 22, "ERROR kelvane_get_donwl_reg_info: invalid download_device = 5 "},
        {std::string(256, 'x'), 2, 0, 22, "INFO  kelvane_get_md5_file_name: Invalid file name len = 256 "},
        {image, 2, 1, 22, ""},
    };
    const long files = open_files();
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(kelvane_download_software(c.handle, c.kind, c.name.c_str()), c.code);
        EXPECT_TRUE(c.line.empty() || log_has(c.line));
        EXPECT_EQ(the_bar.word.count(0x01C00100), 0u);
        EXPECT_EQ(open_files(), files);
    }
}

TEST_F(firmware_image_test, the_longest_name)
{
    char digest_name[300];
    EXPECT_EQ(kelvane_get_md5_file_name(std::string(255, 'x').c_str(), digest_name), 0);
    EXPECT_EQ(digest_name, std::string(255, 'x') + ".md5");
    EXPECT_TRUE(log_has("DEBUG kelvane_get_md5_file_name: namefile len = 255 MAX_FILE_NAME 255   "));
}

TEST_F(firmware_image_test, a_short_digest_fails_behind_its_whole_words)
{
    write_image("abcd", "00112233445566778899aabbccddeef"); // 31 characters
    EXPECT_EQ(kelvane_write_md5_in_ram(0, 2, image.c_str()), 64170);
    EXPECT_EQ(the_bar.take_accesses().back(), "W 02000018=64646363");
    EXPECT_TRUE(log_has("ERROR kelvane_write_md5_in_ram: fread failed taken_char 3 rem 1  "));
    write_image("abcd", std::string(DIGEST, 32));
    EXPECT_EQ(kelvane_write_md5_in_ram(0, 2, image.c_str()), 0);
    EXPECT_EQ(the_bar.take_accesses().size(), 8u);
}

TEST_F(firmware_image_test, places_and_limits_by_kind)
{
    const uint32_t limits[] = {0x7FFEFF, 0x7FFEFF, 0x3FFFFF, 0x3FFFFF, 0x7FFEFF, 0x7FFEFF};
    for (uint32_t kind = 0; kind < 6; kind++) {
        uint32_t base = 0;
        uint32_t limit = 0;
        EXPECT_EQ(kelvane_get_donwl_reg_info(0, kind, &base, &limit), kind < 5 ? 0 : 22);
        EXPECT_EQ(base, 0x2000000u);
        EXPECT_EQ(limit, limits[kind]);
    }
}

TEST_F(firmware_image_test, the_largest_image_and_one_word_more)
{
    use_plain_memory();
    write_image("");
    std::filesystem::resize_file(image, 33553403);
    std::fstream(image, std::ios::in | std::ios::out | std::ios::binary).seekp(33553400) << "xyz";
    uint32_t size = 0;
    EXPECT_EQ(copy(&size), 0);
    EXPECT_EQ(size, 33553403u);
    EXPECT_EQ(plain_memory[0x02000040 / 4], 0u);
    EXPECT_EQ(plain_memory[0x03FFFC38 / 4], 0x007A7978u); // the last three bytes
    EXPECT_EQ(plain_memory[0x03FFFC3C / 4], 0xAAAAAAAAu);
    EXPECT_EQ(trace_level_mask_get(), 0x7Fu);

    std::filesystem::resize_file(image, 33553404);
    std::fstream(image, std::ios::in | std::ios::out | std::ios::binary).seekp(33553400) << "wxyz";
    EXPECT_EQ(copy(&size), 64170);
    EXPECT_EQ(plain_memory[0x03FFFC38 / 4], 0x7A797877u);
    EXPECT_TRUE(log_has("ERROR kelvane_write_image_file_in_ram: file too large to be written"));
    EXPECT_EQ(trace_level_mask_get(), 0x4Fu);
}

TEST_F(firmware_image_test, a_pause_every_fifty_words)
{
    const struct {
        size_t bytes;
        uint64_t nanoseconds;
    } cases[] = {{3, 0}, {4, 2000}, {200, 2000}, {203, 2000}, {204, 4000}, {401, 4000}, {404, 6000}};
    uint64_t before = time.now();
    for (const auto &c : cases) {
        write_image(std::string(c.bytes, 'x'));
        uint32_t size = 0;
        EXPECT_EQ(copy(&size), 0);
        EXPECT_EQ(time.now() - before, c.nanoseconds) << c.bytes;
        before = time.now();
    }
}

TEST_F(firmware_image_test, levels_come_back_crosswise)
{
    const struct {
        uint32_t before;
        size_t words;
        uint32_t after;
    } cases[] = {{0x10, 10, 0x20}, {0x20, 11, 0x10}, {0x7F, 10, 0x7F},
                 {0x0F, 10, 0x0F}, {0x50, 60, 0x60}, {0x10, 9, 0x10}};
    for (const auto &c : cases) {
        write_image(std::string(4 * c.words, 'x'));
        trace_level_mask_set(c.before);
        uint32_t size = 0;
        EXPECT_EQ(copy(&size), 0);
        EXPECT_EQ(trace_level_mask_get(), c.after) << std::hex << c.before;
    }
}

TEST_F(firmware_image_test, ten_words_are_traced)
{
    write_image(std::string(80, 'x'));
    uint32_t size = 0;
    EXPECT_EQ(copy(&size), 0);
    size_t traced = 0;
    for (const std::string &line : log_lines()) {
        traced += line.find("kelvane_internal_pci_write: offset 0x020000") != std::string::npos ? 1 : 0;
    }
    EXPECT_EQ(traced, 10u);
}

TEST_F(firmware_image_test, a_failing_write_ends_the_copy)
{
    write_image(std::string(80, 'x'));
    const long files = open_files();
    for (const uint64_t nth : {1, 8, 9, 20, 28}) { // digest, digest's last, image's first, middle, last
        trace_level_mask_set(0x7F);
        the_bar.take_accesses();
        the_bar.fail_from = the_bar.access_number + nth;
        EXPECT_EQ(kelvane_download_software(0, 2, image.c_str()), 64174);
        EXPECT_EQ(the_bar.take_accesses().size(), nth);
        EXPECT_EQ(trace_level_mask_get(), nth < 19 ? 0x7Fu : 0x4Fu);
        EXPECT_EQ(open_files(), files);
    }
}

TEST_F(firmware_image_test, a_file_that_becomes_shorter_meanwhile)
{
    write_image(std::string(40000, 'x'));
    the_bar.on_write = [this](uint32_t offset, uint32_t) {
        if (offset == 0x02000040) {
            std::filesystem::resize_file(image, 20002);
        }
    };
    uint32_t size = 0;
    EXPECT_EQ(copy(&size), 64170);
    EXPECT_EQ(the_bar.take_accesses().back(), "W 02004e5c=78787878"); // the 5000th word
    EXPECT_TRUE(log_has("ERROR kelvane_write_image_file_in_ram: fread failed taken_char 2 "));
}

TEST_F(firmware_image_test, an_activation_takes_no_callback_and_says_so_first)
{
    const auto callback = [](kelvane_handle, kelvane_device_address, uint32_t, int32_t) { return 0; };
    EXPECT_EQ(kelvane_program_activate_software(1, 0xFF03FFFF, "i.bin", callback, 7), 64170);
    const std::vector<std::string> lines = log_lines();
    EXPECT_EQ(lines.at(0),
              "INFO  kelvane_program_activate_software: start file i.bin cb=NOT_NULL transaction_id=7 ");
    EXPECT_EQ(lines.at(1), "ERROR kelvane_program_activate_software:  aynch mode temporary not supported ");
    EXPECT_TRUE(the_bar.take_accesses().empty());
}

TEST_F(firmware_image_test, progress_by_address)
{
    the_bar.word[0x01F04500] =
        0x0102E304; // sirane 0: controller 1, sirane 2, port 0 programming 99, port 1 4
    the_bar.word[0x01F04804] = 0x80FFE485; // sirane 1: sirane programming 127
    const struct {
        uint32_t address;
        uint32_t fpd_op;
        int32_t code;
        uint32_t progress;
    } cases[] = {
        {0xF0FFFFFF, 0, 0, 1},  {0xFF00FFFF, 0, 0, 2},  {0xFF0000FF, 0, 0, 0},  {0xFF0000FF, 1, 0, 99},
        {0xFF0001FF, 0, 0, 4},  {0xFF01FFFF, 1, 0, 99}, {0xFF0100FF, 1, 0, 99}, {0xFF0100FF, 0, 0, 0},
        {0xFF0101FF, 1, 0, 5},  {0xFF0101FF, 0, 0, 0},  {0xFFFFFFFF, 0, 0, 7},  {0xFF0002FF, 0, 22, 7},
        {0xFF00FEFF, 0, 22, 7}, {0xFF03FFFF, 0, 22, 7}, {0xF0FF01FF, 0, 0, 4},  {0xFEFFFFFF, 0, 0, 1},
        {0xFF00FFFF, 2, 0, 0},
    };
    for (const auto &c : cases) {
        uint32_t progress = 7;
        EXPECT_EQ(kelvane_get_progress(0, c.address, c.fpd_op, &progress), c.code) << std::hex << c.address;
        EXPECT_EQ(progress, c.progress) << std::hex << c.address << " " << c.fpd_op;
    }
    uint32_t progress = 7;
    EXPECT_EQ(kelvane_get_program_progress(0, 0xFF01FFFF, &progress), 0);
    EXPECT_TRUE(log_has("INFO  kelvane_get_progress: scaling 127 value "));
    EXPECT_EQ(kelvane_get_program_progress(1, 0xFF01FFFF, &progress), 22);
    close_gate();
    EXPECT_EQ(kelvane_get_program_progress(0, 0xFF01FFFF, &progress), 64174);
}

TEST_F(firmware_image_test, download_progress_by_kind)
{
    the_bar.word[0x01F04500] = 0x01020304;
    const struct {
        uint32_t kind;
        int32_t code;
        uint32_t progress;
    } cases[] = {{0, 22, 7}, {1, 0, 1}, {2, 0, 2}, {3, 22, 7}, {4, 0, 3}, {5, 22, 7}};
    for (const auto &c : cases) {
        uint32_t progress = 7;
        EXPECT_EQ(kelvane_get_download_progress(0, c.kind, &progress), c.code);
        EXPECT_EQ(progress, c.progress);
    }
    EXPECT_TRUE(log_has("ERROR kelvane_get_download_progress: operation not allowed on device 5 "));
}

} // namespace
