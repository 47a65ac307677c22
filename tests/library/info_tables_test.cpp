// What the card shows in its tables and single registers, and the library's verdict on it.
#include "card/info_tables.h"
#include "card/running_firmware.h"

#include <cstring>

#include "support/library.h"
#include "support/operations.h"

namespace {

constexpr uint32_t CONTROLLER = 0x01F04000;
constexpr uint32_t RUNNING = 0x01F04004;
constexpr uint32_t SIRANE_1 = 0x01F04504;

// Tables of a card whose every word is typed here.
class info_tables_test : public firmware_test {
  protected:
    info_tables_test()
    {
        set(CONTROLLER, {0x55667788, 0x00050016, 0x02011683, 0x05162A69, 0xAA005500, 0x00C0FFEE, 0x00050017,
                         0x00040003, 0x53C0EEDD, 0x2, 0x1234, 0x7, 0xB0A4D, 0x3, 0xDEAD, 0xBEEF});
        set(SIRANE_1, {0x01040304, 0x02000005, 1, 1, 1, 0});
        set(SIRANE_1 + 0x104, {0x00030021}); // the first port's module
        set(SIRANE_1 + 0x204, {0x00040022});
        set(0x01F04F00, {11, 12, 13, 0x2233EEAA, 15});
    }

    static void set(uint32_t offset, const words &table)
    {
        for (const uint32_t word : table) {
            the_bar.word[offset] = word;
            offset += 4;
        }
    }

