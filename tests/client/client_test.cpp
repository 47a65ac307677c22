// Runs of the whole client: what is typed, what is printed, what the library is asked to do.
#include "mock_client/client.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <thread>
#include <unistd.h>

#include "client/fake_kelvane.h"
#include "client/run_child.h"
#include "mock_client/client_device.h"
#include "mock_client/client_traffic.h"
#include "mock_client/device_table.h"

namespace {

using std::string;

constexpr uint64_t BAR_BYTES = 0x4000000;

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
    "init <dev>                      : Initialise the device\n"
    "deinit <dev>                    : To deinit \n"
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
    "devices\n"
    "version <dev>                   : Prints version of the running software/firmware for given device\n"
    "laser_tout <dev>                : Return timeout error for the next set laser operation\n"
    "sirane_reset <dev>              : Resets the Sirane for the given device\n"
    "help                            : Prints this legend\n"
    "quit                            : To exit\n"
    "+++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++\n";
const string PROMPT = ">>> \n>>> Please enter input :";
const string START =
    ">>> DEBUG <<< Initialzing PCIe : Done\n"
    ">>> DEBUG <<< Starting SDK init op sequence... \n"
    ">>> Checking kelvane_init_driver...[kelvane_init_driver()]passed\n"
    ">>> DEBUG <<< Calling hespera_hal_device_init\n"
    ">>> Checking kelvane_device_create...[kelvane_device_create(slot 0, client 1, subsystem 0, callbacks "
    "right)]passed\n"
    ">>> DEBUG <<< Device enable done\n"
    ">>> DEBUG <<< Enabling mmap\n"
    ">>> Checking kelvane_pci_mapped...[kelvane_pci_mapped(0, 1, base, 0x4000000)]passed\n"
    ">>> DEBUG <<< mmap enabled\n"
    ">>> DEBUG <<< Enabling interrupts\n"
    ">>> Checking kelvane_notify_msi...passed\n"
    ">>> DEBUG <<< Enabled interrupts\n"
    ">>> DEBUG <<< Completed SDK init op sequence...\n"
    ">>> Checking kelvane_get_software_running...[kelvane_get_software_running(0, 0xf0ffffff)]passed\n"
    ">>> Running Firmware Version for device (0): (5.16)\n"
    ">>> Checking if SDK is compatible with firmware...\n"
    ">>> Checking kelvane_software_version_comp_check...[kelvane_software_version_comp_check(0)]passed\n"
    ">>> DEBUG <<<  ** Initializing Hardware. Resetting Siranes... **\n"
    ">>> Checking kelvane_default_initialize...[kelvane_default_initialize(0)]passed\n" +
    LEGEND;

const string NO_DEVICE = ">>> ERROR <<<Device address not found or invalid\n";
const string NO_VERSION_DEVICE =
    ">>> ERROR <<<Invalid input. Enter a valid device number for version check\n";
const string BAD_READ =
    ">>> ERROR <<<Invalid input for register read \n>>> ERROR <<<Failed to read register \n";

struct line_case {
    string line;
    string printed;
};

const line_case LEGEND_CASES[] = {
    {"helpless", LEGEND},
    {"\n \t\n  help me", LEGEND},
    {"Help", ">>> ERROR <<<Invalid input <<<< Help >>>> " + LEGEND},
    {"hel", ">>> ERROR <<<Invalid input <<<< hel >>>> " + LEGEND},
    {"100% %s%n", ">>> ERROR <<<Invalid input <<<< 100% %s%n >>>> " + LEGEND},
    {"read 99999999999999999999 9010",
     ">>> ERROR <<<Invalid device address, calculation failed. Enter one of number from : \n" + LEGEND +
         BAD_READ},
};

// Whether the thread blocks before `returned` is set.
bool falls_asleep(pid_t thread, const std::atomic<bool> &returned)
{
    const string status = "/proc/self/task/" + std::to_string(thread) + "/stat";
    while (!returned) {
        string id;
        string name;
        string state;
        std::ifstream(status) >> id >> name >> state;
        if (state == "S") {
            return true;
        }
        sched_yield();
    }
    return false;
}

// Steps that went right, of 4. It waits for the traffic type whatever else completes, and ends with that.
int configure_a_device_without_ports()
{
    std::atomic<pid_t> id = 0;
    std::atomic<bool> returned = false;
    std::thread waiter([&] {
        id = gettid();
        client_init_device(99, 1, 1937000, 1);
        returned = true;
    });
    while (id == 0) {
        sched_yield();
    }
    int right = falls_asleep(id, returned) ? 1 : 0;
    coherent_set_laser_cb_fn(0, 0, 0, 0); // of the other kind: it ends the second wait alone
    right += falls_asleep(id, returned) ? 1 : 0;
    coherent_set_traffic_type_cb_fn(0, 0, 7, 0);
    waiter.join();
    return right + (returned ? 2 : 0);
}

class mock_client : public testing::Test {
  protected:
    mock_client()
    {
        fake_kelvane_start(ALL_SUCCEED);
        host.add_card(BAR_BYTES);
    }
    host_folder host;
};

TEST_F(mock_client, shows_the_legend_where_it_helps)
{
    string lines;
    string expected = START;
    for (const line_case &typed : LEGEND_CASES) {
        lines += typed.line + "\n";
        expected += PROMPT + typed.printed;
    }
    const child_result run = run_client({}, lines + "quitter\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, expected + PROMPT);
}

TEST_F(mock_client, keeps_errors_and_traces_off_standard_output)
{
    fake_kelvane_start({"kelvane_recover_device", 110});
    const child_result run =
        run_client({}, "read 1 9010\nsirane_reset 4\nlaser_tout 1\nexit now\n", streams::apart);
    EXPECT_EQ(run.out.substr(run.out.find(PROMPT)),
              PROMPT +
                  ">>> Checking kelvane_read_register...[kelvane_read_register(0, 0xff00ffff, 0x9010)]"
                  ">>> Value of register 0x00009010 on device 0xff00ffff is 0x0000beef  \n" +
                  PROMPT +
                  ">>> Calling sirane reset for device 4 (0xff01ffff)\n"
                  "[kelvane_recover_device(0, 0xff01ffff)]" +
                  PROMPT +
                  ">>> Calling laser timeout for device 1 (0xff00ffff)\n"
                  ">>> Checking kelvane_diag_command...[kelvane_diag_command(0, 0xff00ffff, 34)]" +
                  PROMPT);
    const string end = "passed\n>>> ERROR <<<Failed to reset the sirane 4, rc=0x6e\npassed\n";
    ASSERT_GE(run.err.size(), end.size());
    EXPECT_EQ(run.err.substr(run.err.size() - end.size()), end);
}

// START with `replaced` printed as `printed` instead.
string start_with(const string &replaced, const string &printed)
{
    string start = START;
    return start.replace(start.find(replaced), replaced.size(), printed);
}

TEST_F(mock_client, goes_on_when_a_lesser_step_of_the_start_fails)
{
    const string verdict = "comp_check(0)]passed\n";
    struct {
        fake_answer answer;
        string printed;
    } const cases[] = {
        {{"kelvane_init_driver", 64172}, start_with("driver()]passed", "driver()]failed")},
        {{"kelvane_software_version_comp_check", 1},
         start_with(verdict, verdict + ">>> SDK And Firmware are compatible\n")},
        {{"kelvane_software_version_comp_check", 2},
         start_with(verdict, verdict + ">>> Warning: SDK not aligned update not needed\n")},
        {{"kelvane_software_version_comp_check", 3},
         start_with(verdict, verdict + ">>> Incompatible: SDK not aligned update needed\n")},
        {{"kelvane_software_version_comp_check", 110}, start_with(verdict, "comp_check(0)]failed\n")},
        {{"kelvane_default_initialize", 110}, start_with("initialize(0)]passed", "initialize(0)]failed")},
    };
    for (const auto &start : cases) {
        SCOPED_TRACE(string(start.answer.call) + " " + std::to_string(start.answer.result));
        fake_kelvane_start(start.answer);
        const child_result run = run_client({}, "quit\n");
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.out, start.printed + PROMPT);
    }
}

int client_main_without_options()
{
    char name[] = "mock_client";
    char *arguments[] = {name, nullptr};
    return client_main(1, arguments);
}

// A stack that no address space holds keeps the thread from starting.
int client_main_without_threads()
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, size_t{1} << 50);
    pthread_setattr_default_np(&attributes);
    return client_main_without_options();
}

