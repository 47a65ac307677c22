#include "mock_client/legend.h"

#include <cstdio>

namespace {

constexpr const char *LINES[] = {
    "+++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++",
    " Devices address are represented by numbers :",
    " ------------------------------------------ :",
    " [HESPERA -> 0]",
    " [SIRANE(0) -> 1] : [ XPM2(0) -> 2], [ XPM2(1) -> 3 ]",
    " [SIRANE(1) -> 4] : [ XPM2(2) -> 5], [ XPM2(3) -> 6 ]",
    " [SIRANE(2) -> 7] : [ XPM2(4) -> 8], [ XPM2(5) -> 9 ]",
    " ------------------------------------------ :",
    "Replace <dev> with one of numbers from the above table representing each device",
    "init <dev>                      : Initialise the device",
    "deinit <dev>                    : To deinit ",
    "upgrade <dev> <path of FPGA>    : Upgrade hespera FPGA",
    "upgrade 10 <path of FPGA>       : Golden hespera FPGA",
    "activate <dev>  <path of FPGA>  : Golden hespera FPGA",
    "read <dev> <register address>   : Read register",
    "write <dev> <reg address> <val> : Write value to register",
    "dump_arm_logs                   : Dumps ARM Logs to /root/ordune.log",
    "dump_status_info                : Dumps Subsystem State Registers",
    "pm <dev>                        : For a XPM2 port; Prints Sirane subsystem PM statistics.",
    "                                : Pre-condition is traffic must have been previously configured",
    ("alarms <dev>                    : Prints Alarm indications for sirane network side, generic and XPM2 "
     "devices"),
    "version <dev>                   : Prints version of the running software/firmware for given device",
    "laser_tout <dev>                : Return timeout error for the next set laser operation",
    "sirane_reset <dev>              : Resets the Sirane for the given device",
    "help                            : Prints this legend",
    "quit                            : To exit",
    "+++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++",
};

} // namespace

void client_print_legend()
{
    for (const char *line : LINES) {
        puts(line);
    }
}
