#include "card/download_host.h"

namespace {

using words = std::vector<uint32_t>;

// Version and state of both banks, the downloaded bank, the running one.
words banks(const card_host &host, uint32_t sirane)
{
    words got;
    for (uint32_t i = 0; i < 6; i++) {
        got.push_back(host.read(0x01F04200 + 772 * sirane + 4 * i));
    }
    return got;
}

uint32_t progress(const card_host &host, uint32_t sirane)
{
    return host.read(0x01F04200 + 772 * sirane + 0x300);
}

// Running, working, golden version of the controller.
words controller(const card_host &host)
{
    return {host.read(0x01F04004), host.read(0x01F04018), host.read(0x01F0401C)};
}

TEST(images, a_download_of_any_length_takes_its_time_and_is_kept)
{
    struct length {
        image it;
        uint64_t ms;
    };
    const length LENGTHS[] = {
        {{1, "a26785922b3516fe627bab9726c66e43"}, 100},
        {{3, "e434651d027343b9d8aed825a0e60c4c"}, 100},
        {{4, "6CC307A7EC2E27A14F140A7161C487CF"}, 100}, // either case of letters
        {{5, "8c3ba76c1cfbd239a987e6c155366015"}, 100},
        {IMAGE_OF_1_MIB, 116},
        {LARGEST_IMAGE, 611},
    };
    for (const length &it : LENGTHS) {
        download_host host;
        uint64_t ms = 0;
        EXPECT_EQ(host.download(2, it.it, &ms), 0u) << it.it.bytes;
        EXPECT_EQ(ms, it.ms) << it.it.bytes;
        EXPECT_EQ(banks(host, 0), (words{0x02000008, 0x02000007, 1, 1, 0, 1})) << it.it.bytes;
    }
}

TEST(images, one_wrong_byte_is_refused_and_keeps_what_was_there)
{
    struct spoiled {
        uint32_t offset;
        uint32_t bits;
    };
    const spoiled BYTES[] = {{0x02000000, 0x01}, {0x0200001C, 0x80000000}, {0x02000040, 0x01},
                             {0x02000044, 0x01}, {0x02000080, 0x10000000}, {0x0210003C, 0x80000000}};
    for (const spoiled &it : BYTES) {
        download_host host;
        EXPECT_EQ(host.download(2, IMAGE_OF_4), 0u);
        host.verb("image-version 9.1");
        host.write_digest(IMAGE_OF_1_MIB.digest);
        host.write_image(IMAGE_OF_1_MIB.bytes);
        host.write(it.offset, host.read(it.offset) ^ it.bits);
        host.send(14, {0, 2, IMAGE_OF_1_MIB.bytes});
        EXPECT_EQ(host.wait_for_answer(), 0x80300003u) << std::hex << it.offset;
        EXPECT_EQ(progress(host, 0), 0u) << std::hex << it.offset;
        EXPECT_EQ(banks(host, 0), (words{0x02000008, 0x02000007, 1, 1, 0, 1})) << std::hex << it.offset;
    }
}

TEST(images, what_cannot_be_is_refused_at_once)
{
    struct judged {
        const char *what;
        uint32_t command;
        words data;
        uint32_t error_word;
    };
    // Module 3 is unplugged; an image for siranes is there.
    const judged JUDGED[] = {
        {"no bytes", 14, {0, 2, 0}, 0x80300001},
        {"a byte too many", 14, {0, 2, 33553404}, 0x80300001},
        {"all bytes", 14, {0, 2, 0xFFFFFFFF}, 0x80300001},
        {"kind 3", 14, {0, 3, 4}, 0x80300009},
        {"kind 5", 14, {0, 5, 4}, 0x80300009},
        {"kind of all ones", 14, {0, 0xFFFFFFFF, 4}, 0x80300009},
        {"a download of two words", 14, {0, 2}, 0x80100009},
        {"the board", 15, {0, 0xF0FFFFFF, 7}, 0x80300009},
        {"a module", 15, {0, 0xFF0000FF, 7}, 0x80300009},
        {"a host port", 15, {0, 0xFF00FF01, 7}, 0x80300009},
        {"an empty port", 15, {0, 0xFF0001FF, 7}, 0x8050000F},
        {"sirane 3", 15, {0, 0xFF03FFFF, 7}, 0x80000003},
        {"an activation of four words", 15, {0, 0xFF00FFFF, 7, 0}, 0x80100009},
    };
    for (const judged &it : JUDGED) {
        download_host host;
        host.verb("unplug 3");
        EXPECT_EQ(host.download(2, IMAGE_OF_4), 0u) << it.what;
        const card_host::received answer = host.run(it.command, it.data);
        ASSERT_TRUE(answer.there) << it.what;
        EXPECT_EQ(answer.header[5], it.error_word) << it.what;
        EXPECT_EQ(answer.data.size(), 3u) << it.what;
        EXPECT_EQ(host.activate(0xFF00FFFF), 0u) << it.what; // the image is still there
    }
}

TEST(images, an_image_goes_to_devices_of_its_kind)
{
    struct pair {
        uint32_t kind;
        uint32_t address;
        uint32_t error_word;
    };
    const pair PAIRS[] = {
        {0, 0xF0FFFFFF, 0},          {0, 0xFF00FFFF, 0x80300009}, {0, 0xFF0000FF, 0x80300009},
        {1, 0xF0FFFFFF, 0},          {1, 0xFF02FFFF, 0x80300009}, {1, 0xFF0201FF, 0x80300009},
        {2, 0xF0FFFFFF, 0x80300009}, {2, 0xFF02FFFF, 0},          {2, 0xFF0100FF, 0x80300009},
        {4, 0xF0FFFFFF, 0x80300009}, {4, 0xFF01FFFF, 0x80300009}, {4, 0xFF0101FF, 0},
    };
    for (const pair &it : PAIRS) {
        download_host host;
        EXPECT_EQ(host.download(it.kind, IMAGE_OF_4), 0u);
        EXPECT_EQ(host.activate(it.address), it.error_word) << it.kind << std::hex << ' ' << it.address;
    }
}

TEST(images, progress_stands_in_the_byte_of_the_device)
{
    struct place {
        uint32_t kind;
        uint32_t address;
        uint32_t sirane; // in whose table the programming shows
        uint32_t shift;
    };
    const place PLACES[] = {
        {0, 0xF0FFFFFF, 0, 24}, {1, 0xF0FFFFFF, 0, 24}, {2, 0xFF00FFFF, 0, 16},
        {2, 0xFF02FFFF, 2, 16}, {4, 0xFF0000FF, 0, 8},  {4, 0xFF0101FF, 1, 0},
    };
    struct moment {
        uint64_t ms;
        uint32_t percent;
    };
    const moment PROGRAM[] = {{0, 0}, {7, 0}, {1, 1}, {392, 50}, {396, 99}, {3, 99}, {1, 100}};
    for (const place &it : PLACES) {
        download_host host;
        const uint32_t download_shift = it.kind == 4 ? 8 : it.shift;
        host.write_digest(IMAGE_OF_4.digest);
        host.write_image(4);
        host.send(14, {0, it.kind, 4});
        EXPECT_EQ(progress(host, 0), 0u);
        host.pass(99 * MS);
        EXPECT_EQ(progress(host, 0), 99u << download_shift) << it.kind;
        host.pass(1 * MS);
        EXPECT_EQ(progress(host, 0), 100u << download_shift) << it.kind;
        EXPECT_EQ(host.wait_for_answer(), 0u);
        host.send(15, {0, it.address, 7});
        for (const moment &then : PROGRAM) {
            host.pass(then.ms * MS);
            EXPECT_EQ(progress(host, it.sirane) >> it.shift & 0xFF, 0x80 | then.percent) << it.address;
            EXPECT_EQ(host.read(0x01C02004), then.percent == 100 ? 4u : 2u);
        }
    }
}

TEST(images, only_one_is_worked_on)
{
    download_host host;
    host.write_digest(IMAGE_OF_4.digest);
    host.write_image(4);
    host.send(14, {0, 2, 4});
    EXPECT_EQ(host.run(14, {0, 2, 4}, 1).header[5], 0x8030000Du);
    EXPECT_EQ(host.run(15, {0, 0xFF02FFFF, 7}, 2).header[5], 0x8030000Du);
    EXPECT_EQ(host.register_of(0xFF00FFFF, 0x9010), 1u); // all else goes on
    EXPECT_EQ(host.wait_for_answer(), 0u);
    host.send(15, {0, 0xFF00FFFF, 7});
    EXPECT_EQ(host.run(15, {0, 0xFF01FFFF, 7}, 1).header[5], 0x8030000Du);
    EXPECT_EQ(host.run(14, {0, 2, 4}, 2).header[5], 0x8030000Du);
    EXPECT_EQ(host.wait_for_answer(), 0u);
}

TEST(images, activation_resets_the_sirane_into_its_other_bank_and_uses_the_image_up)
{
    download_host host;
    EXPECT_EQ(host.activate(0xFF01FFFF), 0x80300001u);
    EXPECT_EQ(host.download(2, IMAGE_OF_4), 0u);
    EXPECT_EQ(host.error_of(10, {0, 0xFF01FFFF, 0x9030, 9}), 0u);
    EXPECT_EQ(host.error_of(10, {0, 0xFF02FFFF, 0x9030, 9}), 0u);
    for (const uint32_t sirane : {0u, 1u, 2u}) { // it could go to any
        EXPECT_EQ(banks(host, sirane), (words{0x02000008, 0x02000007, 1, 1, 0, 1}));
    }
    uint64_t ms = 0;
    EXPECT_EQ(host.activate(0xFF01FFFF, &ms), 0u);
    EXPECT_EQ(ms, 800u);
    EXPECT_EQ(host.register_of(0xFF01FFFF, 0x9030), 0x3210u);
    EXPECT_EQ(host.register_of(0xFF02FFFF, 0x9030), 9u);
    EXPECT_EQ(banks(host, 1), (words{0x02000008, 0x02000007, 1, 1, 0, 0}));
    EXPECT_EQ(banks(host, 2), (words{0x02000006, 0x02000007, 1, 1, 1, 1}));
    for (const uint32_t address : {0xFF01FFFFu, 0xFF02FFFFu}) {
        EXPECT_EQ(host.activate(address), 0x80300001u);
    }
    host.verb("image-version 3.772"); // the minor version's upper bits
    EXPECT_EQ(host.download(2, IMAGE_OF_4), 0u);
    EXPECT_EQ(host.activate(0xFF01FFFF), 0u);
    EXPECT_EQ(banks(host, 1), (words{0x02000008, 0x03000304, 1, 1, 1, 1}));
}

TEST(images, what_a_device_runs_outlasts_the_power_but_not_what_was_only_downloaded)
{
    for (const char *restart : {"restart", "restart cold", "remove"}) {
        download_host host;
        EXPECT_EQ(host.download(2, IMAGE_OF_4), 0u);
        EXPECT_EQ(host.activate(0xFF01FFFF), 0u);
        EXPECT_EQ(host.download(2, IMAGE_OF_4), 0u);
        host.verb(restart);
        if (restart == std::string("remove")) {
            host.verb("insert");
        }
        host.pass(1000 * MS);
        host.link_up();
        EXPECT_EQ(banks(host, 1), (words{0x02000008, 0x02000007, 1, 1, 0, 0})) << restart;
        EXPECT_EQ(progress(host, 1), 0u) << restart;
        EXPECT_EQ(host.activate(0xFF01FFFF), 0x80300001u) << restart;
    }
}

TEST(images, a_programming_cut_short_leaves_a_bank_that_is_not_valid)
{
    download_host host;
    EXPECT_EQ(host.download(2, IMAGE_OF_4), 0u);
    host.send(15, {0, 0xFF00FFFF, 7});
    host.pass(400 * MS);
    EXPECT_EQ(progress(host, 0), 0x00B20000u);
    host.verb("restart");
    host.pass(1000 * MS);
    EXPECT_EQ(banks(host, 0), (words{0x02000006, 0x02000007, 0, 1, 1, 1}));
    EXPECT_EQ(progress(host, 0), 0u);
    host.pass(1000 * MS);
    EXPECT_FALSE(host.take_answer().there);
}

TEST(images, the_controller_runs_its_image_after_the_next_start)
{
    download_host host;
    host.write_digest(IMAGE_OF_4.digest);
    host.write_image(4);
    host.send(14, {0, 1, 4});
    EXPECT_EQ(controller(host), (words{0x00050016, 0xFFFFFFFD, 0x00020004})); // being checked
    EXPECT_EQ(host.wait_for_answer(), 0u);
    EXPECT_EQ(controller(host), (words{0x00050016, 0x00050017, 0x00020004}));
    EXPECT_EQ(host.activate(0xF0FFFFFF), 0u);
    EXPECT_EQ(controller(host), (words{0x00050016, 0x00050017, 0x00020004}));
    host.verb("image-version 4.0");
    EXPECT_EQ(host.download(0, IMAGE_OF_4), 0u);
    EXPECT_EQ(host.activate(0xF0FFFFFF), 0u);
    EXPECT_EQ(controller(host), (words{0x00050016, 0x00050017, 0x00040000}));
    host.verb("restart");
    host.pass(1000 * MS);
    EXPECT_EQ(controller(host), (words{0x00050017, 0x00050017, 0x00040000}));

    host.link_up(); // and without an activation, which a host may have no way to ask for
    EXPECT_EQ(host.download(1, IMAGE_OF_4), 0u);
    host.verb("restart cold");
    host.pass(1000 * MS);
    EXPECT_EQ(controller(host), (words{0x00050018, 0x00050018, 0x00040000}));
}

TEST(images, older_firmware_comes_with_its_layouts)
{
    download_host host;
    host.verb("image-version 2.6");
    EXPECT_EQ(host.download(1, IMAGE_OF_4), 0u);
    EXPECT_EQ(host.activate(0xF0FFFFFF), 0u);
    EXPECT_EQ(host.run(38, words(60, 0xFF0000FF)).header[3], 2u);
    host.verb("restart cold");
    host.pass(1000 * MS);
    host.link_up();
    EXPECT_EQ(host.run(38, words(60, 0xFF0000FF)).header[3], 0u);
}

TEST(images, a_module_tells_the_version_that_was_programmed)
{
    download_host host;
    EXPECT_EQ(host.download(4, IMAGE_OF_4), 0u);
    EXPECT_EQ(host.activate(0xFF0101FF), 0u);
    EXPECT_EQ(host.read(0x01F04200 + 772 + 0x204), 0x00010013u);
    EXPECT_EQ(host.read(0x01F04200 + 772 + 0x104), 0x00010012u);
    EXPECT_EQ(host.download(4, IMAGE_OF_4), 0u);
    host.send(15, {0, 0xFF0100FF, 7});
    host.verb("unplug 5");
    EXPECT_EQ(host.wait_for_answer(), 0x8050000Fu);
    host.verb("plug 5");
    EXPECT_EQ(host.read(0x01F04200 + 772 + 0x104), 0x00010012u);
    EXPECT_EQ(host.activate(0xFF0100FF), 0u); // the image is still there
}

TEST(images, the_operator_says_how_long_programming_takes)
{
    download_host host;
    uint64_t ms = 0;
    host.verb("program-time 250");
    EXPECT_EQ(host.download(2, IMAGE_OF_4), 0u);
    EXPECT_EQ(host.activate(0xFF00FFFF, &ms), 0u);
    EXPECT_EQ(ms, 250u);
    host.verb("program-time 0");
    EXPECT_EQ(host.download(2, IMAGE_OF_4), 0u);
    EXPECT_EQ(host.run(15, {0, 0xFF00FFFF, 7}).header[5], 0u);
    EXPECT_EQ(progress(host, 0), 0x00E40000u);
    host.refused_verb("program-time");
    host.refused_verb("image-version");
    host.refused_verb("image-version 5");
    host.refused_verb("image-version 256.1");
    host.refused_verb("image-version 1.65536");
}

TEST(images, faults_strike_them_too)
{
    download_host host;
    host.verb("error 14 ORDUNE_FLASH_WRITEERROR");
    EXPECT_EQ(host.error_of(14, {0, 2, 4}), 0x80300007u);
    host.verb("delay 14 50");
    uint64_t ms = 0;
    EXPECT_EQ(host.download(2, IMAGE_OF_4, &ms), 0u);
    EXPECT_EQ(ms, 150u);
    host.send(15, {0, 0xFF00FFFF, 7});
    host.verb("hang");
    host.pass(900 * MS);
    EXPECT_EQ(progress(host, 0), 0x00800000u);
    host.verb("resume");
    EXPECT_EQ(host.wait_for_answer(), 0u);
    EXPECT_EQ(banks(host, 0), (words{0x02000008, 0x02000007, 1, 1, 0, 0}));
}

TEST(images, a_host_that_gives_up_hears_nothing_and_the_work_goes_on)
{
    download_host host;
    EXPECT_EQ(host.download(2, IMAGE_OF_4), 0u);
    host.send(15, {0, 0xFF00FFFF, 7});
    host.link_up();
    host.pass(800 * MS);
    EXPECT_FALSE(host.take_answer().there);
    EXPECT_EQ(banks(host, 0), (words{0x02000008, 0x02000007, 1, 1, 0, 0}));
}

TEST(images, show_tells_of_them)
{
    download_host host;
    EXPECT_NE(host.verb("show").find("nothing downloaded"), std::string::npos);
    EXPECT_EQ(host.download(2, IMAGE_OF_4), 0u);
    EXPECT_NE(host.verb("show").find("downloaded: kind 2, 2.8, 4 bytes, 6cc307a7ec2e27a14f140a7161c487cf"),
              std::string::npos);
    host.send(15, {0, 0xFF01FFFF, 7});
    EXPECT_NE(host.verb("show").find("programming under way: kind 2, 2.8, device 4"), std::string::npos);
}

} // namespace
