#include "card_simulator/state/image_work.h"

#include <algorithm>

#include "card_simulator/state/durations.h"
#include "kelvane.h"
#include "platform/wait.h"

namespace {

constexpr uint64_t PROGRESS_STEP_NS_MIN = 1000000;

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
    images.progress_changed = true;
}

firmware_version following(firmware_version version)
{
    return {version.major, (version.minor + 1) & VERSION_PART_MAX};
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
        images.modules[device] = version;
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

void finish(card_state &state)
{
    image_work &work = state.images.work;
    work.under_way = false;
    if (work.operation == IMAGE_DOWNLOAD) {
        finish_download(state);
    } else {
        finish_program(state);
    }
    set_progress(state.images, work.verdict == 0 ? 100 : 0);
    state.tables_changed = true;
}

} // namespace

firmware_version next_image_version(const card_state &state, image_kind kind)
{
    const firmware_images &images = state.images;
    if (images.next_version.has_value()) {
        return *images.next_version;
    }
    switch (kind) {
    case IMAGE_OF_GOLDEN_HESPERA:
        return following(images.golden);
    case IMAGE_OF_HESPERA:
        return following(state.running);
    case IMAGE_OF_SIRANE:
        return following(images.siranes[0].version[images.siranes[0].running]);
    default:
        return following(module_software(images, module_device(0, 0)));
    }
}

void image_work_begin(card_state &state, const image_work &work, uint64_t duration_ms)
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
    state.tables_changed = true;
    image_work_step(state, images.work.begun_ns);
}

bool image_work_step(card_state &state, uint64_t now_ns)
{
    const image_work &work = state.images.work;
    if (!work.under_way) {
        return false;
    }
    if (now_ns >= work.done_ns) {
        finish(state);
        return true;
    }
    const uint64_t percent = (now_ns - work.begun_ns) * 100 / (work.done_ns - work.begun_ns);
    set_progress(state.images, static_cast<uint32_t>(percent));
    return false;
}

uint64_t image_work_next_due(const card_state &state)
{
    const image_work &work = state.images.work;
    if (!work.under_way) {
        return NEVER_NS;
    }
    const uint64_t step_ns = std::max((work.done_ns - work.begun_ns) / 100, PROGRESS_STEP_NS_MIN);
    const uint64_t steps = (wait_monotonic() - work.begun_ns) / step_ns;
    return std::min(work.begun_ns + (steps + 1) * step_ns, work.done_ns);
}

void image_work_firmware_start(card_state &state)
{
    firmware_images &images = state.images;
    images.work = {};
    if (image_is_held(images, IMAGE_OF_HESPERA)) { // it lies in the controller's own memory already
        images.working = images.downloaded->version;
    } else if (image_is_held(images, IMAGE_OF_GOLDEN_HESPERA)) {
        images.golden = images.downloaded->version;
    }
    images.downloaded.reset();
    std::ranges::fill(images.progress, 0);
    state.running = images.working;
}
