// Runs of the whole client: what is typed, what is printed, what the library is asked to do.
#include "mock_client/client.h"

#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include "client/fake_kelvane.h"
#include "client/run_child.h"
#include "mock_client/client_device.h"
#include "mock_client/device_table.h"

namespace {

using std::string;

const string LEGEND =
    "+++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++\n"
    " Devices address are represented by numbers :\n"
    " ------------------------------------------ :\n"
    " [HESPERA -> 0]\n"
    " [SIRANE(0) -> 1] : [ XPM2(0) -> 2], [ XPM2(1) -> 3 ]\n"
    " [SIRANE(1) -> 4] : [ XPM2(2) -> 5], [ XPM2(3) -> 6 ]\n"
    " [SIRANE(2) -> 7] : [ XPM2(4) -> 8], [ XPM2(5) -> 9 ]\n"
    " ------------------------------------------ :\n"
    "Replace <dev> with one of numbers from the above table representing each device\n"
    "init <dev>                      : Initialise the device\ndeinit <dev>                    : To deinit \n"
    "upgrade <dev> <path of FPGA>    : Upgrade hespera FPGA\n"
    "upgrade 10 <path of FPGA>       : Golden hespera FPGA\n"
    "activate <dev>  <path of FPGA>  : Golden hespera FPGA\n"
    "read <dev> <register address>   : Read register\n"
    "write <dev> <reg address> <val> : Write value to register\n"
    "dump_arm_logs                   : Dumps ARM Logs to /root/ordune.log\n"
    "dump_status_info                : Dumps Subsystem State Registers\n"
    "pm <dev>                        : For a XPM2 port; Prints Sirane subsystem PM statistics.\n"
    "                                : Pre-condition is traffic must have been previously configured\n"
    "alarms <dev>                    : Prints Alarm indications for sirane network side, generic and XPM2 "
    "devices\nversion <dev>                   : Prints version of the running software/firmware for given "
    "device\nlaser_tout <dev>                : Return timeout error for the next set laser operation\n"
    "sirane_reset <dev>              : Resets the Sirane for the given device\n"
    "help                            : Prints this legend\nquit                            : To exit\n"
    "+++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++\n";
const string PROMPT = ">>> \n>>> Please enter input :";
const string START =
    ">>> DEBUG <<< Initialzing PCIe : Done\n>>> DEBUG <<< Starting SDK init op sequence... \n"
    ">>> Checking kelvane_init_driver...[kelvane_init_driver()]passed\n"
    ">>> DEBUG <<< Calling hespera_hal_device_init\n"
    ">>> Checking kelvane_device_create...[kelvane_device_create(slot 0, client 1, subsystem 0, callbacks "
    "right)]passed\n>>> DEBUG <<< Device enable done\n>>> DEBUG <<< Enabling mmap\n"
    ">>> Checking kelvane_pci_mapped...[kelvane_pci_mapped(0, 1, base, 0x4000000)]passed\n"
    ">>> DEBUG <<< mmap enabled\n>>> DEBUG <<< Enabling interrupts\n"
    ">>> Checking kelvane_notify_msi...passed\n>>> DEBUG <<< Enabled interrupts\n"
    ">>> DEBUG <<< Completed SDK init op sequence...\n"
    ">>> Checking kelvane_get_software_running...[kelvane_get_software_running(0, 0xf0ffffff)]passed\n"
    ">>> Running Firmware Version for device (0): (5.16)\n"
    ">>> Checking if SDK is compatible with firmware...\n"
    ">>> Checking kelvane_software_version_comp_check...[kelvane_software_version_comp_check(0)]passed\n"
    ">>> DEBUG <<<  ** Initializing Hardware. Resetting Siranes... **\n"
    ">>> Checking kelvane_default_initialize...[kelvane_default_initialize(0)]passed\n" +
    LEGEND;
const string READ = ">>> DEBUG <<< Device address : ff00ffff\n>>> DEBUG <<< Register address : 00009010\n"
                    ">>> Checking kelvane_read_register...[kelvane_read_register(0, 0xff00ffff, 0x9010)]";
const string READ_VALUE = "passed\n>>> Value of register 0x00009010 on device 0xff00ffff is 0x0000beef  \n";
const string BAD_READ =
    ">>> ERROR <<<Invalid input for register read \n>>> ERROR <<<Failed to read register \n";

string refused(const string &line)
{
    return ">>> ERROR <<<Invalid input <<<< " + line + " >>>> " + LEGEND;
}

// START with `replaced` printed as `printed` instead.
string start_with(const string &replaced, const string &printed)
{
    string start = START;
    return start.replace(start.find(replaced), replaced.size(), printed);
}

int client_main_without_options()
{
    char name[] = "mock_client";
    char *arguments[] = {name, nullptr};
    return client_main(1, arguments);
}

class mock_client : public testing::Test {
  protected:
    mock_client()
    {
        fake_kelvane_start(ALL_SUCCEED);
        host.add_card(0x4000000);
    }
    host_folder host;
};

TEST_F(mock_client, refuses_words_that_are_too_short)
{
    string lines;
    string expected = START;
    for (const string word :
         {"hel", "alarm", "versio", "p", "dump_arm_log", "dump_status_inf", "writ", "rea", "upgrad",
          "activat", "qui", "exi", "ge", "ini", "deini", "laser_tou", "sirane_rese", "Help", "100% %s%n"}) {
        lines += word + "\n";
        expected += PROMPT + refused(word);
    }
    const string dark = "read 99999999999999999999 9010\n";
    const child_result run = run_client({}, lines + "helpless\n\n \t\n  help me\n" + dark + "quitter\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out,
              expected + PROMPT + LEGEND + PROMPT + LEGEND + PROMPT +
                  ">>> ERROR <<<Invalid device address, calculation failed. Enter one of number from : \n" +
                  LEGEND + BAD_READ + PROMPT);
}

TEST_F(mock_client, keeps_errors_and_traces_off_standard_output)
{
    fake_kelvane_start({"kelvane_recover_device", 110});
    const child_result run = run_client({}, "read 1 9010\nsirane_reset 4\nexit now\n", streams::apart);
    EXPECT_EQ(
        run.out.substr(run.out.find(PROMPT)),
        PROMPT + READ.substr(READ.find(">>> Checking")) + READ_VALUE.substr(7) + PROMPT +
            ">>> Calling sirane reset for device 4 (0xff01ffff)\n[kelvane_recover_device(0, 0xff01ffff)]" +
            PROMPT);
    EXPECT_TRUE(run.err.ends_with("passed\n>>> ERROR <<<Failed to reset the sirane 4, rc=0x6e\n")) << run.err;
}

TEST_F(mock_client, goes_on_when_a_lesser_step_of_the_start_fails)
{
    const char *verdict = "kelvane_software_version_comp_check";
    const string end = "comp_check(0)]passed\n";
    const std::pair<fake_answer, string> cases[] = {
        {{"kelvane_init_driver", 64172}, start_with("driver()]passed", "driver()]failed")},
        {{verdict, 1}, start_with(end, end + ">>> SDK And Firmware are compatible\n")},
        {{verdict, 2}, start_with(end, end + ">>> Warning: SDK not aligned update not needed\n")},
        {{verdict, 3}, start_with(end, end + ">>> Incompatible: SDK not aligned update needed\n")},
        {{verdict, 110}, start_with(end, "comp_check(0)]failed\n")},
        {{"kelvane_default_initialize", 110}, start_with("initialize(0)]passed", "initialize(0)]failed")},
    };
    for (const auto &[answer, printed] : cases) {
        fake_kelvane_start(answer);
        EXPECT_EQ(run_client({}, "quit\n").out, printed + PROMPT) << answer.call << " " << answer.result;
    }
    fake_kelvane_start({"kelvane_device_create", 5}); // a positive code is kept as the handle
    const child_result run = run_client({}, "deinit\nquit\n");
    EXPECT_NE(run.out.find("[kelvane_pci_mapped(5, 1, base, 0x4000000)]"), string::npos);
    EXPECT_NE(run.out.find("[kelvane_device_delete(5)]"), string::npos);
}

TEST_F(mock_client, exits_when_a_step_of_the_start_fails_that_it_needs)
{
    const std::pair<fake_answer, string> cases[] = {
        // from the first word that START shares up to the end
        {{"kelvane_device_create", -1},
         "right)]failed\n>>> ERROR <<<Failed to get a device handler for hespera\n"},
        {{"kelvane_pci_mapped", 64171}, "0x4000000)]failed\n>>> ERROR <<<Failed to enable mmap for device\n"},
        {ALL_SUCCEED, "kelvane_notify_msi...failed\n>>> ERROR <<<Failed to enable interrupts on device\n"},
    };
    for (const auto &[answer, printed] : cases) {
        fake_kelvane_start(answer);
        const child_result run = run_child("quit\n", streams::together, [] {
            pthread_attr_t attributes; // no address space holds such a stack: no thread starts
            pthread_attr_init(&attributes);
            pthread_attr_setstacksize(&attributes, size_t{1} << 50);
            pthread_setattr_default_np(&attributes);
            return client_main_without_options();
        });
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.out, START.substr(0, START.find(printed.substr(0, printed.find("failed")))) + printed);
    }
    host_folder without_a_card;
    const child_result run = run_client({}, "help\n", streams::apart);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_TRUE(run.err.ends_with("\n>>> ERROR <<<Failed to initialize PCIe interaction\n")) << run.err;
}

