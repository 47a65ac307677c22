#include "card/info_tables.h"

#include "card/firmware_version.h"
#include "core/device_address.h"
#include "core/handle.h"
#include "core/pci.h"
#include "core/trace/trace.h"

namespace {

struct table_run {
    uint32_t first_word;
    uint32_t words;
};

constexpr table_run sirane_table_runs[] = {
    {SIRANE_BANK_VERSION, 6},
    {SIRANE_PORT_SOFTWARE, 4},
    {SIRANE_PORT_SOFTWARE + SIRANE_PORT_STRIDE, 4},
    {SIRANE_PROGRESS, 1},
};

int32_t get_xpm2_software(kelvane_handle handle, kelvane_device_address device_address, uint32_t *major,
                          uint32_t *minor, const char *function)
{
    const address_fields port = fields_of(device_address);
    if (port.network_port >= KELVANE_NETWORK_PORTS_PER_SIRANE) {
        TRACE_AS(function, LEVEL_ERROR, handle, device_address, "invalid xpm2_id %d ",
                 static_cast<int>(port.network_port));
        return KELVANE_RET_CODE_EINVAL;
    }
    sirane_info_table_image table{};
    const int32_t rc = kelvane_get_sirane_subsys_info_table(handle, port.sirane, &table);
    if (rc == KELVANE_EOK) {
        const auto version = firmware_version::from_word(
            table.word[SIRANE_PORT_VERSION + SIRANE_PORT_STRIDE * port.network_port]);
        *major = version.major;
        *minor = version.minor;
    }
    return rc;
}

// The version of whatever the address names. A module has only one, whatever the choice.
int32_t get_software(kelvane_handle handle, kelvane_device_address device_address, int32_t which,
                     uint32_t *major, uint32_t *minor, uint32_t log_level, const char *function)
{
    int32_t rc = check_address_and_handle(device_address, handle);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    const address_fields a = fields_of(device_address);
    if (a.type != ADDRESS_TYPE_SIRANE) {
        rc = kelvane_get_ordune_software(handle, a.type, which, major, minor);
    } else if (a.sirane == ADDRESS_FIELD_NONE) {
        TRACE_AS(function, LEVEL_ERROR, handle, device_address, "invalid kelvane_device_address %08x ",
                 device_address);
        rc = KELVANE_RET_CODE_EINVAL;
    } else if (a.network_port != ADDRESS_FIELD_NONE) {
        rc = get_xpm2_software(handle, device_address, major, minor, function);
    } else {
        rc = kelvane_get_sirane_software(handle, a.sirane, which, major, minor);
    }
    if (rc == KELVANE_EOK) {
        TRACE_AS(function, log_level, handle, device_address, "maj_ver %d min_ver %d - 0x%x 0x%x ",
                 static_cast<int>(*major), static_cast<int>(*minor), *major, *minor);
    }
    return rc;
}

} // namespace

int32_t kelvane_get_zynq_info_table(kelvane_handle handle, zynq_info_table *table)
{
    TRACE(LEVEL_DEBUG, handle, KELVANE_ADDRESS_BOARD, " start sizebytes %d  size_32t %d ",
          static_cast<int>(sizeof table->word), static_cast<int>(ZYNQ_INFO_WORDS));
    return kelvane_internal_pci_read_block(handle, 0, ZYNQ_INFO_TABLE, ZYNQ_INFO_WORDS, table->word,
                                           SKIP_ALIVE);
}

int32_t kelvane_get_sirane_subsys_info_table(kelvane_handle handle, uint32_t sirane_id,
                                             sirane_info_table_image *table)
{
    if (sirane_id >= SIRANE_COUNT) {
        TRACE(LEVEL_ERROR, handle, NO_ADDRESS, "invalid sirane_id %d ", static_cast<int>(sirane_id));
        return KELVANE_RET_CODE_EINVAL;
    }
    for (const table_run &run : sirane_table_runs) {
        const uint32_t read_addr = sirane_info_table(sirane_id) + 4 * run.first_word;
        TRACE(LEVEL_DEBUG, handle, KELVANE_ADDRESS_SIRANE(sirane_id), " read_addr 0x%08x size %d ", read_addr,
              static_cast<int>(run.words));
        const int32_t rc = kelvane_internal_pci_read_block(handle, 0, read_addr, run.words,
                                                           &table->word[run.first_word], CHECK_ALIVE);
        if (rc != KELVANE_EOK) {
            return rc;
        }
    }
    return KELVANE_EOK;
}

