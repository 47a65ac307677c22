/* monitor: prints what a card reports by itself, one line each, until Ctrl-C.
 *
 * It shows how an application embeds kelvane: reach the card, give the library its callbacks, bring the
 * device up, forward interrupts, subscribe. main has the order. A card has one application at a time.
 *
 * The card is the host's UIO device KELVANE_UIO_NAME, or a simulated one:
 *     card_simulator --host ~/card        in one terminal
 *     KELVANE_HOST_ROOT=~/card ./monitor  in another
 */
#define _POSIX_C_SOURCE 200809L

#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <kelvane.h>
#include <platform/host_tree.h>
#include <platform/uio.h>

enum { SIGNAL_SUBSCRIBE_AGAIN = SIGUSR1 };

static struct mmio_mapping bar;
static int card_fd;
static kelvane_handle card;
static atomic_bool interrupts_ended;
static atomic_bool firmware_was_dead;

/* ---- one line for each event ------------------------------------------------------------------------- */

static void print_device(char *out, size_t size, kelvane_device_address address)
{
    if (KELVANE_IS_BOARD(address)) {
        snprintf(out, size, "board");
    } else if (KELVANE_NETWORK_PORT_OF(address) == KELVANE_NO_FIELD) {
        snprintf(out, size, "sirane %u", KELVANE_SIRANE_OF(address));
    } else {
        snprintf(out, size, "sirane %u port %u", KELVANE_SIRANE_OF(address),
                 KELVANE_NETWORK_PORT_OF(address));
    }
}

/* Callbacks come on several threads: a line is composed first and printed by one call. */
__attribute__((format(printf, 3, 4))) static void tell(const char *what, kelvane_device_address address,
                                                       const char *format, ...)
{
    char device[32];
    char values[256];
    char clock[16];
    struct timespec now;
    struct tm local;
    va_list arguments;

    va_start(arguments, format);
    vsnprintf(values, sizeof values, format, arguments);
    va_end(arguments);
    clock_gettime(CLOCK_REALTIME, &now);
    localtime_r(&now.tv_sec, &local);
    strftime(clock, sizeof clock, "%H:%M:%S", &local);
    print_device(device, sizeof device, address);
    printf("%s.%03ld  %-11s  %-15s  %s\n", clock, now.tv_nsec / 1000000, what, device, values);
}

/* ---- what the library calls to reach the card: each access is one 32-bit load or store ---------------- */

static int32_t read_word(kelvane_handle handle, uint32_t bus, uint32_t offset, uint32_t *value,
                         uint32_t alive)
{
    (void)handle, (void)bus, (void)alive;
    *value = mmio_read32(&bar, offset);
    return 0;
}

static int32_t write_word(kelvane_handle handle, uint32_t bus, uint32_t offset, uint32_t value,
                          uint32_t alive)
{
    (void)handle, (void)bus, (void)alive;
    mmio_write32(&bar, offset, value);
    return 0;
}

static int32_t read_block(kelvane_handle handle, uint32_t bus, uint32_t offset, uint32_t words,
                          uint32_t *data, uint32_t alive)
{
    (void)handle, (void)bus, (void)alive;
    for (uint32_t i = 0; i < words; i++) {
        data[i] = mmio_read32(&bar, offset + 4 * i);
    }
    return 0;
}

static int32_t write_block(kelvane_handle handle, uint32_t bus, uint32_t offset, uint32_t words,
                           const uint32_t *data, uint32_t alive)
{
    (void)handle, (void)bus, (void)alive;
    for (uint32_t i = 0; i < words; i++) {
        mmio_write32(&bar, offset + 4 * i, data[i]);
    }
    return 0;
}

/* ---- what the library calls when the card has something to say ----------------------------------------
 *
 * A record is valid during the call only. Plug-in and restart notices come with a mailbox held, and
 * commands fail from there: what has to follow is left to main, by a signal. */

static int32_t on_performance(kelvane_handle handle, kelvane_device_address address,
                              const kelvane_global_pm *pm, uint64_t batch)
{
    (void)handle;
    for (uint32_t port = 0; port < KELVANE_NETWORK_PORTS_PER_SIRANE; port++) {
        const kelvane_sirane_port_pm *line = &pm->sirane_port[port];
        const kelvane_xpm2_port_pm *module = &pm->xpm2_port[port];
        tell("performance", KELVANE_ADDRESS_NETWORK_PORT(KELVANE_SIRANE_OF(address), port),
             "batch %llu: OSNR %.1f dB, pre-FEC BER %.2e, in %.2f dBm, out %.2f dBm, module %d C",
             (unsigned long long)batch, line->rx_osnr_curr / 10.0, (double)line->pre_fec_ber_est_curr,
             module->optical_input_power / 100.0, module->optical_output_power / 100.0,
             module->xpm2_temperature / 256);
    }
    return 0;
}