TEST_F(mock_client, exits_when_a_step_of_the_start_fails_that_it_needs)
{
    struct {
        fake_answer answer;
        string printed; // from the first word that START shares up to the end
    } const cases[] = {
        {{"kelvane_device_create", -1},
         "right)]failed\n>>> ERROR <<<Failed to get a device handler for hespera\n"},
        {{"kelvane_pci_mapped", 64171}, "0x4000000)]failed\n>>> ERROR <<<Failed to enable mmap for device\n"},
        {ALL_SUCCEED, "kelvane_notify_msi...failed\n>>> ERROR <<<Failed to enable interrupts on device\n"},
    };
    for (const auto &start : cases) {
        SCOPED_TRACE(start.printed);
        fake_kelvane_start(start.answer);
        const child_result run = run_child("quit\n", streams::together, client_main_without_threads);
        EXPECT_EQ(run.status, 1);
        const size_t shared = START.find(start.printed.substr(0, start.printed.find("failed")));
        EXPECT_EQ(run.out, START.substr(0, shared) + start.printed);
    }
}

TEST_F(mock_client, keeps_a_positive_code_of_create_as_its_handle)
{
    fake_kelvane_start({"kelvane_device_create", 5});
    const child_result run = run_client({}, "deinit\nquit\n");
    EXPECT_NE(run.out.find("[kelvane_pci_mapped(5, 1, base, 0x4000000)]"), string::npos);
    EXPECT_NE(run.out.find("[kelvane_device_delete(5)]"), string::npos);
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
    EXPECT_EQ(run.err.rfind("mock_client: invalid option -- 'b'\n", 0), 0u);
    EXPECT_EQ(run.out.substr(run.out.find(PROMPT)),
              PROMPT +
                  ">>> Checking kelvane_set_traffic_type..."
                  "[kelvane_set_traffic_type(0, 0xff0200ff, 18, callback, 2)]"
                  ">>> Checking kelvane_set_traffic_type..."
                  "[kelvane_set_traffic_type(0, 0xff0201ff, 18, callback, 2)]"
                  "mock_client:set traffic type callback id(2)\n"
                  ">>> Checking kelvane_set_laser_channel_flex_grid..."
                  "[kelvane_set_laser_channel_flex_grid(0, 0xff0200ff, 9, 1)]"
                  ">>> Checking kelvane_set_laser_channel_flex_grid..."
                  "[kelvane_set_laser_channel_flex_grid(0, 0xff0200ff, 9, 2)]"
                  ">>> Checking kelvane_set_laser_channel_flex_grid..."
                  "[kelvane_set_laser_channel_flex_grid(0, 0xff0201ff, 9, 1)]"
                  ">>> Checking kelvane_set_laser_channel_flex_grid..."
                  "[kelvane_set_laser_channel_flex_grid(0, 0xff0201ff, 9, 2)]"
                  ">>> Configured rx wavelength : 9 \n"
                  ">>> setting laser for device id 8\n"
                  ">>> Checking kelvane_set_laser...[kelvane_set_laser(0, 0xff0200ff, 1, callback, 1)]"
                  ">>> setting laser for device id 9\n"
                  ">>> Checking kelvane_set_laser...[kelvane_set_laser(0, 0xff0201ff, 1, callback, 1)]"
                  "mock_client:laser config done\n" +
                  PROMPT + ">>> Init has been performed. Returning...\n" + PROMPT +
                  ">>> Checking kelvane_device_delete...[kelvane_device_delete(0)]" + PROMPT);
}