TEST_F(mock_client, ends_at_once_with_the_code_of_a_failed_laser_tout)
{
    fake_kelvane_start({"kelvane_diag_command", 64174});
    const child_result run = run_client({}, "laser_tout 4 x\nhelp\nquit\n");
    EXPECT_EQ(run.status, 64174 % 256);
    EXPECT_EQ(run.out,
              START + PROMPT +
                  ">>> Calling laser timeout for device 4 (0xff01ffff)\n"
                  ">>> Checking kelvane_diag_command...[kelvane_diag_command(0, 0xff01ffff, 34)]failed\n"
                  "Diag command (laser timeout err) failed\n - rc = 64174\n");
}

// Completions come from another thread; on each kind the client goes on with the first one.
TEST_F(mock_client, takes_its_options_and_waits_for_the_callbacks)
{
    const child_result run = run_client({"-a", "x", "-b", "5", "-t", "5", "-w", "9"},
                                        "init 7\ninit 1\ndeinit\nquit\n", streams::apart);
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.err.starts_with("mock_client: invalid option -- 'b'\n")) << run.err;
    const string type = ">>> Checking kelvane_set_traffic_type...[kelvane_set_traffic_type(0, 0xff020";
    const string grid =
        ">>> Checking kelvane_set_laser_channel_flex_grid...[kelvane_set_laser_channel_flex_grid(0, 0xff020";
    const string laser = ">>> Checking kelvane_set_laser...[kelvane_set_laser(0, 0xff020";
    EXPECT_EQ(run.out.substr(run.out.find(PROMPT)),
              PROMPT + type + "0ff, 18, callback, 2)]" + type + "1ff, 18, callback, 2)]" +
                  "mock_client:set traffic type callback id(2)\n" + grid + "0ff, 9, 1)]" + grid +
                  "0ff, 9, 2)]" + grid + "1ff, 9, 1)]" + grid +
                  "1ff, 9, 2)]>>> Configured rx wavelength : 9 \n" + ">>> setting laser for device id 8\n" +
                  laser + "0ff, 1, callback, 1)]" + ">>> setting laser for device id 9\n" + laser +
                  "1ff, 1, callback, 1)]" + "mock_client:laser config done\n" + PROMPT +
                  ">>> Init has been performed. Returning...\n" + PROMPT +
                  ">>> Checking kelvane_device_delete...[kelvane_device_delete(0)]" + PROMPT);
    const child_result usage = run_client({"--help"}, "");
    EXPECT_EQ(usage.status, 0);
    EXPECT_EQ(usage.out.find("[kelvane_"), string::npos);
    EXPECT_TRUE(usage.out.starts_with("usage: mock_client [-a any] [-t any] [-w channel]\n"));
    EXPECT_TRUE(usage.out.ends_with(LEGEND));
}

