#include "card_simulator/state/tables.h"

#include "kelvane_bar.h"

namespace {

constexpr uint32_t BOARD_ID = 0x21040003; // real hardware: the top byte is not above LAST_REAL_BOARD_ID

constexpr uint32_t dated_version(uint32_t major, uint32_t minor, uint32_t year, uint32_t month, uint32_t day)
{
    return major << 24 | minor << 16 | year << 9 | month << 5 | day;
}

// The upper byte is the major version, the lower three the minor one.
constexpr uint32_t bank_version(firmware_version version)
{
    return version.major << 24 | version.minor;
}

uint32_t image_version(const firmware_images &images, image_kind kind, firmware_version stored)
{
    if (image_is_being_checked(images, kind)) {
        return ZYNQ_IMAGE_UNCHECKED;
    }
    return bundle_version(image_is_held(images, kind) ? images.downloaded->version : stored);
}

void publish_controller(const card_state &state, bar &bar)
{
    uint32_t words[ZYNQ_INFO_WORDS] = {};
    words[ZYNQ_IMAGE_BUNDLE_RUNNING] = ZYNQ_WORKING_IMAGE_RUNS;
    words[ZYNQ_RUNNING_BUNDLE_VERSION] = bundle_version(state.running);
    words[ZYNQ_FSBL_VERSION] = dated_version(1, 4, 20, 2, 11);
    words[ZYNQ_APPLICATION_VERSION] =
        dated_version(state.running.major & 0xFF, state.running.minor & 0xFF, 21, 8, 3);
    words[ZYNQ_APP_IS_BARE_METAL] = ZYNQ_IS_BARE_METAL;
    words[ZYNQ_PLBIT_VERSION] = 0x20210803;
    words[ZYNQ_WORKING_BUNDLE_VERSION] = image_version(state.images, IMAGE_OF_HESPERA, state.images.working);
    words[ZYNQ_GOLDEN_BUNDLE_VERSION] =
        image_version(state.images, IMAGE_OF_GOLDEN_HESPERA, state.images.golden);
    words[ZYNQ_SECURE_BOOT_FLAG] = ZYNQ_SECURE_BOOT;
    words[ZYNQ_DDR_DIM_FLAG] = 0x00000001;
    words[ZYNQ_CARD_ID] = 0x0000C0A2;
    words[ZYNQ_CARD_VERSION] = 0x00000002;
    words[ZYNQ_SIRANE_BOARD_ID] = 0x00000051;
    words[ZYNQ_SIRANE_BOARD_REVISION] = 0x00000003;
    for (uint32_t i = 0; i < ZYNQ_INFO_WORDS; i++) {
        bar_write(bar, ZYNQ_INFO_TABLE + 4 * i, words[i]);
    }
}

void put_sirane_word(bar &bar, uint32_t sirane_id, uint32_t word, uint32_t value)
{
    bar_write(bar, sirane_info_table(sirane_id) + 4 * word, value);
}

// A downloaded image is for any sirane: each shows it in the bank that it would go to.
void publish_banks(const firmware_images &images, bar &bar, uint32_t sirane_id)
{
    const sirane_banks &banks = images.siranes[sirane_id];
    const bool downloaded = image_is_held(images, IMAGE_OF_SIRANE);
    for (uint32_t bank = 0; bank < BANK_COUNT; bank++) {
        const bool shows_image = downloaded && bank != banks.running;
        const firmware_version version = shows_image ? images.downloaded->version : banks.version[bank];
        put_sirane_word(bar, sirane_id, SIRANE_BANK_VERSION + bank, bank_version(version));
        put_sirane_word(bar, sirane_id, SIRANE_BANK_VALID + bank, shows_image || banks.valid[bank] ? 1 : 0);
    }
    put_sirane_word(bar, sirane_id, SIRANE_DOWNLOADED_BANK, downloaded ? 1 - banks.running : banks.running);
    put_sirane_word(bar, sirane_id, SIRANE_RUNNING_BANK, banks.running);
}

void publish_modules(const card_state &state, bar &bar, uint32_t sirane_id)
{
    for (uint32_t port = 0; port < NETWORK_PORTS_PER_SIRANE; port++) {
        const uint32_t device = module_device(sirane_id, port);
        put_sirane_word(bar, sirane_id, SIRANE_PORT_VERSION + SIRANE_PORT_STRIDE * port,
                        has_module(state, device) ? bundle_version(module_software(state.images, device))
                                                  : 0);
    }
}

void publish_progress(card_state &state, bar &bar)
{
    state.images.progress_changed = false;
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        put_sirane_word(bar, sirane_id, SIRANE_PROGRESS, state.images.progress[sirane_id]);
    }
}

} // namespace

void publish_tables(card_state &state, bar &bar)
{
    state.tables_changed = false;
    bar_write(bar, BOARD_ID_REG, BOARD_ID);
    publish_controller(state, bar);
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        publish_banks(state.images, bar, sirane_id);
        publish_modules(state, bar, sirane_id);
    }
    publish_progress(state, bar);
}

void publish_changed_tables(card_state &state, bar &bar)
{
    if (state.tables_changed) {
        publish_tables(state, bar);
    } else if (state.images.progress_changed) {
        publish_progress(state, bar);
    }
}