TEST_F(mock_client, shows_its_usage_without_touching_the_card)
{
    const child_result run = run_client({"--help"}, "");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out.find("[kelvane_"), string::npos);
    EXPECT_EQ(run.out.rfind("usage: mock_client [-a any] [-t any] [-w channel]\n", 0), 0u);
    EXPECT_NE(run.out.find(LEGEND), string::npos);
}

TEST_F(mock_client, repeats_the_last_command_at_the_end_of_the_input)
{
    const child_result run = run_client({}, "help\nread 1 9010");
    EXPECT_EQ(run.status, FAKE_KELVANE_EXHAUSTED);
    const string once = PROMPT +
                        ">>> DEBUG <<< Device address : ff00ffff\n"
                        ">>> DEBUG <<< Register address : 00009010\n"
                        ">>> Checking kelvane_read_register...[kelvane_read_register(0, 0xff00ffff, 0x9010)]";
    string expected = START + PROMPT + LEGEND;
    for (int call = 7; call < 1000; call++) { // six were made before the prompt, the last one does not return
        expected += once + "passed\n>>> Value of register 0x00009010 on device 0xff00ffff is 0x0000beef  \n";
    }
    EXPECT_EQ(run.out, expected + once);
}

TEST_F(mock_client, waits_for_completions_of_a_device_without_ports_that_nobody_asked_for)
{
    const child_result run = run_child("", streams::together, configure_a_device_without_ports);
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.out, "mock_client:laser config done\n"
                       "mock_client:set traffic type callback id(7)\n"
                       ">>> Configured rx wavelength : 1937000 \n");
}