/* Each word has one bit an alarm: enum kelvane_ntwk_port_alarms_bit and its neighbours in kelvane_records.h;
 * kelvane_alarm_names.h has their names. */
static int32_t on_alarms(kelvane_handle handle, kelvane_device_address address, const global_alarms *alarms,
                         uint64_t value)
{
    (void)handle, (void)value;
    tell("alarms", address, "host %x %x %x %x, network %x %x, module %x %x, generic %x", alarms->host[0],
         alarms->host[1], alarms->host[2], alarms->host[3], alarms->ntwk_port[0], alarms->ntwk_port[1],
         alarms->xpm2[0], alarms->xpm2[1], alarms->generic);
    return 0;
}

static int32_t on_plugin(kelvane_handle handle, kelvane_device_address address, uint32_t plugged)
{
    (void)handle;
    tell("plug-in", address, "module state %u", plugged);
    return 0;
}

/* Firmware that has restarted has forgotten its subscribers; a warm restart is announced, and done later. */
static int32_t on_restart(kelvane_handle handle, uint32_t restart)
{
    static const char *const names[] = {"undefined", "warm", "warm, failed", "cold", "warm, done"};

    (void)handle;
    tell("restart", KELVANE_ADDRESS_BOARD, "%u (%s)", restart,
         restart < sizeof names / sizeof names[0] ? names[restart] : "unknown");
    if (restart != KELVANE_APP_ZYNQ_RESTART_WARM) {
        kill(getpid(), SIGNAL_SUBSCRIBE_AGAIN);
    }
    return 0;
}

static int32_t on_keep_alive(kelvane_handle handle, int32_t deque_status, uint32_t status)
{
    (void)handle, (void)deque_status;
    tell("keep-alive", KELVANE_ADDRESS_BOARD, "the firmware %s",
         status == KELVANE_ALIVE ? "is alive" : "does not answer");
    if (status != KELVANE_ALIVE) {
        atomic_store(&firmware_was_dead, true);
    } else if (atomic_exchange(&firmware_was_dead, false)) {
        kill(getpid(), SIGNAL_SUBSCRIBE_AGAIN);
    }
    return 0;
}

static int32_t on_generic(kelvane_handle handle, kelvane_device_address address, uint32_t value)
{
    (void)handle;
    tell("generic", address, "%s (%u)",
         value == KELVANE_GENERIC_CB_VAL_SEU_PL_UNCORRECTABLE ? "uncorrectable upset" : "unknown", value);
    return 0;
}

/* ---- bringing it up -----------------------------------------------------------------------------------
 *
 * The steps return 0, or -1 once they have said what is wrong. */

static int complain(const char *step, const char *reason)
{
    fprintf(stderr, "monitor: %s: %s\n", step, reason);
    return -1;
}

static int check(const char *operation, int32_t rc)
{
    if (rc == KELVANE_EOK) {
        return 0;
    }
    const char *name = kelvane_rc_to_string(rc); /* padded for the columns of a log */
    name += strspn(name, " ");
    fprintf(stderr, "monitor: %s: %.*s (0x%x)\n", operation, (int)strcspn(name, " "), name, (unsigned)rc);
    return -1;
}

/* Finds, opens and maps the card, to the end of the process: the library's threads go on using it. */
static int reach_card(void)
{
    char node[32];
    struct uio_info *info = uio_find_devices_by_name(KELVANE_UIO_NAME);

    if (info == NULL) {
        fprintf(stderr, "monitor: no UIO device " KELVANE_UIO_NAME " below %s/sys/class/uio: %s\n",
                host_tree_root(), strerror(errno));
        return -1;
    }
    int error = uio_get_all_info(info);
    uint64_t bytes = info->maps[0].size;
    snprintf(node, sizeof node, "/dev/uio%d", info->number);
    uio_free(info);
    if (error != 0) {
        return complain("the card's description in sysfs", strerror(error));
    }
    card_fd = uio_open(node);
    if (card_fd < 0) {
        return complain(node, strerror(errno));
    }
    error = uio_map(card_fd, bytes, &bar);
    if (error == EBUSY) {
        fprintf(stderr, "monitor: process %d has the card\n", (int)uio_owner(card_fd));
        return -1;
    }
    return error == 0 ? 0 : complain("mapping the card", strerror(error));
}

