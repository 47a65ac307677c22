// An image's way, with the real programs: from a file into the card's memory, to its firmware, to the version
// that runs, and into the log that tells of it.
#include "whole/card_host.h"

#include <fstream>
#include <sstream>

namespace {

// The image's content, and what md5sum says of it.
struct image_row {
    const char *name;
    size_t bytes;
    const char *digest;
};

// Bytes 1, 2, 3 ... 250, 0, 1, 2 and so on.
constexpr image_row IMAGES[] = {
    {"1 byte", 1, "55a54008ad1ba589aa210d2629c1df41"},
    {"3 bytes", 3, "5289df737df57326fcdd22597afb1fac"},
    {"4 bytes", 4, "08d6c05a21512a79a1dfeb9d2a8f262f"},
    {"5 bytes", 5, "7cfdd07889b3295d6a550914ab35e068"},
    {"1 MiB", 1048576, "2f0c22607ddf32b45bb750612c16976e"},
    {"the largest", 33553403, "8b73650e8b75065157236f6e77d9104a"},
};

class upgrade_test : public card_host {
  protected:
    std::string make_image(size_t bytes, const std::string &digest) const
    {
        const std::string path = folder.path + "/image.bin";
        std::string content(bytes, '\0');
        for (size_t i = 0; i < bytes; i++) {
            content[i] = static_cast<char>((i + 1) % 251);
        }
        std::ofstream(path, std::ios::binary) << content;
        std::ofstream(path + ".md5") << digest << "  image.bin\n";
        return path;
    }

    std::string file_text(const std::string &name) const
    {
        std::ostringstream text;
        text << std::ifstream(host + "/root/" + name).rdbuf();
        return text.str();
    }

    // What both streams say to one command.
    std::string run(const std::string &line)
    {
        const size_t before = client->out.size();
        const std::string err = type(line);
        return client->out.substr(before) + err;
    }
};

bool has(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

TEST_F(upgrade_test, images_of_every_size_arrive)
{
    start_card();
    start_client();
    for (const image_row &image : IMAGES) {
        SCOPED_TRACE(image.name);
        const std::string said = run("upgrade 1 " + make_image(image.bytes, image.digest));
        EXPECT_TRUE(has(said, ">>> Download completed \n")) << said;
    }
}

TEST_F(upgrade_test, the_story_of_one_upgrade)
{
    start_card();
    start_client();
    const std::string image = make_image(5, IMAGES[3].digest);
    EXPECT_TRUE(has(run("version 1"), "Running Firmware Version for device (1): (2.7)"));
    EXPECT_TRUE(has(run("activate 1 " + image), ">>> ERROR <<<Sirane firmware not downloaded"));
    EXPECT_TRUE(has(run("upgrade 1 " + image), ">>> Download completed "));
    const std::string activation = run("activate 1 " + image);
    EXPECT_TRUE(has(activation, ">>> Activation completed on device 1\n"));
    EXPECT_TRUE(has(activation, ">>> ERROR <<<Activate failed for device 1 return code:(-2144337919) "
                                "retry_count = 0\n"));
    EXPECT_TRUE(has(activation, "retry_count = 2\n"));
    EXPECT_FALSE(has(activation, "retry_count = 3\n"));
    EXPECT_TRUE(has(run("version 1"), "Running Firmware Version for device (1): (2.8)"));
    EXPECT_TRUE(has(run("version 4"), "Running Firmware Version for device (4): (2.7)"));
    EXPECT_TRUE(has(run("dump_arm_logs"), ">>> ARM log traces saved to /root/ordune.log\n"));
    const std::string log = file_text("ordune.log");
    size_t at = 0;
    for (const char *line :
         {"firmware started", "download begun, device 1, kind 2, bytes 5", "digest is right",
          "image kept, device 1, kind 2, version 2.8", "programming begun, device 1",
          "image activated, device 1, version 2.8", "device reset, device 1"}) {
        const size_t found = log.find(line, at);
        EXPECT_NE(found, std::string::npos) << line << " behind\n" << log.substr(0, at);
        at = found == std::string::npos ? at : found;
    }
}

TEST_F(upgrade_test, one_wrong_byte_is_refused_at_the_prompt)
{
    start_card();
    start_client();
    const std::string image = make_image(5, IMAGES[2].digest); // of another image
    EXPECT_TRUE(has(run("upgrade 1 " + image), ">>> ERROR <<<Download Error return code:(-2144337917)\n"));
    EXPECT_TRUE(has(run("dump_arm_logs"), "saved"));
    EXPECT_TRUE(has(file_text("ordune.log"), "digest is wrong"));
}

TEST_F(upgrade_test, coded_rows_of_old_firmware)
{
    start_card({"--firmware", "3.5"});
    start_client();
    EXPECT_TRUE(has(run("upgrade 1 " + make_image(4, IMAGES[2].digest)), ">>> Download completed "));
    EXPECT_TRUE(has(run("dump_arm_logs"), "saved"));
    const std::string log = file_text("ordune.log");
    EXPECT_TRUE(has(log, "0)")) << log;
    EXPECT_TRUE(has(log, "  ordune_download        INFO:line 171 ret code 00000000 valid data 3 ")) << log;
}

} // namespace