TEST_F(mock_client, takes_empty_or_closed_input_for_an_empty_line)
{
    host.write("dev/uio0", "quit\n"); // what is read when the device becomes the standard input
    std::filesystem::resize_file(host.root / "dev/uio0", BAR_BYTES);
    const child_result runs[] = {
        run_child("", streams::together, client_main_without_options),
        run_child("", streams::together, [] { return close(0) + client_main_without_options(); }),
    };
    for (const child_result &run : runs) {
        EXPECT_EQ(run.status, -SIGXFSZ); // it goes on for ever: the limit of the file ended it
        const string once = PROMPT + ">>> ERROR <<<Invalid input <<<<  >>>> " + LEGEND;
        EXPECT_EQ(run.out.substr(0, START.size() + 2 * once.size()), START + once + once);
    }
}

TEST_F(mock_client, reads_lines_of_any_length_and_content)
{
    const string zeros(100000, '0');
    const string letters(100000, 'z');
    const string nul(1, '\0');
    const child_result run = run_client({}, letters + "\nread " + zeros + "1 " + zeros + "9010\nhelp" + nul +
                                                "\nhelp\n" + nul + "help\nread" + nul + " 1 1\nquit\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(
        run.out,
        START + PROMPT + ">>> ERROR <<<Invalid input <<<< " + letters + " >>>> " + LEGEND + PROMPT +
            ">>> DEBUG <<< Device address : ff00ffff\n"
            ">>> DEBUG <<< Register address : 00009010\n"
            ">>> Checking kelvane_read_register...[kelvane_read_register(0, 0xff00ffff, 0x9010)]passed\n"
            ">>> Value of register 0x00009010 on device 0xff00ffff is 0x0000beef  \n" +
            PROMPT + LEGEND + PROMPT + LEGEND + PROMPT + ">>> ERROR <<<Invalid input <<<<  >>>> " + LEGEND +
            PROMPT + NO_DEVICE + BAD_READ + PROMPT);
}

TEST_F(mock_client, finds_no_argument_in_what_an_earlier_line_left)
{
    const child_result run = run_client({}, "helpful 4\nalarms"); // no newline: nothing behind the word
    const string expected =
        START + PROMPT + LEGEND + PROMPT + ">>> DEBUG <<< Input buffer: ()\n" + NO_VERSION_DEVICE + PROMPT;
    EXPECT_EQ(run.out.substr(0, expected.size()), expected);
}

TEST_F(mock_client, activates_no_number_but_those_of_siranes)
{
    const child_result run =
        run_client({}, "upgrade 1 /no/such\nactivate 2 /proc/self/exe\nquit\n", streams::apart);
    const string refusal = ">>> ERROR <<<Invalid dev_address"; // without an end of line
    EXPECT_NE(run.err.find(refusal), string::npos);
    EXPECT_EQ(run.err.find(refusal + "\n"), string::npos);
    EXPECT_EQ(run.err.find("Failed to activate"), string::npos);
}

TEST(client_state, has_an_error_checking_mutex)
{
    EXPECT_EQ(pthread_mutex_lock(&mutex), 0);
    EXPECT_EQ(pthread_mutex_lock(&mutex), EDEADLK);
    EXPECT_EQ(pthread_mutex_unlock(&mutex), 0);
}

TEST(client_state, counts_checked_calls_only)
{
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
