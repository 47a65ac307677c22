// Runs of the whole client: what is typed, what is printed, what the library is asked to do. What the client
// says at its start, and its legend, are seen with the real programs.
#include "mock_client/client.h"

#include <csignal>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include "client/fake_kelvane.h"
#include "client/run_child.h"
#include "mock_client/client_traffic.h"
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
    const string &input, std::vector<const char *> arguments = {"mock_client"}, void (*before)() = [] {})
{
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
        the_answer = {"", 0};
        host.write("sys/class/uio/uio0/name", "ZYNQFPGA\n");
        host.write("sys/class/uio/uio0/maps/map0/size", "0x0000000004000000\n");
        host.write("dev/uio0", "");
        std::filesystem::resize_file(host.path + "/dev/uio0", 0x4000000);
    }

    host_folder host;
};

TEST_F(mock_client, reads_words_and_lines_of_any_length_and_content)
{
    const string zeros(100000, '0'), letters(100000, 'z'), nul(1, '\0');
    const string text = run_client(letters + "\nread " + zeros + "1 " + zeros +
                                   "9010\n\n \t\n  help me\nhelp" + nul + "\n" + nul + "help\nread" + nul +
                                   " 1 1\nupgrade 1 /no\nactivate 2 /no\nhelpful 4\nalarms\nquitter\n")
                            .text;
    EXPECT_EQ(text.substr(text.find('?')),
              "?" + refused(letters) + READ + "?LEGEND ?LEGEND ?" + refused("") +
                  ">>> ERROR <<<Device address not found or invalid\n" + BAD_READ +
                  "?>>> Downloading Sirane firmware with /no\n>>> ERROR <<< File /no not found \n"
                  ">>> ERROR <<<Failed to upgrade FPGA \n?>>> ERROR <<<Invalid dev_address?LEGEND ?"
                  // nothing is left of the line before
                  ">>> DEBUG <<< Input buffer: ()\n"
                  ">>> ERROR <<<Invalid input. Enter a valid device number for version check\n?");
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
    const std::tuple<string, int32_t, int, string> cases[] = {
        {"kelvane_init_driver", 64172, 0, "driver()]failed\n"},
        {"kelvane_software_version_comp_check", 110, 0, "comp_check(0)]failed\n>>> DEBUG"},
        {"kelvane_default_initialize", 110, 0, "initialize(0)]failed\nLEGEND ?"},
        {"kelvane_device_create", 5, 0, "[kelvane_pci_mapped(5, 1, base, 0x4000000)]"}, // kept as the handle
        {"kelvane_device_create", -1, 1,
         "[kelvane_device_create(slot 0, client 1, subsystem 0, plug-ins taken, others 0)]failed\n"
         ">>> ERROR <<<Failed to get a device handler for hespera\n"},
        {"kelvane_pci_mapped", 64171, 1, "]failed\n>>> ERROR <<<Failed to enable mmap for device\n"},
        {"", 0, 1, "kelvane_notify_msi...failed\n>>> ERROR <<<Failed to enable interrupts on device\n"},
    };
    for (const auto &[call, result, status, printed] : cases) {
        the_answer = {call.c_str(), result};
        const child_result run =
            run_client("quit\n", {"mock_client"}, status == 0 ? [] {} : let_no_thread_start);
        EXPECT_EQ(run.status, status);
        EXPECT_NE(run.text.find(printed), string::npos) << printed;
        EXPECT_TRUE(run.text.ends_with(status == 0 ? "\nLEGEND ?" : printed)) << run.text;
    }
    host_folder without_a_card;
    const child_result run = run_client("help\n");
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.text.ends_with("\n>>> ERROR <<<Failed to initialize PCIe interaction\n")) << run.text;
}

// Completions come from another thread; on each kind the client goes on with the first one.
TEST_F(mock_client, takes_its_options_and_waits_for_the_callbacks)
{
    const child_result run =
        run_client("init 7\ninit 1\ndeinit\nquit\n",
                   {"mock_client", "-a", "x", "-b", "5", "-t", "5", "-w", "9"}, [] { close(STDERR_FILENO); });
    EXPECT_EQ(run.status, 0);
    for (const string part :
         {"[kelvane_set_traffic_type(0, 0xff0201ff, 18, callback, 2)]"
          "mock_client:set traffic type callback id(2)\n>>> Checking kelvane_set_laser_channel_flex_grid..."
          "[kelvane_set_laser_channel_flex_grid(0, 0xff0200ff, 9, 1)]",
          "[kelvane_set_laser(0, 0xff0201ff, 1, callback, 1)]mock_client:laser config done\n"
          "?>>> Init has been performed. Returning...\n?"}) {
        EXPECT_NE(run.text.find(part), string::npos) << run.text;
    }
    const child_result late =
        run_client("quit\n", {"mock_client"}, [] { atexit([] { coherent_set_laser_cb_fn(0, 0, 0, 0); }); });
    EXPECT_TRUE(late.text.ends_with("?mock_client:laser config done\n")) << late.text;
    const child_result usage = run_client("", {"mock_client", "--help"});
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
    EXPECT_NE(run_client("", {"mock_client"}, [] { close(STDIN_FILENO); }).text.find(empty), string::npos);
}

} // namespace
