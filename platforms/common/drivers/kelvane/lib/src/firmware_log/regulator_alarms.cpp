#include "core/pci.h"
#include "core/trace/trace.h"
#include "firmware_log/eprom_trace.h"
#include "firmware_log/log_file.h"
#include "kelvane_bar.h"

namespace {

constexpr uint32_t ENTRY_UNUSED_WORD = 4; // read like its neighbour, but not used

struct regulator {
    uint32_t bit;
    const char *name;
};

constexpr regulator REGULATORS[] = {
    {1, " SIRANE_P2P8_DCDC   "},  {2, " SIRANE_VP2P5_SW    "},  {3, " SIRANE_3V3_OSC_A1  "},
    {4, " SIRANE_3V3_OSC_A0  "},  {5, " SIRANE_3V3_OSC_D1  "},  {6, " SIRANE_3V3_OSC_D0  "},
    {7, " SIRANE_VDDT        "},  {8, " SIRANE_VDDR        "},  {9, " SIRANE_AVD09Q_DAC  "},
    {10, " SIRANE_AVD09N_DAC  "}, {11, " SIRANE_VDDV        "}, {12, " SIRANE_VDDHOST     "},
    {13, " SIRANE_VDDP        "}, {14, " SIRANE_VDDB        "}, {15, " SIRANE_PLL_VDDFEC  "},
    {16, " SIRANE_AVDNEGADC   "}, {17, " SIRANE_P1P25V_REF  "}, {18, " SIRANE_P3P4V_DCDC  "},
    {19, " SIRANE_P6P0V_DCDC  "}, {20, " SIRANE_P5P0V_DCDC  "}, {21, " SIRANE_MAXCH       "},
};

int32_t read_alarm_word(kelvane_handle handle, kelvane_device_address device_address, uint32_t sirane_id,
                        uint32_t *alarms)
{
    const uint32_t entry = REGULATOR_ALARM_TABLE + REGULATOR_ALARM_ENTRY_BYTES * sirane_id;
    const int32_t rc = kelvane_internal_pci_read(handle, 0, entry + ENTRY_UNUSED_WORD, alarms, CHECK_ALIVE);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    TRACE_AS("kelvane_dump_voltage_regulator_alarm", LEVEL_DEBUG, handle, device_address, "reg_addr %08x   ",
             entry + REGULATOR_ALARM_WORD);
    return kelvane_internal_pci_read(handle, 0, entry + REGULATOR_ALARM_WORD, alarms, CHECK_ALIVE);
}

int32_t dump_alarm_word(kelvane_handle handle, kelvane_device_address device_address, FILE *stream,
                        uint32_t sirane_id, uint32_t alarms)
{
    int32_t rc = kelvane_ltrace_file_dump(handle, device_address, stream,
                                          "\n sirane_id %d volt_reg_fail_alarm_word 0x%08x \n",
                                          static_cast<int>(sirane_id), alarms);
    for (const regulator &row : REGULATORS) {
        if (rc == KELVANE_EOK && (alarms >> row.bit & 1) != 0) {
            rc = kelvane_ltrace_file_dump(handle, device_address, stream, "%s\n", row.name);
        }
    }
    return rc;
}

} // namespace

int32_t kelvane_dump_voltage_regulator_alarm(kelvane_handle handle, kelvane_device_address device_address,
                                             FILE *stream)
{
    TRACE(LEVEL_DEBUG, handle, device_address, "start_addr %08x   ", REGULATOR_ALARM_TABLE);
    int32_t rc = KELVANE_EOK;
    for (uint32_t sirane_id = 0; sirane_id < KELVANE_SIRANE_COUNT && rc == KELVANE_EOK; sirane_id++) {
        uint32_t alarms = 0;
        rc = read_alarm_word(handle, device_address, sirane_id, &alarms);
        if (rc == KELVANE_EOK) {
            rc = dump_alarm_word(handle, device_address, stream, sirane_id, alarms);
        }
    }
    return rc;
}