static int make_device(void)
{
    kelvane_init_device_t device = {
        .client_type = 1, /* Ethernet on the host ports */
        .notify_plugin_cb = on_plugin,
        .pci_read_cb = read_word,
        .pci_write_cb = write_word,
        .pci_read_block_cb = read_block,
        .pci_write_block_cb = write_block,
        .app_zynq_restart_notify_cb = on_restart,
        .generic_cb = on_generic,
    };

    int32_t rc = kelvane_init_driver();
    putchar('\n'); /* ends the line in which the library says that it has no log file */
    if (check("kelvane_init_driver", rc) != 0) {
        return -1;
    }
    rc = kelvane_device_create(device);
    if (rc != 0) { /* otherwise it is the handle, 0 */
        return rc < 0 ? complain("kelvane_device_create", "no device") : check("kelvane_device_create", rc);
    }
    return 0;
}

static void *forward_interrupts(void *unused)
{
    uint32_t count;

    while (uio_wait_interrupt(card_fd, &bar, &count) == (long)sizeof count) {
        kelvane_notify_msi(card);
    }
    complain("interrupts", "the card is gone");
    atomic_store(&interrupts_ended, true);
    kill(getpid(), SIGTERM);
    return unused;
}

static int start_interrupt_thread(void)
{
    pthread_t thread;
    int error = pthread_create(&thread, NULL, forward_interrupts, NULL);

    if (error != 0) {
        return complain("interrupt thread", strerror(error));
    }
    pthread_detach(thread); /* it ends with the process, as the library's threads do */
    return 0;
}

static int subscribe_reports(uint32_t enable)
{
    int result = 0;

    for (uint32_t sirane = 0; sirane < KELVANE_SIRANE_COUNT; sirane++) {
        kelvane_device_address address = KELVANE_ADDRESS_SIRANE(sirane);
        result |= check("kelvane_enable_pm_notify",
                        kelvane_enable_pm_notify(card, address, enable, on_performance));
        result |= check("kelvane_enable_alarms_notify",
                        kelvane_enable_alarms_notify(card, address, enable, on_alarms));
    }
    return result;
}

/* Keep-alive is last because it closes the access to the card until the firmware has answered, some seconds
 * later. Plug-in, restart and generic events need no subscription. */
static int subscribe(void)
{
    int result = subscribe_reports(1);

    return result | check("kelvane_enable_keep_alive_notify",
                          kelvane_enable_keep_alive_notify(card, 1, on_keep_alive));
}

/* The first accesses to the card. kelvane_default_initialize would follow in an application that owns the
 * card: it resets the siranes, and a monitor disturbs no traffic. */
static int link_up(void)
{
    if (check("kelvane_pci_mapped", kelvane_pci_mapped(card, 1, (uintptr_t)bar.base, bar.size_bytes)) != 0) {
        return -1;
    }
    return check("kelvane_enable_msi", kelvane_enable_msi(card, 1));
}

/* Ends what was asked for. Firmware that is known to be dead is not told: it would take minutes. */
static void say_goodbye(void)
{
    uint32_t watched;
    uint32_t status;

    kelvane_get_keep_alive_status(card, &watched, &status);
    if (status != KELVANE_NOT_ALIVE) {
        check("kelvane_enable_keep_alive_notify", kelvane_enable_keep_alive_notify(card, 0, NULL));
        subscribe_reports(0);
    }
    check("kelvane_device_delete", kelvane_device_delete(card));
}

int main(void)
{
    sigset_t ending;
    sigset_t signals;
    int number;

    setvbuf(stdout, NULL, _IOLBF, 0); /* a line is out as soon as it is printed, even into a pipe */

    /* Every thread inherits that these are blocked, so that they stay main's alone. */
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    signals = ending;
    sigaddset(&signals, SIGNAL_SUBSCRIBE_AGAIN);
    pthread_sigmask(SIG_BLOCK, &signals, NULL);
    if (reach_card() != 0 || make_device() != 0 || start_interrupt_thread() != 0) {
        return 1;
    }

    /* With silent firmware this takes minutes, and Ctrl-C ends it at once. */
    pthread_sigmask(SIG_UNBLOCK, &ending, NULL);
    if (link_up() != 0 || subscribe() != 0) {
        return 1;
    }
    pthread_sigmask(SIG_BLOCK, &ending, NULL);
    tell("monitor", KELVANE_ADDRESS_BOARD, "up and watching; Ctrl-C ends");

    while (sigwait(&signals, &number) == 0 && number == SIGNAL_SUBSCRIBE_AGAIN) {
        subscribe(); /* what fails now is tried again when the firmware is back */
    }
    if (atomic_load(&interrupts_ended)) {
        return 1;
    }
    alarm(5); /* firmware that falls silent now does not keep us longer */
    say_goodbye();
    return 0;
}
