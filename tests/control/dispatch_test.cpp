#include "control/dispatch.h"

#include <cmath>
#include <cstring>
#include <fstream>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "control/address.h"
#include "control/staged_image.h"
#include "support/temporary_folder.h"

namespace {

TEST(address, is_a_word_or_a_number_and_nothing_else)
{
    const struct {
        const char *words;
        kelvane_device_address address;
    } rows[] = {
        {"board", 0xF0FFFFFF},    {"sirane/2", 0xFF02FFFF}, {"module/3", 0xFF0101FF},
        {"host/2.3", 0xFF02FF03}, {"module/0", 0xFF0000FF}, {"0x0fabcdef", 0x0FABCDEF},
    };
    for (const auto &it : rows) {
        kelvane_device_address address = 0;
        EXPECT_TRUE(address_of_words(it.words, &address)) << it.words;
        EXPECT_EQ(address, it.address);
        EXPECT_EQ(words_of_address(it.address), it.words);
    }
    for (const char *words : {"", "sirane", "sirane/3", "module/6", "module/-1", "host/0", "host/3.0",
                              "host/0.4", "0x", "0x123456789", "0x-1", "12", "Board", "module/0 "}) {
        kelvane_device_address address = 5;
        EXPECT_FALSE(address_of_words(words, &address)) << words;
        EXPECT_EQ(address, 5u);
    }
}

// What a request comes to: the problem, or its address and first words.
std::string check(const char *operation, const char *parameters)
{
    request request;
    const outcome done = request_of(*operation_of_name(operation), json::parse(parameters), &request);
    if (done.code != 0) {
        EXPECT_EQ(done.code, -32602);
        return done.problem;
    }
    char text[64];
    snprintf(text, sizeof text, "%08x %x %x", request.call.address, request.call.in[0].word,
             request.call.in[1].word);
    return text;
}

TEST(request, is_checked_before_anything_is_sent)
{
    const struct {
        const char *operation;
        const char *parameters;
        const char *expected;
    } rows[] = {
        {"set_laser", R"({"address":"module/1","laser":true})", "ff0001ff 1 0"},
        {"set_laser", R"({"laser":"off","address":"0xff0201ff"})", "ff0201ff 0 0"},
        {"set_laser", R"({"address":"module/1","laser":-1})", "ff0001ff ffffffff 0"},
        {"set_xpm2_led", R"({"address":"module/0","led":"red"})", "ff0000ff 3 0"},
        {"set_optical_output_power", R"({"address":"module/0","power":-1.5})", "ff0000ff bfc00000 0"},
        {"set_optical_output_power", R"({"address":"module/0","power":"2"})", "ff0000ff 40000000 0"},
        {"write_register", R"({"address":"board","reg_address":"0x9010","value":4294967295})",
         "f0ffffff 9010 ffffffff"},
        {"ps_print_sel_trace", R"({"address":"board"})", "f0ffffff 0 0"},
        {"get_laser_channel", R"({"address":"module/0","tx_rx":"rx"})", "ff0000ff 2 0"},

        {"set_laser", R"([1])", "the parameters are an object, by their names"},
        {"set_laser", R"({"laser":true})", "set_laser needs an address, such as module/0 or sirane/1"},
        {"set_laser", R"({"address":"sirane/0","laser":true})", "set_laser needs a module's port"},
        {"set_laser", R"({"address":"board","laser":true})", "set_laser needs a module's port"},
        {"get_global_pm", R"({"address":"module/0"})", "get_global_pm needs a sirane"},
        {"get_host_port_pm", R"({"address":"sirane/0"})", "get_host_port_pm needs a host port"},
        {"set_laser", R"({"address":"module/1"})", "set_laser needs laser"},
        {"set_laser", R"({"address":"module/1","laser":true,"lasre":1})", "set_laser takes no lasre"},
        {"default_initialize", R"({"address":"board"})", "default_initialize takes no address"},
        {"set_laser", R"({"address":"module/1","laser":"bright"})", "laser cannot be \"bright\""},
        {"set_laser", R"({"address":"module/1","laser":null})", "laser cannot be null"},
        {"set_laser", R"({"address":"module/1","laser":1.5})", "laser cannot be 1.5"},
        {"set_laser", R"({"address":"module/1","laser":2147483648})", "laser cannot be 2147483648"},
        {"read_register", R"({"address":"board","reg_address":-1})", "reg_address cannot be -1"},
        {"read_register", R"({"address":"board","reg_address":4294967296})",
         "reg_address cannot be 4294967296"},
        {"read_register", R"({"address":"board","reg_address":18446744073709551615})",
         "reg_address cannot be 18446744073709551615"},
        {"read_register", R"({"address":"board","reg_address":true})", "reg_address cannot be true"},
        {"read_register", R"({"address":"board","reg_address":"0x-1"})", "reg_address cannot be \"0x-1\""},
        {"set_optical_output_power", R"({"address":"module/0","power":1e300})", "power cannot be 1e+300"},
        {"set_optical_output_power", R"({"address":"module/0","power":"nan"})", "power cannot be \"nan\""},
        {"download_software", R"({"download_device":2,"digest":"0123"})", "digest cannot be \"0123\""},
    };
    for (const auto &it : rows) {
        EXPECT_EQ(check(it.operation, it.parameters), it.expected);
    }
}

TEST(record, has_values_in_their_units_and_null_for_what_is_none)
{
    kelvane_xpm2_port_pm module = {};
    module.tx_laser_eol = 7;
    module.optical_output_power = -1234;
    module.optical_signal_power = -1;
    module.xpm2_temperature = 0x2A80;
    EXPECT_EQ(
        json_of_record(MODULE_PM, &module).dump(),
        R"({"tx_laser_eol_percent":7,"rx_laser_eol_percent":0,"optical_output_power_dbm":-12.34,)"
        R"("optical_input_power_dbm":0.0,"optical_signal_power_dbm":-0.01,"xpm2_temperature_celsius":42.5})");

    kelvane_sirane_port_pm port = {};
    port.rx_cd_min = -1;
    port.rx_osnr_curr = 215;
    port.pre_fec_ber_est_curr = 1.5e-3F;
    port.pre_fec_ber_est_min = NAN;
    port.corrected_bits_count_pm_int = 18446744073709551615u;
    port.sopmd_cur = -1;
    port.sop_chi = -1;
    const json told = json_of_record(NETWORK_PORT_PM, &port);
    EXPECT_EQ(told["rx_cd_min_ps_per_nm"].dump() + told["rx_osnr_curr_db"].dump(), "-121.5");
    EXPECT_EQ(told["pre_fec_ber_est_curr"].dump(), "0.0015");
    EXPECT_TRUE(told["pre_fec_ber_est_min"].is_null() && told["sopmd_cur_ps2"].is_null() &&
                told["sop_chi_degrees"].is_null());
    EXPECT_EQ(told["corrected_bits_count_pm_int"].dump(), "18446744073709551615");

    kelvane_xpm2_inventory_t inventory = {};
    memset(inventory.pid, 'P', sizeof inventory.pid); // without a closing 0
    memcpy(inventory.vid, "V\xFF\x1B", 3);
    inventory.type = 9;
    inventory.nolva_supplied_vendor_id = -1;
    const json texts = json_of_record(MODULE_INVENTORY, &inventory);
    EXPECT_EQ(texts["pid"], "PPPPPPPPPPPPPPPP");
    EXPECT_EQ(texts["vid"], "V\xEF\xBF\xBD\x1B");
    EXPECT_EQ(texts["type"], 9);
    EXPECT_TRUE(texts["nolva_supplied_vendor_id"].is_null());

    kelvane_provisioned_config_t config = {};
    config.traffic_type[0] = 24;
    config.laser[1] = 1;
    config.rx_cd_low_search_value[0] = 0xFFFFF830;
    config.xpm2_led[0] = 77;
    const json set = json_of_record(PROVISIONED_CONFIG, &config);
    EXPECT_EQ(set["traffic_type"][0], "none");
    EXPECT_EQ(set["laser"].dump() + set["rx_cd_low_search_value"].dump(), "[false,true][-2000,0]");
    EXPECT_EQ(set["xpm2_led"][0], 77);

    global_alarms alarms = {};
    alarms.host[3] = 1u << 31 | 1u << 2;
    EXPECT_EQ(json_of_record(global_alarms_fields(host_kind::ethernet), &alarms)["host"].dump(),
              R"([[],[],[],[31,"TX_HOST_LOA"]])");
}

TEST(image, is_copied_with_its_digest_or_refused)
{
    const std::string digest = "0123456789abcdef0123456789ABCDEF";
    const host_folder tree;
    setenv("TMPDIR", tree.path.c_str(), 1);
    const auto refusal_of = [&](const char *path, int flags) {
        const int fd = open(path, flags);
        staged_image staged;
        const std::string problem = staged.copy(fd, digest);
        close(fd);
        return problem;
    };
    tree.write("image", std::string(70000, 'i'));
    tree.write("empty", "");
    tree.write("huge", "");
    ASSERT_EQ(truncate((tree.path + "/huge").c_str(), 33553404), 0);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    staged_image none;
    EXPECT_EQ(none.copy(-1, digest), "is missing: its open file has to come along");
    EXPECT_EQ(none.copy(ends[0], digest), "is no regular file");
    EXPECT_EQ(refusal_of("/dev/zero", O_RDONLY), "is no regular file");
    EXPECT_EQ(refusal_of(tree.path.c_str(), O_RDONLY), "is no regular file");
    EXPECT_EQ(refusal_of((tree.path + "/empty").c_str(), O_RDONLY), "has 0 bytes; it may have 1 to 33553403");
    EXPECT_EQ(refusal_of((tree.path + "/huge").c_str(), O_RDONLY),
              "has 33553404 bytes; it may have 1 to 33553403");
    EXPECT_EQ(refusal_of((tree.path + "/image").c_str(), O_WRONLY), "cannot be read: Bad file descriptor");

    const int fd = open((tree.path + "/image").c_str(), O_RDONLY);
    std::string copy;
    {
        staged_image staged;
        EXPECT_EQ(staged.copy(fd, digest), "");
        copy = staged.path();
        EXPECT_EQ(std::filesystem::file_size(copy), 70000u);
        std::string text;
        std::ifstream(copy + ".md5") >> text;
        EXPECT_EQ(text, digest);
    }
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::path(copy).parent_path()));
    setenv("TMPDIR", "/nowhere", 1);
    staged_image homeless;
    EXPECT_EQ(homeless.copy(fd, digest), "cannot be copied: No such file or directory");
    close(fd);
}

} // namespace