    // "5.22", or the code and the output.
    using inquiry = int32_t (*)(kelvane_handle, kelvane_device_address, uint32_t *, uint32_t *);
    static std::string version(inquiry inquire, uint32_t address)
    {
        uint32_t major = 8, minor = 9;
        const int32_t rc = inquire(0, address, &major, &minor);
        return (rc == 0 ? "" : std::to_string(rc) + ": ") + std::to_string(major) + "." +
               std::to_string(minor);
    }
    static std::string versions(uint32_t address)
    {
        return version(kelvane_get_software_running, address) + " " +
               version(kelvane_get_software_downloaded, address);
    }
};

TEST_F(info_tables_test, versions_by_address)
{
    for (const auto &[address, expected] : // a module has one version only
         cases_of("f0ffffff > 5.22 5.23; ff01ffff > 1.1796 2.5; ff01ff02 > 1.1796 2.5; ff0100ff > 3.33 3.33; "
                  "ff0101ff > 4.34 4.34; ff0102ff > 22: 8.9 22: 8.9; ff03ffff > 22: 8.9 22: 8.9; ffffffff > "
                  "22: 8.9 22: 8.9")) {
        EXPECT_EQ(versions(std::stoul(address, nullptr, 16)), expected) << address;
    }
    EXPECT_TRUE(log_contains("ERROR Slot:00 kelvane_get_software_downloaded: invalid xpm2_id 2 \n"));
    accesses();
    version(kelvane_get_software_running, 0xFF01FFFF);
    EXPECT_EQ(the_bar.check_alive, words(15, 1));
    EXPECT_EQ(accesses(), "r1f04504+6 r1f04604+4 r1f04704+4 r1f04804");
    version(kelvane_get_software_running, 0xF0FFFFFF);
    EXPECT_EQ(the_bar.check_alive, words(16, 0));
    for (const words &contradiction : {words{1, 1, 1, 1, 2, 2}, {1, 1, 0, 2, 1, 0}}) {
        set(SIRANE_1, contradiction); // no such bank, or not a valid one
        EXPECT_EQ(versions(0xFF01FFFF), "64170: 8.9 64170: 8.9");
    }
    const inquiry golden = [](auto handle, auto, auto *major, auto *minor) {
        return kelvane_get_software_downloaded_golden_zynq(handle, major, minor);
    };
    EXPECT_EQ(version(golden, 0), "4.3");
    kelvane_store_firmware_version(0);
    set(RUNNING, {0x00050017, 0, 0, 0, 0, 0xFFFFFFFD, 0xFFFFFFFD}); // still checked
    EXPECT_EQ(version(golden, 0), "64175: 0.0");
    EXPECT_EQ(versions(0xF0FFFFFF), "5.23 64175: 0.0");
    EXPECT_TRUE(log_contains("ERROR problem stored_ver  5 22 real_ver 5 23 \n"));
}

TEST_F(info_tables_test, the_verdict_and_the_order_of_versions)
{
    for (const auto &[running, expected] : // the verdict, and whether it is 5.22 or later, as no version is
         cases_of(
             "50016 > 1 1; 50015 > 2 0; 50000 > 2 0; 50017 > 0 1; 60000 > 0 1; 40063 > 3 0; 20007 > 3 0; "
             "20006 > 3 0; 5 > 3 0; 0 > 3 1")) {
        the_bar.word[RUNNING] = std::stoul(running, nullptr, 16);
        auto [verdict, later] = std::pair{9u, false};
        trace_level_mask_set(2);
        EXPECT_EQ(kelvane_software_version_comp_check(0, &verdict), 0);
        EXPECT_TRUE(is_current_ver_later_or_equal(0, {0, 0}, &later) == 0 && later) << running;
        EXPECT_EQ(is_current_ver_later_or_equal(0, {5, 22}, &later), 0);
        EXPECT_EQ(std::to_string(verdict) + " " + std::to_string(later), expected) << running;
        EXPECT_EQ(said("kelvane_software_version_comp_check") == " start |", the_bar.word[RUNNING] < 0x20007);
    }
}

TEST_F(info_tables_test, the_controller_itself)
{
    EXPECT_EQ(kelvane_trace_zynq_info_table(0), 0);
    EXPECT_EQ(said("kelvane_trace_zynq_info_table"),
              "Zynq Info Table |imageBundleRunning: working |workingBundleImageVersion 5.23 0x0005.0x0017|"
              "GoldenBundleImageVersion  4.3 0x0004.0x0003|runningBundleImageVersion 5.22 0x0005.0x0016|"
              "fsbl_RunningVersion 2.1 - 11/04/03 |application_RunningVersion 5.22 - 21/03/09 |"
              "appIsBareMetal: yes |plbit_RunningVersion 0x00c0ffee |secureBootFlag: SB_mode |"
              "DDRdimFlag: 0x2 |cardID: 0x00001234|cardVer: 0x00000007|siraneBoardId: 0x000b0a4d|"
              "siraneBoardRev: 0x00000003|");
    kelvane_ordune_inventory_t inventory{};
    EXPECT_EQ(kelvane_get_ordune_inventory_inf(0, &inventory), 0);
    const uint32_t expected[9] = {0x55667788, 0x00050016, 0x00C0FFEE, 0x00050017, 0x00040003,
                                  0x53C0EEDD, 0x2,        0x1234,     0x7};
    EXPECT_EQ(memcmp(&inventory, expected, sizeof expected), 0);
    for (const uint32_t type : {1u, 2u}) {
        uint32_t run_type = 0, secure_type = 0;
        EXPECT_EQ(kelvane_get_zynq_run_type(0, &run_type) + kelvane_get_secure_type(0, &secure_type), 0);
        EXPECT_EQ(run_type, type);
        EXPECT_EQ(secure_type, type);
        set(CONTROLLER, {0x55667789, 0, 0, 0, 0, 0, 0, 0, 0});
    }
    EXPECT_EQ(kelvane_trace_zynq_info_table(0), 0);
    EXPECT_TRUE(log_contains("imageBundleRunning: golden") && log_contains("appIsBareMetal: no") &&
                log_contains("secureBootFlag: NO SB_Mode"));
    kelvane_ddr_ecc_counters_t c{};
    EXPECT_EQ(kelvane_get_ddr_ecc_counters(0, &c), 0);
    EXPECT_EQ((words{c.ddr_ecc_uncorrectable_flag, c.ddr_ecc_correctable_counter,
                     c.ddr_ecc_uncorrectable_counter, c.pl_seu_corr_counter}),
              (words{11, 12, 13, 15}));
}

TEST_F(info_tables_test, single_registers)
{
    const uint32_t value = 0xCAFEBABE;
    uint32_t read = 0;
    EXPECT_EQ(kelvane_write_scratchpad_register(0, &value), 0);
    EXPECT_EQ(kelvane_read_scratchpad_register(0, &read), 0);
    EXPECT_EQ(read, 0xCAFEBABE);
    EXPECT_EQ(kelvane_set_trigger_reset(0, 1), 0);
    EXPECT_EQ(time.now(), 100000000u);
    EXPECT_EQ(kelvane_set_trigger_reset(0, 0), 0);
    EXPECT_EQ(kelvane_set_trigger_reset(0, 2), 22);
    EXPECT_EQ(the_bar.check_alive, words(6, 1));
    EXPECT_EQ(accesses(),
              "w3f8=cafebabe r3f8 w1f000a0=a5670000 w1f000a0=a5110000 w1f000a0=a5670000 w1f000a0=a5330000");
}

TEST_F(info_tables_test, no_card_and_no_handle)
{
    uint32_t out[1024];
    accesses();
    local_handles_array[0].pci_mapped = 0;
    for (const operation_row &row : register_rows) {
        const bool of_interrupts =
            strstr(row.name, "msi") != nullptr || strstr(row.name, "interrupt") != nullptr;
        EXPECT_EQ(row.run(1, row.address(), out), of_interrupts ? 64174 : 22) << row.name;
        EXPECT_EQ(row.run(0, row.address(), out), 64174) << row.name;
    }
    EXPECT_EQ(versions(0xFF0100FF) + " " + versions(0xF0FFFFFF),
              "64174: 8.9 64174: 8.9 64174: 8.9 64174: 8.9");
    EXPECT_EQ(accesses(), "");
}

} // namespace
