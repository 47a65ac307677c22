#include "card_simulator/console/images_show.h"

#include "card_simulator/state/append_text.h"

namespace {

void append_work(std::string &text, const firmware_images &images)
{
    const image_work &work = images.work;
    if (!work.under_way) {
        text += "    nothing under way\n";
        return;
    }
    append(text, "    %s under way: kind %u, %u.%u, device %u\n",
           work.operation == IMAGE_DOWNLOAD ? "download" : "programming", work.image.kind,
           work.image.version.major, work.image.version.minor, work.device);
}

} // namespace

void append_images(std::string &text, const firmware_images &images)
{
    append(text, "images: working %u.%u, golden %u.%u, programming takes %u ms\n", images.working.major,
           images.working.minor, images.golden.major, images.golden.minor, images.program_time_ms);
    append_work(text, images);
    if (images.downloaded.has_value()) {
        append(text, "    downloaded: kind %u, %u.%u, %u bytes, %s\n", images.downloaded->kind,
               images.downloaded->version.major, images.downloaded->version.minor, images.downloaded->bytes,
               images.downloaded->digest);
    } else {
        text += "    nothing downloaded\n";
    }
    if (images.next_version.has_value()) {
        append(text, "    the next image is %u.%u\n", images.next_version->major, images.next_version->minor);
    }
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        const sirane_banks &banks = images.siranes[sirane_id];
        append(text, "    sirane %u: bank 0 %u.%u %s, bank 1 %u.%u %s, runs bank %u, progress 0x%08x\n",
               sirane_id, banks.version[0].major, banks.version[0].minor,
               banks.valid[0] ? "valid" : "not valid", banks.version[1].major, banks.version[1].minor,
               banks.valid[1] ? "valid" : "not valid", banks.running, images.progress[sirane_id]);
    }
}
