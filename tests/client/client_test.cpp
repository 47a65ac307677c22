// Runs of the whole client: what is typed, what is printed, what the library is asked to do. What the client
// says at its start, and its legend, are seen with the real programs.
#include "mock_client/client.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <pthread.h>
#include <regex>
#include <unistd.h>

#include "client/fake_kelvane.h"
#include "client/run_child.h"
#include "mock_client/client_device.h"
#include "support/temporary_folder.h"

namespace {

using std::string;

const string READ = ">>> DEBUG <<< Device address : ff00ffff\n>>> DEBUG <<< Register address : 00009010\n"
                    ">>> Checking kelvane_read_register...[kelvane_read_register(0, 0xff00ffff, 0x9010)]"
                    "passed\n>>> Value of register 0x00009010 on device 0xff00ffff is 0x0000beef  \n";
const string BAD_READ =
    ">>> ERROR <<<Invalid input for register read \n>>> ERROR <<<Failed to read register \n";

string refused(const string &line)
{
    return ">>> ERROR <<<Invalid input <<<< " + line + " >>>> LEGEND ?";
}

void replace_each(string &text, const string &first, const string &last, const string &by)
{
    for (size_t at = 0; (at = text.find(first, at)) != string::npos;) {
        text.replace(at, text.find(last, at) + last.size() - at, by);
    }
}

// A run of the client; the legend as "LEGEND ", a prompt as '?'.
child_result run_client(
    const string &input, const std::vector<const char *> &options = {}, void (*before)() = [] {})
{
    std::vector<const char *> arguments = {"mock_client"};
    std::ranges::copy(options, std::back_inserter(arguments));
    arguments.push_back(nullptr);
    child_result run = run_child(input, [&] {
        before();
        return client_main(static_cast<int>(arguments.size()) - 1, const_cast<char **>(arguments.data()));
    });
    const string rule = string(65, '+') + "\n";
    replace_each(run.text, rule + " Devices", ": To exit\n" + rule, "LEGEND ");
    replace_each(run.text, ">>> \n>>> Please", " enter input :", "?");
    return run;
}

class mock_client : public testing::Test {
  protected:
    mock_client()
    {
        fake_kelvane_start({"", 0});
        host.write("sys/class/uio/uio0/name", "ZYNQFPGA\n");
        host.write("sys/class/uio/uio0/maps/map0/size", "0x0000000004000000\n");
        host.write("dev/uio0", "");
        std::filesystem::resize_file(host.path + "/dev/uio0", 0x4000000);
    }

    // What is printed from the first prompt on.
    static string session(const string &input)
    {
        const string text = run_client(input).text;
        return text.substr(text.find('?'));
    }

    host_folder host;
};

TEST_F(mock_client, reads_words_and_lines_of_any_length_and_content)
{
    string lines;
    string expected = "?";
    for (const string word :
         {"hel", "alarm", "versio", "p", "dump_arm_log", "dump_status_inf", "writ", "rea", "upgrad",
          "activat", "qui", "exi", "ge", "ini", "deini", "laser_tou", "sirane_rese", "Help", "100% %s%n"}) {
        lines += word + "\n";
        expected += refused(word);
    }
    EXPECT_EQ(session(lines + "helpless\n\n \t\n  help me\nread 99999999999999999999 9010\nquitter\n"),
              expected +
                  "LEGEND ?LEGEND ?>>> ERROR <<<Invalid device address, calculation failed. Enter one of "
                  "number from : \nLEGEND " +
                  BAD_READ + "?");
    const string zeros(100000, '0');
    const string letters(100000, 'z');
    const string nul(1, '\0');
    EXPECT_EQ(session(letters + "\nread " + zeros + "1 " + zeros + "9010\nhelp" + nul + "\n" + nul +
                      "help\nread" + nul + " 1 1\nhelpful 4\nexit now\n"),
              "?" + refused(letters) + READ + "?LEGEND ?" + refused("") +
                  ">>> ERROR <<<Device address not found or invalid\n" + BAD_READ + "?LEGEND ?");
    EXPECT_TRUE(
        session("helpful 4\nalarms") // nothing is left of the line before
            .starts_with("?LEGEND ?>>> DEBUG <<< Input buffer: ()\n>>> ERROR <<<Invalid input. Enter "));
}

void let_no_thread_start()
{
    pthread_attr_t attributes; // no address space holds such a stack
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, size_t{1} << 50);
    pthread_setattr_default_np(&attributes);
}

