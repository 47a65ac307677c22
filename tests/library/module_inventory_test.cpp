#include "device/module_inventory.h"

#include <cstring>

#include "support/handshake.h"
#include "support/library.h"

namespace {

class module_inventory_test : public library_test {
  protected:
    module_inventory_test()
    {
        turn_log_on();
        start_library();
        firmware.install();
        memset(&image, 0, sizeof image);
        memcpy(image.deviation, "D1", 2);
        memset(image.part_number, 'P', sizeof image.part_number); // no closing 0 anywhere in these
        memcpy(image.serial_number, "SN-0001", 7);
        memset(image.date_code_number, '2', sizeof image.date_code_number);
        memcpy(image.CLEI_code_number, "CLEI", 4);
        image.module_hardware_version_number = 0x0102;
        image.module_firmware_running_version_number = 0x0304;
        image.module_firmware_committed_version_number = 0xFFFE;
        memcpy(image.vendorname, "VENDOR", 6);
        memset(image.description, 'd', sizeof image.description);
        memcpy(image.pid, "PID", 3);
        memcpy(image.vid, "V01 rest of it!!", 16);
        image.type = 2;
        image.oif_aco_bool = 1;
        memcpy(image.nolva_part_number, "NPN", 3);
        memset(image.nolva_serial_number, 'S', sizeof image.nolva_serial_number);
        image.nolva_supplied_vendor_id = 0x51;
    }

    int32_t fetch(uint32_t version, uint32_t running)
    {
        the_bar.word[0x01F04004] = running;
        firmware.data.assign(60, 0);
        memcpy(&firmware.data[2], &image, sizeof image);
        firmware.spoil = [version](std::vector<uint32_t> &header) { header[3] = version; };
        log_lines();
        return kelvane_get_xpm2_inventory_inf(0, 0xFF0001FF, &record);
    }

    answering_firmware firmware;
    kelvane_xpm2_inventory_t image;
    kelvane_xpm2_inventory_t record;
};

TEST_F(module_inventory_test, the_current_version_passes_unchanged_but_for_the_tail_of_vid)
{
    const struct {
        uint32_t running;
        bool short_vid;
    } cases[] = {{0x00020006, false}, {0x00000001, false}, {0x00020007, true}, {0x00050016, true}, {0, true}};
    for (const auto &c : cases) {
        ASSERT_EQ(fetch(2, c.running), 0);
        EXPECT_EQ(std::string(record.vid, 16),
                  c.short_vid ? std::string("V01 ") + std::string(12, '\0') : "V01 rest of it!!");
        memcpy(record.vid, image.vid, sizeof record.vid);
        EXPECT_EQ(memcmp(&record, &image, sizeof image), 0);
    }
}

TEST_F(module_inventory_test, what_older_versions_do_not_send)
{
    ASSERT_EQ(fetch(1, 0x00020000), 0);
    EXPECT_EQ(record.oif_aco_bool, 1);
    EXPECT_EQ(record.nolva_part_number[0], 0);
    EXPECT_EQ(record.nolva_serial_number[15], 0);
    EXPECT_EQ(record.nolva_supplied_vendor_id, -1);
    ASSERT_EQ(fetch(0, 0x00020000), 0);
    EXPECT_EQ(record.oif_aco_bool, -1);
    EXPECT_EQ(record.nolva_supplied_vendor_id, -1);
    EXPECT_EQ(std::string(record.vid, 16), "V01 rest of it!!");
    EXPECT_TRUE(
        log_has("DEBUG kelvane_post_proc_get_xpm2_inventory_inf: box_data_header_var_out->version = 0  post "
                "proc done "));
}

TEST_F(module_inventory_test, the_record_in_the_log_ends_each_text_in_its_field)
{
    trace_level_mask_set(2);
    ASSERT_EQ(fetch(2, 0x00020007), 0);
    std::vector<std::string> lines;
    for (const std::string &line : log_lines()) {
        const std::string prefix = "INFO  kelvane_get_xpm2_inventory_inf: ";
        if (line.find(prefix) == 0) {
            lines.push_back(line.substr(prefix.size()));
        }
    }
    const std::vector<std::string> expected = {
        "start ",
        "deviation                                D1  ",
        "part_number                              PPPPPPPPPPPPPPPP  ",
        "serial_number                            SN-0001  ",
        "date_code_number                         2222222222  ",
        "CLEI_code_number                         CLEI  ",
        "module_hardware_version_number           0102",
        "module_firmware_running_version_number   0304",
        "module_firmware_committed_version_number fffe",
        "vendorname                               VENDOR  ",
        "description                              "
        "dddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddd  ",
        "pid                                      PID  ",
        "vid                                      V01   ",
        "type                                     2  ",
        " XPM OPTICAL    ",
        "oif_aco_bool                           0x1  ",
        "nolva_part_number                      NPN    ",
        "nolva_serial_number                    SSSSSSSSSSSSSSSS    ",
        "nolva_supplied_vendor_id               0x51  ",
    };
    EXPECT_EQ(lines, expected);
    for (const auto &[type, text] :
         {std::pair{1, " XPM ELECTRICAL "}, {3, " XPM UNKNOWN    "}, {-1, " XPM UNKNOWN    "}}) {
        image.type = type;
        fetch(2, 0x00020007);
        EXPECT_TRUE(log_has(std::string("INFO  kelvane_get_xpm2_inventory_inf: ") + text));
    }
}

TEST_F(module_inventory_test, both_images_can_be_checked)
{
    firmware.data = {0, 0, 0x42};
    for (const int32_t run_type : {1, 2}) {
        uint32_t rsa_check = 0;
        EXPECT_EQ(kelvane_get_zynq_rsa_check(0, run_type, &rsa_check), 0);
        EXPECT_EQ(rsa_check, 0x42u);
        EXPECT_EQ(firmware.request_data[1], static_cast<uint32_t>(run_type));
    }
}

} // namespace
