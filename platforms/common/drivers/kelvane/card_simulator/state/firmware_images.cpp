#include "card_simulator/state/firmware_images.h"

#include <algorithm>

#include "card_simulator/state/card_events.h"
#include "card_simulator/state/card_state.h"
#include "kelvane.h"
#include "kelvane_bar.h"
#include "platform/wait.h"

namespace {

constexpr firmware_version DELIVERED_MODULE_SOFTWARE = {1, 18};
constexpr uint64_t PROGRESS_STEP_NS_AT_LEAST = 1000000;
constexpr uint64_t NS_PER_MS = 1000000;
constexpr uint32_t PROGRESS_WORD = 192; // of a sirane's table
constexpr uint32_t WORKING_VERSION_WORD = 6;
constexpr uint32_t GOLDEN_VERSION_WORD = 7;
constexpr uint32_t MINOR_MAX = 0xFFFF;

// Words of a sirane's information table.
enum sirane_info_word : uint32_t {
    BANK_VERSION = 0, // two of them
    BANK_VALID = 2,
    DOWNLOADED_BANK = 4,
    RUNNING_BANK = 5,
};

bool holds(const firmware_images &images, uint32_t kind)
{
    return images.downloaded.has_value() && images.downloaded->kind == kind;
}

bool validates(const firmware_images &images, uint32_t kind)
{
    return images.work.under_way && images.work.operation == IMAGE_DOWNLOAD && images.work.image.kind == kind;
}

// The upper byte is the major version, the lower three the minor one.
constexpr uint32_t bank_version(firmware_version version)
{
    return version.major << 24 | version.minor;
}

uint32_t controller_word(const firmware_images &images, uint32_t kind, firmware_version stored)
{
    if (validates(images, kind)) {
        return ZYNQ_IMAGE_UNCHECKED;
    }
    return bundle_version(holds(images, kind) ? images.downloaded->version : stored);
}

// A downloaded image is for any sirane: each shows it in the bank that it would go to.
void publish_banks(const firmware_images &images, bar &bar, uint32_t sirane_id)
{
    const uint32_t table = sirane_info_table(sirane_id);
    const sirane_banks &banks = images.siranes[sirane_id];
    const bool downloaded = holds(images, IMAGE_OF_SIRANE);
    for (uint32_t bank = 0; bank < BANK_COUNT; bank++) {
        const bool shows_image = downloaded && bank != banks.running;
        const firmware_version version = shows_image ? images.downloaded->version : banks.version[bank];
        bar_write(bar, table + 4 * (BANK_VERSION + bank), bank_version(version));
        bar_write(bar, table + 4 * (BANK_VALID + bank), shows_image || banks.valid[bank] ? 1 : 0);
    }
    bar_write(bar, table + 4 * DOWNLOADED_BANK, downloaded ? 1 - banks.running : banks.running);
    bar_write(bar, table + 4 * RUNNING_BANK, banks.running);
}

void publish_progress(const firmware_images &images, bar &bar)
{
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        bar_write(bar, sirane_info_table(sirane_id) + 4 * PROGRESS_WORD, images.progress[sirane_id]);
    }
}

uint32_t progress_shift(uint32_t device)
{
    if (device == BOARD_DEVICE) {
        return 24;
    }
    if (is_sirane_device(device)) {
        return 16;
    }
    return network_port_of_device(device) == 0 ? 8 : 0;
}

void set_progress(firmware_images &images, uint32_t percent)
{
    const uint32_t device = images.work.device;
    const uint32_t shift = progress_shift(device);
    uint32_t &word = images.progress[device == BOARD_DEVICE ? 0 : sirane_of_device(device)];
    word = (word & ~(0xFFu << shift)) | (images.work.operation << 7 | percent) << shift;
}

firmware_version following(firmware_version version)
{
    return {version.major, (version.minor + 1) & MINOR_MAX};
}

// The device runs the image from now on; the controller after its next start.
void activate(card_state &state)
{
    firmware_images &images = state.images;
    const uint32_t device = images.work.device;
    const firmware_version version = images.work.image.version;
    images.downloaded.reset();
    if (device == BOARD_DEVICE) {
        (images.work.image.kind == IMAGE_OF_HESPERA ? images.working : images.golden) = version;
    } else if (is_sirane_device(device)) {
        sirane_banks &banks = images.siranes[sirane_of_device(device)];
        banks.running = 1 - banks.running;
        banks.version[banks.running] = version;
        banks.valid[banks.running] = true;
    } else {
        images.modules[sirane_of_device(device)][network_port_of_device(device)] = version;
    }
    note_event(state, event_kind::activated, device, {bundle_version(version)});
    if (device != BOARD_DEVICE) {
        reset_device(state, device);
        note_event(state, event_kind::device_reset, device);
    }
}

