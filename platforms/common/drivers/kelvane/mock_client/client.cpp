#include "mock_client/client.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "kelvane.h"
#include "mock_client/api_check.h"
#include "mock_client/client_device.h"
#include "mock_client/coh_hal.h"
#include "mock_client/commands.h"
#include "mock_client/console.h"
#include "mock_client/legend.h"
#include "mock_client/prompt.h"
#include "platform/host_tree.h"

int32_t handler;
uint32_t init_complete;
uint32_t laser_done;
uint32_t traffic_done;
uint32_t sirane_downloaded;
uint32_t api_count;
pthread_mutex_t mutex = PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP;
pthread_cond_t cond = PTHREAD_COND_INITIALIZER;

namespace {

constexpr int32_t DEFAULT_LASER_CHANNEL = 1937000;

void print_usage()
{
    printf("usage: mock_client [-a any] [-t any] [-w channel]\n"
           "\n"
           "  -a any      set traffic types and lasers asynchronously and wait for their completion\n"
           "  -t any      accepted and ignored\n"
           "  -w channel  laser channel that init, pm and alarms configure (%d)\n"
           "\n"
           "The card is found as a UIO device; with %s set to the folder of a\n"
           "simulated card, that one is used. Commands are read from standard input:\n"
           "\n",
           DEFAULT_LASER_CHANNEL, HOST_TREE_VARIABLE);
    client_print_legend();
}

client_options read_options(int argc, char **argv)
{
    client_options options = {false, DEFAULT_LASER_CHANNEL,
                              KELVANE_TRAFFIC_TYPE_100GE_CLIENT_200G_16QAM_FEC25_DIFF};
    int letter = 0;
    while ((letter = getopt(argc, argv, "a:t:w:")) != -1) {
        if (letter == 'a') {
            options.asynchronous = true;
        } else if (letter == 'w') {
            options.laser_channel = static_cast<int32_t>(strtol(optarg, nullptr, 10));
        }
    }
    return options;
}

// The order is the library's: driver, device, access to the card, interrupts. False when the client
// cannot go on; `result` is that of getting the device.
bool bring_up(int32_t &result)
{
    if (coh_hal_pci_init() != 0) {
        console_error("Failed to initialize PCIe interaction");
        return false;
    }
    console_debug("Initialzing PCIe : Done");

    console_debug("Starting SDK init op sequence... ");
    client_api_check("kelvane_init_driver", kelvane_init_driver);

    console_debug("Calling hespera_hal_device_init");
    result = hespera_hal_device_init();
    if (result != 0) {
        console_error("Failed to get a device handler for hespera");
        return false;
    }
    console_debug("Device enable done");

    console_debug("Enabling mmap");
    if (client_api_check("kelvane_pci_mapped", coh_hal_mmap_enable, handler) != 0) {
        console_error("Failed to enable mmap for device");
        return false;
    }
    console_debug("mmap enabled");

    console_debug("Enabling interrupts");
    if (client_api_check("kelvane_notify_msi", coh_hal_interrupt_enable, handler, 0) != 0) {
        console_error("Failed to enable interrupts on device");
        return false;
    }
    console_debug("Enabled interrupts");
    console_debug("Completed SDK init op sequence...");
    return true;
}

void initialize_hardware()
{
    client_print_running_version(0);
    client_check_compatibility();
    console_debug(" ** Initializing Hardware. Resetting Siranes... **");
    client_api_check("kelvane_default_initialize", kelvane_default_initialize, client_handle());
}

command_outcome serve_prompt(const client_options &options, int32_t &result)
{
    prompt operator_prompt;
    command_outcome outcome = command_outcome::go_on;
    while (outcome == command_outcome::go_on) {
        outcome = command_run(prompt_read(operator_prompt), options, result);
    }
    prompt_free(operator_prompt);
    return outcome;
}

} // namespace

int client_main(int argc, char **argv)
{
    console_start();
    if (argc == 2 && strcmp(argv[1], "--help") == 0) {
        print_usage();
        return 0;
    }
    const client_options options = read_options(argc, argv);
    init_complete = 0;

    int32_t result = 0;
    if (!bring_up(result)) {
        return 1;
    }
    initialize_hardware();
    client_print_legend();
    if (serve_prompt(options, result) == command_outcome::quit) {
        // The library's threads, the device and the map end with the process.
        pthread_cond_destroy(&cond);
        pthread_mutex_destroy(&mutex);
        coh_hal_interrupt_disable(handler, 0);
    }
    return result;
}