int32_t kelvane_get_sirane_software(kelvane_handle handle, uint32_t sirane_id, int32_t which, uint32_t *major,
                                    uint32_t *minor)
{
    sirane_info_table_image table{};
    const int32_t rc = kelvane_get_sirane_subsys_info_table(handle, sirane_id, &table);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    const bool choice_known = which == SOFTWARE_RUNNING || which == SOFTWARE_DOWNLOADED;
    const uint32_t bank =
        table.word[which == SOFTWARE_RUNNING ? SIRANE_RUNNING_BANK : SIRANE_DOWNLOADED_BANK];
    if (!choice_known || bank > 1 || table.word[SIRANE_BANK_VALID + bank] != 1) {
        TRACE(LEVEL_ERROR, handle, KELVANE_ADDRESS_SIRANE(sirane_id), "incongruent sirane_id %d info table ",
              static_cast<int>(sirane_id));
        return KELVANE_RET_CODE_GEN_ERR;
    }
    // Unlike the other tables: major in the top byte, and the byte below it ORed into the upper byte of the
    // minor.
    const uint32_t version = table.word[SIRANE_BANK_VERSION + bank];
    *major = version >> 24;
    *minor = (version & 0xFFFF) | (version >> 16 & 0xFF) << 8;
    return KELVANE_EOK;
}

int32_t kelvane_get_ordune_software(kelvane_handle handle, uint32_t device_id, int32_t which, uint32_t *major,
                                    uint32_t *minor)
{
    zynq_info_table table{};
    const int32_t rc = kelvane_get_zynq_info_table(handle, &table);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    uint32_t version;
    switch (which) {
    case SOFTWARE_RUNNING:
        version = table.word[ZYNQ_RUNNING_BUNDLE_VERSION];
        break;
    case SOFTWARE_DOWNLOADED:
        version = table.word[ZYNQ_WORKING_BUNDLE_VERSION];
        break;
    case SOFTWARE_GOLDEN:
        version = table.word[ZYNQ_GOLDEN_BUNDLE_VERSION];
        break;
    default:
        TRACE(LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, "incongruent ordune/hespera %d info table ",
              static_cast<int>(device_id));
        return KELVANE_RET_CODE_GEN_ERR;
    }
    if (which != SOFTWARE_RUNNING && version == ZYNQ_IMAGE_UNCHECKED) {
        TRACE(LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, " ordune not ready for check RSA ");
        *major = 0;
        *minor = 0;
        return KELVANE_RET_CODE_DEVICE_NOT_READY;
    }
    const auto read = firmware_version::from_word(version);
    *major = read.major;
    *minor = read.minor;
    firmware_version stored = read;
    if (which == SOFTWARE_RUNNING) {
        kelvane_get_stored_version(handle, &stored.major, &stored.minor);
    }
    if (stored != read) { // logged, but no error
        TRACE(LEVEL_DEBUG, handle, KELVANE_ADDRESS_BOARD, "ERROR problem stored_ver  %d %d real_ver %d %d ",
              static_cast<int>(stored.major), static_cast<int>(stored.minor), static_cast<int>(read.major),
              static_cast<int>(read.minor));
    }
    return KELVANE_EOK;
}

int32_t kelvane_get_software_downloaded(kelvane_handle handle, kelvane_device_address device_address,
                                        uint32_t *major, uint32_t *minor)
{
    return get_software(handle, device_address, SOFTWARE_DOWNLOADED, major, minor, LEVEL_INFO, __func__);
}

int32_t kelvane_get_internal_software_running(kelvane_handle handle, kelvane_device_address device_address,
                                              uint32_t *major, uint32_t *minor, uint32_t log_level)
{
    return get_software(handle, device_address, SOFTWARE_RUNNING, major, minor, log_level, __func__);
}

int32_t kelvane_get_software_running(kelvane_handle handle, kelvane_device_address device_address,
                                     uint32_t *major, uint32_t *minor)
{
    return kelvane_get_internal_software_running(handle, device_address, major, minor, LEVEL_INFO);
}

int32_t kelvane_get_software_downloaded_golden_zynq(kelvane_handle handle, uint32_t *major, uint32_t *minor)
{
    const int32_t rc = check_kelvane_handler_input(handle);
    return rc != KELVANE_EOK ? rc : kelvane_get_ordune_software(handle, 0, SOFTWARE_GOLDEN, major, minor);
}