TEST_F(mock_client, repeats_the_last_command_at_the_end_of_the_input)
{
    const child_result run = run_client({}, "help\nread 1 9010");
    EXPECT_EQ(run.status, FAKE_KELVANE_EXHAUSTED);
    string expected = START + PROMPT + LEGEND;
    for (int call = 7; call < 1000; call++) { // six were made before the prompt, the last one does not return
        expected += PROMPT + READ + READ_VALUE;
    }
    EXPECT_EQ(run.out, expected + PROMPT + READ);
    for (const bool closed : {false, true}) { // empty or closed input is an empty line, for ever
        const child_result empty = run_child("", streams::together, [closed] {
            return (closed ? close(0) : 0) + client_main_without_options();
        });
        EXPECT_EQ(empty.status, -SIGXFSZ); // the limit of the file ended it
        EXPECT_TRUE(empty.out.starts_with(START + PROMPT + refused("") + PROMPT + refused("")));
    }
}

TEST_F(mock_client, reads_lines_of_any_length_and_content)
{
    const string zeros(100000, '0');
    const string letters(100000, 'z');
    const string nul(1, '\0');
    const child_result run =
        run_client({}, letters + "\nread " + zeros + "1 " + zeros + "9010\nhelp" + nul + "\nhelp\n" + nul +
                           "help\nread" + nul + " 1 1\nhelpful 4\nquit\n");
    EXPECT_EQ(run.out, START + PROMPT + refused(letters) + PROMPT + READ + READ_VALUE + PROMPT + LEGEND +
                           PROMPT + LEGEND + PROMPT + refused("") + PROMPT +
                           ">>> ERROR <<<Device address not found or invalid\n" + BAD_READ + PROMPT + LEGEND +
                           PROMPT);
    const child_result short_one = run_client({}, "helpful 4\nalarms"); // nothing is left of the line before
    EXPECT_TRUE(short_one.out.starts_with(
        START + PROMPT + LEGEND + PROMPT +
        ">>> DEBUG <<< Input buffer: ()\n>>> ERROR <<<Invalid input. Enter a valid "));
}

