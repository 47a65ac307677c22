#include "mock_client/client_alarms.h"

#include <span>

#include "kelvane.h"
#include "mock_client/api_check.h"
#include "mock_client/client.h"
#include "mock_client/console.h"
#include "mock_client/device_table.h"

namespace {

struct alarm_line {
    uint32_t bit;
    const char *label;
};

struct alarm_report {
    const char *name; // on the check line
    int32_t (*read)(kelvane_handle handle, kelvane_device_address device_address, uint32_t *alarms);
    const char *failure;
    std::span<const alarm_line> lines;
};

constexpr alarm_line NETWORK_LINES[] = {
    {13, "RX Network LOF (Loss of Frame)                     : "},
    {12, "RX Network OOF (Out  of _____)                     : "},
    {11, "RX Network LOM (Loss of _____)                     : "},
    {10, "RX Network OOM (Out  of _____)                     : "},
    {9, "RX Network BDI (Backward Defect Indication)        : "},
    {8, "RX Network LOCH (Loss of Channel)                  : "},
    {7, "RX Network Wave LOL (Loss of Lock)                 : "},
    {6, "RX Network BER (_____________)                     : "},
    {5, "RX Network HW FLT (Hardware Fault)                 : "},
    {4, "TX Network LOL (Loss of Lock)                      : "},
    {3, "TX Network (Out of Align)                          : "},
    {2, "RX Network LOL (Loss of Lock)                      : "},
    {1, "RX Network LOA (Loss of Align)                     : "},
    {0, "RX Network OOA (Out of Align)                      : "},
};

constexpr alarm_line GENERIC_LINES[] = {
    {31, "Generic Sirane Summary Alarm        : "}, {30, "Generic Hespera Summary Alarm       : "},
    {3, "Generic Hespera Hardware Fault      : "},  {2, "Generic Hespera Temperature Alarm   : "},
    {1, "Generic Sirane Temperature Alarm    : "},  {0, "Generic Sirane Image Corrupt Alarm  : "},
};

constexpr alarm_line XPM2_LINES[] = {
    {31, "XPM2 Summary Alarm                           : "},
    {13, "XPM2 TX Network Wave Out Of Range Alarm      : "},
    {12, "XPM2 RX Network Wave Out Of Range Alarm      : "},
    {11, "XPM2 Tx Network Power Out of Range Alarm     : "},
    {10, "XPM2 Tx Network Laser EOL Alarm              : "},
    {9, "XPM2 Tx Network Laser Temperature Alarm      : "},
    {8, "XPM2 Rx Network Signal Overload Alarm        : "},
    {7, "XPM2 Rx Network Power Overload Alarm         : "},
    {6, "XPM2 Rx Network Power Alarm                  : "},
    {5, "XPM2 Rx Network Loss of Optical Signal Alarm : "},
    {4, "XPM2 Temperature Alarm                       : "},
    {3, "XPM2 External Power Supply Alarm             : "},
    {2, "XPM2 Internal Power Supply Alarm             : "},
    {1, "XPM2 Image Corrupt Alarm                     : "},
    {0, "XPM2 Hardware Fault Alarm                    : "},
};

constexpr alarm_report NETWORK_REPORT = {"kelvane_get_nwtk_port_alarms", kelvane_get_nwtk_port_alarms,
                                         "Unable to get network port alarms", NETWORK_LINES};
constexpr alarm_report GENERIC_REPORT = {"kelvane_get_generic_alarms", kelvane_get_generic_alarms,
                                         "Unable to get network port alarms", GENERIC_LINES};
constexpr alarm_report XPM2_REPORT = {"kelvane_get_xpm2_alarms", kelvane_get_generic_alarms,
                                      "Unable to get network port XPM2 alarms", XPM2_LINES};

uint32_t print_report(const alarm_report &report, int32_t device)
{
    uint32_t alarms = 0;
    if (client_api_check(report.name, report.read, client_handle(), address_of_device(device), &alarms) !=
        0) {
        console_error("%s", report.failure);
    }
    console_line("Below attributes are bit Values. 1 indicates present; 0 indicates absent");
    for (const alarm_line &line : report.lines) {
        console_line("%s%d", line.label, (alarms >> line.bit) & 1);
    }
    return alarms;
}

} // namespace

uint32_t client_print_network_alarms(int32_t device)
{
    return print_report(NETWORK_REPORT, device);
}

uint32_t client_print_generic_alarms(int32_t device)
{
    return print_report(GENERIC_REPORT, device);
}

uint32_t client_print_xpm2_alarms(int32_t device)
{
    return print_report(XPM2_REPORT, device);
}