TEST_F(mock_client, goes_on_when_a_lesser_step_of_its_start_fails)
{
    const string verdict = "kelvane_software_version_comp_check";
    const std::tuple<string, int32_t, int, string> cases[] = {
        {"kelvane_init_driver", 64172, 0, "driver()]failed\n"},
        {verdict, 1, 0, "passed\n>>> SDK And Firmware are compatible\n"},
        {verdict, 2, 0, "passed\n>>> Warning: SDK not aligned update not needed\n"},
        {verdict, 3, 0, "passed\n>>> Incompatible: SDK not aligned update needed\n"},
        {verdict, 110, 0, "comp_check(0)]failed\n>>> DEBUG"},
        {"kelvane_default_initialize", 110, 0, "initialize(0)]failed\nLEGEND ?"},
        {"kelvane_device_create", -1, 1,
         "right)]failed\n>>> ERROR <<<Failed to get a device handler for hespera\n"},
        {"kelvane_pci_mapped", 64171, 1, "]failed\n>>> ERROR <<<Failed to enable mmap for device\n"},
        {"", 0, 1, "kelvane_notify_msi...failed\n>>> ERROR <<<Failed to enable interrupts on device\n"},
    };
    for (const auto &[call, result, status, printed] : cases) {
        fake_kelvane_start({call.c_str(), result});
        const child_result run = run_client("quit\n", {}, status == 0 ? [] {} : let_no_thread_start);
        EXPECT_EQ(run.status, status);
        EXPECT_NE(run.text.find(printed), string::npos) << printed;
        EXPECT_TRUE(run.text.ends_with(status == 0 ? "\nLEGEND ?" : printed)) << run.text;
    }
    fake_kelvane_start({"kelvane_device_create", 5}); // a positive code is kept as the handle
    const string kept = run_client("deinit\nquit\n").text;
    for (const string call : {"[kelvane_device_create(slot 0, client 1, subsystem 0, callbacks right)]",
                              "[kelvane_pci_mapped(5, 1, base, 0x4000000)]", "[kelvane_device_delete(5)]"}) {
        EXPECT_NE(kept.find(call), string::npos) << call;
    }
}

TEST_F(mock_client, ends_with_a_code_when_it_cannot_go_on)
{
    fake_kelvane_start({"kelvane_diag_command", 64174});
    const child_result laser = run_client("upgrade 1 /no\nactivate 2 /no\nlaser_tout 4 x\nhelp\nquit\n");
    EXPECT_EQ(laser.status, 64174 % 256);
    EXPECT_TRUE(laser.text.ends_with(
        "FPGA \n?>>> ERROR <<<Invalid dev_address?>>> Calling laser timeout for device 4 (0xff01ffff)\n"
        ">>> Checking kelvane_diag_command...[kelvane_diag_command(0, 0xff01ffff, 34)]failed\n"
        "Diag command (laser timeout err) failed\n - rc = 64174\n"))
        << laser.text;
    host_folder without_a_card;
    const child_result run = run_client("help\n");
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.text.ends_with("\n>>> ERROR <<<Failed to initialize PCIe interaction\n")) << run.text;
}

// Completions come from another thread; on each kind the client goes on with the first one.
TEST_F(mock_client, takes_its_options_and_waits_for_the_callbacks)
{
    const child_result run = run_client("init 7\ninit 1\ndeinit\nquit\n",
                                        {"-a", "x", "-b", "5", "-t", "5", "-w", "9"}, [] { close(2); });
    EXPECT_EQ(run.status, 0);
    const string printed = run.text.substr(run.text.find('?'));
    EXPECT_EQ(std::regex_replace(printed, std::regex(">>> Checking kelvane_\\w*\\.\\.\\."), ""),
              "?[kelvane_set_traffic_type(0, 0xff0200ff, 18, callback, 2)]"
              "[kelvane_set_traffic_type(0, 0xff0201ff, 18, callback, 2)]"
              "mock_client:set traffic type callback id(2)\n"
              "[kelvane_set_laser_channel_flex_grid(0, 0xff0200ff, 9, 1)]"
              "[kelvane_set_laser_channel_flex_grid(0, 0xff0200ff, 9, 2)]"
              "[kelvane_set_laser_channel_flex_grid(0, 0xff0201ff, 9, 1)]"
              "[kelvane_set_laser_channel_flex_grid(0, 0xff0201ff, 9, 2)]>>> Configured rx wavelength : 9 \n"
              ">>> setting laser for device id 8\n[kelvane_set_laser(0, 0xff0200ff, 1, callback, 1)]"
              ">>> setting laser for device id 9\n[kelvane_set_laser(0, 0xff0201ff, 1, callback, 1)]"
              "mock_client:laser config done\n?>>> Init has been performed. Returning...\n?"
              "[kelvane_device_delete(0)]?");
    const child_result usage = run_client("", {"--help"});
    EXPECT_EQ(usage.status, 0);
    EXPECT_TRUE(usage.text.starts_with("usage: mock_client [-a any] [-t any] [-w channel]\n"));
    EXPECT_TRUE(usage.text.ends_with("\n\nLEGEND "));
}

TEST_F(mock_client, repeats_the_last_command_at_the_end_of_the_input)
{
    const string empty = "LEGEND ?" + refused("") + refused("");
    const child_result run = run_client("help\nread 1 9010");
    EXPECT_NE(run.text.find("?LEGEND ?" + READ + "?" + READ + "?"), string::npos);
    EXPECT_EQ(run.status, -SIGXFSZ); // the limit of the file ended it
    EXPECT_NE(run_client("").text.find(empty), string::npos);
    EXPECT_NE(run_client("", {}, [] { close(0); }).text.find(empty), string::npos);
}

TEST(client_state, counts_checked_calls_and_checks_its_mutex)
{
    EXPECT_EQ(pthread_mutex_lock(&mutex), 0);
    EXPECT_EQ(pthread_mutex_lock(&mutex), EDEADLK);
    EXPECT_EQ(pthread_mutex_unlock(&mutex), 0);
    const uint32_t before = api_count;
    client_print_running_version(4);
    EXPECT_EQ(client_read_register(nullptr), -1);
    EXPECT_EQ(api_count, before + 1);
}

} // namespace