void finish_download(card_state &state)
{
    image_work &work = state.images.work;
    if (work.verdict != 0) {
        note_event(state, event_kind::digest_wrong, work.device, {work.image.kind, work.image.bytes},
                   work.verdict);
        return;
    }
    note_event(state, event_kind::digest_right, work.device, {work.image.kind, work.image.bytes});
    state.images.downloaded = work.image;
    note_event(state, event_kind::image_kept, work.device,
               {work.image.kind, bundle_version(work.image.version)});
}

void finish_program(card_state &state)
{
    image_work &work = state.images.work;
    if (is_module_device(work.device) && !has_module(state, work.device)) {
        work.verdict = ORDUNE_XPM2_ENODEV; // it was pulled meanwhile
        note_event(state, event_kind::program_failed, work.device, {work.image.kind}, work.verdict);
        return;
    }
    activate(state);
}

void finish(card_state &state, bar &bar)
{
    image_work &work = state.images.work;
    work.under_way = false;
    if (work.operation == IMAGE_DOWNLOAD) {
        finish_download(state);
    } else {
        finish_program(state);
    }
    set_progress(state.images, work.verdict == 0 ? 100 : 0);
    publish_tables(state, bar);
}

} // namespace

firmware_version images_next_version(const card_state &state, uint32_t kind)
{
    const firmware_images &images = state.images;
    if (images.next_version.has_value()) {
        return *images.next_version;
    }
    switch (kind) {
    case IMAGE_OF_GOLDEN_HESPERA:
        return following(images.golden);
    case IMAGE_OF_HESPERA:
        return following({state.firmware_major, state.firmware_minor});
    case IMAGE_OF_SIRANE:
        return following(images.siranes[0].version[images.siranes[0].running]);
    default:
        return following(module_software(state, module_device(0, 0)));
    }
}

void images_begin(card_state &state, bar &bar, const image_work &work, uint64_t duration_ms)
{
    firmware_images &images = state.images;
    images.work = work;
    images.work.under_way = true;
    images.work.begun_ns = wait_monotonic();
    images.work.done_ns = images.work.begun_ns + duration_ms * NS_PER_MS;
    if (work.operation == IMAGE_PROGRAM && is_sirane_device(work.device)) {
        sirane_banks &banks = images.siranes[sirane_of_device(work.device)];
        banks.valid[1 - banks.running] = false; // until it is written
    }
    set_progress(images, 0);
    if (!images_step(state, bar, images.work.begun_ns)) {
        publish_tables(state, bar);
    }
}

bool images_step(card_state &state, bar &bar, uint64_t now)
{
    const image_work &work = state.images.work;
    if (!work.under_way) {
        return false;
    }
    if (now >= work.done_ns) {
        finish(state, bar);
        return true;
    }
    const uint64_t percent = (now - work.begun_ns) * 100 / (work.done_ns - work.begun_ns);
    set_progress(state.images, static_cast<uint32_t>(percent));
    publish_progress(state.images, bar);
    return false;
}

uint64_t images_next_due(const card_state &state)
{
    const image_work &work = state.images.work;
    if (!work.under_way) {
        return IMAGES_NOTHING_DUE;
    }
    const uint64_t step = std::max((work.done_ns - work.begun_ns) / 100, PROGRESS_STEP_NS_AT_LEAST);
    const uint64_t steps = (wait_monotonic() - work.begun_ns) / step;
    return std::min(work.begun_ns + (steps + 1) * step, work.done_ns);
}

void images_firmware_start(card_state &state)
{
    firmware_images &images = state.images;
    images.work = {};
    if (holds(images, IMAGE_OF_HESPERA)) { // it lies in the controller's own memory already
        images.working = images.downloaded->version;
    } else if (holds(images, IMAGE_OF_GOLDEN_HESPERA)) {
        images.golden = images.downloaded->version;
    }
    images.downloaded.reset();
    std::ranges::fill(images.progress, 0);
    state.firmware_major = images.working.major;
    state.firmware_minor = images.working.minor;
}

void publish_images(const card_state &state, bar &bar)
{
    const firmware_images &images = state.images;
    bar_write(bar, ZYNQ_INFO_TABLE + 4 * WORKING_VERSION_WORD,
              controller_word(images, IMAGE_OF_HESPERA, images.working));
    bar_write(bar, ZYNQ_INFO_TABLE + 4 * GOLDEN_VERSION_WORD,
              controller_word(images, IMAGE_OF_GOLDEN_HESPERA, images.golden));
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        publish_banks(images, bar, sirane_id);
    }
    publish_progress(images, bar);
}

firmware_version module_software(const card_state &state, uint32_t device)
{
    return state.images.modules[sirane_of_device(device)][network_port_of_device(device)].value_or(
        DELIVERED_MODULE_SOFTWARE);
}