TEST_F(mock_client, activates_no_number_but_those_of_siranes)
{
    const child_result run =
        run_client({}, "upgrade 1 /no/such\nactivate 2 /proc/self/exe\nquit\n", streams::apart);
    EXPECT_TRUE(run.err.ends_with("FPGA \n>>> ERROR <<<Invalid dev_address"))
        << run.err; // without an end of line
}

TEST(client_state, counts_checked_calls_and_checks_its_mutex)
{
    EXPECT_EQ(pthread_mutex_lock(&mutex), 0);
    EXPECT_EQ(pthread_mutex_lock(&mutex), EDEADLK);
    EXPECT_EQ(pthread_mutex_unlock(&mutex), 0);
    const uint32_t before = api_count;
    EXPECT_EQ(client_read_register(nullptr), -1);
    EXPECT_EQ(api_count, before);
    client_print_running_version(4);
    EXPECT_EQ(api_count, before + 1);
}

TEST(device_table, names_the_devices_of_the_card)
{
    const uint32_t addresses[] = {0xF0FFFFFF, 0xFF00FFFF, 0xFF0000FF, 0xFF0001FF, 0xFF01FFFF, 0xFF0100FF,
                                  0xFF0101FF, 0xFF02FFFF, 0xFF0200FF, 0xFF0201FF, 0xF0FFFFFF, 0xFFFFFFFF};
    for (uint32_t device = 0; device < 12; device++) {
        EXPECT_EQ(client_dev_to_address(device), addresses[device]) << device;
    }
    EXPECT_EQ(client_dev_to_address(0xFFFFFFFF), 0xFFFFFFFFu);
}

} // namespace
